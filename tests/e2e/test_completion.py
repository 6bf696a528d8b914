"""Tab at the prompt: every command position, paths, entries, and the line's safety."""

import signal
import termios
import threading

import pytest
from support import tarnd as daemon
from support.prompt import BELL, TAB, UP, Prompt
from support.schema_db import (
    Schema,
    case,
    choice,
    container,
    leaf,
    leaf_list,
    list_,
    module,
    rpc,
)
from support.shell import ERROR

SCHEMA = Schema(
    module(
        "acme",
        "urn:acme",
        leaf("hostname"),
        container(
            "box",
            leaf("size"),
            leaf_list("tag"),
            list_("port", ["id"], leaf("id"), leaf("mtu"), container("qos", leaf("dscp"))),
            list_("route", ["via", "dest"], leaf("via"), leaf("dest"), leaf("metric")),
            leaf("station"),
            leaf("state"),
        ),
        container(
            "link",
            leaf("mode"),
            choice(
                "transport",
                case("tcp", leaf("tcp-port"), choice("more", case("deep", container("tcp-deep")))),
                case("udp", leaf("udp-port")),
            ),
        ),
        container("empty"),
        rpc("reset", leaf("delay"), container("how", leaf("mode"))),
        rpc("restart"),
        rpc("compose"),
    ),
    module("lab", "urn:lab", container("shelf", leaf("height"))),
)

ALL_COMMANDS = (
    "\r\n"
    "help            cd              ls              pwd             set\r\n"
    "delete          discard_changes get             get-config      copy-config\r\n"
    "commit          save            add-listentry   export-config   import-config\r\n"
    "quit            delete-config   \r\n"
)


def in_columns(prompt, line, *rows):
    """What is written when candidates are listed below the line."""
    return "".join(row + "\r\n" for row in ("", *rows)) + prompt.replace("\n", "\r\n") + line


@pytest.fixture
def prompt(machine):
    machine.load(SCHEMA)
    return Prompt(machine)


def walk(prompt, *names):
    for name in names:
        prompt.run(f"cd {name}")
    return f"\n/{'/'.join(names)}$ "


def tab(prompt, line):
    """What Tab writes on this line, as text."""
    return prompt.tab(line).decode()


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
    at = walk(prompt, "acme")
    assert tab(prompt, "co") == in_columns(at, "co", "copy-config commit      compose     ")
    assert tab(prompt, "rese") == "t"
    assert tab(prompt, "r") == "es"
    assert prompt.press(TAB).decode() == in_columns(at, "res", "restart reset   ")
    assert not machine.tarnd.requests


def test_a_completed_rpc_can_be_entered(prompt):
    walk(prompt, "acme")
    prompt.line("rese")
    prompt.press(TAB)
    assert prompt.press(b"\r").decode() == "\r\n\r\n[reset]$ "
    assert tab(prompt, "r") == BELL.decode()
    assert tab(prompt, "set ") == in_columns("\n[reset]$ ", "set ", "how/  delay ")
    assert tab(prompt, "set how/") == "mode"
    assert tab(prompt, "set ../") == BELL.decode()


def test_names_are_looked_up_without_asking_the_server(prompt, machine):
    at = walk(prompt, "acme", "box", "port")
    asked = len(machine.tarnd.requests)
    assert tab(prompt, "").endswith(at.replace("\n", "\r\n"))
    assert tab(prompt, "pw") == "d"
    assert prompt.help("cd") != b""
    walk(prompt, "..", "..", "link")
    asked_by_cd = len(machine.tarnd.requests)
    assert tab(prompt, "pw") == "d"
    assert len(machine.tarnd.requests) == asked_by_cd >= asked


def test_a_lookup_that_fails_leaves_the_commands(prompt, machine):
    walk(prompt, "acme")
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
    walk(prompt, "acme")
    assert tab(prompt, "get com") == "pose/"


def test_relative_and_inner_paths(prompt):
    walk(prompt, "acme")
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
    walk(prompt, "acme")
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
    walk(prompt, "acme", "link")
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


# List entries


def entry(*pairs):
    return "".join(f"<{key}>{value}</{key}>" for key, value in pairs)


def ports(machine, *values):
    entries = "".join(f"<port>{entry(('id', value))}</port>" for value in values)
    inner = f'<acme xmlns="urn:acme"></acme><box xmlns="urn:acme">{entries}</box>'
    machine.tarnd.holds("<port>", inner)


def test_entries_staged_and_on_the_server(prompt, machine):
    ports(machine, "1", "2")
    at = walk(prompt, "acme", "box", "port")
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
    walk(prompt, "acme", "box", "port")
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
    walk(prompt, "acme", "box", "port")
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
    walk(prompt, "acme", "box", "port")
    assert tab(prompt, "cd port[id=1") == "/"
    assert tab(prompt, "cd port[id=1/") == in_columns(
        "\n/acme/box/port$ ", "cd port[id=1/", "port[id=1/3]/ port[id=1/2]/ "
    )
    assert tab(prompt, "cd port[id=1/3") == "]/"
    assert tab(prompt, "cd x=1/po") == BELL.decode()


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
def test_no_datastore_there(prompt, line):
    assert tab(prompt, line) == BELL.decode()
    assert prompt.shown() == ("/$ " + line).rstrip()


# List keys


def test_list_keys(prompt):
    at = walk(prompt, "acme", "box", "route")
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
    walk(prompt, *names)
    assert tab(prompt, "add-listentry ") == BELL.decode()


def test_an_entry_is_offered_the_keys_of_its_list(prompt):
    walk(prompt, "acme", "box", "port")
    prompt.run("add-listentry id 3")
    prompt.run("cd port[id=3]")
    assert tab(prompt, "add-listentry ") == "id"


def test_a_list_without_keys(prompt, machine):
    machine.load(Schema(module("m", "urn:m", container("c", list_("l", [], leaf("x"))))))
    walk(prompt, "m", "c", "l")
    assert tab(prompt, "add-listentry ") == BELL.decode()


# The line


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
    walk(prompt, "acme", "box", "port")
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
    walk(prompt, "acme", "box", "port")
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
    walk(prompt, "acme", "box", "port")
    prompt.run("add-listentry id 3")
    machine.tarnd.on_request = lambda request: [daemon.close]
    assert tab(prompt, "cd p") == "ort[id=3]/"


def test_children_whose_records_are_no_use(prompt, machine):
    walk(prompt, "acme")
    machine.load(Schema(module("acme", "urn:acme", leaf("bad", record=b"short"), leaf("good"))))
    assert tab(prompt, "set ") == "good"
    assert machine.log.texts(ERROR) == []
