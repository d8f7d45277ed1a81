# shellcheck shell=bash
# about: takes the transcripts in the documentation anew from a run

packages() { needs_build; }

run() {
  build default zelobox zelostb zelocobalt
  "$ZELO_ROOT/tools/transcripts.py" write "$ZELO_BUILD/default/zelobox" -- "$ZELO_ROOT/README.md" \
    "$ZELO_ROOT/docs/zelobox.md"
}
