# SPDX-License-Identifier: MIT
"""The window that sets up a mail account, and the first start that points to it."""

import os
import time

import pytest

from driver import IDCANCEL, IDNO, IDYES, WM_COMMAND
from dovecot import PASSWORD, Dovecot
from messages import ham
from program import eventually, free_port
from scripted_server import reply, then_silence
from settings import CB_SETCURSEL, CBN_SELCHANGE, CONNECTION, Settings
from windows_program import COMMAND_EXIT, LEFT_UP

ACCOUNT = 40020
CAPTION = "Set up a mail account"
(USER, SERVER, PORT, SECURITY, KEEP, NOTE, SECRET, TEST, STOP, RESULT, LOCAL_SERVER, COPY_SERVER, LOCAL_PORT, COPY_PORT,
 LOCAL_USER, COPY_USER, MAIL_PROGRAM, STEPS) = range(1150, 1168)
CONNECTION_BUTTON = 1158
TLS, STARTTLS, NONE = range(3)
BALLOON_CLICK = 1029  # NIN_BALLOONUSERCLICK
OFFER = "Click here to set up a mail account"
CBN_EDITCHANGE = 5


class Account:
    """The window as a person works it."""

    def __init__(self, one, is_open=False):
        self.one = one
        if not is_open:
            one.command(ACCOUNT)
        self.window = one.box(title=CAPTION)

    def text(self, number):
        return self.window.text(number).replace("\r\n", "\n")

    def type(self, number, text):
        control = self.window.control(number)
        assert self.one.driver.ask("set_text", window=control["window"], text=text)
        if control["class"] == "ComboBox":  # tells of the person's keys alone
            self.window.send(WM_COMMAND, CBN_EDITCHANGE << 16 | number, control["window"])

    def choose(self, number, place):
        box = self.window.control(number)["window"]
        self.one.driver.ask("send", window=box, message=CB_SETCURSEL, wparam=place)
        self.window.send(WM_COMMAND, CBN_SELCHANGE << 16 | number, box)

    def chosen(self, number):
        there = self.one.driver.ask("choices", window=self.window.control(number)["window"])
        return there["texts"][there["chosen"]]

    def enter(self, port, security=NONE, user="ann", server="localhost"):
        self.type(USER, user)
        self.type(SERVER, server)
        self.choose(SECURITY, security)
        self.type(PORT, str(port))

    def start(self, password=PASSWORD):
        self.type(RESULT, "")
        self.type(SECRET, password)
        self.window.click(TEST)
        eventually(lambda: self.window.control(STOP)["enabled"] or self.result_is_there(), what="the test's begin")

    def result_is_there(self):
        return self.text(RESULT) not in ("", "The account is being tested...")

    def result(self, timeout=20):
        eventually(lambda: self.window.control(TEST)["enabled"] and self.result_is_there(), timeout, "a result")
        return self.text(RESULT)

    def test(self, password=PASSWORD):
        self.start(password)
        return self.result()


@pytest.fixture(scope="module")
def tls_dovecot(authority):
    """Its certificate is signed by itself."""
    one = Dovecot(free_port(), free_port(), authority.self_signed("DNS:localhost"))
    yield one
    one.stop()


def files(one):
    """What is in the program's directory, by name; of a folder only that it is there."""
    return {name: one.read(name) if os.path.isfile(one.path(name)) else None
            for name in os.listdir(one.directory) if not name.endswith((".lock", ".exe"))}


def test_it_proposes_and_copies(program, driver, picture):
    one = program()
    before = files(one)
    account = Account(one)
    account.type(USER, "ann@gmx.de")
    assert (account.text(SERVER), account.text(PORT), account.chosen(SECURITY)) == ("pop.gmx.net", "995", "TLS")
    assert "switched on in the provider's web pages" in account.text(NOTE)
    assert (account.text(LOCAL_SERVER), account.text(LOCAL_PORT)) == ("127.0.0.1", str(one.port))
    assert account.text(LOCAL_USER) == "pop.gmx.net&ann@gmx.de&995"
    for button, field in ((COPY_SERVER, LOCAL_SERVER), (COPY_PORT, LOCAL_PORT), (COPY_USER, LOCAL_USER)):
        account.window.click(button)
        eventually(lambda f=field: driver.ask("clipboard") == account.text(f), what="the text in the clipboard")
    picture("account", account.window.place)
    account.type(USER, "a&b@example.org")
    assert account.text(LOCAL_USER) == "pop.example.org&a&&b@example.org&995"
    assert "Thunderbird" == account.chosen(MAIL_PROGRAM) and "transmitted insecurely" in account.text(STEPS)
    account.choose(MAIL_PROGRAM, 1)
    assert "menu File" in account.text(STEPS)
    account.window.click(IDCANCEL)
    account.window.wait_until_gone()
    assert files(one) == before


