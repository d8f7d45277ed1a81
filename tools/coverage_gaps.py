#!/usr/bin/env python3
"""Compares what a run left out with the table of what may be left out: coverage_gaps.py SOURCE GCOVR_JSON TABLE

Fails on a line that was not executed and on an outcome of a decision that was not taken, unless a row of TABLE (a page
in Markdown) names the file and the text of the line in its first two columns; and on a row whose line is not there any
more. A row whose line has no gap is only mentioned: some outcomes are a matter of moments.
Branches of lines that decide nothing are the compiler's: clean-up after exceptions, for the most part.
"""
import json
import re
import sys
from pathlib import Path

DECIDES = re.compile(r"\b(if|while|for|switch|catch)\b|\?|&&|\|\|")
ROW = re.compile(r"^\| `([^`]+)`[^|]*\| `((?:[^`|]|\\\|)+)` \|")


def rows_of(page):
    """Returns file and text of every row."""
    found = (ROW.match(line) for line in page.splitlines())
    return [(row.group(1), row.group(2).replace("\\|", "|")) for row in found if row]


def lines_of(path):
    return {line.strip() for line in path.read_text().splitlines()} if path.exists() else set()


def decides(source, number):
    """Returns whether a line, or the condition that it continues, has more than one way on."""
    goes_on = number > 1 and source[number - 2].rstrip().endswith(("&&", "||", " ?", " :"))
    return goes_on or DECIDES.search(source[number - 1]) is not None


def gaps_of(entry, source):
    """Yields number and text of every line that was not wholly executed, and how many of its outcomes are missing."""
    for line in entry["lines"]:
        if line.get("gcovr/noncode"):
            continue
        number, branches = line["line_number"], line["branches"]
        missing = sum(branch["count"] == 0 for branch in branches)
        if line["count"] == 0:
            yield number, source[number - 1].strip(), "not executed"
        elif missing and decides(source, number):
            yield number, source[number - 1].strip(), f"{missing} of {len(branches)} outcomes not taken"


def main():
    root, report, table = Path(sys.argv[1]), json.loads(Path(sys.argv[2]).read_text()), Path(sys.argv[3])
    rows = rows_of(table.read_text())
    unused, unlisted = set(rows), 0
    for entry in report["files"]:
        name = entry["file"]
        for number, text, what in gaps_of(entry, (root / name).read_text().splitlines()):
            unused.discard((name, text))
            if (name, text) not in rows:
                unlisted += 1
                print(f"{name}:{number}: {what}: {text}")
    gone = {row for row in rows if row[1] not in lines_of(root / row[0])}
    for name, text in sorted(unused):
        print(f"{name}: {'no such line' if (name, text) in gone else 'wholly executed this time'}: {text}")
    print(f"{unlisted} gaps that {table.name} does not explain, {len(gone)} of its {len(rows)} rows without their line")
    sys.exit(1 if unlisted or gone else 0)


if __name__ == "__main__":
    main()
