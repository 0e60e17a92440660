# SPDX-License-Identifier: MIT
"""docs/FORMATS.md against the program: every example on that page is taken from it and tried.

An example is a fenced block below a comment "<!-- example: NAME -->". What differs from run to run (times,
day of filing, ports, the server's name) is brought to one form on both sides before they are compared."""

import binascii
import datetime
import email.utils
import functools
import itertools
import json
import os
import re

import pytest

from messages import on_the_wire
from program import REPOSITORY, day_number, eventually, free_port, run_cli
from scripted_server import GREETING, reply

SERVER_NAME = "pop.example.org"
TODAY = str(day_number())


@functools.lru_cache(maxsize=None)
def page():
    with open(os.path.join(REPOSITORY, "docs/FORMATS.md"), encoding="utf-8") as file:
        return file.read()


@functools.lru_cache(maxsize=None)
def examples():
    found = re.findall(r"(?ms)^<!-- example: ([^\n]+?) -->\n```\w*\n(.*?)^```$", page())
    assert len(found) == page().count("<!-- example:") == len(dict(found))
    return dict(found)


def example(name, newline=b"\r\n"):
    """The bytes of a file that is shown: ISO-8859-1, the page's line ends replaced."""
    return examples()[name].encode("latin-1").replace(b"\n", newline)


def mail(name):
    return example(name)


def ini_lines(name):
    """(section, key, value) of an INI example, by nothing but its lines."""
    rows, section = [], None
    for line in examples()[name].splitlines():
        if line.startswith("["):
            section = line.strip("[]")
        elif not line.startswith(";") and line:
            key, _, value = line.partition("=")
            rows.append((section, key, value))
    return rows


def list_bytes(name):
    """A word list from its hexadecimal lines."""
    return bytes.fromhex("".join(line.partition(";")[0] for line in examples()[name].splitlines()))


def turns(name):
    """A conversation as [(command or None, [lines of the reply])]."""
    result = [(None, [])]
    for line in examples()[name].splitlines():
        match = re.fullmatch(r"([CS]):(?: (.*))?", line)
        assert match, line
        text = (match[2] or "").encode("latin-1")
        if match[1] == "C":
            result.append((text, []))
        else:
            result[-1][1].append(text)
    return result


def in_order(text):
    """JSON with the order of its keys."""
    return json.loads(text, object_pairs_hook=lambda pairs: [list(pair) for pair in pairs])


@pytest.fixture
def home(program_directory):
    """A program directory with the INI files of the page."""
    one = program_directory()
    one.write("Quillbeaker.ini", example("configuration") + example("senders"))
    for name in ("spampoints.ini", "spampoints_user.ini"):
        one.write(name, example(name))
    return one


@pytest.fixture
def printed(home, tmp_path):
    """printed(words...) runs the program among the example mails: (exit code, its one line of output)."""
    for name in ("offer.eml", "lunch.eml"):
        (tmp_path / name).write_bytes(mail(name))

    def run(*arguments):
        done = run_cli(*arguments, "--directory", home.directory, cwd=tmp_path)
        assert done.stdout.count(b"\n") == 1 and done.stdout.endswith(b"\n")
        return done.returncode, done.stdout.decode("utf-8")

    return run


# -- the page ------------------------------------------------------------------------------------
def test_every_example_of_the_page_is_tried():
    with open(__file__, encoding="utf-8") as file:
        source = file.read()
    read_by_presenter_tests = ["windows.ini", "statistic.csv"]  # no console command knows them
    untried = [name for name in examples() if f'"{name}"' not in source and name not in read_by_presenter_tests]
    assert not untried and len(examples()) >= 25


# -- Quillbeaker.ini -----------------------------------------------------------------------------
# config_tests holds the same table against the program's own list of settings.
def test_configuration_example_and_table_have_every_key_at_its_default():
    table = [(section, key, default.replace("empty", "")) for section, key, default in
             re.findall(r"(?m)^\| `(\w+)` \| `(\w+)` \| [\w ]+ \| (\S+) \| .{20,} \|$", page())]
    assert len(table) > 40
    assert ini_lines("configuration") == [tuple(row) for row in table]


def test_configuration_example_changes_nothing(home, printed):
    for arguments in (["classify", "--json", "offer.eml"], ["classify", "--json", "lunch.eml"]):
        home.write("Quillbeaker.ini", example("configuration"))
        with_it = printed(*arguments)
        os.remove(home.path("Quillbeaker.ini"))
        assert printed(*arguments) == with_it


