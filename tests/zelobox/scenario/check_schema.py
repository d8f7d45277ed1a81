"""Validates scenarios, and lines that must be refused, against the schema.

    check_schema.py SCHEMA BAD_LINES SCENARIO...
"""
import json
import sys

import jsonschema


def lines(path):
    with open(path, encoding="utf-8") as file:
        for number, text in enumerate(file, 1):
            if text.strip() and not text.startswith("#"):
                yield number, json.loads(text)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft7Validator.check_schema(schema)
    whole = jsonschema.Draft7Validator(schema)
    parts = {
        name: jsonschema.Draft7Validator({**schema, "oneOf": [{"$ref": "#/definitions/" + name}]})
        for name in ("head", "step")
    }
    failures = []
    for path in sys.argv[3:]:
        for index, (number, line) in enumerate(lines(path)):
            for error in parts["step" if index else "head"].iter_errors(line):
                failures.append(f"{path}:{number}: {error.message}")
    bad = list(lines(sys.argv[2]))
    failures += [f"{sys.argv[2]}:{number}: is not refused" for number, line in bad if whole.is_valid(line)]
    print("\n".join(failures) or f"{len(sys.argv) - 3} scenarios valid, {len(bad)} bad lines refused")
    return 1 if failures or not bad or len(sys.argv) < 4 else 0


sys.exit(main())
