# SPDX-License-Identifier: MIT
"""A POP3 server (RFC 1939, 2449, 2595) whose mailboxes keep true state over sessions.

Mail leaves a mailbox only at a QUIT that was received. Each session may be given faults: at which command, at
which byte of its reply, and what goes wrong there."""

import socket
from dataclasses import dataclass

from loop import Wire

END = b"\r\n.\r\n"


@dataclass
class ServerFault:
    """What goes wrong at the reply to the `ordinal`-th `command` of a session.

    close, reset: the connection ends after a part of the reply; silent: nothing more is said or done; mute:
    commands are still carried out, but nothing more is said; pause: the rest of the reply comes later; drip: all
    that follows comes in small pieces; err: -ERR, and nothing is done; err-done: -ERR, though it was done;
    broken-line: a line of a listing cannot be read; short: a listing lacks a line; echo: the answer to PASS holds
    the password; refuse: the same, and the login fails."""

    command: str
    ordinal: int
    action: str
    where: float = 0.0  # the part of the reply that is sent before
    done: bool = True  # for an end at QUIT: whether the server has carried it out
    amount: float = 0.1  # seconds

    def __str__(self):
        return f"server {self.action} at {self.command} {self.ordinal} ({self.where:.2f}, done {self.done}, {self.amount:.2f} s)"


class ModelServer:
    """Listens at a port of its own. `ledger` hears of what it must hold against the program's files."""

    def __init__(self, loop, ledger, *, has_ids=True, pipelining=False, tls=None, autologout=None):
        self.loop = loop
        self.ledger = ledger
        self.has_ids = has_ids
        self.pipelining = pipelining
        self.tls = tls
        self.autologout = autologout
        self.passwords = {}
        self.mailboxes = {}  # user -> Mails in the order of their arrival
        self.sessions = []
        self.faults = []  # of the next session that logs in
        self.refusing = False
        self._listener = socket.create_server(("127.0.0.1", 0))
        self._listener.setblocking(False)
        self.port = self._listener.getsockname()[1]
        loop.watch(self._listener.fileno(), self._accept)

    def _accept(self, _events):
        try:
            sock, _ = self._listener.accept()
        except OSError:
            return
        if self.refusing:
            sock.close()
            return
        self.sessions.append(ServerSession(self, sock))

    def living(self):
        return [s for s in self.sessions if s.wire.open]

    def look(self):
        """Reads what has come already."""
        for session in self.living():
            session.wire.read()

    def close(self):
        for session in self.living():
            session.wire.drop()
        self.loop.forget(self._listener.fileno())
        self._listener.close()


