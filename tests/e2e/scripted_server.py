# SPDX-License-Identifier: MIT
"""A POP3 server (RFC 1939) that does what it is told, also what no real server would do.

Left alone it is an honest server: it keeps a mailbox, stuffs dots, marks messages at DELE and removes
them when the client's QUIT has been read. A test may put an action in front of any command (`when`),
give LIST and UIDL other lines, or number the messages as it likes. Every byte received is recorded
with the time of its arrival, so a test can say what the other side sent, in which order and when.
"""

import re
import socket
import struct
import threading
import time
from dataclasses import dataclass

GREETING = "GREETING"


def dot_stuffed(message):
    """The message as it goes over the wire, without the closing dot line."""
    if not message.endswith(b"\r\n") and message:
        message += b"\r\n"
    return re.sub(rb"(?m)^\.", b"..", message) if b"\n." in message or message[:1] == b"." else message


@dataclass
class Received:
    """One receive of the server: what came, when, and on which connection (1, 2, ...)."""

    time: float
    connection: int
    data: bytes


@dataclass
class Stored:
    """One message of the mailbox."""

    number: int
    data: bytes
    uid: bytes
    deleted: bool = False

    def size(self):
        return len(self.data)


@dataclass
class _Rule:
    pattern: "re.Pattern"
    action: object
    times: int
    used: int = 0


class Gone(Exception):
    """The peer has closed, or the server is being stopped."""


class Session:
    """One connection, served on a thread of its own."""

    def __init__(self, server, sock, index):
        self.server = server
        self.sock = sock
        self.index = index
        self.user = b""
        self.marked = set()
        self._pending = b""

    # -- what actions use -------------------------------------------------------------------
    def send(self, data):
        # The whole of a large message, however slowly it is read; stopping shuts the socket down.
        self.sock.settimeout(None)
        try:
            self.sock.sendall(data)
        except OSError as error:
            raise Gone from error

    def pause(self, seconds):
        """Waits, but not beyond the end of the server."""
        if self.server.stopping.wait(seconds):
            raise Gone

    def close(self):
        """An orderly close in the middle of things."""
        raise Gone

    def reset(self):
        """A hard close: the peer sees a connection reset."""
        self.sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        raise Gone

    def silence(self):
        """Says nothing more, keeps recording what comes, until the peer closes."""
        while True:
            self._receive()

    def wait_for_close(self, timeout):
        """True when the peer closes within the time; what it sends meanwhile is recorded."""
        end = time.monotonic() + timeout
        while time.monotonic() < end:
            self.sock.settimeout(max(0.01, min(0.1, end - time.monotonic())))
            try:
                data = self.sock.recv(65536)
            except socket.timeout:
                continue
            except OSError:
                return True
            if not data:
                return True
            self.record(data)
        return False

    def start_tls(self, context):
        """Shakes hands from here on; what is received is recorded as it was before it was encrypted."""
        self.sock.settimeout(10)
        try:
            self.sock = context.wrap_socket(self.sock, server_side=True)
            self.server.resumed.append(self.sock.session_reused)
        except OSError as error:
            self.server.handshake_errors.append(error)
            raise Gone from error

    def default(self, line):
        self._answer(line)

    # -- the protocol -----------------------------------------------------------------------
    def run(self):
        try:
            if self.server.tls is not None:
                self.start_tls(self.server.tls)
            self._dispatch(GREETING, lambda: self.send(b"+OK scripted server\r\n"))
            while True:
                line = self._line()
                self.server._note_command(self.index, line)
                text = line.decode("latin-1")
                self._dispatch(text, lambda: self._answer(line))
                if text.upper().startswith("QUIT"):
                    break
        except (Gone, OSError):
            pass
        finally:
            try:
                self.sock.close()
            except OSError:
                pass
            self.server._session_over(self)

    def _dispatch(self, text, default):
        action = self.server._action_for(text)
        if action is None:
            default()
        else:
            action(self, text.encode("latin-1"))

    def record(self, data):
        self.server._record(Received(time.monotonic(), self.index, data))

    def _receive(self):
        while True:
            if self.server.stopping.is_set():
                raise Gone
            self.sock.settimeout(0.2)
            try:
                data = self.sock.recv(65536)
            except socket.timeout:
                continue
            except OSError as error:
                raise Gone from error
            if not data:
                raise Gone
            self.record(data)
            return data

    def _line(self):
        while b"\r\n" not in self._pending:
            self._pending += self._receive()
        line, self._pending = self._pending.split(b"\r\n", 1)
        return line

    def _find(self, argument):
        with self.server.lock:
            for message in self.server.mailbox:
                if str(message.number).encode() == argument and not message.deleted:
                    return message
        return None

    def _answer(self, line):
        word, _, argument = line.partition(b" ")
        word = word.upper()
        server = self.server
        if word == b"USER":
            self.user = argument
            self.send(b"+OK\r\n")
        elif word == b"PASS":
            self.send(b"+OK logged in\r\n" if argument == server.password else b"-ERR no\r\n")
        elif word == b"STAT":
            with server.lock:
                sizes = [m.size() for m in server.mailbox if not m.deleted]
            self.send(b"+OK %d %d\r\n" % (len(sizes), sum(sizes)))
        elif word == b"LIST":
            lines = server.list_lines
            if lines is None:
                with server.lock:
                    lines = [b"%d %d" % (m.number, m.size()) for m in server.mailbox if not m.deleted]
            self.send_listing(lines)
        elif word == b"UIDL":
            if not server.has_uidl:
                self.send(b"-ERR unknown command\r\n")
                return
            lines = server.uidl_lines
            if lines is None:
                with server.lock:
                    lines = [b"%d %s" % (m.number, m.uid) for m in server.mailbox if not m.deleted]
            self.send_listing(lines)
        elif word == b"RETR":
            message = self._find(argument)
            if message is None:
                self.send(b"-ERR no such message\r\n")
            else:
                self.send(server.retr_reply(message.data))
        elif word == b"DELE":
            message = self._find(argument)
            if message is None or message.number in self.marked:
                self.send(b"-ERR no such message\r\n")
            else:
                self.marked.add(message.number)
                self.send(b"+OK marked\r\n")
        elif word in (b"NOOP", b"RSET"):
            self.send(b"+OK\r\n")
        elif word == b"QUIT":
            server._update(self.marked)
            try:
                self.sock.sendall(b"+OK bye\r\n")
            except OSError:
                pass
        else:
            self.send(b"-ERR unknown command\r\n")

    def send_listing(self, lines):
        self.send(b"+OK listing\r\n" + b"".join(line + b"\r\n" for line in lines) + b".\r\n")


