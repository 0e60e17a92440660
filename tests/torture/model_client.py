# SPDX-License-Identifier: MIT
"""A mail client as real ones behave: what it asks in which order, when it deletes, and when it loses patience."""

from dataclasses import dataclass

from fault_points import KillPoint
from loop import Wire

STYLES = {
    "poplib": ("STAT", "LIST", "UIDL"),
    "outlook": ("STAT", "UIDL", "LIST"),
    "mpop": ("CAPA", "STAT", "LIST", "UIDL"),
    "list only": ("LIST",),
    "stat only": ("STAT",),
    "uidl late": ("LIST", "UIDL"),
}


@dataclass
class ClientFault:
    """What happens at the `ordinal`-th `command`: before or after it is sent, or after `where` of its reply.

    close, reset, half-close; leave: closes after `amount` seconds; linger: reads nothing for that time. Any
    other action is the caller's: `disturb(action)`."""

    command: str
    ordinal: int
    moment: str
    action: str
    amount: float = 0.0
    where: int = 1  # bytes
    point: KillPoint | None = None

    def __str__(self):
        return (f"{self.point or self.action} {self.moment} {self.command} {self.ordinal}"
                f" ({self.amount:.3f} s, {self.where} bytes)")


class Account:
    """What a client remembers of one account from session to session."""

    def __init__(self, user, password, policy):
        self.user = user
        self.password = password
        self.policy = policy  # delete, leave, later, some
        self.seen = {}  # unique id -> number of sessions since it was fetched
        self.doubtful = set()  # ids that several messages had: no client may rely on them


class _Over(Exception):
    pass


