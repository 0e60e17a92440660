# SPDX-License-Identifier: MIT
"""quillbeaker-cli as a command: arguments, exit codes, and the JSON of inspect and classify."""

import binascii
import json
import os
import re
import subprocess
import time

import pytest

from messages import SPAM_WORD, ham, message, parsed_size, refolded, samples, spam
from program import day_number, executable, run_cli, sanitized
from scripted_server import dot_stuffed

DELIMITERS = set(b" \t\n\r\f@\"`!<>()[]{}-_=/\\.,;:&|?*#%+^~")


def lines(done):
    return done.stdout.decode("utf-8").splitlines()


def objects(done):
    return [json.loads(line) for line in lines(done)]


@pytest.fixture
def write(tmp_path):
    """write(name, bytes) -> path of a message file."""

    def make(name, data):
        path = tmp_path / name
        path.write_bytes(data)
        return str(path)

    return make


@pytest.fixture
def home(program_directory):
    """home(settings, ...) -> a program directory with files, no proxy running."""

    def make(settings=None, senders=None, words=None, thresholds=None):
        one = program_directory()
        one.configure(settings, senders=senders)
        one.spam_words({SPAM_WORD: 120} if words is None else words, thresholds)
        return one

    return make


@pytest.fixture
def inspect(home, write):
    """inspect(bytes, *options) -> the object that is printed for this message."""

    def run(data, *options):
        done = run_cli("inspect", "--directory", home().directory, *options, write("m", data))
        assert done.returncode == 0, done.stderr
        (result,) = objects(done)
        return result

    return run


# -- usage --------------------------------------------------------------------------------------
def test_help_names_every_command():
    done = run_cli("--help")
    assert done.returncode == 0
    for name in ("run", "inspect", "serialise", "classify", "senders", "bin"):
        assert re.search(rf"(?m)^\s+{name}\b", done.stdout.decode()), name


@pytest.mark.parametrize("command", ["run", "inspect", "serialise", "classify", "senders", "bin"])
def test_every_command_has_help(command):
    done = run_cli(command, "--help")
    assert done.returncode == 0
    assert len(done.stdout) > 80


@pytest.mark.parametrize("arguments", [
    [], ["nonsense"], ["--nonsense"], ["run", "--nonsense"], ["run", "extra"], ["inspect"], ["serialise"], ["classify"],
    ["serialise", "one", "two"], ["run", "--port"], ["senders"], ["senders", "nonsense"], ["bin"], ["bin", "nonsense"],
    ["senders", "lookup"], ["senders", "remove"], ["bin", "view"], ["bin", "restore"], ["inspect", "--directory"],
])
def test_wrong_usage_is_two(arguments, tmp_path):
    done = run_cli(*arguments, cwd=tmp_path, timeout=20)
    assert done.returncode == 2
    assert done.stderr or done.stdout


@pytest.mark.parametrize("arguments, named", [
    (["nonsense"], b'"nonsense"'), (["senders", "export", "x.csv"], b'"export"'), (["--nonsense"], b'"--nonsense"'),
    (["--directory", "x", "bin", "list"], b'"--directory"'), (["run", "extra"], b'"extra"')])
def test_what_is_not_known_is_named(arguments, named):
    done = run_cli(*arguments)
    assert done.returncode == 2 and done.stdout == b""
    assert named in done.stderr.splitlines()[0] and b"subcommand is required" not in done.stderr


def test_version():
    done = run_cli("--version")
    assert done.returncode == 0 and done.stderr == b""
    assert re.fullmatch(rb"Quillbeaker \d+\.\d+\.\d+\n", done.stdout)


@pytest.mark.parametrize("directory", [["--directory", ""], ["--directory="]])
@pytest.mark.parametrize("command", [["senders", "list"], ["bin", "list"], ["run"], ["inspect", "m"]])
def test_directory_without_a_name_is_wrong_usage(command, directory):
    done = run_cli(*command, *directory, timeout=20)
    assert done.returncode == 2
    assert done.stdout == b"" and b"--directory" in done.stderr


@pytest.mark.parametrize("command", ["inspect", "serialise", "classify"])
def test_missing_file_is_one(command, home):
    done = run_cli(command, *(["--directory", home().directory] if command != "serialise" else []), "/nonexistent/file")
    assert done.returncode == 1


