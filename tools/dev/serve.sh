# shellcheck shell=bash
# about: zelobox's middleware with its page for the browser, for a host of any kind

packages() { needs_build; }

run() {
  build default zelobox
  exec "$ZELO_BUILD/default/zelobox" serve "$@"
}