class Client:
    """One session on a connection whose greeting has come already, or comes as the first line."""

    def __init__(self, loop, sock):
        self.loop = loop
        self.wire = Wire(loop, sock, self)
        self.buffer = bytearray()
        self._searched = 0  # how far no end of a body was found
        self.script = self._greeting()
        self.need = next(self.script)
        self.over = False
        self.greeted = self.logged_in = self.listed = False
        self.quit_sent = self.done_answer = self.saw_end = False
        self.gone_early = False  # left before a byte of the answer to STAT or LIST came
        self._heard = False  # something came since the last command
        self.gave_up = False
        self.delivered = []  # (number, bytes) of each whole message, in order
        self.deleted = []  # numbers
        self.transcript = []
        self.faults = []
        self.counts = {}
        self.disturb = None
        self.answered = None  # called when the answer to QUIT has come
        self.took = None  # called with the bytes of a whole message
        self.patience = None
        self._armed = None
        self._patience_timer = None

    def begin(self, account, server_port, style, *, delete_at_end, quits, patience, random, faults, disturb,
              answered, took, idle=0.0, odd_login=""):
        self.account = account
        self.style = style
        self.delete_at_end = delete_at_end
        self.quits = quits
        self.patience = patience
        self.random = random
        self.faults = faults
        self.disturb = disturb
        self.answered = answered
        self.took = took
        self.idle = idle
        self.odd_login = odd_login
        self.user = f"127.0.0.1&{account.user}&{server_port}"
        self.script = self._session()
        self._advance(None)

    # -- the wire ----------------------------------------------------------------------------
    def received(self, data):
        self.buffer += data
        self._heard = True
        if self._armed is not None:
            self._armed[1] -= len(data)
            if self._armed[1] <= 0:
                fault, self._armed = self._armed[0], None
                try:
                    self._happen(fault)
                except _Over:
                    self._finish()
                    return
        self._pump()

    def closed(self):
        self.saw_end = True
        self.transcript.append("(end)")
        self._finish()

    def _finish(self):
        if not self.over:
            self.over = True
            self.gone_early = self.logged_in and not self.listed and not self._heard and not self.saw_end
        if self._patience_timer:
            self._patience_timer.clear()
        self.wire.drop()

    # -- the script ----------------------------------------------------------------------------
    def _pump(self):
        while not self.over:
            if self.need == "line":
                end = self.buffer.find(b"\r\n")
                if end < 0:
                    return
                value = bytes(self.buffer[:end])
                del self.buffer[:end + 2]
            elif self.need == "body":
                if self.buffer.startswith(b".\r\n"):
                    value = b""
                    del self.buffer[:3]
                else:
                    end = self.buffer.find(b"\r\n.\r\n", self._searched)
                    if end < 0:
                        self._searched = max(0, len(self.buffer) - 4)
                        return
                    self._searched = 0
                    value = bytes(self.buffer[:end])
                    del self.buffer[:end + 5]
            else:
                return
            self._advance(value)

    def _advance(self, value):
        try:
            self.need = self.script.send(value)
        except (StopIteration, _Over):
            self._finish()
            return
        if self.over:
            return  # the connection was lost while the script spoke
        if self._patience_timer:
            self._patience_timer.clear()
        if isinstance(self.need, float):
            self.loop.after(self.need, lambda: self.over or self._advance(None))
        elif self.patience is not None:
            self._patience_timer = self.loop.after(self.patience, self._lose_patience)

    def _lose_patience(self):
        self.transcript.append("(gives up)")
        self.gave_up = True
        self._finish()

    def _happen(self, fault):
        self.transcript.append(f"({fault})")
        if fault.action == "close":
            raise _Over
        if fault.action == "reset":
            self.wire.reset()
            raise _Over
        if fault.action == "half-close":
            self.wire.half_close()
        elif fault.action == "leave":
            self.loop.after(fault.amount, self._finish)
        elif fault.action == "linger":
            self.wire.stop_reading()
            self.loop.after(fault.amount, self.wire.read_again)
        else:
            self.disturb(fault)

    def _say(self, line):
        word = line.split(" ")[0]
        count = self.counts[word] = self.counts.get(word, 0) + 1
        faults = [f for f in self.faults if f.command == word and f.ordinal == count]
        self.transcript.append(line if word != "PASS" else "PASS")
        for fault in faults:
            if fault.moment == "before":
                self._happen(fault)
            elif fault.moment == "in reply":
                self._armed = [fault, fault.where]
        if word == "QUIT":
            self.quit_sent = True
        self._heard = False
        self.wire.send(line.encode("latin-1") + b"\r\n")
        for fault in faults:
            if fault.moment == "after":
                self._happen(fault)

    def _greeting(self):
        line = yield "line"
        self.greeted = line.startswith(b"+OK")
        yield "nothing"

    def _ask(self, line):
        """One line's answer; the session is over for a client that is refused."""
        self._say(line)
        answer = yield "line"
        if not answer.startswith(b"+OK"):
            self.transcript.append(answer.decode("latin-1"))
            raise _Over
        return answer

    def _ask_list(self, line):
        yield from self._ask(line)
        body = yield "body"
        return dict((int(n), rest) for n, _, rest in (b.partition(b" ") for b in body.split(b"\r\n") if b))

    def _session(self):
        if self.odd_login:
            self.wire.send((self.odd_login % self.account.password).encode("latin-1") + b"\r\n")
            yield "line"
        yield from self._ask(f"USER {self.user}")
        yield from self._ask(f"PASS {self.account.password}")
        self.logged_in = True
        count, ids = 0, {}
        for word in STYLES[self.style]:
            if word == "CAPA":
                self._say("CAPA")
                yield "line"
            elif word == "STAT":
                answer = yield from self._ask("STAT")
                count = int(answer.split()[1])
                self.listed = True
            elif word == "LIST":
                count = len((yield from self._ask_list("LIST")))
                self.listed = True
            else:
                ids = yield from self._ask_list("UIDL")
        yield from self._fetch(range(1, count + 1), ids)
        if self.idle:
            yield self.idle
        if self.quits:
            self._say("QUIT")
            answer = yield "line"
            self.transcript.append(answer.decode("latin-1"))
            self.done_answer = answer.startswith(b"+OK")
            self.answered(self)
            yield "line"  # the end

    def _fetch(self, numbers, ids):
        late = []
        for number in numbers:
            unique_id = ids.get(number, b"Quillbeaker")
            old = unique_id in self.account.seen and unique_id not in self.account.doubtful
            if not old:
                if self.style == "mpop" and self.random.random() < 0.1:
                    yield from self._ask(f"TOP {number} 0")
                    yield "body"
                yield from self._ask(f"RETR {number}")
                data = yield "body"
                self.delivered.append((number, data))
                self.took(self, data)
            if not unique_id.startswith(b"Quillbeaker") and unique_id not in self.account.doubtful:
                self.account.seen[unique_id] = self.account.seen.get(unique_id, 0) + 1
            if self._deletes(unique_id):
                if self.delete_at_end:
                    late.append(number)
                else:
                    yield from self._delete(number)
        for number in late:
            yield from self._delete(number)

    def _delete(self, number):
        yield from self._ask(f"DELE {number}")
        self.deleted.append(number)

    def _deletes(self, unique_id):
        policy = self.account.policy
        return (policy == "delete" or (policy == "some" and self.random.random() < 0.5)
                or (policy == "later" and self.account.seen.get(unique_id, 0) > 2))
