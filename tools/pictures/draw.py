#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes one .ico or .bmp from drawings; the build calls it once for each (cmake/pictures.cmake).

    draw.py icon OUT.ico [--style FRAME.css] SIZE=DRAWING.svg...
    draw.py strip OUT.bmp --size PIXELS [--mask RRGGBB] DRAWING.svg...

rsvg-convert draws, pixels.py writes the formats."""

import argparse
import subprocess
import sys
from pathlib import Path

import pixels


def draw(drawing, size, style=None):
    command = ["rsvg-convert", "--width", str(size), "--height", str(size), "--format", "png", drawing]
    if style:
        command += ["--stylesheet", style]
    return pixels.read_png(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)


def make_icon(arguments):
    pairs = (pair.split("=", 1) for pair in arguments.drawings)
    return pixels.write_icon([draw(drawing, int(size), arguments.style) for size, drawing in pairs])


def make_strip(arguments):
    strip = pixels.side_by_side([draw(drawing, arguments.size) for drawing in arguments.drawings])
    if arguments.mask:
        return pixels.write_masked_bitmap(strip, tuple(bytes.fromhex(arguments.mask)))
    return pixels.write_alpha_bitmap(strip)


def main():
    parser = argparse.ArgumentParser()
    commands = parser.add_subparsers(required=True)
    icon = commands.add_parser("icon")
    icon.add_argument("out", type=Path)
    icon.add_argument("--style")
    icon.add_argument("drawings", nargs="+")
    icon.set_defaults(make=make_icon)
    strip = commands.add_parser("strip")
    strip.add_argument("out", type=Path)
    strip.add_argument("--size", type=int, required=True)
    strip.add_argument("--mask")
    strip.add_argument("drawings", nargs="+")
    strip.set_defaults(make=make_strip)
    arguments = parser.parse_args()
    try:
        arguments.out.write_bytes(arguments.make(arguments))
    except (ValueError, OSError, subprocess.CalledProcessError) as error:
        sys.exit(f"{arguments.out.name}: {error}")


if __name__ == "__main__":
    main()
