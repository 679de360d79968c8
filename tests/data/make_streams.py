#!/usr/bin/env python3
"""Writes the sample streams: AOIs and vectors of every type, stream version and form, and the named
ones of streams.txt, which show what else a stream may hold.

The bytes come from the format alone. Usage: make_streams.py
"""
import pathlib
import struct

HERE = pathlib.Path(__file__).parent
# The type of an element in a stream, a vector's three elements and an AOI's first pixel.
NUMBERS = {
    "byte": ("B", [0, 127, 255], 7),
    "char": ("b", [-128, -1, 127], -30),
    "word": ("H", [0, 258, 65535], 65000),
    "short": ("h", [-32768, 258, 32767], -300),
    "dword": ("I", [0, 0x01020304, 0xFFFFFFFF], 4294967000),
    "long": ("i", [-0x80000000, 0x01020304, 0x7FFFFFFF], -70000),
    "float": ("f", [-1.5, float("inf"), 0.25], -1.5),
    "double": ("d", [-1.5, float("inf"), 0.1], -0.25),
}


def write(name, *fields):
    """A field is bytes, or a format and its values."""
    packed = (f if isinstance(f, bytes) else struct.pack("<" + f[0], *f[1:]) for f in fields)
    (HERE / name).write_bytes(b"".join(packed))


# VT_R8 2.5, VT_I4 7 and VT_BOOL -1 as they stand in each version; then tags, VT_I4 5, VT_BSTR "ab" and
# VT_EMPTY, whose type stands there twice in the newest.
VARIANTS = {
    0x0100: ("Hd Hi Hh", 5, 2.5, 3, 7, 11, -1),
    0x0101: ("H6xd8x H6xi12x H6xh14x", 5, 2.5, 3, 7, 11, -1),
    0x0102: ("HHd HHi HHh", 5, 5, 2.5, 3, 3, 7, 11, 11, -1),
    0x0103: ("HHd HHi HHh", 5, 5, 2.5, 3, 3, 7, 11, 11, -1),
}
OLD_TAGS = ("i Hi HI6s HI2s", 3, 3, 5, 8, 6, b"a\0b\0", 0, 2, b"")
TAGS = ("i HHi HHI6s HHI2s", 3, 3, 3, 5, 8, 8, 6, b"a\0b\0", 0, 0, 2, b"")
for version, variants in VARIANTS.items():
    head = ("Hi", version, 3) if version == 0x0100 else ("Hih", version, 3, -1)
    tags = TAGS if version == 0x0103 else OLD_TAGS
    for kind, (code, values, _) in NUMBERS.items():
        write(f"vectors/{kind}_{version:04x}.vec", head, ("3" + code, *values), tags)
    write(f"vectors/variant_{version:04x}.vec", head, variants, tags)


def aoi(kind, version, form):
    """Two planes of 3 by 2 pixels in margins of 1, at 2, 1 of a buffer of 6 by 5 pixels. The type code
    is not the class's own, the flags have bits that nobody sets."""
    def pixels(count):
        code, _, first = NUMBERS[kind]
        return (f"{count}{code}", *(first + i for i in range(count)))

    yield ("H", version)
    if version == 256:  # Rows of 6 pixels, of which 4 are in the rectangle, and 3 planes.
        yield from (("2h", 6, 3), pixels(18), ("6h", 1, 0, 4, 2, 1, 0))
        return
    yield ("2I" + ("4h" if version == 257 else "4i"), 5, 4, 2, 1, 3, 2)
    yield ("3h" if version < 512 else "3i", 1, 1, 2)
    if version >= 259:
        yield ("h", 3 if form == "buffer" else -2)
    if version >= 512:
        yield ("3I6s", 7 - list(NUMBERS).index(kind), 3, 3, "N\u00e4h".encode("utf-16-le"))
    if version >= 513:  # A tag, VT_I4 5; behind it no map.
        yield ("Hi", 3, 5) if version == 513 else ("HHix", 3, 3, 5)
    if form == "buffer":
        yield ("hII" if version == 259 else "3I", 2, 6, 5)
    yield pixels(60 if form == "buffer" else 40)


for kind in NUMBERS:
    for version in (256, 257, 258, 259, 512, 513, 514):
        for form in ("rect", "buffer") if version >= 259 else ("rect",):
            write(f"aois/{kind}_{version}_{form}.aoi", *aoi(kind, version, form))

for line in (HERE / "streams.txt").read_text().splitlines():
    if line and not line.startswith("#"):
        name, _, content = line.partition(" = ")
        write(name, bytes.fromhex(content))
