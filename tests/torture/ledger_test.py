#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The ledger itself: each kind of loss, doubling and damage is seen in a folder made up for it."""

import os
import random
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(os.path.dirname(HERE), "e2e"))

import mails  # noqa: E402
from ledger import Ledger  # noqa: E402


class LedgerTest(unittest.TestCase):
    def setUp(self):
        self._folder = tempfile.TemporaryDirectory()
        self.addCleanup(self._folder.cleanup)
        for name in ("recycle", "training"):
            os.mkdir(self._path(name))
        self.ledger = Ledger(self._folder.name, b"secret word")
        self.mail = self._mail(1)

    def _path(self, name):
        return os.path.join(self._folder.name, name)

    def _mail(self, number, kind="spam"):
        mail = mails.make(f"w0m{number}", kind, random.Random(number), b"id%d" % number, "ann", 300)
        self.ledger.add(mail)
        return mail

    def _write(self, name, data):
        with open(self._path(name), "wb") as file:
            file.write(data)

    def _index(self, *names):
        root = ElementTree.Element("recyclebin")
        for name in names:
            ElementTree.SubElement(root, "recyclefile", name=name)
        self._write("recycle/recyclebin.xml", ElementTree.tostring(root))

    def _file(self, name, mail=None):
        self._write("recycle/" + name, (mail or self.mail).kept)

    def _broken(self):
        """The rules that the ledger found broken, each once, in their order."""
        return list(dict.fromkeys(rule for rule, _ in self.ledger.failures))

    def _audit(self):
        self.ledger.audit()
        return self._broken()

    def test_mail_on_the_server_or_in_the_bin_or_delivered_is_no_loss(self):
        self.assertEqual(self._audit(), [])
        self.mail.on_server = False
        self._file("1.recycle")
        self._index("1.recycle")
        self.assertEqual(self._audit(), [])
        self.ledger.delivered(self.mail.kept)
        os.unlink(self._path("recycle/1.recycle"))
        self._index()
        self.assertEqual(self._audit(), [])

    def test_mail_that_is_nowhere_is_lost(self):
        self.mail.on_server = False
        self.assertEqual(self._audit(), ["NothingIsLost"])

    def test_mail_in_a_file_that_no_index_lists_is_lost(self):
        self.mail.on_server = False
        self._file("1.recycle")
        self._index()
        self.assertEqual(self._audit(), ["EveryFileIsListed", "NothingIsLost"])

    def test_a_deletion_of_what_nobody_has(self):
        class Session:
            deleted = []
        self.ledger.deleting(Session, self.mail)
        self.assertEqual(self._broken(), ["NothingIsDeletedThatIsNotKept"])

    def test_one_mail_in_two_entries(self):
        for name in ("1.recycle", "2.recycle"):
            self._file(name)
        self._index("1.recycle", "2.recycle")
        self.assertEqual(self._audit(), ["EverySpamIsFiledOnce"])

    def test_counted_more_often_than_filed(self):
        self._file("1.recycle")
        self._index("1.recycle")
        self._write("Quillbeaker.ini", b"[STATS]\nDays=2452676,2452675,\nMails=1,1,\n")
        self.assertEqual(self._audit(), ["EverySpamIsCountedOnce"])

    def test_learnt_more_often_than_there_is_mail(self):
        self._mail(2, "friend")
        self._write("training/good.Quillbeaker.wordlist", b"\1\0\0\0\0\0\0\0\2\0\0\0\0\0\0\0")
        self.assertEqual(self._audit(), ["EveryMailIsLearntOnce"])

    def test_an_empty_mail_and_half_a_mail(self):
        self.ledger.delivered(b"")
        self.ledger.delivered(self.mail.kept[:-20])
        self.assertEqual(self._broken(), ["NoMailIsEmpty", "EveryMailIsWhole"])

    def test_half_a_mail_in_the_bin(self):
        self._write("recycle/1.recycle", self.mail.kept[:-20])
        self._index("1.recycle")
        self.assertEqual(self._audit(), ["EveryMailIsWhole"])

    def test_delivered_from_the_bin_once_more(self):
        self.mail.on_server = False
        self.ledger.delivered(self.mail.kept)
        self.mail.settled = True
        self.ledger.delivered(self.mail.kept)
        self.assertEqual(self._broken(), ["NothingIsDoubled"])

    def test_an_entry_without_its_file(self):
        self._index("1.recycle")
        self.assertEqual(self._audit(), ["EveryEntryHasItsFile"])

    def test_an_erase_that_was_cut_off_may_leave_a_file(self):
        self._file("1.recycle")
        self._index()
        self.mail.erase_allowed = True
        self.assertEqual(self._audit(), [])

    def test_only_a_filing_without_rows_may_leave_a_file_when_it_is_killed(self):
        self.mail.no_row = True
        other = self._mail(2)

        class Session:
            listed = [self.mail, other]
        self._file("1.recycle")
        self._write("recycle/2.recycle", self.mail.kept[:40])
        self._index()
        self.ledger.filing_was_cut_off(Session)
        self.assertEqual(self._audit(), [])
        self._file("3.recycle")  # came later
        self._write("recycle/2.recycle", self.mail.kept[:50])
        self._file("4.recycle", other)
        self.assertEqual(self._audit(), ["EveryFileIsListed"])
        self.assertEqual(len(self.ledger.failures), 3)

    def test_half_an_index(self):
        self._write("recycle/recyclebin.xml", b"<recyclebin><recyclefi")
        self._write("uniqueid.xml", b"")
        self.assertEqual(self._audit(), ["StoresCanBeRead"])
        self.assertEqual(len(self.ledger.failures), 2)

    def test_a_password_in_a_log(self):
        self._write("server.log", b"C: LOGIN ann secret word\r\n")
        self.assertEqual(self._audit(), ["NoPasswordOnTheDisk"])

    def _start_that_removes(self, name, row):
        self._file(name)
        self._index("listed.recycle" if "listed" in name else "other.recycle")
        self._write("recycle/unconfirmed.xml", f"<unconfirmed><mail uid='1' {row}/></unconfirmed>".encode())
        before, may_go = self.ledger.before_start()
        os.unlink(self._path("recycle/" + name))
        self.ledger.after_start(before, may_go, whole=False)
        return self._broken()

    def test_a_start_may_remove_what_is_not_due_and_not_listed(self):
        self.assertEqual(self._start_that_removes("1.recycle", "file='1.recycle'"), [])

    def test_a_start_may_not_remove_what_is_due(self):
        self.assertEqual(self._start_that_removes("1.recycle", "file='1.recycle' due='1'"), ["StartRemovesNothingElse"])

    def test_a_start_may_not_remove_what_is_listed(self):
        self.assertEqual(self._start_that_removes("listed.recycle", "file='listed.recycle'"), ["StartRemovesNothingElse"])

    def test_a_start_may_not_remove_what_no_row_names(self):
        self.assertEqual(self._start_that_removes("1.recycle", "file='2.recycle'"), ["StartRemovesNothingElse"])

    def test_fetched_again_for_an_impatient_client(self):
        class Session:
            user = "ann"
            ids_unsure = False
        self.ledger.fetching(Session, self.mail)
        self.assertEqual(self._broken(), [])
        self.ledger.fetched_in_build["ann"] = {self.mail}
        Session.ids_unsure = True
        self.ledger.fetching(Session, self.mail)
        self.assertEqual(self._broken(), [])
        Session.ids_unsure = False
        self.ledger.fetching(Session, self.mail)
        self.assertEqual(self._broken(), ["NothingIsFetchedTwice"])


if __name__ == "__main__":
    unittest.main()
