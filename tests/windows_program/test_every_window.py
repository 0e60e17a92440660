# SPDX-License-Identifier: MIT
"""Every window in every language, at one resolution after the other: window_suite.exe (tests/windows) judges, this
gives it a screen of that resolution, and keeps the pictures."""

import glob
import os
import subprocess

import pytest

from desktop import REPOSITORY, Desktop, need
from driver import tools
from program import eventually

SCREENSHOTS = os.path.join(REPOSITORY, "build/screenshots/windows")
RESOLUTIONS = (96, 144, 192, 288)
KEY = r"HKCU\Control Panel\Desktop"


def suite_at(desktop, resolution, *arguments, limit=400):
    """The exit code and what was printed."""
    report = os.path.join(desktop.directory, "suite.txt")
    pictures = os.path.join(desktop.directory, "pictures")
    os.makedirs(pictures, exist_ok=True)
    environment = {**desktop.environment, "QUILLBEAKER_WINDOW_PICTURES": "Z:" + pictures.replace("/", "\\")}
    with open(report, "wb") as file:
        code = subprocess.run(["wine", os.path.join(tools(), "window_suite.exe"), *arguments], env=environment,
                              stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.DEVNULL, timeout=limit,
                              check=False).returncode
    os.makedirs(SCREENSHOTS, exist_ok=True)
    for picture in glob.glob(os.path.join(pictures, f"{resolution}-*.bmp")):
        target = os.path.join(SCREENSHOTS, os.path.basename(picture)[:-4] + ".png")
        subprocess.run([need("convert", "imagemagick"), picture, "-alpha", "off", target], check=True, timeout=60)
    with open(report, encoding="utf-8", errors="replace") as file:
        return code, file.read()


@pytest.mark.parametrize("resolution", RESOLUTIONS)
def test_every_window(resolution):
    desktop = Desktop(screen=(3840, 2160))
    try:
        set_resolution(desktop, resolution)
        code, report = suite_at(desktop, resolution)
        faults = [line for line in report.splitlines() if "[       OK" not in line and "[ RUN" not in line]
        assert code == 0, "\n".join(faults[:200])
        assert "13 tests from 2 test suites ran." in report
    finally:
        set_resolution(desktop, 96)
        desktop.stop()


def set_resolution(desktop, resolution):
    """It counts from the next start of Wine on."""
    def is_set():
        return desktop.wine("reg", "add", KEY, "/v", "LogPixels", "/t", "REG_DWORD", "/d", str(resolution), "/f") == 0

    # The first try may meet a Wine that is still ending.
    eventually(is_set, what="the resolution in Wine's registry")
    desktop.restart_wine()
