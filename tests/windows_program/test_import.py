# SPDX-License-Identifier: MIT
"""Importing senders from the pages of blocked senders and friends: where from, which columns, one offer after the
other, and the count."""

import os
import time

import pytest

from driver import IDCANCEL, IDNO, IDOK, IDYES, tools
from program import eventually
from settings import BLOCKED, FRIENDS, Settings

SENDER_LIST, IMPORT = 1014, 1053
FROM_SYSTEM, FROM_FILE, YES_TO_ALL, OFFER_TEXT = 1099, 1100, 1093, 1024
ADDRESS_COLUMN, NAME_COLUMN = 1097, 1098
FILE_NAMES, FILE_KINDS = (0x480, 0x47C), 0x470  # an edit field, or a drop-down list with one
LB_GETCOUNT, LB_GETCURSEL, LB_SETCURSEL = 0x18B, 0x188, 0x186
CAPTION, OPEN = "Import sender", "Open"
COLUMNS, COUNT = "The first record in the file", "0 addresses have been imported successfully."


class Import:
    """An import from a page of the settings, as a person goes through it."""

    def __init__(self, one, page=FRIENDS):
        self.one = one
        self.driver = one.driver
        self.settings = Settings(one)
        self.page = self.settings.page(page)
        self.page.click(IMPORT)

    def dialog(self, containing, title=CAPTION):
        return self.driver.dialog(title, containing=containing, process=self.one.main.process)

    def source(self, choice):
        box = self.dialog("Import source")
        box.click(choice)
        eventually(lambda: box.control(choice)["checked"], what="the choice")
        box.click(IDOK)
        box.wait_until_gone()

    def file(self, path):
        box = self.driver.dialog(OPEN, process=self.one.main.process)
        edit = next(one["window"] for one in box.controls() if one["id"] & 0xFFFF in FILE_NAMES)
        assert self.driver.ask("set_text", window=edit, text="Z:" + path.replace("/", "\\"))
        box.click(IDOK)
        box.wait_until_gone()

    def columns(self, address=None, name=None):
        """The dialog, with these columns selected."""
        box = self.dialog(COLUMNS)
        for number, wanted in ((ADDRESS_COLUMN, address), (NAME_COLUMN, name)):
            if wanted is not None:
                self.driver.ask("send", window=box.control(number)["window"], message=LB_SETCURSEL, wparam=wanted)
        return box

    def of_file(self, path):
        """Up to the first offer, with the columns that are proposed."""
        self.source(FROM_FILE)
        self.file(path)
        self.columns().click(IDOK)
        return self

    def offer(self, containing):
        return self.dialog(containing)

    def answer(self, containing, button):
        box = self.offer(containing)
        box.click(button)
        box.wait_until_gone()

    def count(self, number):
        """Waits for the box with the count and closes it."""
        box = self.dialog(f"{number} addresses have been imported successfully.", "Quillbeaker")
        text = box.text()
        box.click(IDOK)
        box.wait_until_gone()
        return text

    def rows(self):
        return self.page.rows(SENDER_LIST)["rows"]

    def is_over(self):
        """No box but the settings dialog."""
        return [one for one in self.driver.windows(kind="#32770", visible=True, process=self.one.main.process)
                if one.title != "Settings"] == []


@pytest.fixture
def csv(tmp_path):
    def make(content, name="list.csv"):
        path = tmp_path / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return str(path)

    return make


def senders(one):
    found, section = {}, None
    for line in one.read("Quillbeaker.ini").decode("latin-1").splitlines():
        if line.startswith("["):
            section = line
        elif section == "[SENDERS]" and "=" in line:
            address, _, value = line.partition("=")
            found[address] = value
    return found


