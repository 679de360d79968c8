# SPDX-License-Identifier: MIT
"""Pictures in tiles, for as many threads, processes or machines as there are. Needs Dask and NumPy.

    >>> from rastel.dask import from_tiles, to_tiles
    >>> tiles = to_tiles("large.aoi", chunks=2048, depth=8)        # nothing is read yet
    >>> from_tiles(tiles.map(smooth), "smooth.aoi")                # read, filtered and written by the workers

A tile is an `Aoi` wherever it is: it has the picture's name, tag and attributes, and `depth` pixels of its
neighbours around it. A file's tiles are read, and written, by the workers, who have to see the file under the
same path; nobody has to have room for the whole picture. What a worker that dies has not written is done
again by another.
"""
from __future__ import annotations

import copy
import itertools
import os
import uuid
from collections.abc import Callable, Iterable, Sequence
from typing import Any

import dask
import dask.array
import numpy
from dask.array.core import normalize_chunks
from dask.sizeof import sizeof

from rastel._classes import Rect
from rastel import _core
from rastel._errors import Error
from rastel._functions import array, dumps, empty, loads
from rastel._picture_file import PictureFile, carry, without_pixels

__all__ = ["Tiles", "from_tiles", "to_tiles"]

Chunks = tuple[tuple[int, ...], tuple[int, ...]]  # heights and widths


@sizeof.register(_core.Aoi)
def _sizeof(aoi: _core.Aoi) -> int:
    try:
        return aoi.padded.nbytes + 1000
    except Error:
        return 1000


class Tiles(Sequence[Any]):
    """The tiles of a picture, row by row: each a `dask.delayed.Delayed`, whose value is an `Aoi` at first.

    Attributes:
        places: where the tiles lie in the picture, a list of `Rect`.
        chunks: the heights of the rows and the widths of the columns of tiles.
        shape: (planes, height, width) of the picture that was cut.
        dtype: of its pixels.
    """

    def __init__(self, tiles: Iterable[Any], chunks: Chunks, shape: tuple[int, ...], dtype: numpy.dtype[Any],
                 depth: int, head: bytes) -> None:
        self._tiles, self.chunks, self.shape, self.dtype = list(tiles), chunks, shape, dtype
        self.places = _places(chunks)
        self._depth, self._head = depth, head

    def __len__(self) -> int:
        return len(self._tiles)

    def __getitem__(self, index: Any) -> Any:
        return self._tiles[index]

    def __repr__(self) -> str:
        down, across = map(len, self.chunks)
        return f"<rastel.dask.Tiles {down} x {across} of {' x '.join(map(str, self.shape))} {self.dtype}>"

    def map(self, function: Callable[..., Any], *args: Any, **kwargs: Any) -> Tiles:
        """The tiles that a function makes of these.

        function: called with a tile, and with what else is given, on any worker. It gives a picture or an
            array of the tile's size, or `depth` pixels larger on all sides; planes and dtype are its own. The
            tile may look at pixels of others: what is written to it may be seen there, or be lost.
        """
        call = dask.delayed(function, pure=False)
        made = [call(tile, *args, **kwargs) for tile in self]
        return Tiles(made, self.chunks, self.shape, self.dtype, self._depth, self._head)

    def to_array(self, dtype: Any = None, planes: int | None = None) -> Any:
        """The tiles without their margins as one `dask.array.Array`, (planes, height, width), one chunk each.

        dtype, planes: of the tiles, where a function has changed them.
        """
        planes = self.shape[0] if planes is None else planes
        dtype = numpy.dtype(self.dtype if dtype is None else dtype)
        pixels = dask.delayed(_pixels, pure=False)
        across = len(self.chunks[1])
        blocks = [dask.array.from_delayed(pixels(tile, place, self._depth),
                                          (planes, place.height, place.width), dtype)
                  for tile, place in zip(self, self.places)]
        return dask.array.block([blocks[row:row + across] for row in range(0, len(blocks), across)])


