#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes of the counts of scripts/coverage.sh, which calls it, its two files, and the table in
docs/reliability.md of how much of the readers of foreign bytes is run.

A branch is one side of a condition in the source. What is written once and made for several types is
run if it is run for one of them.
"""
import collections
import functools
import json
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/coverage"
PAGE = ROOT / "docs/reliability.md"
BEGIN, END = "<!-- covered: begin -->\n", "<!-- covered: end -->\n"
OURS = re.compile(r"(examples|host|interfaces|module|picture_aoi|pictures|platform|tools|types)/")

READERS = [
    ("streams, and objects in them", r"module/persist/"),
    ("plain and tagged records", r"module/records/"),
    ("AOIs", r"module/image/aoi_stream\."),
    ("vectors", r"module/vector/vector_stream\."),
    ("maps and their keys", r"module/attribute/(map_stream|keys)\."),
    ("registry file and registration scripts", r"host/registry/(file|text|tree|script_reader)\."),
    ("walks of `rastel dump`",
     r"tools/(stream_walk|\w+_format|variant_records|element_block|field_tree|file_kinds)\."),
]


def name_of(path):
    path = (BUILD / path).resolve()  # compilers behind a cache are given relative ones
    name = path.relative_to(ROOT).as_posix() if path.is_relative_to(ROOT) else ""
    return name if OURS.match(name) else None


def lines_of_files():
    """How often each line was run, by file."""
    lines = collections.defaultdict(dict)
    name = None
    for row in (BUILD / "counts/all.lcov").read_text().splitlines():
        kind, _, rest = row.partition(":")
        if kind == "SF":
            name = name_of(rest)
        elif kind == "DA" and name:
            number, count = map(int, rest.split(",")[:2])
            lines[name][number] = count
    return lines


@functools.cache
def source(name):
    return (ROOT / name).read_text().splitlines()


def is_constant(name, line, column):
    """Whether what stands there is no condition, as in `while (true)`."""
    return source(name)[line - 1][column - 1:].startswith("true)")


def branches_of_files():
    """How often each side of each condition was taken, by file, then by its place."""
    branches = collections.defaultdict(lambda: collections.defaultdict(lambda: [0, 0]))
    for data in json.loads((BUILD / "counts/all.json").read_text())["data"]:
        for file in data["files"]:
            name = name_of(file["filename"])
            for each in file["branches"] if name else ():
                if is_constant(name, *each[:2]):
                    continue
                sides = branches[name][tuple(each[:4])]
                sides[0] += each[4]
                sides[1] += each[5]
    return branches


def figures(names):
    counts = [count for name in names for count in LINES[name].values()]
    sides = [side for name in names for both in BRANCHES[name].values() for side in both]
    return [sum(map(bool, counts)), len(counts), sum(map(bool, sides)), len(sides)]


def percent(part, whole):
    return f"{100 * part / whole:.1f} %" if whole else "-"


def report():
    for name in sorted(LINES):
        run, lines, taken, sides = figures([name])
        missing = [str(at) for at, count in sorted(LINES[name].items()) if not count]
        untaken = sorted(f"{place[0]}:{place[1]}{'ft'[side]}"
                         for place, both in BRANCHES[name].items()
                         for side in (0, 1) if not both[1 - side])
        yield (f"{name:45} {run:5} of {lines:5} {percent(run, lines):>8} {taken:5} of {sides:5} "
               f"{percent(taken, sides):>8}  {','.join(missing)} | {','.join(untaken)}")
    run, lines, taken, sides = figures(LINES)
    yield f"lines {percent(run, lines)}, branches {percent(taken, sides)}"


def table():
    yield "| Reader of | Lines run | | Branches taken | |"
    yield "|---|---|---|---|---|"
    total = [0, 0, 0, 0]
    for reader, pattern in READERS:
        counts = figures([name for name in LINES if re.match(pattern, name)])
        total = [a + b for a, b in zip(total, counts)]
        yield row(reader, counts)
    yield row("**all**", total)


def row(reader, counts):
    run, lines, taken, sides = counts
    return (f"| {reader} | {run} of {lines} | {percent(run, lines)} "
            f"| {taken} of {sides} | {percent(taken, sides)} |")


LINES, BRANCHES = lines_of_files(), branches_of_files()
(BUILD / "lines.json").write_text(json.dumps(LINES))
(BUILD / "report.txt").write_text("\n".join(report()) + "\n")
before, _, rest = PAGE.read_text().partition(BEGIN)
PAGE.write_text(before + BEGIN + "\n".join(table()) + "\n" + END + rest.partition(END)[2])
