# SPDX-License-Identifier: MIT
"""The notification area as it is on the screen: where the icon stands and which of the program's pictures it shows."""

import re
import subprocess

from program import eventually

SIZE = 16
PLAIN = 101
PLAIN_UPPER_HALF = "the plain icon with something in its lower half"
ANIMATION = (166, 163, 164, 165)
# Of 255: between the pictures and what is drawn in their place on the screen there is none.
TOLERANCE = 3


def docked(desktop):
    """Every icon of a Windows program in the bar: (X window, place on the screen)."""
    tree = subprocess.run(["xwininfo", "-root", "-tree"], env=desktop.environment, stdout=subprocess.PIPE,
                          stdin=subprocess.DEVNULL, check=True, timeout=30).stdout.decode()
    inside = None
    icons = []
    for line in tree.splitlines():
        depth = len(line) - len(line.lstrip())
        if inside is not None and depth <= inside:
            inside = None
        if '"panel"' in line:
            inside = depth
        found = re.search(r"^\s*(0x[0-9a-f]+) .*explorer\.exe.* (\d+)x(\d+)\+\S+ +\+(\d+)\+(\d+)$", line)
        if inside is not None and found:
            width, height, left, top = map(int, found.groups()[1:])
            icons.append((found[1], {"left": left, "top": top, "right": left + width, "bottom": top + height}))
    return icons


def wait_for_icon(desktop):
    return eventually(lambda: docked(desktop), what="an icon in the notification area")[0]


def wait_for_no_icon(desktop):
    eventually(lambda: not docked(desktop), what="an empty notification area")


def _rows(pixels, width):
    data = bytes.fromhex(pixels)
    return [data[start:start + width * 4] for start in range(0, len(data), width * 4)]


class Tray:
    """The one icon that is docked, compared with the pictures in the program file. It must be at rest when it is
    looked up: its place is known when it shows the plain picture there, or the upper half of it."""

    def __init__(self, program, at_rest=PLAIN):
        self.upper_half = at_rest == PLAIN_UPPER_HALF
        self.driver = program.driver
        self.desktop = program.desktop
        self.window, self.place = wait_for_icon(program.desktop)
        self.pictures = {number: _rows(self.driver.ask("icon", file="Z:" + program.exe, id=number, size=SIZE), SIZE)
                         for number in (PLAIN, *ANIMATION)}
        self.leave()  # the mouse may still be where an earlier test left it, and a tooltip would stand before the icon
        eventually(self._is_in_place, what="the plain icon in its place")

    def _is_in_place(self):
        self.window, self.place = wait_for_icon(self.desktop)
        width, height = self._size()
        self.left, self.top = (width - SIZE) // 2, (height - SIZE) // 2
        return min(width, height) >= SIZE and self.shown(upper_half=self.upper_half) == PLAIN

    def _size(self):
        return self.place["right"] - self.place["left"], self.place["bottom"] - self.place["top"]

    def _area(self):
        width, height = self._size()
        return {"left": self.place["left"], "top": self.place["top"], "width": width, "height": height}

    def grab(self):
        return self.driver.ask("grab", **self._area())

    def watch(self, milliseconds):
        """(moment, the picture's number) of everything that was shown."""
        return [(one["at"], self.shown(one["pixels"], among=ANIMATION))
                for one in self.driver.ask("watch", milliseconds=milliseconds, **self._area())]

    def difference(self, pixels, number, upper_half=False):
        """The largest difference of any colour in the opaque pixels of a picture."""
        screen = _rows(pixels, self._size()[0])
        worst = 0
        for y, row in enumerate(self.pictures[number][:SIZE // 3 if upper_half else SIZE]):
            for x in range(SIZE):
                blue, green, red, alpha = row[4 * x:4 * x + 4]
                if alpha == 255:
                    at = 4 * (self.left + x)
                    seen = screen[self.top + y][at:at + 3]
                    worst = max(worst, abs(blue - seen[0]), abs(green - seen[1]), abs(red - seen[2]))
        return worst

    def shown(self, pixels=None, upper_half=False, among=(PLAIN, *ANIMATION)):
        """The number of the picture that is shown, None when it is none of them."""
        pixels = pixels or self.grab()
        matching = [number for number in among
                    if self.difference(pixels, number, upper_half) <= TOLERANCE]
        return matching[0] if matching else None

    def badge(self):
        """The red and the white pixels among the icon's own: a number on it has both."""
        screen = _rows(self.grab(), self._size()[0])
        pixels = [tuple(row[4 * x:4 * x + 3]) for row in screen[self.top:self.top + SIZE]
                  for x in range(self.left, self.left + SIZE)]
        return sum(p == (0x28, 0x28, 0xC6) for p in pixels), sum(min(p) > 240 for p in pixels)

    def alarm(self):
        """The pixels in the colour of the mark that says that nothing is served."""
        screen = _rows(self.grab(), self._size()[0])
        return sum(tuple(row[4 * x:4 * x + 3]) == (0x07, 0xC1, 0xFF) for row in screen[self.top:self.top + SIZE]
                   for x in range(self.left, self.left + SIZE))

    # -- the mouse ----------------------------------------------------------------------------
    def _mouse(self, *what):
        subprocess.run(["xdotool", *what], env=self.desktop.environment, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True, timeout=30)

    def click(self, button, *options):
        self._mouse("mousemove", "--window", self.window, "8", "8", "click", *options, str(button))

    def tooltip(self):
        """What the shell shows while the mouse rests on the icon."""
        self.leave()
        self._mouse("mousemove", "--window", self.window, "8", "8")
        self._mouse("mousemove", "--window", self.window, "10", "10")

        def text():
            for window in self.driver.windows(kind="tooltips_class32", visible=True):
                return self.driver.ask("title", window=window.handle)
            return None

        try:
            return eventually(text, what="a tooltip")
        finally:
            self.leave()

    def leave(self):
        self._mouse("mousemove", "300", "300")
        eventually(lambda: not self.driver.windows(kind="tooltips_class32", visible=True), what="the tooltip's end")


def key(desktop, name):
    """A key that a person presses, wherever the keyboard's focus is."""
    subprocess.run(["xdotool", "key", name], env=desktop.environment, stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True, timeout=30)


def click_at(desktop, x, y, button=1):
    subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", str(button)], env=desktop.environment,
                   stdin=subprocess.DEVNULL, check=True, timeout=30)
