# SPDX-License-Identifier: MIT
"""The settings dialog: its pages, what OK writes, and what it does not."""

import os
import shutil
import socket
import subprocess

import pytest

import languages
from desktop import need
from driver import IDCANCEL, IDOK, IDYES, VK_ESCAPE, WM_CLOSE, WM_KEYDOWN, Window, tools
from program import eventually
from settings import (BLOCKED, COMMAND_SETTINGS, CONNECTION, FILTER, FRIENDS, GENERAL, LEVELS, PAGES, SENDERS, TRAINING,
                      TRAY, VERSION, WORDS, Settings)
from windows_program import COMMAND_EXIT

RESTART = "You have to restart the program to make the changes take affect."
MESSAGE_APPLY = 0x400 + 1001
WM_NEXTDLGCTL, WM_NOTIFY, WM_HELP, WM_DPICHANGED = 0x28, 0x4E, 0x53, 0x2E0


def content(one):
    return one.read("Quillbeaker.ini")


def unchanged(one, action):
    """Whether the configuration is byte for byte what it was."""
    before = content(one)
    action()
    return content(one) == before


def apart(controls):
    """The visible controls of a page do not cover each other and lie inside it."""
    seen = [one for one in controls if one["visible"]]
    for one in seen:
        for other in seen:
            a, b = one["place"], other["place"]
            assert other is one or (a["right"] <= b["left"] or b["right"] <= a["left"] or a["bottom"] <= b["top"]
                                    or b["bottom"] <= a["top"]), (one, other)


def inside(place, outer):
    return (outer["left"] <= place["left"] and place["right"] <= outer["right"] and outer["top"] <= place["top"]
            and place["bottom"] <= outer["bottom"])


@pytest.mark.parametrize("number", [page for page, _, _ in PAGES])
def test_pictures_of_every_page(program, picture, number):
    one = program(thresholds={"level25": 90, "level50": 70, "level75": 60})
    dialog = Settings(one)
    page = dialog.page(number)
    dialog.window.send(0)
    picture(f"settings-{number}", dialog.window.place)
    controls = [c for c in page.controls() if c["class"] not in ("SysHeader32", "Edit") or c["id"] > 1000]
    apart(controls)
    for control in controls:
        assert inside(control["place"], page.facts["place"]), control
    dialog.cancel()


def test_the_tree_and_the_version(program, picture):
    one = program()
    dialog = Settings(one)
    assert [(item["data"], item["depth"], item["text"]) for item in dialog.tree()] == PAGES
    assert [item["picture"] for item in dialog.tree()] == list(range(10))
    assert dialog.window.text(VERSION) == "Quillbeaker 1.7.1"
    assert dialog.shown() == GENERAL and len(dialog.pages()) == 1  # the others are made when they are shown
    assert dialog.window.default_button() == IDOK
    picture("settings", dialog.window.place)
    dialog.cancel()


def test_the_page_shown_last_is_kept(program):
    one = program()
    dialog = Settings(one)
    dialog.page(LEVELS)
    dialog.cancel()
    dialog = Settings(one)
    assert dialog.shown() == LEVELS
    dialog.ok()
    assert Settings(one).shown() == LEVELS


def test_a_second_open_brings_the_same_window_to_the_front(program, driver, other_window):
    one = program()
    dialog = Settings(one)
    dialog.page(TRAY)
    other_window()
    one.command(COMMAND_SETTINGS)
    eventually(lambda: dialog.window.focus()["foreground"] == dialog.window.handle, what="the dialog in front")
    assert len(driver.windows(kind="#32770", visible=True, process=one.main.process)) == 1
    assert dialog.shown() == TRAY


def test_the_tray_area(program):
    one = program()
    dialog = Settings(one)
    page = dialog.page(TRAY)
    assert page.control(1045)["checked"] and page.text(1052) == "180"
    assert page.choices(1075) == {"texts": ["Recycle Bin", "Spam Mail Statistic", "Training Area", "Settings"],
                                  "chosen": 0}
    page.check(1045, False)
    page.type(1052, "7")
    page.choose(1075, 3)
    dialog.ok()
    assert (one.setting("ShowBubble"), one.setting("TrayNumSeconds"), one.setting("TrayDblClk")) == ("0", "7", "40004")
    page = Settings(one).page()
    assert not page.control(1045)["checked"] and page.text(1052) == "7" and page.choices(1075)["chosen"] == 3


def test_a_command_that_is_no_entry_survives(program):
    one = program({"TrayDblClk": 40013})
    dialog = Settings(one)
    assert dialog.page(TRAY).choices(1075)["chosen"] == -1
    dialog.ok()
    assert one.setting("TrayDblClk") == "40013" and one.setting("ShowBubble") == "1"


