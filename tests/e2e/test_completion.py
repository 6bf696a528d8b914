"""Tab at the prompt: commands, rpcs, paths and entries."""

import pytest
from support.completion import SCHEMA, in_columns, ports, tab
from support.prompt import BELL, TAB, Prompt
from support.schema_db import Schema, container, leaf, module
from support.shell import ERROR


ALL_COMMANDS = (
    "\r\n"
    "help            cd              ls              pwd             set\r\n"
    "delete          discard_changes get             get-config      copy-config\r\n"
    "commit          save            add-listentry   export-config   import-config\r\n"
    "quit            delete-config   \r\n"
)


@pytest.fixture
def prompt(machine):
    machine.load(SCHEMA)
    return Prompt(machine)


# Commands


def test_the_cursor_at_the_start_of_the_first_word(prompt):
    assert tab(prompt, "|cd") == ALL_COMMANDS + "/$ cd\x1b[2D\x1b[2C\x1b[2D"
    assert tab(prompt, " |cd") == ALL_COMMANDS + "/$  cd\x1b[2D\x1b[2C\x1b[2D"


def test_every_command_on_an_empty_line(prompt):
    assert tab(prompt, "") == ALL_COMMANDS + "/$ "
    assert prompt.screen.bells == 0
    assert prompt.shown() == "/$"


def test_a_line_of_blanks_is_an_empty_first_word(prompt):
    assert tab(prompt, "   ") == ALL_COMMANDS + "/$    "
    assert tab(prompt, " | ") == ALL_COMMANDS + "/$   \x1b[1D\x1b[1C\x1b[1D"


@pytest.mark.parametrize(
    "typed, rest",
    [
        ("h", "elp"),
        ("l", "s"),
        ("p", "wd"),
        ("di", "scard_changes"),
        ("q", "uit"),
        ("sa", "ve"),
        ("se", "t"),
        ("i", "mport-config"),
        ("get-", "config"),
        ("delete-", "config"),
        ("a", "dd-listentry"),
        ("  e", "xport-config"),
    ],
)
def test_a_unique_command_is_completed_without_a_blank(prompt, typed, rest):
    line = typed
    prompt.line(line)
    prompt.press(TAB)
    assert prompt.shown() == "/$ " + typed + rest
    assert prompt.screen.at()[1] == len("/$ " + typed + rest)
    assert prompt.screen.bells == 0


def test_what_commands_share_is_inserted_and_then_they_are_listed(prompt):
    assert tab(prompt, "g") == "et"
    assert prompt.press(TAB).decode() == in_columns("/$ ", "get", "get        get-config ")
    assert tab(prompt, "de") == "lete"
    assert prompt.press(TAB).decode() == in_columns("/$ ", "delete", "delete        delete-config ")
    assert tab(prompt, "co") == in_columns("/$ ", "co", "copy-config commit      ")
    assert prompt.shown() == "/$ co"
    assert prompt.screen.bells == 0


@pytest.mark.parametrize("word", ["x", "helpx", "getget-config", "Set", "set/", "-", "acme"])
def test_no_such_command_rings(prompt, word):
    assert tab(prompt, word) == BELL.decode()
    assert prompt.shown() == "/$ " + word


@pytest.mark.parametrize("line", ["| cd", " | cd", "|   set box", "  |  x "])
def test_the_blanks_before_the_first_word_are_no_word(prompt, line):
    assert tab(prompt, line)[:1] == "\x07"
    prompt.press(b"\x05")
    assert prompt.shown() == ("/$ " + line.replace("|", "")).rstrip()
    assert prompt.screen.bells == 1


def test_rpcs_of_the_workspace_follow_the_commands(prompt, machine):
    at = prompt.walk("acme")
    assert tab(prompt, "co") == in_columns(at, "co", "copy-config commit      compose     ")
    assert tab(prompt, "rese") == "t"
    assert tab(prompt, "r") == "es"
    assert prompt.press(TAB).decode() == in_columns(at, "res", "restart reset   ")
    assert not machine.tarnd.requests


def test_a_completed_rpc_can_be_entered(prompt):
    prompt.walk("acme")
    prompt.line("rese")
    prompt.press(TAB)
    assert prompt.press(b"\r").decode() == "\r\n\r\n[reset]$ "
    assert tab(prompt, "r") == BELL.decode()
    assert tab(prompt, "set ") == in_columns("\n[reset]$ ", "set ", "how/  delay ")
    assert tab(prompt, "set how/") == "mode"
    assert tab(prompt, "set ../") == BELL.decode()


