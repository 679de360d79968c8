#!/usr/bin/env python3
"""Writes small AOI streams: one per pixel type, stream version and form of the pixels, and others
that show what a stream may hold.

The bytes come from the format alone. The pixels count up from a first value of the type. Up to 258
there is one form; from 259 on "rect" has the rectangle with its margins, "buffer" the whole buffer.
The type code is not the class's own, the flags have bits that nobody sets. Usage: make_aois.py, in
this folder.
"""
import struct
import uuid

PIXELS = {
    "byte": ("B", 7),
    "char": ("b", -30),
    "word": ("H", 65000),
    "short": ("h", -300),
    "dword": ("I", 4294967000),
    "long": ("i", -70000),
    "float": ("f", -1.5),
    "double": ("d", -0.25),
}
X, Y, WIDTH, HEIGHT, MARGIN_X, MARGIN_Y, PLANES = 2, 1, 3, 2, 1, 1, 2
TOTAL = (WIDTH + 2 * MARGIN_X, HEIGHT + 2 * MARGIN_Y)
BUFFER = (6, 5)
NAME = "N\u00e4h".encode("utf-16-le")
TAG = struct.pack("<Hi", 3, 5)  # VT_I4 5
FLAGS = {"rect": -2, "buffer": 3}


def pixels(kind, count):
    code, first = PIXELS[kind]
    return struct.pack(f"<{count}{code}", *(first + i for i in range(count)))


def oldest(kind):
    return struct.pack("<hh", 6, 3) + pixels(kind, 18) + struct.pack("<6h", 1, 0, 4, 2, 1, 0)


def stream(kind, version, form):
    start = struct.pack("<H", version)
    if version == 256:
        return start + oldest(kind)
    rect = "4h" if version == 257 else "4i"
    rest = "3h" if version < 512 else "3i"
    out = start + struct.pack("<2I" + rect + rest, *TOTAL, X, Y, WIDTH, HEIGHT, MARGIN_X, MARGIN_Y,
                              PLANES)
    if version >= 259:
        out += struct.pack("<h", FLAGS[form])
    if version >= 512:
        length = len(NAME) // 2
        out += struct.pack("<3I", 7 - list(PIXELS).index(kind), length, length) + NAME
    if version == 513:
        out += TAG
    if version == 514:
        out += TAG[:2] + TAG + b"\0"
    if form != "buffer":
        return out + pixels(kind, PLANES * TOTAL[0] * TOTAL[1])
    out += struct.pack("<hII" if version == 259 else "<3I", PLANES, *BUFFER)
    return out + pixels(kind, PLANES * BUFFER[0] * BUFFER[1])


for kind in PIXELS:
    for version in (256, 257, 258, 259, 512, 513, 514):
        for form in ("rect", "buffer") if version >= 259 else ("rect",):
            with open(f"{kind}_{version}_{form}.aoi", "wb") as file:
                file.write(stream(kind, version, form))

EMPTY_TAG = struct.pack("<HHI", 0, 0, 2) + b"\0\0"  # VT_EMPTY: a text of its terminator alone
BSTR_MAP = uuid.UUID("9624BE21-9980-49D2-998B-95F217179324").bytes_le
WORD_VECTOR = uuid.UUID("0F6E87CF-D563-45A1-B7F0-8A8E93D8E7E8").bytes_le
NO_CLASS = bytes(16)


def named(rect, margins, planes, rest, version=514, flags=0, code=0, name="", tag=EMPTY_TAG,
          attribute_map=b"\0"):
    """512 and newer; the rest is the pixels, with P, B and C in front in the buffer form."""
    x, y, width, height = rect
    total = (width + 2 * margins[0], height + 2 * margins[1])
    text = name.encode("utf-16-le")
    out = struct.pack("<H9iHiII", version, *total, *rect, *margins, planes, flags, code, len(name),
                      len(name)) + text
    return out + (tag if version > 512 else b"") + (attribute_map if version > 513 else b"") + rest


def old(version, total, rect, margins, planes, rest):
    form = "<H2I4h3h" if version == 257 else "<H2I4i3h"
    return struct.pack(form, version, *total, *rect, *margins, planes) + rest


def key(text):
    return struct.pack("<I", len(text)) + text.encode("utf-16-le")


VECTOR = struct.pack("<Hih2H", 0x0103, 2, 0, 1, 65535)
NESTED_MAP = (b"\1" + BSTR_MAP + struct.pack("<IBI", 1, 1, 2)
              + key("dx") + struct.pack("<HHd", 5, 5, 0.25)
              + key("row") + struct.pack("<H16sQ", 13, WORD_VECTOR, len(VECTOR)) + VECTOR)
# Not numbers: quiet, signalling, negative with a payload; then both infinities and -0.0.
FLOATS = struct.pack("<6I", 0x7FC00000, 0x7F800001, 0xFFC12345, 0x7F800000, 0xFF800000, 0x80000000)
COUNT = bytes(range(1, 31))

OTHERS = {
    "byte_256_empty": struct.pack("<H2h6h", 256, 0, 3, 0, 0, 1, 1, 0, 0),
    "byte_257_negative_position": old(257, (5, 3), (-1, 0, 2, 1), (1, 0), 1, COUNT[:15]),
    "byte_258_wide_margins": old(258, (5, 3), (1, 1, 2, 1), (3, 0), 1, COUNT[:15]),
    "byte_512_empty": named((0, 0, 0, 3), (0, 0), 1, b"", version=512),
    "byte_512_missing_pixels": named((0, 0, 5, 3), (0, 0), 1, COUNT[:8], version=512),
    "byte_513_null_text": named((0, 0, 2, 1), (0, 0), 1, COUNT[:2], version=513,
                                tag=struct.pack("<HI", 8, 0)),
    "byte_514_negative_margins": named((0, 0, 6, 5), (-1, -1), 1, COUNT[:12]),
    "byte_514_nested": named((2, 1, 2, 1), (1, 1), 1, struct.pack("<3i", 1, 5, 3) + COUNT[:15],
                             flags=1, name="\u00e4b", tag=struct.pack("<HHI", 8, 8, 6) + b"o\0k\0\0\0",
                             attribute_map=NESTED_MAP),
    "byte_514_null_object": named((0, 0, 2, 1), (0, 0), 1, COUNT[:2],
                                  tag=struct.pack("<H", 13) + NO_CLASS),
    "byte_514_unbound": named((0, 0, 0, 0), (0, 0), 0, b"", name="None"),
    "byte_514_unselected_planes": named((0, 0, 2, 1), (0, 0), 3, COUNT[:4]),
    "float_514_nan": named((0, 0, 3, 2), (0, 0), 1, FLOATS, code=6),
}
for name, content in OTHERS.items():
    with open(name + ".aoi", "wb") as file:
        file.write(content)
