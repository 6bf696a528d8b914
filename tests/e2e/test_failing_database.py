"""A schema database that fails at every look-up."""

import os
import socket
import struct
import threading

import pytest
from support import servers
from support.schema_db import CASE, CHOICE, LEAF, module_record, node_record
from support.shell import TIMEOUT

pytestmark = pytest.mark.usefixtures("example")


class DatabaseProxy:
    """Stands between the shell and its database and spoils one answer.

    `spoil` is called with the number of an answer and its bytes; it returns the
    bytes to hand on, or None to end the connection."""

    def __init__(self, path, real):
        self.real = real
        self.spoil = lambda number, data: data
        self.answers = 0
        self.listener = servers.Listener(path, self._take)

    def _take(self, client):
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
        self.listener.stop(TIMEOUT)


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
    """Lines so long that none is read ahead as a whole: each looks up what it needs itself."""
    shell = machine.start()
    shell.send("".join(line.ljust(5000) + "\n" for line in SESSION))
    return shell.wait()


@pytest.mark.parametrize("how", SPOILED)
def test_the_database_fails_at_every_lookup(machine, proxy, how):
    """Whatever one lookup finds, the session comes to its end."""
    result = typed(machine)
    assert result.status == 0
    total = proxy.answers
    assert total > 20
    # Of half an answer the shell waits some seconds for the rest.
    step = 1 if how != "half" or os.environ.get("VANDEL_EVERY_LOOKUP") else total // 2
    for number in range(1, total, step):
        proxy.answers = 0
        proxy.spoil = lambda at, data, bad=number: SPOILED[how](data) if at == bad else data
        result = typed(machine)
        assert (number, result.status, result.stderr) == (number, 0, b"")
        assert result.stdout.startswith(b"/$ cd acme ")
        assert result.stdout.rstrip().endswith(b"quit")


def test_the_database_goes_away_for_good(machine, proxy):
    """Commands that need no schema work on; the others have their messages."""
    shell = machine.start()
    shell.send("pwd\n\n")
    shell.expect(b"/$ pwd\n/\r\n/$ ")
    proxy.spoil = lambda at, data: None
    shell.send("set /acme/hostname a\nls\npwd\nquit\n")
    result = shell.wait()
    assert (result.status, result.stderr) == (0, b"")
    assert result.stdout == (
        b"/$ pwd\n/\r\n/$ \n/$ set /acme/hostname a\nerror parameter: /acme/hostname\r\n"
        b"/$ ls\n/$ pwd\n/\r\n/$ quit\n"
    )


class EndlessDatabase:
    """Has a choice below every case, and a case below every choice."""

    def __init__(self, path):
        self.questions = 0
        self.listener = servers.Listener(path, self._take)

    def _take(self, client):
        threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    def _serve(self, client):
        with client, client.makefile("rb") as stream:
            while header := stream.readline():
                words = [
                    stream.read(int(stream.readline()[1:]) + 2)[:-2] for _ in range(int(header[1:]))
                ]
                self.questions += 1
                client.sendall(self._answer(*words))

    @staticmethod
    def _answer(command, path, *_):
        if command == b"SELECT":
            return b"+OK\r\n"
        if command == b"HGET":
            return bulk(module_record("urn:m")) if path == b"/" else b"$-1\r\n"
        if path == b"/":
            return b"*2\r\n" + bulk(b"m") + bulk(module_record("urn:m"))
        kind = CHOICE if path.count(b"/") % 2 else CASE
        return b"*2\r\n" + bulk(b"x") + bulk(node_record(kind))

    def stop(self):
        self.listener.stop(TIMEOUT)


def test_a_schema_without_end(machine):
    endless = EndlessDatabase(machine.path("endless.sock"))
    try:
        env = {"SCHEMA_REDIS": "/tmp/endless.sock"}
        result = machine.session("get /m/y", "cd m", "ls", "quit", env=env)
        assert result.stdout.startswith(b"/$ get /m/y\nerror parameter: /m/y\r\n/$ cd m\n")
        assert (result.status, result.stderr) == (0, b"")
        assert endless.questions < 3000
    finally:
        endless.stop()


class RepeatingDatabase(EndlessDatabase):
    """Has these two names on each of its levels: choices, cases, and leaves at last."""

    DEPTH = 4

    def __init__(self, path, names):
        self.names = names
        super().__init__(path)

    def _answer(self, command, path, *words):
        levels = path.count(b"/")
        if command != b"HGETALL" or path == b"/":
            return super()._answer(command, path, *words)
        kind = LEAF if levels > self.DEPTH else CHOICE if levels % 2 else CASE
        record = bulk(node_record(kind))
        return b"*4\r\n" + b"".join(bulk(name) + record for name in self.names)


@pytest.mark.parametrize(
    "names, listed",
    [
        ((b"x", b"x"), b""),
        ((b"x", b"x/x"), b"( (( (\x1b[0m x/x\x1b[0m\x1b[0m x\x1b[0m) )) )\n"),
        ((b"x", b"x\0y"), b"( (( (\x1b[0m x\x1b[0m\x1b[0m x\x1b[0m) )) )\n"),
    ],
)
def test_a_schema_that_repeats_itself(machine, names, listed):
    """What is below a path is gone through once, else it could be for ever, and be kept."""
    repeating = RepeatingDatabase(machine.path("repeating.sock"), names)
    try:
        env = {"SCHEMA_REDIS": "/tmp/repeating.sock"}
        result = machine.session("cd m", "ls", "quit", env=env)
        assert result.stdout == b"/$ cd m\n\n/m$ ls\n" + listed + b"\n/m$ quit\n"
    finally:
        repeating.stop()


def test_a_schema_that_repeats_itself_on_many_levels(machine):
    repeating = RepeatingDatabase(machine.path("repeating.sock"), (b"x", b"x"))
    repeating.DEPTH = 100
    try:
        env = {"SCHEMA_REDIS": "/tmp/repeating.sock"}
        result = machine.session("set /m/y 1", "quit", env=env)
        assert result.stdout == b"/$ set /m/y 1\nerror parameter: /m/y\r\n/$ quit\n"
    finally:
        repeating.stop()
