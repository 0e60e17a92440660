#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Lays out the made pictures for a person to judge: at true size and eight times, on a dark, a light and a blue ground.

    contact_sheet.py PICTURES_DIR OUT_DIR

Writes one PNG for each picture of PICTURES_DIR. It reads the .ico and .bmp files that the program gets, not the
drawings, so that what is wrong with a file shows as well."""

import struct
import sys
from pathlib import Path

import pixels

GROUNDS = [(0x20, 0x20, 0x20), (0xF3, 0xF3, 0xF3), (0x00, 0x78, 0xD7)]
MASK = (0xFC, 0x02, 0xFC)
MAGNIFIED = 8
# Larger pictures are looked at in true size only.
MAGNIFY_UP_TO = 32
GAP = 8


def _bitmap(data, body, halved):
    _, width, height, _, bits = struct.unpack_from("<IiiHH", data)
    height //= 2 if halved else 1
    stride, rows = (width * bits // 8 + 3) // 4 * 4, []
    for y in reversed(range(height)):
        row = data[body + y * stride:body + y * stride + width * bits // 8]
        if bits == 32:
            rows += [bytes((row[i + 2], row[i + 1], row[i], row[i + 3])) for i in range(0, len(row), 4)]
        else:
            colours = ((row[i + 2], row[i + 1], row[i]) for i in range(0, len(row), 3))
            rows += [bytes(colour) + (b"\0" if colour == MASK else b"\xff") for colour in colours]
    return pixels.Picture(width, height, b"".join(rows))


def pictures_of(path):
    data = path.read_bytes()
    if path.suffix == ".bmp":
        return [_bitmap(data[14:], 40, False)]
    made = []
    for index in range(struct.unpack_from("<H", data, 4)[0]):
        size, at = struct.unpack_from("<II", data, 6 + 16 * index + 8)
        body = data[at:at + size]
        made.append(pixels.read_png(body) if body.startswith(pixels.PNG_SIGNATURE) else _bitmap(body, 40, True))
    return made


class Sheet:
    def __init__(self, width, height):
        self.width, self.height = width, height
        self.rgba = bytearray(b"\x80\x80\x80\xff" * (width * height))

    def fill(self, left, top, width, height, colour):
        for y in range(top, top + height):
            at = (y * self.width + left) * 4
            self.rgba[at:at + width * 4] = bytes((*colour, 255)) * width

    def lay(self, picture, left, top, scale):
        for y in range(picture.height):
            for x in range(picture.width):
                *colour, alpha = picture.pixel(x, y)
                at = ((top + y * scale) * self.width + left + x * scale) * 4
                ground = self.rgba[at:at + 3]
                mixed = [(c * alpha + g * (255 - alpha) + 127) // 255 for c, g in zip(colour, ground)]
                self.fill(left + x * scale, top + y * scale, scale, scale, mixed)


def contact_sheet(pictures):
    lines = [[(picture, 1) for picture in pictures],
             [(picture, MAGNIFIED) for picture in pictures if picture.height <= MAGNIFY_UP_TO]]
    width = max(sum(p.width * s + GAP for p, s in line) for line in lines) + GAP
    heights = [max((p.height * s for p, s in line), default=0) + GAP for line in lines]
    band = sum(heights) + GAP
    sheet = Sheet(width, band * len(GROUNDS))
    for index, ground in enumerate(GROUNDS):
        sheet.fill(0, band * index, width, band, ground)
        top = band * index + GAP
        for line, height in zip(lines, heights):
            left = GAP
            for picture, scale in line:
                sheet.lay(picture, left, top, scale)
                left += picture.width * scale + GAP
            top += height
    return pixels.Picture(sheet.width, sheet.height, bytes(sheet.rgba))


def main():
    source, out = Path(sys.argv[1]), Path(sys.argv[2])
    out.mkdir(parents=True, exist_ok=True)
    for path in sorted([*source.glob("*.ico"), *source.glob("*.bmp")]):
        (out / f"{path.stem}.png").write_bytes(pixels.write_png(contact_sheet(pictures_of(path))))
        print(out / f"{path.stem}.png")


if __name__ == "__main__":
    main()
