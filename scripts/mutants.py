#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tells what the tests notice: changes one line at a time that some test runs, builds, runs the tests.

    scripts/coverage.sh && scripts/mutants.py [--count 300] [--seed 1] [--jobs 2] [--only FOLDER]

A change that every test passes is a fault that nobody would see. Caught and missed ones are counted
per folder, and the missed ones listed; scripts/equal_mutants.txt holds those that change nothing a
client could see, a row as it is listed and behind it the reason, and they do not count. For whoever changes tests: before and
after, with the same seed. The same seed draws the same lines as long as the files are the same.
"""
import argparse
import collections
import concurrent.futures
import contextlib
import json
import os
import pathlib
import queue
import random
import re
import shutil
import signal
import subprocess
import sys

# Tests that carry another name than the room they look at.
FIRST_TESTS = {"frame": "frame|object", "persist": "persist|object", "records": "persist|object",
               "image": "aoi|object", "vector": "vector|object", "attribute": "attribute|object",
               "platform": "platform|object", "examples": "example"}

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutants"

# Pattern and what takes its place; the formatter sets blanks around relations, not in templates.
SWAPS = [(r" < ", " <= "), (r" <= ", " < "), (r" > ", " >= "), (r" >= ", " > "), (r" == ", " != "),
         (r" != ", " == "), (r" && ", " || "), (r" \|\| ", " && "), (r" \+ ", " - "), (r" - ", " + "),
         (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"\bS_OK\b", "S_FALSE"),
         (r"\bS_FALSE\b", "S_OK"), (r"\b(E|DISP_E|STG_E)_[A-Z]+\b", "E_UNEXPECTED"),
         (r"\bFAILED\(", "SUCCEEDED("), (r"\bSUCCEEDED\(", "FAILED("), (r"\(!(?=\w)", "("),
         (r"(?<![\w.])(\d+)(?![\w.])", lambda m: str(int(m[1]) + 1))]
CALL = re.compile(r"^\s+(?!return|throw|using|delete|co_)[\w:.>\-]+\([^{}]*\);$")
CHECK = re.compile(r"^\s+if \(.*\) (return|break|continue)\b.*;$")


def changes_of(line):
    """The lines that may stand in this one's place."""
    code = line.split("//")[0].rstrip()
    if not code or '"' in code or code.lstrip().startswith(("#", "static_assert", "template", "case")):
        return
    for pattern, replacement in SWAPS:
        for match in re.finditer(pattern, code):
            changed = match.expand(replacement) if isinstance(replacement, str) else replacement(match)
            yield code[:match.start()] + changed + code[match.end():]
    if CALL.match(code) or CHECK.match(code):
        yield ";"


def candidates(only):
    covered = json.loads((ROOT / "build/coverage/lines.json").read_text())
    for name, lines in sorted(covered.items()):
        if only and not name.startswith(only):
            continue
        text = (ROOT / name).read_text().splitlines()
        for number, count in lines.items():
            if count:
                line = text[int(number) - 1]
                for changed in changes_of(line):
                    yield name, int(number), line, changed


def run(*command, seconds, cwd):
    """In a session of its own, of which nothing is left: a changed program may go on for ever."""
    process = subprocess.Popen(command, cwd=cwd, stdin=subprocess.DEVNULL, start_new_session=True,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        return process.wait(seconds) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        process.wait()


def make_tree(index):
    """A copy of the tree with a build of its own, without sanitizers and optimisation."""
    tree = WORK / str(index)
    tree.mkdir(parents=True, exist_ok=True)
    names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, stdout=subprocess.PIPE, check=True)
    for name in names.stdout.decode().split("\0")[:-1]:
        source, target = ROOT / name, tree / name
        if not target.exists() or target.read_bytes() != source.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(source, target)
    subprocess.run(["cmake", "-S", ".", "-B", "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                    "-DCMAKE_CXX_FLAGS=-O0 -g0 -w"], cwd=tree, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["ninja", "-C", "build"], cwd=tree, check=True, stdout=subprocess.DEVNULL)
    if not passes(tree):
        sys.exit("The tests fail as they are: nothing can be told from them.")
    return tree


def passes(tree, first=""):
    """Runs the tests; those whose names hold this word before the others, as they are likely to notice."""
    ctest = ("ctest", "--test-dir", "build", "--stop-on-failure", "--timeout", "60")
    return (not first or run(*ctest, "-R", first, seconds=300, cwd=tree)) and run(*ctest, seconds=300, cwd=tree)


def try_one(trees, mutant):
    name, number, original, changed = mutant
    tree = trees.get()
    path = tree / name
    text = path.read_text()
    lines = text.splitlines(keepends=True)
    lines[number - 1] = changed + "\n"
    path.write_text("".join(lines))
    try:
        if not run("ninja", "-C", "build", "-j1", seconds=600, cwd=tree):
            return mutant, "does not build"
        room = pathlib.PurePath(name).parts
        first = room[0 if room[0] in ("host", "platform", "tools") else -2]
        return mutant, "missed" if passes(tree, FIRST_TESTS.get(first, first)) else "caught"
    finally:
        path.write_text(text)
        trees.put(tree)


def main():
    options = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    options.add_argument("--count", type=int, default=300)
    options.add_argument("--seed", type=int, default=1)
    options.add_argument("--jobs", type=int, default=2)
    options.add_argument("--only", default="", help="a folder")
    arguments = options.parse_args()

    known = (ROOT / "scripts/equal_mutants.txt").read_text().splitlines()
    pool = sorted(set(candidates(arguments.only)))
    drawn = random.Random(arguments.seed).sample(pool, min(arguments.count, len(pool)))
    trees = queue.Queue()
    for index in range(arguments.jobs):
        trees.put(make_tree(index))
    tally = collections.defaultdict(collections.Counter)
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as workers:
        for mutant, outcome in workers.map(lambda mutant: try_one(trees, mutant), drawn):
            name, number, original, changed = mutant
            row = f"{name}: {original.strip()} -> {changed.strip()}"
            if outcome == "missed" and any(line.startswith(row) for line in known):
                outcome = "equal"
            tally[str(pathlib.PurePath(name).parent)][outcome] += 1
            if outcome == "missed":
                print(f"missed {row}", flush=True)
    for folder, counts in sorted(tally.items()) + [("all", sum(tally.values(), collections.Counter()))]:
        real = counts["caught"] + counts["missed"]
        print(f"{folder:18} {counts['caught']:4} of {real:4} caught, "
              f"{counts['equal']} equal, {counts['does not build']} do not build")


if __name__ == "__main__":
    sys.exit(main())
