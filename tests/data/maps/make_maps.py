#!/usr/bin/env python3
"""Writes small streams of attribute maps, by the type of their keys.

The bytes come from the format alone. Usage: make_maps.py, in this folder.
"""
import struct
import uuid

VT_EMPTY, VT_I4, VT_R8, VT_BSTR, VT_UNKNOWN = 0, 3, 5, 8, 13
LONG_MAP = uuid.UUID("4E996978-B7D4-417A-BD5B-2660FB96BF6C").bytes_le
NOBODYS_CLASS = uuid.UUID("1F0A7C51-3C11-4B1E-9A01-527D10446E01").bytes_le


def text_key(*units):
    return struct.pack(f"<I{len(units)}H", len(units), *units)


def long_key(number):
    return struct.pack("<i", number)


def double_key(bits):
    return struct.pack("<Q", bits)


def number(value):
    return struct.pack("<HHi", VT_I4, VT_I4, value)


def text(value):
    units = value.encode("utf-16-le") + b"\0\0"
    return struct.pack("<HHI", VT_BSTR, VT_BSTR, len(units)) + units


def held(class_id, data):
    return struct.pack("<H16sQ", VT_UNKNOWN, class_id, len(data)) + data


def attribute_map(attributes, override=1):
    return struct.pack("<IBI", 1, override, len(attributes)) + b"".join(attributes)


def numbered(keys):
    return attribute_map([key + number(i) for i, key in enumerate(keys)])


MAPS = {
    # Unsigned units, the shorter text first: the empty one, "B", "a", "ab", a surrogate without its
    # pair, U+1F600 as its pair, U+FFFD.
    "bstr_order": numbered([text_key(), text_key(0x42), text_key(0x61), text_key(0x61, 0x62),
                            text_key(0xD800), text_key(0xD83D, 0xDE00), text_key(0xFFFD)]),
    "bstr_values": attribute_map([
        text_key(0x61) + struct.pack("<HHd", VT_R8, VT_R8, 0.5),
        text_key(0x62) + text("text"),
        text_key(0x63) + text(""),
        text_key(0x64) + struct.pack("<HHI2s", VT_EMPTY, VT_EMPTY, 2, b"\0\0"),
        text_key(0x65) + held(LONG_MAP, attribute_map([long_key(-1) + number(7)], 0)),
        text_key(0x66) + held(NOBODYS_CLASS, b"\x10\x20\x30")]),
    # A key ends at its first null.
    "bstr_null_in_key": attribute_map([text_key(0x61, 0, 0x62) + number(5)]),
    # The first value of a key counts, and the order of a stream does not.
    "long_twice": attribute_map([long_key(5) + number(1), long_key(-5) + number(2),
                                 long_key(5) + number(3)]),
    "long_order": numbered([long_key(key) for key in (-0x80000000, -1, 0, 0x7FFFFFFF)]),
    # A mode that is neither 0 nor 1 counts as on.
    "long_odd_mode": attribute_map([], 0x40),
    # Minus infinity, -1.5, -0.0, the smallest number above, infinity.
    "double_order": numbered([double_key(bits) for bits in (
        0xFFF0000000000000, 0xBFF8000000000000, 0x8000000000000000, 1, 0x7FF0000000000000)]),
    # Alone, with its payload.
    "double_nan": numbered([double_key(0x7FF8000000000123)]),
}
for name, content in MAPS.items():
    with open(name + ".map", "wb") as file:
        file.write(content)
