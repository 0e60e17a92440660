#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""A mail check of 1,000 good mails on the loopback, with filter and learning as delivered, by curl, mpop and poplib.

Two ratios for each client, both ways taken in turn in one run: the time from its login to its QUIT against that through
a bare relay, which asks one message ahead and keeps nothing; and the time that the answer to QUIT takes against a plain loop
that writes the same files. First at Dovecot, then at a server that costs next to nothing and so hides nothing.

All files of a run stay until the last run is over: ext4 passes over the inodes that were deleted a short while ago one by
one, so that after a thousand deletions every new file takes a millisecond."""

import argparse
import contextlib
import os
import subprocess
import sys
import tempfile

from measuring import BUILD, MEMORY, Client, Helper, deliver_spam_words, dovecot, good_mail, median, program

CLIENTS = ("curl", "mpop", "poplib")
MOST_OF_RELAY = 1.3
MOST_OF_WRITES = 1.5


def states(directory):
    """What tells whether a file was written, by its path below the directory."""
    found = {}
    for folder, _, names in os.walk(directory):
        for name in names:
            path = os.path.join(folder, name)
            status = os.stat(path)
            found[os.path.relpath(path, directory)] = (status.st_mtime_ns, status.st_size)
    return found


def plain_writes(directory, names, leftovers):
    """Seconds for writing copies of the files, on the same disk."""
    copy = leftovers.enter_context(tempfile.TemporaryDirectory(dir=os.path.dirname(directory)))
    for folder in {os.path.dirname(name) for name in names}:
        os.makedirs(os.path.join(copy, folder), exist_ok=True)
    done = subprocess.run([BUILD / "bench" / "plain-writes", directory, copy], input="\n".join(names) + "\n",
                          stdout=subprocess.PIPE, check=True, text=True)
    return float(done.stdout)


class Times:
    def __init__(self):
        self.relayed, self.proxied, self.quit, self.writes = [], [], [], []


def measure_proxy(client, server, user, count, times, leftovers):
    proxy = program.Quillbeaker()
    leftovers.callback(proxy.discard)
    deliver_spam_words(proxy)
    proxy.start()
    before = states(proxy.directory)
    run = Client(client, proxy.port, f"127.0.0.1&{user}&{server.port}", count)
    proxy.stop()
    # The configuration is written before the mail comes, to note the day.
    written = [name for name, state in states(proxy.directory).items()
               if before.get(name) != state and not name.endswith((".log", ".lock", "Quillbeaker.ini"))]
    times.proxied.append(run.to_quit)
    times.quit.append(run.quit)
    times.writes.append(plain_writes(proxy.directory, written, leftovers))
    return len(written)


def measure(title, server, user, count, rounds, leftovers):
    """Prints a line for each client; true when all of them are within their bounds."""
    relay = Helper("bare-relay", server.port)
    times = {client: Times() for client in CLIENTS}
    try:
        for _ in range(rounds):
            for client in CLIENTS:
                times[client].relayed.append(Client(client, relay.port, user, count).to_quit)
                files = measure_proxy(client, server, user, count, times[client], leftovers)
    finally:
        relay.stop()
    print(f"{title}: {count} good mails, medians of {rounds} in turn; QUIT writes {files} files")
    kept = True
    for client in CLIENTS:
        one = times[client]
        relayed, proxied, quit_time, writes = map(median, (one.relayed, one.proxied, one.quit, one.writes))
        kept = kept and proxied <= MOST_OF_RELAY * relayed and quit_time <= MOST_OF_WRITES * writes
        print(f"  {client:7} to QUIT {proxied:6.3f} s, bare relay {relayed:6.3f} s: ratio {proxied / relayed:.2f} (at most "
              f"{MOST_OF_RELAY});  QUIT {quit_time:6.3f} s, plain writes {writes:6.3f} s: ratio {quit_time / writes:.2f} "
              f"(at most {MOST_OF_WRITES})")
    return kept


def at_dovecot(mail, rounds, leftovers):
    server = dovecot.Dovecot(program.free_port())
    try:
        server.mailbox("one", mail)
        return measure("Dovecot", server, "one", len(mail), rounds, leftovers)
    finally:
        server.stop()


def at_plain_server(mail, rounds, leftovers):
    with tempfile.TemporaryDirectory(dir=MEMORY) as folder:
        for index, text in enumerate(mail):
            with open(os.path.join(folder, f"{index:06}"), "wb") as file:
                file.write(text)
        server = Helper("plain-server", folder)
        try:
            return measure("plain server", server, "one", len(mail), rounds, leftovers)
        finally:
            server.stop()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--messages", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=7)
    arguments = parser.parse_args()
    mail = good_mail(arguments.messages)
    with contextlib.ExitStack() as leftovers:
        kept = at_dovecot(mail, arguments.rounds, leftovers)
        at_plain_server(mail, arguments.rounds, leftovers)
    return 0 if kept else 1


if __name__ == "__main__":
    sys.exit(main())
