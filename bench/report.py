#!/usr/bin/python3
"""Writes tables and plots of a run into docs/performance.md: what stands between a pair of marks is replaced."""
import argparse
import json
import pathlib
import statistics
import sys

from figures import AGAIN, FLOOR, LIBRARY, key_of, ratios

PINNINGS = {"one": "one core", "two": "two cores", "free": "not pinned"}


class Spread:
    """Median with the middle half of the figures."""

    def __init__(self, figures):
        figures = sorted(figures)
        self.median = statistics.median(figures)
        quarter = (len(figures) - 1) // 4
        self.low, self.high = figures[quarter], figures[-1 - quarter]

    def text(self, digits=2):
        return f"{self.median:,.{digits}f} ({self.low:,.{digits}f} to {self.high:,.{digits}f})"


def spread(figures):
    return Spread(figures) if figures else None


def cell(figures, digits=2):
    found = spread(figures)
    return found.text(digits) if found else "not measured"


def table(head, rows):
    lines = ["| " + " | ".join(map(str, row)) + " |" for row in [head, ["---"] * len(head), *rows]]
    return "\n".join(lines)


def machine_table(results):
    facts = results["machine"]
    options = results["options"]
    rows = [("Processor", f"{facts['cpu']}, {facts['processors']} processors"), ("Memory", f"{facts['memory_gib']} GiB"),
            ("System", f"{facts['system']}, Linux {facts['kernel']}, {facts['libc']}"), ("Compiler", facts["compiler"]),
            ("Build", facts["build"]), ("Date", facts["date"]),
            ("Load when the run began and ended", f"{facts['load_at_begin']:.1f}, {facts['load_at_end']:.1f}"),
            ("Rounds", f"{options['rounds']} of {options['ms']} ms"),
            ("Failed measurements", "; ".join(results["failures"]) or "none")]
    return table(("", ""), rows)


def side_tables(results):
    text = []
    for work, pinnings in results["side_by_side"].items():
        if FLOOR not in next(iter(pinnings.values())):
            continue
        key = key_of(next(iter(pinnings.values()))[FLOOR])
        text.append(f"### {work}\n")
        unit = "time per frame" if key == "ns" else "median latency"
        text.append(f"{unit.capitalize()} as a ratio to the floor; the floor itself in microseconds.\n")
        names = list(next(iter(pinnings.values())))
        rows = []
        for pinning, contenders in pinnings.items():
            floor = contenders[FLOOR]
            rows.append([PINNINGS[pinning], cell([f[key] / 1000 for f in floor if f])] +
                        [cell(ratios(contenders[name], floor, key)) for name in names if name != FLOOR])
        text.append(table(["", FLOOR, *(name for name in names if name != FLOOR)], rows) + "\n")
    return "\n".join(text)


def tail_table(results):
    rows = []
    for work, pinnings in results["side_by_side"].items():
        if not work.startswith("lone"):
            continue
        for pinning, contenders in pinnings.items():
            rows.append([f"{work}, {PINNINGS[pinning]}"] +
                        [cell([f["p99"] / 1000 for f in contenders[name] if f], 0) for name in (FLOOR, AGAIN, LIBRARY)])
    return table(("p99 in microseconds", FLOOR, AGAIN, LIBRARY), rows)


def push_table(results):
    rows = []
    for work, pinnings in results["side_by_side"].items():
        if not work.startswith("push"):
            continue
        for pinning, contenders in pinnings.items():
            found = [f for f in contenders[LIBRARY] if f]
            rows.append([f"{work}, {PINNINGS[pinning]}"] +
                        [cell([f[key] / 1000 for f in found]) for key in ("p50", "p99", "max")])
    return table(("a push, in microseconds", "p50", "p99", "longest"), rows)


def instruction_table(results):
    measured = results["gate"]
    works = list(measured)
    groups = sorted({group for work in works for group in measured[work]["where"]},
                    key=lambda group: -measured[works[0]]["where"].get(group, 0))
    rows = [[group] + [f"{measured[work]['where'].get(group, 0):,.0f}" for work in works] for group in groups]
    rows += [["**all**"] + [f"**{measured[work]['instructions']:,.0f}**" for work in works],
             ["allocations"] + [f"{measured[work]['allocations']:.3f}" for work in works]]
    return table(["per frame", *works], rows)


