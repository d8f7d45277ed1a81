# shellcheck shell=bash
# about: checks the model of the threads exhaustively; "short" has one connection instead of two and no full queue

packages() {
  needs spin "the model checker"
  needs gcc "compiles the checker that it writes"
}

run() {
  local directory=$ZELO_BUILD/model connections=2 overflows=true
  case "${1:-}" in
  '') ;;
  short) connections=1 overflows=false ;;
  *)
    echo "model: '$1' is neither nothing nor 'short'" >&2
    exit 2
    ;;
  esac
  mkdir -p "$directory"
  cd "$directory" || return
  spin -DCONNECTIONS="$connections" -DOVERFLOWS="$overflows" -a "$ZELO_ROOT/docs/model/threads.pml"
  gcc -O2 -w -DSAFETY -DCOLLAPSE -DVECTORSZ=2048 -o checker pan.c
  ./checker -m200000 | tee checker.log
  # The checker ends well also when it has found something or has run out of memory.
  grep --quiet 'errors: 0$' checker.log
  ! grep --quiet --extended-regexp 'out of memory|max search depth|Search not completed' checker.log
}
