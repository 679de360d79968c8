# SPDX-License-Identifier: MIT
"""The functions of the package."""
from __future__ import annotations

from rastel import _core

TYPE_CHECKING = False
if TYPE_CHECKING:
    import os
    import uuid
    from collections.abc import Iterable
    from typing import Any, BinaryIO, Union

    Path = Union[str, os.PathLike[str]]


def empty(shape: Iterable[int], dtype: Any = "uint8", *, margin: int = 0) -> _core.Aoi:
    """A new picture whose pixels are not initialised.

    shape: (height, width), or (planes, height, width).
    dtype: uint8, int8, uint16, int16, uint32, int32, float32 or float64, as NumPy names them.
    margin: pixels that are stored around each plane, for `Aoi.fill_margins`; at most the smaller size.

    Raises ValueError for a size below 1 or of more than 2**31 - 1 pixels, TypeError for another dtype.
    """
    return _core._empty(shape, dtype, margin)


def array(pixels: Any, dtype: Any = None, *, margin: int = 0, channels_last: bool = False) -> _core.Aoi:
    """A new picture with a copy of pixels.

    pixels: anything with the buffer protocol or that NumPy takes, of the shape (height, width) or (planes,
        height, width), in either order of bytes.
    dtype: of the picture; that of the pixels if it is None. Other pixels are converted as NumPy does it.
    margin: as in `empty`; it is filled with zeros.
    channels_last: the pixels have the shape (height, width, channels), which become planes.

    Raises TypeError for pixels of another dtype, ValueError for another shape.
    """
    if dtype is not None or not _exports_buffer(pixels):
        import numpy
        pixels = numpy.asarray(pixels, dtype)
    return _core._array(pixels, channels_last, margin)


def _exports_buffer(pixels: Any) -> bool:
    try:
        memoryview(pixels)
    except TypeError:
        return False
    return True


def attach(pixels: Any) -> _core.Aoi:
    """A picture that looks at pixels where they are, without a copy.

    pixels: anything with the buffer protocol, or a DLPack tensor in main memory, of the shape (height,
        width) or (planes, height, width), packed row behind row. Whoever has the picture, a clone or a tile
        of it, keeps them alive, in Python or not; what one writes the other sees.

    Raises, with the reason, TypeError for pixels of none of the eight types, ValueError for those that are
    read-only, not packed, not aligned, in the other order of bytes, or of another shape.
    """
    return _core._attach(pixels)


def load(source: Path | BinaryIO) -> Any:
    """The object that a file holds: a picture, a vector, a map, or one of any other registered class.

    source: a path, or an open binary file, which is read to its end.

    Raises FileNotFoundError and the like for the file; OSError where it ends too early; Error where no class of
    its identifier is registered, or `allow_only` leaves it out.
    """
    return _core._load(source)


def save(object: _core.Object, target: Path | BinaryIO) -> None:
    """Saves a picture, a vector, a map or any other object that can be.

    target: a path, or an open binary file. A file that there was keeps its content until the new one is whole.
    """
    _core._save(object, target)


def dumps(object: _core.Object) -> bytes:
    """What `save` writes, as bytes."""
    return _core._dumps(object)


def loads(data: Any) -> Any:
    """The object that `dumps` made bytes of. data: anything with the buffer protocol."""
    return _core._loads(data)


def allow_only(*classes: str | uuid.UUID) -> None:
    """From now on streams make no objects but the package's own, and those of these classes: for files of strangers.

    A stream names the classes of what is in it, and each that is registered on the machine is made and given the
    bytes. Behind this call all others are as if they were not registered: `load` and `loads` raise Error for such
    an object, and where it is a value in another its bytes are kept, and saved again. The package's own pictures,
    vectors and maps are always made.

    classes: names ("Maker.Class"), identifiers ("{...}") or `uuid.UUID`s; none for the package's own alone.

    It holds for the process, in all its threads and for its C++ as well, and takes the place of what was said before.
    Lists are kept until the process ends, so say it once, when the program begins. Processes that it starts, Dask's
    workers too, say it for themselves. A pickle runs what it likes all the same.

    Raises Error for a name that no class has: nothing has changed then.
    """
    from uuid import UUID
    _core._allow_only(f"{{{name}}}" if isinstance(name, UUID) else name for name in classes)


def allow_all() -> None:
    """Takes `allow_only` back: every class that is registered is made again, as at the beginning."""
    _core._allow_all()


def imread(path: Path, *, margin: int = 0) -> _core.Aoi:
    """The picture in a file: PNG, TIFF, JPEG, BMP, HDR, PGM, PPM, PAM, PFM, NPY.

    Channels become planes, and what the file says beside its pixels name, tag (the resolution) and attributes.
    margin: as in `empty`; it is filled with the edge pixels.

    Raises FileNotFoundError and the like; ValueError, with the reason, for what is no picture.
    """
    with open(path, "rb"):
        pass
    return _core._imread(path, margin)


def imwrite(path: Path, picture: Any, *, dtype: Any = None, clamp: bool = False, scale: bool = False,
            stored: bool = False) -> int:
    """Writes a picture to a file in the format that the name's extension tells; see `imread`.

    picture: an `Aoi`, or pixels that `array` takes.
    dtype: of the file; that of the picture, or the nearest that the format has.
    clamp, scale: what becomes of pixels that this dtype does not hold: the nearest that it holds; or the lowest of
        the picture becomes 0 and the highest the largest. Otherwise they are refused.
    stored: all stored pixels, with the margin, instead of the rectangle.

    Returns how many pixels are others in the file. Raises ValueError for pixels that do not fit and for a format
    that there is not.
    """
    if not isinstance(picture, _core.Aoi):
        picture = array(picture)
    return _core._imwrite(path, picture, dtype, clamp, scale, stored)
