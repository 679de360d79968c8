# SPDX-License-Identifier: MIT
"""What the classes of the extension get from Python: the mixins of the abstract classes, and words."""
from __future__ import annotations

from abc import ABCMeta
from collections import namedtuple
from collections.abc import MutableMapping, MutableSequence

from rastel import _core


Rect = namedtuple("Rect", "x y width height", module="rastel")
Rect.__doc__ = "A rectangle in pixels: where its first pixel stands behind the picture's margin, and its size."


def _mix_in(target: type, abstract: ABCMeta, names: str) -> None:
    abstract.register(target)
    for name in names.split():
        setattr(target, name, getattr(abstract, name))


def _add(target: type, **members: object) -> None:
    for name, member in members.items():
        setattr(target, name, member)


_mix_in(_core.Map, MutableMapping, "get items keys pop popitem setdefault update values __eq__")
_mix_in(_core.Vector, MutableSequence, "__contains__ __iter__ append count extend index pop remove reverse __iadd__ __reversed__")

_RECT = """Where the picture's rectangle stands: a `Rect`.

Setting it moves the rectangle, and with it what `array` and all operations see; the pixels stay. Raises ValueError
for a place outside the stored pixels."""


def _get_rect(self: _core.Aoi) -> Rect:
    return Rect(*self._rect)


def _set_rect(self: _core.Aoi, to: tuple[int, int, int, int]) -> None:
    self._rect = to


def _aoi_repr(self: _core.Aoi) -> str:
    shape = " x ".join(map(str, self.shape)) if self._is_bound else "without pixels"
    return f"<rastel.Aoi {shape} {self._dtype_name} {self.name!r}>"


def _aoi_html(self: _core.Aoi) -> str | None:
    from rastel import _display
    return _display.html(self) if self._is_bound else None


def _aoi_png(self: _core.Aoi) -> bytes | None:
    from rastel import _display
    return _display.png(self) if self._is_bound else None


def _vector_repr(self: _core.Vector) -> str:
    shown = ", ".join(map(repr, self[:6])) + (", ..." if len(self) > 6 else "")
    return f"rastel.Vector([{shown}], dtype={self._dtype_name!r})" if len(self) <= 6 else (
        f"<rastel.Vector of {len(self)} {self._dtype_name}: {shown}>")


def _map_repr(self: _core.Map) -> str:
    return f"rastel.Map({dict(self.items())!r})"


_add(_core.Aoi, rect=property(_get_rect, _set_rect, None, _RECT), __repr__=_aoi_repr, _repr_html_=_aoi_html,
     _repr_png_=_aoi_png)
_add(_core.Vector, __repr__=_vector_repr)
_add(_core.Map, __repr__=_map_repr, __hash__=None)
