"""Bodies of every size arrive whole and in order."""

import hashlib

import pytest
from support.example import edit_config
from support.schema_db import Schema, container, leaf, module

pytestmark = pytest.mark.usefixtures("example")


def same(text, expected):
    """Compares without a difference of megabytes on failure."""
    assert len(text) == len(expected)
    assert hashlib.sha256(text.encode()).digest() == hashlib.sha256(expected.encode()).digest()


def values(count, size):
    """count different values of exactly size characters."""
    return [f"{number:08d}".ljust(size, "abcdefgh"[number % 8]) for number in range(count)]


@pytest.mark.parametrize(
    "count, size",
    [
        (3, 1000),
        (100, 30),
        (5, 1000),
        (100, 1000),
        (1000, 100),
        (1, 100_000),
        (30, 100_000),
        (3000, 1000),
        (1, 3_000_000),
    ],
)  # fmt: skip
def test_values_of_a_leaf_list(machine, count, size):
    staged = values(count, size)
    result = machine.session(*(f"set /acme/box/tag {value}" for value in staged), "commit", "quit")
    assert (result.status, result.stderr) == (0, b"")
    assert b"  <ok/>\n" in result.stdout
    (request,) = machine.tarnd.requests
    tags = "".join(f"<tag>{value}</tag>" for value in staged)
    same(request, edit_config(f'<box xmlns="urn:acme">{tags}</box>'))


@pytest.mark.parametrize("count", [40, 60, 1000, 20_000])
def test_entries_of_a_list(machine, count):
    lines = [f"set /acme/box/port[id=ge/{number}]/mtu {number}" for number in range(count)]
    result = machine.session(*lines, "commit", "quit")
    assert (result.status, result.stderr) == (0, b"")
    (request,) = machine.tarnd.requests
    entries = "".join(
        f"<port><id>ge/{number}</id><mtu>{number}</mtu></port>" for number in reversed(range(count))
    )
    same(request, edit_config(f'<box xmlns="urn:acme">{entries}</box>'))


def leaves(count):
    return Schema(module("m", "urn:m", container("c", *(leaf(f"x{n}") for n in range(count)))))


def test_sixty_megabytes(machine):
    count, size = 30, 2_000_000
    machine.load(leaves(count))
    staged = values(count, size)
    lines = [f"set /m/c/x{number} {value}" for number, value in enumerate(staged)]
    shell = machine.start()
    shell.send("\n".join(lines) + "\ncommit\nquit\n")
    result = shell.wait(300)
    assert (result.status, result.stderr) == (0, b"")
    (request,) = machine.tarnd.requests
    body = "".join(f"<x{n}>{staged[n]}</x{n}>" for n in reversed(range(count)))
    assert len(body) > 60_000_000
    same(request, edit_config(f'<c xmlns="urn:m">{body}</c>'))


@pytest.mark.parametrize("size", [4040, 4095, 4096, 4097, 8191, 8192, 8193])
def test_pieces_around_the_size_of_a_chunk(machine, size):
    staged = values(4, size)
    machine.session(*(f"set /acme/box/tag {value}" for value in staged), "commit", "quit")
    tags = "".join(f"<tag>{value}</tag>" for value in staged)
    (request,) = machine.tarnd.requests
    same(request, edit_config(f'<box xmlns="urn:acme">{tags}</box>'))


def test_values_that_grow_when_escaped(machine):
    staged = [character * 20_000 for character in "<>&"]
    machine.session(*(f"set /acme/box/tag {value}" for value in staged), "commit", "quit")
    entities = [entity * 20_000 for entity in ("&lt;", "&gt;", "&amp;")]
    tags = "".join(f"<tag>{value}</tag>" for value in entities)
    (request,) = machine.tarnd.requests
    same(request, edit_config(f'<box xmlns="urn:acme">{tags}</box>'))
