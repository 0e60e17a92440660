# SPDX-License-Identifier: MIT
"""Which language is chosen, and that it shows in boxes, menus and dialogs."""

import socket

import pytest

import languages
from driver import IDCANCEL, IDNO, IDOK
from messages import ham, spam
from program import PORT_IN_USE, WRONG_USER_NAME, eventually
from scripted_server import reply, then_silence
from test_mail_check import ACTIVITY, CANCEL, SPAM_COUNT, STATUS, Held
from test_menu import MENU, QUIT_QUESTION, items, open_menu, press, VK_ESCAPE
from windows_program import COMMAND_EXIT, COMMAND_SWITCH_FILTER

GERMAN_WINDOWS = {"LC_ALL": "de_DE.UTF-8"}


def quit_question(one):
    one.command(COMMAND_EXIT)
    question = one.driver.dialog("Quillbeaker", process=one.main.process)
    text = question.text()
    question.click(IDNO)
    question.wait_until_gone()
    return text


def started(directory, language=None, environment=None, **files):
    one = directory()
    one.configure({"Language": language} if language is not None else {})
    for name, content in files.items():
        one.write(name + ".Quillbeaker.language", content.encode() if isinstance(content, str) else content)
    return one, environment or {}


def test_an_english_user_gets_english(directory):
    one, _ = started(directory)
    languages.give(one)
    one.start()
    assert quit_question(one) == QUIT_QUESTION
    assert not one.setting("Language")


def test_a_german_user_gets_german(directory):
    one, _ = started(directory)
    languages.give(one)
    one.start(**GERMAN_WINDOWS)
    assert quit_question(one) == languages.read(languages.GERMAN)["texts"]["160"]
    assert one.setting("Language") == languages.GERMAN


@pytest.mark.parametrize("language", ["default", "DEFAULT"])
def test_default_means_english(directory, language):
    one, _ = started(directory, language)
    languages.give(one)
    one.start(**GERMAN_WINDOWS)
    assert quit_question(one) == QUIT_QUESTION
    assert one.setting("Language") == language


@pytest.mark.parametrize("language", ["Missing.Quillbeaker.language", "../German.Quillbeaker.language"])
def test_a_missing_file_gives_english(directory, language):
    one, _ = started(directory, language)
    languages.give(one)
    one.start(**GERMAN_WINDOWS)
    assert quit_question(one) == QUIT_QUESTION
    assert one.setting("Language") == language


@pytest.mark.parametrize("content", [b"", b"\0" * 5000, b"\xff\xfe[\0t\0e\0", b"[texts]\n160 = \xfc\n", b"[" * 100000,
                                     b"[texts]\n160\n= x\n[menu]\n[dialog 99999999999]\n1=%n%n%n%s\n"])
def test_a_broken_file_gives_english(directory, content):
    one, _ = started(directory, "Broken.Quillbeaker.language", Broken=content)
    one.start()
    assert quit_question(one) == QUIT_QUESTION
    assert [(item["id"], item["text"]) for item in items(one).values()] == [row for row in MENU if row[0]]


def test_texts_are_replaced_one_by_one(directory, client):
    """A text that the file has is shown, all others stay English; one with other conversions is refused."""
    content = ("\ufeff[information]\nname = Own\nlanguage = 0x0407\nauthor = Me\n"
               "[texts]\n160 = Genug?\\nJetzt?\n163 = - %s Stück\n169 = 100% neu\n"
               "[menu 121]\n40002 = Schl&uss\n[dialog 137]\n7 = &Nö\n1077 = &Still\n")
    one, _ = started(directory, "Own.Quillbeaker.language", Own=content)
    one.start()
    assert quit_question(one) == "Genug?\nJetzt?"
    read = items(one)
    assert read[COMMAND_EXIT]["text"] == "Schl&uss"
    assert read[COMMAND_SWITCH_FILTER]["text"] == "&Disable spam filter"
    one.command(COMMAND_SWITCH_FILTER)
    box = one.box("disable the spam filter")
    texts = {c["id"]: c["text"] for c in box.controls()}
    assert texts[IDNO] == "&Nö" and texts[1077] == "&Still" and texts[6] == "&Yes"
    box.click(IDNO)
    box.wait_until_gone()
    client(one).send(b"USER jane\r\n")
    one.box(WRONG_USER_NAME).click(IDOK)


