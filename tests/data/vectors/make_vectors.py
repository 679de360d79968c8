#!/usr/bin/env python3
"""Writes small vector streams: one per element type and stream version, and others that show what
a stream may hold.

The bytes come from the format alone. Every vector of the first kind has three elements and three
tags: VT_I4 5, VT_BSTR "ab" and VT_EMPTY. Usage: make_vectors.py, in this folder.
"""
import struct

VT_EMPTY, VT_I4, VT_R8, VT_BSTR, VT_DISPATCH, VT_BOOL, VT_UNKNOWN = 0, 3, 5, 8, 9, 11, 13
VT_DECIMAL = 14

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

NO_CLASS = bytes(16)
NULL_TEXT = struct.pack("<HI", VT_BSTR, 0)


def tagged_null(record):
    return record[:2] + record


def vector(version, count, flag, rest):
    return struct.pack("<Hih", version, count, flag) + rest


def decimal_image(negative, scale, digits):
    low = digits & 0xFFFFFFFFFFFFFFFF
    return struct.pack("<HBBIQ8x", VT_DECIMAL, scale, 0x80 if negative else 0, digits >> 64, low)


OTHERS = {
    # Plain null texts and objects; no flag, and no tags.
    "variant_0100_nulls": struct.pack("<Hi", 0x0100, 4) + NULL_TEXT
    + struct.pack("<H", VT_UNKNOWN) + NO_CLASS + struct.pack("<H", VT_DISPATCH) + NO_CLASS
    + plain(VT_EMPTY, "") + struct.pack("<i", 0),
    # The DECIMAL -0.1 with more than 64 bits, a text that was a pointer, VT_EMPTY.
    "variant_0101_images": vector(0x0101, 3, 0, decimal_image(True, 21, 10 ** 20)
                                  + struct.pack("<H6xQ8x", VT_BSTR, 0x7FFF1234) + bytes(24)),
    "variant_0103_nulls": vector(0x0103, 3, 0, struct.pack("<H", VT_UNKNOWN) + NO_CLASS
                                 + tagged_null(NULL_TEXT) + tagged(VT_BSTR, "")),
    "byte_0103_fewer_tags": vector(0x0103, 3, -1, b"\1\2\3" + struct.pack("<i", 1)
                                   + tagged(VT_I4, 5)),
    "byte_0103_more_tags": vector(0x0103, 1, -1, b"\1" + struct.pack("<i", 2)
                                  + tagged(VT_I4, 5) + tagged(VT_BOOL, -1)),
    # Tags are off with every flag but -1.
    "byte_0103_odd_flag": vector(0x0103, 1, 1, b"\1"),
    # Not numbers: quiet, signalling, negative with a payload; then -0.0.
    "double_0103_nan": vector(0x0103, 4, 0, struct.pack(
        "<4Q", 0x7FF8000000000000, 0x7FF0000000000001, 0xFFF8000012345678, 0x8000000000000000)),
}
for name, content in OTHERS.items():
    with open(name + ".vec", "wb") as file:
        file.write(content)
