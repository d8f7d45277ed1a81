# shellcheck shell=bash
set -euo pipefail

cd "$ZELO_ROOT"
shell_scripts | xargs shellcheck --external-sources