@pytest.mark.parametrize("command", ["serialise", "classify"])
def test_why_a_file_can_not_be_read_is_said(command, home, tmp_path):
    os.mkdir(tmp_path / "folder.eml")
    directory = ["--directory", home().directory] if command != "serialise" else []
    for path, why in (("/nonexistent/file", "No such file or directory"), (tmp_path / "folder.eml", "Is a directory")):
        done = run_cli(command, *directory, path)
        assert f"{path}: The file can not be read. {why}\n" in (done.stdout + done.stderr).decode()


# -- inspect ------------------------------------------------------------------------------------
def test_inspect_prints_one_object_per_file_and_line(home, write):
    paths = [write(str(n), ham(n)) for n in range(5)]
    done = run_cli("inspect", "--directory", home().directory, *paths)
    assert done.returncode == 0
    assert [one["file"] for one in objects(done)] == paths
    assert [one["subject_decoded"] for one in objects(done)] == [f"ham {n}" for n in range(5)]


def test_inspect_of_an_unreadable_file_names_it_and_goes_on(home, write):
    good = write("good", ham(1))
    done = run_cli("inspect", "--directory", home().directory, "/nonexistent/file", good)
    assert done.returncode == 1
    bad, fine = objects(done)
    assert set(bad) == {"file", "error"} and bad["file"] == "/nonexistent/file" and bad["error"]
    assert fine["file"] == good


def test_inspect_has_these_fields(inspect):
    assert set(inspect(ham(1))) == {
        "file", "size", "fields", "date", "day_number", "sender", "subject_decoded", "text", "text_stripped", "tokens",
        "crc", "serialised_size", "serialised_crc"}


def test_inspect_shows_fields_as_lookups_see_them(inspect):
    data = (b"To: a\r\nfrom: b@x (B)\r\nCONTENT-TYPE: text/plain\r\nbcc: c\r\nCc: d\r\nsubject:   Hello  \r\n"
            b"Date: x\r\nReceived: y\r\nno colon\r\nX-Folded: A\r\n\tB\r\n  C\r\nX-Long:" + b"v" * 2000 + b"\r\n"
            + b"N" * 300 + b": n\r\nX-\xe4: \xff\r\nEmpty:\r\n\r\nbody\r\n")
    result = inspect(data)
    assert result["size"] == len(data)
    assert [(f["name"], f["value"], f["kind"]) for f in result["fields"]] == [
        ("To", "a", 2), ("from", "b@x (B)", 4), ("CONTENT-TYPE", "text/plain", 8), ("bcc", "c", 16), ("Cc", "d", 32),
        ("subject", "Hello", 64), ("Date", "x", 128), ("Received", "y", 1), ("X-Folded", "A B  C", 1),
        ("X-Long", "v" * 1023, 1), ("N" * 254, "n", 1), ("X-\xe4", "\xff", 1), ("Empty", "", 1)]


@pytest.mark.parametrize("text, date, number", [
    ("Tue, 4 Feb 03 23:30:00 -0200", (2003, 2, 2, 5, 1, 30, 0), 2452676),
    ("4 Feb 2003 00:10 +0030", (2003, 2, 0, 3, 23, 10, 0), 2452674),
    ("Wed, 31 Dec 2003 23:30:00 -0100", (2004, 1, 3, 1, 0, 30, 0), 2453006),
    ("Mon, 3 Mar 2003 10:10:00 +0530", (2003, 3, 1, 3, 4, 10, 0), None),
    ("1 Jan 99 9:05:00", (2099, 1, 0, 1, 9, 5, 0), None),
    ("Sat, 29 Feb 2024 12:34:56 GMT", (2024, 2, 6, 29, 12, 34, 56), 2460370),
    ("1 Jan 2000 12:00:00 EST", (2000, 1, 0, 1, 17, 0, 0), 2451545),
    ("1 Jan 70000 00:00:00", (4464, 1, 0, 1, 0, 0, 0), None),
    ("1 Jan -5 00:00:00", (1995, 1, 0, 1, 0, 0, 0), None),
])
def test_inspect_reads_dates(inspect, text, date, number):
    result = inspect(f"Date: {text}\r\n\r\n".encode())
    keys = ("year", "month", "day_of_week", "day", "hour", "minute", "second")
    assert set(result["date"]) == set(keys)
    # The day of the week is what the text names; whether a moved date takes it along is not said.
    compared = [i for i, key in enumerate(keys) if key != "day_of_week" or text.endswith("GMT") or "," not in text]
    assert [result["date"][keys[i]] for i in compared] == [date[i] for i in compared]
    if number is not None:
        assert result["day_number"] == number


