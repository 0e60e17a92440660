# SPDX-License-Identifier: MIT
"""The sender lists and the recycle bin from the terminal, also beside a running proxy."""

import json
import os
import re
import subprocess

import pytest

from messages import ham, message, on_the_wire, spam
from program import day_number, executable, run_cli

NAME = "2452676_231507_1a2b3c4.recycle"
LISTED = "This sender has already been added to this/another list."
KEPT = (b'From: "A B" <a@b.example>\r\nSubject: =?iso-8859-1?Q?Gr=FCn?=\r\nDate: Tue, 4 Feb 2003 22:15:00 GMT\r\n'
        b"\r\nhello there\r\n")


@pytest.fixture
def senders(program_directory):
    """senders(word, ...) runs `senders` in one directory, which is its attribute `home`."""

    def run(command, *arguments):
        return run_cli("senders", command, "--directory", run.home.directory, *arguments)

    run.home = program_directory()
    return run


@pytest.fixture
def recycle(program_directory):
    """The same for `bin`."""

    def run(command, *arguments):
        return run_cli("bin", command, "--directory", run.home.directory, *arguments)

    run.home = program_directory()
    return run


def listed(run):
    done = run("list", "--json")
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


# -- senders ------------------------------------------------------------------------------------
def test_sender_is_added_listed_and_removed(senders):
    assert listed(senders) == []
    assert senders("add", "bob@example.org", "Bob Smith", "--friend").returncode == 0
    assert senders("add", "*@bad.example", "--blocked").returncode == 0
    assert senders.home.setting("bob@example.org", "SENDERS") == "Bob Smith,2"
    assert senders.home.setting("*@bad.example", "SENDERS") == ",1"
    assert listed(senders) == [{"address": "bob@example.org", "name": "Bob Smith", "kind": 2},
                               {"address": "*@bad.example", "name": "", "kind": 1}]
    told = senders("list").stdout.decode()
    assert re.search(r"bob@example\.org.*Bob Smith", told) and "*@bad.example" in told
    assert senders("remove", "BOB@example.org").returncode == 0
    assert [one["address"] for one in listed(senders)] == ["*@bad.example"]
    assert senders("remove", "bob@example.org").returncode == 1


@pytest.mark.parametrize("kind", ["--friend", "--blocked"])
def test_listed_sender_is_refused_on_either_list(senders, kind):
    assert senders("add", "bob@example.org", "--friend").returncode == 0
    before = senders.home.read("Quillbeaker.ini")
    done = senders("add", "Bob@Example.ORG", kind)
    assert done.returncode == 1
    assert LISTED in (done.stdout + done.stderr).decode()
    assert senders.home.read("Quillbeaker.ini") == before


def test_a_sender_that_is_not_saved_says_why(senders):
    assert senders("add", "bob@example.org", "--friend").returncode == 0
    configuration = senders.home.path("Quillbeaker.ini")
    os.chmod(configuration, 0o400)
    for arguments in (["add", "ann@example.org", "--friend"], ["remove", "bob@example.org"]):
        done = senders(*arguments)
        assert (done.returncode, done.stderr.decode()) == (
            1, f"The change could not be saved. {configuration}: Permission denied\n")


def test_pattern_does_not_make_an_address_a_duplicate(senders):
    assert senders("add", "*@example.org", "--blocked").returncode == 0
    assert senders("add", "bob@example.org", "--friend").returncode == 0
    assert len(listed(senders)) == 2


@pytest.mark.parametrize("arguments", [
    [], ["bob@example.org"], ["bob@example.org", "--friend", "--blocked"], ["--friend"]])
def test_adding_needs_an_address_and_one_list(senders, arguments):
    assert senders("add", *arguments).returncode == 2
    assert senders.home.read("Quillbeaker.ini") == b""


@pytest.mark.parametrize("address, stored", [("a=b@c.example", "a?b@c.example"), (";a@c.example", "?a@c.example"),
                                             ("[a@c.example", "?a@c.example"), ("x;[y@c.example", "x;[y@c.example")])
def test_address_that_the_file_cannot_hold_is_kept_with_a_wildcard(senders, address, stored):
    assert senders("add", address, "--blocked").returncode == 0
    assert [one["address"] for one in listed(senders)] == [stored]
    done = senders("lookup", "--json", address)
    assert done.returncode == 0 and json.loads(done.stdout)["kind"] == 1
    assert senders("add", address, "--blocked").returncode == 1
    assert senders("remove", address).returncode == 0
    assert listed(senders) == []


