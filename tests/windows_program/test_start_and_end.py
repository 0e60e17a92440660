# SPDX-License-Identifier: MIT
"""How the program starts and how it ends, also at the wrong moment."""

import os
import socket

from driver import IDNO, IDOK
from icons import PLAIN_UPPER_HALF, Tray, docked, wait_for_no_icon
from messages import ham
from program import PORT_IN_USE, WRONG_USER_NAME, eventually, make_directory
from scripted_server import then_silence
from settings import WORDS, Settings
from windows_program import COMMAND_EXIT, TITLE

CONVERTED = "This version introduces a new spam filter."


def test_the_main_window_is_never_seen(program, driver):
    one = program()
    assert [w.visible for w in driver.windows(kind=TITLE)] == [False]
    assert one.main.title == TITLE


def test_a_second_instance_ends_at_once(program, directory, driver):
    one = program()
    other = directory()
    other.configure()
    second = other.spawn()
    assert second.wait(20) == 1
    assert [w.handle for w in driver.windows(kind=TITLE)] == [one.main.handle]
    assert one.is_listening() and not other.is_listening()
    assert not os.path.exists(other.path("recycle"))


def test_port_in_use(directory, picture, other_window):
    one = directory()
    one.configure()
    other_window()
    with socket.create_server(("127.0.0.1", one.port)):
        one.start(wait=False)
        box = one.box(PORT_IN_USE)
        assert box.text() == PORT_IN_USE
        eventually(lambda: box.focus()["foreground"] == box.handle, what="the box before the other program")
        picture("port-in-use", box.place)
        # The icon says so as well, for as long as it lasts.
        tray = Tray(one, PLAIN_UPPER_HALF)
        eventually(lambda: tray.alarm() > 15, what="the exclamation mark")
        assert tray.tooltip() == "Quillbeaker 1.7.1 - mail programs are not served"
        picture("icon-not-serving", tray.place, margin=4)
        box.click(IDOK)
        box.wait_until_gone()
    # It serves nobody until it tries again, but its menu is alive.
    assert not one.is_listening()
    one.command(COMMAND_EXIT)
    one.box("Do you really want to quit").click(IDNO)


def test_port_in_use_and_log_off(directory):
    one = directory()
    one.configure()
    with socket.create_server(("127.0.0.1", one.port)):
        one.start(wait=False)
        one.box(PORT_IN_USE)
        one.log_off()
        code, seconds = one.wait_for_end()
    assert code == 0 and seconds < 5


def test_port_out_of_range(directory, picture):
    one = directory()
    one.configure(None, {"Port": 70000})
    one.start(wait=False)
    box = one.box(PORT_IN_USE)
    assert box.text() == (PORT_IN_USE + "\n\nThe value of Port in the configuration file is 70000, "
                          "but a port is a number from 1 to 65535.")
    picture("port-out-of-range", box.place)
    box.click(IDOK)
    box.wait_until_gone()


def test_a_directory_that_can_not_be_written_to(directory, picture):
    one = directory()
    one.configure()
    one.write("training", "a file where the directory should be")
    one.start()  # the listener does not wait for the answer
    box = one.box("can not write to its directory")
    assert box.text() == (f'Quillbeaker can not write to its directory "Z:{one.path("training")}".\n'
                          "Please move it to a directory you can write to.").replace("/", "\\")
    picture("read-only-directory", box.place)
    box.click(IDOK)
    box.wait_until_gone()


def test_converted_spam_words_are_told_once(directory, driver, picture):
    one = directory()
    one.configure()
    one.write("spampoints_user.ini", "[POINTS]\nzorkmoney=70\n")
    one.start(wait=False)
    notice = one.box(CONVERTED)
    picture("spam-words-converted", notice.place)
    assert "from 0% to 100%" in notice.text()
    assert os.path.exists(one.path("recycle/recyclebin.xml"))
    assert not one.is_listening()
    # What is chosen in the menu meanwhile waits for the stores.
    one.command(COMMAND_EXIT)
    notice.send(0)
    assert len(driver.windows(kind="#32770", visible=True)) == 1
    notice.click(IDOK)
    notice.wait_until_gone()
    question = one.box("Do you really want to quit")
    assert one.setting("ConvertedSpamPoints096") == "1"
    assert Settings(one, page=WORDS).shown() == WORDS
    question.click(IDNO)
    question.wait_until_gone()
    eventually(one.is_listening, what="the listening port")
    one.stop()
    one.start()
    assert one.no_box()


def test_a_unicode_path(directory, client, server):
    place = os.path.join(make_directory(), "Ünïcode-中文 %41")
    os.mkdir(place)
    one = directory(place)
    one.configure()
    one.start()
    raw = client(one).login(server(ham(1)).port)
    assert raw.stat()[0] == 1
    raw.quit()
    eventually(lambda: one.known_ids(), what="the list of known ids")
    assert one.client_log() and os.path.exists(one.path("recycle/recyclebin.xml"))


def quit_by_menu(one):
    one.command(COMMAND_EXIT)
    one.box("Do you really want to quit").click(6)
    code, seconds = one.wait_for_end()
    assert code == 0 and seconds < 7


def test_quitting_with_a_session_open(program, client, server, desktop):
    one = program()
    Tray(one)
    upstream = server(ham(1))
    upstream.when("RETR", then_silence())
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    upstream.wait_for_command("RETR")
    quit_by_menu(one)
    wait_for_no_icon(desktop)


def test_quitting_with_the_box_about_the_user_name_open(program, client, desktop):
    one = program()
    Tray(one)
    client(one).send(b"USER jane\r\n")
    one.box(WRONG_USER_NAME)
    quit_by_menu(one)
    wait_for_no_icon(desktop)


def test_the_end_of_the_windows_session(program, client, server, desktop):
    """No question is asked, whatever is going on."""
    one = program()
    Tray(one)
    client(one).login(server(ham(1)).port)
    one.command(COMMAND_EXIT)
    one.box("Do you really want to quit")
    one.log_off()
    code, seconds = one.wait_for_end()
    assert code == 0 and seconds < 7
    assert not docked(desktop)


def test_a_wrong_user_name(program, client, picture, other_window):
    one = program()
    other_window()
    raw = client(one)
    raw.send(b"USER jane\r\n")
    box = one.box(WRONG_USER_NAME)
    eventually(lambda: box.focus()["foreground"] == box.handle, what="the box before the mail program")
    assert box.text() == (WRONG_USER_NAME + "\nUse the right format: [pop3server]&[username]&[port]")
    picture("wrong-user-name", box.place)
    # The next client waits; there is never a second box.
    waiting = client(one, greeting=False)
    waiting.nothing(0.3)
    assert len(one.driver.windows(kind="#32770", title=TITLE, visible=True, process=one.main.process)) <= 2
    box.click(IDOK)
    assert raw.line().startswith(b"-ERR")
