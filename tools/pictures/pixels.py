# SPDX-License-Identifier: MIT
"""Pictures as rows of pixels: reads what rsvg-convert writes, writes .ico and .bmp as Windows wants them.

The formats are written here and not by a converter, because their details are what counts: uncompressed
bitmaps with the old 40-byte header, which every loader and resource compiler takes, straight alpha, and no
pixel in between where a mask colour stands for "nothing"."""

import struct
import zlib
from dataclasses import dataclass

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"
# From this size on an icon's picture is kept as PNG: as bitmap it would need 256 KB.
PNG_FROM_SIZE = 256


@dataclass
class Picture:
    """Straight (not premultiplied) RGBA, four bytes a pixel, the top row first."""
    width: int
    height: int
    rgba: bytes

    def row(self, y):
        return self.rgba[y * self.width * 4:(y + 1) * self.width * 4]

    def pixel(self, x, y):
        at = (y * self.width + x) * 4
        return tuple(self.rgba[at:at + 4])


def side_by_side(pictures):
    height = pictures[0].height
    assert all(picture.height == height for picture in pictures)
    rows = (b"".join(picture.row(y) for picture in pictures) for y in range(height))
    return Picture(sum(picture.width for picture in pictures), height, b"".join(rows))


def _paeth(left, up, up_left):
    guess = left + up - up_left
    distances = (abs(guess - left), abs(guess - up), abs(guess - up_left))
    return (left, up, up_left)[distances.index(min(distances))]


def _unfilter(kind, line, before):
    for i in range(len(line)):
        left = line[i - 4] if i >= 4 else 0
        up_left = before[i - 4] if i >= 4 else 0
        if kind == 1:
            line[i] = (line[i] + left) & 255
        elif kind == 2:
            line[i] = (line[i] + before[i]) & 255
        elif kind == 3:
            line[i] = (line[i] + (left + before[i]) // 2) & 255
        elif kind == 4:
            line[i] = (line[i] + _paeth(left, before[i], up_left)) & 255


def read_png(data):
    """Reads a PNG of 8-bit RGBA that is not interlaced, the one kind that occurs here."""
    if not data.startswith(PNG_SIGNATURE):
        raise ValueError("no PNG")
    at, packed, header = len(PNG_SIGNATURE), b"", None
    while at < len(data):
        length, kind = struct.unpack_from(">I4s", data, at)
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            packed += body
        at += length + 12
    width, height, *rest = header
    if rest != [8, 6, 0, 0, 0]:
        raise ValueError(f"a PNG of another kind than 8-bit RGBA: {rest}")
    raw, stride, rows = zlib.decompress(packed), width * 4, []
    before = bytearray(stride)
    for y in range(height):
        line = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        _unfilter(raw[y * (stride + 1)], line, before)
        rows.append(bytes(line))
        before = line
    return Picture(width, height, b"".join(rows))


def write_png(picture):
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
    raw = b"".join(b"\0" + picture.row(y) for y in range(picture.height))
    header = struct.pack(">IIBBBBB", picture.width, picture.height, 8, 6, 0, 0, 0)
    return PNG_SIGNATURE + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b"")


def _swap_red_and_blue(rgba):
    swapped = bytearray(rgba)
    swapped[0::4], swapped[2::4] = rgba[2::4], rgba[0::4]
    return bytes(swapped)


def _header(width, height, bits, size):
    return struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, 0, size, 0, 0, 0, 0)


def _icon_bitmap(picture):
    """A bitmap as icons hold it: no file header, colours and then a mask of one bit a pixel, bottom row first."""
    mask_stride = (picture.width + 31) // 32 * 4
    colours, mask = [], []
    for y in reversed(range(picture.height)):
        row = picture.row(y)
        colours.append(_swap_red_and_blue(row))
        bits = 0
        for alpha in row[3::4]:
            bits = bits << 1 | (alpha < 128)
        bits <<= mask_stride * 8 - picture.width
        mask.append(bits.to_bytes(mask_stride, "big"))
    body = b"".join(colours + mask)
    return _header(picture.width, picture.height * 2, 32, len(body)) + body


def write_icon(pictures):
    entries, bodies = [], []
    at = 6 + 16 * len(pictures)
    for picture in pictures:
        body = write_png(picture) if picture.width >= PNG_FROM_SIZE else _icon_bitmap(picture)
        entries.append(struct.pack("<BBBBHHII", picture.width & 255, picture.height & 255, 0, 0, 1, 32, len(body), at))
        bodies.append(body)
        at += len(body)
    return struct.pack("<HHH", 0, 1, len(pictures)) + b"".join(entries + bodies)


def _bitmap_file(picture, bits, rows):
    body = b"".join(rows)
    return struct.pack("<2sIHHI", b"BM", 54 + len(body), 0, 0, 54) + _header(picture.width, picture.height, bits, len(body)) + body


def write_alpha_bitmap(picture):
    """32 bits with straight alpha, as image lists of the common controls 6 take it."""
    rows = (_swap_red_and_blue(picture.row(y)) for y in reversed(range(picture.height)))
    return _bitmap_file(picture, 32, rows)


def write_masked_bitmap(picture, mask):
    """24 bits. A pixel is either wholly there in its own colour or is the mask colour: a mixture of the two
    would stand on the screen as a pink seam."""
    rows = []
    for y in reversed(range(picture.height)):
        row = bytearray()
        for x in range(picture.width):
            red, green, blue, alpha = picture.pixel(x, y)
            if alpha >= 128 and (red, green, blue) == mask:
                raise ValueError(f"the drawing itself has the mask colour at {x},{y}")
            row += bytes((red, green, blue) if alpha >= 128 else mask)[::-1]
        rows.append(bytes(row) + b"\0" * (-len(row) % 4))
    return _bitmap_file(picture, 24, rows)
