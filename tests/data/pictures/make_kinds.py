#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes a PNG of every kind into kinds/, with samples.txt, which tells what readers must see: name,
size, channels, bits of a sample, and the FNV-1a hash of all samples. And blocks.png, which has a chunk
of every sort. Nothing but zlib is used, so that no reader is tested with its own writer.

A kind is a colour type, a depth and a way of interlacing (0 none, 1 Adam7): basn/basi, as the format's
own test suite has them; and trn: transparency by a colour, or by a palette.
"""
import pathlib
import struct
import zlib

HERE = pathlib.Path(__file__).resolve().parent / "kinds"
SIZE = 33, 19  # odd, so that rows and passes end inside a byte
DEPTHS = {0: (1, 2, 4, 8, 16), 2: (8, 16), 3: (1, 2, 4, 8), 4: (8, 16), 6: (8, 16)}
CHANNELS = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}
PASSES = ((0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2))


def chunk(name, data):
    body = name + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))


def stored(x, y, channel, bits):
    """What stands in the file."""
    return (x * 1237 + y * 2459 + channel * 9973 + x * y * 17) % 65536 >> (16 - bits)


def packed(samples, bits):
    if bits == 16:
        return struct.pack(">%dH" % len(samples), *samples)
    text = "".join(format(sample, "0%db" % bits) for sample in samples)
    text += "0" * (-len(text) % 8)
    return bytes(int(text[i : i + 8], 2) for i in range(0, len(text), 8))


def filtered(rows, pixel_bytes):
    """Each filter type in turn."""
    before, out = b"", b""
    for number, row in enumerate(rows):
        kind = number % 5
        above = before or bytes(len(row))
        line = bytearray()
        for i, byte in enumerate(row):
            left = row[i - pixel_bytes] if i >= pixel_bytes else 0
            corner = above[i - pixel_bytes] if i >= pixel_bytes else 0
            up = above[i]
            guess = left + up - corner
            paeth = min((left, up, corner), key=lambda c: abs(guess - c))
            line.append((byte - (0, left, up, (left + up) // 2, paeth)[kind]) & 255)
        before, out = row, out + bytes([kind]) + bytes(line)
    return out


def palette(bits):
    return [((i * 37) % 256, (i * 91 + 5) % 256, 255 - i) for i in range(1 << bits)]


def png(colour, bits, interlace, before=b"", extra=b""):
    width, height = SIZE
    data = b""
    for x0, y0, dx, dy in PASSES if interlace else ((0, 0, 1, 1),):
        rows = [
            packed([stored(x, y, c, bits) for x in range(x0, width, dx) for c in range(CHANNELS[colour])], bits)
            for y in range(y0, height, dy)
        ]
        if rows and rows[0]:
            data += filtered(rows, max(1, CHANNELS[colour] * bits // 8))
    head = struct.pack(">IIBBBBB", width, height, bits, colour, 0, 0, interlace)
    colours = chunk(b"PLTE", b"".join(map(bytes, palette(bits)))) if colour == 3 else b""
    packed_data = zlib.compress(data, 9)
    middle = len(packed_data) // 2
    return (
        b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + before + colours + extra
        + chunk(b"IDAT", packed_data[:middle]) + chunk(b"IDAT", packed_data[middle:]) + chunk(b"IEND", b"")
    )


def seen(colour, bits, transparent=None):
    """Samples as they are read: grey spread to 8 bits, a palette as its colours."""
    out = []
    for y in range(SIZE[1]):
        for x in range(SIZE[0]):
            raw = [stored(x, y, c, bits) for c in range(CHANNELS[colour])]
            most = (1 << max(bits, 8)) - 1
            if colour == 3:
                pixel = list(palette(bits)[raw[0]])
                if transparent is not None:
                    pixel.append(transparent[raw[0]] if raw[0] < len(transparent) else 255)
            else:
                pixel = [v * 255 // ((1 << bits) - 1) for v in raw] if bits < 8 else raw
                if transparent is not None:
                    pixel = pixel + [0 if tuple(raw) == transparent else most]
            out += pixel
    return out, 16 if bits == 16 else 8


def fnv(samples, bits):
    number = 14695981039346656037
    for byte in struct.pack("<%d%s" % (len(samples), "H" if bits == 16 else "B"), *samples):
        number = (number ^ byte) * 1099511628211 % (1 << 64)
    return number


def write(name, colour, bits, interlace, transparent=None):
    extra = b""
    if transparent is not None:
        extra = chunk(b"tRNS", bytes(transparent) if colour == 3 else struct.pack(">%dH" % len(transparent), *transparent))
    (HERE / (name + ".png")).write_bytes(png(colour, bits, interlace, extra=extra))
    samples, shown = seen(colour, bits, transparent)
    channels = len(samples) // (SIZE[0] * SIZE[1])
    return "%s %d %d %d %d %d\n" % (name, *SIZE, channels, shown, fnv(samples, shown))


def blocks():
    text = "Grüße".encode("latin-1")
    profile = bytes(range(256)) * 3
    before = b"".join(
        chunk(name, data)
        for name, data in (
            (b"cHRM", struct.pack(">8I", 31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000)),
            (b"gAMA", struct.pack(">I", 45455)),
            (b"iCCP", b"A profile\0\0" + zlib.compress(profile)),
            (b"sBIT", bytes((5, 6, 5))),
            (b"sRGB", b"\1"),
        )
    )
    extra = b"".join(
        chunk(name, data)
        for name, data in (
            (b"bKGD", struct.pack(">3H", 1, 2, 3)),
            (b"pHYs", struct.pack(">IIB", 2835, 2836, 1)),
            (b"sPLT", b"Few\0\x08" + bytes((1, 2, 3, 255, 0, 9))),
            (b"eXIf", b"II*\0\x08\0\0\0\0\0\0\0\0\0"),
            (b"tIME", struct.pack(">HBBBBB", 2026, 11, 22, 9, 8, 7)),
            (b"tEXt", b"Title\0The cat"),
            (b"tEXt", b"Comment\0" + text),
            (b"tEXt", b"Comment\0again"),
            (b"zTXt", b"Description\0\0" + zlib.compress(b"long " * 40)),
            (b"iTXt", b"Author\0\0\0de\0Verfasser\0" + "日本 Ü".encode()),
            (b"iTXt", b"XML:com.adobe.xmp\0\1\0\0\0" + zlib.compress(b"<x/>" * 9)),
            (b"prVt", b"\0\1private"),
        )
    )
    (HERE / "blocks.png").write_bytes(png(2, 8, 0, before, extra))


HERE.mkdir(exist_ok=True)
lines = [
    write("bas%s%d%s%02d" % ("ni"[interlace], colour, "gxcpaxa"[colour], bits), colour, bits, interlace)
    for interlace in (0, 1)
    for colour, depths in DEPTHS.items()
    for bits in depths
]
lines += [
    write("trn0g04", 0, 4, 0, (stored(5, 3, 0, 4),)),
    write("trn0g08", 0, 8, 0, (stored(5, 3, 0, 8),)),
    write("trn0g16", 0, 16, 1, (stored(5, 3, 0, 16),)),
    write("trn2c08", 2, 8, 0, tuple(stored(5, 3, c, 8) for c in range(3))),
    write("trn2c16", 2, 16, 0, tuple(stored(5, 3, c, 16) for c in range(3))),
    write("trn3p04", 3, 4, 1, tuple(17 * i for i in range(9))),
]
(HERE / "samples.txt").write_text("".join(lines))
blocks()
