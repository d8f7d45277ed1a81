#!/usr/bin/env python3
"""Applies one mutation after the other and runs the suite: mutants.py SOURCE WORK [FIRST [LAST]]

SOURCE is copied to WORK first. A mutation that no test notices survives, and is listed at the end.
"""
import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

from mutations import MUTATIONS


def run(*command, seconds=1800):
    """Returns whether the command ended well, and what it said."""
    try:
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=seconds, check=False)
    except subprocess.TimeoutExpired:
        return False, "took too long"
    return done.returncode == 0, done.stdout.decode(errors="replace")


def copy(source, tree):
    """Copies what git knows, without touching what has not changed."""
    listed = subprocess.run(["git", "-C", source, "ls-files"], stdout=subprocess.PIPE, check=True).stdout.decode()
    for name in listed.split():
        target = tree / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists() or target.read_bytes() != (source / name).read_bytes():
            shutil.copy(source / name, target)


def by_duration(build):
    """What selects the tests that took little in the last run, with its limit in seconds; and the others."""
    cost = dict(re.findall(r"^(.*) \d+ (\S+)$", (build / "Testing/Temporary/CTestCostData.txt").read_text(), re.MULTILINE))
    _, listed = run("ctest", "--test-dir", str(build), "--show-only")
    names = re.findall(r"^ *Test +#(\d+): (.*)$", listed, re.MULTILINE)
    quick = [number for number, name in names if float(cost.get(name, 1)) < 0.1]
    slow = [number for number, _ in names if number not in set(quick)]
    return [(limit, ["-I", "0,0,0," + ",".join(numbers)]) for limit, numbers in ((15, quick), (120, slow))]


def test(build, seconds, selection):
    """Returns None if each test is green within so many seconds, otherwise what turned them red."""
    green, output = run("ctest", "--test-dir", str(build), f"-j{2 * os.cpu_count()}", "--stop-on-failure", "--timeout",
                        str(seconds), *selection)
    failed = re.search(r"Test +#\d+: (\S+) \.*\s*\*\*\*", output)
    return None if green else failed.group(1) if failed else output[-300:]


def suite(build, parts):
    """Builds and tests, one part of the tests after the other. Returns what turned it red, or None."""
    built, _ = run("cmake", "--build", str(build))
    if not built:
        return "not compiled"
    return next((red for red in (test(build, *part) for part in parts) if red), None)


def main():
    source, work = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    first = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    last = int(sys.argv[4]) if len(sys.argv) > 4 else len(MUTATIONS)
    tree, build = work / "tree", work / "build"
    copy(source, tree)
    for name, old, _ in MUTATIONS:
        if (tree / name).read_text().count(old) != 1:
            sys.exit(f"mutants: {name} does not hold this once: {old}")
    configured, output = run("cmake", "-S", str(tree), "-B", str(build), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                             "-DCMAKE_CXX_FLAGS=-O0 -g0")
    red = suite(build, [(120, [])]) if configured else output
    if red is not None:
        sys.exit(f"mutants: without a mutation: {red}")
    parts = by_duration(build)
    survivors, invalid = [], []
    for number in range(first, last + 1):
        name, old, new = MUTATIONS[number - 1]
        file, original = tree / name, (tree / name).read_text()
        begin = time.monotonic()
        file.write_text(original.replace(old, new))
        result = suite(build, parts)
        file.write_text(original)
        print(f"{number:3} of {len(MUTATIONS)}, {time.monotonic() - begin:4.0f} s, {name}: {old!r} -> {new!r}: "
              f"{result or 'SURVIVED'}", flush=True)
        if result is None:
            survivors.append(number)
        if result == "not compiled":
            invalid.append(number)
    print(f"{last - first + 1} mutations, {len(survivors)} survived: {survivors}, {len(invalid)} not compiled: {invalid}")
    sys.exit(1 if survivors or invalid else 0)


main()