def test_names_are_looked_up_without_asking_the_server(prompt, machine):
    at = prompt.walk("acme", "box", "port")
    asked = len(machine.tarnd.requests)
    assert tab(prompt, "").endswith(at.replace("\n", "\r\n"))
    assert tab(prompt, "pw") == "d"
    assert prompt.help("cd") != b""
    prompt.walk("..", "..", "link")
    asked_by_cd = len(machine.tarnd.requests)
    assert tab(prompt, "pw") == "d"
    assert len(machine.tarnd.requests) == asked_by_cd >= asked


def test_a_lookup_that_fails_leaves_the_commands(prompt, machine):
    prompt.walk("acme")
    machine.load(Schema(module("other", "urn:o")))
    assert tab(prompt, "r") == BELL.decode()
    assert tab(prompt, "") == ALL_COMMANDS + "\r\n/acme$ "


def test_the_root_has_no_rpcs_whatever_its_records_hold(prompt, machine):
    machine.load(Schema(module("rpcish", "", record=b"\xc0\x01" + bytes(60))))
    assert tab(prompt, "r") == BELL.decode()
    assert tab(prompt, "cd r") == "pcish/"


# Paths


@pytest.mark.parametrize("command", ["cd", "set", "delete", "get", "get-config"])
def test_the_path_commands(prompt, command):
    assert tab(prompt, command + " ") == in_columns("/$ ", command + " ", "lab/  acme/ ")
    assert tab(prompt, command + " ac") == "me/"
    assert prompt.press(TAB).decode() == in_columns(
        "/$ ", command + " acme/", "compose/ restart/ reset/   empty/   link/    box/     hostname "
    )
    assert tab(prompt, command + " acme/h") == "ostname"
    assert tab(prompt, command + " acme/hostname/") == BELL.decode()
    assert tab(prompt, command + " acme/reset/") == BELL.decode()


def test_the_path_is_completed_at_any_later_word(prompt):
    assert tab(prompt, "set acme/hostname la") == "b/"
    assert tab(prompt, "get-config -r acme/b") == "ox/"
    assert tab(prompt, "get-config -l la") == "b/"


@pytest.mark.parametrize(
    "command", ["help", "ls", "pwd", "discard_changes", "commit", "save", "quit", "delete-config"]
)
def test_commands_whose_arguments_are_not_completed(prompt, command):
    assert tab(prompt, command + " ") == BELL.decode()
    assert tab(prompt, command + " a") == BELL.decode()


@pytest.mark.parametrize("word", ["nothing", "cdx", "rest", "acme", "'cd'"])
def test_the_first_word_is_no_command(prompt, word):
    assert tab(prompt, word + " a") == BELL.decode()


def test_an_rpc_is_offered_as_a_path(prompt):
    prompt.walk("acme")
    assert tab(prompt, "get com") == "pose/"


def test_relative_and_inner_paths(prompt):
    prompt.walk("acme")
    assert tab(prompt, "set ho") == "stname"
    assert tab(prompt, "set box/stat") == in_columns(
        "\n/acme$ ", "set box/stat", "state   station "
    )
    assert tab(prompt, "set box/stati") == "on"
    assert tab(prompt, "set ./box/stati") == "on"
    assert tab(prompt, "set box/./ta") == "g"
    assert tab(prompt, "set box//ta") == "g"
    assert tab(prompt, "set box/port[id=1]/mt") == "u"
    assert tab(prompt, "set box/port[id=1]/qos/") == "dscp"
    assert tab(prompt, "set ../lab/s") == "helf/"
    assert tab(prompt, "set ../acme/li") == "nk/"
    assert tab(prompt, "set nowhere/") == BELL.decode()


def test_an_absolute_path_is_joined_to_the_workspace(prompt, machine):
    assert tab(prompt, "cd /") == BELL.decode()
    assert tab(prompt, "cd /ac") == BELL.decode()
    assert tab(prompt, "cd /acme/li") == "nk/"
    assert tab(prompt, "cd //la") == "b/"
    prompt.walk("acme")
    machine.log.lines()
    assert tab(prompt, "set /box/si") == "ze"
    assert tab(prompt, "set /acme/bo") == BELL.decode()
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] error parameter: /acme/acme\r\n\n")]
    assert tab(prompt, "set /box") == BELL.decode()


