#!/usr/bin/env python3
"""Builds the release for one kind of box after the other, reads from the file what it is and runs tests on it.

    boxes.py SOURCE BUILD [--write PAGE] [NAME...]

Prints a table, or puts it into PAGE between the lines <!-- boxes --> and <!-- end of boxes -->. Fails when the file is
not what was asked for, is not hardened or has no debug information, or when a test fails.
"""
import argparse
import os
import re
import resource
import subprocess
import sys
from pathlib import Path

# Programs that link the library as a host does; the file under test takes the place of the one they were linked with.
# What ships is tested by all of them, its variants by what can depend on how they were built.
ALL_TESTS = ["contract/contract_test", "cobalt/host_test", "lifecycle/start_test"]
TESTS = {"armhf": ["contract/contract_test", "lifecycle/start_test"], "armel": ["contract/contract_test"]}
OLD = ["libc6", "libc6-dev", "linux-libc-dev", "libgcc-s1", "libgcc-10-dev", "libstdc++6", "libstdc++-10-dev"]
V7 = {"CPU_arch": "v7", "THUMB_ISA_use": "Thumb-2", "ABI_VFP_args": "VFP registers"}
SOFT = {"ABI_VFP_args": None, "FP_arch": None}

# The box's C library sees a clock of these years: the emulator, which is the kernel to it, is run with a faked one.
YEARS = [2037, 2038, 2040]

# name, preset, settings, what readelf --arch-specific has to say, preset of the tests' programs
BOXES = [
    ("ARMv7, Thumb-2, hard float", "armhf-release", {}, {**V7, "FP_arch": "VFPv3-D16"}, "armhf"),
    ("ARMv7, not hardened", "armhf-release", {"ZELO_HARDENING": "OFF"}, V7, "armhf"),
    ("ARMv7ve, VFPv4", "armhf-release", {"ZELO_ARM_CPU": "arch:armv7ve+vfpv4"},
     {**V7, "FP_arch": "VFPv4", "Virtualization_use": "TrustZone and Virtualization Extensions"}, "armhf"),
    ("ARMv5TE, soft float", "armel-release", {}, {"CPU_arch": "v5TE", **SOFT}, "armel"),
    ("ARMv6, soft float", "armel-release", {"ZELO_ARM_CPU": "arch:armv6"}, {"CPU_arch": "v6", **SOFT}, "armel"),
    ("ARMv7, Clang, glibc 2.28, GCC 8's libstdc++", "armhf-release",
     {"ZELO_ARM_COMPILER": "clang", "CMAKE_INTERPROCEDURAL_OPTIMIZATION": "OFF", "ZELO_MAX_GLIBC": "2.28",
      "ZELO_MAX_GLIBCXX": "3.4.25"}, V7, None),
    ("ARMv7 in 2037, 2038, 2040", "armhf-release", {}, V7, "armhf"),
    ("ARMv7 in 2037, 2038, 2040, 32-bit time", "armhf-release", {"ZELO_TIME64": "OFF"}, V7, "armhf"),
]


def output(*command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}:\n{done.stdout}")
    return done.stdout


def build(source, preset, directory, settings, targets=()):
    output("cmake", "--preset", preset, "-B", directory, *[f"-D{name}={value}" for name, value in settings.items()],
           cwd=source)
    output("cmake", "--build", directory, *(["--target", *targets] if targets else []))


def attributes(library, wanted):
    """What the file says of what was asked for."""
    said = output("readelf", "--arch-specific", library)
    found = {name: (re.search(rf"Tag_{name}: (.+)", said) or [None, None])[1] for name in wanted}
    return found, [f"asked for {name} {wanted[name]}, found {found[name]}" for name in wanted
                   if found[name] != wanted[name]]


def needed(library):
    versions = re.findall(r"\b(GLIBC|GLIBCXX)_([0-9.]+)", output("readelf", "--wide", "--version-info", library))
    newest = {}
    for kind, version in versions:
        newest[kind] = max(newest.get(kind, ""), version, key=lambda text: [int(n) for n in text.split(".") if n])
    return f"GLIBC {newest['GLIBC']}, GLIBCXX {newest['GLIBCXX']}"


def hardening(library):
    said = output("readelf", "--wide", "--dynamic", "--program-headers", "--dyn-syms", library)
    return [name for name, pattern in (("RELRO", r"GNU_RELRO"), ("immediate binding", r"\bBIND_NOW\b"),
                                       ("stack protector", r"__stack_chk_fail"), ("FORTIFY", r"__\w+_chk@"))
            if re.search(pattern, said)]


def symbols(library):
    """Whether the file with the debug information is this file's, and leads to the sources."""
    build_ids = {re.search(r"Build ID: (\w+)", output("readelf", "--notes", file))[1]
                 for file in (library, f"{library}.debug")}
    address = re.search(r": +(\w+) +\d+ FUNC +GLOBAL DEFAULT +\d+ _Z12ZeloStartApp",
                        output("readelf", "--wide", "--dyn-syms", library))
    place = output("addr2line", "--functions", "--demangle", "--exe", f"{library}.debug", f"0x{address[1]}")
    if len(build_ids) != 1 or not re.search(r"ZeloStartApp.*\n(\./)*cobalt/ZeloCobalt\.cpp:\d+", place):
        return [f"debug information: build ids {build_ids}, ZeloStartApp is at {place}"]
    return []


def size(library):
    text, data = output("size", library).splitlines()[1].split()[:2]
    return int(text) + int(data)


