# SPDX-License-Identifier: MIT
"""What the classes of the extension get from Python: the mixins of the abstract classes, and words."""
from __future__ import annotations

from collections import namedtuple
from collections.abc import MutableMapping, MutableSequence

from rastel import _core
from rastel._errors import Error


Rect = namedtuple("Rect", "x y width height", module="rastel")
Rect.__doc__ = "A rectangle in pixels: where its first pixel stands behind the picture's margin, and its size."


def _mix_in(target, abstract, names):
    abstract.register(target)
    for name in names.split():
        setattr(target, name, getattr(abstract, name))


_mix_in(_core.Map, MutableMapping, "get items keys pop popitem setdefault update values __eq__")
_core.Map.__hash__ = None  # type: ignore[assignment]
_mix_in(_core.Vector, MutableSequence, "append count extend index pop remove reverse __iadd__ __reversed__")

_core.Aoi.rect = property(
    lambda self: Rect(*self._rect), lambda self, to: setattr(self, "_rect", to), None,
    "Where the picture's rectangle stands: a `Rect`.\n\n"
    "Setting it moves the rectangle, and with it what `array` and all operations see; the pixels stay. A place\n"
    "outside the stored pixels raises ValueError.")


def _aoi_repr(self):
    try:
        return f"<rastel.Aoi {' x '.join(map(str, self.shape))} {self._dtype_name} {self.name!r}>"
    except Error:
        return f"<rastel.Aoi {self._dtype_name} without pixels>"


def _aoi_html(self):
    from rastel._display import html
    return html(self)


def _aoi_png(self):
    from rastel._display import png
    return png(self)


def _vector_repr(self):
    shown = ", ".join(map(repr, self[:6])) + (", ..." if len(self) > 6 else "")
    return f"rastel.Vector([{shown}], dtype={self._dtype_name!r})" if len(self) <= 6 else (
        f"<rastel.Vector of {len(self)} {self._dtype_name}: {shown}>")


_core.Aoi.__repr__ = _aoi_repr
_core.Aoi._repr_html_ = _aoi_html
_core.Aoi._repr_png_ = _aoi_png
_core.Vector.__repr__ = _vector_repr
_core.Map.__repr__ = lambda self: f"rastel.Map({dict(self.items())!r})"
