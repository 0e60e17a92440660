# SPDX-License-Identifier: MIT
"""What the benchmarks of the mail check share: real mail, the helper programs of bench/, and mail clients under a clock."""

import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

TOP = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TOP / "tests" / "e2e"))

import certificates  # noqa: E402
import dovecot  # noqa: E402
import program  # noqa: E402

BUILD = TOP / "build" / "native"
CORPUS = TOP / "build" / "deps" / "corpus"
GOOD_GROUPS = ("easy-ham-1", "easy-ham-2", "hard-ham-1")
# Where clients put what they fetch: how long a disk takes to make a file would hide what is measured.
MEMORY = "/dev/shm"
CLIENT_LIMIT = 200


# -- mail -------------------------------------------------------------------------------------
def corpus(groups=("*",)):
    """Real messages with CR LF line ends, as a server sends them."""
    subprocess.run([str(TOP / "tools" / "fetch-corpus.sh")], check=True)
    files = sorted(path for group in groups for path in CORPUS.glob(f"{group}/*.txt"))
    return [path.read_bytes().replace(b"\r\n", b"\n").replace(b"\n", b"\r\n") for path in files]


def spread(items, count):
    """So many of them from beginning to end; repeated when there are not enough."""
    step = max(1, len(items) // count)
    return (items[::step] * (count // len(items) + 1))[:count]


def good_mail(count, size=None):
    """So many different real messages that the filter as it is delivered lets through. With a size each has that many
    bytes: its text is cut, or goes on from its beginning, until it has."""
    mail = corpus(GOOD_GROUPS)
    candidates = list(dict.fromkeys(filter(None, (of_size(one, size) for one in mail)) if size else mail))
    with tempfile.TemporaryDirectory(dir=MEMORY) as directory:
        one = program.Quillbeaker(directory)
        deliver_spam_words(one)
        names = [one.write(f"mail/{index:05}", mail) for index, mail in enumerate(candidates)]
        verdicts = program.run_cli("classify", "--directory", directory, "--json", *names).stdout.splitlines()
    good = [mail for mail, verdict in zip(candidates, verdicts) if b'"spam":false' in verdict]
    assert len(good) >= count, f"only {len(good)} of {count} good messages"
    return spread(good, count)


def of_size(mail, size):
    """None where the header alone takes half of it."""
    header, _, body = mail.partition(b"\r\n\r\n")
    room = size - len(header) - len(b"\r\n\r\n") - len(b"\r\n")
    if not body or room < size // 2:
        return None
    text = (body * (room // len(body) + 1))[:room]
    if text.endswith(b"\r"):
        text = text[:-1] + b" "
    return header + b"\r\n\r\n" + text + b"\r\n"


def deliver_spam_words(quillbeaker):
    """The program as it is delivered: its own spam words, no settings, nothing learnt."""
    quillbeaker.write("spampoints.ini", (TOP / "resources" / "spampoints.ini").read_bytes())


# -- the helper programs ------------------------------------------------------------------------
class Helper:
    """A helper program of bench/ that listens on `port` until `stop`."""

    def __init__(self, name, *arguments):
        self.process = subprocess.Popen([BUILD / "bench" / name, *map(str, arguments)], stdout=subprocess.PIPE,
                                        preexec_fn=program.end_with_the_tests)
        line = self.process.stdout.readline().split()
        assert line[:1] == [b"listening"], f"{name} does not listen"
        self.port = int(line[1])

    def cpu_seconds(self):
        with open(f"/proc/{self.process.pid}/stat", encoding="ascii") as file:
            fields = file.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()


# -- mail clients -------------------------------------------------------------------------------
POPLIB = """
import poplib, sys
port, user, password, folder = sys.argv[1:]
box = poplib.POP3("127.0.0.1", int(port))
box.user(user)
box.pass_(password)
count = box.stat()[0]
box.list()
for number in range(1, count + 1):
    box.retr(number)
box.quit()
print(count)
"""


class Client:
    """One run of a mail client that fetches a whole mailbox; `seconds` is its wall time, `to_quit` the time from its
    login to its QUIT and `quit` that from there to the answer (both only in clear)."""

    def __init__(self, name, port, user, count, authority=None):
        self.folder = tempfile.mkdtemp(prefix="cl-", dir=MEMORY)
        os.mkdir(os.path.join(self.folder, "new"))
        clock = os.path.join(self.folder, "clock")
        environment = {"PATH": os.environ["PATH"], "HOME": self.folder, "LC_ALL": "C"}
        if authority is None:
            environment |= {"LD_PRELOAD": str(BUILD / "bench" / "client-clock.so"), "CLIENT_CLOCK": clock}
        command = getattr(self, f"_{name}")(port, user, count, authority)
        begun = time.perf_counter()
        done = subprocess.run(command, cwd=self.folder, env=environment, stdin=subprocess.DEVNULL, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=CLIENT_LIMIT)
        self.seconds = time.perf_counter() - begun
        fetched = int(done.stdout) if name == "poplib" else len(os.listdir(os.path.join(self.folder, "new")))
        assert done.returncode == 0 and fetched == count, f"{name} fetched {fetched} of {count}: {done.stdout[-500:]}"
        if authority is None:
            with open(clock, encoding="ascii") as file:
                self.to_quit, self.quit = map(float, file.read().split())
        shutil.rmtree(self.folder)

    def _curl(self, port, user, count, authority):
        login = f"{user.replace('&', '%26')}:{dovecot.PASSWORD}"
        scheme, host = ("pop3s", "localhost") if authority else ("pop3", "127.0.0.1")
        trust = ["--cacert", authority] if authority else []
        base = f"{scheme}://{login}@{host}:{port}/"
        return [program_path("curl"), "-sS", *trust, base, "-o", "list", f"{base}[1-{count}]", "-o", "new/#1"]

    def _mpop(self, port, user, _, authority):
        """As its users have it, who get pipelining where the server offers it."""
        for name in ("cur", "tmp"):
            os.mkdir(os.path.join(self.folder, name))
        tls = f"tls on\ntls_starttls off\ntls_trust_file {authority}" if authority else "tls off"
        configuration = os.path.join(self.folder, "mpoprc")
        with open(configuration, "w", encoding="utf-8", opener=lambda p, f: os.open(p, f, 0o600)) as file:
            file.write(f"account one\nhost {'localhost' if authority else '127.0.0.1'}\nport {port}\nuser {user}\n"
                       f"password {dovecot.PASSWORD}\nauth user\n{tls}\npipelining {'auto' if authority else 'off'}\n"
                       f"received_header off\nkeep on\nuidls_file {self.folder}/uidls\n"
                       f"delivery maildir {self.folder}\naccount default : one\n")
        return [program_path("mpop"), "-q", "-C", configuration]

    def _poplib(self, port, user, *_):
        return [sys.executable, "-c", POPLIB, str(port), user, dovecot.PASSWORD, self.folder]


def program_path(name):
    path = shutil.which(name)
    assert path, f"{name} is not installed"
    return path


def median(values):
    return statistics.median(values)
