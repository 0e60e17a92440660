# SPDX-License-Identifier: MIT
"""The tray icon, its menu and what the menu's commands do, by real clicks where a person would click."""

import os
import time

import pytest

from driver import IDCANCEL, IDNO, IDOK, IDYES, VK_ESCAPE, WM_COMMAND, WM_KEYDOWN
from icons import PLAIN, Tray, click_at, docked, wait_for_no_icon
from messages import ham
from program import eventually
from windows_program import COMMAND_EXIT, COMMAND_SWITCH_FILTER, LEFT_DOUBLE, RIGHT_DOWN

QUIT_QUESTION = ("Do you really want to quit Quillbeaker?\n\n"
                 "Your email client may not be able to receive messages if Quillbeaker is not running.")
DISABLE_QUESTION = "Do you really want to disable the spam filter?\nIncoming messages will not be filtered."
RE_ENABLED = "The spam filter has been re-enabled."

MENU = [(40005, "&Recycle bin..."), (40014, "&Training Area..."), (40007, "Show spam statistic..."), (0, ""),
        (40004, "&Settings"), (40018, "&Disable spam filter"), (0, ""), (40006, "Check for &updates..."),
        (3, "&Help"), (40013, "Online &FAQ..."), (40003, "&About Quillbeaker..."),
        (40020, "Set up a &mail account..."), (0, ""), (40002, "E&xit")]
# What opens when a command is chosen. A command that comes alive must get its line here, or among the windows.
OPENS = {COMMAND_EXIT: QUIT_QUESTION, COMMAND_SWITCH_FILTER: DISABLE_QUESTION}
WINDOWS = {40004: "Settings", 40005: "Recycle bin", 40007: "Spam Mail Statistic",
           40014: "Training Area (Recently Received Messages)", 40020: "Set up a mail account"}


def open_menu(one):
    one.tray(RIGHT_DOWN)
    return one.driver.window(kind="#32768", visible=True)


def press(one, code):
    """A key for the open menu, which has no focus of its own: keys go to the window that it belongs to."""
    one.main.post(WM_KEYDOWN, code)


def items(one):
    menu = open_menu(one)
    read = {item["id"]: item for item in one.driver.menu_items(menu) if item["id"]}
    press(one, VK_ESCAPE)
    menu.wait_until_gone()
    return read


