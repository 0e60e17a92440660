# SPDX-License-Identifier: MIT
"""The local listener and one mail client's session, seen from the client's side."""

import os
import re
import shutil
import signal
import socket
import time

import pytest

from messages import ham, message, on_the_wire, parsed_size, spam
from program import PORT_IN_USE, day_number, eventually, executable, free_port, ini_text, run_cli
from raw_client import RawClient
from scripted_server import after


def listening_addresses(port):
    """The local addresses, in hexadecimal, of all sockets that listen on the port."""
    found = []
    for table in ("/proc/net/tcp", "/proc/net/tcp6"):
        if not os.path.exists(table):
            continue
        with open(table, encoding="ascii") as file:
            for line in file.readlines()[1:]:
                local, state = line.split()[1], line.split()[3]
                address, _, number = local.partition(":")
                if state == "0A" and int(number, 16) == port:
                    found.append(address)
    return found


def test_greets_and_listens_on_loopback_only(proxy):
    one = proxy()
    assert listening_addresses(one.port) == ["0100007F"]
    with RawClient(one.port, greeting=False) as raw:
        assert raw.until(b"\r\n") == b"+OK Ready\r\n"
        raw.nothing(0.2)


def test_port_of_the_file_is_used_without_the_option(program_directory):
    one = program_directory()
    port = free_port()
    one.configure(server={"Port": port})
    one.start(port=port, arguments=["run", "--directory", one.directory])
    assert listening_addresses(port) == ["0100007F"]


def test_port_option_is_not_written_to_the_file(proxy, client):
    one = proxy(server={"Port": 4711})
    client(one).quit()
    assert one.setting("Port", "SERVER") == "4711"
    assert str(one.port).encode() not in one.read("Quillbeaker.ini")


def test_without_any_file_everything_has_its_default(program_directory, client, server):
    upstream = server(ham(1))
    one = program_directory().start()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    assert upstream.numbers() == [1]
    assert b"Client Log started at: " in eventually(one.client_log)


def test_files_lie_beside_the_program_whatever_the_working_directory(program_directory, client, server, tmp_path):
    """Without --directory the program directory is the directory of the executable."""
    one = program_directory()
    copy = one.path("quillbeaker-cli")
    shutil.copy2(executable(), copy)
    upstream = server(ham(1), spam(1))
    port = free_port()
    one.configure(server={"Port": port})
    one.spam_words({"zorkmoney": 120})
    one.start(port=port, program=copy, cwd=tmp_path, arguments=["run"])
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    raw.quit()
    upstream.wait_for_end()
    for name in ("client.log", "server.log", "uniqueid.xml", "recycle/recyclebin.xml"):
        assert os.path.exists(one.path(name)), name
    assert os.path.isdir(one.path("training"))
    assert len(one.bin_files()) == 1
    one.stop()
    assert os.listdir(tmp_path) == []


def test_two_directories_run_side_by_side(proxy, client, server):
    upstream = server(ham(1))
    first, second = proxy(), proxy()
    with client(first) as one, client(second) as two:
        one.login(upstream.port)
        two.login(upstream.port)
        assert one.stat()[0] == two.stat()[0] == 1


def test_two_proxies_share_a_directory(proxy, program_directory, client, server):
    """There is no lock of an instance: what one has seen the other knows."""
    upstream = server(ham(1), spam(1))
    first = proxy()
    second = program_directory(first.directory).start()
    for one in (first, second):
        raw = client(one).login(upstream.port)
        assert raw.stat()[0] == 1
        raw.quit()
    assert upstream.count("RETR") == 2
    assert len(first.bin_files()) == 1


def test_second_client_waits_for_the_end_of_the_first(proxy, client):
    one = proxy()
    first = client(one)
    second = client(one, greeting=False)
    second.nothing(0.5)
    assert first.ask("STAT") == b"+OK 0 0"
    second.nothing(0.2)
    first.quit()
    assert second.line() == b"+OK Ready"
    assert second.ask("STAT") == b"+OK 0 0"


def test_clients_wait_in_the_backlog(proxy, client):
    one = proxy()
    first = client(one)
    waiting = [client(one, greeting=False) for _ in range(20)]
    first.quit()
    for raw in waiting:
        assert raw.line() == b"+OK Ready"
        raw.quit()


def test_split_command_is_two_commands(proxy, client):
    raw = client(proxy())
    raw.send(b"NO")
    assert raw.line() == b"-ERR Unknown command"
    raw.send(b"OP\r\n")
    assert raw.line() == b"-ERR Unknown command"
    raw.nothing(0.3)
    assert raw.ask("STAT") == b"+OK 0 0"


