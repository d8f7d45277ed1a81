# shellcheck shell=bash
# ./dev size: what the library costs on the box.

dev_size() {
    local prefix=arm-linux-gnueabihf map=build/armhf-map/libzelocobalt.map
    cmake --preset armhf-release
    cmake --build build/armhf-release
    # The same without link-time optimisation, for the table by object file.
    cmake --preset armhf-release -B build/armhf-map -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=OFF \
        -DCMAKE_SHARED_LINKER_FLAGS="-Wl,--gc-sections -s -Wl,-Map=$PWD/$map"
    cmake --build build/armhf-map
    cmake --preset armhf
    cmake --build build/armhf --target weigh
    tools/size_report.py "$PWD/build/armhf-release/libzelocobalt.so" --tools "$prefix-" --map "$map" \
        --weigh qemu-arm -L "/usr/$prefix" build/armhf/tests/weigh "$PWD/build/armhf-release/libzelocobalt.so" 10
}
