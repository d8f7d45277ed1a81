# shellcheck shell=bash
# about: the box's builds: all tests under an emulator, soft float, both string ABIs, another box's headers, both worlds

packages() {
  needs_tests
  needs g++-arm-linux-gnueabihf "the compiler for the box"
  needs g++-arm-linux-gnueabi "the compiler for a box without floating-point hardware"
  needs qemu-user "runs the box's programs"
}

# variant NAME "TARGET..." PRESET CMAKE-ARGUMENT...: a preset with other settings in build/NAME
variant() {
  local name=$1 preset=$3
  local -a targets
  read -r -a targets <<<"$2"
  shift 3
  (cd "$ZELO_ROOT" && cmake --preset "$preset" -B "$ZELO_BUILD/$name" "$@" >/dev/null)
  cmake --build "$ZELO_BUILD/$name" --target zelocobalt "${targets[@]}"
}

# The middleware is a native process, the host and the library are the box's. The timelines must be the same.
both_worlds() {
  local emulator="qemu-arm -L /usr/arm-linux-gnueabihf" directory=$ZELO_BUILD/worlds
  build default zelobox zelostb zelocobalt
  mkdir -p "$directory"
  "$ZELO_BUILD/default/zelobox" demo >"$directory/native.txt"
  "$ZELO_BUILD/default/zelobox" demo --host-command "$emulator $ZELO_BUILD/armhf/zelobox" >"$directory/box.txt"
  # Times differ, and what runs at the same time on both sides may be printed in either order.
  diff <(timeline "$directory/native.txt") <(timeline "$directory/box.txt")
  echo "The demo has the same timeline with the box's library as with the native one."
}

# The recording proxy is one file that needs nothing on the box; here it stands between two native processes.
static_proxy() {
  local directory=$ZELO_BUILD/proxy proxy=$ZELO_BUILD/armhf/zelobox-proxy host=$ZELO_BUILD/default/zelobox
  local through=$ZELO_ROOT/tests/zelobox/commands/through_proxy.sh
  build armhf zelobox_proxy
  build default zelobox zelostb zelocobalt
  # Neither an interpreter nor a needed library.
  if readelf --wide --program-headers --dynamic "$proxy" | grep --extended-regexp 'INTERP|NEEDED'; then
    echo "$proxy is not static" >&2
    return 1
  fi
  readelf --file-header "$proxy" | grep 'Machine:.*ARM'
  rm -rf "$directory"
  mkdir -p "$directory"
  "$host" demo >"$directory/timeline.txt" \
    --host-command "$through $directory/demo.jsonl 'qemu-arm $proxy proxy' $host"
  "$host" decode "$directory/demo.jsonl" >"$directory/decoded.txt"
  sent "$directory/timeline.txt" >"$directory/sent.txt"
  [ -s "$directory/sent.txt" ]
  diff "$directory/sent.txt" <(sent "$directory/decoded.txt")
  echo "The box's static proxy has passed and recorded $(sent "$directory/decoded.txt" | wc -l) frames."
}

# sent FILE: the frames of a timeline, first those of one side and then those of the other
sent() {
  sed -nE 's/^ *[0-9.]+ +(library|middleware) +([0-9]+ +)?sends /\1 /p' "$1" | LC_ALL=C sort --stable --key=1,1
}

# timeline FILE: its lines without times, in an order that does not depend on them
timeline() {
  sed -E 's/([0-9]+:)*[0-9]+\.[0-9]{3}//g; s/ms=[0-9]+/ms/' "$1" | LC_ALL=C sort
}

run() {
  build armhf
  run_tests armhf "$@"
  # Of the variants the contract is tested; the rest does not depend on what varies.
  variant armel "contract_test layout_test backtrace_contract_test" armel
  run_tests armel -R 'Contract|Slots|Layout'
  variant armhf-oldstrings "contract_test layout_test" armhf -DZELO_CXX11_ABI=OFF
  run_tests armhf-oldstrings -R 'Contract|Slots|Layout' -E BackTrace
  variant armhf-altstb other_headers_test armhf -DZELO_STB_INCLUDE_DIR="$ZELO_ROOT/tests/altstb"
  run_tests armhf-altstb -R OtherHeaders
  both_worlds
  static_proxy
}
