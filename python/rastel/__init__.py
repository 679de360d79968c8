# SPDX-License-Identifier: MIT
"""Pictures, vectors and attribute maps that are shared between imaging components, without copies.

    >>> import rastel
    >>> picture = rastel.empty((480, 640), "uint16", margin=2)
    >>> picture.array[:] = 100                     # numpy.ndarray over the same pixels
    >>> picture.attributes["gain"] = 2.5
    >>> rastel.save(picture, "picture.aoi")

The objects are those that C++ programs and all others use: `Aoi`, a picture or a part of one; `Vector`;
`Map`. NumPy is not needed: without it views of pixels are memoryviews.
"""
from rastel._core import Aoi, Dispatch, Map, Object, Vector, __version__
from rastel._errors import Error
from rastel._classes import Rect
from rastel._functions import (allow_all, allow_only, array, attach, dumps, empty, imread, imwrite, load, loads,
                               save)

__all__ = ["Aoi", "Dispatch", "Error", "Map", "Object", "Rect", "Vector", "allow_all", "allow_only", "array", "attach",
           "dumps", "empty", "imread", "imwrite", "load", "loads", "save"]
