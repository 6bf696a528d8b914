"""schemac: what it writes where a schema stands already, and in which order."""

import subprocess
import threading

import pytest
import redis

from support.example import edit_config
from support.redis_relay import Relay
from support.schemac import doubling_groupings, good, SCHEMAC, Server

pytest_plugins = ("support.schemac_fixtures",)

LARGE = doubling_groupings(15)  # 49,150 nodes in 32,766 hashes: more than one transaction
HEADS = ["/", "schemac:revisions", "schemac:origin"]


@pytest.fixture(name="relay")
def fixture_relay(server):
    relay = Relay(server)
    yield relay
    relay.stop()


def content_of(server):
    """What readers of the schema see."""
    client = server.database()
    keys = sorted(key for key in client.keys() if not key.startswith(b"schemac:"))
    pipe = client.pipeline(transaction=False)
    for key in keys:
        pipe.hgetall(key)
    return dict(zip(keys, pipe.execute()))


# What is written


def changes_of(relay, run):
    """What one transaction changes, apart from the root and the notes, which end it."""
    good(run("--force", "--redis", relay.socket, "m"))
    assert relay.transactions == 1
    heads = [(verb, head) for head in HEADS for verb in ("DEL", "HSET")]
    assert relay.changes[-len(heads) :] == heads
    return relay.changes[: -len(heads)]


BODY = """
  revision 2026-01-01;
  leaf top {{ type string; description "{text}"; }}
  container same {{ leaf a {{ type string; description "{long}"; }} }}
  container other {{ leaf a {{ type {type}; }} }}
  list l {{ key "{keys}"; leaf k {{ type string; }} leaf j {{ type string; }} }}
  {more}
"""
FIRST = {
    "text": "A leaf.",
    "long": "Longer than a value that redis keeps in order by itself. " * 2,
    "type": "string",
    "keys": "k j",
    "more": "",
}


@pytest.mark.parametrize(
    "change, changes",
    [
        ({}, []),
        ({"text": "Another."}, [("DEL", "/m"), ("HSET", "/m")]),
        ({"type": "uint8"}, [("DEL", "/m/other"), ("HSET", "/m/other")]),
        (
            {"more": "container new { container below { leaf a { type empty; } } }"},
            [
                ("HSET", "/m/new/below"),
                ("HSET", "/m/new"),
                ("DEL", "/m"),
                ("HSET", "/m"),
            ],
        ),
    ],
)
def test_only_what_differs_is_written(server, run, write, relay, change, changes):
    write("m", BODY.format(**FIRST))
    good(run("m"))
    write("m", BODY.format(**{**FIRST, **change}))
    assert changes_of(relay, run) == changes
    changed = content_of(server)
    server.database().flushdb()
    good(run("m"))
    assert content_of(server) == changed


def test_what_is_no_more_is_deleted_first(run, write, relay):
    write("m", BODY.format(**{**FIRST, "more": "container old { leaf a { type string; } }"}))
    good(run("m"))
    write("m", BODY.format(**FIRST))
    assert changes_of(relay, run) == [("DEL", "/m/old"), ("DEL", "/m"), ("HSET", "/m")]


@pytest.mark.parametrize("is_told", [True, False])
def test_another_order_is_another_hash(run, write, is_told):
    """Where redis keeps the order, whether it tells so or not."""
    hidden = [] if is_told else ["--rename-command", "CONFIG", ""]
    server = Server("--hash-max-listpack-value", "4096", *hidden)
    try:
        for keys in ("k j", "j k"):
            write("m", BODY.format(**{**FIRST, "keys": keys}))
            good(run("--redis", server.socket, "m"))
            assert b" ".join(server.database().hkeys("/m/l")) == keys.encode()
    finally:
        server.stop()


def test_whatever_stands_under_a_path_is_replaced(server, run, write):
    write("m", BODY.format(**FIRST))
    good(run("m"))
    wanted = content_of(server)
    client = server.database()
    client.delete("/m/same", "/m")
    client.set("/m/same", "a string")
    client.rpush("/m", "a list")
    client.hset("/m/other", "more", "record")
    client.hdel("/m/l", "j")
    client.hset("/m/l[]", "j", "record")
    client.set("/m/strange", "")
    good(run("--force", "m"))
    assert content_of(server) == wanted


# Two at a time


@pytest.mark.parametrize("module, number", [("m", 1), ("large", 1), ("large", 3)])
def test_another_schemac_meanwhile(server, run, write, module, number):
    """Whoever comes first wins, because the other one has compared with the old schema."""
    write("small", doubling_groupings(3))
    write("large", LARGE)
    write("m", BODY.format(**FIRST))
    good(run("small"))
    wanted = content_of(server)
    relay = Relay(server, lambda count: count != number or bool(good(run("--force", "small"))))
    try:
        result = run("--redis", relay.socket, module)
    finally:
        relay.stop()
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: redis at {relay.socket}: the transaction was refused\n"
    assert content_of(server) == wanted


# In steps


def view(server):
    """(the modules, whether there is a digest, how many hashes there are)."""
    client = server.database()
    return client.hkeys("/"), client.hexists("schemac:origin", "digest"), client.dbsize()


