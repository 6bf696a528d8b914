"""What servers and databases put into names never steers the terminal that lists them."""

import pytest
from support.prompt import BELL, TAB, Prompt
from support.prompts import at, blue, cyan, go, plain, row
from support.schema_db import Schema, case, choice, container, leaf, list_, module, rpc

CLEAR = "\u009b2J"  # clears the screen

SCHEMA = Schema(
    module(
        "m",
        "urn:m",
        container("box", list_("port", ["id"], leaf("id"), leaf("mtu"))),
        container(
            "odd",
            leaf("a\x1b[2J", help="\x1b]0;mine\x07Bytes\r\n/$ quit"),
            leaf("a\u202eb", help=f"{CLEAR}\u200bUnits \u20ac"),
        ),
        container("both", choice("way", case("one", leaf("x\x1b[2J")), case("two", leaf("y")))),
        container("called", rpc("reset\x1b[2J"), rpc("restart\n")),
        container("alone", rpc("zap\x1b[2J")),
    )
)


@pytest.fixture(name="machine")
def loaded_machine(machine):
    machine.load(SCHEMA)
    return machine


@pytest.fixture
def prompt(machine):
    return Prompt(machine, screen=False)


def ports(machine, *values):
    entries = "".join(f"<port><id>{value}</id></port>" for value in values)
    machine.tarnd.holds("<port>", f'<box xmlns="urn:m">{entries}</box>')


def on_terminal(text, prompt, line):
    """The bytes of a listing below the line, and of the line below the listing."""
    return (text + prompt + line).replace("\n", "\r\n").encode()


class TestEntries:
    KEYS = (f"k3{CLEAR}", "k4&#10;/$")

    def test_ls(self, machine):
        ports(machine, *self.KEYS)
        machine.dialogue(
            *go("m", "box", "port"),
            (at("/m/box/port"), "ls", row(cyan("port[id=k3?2J]") + " ", cyan("port[id=k4?/$]"))),
        )

    def test_tab_lists_marks_and_inserts_bytes(self, machine, prompt):
        ports(machine, *self.KEYS)
        prompt.walk("m", "box", "port")
        assert prompt.tab("get port[id=") == b"k"
        assert prompt.press(TAB) == on_terminal(
            "\nport[id=k4?/$]/  port[id=k3?2J]/  \n", at("/m/box/port"), "get port[id=k"
        )
        prompt.type("3")
        assert prompt.press(TAB) == f"{CLEAR}]/".encode()
        prompt.press(b"mtu\r")
        assert f"<id>k3{CLEAR}</id><mtu></mtu>" in machine.tarnd.requests[-1]

    def test_help(self, machine, prompt):
        ports(machine, *self.KEYS)
        prompt.walk("m", "box", "port")
        assert (
            prompt.help("get port[id=k")
            == on_terminal(
                "\n  port[id=k4?/$]/     \n  port[id=k3?2J]/     \n\r\n",
                at("/m/box/port"),
                "get port[id=k",
            )
            + BELL
        )


class TestNames:
    def test_ls(self, machine):
        machine.dialogue(
            *go("m", "odd"),
            (at("/m/odd"), "ls", row(plain("a?[2J"), plain("a?b"))),
        )

    def test_ls_of_a_choice_keeps_its_own_colours(self, machine):
        machine.dialogue(
            *go("m", "both"),
            (at("/m/both"), "ls", f"( ({plain(' x?[2J')}) | ({plain(' y')}) )\n"),
        )

    def test_tab(self, prompt):
        prompt.walk("m", "odd")
        assert prompt.tab("set a") == on_terminal("\na?b   a?[2J \n", at("/m/odd"), "set a")

    def test_help(self, prompt):
        prompt.walk("m", "odd")
        assert (
            prompt.help("set a")
            == on_terminal(
                "\n  a?b      ?2J?Units \u20ac\n  a?[2J    ?]0;mine?Bytes??/$ quit\n\r\n",
                at("/m/odd"),
                "set a",
            )
            + BELL
        )

    def test_help_for_commands(self, prompt):
        prompt.walk("m", "called")
        assert (
            prompt.help("res")
            == on_terminal("\n  restart?     \n  reset?[2J    \n", at("/m/called"), "res") + BELL
        )

    def test_help_for_one_rpc(self, prompt):
        prompt.walk("m", "alone")
        assert (
            prompt.help("za") == on_terminal("\n  zap?[2J\n", at("/m/alone"), "zap\x1b[2J") + BELL
        )


def test_modules(machine):
    machine.load(Schema(module("x\x1b[2J", "urn:x"), module("y", "urn:y")))
    machine.dialogue(("/$ ", "ls", row(blue("x?[2J"), blue("y"))))
