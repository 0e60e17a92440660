# SPDX-License-Identifier: MIT
"""A program that mail can be dragged from, with the mouse."""

import os
import subprocess
import time

from desktop import need
from driver import tools
from program import eventually


class Source:
    """The other program: its title tells what became of the last drag."""

    def __init__(self, desktop, driver, form, paths):
        self.desktop = desktop
        self.process = subprocess.Popen(
            ["wine", os.path.join(tools(), "drag_source.exe"), form,
             *("Z:" + path.replace("/", "\\") for path in paths)],
            env=desktop.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.driver = driver
        self.window = driver.window(kind="DragSource", visible=True)

    def mouse(self, *arguments):
        subprocess.run([need("xdotool", "xdotool"), *map(str, arguments)], env=self.desktop.environment, check=True,
                       stdin=subprocess.DEVNULL, timeout=30)

    def drag(self, place):
        """Onto the middle of the place; the title that it leads to."""
        start = ((self.window.client["left"] + self.window.client["right"]) // 2,
                 (self.window.client["top"] + self.window.client["bottom"]) // 2)
        end = ((place["left"] + place["right"]) // 2, (place["top"] + place["bottom"]) // 2)
        before = self.driver.ask("title", window=self.window.handle)
        self.mouse("mousemove", *start)
        time.sleep(0.3)
        self.mouse("mousedown", 1)
        time.sleep(0.5)
        for step in range(1, 9):
            self.mouse("mousemove", *(s + (e - s) * step // 8 for s, e in zip(start, end)))
            time.sleep(0.1)
        self.mouse("mousemove", end[0] + 2, end[1] + 2)
        time.sleep(0.5)
        self.mouse("mouseup", 1)
        return eventually(lambda: self.title_other_than(before), what="the end of the drag")

    def title_other_than(self, before):
        now = self.driver.ask("title", window=self.window.handle)
        return now if now != before else None

    def stop(self):
        self.window.post(0x16, 1)
        assert self.process.wait(20) == 0
