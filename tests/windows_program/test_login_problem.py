# SPDX-License-Identifier: MIT
"""What the Windows program shows when a login to a server fails: a notification, and whether to trust a certificate."""

import re
import time

from driver import IDNO, IDYES
from messages import ham
from program import eventually, free_port

NO_LOGIN = b"-ERR Password isn't correct"


def login_fails(client, one, port, host="localhost", name="jane"):
    raw = client(one)
    raw.user(port, name, host=host)
    assert raw.ask("PASS secret") == NO_LOGIN
    raw.ended()


def notice_begins(one, words, port):
    return any(text.startswith(words) and f"localhost:{port}" in text for text in one.notices())


def balloons(one):
    """What the shell shows at icons; it comes two seconds late there."""
    return one.driver.windows(kind="tooltips_class32", visible=True)


def test_certificate_is_asked_about(program, client, server, authority, picture):
    first, second = authority.issue("DNS:localhost"), authority.self_signed("DNS:localhost")
    upstream = server(ham(1), tls=first.server_context())
    name = f"localhost:{upstream.port}"
    one = program(None, {"Security": "tls"})
    login_fails(client, one, upstream.port)
    box = one.box(containing=f"The certificate of {name} is not accepted")
    words = next(c["text"] for c in box.controls() if name in c["text"])
    pairs = re.findall("..", first.fingerprint().upper())
    for part in ("CN=test server", "unable to get local issuer certificate", "Do you want to trust",
                 "Account: jane @ localhost\n", ":".join(pairs[:16]) + ":\n" + ":".join(pairs[16:]) + "\n"):
        assert part in words, part
    assert box.focus()["focus_id"] == IDNO
    picture("trust-question", box.place)
    # Mail goes on, and the same server is not asked about twice.
    login_fails(client, one, upstream.port)
    time.sleep(1)
    assert len([w for w in one.driver.windows(kind="#32770", title=box.title, visible=True)
                if any(name in c["text"] for c in w.controls())]) == 1
    box.click(IDYES)
    box.wait_until_gone()
    eventually(lambda: one.setting(name, "CERTIFICATES") == first.fingerprint(), what="the pin")
    raw = client(one).login(upstream.port, host="localhost")
    assert raw.stat()[0] == 1
    raw.quit()

    before = upstream.raw()
    upstream.tls = second.server_context()
    login_fails(client, one, upstream.port)
    box = one.box(containing="has CHANGED")
    box.click(IDNO)
    box.wait_until_gone()
    login_fails(client, one, upstream.port)
    time.sleep(1)
    assert not [w for w in one.driver.windows(kind="#32770", visible=True)
                if any("CHANGED" in c["text"] for c in w.controls())]
    assert one.setting(name, "CERTIFICATES") == first.fingerprint() and upstream.raw() == before


def test_failed_login_is_notified_once(program, client, picture):
    one = program()
    port = free_port()
    login_fails(client, one, port)
    eventually(lambda: balloons(one), what="a notification")
    picture("login-notification", balloons(one)[0].place)
    eventually(lambda: not balloons(one), 40, "the notification's end")
    login_fails(client, one, port)
    time.sleep(4)
    assert not balloons(one)
    login_fails(client, one, port, name="bob")
    eventually(lambda: notice_begins(one, "bob @ localhost: ", port), what="the other account's notification")
    # Over the one that is shown still; the shell gives each its time.
    other = free_port()
    login_fails(client, one, other, name="bob")
    eventually(lambda: notice_begins(one, "bob @ localhost: ", other), 40, "the other server's notification")


def test_nothing_is_notified_where_it_shall_not_be(program, client):
    one = program({"ShowErrors": 0})
    login_fails(client, one, free_port())
    time.sleep(4)
    assert not balloons(one)