def test_inspect_without_date_sender_and_subject(inspect):
    result = inspect(b"X: y\r\n\r\nbody\r\n")
    assert result["date"] is None and result["day_number"] == 25657560
    assert result["sender"] is None and result["subject_decoded"] is None


@pytest.mark.parametrize("value, name, address", [
    ("Bob Smith <bob@example.org>", "Bob Smith", "bob@example.org"),
    ("bob@example.org (Bob Smith)", "Bob Smith", "bob@example.org"),
    ('"Bob" <bob@example.org>', "Bob", "bob@example.org"),
    ("bob@example.org", "bob@example.org", "bob@example.org"),
    ("<bob@example.org>", "bob@example.org", "bob@example.org"),
    ("A <first@example.org> <last@example.org>", "A", "last@example.org"),
    ("=?utf-8?Q?B=6Fb_S?= <bob@example.org>", "Bob S", "bob@example.org"),
    ("", "", ""),
])
def test_inspect_splits_the_sender(inspect, value, name, address):
    assert inspect(f"From: {value}\r\n\r\n".encode())["sender"] == {"name": name, "address": address}


@pytest.mark.parametrize("raw, decoded", [
    ("Re: =?ISO-8859-1?Q?Gr=FC=DFe?= =?ISO-8859-1?Q?_und?= x", "Re: Gr\xfc\xdfe"), ("=?x?B?SGVsbG8=?=", "Hello"),
    ("plain", "plain"), ("", ""), ("=?x?Z?abc?=", "=?x?Z?abc?="), ("=?x?Q?open", "open"),
])
def test_inspect_decodes_the_subject(inspect, raw, decoded):
    assert inspect(f"Subject: {raw}\r\n\r\n".encode())["subject_decoded"] == decoded


@pytest.mark.parametrize("fields, body, text, stripped", [
    ("", "hello\r\n", "\r\nhello\r\n", None),
    ("Content-Type: image/gif\r\n", "GIF89a", "", None),
    ("Content-Transfer-Encoding: base64\r\n", "SGVsbG8=QUJD", "Hello", None),
    ("Content-Transfer-Encoding: BASE64\r\n", "SGVs bG8", "Hello", None),
    ("Content-Transfer-Encoding: quoted-printable\r\n", "a=3Db=\r\nc", "\r\na=bc", None),
    ("Content-Transfer-Encoding: quoted-printable\r\n", "a_b =FC", "\r\na b \xfc", None),
    ("Content-Transfer-Encoding: x-quoted-printable\r\n", "a=3Db", "\r\na=3Db", None),
    ("Content-Type: text/html\r\n", "<p>Hi<BR>there&nbsp;you</p>", "\r\n<p>Hi<BR>there&nbsp;you</p>",
     "\r\nHi\r\nthere you"),
    ("Content-Type: text/html\r\n", "a<br/>b a < b &NBSP;x", "\r\na<br/>b a < b &NBSP;x", "\r\nab a < b  x"),
    ("Content-Type: text/plain\r\n", "<b>x</b>", "\r\n<b>x</b>", None),
])
def test_inspect_decodes_the_text(inspect, fields, body, text, stripped):
    result = inspect(f"Subject: s\r\n{fields}\r\n{body}".encode("latin-1"))
    assert result["text"] == text
    assert result["text_stripped"] == (text if stripped is None else stripped)
    assert re.fullmatch(r"[0-9a-f]{1,8}", result["crc"])
    assert int(result["crc"], 16) == binascii.crc32(result["text_stripped"].encode("latin-1"))


def test_inspect_joins_the_text_of_the_parts(inspect):
    result = inspect(b"Content-Type: multipart/alternative; boundary=\"XY\"\r\n\r\npreamble\r\n--XY\r\n"
                     b"Content-Type: text/plain\r\n\r\nplain\r\n--XY\r\n"
                     b"Content-Type: text/html\r\n\r\n<b>marked</b>\r\n--XY--\r\nepilogue\r\n")
    assert result["text"] == "\r\nplain\r\n<b>marked</b>"
    assert result["text_stripped"] == "\r\nplain\r\nmarked"
    assert [f["name"] for f in result["fields"]] == ["Content-Type"]


