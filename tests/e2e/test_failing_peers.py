"""A daemon, a schema database and a disk that fail at every point."""

import os
import signal
import socket
import struct
import subprocess
import threading
import time

import pytest
from support import tarnd as daemon
from support.example import EXAMPLE
from support.shell import ERROR, TIMEOUT

REQUEST = "get /acme/empty"
ASKED = f"/$ {REQUEST}\n".encode()
ENDED = b"\nReceive signal=15 and exit\n"
GONE = b"\nReceive signal=13 and exit\n"
NO_SERVER = b"failed to connect ncserver!\r\n"


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(EXAMPLE)


STARTED = b"/$ pwd\n/\r\n/$ \n"


def started(machine):
    """A shell that waits for a line."""
    shell = machine.start()
    shell.send("pwd\n\n")
    shell.expect(STARTED[:-1])
    return shell


def frame_of(body):
    data = body.encode()
    return struct.pack("<IIHH", daemon.MAGIC, len(data), 0, 0) + data


REPLY = frame_of("<a>b</a>")
CREATED = frame_of(daemon.session_reply())
OF_REPLY = range(len(REPLY))
OF_CREATED = [*range(14), *range(14, len(CREATED), 9), len(CREATED) - 1]


def test_the_daemon_dies_after_every_byte_of_a_reply(machine):
    """Each time the shell goes on, until a request of its own finds nobody."""
    for count in OF_REPLY:
        machine.tarnd.on_request = lambda request, sent=count: [
            daemon.raw(REPLY[:sent]),
            daemon.close,
        ]
        shell = machine.start()
        shell.send(f"pwd\n{REQUEST}\npwd\nset /acme/hostname a\nget-config -l\nquit\n")
        result = shell.wait()
        assert (count, result.status, result.stderr) == (count, 0, b"")
        assert result.stdout == (
            b"/$ pwd\n/\r\n" + ASKED + b"/$ pwd\n/\r\n/$ set /acme/hostname a\n"
            b'/$ get-config -l\n<hostname xmlns="urn:acme">a</hostname>\n/$ quit\n'
        )


def test_the_daemon_dies_after_every_byte_of_its_greeting(machine):
    for count in OF_CREATED:
        machine.tarnd.session_reply = [daemon.raw(CREATED[:count]), daemon.close]
        result = machine.one_shot("pwd")
        assert (count, result.status, result.stdout) == (count, 255, NO_SERVER)


def test_the_daemon_stalls_after_every_byte_of_a_reply(machine):
    """Whatever has arrived of a reply, SIGTERM ends the shell.

    (A part of a header is a failure at once; then it waits for a line.)"""
    stalled = threading.Event()
    shells = []
    for count in OF_REPLY:
        machine.tarnd.on_request = lambda request, sent=count: [
            daemon.raw(REPLY[:sent]),
            daemon.pause(stalled),
        ]
        shell = machine.start()
        shell.send(REQUEST + "\n")
        machine.tarnd.wait_requests(len(shells) + 1)
        shells.append(shell)
    for shell in shells:
        assert shell.process.poll() is None
        shell.signal(signal.SIGTERM)
    for shell in shells:
        result = shell.wait()
        assert (result.status, result.stdout, result.stderr) == (1, ASKED + ENDED, b"")
    stalled.set()


def test_the_daemon_stalls_after_every_byte_of_its_greeting(machine):
    stalled = threading.Event()
    for number, count in enumerate(OF_CREATED):
        machine.tarnd.session_reply = [daemon.raw(CREATED[:count]), daemon.pause(stalled)]
        shell = machine.start("pwd")
        machine.tarnd.wait(lambda: len(machine.tarnd.frames) > number)
        is_part_of_header = 0 < count < 12
        if not is_part_of_header:
            shell.signal(signal.SIGTERM)
        result = shell.wait()
        expected = (255, NO_SERVER) if is_part_of_header else (1, ENDED)
        assert (count, result.status, result.stdout) == (count, *expected)
    stalled.set()


def test_the_daemon_stalls_inside_a_notification(machine):
    """The listener waits for the rest, a request for the listener, SIGTERM for nobody."""
    machine.tarnd.on_request = lambda request: []  # nothing that would be taken for the rest
    event = frame_of(daemon.notification("<event/>"))
    for count in (12, 13, len(event) - 1):
        known = len(machine.tarnd.sessions)
        shell = started(machine)
        session = machine.tarnd.sessions[known]
        session.send_raw(event[:count])
        shell.send(REQUEST + "\nquit\n")
        time.sleep(2)  # either of the two threads is at the rest of the frame
        assert shell.process.poll() is None
        shell.signal(signal.SIGTERM)
        result = shell.wait()
        assert (result.status, result.stderr) == (1, b"")
        assert result.stdout == STARTED + ASKED + ENDED


