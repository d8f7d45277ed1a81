#!/usr/bin/env python3
"""Runs the benchmarks in rounds, one contender after the other, and keeps every figure in a JSON file.

Whatever disturbs the machine for a while disturbs neighbours of one round alike, so ratios are made within a round.
The floor runs twice in each round: how it compares with itself is the noise.
"""
import argparse
import json
import os
import pathlib
import platform
import re
import subprocess
import sys
import time

FLOOR, DEAF_FLOOR, LIBRARY = "floor", "deaf floor", "library"
CONTENDERS = {FLOOR: "side_floor", LIBRARY: "side_library", "sd-bus": "side_sdbus", "libdbus": "side_libdbus",
              "ZeroMQ": "side_zeromq", "nng": "side_nng", DEAF_FLOOR: "side_deaf_floor", "floor again": "side_floor"}
INBOUND = tuple(name for name in CONTENDERS if name != DEAF_FLOOR)
PINNINGS = ("one", "two", "free")
SIZES = tuple(4 ** power for power in range(1, 13))
LENGTHS = (0, 16, 256, 1024, 4096, 16384, 32768, 49152, 65534)
RATES = (100, 300, 1000, 3000, 10000, 30000, 100000)

# name: (work and its options, who takes part)
SIDE_BY_SIDE = {
    "inbound 4 B": (["inbound", "--size", "4"], INBOUND),
    "inbound 1 KiB": (["inbound", "--size", "1024"], INBOUND),
    "inbound 64 KiB": (["inbound", "--size", "65536"], INBOUND),
    "lone key, written apart": (["lone-apart"], INBOUND),
    "lone key, written at once": (["lone-whole"], INBOUND),
    "outbound, 1 thread": (["outbound"], None),
    "outbound, 4 threads": (["outbound", "--threads", "4"], None),
    "lone request": (["request"], None),
    "push, 1 thread": (["push"], (LIBRARY,)),
    "push, 4 threads": (["push", "--threads", "4"], (LIBRARY,)),
    "push, far faster than the link": (["push-flood"], (LIBRARY,)),
    "push, each ms": (["push-paced", "--count", "300"], (LIBRARY,)),
    "push, nobody reads": (["push-stalled"], (LIBRARY,)),
}


class Runner:
    def __init__(self, directory, options):
        self.directory = pathlib.Path(directory)
        self.options = options
        self.failures = []
        self.begin = time.monotonic()

    def json_of(self, program, *arguments):
        """What a program prints, or None if it fails, which is noted."""
        command = [str(self.directory / program), *map(str, arguments)]
        try:
            run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60, check=True)
            return json.loads(run.stdout)
        except (subprocess.SubprocessError, json.JSONDecodeError) as error:
            said = (getattr(error, "stderr", None) or b"").decode(errors="replace").strip()
            self.failures.append(f"{program} {' '.join(command[1:])}: {said or error}")
            return None

    def progress(self, done, total, what):
        line = f"{time.monotonic() - self.begin:5.0f} s  {done * 100 // total:3d} %  {what}"
        if sys.stderr.isatty():
            print(f"\r\033[K{line}", end="" if done < total else "\n", file=sys.stderr, flush=True)
        elif done == total:
            print(line, file=sys.stderr, flush=True)

    def rounds(self, title, measurements, rounds):
        """measurements: {key: function}; {key: [figure of each round]}, with None where one failed"""
        figures = {key: [] for key in measurements}
        for number in range(rounds):
            for index, (key, measure) in enumerate(measurements.items()):
                figures[key].append(measure())
                self.progress(number * len(measurements) + index + 1, rounds * len(measurements),
                              f"{title}: {key if isinstance(key, str) else ' '.join(map(str, key))}")
        return figures


def present(runner):
    there = {name: program for name, program in CONTENDERS.items() if (runner.directory / program).exists()}
    for name in CONTENDERS.keys() - there.keys():
        print(f"left out, because it was not built: {name}", file=sys.stderr)
    return there


def side_by_side(runner, works):
    found = {}
    for work in works:
        command, only = SIDE_BY_SIDE[work]
        contenders = {name: program for name, program in present(runner).items() if only is None or name in only}
        duration = ["--ms", runner.options["ms"]]
        for pinning in PINNINGS:
            if pinning == "two" and (os.cpu_count() or 1) < 2:
                continue
            measurements = {
                name: lambda program=program: runner.json_of(program, *command, *duration, "--pin", pinning)
                for name, program in contenders.items()}
            found.setdefault(work, {})[pinning] = runner.rounds(f"{work}, {pinning}", measurements,
                                                                runner.options["rounds"])
    return found


def sizes(runner):
    programs = {name: CONTENDERS[name] for name in (FLOOR, LIBRARY)}
    measurements = {
        (name, str(size)): lambda program=program, size=size: runner.json_of(
            program, "inbound", "--size", size, "--ms", runner.options["ms"], "--pin", "two")
        for size in SIZES for name, program in programs.items()}
    figures = runner.rounds("payload sizes", measurements, runner.options["growth_rounds"])
    return {name: {str(size): figures[name, str(size)] for size in SIZES} for name in programs}


def life(runner, work, numbers):
    library = runner.directory.parent / "libzelocobalt.so"
    measurements = {str(number): lambda number=number: runner.json_of("lifecycle_costs", library, work, number)
                    for number in numbers}
    return runner.rounds(work, measurements, runner.options["growth_rounds"])


