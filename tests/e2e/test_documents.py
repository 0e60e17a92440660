# SPDX-License-Identifier: MIT
"""The documents of the project against its files: whatever they point to is there."""

import glob
import os
import re
import subprocess

import pytest

from program import REPOSITORY, executable, run_cli

DOCUMENTS = ["README.md", *sorted(glob.glob("docs/*.md", root_dir=REPOSITORY))]
SOURCE_FOLDERS = "platform|config|message|filter|stores|pop3|pop3/upstream|pop3/check|pop3/local|extras|extras/senders|extras/account|ui|ui/presenter|app|console"


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


def test_every_picture_is_shown():
    shown = {os.path.basename(path) for name in DOCUMENTS for path in re.findall(r"!\[[^\]]+\]\(([^)]+)\)", text_of(name))}
    assert shown == set(os.listdir(os.path.join(REPOSITORY, "docs/pictures")))


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
    for command in set(re.findall(r"quillbeaker-cli ((?:senders|bin|settings) )?([a-z]+)", text_of(name))):
        words = " ".join(command).split()
        if command[1] in ("run", "inspect", "serialise", "classify", "explain", "learn") or command[0]:
            assert run_cli(*words, "--help").returncode == 0, words


def source_folders():
    """Every folder of sources, from src on; what stands twice, for each system, is one."""
    folders = set()
    for path in glob.glob("src/**/*.*", root_dir=REPOSITORY, recursive=True):
        folder = os.path.dirname(path)
        if os.path.basename(folder) not in ("src", "posix", "windows"):
            folders.add(folder)
    return folders


def folders_of_table(name, heading):
    """What the first column of the table under that heading names, in its order."""
    section = text_of(name).split(f"\n## {heading}\n")[1].split("\n## ")[0]
    return re.findall(r"(?m)^\| `([\w/]+?)/?` \|", section)


def test_readme_names_every_folder_once():
    named = folders_of_table("README.md", "Where things are")
    assert sorted(named) == sorted(set(named)), "named twice"
    other = {name for name in os.listdir(REPOSITORY)
             if os.path.isdir(os.path.join(REPOSITORY, name)) and name not in ("src", "build") and name[0] != "."}
    # Inside these a folder is named when there is something to say.
    inner = {name for name in named if name.split("/")[0] in other and "/" in name}
    assert set(named) - inner == source_folders() | other
    assert all(os.path.isdir(os.path.join(REPOSITORY, name)) for name in inner)


def test_architecture_names_every_room_once():
    named = folders_of_table("docs/ARCHITECTURE.md", "Rooms")
    assert sorted("src/" + name for name in named) == sorted(source_folders())


def test_readme_names_the_libraries_that_the_program_needs():
    needed = subprocess.run(["objdump", "-p", executable()], stdout=subprocess.PIPE, check=True).stdout.decode()
    libraries = re.findall(r"NEEDED +(\S+)", needed)
    assert "libxml2.so.2" in libraries
    packages = set()
    for library in libraries:
        # What every C++ program needs is there on any machine; a sanitizer is for tests.
        if not re.match(r"(libc|libm|libgcc_s|libstdc\+\+|lib[a-z]+san|ld-linux.*)\.so", library):
            owner = subprocess.run(["dpkg", "-S", f"*/{library}"], stdout=subprocess.PIPE, check=True).stdout.decode()
            packages.add(owner.split(":")[0])
    said = re.search(r"libraries of Debian's packages\s+(.*?)\.", text_of("README.md"), re.S).group(1)
    assert set(re.findall(r"`([\w.+-]+)`", said)) == packages


def test_the_explained_mail_is_judged_by_the_shipped_table():
    """The percents and the threshold of the example are those that a person meets."""
    with open(os.path.join(REPOSITORY, "resources/spampoints.ini"), encoding="latin-1") as file:
        shipped = file.read()
    example = text_of("docs/USERS.md").split("$ quillbeaker-cli explain", 1)[1].split("\n\n", 1)[0]
    words = re.findall(r"(?m)^ +(-?\d+) {2,}(x?) +(x?) {2}(\S.*)$", example.split("Spam words:", 1)[1])
    assert len(words) > 3
    for percent, _, _, word in words:
        assert f"\n{word}={percent}\n" in shipped, word
    total = sum(int(percent) * (bool(subject) + bool(text)) for percent, subject, text, _ in words)
    threshold = re.search(r"(?m)^level50=(\d+)", shipped)[1]
    assert f"Sum: {total} percent; threshold of level 50: {threshold} percent" in example
    assert f"  {total / 100:.4f}  offer.eml  (spam words against the threshold of {threshold} percent" in example