def test_cancel_writes_nothing(program):
    one = program()
    for close in (lambda w: w.click(IDCANCEL), lambda w: w.close_box(), lambda w: w.post(WM_CLOSE)):
        dialog = Settings(one)
        page = dialog.page(TRAY)
        page.type(1052, "9")
        page.check(1045, False)

        def cancel(close=close, dialog=dialog):
            close(dialog.window)
            dialog.window.wait_until_gone()

        assert unchanged(one, cancel)


def test_ok_writes_only_the_pages_that_were_shown(program):
    one = program()
    dialog = Settings(one)
    dialog.page(TRAY)
    dialog.ok()
    text = content(one).decode()
    assert "ShowBubble=1" in text and "AutoCheckForUpdates" in text
    assert "FilterWordEnable" not in text and "TrainingAreaMaxDays" not in text and "Aggressiveness" not in text


def test_an_unchanged_file_is_not_touched(program):
    one = program()
    dialog = Settings(one)
    dialog.page(TRAY)
    dialog.ok()
    before = os.stat(one.path("Quillbeaker.ini"))
    dialog = Settings(one)
    dialog.ok()
    after = os.stat(one.path("Quillbeaker.ini"))
    assert (before.st_mtime_ns, before.st_ino) == (after.st_mtime_ns, after.st_ino)


def test_only_the_port_asks_for_a_restart(program, picture):
    one = program()
    dialog = Settings(one)
    page = dialog.page(CONNECTION)
    page.type(1084, "100")
    page.type(1012, "33")
    dialog.ok()
    assert one.setting("LogFileClientMaxSize") == "102400"
    assert one.setting("Timeout", "SERVER") == "33" and one.setting("Port", "SERVER") == str(one.port)
    assert one.no_box()
    dialog = Settings(one)
    page = dialog.page(CONNECTION)
    page.type(1011, "1110")
    dialog.window.click(IDOK)
    box = one.box(RESTART)
    picture("settings-restart", box.place)
    assert box.title == "Quillbeaker"
    box.click(IDOK)
    dialog.window.wait_until_gone()
    assert one.setting("Port", "SERVER") == "1110"


def test_the_port_of_another_program(program, picture):
    one = program()
    dialog = Settings(one)
    page = dialog.page(CONNECTION)
    assert page.text(1157) == ""  # its own
    dialog.cancel()
    with socket.create_server(("127.0.0.1", 0)) as other:
        port = other.getsockname()[1]
        dialog = Settings(one)
        page = dialog.page()
        page.type(1011, str(port))
        assert page.text(1157).startswith("This port is used by another program. The next free one is ")
        page.choose(1150, 3)
        assert "can be read" in page.text(1152)
        picture("settings-connection-notes", dialog.window.place)
        page.type(1011, str(one.port))
        assert page.text(1157) == ""
        dialog.cancel()


def test_the_filter_properties(program):
    one = program()
    dialog = Settings(one)
    page = dialog.page(FILTER)
    page.check(1072, False)
    assert not page.control(1073)["enabled"] and not page.control(1074)["enabled"]
    page.check(1075, False)
    assert not page.control(1071)["enabled"]
    page.check(1153, True)
    assert not page.control(1150)["enabled"]
    dialog.ok()
    assert [one.setting(key) for key in ("FilterWordEnable", "FilterWordHTML", "FilterLearningEnable",
                                         "FilterMaxMessageSize")] == ["0", "1", "0", "0"]


def test_a_text_that_is_no_number_leaves_the_training_area(program):
    one = program({"TrainingAreaMaxDays": 5})
    dialog = Settings(one)
    page = dialog.page(TRAINING)
    page.type(1048, "abc")
    page.type(1050, "4096")
    dialog.ok()
    assert one.setting("TrainingAreaMaxDays") == "5" and one.setting("TrainingAreaMaxMemory") == "4096"


@pytest.mark.parametrize("off, disabled", [("Enable", {FILTER, TRAINING, LEVELS, WORDS}),
                                           ("FilterWordEnable", {LEVELS, WORDS}), ("FilterLearningEnable", {TRAINING})])
def test_disabled_pages(program, picture, off, disabled):
    one = program({off: 0})
    dialog = Settings(one)
    for number in (GENERAL, TRAY, CONNECTION, FILTER, TRAINING, LEVELS, WORDS, SENDERS, BLOCKED, FRIENDS):
        page = dialog.page(number)
        assert page.facts["enabled"] == (number not in disabled), number
        if number in disabled:
            assert not [c for c in page.controls() if c["enabled"] and c["class"] not in ("SysHeader32",)]
            if off == "Enable":
                picture(f"settings-{number}-disabled", dialog.window.place)
    dialog.ok()
    assert one.setting("TrainingAreaMaxDays") is None or TRAINING not in disabled


