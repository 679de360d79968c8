# SPDX-License-Identifier: MIT
"""What pickles of objects name: functions that make them again."""
from __future__ import annotations

from rastel import _core


def from_stream(data: bytes) -> _core.Object:
    return _core._loads(data)


def by_name_from_stream(data: bytes) -> _core.Dispatch:
    return _core.Dispatch(_core._loads(data))


def picture_from_stream(place: tuple[int, ...], data: bytes) -> _core.Aoi:
    return _core._picture_from_stream(place, data)


def picture_from_pixels(dtype: str, place: tuple[int, ...], pixels: object,
                        client_data: bytes | None) -> _core.Aoi:
    return _core._picture_from_pixels(dtype, place, pixels, client_data)


def vector_from_elements(dtype: str, elements: object) -> _core.Vector:
    return _core._vector_from_elements(dtype, elements)
