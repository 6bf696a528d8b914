"""Command words, help, and words that are no command."""

import re

import pytest
from support.example import EXAMPLE
from support.messages import no_such
from support.prompt import BELL, UP, Prompt
from support.shell import DEBUG, ERROR

ROWS = (
    "  help            Display the help information. (help [cmd])\n"
    "  cd              Change the current workspace. (cd path)\n"
    "  ls              List subordinate configurable nodes. \n"
    "  pwd             Print the current workspace. \n"
    '  set             Set value of the configurable node. (set key value|"v1 v2")\n'
    "  delete          Delete value of the configurable node. \n"
    "  discard_changes Delete local data. \n"
    "  get             Get value of the configurable node. \n"
    "  get-config      Get value from local, running or startup database."
    " (get-config -r|-s path or get-config -l [path])\n"
    "  copy-config     Copy source database to target database.\n"
    "  commit          Record changes to the server. \n"
    "  save            Save running database to startup database. \n"
    "  add-listentry   Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)\n"
    "  export-config   Export running or startup database to file."
    " (export-config running|startup path)\n"
    "  import-config   Import data to running or startup database from file."
    " (import-config file running|startup)\n"
    "  quit            Quit vandel or quit rpc mode.\n"
    "  delete-config   Delete startup database.\n"
)
BANNER = re.compile(
    r"vandel  version v1\.0\.0\n" r"compile time: [A-Z][a-z]{2} [ \d]\d \d{4}, \d\d:\d\d:\d\d\n"
)
USAGE = "error command, please use:help [cmd] \r\n"


def test_help_lists_every_command(machine):
    output = machine.one_shot("help").stdout.decode()
    banner = BANNER.match(output)
    assert banner
    assert output[banner.end() :] == ROWS


def test_help_for_one_command(machine):
    machine.dialogue(
        ("/$ ", "help help", ROWS.splitlines(True)[0]),
        ("/$ ", "help quit", "  quit            Quit vandel or quit rpc mode.\n"),
        ("/$ ", "help ls", "  ls              List subordinate configurable nodes. \n"),
        ("/$ ", "help  discard_changes ", "  discard_changes Delete local data. \n"),
    )


@pytest.mark.parametrize("row", ROWS.splitlines(True))
def test_help_shows_any_row_alone(machine, row):
    assert machine.one_shot("help", row.split()[0]).stdout.decode() == row


def test_help_for_an_unknown_command(machine):
    machine.dialogue(
        ("/$ ", "help hel", "Unknown command 'hel'\n" + ROWS),
        ("/$ ", "help HELP", "Unknown command 'HELP'\n" + ROWS),
        ("/$ ", "help %s%n", "Unknown command '%s%n'\n" + ROWS),
    )


def test_help_takes_one_word_at_most(machine):
    machine.dialogue(("/$ ", "help cd ls", USAGE), ("/$ ", "help a b c d", USAGE))


def test_help_counts_quoted_words_as_one_but_takes_the_word_by_blanks(machine):
    machine.dialogue(("/$ ", 'help "cd ls"', "Unknown command '\"cd'\n" + ROWS))


def test_white_space_of_every_kind_before_the_command(machine):
    machine.dialogue(("/$ ", "\v\f pwd", "/\r\n"), ("/$ ", "pwd\t", "/\r\n"))


def test_a_leading_tab_is_not_part_of_a_piped_line(machine):
    assert machine.session("\t pwd", "quit").stdout == b"/$ pwd\n/\r\n/$ quit\n"


def test_help_takes_its_word_by_blanks_alone(machine):
    output = machine.session("help\tpwd", "quit").stdout.decode()
    start = "/$ help\tpwd\n"
    assert output.startswith(start)
    banner = BANNER.match(output, len(start))
    assert banner
    assert output[banner.end() :] == ROWS + "/$ quit\n"


def test_a_command_word_ends_at_any_white_space_but_its_words_at_blanks(machine):
    machine.dialogue(
        ("/$ ", "pwd\vnow", "/\r\n"),  # one word for the command
        ("/$ ", "pwd\fnow then", "error command, please use:pwd (no param)\r\n"),
        ("/$ ", "cd\vacme", "error command, please use:cd path\r\n"),
        ("/$ ", "help ls\t", "Unknown command 'ls\t'\n" + ROWS),
        ("/$ ", "help \vls", "Unknown command '\vls'\n" + ROWS),
    )


@pytest.mark.parametrize("word", ["quitx", "Quit", "hel", "PWD", "get-configs", "ls/"])
def test_a_word_that_is_no_command(machine, word):
    machine.load(EXAMPLE)
    machine.dialogue(("/$ ", word, f"error parameter: {word}\r\n" + no_such(word)))


