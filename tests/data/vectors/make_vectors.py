#!/usr/bin/env python3
"""Writes one small vector stream per element type and stream version.

The bytes come from the format alone. Every vector has three elements and three tags: VT_I4 5,
VT_BSTR "ab" and VT_EMPTY. Usage: make_vectors.py, in this folder.
"""
import struct

VT_EMPTY, VT_I4, VT_R8, VT_BSTR, VT_BOOL = 0, 3, 5, 8, 11

NUMBERS = {
    "byte": ("B", [0, 127, 255]),
    "char": ("b", [-128, -1, 127]),
    "word": ("H", [0, 258, 65535]),
    "short": ("h", [-32768, 258, 32767]),
    "dword": ("I", [0, 0x01020304, 0xFFFFFFFF]),
    "long": ("i", [-0x80000000, 0x01020304, 0x7FFFFFFF]),
    "float": ("f", [-1.5, float("inf"), 0.25]),
    "double": ("d", [-1.5, float("inf"), 0.1]),
}
VARIANTS = [(VT_R8, 2.5), (VT_I4, 7), (VT_BOOL, -1)]
TAGS = [(VT_I4, 5), (VT_BSTR, "ab"), (VT_EMPTY, "")]

VALUE_FORMATS = {VT_R8: "<d", VT_I4: "<i", VT_BOOL: "<h"}


def plain(vt, value):
    if vt in VALUE_FORMATS:
        return struct.pack("<H", vt) + struct.pack(VALUE_FORMATS[vt], value)
    text = value.encode("utf-16-le") + b"\0\0"
    return struct.pack("<HI", vt, len(text)) + text


def tagged(vt, value):
    return struct.pack("<H", vt) + plain(vt, value)


def raw_image(vt, value):
    return (struct.pack("<H6x", vt) + struct.pack(VALUE_FORMATS[vt], value)).ljust(24, b"\0")


def elements(kind, version):
    if kind != "variant":
        code, values = NUMBERS[kind]
        return struct.pack("<3" + code, *values)
    record = {0x0100: plain, 0x0101: raw_image, 0x0102: tagged, 0x0103: tagged}[version]
    return b"".join(record(*value) for value in VARIANTS)


def stream(kind, version):
    record = tagged if version == 0x0103 else plain
    flag = b"" if version == 0x0100 else b"\xff\xff"
    tags = struct.pack("<i", len(TAGS)) + b"".join(record(*tag) for tag in TAGS)
    return struct.pack("<Hi", version, 3) + flag + elements(kind, version) + tags


for kind in [*NUMBERS, "variant"]:
    for version in range(0x0100, 0x0104):
        with open(f"{kind}_{version:04x}.vec", "wb") as file:
            file.write(stream(kind, version))
