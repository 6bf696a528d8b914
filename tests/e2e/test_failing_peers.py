"""A daemon and a disk that fail at every point."""

import os
import signal
import struct
import subprocess
import threading
import time

import pytest
from support import tarnd as daemon
from support.example import get
from support.messages import NO_SERVER
from support.shell import ERROR, TIMEOUT

REQUEST = "get /acme/empty"
ASKED = f"/$ {REQUEST}\n".encode()
ENDED = b"\nReceive signal=15 and exit\n"
GONE = b"\nReceive signal=13 and exit\n"
pytestmark = pytest.mark.usefixtures("example")


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
ASKING = len(frame_of(get('<empty xmlns="urn:acme"></empty>') + "\0"))
OF_REQUEST = [*range(1, 14), *range(14, ASKING, 9), ASKING - 1]
OF_REPLY = range(len(REPLY))
OF_CREATED = [*range(14), *range(14, len(CREATED), 9), len(CREATED) - 1]


def goes_on_without_an_answer(machine, count):
    """A shell whose request fails serves what needs no daemon."""
    shell = machine.start()
    shell.send(f"pwd\n{REQUEST}\npwd\nset /acme/hostname a\nget-config -l\nquit\n")
    result = shell.wait()
    assert (count, result.status, result.stderr) == (count, 0, b"")
    assert result.stdout == (
        b"/$ pwd\n/\r\n" + ASKED + b"/$ pwd\n/\r\n/$ set /acme/hostname a\n"
        b'/$ get-config -l\n<hostname xmlns="urn:acme">a</hostname>\n/$ quit\n'
    )


def test_the_daemon_dies_after_every_byte_of_a_reply(machine):
    """Each time the shell goes on, until a request of its own finds nobody."""
    for count in OF_REPLY:
        machine.tarnd.on_request = lambda request, sent=count: [
            daemon.raw(REPLY[:sent]),
            daemon.close,
        ]
        goes_on_without_an_answer(machine, count)


def test_the_daemon_dies_after_every_byte_of_its_greeting(machine):
    for count in OF_CREATED:
        machine.tarnd.session_reply = [daemon.raw(CREATED[:count]), daemon.close]
        result = machine.one_shot("pwd")
        assert (count, result.status, result.stdout) == (count, 255, NO_SERVER)


def test_the_daemon_dies_after_every_byte_of_a_request(machine):
    """The shell has sent it whole and finds nobody who answers."""
    for count in OF_REQUEST:
        machine.tarnd.session_reply = [daemon.session_reply(), daemon.take(count), daemon.close]
        goes_on_without_an_answer(machine, count)


@pytest.mark.parametrize("taken", [1, 12, 13, 4096, 100_000, 500_000])
def test_the_daemon_dies_within_a_commit_that_it_has_not_room_for(machine, taken):
    """A part of the request went out: nobody answers, and the profile keeps its lines."""
    lines = "".join(f"set /acme/box/tag {number:0900}\n" for number in range(1000))
    before = f"[pwd]\n/\n\n[config]\n{lines}\n[rpc]\n\n[rpc_para]\n\n%%%\n".encode()
    with open(machine.profile, "wb") as file:
        file.write(before)
    machine.tarnd.session_reply = [daemon.session_reply(), daemon.take(taken), daemon.close]
    result = machine.one_shot("commit")
    assert (result.status, result.stdout) == (0, b"Read message failed. \r\n")
    assert content(machine.profile) == before


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
