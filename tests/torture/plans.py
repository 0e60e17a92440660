# SPDX-License-Identifier: MIT
"""What a world is like and what goes wrong in each of its rounds: drawn from the seed alone, before anything happens."""

import errno
from dataclasses import dataclass, field
from random import Random

import fault_points as points
from model_client import STYLES, ClientFault
from model_server import ServerFault

# How the kinds of rounds are mixed.
ROUNDS = {
    "quiet": 14,
    "server": 30,
    "client": 12,
    "kill": 8,
    "kill point": 22,
    "kill point at start": 4,
    "disk": 8,
    "handles": 8,
    "stop": 4,
    "impatient": 6,
    "server and kill point": 8,
    "server and disk": 4,
}
BETWEEN = {
    "nothing": 40,
    "restore": 14,
    "restart": 8,
    "purge": 5,
    "bin delete": 5,
    "bin empty": 2,
    "unrestore": 2,
    "read elsewhere": 4,
    "filter off": 3,
    "damage the index": 5,
    "lose the index": 3,
    "repair": 3,
}


@dataclass
class Nature:
    """What stays the same in one world."""

    has_ids: bool
    id_checking: bool
    double_ids: bool
    pipelining: bool
    tls: bool
    timeout: int
    policies: list
    learning: bool
    settings: dict
    server_settings: dict
    large: bool  # mail that does not fit into SessionMegabytes
    huge: bool  # mail that does not fit into memory, were all of it kept there
    tiny_disk: int  # KB, 0: the disk of all
    awake: bool  # the server logs out whoever is silent
    rounds: int

    def __str__(self):
        return " ".join(f"{name}={value}" for name, value in vars(self).items())


def draw_nature(random, seed, rounds):
    """What only few worlds can be is dealt out by turns, so that a short run has some of each."""
    awake = seed % 15 == 4
    large = seed % 15 == 9
    huge = seed % 60 == 12
    timeout = 60 if random.random() < 0.5 else 1
    learning = random.random() < 0.7
    id_checking = random.random() < 0.95
    settings = {"FilterLearningEnable": int(learning), "UIDChecking": int(id_checking), "AutoAbortOnTimeout": 1,
                "LogFileClientMaxSize": 20000, "LogFileServerMaxSize": 40000}
    if random.random() < 0.3:
        settings["RecycleBinDaysFrom"] = "filing"
    server_settings = {"Timeout": timeout, "ClientTimeout": 30,
                       "KeepWaitingSeconds": 0 if random.random() < 0.7 else 1,
                       "KeepAliveSeconds": 1 if awake else random.choice((0, 1, 120))}
    if large or huge:
        settings["SessionMegabytes"] = server_settings["SessionMegabytes"] = 8 if huge else 1
    if large:
        settings["FilterMaxMessageSize"] = 0
    return Nature(has_ids=random.random() < 0.9, id_checking=id_checking, double_ids=random.random() < 0.08,
                  pipelining=random.random() < 0.35, tls=random.random() < 0.15, timeout=timeout,
                  policies=[random.choice(("delete", "delete", "leave", "later", "some"))
                            for _ in range(1 if random.random() < 0.8 else 2)],
                  learning=learning, settings=settings, server_settings=server_settings, large=large, huge=huge,
                  tiny_disk=400 if seed % 15 == 1 and not huge else 0, awake=awake,
                  rounds=3 if huge else rounds)


@dataclass
class Round:
    kind: str
    between: str
    account: int
    style: str
    delete_at_end: bool
    quits: bool
    patience: float
    odd_login: str = ""  # a line with the password that no client should send
    idle: float = 0.0
    arrivals: list = field(default_factory=list)
    server_faults: list = field(default_factory=list)
    client_faults: list = field(default_factory=list)
    kill_at_start: points.KillPoint | None = None
    kill_command: points.KillPoint | None = None  # of what runs between the rounds
    expects_death: bool = False
    disturbs_disk: bool = False
    seed: int = 0

    def __str__(self):
        said = [self.kind, f"account {self.account}", self.style, "DELE at the end" if self.delete_at_end else "DELE at once"]
        if not self.quits:
            said.append("no QUIT")
        if self.patience:
            said.append(f"patience {self.patience:.2f} s")
        if self.idle:
            said.append(f"idle {self.idle} s")
        if self.odd_login:
            said.append(f"says {self.odd_login!r} first")
        said += [str(f) for f in self.server_faults + self.client_faults]
        if self.kill_at_start:
            said.append(f"{self.kill_at_start} of a start before")
        said.append(f"then {self.between}" + (f", {self.kill_command}" if self.kill_command else ""))
        return ", ".join(said)