def start_and_stop(runner):
    library = runner.directory.parent / "libzelocobalt.so"
    return runner.json_of("lifecycle_costs", library, "start", runner.options["starts"])


def stops(runner):
    """What library_stops measures, by what it was asked for."""
    library = runner.directory.parent / "libzelocobalt.so"
    options = runner.options
    works = {"idle": ("idle", options["stops"]), "backoff": ("backoff", options["stops"] // 5),
             "deaf": ("deaf", options["stops"] // 5), "full": ("full", options["stops"] // 10),
             "decode": ("decode", options["stops"] // 5),
             "lost": ("lost", options["lost"]), "lost, 1,000 queued": ("lost", options["lost"] // 10, 1000),
             "lost, busy cores": ("lost", options["lost"], 1, os.cpu_count() or 1),
             "flood": ("flood", options["flood_seconds"])}
    return {name: runner.json_of("library_stops", library, *work) for name, work in works.items()}


def rest(runner):
    library = runner.directory.parent / "libzelocobalt.so"
    return [runner.json_of("lifecycle_costs", library, "rest", runner.options["rest_seconds"])
            for _ in range(runner.options["growth_rounds"])]


def gate(runner):
    output = runner.directory / "gate.json"
    run = subprocess.run([str(pathlib.Path(__file__).parent / "gate" / "gate.py"), str(runner.directory / "frames_count"),
                          "--json", str(output)], stdout=subprocess.DEVNULL)
    if run.returncode:
        runner.failures.append("the gate")
    return json.loads(output.read_text())


def micro(runner):
    if not (runner.directory / "micro").exists():
        return None
    found = runner.json_of("micro", "--benchmark_format=json", "--benchmark_repetitions=5",
                           f"--benchmark_min_time={runner.options['micro_seconds']}",
                           "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true")
    return found and {entry["name"]: entry["cpu_time"] for entry in found["benchmarks"] if entry["name"].endswith("median")}


def machine():
    cpu = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    compiler = subprocess.run(["g++", "--version"], stdout=subprocess.PIPE, text=True, check=True)
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    system = platform.freedesktop_os_release().get("PRETTY_NAME", "") if hasattr(platform, "freedesktop_os_release") else ""
    return {"cpu": cpu.group(1) if cpu else platform.machine(), "processors": os.cpu_count(),
            "memory_gib": round(memory / 2 ** 30, 1), "kernel": platform.release(), "system": system,
            "compiler": compiler.stdout.splitlines()[0], "libc": " ".join(platform.libc_ver()),
            "build": "preset bench: -O2, link-time optimisation", "date": time.strftime("%Y-%m-%d"),
            "load_at_begin": os.getloadavg()[0]}


PARTS = {"sizes": sizes, "config": lambda runner: life(runner, "config", LENGTHS),
         "stalled": lambda runner: life(runner, "stalled", RATES), "start": start_and_stop, "rest": rest, "stops": stops,
         "gate": gate, "micro": micro}
FULL = {"rounds": 9, "ms": 150, "growth_rounds": 5, "starts": 40, "rest_seconds": 10, "micro_seconds": 0.1,
        "stops": 50, "lost": 500, "flood_seconds": 30}
QUICK = {"rounds": 1, "ms": 50, "growth_rounds": 1, "starts": 5, "rest_seconds": 2, "micro_seconds": 0.01,
         "stops": 10, "lost": 10, "flood_seconds": 2}


def main():
    parser = argparse.ArgumentParser(
        prog="./dev bench", description="Measures the library, side by side with the floor and with others.",
        epilog="Works: " + "; ".join(SIDE_BY_SIDE) + ". Parts: " + ", ".join(PARTS) + ".")
    parser.add_argument("directory", help=argparse.SUPPRESS)
    parser.add_argument("names", nargs="*", metavar="name", help="the beginning of a work's or a part's name; all by default")
    parser.add_argument("--quick", action="store_true", help="one short round, in under a minute: whether all works")
    parser.add_argument("--rounds", type=int, help="of the side-by-side works")
    parser.add_argument("--output", required=True, help="the JSON file; what is not measured stays as it was")
    arguments = parser.parse_intermixed_args()
    options = dict(QUICK if arguments.quick else FULL)
    if arguments.rounds:
        options["rounds"] = arguments.rounds
    chosen = [name for name in [*SIDE_BY_SIDE, *PARTS]
              if not arguments.names or any(name.startswith(wanted) for wanted in arguments.names)]
    if not chosen:
        parser.error(f"nothing is called {' '.join(arguments.names)}")

    runner = Runner(arguments.directory, options)
    output = pathlib.Path(arguments.output)
    results = json.loads(output.read_text()) if output.exists() and arguments.names else {}
    results.update(machine=machine(), options=options)
    results.setdefault("side_by_side", {}).update(side_by_side(runner, [name for name in chosen if name in SIDE_BY_SIDE]))
    for name in chosen:
        if name in PARTS:
            print(f"{name} ...", file=sys.stderr)
            results[name] = PARTS[name](runner)
    results["failures"] = runner.failures
    results["machine"]["load_at_end"] = os.getloadavg()[0]
    output.write_text(json.dumps(results, indent=1) + "\n")
    for failure in runner.failures:
        print(f"failed: {failure}", file=sys.stderr)
    print(f"{time.monotonic() - runner.begin:.0f} s; figures in {output}", file=sys.stderr)
    return 1 if runner.failures else 0


if __name__ == "__main__":
    sys.exit(main())
