# SPDX-License-Identifier: MIT
"""One world: a server, one or two accounts, a program directory, and round after round of mail checks.

Everything is drawn from the world's seed, so that a seed gives the same schedule again. After each round the
program is idle (the next client has been greeted) or dead, and the ledger says where every message is."""

import math
import os
import random as random_module
import resource
import shutil
import socket
import time

import fault_points as points
import mails
import messages
import plans
import program
from fault_points import FaultPoints, Flushes
from ledger import Ledger
from loop import Loop
from model_client import Account, Client
from model_server import ModelServer
from running_program import RunningProgram

SESSION_LIMIT = 20.0  # of one session, seconds
GREETING_LIMIT = 6.0  # for the next client; in worlds whose Timeout is 60
STOP_LIMIT = 6.0
LATE = 0.4  # the model server has not served for so long: the program may rightly have lost patience with it
QUIET = "quiet"


class World:
    def __init__(self, seed, setting, rounds=25, end=math.inf):
        self.seed = seed
        self.end = end  # monotonic time; no round begins after it
        self.setting = setting
        self.random = random_module.Random(f"{seed}/world")
        self.nature = plans.draw_nature(self.random, seed, rounds)
        if self.nature.tiny_disk and not setting.can_mount:
            self.nature.tiny_disk = 0
        self.directory = os.path.join(setting.base, f"w{seed}")
        self.password = f"geheim{seed}x{self.random.getrandbits(32):08x}".encode()
        self.schedule = []
        self.counts = {}
        self.mail_count = 0
        self.client = None
        self.waiting = None
        self.round = None
        self.filter_off = False
        self.process_disturbed = self.killed_by_us = self.late = self.late_end = False

    # -- the whole ---------------------------------------------------------------------------
    def run(self):
        self._prepare()
        try:
            self._start()
            for index in range(self.nature.rounds):
                if self.ledger.failures or time.monotonic() >= self.end:
                    break
                self._play(plans.draw_round(self.seed, index, self.nature, self.setting.only, self.setting.spared),
                           index)
            if not self.ledger.failures:
                self._end_well()
        finally:
            self._clear_up()
        return self

    def _note(self, line):
        self.schedule.append(line)
        if self.setting.verbose:
            print(line, flush=True)

    def _count(self, what, by=1):
        self.counts[what] = self.counts.get(what, 0) + by

    def _prepare(self):
        os.makedirs(self.directory, mode=0o700)
        if self.nature.tiny_disk:
            self.setting.mount(self.directory, self.nature.tiny_disk)
        self.loop = Loop()
        self.points = FaultPoints(self.setting.library, self.directory + ".points", self.directory)
        self.command_points = FaultPoints(self.setting.library, self.directory + ".command", self.directory)
        self.ledger = Ledger(self.directory, self.password, self.setting.without, Flushes(self.points))
        self.server = ModelServer(self.loop, self.ledger, has_ids=self.nature.has_ids,
                                  pipelining=self.nature.pipelining,
                                  tls=self.setting.tls_context() if self.nature.tls else None,
                                  autologout=2.5 if self.nature.awake else None)
        self.accounts = [Account(f"user{n}", self.password.decode(), policy)
                         for n, policy in enumerate(self.nature.policies)]
        for account in self.accounts:
            self.server.mailboxes[account.user] = []
            self.server.passwords[account.user] = self.password
        self.program = RunningProgram(self.setting.executable, self.directory, self.points, self.command_points)
        self._write_settings()
        self._note(f"world {self.seed}: {self.nature}")

    def _write_settings(self):
        sections = {"QUILLBEAKER": self.nature.settings, "SERVER": self.nature.server_settings,
                    "SENDERS": mails.SENDERS}
        if self.nature.tls:
            sections["SECURITY"] = {f"127.0.0.1:{self.server.port}": "tls"}
            sections["CERTIFICATES"] = {f"127.0.0.1:{self.server.port}": self.setting.fingerprint}
        self._write("Quillbeaker.ini", program.ini_text(sections))
        self._write("spampoints.ini", program.ini_text({"PROBABILITIES": messages.SPAM_WORDS, "THRESHOLD": {}}))

    def _write(self, name, text):
        with open(os.path.join(self.directory, name), "w", encoding="latin-1", newline="") as file:
            file.write(text)

    def _clear_up(self):
        if self.waiting is not None:
            self.waiting.wire.drop()
        self.program.kill()
        self.evidence = self._evidence() if self.ledger.failures else ""
        self.server.close()
        self.loop.close()
        self.points.close()
        self.command_points.close()
        if self.nature.tiny_disk:
            self.setting.unmount(self.directory)
        if not (self.setting.keep and self.ledger.failures):
            shutil.rmtree(self.directory, ignore_errors=True)

    # -- the program ---------------------------------------------------------------------------
    def _start(self, kill_at=None):
        """Starts it, however often it is killed meanwhile, and gets a client greeted."""
        before, may_go = self.ledger.before_start()
        if kill_at:
            self.points.kill_at(kill_at)
        space = (100 << 20) if self.nature.huge else None
        listens = self.program.start(space)
        self.points.clear()
        self.ledger.fetched_in_build.clear()
        if not listens:
            self._count("kills at start")
            self.ledger.check("TheProgramLives", kill_at and self.program.exit_code == -9,
                              f"it ended at its start with {self.program.exit_code}: {self.program.said()[-500:]}")
            self.ledger.after_start(before, may_go, whole=False)
            if self.ledger.failures:
                return
            self._start()
            return
        self.ledger.after_start(before, may_go, whole=True)
        self._count("starts")
        self.loop.watch(self.program.exit_descriptor(), self._program_ended)
        self._greet(GREETING_LIMIT)

    def _program_ended(self, _events):
        self.loop.forget(self.program.exit_descriptor())
        self.program.poll()

    def _dead(self):
        return self.program.process is None

    def _await(self, done, limit):
        """Like the loop's own run; a machine that has no time for the program is given more of it."""
        if self.loop.run(done, limit):
            return True
        for _ in range(30):
            if not self.program.is_kept_waiting() and self.loop.longest_gap < LATE:
                return done()
            self.loop.longest_gap = 0.0
            self.late = True
            if self.loop.run(done, 3.0):
                return True
        return False

    def _greet(self, limit):
        """The next client comes; its greeting says that the session before is over."""
        sock = socket.socket()
        try:
            sock.connect(("127.0.0.1", self.program.port))
        except OSError:
            sock.close()
            self.waiting = None
            self.loop.run(self._dead, 1.0)  # its end may be heard of a moment later
            return False
        self.waiting = Client(self.loop, sock)
        self._await(lambda: self.waiting.greeted or self.waiting.over or self._dead(), limit)
        if self.waiting.over:
            self.loop.run(self._dead, 1.0)
        return self.waiting.greeted

    def _kill(self):
        if not self._dead():
            self.killed_by_us = True
            self.loop.forget(self.program.exit_descriptor())
            self.program.kill()
            self._count("kills")

    # -- one round -----------------------------------------------------------------------------
    def _play(self, one, index):
        self.round = one
        self._count("rounds")
        self._count(one.kind)
        self._note(f"round {index}: {one}")
        for what, size in one.arrivals:
            self._arrive(self.accounts[one.account], what, size)
        if one.kill_at_start:
            self._kill()
            self.waiting = None
            self.ledger.audit(resting=False)
            self._start(one.kill_at_start)
        if self.ledger.failures:
            return
        self._session(one, index)
        self._settle(one)
        if not self.ledger.failures:
            self._between(one)

    def _arrive(self, account, what, size):
        self.mail_count += 1
        tag = f"w{self.seed}m{self.mail_count}"
        box = self.server.mailboxes[account.user]
        unique_id = f"id-{tag}".encode()
        mail = mails.make(tag, what, self.random, unique_id, account.user, size)
        if self.nature.double_ids and box and self.random.random() < 0.3:
            mail.unique_id = box[-1].unique_id
            mail.no_row = box[-1].no_row = True
            account.doubtful.add(mail.unique_id)
        if not (self.nature.has_ids and self.nature.id_checking):
            mail.no_row = True
        box.append(mail)
        self.ledger.add(mail)
        self._count("mails")

    def _session(self, one, index, policy=None):
        account = self.accounts[one.account]
        random = random_module.Random(one.seed)
        client, self.waiting = self.waiting, None
        self.client = client
        self.server.faults = one.server_faults
        self.server.sessions = []
        self.answer_state = None
        self.process_disturbed = False
        self._later = []
        self.late = False
        self.loop.longest_gap = 0.0
        self.killed_by_us = False
        self.on_server_before = {m for m in self.ledger.mails.values() if m.on_server}
        restored = [e.get("name") for e in self.ledger.look().bin_entries() or []
                    if e.get("restored", "").startswith("1")]
        self.restored_before = set(self._mails_of(restored))
        self.fetched = []
        self.ledger.flushes.forget()
        self.ledger.disk_disturbed = one.disturbs_disk or bool(self.nature.tiny_disk)
        client.begin(account, self.server.port, one.style, delete_at_end=one.delete_at_end, quits=one.quits,
                     patience=one.patience or None, random=random, faults=one.client_faults,
                     disturb=self._disturb, answered=self._answered, took=self._took, idle=one.idle, odd_login=one.odd_login)
        ended = self._await(lambda: client.over or self._dead(), SESSION_LIMIT)
        self.late |= self.loop.longest_gap >= LATE
        self.ledger.check("EverySessionEnds", ended, "the client still waits for an answer or the end: "
                          + (client.transcript[-1] if client.transcript else "nothing said"))
        if not ended:
            self._kill()
            client._finish()

    def _took(self, client, data):
        mail = self.ledger.delivered(data)
        if mail is not None:
            self.fetched.append(mail)

    def _answered(self, client):
        """The client has got its answer to QUIT; what the program has done by now is looked at."""
        self.server.look()
        session = self._upstream()
        clean = session is not None and not session.faulty and self.loop.longest_gap < LATE
        if clean and not self.process_disturbed:
            self.ledger.check("EverythingIsDoneAtTheAnswer", session.quit_received,
                              "QUIT was answered before the server got it")
        self.answer_state = self.ledger.look().at_answer()

    def _upstream(self):
        """The server's session of this round, when there was one that logged in."""
        found = [s for s in self.server.sessions if s.user]
        return found[-1] if found else None

    def _disturb(self, fault):
        """What a client fault does to the program."""
        action = fault.action
        self.process_disturbed = True
        if action == "kill":
            self._later = self.loop.after(fault.amount, self._kill)
        elif action == "stop":
            self._later = self.loop.after(fault.amount, self.program.terminate)
        elif action == "kill point":
            self.points.kill_at(fault.point)
        elif action == "file limit":
            self.program.limit(resource.RLIMIT_FSIZE, fault.where)
        elif action == "full":
            self._fail(points.CREATE | points.WRITE | points.FLUSH | points.TRUNCATE | points.MAKE_DIRECTORY, 28,
                       fault.where, 0xFFFFFFFF)
        elif action == "full for a moment":
            self._fail(points.CREATE | points.WRITE | points.FLUSH | points.RENAME, 28, fault.where, 2)
        elif action == "fill":
            self._fill_disk(fault.where)
        else:
            operations, error, match = plans.HANDLE_FAULTS[action]
            self._fail(operations, error, fault.where, int(fault.amount) or 0xFFFFFFFF, match)

    def _fail(self, operations, error, skip, count, match=""):
        self.points.fail(operations, error, skip=skip, count=count, match=match)

    def _fill_disk(self, leave):
        """A file of somebody else's takes what is left of a tiny disk."""
        if not self.nature.tiny_disk:
            self._fail(points.WRITE, 28, leave // 1000, 0xFFFFFFFF)
            return
        with open(os.path.join(self.directory, "filler"), "wb", buffering=0) as file:
            try:
                while file.write(bytes(4096)):
                    pass
            except OSError:
                pass
            file.truncate(max(0, file.tell() - leave))

    def _settle(self, one):
        """Waits until the program has done with the session, or is dead, and looks at everything."""
        if one.kind == "stop":
            self._await_the_stop()
        alive = not self._dead()
        if alive and not self._greet(self._greeting_limit()):
            if not self._dead():
                self.ledger.check("NobodyWaitsForTheGone", self._rightly_waits(),
                                  f"no greeting within {self._greeting_limit()} s; client: {self.client.transcript[-3:]}")
                self._kill()
        elif alive:
            self.ledger.check("NobodyWaitsForTheGone", True, "")
        died = self._dead()
        if died:
            self.ledger.check("TheProgramLives", one.expects_death or self.killed_by_us or self.ledger.failures,
                              f"it ended by itself with {self.program.exit_code}: {self.program.said()[-500:]}")
            self._count("deaths")
        self._restore_peace()
        self.loop.run(lambda: not self.server.living(), 0.5)
        self._learn_from_session(one, died)
        self.ledger.audit(resting=not died)
        self.ledger.check("NoPasswordOnTheDisk", self.password.decode() not in self.program.said(), "it was printed")
        if self.answer_state is not None and not died and not self.process_disturbed:
            self._compare_with_answer()
        self._check_client_goodbye(one, died)
        if self._dead() and not self.ledger.failures:
            self.waiting = None
            self._start()

    def _rightly_waits(self):
        """After the client's QUIT everything is carried out, and each answer is waited for as long as ever."""
        session = self._upstream()
        return self.client.quit_sent and session is not None and (session.silent or session.mute)

    def _await_the_stop(self):
        # A client that was over before the moment of the signal: it is sent now.
        self.program.terminate()
        ended = self._await(self._dead, STOP_LIMIT)
        self.ledger.check("TheProgramEndsWhenTold", ended, f"SIGTERM, and it still runs after {STOP_LIMIT} s")
        if not ended:
            self._kill()

    def _greeting_limit(self):
        return GREETING_LIMIT if self.nature.timeout > 5 else GREETING_LIMIT + 4 * self.nature.timeout

    def _restore_peace(self):
        self._later.clear()
        self.points.clear()
        self.program.lift_limit(resource.RLIMIT_FSIZE)
        self.program.drain()
        filler = os.path.join(self.directory, "filler")
        if os.path.exists(filler):
            os.unlink(filler)

    def _learn_from_session(self, one, died):
        """What the ledger must know of this session before it judges the state of things."""
        session = self._upstream()
        self.ledger.disk_failed |= one.disturbs_disk or bool(self.nature.tiny_disk)
        unreadable = any(f.action in plans.BIN_UNREADABLE for f in one.client_faults)
        if session is not None and (session.ids_unsure or unreadable):
            for mail in session.listed:
                mail.no_row = True
        if died and session is not None:
            self.ledger.filing_was_cut_off(session)
        if self.client.quit_sent and session is not None and (died or one.disturbs_disk or self.nature.tiny_disk):
            # What was counted or learnt may not have been noted any more.
            self.ledger.recounted += sum("spam" in m.kind or m.kind == "blocked" for m in session.listed)
            self.ledger.relearnt += len(session.listed)
        for mail in self.fetched:
            from_bin_alone = mail not in self.on_server_before
            mail.erase_allowed |= from_bin_alone or mail in self.restored_before
            mail.settled |= (from_bin_alone and self.client.done_answer and not one.disturbs_disk
                             and not self.nature.tiny_disk)
        if self.client.quit_sent or died:
            self.ledger.fetched_in_build.pop(self.client.account.user, None)
        self._remember_build(session, died)

    def _remember_build(self, session, died):
        """What the program should keep of a build that nobody waited for."""
        client = self.client
        if (died or session is None or not client.gone_early or self.nature.pipelining or not self.nature.has_ids
                or session.ids_unsure or self.process_disturbed or self.nature.large or self.nature.huge):
            return
        kept = self.ledger.fetched_in_build.setdefault(client.account.user, set())
        kept.update(m for m in session.sent_whole if not m.no_row)
        self._count("mails kept for an impatient client", len(kept))

    def _compare_with_answer(self):
        now = self.ledger.now.at_answer()
        changed = sorted(n for n in now.keys() | self.answer_state.keys() if now.get(n) != self.answer_state.get(n))
        self.ledger.check("EverythingIsDoneAtTheAnswer", not changed, f"written after the client's answer: {changed}")

    def _check_client_goodbye(self, one, died):
        session = self._upstream()
        if one.kind == "busy client" and session is not None and self.client.done_answer and not self.late:
            self.ledger.check("TheServerIsKeptAwake", session.quit_received and "(autologout)" not in session.transcript,
                              f"the server logged the account out: {session.transcript[-6:]}")
        clean = (one.kind in (QUIET, "busy client") and self.client.done_answer and not died
                 and not self.nature.tiny_disk and not self.ledger.index_broken and not self.late)
        if clean:
            user = self.client.account.user
            # The row of an id that the server has given to a second mail meanwhile goes with the next listing.
            doubtful = {unique_id.decode() for unique_id in self.client.account.doubtful}
            rows = [r for r in self.ledger.now.unconfirmed() if r.get("user") == user and r.get("uid") not in doubtful]
            self.ledger.check("NothingStaysUnconfirmed", not rows, f"after a session without faults: {rows}")
            left = [m for m in self.server.mailboxes[user] if session and m in session.deleted]
            self.ledger.check("EverythingArrivesInTheEnd", not left, f"deleted, and still on the server: {left}")

    # -- between the rounds ----------------------------------------------------------------------
    def _between(self, one):
        what = one.between
        entries = self.ledger.now.bin_entries() or []
        names = [e.get("name") for e in entries]
        random = random_module.Random(one.seed + 1)
        chosen = random.sample(names, min(len(names), random.choice((1, 2, 4))))
        if what == "restore" and chosen:
            for mail in self._mails_of(chosen):
                mail.settled = False
            self._command(one, "bin", "restore", *chosen)
        elif what == "unrestore" and chosen:
            self._command(one, "bin", "unrestore", *chosen)
        elif what == "bin delete" and chosen:
            self._give_up(self._mails_of(chosen), "bin")
            self._command(one, "bin", "delete", *chosen)
        elif what == "bin empty":
            self._give_up(self._mails_of(names), "bin")
            self._command(one, "bin", "empty")
        elif what == "repair":
            self._command(one, "bin", "repair")
        elif what == "purge":
            self._purge(one)
        elif what == "filter off":
            self.filter_off = not self.filter_off
            self._set("Enable", 0 if self.filter_off else 1)
        elif what == "read elsewhere":
            self._read_elsewhere(random)
        elif what in ("damage the index", "lose the index"):
            self._damage_index(random, what == "lose the index")
        elif what == "restart":
            self._kill()
            self.ledger.audit(resting=False)
            self._start()

    def _mails_of(self, names):
        files = self.ledger.now.bin_files()
        return [m for m in (self.ledger.by_text.get(files.get(n)) for n in names) if m is not None]

    def _give_up(self, gone, why):
        for mail in gone:
            mail.removed = mail.removed or why
            mail.erase_allowed = True
            self.ledger.recounted += mail.on_server

    def _command(self, one, *arguments):
        """Another process on the same directory, killed at a file change of its own now and then."""
        if one.kill_command:
            self.command_points.kill_at(one.kill_command)
        code, said = self.program.command(*arguments[:2], "--directory", self.directory, *arguments[2:])
        self.command_points.clear()
        self._count("commands")
        self.ledger.check("TheProgramLives", code in (0, 1) or (code == 2 and arguments[1] == "repair") or (one.kill_command and code == -9),
                          f"{arguments}: exit code {code}: {said}")
        self.ledger.audit()

    def _set(self, key, value):
        """A person changes a setting by hand; the program is idle and reads it when it needs it."""
        path = os.path.join(self.directory, "Quillbeaker.ini")
        with open(path, encoding="latin-1", newline="") as file:
            lines = file.read().splitlines()
        lines = [line for line in lines if not line.startswith(key + "=")]
        at = next(n for n, line in enumerate(lines) if line.strip() == "[QUILLBEAKER]")
        lines.insert(at + 1, f"{key}={value}")
        try:
            with open(path + ".edited", "w", encoding="latin-1", newline="") as file:
                file.write("\n".join(lines) + "\n")
            os.replace(path + ".edited", path)
        except OSError:
            os.unlink(path + ".edited")  # no room on the tiny disk

    def _purge(self, one):
        """The next session is the first of a day: old mail goes before its greeting."""
        if self.nature.tiny_disk:
            return
        if self.nature.settings.get("RecycleBinDaysFrom") != "filing":
            old = [m for m in self.ledger.mails.values() if m.kind == "old spam" and m.ever_listed]
            self._give_up(old, "purge")
        self._set("RecycleOldMessagesLast", 1)
        if self.waiting is not None:
            self.waiting.wire.drop()
        if one.kill_command:
            self.points.kill_at(one.kill_command)
        self._greet(GREETING_LIMIT)
        self.points.clear()
        if self._dead():
            self._count("kills in a purge")
            self.ledger.audit(resting=False)
            self._start()
        else:
            self.ledger.audit()

    def _read_elsewhere(self, random):
        """Another client of the same person takes mail off the server."""
        for box in self.server.mailboxes.values():
            for mail in [m for m in box if random.random() < 0.3]:
                box.remove(mail)
                mail.on_server = False
                mail.removed = "elsewhere"

    def _damage_index(self, random, lose):
        path = os.path.join(self.directory, "recycle/recyclebin.xml")
        data = self.ledger.now.data("recycle/recyclebin.xml")
        if data is None:
            return
        self._count("damaged indexes")
        self.ledger.index_broken = True
        # Not behind the root element: an index with zeros there can be read.
        at = random.randrange(0, max(1, len(data) - len("</recyclebin>")))
        if lose:
            self._kill()
            os.unlink(path)
        else:
            broken = random.choice((data[:at], data[:at] + b"<" + data[at:], data[:at] + bytes(50) + data[at + 50:], b""))
            with open(path, "wb") as file:
                file.write(broken + b"<")
        if lose or random.random() < 0.5:
            self._kill()
            self._start()
            # Where the disk is full, a new index and the damaged one beside it may not find room.
            self.ledger.check("TheIndexIsMadeAnew", self.ledger.now.bin_entries() is not None or self.nature.tiny_disk
                              or not self._mails_in_files(), "the index was not made anew at the start")

    def _mails_in_files(self):
        return [m for m in map(self.ledger.by_text.get, self.ledger.now.bin_files().values()) if m]

    # -- the end ---------------------------------------------------------------------------------
    def _end_well(self):
        """Nothing fails any more: three quiet checks of each account empty the server."""
        self.filter_off = False
        if self.nature.tiny_disk:
            self.setting.grow(self.directory)
        self._set("Enable", 1)
        for round_number in range(6):
            if round_number >= 3 and not self.late_end:
                break
            self.late_end = False
            for number, account in enumerate(self.accounts):
                account.policy = "delete"
                one = plans.Round(kind=QUIET, between="nothing", account=number, style="poplib", delete_at_end=False,
                                  quits=True, patience=0.0, seed=round_number)
                self._note(f"end: {one}")
                self._session(one, -1)
                self._settle(one)
                self.late_end |= self.late
                if self.ledger.failures:
                    return
        if self.late_end:
            return  # a machine without time for this
        for user, box in self.server.mailboxes.items():
            self.ledger.check("EverythingArrivesInTheEnd", not box,
                              f"{user}: still on the server, though nothing fails: {[(m, m.kind) for m in box]}")
        self.ledger.check("NothingStaysUnconfirmed", self.ledger.now.data("recycle/unconfirmed.xml") is None
                          or self.nature.tiny_disk, lambda: f"at the end: {self.ledger.now.unconfirmed()}")
        self._kill()
        self._start()

    # -- what is shown of a failure -----------------------------------------------------------------
    def _evidence(self):
        lines = list(self.schedule)
        lines += ["", "client:"] + (self.client.transcript[-60:] if self.client else [])
        for number, session in enumerate(self.server.sessions):
            lines += ["", f"server, connection {number}:"] + session.transcript[-60:]
        lines += ["", "last changes to files:"] + self.points.trace(120)
        lines += ["", "by the last command:"] + self.command_points.trace(30)
        lines += ["", "printed:", self.program.said()[-1500:]]
        for name in ("server.log", "client.log", "recycle/unconfirmed.xml", "recycle/recyclebin.xml", "uniqueid.xml"):
            try:
                with open(os.path.join(self.directory, name), "rb") as file:
                    lines += ["", f"{name}:", file.read()[-4000:].decode("latin-1")]
            except OSError:
                pass
        lines += ["", "files: " + " ".join(sorted(self.ledger.look().names()))]
        return "\n".join(lines)
