"""Reads what callgrind counted: instructions by object file and function.

callgrind_annotate takes the cost of calls that were under way when counting began for the caller's own.
"""
import collections
import pathlib
import re

NAMED = re.compile(r"^(ob|fn|cob|cfn)=\((\d+)\)(?: (.*))?$")


def self_cost(path):
    """{(object, function): instructions spent in the function itself}"""
    names = {"ob": {}, "fn": {}}
    current = {"ob": "", "fn": ""}
    cost = collections.Counter()
    is_call = False
    for line in pathlib.Path(path).read_text().splitlines():
        named = NAMED.match(line)
        if named:
            key, number, name = named.groups()
            table = names[key[-2:]]
            if name is not None:
                table[number] = name
            if key in current:
                current[key] = table[number]
        elif line.startswith("calls="):
            is_call = True
        elif line[:1] in "+-*0123456789" and line:
            if not is_call:
                cost[pathlib.PurePath(current["ob"]).name, current["fn"]] += int(line.split()[1])
            is_call = False
    return cost


def parts(base):
    """{trigger: file} of the dumps that a program has asked for"""
    found = {}
    for path in sorted(pathlib.Path(base).parent.glob(pathlib.Path(base).name + ".*")):
        trigger = re.search(r"^desc: Trigger: Client Request: (.*)$", path.read_text(), re.MULTILINE)
        if trigger:
            found[trigger.group(1)] = path
    return found