def test_piece_that_begins_with_a_command_word_is_that_command(proxy, client):
    raw = client(proxy())
    raw.send(b"STAT")
    assert raw.line() == b"+OK 0 0"
    raw.send(b"\r\n")
    assert raw.line() == b"-ERR Unknown command"


def test_two_commands_in_one_receive_are_one(proxy, client):
    raw = client(proxy())
    raw.send(b"STAT\r\nSTAT\r\n")
    assert raw.line() == b"+OK 0 0"
    raw.nothing(0.5)
    raw.send(b"STAT\r\nNOOP\r\n")
    assert raw.line() == b"+OK 0 0"
    raw.nothing(0.5)
    assert raw.ask("STAT") == b"+OK 0 0"


@pytest.mark.parametrize("word", ["quit", "Quit", "QUIT", "qUiT", "QUITTING"])
def test_quit_in_any_case_ends_the_session(proxy, client, word):
    raw = client(proxy())
    assert raw.ask(word) == b"+OK Everything done."
    raw.ended()


@pytest.mark.parametrize("text", [b"CAPA\r\n", b"AUTH PLAIN\r\n", b"APOP x y\r\n", b"HELO\r\n", b"\r\n", b"\0\r\n",
                                  b" STAT\r\n", b"\xff\xfe\r\n", b"STA\r\n", b"TO\r\n"])
def test_unknown_command_is_said_to_be_unknown(proxy, client, text):
    raw = client(proxy())
    raw.send(text)
    assert raw.until(b"\r\n") == b"-ERR Unknown command\r\n"
    assert raw.ask("STAT") == b"+OK 0 0"


def test_long_nonsense_is_answered_once_per_receive(proxy, client):
    """A receive takes at most 1024 bytes: 2000 bytes are at least two commands, and no crash."""
    one = proxy()
    raw = client(one)
    raw.send(b"X" * 2000)
    assert raw.line() == b"-ERR Unknown command"
    assert raw.line() == b"-ERR Unknown command"
    raw.nothing(0.5)
    raw.send(b"X" * 1024)
    assert raw.line() == b"-ERR Unknown command"
    raw.nothing(0.3)
    assert raw.ask("STAT") == b"+OK 0 0"
    assert one.running()


