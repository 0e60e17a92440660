#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""A mail check of 3,000 new messages through the proxy, beside the same client directly at the same server; and one of 1,000
at a server that wants TLS, beside mpop over TLS.

Prints the ratio of wall times, the proxy's share of CPU, and its peak memory against the mailbox's bytes. Both ways are taken in turn,
in one run, because only their ratio means anything on a machine that does other things too. QUILLBEAKER_CLI names the program.

All files of a run stay until the last run is over, as in loopback_check.py: what was deleted a short while ago makes the
proxy's new files slow, and a client that writes none would be the only one to be spared."""

import argparse
import contextlib
import os
import statistics
import sys
import time

from measuring import certificates, corpus, dovecot, program, spread

import mail_clients
import raw_client


def plain_client(port, user, _leftovers):
    """The least that a client does: log in, list, fetch all, quit."""
    raw = raw_client.RawClient(port, greeting=False, deadline=300)
    raw.until(b"\r\n")
    for line in (f"USER {user}", f"PASS {dovecot.PASSWORD}"):
        raw.send(line + "\r\n")
        assert raw.until(b"\r\n").startswith(b"+OK")
    raw.send("LIST\r\n")
    numbers = [line.split()[0].decode() for line in raw.until(b"\r\n.\r\n").split(b"\r\n")[1:-2]]
    for number in numbers:
        raw.send(f"RETR {number}\r\n")
        raw.until(b"\r\n.\r\n")
    raw.send("QUIT\r\n")
    raw.until(b"\r\n")
    raw.close()
    return len(numbers)


def mpop(port, user, leftovers):
    client = mail_clients.Mpop()
    leftovers.callback(client.close)
    return len(client.fetch(port, user, dovecot.PASSWORD).messages)


def over_tls(mailbox, rounds):
    """mpop through the proxy, which speaks TLS to the server, against mpop that speaks TLS to it itself."""
    authority = certificates.Authority()
    os.environ["SSL_CERT_FILE"] = authority.certificate
    server = dovecot.Dovecot(program.free_port(), program.free_port(), authority.issue("DNS:localhost"))
    direct_times, proxied_times = [], []
    try:
        for _ in range(rounds):
            for proxied, times in ((False, direct_times), (True, proxied_times)):
                server.mailbox("tls", mailbox)
                client = mail_clients.Mpop()
                proxy = program.Quillbeaker()
                proxy.configure(server={"Security": "tls"})
                proxy.start()
                if proxied:
                    seconds, got = timed(client.fetch, proxy.port, f"localhost&tls&{server.tls_port}", dovecot.PASSWORD)
                else:
                    seconds, got = timed(lambda: client.fetch(server.tls_port, "tls", dovecot.PASSWORD, host="localhost",
                                                              authority=authority.certificate))
                proxy.stop()
                proxy.discard()
                client.close()
                assert len(got.messages) == len(mailbox), f"{len(got.messages)} fetched: {got.output}"
                times.append(seconds)
    finally:
        server.stop()
        authority.close()
    direct, proxied = statistics.median(direct_times), statistics.median(proxied_times)
    print(f"mpop over TLS: {len(mailbox)} messages, {sum(map(len, mailbox)) / 1e6:.1f} MB, median of {rounds} in turn")
    print(f"  directly {direct:.2f} s, through the proxy {proxied:.2f} s: ratio {proxied / direct:.2f} (at most 2.0)")
    return proxied / direct <= 2.0


def timed(action, *arguments):
    begun = time.perf_counter()
    result = action(*arguments)
    return time.perf_counter() - begun, result


def measure(name, client, server, mailbox, bytes_total, rounds, leftovers):
    direct_times, proxied_times, cpu_shares, peaks = [], [], [], []
    for number in range(rounds):
        user = f"{client.__name__}-{number}"
        server.mailbox(f"{user}-direct", mailbox)
        seconds, count = timed(client, server.port, f"{user}-direct", leftovers)
        assert count == len(mailbox), f"{count} fetched directly"
        direct_times.append(seconds)

        server.mailbox(f"{user}-proxied", mailbox)
        proxy = program.Quillbeaker()
        leftovers.callback(proxy.discard)
        proxy.configure()
        proxy.start()
        seconds, count = timed(client, proxy.port, f"127.0.0.1&{user}-proxied&{server.port}", leftovers)
        cpu, peak = proxy.cpu_seconds(), proxy.peak_memory()
        proxy.stop()
        assert count == len(mailbox), f"{count} fetched through the proxy"
        proxied_times.append(seconds)
        cpu_shares.append(cpu / seconds)
        peaks.append(peak)
    direct, proxied = statistics.median(direct_times), statistics.median(proxied_times)
    print(f"{name}: {len(mailbox)} messages, {bytes_total / 1e6:.1f} MB, median of {rounds} in turn")
    print(f"  directly {direct:.2f} s, through the proxy {proxied:.2f} s: ratio {proxied / direct:.2f} (at most 2.0)")
    print(f"  the proxy's CPU is {statistics.median(cpu_shares):.0%} of that time (at most 50%)")
    bound = bytes_total * 1.5 + 30e6
    print(f"  peak memory {max(peaks) / 1e6:.1f} MB (at most {bound / 1e6:.1f} MB)")
    return proxied / direct <= 2.0 and statistics.median(cpu_shares) <= 0.5 and max(peaks) <= bound


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--messages", type=int, default=3000)
    parser.add_argument("--tls-messages", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=3)
    arguments = parser.parse_args()
    mailbox = spread(corpus(), arguments.messages)
    bytes_total = sum(map(len, mailbox))
    server = dovecot.Dovecot(program.free_port())
    try:
        with contextlib.ExitStack() as leftovers:
            kept = [measure(client.__name__.replace("_", " "), client, server, mailbox, bytes_total, arguments.rounds,
                            leftovers) for client in (plain_client, mpop)]
    finally:
        server.stop()
    kept.append(over_tls(spread(corpus(), arguments.tls_messages), arguments.rounds))
    return 0 if all(kept) else 1


if __name__ == "__main__":
    sys.exit(main())