def test_the_language_is_there_before_the_first_text(directory, picture):
    one, _ = started(directory)
    languages.give(one)
    one.write("spampoints_user.ini", "[POINTS]\nzorkmoney=70\n")
    one.start(wait=False, **GERMAN_WINDOWS)
    notice = one.driver.dialog("Quillbeaker", process=one.main.process)
    assert notice.text() == languages.read(languages.GERMAN)["texts"]["169"]
    picture("german-spam-words-converted", notice.place)
    notice.click(IDOK)


@pytest.fixture(params=["German", "French", "Spanish", "Italian", "Dutch"])
def translated(request, directory):
    """A running program in one of the languages that are shipped, and that language's texts."""
    name = request.param + ".Quillbeaker.language"
    one, _ = started(directory, name)
    languages.give(one, name)
    one.spam_words({"zorkmoney": 120})
    return request.param.lower(), one.start(), languages.read(name)


def assert_parts_fit(window):
    """No control reaches out of the window or into another one."""
    shown = [c for c in window.controls() if c["visible"]]
    for control in shown:
        place, client = control["place"], window.client
        assert client["left"] <= place["left"] and place["right"] <= client["right"], control
        assert client["top"] <= place["top"] and place["bottom"] <= client["bottom"], control
        for other in shown:
            there = other["place"]
            assert other is control or (place["right"] <= there["left"] or there["right"] <= place["left"]
                                        or place["bottom"] <= there["top"] or there["bottom"] <= place["top"]), (
                control, other)


def test_pictures_of_every_language(translated, client, server, picture):
    """The menu, the bubble, an optional box and the time-out question, for a person to look at."""
    name, one, texts = translated
    menu = open_menu(one)
    shown = {item["id"]: item["text"] for item in one.driver.menu_items(menu)}
    for command, text in texts["menu 121"].items():
        if command.isdigit() and int(command) in shown:
            assert shown[int(command)] == text
    picture(name + "-menu", menu.place)
    press(one, VK_ESCAPE)
    one.command(COMMAND_SWITCH_FILTER)
    box = one.box(texts["texts"]["161"].split("\n")[0])
    assert box.control(1077)["text"] == texts["dialog 137"]["1077"]
    assert_parts_fit(box)
    picture(name + "-disable-filter-question", box.place)
    box.click(IDNO)
    upstream = server(ham(1), spam(2))
    held = Held(upstream, "RETR", after=1)
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    held.wait()
    bubble = one.driver.dialog("Quillbeaker", containing=texts["dialog 119"][str(CANCEL)], process=one.main.process)
    spam_count = texts["texts"]["138"].replace("%i", "1")
    eventually(lambda: bubble.control(SPAM_COUNT)["text"] == spam_count, what="the spam count")
    start = texts["texts"]["115"].split("%")[0]
    eventually(lambda: bubble.control(ACTIVITY)["text"].startswith(start), what="the last text")
    picture(name + "-bubble", bubble.place)
    held.go()
    raw.line()
    raw.quit()


def test_the_time_out_question_in_every_language(translated, client, server, picture):
    name, one, texts = translated
    one.write("Quillbeaker.ini", one.read("Quillbeaker.ini").replace(b"Timeout=10", b"Timeout=1"))
    upstream = server(ham(1))
    upstream.when("RETR", then_silence())
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    box = one.driver.dialog(texts["dialog 143"].get("caption", "Timeout"), process=one.main.process)
    shown = {c["id"]: c["text"] for c in box.controls()}
    names = texts["texts"]["602"].replace("%s", f"127.0.0.1:{upstream.port}", 1).replace("%s", "jane @ 127.0.0.1")
    assert shown == {1024: texts["texts"]["204"], 1300: names, IDOK: texts["texts"]["205"],
                     IDCANCEL: texts["texts"]["206"]}
    assert_parts_fit(box)
    picture(name + "-timeout-question", box.place)
    box.click(IDOK)
    raw.line()


def test_a_refused_message_in_every_language(translated, client, server, picture):
    name, one, texts = translated
    words = b"-ERR [SYS/TEMP] The mailbox is locked by another session"
    upstream = server(ham(1))
    upstream.when("RETR", reply(words + b"\r\n"))
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    bubble = one.driver.dialog("Quillbeaker", containing=texts["dialog 119"][str(CANCEL)], process=one.main.process)
    told = texts["texts"]["207"].replace("%i", "1").replace("%s", words.decode())
    eventually(lambda: bubble.control(STATUS)["text"] == (told if len(told) < 100 else told[:96] + "..."),
               what="the words")
    picture(name + "-bubble-refused", bubble.place)
    raw.line()
    raw.quit()
