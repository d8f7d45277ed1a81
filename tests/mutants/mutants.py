#!/usr/bin/env python3
"""Breaks the library in one line after the other; the tests must notice each.

    mutants.py SOURCE WORK [FIRST [LAST]]
    mutants.py SOURCE                      only looks whether each mutation finds its line

Each worker has a copy of SOURCE and a build folder of its own below WORK. A mutation rebuilds what includes the changed
file, then one group of tests after the other until a test is red: those of the folder that has the name of the changed
file's folder first, the quickest tests of a group first, and before all others the test that was red the last time.
"""
import json
import os
import queue
import re
import shutil
import signal
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor, as_completed
from pathlib import Path

from mutations import MUTATIONS

TESTS_AT_ONCE = 4


class Test:
    """A test of CTest: of a program, which has to be built first, or of a script."""

    def __init__(self, entry, build):
        properties = {p["name"]: p["value"] for p in entry.get("properties", [])}
        self.name, self.command = entry["name"], entry.get("command", [])
        self.directory = properties.get("WORKING_DIRECTORY", str(build))
        self.expected = properties.get("PASS_REGULAR_EXPRESSION")
        is_program = any(word.startswith("--gtest_filter") for word in self.command)
        programs = [Path(word) for word in self.command if is_program and word.startswith(f"{build}/")]
        may_be_skipped = not is_program and "SKIP_REGULAR_EXPRESSION" in properties
        self.enabled = bool(self.command) and not properties.get("DISABLED") and not may_be_skipped
        self.program = programs[0].name if programs else None
        self.folder = programs[0].parent.name if programs else "scripts"


class Running:
    """The processes of a group, which end together."""

    def __init__(self):
        self.lock, self.processes, self.ended = threading.Lock(), set(), False

    def run(self, test, seconds):
        """Returns what turned the test red, or None."""
        with self.lock:
            if self.ended:
                return None
            process = subprocess.Popen(test.command, cwd=test.directory, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                       stdin=subprocess.DEVNULL, start_new_session=True)
            self.processes.add(process)
        try:
            output = process.communicate(timeout=seconds)[0].decode(errors="replace")
            green = re.search(test.expected[0], output) if test.expected else process.returncode == 0
            return None if green or self.ended else test.name
        except subprocess.TimeoutExpired:
            return f"{test.name} (took longer than {seconds:.0f} s)"
        finally:
            self.kill(process)
            with self.lock:
                self.processes.discard(process)

    def kill(self, process):
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.communicate()

    def end(self):
        with self.lock:
            self.ended = True
            for process in self.processes:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass


class Worker:
    def __init__(self, source, work):
        self.source, self.tree, self.build = source, work / "tree", work / "build"
        self.environment = dict(os.environ, CCACHE_BASEDIR=str(work), CCACHE_NOHASHDIR="1")
        self.groups = []

    def command(self, *words):
        """Returns whether the command ended well, and what it said."""
        done = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, env=self.environment)
        return done.returncode == 0, done.stdout.decode(errors="replace")

    def copy(self):
        """Copies what git knows, without touching what has not changed, and removes what it knows no more."""
        listed = subprocess.run(["git", "-C", self.source, "ls-files"], stdout=subprocess.PIPE, check=True).stdout.decode()
        wanted = {name for name in listed.split("\n") if name and (self.source / name).is_file()}
        for path in self.tree.rglob("*"):
            if path.is_file() and str(path.relative_to(self.tree)) not in wanted:
                path.unlink()
        for name in wanted:
            target = self.tree / name
            target.parent.mkdir(parents=True, exist_ok=True)
            if not target.exists() or target.read_bytes() != (self.source / name).read_bytes():
                shutil.copy(self.source / name, target)

    def prepare(self):
        self.copy()
        for words in (("cmake", "-S", str(self.tree), "-B", str(self.build), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                       "-DCMAKE_CXX_FLAGS=-O0 -g0", "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON", "-DZELO_BUILD_ZELOBOX=OFF"),
                      ("cmake", "--build", str(self.build))):
            good, output = self.command(*words)
            if not good:
                sys.exit(f"mutants: without a mutation: {output[-3000:]}")
        listed = subprocess.run(["ctest", "--test-dir", str(self.build), "--show-only=json-v1"], stdout=subprocess.PIPE,
                                check=True).stdout
        tests = [Test(entry, self.build) for entry in json.loads(listed)["tests"]]
        folders = {}
        for test in tests:
            if test.enabled:
                folders.setdefault(test.folder, []).append(test)
        self.groups = list(folders.values())

    def measure(self):
        """Runs all tests without a mutation. Returns how long each took; ends the program if one is red."""
        durations, running = {}, Running()

        def take(test):
            begin = time.monotonic()
            red = running.run(test, 180)
            durations[test.name] = time.monotonic() - begin
            return red

        with ThreadPoolExecutor(2 * TESTS_AT_ONCE) as pool:
            red = [name for name in pool.map(take, [test for group in self.groups for test in group]) if name]
        if red:
            sys.exit(f"mutants: without a mutation: {red}")
        return durations

    def run_group(self, group, durations):
        """Returns the first test that is red, or None."""
        running = Running()
        with ThreadPoolExecutor(TESTS_AT_ONCE) as pool:
            limits = [5 + 5 * durations[test.name] for test in group]
            futures = [pool.submit(running.run, test, limit) for test, limit in zip(group, limits)]
            for future in as_completed(futures):
                if future.result():
                    running.end()
                    return future.result()
        return None

    def notice(self, name, durations, last_red):
        """Builds and tests until a test is red. Returns it, or None."""
        folder = Path(name).parent.name
        order = sorted(self.groups, key=lambda group: (group[0].folder == "scripts", group[0].folder != folder,
                                                       sum(durations[test.name] for test in group)))
        everything = sorted((test for group in order for test in group), key=lambda test: durations[test.name])
        first = [test for test in everything if last_red and last_red.split(" ")[0] == test.name]
        for group in ([first] if first else []) + order:
            programs = sorted({test.program for test in group if test.program}) or ["all"]
            built, output = self.command("cmake", "--build", str(self.build), "--target", *programs)
            if not built:
                return "not compiled: " + output[-300:]
            red = self.run_group(sorted(group, key=lambda test: durations[test.name]), durations)
            if red:
                return red
        return None


