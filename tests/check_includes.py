#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""check_includes.py SOURCE_FOLDER: holds the #include lines against the plan of the house.

Dependencies point down only: a folder may include its own files and those of lower floors. Folders of
one floor do not include each other unless SIDEWAYS says why. What belongs to one operating system stays
in platform/ (the Windows face, which is nothing else, may use Windows headers, but tests no system macro).
Prints one line per breach and exits with 1 if there is any.
"""
import re
import sys
from pathlib import Path

FLOORS = [
    ["platform"],
    ["config"],
    ["message"],
    ["filter", "stores"],
    ["pop3"],
    ["extras"],
    ["ui"],
    ["app", "console"],
]
FLOOR_OF = {folder: floor for floor, folders in enumerate(FLOORS) for folder in folders}

# The rooms of pop3/, each of which knows only those before it; what stands in pop3/ itself knows none.
ROOMS = ["upstream", "check", "local"]

# (from, to): reason. Empty is best.
SIDEWAYS = {
    # Learning from the training area is where the store and the word lists meet (stores/training_lesson.h).
    ("stores", "filter"): "the training lesson",
}

# Folders that exist on Windows only.
WINDOWS_FACE = {"app", "ui"}
# What the windows decide is free of Windows all the same, and tested natively.
PRESENTERS = Path("ui/presenter")

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
SYSTEM_TEST = re.compile(r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b"
                         r"(_WIN32|_WIN64|WIN32|__MINGW32__|__MINGW64__|__linux__|__unix__|__APPLE__)\b")
WINDOWS_HEADER = re.compile(r"^(windows|windowsx|winsock2?|ws2tcpip|mmsystem|shellapi|shlobj|shlwapi|commctrl|"
                            r"commdlg|ole2|objbase|winreg|winbase|io|process|direct|conio)\.h$", re.IGNORECASE)
POSIX_HEADER = re.compile(r"^(unistd|fcntl|poll|netdb|termios|dirent|signal|pthread|pwd)\.h$|"
                          r"^(sys|net|netinet|arpa|linux)/")
BLOCK_COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)


def without_comments(text):
    """The text with block comments blanked out, line numbers kept."""
    return BLOCK_COMMENT.sub(lambda match: "\n" * match.group().count("\n"), text)


def breaches_between_rooms(including, included):
    """What is wrong with one file of pop3/ including another, both as parts of their paths."""
    floor, other = (ROOMS.index(parts[1]) if len(parts) > 2 else -1 for parts in (including, included))
    if other <= floor:
        return []
    return [f"pop3/{including[1] + '/' if floor >= 0 else ''} must not include pop3/{included[1]}/"]


def breaches_of_include(root, path, folder, quoted, target):
    """What is wrong with one include line of a file of the folder: a list of reasons."""
    portable = folder not in WINDOWS_FACE or PRESENTERS in path.relative_to(root).parents
    if not quoted:
        if WINDOWS_HEADER.match(target) and folder != "platform" and portable:
            return [f"<{target}> belongs to Windows; only platform/ and the Windows face know it"]
        if POSIX_HEADER.match(target) and folder != "platform":
            return [f"<{target}> belongs to POSIX; only platform/ knows it"]
        return []
    other = target.split("/")[0]
    if other not in FLOOR_OF or not (root / target).is_file():
        return [f'"{target}" is no file below the source folder (includes are written from there)']
    if target.startswith("platform/windows/") and not portable:
        return []
    if other == "platform" and folder != "platform" and target.count("/") > 1:
        return [f'"{target}" is one system\'s own; include the header in platform/ itself']
    if other == folder == "pop3":
        return breaches_between_rooms(path.relative_to(root).parts, target.split("/"))
    if other == folder or (folder, other) in SIDEWAYS:
        return []
    if FLOOR_OF[other] == FLOOR_OF[folder]:
        return [f"{folder}/ and {other}/ stand on one floor and do not include each other"]
    if FLOOR_OF[other] > FLOOR_OF[folder]:
        return [f"{folder}/ must not include {other}/, which stands above it"]
    return []


def breaches_of_file(root, path):
    """All breaches of one file: (line number, reason)."""
    folder = path.relative_to(root).parts[0]
    found = []
    text = without_comments(path.read_text(encoding="latin-1"))
    for number, line in enumerate(text.splitlines(), 1):
        include = INCLUDE.match(line)
        if include:
            reasons = breaches_of_include(root, path, folder, include.group(1) == '"', include.group(2))
            found += [(number, reason) for reason in reasons]
        elif folder != "platform" and SYSTEM_TEST.match(line):
            found.append((number, "what differs between systems stands in platform/, not behind a macro"))
    return found


def check(root):
    """Every breach below root as a printable line, and how many files were read."""
    lines, files = [], 0
    for path in sorted(root.rglob("*")):
        if path.suffix not in (".h", ".cpp") or not path.is_file():
            continue
        files += 1
        relative = path.relative_to(root)
        if relative.parts[0] not in FLOOR_OF:
            lines.append(f"{relative}: this folder stands on no floor")
            continue
        lines += [f"{relative}:{number}: {reason}" for number, reason in breaches_of_file(root, path)]
    return lines, files


def main(arguments):
    if len(arguments) != 1:
        print(__doc__.splitlines()[0], file=sys.stderr)
        return 2
    lines, files = check(Path(arguments[0]).resolve())
    print("\n".join(lines + [f"{files} files, {len(lines)} breaches"]))
    return 1 if lines or files == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