def test_a_file_with_commas_and_semicolons(program, csv, picture):
    """The first line is offered too; quoted commas stay; the page shows what came."""
    one = program(senders={"ann@example.org": "Ann,2"})
    work = Import(one)
    source = work.dialog("Import source")
    assert [source.text(FROM_SYSTEM), source.text(FROM_FILE)] == ["Windows Address Book", "Text file (comma separated)"]
    picture("import-source", source.place)
    work.source(FROM_FILE)
    box = work.driver.dialog(OPEN, process=one.main.process)
    assert work.driver.ask("choices", window=box.control(FILE_KINDS)["window"])["texts"] == [
        "Comma separated text file (*.csv; *.txt)", "All files (*.*)", "vCard file (*.vcf)"]
    picture("import-file", box.place)
    work.file(csv('Name;Mail\n"Smith, Bob";bob@x\nCy,cy@x\nAnn,ANN@example.org\n'))
    box = work.columns()
    assert [work.driver.ask("send", window=box.control(number)["window"], message=LB_GETCOUNT)
            for number in (ADDRESS_COLUMN, NAME_COLUMN)] == [2, 2]
    assert [work.driver.ask("send", window=box.control(number)["window"], message=LB_GETCURSEL)
            for number in (ADDRESS_COLUMN, NAME_COLUMN)] == [1, 0]
    picture("import-columns", box.place)
    box.click(IDOK)
    work.answer("Name (Mail)", IDNO)
    offer = work.offer("Smith, Bob (bob@x)")
    assert offer.default_button() == IDYES
    assert offer.text(OFFER_TEXT).replace("\r", "") == (
        'The following address has been found:\n\nSmith, Bob (bob@x)\n\nDo you want to import this address?\n\n'
        'Click "Yes" to import this address or "No" to skip.\nClick "Yes for all" to import all or "Cancel" to stop '
        'import.')
    picture("import-offer", offer.place)
    offer.click(IDYES)
    offer.wait_until_gone()
    cy = work.offer("Cy (cy@x)")
    assert senders(one) == {"ann@example.org": "Ann,2", "bob@x": "Smith, Bob,2"}  # before the next is answered
    cy.click(IDYES)
    work.count(2)
    assert work.rows() == [["Ann", "ann@example.org"], ["Cy", "cy@x"], ["Smith", "bob@x"]]  # what the file holds of a name
    assert work.is_over()


def test_blocked_senders_of_a_file(program, csv):
    one = program(senders={})
    work = Import(one, BLOCKED)
    source = work.dialog("Import source")
    assert source.text(FROM_SYSTEM) == "Outlook Express Blocked Senders List"
    work.of_file(csv("Bob,b@x\nCy,c@x\n"))
    work.answer("Bob (b@x)", YES_TO_ALL)
    work.count(2)
    assert senders(one) == {"b@x": "Bob,1", "c@x": "Cy,1"}
    assert work.rows() == [["Bob", "b@x"], ["Cy", "c@x"]]


def test_the_columns_can_be_others(program, csv):
    one = program(senders={})
    work = Import(one)
    work.source(FROM_FILE)
    work.file(csv("one,two,three\n"))
    box = work.columns()
    box.click(IDOK)  # nothing is proposed, nothing is selected
    warning = work.dialog("Enter a value!")
    warning.click(IDOK)
    warning.wait_until_gone()
    eventually(lambda: box.focus()["focus_id"] == ADDRESS_COLUMN, what="the focus in the list without a choice")
    work.columns(2, 0).click(IDOK)
    work.answer("one (three)", IDYES)
    work.count(1)
    assert senders(one) == {"three": "one,2"}


def test_present_addresses_are_neither_added_nor_counted(program, csv):
    before = {"b@x": "Old,2", "*@y": "All,1"}
    one = program(senders=before)
    work = Import(one).of_file(csv("Bob,B@X\nCy,c@y\nDan,d@z\nBob,b@x\nDan,D@Z\n"))
    work.answer("Dan (d@z)", YES_TO_ALL)
    work.count(1)
    assert senders(one) == {**before, "d@z": "Dan,2"}
    work = Import(one).of_file(csv("Bob,B@X\nCy,c@y\nDan,d@z\n"))
    work.count(0)
    assert senders(one) == {**before, "d@z": "Dan,2"}


def test_cancel(program, csv):
    """In the middle it keeps and counts what was taken; at source or file it shows no box."""
    one = program(senders={})
    work = Import(one).of_file(csv("Ann,a@x\nBob,b@x\nCy,c@x\n"))
    work.answer("Ann (a@x)", IDYES)
    work.answer("Bob (b@x)", IDCANCEL)
    work.count(1)
    assert senders(one) == {"a@x": "Ann,2"} and work.rows() == [["Ann", "a@x"]]
    work = Import(one)
    work.dialog("Import source").click(IDCANCEL)
    eventually(work.is_over, what="the end of the import")
    work = Import(one)
    work.source(FROM_FILE)
    work.driver.dialog(OPEN, process=one.main.process).click(IDCANCEL)
    eventually(work.is_over, what="the end of the import")
    work = Import(one)
    work.source(FROM_FILE)
    work.file(csv("Dan,d@x\n"))
    work.columns().click(IDCANCEL)
    work.count(0)
    assert senders(one) == {"a@x": "Ann,2"}


