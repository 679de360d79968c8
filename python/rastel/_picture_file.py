# SPDX-License-Identifier: MIT
"""Saved pictures that are read and written where they lie in their files, a part at a time.

The pixels are the end of a file, one behind the other; in front of them stands a head that an AOI without
pixels has as well, but for the sizes (docs/stream_formats.md).
"""
from __future__ import annotations

import mmap
import os
import struct
from typing import Any

import numpy

from rastel._classes import Rect
from rastel import _core
from rastel._functions import dumps, empty, loads

# Behind class and version: total width and height, x, y, width, height, both margins, planes; flags.
_SIZES = struct.Struct("<9ih")
_SIZES_AT = 18
_VERSION = b"\x02\x02"
_BUFFER = struct.Struct("<3i")


def without_pixels(dtype: Any, like: _core.Aoi | None = None) -> _core.Aoi:
    """An AOI without pixels, with the name, the tag and the attributes of another one."""
    stream = bytearray(dumps(empty((1, 1), dtype)))[:-numpy.dtype(dtype).itemsize]
    stream[_SIZES_AT:_SIZES_AT + _SIZES.size] = bytes(_SIZES.size)
    made = loads(stream)
    if like is not None:
        carry(like, made)
    return made


def carry(source: _core.Aoi, target: _core.Aoi) -> None:
    """Gives an AOI what another one carries."""
    target.name, target.tag = source.name, source.tag
    if len(source.attributes):
        target.attributes = source.attributes


class PictureFile:
    """Where the pixels of a saved picture lie. It can be sent to whoever sees the same files.

    head: the stream of the picture without its pixels.
    """

    def __init__(self, path: str, head: bytes, offset: int, stored: tuple[int, ...], rect: Rect) -> None:
        self.path, self.head, self.offset, self.stored, self.rect = path, head, offset, stored, rect
        self.dtype = numpy.dtype(loads(head).dtype)

    @property
    def shape(self) -> tuple[int, int, int]:
        """(planes, height, width)."""
        return self.stored[0], self.rect.height, self.rect.width

    @classmethod
    def open(cls, path: str | os.PathLike[str]) -> PictureFile:
        """Raises ValueError for anything but a picture as `save` writes it."""
        path = os.path.abspath(os.fspath(path))
        with open(path, "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_COPY) as stream:
            size = len(stream)
            if size < _SIZES_AT + _SIZES.size or stream[_SIZES_AT - 2:_SIZES_AT] != _VERSION:
                raise ValueError(f"{path} is not a picture as save() writes it")
            sizes = _SIZES.unpack_from(stream, _SIZES_AT)
            across, down, x, y, width, height, margin_x, margin_y, planes, flags = sizes
            # Nobody else sees that; what is read is the head alone.
            stream[_SIZES_AT:_SIZES_AT + _SIZES.size] = bytes(_SIZES.size)
            bare = loads(stream)
            head = dumps(bare) if isinstance(bare, _core.Aoi) else b""
            offset = len(head)
            if head and flags & 1 and offset + _BUFFER.size <= size:
                planes, across, down = _BUFFER.unpack_from(stream[offset:offset + _BUFFER.size])
                offset += _BUFFER.size
            else:
                x, y = margin_x, margin_y
            is_inside = x >= 0 and y >= 0 and 0 < width <= across - x and 0 < height <= down - y
            if not head or not is_inside or size - offset != planes * across * down * bare.dtype.itemsize:
                raise ValueError(f"{path} is not a picture as save() writes it, with all its planes")
        return cls(path, head, offset, (planes, down, across), Rect(x, y, width, height))

    @classmethod
    def create(cls, path: str, shape: tuple[int, ...], head: bytes) -> PictureFile:
        """Makes a file for a picture of zeros, or one from the same arguments again, whose pixels stay."""
        planes, height, width = shape
        made = cls(path, head, len(head), shape, Rect(0, 0, width, height))
        sizes = _SIZES.pack(width, height, 0, 0, width, height, 0, 0, planes, 0)
        with os.fdopen(os.open(path, os.O_RDWR | os.O_CREAT, 0o666), "r+b") as file:
            file.write(head[:_SIZES_AT] + sizes + head[_SIZES_AT + _SIZES.size:])
            file.truncate(made.offset + planes * height * width * made.dtype.itemsize)
        return made

    def pixels(self) -> Any:
        """The pixels in the file, of the shape (planes, height, width), to be read."""
        x, y, width, height = self.rect
        block = numpy.memmap(self.path, self.dtype, "r", self.offset, self.stored)
        return block[:, y:y + height, x:x + width]

    def write(self, place: tuple[int, ...], pixels: Any) -> None:
        """Writes a part and no other byte, so that others may write theirs meanwhile, on other machines too.

        pixels: of the shape (planes, height, width) and of the file's dtype.
        """
        x, y, _, _ = place
        _, down, across = self.stored
        with open(self.path, "r+b") as file:
            for plane, rows in enumerate(pixels):
                for row, line in enumerate(rows, plane * down + self.rect.y + y):
                    file.seek(self.offset + (row * across + self.rect.x + x) * self.dtype.itemsize)
                    file.write(numpy.ascontiguousarray(line).data)