def tokens(*texts):
    """The counts of the tokens of these texts, each shorter than the limit of 500 bytes."""
    counts = {}
    for text in texts:
        word = b""
        for byte in text.encode("latin-1"):
            if byte not in DELIMITERS:
                word += bytes([byte])
                continue
            if 3 <= len(word) <= 20 and not word.isdigit():
                key = word.lower().decode("latin-1")
                counts[key] = counts.get(key, 0) + 1
            word = b""
    return counts


@pytest.mark.parametrize("body, expected", [
    ("abc123 12345 ab abcdefghijklmnopqrstu end ", {"abc123": 1, "end": 1}),
    ("cheap pills", {"cheap": 1}),
    ("Cheap CHEAP cheap, it's $100 $abc \xc4pfel ", {"cheap": 3, "it's": 1, "$100": 1, "$abc": 1, "\xc4pfel": 1}),
    ("a" * 20 + " " + "b" * 21 + " ", {"a" * 20: 1}),
    ("x" * 510 + " ", {"x" * 9: 1}), ("x" * 600 + " ", {}),
    ("one\vtwo three-four\r\n", {"one\vtwo": 1, "three": 1, "four": 1}),
], ids=lambda value: value[:20] if isinstance(value, str) else "")
def test_inspect_counts_tokens(inspect, body, expected):
    assert inspect(f"X: y\r\n\r\n{body}".encode("latin-1"))["tokens"] == expected


def test_inspect_counts_the_subject_but_for_its_last_word(inspect):
    assert inspect(b"Subject: Great OFFER now\r\n\r\nnow there, now \r\n")["tokens"] == {
        "great": 1, "offer": 1, "now": 2, "there": 1}


@pytest.mark.parametrize("name", list(samples()))
def test_inspect_agrees_with_itself_on_every_kind_of_mail(inspect, name):
    data = samples()[name]
    result = inspect(data)
    assert result["size"] == len(data)
    subject = [f["value"] for f in result["fields"] if f["kind"] == 64]
    if len(result["text_stripped"]) < 400:
        assert result["tokens"] == tokens(result["text_stripped"], *subject[:1])
    assert int(result["crc"], 16) == binascii.crc32(result["text_stripped"].encode("latin-1"))


def test_inspect_of_many_different_words_takes_no_longer_per_word(home, write):
    words = [b"word%d" % n for n in range(80000)]
    path = write("many", b"X: y\r\n\r\n" + b" ".join(words) + b" \r\n")
    start = time.monotonic()
    done = run_cli("inspect", "--directory", home().directory, path)
    taken = time.monotonic() - start
    (result,) = objects(done)
    assert result["tokens"] == {word.decode(): 1 for word in words}
    assert taken < (10 if sanitized() else 2)  # a search among all words for each would take half a minute


@pytest.mark.parametrize("name", ["[1,2]", "[x]", "[]", "[[a,b]]", "%%", "a,b"])
def test_file_is_read_by_the_name_as_given(write, tmp_path, name):
    write(name, ham(1))
    write("1", ham(2))
    done = run_cli("inspect", name, "1", cwd=tmp_path)
    assert done.returncode == 0
    assert [(o["file"], o["subject_decoded"]) for o in objects(done)] == [(name, "ham 1"), ("1", "ham 2")]
    assert run_cli("serialise", name, cwd=tmp_path).stdout == refolded(ham(1))


def test_names_that_are_no_utf8_stay_different(tmp_path):
    names = [b"a\xe4", b"a\xf6", "a\xe4".encode()]
    for name in names:
        with open(os.path.join(os.fsencode(tmp_path), name), "wb") as file:
            file.write(ham(1))
    for command in (["inspect"], ["classify", "--json"]):
        done = subprocess.run([executable(), *command, *names, b"gone\xe4"], cwd=tmp_path, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60, check=False)
        assert done.returncode == 1
        assert [o["file"] for o in objects(done)] == ["a\xe4", "a\xf6", "a\xe4", "gone\xe4"]


