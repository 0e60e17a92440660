#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The icons and bitmaps as the build made them: pictures_test.py PICTURES_DIR.

Sizes, depths and transparency, that pictures which mean different things look different, and that the tray
icon can be told from the taskbar behind it."""
import itertools
import struct
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tools" / "pictures"))

import contact_sheet
import pixels

pictures_dir = Path()

SIZES = [16, 20, 24, 32, 40, 48, 64, 256]
FRAMES = ["session_0", "session_1", "session_2", "session_3"]
ICONS = ["program", *FRAMES, "mark_spam", "mark_good"]
MASK = (0xFC, 0x02, 0xFC)
# Name: pictures in it, pixels of each, bits.
BITMAPS = {"recycle_toolbar": (5, 32, 24), "training_toolbar": (6, 32, 24), "levels": (5, 32, 32),
           "settings_tree": (10, 16, 32), "restored": (1, 16, 32), "levels_150": (5, 48, 32), "levels_200": (5, 64, 32),
           "levels_300": (5, 96, 32), "settings_tree_150": (10, 24, 32), "settings_tree_200": (10, 32, 32),
           "settings_tree_300": (10, 48, 32),
           **{f"restored_{percent}": (1, 16 * percent // 100, 32) for percent in (150, 200, 300)},
           **{f"{name}_toolbar_{percent}": (count, 32 * percent // 100, 32)
              for name, count in (("recycle", 5), ("training", 6)) for percent in (150, 200, 300)}}
MASKED = ["recycle_toolbar", "training_toolbar"]
TASKBARS = {"dark": (0x20, 0x20, 0x20), "light": (0xF3, 0xF3, 0xF3), "blue": (0x00, 0x78, 0xD7)}


def icon(name):
    return contact_sheet.pictures_of(pictures_dir / f"{name}.ico")


def cells(name):
    """The pictures of a strip, each as its list of RGBA pixels."""
    strip = contact_sheet.pictures_of(pictures_dir / f"{name}.bmp")[0]
    size = strip.height
    return [[strip.pixel(left + x, y) for y in range(size) for x in range(size)]
            for left in range(0, strip.width, size)]


def differing(one, other):
    """How many pixels differ so much that an eye sees it."""
    def seen(pixel):
        *colour, alpha = pixel
        return [(c * alpha + 128 * (255 - alpha)) // 255 for c in colour]
    return sum(max(abs(a - b) for a, b in zip(seen(p), seen(q))) > 48 for p, q in zip(one, other))


def all_pixels(picture):
    return [picture.pixel(x, y) for y in range(picture.height) for x in range(picture.width)]


def luminance(colour):
    """Relative luminance as WCAG 2 defines it."""
    def linear(value):
        value /= 255
        return value / 12.92 if value <= 0.04045 else ((value + 0.055) / 1.055) ** 2.4
    red, green, blue = (linear(value) for value in colour)
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def contrast(one, other):
    darker, lighter = sorted((luminance(one), luminance(other)))
    return (lighter + 0.05) / (darker + 0.05)


class Icons(unittest.TestCase):
    def test_every_icon_has_every_size_in_32_bits(self):
        for name in ICONS:
            with self.subTest(name):
                data = (pictures_dir / f"{name}.ico").read_bytes()
                reserved, kind, count = struct.unpack_from("<HHH", data)
                self.assertEqual((reserved, kind), (0, 1))
                entries = [struct.unpack_from("<BBBBHHII", data, 6 + 16 * i) for i in range(count)]
                self.assertEqual([(w or 256, h or 256) for w, h, *_ in entries], [(s, s) for s in SIZES])
                self.assertEqual({entry[5] for entry in entries}, {32})
                self.assertEqual(entries[-1][6] + entries[-1][7], len(data), "bytes after the last picture")
                for size, (*_, length, at) in zip(SIZES, entries):
                    body = data[at:at + length]
                    if size == 256:
                        self.assertTrue(body.startswith(b"\x89PNG"))
                        self.assertEqual(struct.unpack_from(">II", body, 16), (256, 256))
                    else:
                        self.assertEqual(struct.unpack_from("<IiiHHI", body), (40, size, size * 2, 1, 32, 0))
                        self.assertEqual(length, 40 + size * size * 4 + (size + 31) // 32 * 4 * size)

    def test_alpha_goes_from_nothing_to_solid(self):
        for name in ICONS:
            for picture in icon(name):
                with self.subTest(name, size=picture.width):
                    alphas = {pixel[3] for pixel in all_pixels(picture)}
                    self.assertLessEqual({0, 255}, alphas)
                    self.assertGreater(len(alphas), 2, "no softened edge")

    def test_the_one_bit_mask_says_the_same_as_the_alpha(self):
        for name in ICONS:
            data = (pictures_dir / f"{name}.ico").read_bytes()
            for index, picture in enumerate(icon(name)[:-1]):
                with self.subTest(name, size=picture.width):
                    size = picture.width
                    _, at = struct.unpack_from("<II", data, 6 + 16 * index + 8)
                    masks, stride = at + 40 + size * size * 4, (size + 31) // 32 * 4
                    for y in range(size):
                        line = data[masks + (size - 1 - y) * stride:][:stride]
                        hidden = [line[x // 8] >> (7 - x % 8) & 1 for x in range(size)]
                        self.assertEqual(hidden, [int(picture.pixel(x, y)[3] < 128) for x in range(size)])

    def test_the_frames_of_the_animation_are_told_apart(self):
        for one, other in itertools.combinations(FRAMES, 2):
            for a, b in zip(icon(one), icon(other)):
                with self.subTest(f"{one} and {other}", size=a.width):
                    # A twelfth of the picture: less would be no movement to notice in the corner of an eye.
                    self.assertGreater(differing(all_pixels(a), all_pixels(b)), a.width * a.height / 12)

    def test_the_marks_are_told_apart(self):
        for spam, good in zip(icon("mark_spam"), icon("mark_good")):
            with self.subTest(size=spam.width):
                self.assertGreater(differing(all_pixels(spam), all_pixels(good)), spam.width * spam.height / 2)

    def test_the_tray_icons_stand_out_from_the_taskbar(self):
        for name in ["program", *FRAMES]:
            for picture in icon(name):
                for taskbar, ground in TASKBARS.items():
                    with self.subTest(name, size=picture.width, taskbar=taskbar):
                        solid = [p[:3] for p in all_pixels(picture) if p[3] == 255]
                        clear = sum(contrast(colour, ground) >= 3 for colour in solid)
                        # What stands out has to be a shape and not a few specks. The rest is the paper of the letter
                        # on a light taskbar, the outlines on a dark one.
                        self.assertGreater(clear, len(solid) / 4)


class Bitmaps(unittest.TestCase):
    def test_sizes_and_depths(self):
        for name, (count, size, bits) in BITMAPS.items():
            with self.subTest(name):
                data = (pictures_dir / f"{name}.bmp").read_bytes()
                self.assertEqual(data[:2], b"BM")
                self.assertEqual(struct.unpack_from("<I", data, 2)[0], len(data))
                self.assertEqual(struct.unpack_from("<IIiiHHI", data, 10), (54, 40, count * size, size, 1, bits, 0))
                self.assertEqual(len(data), 54 + count * size * size * bits // 8)

    def test_no_two_pictures_of_a_strip_look_alike(self):
        for name in BITMAPS:
            pictures = cells(name)
            self.assertEqual(len(pictures), BITMAPS[name][0])
            for (i, one), (j, other) in itertools.combinations(enumerate(pictures), 2):
                with self.subTest(name, pictures=(i, j)):
                    self.assertGreater(differing(one, other), len(one) / 20)

    def test_every_picture_has_a_shape(self):
        for name in BITMAPS:
            for index, picture in enumerate(cells(name)):
                with self.subTest(name, picture=index):
                    solid = sum(pixel[3] == 255 for pixel in picture)
                    self.assertGreater(solid, len(picture) / 6)
                    self.assertGreaterEqual(sum(pixel[3] == 0 for pixel in picture), len(picture) / 12)

    def test_no_pixel_is_mixed_with_the_mask_colour(self):
        for name in MASKED:
            data = (pictures_dir / f"{name}.bmp").read_bytes()[54:]
            colours = {(data[i + 2], data[i + 1], data[i]) for i in range(0, len(data), 3)}
            self.assertIn(MASK, colours)
            # The drawings have no violet, so what clearly leans to it can only come from the mask.
            mixed = [c for c in colours - {MASK} if min(c[0], c[2]) - c[1] > 30]
            self.assertEqual(mixed, [], name)


class MaskedBitmap(unittest.TestCase):
    def test_a_half_transparent_pixel_is_either_there_or_not(self):
        row = pixels.Picture(3, 1, bytes((10, 20, 30, 255, 10, 20, 30, 128, 10, 20, 30, 127)))
        made = pixels.write_masked_bitmap(row, MASK)
        self.assertEqual(made[54:], bytes((30, 20, 10, 30, 20, 10, 0xFC, 0x02, 0xFC)) + b"\0\0\0")

    def test_a_drawing_in_the_mask_colour_is_refused(self):
        with self.assertRaises(ValueError):
            pixels.write_masked_bitmap(pixels.Picture(1, 1, bytes((*MASK, 255))), MASK)


if __name__ == "__main__":
    pictures_dir = Path(sys.argv.pop(1))
    unittest.main()