def in_year(year):
    """The environment of a process whose clock is in this year, but for the monotonic one."""
    if year is None:
        return os.environ
    files = output("dpkg", "--listfiles", "libfaketime").splitlines()
    fake = next(file for file in files if file.endswith("/libfaketime.so.1"))
    return {**os.environ, "LD_PRELOAD": fake, "FAKETIME": f"@{year}-06-01 00:00:00",
            "FAKETIME_DONT_FAKE_MONOTONIC": "1"}


def idle(directory, library, sysroot, year):
    """What is wrong with the processor time that a library at rest takes: a clock that fails must not make it spin."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    source = directory.parent.parent
    output(source / "testkit/own-tmp.sh", source, "--", "qemu-arm", "-U", "LD_PRELOAD", "-L", sysroot,
           directory / "bench/weigh", library, "5", env=in_year(year))
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    seconds = after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime
    return [f"in {year} a library at rest takes {seconds:.1f} s of 5 s"] if seconds > 2 else []


def tests(directory, names, library, sysroot, year=None):
    """How many tests of the host interface pass on this very file, and what is wrong."""
    emulator = ["qemu-arm", "-L", str(sysroot)]
    listed = "".join(output(*emulator, directory / "tests" / name, "--gtest_list_tests") for name in names)
    suites = re.findall(r"^(\w\S*\.)", listed, re.MULTILINE)
    environment = {**in_year(year), "QEMU_SET_ENV": f"LD_PRELOAD={library}"}
    passed, wrong = 0, []
    # Folder by folder: CTest asks every program below for its tests, and not each can be loaded with this file.
    for folder in sorted({str(Path(name).parent) for name in names}):
        done = subprocess.run(["ctest", "--test-dir", directory / "tests" / folder, "--parallel", "4",
                               "--output-on-failure", "--no-tests=error", "--tests-regex",
                               "^(.*/)?(" + "|".join(map(re.escape, suites)) + ")"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, env=environment)
        passed += len(re.findall(r" Passed +[0-9.]+ sec$", done.stdout, re.MULTILINE))
        wrong += [] if done.returncode == 0 else [done.stdout[-4000:]]
    return passed, wrong if passed else wrong + ["no test was run"]


def row(source, build_root, box):
    name, preset, settings, wanted, tested = box
    directory = build_root / ("box-" + re.sub(r"[^a-z0-9]+", "-", " ".join([name, *settings]).lower()).strip("-"))
    sysroot = "/usr/arm-linux-gnueabihf" if preset == "armhf-release" else "/usr/arm-linux-gnueabi"
    settings = dict(settings)
    by_clang = settings.get("ZELO_ARM_COMPILER") == "clang"
    if by_clang:
        sysroot = build_root / "sysroot-bullseye"
        output(source / "tools/sysroot.sh", "bullseye", sysroot, *OLD)
        settings["ZELO_ARM_SYSROOT"] = sysroot
    library = directory / "libzelocobalt.so"
    chosen = ALL_TESTS if name == BOXES[0][0] else TESTS[tested or "armel"]
    build(source, preset, directory, settings)
    if tested is None:
        # The program has to be for the old C library, too.
        programs = Path(f"{directory}-tests")
        build(source, "armhf", programs, settings, ["contract_test"])
    else:
        programs = build_root / tested
        build(source, tested, programs, {}, [Path(name).name for name in chosen] + ["weigh"])
    found, wrong = attributes(library, wanted)
    hard = hardening(library)
    wanted_hardening = settings.get("ZELO_HARDENING", "ON")
    # The C library of that time checks buffers for GCC only.
    if len(hard) != (1 if wanted_hardening == "OFF" else 3 if by_clang else 4):
        wrong.append(f"hardening: {hard}")
    wrong += symbols(library)
    passed, failed = 0, []
    for year in YEARS if " in 20" in name else [None]:
        count, sentences = tests(programs, chosen, library, sysroot, year)
        passed, failed = passed + count, failed + sentences
        if year is not None:
            failed += idle(programs, library, sysroot, year)
    said = output("readelf", "--string-dump=.comment", library)
    compiler = re.search(r"(clang) version (\S+)", said) or re.search(r"(GCC): .*?(\d+\.\d+\.\d+)", said)
    asked = " ".join(f"{key}={value}" for key, value in box[2].items()) or "-"
    text = [name, f"{compiler[1]} {compiler[2]}", f"`{preset}` {asked}",
            ", ".join(str(value) for value in found.values() if value), needed(library), str(size(library)),
            ", ".join(hard), str(passed)]
    return "| " + " | ".join(text) + " |", wrong + failed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("source", type=Path)
    parser.add_argument("build", type=Path)
    parser.add_argument("--write", type=Path, metavar="PAGE")
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    lines = ["| Box | Compiler | Asked for | Found in the file | Needs | text + data | Hardening | Tests passed |",
             "|---|---|---|---|---|---|---|---|"]
    status = 0
    for box in BOXES:
        if arguments.names and not any(name in box[0] for name in arguments.names):
            continue
        line, wrong = row(arguments.source, arguments.build, box)
        print(line, flush=True)
        lines.append(line)
        for sentence in wrong:
            print(f"{box[0]}: {sentence}", file=sys.stderr)
            status = 1
    if arguments.write:
        page = arguments.write.read_text(encoding="utf-8")
        page, count = re.subn(r"(?s)(<!-- boxes -->\n).*(<!-- end of boxes -->)",
                              lambda found: found[1] + "\n".join(lines) + "\n" + found[2], page)
        if count != 1:
            sys.exit(f"{arguments.write}: no place for the table")
        arguments.write.write_text(page, encoding="utf-8")
    return status


if __name__ == "__main__":
    os.environ["LC_ALL"] = "C"
    sys.exit(main())
