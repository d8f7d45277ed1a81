#!/usr/bin/env python3
"""Turns the wire vectors into seeds: make_seeds.py VECTORS OUTPUT

Makes OUTPUT/<target>/<number> for every fuzz target; how each takes its input apart stands at the top of its source.
"""
import json
import struct
import sys
from pathlib import Path


def seeds(vectors):
    """Yields (target, bytes)."""
    stream = b""
    for vector in vectors:
        kind, message_type = vector["kind"], vector["type"]
        payload = bytes.fromhex(vector["bytes"])
        head = struct.pack(">BH", kind, message_type)
        frame = b"m" + head + struct.pack(">I", len(payload)) + payload
        stream += frame
        yield "stream", b"\0\0" + frame
        if vector["class"] == "CobaltManager::Config":
            yield "config", b"\0" + struct.pack(">H", len(payload)) + payload + payload
        else:
            yield "factory", b"\0" + head + payload
            yield "roundtrip", head + payload
    yield "stream", b"\0\0" + stream


def main():
    vectors, output = Path(sys.argv[1]), Path(sys.argv[2])
    found = [vector for file in sorted(vectors.glob("*.json")) for vector in json.loads(file.read_text())]
    if not found:
        sys.exit(f"make_seeds: no vectors in {vectors}")
    for number, (target, seed) in enumerate(seeds(found)):
        directory = output / target
        directory.mkdir(parents=True, exist_ok=True)
        (directory / f"{number:04}").write_bytes(seed)


main()
