#!/usr/bin/env python3
"""Reads what qmllint says of the files given and prints what counts.

"Unqualified access" is no finding where it names what every file may (below), or an id of the same
file from within a component, which only newer Qt versions can declare as safe. qmllint sees no more
of a function after the first name that it does not know, so ids of other files are looked for here,
too.
"""
import pathlib
import re
import sys

EVERYWHERE = {"mainWindow", "cMain"}
ID = re.compile(r"^\s*id: (\w+)", re.M)
NO_CODE = re.compile(r'"(?:\\.|[^"\\\n])*"|//[^\n]*')
# What is not read by its name: members, and names that are given here.
MEMBER = re.compile(r"(?:\.|\bfunction |\bproperty [\w<>]+ |\balias |\bsignal |\bconst |\blet |\bid: )\s*(\w+)")
PROPERTY = re.compile(r"\bproperty [\w<>]+ (\w+)")
UNQUALIFIED = re.compile(r"Warning: (.+?):(\d+):(\d+): Unqualified access")


def ids_of_others(path, ids, properties):
    """The lines of `path` that name an id of another file, and nothing of the file's own."""
    code = NO_CODE.sub(lambda match: " " * len(match[0]), path.read_text())
    own = set(MEMBER.findall(code))
    own |= {name for names in re.findall(r"\(([\w, :]*)\) ?(?:=>|\{|:)|(\w+) =>|signal \w+(\(.*\))", code)
            for name in re.findall(r"\w+", " ".join(names))}
    foreign = set().union(*(names for file, names in ids.items() if file != path))
    foreign -= own | EVERYWHERE | properties
    for number, line in enumerate(code.split("\n"), 1):
        for match in re.finditer(r"(?<![\w.])([a-z]\w*)\b(?!\s*[:<])", line):
            if match[1] in foreign:
                yield f"Warning: {path}:{number}:{match.start() + 1}: {match[1]} is another file's id"


def counts(line, ids):
    match = UNQUALIFIED.match(line)
    if not match:
        return True
    path = pathlib.Path(match[1])
    rest = path.read_text().split("\n")[int(match[2]) - 1][int(match[3]) - 1:]
    name = re.match(r"\w*", rest)[0]
    return name not in EVERYWHERE and name not in ids.get(path, ())


def main():
    ids = {path: set(ID.findall(path.read_text())) for path in map(pathlib.Path, sys.argv[1:])}
    # An inherited property may have the name of an id elsewhere.
    properties = {name for path in ids for name in PROPERTY.findall(path.read_text())}
    shown = True
    findings = []
    for line in sys.stdin.read().split("\n"):
        if line.startswith(("Warning:", "Error:")):
            shown = counts(line, ids)
        if shown and line:
            findings.append(line)
    for path in ids:
        findings += ids_of_others(path, ids, properties)
    print("\n".join(findings), end="\n" if findings else "")
    return bool(findings)


sys.exit(main())