def to_tiles(picture: _core.Aoi | str | os.PathLike[str], chunks: Any = "auto", depth: int = 0,
             boundary: str | None = "mirror") -> Tiles:
    """Cuts a picture into `Tiles`.

    picture: an `Aoi`, or the path of a file that `rastel.save` made. Tiles of an `Aoi` look at its pixels, or
        with a `depth` and a `boundary` at a copy, as long as they are in the same process.
    chunks: the size of a tile, as Dask takes it: a number of pixels, (height, width), "auto", ...
    depth: pixels of the neighbours that a tile has as margins; `Aoi.padded` shows them.
    boundary: what the margins hold outside the picture, a mode of `Aoi.fill_margins`: "mirror", "periodic",
        "replicate" or "zero". None stands for what is stored around the `Aoi`.

    Raises ValueError for a file that is no such picture, and for a depth that is larger than the picture.
    """
    if isinstance(picture, _core.Aoi):
        shape, dtype = _with_planes(picture.array).shape, numpy.dtype(picture.dtype)
        head = dumps(without_pixels(dtype, picture))
        chunks = normalize_chunks(chunks, shape[1:], dtype=dtype)
        if depth > 0 and boundary is not None:
            padded = array(picture.array, margin=depth)
            padded.fill_margins(boundary)
            padded.margin_mode = "none"
            carry(picture, padded)
            picture = padded
        tiles = [dask.delayed(_tile(picture, place, depth), pure=False, traverse=False) for place in _places(chunks)]
    else:
        if boundary is None and depth > 0:
            raise ValueError("around the picture of a file nothing is stored")
        file = PictureFile.open(picture)
        shape, dtype, head = file.shape, file.dtype, file.head
        chunks = normalize_chunks(chunks, shape[1:], dtype=dtype)
        read = dask.delayed(_tile_of_file, pure=False)
        tiles = [read(file, tuple(place), depth, boundary) for place in _places(chunks)]
    return Tiles(tiles, chunks, shape, dtype, depth, head)


def from_tiles(tiles: Tiles | Any, target: str | os.PathLike[str] | None = None, *,
               like: _core.Aoi | None = None) -> _core.Aoi | None:
    """Computes tiles and puts them together.

    tiles: `Tiles`, or a dask array of the shape (height, width) or (planes, height, width).
    target: None for a new `Aoi`, which is returned; or the path of a file, which the workers write, each its
        tiles. A file that there was keeps its content until the new one is whole.
    like: an `Aoi` whose name, tag and attributes the result has; else they are those of the picture that was
        cut. Planes and dtype are those of the first tile.

    Raises ValueError for a tile of another size or with another number of planes, TypeError for one of another
    dtype.
    """
    if not isinstance(tiles, Tiles):
        tiles = _tiles_of_array(tiles)
    head = tiles._head if like is None else dumps(without_pixels("uint8", like))
    size, depth = tiles.shape[1:], tiles._depth
    if target is None:
        computed = dask.compute(*tiles, traverse=False)
        first = _pixels(computed[0], tiles.places[0], depth)
        picture = empty((len(first), *size), first.dtype)
        carry(loads(head), picture)
        whole = _with_planes(picture.array)
        for tile, place in zip(computed, tiles.places):
            pixels = _pixels(tile, place, depth)
            _check(pixels, first.dtype, len(first))
            whole[:, place.y:place.y + place.height, place.x:place.x + place.width] = pixels
        return picture
    target = os.path.abspath(os.fspath(target))
    begun = f"{target}.{uuid.uuid4().hex}"
    try:
        # All that may be done twice: a file that is there is not emptied.
        file = dask.delayed(_begin, pure=False)(tiles[0], tuple(tiles.places[0]), depth, begun, size, head)
        write = dask.delayed(_write, pure=False)
        dask.compute(*(write(file, tile, tuple(place), depth) for tile, place in zip(tiles, tiles.places)))
        os.replace(begun, target)
    finally:
        if os.path.exists(begun):
            os.remove(begun)
    return None