class ScriptedServer:
    """Listens on loopback at a port of its own; `with` stops it."""

    session_type = Session

    def __init__(self, messages=(), host="127.0.0.1", port=0, password=b"secret",
                 uid_prefix=b"uid", tls=None):
        self.host = host
        self.password = password
        self.uid_prefix = uid_prefix
        self.tls = tls  # an ssl.SSLContext: TLS from the first byte
        self.handshake_errors = []
        self.resumed = []  # of each TLS handshake, whether it resumed a session
        self.lock = threading.RLock()
        self.changed = threading.Condition(self.lock)
        self.stopping = threading.Event()
        self.mailbox = []
        self.received = []
        self.commands_by_connection = {}
        self.command_log = []
        self.updates = []
        self.connections = 0
        self.over = []
        self.sessions = []
        self.list_lines = None
        self.uidl_lines = None
        self.has_uidl = True
        self._rules = []
        self._threads = []
        for message in messages:
            self.put(message)
        family = socket.AF_INET6 if ":" in host else socket.AF_INET
        self._listener = socket.socket(family, socket.SOCK_STREAM)
        self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self._listener.bind((host, port))
        self._listener.listen(16)
        self._listener.settimeout(0.2)
        self.port = self._listener.getsockname()[1]
        self._acceptor = threading.Thread(target=self._accept, daemon=True)
        self._acceptor.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        self.stopping.set()
        self._acceptor.join(5)
        self._listener.close()
        with self.lock:
            sessions = list(self.sessions)
            threads = list(self._threads)
        for session in sessions:
            try:
                session.sock.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
        for thread in threads:
            thread.join(5)

    # -- the mailbox ------------------------------------------------------------------------
    def put(self, data, uid=None, number=None):
        """Adds a message; LIST shows the messages in the order in which they were put."""
        with self.lock:
            if number is None:
                number = max((m.number for m in self.mailbox), default=0) + 1
            if uid is None:
                uid = b"%s-%d-%d" % (self.uid_prefix, number, len(self.mailbox))
            self.mailbox.append(Stored(number, data, uid))
            return number

    def numbers(self):
        """The numbers of the messages that are left."""
        with self.lock:
            return [m.number for m in self.mailbox if not m.deleted]

    def renumber(self):
        """What a server does between two sessions: deleted mail is gone, the rest counts from 1."""
        with self.lock:
            self.mailbox = [m for m in self.mailbox if not m.deleted]
            for number, message in enumerate(self.mailbox, 1):
                message.number = number

    @staticmethod
    def retr_reply(data):
        return b"+OK %d octets\r\n" % len(data) + dot_stuffed(data) + b".\r\n"

    def _update(self, marked):
        with self.changed:
            for message in self.mailbox:
                if message.number in marked:
                    message.deleted = True
            self.updates.append(sorted(marked))
            self.changed.notify_all()

    # -- the script -------------------------------------------------------------------------
    def when(self, pattern, action, times=None):
        """Lets `action(session, line)` answer commands that match the pattern at their start.

        The last rule that still has uses left wins; GREETING stands for the connection itself."""
        with self.lock:
            self._rules.append(_Rule(re.compile(pattern + r"(?![0-9A-Za-z])", re.I), action, times))

    def _action_for(self, text):
        with self.lock:
            for rule in reversed(self._rules):
                if rule.pattern.match(text) and (rule.times is None or rule.used < rule.times):
                    rule.used += 1
                    return rule.action
        return None

    # -- what happened ----------------------------------------------------------------------
    def commands(self, connection=None):
        """The commands received so far, as text, the password masked by nobody."""
        with self.lock:
            if connection is not None:
                return list(self.commands_by_connection.get(connection, []))
            return list(self.command_log)

    def words(self, connection=None):
        return [c.split(" ")[0] for c in self.commands(connection)]

    def count(self, prefix, connection=None):
        return sum(c == prefix or c.startswith(prefix + " ") for c in self.commands(connection))

    def raw(self, connection=None):
        with self.lock:
            return b"".join(r.data for r in self.received if connection in (None, r.connection))

    def wait_until(self, predicate, timeout=15.0):
        """Waits for something to become true of what the server has seen."""
        end = time.monotonic() + timeout
        with self.changed:
            while not predicate():
                left = end - time.monotonic()
                if left <= 0:
                    return False
                self.changed.wait(left)
        return True

    def wait_for_command(self, prefix, count=1, timeout=15.0):
        assert self.wait_until(lambda: self.count(prefix) >= count, timeout), (
            f"the server never saw {count} x {prefix!r}, only {self.commands()}")

    def wait_for_end(self, connection=1, timeout=15.0):
        """Waits until the connection of that number is over."""
        assert self.wait_until(lambda: connection in self.over, timeout), (
            f"connection {connection} is still open; commands: {self.commands()}")

    # -- internals --------------------------------------------------------------------------
    def _record(self, received):
        with self.changed:
            self.received.append(received)
            self.changed.notify_all()

    def _note_command(self, connection, line):
        with self.changed:
            text = line.decode("latin-1")
            self.command_log.append(text)
            self.commands_by_connection.setdefault(connection, []).append(text)
            self.changed.notify_all()

    def _session_over(self, session):
        with self.changed:
            self.over.append(session.index)
            self.changed.notify_all()

    def _accept(self):
        while not self.stopping.is_set():
            try:
                sock, _ = self._listener.accept()
            except socket.timeout:
                continue
            except OSError:
                return
            sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            with self.changed:
                self.connections += 1
                session = self.session_type(self, sock, self.connections)
                self.sessions.append(session)
                thread = threading.Thread(target=session.run, daemon=True)
                self._threads.append(thread)
                self.changed.notify_all()
            thread.start()


