"""A device brings its own libconf.so and libredisapi.so: here both are another vendor's.

tests/support/other_platform reaches the daemon over TCP and reads the schema from a
file. The same is typed into a shell with the host's libraries, and nothing differs."""

import os
import re
import signal
import socket

import pytest
from support.example import EXAMPLE
from support.prompt import Prompt
from support.tarnd import Tarnd, notification

SESSION = [
    "ls",
    "cd acme",
    "ls",
    "cd link",
    "ls",
    "set udp-options/ttl 4",
    "cd ..",
    "cd box",
    "ls",
    "cd port",
    "add-listentry id 'a b'",
    "ls",
    "cd port[id='a b']",
    "set qos/dscp 7",
    "set /acme/box/kind extra:x",
    "set /acme/box/extra:badge 1",
    "set /acme/box/nothing 1",
    "delete /acme/hostname",
    "get-config -l",
    "commit",
    "get /acme/box/port[id=1]",
    "get-config -s /acme/box",
    "/acme/reset",
    "ls",
    "set who me",
    "set at-once",
    "commit",
    "save",
    "quit",
]
COMMANDS = [
    ["cd", "acme"],
    ["cd", "box"],
    ["set", "extra:paint/shade", "red"],
    ["delete", "size"],
    ["ls"],
    ["commit"],
    ["pwd"],
]


class Device:
    """What shells on a machine are given: a daemon, libraries, and a look at both."""

    def __init__(self, machine, daemon, environment):
        self.machine, self.daemon, self.environment = machine, daemon, environment
        daemon.holds("<hostname", '<hostname xmlns="urn:acme">h</hostname>')
        daemon.holds("<udp-port", '<link xmlns="urn:acme"><udp-port>1</udp-port></link>')
        daemon.holds("<port", '<box xmlns="urn:acme"><port><id>1</id></port></box>')

    def session(self):
        return self.machine.session(*SESSION, env=self.environment)

    def commands(self):
        """What each command said, and the file that they leave, which is removed."""
        results = []
        for words in COMMANDS:
            result = self.machine.one_shot(*words, env=self.environment)
            results.append((result.status, result.stdout, result.stderr))
        with open(self.machine.profile, "rb") as profile:
            results.append(profile.read())
        os.remove(self.machine.profile)
        return results

    def requests(self):
        return [re.sub(r"pid>\d+<", "pid><", frame.text) for frame in self.daemon.frames]


@pytest.fixture(name="own")
def fixture_own(machine):
    machine.load(EXAMPLE)
    return Device(machine, machine.tarnd, {})


@pytest.fixture(name="other")
def fixture_other(machine):
    """Without redis, and without a socket of the host's daemon."""
    listener = socket.create_server(("127.0.0.1", 0))
    daemon = Tarnd(machine.path("no.sock"), listener)
    with open(machine.path("daemon.port"), "w", encoding="ascii") as file:
        file.write(f"{listener.getsockname()[1]}\n")
    with open(machine.path("schema.flat"), "w", encoding="ascii") as file:
        for key, fields in EXAMPLE.hashes.items():
            for name, record in fields.items():
                file.write(f"{key}\t{name}\t{record.hex()}\n")
    environment = {
        "LD_LIBRARY_PATH": "/tmp/.build/tests/other_platform",
        "TARND_SOCKET": "/nowhere",
        "SCHEMA_REDIS": "/nowhere",
    }
    yield Device(machine, daemon, environment)
    daemon.stop()


def test_a_session_is_the_same(own, other):
    expected, result = own.session(), other.session()
    assert expected.stdout.count(b"<ok/>") == 3
    assert (result.status, result.stdout, result.stderr) == (0, expected.stdout, b"")
    assert other.requests() == own.requests()
    assert len(own.requests()) > 5


def test_single_commands_are_the_same(own, other):
    assert other.commands() == own.commands()
    assert other.requests() == own.requests()
    assert len(own.requests()) > len(COMMANDS)


def test_tab_and_the_question_mark(other):
    prompt = Prompt(other.machine, env=other.environment)
    prompt.tab("cd ac")
    assert prompt.shown() == "/$ cd acme/"
    prompt.run("cd acme")
    assert b"its name" in prompt.help("set host")


def test_a_notification(other):
    shell = other.machine.start(env=other.environment)
    other.daemon.wait_session().send(notification("<event/>"))
    shell.expect(b"  <event/>\n")
    shell.send("quit\n")
    assert shell.wait().status == 0


def test_a_signal(other):
    shell = other.machine.start(env=other.environment)
    shell.send("ls\n\n")
    shell.expect(b"extra\x1b[0m")
    shell.wait_idle()
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    assert (result.status, result.stderr) == (1, b"")
    assert result.stdout.endswith(b"\nReceive signal=15 and exit\n")


def test_no_daemon(other):
    os.remove(other.machine.path("daemon.port"))
    result = other.machine.one_shot("pwd", env=other.environment)
    assert (result.status, result.stdout) == (255, b"failed to connect ncserver!\r\n")
    texts = [text for _, text in other.machine.log.texts()]
    assert texts == ["[ERROR] Connect to tarnd failed(No such file or directory).\n"]


def test_no_schema(other):
    os.remove(other.machine.path("schema.flat"))
    result = other.machine.one_shot("pwd", env=other.environment)
    assert (result.status, result.stdout, result.stderr) == (255, b"", b"")