@pytest.mark.parametrize("garbage", [b"\xff", b"A"], ids=["ff", "text"])
def test_garbage_after_every_byte_of_a_reply(machine, garbage):
    """A stream that is out of step: no crash, and SIGTERM or quit ends the shell."""
    for count in OF_REPLY:
        machine.tarnd.on_request = lambda request, sent=count: [
            daemon.raw(REPLY[:sent] + garbage * 64),
            daemon.close,
        ]
        shell = machine.start()
        shell.send(f"{REQUEST}\npwd\nquit\n")
        result = shell.wait()
        assert (count, result.status, result.stderr) == (count, 0, b"")
        assert result.stdout.startswith(ASKED)
        assert result.stdout.endswith(b"/$ pwd\n/\r\n/$ quit\n")


def test_what_is_staged_survives_a_daemon_that_dies(machine):
    machine.tarnd.on_request = lambda request: [daemon.close]
    staged = '<hostname xmlns="urn:acme">a</hostname>\n'
    machine.dialogue(
        ("/$ ", "set /acme/hostname a", ""),
        ("/$ ", REQUEST, ""),
        ("/$ ", "get-config -l", staged),
    )


def test_the_profile_keeps_its_lines_when_a_commit_gets_no_answer(machine):
    machine.one_shot("set", "/acme/hostname", "a")
    with open(machine.profile, "rb") as file:
        before = file.read()
    machine.tarnd.on_request = lambda request: [daemon.close]
    result = machine.one_shot("commit")
    assert (result.status, result.stdout) == (0, b"Read message failed. \r\n")
    with open(machine.profile, "rb") as file:
        assert file.read() == before
    machine.tarnd.on_request = None
    assert machine.one_shot("commit").status == 0
    assert ">a</hostname>" in machine.tarnd.requests[-1]


def test_a_daemon_that_is_gone_ends_the_shell_at_its_next_request(machine):
    shell = started(machine)
    machine.tarnd.wait_session().close()
    shell.send(REQUEST + "\n")
    result = shell.wait()
    assert (result.status, result.stdout) == (1, STARTED + ASKED + GONE)