def pick(random, table):
    return random.choices(list(table), weights=list(table.values()))[0]


def draw_round(world_seed, index, nature, only=(), spared=()):
    """`only` names the kinds of rounds that there may be, all when it is empty; `spared` what does not happen."""
    random = Random(f"{world_seed}/{index}")
    kind = pick(random, {name: weight for name, weight in ROUNDS.items()
                         if name not in spared and (not only or name in only)})
    if nature.awake and random.random() < 0.2 and not only:
        kind = "busy client"
    one = Round(kind=kind, between=pick(random, {name: weight for name, weight in BETWEEN.items() if name not in spared}), account=random.randrange(len(nature.policies)),
                style=random.choice(list(STYLES)), delete_at_end=random.random() < 0.5, quits=random.random() < 0.93,
                patience=0.0, seed=random.getrandbits(32))
    arrivals = random.choice((0, 1, 2, 3, 5, 8))
    for _ in range(arrivals):
        what = random.choices(("spam", "good", "friend", "blocked", "old spam"), weights=(45, 30, 10, 10, 5))[0]
        size = random.choice((100, 300, 300, 1500, 20000)) if not nature.large else random.choice((300, 150000))
        one.arrivals.append((what, size))
    if nature.huge:
        one.arrivals += [("good", 7_000_000)] * 16 if index == 0 else []
    if random.random() < 0.06:
        one.odd_login = random.choice((" PASS %s", "\tPASS %s", "\0PASS %s", "\xef\xbb\xbfPASS %s", "LOGIN me %s", "AUTH PLAIN %s",
                                       "APOP me %s", "CAPA\r\nPASS %s"))
    if "server" in kind:
        one.server_faults = [draw_server_fault(random, nature)]
        if one.server_faults[0].action in ("silent", "mute", "drip"):
            one.patience = random.choice((0.02, 0.2, 0.4)) if nature.timeout > 5 else random.choice((0.3, 6.0))
    if kind == "client":
        one.client_faults = [draw_client_fault(random)]
    if kind == "impatient":
        one.server_faults = [ServerFault("RETR", random.randrange(1, 6), "silent", random.random())]
        one.patience = 0.1
        one.style = random.choice(("stat only", "list only", "poplib"))
    if kind == "busy client":
        one.idle = 3.6
    if kind == "kill":
        one.expects_death = True
        one.client_faults = [at_a_moment(random, "kill", random.choice((0.0, 0.001, 0.003, 0.01, 0.03)))]
    if "kill point" in kind and "start" not in kind:
        one.expects_death = True
        one.client_faults.append(draw_kill_point(random))
    if "at start" in kind:
        one.kill_at_start = points.draw_kill_point(random, 20)
    if "disk" in kind or kind == "handles":
        one.disturbs_disk = True
        one.client_faults.append(draw_disk_fault(random) if "disk" in kind else draw_handle_fault(random))
    if kind == "stop":
        one.expects_death = True
        one.client_faults = [at_a_moment(random, "stop", random.choice((0.0, 0.002, 0.02)))]
        if random.random() < 0.5:
            one.server_faults = [ServerFault(random.choice(("LIST", "UIDL", "RETR", "RETR")), 1, "silent",
                                             random.random())]
            one.client_faults = [ClientFault(STYLES[one.style][0], 1, "after", "stop", 0.1)]
            one.patience = 1.0
    if one.between in ("restore", "bin delete", "bin empty", "purge") and random.random() < 0.25:
        one.kill_command = points.draw_kill_point(random, 14)
    return one


