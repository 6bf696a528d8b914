"""'?' on what is typed: what it lists, and what it inserts."""

import pytest
from support.completion_help import PATH_ROW, SCHEMA, at, at_root
from support.prompt import BELL, UP, Prompt
from support.schema_db import Schema, leaf, module, rpc
from support.shell import ERROR


@pytest.fixture
def prompt(machine):
    machine.load(SCHEMA)
    return Prompt(machine)


def test_some_commands(prompt):
    assert prompt.help("c") == at_root(
        "\n"
        "  cd             Change the current workspace. (cd path)\n"
        "  copy-config    Copy source database to target database.\n"
        "  commit         Record changes to the server. \n",
        "c",
    )


def test_what_commands_share_is_inserted(prompt):
    assert prompt.help("de") == at_root(
        "\n"
        "  delete           Delete value of the configurable node. \n"
        "  delete-config    Delete startup database.\n",
        "delete",
    )
    assert prompt.shown() == "/$ delete"


def test_one_command_is_inserted_whole(prompt):
    assert prompt.help(" pw") == at_root("\n  pwd    Print the current workspace. \n", " pwd")
    assert prompt.help("quit") == at_root("\n  quit    Quit vandel or quit rpc mode.\n", "quit")


def test_commands_and_rpcs(prompt):
    prompt.walk("acme")
    assert prompt.help("rese") == at("/acme", "\n  reset\n", "reset")
    assert prompt.help("r") == at("/acme", "\n  restart    \n  reset      \n", "res")


@pytest.mark.parametrize("line", ["x", "cdx", "set/", "[", "%s%n"])
def test_no_command(prompt, line):
    assert prompt.help(line) == BELL
    assert prompt.shown() == "/$ " + line


# The first argument, begun


def test_a_leaf_typed_in_full(prompt):
    prompt.walk("acme")
    assert prompt.help("set hostname") == at("/acme", "\n<cr>\n\r\n", "set hostname")
    assert prompt.help("set box/tag") == at("/acme", "\n<cr>\n\r\n", "set box/tag")
    assert prompt.help("get-config -l box/size") == at(
        "/acme", "\n<cr>\n\r\n", "get-config -l box/size"
    )


def test_the_start_of_a_leaf(prompt):
    prompt.walk("acme")
    assert prompt.help("set hostn") == at(
        "/acme", "\n  hostname    Name of the box. [string 1..64]\n\r\n", "set hostname"
    )
    assert prompt.help("set h") == at(
        "/acme",
        "\n  hostkey     \n  hostname    Name of the box. [string 1..64]\n\r\n",
        "set host",
    )


def test_a_container(prompt):
    prompt.walk("acme")
    assert prompt.help("set bo") == at("/acme", "\n  box/    What it is made of.\n\r\n", "set box/")
    assert prompt.press(b"?") == at(
        "/acme",
        "\n  route/    \n  port/     The ports. [keys: id]\n  tag       Free text.\n"
        "  size      Units. [uint8, 1..4, default 1]\n\r\n",
        "set box/",
    )


def test_only_what_follows_the_last_slash_is_replaced(prompt):
    assert prompt.help("set acme/box/si") == at_root(
        "\n  size    Units. [uint8, 1..4, default 1]\n\r\n", "set acme/box/size"
    )
    assert prompt.help("set /acme/box/si") == at_root(
        "\n  size    Units. [uint8, 1..4, default 1]\n\r\n", "set /acme/box/size"
    )


def test_choices(prompt):
    assert prompt.help("set acme/link/") == at_root(
        "\n  mode        Up or down.\n  tcp-port    A port.\n  udp-port    \n\r\n",
        "set acme/link/",
    )


@pytest.mark.parametrize(
    "line", ["set x", "cd /a", "set acme/box/x", "get acme/hostname/", "set acmeacme", "delete ../",
             "set acme/nowhere/x"]
)  # fmt: skip
def test_no_such_path_writes_only_the_line_ends(prompt, line):
    assert prompt.help(line) == at_root("\n\r\n", line)


def test_an_option_that_is_begun(prompt, machine):
    lines = (
        "\n  -l    vandel local path\n" "\n  -r    running path\n" "\n  -s    startup path\n" "\r\n"
    )
    assert prompt.help("get-config -") == at_root(lines, "get-config -")
    assert machine.log.texts(ERROR) == []


def test_no_option_is_inserted_and_each_row_logs_for_itself(prompt, machine):
    assert prompt.help("get-config -r") == at_root("\n  -r    running path\n\r\n", "get-config -r")
    nothing = (ERROR, "[ERROR] no matches find.\n")
    assert machine.log.texts(ERROR) == [nothing, nothing]
    assert prompt.help("get-config acme/") == at_root("\r\n", "get-config acme/")
    assert machine.log.texts(ERROR) == [nothing] * 5


def test_a_datastore_that_is_begun(prompt, machine):
    assert prompt.help("copy-config r") == at_root(
        "\n  running    The running configuration.\n\r\n", "copy-config running"
    )
    assert prompt.help("copy-config c") == at_root(
        "\n  candidate    The candidate configuration.\n"
        "  config       The current command configuration.\n\r\n",
        "copy-config c",
    )
    assert machine.log.texts(ERROR) == []
    assert prompt.help("copy-config x") == at_root("\r\n", "copy-config x")
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] no matches find.\n")]


