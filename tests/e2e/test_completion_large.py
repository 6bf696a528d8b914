"""Tab and '?' over a container with 10,000 children and a list with 10,000 entries."""

import pytest
import redis
from support.prompt import BELL, TAB, Prompt
from support.schema_db import DATABASE, Schema, container, leaf, list_, module, rpc

COUNT = 10000

CHILDREN = [f"node-{number:04d}" for number in range(COUNT)]
SCHEMA = Schema(
    module(
        "big",
        "urn:big",
        container("wide", *(leaf(name, help=f"Number {name[5:]}.") for name in CHILDREN)),
        list_("row", ["id"], leaf("id"), leaf("value")),
    ),
    module("calls", "urn:calls", *(rpc(f"call-{number:04d}") for number in range(COUNT))),
)


@pytest.fixture
def prompt(machine):
    machine.load(SCHEMA)
    return Prompt(machine, columns=80, screen=False)


def children(machine, path):
    """The names below a node, in the order in which they are listed."""
    with redis.Redis(unix_socket_path=machine.redis.socket, db=DATABASE) as client:
        return [name.decode() for name in client.hgetall(path)][::-1]


def in_columns(names, columns):
    """Rows of candidates of one length."""
    rows = [names[start : start + columns] for start in range(0, len(names), columns)]
    lines = [" ".join(row) + (" " if len(row) < columns else "") for row in rows]
    return "".join(line + "\r\n" for line in lines)


def shown(strike, *arguments):
    """What the shell writes, as text."""
    return strike(*arguments).decode()


def test_children(prompt, machine):
    names = children(machine, "/big/wide")
    assert sorted(names) == CHILDREN
    assert shown(prompt.tab, "set big/wide/") == "node-"
    assert shown(prompt.press, TAB) == ("\r\n" + in_columns(names, 8) + "/$ set big/wide/node-")
    assert shown(prompt.tab, "set big/wide/node-999") == (
        "\r\n" + in_columns([n for n in names if n.startswith("node-999")], 8)
        + "/$ set big/wide/node-999"
    )  # fmt: skip
    assert shown(prompt.tab, "set big/wide/node-x") == BELL.decode()


def test_the_help_of_children(prompt, machine):
    names = children(machine, "/big/wide")
    rows = "".join(f"  {name}    Number {name[5:]}.\r\n" for name in names)
    assert shown(prompt.help, "set big/wide/") == (
        "\r\n" + rows + "\r\r\n/$ set big/wide/node-" + BELL.decode()
    )
    assert shown(prompt.help, "set big/wide/node-4321") == (
        "\r\n<cr>\r\n\r\r\n/$ set big/wide/node-4321" + BELL.decode()
    )


def test_entries(prompt, machine):
    values = [f"{number:04d}" for number in range(COUNT)]
    inner = "".join(f"<row><id>{value}</id></row>" for value in values)
    machine.tarnd.holds("<row ", inner.replace("<row>", '<row xmlns="urn:big">'))
    prompt.run("cd big")
    prompt.run("cd row")
    names = [f"row[id={value}]/" for value in values[::-1]]
    assert shown(prompt.tab, "cd ") == "row[id="
    assert shown(prompt.press, TAB) == ("\r\n" + in_columns(names, 5) + "\r\n/big/row$ cd row[id=")
    some = [name for name in names if "=432" in name]
    assert shown(prompt.tab, "cd row[id=432") == (
        "\r\n" + in_columns(some, 5) + "\r\n/big/row$ cd row[id=432"
    )
    assert shown(prompt.tab, "cd row[id=4321") == "]/"
    rows = "".join(f"  {name}    \r\n" for name in names[4000:5000])
    assert shown(prompt.help, "cd row[id=5") == (
        "\r\n" + rows + "\r\r\n\r\n/big/row$ cd row[id=5" + BELL.decode()
    )


def test_rpcs(prompt, machine):
    prompt.run("cd calls")
    names = children(machine, "/calls")
    assert shown(prompt.tab, "ca") == "ll-"
    rows = "".join(f"  {name}    \r\n" for name in names)
    assert shown(prompt.help, "ca") == ("\r\n" + rows + "\r\n/calls$ call-" + BELL.decode())
    assert shown(prompt.tab, "call-999") == (
        "\r\n" + in_columns([n for n in names if n.startswith("call-999")], 8)
        + "\r\n/calls$ call-999"
    )  # fmt: skip
