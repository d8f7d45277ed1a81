# shellcheck shell=bash
# about: plays a scenario: a simulated middleware, the library, a sample host

packages() { needs_build; }

run() {
  build default zelobox
  "$ZELO_BUILD/default/zelobox" demo "$@"
  echo
  echo "Press the keys yourself: ./dev serve, open the address that it prints, and in another terminal ./dev host"
}