def test_a_list_key_that_is_begun(prompt):
    prompt.walk("acme", "box", "route")
    assert prompt.help("add-listentry d") == at(
        "/acme/box/route", "\n  dest    \n\r\n", "add-listentry dest"
    )


def test_free_text_has_no_help(prompt, machine):
    assert prompt.help("import-config fi") == at_root("\r\n", "import-config fi")
    assert prompt.help("ls x") == at_root("\r\n", "ls x")
    assert machine.log.texts(ERROR) == []


# Entries, quotes, formats, the line


def ports(machine, *values):
    entries = "".join(f"<port><id>{value}</id></port>" for value in values)
    machine.tarnd.holds("<port>", f'<box xmlns="urn:acme">{entries}</box>')


def test_list_entries(prompt, machine):
    ports(machine, "1/2", "1/3", "two words")
    prompt.walk("acme", "box", "port")
    workspace = "/acme/box/port"
    assert prompt.help("cd ") == at(
        workspace,
        "\n  cd    Change the current workspace. (cd path)\n" + PATH_ROW + "\n"
        "path:\n"
        '  port[id="two words"]/    \n'
        "  port[id=1/3]/            \n"
        "  port[id=1/2]/            \n",
        "cd ",
    )
    assert prompt.help("cd port[id=1") == at(
        workspace, "\n  port[id=1/3]/    \n  port[id=1/2]/    \n\r\n", "cd port[id=1/"
    )
    assert prompt.help("cd port[id=1/3") == at(
        workspace, "\n  port[id=1/3]/    \n\r\n", "cd port[id=1/3]/"
    )
    assert prompt.press(b"?") == at(
        workspace, "\n  mtu    Bytes. [uint16]\n  id     Its number.\n\r\n", "cd port[id=1/3]/"
    )
    assert prompt.help('cd port[id="t') == at(
        workspace, '\n  port[id="two words"]/    \n\r\n', 'cd port[id="two words"]/'
    )
    assert prompt.help("set port[id=1/3]/mt") == at(
        workspace, "\n  mtu    Bytes. [uint16]\n\r\n", "set port[id=1/3]/mtu"
    )
    assert prompt.help("set port[id=1/3]/mtu") == at(
        workspace, "\n<cr>\n\r\n", "set port[id=1/3]/mtu"
    )


def test_quotes_hold_no_word_together(prompt):
    prompt.walk("acme", "box", "port")
    line = 'cd port[id="two words"]/'
    assert prompt.help(line) == at("/acme/box/port", "\r\n", line)


def test_nothing_is_taken_for_a_format(prompt, machine):
    machine.load(
        Schema(
            module("m%s%n", "urn:m", leaf("x%d%n", help="100%s %n %*d"), rpc("%n%s"), rpc("%n%d"))
        )
    )
    assert prompt.help("cd m") == at_root("\n  m%s%n/    \n\r\n", "cd m%s%n/")
    assert prompt.help("set m%s%n/") == at_root(
        "\n  %n%d/    \n  %n%s/    \n  x%d%n    100%s %n %*d\n\r\n", "set m%s%n/"
    )
    assert prompt.help("set %s%n/%d") == at_root("\n\r\n", "set %s%n/%d")
    prompt.walk("m%s%n")
    assert prompt.help("%") == at("/m%s%n", "\n  %n%d    \n  %n%s    \n", "%n%")
    assert prompt.help("%n%s") == at("/m%s%n", "\n  %n%s\n", "%n%s")


def test_in_the_middle_of_a_line(prompt):
    prompt.line("set acme/ho| x")
    assert prompt.press(b"?").startswith(
        b"\r\n  hostkey     \r\n  hostname    Name of the box. [string 1..64]\r\n\r\r\n"
        b"/$ set acme/hostx"
    )
    assert prompt.shown() == "/$ set acme/hostx"
    assert prompt.screen.at()[1] == len("/$ set acme/host")
    prompt.line("hel|p")
    prompt.press(b"?")
    assert prompt.shown() == "/$ help"


def test_the_key_never_enters_the_line(prompt):
    prompt.line("set acme/hostname what")
    prompt.press(b"?", b"?", b"?")
    assert prompt.shown() == "/$ set acme/hostname what"
    assert prompt.screen.bells == 3


def test_a_history_entry_is_not_written_to(prompt):
    prompt.run("set acme/hostn")
    assert prompt.press(UP + b"?").count(BELL) == 1
    assert prompt.shown() == "/$ set acme/hostname"
    prompt.line("")
    assert prompt.press(UP) == b"set acme/hostn"


def test_the_prompt_after_help_takes_a_command(prompt):
    prompt.help("pw")
    assert prompt.press(b"\r") == b"\r\n/\r\r\n/$ "


def test_in_rpc_mode(prompt):
    prompt.walk("acme")
    prompt.run("reset")
    assert prompt.help("set ") == (
        '\n  set    Set value of the configurable node. (set key value|"v1 v2")\n'
        + PATH_ROW + "\npath:\n  delay    Seconds.\n\n[reset]$ set "
    ).replace("\n", "\r\n").encode() + BELL  # fmt: skip
