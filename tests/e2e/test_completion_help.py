"""'?' where a word is yet to begin: the commands, and the arguments of each."""

import pytest
from support.completion_help import PATH_ROW, SCHEMA, at, at_root
from support.prompt import BELL, Prompt
from support.shell import ERROR


COMMANDS = (
    "\n"
    "  help               Display the help information. (help [cmd])\n"
    "  cd                 Change the current workspace. (cd path)\n"
    "  ls                 List subordinate configurable nodes. \n"
    "  pwd                Print the current workspace. \n"
    '  set                Set value of the configurable node. (set key value|"v1 v2")\n'
    "  delete             Delete value of the configurable node. \n"
    "  discard_changes    Delete local data. \n"
    "  get                Get value of the configurable node. \n"
    "  get-config         Get value from local, running or startup database. "
    "(get-config -r|-s path or get-config -l [path])\n"
    "  copy-config        Copy source database to target database.\n"
    "  commit             Record changes to the server. \n"
    "  save               Save running database to startup database. \n"
    "  add-listentry      Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)\n"
    "  export-config      Export running or startup database to file. "
    "(export-config running|startup path)\n"
    "  import-config      Import data to running or startup database from file. "
    "(import-config file running|startup)\n"
    "  quit               Quit vandel or quit rpc mode.\n"
    "  delete-config      Delete startup database.\n"
)
GET_CONFIG_ROWS = (
    "        -l      location        vandel local path\n"
    "        -r      location        running path\n"
    "        -s      location        startup path\n"
    "        path    schema          yang module schema tree path\n"
    "        path    schema          yang module schema tree path\n"
    "        path    schema          yang module schema tree path\n"
)
ROOT = "path:\n  lab/     \n  acme/    \n"
LIST_KEY_ROWS = (
    "\n  add-listentry    Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)\n"
    "              list-key     list_key        A leaf is a key in the list.\n"
    "              key-value    string          the value of a leaf which is a key in the list.\n"
)


@pytest.fixture
def prompt(machine):
    machine.load(SCHEMA)
    return Prompt(machine)


# The first word


@pytest.mark.parametrize("line", ["", "   "])
def test_all_commands(prompt, line):
    assert prompt.help(line) == at_root(COMMANDS, line)
    assert prompt.screen.bells == 1


def test_all_commands_and_the_rpcs_of_the_workspace(prompt, machine):
    prompt.walk("acme")
    asked = len(machine.tarnd.requests)
    rpcs = "  restart            \n  reset              \n"
    assert prompt.help("") == at("/acme", COMMANDS + rpcs, "")
    assert prompt.shown() == "/acme$"
    assert len(machine.tarnd.requests) == asked


@pytest.mark.parametrize("line", ["| cd", " | cd", "|  set box"])
def test_in_the_blanks_before_the_first_word(prompt, line):
    assert prompt.help(line).startswith(BELL)
    assert prompt.screen.bells == 1
    prompt.press(b"\x05")
    assert prompt.shown() == "/$ " + line.replace("|", "")


# The first argument, nothing typed


@pytest.mark.parametrize("command, help_text", [
    ("help", "Display the help information. (help [cmd])"),
    ("ls", "List subordinate configurable nodes. "),
    ("pwd", "Print the current workspace. "),
    ("discard_changes", "Delete local data. "),
    ("commit", "Record changes to the server. "),
    ("save", "Save running database to startup database. "),
    ("quit", "Quit vandel or quit rpc mode."),
    ("delete-config", "Delete startup database."),
])  # fmt: skip
def test_commands_without_arguments(prompt, command, help_text):
    assert prompt.help(command + " ") == at_root(f"\n  {command}    {help_text}\n", command + " ")


@pytest.mark.parametrize("command, help_text", [
    ("cd", "Change the current workspace. (cd path)"),
    ("set", 'Set value of the configurable node. (set key value|"v1 v2")'),
    ("delete", "Delete value of the configurable node. "),
    ("get", "Get value of the configurable node. "),
])  # fmt: skip
def test_path_commands(prompt, command, help_text):
    listing = f"\n  {command}    {help_text}\n" + PATH_ROW + "\n" + ROOT
    assert prompt.help(command + " ") == at_root(listing, command + " ")


def test_the_children_of_the_workspace_with_their_help(prompt):
    prompt.walk("acme")
    assert prompt.help("cd ") == at(
        "/acme",
        "\n  cd    Change the current workspace. (cd path)\n" + PATH_ROW + "\n"
        "path:\n"
        "  restart/    \n"
        "  reset/      Starts again.\n"
        "  empty/      \n"
        "  link/       \n"
        "  box/        What it is made of.\n"
        "  hostkey     \n"
        "  hostname    Name of the box. [string 1..64]\n",
        "cd ",
    )


def test_nothing_below_the_workspace(prompt):
    prompt.walk("acme", "empty")
    assert prompt.help("cd ") == at(
        "/acme/empty",
        "\n  cd    Change the current workspace. (cd path)\n" + PATH_ROW + "\npath:\n",
        "cd ",
    )


