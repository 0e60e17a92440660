# SPDX-License-Identifier: MIT
"""Where every message is, and what must hold of that. Each rule is counted, so that none passes by never being asked."""

import os
from collections import Counter

import mails
from stores import Snapshot

RULES = {
    "NothingIsLost": "every message is on the server, delivered, or in the bin and listed",
    "NothingIsDeletedThatIsNotKept": "a DELE goes out only for what the client has, or the bin holds and lists",
    "NothingIsDeletedBeforeItIsFlushed": "name and content of all that is filed are on the disk before the first DELE",
    "NothingIsDoubled": "what was restored and delivered is not delivered again after its QUIT was answered",
    "EverySpamIsFiledOnce": "no message has two entries in the bin",
    "EverySpamIsCountedOnce": "the statistic counts no message twice",
    "EveryMailIsLearntOnce": "the word lists count no message twice",
    "NoMailIsEmpty": "no client gets a mail without a text",
    "EveryMailIsWhole": "what a client gets, and what the bin lists, is the mail to the byte",
    "EveryFileIsListed": "a message file without an entry is left by an erase that was cut off, or by a filing without rows",
    "EveryEntryHasItsFile": "no entry of the bin is without its file",
    "StartRemovesNothingElse": "a start removes only what unconfirmed.xml names as not due and no index lists",
    "NothingStaysUnconfirmed": "unconfirmed.xml is gone after a session without faults",
    "StoresCanBeRead": "no kill and no full disk leaves half of a file",
    "TheIndexIsMadeAnew": "a start makes a lost or damaged index anew from the message files",
    "EverythingIsDoneAtTheAnswer": "QUIT upstream and every file come before the client's answer",
    "NoPasswordOnTheDisk": "no file of the program holds the password",
    "TheProgramLives": "no fault ends the program",
    "NobodyWaitsForTheGone": "the next client is greeted soon after one has gone",
    "TheProgramEndsWhenTold": "SIGTERM ends the program soon, whatever it waits for",
    "TheServerIsKeptAwake": "no server logs out an account whose client is still busy",
    "NothingIsFetchedTwice": "what an impatient client did not wait for is not fetched again",
    "EverySessionEnds": "no session lasts for ever",
    "EverythingArrivesInTheEnd": "once nothing fails any more, the server is emptied",
}


