#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Times rastel on a picture of 12000 x 12000 x 3 bytes next to oiiotool and vips copying the same.

    bench/picture_tools.py [--runs 5] [--side 12000] [--folder build/bench]

Every command is a process of its own, all of a row in turn; what it wrote is removed before it runs.
Shown are the medians of wall and processor time, the ratios of theirs to ours (above 1: ours is
faster), and the peak of resident memory over the size of the picture. What takes ten times as long as
ours runs once. The programs of build/release are used.
"""
import argparse
import os
import pathlib
import shutil
import statistics
import struct
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
RASTEL = str(ROOT / "build/release/bin/rastel")


def run(command):
    """Wall seconds, processor seconds, peak resident bytes."""
    start = time.monotonic()
    pid = os.posix_spawnp(
        command[0], command, {**os.environ, "RASTEL_HOST_REGISTRY": ""},
        file_actions=[(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)])
    _, status, usage = os.wait4(pid, 0)
    if status != 0:
        raise SystemExit("failed: " + " ".join(command))
    return time.monotonic() - start, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024


def make_picture(path, side):
    """Rows that are neither flat nor noise, so that a PNG of it is a fair task."""
    with open(path, "wb") as file:
        file.write(b"P6\n%d %d\n255\n" % (side, side))
        texture = [bytes((x * k >> 4) & 255 for x in range(3 * side)) for k in range(7, 71)]
        for y in range(side):
            file.write(texture[(y // 5) % len(texture)])


def make_old_stream(new, old, side):
    """The same AOI in version 512."""
    pixels = 3 * side * side
    with open(new, "rb") as source, open(old, "wb") as target:
        target.write(source.read(16) + struct.pack("<H", 512))
        target.write(struct.pack("<9I", side, side, 0, 0, side, side, 0, 0, 3))
        target.write(struct.pack("<HIII", 0, 0, 0, 0))
        source.seek(-pixels, os.SEEK_END)
        shutil.copyfileobj(source, target, 1 << 22)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--side", type=int, default=12000)
    parser.add_argument("--folder", type=pathlib.Path, default=ROOT / "build/bench")
    options = parser.parse_args()
    options.folder.mkdir(parents=True, exist_ok=True)
    os.chdir(options.folder)
    picture_bytes = 3 * options.side**2
    make_picture("in.ppm", options.side)
    subprocess.run(["vips", "copy", "in.ppm", "in.tif"], check=True)
    subprocess.run([RASTEL, "import", "in.ppm", "in.aoi"], check=True, stdout=subprocess.DEVNULL)
    make_old_stream("in.aoi", "old.aoi", options.side)
    rows = []
    for kind in ("ppm", "tif"):
        others = [["oiiotool", "in." + kind, "-o", "out." + kind], ["vips", "copy", "in." + kind, "out." + kind]]
        rows.append(("import of " + kind, [RASTEL, "import", "in." + kind, "out.aoi"], others))
        rows.append(("export to " + kind, [RASTEL, "export", "in.aoi", "out." + kind], others))
    rows.append(("upgrade", [RASTEL, "upgrade", "old.aoi", "out.aoi"], rows[0][2]))
    rows.append(("info", [RASTEL, "info", "in.aoi"], [["oiiotool", "--info", "in.tif"], ["vipsheader", "in.tif"]]))
    print("| What | Ours: wall, processor | Memory | oiiotool | Ratios | vips | Ratios |\n|---|---|---|---|---|---|---|")
    for name, ours, others in rows:
        figures = [[] for _ in (ours, *others)]
        for number in range(options.runs):
            for which, command in enumerate((ours, *others)):
                if number > 0 and figures[which][0][0] > 10 * figures[0][0][0]:
                    continue
                for out in options.folder.glob("out.*"):
                    out.unlink()
                figures[which].append(run(command))
        medians = [[statistics.median(column) for column in zip(*each)] for each in figures]
        (wall, cpu, memory), line = medians[0], ""
        for other in medians[1:]:
            line += " %.2f s, %.2f s | %.2f, %.2f |" % (other[0], other[1], other[0] / wall, other[1] / cpu)
        print("| %s | %.2f s, %.2f s | %.2f |%s" % (name, wall, cpu, memory / picture_bytes, line), flush=True)
    for leftover in options.folder.glob("*.*"):
        leftover.unlink()


main()