def test_line_ends_in_arguments_plant_no_settings(senders):
    assert senders("add", "a@c.example", "x\r\n[SERVER]\r\nPort=1", "--blocked").returncode == 0
    assert senders("add", "b@c.example\r\n[SERVER]", "y", "--blocked").returncode == 0
    text = senders.home.read("Quillbeaker.ini")
    assert not re.search(rb"(?m)^\s*(Port|\[SERVER\])", text)
    assert len(listed(senders)) == 2


def test_lookup_follows_the_precedence(senders):
    senders.home.configure(senders={"exact@one.example": "a,1", "*@one.example": "b,2", "*@two.example": "c,1",
                                    "?@two.example": "d,1", "who@three.example": "Smith, Bob,2",
                                    "odd@four.example": "e,7"})
    for address, expected in (("EXACT@one.example", ("*@one.example", 2)), ("x@two.example", ("*@two.example", 1)),
                              ("who@three.example", ("who@three.example", 2)),
                              ("odd@four.example", ("odd@four.example", 7)),
                              ("nobody@five.example", (None, -1))):
        done = senders("lookup", "--json", address)
        assert done.returncode == 0
        result = json.loads(done.stdout)
        assert result["kind"] == expected[1]
        if expected[0]:
            assert result["address"] == expected[0]
    assert json.loads(senders("lookup", "--json", "who@three.example").stdout)["name"] == "Smith"


def test_adding_keeps_the_rest_of_the_file(senders):
    text = (b"; a comment\n[quillbeaker]\nForeign = kept \n#key=1\n\n[Senders]\nz@old.example=Old,1\n"
            b"; inside\n[Other]\na=b\n")
    senders.home.write("Quillbeaker.ini", text)
    assert senders("add", "new@example.org", "--friend").returncode == 0
    after = senders.home.read("Quillbeaker.ini")
    assert after.lower().count(b"[senders]") == 1
    rest = [line for line in after.splitlines() if b"new@example.org" not in line]
    assert rest == text.splitlines()
    assert [one["address"] for one in listed(senders)] == ["z@old.example", "new@example.org"]


def test_many_processes_lose_no_entry(senders):
    """One lock per store: what two processes change at the same time is both there afterwards."""
    running = [subprocess.Popen([executable(), "senders", "add", f"a{n}@example.org", "--blocked", "--directory",
                                 senders.home.directory], stdin=subprocess.DEVNULL) for n in range(24)]
    assert [process.wait(60) for process in running] == [0] * 24
    assert {one["address"] for one in listed(senders)} == {f"a{n}@example.org" for n in range(24)}


def test_of_processes_that_add_the_same_address_one_succeeds(senders):
    for number in range(5):
        running = [subprocess.Popen([executable(), "senders", "add", f"a{number}@example.org", str(n), "--blocked",
                                     "--directory", senders.home.directory], stdin=subprocess.DEVNULL,
                                    stderr=subprocess.DEVNULL) for n in range(8)]
        assert sorted(process.wait(60) for process in running) == [0] + [1] * 7
    assert len(listed(senders)) == 5


def test_removing_takes_every_line_of_the_address(senders):
    senders.home.write("Quillbeaker.ini", "[SENDERS]\na@b.example=A,1\nc@d.example=C,2\nA@B.example=Again,2\n")
    assert senders("remove", "a@b.example").returncode == 0
    assert [one["address"] for one in listed(senders)] == ["c@d.example"]
    assert senders("remove", "a@b.example").returncode == 1


def test_typed_addresses_and_names_are_kept_as_the_file_is(senders):
    assert senders("add", "j\xf6rg@example.org", "J\xf6rg", "--friend").returncode == 0
    assert b"j\xf6rg@example.org=J\xf6rg,2" in senders.home.read("Quillbeaker.ini")
    assert listed(senders) == [{"address": "j\xf6rg@example.org", "name": "J\xf6rg", "kind": 2}]
    assert "j\xf6rg@example.org  (J\xf6rg)" in senders("list").stdout.decode()
    assert json.loads(senders("lookup", "--json", "j\xf6rg@example.org").stdout)["kind"] == 2
    assert senders("add", "j\xf6rg@example.org", "--blocked").returncode == 1
    assert senders("remove", "j\xf6rg@example.org").returncode == 0
    assert listed(senders) == []
    # What the file's character set lacks stays as it was typed.
    assert senders("add", "\u20ac@example.org", "--friend").returncode == 0
    assert "\u20ac@example.org" in senders("list").stdout.decode()


