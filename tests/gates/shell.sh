# shellcheck shell=bash
# Scripts are clean, and every command of dev is whole.
set -euo pipefail

cd "$ZELO_ROOT"
shell_scripts | xargs shellcheck --external-sources

for file in tools/dev/*.sh; do
  for part in '^# about: .' '^packages() {' '^run() {'; do
    if ! grep --quiet -- "$part" "$file"; then
      echo "$file: no line like '$part'"
      exit 1
    fi
  done
done