def _places(chunks: Chunks) -> list[Rect]:
    starts = [list(itertools.accumulate(lengths, initial=0)) for lengths in chunks]
    return [Rect(x, y, width, height) for y, height in zip(starts[0], chunks[0])
            for x, width in zip(starts[1], chunks[1])]


def _with_planes(pixels: Any) -> Any:
    return pixels if pixels.ndim == 3 else pixels[None]


def _tile(picture: _core.Aoi, place: Rect, depth: int) -> _core.Aoi:
    """A tile of an AOI: another one on the same pixels."""
    x, y, _, _ = picture.rect
    tile = copy.copy(picture)
    tile.margins = (0, 0)
    tile.rect = Rect(x + place.x, y + place.y, place.width, place.height)
    if depth > 0:
        tile.margins = (depth, depth)
    return tile


def _tile_of_file(file: PictureFile, place: tuple[int, ...], depth: int, boundary: str) -> _core.Aoi:
    """A tile with pixels of its own, of the file as many as it needs."""
    pixels = file.pixels()
    _, height, width = pixels.shape
    x, y, across, down = place
    left, top, right, bottom = x - depth, y - depth, x + across + depth, y + down + depth
    is_inside = left >= 0 and top >= 0 and right <= width and bottom <= height
    margin = 0
    if is_inside or boundary != "periodic":
        margin = 0 if is_inside else depth
        left, top = max(left, 0), max(top, 0)
        part = pixels[:, top:min(bottom, height), left:min(right, width)]
    else:
        rows, columns = numpy.arange(top, bottom) % height, numpy.arange(left, right) % width
        part = pixels[:, rows[:, None], columns]
    tile = empty(part.shape, part.dtype, margin=margin)
    tile.array[...] = part
    if margin > 0:
        tile.fill_margins(boundary)
        tile.margin_mode = "none"
    tile.rect = Rect(x - left, y - top, across, down)
    tile.margins = (depth, depth)
    carry(loads(file.head), tile)
    return tile


def _pixels(tile: Any, place: tuple[int, ...], depth: int) -> Any:
    """What a function has made of a tile, without margins: (planes, height, width)."""
    pixels = tile.array if isinstance(tile, _core.Aoi) else numpy.asarray(tile)
    _, _, width, height = place
    if pixels.ndim in (2, 3):
        if pixels.shape[-2:] == (height + 2 * depth, width + 2 * depth):
            pixels = pixels[..., depth:depth + height, depth:depth + width]
        if pixels.shape[-2:] == (height, width):
            return _with_planes(pixels)
    raise ValueError(f"a tile of {height} x {width} has become one of {' x '.join(map(str, pixels.shape))}")


def _check(pixels: Any, dtype: Any, planes: int) -> None:
    if pixels.dtype != dtype:
        raise TypeError(f"a tile is of {pixels.dtype}, the first one of {dtype}")
    if len(pixels) != planes:
        raise ValueError(f"a tile has {len(pixels)} planes, the first one {planes}")


def _begin(tile: Any, place: tuple[int, ...], depth: int, path: str, size: tuple[int, ...],
           head: bytes) -> PictureFile:
    first = _pixels(tile, place, depth)
    return PictureFile.create(path, (len(first), *size), dumps(without_pixels(first.dtype, loads(head))))


def _write(file: PictureFile, tile: Any, place: tuple[int, ...], depth: int) -> None:
    pixels = _pixels(tile, place, depth)
    _check(pixels, file.dtype, file.shape[0])
    file.write(place, pixels)


def _tiles_of_array(array: Any) -> Tiles:
    if array.ndim not in (2, 3):
        raise ValueError(f"a picture has the shape (height, width) or (planes, height, width), not {array.shape}")
    array = array.rechunk({0: -1}) if array.ndim == 3 else array[None]
    blocks = array.to_delayed().ravel()
    return Tiles(blocks, array.chunks[1:], array.shape, array.dtype, 0,
                 dumps(without_pixels("uint8")))
