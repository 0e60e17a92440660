# SPDX-License-Identifier: MIT
"""Runs worlds until the time is over and says which rules they broke; `run` starts it."""

import argparse
import math
import multiprocessing
import os
import random
import sys
import time
import traceback
import xml.etree.ElementTree as ElementTree
from collections import Counter

HERE = os.path.dirname(os.path.abspath(__file__))
REPOSITORY = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.join(REPOSITORY, "tests", "e2e"))

from ledger import RULES  # noqa: E402
from plans import BETWEEN, ROUNDS  # noqa: E402
from setting import Setting  # noqa: E402
from world import World  # noqa: E402

SHOWN = 5  # failures of one rule that are told in full


def parse_arguments():
    parser = argparse.ArgumentParser(prog="tests/torture/run", description=__doc__)
    parser.add_argument("--minutes", type=float, default=1.0, help="no round begins after them")
    parser.add_argument("--worlds", type=int, default=sys.maxsize, help="no world begins after so many")
    parser.add_argument("--seed", type=int, help="of the whole run; a new one unless given")
    parser.add_argument("--world", type=int, help="plays the world of this seed alone, and shows its schedule")
    parser.add_argument("--rounds", type=int, default=25, help="of each world")
    parser.add_argument("--jobs", type=int, default=3 * (os.cpu_count() or 1))
    parser.add_argument("--junit", help="file for the results")
    parser.add_argument("--failures", default=os.path.join(REPOSITORY, "build/torture"), help="folder for the evidence")
    parser.add_argument("--stop-after", type=int, default=20, help="worlds that failed")
    parser.add_argument("--without", default="", help="rules that are not asked, with commas between them")
    parser.add_argument("--only", default="", help=f"kinds of rounds, with commas between them: {', '.join(ROUNDS)}")
    parser.add_argument("--spare", default="", help="such kinds, or what happens between the rounds: "
                        + ", ".join(BETWEEN))
    parser.add_argument("--keep", action="store_true", help="leaves the program directories of failed worlds")
    return parser.parse_args()


def play(seed, setting, rounds, end=math.inf):
    """The result of one world, as values that can be handed from process to process. No round begins after `end`."""
    world = World(seed, setting, rounds, end)
    try:
        world.run()
    except Exception:  # the torture's own fault; told like any other
        lines = "\n".join(world.schedule[-3:])
        return seed, Counter(), Counter(), [("TheTortureItself", f"{traceback.format_exc()}\n{lines}")], ""
    return seed, world.ledger.asked, Counter(world.counts), world.ledger.failures, world.evidence


def work(setting, next_world, last_world, end, rounds, results):
    setting.allow_mounts()
    while time.monotonic() < end:
        with next_world.get_lock():
            if next_world.value > last_world:
                break
            seed = next_world.value
            next_world.value += 1
        results.put(play(seed, setting, rounds, end))
    results.put(None)


