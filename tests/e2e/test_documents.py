# SPDX-License-Identifier: MIT
"""The documents of the project against its files: whatever they point to is there."""

import glob
import os
import re

import pytest

from program import REPOSITORY, run_cli

DOCUMENTS = ["README.md", *sorted(glob.glob("docs/*.md", root_dir=REPOSITORY))]
SOURCE_FOLDERS = "platform|config|message|filter|stores|pop3|console"


def text_of(name):
    with open(os.path.join(REPOSITORY, name), encoding="utf-8") as file:
        return file.read()


def anchors_of(text):
    """What a heading is linked by: lower case, no punctuation, dashes for blanks."""
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in re.findall(r"(?m)^#+ (.+)$", text)}


def test_there_are_documents():
    assert {"README.md", "docs/ARCHITECTURE.md", "docs/FORMATS.md", "docs/TESTING.md", "docs/USERS.md"} <= set(DOCUMENTS)


@pytest.mark.parametrize("name", DOCUMENTS)
def test_links_lead_somewhere(name):
    folder = os.path.dirname(name)
    for target in re.findall(r"\]\(([^)\s]+)\)", text_of(name)):
        path, _, anchor = target.partition("#")
        if "://" in target:
            continue
        path = os.path.normpath(os.path.join(folder, path)) if path else name
        assert os.path.exists(os.path.join(REPOSITORY, path)), target
        assert not anchor or anchor in anchors_of(text_of(path)), target


@pytest.mark.parametrize("name", DOCUMENTS)
def test_files_that_are_named_exist(name):
    text = text_of(name)
    for path in re.findall(r"`((?:src|docs|tests|tools|bench|cmake)/[\w./-]*\w/?)`", text):
        # SUBJECT stands for any word.
        assert glob.glob(os.path.join(REPOSITORY, path.replace("SUBJECT", "*"))), path
    for path in re.findall(rf"`((?:{SOURCE_FOLDERS})/\w+(?:\.\w+)?)`", text):
        path = os.path.join(REPOSITORY, "src", path)
        assert os.path.exists(path) or os.path.exists(path + ".h"), path


@pytest.mark.parametrize("name", DOCUMENTS)
def test_commands_that_are_shown_exist(name):
    for command in set(re.findall(r"quillbeaker-cli ((?:senders|bin) )?([a-z]+)", text_of(name))):
        words = " ".join(command).split()
        if command[1] in ("run", "inspect", "serialise", "classify", "explain", "learn") or command[0]:
            assert run_cli(*words, "--help").returncode == 0, words