def test_file_without_end_cannot_be_read_and_the_others_are(write, tmp_path):
    huge = write("huge", b"")
    os.truncate(huge, 3 << 30)
    good = write("good", ham(1))
    done = run_cli("inspect", "/dev/zero", huge, good)
    assert done.returncode == 1
    endless, sparse, fine = objects(done)
    assert endless["error"] == sparse["error"] == "The file can not be read."
    assert fine["subject_decoded"] == "ham 1"


# -- serialise ----------------------------------------------------------------------------------
@pytest.mark.parametrize("name", [n for n in samples() if n not in
                                  ("alternative", "attachment", "nested first", "nested second", "digest")])
def test_serialise_folds_the_header_anew(write, inspect, name):
    data = samples()[name]
    done = run_cli("serialise", write("s", data))
    assert done.returncode == 0
    assert done.stdout == refolded(data)
    again = run_cli("serialise", write("t", done.stdout))
    assert again.stdout == done.stdout
    result = inspect(data)
    assert result["serialised_size"] == len(done.stdout)
    assert int(result["serialised_crc"], 16) == binascii.crc32(done.stdout)


@pytest.mark.parametrize("name", ["alternative", "attachment", "nested first", "nested second", "digest"])
def test_serialising_twice_does_not_grow(write, name):
    once = run_cli("serialise", write("s", samples()[name])).stdout
    assert len(once) > 300
    assert run_cli("serialise", write("t", once)).stdout == once


@pytest.mark.parametrize("command", ["inspect", "serialise", "classify", "explain"])
def test_a_file_that_needs_the_crlf_option_is_told(write, command):
    unix = write("w", ham(1).replace(b"\r\n", b"\n"))
    assert b"--crlf" in run_cli(command, unix).stderr
    assert run_cli(command, "--crlf", unix).stderr == b""
    assert run_cli(command, write("x", ham(1))).stderr == b""
    assert run_cli(command, write("y", b"")).stderr == b""


def test_many_such_files_are_told_of_once(write):
    unix = [write(name, ham(1).replace(b"\r\n", b"\n")) for name in "ab"]
    assert run_cli("classify", *unix).stderr.count(b"--crlf") == 1


def test_crlf_option_reads_files_with_bare_line_feeds(write, inspect):
    data = ham(1)
    unix = b"From ann@example.org Sat Jan  1 00:00:00 2000\n" + data.replace(b"\r\n", b"\n")
    assert run_cli("serialise", "--crlf", write("u", unix)).stdout == refolded(data)
    assert inspect(unix, "--crlf")["size"] == len(data)
    # Without the option the text has no line end that counts: it is one header line.
    assert len(inspect(unix)["fields"]) == 1 and inspect(unix)["size"] == len(unix)
    assert run_cli("serialise", "--crlf", write("v", b"A: b\r\nC: d\n\nx\r\n")).stdout == b"A: b\r\nC: d\r\n\r\nx\r\n"


# -- classify -----------------------------------------------------------------------------------
@pytest.fixture
def classify(home, write):
    """classify(bytes, ...) -> the JSON object and the line for a person."""

    def run(data, **options):
        one = home(**options)
        path = write("c", data)
        told = run_cli("classify", "--directory", one.directory, path)
        done = run_cli("classify", "--directory", one.directory, "--json", path)
        assert told.returncode == done.returncode == 0, done.stderr
        (result,), (line,) = objects(done), lines(told)
        assert set(result) == {"file", "spam", "classifier", "probability", "words", "sender_kind", "level",
                               "threshold", "reason"}
        assert result["file"] == path
        assert re.search(r"\bspam\b" if result["spam"] else r"\bgood\b", line), line
        if result["probability"] is not None:
            assert result["probability"] in line and re.fullmatch(r"-?\d+\.\d{4}", result["probability"])
        assert (result["words"] or "") in line and result["reason"]
        return result

    return run


def picked(result, *keys):
    return tuple(result[key] for key in keys)


KEYS = ("spam", "classifier", "probability", "words", "sender_kind", "level", "threshold")


def test_classify_by_words(classify):
    words = {"free": 60, "money": 50}
    assert picked(classify(message("x", body="free money\r\n"), words=words), *KEYS) == (
        True, True, "1.1000", "money, free", -1, 50, 100)
    assert picked(classify(message("x", body="free\r\n"), words=words), *KEYS) == (
        False, False, "0.6000", "free", -1, 50, 100)
    assert picked(classify(message("x", body="free\r\n"), words=words, thresholds={"level50": 60}), *KEYS) == (
        True, True, "0.6000", "free", -1, 50, 60)
    assert picked(classify(message("x", body="none\r\n"), words=words), *KEYS) == (
        False, False, "0.0000", "", -1, 50, 100)