def test_binary_noise_does_no_harm(proxy, client):
    one = proxy()
    raw = client(one)
    noise = bytes((i * 7919 + i // 13) % 256 for i in range(50000))
    raw.send(noise)
    assert raw.line() == b"-ERR Unknown command"
    raw.close()
    assert client(one).ask("STAT") == b"+OK 0 0"


def test_disconnect_without_quit_changes_nothing(proxy, client, server):
    upstream = server(ham(1), spam(1), spam(2))
    one = proxy()
    raw = client(one).login(upstream.port)
    assert raw.stat()[0] == 1
    assert raw.ask("DELE 1") == b"+OK Message deleted"
    before = one.read("recycle/recyclebin.xml"), one.bin_files(), one.setting("Days", "STATS")
    raw.close()
    upstream.wait_for_end()
    with client(one) as second:
        assert second.ask("STAT") == b"+OK 0 0"
    assert upstream.count("DELE") == 0
    assert upstream.numbers() == [1, 2, 3]
    assert (one.read("recycle/recyclebin.xml"), one.bin_files(), one.setting("Days", "STATS")) == before
    assert one.bin_files() == []
    assert one.known_ids() == []
    # Nothing was decided for good: the next session hides the same mail.
    with client(one).login(upstream.port) as again:
        assert again.stat()[0] == 1


def test_upstream_is_told_quit_when_the_client_has_gone(proxy, client, server):
    upstream = server(ham(1))
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    raw.close()
    upstream.wait_for_end()
    assert upstream.commands(1)[-1] == "QUIT"


def test_greeting_comes_after_the_purge(proxy, client):
    one = proxy(settings={"RecycleBinMaxDays": 30})
    for days in (29, 30, 31):
        one.bin_entry(f"{day_number()}_10000{days % 10}_{days}.recycle", b"Subject: old\r\n\r\nold\r\n",
                      date=str(day_number() - days))
    raw = client(one)
    # No waiting here: what the greeting promises must have been done when it came.
    assert [e["date"] for e in one.bin_entries()] == [str(day_number() - 29)]
    assert [n.split("_")[2] for n in one.bin_files()] == ["29.recycle"]
    assert one.setting("RecycleOldMessagesLast") == str(day_number())
    raw.quit()


def test_purge_runs_once_a_day(proxy, client):
    one = proxy(settings={"RecycleBinMaxDays": 30})
    one.bin_entry("1_100000_1.recycle", b"Subject: old\r\n\r\nold\r\n", date=str(day_number() - 10))
    client(one).quit()
    assert len(one.bin_entries()) == 1
    text = one.read("Quillbeaker.ini").replace(b"RecycleBinMaxDays=30", b"RecycleBinMaxDays=5")
    assert b"RecycleBinMaxDays=5" in text
    one.write("Quillbeaker.ini", text)
    client(one).quit()
    assert len(one.bin_entries()) == 1 and len(one.bin_files()) == 1


def test_purge_day_is_written_also_without_an_index(proxy, client):
    one = proxy()
    os.remove(one.path("recycle/recyclebin.xml"))
    client(one).quit()
    assert one.setting("RecycleOldMessagesLast") == str(day_number())


def test_port_in_use_is_said_and_ends_with_one(program_directory):
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        taken.listen()
        port = taken.getsockname()[1]
        one = program_directory()
        done = run_cli("run", "--directory", one.directory, "--port", port, timeout=20)
    assert done.returncode == 1
    assert PORT_IN_USE.encode() in done.stdout + done.stderr
    assert b"configuration file" not in done.stdout + done.stderr
    assert f"port {port} of 127.0.0.1".encode() in done.stdout and b"--port" in done.stdout
    assert b"1024" not in done.stdout


def test_low_port_in_use_may_be_one_for_the_administrator(program_directory):
    with socket.socket() as taken:
        try:
            taken.bind(("127.0.0.1", 987))
            taken.listen()
        except PermissionError:
            pass  # then the program may not take it either
        done = run_cli("run", "--directory", program_directory().directory, "--port", 987, timeout=20)
    assert done.returncode == 1
    assert b"port 987 of 127.0.0.1" in done.stdout and b"Ports below 1024" in done.stdout


def test_a_directory_that_cannot_be_written_to_is_said(program_directory):
    one = program_directory()
    one.write("recycle", b"a file where the folder should be")
    one.start()
    one.stop()
    assert f'can not write to its directory "{one.path("recycle")}' in "".join(one.error_output())


@pytest.mark.parametrize("port", [0, 70000, -5, 65536, "abc"])
def test_port_key_out_of_range_is_a_failed_bind(program_directory, port):
    one = program_directory()
    one.write("Quillbeaker.ini", ini_text({"SERVER": {"Port": port}}))
    done = run_cli("run", "--directory", one.directory, timeout=20)
    assert done.returncode == 1
    value = 0 if port == "abc" else port
    assert done.stdout.decode().replace("\r\n", "\n").endswith(
        PORT_IN_USE + f"\nThe value of Port in the configuration file is {value}, "
        "but a port is a number from 1 to 65535.\n")


@pytest.mark.parametrize("port", ["0", "65536", "-1", "abc", "", "99999999999"])
def test_port_option_out_of_range_is_wrong_usage(program_directory, port):
    one = program_directory()
    done = run_cli("run", "--directory", one.directory, "--port", port, timeout=20)
    assert done.returncode == 2


@pytest.mark.parametrize("how", [signal.SIGINT, signal.SIGTERM])
def test_signal_ends_it_cleanly(proxy, how):
    one = proxy()
    one.stop(how)
    assert listening_addresses(one.port) == []


@pytest.mark.parametrize("how", [signal.SIGINT, signal.SIGTERM])
def test_signal_ends_it_in_the_middle_of_a_session(proxy, client, server, how):
    upstream = server(ham(1))
    one = proxy(server={"Timeout": 60})
    upstream.when("RETR", after(30))
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    upstream.wait_for_command("RETR")
    begun = time.monotonic()
    one.stop(how)
    assert time.monotonic() - begun < 10
    assert upstream.count("DELE") == 0


def test_address_can_be_taken_again_at_once(proxy, client, program_directory):
    """A restart on the same port does not wait for connections that are still closing."""
    one = proxy()
    port = one.port
    raw = client(one)
    one.stop()
    raw.close()
    second = program_directory()
    second.start(port=port)
    client(second).quit()


def test_start_creates_the_directories(program_directory):
    one = program_directory()
    one.start()
    for name in ("recycle", "training"):
        assert os.path.isdir(one.path(name))
        assert os.stat(one.path(name)).st_mode & 0o777 == 0o700


def test_status_is_plain_lines_without_a_terminal(proxy, client, server):
    upstream = server(ham(1), spam(1), spam(2))
    one = proxy()
    before = len(one.lines)
    for _ in range(2):
        raw = client(one).login(upstream.port)
        raw.stat()
        raw.quit()
    eventually(lambda: len(one.lines) >= before + 2, what="a status line per mail check")
    text = one.output()
    assert "\x1b" not in text and "\r" not in text.replace("\r\n", "\n")


def test_old_points_are_converted_and_told_once(program_directory):
    one = program_directory()
    one.write("spampoints.ini", ini_text({"POINTS": {"free": 70, "cash": 15}, "THRESHOLD": {"level50": 90}}))
    one.start()
    notice = "This version introduces a new spam filter."
    one.wait_for_output(re.escape(notice))
    one.stop()
    text = one.read("spampoints.ini").decode()
    assert re.search(r"(?mi)^free\s*=\s*100\s*$", text)
    assert re.search(r"(?mi)^cash\s*=\s*22\s*$", text)
    assert re.search(r"(?mi)^level50\s*=\s*90\s*$", text)
    assert "70" not in text
    assert one.setting("ConvertedSpamPoints096") == "1"
    again = one.read("spampoints.ini")
    one.start()
    one.stop()
    assert one.read("spampoints.ini") == again
    one.write("spampoints_user.ini", ini_text({"POINTS": {"late": 10}}))
    one.start()
    one.stop()
    assert re.search(rb"(?mi)^late\s*=\s*15\s*$", one.read("spampoints_user.ini"))
    assert (one.output() + one.error_output()).count(notice) == 1


def test_client_that_has_gone_ends_the_download(proxy, client, server):
    """The next client need not wait until everything is downloaded for one that has gone."""
    upstream = server(*[ham(n) for n in range(1, 41)])
    upstream.when("RETR", after(0.15))
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    upstream.wait_for_command("RETR", 2)
    waiting = client(one, greeting=False)
    raw.close()
    begun = time.monotonic()
    assert waiting.line() == b"+OK Ready"
    assert time.monotonic() - begun < 4
    assert upstream.count("RETR") < 20
    assert upstream.count("DELE") == 0
    assert one.known_ids() == []


def test_client_that_half_closes_counts_as_gone(proxy, client, server):
    upstream = server(*[ham(n) for n in range(1, 41)])
    upstream.when("RETR", after(0.15))
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.send(b"STAT\r\n")
    upstream.wait_for_command("RETR", 2)
    raw.half_close()
    upstream.wait_for_end(timeout=5)
    assert upstream.count("RETR") < 20


def test_client_that_leaves_in_the_middle_of_a_message(proxy, client, server):
    """More than the buffers of the connection hold: the send fails, the session ends, nothing else."""
    upstream = server(message(body="a line of a large message\r\n" * 400000))
    one = proxy(server={"Timeout": 30})
    raw = client(one).login(upstream.port)
    assert raw.stat(60)[0] == 1
    raw.send(b"RETR 1\r\n")
    raw.peek(100)
    raw.close()
    upstream.wait_for_end(timeout=40)
    with client(one) as second:
        assert second.ask("STAT") == b"+OK 0 0"


def test_client_that_reads_slowly_gets_everything(proxy, client, server):
    data = message(body="a line of a large message\r\n" * 400000)
    upstream = server(data)
    raw = client(proxy(server={"Timeout": 30})).login(upstream.port)
    assert raw.stat(60)[0] == 1
    raw.send(b"RETR 1\r\n")
    raw.wait_until_full()  # a sender that gives up then would be noticed below
    assert raw.line() == b"+OK %d" % parsed_size(data)
    assert raw.until(b"\r\n.\r\n", 60)[:-3] == on_the_wire(data)


def test_replies_are_not_held_back(proxy, client, server):
    """A message goes out without waiting for the acknowledgement of its status line (40 ms each)."""
    count = 60
    upstream = server(*[ham(n) for n in range(1, count + 1)])
    one = proxy()
    raw = client(one).login(upstream.port)
    raw.stat()
    times = []
    for number in range(1, count + 1):
        begun = time.monotonic()
        raw.retr(number)
        times.append(time.monotonic() - begun)
    assert sorted(times)[count // 2] < 0.02
    raw.quit()
