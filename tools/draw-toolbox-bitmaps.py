#!/usr/bin/env python3
"""Draws the two toolbox pictures of Orrelux20Dialogs.dll (BITMAP 101 and 103).

Each picture is 26 x 21 pixels with 16 colours (4 bits per pixel, the standard VGA palette), drawn
below as a character map, one character per pixel. Containers show the picture in their toolbox,
and a control on a design-time form shows it from pixel (1, 1), so the outermost ring of pixels
is a frame that only the toolbox shows.

    tools/draw-toolbox-bitmaps.py src/resources

writes file_dialog.bmp and color_dialog.bmp into the given directory. The generated files are
committed; run this again after changing a map.
"""
import struct
import sys
from pathlib import Path

WIDTH, HEIGHT = 26, 21

# The 16 colours of the standard VGA palette, as (red, green, blue), and the map character of each.
PALETTE = [
    ("k", (0x00, 0x00, 0x00)),  # black
    ("m", (0x80, 0x00, 0x00)),  # maroon
    ("g", (0x00, 0x80, 0x00)),  # green
    ("o", (0x80, 0x80, 0x00)),  # olive
    ("n", (0x00, 0x00, 0x80)),  # navy
    ("p", (0x80, 0x00, 0x80)),  # purple
    ("t", (0x00, 0x80, 0x80)),  # teal
    ("s", (0xC0, 0xC0, 0xC0)),  # silver
    ("d", (0x80, 0x80, 0x80)),  # grey
    ("r", (0xFF, 0x00, 0x00)),  # red
    ("G", (0x00, 0xFF, 0x00)),  # lime
    ("y", (0xFF, 0xFF, 0x00)),  # yellow
    ("b", (0x00, 0x00, 0xFF)),  # blue
    ("M", (0xFF, 0x00, 0xFF)),  # magenta
    ("c", (0x00, 0xFF, 0xFF)),  # cyan
    ("w", (0xFF, 0xFF, 0xFF)),  # white
]

# FileDialog: a folder holding a picture (sky, sun and hill).
FILE_DIALOG = """
dddddddddddddddddddddddddd
dssssssssssssssssssssssssd
dssssssssssssssssssssssssd
dskkkkkkkksssssssssssssssd
dskyyyyyyksssssssssssssssd
dskyyyyyykkkkkkkkkkkkkkksd
dskoowwwwwwwwwwwwwwwwwwksd
dskoowccccccccccccccccwksd
dskoowccccccccccccyyccwksd
dskoowccccccccccccyyccwksd
dskoowccccccccccccccccwksd
dskoowcccGGGccccccccccwksd
dskoowccGGGGGGccccccccwksd
dskoowcgggggggggccccccwksd
dskkkkkkkkkkkkkkkkkkkkkksd
dskyyyyyyyyyyyyyyyyyyyyksd
dskyyyyyyyyyyyyyyyyyyyyksd
dskyyyyyyyyyyyyyyyyyyyyksd
dskkkkkkkkkkkkkkkkkkkkkksd
dssssssssssssssssssssssssd
dddddddddddddddddddddddddd
"""

# ColorDialog: six colour swatches on a white card, the selected one outlined in navy.
COLOR_DIALOG = """
dddddddddddddddddddddddddd
dssssssssssssssssssssssssd
dskkkkkkkkkkkkkkkkkkkkkksd
dskwwwwwwwwwwwwwwwwwwwwksd
dskwkkkkkkkkkkkkkkkkkkwksd
dskwkrrrrkkGGGGkkbbbbkwksd
dskwkrrrrkkGGGGkkbbbbkwksd
dskwkrrrrkkGGGGkkbbbbkwksd
dskwkrrrrkkGGGGkkbbbbkwksd
dskwkkkkkkkkkkkkkkkkkkwksd
dskwwwwwwnnnnnnnnwwwwwwksd
dskwkkkkknkkkkkknkkkkkwksd
dskwkyyyynkMMMMkncccckwksd
dskwkyyyynkMMMMkncccckwksd
dskwkyyyynkMMMMkncccckwksd
dskwkyyyynkMMMMkncccckwksd
dskwkkkkknkkkkkknkkkkkwksd
dskwwwwwwnnnnnnnnwwwwwwksd
dskkkkkkkkkkkkkkkkkkkkkksd
dssssssssssssssssssssssssd
dddddddddddddddddddddddddd
"""


def parse(art):
    rows = art.strip("\n").split("\n")
    codes = {char: index for index, (char, _) in enumerate(PALETTE)}
    if len(rows) != HEIGHT or any(len(row) != WIDTH for row in rows):
        raise SystemExit(f"every picture is {HEIGHT} rows of {WIDTH} characters")
    return [[codes[char] for char in row] for row in rows]


def bmp_bytes(pixels):
    stride = ((WIDTH * 4 + 31) // 32) * 4
    palette = b"".join(struct.pack("<BBBB", b, g, r, 0) for _, (r, g, b) in PALETTE)
    rows = bytearray()
    for row in reversed(pixels):  # bottom-up
        packed = bytearray()
        for x in range(0, WIDTH, 2):
            high = row[x]
            low = row[x + 1] if x + 1 < WIDTH else 0
            packed.append(high << 4 | low)
        rows += packed + bytes(stride - len(packed))
    offset = 14 + 40 + len(palette)
    header = struct.pack("<2sIHHI", b"BM", offset + len(rows), 0, 0, offset)
    info = struct.pack("<IiiHHIIiiII", 40, WIDTH, HEIGHT, 1, 4, 0, len(rows), 2835, 2835, 16, 0)
    return header + info + palette + bytes(rows)


def main():
    if len(sys.argv) != 2:
        raise SystemExit("usage: draw-toolbox-bitmaps.py OUTPUT_DIRECTORY")
    out = Path(sys.argv[1])
    (out / "file_dialog.bmp").write_bytes(bmp_bytes(parse(FILE_DIALOG)))
    (out / "color_dialog.bmp").write_bytes(bmp_bytes(parse(COLOR_DIALOG)))


if __name__ == "__main__":
    main()