def test_configuration_by_hand_is_read_as_the_page_says(home, printed, client, tmp_path):
    port = free_port()
    text = example("configuration-by-hand")
    assert text.count(b"11110") == 1
    text = text.replace(b"11110", str(port).encode())
    home.write("Quillbeaker.ini", text)
    judged = json.loads(printed("classify", "--json", "offer.eml")[1])
    assert (judged["level"], judged["threshold"], judged["reason"]) == (25, 150, "spam words")
    (tmp_path / "offer.eml").write_bytes(mail("offer.eml").ljust(1999, b"."))
    assert json.loads(printed("classify", "--json", "offer.eml")[1])["reason"] == "spam words"
    (tmp_path / "offer.eml").write_bytes(mail("offer.eml").ljust(2000, b"."))
    assert json.loads(printed("classify", "--json", "offer.eml")[1])["reason"] == "too large"

    home.start(port, arguments=["run", "--directory", home.directory])
    client(home).quit()
    assert home.read("my log.txt").startswith(b"\r\nClient Log started at: ")
    # Keys of the program's went to the end of their section, a new section to that of the file; nothing else has
    # changed.
    at = text.index(b"\r\n[Server]")
    added = f"RecycleOldMessagesLast={TODAY}\r\nTrainingAreaDeleteOldMessagesLast={TODAY}\r\n"
    eventually(lambda: b"Mails=" in home.read("Quillbeaker.ini"))
    assert home.read("Quillbeaker.ini") == (
        text[:at] + added.encode() + text[at:] + b"[STATS]\r\nDays=\r\nMails=\r\n")


@pytest.mark.parametrize("arguments", ["senders list --json", "senders lookup --json Someone@SPAM.example",
                                       "senders lookup --json dora@example.org"])
def test_senders_are_listed_as_shown(printed, arguments):
    code, text = printed(*arguments.split())
    assert code == 0 and in_order(text) == in_order(examples()[arguments])
    assert " " not in re.sub(r'"[^"]*"', "", text)


@pytest.mark.parametrize("arguments", ["settings get --json LogFileClientMaxSize", "settings get --json Security"])
def test_settings_are_told_as_shown(printed, arguments):
    code, text = printed(*arguments.split())
    assert code == 0 and in_order(text) == in_order(examples()[arguments])


def test_statistic_is_read_and_written_as_shown(home, server, client):
    now = datetime.datetime.now(datetime.timezone.utc)
    lists = example("statistics")
    shown = [int(day) for day in re.search(rb"Days=([\d,]*),", lists)[1].split(b",")]
    for day in shown:
        lists = lists.replace(b"%d" % day, b"%d" % (day_number(now.date()) - shown[0] + day))
    home.write("Quillbeaker.ini", lists)
    date = email.utils.format_datetime(now).encode()
    spam = re.sub(rb"(?m)^Date: [^\r]*", b"Date: " + date, mail("offer.eml"))
    raw = client(home.start()).login(server(spam).port, "ann")
    assert raw.stat() == (0, 0)
    raw.quit()
    eventually(lambda: home.read("Quillbeaker.ini").startswith(lists.replace(b"Mails=3,", b"Mails=4,")))


def test_senders_example_is_what_adding_them_writes(program_directory):
    one = program_directory()
    for _, address, value in ini_lines("senders"):
        name, _, kind = value.rpartition(",")
        done = run_cli("senders", "add", address, name, "--friend" if kind == "2" else "--blocked", "--directory",
                       one.directory)
        assert done.returncode == 0
    # An argument is UTF-8 in a terminal, the file is ISO-8859-1.
    assert one.read("Quillbeaker.ini") == example("senders")


# -- word tables ---------------------------------------------------------------------------------
def score(name):
    """Percent of an example mail by the rule of the page, from the examples of both word files."""
    head, _, body = mail(name).decode("latin-1").lower().partition("\r\n\r\n")
    subject = re.search(r"(?m)^subject: (.*)\r$", head)[1]
    words = [row for file in ("spampoints.ini", "spampoints_user.ini") for row in ini_lines(file)]
    return sum(int(value) * ((word in subject) + (word in body)) for section, word, value in words
               if section == "PROBABILITIES")


