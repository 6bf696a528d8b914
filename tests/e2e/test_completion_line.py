"""What Tab leaves of the line, of history and of the terminal."""

import signal
import termios
import threading

import pytest
from support import tarnd as daemon
from support.completion import SCHEMA, ports, tab
from support.prompt import BELL, TAB, UP, Prompt
from support.schema_db import Schema, leaf, module
from support.shell import ERROR


@pytest.fixture
def prompt(machine):
    machine.load(SCHEMA)
    return Prompt(machine)


@pytest.mark.parametrize(
    "line, completed",
    [
        ("comm|it", "commit|t"),
        ("hos|t", "hos|t"),
        ("set acme/hostn|/x", "set acme/hostname|x"),
        ("set acme/hostn| x", "set acme/hostname|x"),
        ("set ac|/box/si", "set acme/|box/si"),
        ("copy-config run| startup", "copy-config running|startup"),
        ("set acme/h|ostname", "set acme/hostname|stname"),
        ("  pw|", "  pwd|"),
    ],
)
def test_in_the_middle_of_a_line_the_byte_at_the_cursor_goes(prompt, line, completed):
    prompt.line(line)
    prompt.press(TAB)
    before, _, behind = completed.partition("|")
    assert prompt.shown() == "/$ " + before + behind
    assert prompt.screen.at()[1] == len("/$ " + before)


def test_quoted_blanks_belong_to_a_word(prompt, machine):
    ports(machine, "two words")
    prompt.walk("acme", "box", "port")
    assert tab(prompt, 'set port[id="two words"]/q') == "os/"
    assert tab(prompt, "set port[id='any  thing']/q") == "os/"
    assert tab(prompt, 'set "a b" port[id=1]/q') == "os/"
    assert tab(prompt, 'set port[id="tw') == 'o words"]/'
    assert tab(prompt, 'set port[id="open mt') == BELL.decode()


def test_a_history_entry_is_not_written_to(prompt):
    line = 'set acme/hostname "two words"'
    prompt.run(line)
    assert prompt.press(UP + TAB + b"?").count(BELL) == 2
    assert prompt.shown() == "/$ " + line
    assert prompt.run("pwd") == "\r\n/\r\r\n/$ "
    assert prompt.press(UP + UP) == b"pwd\x1b[3D" + line.encode()
    prompt.run("set acme/ho")
    assert prompt.press(UP + TAB) == b"set acme/hostname"
    prompt.line("")
    assert prompt.press(UP) == b"set acme/ho"


def test_help_with_a_word_is_remembered_without_the_word(prompt):
    prompt.run("help cd")
    prompt.press(UP)
    assert prompt.shown() == "/$ help"
    prompt.run("  help cd")
    prompt.press(UP)
    assert prompt.shown() == "/$   help"


def test_lines_of_nothing_but_punctuation(prompt):
    words = ["[", "]", "[[[=", "a[b=", "=/", "=/]", "]/=/[", "'", '"', "'\"", "[=,]/", "/[/]=/"]
    for word in words:
        for line in (word, "set " + word, "set acme/box" + word, "cd x " + word + "/a"):
            prompt.line(line)
            prompt.press(TAB)
            prompt.press(b"?")
            prompt.press(b"\x05")
            assert prompt.shown() == "/$ " + line


def test_a_line_that_wraps(machine):
    machine.load(SCHEMA)
    prompt = Prompt(machine, columns=20)
    assert tab(prompt, "set acme/hostname acme/bo") == "x/"
    assert tab(prompt, "set acme/hostname acme/box/stat") == (
        "\r\nstate   station\r\n/$ set acme/hostname acme/box/stat"
    )


# The server is slow, gone, or talks in between


def is_raw(prompt):
    return not termios.tcgetattr(prompt.child.child_fd)[3] & termios.ICANON


def test_sigterm_while_tab_waits_for_the_server(prompt, machine):
    prompt.walk("acme", "box", "port")
    never = threading.Event()
    asked = len(machine.tarnd.requests)
    machine.tarnd.on_request = lambda request: [daemon.pause(never)]
    prompt.line("cd p")
    prompt.send(TAB)
    machine.tarnd.wait_requests(asked + 1)
    assert is_raw(prompt)
    prompt.child.kill(signal.SIGTERM)
    assert prompt.child.wait() == 1
    assert not is_raw(prompt)
    never.set()


def test_the_server_goes_away_while_tab_waits(prompt, machine):
    prompt.walk("acme", "box", "port")
    prompt.run("add-listentry id 3")
    machine.tarnd.on_request = lambda request: [daemon.close]
    assert tab(prompt, "cd p") == "ort[id=3]/"


def test_children_whose_records_are_no_use(prompt, machine):
    prompt.walk("acme")
    machine.load(Schema(module("acme", "urn:acme", leaf("bad", record=b"short"), leaf("good"))))
    assert tab(prompt, "set ") == "good"
    assert machine.log.texts(ERROR) == []
