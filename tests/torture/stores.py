# SPDX-License-Identifier: MIT
"""What the program has on the disk, read as any other program would read it."""

import os
import xml.etree.ElementTree as ElementTree


def read(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return None


def xml_root(data):
    """The root element, or None when the bytes are no XML."""
    try:
        return ElementTree.fromstring(data)
    except (ElementTree.ParseError, ValueError):
        return None


class Snapshot:
    """One state of a program directory. Files that have not changed are not read again."""

    def __init__(self, directory, former=None):
        self.directory = directory
        self._files = {}
        self._parsed = {}
        former_files = former._files if former else {}
        for folder in ("", "recycle", "training"):
            path = os.path.join(directory, folder)
            try:
                entries = list(os.scandir(path))
            except FileNotFoundError:
                continue
            for entry in entries:
                if not entry.is_file(follow_symlinks=False) or entry.name.endswith((".lock", ".log")):
                    continue
                name = os.path.join(folder, entry.name)
                try:
                    status = entry.stat(follow_symlinks=False)
                except FileNotFoundError:
                    continue  # the program works while we look
                state = (status.st_ino, status.st_size, status.st_mtime_ns)
                old = former_files.get(name)
                # A file that changed a moment ago may change again within one tick of the clock.
                if old is not None and old[0] == state and name.endswith(".recycle"):
                    self._files[name] = old
                    continue
                data = read(entry.path)
                if data is not None:
                    self._files[name] = (state, data)

    def data(self, name):
        found = self._files.get(name)
        return None if found is None else found[1]

    def names(self):
        return self._files.keys()

    def _root(self, name):
        if name not in self._parsed:
            data = self.data(name)
            self._parsed[name] = None if data is None else xml_root(data)
        return self._parsed[name]

    def readable(self, name):
        """True for a missing file too."""
        return self.data(name) is None or self._root(name) is not None

    def bin_files(self):
        """Bare name -> bytes."""
        return {n[8:]: f[1] for n, f in self._files.items() if n.startswith("recycle/") and n.endswith(".recycle")}

    def bin_entries(self):
        """The attributes of every entry, or None when there is no readable index."""
        root = self._root("recycle/recyclebin.xml")
        if root is None or root.tag != "recyclebin":
            return None
        return [dict(e.attrib) for e in root if e.tag == "recyclefile"]

    def unconfirmed(self):
        root = self._root("recycle/unconfirmed.xml")
        return [] if root is None else [dict(e.attrib) for e in root if e.tag == "mail"]

    def known_ids(self):
        root = self._root("uniqueid.xml")
        return set() if root is None else {e.get("uid") for e in root if e.tag == "mail"}

    def counted(self):
        """How much spam the statistic has counted."""
        for line in (self.data("Quillbeaker.ini") or b"").split(b"\n"):
            if line.startswith(b"Mails="):
                return sum(int(n) for n in line[6:].strip().split(b",") if n.strip())
        return 0

    def learnt(self, which):
        """How many messages the learnt list "good" or "bad" has counted."""
        data = self.data(f"training/{which}.Quillbeaker.wordlist")
        return int.from_bytes(data[8:12], "little") if data and len(data) >= 16 else 0

    def at_answer(self):
        """What must not change any more once the client has heard that all is done."""
        kept = {n: self.data(n) for n in self._files
                if not n.endswith((".new", "unconfirmed.xml", "Quillbeaker.ini")) and ".bad" not in n}
        kept["counted"] = self.counted()
        return kept