def test_spam_words_and_thresholds_add_up(home, printed):
    assert score("offer.eml") == 250 and score("lunch.eml") == -60
    thresholds = {key: int(value) for file in ("spampoints.ini", "spampoints_user.ini")
                  for section, key, value in ini_lines(file) if section == "THRESHOLD"}
    for level in (25, 50, 75):
        home.write("Quillbeaker.ini", f"[QUILLBEAKER]\r\nAggressiveness={level}\r\n")
        for name in ("offer.eml", "lunch.eml"):
            result = json.loads(printed("classify", "--json", name)[1])
            assert result["probability"] == f"{score(name) / 100:.4f}"
            assert result["threshold"] == thresholds[f"level{level}"]
            assert result["spam"] == (score(name) >= result["threshold"])


def test_points_are_converted_as_shown(home):
    home.write("spampoints_user.ini", example("points"))
    home.start().stop()
    assert home.read("spampoints_user.ini") == example("points-converted")
    assert home.setting("ConvertedSpamPoints096") == "1"
    assert os.path.getsize(home.path("spampoints_user.ini.lock")) == 0
    assert "converted" in home.output()


def records(data):
    """(number of messages, {word: count}) of a word list."""
    number = int.from_bytes(data[4:8], "little")
    messages = int.from_bytes(data[8:12], "little")
    counts, at = {}, 16
    for _ in range(number):
        end = at + 1 + data[at]
        counts[data[at + 1:end].decode()] = int.from_bytes(data[end:end + 4], "little")
        at = end + 4
    assert at == len(data)
    return messages, counts


def test_word_lists_are_read_byte_by_byte(home, printed):
    bad, good = list_bytes("bad.Quillbeaker.wordlist"), list_bytes("good.Quillbeaker.wordlist")
    assert records(bad) == (20, {"pills": 8, "cheap": 12}) and records(good) == (30, {"noon": 9, "lunch": 6})
    home.write("training/bad.Quillbeaker.wordlist", bad)
    home.write("training/good.Quillbeaker.wordlist", good)
    code, text = printed("classify", "--json", "offer.eml")
    assert code == 0 and in_order(text) == in_order(examples()["classify --json offer.eml, learnt"])

    code, why = printed("explain", "--json", "offer.eml")
    assert code == 0 and in_order(why) == in_order(examples()["explain --json offer.eml, learnt"])

    # The same number from the records: each word's share of spam, 0.4 where fewer than six sightings are known.
    tokens = json.loads(printed("inspect", "offer.eml")[1])["tokens"]
    spam = ham = 1.0
    for word in tokens:
        b, g = records(bad)[1].get(word, 0), 2 * records(good)[1].get(word, 0)
        share = min(1, b / 20) / (min(1, g / 30) + min(1, b / 20)) if g + b else 0
        chance = 0.4 if g + b < 6 else max(0.01, min(0.99, share))
        spam, ham = spam * chance, ham * (1 - chance)
    assert json.loads(text)["probability"] == f"{spam / (spam + ham):.4f}"

    # A record more in the header is one that is not there; one fewer hides the last word.
    home.write("training/bad.Quillbeaker.wordlist", bad[:4] + b"\x01" + bad[5:])
    assert json.loads(printed("classify", "--json", "offer.eml")[1])["probability"] != json.loads(text)["probability"]
    home.write("training/bad.Quillbeaker.wordlist", bad[:4] + b"\xff" + bad[5:])
    assert printed("classify", "--json", "offer.eml")[1] == text


def test_half_saved_word_lists_are_finished_as_shown(home, printed):
    home.write("training/good.Quillbeaker.wordlist", list_bytes("good.Quillbeaker.wordlist"))
    home.write("training/wordlist.journal", list_bytes("wordlist.journal"))
    code, text = printed("classify", "--json", "offer.eml")
    assert code == 0 and in_order(text) == in_order(examples()["classify --json offer.eml, learnt"])
    assert home.read("training/bad.Quillbeaker.wordlist") == list_bytes("bad.Quillbeaker.wordlist")
    assert not os.path.exists(home.path("training/wordlist.journal"))


def test_a_torn_journal_of_word_lists_is_ignored(home, printed):
    home.write("training/good.Quillbeaker.wordlist", list_bytes("good.Quillbeaker.wordlist"))
    before = printed("classify", "--json", "offer.eml")
    home.write("training/wordlist.journal", list_bytes("wordlist.journal")[:-1])
    assert printed("classify", "--json", "offer.eml") == before
    assert not os.path.exists(home.path("training/bad.Quillbeaker.wordlist"))
    assert not os.path.exists(home.path("training/wordlist.journal"))