def test_options(prompt):
    assert prompt.help("get-config ") == at_root(
        "\n  get-config    Get value from local, running or startup database. "
        "(get-config -r|-s path or get-config -l [path])\n" + GET_CONFIG_ROWS + "\n\n\n",
        "get-config ",
    )


def test_datastores(prompt):
    assert prompt.help("copy-config ") == at_root(
        "\n  copy-config    Copy source database to target database.\n"
        "            source    datastore    running |startup | candidate |config | <url address>"
        "    Particular configuration to copy from.\n"
        "            target    datastore    running |startup | candidate | <url address>        "
        "    The configuration target of the copy operation.\n"
        "\n"
        "source:\n"
        "  running      The running configuration.\n"
        "  startup      The startup configuration.\n"
        "  candidate    The candidate configuration.\n"
        "  config       The current command configuration.\n",
        "copy-config ",
    )
    assert prompt.help("export-config ") == at_root(
        "\n  export-config    Export running or startup database to file. "
        "(export-config running|startup path)\n"
        "            source    datastore    running |startup    "
        "Particular configuration to copy from.\n"
        "            file      string                           export config target file.\n"
        "\n"
        "source:\n"
        "  running    The running configuration.\n"
        "  startup    The startup configuration.\n",
        "export-config ",
    )
    assert prompt.help("import-config ") == at_root(
        "\n  import-config    Import data to running or startup database from file. "
        "(import-config file running|startup)\n"
        "          file      string                           export config target file.\n"
        "          target    datastore    running |startup    "
        "Particular configuration to copy from.\n",
        "import-config ",
    )


def test_list_keys(prompt, machine):
    prompt.walk("acme", "box", "route")
    assert prompt.help("add-listentry ") == at(
        "/acme/box/route", LIST_KEY_ROWS + "\nlist-key:\n  via     \n  dest    \n", "add-listentry "
    )
    assert machine.log.texts(ERROR) == []


def test_list_keys_where_there_is_no_list(prompt, machine):
    assert prompt.help("add-listentry ") == at_root(LIST_KEY_ROWS, "add-listentry ")
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] no matches find.\n")]


# Later arguments


@pytest.mark.parametrize("option", ["-l", "-r", "-s"])
def test_a_path_after_an_option(prompt, option):
    line = f"get-config {option} "
    assert prompt.help(line) == at_root("\n  lab/     \n  acme/    \n\r\n", line)
    assert prompt.help(line + "ac") == at_root("\n  acme/    \n\r\n", line + "acme/")


def test_the_target_of_a_copy(prompt):
    listing = (
        "\n  startup      The startup configuration.\n"
        "  candidate    The candidate configuration.\n\r\n"
    )
    assert prompt.help("copy-config running ") == at_root(listing, "copy-config running ")
    assert prompt.help("copy-config http://x ") == at_root(
        "\n  running      The running configuration.\n"
        "  startup      The startup configuration.\n"
        "  candidate    The candidate configuration.\n\r\n",
        "copy-config http://x ",
    )
    assert prompt.help("copy-config running s") == at_root(
        "\n  startup    The startup configuration.\n\r\n", "copy-config running startup"
    )


def test_the_target_of_an_import(prompt):
    assert prompt.help("import-config /tmp/file ") == at_root(
        "\n  running    The running configuration.\n  startup    The startup configuration.\n\r\n",
        "import-config /tmp/file ",
    )


@pytest.mark.parametrize(
    "line",
    [
        "copy-config running startup ",
        "export-config running file ",
        "import-config file running ",
        "import-config a b c ",
    ],
)
def test_nothing_follows_two_arguments(prompt, line):
    assert prompt.help(line) == BELL
    assert prompt.shown() == ("/$ " + line).rstrip()


@pytest.mark.parametrize(
    "line",
    [
        "set acme/hostname ",
        "set acme/hostname x",
        "cd a b ",
        "get-config x ",
        "get-config -l acme ",
        "export-config running ",
        "export-config running x",
        "add-listentry id ",
        "add-listentry id 5 ",
        "add-listentry list-key ",
        "ls x ",
        "commit now x",
    ],
)
def test_nothing_is_known_about_what_follows(prompt, machine, line):
    assert prompt.help(line) == at_root("\r\n", line)
    assert machine.log.texts(ERROR) == []


def test_a_third_argument_that_is_begun(prompt, machine):
    assert prompt.help("copy-config running startup c") == at_root(
        "\n  candidate    The candidate configuration.\n\r\n",
        "copy-config running startup candidate",
    )
    assert prompt.help("import-config f running x") == at_root("\r\n", "import-config f running x")
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] no matches find.\n")]


@pytest.mark.parametrize("line", ["x ", "x y", "acme/ ", "cdx a", "'cd' "])
def test_an_unknown_command(prompt, line):
    assert prompt.help(line) == BELL