def test_a_login_that_works(program, dovecot, client, picture):
    dovecot.mailbox("setup", [ham(1), ham(2)])
    one = program()
    before = files(one)
    account = Account(one)
    account.enter(dovecot.port, user="setup")
    account.start()
    assert account.window.text(SECRET) == ""
    assert account.result() == "The login works. Messages in the mailbox: 2."
    picture("account-works", account.window.place)
    assert dovecot.left("setup") == 2
    assert {**files(one), "server.log": None} == {**before, "server.log": None}
    log = one.read("server.log")
    assert b"PASS ********" in log and PASSWORD.encode() not in log and b"RETR" not in log and b"DELE" not in log
    # What it says to type into the mail program is what works there.
    raw = client(one)
    raw.ask("USER " + account.text(LOCAL_USER))
    assert raw.ask("PASS " + PASSWORD).startswith(b"+OK")
    assert raw.stat()[0] == 2
    raw.quit()


def test_what_can_go_wrong_is_said_in_words(program, dovecot, server, picture):
    dovecot.mailbox("wrong", [ham(1)])
    one = program()
    account = Account(one)
    account.enter(dovecot.port, user="wrong")
    said = account.test("mistyped")
    assert "Check user name and password." in said and "mistyped" not in said
    picture("account-refused", account.window.place)
    account.enter(free_port(), user="wrong")
    assert "Check server and port" in account.test()
    in_use = server(ham(1))
    in_use.when("PASS", reply(b"-ERR [IN-USE] another session\r\n"))
    account.enter(in_use.port)
    assert "ann @ localhost is in use right now" in account.test()
    account.enter(one.port)
    assert "Only the mail program gets 127.0.0.1." in account.test()
    # What is missing is asked for, and the focus is in its field.
    account.window.click(TEST)
    box = one.box("Enter a value!", title=CAPTION)
    box.close_box()
    box.wait_until_gone()
    eventually(lambda: account.window.focus()["focus_id"] == SECRET, what="the focus in the field")


def test_a_certificate_of_its_own_is_asked_about_and_pinned(program, tls_dovecot, picture):
    tls_dovecot.mailbox("pinned", [ham(1)])
    one = program()
    name = f"localhost:{tls_dovecot.tls_port}"
    account = Account(one)
    account.enter(tls_dovecot.tls_port, TLS, "pinned")
    account.start()
    question = one.box(f"The certificate of {name} is not accepted")
    picture("account-certificate", question.place)
    assert question.focus()["focus_id"] == IDNO
    question.click(IDNO)
    question.wait_until_gone()
    assert "certificate" in account.result()
    assert one.setting(name, "CERTIFICATES") is None
    account.start()
    one.box(f"The certificate of {name} is not accepted").click(IDYES)
    assert account.result().startswith("The login works. Messages in the mailbox: 1.")
    assert one.setting(name, "CERTIFICATES") is not None


def test_a_certificate_that_can_not_be_saved_is_told(program, tls_dovecot):
    tls_dovecot.mailbox("unsaved", [ham(1)])
    one = program()
    account = Account(one)
    account.enter(tls_dovecot.tls_port, TLS, "unsaved")
    os.chmod(one.path("Quillbeaker.ini"), 0o444)
    try:
        account.start()
        one.box("is not accepted").click(IDYES)
        said = account.result()
    finally:
        os.chmod(one.path("Quillbeaker.ini"), 0o644)
    assert "The setting could not be saved in" in said and "Quillbeaker.ini" in said
    assert one.setting(f"localhost:{tls_dovecot.tls_port}", "CERTIFICATES") is None


def test_the_security_is_kept_on_request(program, tls_dovecot):
    tls_dovecot.mailbox("kept", [ham(1)])
    one = program()
    account = Account(one)
    account.enter(tls_dovecot.port, STARTTLS, "kept")
    account.start()
    one.box("is not accepted").click(IDYES)
    assert "Mail checks still connect to this server with another security." in account.result()
    name = f"localhost:{tls_dovecot.port}"
    assert one.setting(name, "SECURITY") is None
    account.window.click(KEEP)
    eventually(lambda: one.setting(name, "SECURITY") == "starttls", what="the row")
    assert name in account.text(RESULT)
    assert "another security" not in account.test()


