# shellcheck shell=bash
# about: a sample host with the library, for a middleware of any kind

packages() { needs_build; }

run() {
  build default zelobox
  exec "$ZELO_BUILD/default/zelobox" host "$@"
}