# -- how a server is reached ---------------------------------------------------------------------
@pytest.mark.parametrize("name, port, secured", [
    ("2001:db8::7", "1995", "plain"), ("pop.example.net", "110", "starttls"), ("pop.example.net", "1110", "plain"),
    ("pop.example.org", "1110", "tls"), ("elsewhere.example", "1110", "plain"),
])
def test_servers_are_reached_as_shown(home, server, client, name, port, secured):
    """The example with the server's name and port in the place of those that the page shows."""
    upstream = server()
    text = example("security").replace(f"{name}:{port}=".encode(), f"127.0.0.1:{upstream.port}=".encode())
    text = text.replace(f"{name}=".encode(), b"127.0.0.1=")
    home.write("Quillbeaker.ini", b"[QUILLBEAKER]\r\nAutoAbortOnTimeout=1\r\n" + text)
    raw = client(home.start())
    raw.user(upstream.port)
    raw.ask("PASS secret")
    assert upstream.wait_until(lambda: upstream.raw() != b"")  # the login may be over before the server has read
    heard = upstream.raw()
    assert {"plain": heard.startswith(b"USER jane\r\n"), "starttls": heard == b"STLS\r\n",
            "tls": heard.startswith(b"\x16\x03")}[secured], heard


def test_certificate_is_trusted_as_shown(home, server, client, authority):
    certificate = authority.self_signed("DNS:nobody.example")
    upstream = server(tls=certificate.server_context())
    pin = example("certificates").replace(b"pop.example.org:995", f"127.0.0.1:{upstream.port}".encode()).replace(
        b"FINGERPRINT", certificate.fingerprint().encode())
    for trusted in (pin, b""):
        home.write("Quillbeaker.ini", b"[SERVER]\r\nSecurity=tls\r\n" + trusted)
        if home.process is None:
            home.start()
        raw = client(home)
        raw.user(upstream.port)
        answer = raw.ask("PASS secret")
        assert answer.startswith(b"+OK" if trusted else b"-ERR"), answer
        raw.close()


def test_reasons_are_those_of_the_source():
    """Each marker of the page, in the order of the source; test_tls.py makes each of them happen."""
    with open(os.path.join(REPOSITORY, "src/pop3/login_problem.cpp"), encoding="utf-8") as file:
        known = re.findall(r'\{LoginFailure::k\w+, Text::k\w+, "([^"]+)"\}', file.read())
    shown = re.findall(r"(?m)^ {9}S: \(login to \S+ failed: ([^:)]+)", examples()["login-problems"])
    assert shown == known and len(known) == 13


# -- stores --------------------------------------------------------------------------------------
def test_unique_ids_are_known_and_written_as_shown(home, server, client):
    text = example("uniqueid.xml", b"\n")
    ids = re.findall(rb'uid="(\w+)" date="(\d+)"', text)
    oldest = day_number() - min(int(date) for _, date in ids)
    home.write("Quillbeaker.ini", f"[QUILLBEAKER]\r\nRecycleBinMaxDays={oldest}\r\n")
    home.write("uniqueid.xml", text)
    upstream = server()
    upstream.put(mail("offer.eml"), ids[0][0])
    raw = client(home.start()).login(upstream.port)
    assert raw.stat()[0] == 1 and upstream.count("RETR") == 0
    seen_again = text.replace(ids[0][1], TODAY.encode())
    assert home.read("uniqueid.xml") == seen_again
    raw.quit()
    assert home.known_ids() == [(ids[0][0].decode(), TODAY), (ids[1][0].decode(), ids[1][1].decode()),
                                (ids[0][0].decode(), TODAY)]


def test_recycle_bin_is_listed_as_shown(home, printed):
    home.write("recycle/recyclebin.xml", example("recyclebin.xml", b"\n"))
    code, text = printed("bin", "list", "--json")
    assert code == 0 and in_order(text) == in_order(examples()["bin list --json"])
    (entry,) = home.bin_entries()
    assert entry["size"] == str(len(example("kept-offer")) - 2)  # the page's last line has an end, the file's none


