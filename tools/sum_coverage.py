# SPDX-License-Identifier: MIT
"""Sums what `llvm-cov export -summary-only` says of each file: sum_coverage.py SUMMARY.json SOURCE_DIRECTORY.

Prints for each folder how many of its lines were executed, and the same of its files that have others, the least
executed first."""

import collections
import json
import os
import sys


def lines_by_folder(summary, sources):
    """{folder: {file: (lines, covered)}} of the files below the directory of the sources."""
    folders = collections.defaultdict(dict)
    for file in summary["data"][0]["files"]:
        path = os.path.relpath(file["filename"], sources)
        if not path.startswith(".."):
            lines = file["summary"]["lines"]
            folders[path.split(os.sep)[0]][path] = (lines["count"], lines["covered"])
    return folders


def share(lines, covered):
    return f"{covered:6} of {lines:6} lines {100 * covered / max(lines, 1):6.1f} %"


def report(folders):
    for folder, files in sorted(folders.items()):
        yield f"{folder:44} " + share(*(sum(counts) for counts in zip(*files.values())))
        for path, (lines, covered) in sorted(files.items(), key=lambda item: item[1][1] / max(item[1][0], 1)):
            if covered < lines:
                yield f"  {path:42} " + share(lines, covered)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        summary = json.load(file)
    print("\n".join(report(lines_by_folder(summary, os.path.realpath(sys.argv[2])))))


if __name__ == "__main__":
    main()
