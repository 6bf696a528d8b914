"""One allocation of a shell fails, whichever it is, with the libraries it has on a host.

The other sweeps of this kind play the libraries below the shell in memory. Here hiredis,
libxml2 and the C library make the allocations that they make, and one of them fails. A
run takes a sample of them; VANDEL_EVERY_ALLOCATION=1 takes them all.
"""

import os
import subprocess

import pytest
from support.example import EXAMPLE
from support.messages import NO_SERVER
from support.schema_db import Schema, container, leaf, module
from support.schemac import SANITIZED
from support.shell import TIMEOUT
from support.storm import Entrance

pytestmark = pytest.mark.skipif(SANITIZED, reason="a sanitizer allocates by itself")

# What is read to find out that /wide/all/no does not exist needs more than a first buffer.
SCHEMA = Schema(
    module("wide", "urn:w", container("all", *(leaf(f"w{n}", help="h" * 1000) for n in range(24))))
)
for _path, _fields in EXAMPLE.hashes.items():
    SCHEMA.hashes.setdefault(_path, {}).update(_fields)

# Twice each at the end: what fails in one line must work in the next.
SESSION = (
    "cd acme", "ls", "cd link", "ls", "cd ..", "cd box", "set /wide/all/no 1", "set name a",
    "set kind extra:x", "cd port", "add-listentry id 1", "ls", "get-config -l", "get /acme/box",
    "commit", "/acme/reset", "set delay 5", "commit", "commit", "cd /", "cd /", "ls", "ls",
    "quit", "quit",
)  # fmt: skip
LISTING = b"/$ ls\n\x1b[01;34macme\x1b[0m  \x1b[01;34mextra\x1b[0m  \x1b[01;34mwide\x1b[0m\n"
NO_WORDS = (
    b"addargs - vasprintf: Cannot allocate memory\n",
    b"Fatal error while allocating memory: Cannot allocate memory\n",
)
STEP = 1 if os.environ.get("VANDEL_EVERY_ALLOCATION") else 17


def run(machine, entrance, failing):
    """A whole session in which that allocation fails; 0: none."""
    words = [
        *entrance.words, "env", "LD_PRELOAD=/tmp/.build/tests/libfailing_malloc.so",
        f"FAILING_ALLOCATION={failing}", "ALLOCATIONS_TO=/tmp/allocations", "/tmp/.build/vandel",
    ]  # fmt: skip
    lines = "".join(line + "\n" for line in SESSION).encode()
    # fmt: off
    return subprocess.run(words, input=lines, capture_output=True, env=machine.environ(),
                          cwd="/", timeout=TIMEOUT, check=False)
    # fmt: on


def assert_ended(number, result):
    """It went on to its end, or did not start and said what it says then."""
    if result.returncode == 255:
        assert result.stdout in (b"", NO_SERVER), number
        assert result.stderr == b"", number
        return
    assert (number, result.returncode) == (number, 0), result
    assert result.stderr in (b"", *NO_WORDS), number
    assert LISTING in result.stdout and result.stdout.endswith(b"$ quit\n"), (number, result)


def test_whichever_allocation_fails(machine):
    machine.load(SCHEMA)
    machine.tarnd.holds("<udp-port>", '<link xmlns="urn:acme"><udp-port>5</udp-port></link>')
    entries = "<port><id>7</id></port><!-- libxml2 has to read this -->"
    machine.tarnd.holds("<port>", f'<box xmlns="urn:acme">{entries}</box>')
    entrance = Entrance(machine)
    undisturbed = run(machine, entrance, 0)
    assert (undisturbed.returncode, undisturbed.stderr) == (0, b"")
    assert b"port[id=1]\x1b[0m  \x1b[01;36mport[id=7]" in undisturbed.stdout
    with open(machine.path("allocations"), encoding="ascii") as file:
        total = int(file.read())
    assert total > 1500
    for number in range(1, total + 1, STEP):
        assert_ended(number, run(machine, entrance, number))
