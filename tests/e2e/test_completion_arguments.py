"""Tab on arguments that are no paths: datastores, the keys of a list."""

import pytest
from support.completion import SCHEMA, in_columns, tab
from support.prompt import BELL, TAB, Prompt
from support.schema_db import Schema, container, leaf, list_, module
from support.shell import ERROR


@pytest.fixture
def prompt(machine):
    machine.load(SCHEMA)
    return Prompt(machine)


# Datastores


DATASTORES = [
    ("copy-config ", ["running   startup   candidate config    "]),
    ("copy-config running ", ["startup   candidate "]),
    ("copy-config startup ", ["running   candidate "]),
    ("copy-config candidate ", ["running startup "]),
    ("copy-config config ", ["running   startup   candidate "]),
    ("copy-config http://box/file ", ["running   startup   candidate "]),
    ('copy-config "a b" ', ["running   startup   candidate "]),
    ("copy-config   running   ", ["startup   candidate "]),
    ("export-config ", ["running startup "]),
    ("import-config file ", ["running startup "]),
    ("import-config running ", ["running startup "]),
    ("import-config 'a b' ", ["running startup "]),
]


@pytest.mark.parametrize("line, rows", DATASTORES)
def test_datastores(prompt, line, rows):
    assert tab(prompt, line) == in_columns("/$ ", line, *rows)


@pytest.mark.parametrize(
    "line, rest",
    [
        ("copy-config r", "unning"),
        ("copy-config c", ""),
        ("copy-config co", "nfig"),
        ("copy-config running c", "andidate"),
        ("copy-config startup r", "unning"),
        ("export-config s", "tartup"),
        ("import-config f r", "unning"),
    ],
)
def test_one_datastore(prompt, line, rest):
    prompt.line(line)
    prompt.press(TAB)
    assert prompt.shown() == "/$ " + line + rest


@pytest.mark.parametrize(
    "line",
    [
        "copy-config running r",
        "copy-config running startup ",
        "copy-config running startup c",
        "copy-config running config",
        "copy-config runningx",
        "copy-config x/r",
        "export-config running ",
        "export-config running s",
        "export-config c",
        "import-config ",
        "import-config r",
        "import-config f running ",
        "import-config f c",
    ],
)
def test_no_datastore_there(prompt, machine, line):
    assert tab(prompt, line) == BELL.decode()
    assert prompt.shown() == ("/$ " + line).rstrip()
    assert machine.log.texts(ERROR) == []


# List keys


def test_list_keys(prompt):
    at = prompt.walk("acme", "box", "route")
    assert tab(prompt, "add-listentry ") == in_columns(at, "add-listentry ", "via  dest ")
    assert tab(prompt, "add-listentry d") == "est"
    assert tab(prompt, "add-listentry via ") == BELL.decode()
    assert tab(prompt, "add-listentry via d") == BELL.decode()
    assert tab(prompt, "add-listentry via 1 ") == "dest"
    assert tab(prompt, 'add-listentry dest "a b" ') == "via"
    assert tab(prompt, "add-listentry via 1 dest ") == BELL.decode()
    assert tab(prompt, "add-listentry via 1 dest 2 ") == BELL.decode()
    assert tab(prompt, "add-listentry x 1 y 2 ") == in_columns(
        at, "add-listentry x 1 y 2 ", "via  dest "
    )
    assert tab(prompt, "add-listentry x 1 y 2 z 3 ") == BELL.decode()
    assert tab(prompt, "add-listentry q") == BELL.decode()


@pytest.mark.parametrize("names", [(), ("acme",), ("acme", "box"), ("acme", "link")])
def test_list_keys_only_in_a_list(prompt, names):
    prompt.walk(*names)
    assert tab(prompt, "add-listentry ") == BELL.decode()


def test_an_entry_is_offered_the_keys_of_its_list(prompt):
    prompt.walk("acme", "box", "port")
    prompt.run("add-listentry id 3")
    prompt.run("cd port[id=3]")
    assert tab(prompt, "add-listentry ") == "id"


def test_a_list_without_keys(prompt, machine):
    machine.load(Schema(module("m", "urn:m", container("c", list_("l", [], leaf("x"))))))
    prompt.walk("m", "c", "l")
    assert tab(prompt, "add-listentry ") == BELL.decode()
