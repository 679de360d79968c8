#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Times the Python package next to plain NumPy doing the same, in one run: the two take turns. Medians of
processor time, where all is done in one process. Usage:
PYTHONPATH=build/release/python python3 bench/python_speed.py [part of a row's name]...
"""
import array
import functools
import pickle
import statistics
import subprocess
import sys
import time
import timeit

import dask
import dask.array
import numpy

import rastel
from rastel.dask import from_tiles, to_tiles

ROUNDS = 15
WANTED = sys.argv[1:]


def time_of(seconds):
    for unit, factor in (("s", 1), ("ms", 1e-3), ("us", 1e-6)):
        if seconds >= factor:
            return f"{seconds / factor:.3g} {unit}"
    return f"{seconds / 1e-9:.3g} ns"


def row(name, ours, other_name="", other=None, rounds=ROUNDS, timer=time.process_time):
    """One row of the table: both are called for about 20 ms, in turn."""
    if WANTED and not any(part in name for part in WANTED):
        return
    calls = [call for call in (ours, other) if call]
    measure = functools.partial(timeit.timeit, timer=timer)
    numbers = []
    for call in calls:
        few = max(1, min(100, int(0.005 / max(measure(call, number=1), 1e-6))))
        numbers.append(max(1, int(0.02 * few / max(measure(call, number=few), 1e-6))))
    times = [[] for _ in calls]
    for _ in range(rounds):
        for call, number, taken in zip(calls, numbers, times):
            taken.append(measure(call, number=number) / number)
    mine, *rest = map(statistics.median, times)
    beside = f"{other_name} {time_of(rest[0])} | {mine / rest[0]:.2f}" if rest else "|"
    print(f"| {name} | {time_of(mine)} | {beside} |", flush=True)


def imports():
    """What importing takes in a new interpreter."""
    if WANTED and not any(part in "import rastel" for part in WANTED):
        return
    times = {name: [] for name in ("rastel", "numpy")}
    for _ in range(ROUNDS):
        for name, taken in times.items():
            code = f"from time import process_time as t\na = t()\nimport {name}\nprint(t() - a)"
            taken.append(float(subprocess.run([sys.executable, "-c", code], check=True, capture_output=True).stdout))
    mine, other = map(statistics.median, times.values())
    print(f"| `import rastel` | {time_of(mine)} | `import numpy` {time_of(other)} | {mine / other:.2f} |", flush=True)


def out_of_band(thing):
    buffers = []
    data = pickle.dumps(thing, 5, buffer_callback=buffers.append)
    # As they arrive: memory that is the receiver's own, and can be written to.
    return pickle.loads(data, buffers=buffers)


def through(protocol):
    return lambda thing: pickle.loads(pickle.dumps(thing, protocol))


def blur(padded):
    return (padded[:-2, 1:-1] >> 2) + (padded[1:-1, 1:-1] >> 1) + (padded[2:, 1:-1] >> 2)


def blur_tile(tile):
    return blur(tile.padded)


def tiles_of(picture):
    return from_tiles(to_tiles(picture, 1024, 1).map(blur_tile))


def blocks_of(pixels):
    """The same with what Dask has for it."""
    blocks = dask.array.from_array(pixels, 1024)
    return blocks.map_overlap(blur, depth=1, boundary="reflect", trim=False, dtype=pixels.dtype).compute()


def slices_of(pixels):
    """The same by hand: what crosses to the workers are the pixels alone."""
    padded = numpy.pad(pixels, 1, "symmetric")
    out = numpy.empty_like(pixels)
    places = [(y, x) for y in range(0, len(pixels), 1024) for x in range(0, len(pixels[0]), 1024)]
    work = dask.delayed(blur, pure=False)
    done = dask.compute(*(work(dask.delayed(padded[y:y + 1026, x:x + 1026], traverse=False)) for y, x in places))
    for (y, x), block in zip(places, done):
        out[y:y + 1024, x:x + 1024] = block
    return out


def main():
    print("| What | rastel | Next to it | Ratio |\n|---|---|---|---|")
    pixels = numpy.random.default_rng(1).integers(0, 256, (3, 2000, 2000), "uint8")
    small = pixels[0, :480, :640].copy()
    picture, block = rastel.array(small, margin=4), rastel.array(pixels)
    picture.name = "small"
    empty = rastel.empty((480, 640))
    row("a view, `img.array`", lambda: picture.array, "`ndarray[:]`", lambda: small[:])
    row("`img.stored`", lambda: picture.stored)
    row("a view of a part, `img[10:20, 30:40]`", lambda: picture[10:20, 30:40],
        "`ndarray[10:20, 30:40]`", lambda: small[10:20, 30:40])
    row("`memoryview(img)`", lambda: memoryview(picture), "`memoryview(ndarray)`", lambda: memoryview(small))
    row("`np.asarray(img)`", lambda: numpy.asarray(picture), "`np.asarray(memoryview)`",
        lambda m=memoryview(small): numpy.asarray(m))
    row("`np.from_dlpack(img)`", lambda: numpy.from_dlpack(picture), "`np.from_dlpack(ndarray)`",
        lambda: numpy.from_dlpack(small))
    row("`rastel.attach(ndarray)`", lambda: rastel.attach(small), "`memoryview(ndarray)`", lambda: memoryview(small))
    row("`img.crop(...)`", lambda: picture.crop(10, 10, 100, 100))
    row("a pixel read, `img[3, 4]`", lambda: picture[3, 4], "`ndarray[3, 4]`", lambda: small[3, 4])

    def put(target):
        def run():
            target[3, 4] = 7
        return run
    row("a pixel written, `img[3, 4] = 7`", put(picture), "`ndarray[3, 4] = 7`", put(small))
    numbers = array.array("d", range(100))
    vector = rastel.Vector(numbers, "float64")
    row("an element read, `vector[7]`", lambda: vector[7], "`array.array`", lambda: numbers[7])
    entries = {f"key {i}": i for i in range(100)}
    attributes = rastel.Map(entries)
    row("`map[\"key 7\"]`", lambda: attributes["key 7"], "`dict`", lambda: entries["key 7"])
    row("`rastel.empty((480, 640))`", lambda: rastel.empty((480, 640)), "`np.empty`",
        lambda: numpy.empty((480, 640), "uint8"))
    row("`img.fill(7)`, 307 KB", lambda: empty.fill(7), "`ndarray.fill`", lambda: small.fill(7))
    row("`rastel.array(ndarray)`, 12 MB", lambda: rastel.array(pixels), "`ndarray.copy()`", pixels.copy)
    for name, way in (("pickle 5, buffers apart", out_of_band), ("pickle 5", through(5)), ("pickle 4", through(4))):
        row(f"{name}, there and back, 12 MB", lambda: way(block), "`ndarray`", lambda: way(pixels))
    row("`rastel.dumps` and `loads`, 12 MB", lambda: rastel.loads(rastel.dumps(block)), "`ndarray` by pickle 4",
        lambda: through(4)(pixels))
    imports()
    large = numpy.tile(pixels[0], (3, 3))[:5120, :5120].copy()
    shown = rastel.array(large)
    rounds = 7
    assert (tiles_of(shown).array == blocks_of(large)).all() and (slices_of(large) == blocks_of(large)).all()
    with dask.config.set(scheduler="threads"):
        row("26 MB filtered in 25 tiles, threads", lambda: tiles_of(shown), "dask's `map_overlap`",
            lambda: blocks_of(large), rounds)
        row("26 MB filtered in 25 tiles, threads", lambda: tiles_of(shown), "slices by hand",
            lambda: slices_of(large), rounds)
    import distributed
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster:
        with distributed.Client(cluster):
            row("the same, two processes, elapsed", lambda: tiles_of(shown), "slices by hand",
                lambda: slices_of(large), 2 * rounds, time.perf_counter)


if __name__ == "__main__":
    main()