def test_a_right_click_on_the_icon_opens_the_menu(program, driver, desktop, picture):
    one = program()
    tray = Tray(one)
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon")
    tray.click(3)
    menu = driver.window(kind="#32768", visible=True)
    read = driver.menu_items(menu)
    assert [(item["id"], item["text"]) for item in read] == MENU
    picture("menu", menu.place)
    # Right of the mouse there is no room, and the menu is aligned to its right edge in any case.
    assert menu.place["right"] <= tray.place["left"] + 8 + 2
    place = next(item["place"] for item in read if item["id"] == COMMAND_EXIT)
    click_at(desktop, (place["left"] + place["right"]) // 2, (place["top"] + place["bottom"]) // 2)
    question = one.box(QUIT_QUESTION)
    question.click(IDNO)
    question.wait_until_gone()


def test_the_menu_by_keys(program):
    one = program()
    menu = open_menu(one)
    press(one, VK_ESCAPE)
    menu.wait_until_gone()
    assert one.no_box()
    open_menu(one)
    press(one, ord("X"))  # the underlined letter of "Exit"
    one.box(QUIT_QUESTION).click(IDNO)


def test_commands_of_the_menu(program):
    """Every command that is not greyed opens what it should; a greyed one does nothing when it comes all the same."""
    one = program()
    for number, item in items(one).items():
        assert item["greyed"] == (number not in OPENS and number not in WINDOWS), item
        one.command(number)
        if number in WINDOWS:
            window = one.box(title=WINDOWS[number])
            window.close_box()
            window.wait_until_gone()
            continue
        if number in OPENS:
            box = one.box(OPENS[number])
            box.click(IDNO)
            box.wait_until_gone()
        else:
            one.main.send(0)  # is answered after what was posted before it
            assert one.no_box(), item
    assert one.setting("Enable") is None


def test_switching_the_filter_off_and_on(program, picture):
    one = program()
    assert not items(one)[COMMAND_SWITCH_FILTER]["checked"]
    one.command(COMMAND_SWITCH_FILTER)
    question = one.box(DISABLE_QUESTION)
    picture("disable-filter-question", question.place)
    assert question.default_button() == IDYES and question.focus()["focus_id"] == IDYES
    question.click(IDYES)
    question.wait_until_gone()
    eventually(lambda: one.setting("Enable") == "0", what="the filter's switch")
    assert items(one)[COMMAND_SWITCH_FILTER]["checked"]
    open_menu(one)
    picture("menu-filter-off", one.driver.window(kind="#32768", visible=True).place)
    press(one, VK_ESCAPE)
    one.command(COMMAND_SWITCH_FILTER)
    notice = one.box(RE_ENABLED)
    picture("filter-re-enabled", notice.place)
    assert one.setting("Enable") == "1"  # written before the notice is shown
    notice.click(IDOK)
    notice.wait_until_gone()
    assert not items(one)[COMMAND_SWITCH_FILTER]["checked"]


@pytest.mark.parametrize("before, box", [(1, DISABLE_QUESTION), (0, None)])
def test_a_switch_that_cannot_be_saved_says_so(program, picture, before, box):
    one = program({"Enable": before})
    os.chmod(one.path("Quillbeaker.ini"), 0o444)
    one.command(COMMAND_SWITCH_FILTER)
    if box is not None:
        one.box(box).click(IDYES)
    notice = one.box("The setting could not be saved in")
    assert "Quillbeaker.ini" in notice.text()
    picture(f"setting-not-saved-{before}", notice.place)
    notice.click(IDCANCEL if IDOK not in [c["id"] for c in notice.controls()] else IDOK)
    notice.wait_until_gone()
    assert one.no_box() and one.setting("Enable") == str(before)
    assert items(one)[COMMAND_SWITCH_FILTER]["checked"] == (before == 0)


def test_a_silence_that_cannot_be_saved_says_so(program):
    one = program()
    os.chmod(one.path("Quillbeaker.ini"), 0o444)
    one.command(COMMAND_SWITCH_FILTER)
    question = one.box(DISABLE_QUESTION)
    question.click(1077)
    eventually(lambda: question.control(1077)["checked"], what="the tick")
    question.click(IDNO)
    notice = one.box("The setting could not be saved in")
    notice.close_box()
    notice.wait_until_gone()
    question.wait_until_gone()


def crossed_out(tray):
    """While it is drawn anew an icon is none of its pictures for a moment: the red of the line must be there."""
    return tray.shown() is None and tray.badge()[0] > 20


def test_the_icon_of_a_disabled_filter(program, picture):
    """The plain one for as long as a number of deleted messages is shown, then another until the filter is back."""
    one = program({"TrayNumSeconds": 3}, OPTIONALMESSAGEBOXES={"FilterDisableWarning": 1, "FilterReEnable": 1})
    tray = Tray(one)
    one.command(COMMAND_SWITCH_FILTER)
    began = time.monotonic()
    eventually(lambda: one.setting("Enable") == "0", what="the filter's switch")
    eventually(lambda: tray.shown() == PLAIN, 2, "the plain icon")
    eventually(lambda: crossed_out(tray), what="another icon")
    assert time.monotonic() - began > 2.5
    picture("icon-filter-off", tray.place)
    time.sleep(4)  # longer than anything else is shown
    assert crossed_out(tray)
    one.command(COMMAND_SWITCH_FILTER)
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon of a filter that is on")
    # Switched on in time there is nothing to tell.
    one.command(COMMAND_SWITCH_FILTER)
    eventually(lambda: one.setting("Enable") == "0", what="the filter's switch")
    one.command(COMMAND_SWITCH_FILTER)
    eventually(lambda: one.setting("Enable") == "1", what="the filter's switch")
    time.sleep(4)
    eventually(lambda: tray.shown() == PLAIN, 2, "the plain icon still")


def test_the_icon_after_a_start_with_a_disabled_filter(program, client, server):
    one = program({"TrayNumSeconds": 4, "Enable": 0})
    tray = Tray(one)
    eventually(lambda: crossed_out(tray), what="another icon")
    # A mail check leaves it, and finds out that the filter was switched on by hand.
    upstream = server(ham(1))
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    eventually(lambda: crossed_out(tray), what="another icon after the mail check")
    one.write("Quillbeaker.ini", one.read("Quillbeaker.ini").replace(b"Enable=0", b"Enable=1"))
    raw = client(one).login(upstream.port)
    raw.quit()
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon of a filter that is on")


def test_a_silenced_question_counts_as_yes(program):
    one = program(OPTIONALMESSAGEBOXES={"FilterDisableWarning": 1, "FilterReEnable": 1})
    for expected in ("0", "1"):
        one.command(COMMAND_SWITCH_FILTER)
        eventually(lambda e=expected: one.setting("Enable") == e, what="the filter's switch")
        assert one.no_box()


def test_ticking_and_answering_no(program):
    one = program()
    one.command(COMMAND_SWITCH_FILTER)
    question = one.box(DISABLE_QUESTION)
    question.click(1077)
    eventually(lambda: question.control(1077)["checked"], what="the tick")
    question.click(IDNO)
    question.wait_until_gone()
    assert one.setting("Enable") is None
    assert one.setting("FilterDisableWarning", "OPTIONALMESSAGEBOXES") == "1"
    one.command(COMMAND_SWITCH_FILTER)
    eventually(lambda: one.setting("Enable") == "0", what="Yes without a question")


def test_quitting(program, desktop, picture):
    one = program()
    Tray(one)
    one.command(COMMAND_EXIT)
    question = one.box(QUIT_QUESTION)
    picture("quit-question", question.place)
    assert {c["id"] for c in question.controls() if c["class"] == "Button"} == {IDYES, IDNO}
    question.click(IDYES)
    code, seconds = one.wait_for_end()
    assert code == 0 and seconds < 5
    wait_for_no_icon(desktop)


def test_a_second_exit_brings_the_question_to_the_front(program, driver, other_window):
    one = program()
    one.command(COMMAND_EXIT)
    question = one.box(QUIT_QUESTION)
    eventually(lambda: question.focus()["foreground"] == question.handle, what="the question in front")
    other = other_window()
    one.command(COMMAND_EXIT)
    eventually(lambda: question.focus()["foreground"] == question.handle, what="the question in front again")
    assert len(driver.windows(kind="#32770", visible=True, process=one.main.process)) == 1
    assert other.stands()
    question.click(IDNO)
    question.wait_until_gone()
    one.command(COMMAND_EXIT)
    one.box(QUIT_QUESTION).click(IDNO)  # and it can be asked anew


def test_the_filter_is_switched_once_at_a_time(program, driver):
    one = program()
    one.command(COMMAND_SWITCH_FILTER)
    question = one.box(DISABLE_QUESTION)
    one.command(COMMAND_SWITCH_FILTER)
    one.main.send(0)
    assert len(driver.windows(kind="#32770", visible=True, process=one.main.process)) == 1
    eventually(lambda: question.focus()["foreground"] == question.handle, what="the question in front")
    question.click(IDNO)
    question.wait_until_gone()
    one.command(COMMAND_SWITCH_FILTER)
    one.box(DISABLE_QUESTION).click(IDNO)


def test_quitting_over_an_unanswered_question(program):
    """It is not taken for a Yes."""
    one = program()
    one.command(COMMAND_SWITCH_FILTER)
    one.box(DISABLE_QUESTION)
    one.command(COMMAND_EXIT)
    one.box(QUIT_QUESTION).click(IDYES)
    code, seconds = one.wait_for_end()
    assert code == 0 and seconds < 5
    assert one.setting("Enable") is None


@pytest.mark.parametrize("command", [COMMAND_EXIT, COMMAND_SWITCH_FILTER])
def test_a_double_click_runs_the_chosen_command(program, command):
    one = program({"TrayDblClk": command})
    if command == COMMAND_EXIT:
        one.tray(LEFT_DOUBLE)
    else:
        Tray(one).click(1, "--repeat", "2", "--delay", "60")
    box = one.box(OPENS[command])
    box.click(IDNO)
    box.wait_until_gone()


def test_a_double_click_opens_the_recycle_bin_unless_another_command_is_chosen(program):
    one = program()
    one.tray(LEFT_DOUBLE)
    window = one.box(title="Recycle bin")
    window.close_box()
    window.wait_until_gone()


def test_a_double_click_on_a_command_without_a_window(program):
    one = program({"TrayDblClk": 40006})
    one.tray(LEFT_DOUBLE)
    one.main.send(0)
    assert one.no_box()


def test_the_icon_comes_back_with_a_new_taskbar(program, driver, desktop):
    """A shell that starts anew has lost every icon and tells so by this message."""
    one = program()
    tray = Tray(one)
    assert one.main.send(driver.ask("registered", name="TaskbarCreated")) == 0
    assert len(docked(desktop)) == 1
    eventually(lambda: tray.shown() == PLAIN, what="the plain icon")
    assert one.main.send(WM_COMMAND, IDCANCEL) == 0  # it still answers
