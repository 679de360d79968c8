#!/usr/bin/env python3
"""Writes one small AOI stream per pixel type, stream version and form of the pixels.

The bytes come from the format alone. The pixels count up from a first value of the type. Up to 258
there is one form; from 259 on "rect" has the rectangle with its margins, "buffer" the whole buffer.
The type code is not the class's own, the flags have bits that nobody sets. Usage: make_aois.py, in
this folder.
"""
import struct

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