@pytest.mark.parametrize("before, after", [("small", "large"), ("large", "small")])
def test_between_steps_there_is_no_root(server, run, write, before, after):
    write("small", doubling_groupings(3))
    write("large", LARGE)
    good(run(before))
    views = []
    relay = Relay(server, lambda number: views.append(view(server)) or True)
    try:
        good(run("--redis", relay.socket, after))
    finally:
        relay.stop()
    old, *between = views
    assert old[:2] == ([before.encode()], True)
    assert len(between) > 1
    assert {one[:2] == ([], False) for one in between} == {True}
    counts = [one[2] for one in between]
    assert counts == sorted(counts, reverse=before == "large")
    assert view(server)[:2] == ([after.encode()], True)
    stored = content_of(server)
    server.database().flushdb()
    good(run(after))
    assert content_of(server) == stored


@pytest.mark.parametrize("is_told", [True, False])
def test_how_much_goes_at_once_depends_on_what_redis_holds(run, write, is_told):
    """Commands that wait for a transaction take memory; where redis holds more, much of it."""
    write("m", BODY.format(**FIRST))
    write("some", doubling_groupings(10))  # 1,536 nodes, half a megabyte of commands
    hidden = [] if is_told else ["--rename-command", "INFO", ""]
    server = Server(*hidden)
    relay = Relay(server)
    filler = redis.Redis(unix_socket_path=server.socket)
    try:
        counts = []
        for size, module in ((0, "some"), (0, "m"), (20000000, "some")):
            filler.set("filler", bytes(size))
            before = relay.transactions
            good(run("--redis", relay.socket, module))
            counts.append(relay.transactions - before)
    finally:
        relay.stop()
        server.stop()
    assert counts[0] > 1
    assert (counts[2] == 1) == is_told


def break_off(server, module, tmp_path, number, is_killed):
    """Runs schemac up to a transaction, which is not run any more: (status, errors)."""
    is_started = threading.Event()

    def on_exec(count):
        is_started.wait()
        if count == number and is_killed:
            process.kill()
        return count < number

    relay = Relay(server, on_exec)
    try:
        with subprocess.Popen(
            [SCHEMAC, "--redis", relay.socket, module],
            cwd=tmp_path,
            stderr=subprocess.PIPE,
            text=True,
        ) as process:
            is_started.set()
            errors = process.communicate()[1]
        return process.returncode, errors.replace(relay.socket, "SOCKET")
    finally:
        relay.stop()


@pytest.mark.parametrize("is_killed", [True, False])
def test_a_run_that_was_broken_off(server, run, write, tmp_path, relay, is_killed):
    write("small", doubling_groupings(3))
    write("large", LARGE)
    good(run("small"))
    status, errors = break_off(server, "large", tmp_path, 6, is_killed)
    if is_killed:
        assert (status, errors) == (-9, "")
    else:
        assert status == 1
        assert errors == "schemac: redis at SOCKET: connection lost: Server closed the connection\n"
    modules, is_noted, count = view(server)
    assert (modules, is_noted) == ([], False)
    assert count > 1000

    good(run("--redis", relay.socket, "large"))
    # None of what had been stored is written again.
    assert len([verb for verb, key in relay.changes if verb == "HSET"]) < 32766 - 1000
    stored = content_of(server)
    server.database().flushdb()
    good(run("large"))
    assert content_of(server) == stored


def test_the_old_schema_after_a_run_that_was_broken_off(server, run, write, tmp_path):
    write("small", doubling_groupings(3))
    write("large", LARGE)
    good(run("small"))
    wanted = content_of(server)
    break_off(server, "large", tmp_path, 3, False)
    good(run("small"))
    assert content_of(server) == wanted


@pytest.mark.parametrize("is_killed", [True, False])
def test_little_is_replaced_at_once_or_not_at_all(server, run, write, tmp_path, is_killed):
    write("m", BODY.format(**FIRST))
    good(run("m"))
    wanted = content_of(server)
    write("m", BODY.format(**{**FIRST, "text": "Another.", "type": "uint8"}))
    break_off(server, "m", tmp_path, 1, is_killed)
    assert content_of(server) == wanted


def test_a_shell_meanwhile(example, redis_server):
    """It lists no modules and sends nothing; what is staged waits."""
    redis_server.loaded = None
    client = redis.Redis(unix_socket_path=redis_server.socket, db=4)
    shell = example.start()
    shell.send("set /acme/hostname x\npwd\n")
    shell.expect(b"/\r\n")
    client.rename("/", "aside")
    shell.send("ls\ncommit\nget /acme/box\npwd\n")
    shell.expect(b"/$ pwd\n/\r\n/$ ls\n/$ commit\ncmdtree to netconf error \r\n/$ get /acme/box\n")
    shell.wait_output(lambda output: output.count(b"pwd\n/\r\n") == 2)
    assert example.tarnd.requests == []
    client.rename("aside", "/")
    shell.send("commit\n")
    shell.expect(b"<ok/>")
    assert example.tarnd.requests == [edit_config('<hostname xmlns="urn:acme">x</hostname>', 2)]
