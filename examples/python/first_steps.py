#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What people do first: look at a picture, measure it, process it in parallel.

Cell by cell in an editor that knows `# %%`, or as a whole. What a notebook would show is left in
out/first_steps.html. The cells are indented since workers import this file too.
"""
# %%
import html
import pathlib

import numpy as np
from dask.distributed import Client, LocalCluster

import rastel
from rastel.dask import from_tiles, to_tiles

CHELSEA = pathlib.Path(__file__).resolve().parents[1] / "pictures" / "chelsea.png"


def smooth(tile):
    """A binomial filter of 5 x 5 pixels. It knows of no edges and of no other tiles."""
    pixels = tile.padded.astype("uint16")
    for axis in (-2, -1):
        length = pixels.shape[axis] - 4
        parts = (pixels.take(range(i, i + length), axis) * weight for i, weight in enumerate((1, 4, 6, 4, 1)))
        pixels = sum(parts) // 16
    return pixels.astype(tile.dtype)


if __name__ == "__main__":
    # %% Look: planes, not channels; `array` is a view, and a slice of it too
    out = pathlib.Path("out")
    out.mkdir(exist_ok=True)
    picture = rastel.imread(CHELSEA)
    print(picture)
    shown = [("The picture", picture)]
    green = rastel.array(picture.array[1])
    green.name = "green"
    shown.append(("Its second plane", green))
    height, width = green.shape
    middle = green.crop(width // 4, height // 4, width // 2, height // 2)
    print("the middle:", middle, middle.rect)

    # %% Measure: what is measured is kept with the picture
    bright = green.array > np.percentile(green.array, 90)
    y, x = np.nonzero(bright)
    green.attributes.update(
        mean=float(green.array.mean()), deviation=float(green.array.std()),
        brightest={"pixels": int(bright.sum()), "x": float(x.mean()), "y": float(y.mean())},
        histogram=np.bincount(green.array.ravel(), minlength=256).astype("int32"))
    for name, value in green.attributes.items():
        print(f"{name:>10}: {value}")
    file = out / "first_steps.aoi"
    rastel.save(green, file)

    # %% In parallel: workers read, filter and write tiles of the file; the neighbours come along
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster):
        tiles = to_tiles(file, chunks=128, depth=2)
        print(tiles)
        from_tiles(tiles.map(smooth), out / "first_steps_smooth.aoi")
    made = rastel.load(out / "first_steps_smooth.aoi")
    shown.append(("Smoothed in tiles, with what was measured", made))
    whole = rastel.array(green.array, margin=2)
    whole.fill_margins("mirror")
    whole.margins = (2, 2)
    print("the same as in one piece:", bool((smooth(whole) == made.array).all()))

    # %% All that was shown
    page = out / "first_steps.html"
    cells = "".join(f"<h2>{html.escape(title)}</h2>{thing._repr_html_()}" for title, thing in shown)
    page.write_text(f"<!DOCTYPE html><meta charset='utf-8'><title>First steps</title>{cells}", encoding="utf-8")
    print(page)

