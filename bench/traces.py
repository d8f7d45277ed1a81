#!/usr/bin/env python3
"""Measures how zelobox and tshark read a long trace: traces.py ZELOBOX DISSECTOR DIRECTORY [FRAMES].

Writes a trace of a real session's mixture of messages, as JSON Lines and as pcapng, into the directory, and prints a
table for docs/performance.md: processor time and the most memory of each reader.
"""
import os
import socket
import subprocess
import sys
import threading
import time

# What a session consists of: keys, volume, and the library's answers to an application that moves its video window.
MIXTURE = [
    ("toHost", "6d01001a000000040000002c"),
    ("toMiddleware", "6d00001d0000000904c000400280016800"),
    ("toHost", "6d010027000000040000001e"),
    ("toMiddleware", "6d04002c0000000800000003626f7800"),
    ("toHost", "6d01003a0000000400000001"),
    ("toMiddleware", "6d0100220000000400000004"),
]


def write_trace(path, frames):
    begin = 1795219200.0
    with open(path, "w", encoding="ascii") as file:
        file.write('{"time":%.6f,"connection":1,"event":"connected"}\n' % begin)
        for number in range(frames):
            direction, digits = MIXTURE[number % len(MIXTURE)]
            file.write('{"time":%.6f,"connection":1,"direction":"%s","hex":"%s"}\n' % (
                begin + number * 1e-4, direction, digits))


def measured(command, work=None):
    """Runs a command; the processor seconds and the most memory in MiB that it took."""
    with open(os.devnull, "w", encoding="ascii") as nowhere:
        process = subprocess.Popen(command, stdout=nowhere, stderr=subprocess.PIPE)
        if work:
            work()
        errors = process.stderr.read()
        _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{' '.join(command)}: status {status}: {errors.decode()}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def library(path, frames):
    """Plays the library's side of the trace: it sends all that it sent, and takes what comes."""
    peer = socket.socket(socket.AF_UNIX)
    while True:
        try:
            peer.connect(path)
            break
        except OSError:
            time.sleep(0.01)
    sent = b"".join(bytes.fromhex(digits) for direction, digits in MIXTURE if direction == "toMiddleware")

    def take():
        while peer.recv(1 << 20):
            pass

    reader = threading.Thread(target=take)
    reader.start()
    for _ in range(frames // len(MIXTURE)):
        peer.sendall(sent)
    reader.join()


def main():
    zelobox, dissector, directory = sys.argv[1:4]
    frames = int(sys.argv[4]) if len(sys.argv) > 4 else 1000000
    frames -= frames % len(MIXTURE)
    plain, lines, packets = (os.path.join(directory, name) for name in ("plain.jsonl", "long.jsonl", "long.pcapng"))
    messenger = os.path.join(directory, "messenger")
    write_trace(plain, frames)
    subprocess.run([zelobox, "decode", plain, "-o", lines], check=True)
    subprocess.run([zelobox, "decode", plain, "-o", packets], check=True)
    tshark = ["tshark", "-X", "lua_script:" + dissector, "-r", packets]
    rows = [
        ("`zelobox decode`, JSON Lines", [zelobox, "decode", lines], None),
        ("`zelobox decode`, pcapng", [zelobox, "decode", packets], None),
        ("`zelobox replay --fast --quiet`, pcapng",
         [zelobox, "replay", packets, "--fast", "--quiet", "--socket", messenger],
         lambda: library(messenger, frames)),
        ("`tshark` with the dissector, pcapng", tshark, None),
    ]
    print(f"| {frames:,} frames | Processor time | Memory at most |\n|---|---:|---:|")
    for title, command, work in rows:
        seconds, memory = measured(command, work)
        print(f"| {title} | {seconds:.1f} s | {memory:.0f} MiB |", flush=True)


if __name__ == "__main__":
    main()