def test_a_path_that_climbs_too_high(prompt, machine):
    for path in ("../", "acme/../../", "..x/", "/../a"):
        assert tab(prompt, "set " + path) == BELL.decode()
    assert machine.log.texts(ERROR) == []


def test_children_of_choices_follow_the_direct_ones(prompt):
    prompt.walk("acme", "link")
    assert tab(prompt, "set ") == in_columns(
        "\n/acme/link$ ", "set ", "mode      tcp-port  tcp-deep/ udp-port  "
    )
    assert tab(prompt, "set tcp-p") == "ort"
    assert tab(prompt, "set u") == "dp-port"


def test_an_empty_container(prompt, machine):
    assert tab(prompt, "set acme/empty/") == BELL.decode()
    assert not machine.log.texts(ERROR)


def test_names_of_modules_below_other_modules(prompt, machine):
    machine.load(
        Schema(module("m", "urn:m", container("c", container("other:d", leaf("x"), leaf("m:y")))))
    )
    assert tab(prompt, "set m/c/o") == "ther:d/"
    assert tab(prompt, "set m/c/other:d/m") == ":y"
    assert tab(prompt, "set m/c/d") == BELL.decode()


def test_entries_staged_and_on_the_server(prompt, machine):
    ports(machine, "1", "2")
    at = prompt.walk("acme", "box", "port")
    prompt.run("add-listentry id 3")
    assert tab(prompt, "cd ") == "port[id="
    assert prompt.press(TAB).decode() == in_columns(
        at, "cd port[id=", "port[id=2]/ port[id=1]/ port[id=3]/ "
    )
    assert tab(prompt, "cd port[id=3") == "]/"
    assert tab(prompt, "set port[id=2]/m") == "tu"
    assert tab(prompt, "set port[id=2]") == "/"
    assert tab(prompt, "set ../port[id=2]/q") == "os/"


def test_entries_of_a_list_further_down(prompt, machine):
    ports(machine, "7")
    assert tab(prompt, "get acme/box/port/") == "port[id=7]/"


def test_the_server_does_not_tell(prompt, machine):
    machine.tarnd.on_request = lambda request: [request.reply("<rpc-error/>")]
    prompt.walk("acme", "box", "port")
    prompt.run("add-listentry id 3")
    assert tab(prompt, "cd ") == "port[id=3]/"


VALUES = {
    "1/2": "port[id=1/2]",
    "a:b:c": "port[id=a:b:c]",
    "two words": 'port[id="two words"]',
    "it's": "port[id=it's]",
    "x,y": 'port[id="x,y"]',
    "[z]=": 'port[id="[z]="]',
    'say "hi"': "port[id='say \"hi\"']",
    "eth/0/1:2": "port[id=eth/0/1:2]",
    "100%s%n": "port[id=100%s%n]",
}


@pytest.mark.parametrize("value, name", VALUES.items())
def test_key_values_of_every_kind(prompt, machine, value, name):
    ports(machine, value)
    prompt.walk("acme", "box", "port")
    assert tab(prompt, "cd ") == name + "/"
    prompt.type("mt")
    assert prompt.press(TAB).decode() == "u"
    assert prompt.shown() == f"/acme/box/port$ cd {name}/mtu"
    assert tab(prompt, "cd " + name) == "/"
    first_blank = (name + " ").index(" ")
    for length in range(1, first_blank):
        prompt.line("cd " + name[:length])
        prompt.press(TAB)
        assert prompt.shown() == f"/acme/box/port$ cd {name}/", name[:length]
    assert prompt.screen.bells == 0


def test_an_unfinished_value_with_a_slash_among_several(prompt, machine):
    ports(machine, "1/2", "1/3")
    prompt.walk("acme", "box", "port")
    assert tab(prompt, "cd port[id=1") == "/"
    assert tab(prompt, "cd port[id=1/") == in_columns(
        "\n/acme/box/port$ ", "cd port[id=1/", "port[id=1/3]/ port[id=1/2]/ "
    )
    assert tab(prompt, "cd port[id=1/3") == "]/"
    assert tab(prompt, "cd x=1/po") == BELL.decode()
