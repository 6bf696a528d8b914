"""What a shell makes of the descriptors and the limits that its caller leaves it."""

import os
import re
import resource
import signal
import stat
import subprocess

import pytest
from support import valgrind
from support.example import EXAMPLE
from support.schemac import SANITIZED
from support.shell import TIMEOUT
from support.tarnd import session_reply

pytestmark = pytest.mark.skipif(valgrind.ENABLED, reason="Valgrind is started in its place")
NO_SERVER = b"failed to connect ncserver!\r\n"
NOT_ADDED = b"add cmd error!\r\n"
STAGED = (
    "[pwd]\n/acme\n\n[config]\nset /acme/box/name 1\nset /acme/box/flag\n\n\n"
    "[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
)


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


def test_what_the_daemon_sends_is_no_input(machine):
    """Though its socket stands where standard input would."""

    def greet(session):
        session.send(session_reply())
        session.send_raw(b"pwd     \n" * 100)  # no length that a frame may have

    machine.tarnd.on_connect = greet
    shell = closing(machine, "<&-")
    machine.tarnd.wait(lambda: machine.tarnd.sessions)
    with pytest.raises(subprocess.TimeoutExpired):
        shell.process.wait(0.5)
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    assert (result.status, result.stdout) == (1, b"\nReceive signal=15 and exit\n")


def test_without_a_place_for_its_output_it_does_not_start(machine):
    os.unlink(os.path.join(machine.base, "dev", "null"))
    result = closing(machine, ">&-", "help").wait()
    assert (result.status, result.stderr, machine.tarnd.frames) == (255, b"", [])


def write_profile(machine, text):
    with open(machine.profile, "w", encoding="ascii", opener=private) as file:
        file.write(text)


def private(path, flags):
    return os.open(path, flags, 0o600)


def profile(machine):
    with open(machine.profile, encoding="ascii") as file:
        return file.read()


def limited_to(machine, size, *arguments):
    """One command of a shell that may write files of so many bytes."""
    return started_by(machine, ["prlimit", f"--fsize={size}"], *arguments).wait()


@pytest.mark.parametrize(
    "line",
    [
        "set /acme/box/size 1",  # makes the file longer,
        "cd box",
        "cd /extra",
        "cd /",  # or puts a shorter text over a longer one
        "discard_changes",
        "commit",
    ],
)
def test_a_profile_changes_wholly_or_not_at_all(machine, line):
    """However large a file may be."""
    write_profile(machine, STAGED)
    assert machine.one_shot(*line.split()).status == 0
    changed = profile(machine)
    assert changed != STAGED
    for size in (*range(0, len(STAGED), 9), *range(len(STAGED) - 3, len(STAGED) + 30, 3)):
        write_profile(machine, STAGED)
        result = limited_to(machine, size, *line.split())
        assert (size, result.status, result.stderr) == (size, 0, b"")
        assert profile(machine) in ((STAGED,) if size == 0 else (STAGED, changed)), size
    assert profile(machine) == changed


def test_a_change_that_finds_no_room_is_refused(machine):
    write_profile(machine, STAGED)
    result = limited_to(machine, 0, "set", "/acme/box/size", "1")
    assert (result.status, result.stdout) == (0, NOT_ADDED)
    assert profile(machine) == STAGED


def test_no_empty_profile_is_left(machine):
    result = limited_to(machine, 0, "set", "/acme/box/name", "1")
    assert (result.status, result.stdout) == (0, NOT_ADDED)
    assert not os.path.exists(machine.profile)


def test_output_to_a_file_that_may_have_no_more(machine):
    words = machine.command("/bin/sh", "-c", "prlimit --fsize=10 /tmp/.build/vandel help >/tmp/out")
    # fmt: off
    result = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True,
                            env=machine.environ(), timeout=TIMEOUT, check=False)
    # fmt: on
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
    with open(machine.path("out"), "rb") as file:
        assert file.read() == b"vandel  ve"


def limit_memory(pid, what, field, more):
    """From now on the process gets so many bytes more than it has."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        used = int(re.search(rf"(?m)^{field}:\s*(\d+) kB$", status.read())[1]) * 1024
    resource.prlimit(pid, what, (used + more, resource.RLIM_INFINITY))


# What a shell needs, once its libraries are loaded, is mostly the stack of a thread:
# this is more. (Below a limit that the loader itself needs, no program starts.)
MEMORY = (*range(0, 1 << 20, 1 << 15), *range(1 << 20, 10 << 20, 1 << 18), 1 << 30)


ENDS = ((0, b""), (0, NOT_ADDED), (255, NO_SERVER), (255, b""))


@pytest.mark.skipif(SANITIZED, reason="a sanitizer takes memory for itself")
@pytest.mark.parametrize(
    "what, field", [(resource.RLIMIT_DATA, "VmData"), (resource.RLIMIT_AS, "VmSize")]
)
def test_memory_may_end_anywhere(machine, what, field):
    """The shell goes on, or ends as when it cannot connect; no signal ends it."""
    for more in MEMORY:
        machine.tarnd.session_reply = [
            lambda session, more=more: limit_memory(session.pid, what, field, more),
            session_reply(),
        ]
        result = machine.one_shot("set", "/acme/box/name", "1")
        assert (more, result.stderr) == (more, b"")
        assert (result.status, result.stdout) in ENDS, more
    assert (result.status, result.stdout) == (0, b"")
