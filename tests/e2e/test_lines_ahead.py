"""Lines that are in the input already, and what is waited for between them.

They reach the shell in one piece, which a pipe takes whole."""

import pytest
import redis
from support.schema_db import Schema, container, leaf, module

WIDE = [leaf(f"x{number}") for number in range(1100)]
SCHEMA = Schema(module("m", "urn:m", leaf("a"), container("wide", *WIDE)))
WITHOUT = Schema(module("m", "urn:m", leaf("b")))
SETS = ["set /m/a 1"] * 10


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(SCHEMA)


def reads_of(machine, *lines):
    """How often a session of these lines reads the database."""
    with redis.Redis(unix_socket_path=machine.redis.socket) as client:
        client.config_resetstat()
        result = machine.session(*lines, "quit")
        calls = client.info("commandstats")
    assert b"error" not in result.stdout
    return sum(calls.get(f"cmdstat_{name}", {"calls": 0})["calls"] for name in ("hget", "hgetall"))


def test_those_after_the_first_read_the_schema_once(machine):
    assert reads_of(machine, *SETS[:1]) == 1
    assert reads_of(machine, *SETS) == 2


def test_after_a_request_the_schema_is_read_again(machine):
    without = reads_of(machine, *SETS, "commit")
    assert reads_of(machine, *SETS, "commit", *SETS) == without + 1


def test_large_parts_of_the_schema_are_not_kept(machine):
    once = reads_of(machine, "cd m", "cd wide", "ls")
    assert reads_of(machine, "cd m", "cd wide", "ls", "ls", "ls") >= once + 2


def test_a_line_that_was_waited_for_finds_another_schema(machine):
    shell = machine.start()
    shell.send("set /m/a 1\nset /m/a 2\n")
    shell.expect(b"/$ set /m/a 2")
    shell.wait_idle()
    machine.load(WITHOUT)
    shell.send("set /m/a 3\nset /m/b 4\nquit\n")
    assert shell.wait().stdout.endswith(
        b"/$ set /m/a 3\nerror parameter: /m/a\r\n/$ set /m/b 4\n/$ quit\n"
    )
