#!/usr/bin/env python3
"""Prints what the release build of the library costs, and fails when a budget is exceeded.

    size_report.py LIBRARY --tools PREFIX --map LINKER_MAP --weigh COMMAND...

The table by object file comes from the map of a build without link-time optimisation, which alone knows the objects;
the sums are those of the library itself.
"""
import argparse
import collections
import json
import os
import re
import subprocess
import sys

BUDGETS = {"text + data": 36 * 1024, "heap at rest": 64 * 1024, "wake-ups per second": 10}


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def sections(prefix, library):
    """text, data and bss as the size tool counts them"""
    numbers = output(prefix + "size", library).splitlines()[1].split()
    return [int(number) for number in numbers[:3]]


def relocations(prefix, library):
    kinds = re.findall(r"\bR_[A-Z0-9_]+", output(prefix + "readelf", "-rW", library))
    return collections.Counter(kinds)


def dependencies(prefix, library):
    return re.findall(r"\(NEEDED\).*\[(.+)\]", output(prefix + "readelf", "-dW", library))


def by_object(map_file):
    """What the linker kept of every object: name -> [code, read-only data, data, bss]"""
    kinds = [(".text", 0), (".rodata", 1), (".ARM", 1), (".data", 2), (".init_array", 2), (".bss", 3)]
    table = collections.defaultdict(lambda: [0, 0, 0, 0])
    with open(map_file, encoding="utf-8") as file:
        text = file.read().split("Linker script and memory map", 1)[1]
    # A long section name stands on a line of its own.
    for name, size, origin in re.findall(r"^ (\.\S+)\s+0x[0-9a-f]+\s+0x([0-9a-f]+) (\S+\.o)\)?$", text, re.MULTILINE):
        short = re.sub(r"(.*CMakeFiles/[^/]+\.dir/)|(\.o$)", "", origin) if "CMakeFiles" in origin else "(start files)"
        for prefix, column in kinds:
            if name.startswith(prefix):
                table[short][column] += int(size, 16)
                break
    return table


def print_objects(table):
    print(f"\n{'object':40} {'code':>7} {'r/o':>7} {'data':>6} {'bss':>6}")
    for name, row in sorted(table.items(), key=lambda item: -sum(item[1])):
        if sum(row):
            print(f"{name:40} {row[0]:7} {row[1]:7} {row[2]:6} {row[3]:6}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("library")
    parser.add_argument("--tools", default="", help="prefix of the binary tools, for example arm-linux-gnueabihf-")
    parser.add_argument("--map", help="linker map of a build without link-time optimisation")
    parser.add_argument("--weigh", nargs=argparse.REMAINDER, help="command that prints the run-time figures as JSON")
    arguments = parser.parse_args()

    text, data, bss = sections(arguments.tools, arguments.library)
    kinds = relocations(arguments.tools, arguments.library)
    figures = {"file": os.path.getsize(arguments.library), "text": text, "data": data, "bss": bss,
               "text + data": text + data, "relocations": sum(kinds.values())}
    if arguments.weigh:
        rest = json.loads(output(*arguments.weigh))
        figures.update({"threads": rest["threads"], "heap at rest": rest["heap_at_rest"],
                        "heap at most": rest["heap_peak"], "stack used, receiving thread": rest["stack_client"],
                        "stack used, sending thread": rest["stack_sender"],
                        "wake-ups per second": rest["wakeups_per_second"]})
    for name, figure in figures.items():
        budget = BUDGETS.get(name)
        print(f"{name:30} {figure:>8}" + (f"   of {budget}" if budget else ""))
    print(f"{'relocations by kind':30} " + ", ".join(f"{count} {kind}" for kind, count in kinds.most_common()))
    print(f"{'needs':30} " + ", ".join(dependencies(arguments.tools, arguments.library)))
    if arguments.map:
        print_objects(by_object(arguments.map))
    over = [name for name, budget in BUDGETS.items() if round(figures.get(name, 0)) > budget]
    for name in over:
        print(f"over budget: {name}", file=sys.stderr)
    return 1 if over else 0


if __name__ == "__main__":
    sys.exit(main())