class Run:
    def __init__(self, workers, work, numbers):
        self.workers, self.numbers = workers, numbers
        self.known_file = work / "noticed.json"
        self.known = json.loads(self.known_file.read_text()) if self.known_file.exists() else {}
        self.durations, self.results, self.lock = {}, {}, threading.Lock()

    def serve(self, worker, waiting):
        while True:
            try:
                number = waiting.get_nowait()
            except queue.Empty:
                return
            name, old, new = MUTATIONS[number - 1]
            file, original = worker.tree / name, (worker.tree / name).read_text()
            begin, key = time.monotonic(), f"{name}: {old!r} -> {new!r}"
            file.write_text(original.replace(old, new))
            try:
                red = worker.notice(name, self.durations, self.known.get(key))
            finally:
                file.write_text(original)
            with self.lock:
                self.results[number] = red
                if red and not red.startswith("not compiled"):
                    self.known[key] = red
                self.known_file.write_text(json.dumps(self.known, indent=1))
                print(f"{number:3} of {len(MUTATIONS)}, {time.monotonic() - begin:4.0f} s, {key}: {red or 'SURVIVED'}",
                      flush=True)

    def all(self):
        waiting = queue.Queue()
        for number in self.numbers:
            waiting.put(number)
        threads = [threading.Thread(target=self.serve, args=(worker, waiting)) for worker in self.workers]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        survivors = sorted(number for number, red in self.results.items() if red is None)
        invalid = sorted(number for number, red in self.results.items() if red and red.startswith("not compiled"))
        return survivors, invalid


def check_places(tree):
    lost = [f"mutants: {name} does not hold this once: {old}"
            for name, old, _ in MUTATIONS if (tree / name).read_text().count(old) != 1]
    if lost:
        sys.exit("\n".join(lost))


def main():
    source = Path(sys.argv[1]).resolve()
    check_places(source)
    if len(sys.argv) == 2:
        return
    work = Path(sys.argv[2]).resolve()
    first = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    last = int(sys.argv[4]) if len(sys.argv) > 4 else len(MUTATIONS)
    begin = time.monotonic()
    workers = [Worker(source, work / f"worker{i}") for i in range(os.cpu_count())]
    for worker in workers:
        worker.prepare()
    run = Run(workers, work, range(first, last + 1))
    run.durations = workers[0].measure()
    print(f"{len(run.durations)} tests, ready after {time.monotonic() - begin:.0f} s", flush=True)
    survivors, invalid = run.all()
    print(f"{last - first + 1} mutations in {time.monotonic() - begin:.0f} s, {len(survivors)} survived: {survivors}, "
          f"{len(invalid)} not compiled: {invalid}")
    sys.exit(1 if survivors or invalid else 0)


if __name__ == "__main__":
    main()