def test_classify_by_sender(classify):
    for kind, spam_expected in ((1, True), (2, False)):
        result = classify(spam(1, sender="x <a@b.example>"), senders={"a@b.example": f"x,{kind}"})
        assert picked(result, "spam", "classifier", "probability", "sender_kind") == (spam_expected, None, None, kind)
        assert result["words"] in ("", None)
    for kind in (0, 7):
        result = classify(spam(1, sender="x <a@b.example>"), senders={"a@b.example": f"x,{kind}"})
        assert picked(result, "spam", "classifier", "sender_kind") == (True, True, kind)


def test_classify_by_level(classify):
    assert picked(classify(spam(1), settings={"Aggressiveness": 0}), "spam", "classifier", "probability", "level") == (
        False, None, None, 0)
    assert picked(classify(ham(1), settings={"Aggressiveness": 100}), "spam", "classifier", "probability", "level") == (
        True, None, None, 100)


def test_classify_with_the_filter_off(classify):
    blocked = {"senders": {"*": "x,1"}}
    for off in ({"Enable": 0}, {"FilterWordEnable": 0, "FilterLearningEnable": 0}):
        for level in (0, 50, 100):
            result = classify(spam(1), settings={**off, "Aggressiveness": level}, **blocked)
            assert picked(result, "spam", "classifier", "probability") == (False, None, None)


def test_classify_of_a_large_message(classify):
    large = spam(1, sender="x <a@b.example>")[:-2] + b"y" * 70000 + b"\r\n"
    blocked = {"senders": {"a@b.example": "x,1"}}
    assert picked(classify(large, **blocked), "spam", "classifier") == (False, None)
    assert classify(large, settings={"FilterMaxMessageSize": 0}, **blocked)["spam"] is True


def test_classify_tells_the_sender_of_a_large_message(classify):
    large = spam(1, sender="x <a@b.example>")[:-2] + b"y" * 70000 + b"\r\n"
    for kind in (1, 2):
        result = classify(large, senders={"a@b.example": f"x,{kind}"})
        assert picked(result, "spam", "reason", "sender_kind") == (False, "too large", kind)


def test_classify_prints_one_line_per_file_whatever_its_name(home, write):
    one = home()
    path = write("a\nspam  1.0000\tb\r\x1b[2K", ham(1))
    done = run_cli("classify", "--directory", one.directory, path, path + "gone")
    assert done.returncode == 1
    assert len(lines(done)) == 2
    assert not re.search(rb"[\x00-\x09\x0b-\x1f]", done.stdout)


def test_classify_says_why(classify):
    reasons = [
        classify(spam(1))["reason"],
        classify(spam(1), senders={"*": "x,1"})["reason"],
        classify(ham(1), settings={"Aggressiveness": 100})["reason"],
        classify(spam(1), settings={"Enable": 0})["reason"],
        classify(spam(1)[:-2] + b"y" * 70000 + b"\r\n")["reason"],
    ]
    assert len(set(reasons)) == 5, reasons


def word_list(messages, counts):
    data = b"".join(n.to_bytes(4, "little") for n in (1, len(counts), messages, 0))
    for word, count in counts.items():
        data += bytes([len(word)]) + word.encode("latin-1") + count.to_bytes(4, "little")
    return data


@pytest.fixture
def learnt(home, write):
    """learnt(bytes, bad=(messages, counts), good=..., **options) -> the object of classify."""

    def run(data, bad, good, **options):
        one = home(**options)
        one.write("training/bad.Quillbeaker.wordlist", word_list(*bad))
        one.write("training/good.Quillbeaker.wordlist", word_list(*good))
        before = one.read("training/bad.Quillbeaker.wordlist"), one.read("training/good.Quillbeaker.wordlist")
        done = run_cli("classify", "--directory", one.directory, "--json", write("l", data))
        assert done.returncode == 0
        assert (one.read("training/bad.Quillbeaker.wordlist"), one.read("training/good.Quillbeaker.wordlist")) == before
        return objects(done)[0]

    return run


