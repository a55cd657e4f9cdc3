#!/usr/bin/env python3
"""Draws the page pictures of the colour picker's tab strip (BITMAP 202 and its masks, 204).

Each bitmap is 96 x 16 pixels at 24 bits: six 16 x 16 images side by side, one per page in page
order: a band of hues, a colour wheel, a square of one hue, the additive cube, the subtractive
cube and a block of 4 x 4 palette cells. In the masks black is drawn and white is transparent:
the wheel and the two cubes get rounded outlines, the other three square ones.

    tools/draw-tab-bitmaps.py src/resources

writes tab_pages.bmp and tab_masks.bmp into the given directory. The generated files are
committed; run this again after changing a picture.
"""
import colorsys
import math
import struct
import sys
from pathlib import Path

SIZE = 16
COUNT = 6
WIDTH, HEIGHT = SIZE * COUNT, SIZE


def hsv(h, s, v):
    r, g, b = colorsys.hsv_to_rgb(h % 1.0, s, v)
    return (round(r * 255), round(g * 255), round(b * 255))


def hue_band(x, y):
    return hsv(x / SIZE, 1.0, 1.0) if 2 <= y < 14 else None


def wheel(x, y):
    dx, dy = x + 0.5 - 8, 8 - (y + 0.5)
    d = math.hypot(dx, dy)
    if d > 7.5:
        return None
    return hsv(math.atan2(dy, dx) / (2 * math.pi), min(d / 7.0, 1.0), 1.0)


def one_hue(x, y):
    return hsv(0.0, x / (SIZE - 1), 1.0 - y / SIZE)


def cube(x, y, additive):
    # A hexagon around the centre: the left wall, the right wall and the floor, each a face of
    # the cube seen from inside, with the black (additive) or white corner in the middle.
    cx, cy = 7.5, 7.5
    dx, dy = x - cx, y - cy
    if abs(dx) > 7 or abs(dy) + abs(dx) * 0.5 > 8:
        return None
    edge = lambda t: round(255 * min(max(t, 0.0), 1.0))
    if dy < 0.5 * abs(dx) and dx < 0:        # left wall: red up, green left
        colour = (edge(-dy / 8 + 0.2), edge(-dx / 7), 0)
    elif dy < 0.5 * abs(dx):                 # right wall: red up, blue right
        colour = (edge(-dy / 8 + 0.2), 0, edge(dx / 7))
    else:                                    # floor: green left, blue right
        colour = (0, edge(0.5 - dx / 14 + dy / 16), edge(0.5 + dx / 14 + dy / 16))
    if additive:
        return colour
    return tuple(255 - c for c in colour)


CELLS = [hsv(i / 16, 0.6 + 0.4 * (i % 2), 1.0 - 0.25 * (i % 3)) for i in range(16)]


def cells(x, y):
    if x % 4 == 3 or y % 4 == 3:
        return (0x40, 0x40, 0x40)
    return CELLS[(y // 4) * 4 + x // 4]


PAGES = [hue_band, wheel, one_hue, lambda x, y: cube(x, y, True), lambda x, y: cube(x, y, False),
         cells]


def write_bmp(path, pixel):
    row_bytes = (WIDTH * 3 + 3) & ~3
    data = bytearray()
    for y in reversed(range(HEIGHT)):  # bottom-up rows
        row = bytearray()
        for x in range(WIDTH):
            r, g, b = pixel(x, y)
            row += bytes((b, g, r))
        data += row + bytes(row_bytes - len(row))
    header = struct.pack("<2sIHHI", b"BM", 54 + len(data), 0, 0, 54)
    info = struct.pack("<IiiHHIIiiII", 40, WIDTH, HEIGHT, 1, 24, 0, len(data), 2835, 2835, 0, 0)
    path.write_bytes(header + info + data)


def page_pixel(x, y):
    colour = PAGES[x // SIZE](x % SIZE, y)
    return colour if colour is not None else (0xFF, 0xFF, 0xFF)


def mask_pixel(x, y):
    return (0, 0, 0) if PAGES[x // SIZE](x % SIZE, y) is not None else (0xFF, 0xFF, 0xFF)


def main():
    out = Path(sys.argv[1] if len(sys.argv) > 1 else ".")
    write_bmp(out / "tab_pages.bmp", page_pixel)
    write_bmp(out / "tab_masks.bmp", mask_pixel)


if __name__ == "__main__":
    main()
