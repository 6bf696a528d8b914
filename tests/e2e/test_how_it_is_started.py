"""What a shell makes of the descriptors that its caller leaves it."""

import os
import stat

import pytest
from support import valgrind
from support.example import EXAMPLE
from support.shell import TIMEOUT
from support.tarnd import session_reply

pytestmark = pytest.mark.skipif(valgrind.ENABLED, reason="Valgrind is started in its place")


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(EXAMPLE)


def started_by(machine, starter, *arguments):
    """A shell that a command starts in its own place."""
    words = machine.vandel(*arguments)
    at = words.index("--") + 1
    return machine.start_command([*words[:at], *starter, *words[at:]])


def closing(machine, redirections, *arguments):
    return started_by(machine, ["/bin/sh", "-c", f'exec "$@" {redirections}', "sh"], *arguments)


def kind(pid, number):
    status = os.stat(f"/proc/{pid}/fd/{number}")
    if stat.S_ISSOCK(status.st_mode):
        return "socket"
    is_null = stat.S_ISCHR(status.st_mode) and status.st_rdev == os.stat("/dev/null").st_rdev
    return "null" if is_null else "pipe"


@pytest.mark.parametrize(
    "redirections, kinds",
    [
        ("", ["pipe", "pipe", "pipe"]),
        (">&-", ["pipe", "null", "pipe"]),
        ("2>&-", ["pipe", "pipe", "null"]),
        (">&- 2>&-", ["pipe", "null", "null"]),
        # The daemon's socket on descriptor 0 counts as not connected.
        ("<&-", ["socket", "pipe", "pipe"]),
        ("<&- >&-", ["socket", "null", "pipe"]),
        ("<&- >&- 2>&-", ["socket", "null", "null"]),
    ],
)
def test_a_closed_descriptor_of_the_output_leads_nowhere(machine, redirections, kinds):
    found = []

    def greet(session):
        found.extend(kind(session.pid, number) for number in range(3))
        session.send(session_reply())

    machine.tarnd.on_connect = greet
    result = closing(machine, redirections, "pwd").wait()
    printed = b"/\r\n" if kinds[1] == "pipe" else b""
    assert (found, result.status, result.stdout) == (kinds, 0, printed)


def test_what_nobody_takes_is_not_sent_to_the_daemon(machine):
    sent = []

    def greet(session):
        session.send(session_reply())
        while piece := session.connection.recv(65536):
            sent.append(piece)

    machine.tarnd.on_connect = greet
    assert closing(machine, ">&-", "help").wait().status == 0
    machine.tarnd.wait(lambda: machine.tarnd.sessions)
    assert machine.tarnd.sessions[0].closed.wait(TIMEOUT)
    assert b"".join(sent).endswith(b"</rpc>\0")


def test_without_a_place_for_its_output_it_does_not_start(machine):
    os.unlink(os.path.join(machine.base, "dev", "null"))
    result = closing(machine, ">&-", "help").wait()
    assert (result.status, result.stderr, machine.tarnd.frames) == (255, b"", [])