def test_classify_by_learnt_words(learnt):
    data = b"X: y\r\n\r\n" + b" ".join(b"word%c" % c for c in b"abcdefghijklmno") + b" \r\n"
    counts = {f"word{c}": 6 for c in "abcdefghijklmno"}
    result = learnt(data, (10, counts), (10, {"other": 9}))
    assert picked(result, "spam", "classifier", "probability") == (True, True, "1.0000")
    assert result["words"].startswith("(LF:) ") and len(result["words"]) < 110
    assert set(re.findall(r"word.", result["words"])) <= set(counts)
    # 0.99 for one word of 6 in 10 spam messages and none in good ones; 5 occurrences say nothing.
    assert learnt(b"X: y\r\n\r\nworda \r\n", (10, {"worda": 6}), (10, {"other": 9}))["probability"] == "0.9900"
    one, off = b"X: y\r\n\r\nworda \r\n", {"settings": {"FilterWordEnable": 0}}
    assert picked(learnt(one, (10, {"worda": 5}), (10, {"other": 9}), **off), "spam", "probability") == (
        False, "0.4000")
    # Good occurrences count double: 1 + 2 * 2 = 5 says nothing either, 2 + 2 * 2 does.
    assert learnt(one, (10, {"worda": 1}), (10, {"worda": 2}), **off)["probability"] == "0.4000"
    assert learnt(one, (10, {"worda": 2}), (10, {"worda": 2}), **off)["probability"] == "0.3333"
    # One list without messages: 0.4 for the whole message.
    assert learnt(data, (10, counts), (0, {}), **off)["probability"] == "0.4000"


def test_classify_asks_no_spam_words_of_what_is_surely_good(learnt):
    counts = {f"word{c}": 9 for c in "abcdefghijklmno"}
    data = b"X: y\r\n\r\n" + b" ".join(w.encode() for w in counts) + b" zorkmoney \r\n"
    result = learnt(data, (10, {"other": 9}), (10, counts), words={SPAM_WORD: 500})
    assert picked(result, "spam", "classifier", "words") == (False, False, "")
    assert float(result["probability"]) <= 3e-7


def test_classify_agrees_with_the_mail_check(proxy, client, server, write):
    mail = [ham(1), spam(1), ham(2, sender="<x@blocked.example>"), spam(2, sender="<y@friends.example>")]
    upstream = server(*mail)
    one = proxy(senders={"*@blocked.example": "b,1", "*@friends.example": "f,2"})
    paths = [write(f"m{n}", dot_stuffed(data)[:-2]) for n, data in enumerate(mail)]
    told = [result["spam"] for result in objects(run_cli("classify", "--json", "--directory", one.directory, *paths))]
    assert told == [False, True, True, False]
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 2
    raw.quit()
    assert upstream.numbers() == [number for number, hidden in enumerate(told, 1) if not hidden]


def test_classify_many_files_at_once(home, write):
    paths = [write(f"f{n}", (spam if n % 3 == 0 else ham)(n)) for n in range(300)]
    done = run_cli("classify", "--json", "--directory", home().directory, *paths)
    assert done.returncode == 0  # whatever the verdict
    assert [o["spam"] for o in objects(done)] == [n % 3 == 0 for n in range(300)]


def test_reading_commands_write_nothing(program_directory, write):
    one = program_directory()
    path = write("m", spam(1))
    for arguments in (["inspect", "--directory", one.directory, path], ["classify", "--directory", one.directory, path],
                      ["serialise", path]):
        assert run_cli(*arguments).returncode == 0
    assert [name for name in os.listdir(one.directory) if not name.endswith(".lock")] == []


def test_sizes_agree_with_the_proxy(inspect):
    data = message(body=".x\r\n")
    assert inspect(dot_stuffed(data)[:-2])["size"] == parsed_size(data)
    assert day_number() > 2460000


@pytest.mark.parametrize("command", [["classify"], ["senders", "list"], ["stats"]])
def test_every_command_tells_of_a_configuration_that_can_not_be_read(tmp_path, write, command):
    os.mkdir(tmp_path / "Quillbeaker.ini")
    files = [write("mail.eml", ham(1))] if command == ["classify"] else []
    done = run_cli(*command, "--directory", tmp_path, *files)
    assert done.stderr.decode() == ("The configuration file can not be read. "
                                    f"{tmp_path}/Quillbeaker.ini: Is a directory\n")