class Report:
    def __init__(self, folder):
        self.folder = folder
        self.asked = Counter()
        self.counts = Counter()
        self.failures = {}  # rule -> [(seed, what)]
        self.worlds = 0
        self.failed_worlds = 0

    def take(self, result):
        seed, asked, counts, failures, evidence = result
        self.worlds += 1
        self.asked += asked
        self.counts += counts
        self.failed_worlds += bool(failures)
        for rule, what in failures:
            self.failures.setdefault(rule, []).append((seed, what))
        for rule, what in failures[:1]:
            print(f"world {seed}: {rule}: {what[:600]}", flush=True)
        if failures:
            os.makedirs(self.folder, exist_ok=True)
            with open(os.path.join(self.folder, f"world-{seed}.txt"), "w", encoding="utf-8") as file:
                file.write("\n".join(f"{rule}: {what}" for rule, what in failures) + "\n\n" + evidence)

    def write_junit(self, path, seconds):
        suite = ElementTree.Element("testsuite", name="torture", time=f"{seconds:.1f}")
        failed = 0
        for rule in [*RULES, *sorted(self.failures.keys() - RULES.keys())]:
            case = ElementTree.SubElement(suite, "testcase", classname="torture", name=rule)
            wrong = [f"world {seed}: {what}" for seed, what in self.failures.get(rule, ())]
            if rule in RULES and not self.asked[rule]:
                wrong = ["nothing in this run has put it to the test"]
            if wrong:
                failed += 1
                ElementTree.SubElement(case, "failure", message=wrong[0][:300]).text = "\n\n".join(wrong[:SHOWN])
        suite.set("tests", str(len(suite)))
        suite.set("failures", str(failed))
        os.makedirs(os.path.dirname(os.path.abspath(path)), exist_ok=True)
        ElementTree.ElementTree(suite).write(path, encoding="utf-8", xml_declaration=True)

    def tell(self, seconds):
        counts = self.counts
        print(f"{self.worlds} worlds, {counts['rounds']} rounds in {seconds:.0f} s ({counts['rounds'] / seconds:.0f} a "
              f"second), {counts['mails']} mails, {counts['deaths'] + counts['kills at start']} deaths")
        print("  " + ", ".join(f"{name} {count}" for name, count in sorted(counts.items())
                               if name not in ("rounds", "mails", "deaths")))
        for rule, sentence in RULES.items():
            wrong = self.failures.get(rule, ())
            print(f"  {'FAILED ' + str(len(wrong)) + 'x' if wrong else 'held':>12}  {self.asked[rule]:>9}x  {rule}: {sentence}"
                  + (f" (worlds {', '.join(str(s) for s, _ in wrong[:6])})" if wrong else ""))
        for rule in self.failures.keys() - RULES.keys():
            print(f"  FAILED {rule}: {self.failures[rule][0][1]}")


def run_all(arguments, setting):
    seed = arguments.seed if arguments.seed is not None else random.SystemRandom().randrange(1, 1_000_000)
    print(f"seed {seed}", flush=True)
    began = time.monotonic()
    end = began + 60 * arguments.minutes
    next_world = multiprocessing.Value("q", seed * 1_000_000)
    last_world = min(next_world.value + arguments.worlds, sys.maxsize) - 1
    results = multiprocessing.Queue()
    workers = [multiprocessing.Process(target=work, daemon=True,
                                       args=(setting, next_world, last_world, end, arguments.rounds, results))
               for _ in range(arguments.jobs)]
    for worker in workers:
        worker.start()
    report = Report(arguments.failures)
    ended = 0
    while ended < len(workers) and report.failed_worlds < arguments.stop_after:
        result = results.get(timeout=max(300.0, end + 300 - time.monotonic()))
        if result is None:
            ended += 1
        else:
            report.take(result)
    for worker in workers:
        if ended < len(workers):
            worker.terminate()
        worker.join()
    return report, time.monotonic() - began


def main():
    arguments = parse_arguments()
    executable = os.path.abspath(os.environ.get("QUILLBEAKER_CLI", os.path.join(REPOSITORY, "build/native/quillbeaker-cli")))
    library = os.path.abspath(os.environ.get("FAULT_POINTS_LIBRARY",
                                             os.path.join(REPOSITORY, "build/native/tests/libfault_points.so")))
    for path in (executable, library):
        if not os.access(path, os.R_OK):
            sys.exit(f"{path} is not built")
    without, only, spared = (list(filter(None, text.split(",")))
                             for text in (arguments.without, arguments.only, arguments.spare))
    unknown = (set(without) - RULES.keys()) | (set(only) - ROUNDS.keys()) | (set(spared) - ROUNDS.keys() - BETWEEN.keys())
    if unknown:
        sys.exit(f"no such rule or kind of round: {', '.join(unknown)}")
    setting = Setting(executable, library, without=without, only=only, spared=spared, keep=arguments.keep,
                      verbose=arguments.world is not None)
    try:
        if arguments.world is not None:
            setting.allow_mounts()
            began = time.monotonic()
            report = Report(arguments.failures)
            report.take(play(arguments.world, setting, arguments.rounds))
            seconds = time.monotonic() - began
        else:
            report, seconds = run_all(arguments, setting)
    finally:
        setting.close()
    report.tell(seconds)
    if report.failures:
        print(f"The evidence is in {arguments.failures}; tests/torture/run --world N plays one world again.")
    if arguments.junit:
        report.write_junit(arguments.junit, seconds)
    return 1 if report.failures else 0


if __name__ == "__main__":
    sys.exit(main())