def stop_table(results):
    found = results["stops"]
    rows = []
    for name, title in (("idle", "connected, at rest"), ("backoff", "in the back-off"),
                        ("deaf", "beside a peer that does not read, 1,000 requests queued"),
                        ("full", "likewise, 131,000 queued"),
                        ("decode", "while 20 million empty texts, 100 MB, are decoded")):
        times = sorted(found[name]["stop_ms"])
        rows.append((title, str(len(times)), f"{statistics.median(times):,.1f}",
                     f"{times[min(len(times) - 1, len(times) * 99 // 100)]:,.1f}", f"{times[-1]:,.1f}"))
    text = table(("a stop, in milliseconds", "stops", "p50", "p99", "longest"), rows) + "\n\n"
    rows = [(title, f"{found[name]['stops']:,}", f"{found[name]['requests']:,}", f"{found[name]['lost']:,}")
            for name, title in (("lost", "one request"), ("lost, 1,000 queued", "1,000 requests"),
                                ("lost, busy cores", "one request, a busy process for each core"))]
    text += table(("directly before a stop", "stops", "requests", "lost"), rows) + "\n\n"
    flood, rest = found["flood"], [figure for figure in results.get("rest", []) if figure]
    rows = [(f"configurations from a peer that never reads, {flood['seconds']} s", f"{flood['connections']:,} connections",
             f"{flood['growth_kib'] / 1024:,.1f} MiB more memory at most")]
    if rest:
        wakeups = statistics.median(figure["wakeups_per_second"] for figure in rest)
        rows.append(("at rest", f"{wakeups:.1f} wake-ups a second", "both threads"))
    return text + table(("beside it", "", ""), rows)


def micro_table(results):
    if not results.get("micro"):
        return "Not measured."
    return table(("part", "nanoseconds"), [(name.removesuffix("_median"), f"{time:,.1f}")
                                           for name, time in results["micro"].items()])


def pooled(results, work, name, key):
    """{pinning: ratios to the floor}"""
    pinnings = results["side_by_side"].get(work, {})
    return {pinning: ratios(contenders[name], contenders[FLOOR], key)
            for pinning, contenders in pinnings.items() if name in contenders and FLOOR in contenders}


def ratio_goal(results, title, work, limit, key):
    library = pooled(results, work, LIBRARY, key)
    noise = pooled(results, work, AGAIN, key)
    rows = []
    for pinning, figures in library.items():
        found, self_noise = spread(figures), spread(noise[pinning])
        if found:
            beyond_itself = max(self_noise.high, 1 / self_noise.low)
            verdict = "met" if found.median <= limit else \
                "within the noise" if found.median <= limit * beyond_itself else "missed"
            rows.append((f"{title}, {PINNINGS[pinning]}", f"at most {limit:.2f} of the floor", found.text(),
                         self_noise.text(), verdict))
    return rows


def ahead_goal(results, work, others):
    """Whether the library was faster, judged by the ratios within the rounds."""
    rows = []
    for pinning, contenders in results["side_by_side"].get(work, {}).items():
        for other in others:
            found = spread(ratios(contenders[LIBRARY], contenders[other], "p50")) if other in contenders else None
            if found:
                verdict = "met" if found.median < 1 and found.high < 1 else "within the noise" if found.low < 1 else "missed"
                rows.append((f"{work}, {PINNINGS[pinning]}", f"ahead of {other}", found.text(), "", verdict))
    return rows


def limit_goal(title, goal, value, unit, limit, digits=1):
    return (title, goal, f"{value:,.{digits}f} {unit}".strip(), "", "met" if value <= limit else "missed")


def worst(results, work, key):
    pinnings = results["side_by_side"].get(work, {})
    medians = [statistics.median(f[key] for f in contenders[LIBRARY] if f) for contenders in pinnings.values()
               if any(contenders[LIBRARY])]
    return max(medians, default=float("nan"))


