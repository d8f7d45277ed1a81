# shellcheck shell=bash
# Texts name no path of a developer's machine, have nothing left to fill in and no blanks at line ends, and their links
# lead somewhere.
set -euo pipefail

status=0

text_files() { sources -not -name '*.png' -not -name '*.pcapng'; }

# forbid WHAT PATTERN
forbid() {
  if text_files | xargs grep --line-number --binary-files=without-match --extended-regexp -- "$2"; then
    echo "^ $1"
    status=1
  fi
}

forbid "path of a developer's machine" '(^|[^[:alnum:]_./-])/(root|home|work|Users)/'
forbid "place that nobody has filled" '^@[A-Z]+@$'
forbid "blanks at the end of a line" '[[:blank:]]$'

# A cell that is a paragraph belongs under the table.
# shellcheck disable=SC2016 # the fields are awk's
if ! sources -name '*.md' | xargs awk -F '|' '
    /^\|/ {
      for (i = 2; i < NF; i++) if (split($i, words, " ") > 60) { print FILENAME ":" FNR ": a long cell"; found = 1 }
    }
    END { exit found }'; then
  status=1
fi

while IFS=: read -r file link; do
  target=${link#*](}
  target=${target%%[)#]*}
  if [ -n "$target" ] && [ ! -e "$(dirname "$file")/$target" ]; then
    echo "$file: the link to '$target' leads nowhere"
    status=1
  fi
done < <(sources -name '*.md' | xargs grep --only-matching --with-filename --extended-regexp '\]\([^):]+\)')

exit "$status"
