#!/usr/bin/env python3
"""Writes the small pictures that the tests of the examples read, beside itself.

A sample is (x * 1237 + y * 2459 + channel * 9973 + x * y * 17) modulo 65536; pictures of 8 bits hold
its upper half. The tests work out the same samples by themselves.
"""
import pathlib
import struct
import zlib

# Name, width, height, channels, bits, and the file format's number of the colour type.
PICTURES = [
    ("grey8", 48, 44, 1, 8, 0),
    ("grey_alpha8", 48, 44, 2, 8, 4),
    ("rgb8", 40, 40, 3, 8, 2),  # as small as the margin
    ("rgba8", 44, 48, 4, 8, 6),
    ("grey16", 48, 44, 1, 16, 0),
    ("grey_alpha16", 41, 45, 2, 16, 4),
    ("rgb16", 48, 44, 3, 16, 2),
    ("rgba16", 45, 41, 4, 16, 6),
    ("too_narrow", 39, 44, 1, 8, 0),
    ("too_low", 44, 39, 3, 16, 2),
]


def sample(x, y, channel, bits):
    value = (x * 1237 + y * 2459 + channel * 9973 + x * y * 17) & 0xFFFF
    return struct.pack(">H", value) if bits == 16 else bytes([value >> 8])


def chunk(name, data):
    body = name + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))


def png(width, height, channels, bits, colour):
    rows = b"".join(
        b"\0"
        + b"".join(sample(x, y, c, bits) for x in range(width) for c in range(channels))
        for y in range(height)
    )
    header = struct.pack(">IIBBBBB", width, height, bits, colour, 0, 0, 0)
    return (
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", header)
        + chunk(b"IDAT", zlib.compress(rows, 9))
        + chunk(b"IEND", b"")
    )


for name, *rest in PICTURES:
    pathlib.Path(__file__).with_name(name + ".png").write_bytes(png(*rest))
