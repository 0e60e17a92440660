#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""A mail check over a slow line: 8 MB in 1,000 mails, 40 ms round trip, 500 kB/s, TLS.

mpop, which pipelines where the server offers it, and curl, which does not, each through the proxy (which speaks TLS over the
line) against itself over the same line. Both ways in turn in one run; wall time from start to end of the client."""

import argparse
import os
import sys

from measuring import Client, Helper, certificates, deliver_spam_words, dovecot, good_mail, median, program

SIZE = 8000
MOST = {"mpop": 1.15, "curl": 0.3}


def through_proxy(client, line, user, count, authority):
    proxy = program.Quillbeaker()
    try:
        deliver_spam_words(proxy)
        proxy.configure(server={"Security": "tls"})
        proxy.start()
        seconds = Client(client, proxy.port, f"localhost&{user}&{line.port}", count).seconds
        proxy.stop()
        return seconds
    finally:
        proxy.discard()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--messages", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--round-trip", type=float, default=40, help="milliseconds")
    parser.add_argument("--speed", type=float, default=500, help="kilobytes (1,000 bytes) a second each way")
    arguments = parser.parse_args()
    mail = good_mail(arguments.messages, SIZE)
    authority = certificates.Authority()
    os.environ["SSL_CERT_FILE"] = authority.certificate
    server = dovecot.Dovecot(program.free_port(), program.free_port(), authority.issue("DNS:localhost"))
    line = Helper("delaying-relay", server.tls_port, arguments.round_trip, arguments.speed)
    kept = True
    try:
        server.mailbox("one", mail)
        print(f"{len(mail)} mails of {SIZE} bytes over TLS, {arguments.round_trip:g} ms round trip, {arguments.speed:g} kB/s, "
              f"medians of {arguments.rounds} in turn")
        for client, most in MOST.items():
            direct, proxied = [], []
            for _ in range(arguments.rounds):
                direct.append(Client(client, line.port, "one", len(mail), authority.certificate).seconds)
                proxied.append(through_proxy(client, line, "one", len(mail), authority))
            ratio = median(proxied) / median(direct)
            kept = kept and ratio <= most
            print(f"  {client:5} directly {median(direct):6.2f} s, through the proxy {median(proxied):6.2f} s: ratio {ratio:.2f} "
                  f"(at most {most})", flush=True)
        print(f"  the line's own processor time: {line.cpu_seconds():.2f} s in all")
    finally:
        line.stop()
        server.stop()
        authority.close()
    return 0 if kept else 1


if __name__ == "__main__":
    sys.exit(main())