def start_endless_test(one, server):
    """At a server that never answers the password."""
    upstream = server(ham(1))
    upstream.when("PASS", then_silence())
    account = Account(one)
    account.enter(upstream.port)
    account.start()
    eventually(lambda: b"PASS" in upstream.raw(), what="the password at the server")
    return account


def test_a_test_is_cancelled_at_once(program, server):
    one = program()
    account = start_endless_test(one, server)
    began = time.monotonic()
    account.window.click(STOP)
    assert account.result() == "The test was cancelled."
    assert time.monotonic() - began < 3


@pytest.mark.parametrize("way", ["close", "escape", "exit", "log off"])
def test_a_test_that_runs_holds_nothing_up(program, server, way):
    one = program()
    account = start_endless_test(one, server)
    began = time.monotonic()
    if way in ("close", "escape"):
        if way == "close":
            account.window.close_box()
        else:
            account.window.post(WM_COMMAND, IDCANCEL)
        account.window.wait_until_gone()
        assert time.monotonic() - began < 3
        # It opens again, and works.
        again = Account(one)
        assert again.text(RESULT) == "" and again.window.control(TEST)["enabled"]
        return
    if way == "exit":
        one.command(COMMAND_EXIT)
        one.box("Do you really want to quit").click(IDYES)
    else:
        one.log_off()
    code, _ = one.wait_for_end()
    assert code == 0 and time.monotonic() - began < 6


def test_quitting_while_the_certificate_is_asked_about(program, tls_dovecot):
    tls_dovecot.mailbox("quits", [ham(1)])
    one = program()
    account = Account(one)
    account.enter(tls_dovecot.tls_port, TLS, "quits")
    account.start()
    one.box("is not accepted")
    one.command(COMMAND_EXIT)
    one.box("Do you really want to quit").click(IDYES)
    code, _ = one.wait_for_end()
    assert code == 0
    assert one.setting(f"localhost:{tls_dovecot.tls_port}", "CERTIFICATES") is None


def test_the_settings_lead_to_it(program):
    one = program()
    dialog = Settings(one)
    dialog.page(CONNECTION).click(CONNECTION_BUTTON)
    account = Account(one, is_open=True)
    account.window.post(WM_COMMAND, IDCANCEL)
    account.window.wait_until_gone()
    assert dialog.window.stands()
    dialog.cancel()


def test_a_first_start_says_what_to_do(directory, picture):
    """Nothing opens by itself and nothing is written; the click opens the window."""
    one = directory()
    before = sorted(os.listdir(one.directory))
    one.start(wait=False)
    eventually(lambda: OFFER in " ".join(one.notices()), what="the notification")
    balloon = one.driver.windows(kind="tooltips_class32", visible=True)[0]
    picture("first-start", balloon.place)
    boxes = [w.title for w in one.driver.windows(kind="#32770", visible=True, process=one.main.process)]
    assert CAPTION not in boxes
    one.tray(LEFT_UP)
    one.main.send(0)
    assert not one.driver.windows(kind="#32770", title=CAPTION, visible=True)
    assert "Quillbeaker.ini" not in os.listdir(one.directory)
    one.tray(BALLOON_CLICK)
    account = Account(one, is_open=True)
    account.window.close_box()
    account.window.wait_until_gone()
    assert "Quillbeaker.ini" not in os.listdir(one.directory), sorted(os.listdir(one.directory)) + before
    one.tray(BALLOON_CLICK)  # of a notification that is gone
    one.main.send(0)
    assert not one.driver.windows(kind="#32770", title=CAPTION, visible=True)


@pytest.mark.parametrize("there", ["Quillbeaker.ini", "uniqueid.xml"])
def test_a_later_start_says_nothing(directory, there):
    one = directory()
    one.configure()
    if there == "uniqueid.xml":
        os.remove(one.path("Quillbeaker.ini"))
        one.write("uniqueid.xml", b'<?xml version="1.0"?>\n<uniqueid/>\n')
    one.start(wait=False)
    time.sleep(4)
    assert OFFER not in " ".join(one.notices())
    one.tray(BALLOON_CLICK)
    one.main.send(0)
    assert not one.driver.windows(kind="#32770", title=CAPTION, visible=True)


def test_setup_opens_the_window(directory):
    one = directory()
    one.configure()
    one.arguments = ["/setup"]
    one.start()
    account = Account(one, is_open=True)
    account.window.click(IDCANCEL)
    account.window.wait_until_gone()
    # A second start hands it over to the one that runs.
    other = directory()
    other.arguments = ["/Setup"]
    assert other.spawn().wait(20) == 0
    account = Account(one, is_open=True)
    eventually(lambda: account.window.focus()["foreground"] == account.window.handle, what="the window in front")