def count_goals(results):
    gate = results["gate"]
    rest = [figure for figure in results["rest"] if figure]
    starts, stops = results["start"]["start_ms"], results["start"]["stop_ms"]
    rows = [limit_goal("instructions, inbound", "at most 550", gate["inbound"]["instructions"], "", 550),
            limit_goal("instructions, outbound", "at most 1,200", gate["outbound"]["instructions"], "", 1200),
            ("allocations, inbound", "exactly 2", f"{gate['inbound']['allocations']:.3f}", "",
             "met" if gate["inbound"]["allocations"] == 2 else "missed"),
            limit_goal("allocations, outbound", "at most 3", gate["outbound"]["allocations"], "", 3, 3)]
    for threads in ("1 thread", "4 threads"):
        rows.append(limit_goal(f"push, {threads}, p99 in the worst pinning", "at most 1 us",
                               worst(results, f"push, {threads}", "p99") / 1000, "us", 1, 2))
    rows += [limit_goal("push, nobody reads, p99 in the worst pinning", "bounded",
                        worst(results, "push, nobody reads", "p99") / 1000, "us", 1000, 2),
             limit_goal("start, slowest", "at most 55 ms", max(starts), "ms", 55),
             limit_goal("stop, median", "at most 5 ms", statistics.median(stops), "ms", 5),
             limit_goal("stop, slowest", "at most 500 ms", max(stops), "ms", 500),
             limit_goal("wake-ups at rest", "at most 6 a second",
                        statistics.median(f["wakeups_per_second"] for f in rest), "", 6),
             limit_goal("resident growth by load and start", "at most 300 KiB",
                        statistics.median(f["resident_started_kib"] for f in rest), "KiB", 300, 0)]
    return rows


def goal_table(results):
    rows = []
    for title, work, limit, key in (
            ("inbound 4 B", "inbound 4 B", 1.05, "ns"), ("inbound 4 B, processor time", "inbound 4 B", 1.10, "cpu_ns"),
            ("inbound 1 KiB", "inbound 1 KiB", 1.05, "ns"), ("inbound 64 KiB", "inbound 64 KiB", 1.10, "ns"),
            ("lone key, p50", "lone key, written at once", 1.05, "p50"),
            ("outbound, 1 thread", "outbound, 1 thread", 1.15, "ns"),
            ("outbound, 4 threads", "outbound, 4 threads", 1.15, "ns"),
            ("lone request, p50", "lone request", 1.30, "p50")):
        rows += ratio_goal(results, title, work, limit, key)
    rows += ahead_goal(results, "lone key, written at once", ("libdbus", "ZeroMQ", "nng", "sd-bus"))
    rows += ahead_goal(results, "lone request", ("ZeroMQ", "nng"))
    return table(("what", "goal", "figure", "noise", "verdict"), rows + count_goals(results))


SECTIONS = {"machine": machine_table, "goals": goal_table, "sides": side_tables, "tails": tail_table, "pushes": push_table,
            "instructions": instruction_table, "stops": stop_table, "parts": micro_table}


def replace_sections(text, results, names):
    for name in names:
        write = SECTIONS[name]
        begin, end = f"<!-- {name}: begin -->", f"<!-- {name}: end -->"
        if begin not in text:
            raise SystemExit(f"report: no mark '{begin}'")
        before, rest = text.split(begin, 1)
        text = f"{before}{begin}\n{write(results).rstrip()}\n{end}{rest.split(end, 1)[1]}"
    return text


def print_text(results):
    """What there is of a run, whole or not."""
    parts = {"goals": ("side_by_side", "start", "rest", "gate"), "sides": ("side_by_side",), "tails": ("side_by_side",),
             "pushes": ("side_by_side",), "instructions": ("gate",), "stops": ("stops",), "parts": ("micro",)}
    for name, needed in parts.items():
        if all(results.get(part) for part in needed):
            print(SECTIONS[name](results).replace("**", "") + "\n")
    for part in ("sizes", "config", "stalled", "start", "rest"):
        if part in results:
            print(f"{part}: {json.dumps(results[part])}\n")


def main():
    parser = argparse.ArgumentParser(prog="./dev bench report", description="Writes a run into docs/performance.md.")
    parser.add_argument("results", help="the JSON file of a full run")
    parser.add_argument("document", nargs="?", help="left out: only print the figures")
    parser.add_argument("sections", nargs="*", choices=[[], *SECTIONS], metavar="section",
                        help="of the document, from a run that has these only: " + ", ".join(SECTIONS))
    arguments = parser.parse_args()
    results = json.loads(pathlib.Path(arguments.results).read_text())
    if arguments.document is None:
        print_text(results)
        return
    document = pathlib.Path(arguments.document)
    if arguments.sections:
        document.write_text(replace_sections(document.read_text(), results, arguments.sections))
        return
    whole = ("side_by_side", "sizes", "config", "stalled", "start", "rest", "stops", "gate")
    missing = [part for part in whole if not results.get(part)]
    if missing:
        sys.exit(f"report: this run is not complete: {', '.join(missing)}")
    document.write_text(replace_sections(document.read_text(), results, SECTIONS))
    import plots  # here, because figures can be printed without what draws
    plots.draw(results, document.parent / "performance")


if __name__ == "__main__":
    main()