def test_unconfirmed_mail_has_the_columns_of_the_table():
    """tests/stores/unconfirmed_mail_test.cpp reads this very example and writes it."""
    section = page()[page().index("\n## Unconfirmed mail\n"):page().index("\n## The training area\n")]
    columns = sum((re.findall(r"`(\w+)`", names) for names in re.findall(r"(?m)^\| (`\w+`.*?) \|", section)), [])
    rows = [re.findall(r' (\w+)="', line) for line in examples()["unconfirmed.xml"].splitlines() if "<mail" in line]
    assert len(rows) == 3 and rows[0] == columns
    assert all(row == [name for name in columns if name in row] for row in rows)


def test_a_crash_report_names_code_alone():
    """tests/extras/crash_report_test.cpp writes this very example."""
    first, *lines = examples()["crash.txt"].splitlines()
    assert re.fullmatch(r"--- Quillbeaker \S+, \d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC", first)
    assert [line.split(":")[0] for line in lines[:3]] == ["thread", "code", "frames"]
    assert all(re.fullmatch(r"  (\S+\+)?0x[0-9A-F]+", line) for line in lines[3:])


def test_training_area_is_listed_as_shown(home, printed):
    home.write("training/training.xml", example("training.xml", b"\n"))
    code, text = printed("training", "list", "--json")
    assert code == 0 and in_order(text) == in_order(examples()["training list --json"])
    assert home.read("training/training.xml") == example("training.xml", b"\n")


def test_restored_example_is_delivered_and_leaves(home, server, client):
    home.write("recycle/recyclebin.xml", example("recyclebin.xml", b"\n").replace(b"2452675", TODAY.encode()))
    (entry,) = home.bin_entries()
    home.write(f"recycle/{entry['name']}", example("kept-offer")[:-2])
    assert run_cli("bin", "restore", entry["name"], "--directory", home.directory).returncode == 0
    assert list(home.bin_entries()[0])[-1] == "restored" and home.bin_entries()[0]["restored"] == "1"
    assert run_cli("bin", "unrestore", entry["name"], "--directory", home.directory).returncode == 0
    assert home.bin_entries()[0]["restored"] == "0"
    assert run_cli("bin", "restore", entry["name"], "--directory", home.directory).returncode == 0
    home.write("recycle/recyclebin.xml", home.read("recycle/recyclebin.xml").replace(
        SERVER_NAME.encode(), b"127.0.0.1"))
    raw = client(home.start()).login(server().port, "ann")
    assert raw.stat() == (1, int(entry["size"]))
    assert raw.retr(1)[1] == example("kept-offer")
    assert b"         C: (message completely restored from recycle bin)\r\n" in home.server_log()
    raw.quit()
    assert home.bin_entries() == [] and home.bin_files() == []


# -- the session of the page ---------------------------------------------------------------------
def play_server(upstream, name):
    """Lets the scripted server say what the page says, command by command."""
    for command, lines in reversed(turns(name)):
        pattern = GREETING if command is None else re.escape(command.decode("latin-1"))
        upstream.when(pattern, reply(b"".join(line + b"\r\n" for line in lines)), times=1)


def play_client(raw, name, port):
    """Says the client's part; every byte that the page promises must come, and none besides."""
    for command, lines in turns(name):
        if command is not None:
            raw.send(command.replace(f"{SERVER_NAME}&ann&110".encode(), f"127.0.0.1&ann&{port}".encode()) + b"\r\n")
        if not lines:
            raw.nothing(0.5)
        for line in lines:
            assert raw.line() == line, command


@pytest.fixture
def session(home, server, client):
    """The session of the page, over: (program directory, scripted server)."""
    upstream = server()
    play_server(upstream, "server-conversation")
    raw = client(home.start(), greeting=False)
    play_client(raw, "client-conversation", upstream.port)
    raw.ended()
    upstream.wait_for_end()
    home.wait_for_output(r"deleted\.\n")
    return home, upstream


def test_server_hears_what_the_page_says(session):
    assert [c.encode("latin-1") for c in session[1].commands()] == [c for c, _ in turns("server-conversation") if c]


def test_conversations_of_the_page_carry_its_mails():
    replies = dict(turns("server-conversation"))
    for command, name in ((b"RETR 1", "lunch.eml"), (b"RETR 2", "offer.eml")):
        status, *lines, dot = replies[command]
        text = b"".join(line + b"\r\n" for line in lines)
        assert dot == b"." and text.replace(b"\r\n..", b"\r\n.") == mail(name)
        assert int(status.split()[1]) == len(mail(name))
    assert on_the_wire(mail("offer.eml")) == example("kept-offer")


