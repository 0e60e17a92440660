#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""How many system calls the proxy makes for one message of 4 KB: the difference between checks of 200 and of 700 messages
under strace, so that what a session costs once does not count. All are good mails, which QUIT puts into the training area;
the four calls for each of its files are not counted. The client asks for one message at a time, as most do."""

import argparse
import collections
import os
import signal
import sys

from measuring import Client, deliver_spam_words, dovecot, good_mail, program, program_path

FEW, MANY = 200, 700
SIZE = 4096
TRAINING_FILE = 4
MOST = 12


def calls(server, user, count):
    """How often each system call was made from start to end of a proxy that served one check."""
    proxy = program.Quillbeaker()
    table = proxy.path("calls")
    try:
        deliver_spam_words(proxy)
        port = program.free_port()
        proxy.start(port, program_path("strace"), arguments=[
            "-f", "-c", "-o", table, program.executable(), "run", "--directory", proxy.directory, "--port", str(port)])
        Client("mpop", port, f"127.0.0.1&{user}&{server.port}", count)
        strace = proxy.process.pid
        with open(f"/proc/{strace}/task/{strace}/children", encoding="ascii") as file:
            os.kill(int(file.read()), signal.SIGTERM)
        proxy.process.wait(program.STOP_LIMIT)
        return read_table(table)
    finally:
        proxy.discard()


def read_table(path):
    """The columns are: share of time, seconds, microseconds for one call, calls, errors where there were any, name."""
    found = collections.Counter()
    with open(path, encoding="ascii") as file:
        for line in file:
            columns = line.split()
            if len(columns) >= 5 and columns[3].isdigit() and columns[-1] != "total":
                found[columns[-1]] = int(columns[3])
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--size", type=int, default=SIZE)
    arguments = parser.parse_args()
    mail = good_mail(MANY, arguments.size)
    server = dovecot.Dovecot(program.free_port())
    try:
        server.mailbox("few", mail[:FEW])
        server.mailbox("many", mail)
        difference = calls(server, "many", MANY)
        difference.subtract(calls(server, "few", FEW))
    finally:
        server.stop()
    each = {name: count / (MANY - FEW) for name, count in difference.most_common() if count >= (MANY - FEW) / 100}
    total = sum(difference.values()) / (MANY - FEW) - TRAINING_FILE
    print(f"system calls for a message of {arguments.size} bytes: {total:.1f} and the training file's {TRAINING_FILE} (at most {MOST})")
    print("  " + ", ".join(f"{name} {count:.2f}" for name, count in each.items()))
    return 0 if total <= MOST else 1


if __name__ == "__main__":
    sys.exit(main())
