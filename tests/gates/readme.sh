# shellcheck shell=bash
# The transcripts in the documentation are those of a real run. Mend with ./dev readme.
set -euo pipefail

build default zelobox zelostb zelocobalt
"$ZELO_ROOT/tools/transcripts.py" check "$ZELO_ROOT/testkit/own-tmp.sh" "$ZELO_ROOT" -- "$ZELO_BUILD/default/zelobox" \
  -- "$ZELO_ROOT/README.md" "$ZELO_ROOT/docs/zelobox.md"
