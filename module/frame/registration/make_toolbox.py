#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Draws toolbox.bmp, the picture of the classes in a toolbox: 16 x 16 pixels in 16 colours, a
picture element with its margin. Run in this folder."""
import struct

# The 16 colours that every display has, as blue, green, red.
PALETTE = [(0, 0, 0), (0, 0, 128), (0, 128, 0), (0, 128, 128), (128, 0, 0), (128, 0, 128),
           (128, 128, 0), (192, 192, 192), (128, 128, 128), (0, 0, 255), (0, 255, 0),
           (0, 255, 255), (255, 0, 0), (255, 0, 255), (255, 255, 0), (255, 255, 255)]
COLOURS = {'.': 7, '#': 0, '-': 8, 'w': 15, 'r': 9, 'y': 11, 'b': 12, 'g': 2}
ROWS = """
................
.--------------.
.-wwwwwwwwwwww-.
.-w##########w-.
.-w#rrryyyyy#w-.
.-w#rrryyyyy#w-.
.-w#rrryyyyy#w-.
.-w#rrrggggg#w-.
.-w#bbbggggg#w-.
.-w#bbbggggg#w-.
.-w#bbbggggg#w-.
.-w#bbbggggg#w-.
.-w##########w-.
.-wwwwwwwwwwww-.
.--------------.
................
""".split()

pixels = b''.join(
    bytes(COLOURS[row[x]] << 4 | COLOURS[row[x + 1]] for x in range(0, 16, 2))
    for row in reversed(ROWS))
palette = b''.join(struct.pack('BBBB', *colour, 0) for colour in PALETTE)
header = struct.pack('<IiiHHIIiiII', 40, 16, 16, 1, 4, 0, len(pixels), 0, 0, 0, 0)
start = 14 + len(header) + len(palette)
with open('toolbox.bmp', 'wb') as file:
    file.write(struct.pack('<2sIHHI', b'BM', start + len(pixels), 0, 0, start))
    file.write(header + palette + pixels)
