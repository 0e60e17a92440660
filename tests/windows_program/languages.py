# SPDX-License-Identifier: MIT
"""The language files that are shipped, as a plain reader sees them: {section: {key: text}}."""

import os
import shutil

from desktop import REPOSITORY

DIRECTORY = os.path.join(REPOSITORY, "resources/languages")
GERMAN = "German.Quillbeaker.language"


def read(name):
    sections = {}
    with open(os.path.join(DIRECTORY, name), encoding="utf-8-sig") as file:
        for line in file:
            line = line.strip()
            if line.startswith("["):
                entries = sections.setdefault(line.strip("[]"), {})
            elif line and not line.startswith(";"):
                key, _, text = line.partition(" = ")
                for written, meant in (("\\n", "\n"), ("\\t", "\t"), ("\\\\", "\\")):
                    text = text.replace(written, meant)
                entries[key] = text
    return sections


def give(program, *names):
    for name in names or os.listdir(DIRECTORY):
        shutil.copy(os.path.join(DIRECTORY, name), program.directory)
