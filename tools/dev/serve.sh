# shellcheck shell=bash
# about: zelobox's middleware with its page for the browser, for a host of any kind

packages() { needs_build; }

run() {
  build default zelobox
  # The page's hints name what was called.
  exec -a "$0" "$ZELO_BUILD/default/zelobox" serve "$@"
}
