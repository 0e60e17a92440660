# SPDX-License-Identifier: MIT
"""The console in the language that the configuration names."""

import os
import shutil

import pytest

from program import run_cli

LANGUAGES = os.path.join(os.path.dirname(__file__), "../../resources/languages")
GERMAN = "German.Quillbeaker.language"


@pytest.fixture
def look_up(program_directory):
    """look_up(language) -> what `senders lookup` prints of an unknown sender, JSON among its arguments or not."""
    home = program_directory()
    shutil.copy(os.path.join(LANGUAGES, GERMAN), home.path(GERMAN))

    def look_up(language, *arguments):
        home.write("Quillbeaker.ini", f"[QUILLBEAKER]\r\nLanguage={language}\r\n".encode())
        result = run_cli("senders", "lookup", "ann@example.org", *arguments, "--directory", home.directory)
        assert home.read("Quillbeaker.ini") == f"[QUILLBEAKER]\r\nLanguage={language}\r\n".encode()
        return (result.stdout + result.stderr).decode("utf-8")

    look_up.home = home
    return look_up


ENGLISH_ANSWER = '"ann@example.org" is on neither list.'
GERMAN_ANSWER = "„ann@example.org“ steht auf keiner der beiden Listen."


@pytest.mark.parametrize("language", [GERMAN, f'"{GERMAN}"'])
def test_the_named_language_is_spoken(look_up, language):
    assert GERMAN_ANSWER in look_up(language)


@pytest.mark.parametrize("language", ["", "default", "DEFAULT", "none.Quillbeaker.language",
                                      f"../{GERMAN}", f"./{GERMAN}", f".\\{GERMAN}"])
def test_every_other_choice_is_english_and_stays_as_it_is(look_up, language):
    assert ENGLISH_ANSWER in look_up(language)


def test_a_broken_file_is_english(look_up):
    look_up.home.write("broken", b"[texts]\r\n310 = %s \xff\r\n")
    assert ENGLISH_ANSWER in look_up("broken")


def test_a_text_with_other_conversions_is_english_and_the_others_are_not(look_up):
    look_up.home.write("mine", b"[texts]\r\n310 = %n%s%s\r\n309 = unlesbar\r\n")
    assert ENGLISH_ANSWER in look_up("mine")
    result = run_cli("classify", look_up.home.path("no such file"), "--directory", look_up.home.directory)
    assert b"unlesbar" in result.stdout + result.stderr


def test_json_is_english_in_every_language(look_up):
    look_up(GERMAN)
    result = run_cli("classify", "--json", look_up.home.path("no such file"), "--directory", look_up.home.directory)
    assert b'"error":"The file can not be read."' in result.stdout
