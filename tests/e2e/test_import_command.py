# SPDX-License-Identifier: MIT
"""`senders import`: text files and vCards of other mail programs into the lists."""

import os
import resource
import subprocess

import pytest

from program import executable, run_cli, sanitized

COUNT = "{} addresses have been imported successfully.\n"


@pytest.fixture
def run_import(program_directory, tmp_path):
    """run_import(file content..., *options) imports them in one directory, which is its attribute `home`."""

    def run(*contents, options=()):
        paths = []
        for number, content in enumerate(contents):
            paths.append(tmp_path / f"list{number}")
            paths[-1].write_bytes(content)
        return run_cli("senders", "import", "--directory", run.home.directory, *options, *paths)

    run.home = program_directory()
    return run


def senders(run):
    return run.home.read("Quillbeaker.ini").split(b"\r\n")[1:-1]


def test_imports_friends_from_several_files(run_import):
    done = run_import(b'"Smith, Bob",b@x.example\r\nAnn;a@x.example\r\n', b"BEGIN:VCARD\nFN:Cy\nEMAIL:c@x.example\nEND:VCARD\n")
    assert (done.returncode, done.stdout.decode(), done.stderr) == (0, COUNT.format(3), b"")
    assert senders(run_import) == [b"b@x.example=Smith, Bob,2", b"a@x.example=Ann,2", b"c@x.example=Cy,2"]


def test_imports_blocked_senders(run_import):
    assert run_import(b"Bad,*@bad.example\n", options=["--blocked"]).returncode == 0
    assert senders(run_import) == [b"*@bad.example=Bad,1"]
    done = run_import(b"Any,any@bad.example\n")
    assert (done.returncode, done.stdout.decode()) == (0, COUNT.format(0))


def test_takes_the_columns_that_are_named(run_import):
    table = b"1,b@work.example,Bob,b@home.example\n"
    assert run_import(table, options=["--name-column", 3, "--address-column", 4]).returncode == 0
    assert senders(run_import) == [b"b@home.example=Bob,2"]


def test_asks_for_columns_that_it_cannot_guess(run_import):
    done = run_import(b"Strasse;Ort\nRing 1;Bonn\n")
    assert (done.returncode, done.stdout.decode()) == (1, COUNT.format(0))
    told = done.stderr.decode()
    assert "--name-column" in told and "1: Strasse" in told and "2: Ort" in told


@pytest.mark.parametrize("options", [["--name-column", 1], ["--address-column", 1],
                                     ["--name-column", 0, "--address-column", 1]])
def test_columns_come_together_and_count_from_one(run_import, options):
    assert run_import(b"Bob,b@x.example\n", options=options).returncode == 2


def test_files_that_are_none_are_named_and_the_others_imported(run_import, tmp_path):
    done = run_import(bytes(range(256)) * 20, b"Bob,b@x.example\n", options=[tmp_path / "missing", tmp_path])
    assert (done.returncode, done.stdout.decode()) == (1, COUNT.format(1))
    told = done.stderr.decode()
    assert "missing" in told and "list0" in told and str(tmp_path) in told and "list1" not in told


def limit_memory():
    """The program has 400 MB: far less than the files and the sanitizers' shadow would need at once."""
    if not sanitized():
        resource.setrlimit(resource.RLIMIT_AS, (400 << 20, 400 << 20))


@pytest.mark.parametrize("kind", ["line", "lines", "card"])
def test_files_of_a_hundred_megabytes(program_directory, tmp_path, kind):
    path = tmp_path / "large"
    with open(path, "wb") as file:
        if kind == "card":
            file.write(b"BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Bob\r\nPHOTO;ENCODING=b:")
            file.writelines([b"A" * 75 + b"\r\n "] * 300000)
            file.write(b"\r\nEMAIL:b@x.example\r\nEND:VCARD\r\n")
        else:
            file.write(b"Bob,b@x.example,")
            ending = b"\n" if kind == "lines" else b""
            file.writelines([b"x" * 99 + ending] * 1000000)
    home = program_directory()
    done = subprocess.run([executable(), "senders", "import", "--directory", home.directory, path],
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, preexec_fn=limit_memory, timeout=300, check=False)
    os.unlink(path)
    assert (done.returncode, done.stdout.decode(), done.stderr) == (0, COUNT.format(1), b"")