class Ledger:
    def __init__(self, directory, password, without=(), flushes=None):
        self.directory = directory
        self.without = without  # rules that are not asked
        self.flushes = flushes
        self.password = password
        self.mails = {}  # tag -> Mail
        self.by_text = {}  # bytes as kept -> Mail
        self.asked = Counter()
        self.failures = []  # (rule, what)
        self.now = Snapshot(directory)
        self.disk_disturbed = False  # in this round
        self.disk_failed = False  # something could not be written or read since the beginning
        self.recounted = 0  # how often mail may have been counted once more, or learnt: a kill came in between
        self.relearnt = 0
        self.index_broken = False  # damaged from outside, not made anew yet
        self.restoring = set()  # tags of what a client may get from the bin
        self.cut_off = {}  # name -> what a filing without rows had written of its file when it was killed
        self.fetched_in_build = {}  # user -> mails that the program should have kept
        self.kept_rules = True
        self._logs_read = {}

    def add(self, mail):
        self.mails[mail.tag] = mail
        self.by_text[mail.kept] = mail

    def check(self, rule, holds, what):
        if rule in self.without:
            return True
        self.asked[rule] += 1
        if not holds:
            self.failures.append((rule, what() if callable(what) else what))
        return holds

    def look(self):
        self.now = Snapshot(self.directory, self.now)
        return self.now

    # -- heard from the server -----------------------------------------------------------------
    def filing_was_cut_off(self, session):
        """The program died in a session. Mail without an id of its own has no row, by which a start could tell
        what a filing left that was killed before its index: such files stay, whole or in part."""
        now = self.look()
        entries = now.bin_entries()
        listed = {e.get("name") for e in entries or []}
        rowless = [mail.kept for mail in session.listed if mail.no_row]
        for name, data in now.bin_files().items():
            if name not in listed and any(kept.startswith(data) for kept in rowless):
                self.cut_off[name] = data

    def deleting(self, session, mail):
        """A DELE has come."""
        first = not session.deleted
        if first:
            self.look()
            waiting = self.flushes.waiting("recycle/") if self.flushes else None
            if waiting is not None and not self.disk_disturbed:
                self.check("NothingIsDeletedBeforeItIsFlushed", not waiting, f"the first DELE came before {waiting}")
        self.check("NothingIsDeletedThatIsNotKept",
                   mail.delivered or mail.removed or self.in_bin(mail) or self.index_broken,
                   lambda: f"{mail} ({mail.kind}) is deleted, and nobody has it: {self._whereabouts(mail)}")

    def fetching(self, session, mail):
        """A RETR has come."""
        kept = self.fetched_in_build.get(session.user, ())
        if kept and not session.ids_unsure and not mail.no_row:  # without an id of its own none can be known again
            self.check("NothingIsFetchedTwice", mail not in kept,
                       lambda: f"{mail} was fetched for a client that had no patience, and is fetched again")

    # -- heard from the client -----------------------------------------------------------------
    def delivered(self, data):
        """A client has got a message whole; which one it is, or None."""
        self.check("NoMailIsEmpty", data.strip(), "an empty mail was delivered")
        mail = self.by_text.get(data)
        if data.strip() and data not in self.cut_off.values():
            named = mails.TAG.search(data)
            self.check("EveryMailIsWhole", mail is not None,
                       lambda: f"{named[1].decode() if named else 'something'} was delivered as {data[-200:]!r}")
        if mail is not None:
            self.check("NothingIsDoubled", not (mail.settled and not mail.on_server and not mail.no_row),
                       lambda: f"{mail} was delivered from the bin, QUIT was answered, and it came again")
            mail.delivered += 1
        return mail

    # -- the bin -------------------------------------------------------------------------------
    def listed_names(self):
        entries = self.now.bin_entries()
        return {e.get("name") for e in entries} if entries is not None else set()

    def in_bin(self, mail):
        files = self.now.bin_files()
        return any(files.get(name) == mail.kept for name in self.listed_names())

    def _whereabouts(self, mail):
        files = self.now.bin_files()
        entries = self.now.bin_entries()
        names = [n for n, data in files.items() if data == mail.kept]
        listed = self.listed_names()
        return (f"files {[(n, 'listed' if n in listed else 'not listed') for n in names]}, index "
                f"{'unreadable or missing' if entries is None else len(entries)}, delivered {mail.delivered} times, "
                f"on the server: {mail.on_server}")

    # -- the audit -----------------------------------------------------------------------------
    def audit(self, *, resting=True):
        """`resting`: no filing was cut off since the last start."""
        now = self.look()
        for name in ("recycle/recyclebin.xml", "recycle/unconfirmed.xml", "uniqueid.xml", "training/training.xml"):
            if not (self.index_broken and name == "recycle/recyclebin.xml"):
                self.check("StoresCanBeRead", now.readable(name), lambda: f"{name}: {now.data(name)[-200:]!r}")
        entries = now.bin_entries()
        if self.index_broken and entries is not None:
            self._index_is_back(now)
        files = now.bin_files()
        listed = [e.get("name") for e in entries or []]
        holders = Counter()
        for name in listed:
            mail = self.by_text.get(files.get(name))
            if mail is not None:
                holders[mail] += 1
                mail.ever_listed = True
        if self.index_broken:
            for mail in filter(None, map(self.by_text.get, files.values())):
                mail.ever_listed = True
        else:
            self._audit_bin(files, entries, set(listed), resting)
        self._audit_mails(holders, files)
        self._audit_counts(now)
        self._audit_logs()
        return now

    def _audit_bin(self, files, entries, listed, resting):
        for name in listed:
            self.check("EveryEntryHasItsFile", name in files, f"{name} is listed and not there")
            if name in files and files[name] != self.cut_off.get(name):
                self.check("EveryMailIsWhole", files[name] in self.by_text,
                           lambda name=name: f"{name} is listed and holds {files[name][-200:]!r}")
        if not resting:
            return
        for name in files.keys() - listed:
            mail = self.by_text.get(files[name])
            allowed = mail is not None and mail.erase_allowed or files[name] == self.cut_off.get(name)
            self.check("EveryFileIsListed", allowed,
                       lambda name=name, mail=mail: f"{name} ({mail}, {len(files[name])} bytes) is not listed; "
                       f"index: {'none' if entries is None else len(entries)} entries")

    def _audit_mails(self, holders, files):
        in_files = Counter(self.by_text.get(data) for data in files.values()) if self.index_broken else holders
        for mail in self.mails.values():
            where = mail.on_server or mail.delivered or mail.removed or in_files[mail]
            self.check("NothingIsLost", where, lambda mail=mail: f"{mail} ({mail.kind}): {self._whereabouts(mail)}")
            if not mail.no_row and not self.index_broken:
                self.check("EverySpamIsFiledOnce", holders[mail] <= 1,
                           lambda mail=mail: f"{mail} is listed {holders[mail]} times")

    def _audit_counts(self, now):
        if any(mail.no_row for mail in self.mails.values()):
            return
        filed = sum(mail.ever_listed for mail in self.mails.values()) + self.recounted
        self.check("EverySpamIsCountedOnce", now.counted() <= filed,
                   f"{now.counted()} counted, {filed} filed")
        if not self.disk_failed:
            for which, kind in (("good", "friend"), ("bad", "blocked")):
                most = sum(mail.kind == kind for mail in self.mails.values()) + self.relearnt
                self.check("EveryMailIsLearntOnce", now.learnt(which) <= most,
                           f"{now.learnt(which)} messages in the {which} list, of {most}")

    def _audit_logs(self):
        for name in ("server.log", "client.log"):
            path = os.path.join(self.directory, name)
            try:
                with open(path, "rb") as file:
                    data = file.read()
            except FileNotFoundError:
                continue
            self.check("NoPasswordOnTheDisk", self.password not in data,
                       lambda: f"{name}: {data[max(0, data.find(self.password) - 80):][:200]!r}")

    def _index_is_back(self, now):
        """It was made anew from all files, those of erased mail too."""
        self.index_broken = False
        for data in now.bin_files().values():
            mail = self.by_text.get(data)
            if mail is not None and mail.erase_allowed:
                mail.no_row = True

    # -- a start -------------------------------------------------------------------------------
    def before_start(self):
        before = self.look()
        entries = before.bin_entries()
        may_go = set()
        if entries is not None or before.data("recycle/recyclebin.xml") is None:
            due = {r.get("file") for r in before.unconfirmed() if r.get("due", "").startswith("1")}
            not_due = {r.get("file") for r in before.unconfirmed()} - due
            may_go = not_due - {e.get("name") for e in entries or []}
        return before, may_go

    def after_start(self, before, may_go, whole):
        now = self.look()
        gone = before.bin_files().keys() - now.bin_files().keys()
        self.check("StartRemovesNothingElse", gone <= may_go,
                   lambda: f"the start removed {sorted(gone - may_go)}; unconfirmed.xml: {before.unconfirmed()}")
        if whole:
            self.audit(resting=True)
