# shellcheck shell=bash
# about: what the library costs on the box: sections, relocations, heap, stacks, wake-ups

packages() {
  needs_build
  needs g++-arm-linux-gnueabihf "the compiler for the box"
  needs qemu-user "runs the box's programs"
  needs python3 "prints the report"
}

run() {
  local tools=arm-linux-gnueabihf library=$ZELO_BUILD/armhf-release/libzelocobalt.so
  local map=$ZELO_BUILD/armhf-map/libzelocobalt.map
  build armhf-release
  # The same without link-time optimisation, for the table by object file.
  (cd "$ZELO_ROOT" && cmake --preset armhf-release -B "$ZELO_BUILD/armhf-map" -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=OFF \
    -DCMAKE_SHARED_LINKER_FLAGS="-Wl,-Map=$map" >/dev/null)
  cmake --build "$ZELO_BUILD/armhf-map"
  build armhf weigh
  "$ZELO_ROOT/tools/size_report.py" "$library" --tools "$tools-" --map "$map" \
    --weigh qemu-arm -L "/usr/$tools" "$ZELO_BUILD/armhf/bench/weigh" "$library" 10
}
