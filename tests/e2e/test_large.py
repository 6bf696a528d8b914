"""Replies and staged edits as large as a 32-bit process can just bear.

Each runs in a bounded address space: with enough of it everything arrives
whole, with too little the shell says what it said it would and goes on.
"""

import hashlib
import resource

import pytest
from support import tarnd as daemon
from support.example import EXAMPLE, edit_config, printed_no_data, printed_ok
from support.schema_db import Schema, container, leaf, module
from support.schemac import SANITIZED
from support.servers import wait_until
from support.shell import DEBUG, ERROR, TIMEOUT

MIB = 1 << 20
pytestmark = pytest.mark.skipif(SANITIZED, reason="a sanitizer needs the address space itself")


def start(machine, mebibytes):
    limit = (mebibytes * MIB, mebibytes * MIB)
    return machine.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, limit))


def digest(*pieces):
    """The hash of the pieces; a piece is bytes, or bytes and how often they come."""
    whole = hashlib.sha256()
    for piece in pieces:
        data, count = piece if isinstance(piece, tuple) else (piece, 1)
        for _ in range(count // 4000):
            whole.update(data * 4000)
        whole.update(data * (count % 4000))
    return whole.hexdigest()


VALUE = b"v" * 4000
ITEM = b"<item>" + VALUE + b"</item>"
PRINTED_ITEM = b"  <item>\n    " + VALUE + b"\n  </item>\n"
ITEMS = 200 * MIB // len(ITEM) + 1


def two_hundred_mebibytes(session):
    head, tail, some = b"<data>", b"</data>", 250
    length = len(head) + ITEMS * len(ITEM) + len(tail)
    assert length > 200 * MIB
    session.send_raw(daemon.HEADER.pack(daemon.MAGIC, length, 1, 0) + head)
    for _ in range(ITEMS // some):
        session.send_raw(ITEM * some)
    session.send_raw(ITEM * (ITEMS % some) + tail)


def test_a_reply_of_two_hundred_mebibytes(machine):
    machine.load(EXAMPLE)
    machine.tarnd.on_request = lambda request: two_hundred_mebibytes
    shell = start(machine, 1500)
    shell.send("get /acme/empty\npwd\nquit\n")
    result = shell.wait(5 * TIMEOUT)
    assert (result.status, result.stderr) == (0, b"")
    assert digest(result.stdout) == digest(
        b"/$ get /acme/empty\n\r\n<data>\n",
        (PRINTED_ITEM, ITEMS),
        b"</data>\n/$ pwd\n/\r\n/$ quit\n",
    )


# libxml2 takes a text of any length, but not as one step into the last 250 bytes.
@pytest.mark.parametrize(
    "after, told", [("<y/>" * 150, []), ("", ["[DEBUG] parse xml err.\n"])], ids=["within", "last"]
)
def test_one_text_of_two_hundred_megabytes_is_held_once(machine, after, told):
    machine.load(EXAMPLE)
    text = b"v" * 200_000_000
    reply = b"<data><x>" + text + f"</x>{after}</data>".encode()
    machine.tarnd.on_request = lambda request: reply
    shell = start(machine, 300)
    shell.send("get /acme/empty\nquit\n")
    result = shell.wait(5 * TIMEOUT)
    assert (result.status, result.stderr) == (0, b"")
    is_shown = text in result.stdout
    assert is_shown
    assert [line for _, line in machine.log.texts(DEBUG)] == told


def test_a_reply_that_no_memory_is_left_for(machine):
    machine.load(EXAMPLE)
    answers = iter([two_hundred_mebibytes, None])
    machine.tarnd.on_request = lambda request: next(answers)
    shell = start(machine, 200)
    shell.send("get /acme/empty\nget /acme/empty\nquit\n")
    result = shell.wait()
    assert (result.status, result.stderr) == (0, b"")
    expected = f"/$ get /acme/empty\n/$ get /acme/empty\n{printed_no_data(2)}/$ quit\n"
    assert result.stdout == expected.encode()
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] Out of memory!\n")]


COUNT, SIZE = 50, 2_000_000
LEAVES = Schema(module("m", "urn:m", container("c", *(leaf(f"x{n}") for n in range(COUNT)))))


def stage_a_hundred_megabytes(shell):
    for number in range(COUNT):
        shell.send(f"set /m/c/x{number} " + "abcde"[number % 5] * SIZE + "\n")


def staged_body():
    for number in reversed(range(COUNT)):
        yield f"<x{number}>".encode()
        yield (b"abcde"[number % 5 :][:1], SIZE)
        yield f"</x{number}>".encode()


def test_a_staged_body_of_a_hundred_megabytes(machine):
    machine.load(LEAVES)
    shell = start(machine, 1500)
    stage_a_hundred_megabytes(shell)
    shell.send("commit\nquit\n")
    result = shell.wait(5 * TIMEOUT)
    assert (result.status, result.stderr) == (0, b"")
    assert result.stdout.endswith(f"\n/$ commit\n{printed_ok(1)}/$ quit\n".encode())
    (request,) = (frame for frame in machine.tarnd.frames if not frame.creates_session)
    head, tail = edit_config('<c xmlns="urn:m">\n</c>').encode().split(b"\n</c>")
    assert digest(request.body) == digest(head, *staged_body(), b"</c>" + tail + b"\0")


def leave(shell, mebibytes):
    """Bounds the address space of a running shell to what it has and some more."""
    with open(f"/proc/{shell.pid}/status", encoding="ascii") as status:
        size = next(int(line.split()[1]) for line in status if line.startswith("VmSize:"))
    limit = size * 1024 + mebibytes * MIB
    resource.prlimit(shell.pid, resource.RLIMIT_AS, (limit, limit))


def test_a_staged_body_that_no_memory_is_left_for(machine):
    machine.load(LEAVES)
    shell = start(machine, 1500)
    stage_a_hundred_megabytes(shell)
    shell.send("get /m/c/x0\n")
    wait_until(lambda: len(machine.tarnd.frames) == 2, "the end of staging", 5 * TIMEOUT)
    leave(shell, 40)
    shell.send("commit\ncommit\ndiscard_changes\nset /m/c/x0 small\ncommit\nquit\n")
    result = shell.wait(5 * TIMEOUT)
    assert (result.status, result.stderr) == (0, b"")
    end = (
        f"\n/$ get /m/c/x0\n{printed_no_data(1)}"
        "/$ commit\ncmdtree to netconf error \r\n"
        "/$ commit\ncmdtree to netconf error \r\n"
        "/$ discard_changes\nThe discard_changes command executed successfuly!\n"
        "/$ set /m/c/x0 small\n"
        f"/$ commit\n{printed_ok(2)}/$ quit\n"
    )
    assert result.stdout[-len(end) :] == end.encode()
    expected = edit_config('<c xmlns="urn:m"><x0>small</x0></c>', 2)
    assert machine.tarnd.requests[1:] == [expected]