def start_tls(context, behind=b""):
    """Agrees to STLS and shakes hands; `behind` is sent in clear behind the answer."""

    def action(session, line):
        session.send(b"+OK begin\r\n" + behind)
        session.start_tls(context)

    return action


# -- actions ------------------------------------------------------------------------------------
def reply(data):
    """Answers with these bytes."""
    return lambda session, line: session.send(data)


def pieces(chunks, delay=0.15):
    """Answers in several segments with a pause between them."""

    def action(session, line):
        for index, chunk in enumerate(chunks):
            if index:
                session.pause(delay)
            session.send(chunk)

    return action


def chunked(data, size, delay=0.0):
    """Answers in segments of the given size."""
    return pieces([data[i:i + size] for i in range(0, len(data), size)], delay)


def then_close(data=b""):
    """Answers with these bytes and closes in good order."""

    def action(session, line):
        if data:
            session.send(data)
        session.close()

    return action


def then_reset(data=b""):
    """Answers with these bytes and resets the connection."""

    def action(session, line):
        if data:
            session.send(data)
            session.pause(0.05)
        session.reset()

    return action


def then_silence(data=b""):
    """Answers with these bytes and never says another word."""

    def action(session, line):
        if data:
            session.send(data)
        session.silence()

    return action


def after(seconds):
    """The honest answer, late."""

    def action(session, line):
        session.pause(seconds)
        if line == GREETING.encode():
            session.send(b"+OK scripted server\r\n")
        else:
            session.default(line)

    return action


def endless(start, piece, limit=1 << 30):
    """Answers for ever, until the peer closes or the limit (a fence for the test) is reached."""

    def action(session, line):
        session.send(start)
        sent = len(start)
        while sent < limit:
            session.send(piece)
            sent += len(piece)
        session.server.endless_sent = sent
        session.silence()

    return action