def test_added_sender_counts_in_the_next_check(proxy, client, server):
    upstream = server(ham(1, sender="x <bad@blocked.example>"))
    one = proxy()
    assert run_cli("senders", "add", "--directory", one.directory, "*@blocked.example", "--blocked").returncode == 0
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 0


# -- bin ----------------------------------------------------------------------------------------
def test_listing_of_the_bin(recycle):
    recycle.home.write(f"recycle/{NAME}", KEPT)
    recycle.home.write("recycle/recyclebin.xml", (
        f'<?xml version="1.0" encoding="ISO-8859-1"?>\n<recyclebin><recyclefile name="{NAME}" date="2452675"'
        ' time="22:15" subject="Gr\xfcn" spamwords="cheap, offer" probability="0.9871" account="ann @ host"'
        ' sender="A B"'
        f' address="a@b.example" size="{len(KEPT)}" restored="1"/><other/>'
        '<recyclefile name="bare.recycle"/></recyclebin>'))
    first, second = listed(recycle)
    assert first == {"name": NAME, "date": 2452675, "time": "22:15", "subject": "Gr\xfcn", "spamwords": "cheap, offer",
                     "probability": "0.9871", "account": "ann @ host", "sender": "A B", "address": "a@b.example",
                     "size": len(KEPT), "restored": True}
    assert (second["name"], second["date"], second["size"], second["restored"]) == ("bare.recycle", 0, 0, False)
    assert recycle("list").stdout.decode().splitlines() == [
        f"{NAME}  {len(KEPT) / 1024:.2f} KB  (comes with the next mail check)", "     04.02.2003, 22:15  A B <a@b.example>",
        "     Gr\xfcn", "     0.9871  cheap, offer", "bare.recycle  0.00 KB", "", ""]


def test_bin_without_an_index_is_empty(recycle):
    assert listed(recycle) == []
    done = recycle("list")
    assert (done.returncode, done.stdout, done.stderr) == (0, b"", b"")
    assert recycle("empty").returncode == 0
    done = recycle("delete", NAME)
    assert done.returncode == 1 and b"There is no message" in done.stderr
    recycle.home.write("recycle/recyclebin.xml", "no index")
    done = recycle("list", "--json")
    assert done.returncode == 1 and b"can not be read" in done.stderr
    assert recycle("empty").returncode == 1


def test_a_damaged_index_can_be_repaired_and_that_is_said(recycle):
    recycle.home.write(f"recycle/{NAME}", KEPT)
    recycle.home.write("recycle/recyclebin.xml", "no index")
    done = recycle("list")
    assert (done.returncode, done.stdout) == (1, b"")
    assert done.stderr.decode().splitlines() == [
        "The index of the recycle bin can not be read.",
        '"quillbeaker-cli bin repair" makes it anew from the message files.']
    assert recycle("repair").returncode == 0
    assert [entry["name"] for entry in listed(recycle)] == [NAME]


@pytest.mark.parametrize("place, why", [("recycle", "Not a directory"), ("recycle/recyclebin.xml", "Is a directory"),
                                        ("recycle/recyclebin.xml/x", "Is a directory")])
def test_what_is_no_index_is_no_empty_bin(recycle, place, why):
    if place == "recycle":
        recycle.home.write(place, b"")
    else:
        os.makedirs(recycle.home.path(place))
    told = f"The index of the recycle bin can not be read. {recycle.home.path(place.removesuffix('/x'))}: {why}\n"
    for arguments in (["list"], ["restore", NAME], ["empty"]):
        done = recycle(*arguments)
        assert (done.returncode, done.stdout, done.stderr.decode()) == (1, b"", told)


