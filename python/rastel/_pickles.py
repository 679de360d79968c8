# SPDX-License-Identifier: MIT
"""What pickles of objects name: functions that make them again."""
from __future__ import annotations

from rastel import _core


def from_stream(data):
    return _core._loads(data)


def by_name_from_stream(data):
    return _core.Dispatch(_core._loads(data))


def picture_from_stream(place, data):
    return _core._picture_from_stream(place, data)


def picture_from_pixels(dtype, place, pixels, client_data):
    return _core._picture_from_pixels(dtype, place, pixels, client_data)


def vector_from_elements(dtype, elements):
    return _core._vector_from_elements(dtype, elements)