def test_program_directory_looks_as_shown(session):
    home = session[0]
    found = []
    for folder, folders, files in os.walk(home.directory):
        relative = os.path.relpath(folder, home.directory)
        found += [os.path.normpath(os.path.join(relative, name)) + "/" for name in folders]
        found += [os.path.normpath(os.path.join(relative, name)) for name in files]
    name = re.compile(r"\d{7}_\d{6}_[0-9a-f]+\.recycle$")
    assert sorted(name.sub("NAME", path) for path in found) == [
        name.sub("NAME", path) for path in examples()["program-directory"].splitlines()]
    for path in found:
        if path.endswith(".lock"):
            assert os.path.getsize(home.path(path)) == 0
    configuration = example("configuration") + example("senders")
    for key in (b"RecycleOldMessagesLast", b"TrainingAreaDeleteOldMessagesLast"):
        configuration = configuration.replace(key + b"=0", key + b"=" + TODAY.encode())
    assert home.read("Quillbeaker.ini") == configuration


def test_spam_of_the_session_is_filed_as_shown(session):
    home = session[0]
    (name,) = home.bin_files()
    shown = re.search(rb'name="(.*?)"', example("recyclebin.xml"))[1]
    assert name.startswith(TODAY + "_")
    assert home.read("recycle/recyclebin.xml") == example("recyclebin.xml", b"\n").replace(
        shown, name.encode()).replace(SERVER_NAME.encode(), b"127.0.0.1")
    assert home.read(f"recycle/{name}") + b"\r\n" == example("kept-offer")


def test_mail_of_the_session_is_kept_for_training_as_shown(session):
    home = session[0]
    shown = re.search(rb'filename="(.*?)"', example("training.xml"))[1].decode()
    assert home.read(f"training/{shown}") + b"\r\n" == example("training-text")
    assert int(shown.partition(".")[0], 16) == binascii.crc32(home.read(f"training/{shown}"))
    (entry,) = [line for line in example("training.xml", b"\n").splitlines() if b"<message" in line]
    assert entry.replace(b' mark="1"', b"") in home.read("training/training.xml").splitlines()
    # The friend's mail was learnt, and is not there.
    kept = [home.read(f"training/{name}") for name in os.listdir(home.path("training")) if name.endswith(".eml")]
    assert len(kept) == 2 and not any(b"noon" in text for text in kept)
    assert records(home.read("training/good.Quillbeaker.wordlist")) == (1, {"noon": 1, "friday": 1})
    assert records(home.read("training/bad.Quillbeaker.wordlist")) == (0, {})


def test_marks_of_the_training_area_outlive_a_mail_check(home, server, client):
    shown = example("training.xml", b"\n")
    home.write("training/training.xml", shown)
    home.write("Quillbeaker.ini", f"[QUILLBEAKER]\r\nTrainingAreaDeleteOldMessagesLast={TODAY}\r\n")
    raw = client(home.start()).login(server(mail("lunch.eml")).port)
    assert raw.stat()[0] == 1
    raw.quit()
    before, end = shown[:-len(b"</training>\n")], b"</training>\n"
    written = home.read("training/training.xml")
    assert written.startswith(before) and written.endswith(end) and written.count(b"<message ") == 2


def test_another_index_is_kept_aside(home, client):
    for old in (b"<other/>", b"no XML", b"<!DOCTYPE training><training/>"):
        home.write("training/training.xml", old)
        home.write("Quillbeaker.ini", "")
        client(home.start()).quit()
        assert home.read("training/training.xml.bad") == old
        assert home.read("training/training.xml").endswith(b"<training/>\n")
        home.stop()


def timeless(log):
    log = re.sub(rb"(?m)^\d\d:\d\d:\d\d (?=[CS]: )", b"hh:mm:ss ", log)
    log = re.sub(rb"started at: \d\d\.\d\d\.\d{4} - \d\d:\d\d:\d\d\r", b"started at: DATE\r", log)
    return re.sub(rb"USER (127\.0\.0\.1|pop\.example\.org)&ann&\d+", b"USER ACCOUNT", log)


@pytest.mark.parametrize("name", ["client.log", "server.log"])
def test_logs_of_the_session_look_as_shown(session, name):
    home = session[0]
    assert timeless(eventually(lambda: home.read(name), what=name)) == timeless(example(name))