def test_a_change_of_the_bin_that_is_not_saved_says_why(recycle):
    recycle.home.bin_entry(NAME, KEPT, "jane @ server")
    index = recycle.home.path("recycle/recyclebin.xml")
    os.chmod(index, 0o400)
    for arguments in (["restore", NAME], ["delete", NAME], ["empty"]):
        done = recycle(*arguments)
        assert (done.returncode, done.stderr.decode()) == (
            1, f"The change could not be saved. {index}: Permission denied\n")
    assert os.path.exists(recycle.home.path(f"recycle/{NAME}"))


def test_listing_of_the_bin_keeps_its_lines(recycle):
    recycle.home.write("recycle/recyclebin.xml", (
        '<?xml version="1.0" encoding="ISO-8859-1"?>\n<recyclebin>'
        f'<recyclefile name="{NAME}" date="2452675" time="22:15" subject="a&#10;b&#13;&#9;c" spamwords="x&#10;y"'
        ' probability="0.5000" sender="S&#10;T" address="a@b.example&#10;" size="1"/></recyclebin>'))
    told = recycle("list").stdout
    assert len(told.splitlines()) == 4
    assert not re.search(rb"[\x00-\x09\x0b-\x1f]", told)


def test_bin_is_rebuilt_only_without_an_index(recycle):
    recycle.home.write(f"recycle/{NAME}", KEPT)
    assert recycle("rebuild").returncode == 0
    index = recycle.home.read("recycle/recyclebin.xml")
    assert b"\n  <recyclefile " in index
    (entry,) = recycle.home.bin_entries()
    assert list(entry.items()) == [("name", NAME), ("date", "2452675"), ("time", "22:15"), ("subject", "Gr\xfcn"),
                                   ("sender", "A B"), ("address", "a@b.example"), ("size", str(len(KEPT)))]
    recycle.home.write("recycle/2452676_231507_2.recycle", KEPT)
    assert recycle("rebuild").returncode == 1
    assert recycle.home.read("recycle/recyclebin.xml") == index


def test_rebuild_takes_over_what_a_damaged_index_still_says(recycle):
    recycle.home.bin_entry(NAME, KEPT, "jane @ server", restored="1")
    damaged = recycle.home.read("recycle/recyclebin.xml")[:-3]
    recycle.home.write("recycle/recyclebin.xml", damaged)
    assert recycle("list").returncode == 1
    assert recycle("rebuild").returncode == 0
    (entry,) = recycle.home.bin_entries()
    assert (entry["name"], entry["account"], entry["restored"]) == (NAME, "jane @ server", "1")
    assert recycle.home.read("recycle/recyclebin.xml.bad") == damaged


def test_repair_says_what_it_did(recycle):
    recycle.home.bin_entry(NAME, KEPT, "jane @ server")
    recycle.home.bin_entry("lost.recycle", None)
    recycle.home.write("recycle/2452676_231507_2.recycle", KEPT)
    done = recycle("repair")
    assert (done.returncode, done.stderr) == (0, b"")
    assert done.stdout.decode().splitlines() == [
        "Message files without an entry, added: 1.", "Entries without a message file, removed: 1."]
    assert [e["name"] for e in recycle.home.bin_entries()] == [NAME, "2452676_231507_2.recycle"]
    assert recycle.home.bin_entries()[0]["account"] == "jane @ server"
    recycle.home.write("recycle/recyclebin.xml", "no index")
    assert recycle("repair").stdout.decode().splitlines()[0].startswith("The index was damaged")
    assert len(recycle.home.bin_entries()) == 2
    os.remove(recycle.home.path("recycle/recyclebin.xml"))
    assert recycle("repair").stdout.decode().splitlines()[0].startswith("The index was missing")


def test_repair_leaves_a_foreign_index_alone(recycle):
    recycle.home.write(f"recycle/{NAME}", KEPT)
    recycle.home.write("recycle/recyclebin.xml", "<other/>")
    done = recycle("repair")
    assert done.returncode == 1 and b"recyclebin.xml" in done.stderr
    assert recycle.home.read("recycle/recyclebin.xml") == b"<other/>"


def test_view_prints_the_message(recycle):
    recycle.home.write(f"recycle/{NAME}", KEPT)
    recycle("rebuild")
    done = recycle("view", NAME)
    assert done.returncode == 0
    for text in ("A B", "a@b.example", "Gr\xfcn", "hello there"):
        assert text in done.stdout.decode()
    assert recycle("view", "nope.recycle").returncode == 1


