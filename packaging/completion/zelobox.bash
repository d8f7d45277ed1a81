# shellcheck shell=bash
# bash: what zelobox itself offers, else the names of files.
_zelobox() {
  mapfile -t COMPREPLY < <("${COMP_WORDS[0]}" complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -o bashdefault -o default -F _zelobox zelobox
