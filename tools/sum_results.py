#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""sum_results.py FOLDER [FAILED_STEP...]: sums the JUnit files of a folder into one closing line.

A step that failed without a failed test in its file (it did not build, or was cut short) counts as one
failure. Prints "N passed, N failed" as the last line; exits with 1 if anything failed or nothing passed.
"""
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path


def counts(path):
    """(passed, failed, skipped) of one file."""
    root = ElementTree.parse(path).getroot()
    suites = [root] if root.tag == "testsuite" else root.findall("testsuite")
    total = failed = skipped = 0
    for suite in suites:
        total += int(suite.get("tests", 0))
        failed += int(suite.get("failures", 0)) + int(suite.get("errors", 0))
        skipped += int(suite.get("skipped", 0)) + int(suite.get("disabled", 0))
    return total - failed - skipped, failed, skipped


def main(folder, failed_steps):
    passed = failed = 0
    for path in sorted(Path(folder).glob("*.xml")):
        try:
            one = counts(path)
        except (ElementTree.ParseError, ValueError):
            one = (0, 1, 0)
        print(f"{path.stem}: {one[0]} passed, {one[1]} failed" + (f", {one[2]} skipped" if one[2] else ""))
        passed += one[0]
        failed += one[1]
        step = path.stem.split("-")[0]  # a step may leave several files: STEP.xml, STEP-more.xml
        if one[1] and step in failed_steps:
            failed_steps.remove(step)
    for step in failed_steps:
        print(f"{step}: the step itself failed")
        failed += 1
    print(f"{passed} passed, {failed} failed")
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2:]))
