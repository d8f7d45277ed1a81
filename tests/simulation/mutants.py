#!/usr/bin/env python3
"""Breaks the library's threads in one place after the other and lets the simulation find it.

mutants.py BUILD WORK [--seeds N] [--preemptions N [--whole]] [FIRST [LAST]]

BUILD is a build directory with the program simulate. The library's sources are copied to WORK, compiled and linked there
with the rest of the program. Prints for each mutation the seeds that it took; ends badly if one is not found.
With --preemptions every schedule of each small scene takes the place of the seeds.
"""
import argparse
import json
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

from mutations import MUTATIONS

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
FOLDERS = ("src", "cobalt", "inc")


def instrumented(build):
    """Returns source -> the compiler's arguments."""
    commands = json.loads((build / "compile_commands.json").read_text())
    found = {}
    for entry in commands:
        if "zelo_instrumented.dir" in entry["command"]:
            source = Path(entry["file"]).relative_to(ROOT)
            words = entry["command"].split()
            found[source] = [word for word in words if not word.endswith("ccache")]
    return found


def compile_one(tree, source, words, target):
    """Compiles a source of the tree as the build does."""
    out = list(words)
    out[out.index("-o") + 1] = str(target)
    out[out.index("-c") + 1] = str(tree / source)
    out = [word.replace(f"-I{ROOT}", f"-I{tree}") for word in out] + ["-w"]  # a mutation may leave something unused
    return subprocess.run(out, cwd=tree, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)


def link(build, work, objects):
    """Returns the linked program."""
    program = work / "simulate"
    subprocess.run([HERE / "isolate.sh", "nm", "objcopy", "ld", work / "library.o", *objects], check=True)
    rest = sorted((build / "tests/simulation/CMakeFiles/simulate.dir").glob("*.o"))
    subprocess.run(["g++", "-no-pie", "-o", program, *rest, work / "library.o", "-lpthread", "-ldl"], check=True)
    return program


def search(program, seeds):
    """Returns the number of seeds that it took, and the promise; None if none is broken."""
    command = [program, "--seeds", str(seeds), "--quiet", "--shrink-runs", "0"]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, timeout=1800)
    text = done.stdout.decode(errors="replace")
    promise = re.search(r"^scene (\S+) breaks a promise: (.*)$", text, re.MULTILINE)
    if done.returncode == 0:
        return None
    if promise is None:
        sys.exit(f"mutants: the simulation itself failed:\n{text[-2000:]}")
    count = re.search(r"(\d+) seeds ", text)
    return f"{count.group(1)} seeds, scene {promise.group(1)}: {promise.group(2)}"


def search_exhaustively(program, preemptions, whole):
    """Returns the first small scene with a broken promise and the schedules that it took; None if all are kept."""
    scenes = subprocess.run([program, "--list"], stdout=subprocess.PIPE, check=True).stdout.decode()
    for scene in re.findall(r"^ *(\S+) .*\(small\)$", scenes, re.MULTILINE):
        command = [program, "--scene", scene, "--preemptions", str(preemptions), "--quiet", "--shrink-runs", "0"]
        done = subprocess.run(command + ["--whole"] * whole, stdout=subprocess.PIPE, check=False, timeout=1800)
        text = done.stdout.decode(errors="replace")
        count = re.search(r"(\d+) schedules", text)
        promise = re.search(r"breaks a promise: (.*)$", text, re.MULTILINE)
        if done.returncode != 0:
            return f"{count.group(1)} schedules, scene {scene}: {promise.group(1)}"
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("work", type=Path)
    parser.add_argument("--seeds", type=int, default=20000)
    parser.add_argument("--preemptions", type=int)
    parser.add_argument("--whole", action="store_true")
    parser.add_argument("first", type=int, nargs="?", default=1)
    parser.add_argument("last", type=int, nargs="?", default=len(MUTATIONS))
    options = parser.parse_args()
    build, work = options.build.resolve(), options.work.resolve()
    tree = work / "tree"
    shutil.rmtree(work, ignore_errors=True)
    for folder in FOLDERS:
        shutil.copytree(ROOT / folder, tree / folder)
    commands = instrumented(build)
    genuine = {source: build / words[words.index("-o") + 1] for source, words in commands.items()}
    survivors = []
    for number in range(options.first, options.last + 1):
        name, old, new = MUTATIONS[number - 1]
        begin = time.monotonic()
        original = (tree / name).read_text()
        if original.count(old) != 1:
            sys.exit(f"mutants: {name} does not hold this once: {old}")
        (tree / name).write_text(original.replace(old, new))
        objects = dict(genuine)
        failed = None
        for source in commands if name.endswith(".h") else [Path(name)]:
            objects[source] = work / (str(source).replace("/", "_") + ".o")
            done = compile_one(tree, source, commands[source], objects[source])
            failed = failed or (done.stdout.decode() if done.returncode != 0 else None)
        (tree / name).write_text(original)
        if failed:
            sys.exit(f"mutants: number {number} does not compile: {failed[-1000:]}")
        program = link(build, work, objects.values())
        if options.preemptions is None:
            found = search(program, options.seeds)
        else:
            found = search_exhaustively(program, options.preemptions, options.whole)
        print(f"{number:3} of {len(MUTATIONS)}, {time.monotonic() - begin:4.0f} s, {name}: {old!r} -> {new!r}: "
              f"{found or 'NOT FOUND'}", flush=True)
        if found is None:
            survivors.append(number)
    print(f"{options.last - options.first + 1} mutations, {len(survivors)} not found: {survivors}")
    sys.exit(1 if survivors else 0)


main()