def draw_server_fault(random, nature):
    command = random.choices(("GREETING", "USER", "PASS", "LIST", "UIDL", "RETR", "DELE", "QUIT"),
                             weights=(2, 2, 5, 8, 8, 30, 30, 25))[0]
    ordinal = random.choice((1, 1, 1, 2, 2, 3, 4, 6, 9)) if command in ("RETR", "DELE") else 1
    actions = {"close": 20, "reset": 15, "silent": 8, "mute": 8, "pause": 8, "drip": 5, "err": 15, "err-done": 4}
    if command in ("LIST", "UIDL"):
        actions |= {"broken-line": 6, "short": 6}
    if command == "PASS":
        actions |= {"echo": 20, "refuse": 20}
    if command in ("DELE", "QUIT") and nature.timeout > 5:
        actions |= {"silent": 0, "mute": 0}  # the program rightly waits out its time there
    action = pick(random, actions)
    where = random.choice((0.0, random.random(), 1.0))
    amount = random.uniform(0.01, 0.15)
    if action == "drip":
        amount = 0.002 if command in ("DELE", "QUIT") else random.choice((0.002, 0.05))
    return ServerFault(command, ordinal, action, where, random.random() < 0.5, amount)


def at_a_moment(random, action, amount=0.0, where=0):
    """Mostly at QUIT, where everything happens."""
    command = random.choices(("USER", "PASS", "STAT", "LIST", "RETR", "DELE", "QUIT"),
                             weights=(1, 3, 5, 5, 5, 3, 40))[0]
    ordinal = random.choice((1, 1, 2, 3)) if command in ("RETR", "DELE") else 1
    moment = random.choice(("before", "after")) if command != "QUIT" else "after"
    return ClientFault(command, ordinal, moment, action, amount, where)


def draw_client_fault(random):
    action = random.choices(("close", "reset", "half-close", "leave", "linger"), weights=(30, 20, 10, 30, 10))[0]
    fault = at_a_moment(random, action, random.choice((0.0, 0.005, 0.05, 0.3)))
    fault.moment = random.choice(("before", "after", "in reply"))
    fault.where = random.choice((1, 5, 40, 300, 2000))
    return fault


def draw_kill_point(random):
    """Counted from a moment of the client's, mostly that when QUIT is sent."""
    fault = at_a_moment(random, "kill point")
    if fault.command == "QUIT":
        fault.moment = "before"
    fault.point = points.draw_kill_point(random, random.choice((12, 50, 120)) if fault.command == "QUIT" else 20)
    return fault


def draw_disk_fault(random):
    fault = at_a_moment(random, random.choice(("file limit", "file limit", "full", "full for a moment", "fill")))
    fault.moment = "before"
    fault.where = {"file limit": random.choice((0, 1, 100, 600, 1500, 4000)), "full": random.randrange(0, 40),
                   "full for a moment": random.randrange(0, 60), "fill": random.choice((0, 1000, 4096, 9000))
                   }[fault.action]
    return fault


HANDLE_FAULTS = {
    "index unreadable": (points.OPEN, errno.EMFILE, "recyclebin.xml"),
    "index not read": (points.READ, errno.EIO, "recyclebin.xml"),
    "ids unreadable": (points.OPEN, errno.EMFILE, "uniqueid.xml"),
    "unconfirmed unreadable": (points.OPEN | points.READ, errno.EIO, "unconfirmed.xml"),
    "mail unreadable": (points.OPEN, errno.EMFILE, ".recycle"),
    "mail not read": (points.READ, errno.EIO, ".recycle"),
    "nothing opens": (points.OPEN | points.CREATE, errno.EMFILE, ""),
    "training unreadable": (points.OPEN, errno.EMFILE, "training/"),
    "settings unreadable": (points.OPEN, errno.EMFILE, "Quillbeaker.ini"),
}

# What was filed before cannot be read again then, and is filed once more.
BIN_UNREADABLE = ("mail unreadable", "mail not read", "nothing opens")


def draw_handle_fault(random):
    """`where` is how many such operations succeed before; `amount` how many fail, 0 for all."""
    fault = at_a_moment(random, random.choice(list(HANDLE_FAULTS)))
    fault.moment = "before"
    fault.where = random.choice((0, 0, 0, 1, 2, 5))
    fault.amount = random.choice((0, 0, 1, 2))
    return fault
