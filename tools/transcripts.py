#!/usr/bin/env python3
"""Keeps the transcripts in the documentation true: transcripts.py check|write PROGRAM-PREFIX... -- FILE...

A transcript is a fenced block after a line <!-- zelobox ARGUMENTS -->, which says the command that it is taken from. Its
lines stand in a real run too, but for times; [...] stands for lines that are left out. "write" takes each of them, with
its time, from the run.
"""
import re
import subprocess
import sys

BLOCK = re.compile(r"(<!-- zelobox (?P<command>[^>]*?) -->\n+```\n)(?P<text>.*?)(```\n)", re.DOTALL)


def key(line):
    """A line without what differs from run to run: times, and how long a call took."""
    line = re.sub(r"^ *\d+\.\d{3}", "TIME", line)
    line = re.sub(r"\b\d\d:\d\d:\d\d\.\d{3}\b", "TIME", line)
    line = re.sub(r"\b\d+\.\d+ s\b", "N s", line)
    return re.sub(r"\bms=\d+", "ms=N", line)


def place(line):
    """A log line without its line number in the source."""
    return re.sub(r":\d+: ", ":N: ", key(line))


def brought_up_to_date(excerpt, run):
    """The excerpt's lines as the run has them, each taken once; and those that the run does not have."""
    left, lines, missing, position = list(enumerate(run)), [], [], 0
    for wanted in excerpt:
        if wanted.strip() == "[...]":
            lines.append(wanted)
            continue
        # What runs at the same time on both sides may come in either order, so what lies behind comes second.
        ahead = sorted(left, key=lambda numbered: numbered[0] < position)
        found = next((line for same in (key, place) for line in ahead if same(line[1]) == same(wanted)), None)
        if found is None:
            missing.append(wanted)
            continue
        position = found[0]
        left.remove(found)
        lines.append(found[1])
    return lines, missing


def main():
    mode, rest = sys.argv[1], sys.argv[2:]
    last = len(rest) - 1 - rest[::-1].index("--")
    program, files = rest[:last], rest[last + 1:]
    failed, blocks = False, 0
    for name in files:
        with open(name, encoding="utf-8") as file:
            text = file.read()
        for block in list(BLOCK.finditer(text)):
            blocks += 1
            done = subprocess.run([*program, *block["command"].split()], check=True, stdout=subprocess.PIPE, text=True)
            excerpt = block["text"].splitlines()
            lines, missing = brought_up_to_date(excerpt, done.stdout.splitlines())
            stale = [line for line in excerpt if key(line) not in {key(new) for new in lines}]
            for line in missing if mode == "write" else stale:
                print(f"{name}: no longer said by zelobox {block['command']}: {line}")
            failed = failed or bool(missing if mode == "write" else stale)
            if mode == "write":
                text = text.replace(block[0], block[1] + "\n".join(lines) + "\n" + block[4])
        if mode == "write":
            with open(name, "w", encoding="utf-8") as file:
                file.write(text)
    if blocks == 0:
        sys.exit("there is no transcript: no line <!-- zelobox ... -->")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