def test_view_shows_the_sender_the_subject_and_other_lines_as_sent(recycle):
    recycle.home.write(f"recycle/{NAME}", (
        b"From: =?iso-8859-1?Q?J=F6rg?= <j@b.example>\r\nTo: =?x?Q?=4Aoe?= <joe@b.example>\r\n"
        b"Subject: =?iso-8859-1?Q?Gr=FCn=0D=0AX:_y?=\r\nDate: Tue, 4 Feb 2003 22:15:00 GMT\r\n\r\nbody\r\n"))
    recycle("rebuild")
    head = recycle("view", NAME).stdout.decode().split("body")[0].split("\n")
    assert [line.strip() for line in head if line.strip()] == [
        "From: J\xf6rg <j@b.example>", "To: =?x?Q?=4Aoe?= <joe@b.example>", "Subject: Gr\xfcn  X: y",
        "Date: Tue, 4 Feb 2003 22:15:00 GMT"]


def test_restore_and_unrestore(recycle):
    other = "2452676_231507_2.recycle"
    for name in (NAME, other):
        recycle.home.write(f"recycle/{name}", KEPT)
    recycle("rebuild")
    assert recycle("restore", NAME, other).returncode == 0
    assert [e["restored"] for e in recycle.home.bin_entries()] == ["1", "1"]
    assert recycle("unrestore", NAME).returncode == 0
    assert {e["name"]: e["restored"] for e in recycle.home.bin_entries()} == {NAME: "0", other: "1"}
    assert {one["name"]: one["restored"] for one in listed(recycle)} == {NAME: False, other: True}
    assert recycle("restore", "nope.recycle").returncode == 1


def test_delete_and_empty(recycle):
    names = [f"2452676_231507_{n}.recycle" for n in range(5)]
    for name in names:
        recycle.home.write(f"recycle/{name}", KEPT)
    outside = recycle.home.write("outside.recycle", KEPT)
    recycle("rebuild")
    assert recycle("delete", names[0], names[3]).returncode == 0
    assert recycle.home.bin_files() == [names[1], names[2], names[4]]
    assert sorted(e["name"] for e in recycle.home.bin_entries()) == [names[1], names[2], names[4]]
    assert recycle("delete", names[0]).returncode == 1
    assert recycle("delete", "../outside.recycle").returncode == 1
    assert os.path.exists(outside)
    assert recycle("empty").returncode == 0
    assert recycle.home.bin_files() == [] and recycle.home.bin_entries() == []
    assert os.path.exists(outside)


def test_message_restored_from_the_terminal_comes_with_the_next_check(proxy, client, server):
    data = message("offer", body="zorkmoney\r\n.dot\r\n")
    upstream = server(data, ham(1))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    upstream.wait_for_end()
    (entry,) = json.loads(run_cli("bin", "list", "--json", "--directory", one.directory).stdout)
    assert entry["account"] == "jane @ 127.0.0.1" and entry["spamwords"] == "zorkmoney"
    assert run_cli("bin", "restore", "--directory", one.directory, entry["name"]).returncode == 0
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    assert raw.retr(1)[1] == on_the_wire(data)
    raw.quit()
    assert json.loads(run_cli("bin", "list", "--json", "--directory", one.directory).stdout) == []


def test_terminal_and_proxy_lose_nothing_of_each_other(proxy, client, server):
    """Entries are marked from the terminal while mail checks file others."""
    one = proxy()
    names = [f"1_00{n:04d}_1.recycle" for n in range(12)]
    for name in names:
        one.bin_entry(name, KEPT, "nobody @ nowhere", date=str(day_number()))
    running = []
    for number, name in enumerate(names):
        upstream = server(spam(number))
        raw = client(one).login(upstream.port)
        raw.stat()
        running.append(subprocess.Popen([executable(), "bin", "restore", name, "--directory", one.directory],
                                        stdin=subprocess.DEVNULL))
        raw.quit()
        raw.close()
    assert [process.wait(60) for process in running] == [0] * len(names)
    entries = {e["name"]: e for e in one.bin_entries()}
    assert all(entries[name].get("restored") == "1" for name in names)
    assert len(entries) == 2 * len(names)
    assert sorted(entries) == one.bin_files()
