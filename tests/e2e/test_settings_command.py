# SPDX-License-Identifier: MIT
"""The settings from the terminal: what is listed, what is changed, what is refused."""

import json
import os

import pytest

from program import run_cli


@pytest.fixture
def settings(program_directory):
    """settings(word, ...) runs `settings` in one directory, which is its attribute `home`."""

    def run(command, *arguments):
        return run_cli("settings", command, "--directory", run.home.directory, *arguments)

    run.home = program_directory()
    return run


def test_list_names_every_setting_with_its_unit(settings):
    done = settings("list")
    assert done.returncode == 0 and done.stderr == b""
    lines = dict(line.split(None, 1) for line in done.stdout.decode().splitlines() if " " in line)
    assert lines["LogFileClientMaxSize"] == "100 KB"
    assert lines["RecycleBinMaxDays"] == "30 days"
    assert lines["Pipelining"] == "auto"
    assert "RecycleOldMessagesLast" not in lines
    rows = {row["name"]: row for row in json.loads(settings("list", "--json").stdout)}
    assert set(lines) <= set(rows)
    assert rows["LogFileClientMaxSize"] == {"name": "LogFileClientMaxSize", "section": "QUILLBEAKER", "kind": "number",
                                            "value": 100, "default": 100, "unit": "KB", "least": 0, "most": 999999999}
    assert rows["Aggressiveness"]["choices"] == [0, 25, 50, 75, 100]
    assert rows["Security"]["choices"] == ["auto", "tls", "starttls", "plain"]
    assert not os.path.exists(settings.home.path("Quillbeaker.ini"))


def test_set_writes_the_files_unit_and_keeps_the_rest(settings):
    settings.home.write("Quillbeaker.ini", b"; mine\r\n[QUILLBEAKER]\r\nEnable=1\r\nmine=2\r\n")
    assert settings("set", "logfileclientmaxsize", "64").returncode == 0
    assert settings.home.read("Quillbeaker.ini") == (
        b"; mine\r\n[QUILLBEAKER]\r\nEnable=1\r\nmine=2\r\nLogFileClientMaxSize=65536\r\n")
    assert settings("get", "LogFileClientMaxSize").stdout == b"64\n"
    assert json.loads(settings("get", "LogFileClientMaxSize", "--json").stdout)["value"] == 64


def test_a_product_beyond_32_bits_is_held_there(settings):
    assert settings("set", "LogFileServerMaxSize", "999999999").returncode == 0
    assert settings.home.setting("LogFileServerMaxSize", "QUILLBEAKER") == "2147483647"


def test_update_keys_stand_under_their_own_spelling(settings):
    assert settings("set", "AutoCheckForUpdates", "0").returncode == 0
    assert settings.home.read("Quillbeaker.ini") == b"[Quillbeaker]\r\nAutoCheckForUpdates=0\r\n"


@pytest.mark.parametrize("name, value, told", [
    ("Nothing", "1", 'There is no setting "Nothing".'),
    ("RecycleBinMaxDays", "", '"RecycleBinMaxDays" takes a whole number of at most 9 digits.'),
    ("RecycleBinMaxDays", "1000000000", '"RecycleBinMaxDays" takes a whole number of at most 9 digits.'),
    ("RecycleBinMaxDays", "5x", '"RecycleBinMaxDays" takes a whole number of at most 9 digits.'),
    ("Port", "65536", '"Port" takes a number from 1 to 65535.'),
    ("Enable", "2", '"Enable" takes a number from 0 to 1.'),
    ("Enable", "yes", '"Enable" takes a number from 0 to 1.'),
    ("Timeout", "-5", '"Timeout" takes a number from 1 to 1000.'),
    ("Aggressiveness", "high", '"Aggressiveness" takes one of these: 0, 25, 50, 75, 100.'),
    ("Aggressiveness", "60", '"Aggressiveness" takes one of these: 0, 25, 50, 75, 100.'),
    ("Security", "ssl", '"Security" takes one of these: auto, tls, starttls, plain.'),
    ("LogFileClientFileName", "x" * 260, '"LogFileClientFileName" takes a text of at most 259 bytes.'),
    ("RecycleOldMessagesLast", "1", '"RecycleOldMessagesLast" is written by the program itself and can not be set.'),
    ("Language", "Klingon.Quillbeaker.language",
     'There is no language file "Klingon.Quillbeaker.language" beside the program.'),
])
def test_what_is_refused_writes_nothing(settings, name, value, told):
    done = settings("set", name, value)
    assert done.returncode == 1 and done.stdout == b"" and done.stderr.decode() == told + "\n"
    assert not os.path.exists(settings.home.path("Quillbeaker.ini"))


@pytest.mark.parametrize("name", ["", "../x.log", "/tmp/x.log", "c:x.log", "uniqueid.xml", "training/x.log"])
def test_a_log_that_would_never_be_written_is_refused(settings, name):
    done = settings("set", "LogFileServerFileName", name)
    assert done.returncode == 1 and b'"LogFileServerFileName" takes the name of a file' in done.stderr
    assert not os.path.exists(settings.home.path("Quillbeaker.ini"))


def test_a_text_can_add_no_line(settings):
    assert settings("set", "LogFileClientFileName", "a.log\r\n[SERVER]\r\nPort=1").returncode == 0
    assert settings.home.read("Quillbeaker.ini") == (
        b"[QUILLBEAKER]\r\nLogFileClientFileName=a.log  [SERVER]  Port=1\r\n")


def test_port_waits_for_the_next_start(settings):
    done = settings("set", "Port", "2110")
    assert done.returncode == 0
    assert done.stdout == b"The change takes effect when the program is started again.\n"


def test_a_configuration_that_can_not_be_read_is_told(settings):
    os.mkdir(settings.home.path("Quillbeaker.ini"))
    for arguments in (["list"], ["get", "Port"], ["set", "Port", "2110"]):
        done = settings(*arguments)
        assert (done.returncode, done.stderr.decode()) == (
            1, "The configuration file can not be read. "
               f"{settings.home.path('Quillbeaker.ini')}: Is a directory\n")


def test_a_setting_that_is_not_saved_says_why(settings):
    assert settings("set", "Port", "2110").returncode == 0
    configuration = settings.home.path("Quillbeaker.ini")
    os.chmod(configuration, 0o400)
    done = settings("set", "Port", "2111")
    assert (done.returncode, done.stderr.decode()) == (
        1, f'The setting could not be saved in "{configuration}". It stays as it is. '
           f"{configuration}: Permission denied\n")


@pytest.mark.parametrize("arguments", [["get"], ["set", "Port"], ["set"], ["list", "Port"]])
def test_wrong_usage(settings, arguments):
    assert settings(*arguments).returncode == 2