def test_the_start_with_windows(program, desktop):
    one = program()
    key = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Run"

    def stored():
        """In the registry of this prefix, as `reg` reads it."""
        return desktop.wine("reg", "query", key, "/v", "Quillbeaker") == 0

    desktop.wine("reg", "delete", key, "/v", "Quillbeaker", "/f")
    dialog = Settings(one)
    page = dialog.page(GENERAL)
    assert not page.control(1046)["checked"]
    page.check(1046, True)
    dialog.ok()
    assert stored()
    dialog = Settings(one)
    page = dialog.page(GENERAL)
    assert page.control(1046)["checked"]
    page.check(1046, False)
    dialog.ok()
    assert not stored()


def test_what_has_no_window_yet_is_greyed(program):
    page = Settings(program()).page(GENERAL)
    assert not any(page.control(number)["enabled"] for number in (2000, 2001, 40006))


def test_a_made_up_message_to_apply_does_nothing(program):
    """Any program of the user can send it, with any address."""
    one = program()
    dialog = Settings(one)
    page = dialog.page(TRAY)
    page.type(1052, "9")

    def send():
        for address in (0, 1, 0x10000, one.main.handle):
            Window(one.driver, {**page.facts, "title": ""}).send(MESSAGE_APPLY, 0, address)

    assert unchanged(one, send)
    dialog.ok()
    assert one.setting("TrayNumSeconds") == "9"


def test_messages_with_made_up_addresses_do_nothing(program):
    one = program()
    dialog = Settings(one)
    for message in (WM_NOTIFY, WM_DPICHANGED, WM_HELP):
        for address in (0, 16, 0x7FFFFFFF0000):
            dialog.window.send(message, 144 << 16 | 144, address)
    assert dialog.window.stands() and dialog.page(TRAY).text(1052) == "180"
    dialog.cancel()


def test_a_file_that_cannot_be_written(program, picture):
    """The dialog says so and stays, with what was entered."""
    one = program()
    os.chmod(one.path("Quillbeaker.ini"), 0o444)
    dialog = Settings(one)
    page = dialog.page(TRAY)
    page.type(1052, "9")
    dialog.window.click(IDOK)
    box = one.box("The setting could not be saved in")
    picture("settings-not-saved", box.place)
    dialog.window.post(0x111, IDOK)  # from elsewhere: the dialog waits for its box
    dialog.window.send(0)
    assert len(one.driver.windows(kind="#32770", visible=True, process=one.main.process)) == 2
    box.click(IDOK)
    box.wait_until_gone()
    assert dialog.window.stands() and page.text(1052) == "9"
    os.chmod(one.path("Quillbeaker.ini"), 0o644)
    dialog.ok()
    assert one.setting("TrayNumSeconds") == "9"


def test_quitting_with_the_dialog_and_a_box_of_it(program):
    one = program()
    os.chmod(one.path("Quillbeaker.ini"), 0o444)
    dialog = Settings(one)
    dialog.page(TRAY).type(1052, "9")
    dialog.window.click(IDOK)
    one.box("The setting could not be saved in")
    one.command(COMMAND_EXIT)
    one.box("Do you really want to quit").click(IDYES)
    code, seconds = one.wait_for_end()
    assert code == 0 and seconds < 5


def test_closing_under_a_box(program):
    one = program()
    os.chmod(one.path("Quillbeaker.ini"), 0o444)
    dialog = Settings(one)
    dialog.page(TRAY).type(1052, "9")
    dialog.window.click(IDOK)
    box = one.box("The setting could not be saved in")
    dialog.window.post(WM_CLOSE)
    box.wait_until_gone()
    dialog.window.wait_until_gone()
    os.chmod(one.path("Quillbeaker.ini"), 0o644)
    assert Settings(one).page().text(1052) == "180"


def press(window, code):
    window.driver.ask("post", window=window.focus()["focus"], message=WM_KEYDOWN, wparam=code)


def test_escape_and_enter(program):
    one = program()
    dialog = Settings(one)
    eventually(lambda: dialog.window.focus()["focus_id"] == 1001, what="the focus in the tree")
    press(dialog.window, VK_ESCAPE)
    dialog.window.wait_until_gone()
    dialog = Settings(one)
    dialog.page(TRAY).type(1052, "9")
    eventually(lambda: dialog.window.focus()["focus_id"] == 1001, what="the focus in the tree")
    press(dialog.window, 0x0D)
    dialog.window.wait_until_gone()
    assert one.setting("TrayNumSeconds") == "9"