def test_lines_that_are_too_long(program, csv):
    one = program(senders={})
    work = Import(one).of_file(csv("Ann,a@x\nLong,{}@x\nLonger,{}\nBob,b@x\n".format("l" * 249, "m" * 5000)))
    work.answer("Ann (a@x)", YES_TO_ALL)
    work.count(2)
    assert senders(one) == {"a@x": "Ann,2", "b@x": "Bob,2"}


def test_a_vcard_whatever_its_name(program, csv):
    one = program(senders={})
    work = Import(one)
    work.source(FROM_FILE)
    work.file(csv("BEGIN:VCARD\nVERSION:3.0\nFN:Ann\nEMAIL:a@x\nEMAIL:b@x\nEND:VCARD\n", "cards.txt"))
    work.answer("Ann (a@x)", IDYES)
    work.answer("Ann (b@x)", IDYES)
    work.count(2)
    assert senders(one) == {"a@x": "Ann,2", "b@x": "Ann,2"}


@pytest.mark.parametrize("content, text", [
    (b"\0\1\2\3" * 500, "is neither a text file nor a vCard file."),
    (b"", "0 addresses"),
    ("Ann,a@x\nBob,b@x\n".encode("utf-16"), None),
    (b"Ann\0Lee,a@x\r\nBob,b@x\r\n", None),
])
def test_files_of_all_kinds(program, csv, content, text):
    one = program(senders={})
    work = Import(one)
    work.source(FROM_FILE)
    work.file(csv(content))
    if text is not None:
        assert text in work.count(0)
        assert senders(one) == {}
        return
    work.columns().click(IDOK)
    work.answer("(a@x)", YES_TO_ALL)
    work.count(2)
    assert set(senders(one)) == {"a@x", "b@x"}


def test_a_file_that_is_not_there(program, tmp_path):
    work = Import(program(senders={}))
    work.source(FROM_FILE)
    work.file(str(tmp_path / "missing.csv"))
    assert work.count(0) == "0 addresses have been imported successfully."


def test_progress_of_a_long_import(program, csv, picture):
    """It appears after a second and not before; Cancel keeps and counts what was taken."""
    lines = "".join(f"Name {i},address{i}@example.org\n" for i in range(1_500_000))
    one = program(senders={})
    work = Import(one).of_file(csv(lines))
    offer = work.offer("Name 0 (address0@example.org)")
    offer.click(YES_TO_ALL)
    began = time.monotonic()
    progress = work.dialog("addresses read")
    assert time.monotonic() - began > 0.8
    assert work.settings.window.handle == progress.owner
    assert not next(w["enabled"] for w in one.driver.ask("windows") if w["window"] == progress.owner)
    picture("import-progress", progress.place)
    progress.click(IDCANCEL)
    box = work.dialog("addresses have been imported successfully.", "Quillbeaker")
    taken = int(box.text().split()[0])
    box.click(IDOK)
    box.wait_until_gone()
    assert 0 < taken < 1_500_000 and len(senders(one)) == taken
    eventually(lambda: work.page.rows(SENDER_LIST, 1)["count"] == taken, what="the rows of the page")
    work.settings.cancel()  # it can be used again


@pytest.mark.parametrize("title, containing", [(CAPTION, "Import source"), (OPEN, None), (CAPTION, "Ann (a@x)"),
                                               (CAPTION, COLUMNS), ("Quillbeaker", COUNT)])
def test_quitting_during_an_import(program, csv, title, containing):
    one = program(senders={})
    work = Import(one)
    path = csv("Ann,a@x\nBob,b@x\n")
    if containing != "Import source":
        work.source(FROM_FILE)
        if title != OPEN:
            work.file(path)
        if title != OPEN and containing != COLUMNS:
            work.columns().click(IDOK)
        if containing == COUNT:
            work.answer("Ann (a@x)", IDCANCEL)
    one.driver.dialog(title, containing=containing, process=one.main.process)
    one.log_off()
    code, seconds = one.wait_for_end()
    assert code == 0 and seconds < 7
    assert senders(one) == {} and os.path.exists(path)


# -- The lists of the system ------------------------------------------------------------------------------

IDENTITY = r"HKCU\Identities\{5B6D3F80-0000-0000-0000-000000000001}"
CRITERIA = IDENTITY + r"\Software\Microsoft\Outlook Express\5.0\Block Senders\Mail\Criteria"
ADDRESS_BOOK = r"HKLM\Software\Microsoft\WAB\DLLPath"


