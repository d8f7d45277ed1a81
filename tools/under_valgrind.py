#!/usr/bin/env python3
"""Runs a build's tests under a tool of Valgrind: under_valgrind.py BUILD LOGS TOOL [CTEST-ARGUMENT...]

Fails if the tool reports anything. A test that fails without a report is listed as well: it measured time, which goes
slower here, or it compares addresses or memory, which are Valgrind's here.
"""
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

OPTIONS = {"memcheck": ["--leak-check=full", "--show-leak-kinds=definite", "--errors-for-leak-kinds=definite"],
           "helgrind": []}


def tests(build, arguments):
    """[(name, command, directory)] of the tests that run a program of the build"""
    listed = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1", *arguments], stdout=subprocess.PIPE,
                            check=True)
    found = []
    for test in json.loads(listed.stdout)["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test["properties"]}
        if any(part.startswith(build + "/") for part in test.get("command", [])) and not properties.get("DISABLED"):
            found.append((test["name"], test["command"], properties.get("WORKING_DIRECTORY", build)))
    return found


def run(test, build, logs, tool):
    """(name, whether it passed, what the tool reported)"""
    name, command, directory = test
    log = logs / re.sub(r"\W", "_", name)
    program = next(index for index, part in enumerate(command) if part.startswith(build + "/"))
    # A child that a test forks to see it die has this process's memory, and no time to give it back.
    valgrind = ["valgrind", "--quiet", f"--tool={tool}", *OPTIONS[tool], "--child-silent-after-fork=yes",
                f"--log-file={log}.%p"]
    try:
        done = subprocess.run(command[:program] + valgrind + command[program:], cwd=directory, timeout=600, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        passed, output = done.returncode == 0, done.stdout
    except subprocess.TimeoutExpired as error:
        passed, output = False, error.stdout or b""
    log.with_suffix(".out").write_bytes(output)
    said = "".join(file.read_text(errors="replace") for file in logs.glob(f"{log.name}.[0-9]*"))
    # Lines between -- are about Valgrind itself: a system call or an unusual situation that it does not know.
    reports = "".join(line for line in said.splitlines(keepends=True) if not re.match(r"--\d+--", line)).strip()
    return name, passed, reports


def main():
    build, logs, tool = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2]).resolve(), sys.argv[3]
    logs.mkdir(parents=True, exist_ok=True)
    for file in logs.iterdir():
        file.unlink()
    chosen = tests(build, sys.argv[4:])
    reported, failed = [], []
    with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
        running = [pool.submit(run, test, build, logs, tool) for test in chosen]
        for number, future in enumerate(concurrent.futures.as_completed(running), 1):
            name, passed, reports = future.result()
            print(f"{number:4} of {len(chosen)}  {'REPORT' if reports else 'passed' if passed else 'failed'}  {name}",
                  flush=True)
            if reports:
                reported.append(name)
                print(reports)
            elif not passed:
                failed.append(name)
    print(f"{len(chosen)} tests under {tool}: {len(reported)} with a report {reported}, {len(failed)} failed without "
          f"{failed}")
    sys.exit(1 if reported or not chosen else 0)


main()