def test_tab_reaches_every_control_in_the_order_of_the_page(program):
    one = program()
    dialog = Settings(one)
    dialog.page(TRAY)
    eventually(lambda: dialog.window.focus()["focus_id"] == 1001, what="the focus in the tree")
    order = []
    for _ in range(7):
        before = dialog.window.focus()["focus"]
        press(dialog.window, 9)
        eventually(lambda b=before: dialog.window.focus()["focus"] != b, what="another focus")
        order.append(dialog.window.focus()["focus_id"])
    assert order == [1045, 1052, 1075, IDOK, IDCANCEL, 9, 1001]


def test_keys_while_another_box_stands(program):
    """Tab works in the dialog although the loop of a box that is not its own takes the messages."""
    one = program()
    dialog = Settings(one)
    eventually(lambda: dialog.window.focus()["focus_id"] == 1001, what="the focus in the tree")
    one.command(COMMAND_EXIT)
    question = one.box("Do you really want to quit")
    tree = dialog.window.control(1001)["window"]
    one.driver.ask("post", window=tree, message=WM_KEYDOWN, wparam=VK_ESCAPE)
    dialog.window.wait_until_gone()
    question.click(7)


def calls(one):
    return one.read("help.log").decode("utf-16-le").splitlines() if os.path.exists(one.path("help.log")) else []


@pytest.mark.parametrize("help_there", [True, False])
def test_help_and_f1(program, driver, desktop, help_there):
    one = program()
    if help_there:
        shutil.copy(os.path.join(tools(), "empty_program.exe"), one.path("help.exe"))
    dialog = Settings(one)
    page = dialog.page(TRAY)

    def f1(control):
        """By the keyboard itself: the system makes a request for help of the real key only."""
        dialog.window.driver.ask("send", window=dialog.window.handle if control in (9, 1001) else page.handle,
                                 message=WM_NEXTDLGCTL, wparam=control_window(control), lparam=1)
        eventually(lambda: dialog.window.focus()["focus_id"] == control, what="the focus")
        subprocess.run([need("xdotool", "xdotool"), "key", "F1"], env=desktop.environment, check=True, timeout=30)

    def control_window(number):
        return dialog.window.control(number)["window"]

    asks = (lambda: dialog.window.click(9), lambda: f1(1001), lambda: f1(1052), lambda: f1(1075))
    for times, ask in enumerate(asks, 1):
        ask()
        if help_there:
            eventually(lambda n=times: len(calls(one)) == n, what=f"start {times} of the help")
        else:
            dialog.window.send(0)
    # By its full path, and with nothing after it.
    assert all(call.strip().strip('"').endswith("\\help.exe") and ":\\" in call for call in calls(one))
    assert len(driver.windows(kind="#32770", visible=True, process=one.main.process)) == 1
    dialog.cancel()


def test_fading_in(program):
    one = program({"AlphaBlending": 1})
    dialog = Settings(one)
    eventually(lambda: one.driver.ask("shape", window=dialog.window.handle)["alpha"] == 255, what="an opaque window")
    page = dialog.page(TRAY)
    eventually(lambda: one.driver.ask("shape", window=page.handle)["alpha"] == 255, what="an opaque page")
    dialog.cancel()


def test_the_language(directory):
    one = directory()
    one.configure()
    languages.give(one)
    one.start()
    dialog = Settings(one)
    page = dialog.page(GENERAL)
    assert page.choices(1150)["texts"][:3] == ["English (built in)", "As Windows", "Deutsch"] or (
        sorted(page.choices(1150)["texts"][2:]) == sorted(["Deutsch", "Français", "Italiano", "Nederlands", "Español"]))
    page.choose(1150, page.choices(1150)["texts"].index("Deutsch"))
    dialog.ok()
    assert one.setting("Language") == languages.GERMAN
    assert one.no_box()


@pytest.mark.parametrize("language", ["German", "French", "Spanish", "Italian", "Dutch"])
def test_every_page_in_every_language(directory, picture, language):
    name = language + ".Quillbeaker.language"
    one = directory()
    one.configure({"Language": name})
    one.spam_words({"zorkmoney": 120}, {"level25": 90, "level50": 70, "level75": 60})
    languages.give(one, name)
    one.start()
    texts = languages.read(name)
    dialog = Settings(one, texts.get("dialog 108", {}).get("caption", "Settings"))
    for number, _, label in PAGES:
        page = dialog.page(number)
        shown = {c["id"]: c["text"] for c in page.controls()}
        for control, text in texts.get(f"dialog {number}", {}).items():
            assert shown[int(control)] == text
        item = next(item for item in dialog.tree() if item["data"] == number)
        assert item["text"] == texts["texts"].get(str(number), label)
        dialog.window.send(0)
        picture(f"settings-{language.lower()}-{number}", dialog.window.place)
    dialog.cancel()