class DatabaseProxy:
    """Stands between the shell and its database and spoils one answer.

    `spoil` is called with the number of an answer and its bytes; it returns the
    bytes to hand on, or None to end the connection."""

    def __init__(self, path, real):
        self.real = real
        self.spoil = lambda number, data: data
        self.answers = 0
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(path)
        self.listener.listen(16)
        self.thread = threading.Thread(target=self._accept, daemon=True)
        self.thread.start()

    def _accept(self):
        while True:
            try:
                client = self.listener.accept()[0]
            except OSError:
                return
            threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    def _serve(self, client):
        with client, socket.socket(socket.AF_UNIX) as server:
            server.connect(self.real)
            while True:
                try:
                    query = client.recv(65536)
                    if not query:
                        return
                    server.sendall(query)
                    answer = self.spoil(self.answers, read_answer(server))
                    self.answers += 1
                    if answer is None:
                        return
                    client.sendall(answer)
                except OSError:
                    return

    def stop(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join(TIMEOUT)


def read_answer(server):
    """One whole answer in the database's protocol."""
    data = b""
    while answer_end(data, 0) is None:
        data += server.recv(65536)
    return data


def answer_end(data, start):
    """Where the answer that starts here ends; None when more of it must come."""
    line_end = data.find(b"\r\n", start)
    if line_end < 0:
        return None
    at = line_end + 2
    kind, number = data[start : start + 1], data[start + 1 : line_end]
    if kind == b"$" and int(number) >= 0:
        at += int(number) + 2
        return at if at <= len(data) else None
    if kind == b"*":
        for _ in range(int(number)):
            at = answer_end(data, at)
            if at is None:
                return None
    return at


@pytest.fixture
def proxy(machine):
    between = DatabaseProxy(machine.path("proxy.sock"), machine.redis.socket)
    machine.environment["SCHEMA_REDIS"] = "/tmp/proxy.sock"
    yield between
    between.stop()


def bulk(data):
    return b"$%d\r\n%s\r\n" % (len(data), data)


SPOILED = {
    "gone": lambda data: None,
    "nil": lambda data: b"$-1\r\n",
    "an error": lambda data: b"-ERR the disk is on fire\r\n",
    "a number": lambda data: b":42\r\n",
    "a status": lambda data: b"+OK\r\n",
    "an empty list": lambda data: b"*0\r\n",
    "an odd list": lambda data: b"*1\r\n$4\r\nonly\r\n",
    "a list of lists": lambda data: b"*2\r\n*0\r\n*0\r\n",
    "a short record": lambda data: bulk(b"\x41\0\0"),
    "a record of its minimum": lambda data: bulk(b"\x41" + bytes(42)),
    "a record that points outside": lambda data: bulk(b"\x81\0" + b"\xff" * 18),
    "a record that points far": lambda data: bulk(
        b"\x81\0" + bytes(10) + struct.pack("<hhhh", 32000, 32001, 0, 32767)
    ),
    "an oversized record": lambda data: bulk(b"\x81\0" + b"A" * 2_000_000),
    "no protocol": lambda data: b"HTTP/1.0 400 Bad Request\r\n\r\n",
    "half": lambda data: data[: len(data) // 2] + b"\r\n",
}
SESSION = (
    "cd acme", "ls", "cd box", "ls", "set name a", "set kind extra:x", "cd port", "ls",
    "add-listentry id 1", "get /acme/box", "get-config -l", "commit", "quit", "quit",
)  # fmt: skip


def typed(machine):
    shell = machine.start()
    shell.send("".join(line + "\n" for line in SESSION))
    return shell.wait()


@pytest.mark.parametrize("how", SPOILED)
def test_the_database_fails_at_every_lookup(machine, proxy, how):
    """Whatever one lookup finds, the session comes to its end."""
    result = typed(machine)
    assert result.status == 0
    total = proxy.answers
    assert total > 20
    # The shell waits some seconds for the rest of an answer.
    step = total // 2 if how == "half" else 1 if os.environ.get("VANDEL_EVERY_LOOKUP") else 5
    for number in range(1, total, step):
        proxy.answers = 0
        proxy.spoil = lambda at, data, bad=number: SPOILED[how](data) if at == bad else data
        result = typed(machine)
        assert (number, result.status, result.stderr) == (number, 0, b"")
        assert result.stdout.startswith(b"/$ cd acme\n")
        assert result.stdout.endswith(b"quit\n")


def test_the_database_goes_away_for_good(machine, proxy):
    """Commands that need no schema work on; the others have their messages."""
    shell = started(machine)
    proxy.spoil = lambda at, data: None
    shell.send("set /acme/hostname a\nls\npwd\nquit\n")
    result = shell.wait()
    assert (result.status, result.stderr) == (0, b"")
    assert result.stdout == (
        STARTED + b"/$ set /acme/hostname a\nerror parameter: /acme/hostname\r\n"
        b"/$ ls\n/$ pwd\n/\r\n/$ quit\n"
    )


def on_small_disk(machine, script):
    """Runs a script that has 64 KiB of disk in /tmp/small, where it is."""
    os.mkdir(machine.path("small"))
    words = machine.command("/bin/sh", "-c", SMALL_DISK + script)
    # fmt: off
    return subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True,
                          env=machine.environ(), timeout=TIMEOUT, check=False)
    # fmt: on


SMALL_DISK = "mount -t tmpfs -o size=64k none /tmp/small || exit 9; cd /tmp/small;"
VANDEL = "/tmp/.build/vandel"


def content(path):
    with open(path, "rb") as file:
        return file.read()


def test_an_export_to_a_full_disk(machine):
    machine.tarnd.on_request = lambda request: request.data("x" * 200_000)
    result = on_small_disk(machine, f"{VANDEL} export-config running /tmp/small/out; ls >/tmp/left")
    assert (result.returncode, result.stderr) == (0, b"")
    assert result.stdout == b"write config file fail.\r\nexport config fail.\r\n"
    assert (ERROR, "[ERROR] write file fail.\n\n") in machine.log.texts()
    assert content(machine.path("left")) == b""


def test_a_profile_on_a_full_disk_keeps_what_is_staged(machine):
    """The line that does not fit is refused; all others stay, and can be sent."""
    for number in range(12):
        path = f"/acme/box/port[id={number}]/mtu"
        assert machine.one_shot("set", path, "9" * 280).stdout == b""
    before = content(machine.profile)
    assert 3500 < len(before) < 4096
    result = on_small_disk(
        machine,
        "cp ../vandel.conf . && chmod 600 vandel.conf && mount --bind vandel.conf ../vandel.conf;"
        "dd if=/dev/zero of=filler bs=4096 2>/dev/null;"
        f"{VANDEL} set /acme/box/name {'x' * 900}; cp vandel.conf ../left;"
        f"{VANDEL} commit >../sent",
    )
    assert (result.returncode, result.stdout) == (0, b"add cmd error!\r\n")
    assert content(machine.path("left")) == before
    (request,) = machine.tarnd.requests
    assert request.count("<mtu>") == 12
    assert "<name>" not in request


def test_output_that_finds_no_room(machine):
    words = machine.command("/bin/sh", "-c", f"{VANDEL} help >/dev/full; echo $?")
    # fmt: off
    result = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True,
                            env=machine.environ(), timeout=TIMEOUT, check=False)
    # fmt: on
    assert (result.returncode, result.stdout, result.stderr) == (0, b"0\n", b"")
