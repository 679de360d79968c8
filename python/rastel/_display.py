# SPDX-License-Identifier: MIT
"""What a notebook shows of a picture."""
from __future__ import annotations

from base64 import b64encode
from html import escape

from rastel import _core

_SHOWN = 256  # pixels of the longer side
_LARGEST = 1024


def png(picture: _core.Aoi) -> bytes:
    """The picture as PNG, of large ones every n-th pixel; other types than uint8 from lowest to highest value."""
    return _core._thumbnail(picture, _LARGEST)


def html(picture: _core.Aoi) -> str:
    """A thumbnail, and a table of name, tag and attributes."""
    rows = [("name", picture.name), ("shape", " x ".join(map(str, picture.shape))), ("dtype", picture._dtype_name)]
    if picture.tag is not None:
        rows.append(("tag", picture.tag))
    rows += picture.attributes.items()
    table = "".join(f"<tr><th>{escape(str(key))}</th><td>{escape(_short(value))}</td></tr>" for key, value in rows)
    image = b64encode(_core._thumbnail(picture, _SHOWN)).decode()
    return f'<div><img src="data:image/png;base64,{image}" alt=""/><table>{table}</table></div>'


def _short(value: object) -> str:
    text = value if isinstance(value, str) else repr(value)
    return text if len(text) <= 200 else text[:199] + "…"
