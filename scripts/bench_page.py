#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes docs/speed.md, between its markers, docs/speed_curves.md and their pictures from what
scripts/bench.sh has measured.

    scripts/bench_page.py FOLDER                          FOLDER: run*.tsv, growing.tsv, threads.tsv, memory.tsv,
                                                          commit
    scripts/bench_page.py --rows table|growing|threads    the rows of peers_bench that the pages need

Which rows there are, what they stand beside and what they should be is bench/peers/rows.csv, which curves
there are bench/peers/curves.json.
"""
import collections
import csv
import datetime
import html
import json
import math
import os
import pathlib
import platform
import statistics
import subprocess
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCS = ROOT / "docs"
BEGIN, END = "<!-- measured: begin -->", "<!-- measured: end -->"

PEERS = {
    "ours": "RastelKLP",
    "std_map": "`std::map`",
    "std_unordered_map": "`std::unordered_map`",
    "std_map_utf8": "`std::map` of UTF-8",
    "std_unordered_map_utf8": "`std::unordered_map` of UTF-8",
    "std_vector": "`std::vector`",
    "shared_std_vector": "`make_shared` of a `std::vector`",
    "make_shared": "`make_shared`",
    "hash_of_names": "hash of names",
    "glib": "GLib",
    "glib_read": "GLib with its value read",
    "gobject": "GObject",
    "msgpack": "msgpack",
    "msgpack_fresh": "msgpack into a fresh buffer",
    "protobuf": "protobuf",
    "boost": "Boost",
    "hdf5": "HDF5",
    "opencv": "OpenCV",
    "vtk": "VTK",
    "python": "Python",
    "inline_switch": "`switch` in the client",
    "memcpy": "`memcpy`",
    "malloc_memcpy": "`malloc` and `memcpy`",
}
PACKAGES = ["libopencv-core406", "libvtk9.1", "libprotobuf32", "libmsgpack-cxx-dev",
            "libboost-serialization1.74.0", "libglib2.0-0", "libhdf5-103-1", "libpython3.11"]

Row = collections.namedtuple("Row", "group row work peers must wanted")
# Median times in ns of one run.
Times = collections.namedtuple("Times", "processor clock spread")


def table_rows():
    with open(ROOT / "bench/peers/rows.csv", newline="") as file:
        return [Row(row["group"], row["row"], row["work"], row["peers"].split(), float(row["must"]),
                    float(row["wanted"])) for row in csv.DictReader(file)]


def curves():
    return json.loads((ROOT / "bench/peers/curves.json").read_text())


def wanted_rows(part):
    """Regular expressions for rows: of the table, or of the curves but for those that the table has."""
    table = list(dict.fromkeys(row.row for row in table_rows()))
    if part == "table":
        return [f"^{row}$" for row in table]
    return [f"^{row}$" for curve in curves() if bool(curve.get("clock")) == (part == "threads")
            for line in curve["lines"] for at in curve["at"] if (row := line["row"].format(at)) not in table]


def read_times(path):
    """{row: {contender: Times}} of a file that peers_bench has printed."""
    taken = collections.defaultdict(lambda: collections.defaultdict(list))
    for line in path.read_text().splitlines():
        name, _, clock, processor = line.split("\t")
        row, who = name.rsplit("/", 1)
        taken[row][who].append((float(processor), float(clock)))
    times = {}
    for row, contenders in taken.items():
        times[row] = {}
        for who, pairs in contenders.items():
            processor, clock = ([pair[i] for pair in pairs] for i in (0, 1))
            middle = statistics.median(processor)
            spread = statistics.median(abs(one - middle) for one in processor) / middle
            times[row][who] = Times(middle, statistics.median(clock), spread)
    return times


def time_text(nanoseconds):
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= factor:
            return f"{nanoseconds / factor:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


class Measured:
    """A row of the table: our time over that of the fastest that the row names, in each run."""

    def __init__(self, row, runs):
        self.row = row
        present = [run[row.row] for run in runs if "ours" in run.get(row.row, {})
                   and any(who in run[row.row] for who in row.peers)]
        self.ratios = [run["ours"].processor / min(run[who].processor for who in row.peers if who in run)
                       for run in present]
        if not present:
            return
        self.ratio = statistics.median(self.ratios)
        self.times = {who: statistics.median(run[who].processor for run in present if who in run)
                      for who in present[0]}
        self.state = "wanted" if self.ratio <= row.wanted else "must" if self.ratio <= row.must else "behind"

    def table_line(self):
        row, ours = self.row, self.times["ours"]
        beside = ", ".join(f"{PEERS[who]} {time_text(self.times[who])}" for who in row.peers if who in self.times)
        others = ", ".join(f"{PEERS[who]} {ours / time:.2f}" for who, time in
                           sorted(self.times.items(), key=lambda item: -item[1])
                           if who != "ours" and who not in row.peers)
        spread = f"{min(self.ratios):.2f} to {max(self.ratios):.2f}" if len(self.ratios) > 1 else ""
        state = {"wanted": "wanted", "must": "must", "behind": "**behind**"}[self.state]
        return (f"| {row.work} | {time_text(ours)} | {beside} | **{self.ratio:.2f}** | {spread} | {row.must:g} | "
                f"{row.wanted:g} | {state} | {others} |")


# Pictures. Colours tell states and works, and words, marks and dashes tell them as well.

STYLE = """
  :root { color-scheme: light dark; }
  .paper { fill: #ffffff; } .text { fill: #1f2328; } .soft { fill: #59636e; }
  .grid { stroke: #d1d9e0; } .axis { stroke: #59636e; } .tick { stroke: #1f2328; }
  .a { --c: #0969da; } .b { --c: #bc4c00; } .c { --c: #1a7f37; } .d { --c: #8250df; } .e { --c: #bf3989; }
  @media (prefers-color-scheme: dark) {
    .paper { fill: #0d1117; } .text { fill: #e6edf3; } .soft { fill: #9198a1; }
    .grid { stroke: #30363d; } .axis { stroke: #9198a1; } .tick { stroke: #e6edf3; }
    .a { --c: #58a6ff; } .b { --c: #f0883e; } .c { --c: #3fb950; } .d { --c: #bc8cff; } .e { --c: #ff7bb5; }
  }
  text { font: 12px system-ui, sans-serif; } .title { font-size: 15px; font-weight: 600; }
  .bar { fill: var(--c); } .faint { fill-opacity: .45; }
  .line { stroke: var(--c); fill: none; stroke-width: 2; } .dot { fill: var(--c); }
"""


class Svg:
    def __init__(self, width, height, title):
        self.width, self.height, self.title = width, height, title
        self.parts = []
        self.text(16, 26, title, "text title")

    def add(self, tag, **attributes):
        words = " ".join(f'{name.rstrip("_").replace("_", "-")}="{value:.5g}"' if isinstance(value, float)
                         else f'{name.rstrip("_").replace("_", "-")}="{html.escape(str(value))}"'
                         for name, value in attributes.items())
        self.parts.append(f"<{tag} {words}/>")

    def text(self, x, y, words, class_="text", anchor="start"):
        self.parts.append(f'<text x="{x:.5g}" y="{y:.5g}" class="{class_}" text-anchor="{anchor}">'
                          f"{html.escape(words)}</text>")

    def line(self, x1, y1, x2, y2, class_, **more):
        self.add("line", x1=float(x1), y1=float(y1), x2=float(x2), y2=float(y2), class_=class_, **more)

    def write(self, path):
        path.write_text(
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{self.width}" height="{self.height}" '
            f'viewBox="0 0 {self.width} {self.height}" role="img">\n<title>{html.escape(self.title)}</title>\n'
            f"<style>{STYLE}</style>\n"
            f'<rect class="paper" width="{self.width}" height="{self.height}"/>\n' + "\n".join(self.parts)
            + "\n</svg>\n")


def wrapped(words):
    return textwrap.fill(words, 110, break_long_words=False, break_on_hyphens=False)


def plain(words):
    return words.replace("`", "")


def bars(measured, path):
    """A bar per row from 1, where both take as long, to the ratio."""
    left, right, top, step = 420, 60, 84, 19
    groups = list(dict.fromkeys(one.row.group for one in measured))
    height = top + step * len(measured) + (step + 6) * len(groups) + 30
    width = 1000
    low, high = 0.05, 10.0
    svg = Svg(width, height, "Our time over theirs")

    def x(ratio):
        share = math.log(min(max(ratio, low), high) / low) / math.log(high / low)
        return left + share * (width - left - right)

    legend = 16
    for words, class_ in (("wanted reached", "bar a"), ("must reached", "bar a faint"), ("behind", "bar b")):
        svg.add("rect", x=legend, y=44, width=14, height=11, class_=class_)
        svg.text(legend + 19, 54, words)
        legend += 130
    svg.line(legend, 42, legend, 57, "tick", stroke_width=2)
    svg.text(legend + 8, 54, "must")
    for ratio in (0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10):
        svg.line(x(ratio), top - 8, x(ratio), height - 26, "axis" if ratio == 1 else "grid")
        for y in (top - 12, height - 10):
            svg.text(x(ratio), y, f"{ratio:g}", "soft", "middle")
    y = top
    for group in groups:
        y += 6
        svg.text(16, y + 14, group, "text title")
        y += step
        for one in (one for one in measured if one.row.group == group):
            peers = " / ".join(plain(PEERS[who]) for who in one.row.peers)
            svg.text(left - 8, y + 13, f"{one.row.work}  ({peers})", anchor="end")
            begin, end = sorted((x(1), x(one.ratio)))
            class_ = {"wanted": "bar a", "must": "bar a faint", "behind": "bar b"}[one.state]
            svg.add("rect", x=begin, y=float(y + 3), width=max(end - begin, 1.0), height=13, class_=class_)
            svg.line(x(one.row.must), y + 1, x(one.row.must), y + 18, "tick", stroke_width=2)
            svg.text(width - 12, y + 13, f"{one.ratio:.2f}", anchor="end")
            y += step
    svg.write(path)


DASHES = ["", "7 4", "2 3"]


def curve_points(curve, times):
    """(work, contender, colour, dash, {x: ns}) for every line that was measured."""
    for index, line in enumerate(curve["lines"]):
        for dash, who in zip(DASHES, line["who"]):
            points = {}
            for at in curve["at"]:
                one = times.get(line["row"].format(at), {}).get(who)
                if one:
                    points[at] = one.clock if curve.get("clock") else one.processor
            if points:
                yield line["name"], who, "abcde"[index], dash, points


def short(number):
    for unit, factor in (("M", 1_000_000), ("k", 1_000)):
        if number >= factor:
            return f"{number / factor:.3g}{unit}"
    return f"{number:g}"


def draw_curve(curve, lines, path):
    width, height, left, right, top, bottom = 860, 420, 70, 250, 56, 52
    values = [value for *_, points in lines for value in points.values()]
    low, high = 10 ** math.floor(math.log10(min(values))), 10 ** math.ceil(math.log10(max(values)))
    first, last = curve["at"][0], curve["at"][-1]
    svg = Svg(width, height, curve["title"])

    def x(at):
        return left + math.log(at / first) / math.log(last / first) * (width - left - right)

    def y(value):
        return height - bottom - math.log(value / low) / math.log(high / low) * (height - top - bottom)

    decade = low
    while decade <= high * 1.01:
        for factor in (1, 2, 5):
            if decade * factor <= high * 1.01:
                svg.line(left, y(decade * factor), width - right, y(decade * factor), "grid",
                         stroke_opacity=1.0 if factor == 1 else 0.5)
        svg.text(left - 8, y(decade) + 4, short(decade), "soft", "end")
        decade *= 10
    for at in curve["at"]:
        svg.line(x(at), height - bottom, x(at), height - bottom + 5, "axis")
        svg.text(x(at), height - bottom + 19, short(at), "soft", "middle")
    svg.line(left, height - bottom, width - right, height - bottom, "axis")
    svg.text((left + width - right) / 2, height - 10, curve["x"], anchor="middle")
    svg.text(left, top - 10, curve["y"], "soft")
    legend = top + 6
    for name, who, colour, dash, points in lines:
        svg.add("polyline", class_=f"line {colour}", stroke_dasharray=dash or "none",
                points=" ".join(f"{x(at):.4g},{y(value):.4g}" for at, value in points.items()))
        for at, value in points.items():
            svg.add("circle", cx=float(x(at)), cy=float(y(value)), r=3 if who == "ours" else 2, class_=f"dot {colour}")
        svg.line(width - right + 18, legend - 4, width - right + 48, legend - 4, f"line {colour}",
                 stroke_dasharray=dash or "none")
        svg.text(width - right + 56, legend, f"{name}, {'ours' if who == 'ours' else plain(PEERS[who])}")
        legend += 20
    svg.write(path)


def curve_page(times):
    text = ["# Speed as work grows", "",
            wrapped("What is in proportion is told for each unit, so that it is a flat line. Both axes are logarithmic. "
                    "Solid lines are ours. Written by `scripts/bench.sh`; [speed.md](speed.md) tells when, where and "
                    "beside what."), ""]
    for curve in curves():
        lines = list(curve_points(curve, times))
        if not lines:
            continue
        draw_curve(curve, lines, DOCS / curve["file"])
        text += [f"## {curve['title']}", "", f"![{curve['title']}]({curve['file']})", "", wrapped(curve["text"]), "",
                 f"| {curve['y']} | " + " | ".join(f"{at:,}" for at in curve["at"]) + " |",
                 "|---" * (len(curve["at"]) + 1) + "|"]
        for name, who, _, _, points in lines:
            cells = " | ".join(f"{points[at]:.3g}" if points.get(at, 0) < 1000 else f"{points[at]:,.0f}"
                               if at in points else "" for at in curve["at"])
            text.append(f"| {name}, {PEERS[who] if who != 'ours' else 'ours'} | {cells} |")
        text.append("")
    return "\n".join(text).rstrip() + "\n"


def memory_table(path):
    things = collections.defaultdict(dict)
    for line in path.read_text().splitlines():
        thing, who, size = line.split("\t")
        things[thing][who] = int(size)
    # Classes that take the same and stand beside nothing are told together.
    together = collections.defaultdict(list)
    for thing, sizes in things.items():
        family = next((end for end in ("AOI", "Vector", "Map") if thing.endswith(end)), thing)
        together[(family, tuple(sizes.items()) if len(sizes) > 1 else sizes["ours"])].append(thing)
    lines = ["| Thing | Ours | Next to it |", "|---|---|---|"]
    for names in together.values():
        sizes = things[names[0]]
        beside = ", ".join(f"{PEERS[who]} {size}" for who, size in sizes.items() if who != "ours")
        lines.append(f"| {', '.join(names)} | {sizes['ours']} | {beside} |")
    return "\n".join(lines)


def output_of(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, cwd=ROOT)
    return done.stdout.strip()


def machine():
    with open("/proc/cpuinfo") as file:
        name = next((line.split(":", 1)[1].strip() for line in file if line.startswith("model name")), "?")
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2 ** 30
    compiler = output_of("c++", "--version").split("\n")[0]
    return f"{name}, {os.cpu_count()} cores, {memory:.0f} GiB, Linux {platform.release()}, {compiler}"


def versions():
    found = [output_of("dpkg-query", "-W", "-f=${Package} ${Version}", package) for package in PACKAGES]
    if not found[1] and any((ROOT / "build/peers/vtk").glob("usr")):
        found[1] = "libvtk9.1 9.1.0"
    return ", ".join(one for one in found if one)


def measured_part(folder, runs):
    measured = [one for row in table_rows() if (one := Measured(row, runs)).ratios]
    bars(measured, DOCS / "speed.svg")
    states = collections.Counter(one.state for one in measured)
    spread = statistics.median(times.spread for run in runs for row in run.values() for times in row.values())
    commit = (folder / "commit").read_text().strip()
    when = datetime.datetime.fromtimestamp((folder / "memory.tsv").stat().st_mtime, datetime.timezone.utc)
    text = [wrapped(f"Measured on {when:%Y-%m-%d} at commit {commit}, {len(runs)} run{'s' if len(runs) > 1 else ''}: "
                    f"{machine()}. Next to it: {versions()}."), "",
            wrapped(f"Of {len(measured)} rows {states['wanted']} are where we want them, {states['must']} at least where "
                    f"they must be, {states['behind']} behind. In half of all cases half of the repetitions of one work "
                    f"are within {spread:.1%} of their median."), "",
            "![Our time over theirs](speed.svg)", ""]
    for group in dict.fromkeys(one.row.group for one in measured):
        text += [f"### {group}", "",
                 "| Work | Ours | Next to it | Ratio | Runs | Must | Wanted | | Beside others |", "|---" * 9 + "|"]
        text += [one.table_line() for one in measured if one.row.group == group]
        text.append("")
    text += ["### Memory", "",
             wrapped("Bytes of the heap, its own words included, over many that live at a time."), "",
             memory_table(folder / "memory.tsv")]
    return "\n".join(text)


def main():
    if sys.argv[1:2] == ["--rows"]:
        print("\n".join(wanted_rows(sys.argv[2])))
        return
    folder = pathlib.Path(sys.argv[1])
    runs = [read_times(path) for path in sorted(folder.glob("run*.tsv"))]
    times = dict(runs[-1])
    for part in ("growing.tsv", "threads.tsv"):
        times.update(read_times(folder / part))
    page = DOCS / "speed.md"
    before, rest = page.read_text().split(BEGIN)
    after = rest.split(END)[1]
    page.write_text(f"{before}{BEGIN}\n{measured_part(folder, runs)}\n{END}{after}")
    (DOCS / "speed_curves.md").write_text(curve_page(times))


if __name__ == "__main__":
    main()