class ServerSession:
    def __init__(self, server, sock):
        self.server = server
        self.faults = server.faults
        server.faults = []
        self.counts = {}
        self.transcript = []
        self.user = ""
        self.listed = []  # the mailbox as this session sees it
        self.marked = set()
        self.deleted = []  # in the order of their DELE
        self.sent_whole = []  # fetched, and known to have arrived
        self.faulty = False  # a fault has happened
        self.ids_unsure = False  # UIDL or LIST did not come as they should
        self.quit_received = False
        self.silent = self.mute = False
        self._last_sent = None
        self._pending = b""
        self._idle = None
        self._held = None  # what is to be done after a pause, None: there is none
        self.wire = Wire(server.loop, sock, self, server.tls)
        self._reply("GREETING", b"+OK model server\r\n", lambda: None)
        self._restart_idle_timer()

    # -- what the wire says ------------------------------------------------------------------
    def received(self, data):
        self._pending += data
        while b"\r\n" in self._pending and not self.silent and self.wire.open:
            line, self._pending = self._pending.split(b"\r\n", 1)
            self._handle(line)
        self._restart_idle_timer()

    def closed(self):
        self.transcript.append("(closed)")

    def _restart_idle_timer(self):
        if self.server.autologout is None:
            return
        if self._idle:
            self._idle.clear()
        self._idle = self.server.loop.after(self.server.autologout, self._log_out)

    def _log_out(self):
        if self.wire.open:
            self.transcript.append("(autologout)")
            self.wire.finish()

    # -- replies -------------------------------------------------------------------------------
    def _reply(self, command, reply, effect):
        """Carries out the command and answers, unless a fault says otherwise."""
        count = self.counts[command] = self.counts.get(command, 0) + 1
        # QUIT may come at any moment; whatever else comes shows that the answer before it has arrived.
        if self._last_sent is not None and not self.server.pipelining and command != "QUIT":
            self.sent_whole.append(self._last_sent)
        self._last_sent = None
        for fault in self.faults:
            if fault.command == command and fault.ordinal == count:
                self.faulty = True
                self._go_wrong(fault, reply, effect)
                return
        effect()
        self._send(reply)

    def _send(self, data):
        if not self.mute:
            self._in_order(lambda: self.wire.send(data))

    def _in_order(self, action):
        """Replies to commands that were sent ahead wait for the end of a pause, as the reply that pauses does."""
        if self._held is None:
            action()
        else:
            self._held.append(action)

    def _pause(self, seconds):
        if self._held is None:
            self._held = []
            self.server.loop.after(seconds, self._go_on)

    def _go_on(self):
        held, self._held = self._held, None
        for action in held:
            if self.wire.open:
                action()

    def _go_wrong(self, fault, reply, effect):
        self.transcript.append(f"({fault})")
        self.ids_unsure |= fault.command in ("LIST", "UIDL")
        action = fault.action
        if action in ("close", "reset", "silent"):
            cut = int(fault.where * len(reply))
            if fault.command != "QUIT" or fault.done or cut > 0:  # an answer to QUIT says that it was carried out
                effect()
            self._send(reply[:cut])
            if action == "close":
                self.wire.finish()
            elif action == "reset":
                self.wire.reset()
            self.silent = True
        elif action == "mute":
            effect()
            self._send(reply[:int(fault.where * len(reply))])
            self.mute = True
        elif action == "pause":
            effect()
            cut = int(fault.where * len(reply))
            self._send(reply[:cut])
            self._pause(fault.amount)
            self._send(reply[cut:])
        elif action == "drip":
            effect()
            self.wire.drip(1 + int(fault.where * 40), fault.amount)
            self._send(reply)
        elif action == "err":
            self._send(b"-ERR [SYS/TEMP] not now\r\n")
        elif action == "err-done":
            effect()
            self._send(b"-ERR done all the same\r\n")
        elif action == "echo":
            effect()
            self._send(b"+OK you said " + self.server.passwords[self.user] + b"\r\n")
        elif action == "refuse":
            self._send(b"-ERR not with " + self.server.passwords[self.user] + b"\r\n")
        else:
            effect()
            self._send(self._misread(reply, action, fault.where))

    def _misread(self, reply, action, where):
        lines = reply.split(b"\r\n")
        listed = len(lines) - 3  # without the status line, the dot and what is behind the last line end
        if listed > 0:
            at = 1 + min(listed - 1, int(where * listed))
            if action == "short":
                del lines[at]
            else:
                lines[at] = b"\x00 what's this"
        return b"\r\n".join(lines)

    # -- commands --------------------------------------------------------------------------------
    def _handle(self, line):
        word, _, argument = line.decode("latin-1").partition(" ")
        word = word.upper()
        self.transcript.append(f"{word} {argument}" if word != "PASS" else "PASS")
        handler = getattr(self, "_" + word.lower(), None) if word.isalpha() else None
        if handler is None:
            self._reply(word, b"-ERR unknown command\r\n", lambda: None)
        else:
            handler(argument)

    def _capa(self, _):
        names = [b"TOP", b"USER"] + [b"UIDL"] * self.server.has_ids + [b"PIPELINING"] * self.server.pipelining
        self._reply("CAPA", b"+OK\r\n" + b"\r\n".join(names) + END, lambda: None)

    def _user(self, argument):
        self.user = argument
        self._reply("USER", b"+OK\r\n", lambda: None)

    def _pass(self, argument):
        if self.server.passwords.get(self.user) != argument.encode("latin-1"):
            self._reply("PASS", b"-ERR wrong\r\n", lambda: None)
            return

        def log_in():
            self.listed = list(self.server.mailboxes[self.user])

        self._reply("PASS", b"+OK logged in\r\n", log_in)

    def _stat(self, _):
        self._reply("STAT", b"+OK %d %d\r\n" % (len(self.listed), sum(len(m.data) for m in self.listed)),
                    lambda: None)

    def _list(self, _):
        self._listing("LIST", [b"%d %d" % (n, len(m.data)) for n, m in enumerate(self.listed, 1)])

    def _uidl(self, _):
        if not self.server.has_ids:
            self.ids_unsure = True
            self._reply("UIDL", b"-ERR unknown command\r\n", lambda: None)
            return
        self._listing("UIDL", [b"%d %s" % (n, m.unique_id) for n, m in enumerate(self.listed, 1)])

    def _listing(self, word, lines):
        self._reply(word, b"\r\n".join([b"+OK listing", *lines]) + END, lambda: None)

    def _message(self, argument):
        number = int(argument.split(" ")[0]) if argument.split(" ")[0].isdigit() else 0
        if 1 <= number <= len(self.listed) and number not in self.marked:
            return number, self.listed[number - 1]
        return number, None

    def _retr(self, argument):
        _, mail = self._message(argument)
        if mail is None:
            self._reply("RETR", b"-ERR no such message\r\n", lambda: None)
            return
        self.server.ledger.fetching(self, mail)
        faulty = self.faulty
        self._reply("RETR", b"+OK %d octets\r\n" % len(mail.data) + mail.wire + b".\r\n", lambda: None)
        if self.faulty == faulty:
            self._last_sent = mail

    def _dele(self, argument):
        number, mail = self._message(argument)
        if mail is None:
            self._reply("DELE", b"-ERR no such message\r\n", lambda: None)
            return
        self.server.ledger.deleting(self, mail)
        self.deleted.append(mail)
        self._reply("DELE", b"+OK marked\r\n", lambda: self.marked.add(number))

    def _noop(self, _):
        self._reply("NOOP", b"+OK\r\n", lambda: None)

    def _rset(self, _):
        self._reply("RSET", b"+OK\r\n", self.marked.clear)

    def _quit(self, _):
        self.quit_received = True

        def update():
            gone = [self.listed[n - 1] for n in self.marked]
            mailbox = self.server.mailboxes.get(self.user, [])
            for mail in gone:
                mail.on_server = False
                if mail in mailbox:
                    mailbox.remove(mail)

        self._reply("QUIT", b"+OK bye\r\n", update)
        if self.wire.open and not self.silent and not self.mute:
            self._in_order(self.wire.finish)
        self.silent = True