def test_output_of_the_session_looks_as_shown(session):
    home = session[0]
    told = home.output().replace("127.0.0.1: 3", f"{SERVER_NAME}: 3").replace(f":{home.port}.", ":11110.")
    assert re.sub(r"(?m)^\d\d:\d\d:\d\d ", "hh:mm:ss ", told) == re.sub(
        r"(?m)^\d\d:\d\d:\d\d ", "hh:mm:ss ", examples()["run-output"])


# -- more of POP3 --------------------------------------------------------------------------------
def test_user_names_are_split_as_shown(home, server, client):
    upstream = server()
    home.start()
    for index, line in enumerate(examples()["user-names"].splitlines(), 1):
        name, user = re.fullmatch(r"(\S+) +user (\S+)", line).groups()
        assert name.startswith(SERVER_NAME + "&") and name.endswith("&110")
        raw = client(home)
        assert raw.ask("USER 127.0.0.1" + name[len(SERVER_NAME):-3] + str(upstream.port)) == b"+OK Username accepted"
        assert raw.ask("PASS secret") == b"+OK Password accepted"
        raw.quit()
        assert upstream.commands(index)[0] == f"USER {user}"
    for name in examples()["user-names-refused"].splitlines():
        raw = client(home)
        assert raw.ask(f"USER {name}") == b"-ERR Username isn't correct"
        raw.ended()


def test_made_up_ids_look_as_shown(home, server, client):
    upstream = server(mail("lunch.eml"))
    upstream.has_uidl = False
    raw = client(home.start()).login(upstream.port)
    raw.stat()
    ((command, shown),) = [turn for turn in turns("made-up-ids") if turn[0]]
    raw.send(command + b"\r\n")
    lines = [raw.line() for _ in shown]
    crc = b"%x" % binascii.crc32(raw.retr(1)[1][:-2])
    form = re.compile(rb"1 Quillbeaker([0-9a-f]+)")
    assert lines[0] == shown[0] and lines[2] == shown[2] == b"."
    assert form.fullmatch(lines[1])[1].startswith(crc) and form.fullmatch(shown[1])[1].startswith(crc)
    assert raw.uidl()[0][1] not in lines[1]


# -- JSON ----------------------------------------------------------------------------------------
@pytest.mark.parametrize("arguments, code", [
    ("inspect offer.eml", 0), ("inspect missing.eml", 1), ("classify --json offer.eml", 0),
    ("classify --json lunch.eml", 0)])
def test_json_of_mails_is_as_shown(printed, arguments, code):
    exit_code, text = printed(*arguments.split())
    assert exit_code == code and in_order(text) == in_order(examples()[arguments])


def test_json_of_learning_is_as_shown(printed):
    code, text = printed("learn", "--yes", "--json", "--good", "lunch.eml", "--spam", "offer.eml")
    assert code == 0 and in_order(text) == in_order(examples()["learn --json"])


def test_the_last_lesson_is_kept_and_undone_as_shown(home, printed):
    printed("learn", "--yes", "--json", "--good", "lunch.eml", "--spam", "offer.eml")
    assert home.read("training/last-lesson") == list_bytes("last-lesson")
    code, text = printed("learn", "--undo", "--yes", "--json")
    assert code == 0 and in_order(text) == in_order(examples()["learn --undo --json"])


def test_reasons_are_those_of_the_page(home, printed):
    """Every reason that the page names is given for some setting."""
    row = re.search(r"(?m)^\| `reason` \| (.*) \|$", page())[1]
    given = set()
    for settings, name in itertools.product(
            ("Enable=0", "Aggressiveness=0", "FilterMaxMessageSize=10", ""), ("offer.eml", "lunch.eml")):
        home.write("Quillbeaker.ini", b"[QUILLBEAKER]\r\n" + settings.encode() + b"\r\n" + example("senders"))
        given.add(json.loads(printed("classify", "--json", name)[1])["reason"])
    home.write("training/bad.Quillbeaker.wordlist", list_bytes("bad.Quillbeaker.wordlist"))
    home.write("training/good.Quillbeaker.wordlist", list_bytes("good.Quillbeaker.wordlist"))
    given.add(json.loads(printed("classify", "--json", "offer.eml")[1])["reason"])
    assert given == set(re.findall(r"`([a-z ]+)`", row))