@pytest.fixture
def registry(desktop):
    """registry(key, name, kind, value) writes; the empty name is the key's own value."""

    def add(key, name, kind, value):
        which = ["/v", name] if name else ["/ve"]
        assert desktop.wine("reg", "add", key, *which, "/t", kind, "/d", value, "/f") == 0

    yield add
    for key in (IDENTITY, r"HKLM\Software\Microsoft\WAB"):
        desktop.wine("reg", "delete", key, "/f")


def stub(name):
    return "Z:" + os.path.abspath(os.path.join(tools(), name)).replace("/", "\\")


def test_blocked_senders_of_the_registry(program, registry):
    for name, kind, value in (("a", "REG_SZ", "example.org"), ("b", "REG_SZ", "@x.org"), ("c", "REG_SZ", "a@x.net"),
                              ("d", "REG_DWORD", "7"), ("e", "REG_SZ", "b@x.org")):
        registry(f"{CRITERIA}\\{name}", "Value", kind, value)
    registry(f"{CRITERIA}\\f", "Other", "REG_SZ", "no value of that name")
    registry(IDENTITY + r"\Software\Microsoft\Outlook Express\4.0", "Block Senders", "REG_SZ", "no key")
    one = program(senders={})
    work = Import(one, BLOCKED)
    work.source(FROM_SYSTEM)
    work.answer("example.org (*@example.org)", IDYES)
    work.answer("@x.org (*@x.org)", IDYES)
    work.answer("a@x.net (a@x.net)", IDYES)
    work.count(3)  # b@x.org is covered by *@x.org
    assert senders(one) == {"*@example.org": "example.org,1", "*@x.org": "@x.org,1", "a@x.net": "a@x.net,1"}


def test_cancel_stops_the_walk_through_the_registry(program, registry):
    for name in "abc":
        registry(f"{CRITERIA}\\{name}", "Value", "REG_SZ", name + "@x.org")
    one = program(senders={})
    work = Import(one, BLOCKED)
    work.source(FROM_SYSTEM)
    work.answer("a@x.org (a@x.org)", IDYES)
    work.answer("b@x.org (b@x.org)", IDCANCEL)
    work.count(1)


def test_no_lists_of_the_system(program):
    one = program(senders={})
    for page in (BLOCKED, FRIENDS):
        work = Import(one, page)
        work.source(FROM_SYSTEM)
        assert work.count(0) == "0 addresses have been imported successfully."
        work.settings.cancel()


def test_the_address_book(program, registry):
    """Its library is loaded by another process; one without an address is left out."""
    registry(ADDRESS_BOOK, "", "REG_SZ", stub("stub_address_book.dll"))
    one = program(senders={"contact5@example.org": "Known,1"})
    work = Import(one)
    work.source(FROM_SYSTEM)
    work.answer("Contact 1 (contact1@example.org)", IDNO)
    work.answer("(contact2@example.org)", YES_TO_ALL)
    work.count(117)
    assert len(senders(one)) == 118 and senders(one)["contact2@example.org"] == "Ren\xe9 2,2"
    assert one.main.stands() is False and work.settings.window.stands()


@pytest.mark.parametrize("library, count", [("stub_address_book_without_entry.dll", 0), ("missing.dll", 0),
                                            ("../spampoints.ini", 0), ("stub_address_book_crashing.dll", 50)])
def test_address_books_that_fail(program, registry, library, count):
    registry(ADDRESS_BOOK, "", "REG_SZ", stub(library))
    one = program(senders={})
    work = Import(one)
    work.source(FROM_SYSTEM)
    if count > 0:
        work.answer("Contact 1 (contact1@example.org)", YES_TO_ALL)
        count -= 1  # one has no address
    assert work.count(count).endswith("addresses have been imported successfully.")
    assert len(senders(one)) == count and work.is_over()


def test_cancel_while_the_address_book_hangs(program, registry):
    registry(ADDRESS_BOOK, "", "REG_SZ", stub("stub_address_book_hanging.dll"))
    one = program(senders={})
    work = Import(one)
    work.source(FROM_SYSTEM)
    work.answer("Contact 1 (contact1@example.org)", YES_TO_ALL)
    began = time.monotonic()
    work.dialog("addresses read").click(IDCANCEL)
    work.count(49)
    assert time.monotonic() - began < 20 and len(senders(one)) == 49


def test_the_start_to_read_the_address_book_is_no_second_instance(program, desktop):
    """It shows nothing and ends, whether the program runs or not."""
    one = program()
    assert desktop.wine(one.exe, "/readaddressbook", limit=60) == 1
    assert len(one.driver.windows(kind="Quillbeaker", title="Quillbeaker")) == 1