def test_a_word_is_never_a_format(machine):
    machine.load(EXAMPLE)
    machine.dialogue(("/$ ", "%s%n%d", "error parameter: %s%n%d\r\n" + no_such("%s%n%d")))


def test_only_the_first_word_counts_for_an_unknown_command(machine):
    machine.load(EXAMPLE)
    machine.dialogue(("/$ ", "foo bar", "error parameter: foo\r\n" + no_such("foo")))


def test_a_schema_node_that_is_no_rpc(machine):
    machine.load(EXAMPLE)
    invalid = "invalid operation!!\r\n"
    machine.dialogue(
        ("/$ ", "acme", invalid + no_such("acme")),
        ("/$ ", "/acme/box", invalid + no_such("/acme/box")),
        ("/$ ", "/acme/box/name", invalid + no_such("/acme/box/name")),
        ("/$ ", "acme/box/port[id=1]", invalid + no_such("acme/box/port[id=1]")),
    )
    assert machine.tarnd.requests == []


def test_a_path_that_leads_nowhere(machine):
    machine.load(EXAMPLE)
    for word in ("/acme/nothing", "..", "/acme/box/nothing/at/all", "/nothing", "/"):
        machine.dialogue(("/$ ", word, f"error parameter: {word}\r\n" + no_such(word)))


def test_an_unknown_path_is_told_whole_and_then_up_to_its_first_blank(machine):
    """A path keeps what is quoted; the word of a command ends at the first blank."""
    machine.load(EXAMPLE)
    path = '/acme/box/nothing[k="a b"]'
    machine.dialogue(
        ("/$ ", path, f"error parameter: {path}\r\n" + no_such('/acme/box/nothing[k="a'))
    )


def test_quit_ends_only_when_it_is_the_first_word(machine):
    machine.load(EXAMPLE)
    assert machine.session("quit now").stdout == b"/$ quit now\n"
    assert machine.session("  quit").stdout == b"/$ quit\n"


def test_a_path_that_leads_nowhere_is_logged(machine):
    machine.load(EXAMPLE)
    word = "/acme/nothing"
    machine.dialogue(("/$ ", word, f"error parameter: {word}\r\n" + no_such(word)))
    assert machine.log.texts(ERROR, DEBUG) == [
        (DEBUG, "[DEBUG] error: invalid path /acme/nothing\r\n\n")
    ]


class TestHistory:
    """Which lines can be recalled at the terminal."""

    REMEMBERED = [
        ("pwd", "pwd"),
        ("  pwd now", "  pwd now"),  # a command that fails
        ("get /no/such", "get /no/such"),
        ("/acme/reset now", "/acme/reset now"),  # an rpc that is not entered
        ("help", "help"),
        ("help cd", "help"),  # the command cut its line
        ("  help cd", "  help"),
    ]
    FORGOTTEN = ["nonsense", "quitx", "acme", "/acme/box", "   ", ""]

    @pytest.mark.parametrize("typed, recalled", REMEMBERED)
    def test_a_command_is_remembered(self, machine, typed, recalled):
        machine.load(EXAMPLE)
        prompt = Prompt(machine, screen=False)
        prompt.run("ls")
        prompt.run(typed)
        assert prompt.press(UP) == recalled.encode()

    @pytest.mark.parametrize("typed", FORGOTTEN)
    def test_what_runs_nothing_is_not(self, machine, typed):
        machine.load(EXAMPLE)
        prompt = Prompt(machine, screen=False)
        prompt.run("ls")
        prompt.run(typed)
        assert prompt.press(UP) == b"ls"

    def test_an_rpc_and_its_end_are_remembered(self, machine):
        machine.load(EXAMPLE)
        prompt = Prompt(machine, screen=False)
        prompt.run("/acme/reset")
        assert prompt.press(UP) == b"/acme/reset"
        prompt.run("/acme/reset")  # refused inside the rpc, and remembered already
        prompt.run("/acme/ping")
        assert prompt.press(UP) == b"/acme/reset"
        prompt.run("quit")
        assert prompt.press(UP) == b"quit"

    def test_ten_lines_are_remembered(self, machine):
        prompt = Prompt(machine)
        for number in range(12):
            prompt.run(f"pwd {number}")
        for count in range(1, 11):  # each time from the line that was typed last
            assert BELL not in prompt.press(UP * count)
            assert prompt.shown() == f"/$ pwd {12 - count}"
        assert prompt.press(UP * 11).count(BELL) == 1
        assert prompt.shown() == "/$ pwd 2"
