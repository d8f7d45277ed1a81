#!/usr/bin/env python3
"""Counts what a frame costs in instructions and allocations and compares that with bench/baseline.json.

Instructions are those of user space in the library and the libraries below it; the host's logger and callbacks return
at once and are left out. The C library is kept to the variants of its functions that every x86-64 has, so that another
machine counts the same.
"""
import argparse
import json
import os
import pathlib
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import callgrind

BASELINE = pathlib.Path(__file__).resolve().parents[1] / "baseline.json"
TOLERANCE = 0.02
RECORD = "If the change is wanted: ./dev bench gate --record, and say in the commit why."

PLAIN_X86_64 = "glibc.cpu.hwcaps=" + ",".join(
    "-" + feature for feature in
    "AVX512VL AVX512F AVX2 AVX AVX_Fast_Unaligned_Load BMI2 ERMS FSRM SSSE3 SSE4_1 SSE4_2 Fast_Unaligned_Copy".split())

# The first that matches part of a function's name or of its object file's.
GROUPS = (
    ("locks and conditions", ("pthread_mutex", "pthread_cond", "lll_lock", "futex")),
    ("allocations", ("malloc", "free", "operator new", "operator delete", "alloc_perturb")),
    ("system call stubs", ("recv", "write", "asynccancel", "gettimeofday", "clock_gettime")),
    ("copying and clearing", ("mem",)),
    ("C++ runtime, other", ("libstdc++",)),
    ("C library, other", ("libc.so", "ld-linux")),
)


def group_of(place, function):
    if place.startswith("libzelocobalt"):
        return "the library itself"
    for name, words in GROUPS:
        if any(word in function or word in place for word in words):
            return name
    return "other"


def measure(program):
    """{work: {"instructions": per frame, "allocations": per frame, "where": {group: per frame}}}"""
    with tempfile.TemporaryDirectory() as directory:
        base = pathlib.Path(directory) / "callgrind"
        environment = dict(os.environ, GLIBC_TUNABLES=PLAIN_X86_64, LD_BIND_NOW="1")
        run = subprocess.run(
            ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={base}", program],
            env=environment, stdout=subprocess.PIPE, check=True, timeout=300)
        dumps = callgrind.parts(base)
        return {work: figures(counted, callgrind.self_cost(dumps[work]), pathlib.Path(program).name)
                for work, counted in json.loads(run.stdout).items()}


def figures(counted, cost, program):
    where, functions = {}, {}
    for (place, function), instructions in cost.items():
        # syscall() is how the program itself waits.
        if place != program and function != "syscall":
            group = group_of(place, function)
            where[group] = where.get(group, 0) + instructions / counted["frames"]
            if group == "the library itself":
                functions[function] = functions.get(function, 0) + instructions / counted["frames"]
    return {"instructions": round(sum(where.values()), 1),
            "allocations": round(counted["allocations"] / counted["frames"], 3),
            "where": {name: round(count, 1) for name, count in sorted(where.items(), key=lambda item: -item[1])},
            "library": {name: round(count, 1) for name, count in functions.items() if count >= 1}}


def recordable(measured):
    """How a lone request finds the sender's locks depends a little on the machine's load."""
    return {work: {key: found[key] for key in ("instructions", "allocations")
                   if (work, key) != ("lone request", "instructions")}
            for work, found in measured.items()}


def complaints(measured, baseline):
    """What is beyond the tolerance, in either direction: a gain that nobody records is lost unnoticed."""
    found = []
    for work in sorted(set(baseline) | set(measured)):
        if work not in measured or work not in baseline:
            found.append(f"{work}: not {'measured' if work not in measured else 'recorded'}")
            continue
        for key, recorded in baseline[work].items():
            now = measured[work][key]
            if abs(now - recorded) > TOLERANCE * recorded:
                found.append(f"{work}: {now} {key} per frame, recorded are {recorded} ({now / recorded - 1:+.1%})")
    return found


def print_table(measured):
    works = list(measured)
    groups = sorted({group for work in works for group in measured[work]["where"]},
                    key=lambda group: -measured[works[0]]["where"].get(group, 0))
    print(f"{'instructions per frame':26}" + "".join(f"{work:>14}" for work in works))
    for group in groups:
        print(f"  {group:24}" + "".join(f"{measured[work]['where'].get(group, 0):14.1f}" for work in works))
    for key in ("instructions", "allocations"):
        print(f"{key:26}" + "".join(f"{measured[work][key]:14.3f}" for work in works))


def print_functions(measured):
    for work, found in measured.items():
        print(f"\n{work}: the library's own functions")
        for function, count in sorted(found["library"].items(), key=lambda item: -item[1]):
            print(f"  {count:8.1f}  {function[:100]}")


def main():
    parser = argparse.ArgumentParser(prog="./dev bench gate", description="Counts what a frame costs.")
    parser.add_argument("program", help=argparse.SUPPRESS)
    parser.add_argument("--record", action="store_true", help="make today's figures the recorded ones")
    parser.add_argument("--functions", action="store_true", help="also list the library's own functions")
    parser.add_argument("--json", metavar="FILE", help="write the figures there")
    arguments = parser.parse_args()
    measured = measure(arguments.program)
    print_table(measured)
    if arguments.functions:
        print_functions(measured)
    if arguments.json:
        pathlib.Path(arguments.json).write_text(json.dumps(measured, indent=2) + "\n")
    if arguments.record:
        BASELINE.write_text(json.dumps(recordable(measured), indent=2) + "\n")
        print(f"recorded in {BASELINE.name}")
        return 0
    wrong = complaints(measured, json.loads(BASELINE.read_text()))
    for line in wrong:
        print(line, file=sys.stderr)
    if wrong:
        print(RECORD, file=sys.stderr)
        return 1
    print(f"within {TOLERANCE:.0%} of what is recorded")
    return 0


if __name__ == "__main__":
    sys.exit(main())
