"""'?' at the prompt: what it lists at every command position, and what it inserts.

Records stay below 64 bytes: then the database keeps the order of the fields.
"""

import pytest
from support.prompt import BELL, UP, Prompt
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
        leaf("hostname", help="Name of the box. [string 1..64]"),
        leaf("hostkey"),
        container(
            "box",
            leaf("size", help="Units. [uint8, 1..4, default 1]"),
            leaf_list("tag", help="Free text."),
            list_(
                "port",
                ["id"],
                leaf("id", help="Its number."),
                leaf("mtu", help="Bytes. [uint16]"),
                help="The ports. [keys: id]",
            ),
            list_("route", ["via", "dest"], leaf("via"), leaf("dest")),
            help="What it is made of.",
        ),
        container(
            "link",
            leaf("mode", help="Up or down."),
            choice(
                "transport",
                case("tcp", leaf("tcp-port", help="A port.")),
                case("udp", leaf("udp-port")),
            ),
        ),
        container("empty"),
        rpc("reset", leaf("delay", help="Seconds."), help="Starts again."),
        rpc("restart"),
    ),
    module("lab", "urn:lab"),
)

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

PATH_ROW = "      path    schema        yang module schema tree path\n"
GET_CONFIG_ROWS = (
    "        -l      location        vandel local path\n"
    "        -r      location        running path\n"
    "        -s      location        startup path\n"
    "        path    schema          yang module schema tree path\n"
    "        path    schema          yang module schema tree path\n"
    "        path    schema          yang module schema tree path\n"
)
ROOT = "path:\n  lab/     \n  acme/    \n"


@pytest.fixture
def prompt(machine):
    machine.load(SCHEMA)
    return Prompt(machine)


def walk(prompt, *names):
    for name in names:
        prompt.run(f"cd {name}")


def at_root(listing, line):
    """The bytes of a listing below which the prompt is drawn again."""
    return (listing + "/$ " + line).replace("\n", "\r\n").encode() + BELL


def at(workspace, listing, line):
    text = listing + f"\n{workspace}$ " + line
    return text.replace("\n", "\r\n").encode() + BELL


# The first word


@pytest.mark.parametrize("line", ["", "   "])
def test_all_commands(prompt, line):
    assert prompt.help(line) == at_root(COMMANDS, line)
    assert prompt.screen.bells == 1


def test_all_commands_and_the_rpcs_of_the_workspace(prompt, machine):
    walk(prompt, "acme")
    asked = len(machine.tarnd.requests)
    rpcs = "  restart            \n  reset              \n"
    assert prompt.help("") == at("/acme", COMMANDS + rpcs, "")
    assert prompt.shown() == "/acme$"
    assert len(machine.tarnd.requests) == asked


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
    walk(prompt, "acme")
    assert prompt.help("rese") == at("/acme", "\n  reset\n", "reset")
    assert prompt.help("r") == at("/acme", "\n  restart    \n  reset      \n", "res")


@pytest.mark.parametrize("line", ["x", "cdx", "set/", "[", "%s%n"])
def test_no_command(prompt, line):
    assert prompt.help(line) == BELL
    assert prompt.shown() == "/$ " + line


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
    walk(prompt, "acme")
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
    walk(prompt, "acme", "empty")
    assert prompt.help("cd ") == at(
        "/acme/empty",
        "\n  cd    Change the current workspace. (cd path)\n" + PATH_ROW + "\n",
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


LIST_KEY_ROWS = (
    "\n  add-listentry    Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)\n"
    "              list-key     list_key        A leaf is a key in the list.\n"
    "              key-value    string          the value of a leaf which is a key in the list.\n"
)


def test_list_keys(prompt, machine):
    walk(prompt, "acme", "box", "route")
    assert prompt.help("add-listentry ") == at(
        "/acme/box/route", LIST_KEY_ROWS + "\nlist-key:\n  via     \n  dest    \n", "add-listentry "
    )
    assert machine.log.texts(ERROR) == []


def test_list_keys_where_there_is_no_list(prompt, machine):
    assert prompt.help("add-listentry ") == at_root(LIST_KEY_ROWS, "add-listentry ")
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] no matches find.\n")]


# The first argument, begun


def test_a_leaf_typed_in_full(prompt):
    walk(prompt, "acme")
    assert prompt.help("set hostname") == at("/acme", "\n<cr>\n\r\n", "set hostname")
    assert prompt.help("set box/tag") == at("/acme", "\n<cr>\n\r\n", "set box/tag")
    assert prompt.help("get-config -l box/size") == at(
        "/acme", "\n<cr>\n\r\n", "get-config -l box/size"
    )


def test_the_start_of_a_leaf(prompt):
    walk(prompt, "acme")
    assert prompt.help("set hostn") == at(
        "/acme", "\n  hostname    Name of the box. [string 1..64]\n\r\n", "set hostname"
    )
    assert prompt.help("set h") == at(
        "/acme",
        "\n  hostkey     \n  hostname    Name of the box. [string 1..64]\n\r\n",
        "set host",
    )


def test_a_container(prompt):
    walk(prompt, "acme")
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
    walk(prompt, "acme", "box", "route")
    assert prompt.help("add-listentry d") == at(
        "/acme/box/route", "\n  dest    \n\r\n", "add-listentry dest"
    )


def test_free_text_has_no_help(prompt, machine):
    assert prompt.help("import-config fi") == at_root("\r\n", "import-config fi")
    assert prompt.help("ls x") == at_root("\r\n", "ls x")
    assert machine.log.texts(ERROR) == []


# Later arguments


@pytest.mark.parametrize("option", ["-l", "-r", "-s"])
def test_a_path_behind_an_option(prompt, option):
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


# Entries, quotes, formats, the line


def ports(machine, *values):
    entries = "".join(f"<port><id>{value}</id></port>" for value in values)
    machine.tarnd.holds("<port>", f'<box xmlns="urn:acme">{entries}</box>')


def test_list_entries(prompt, machine):
    ports(machine, "1/2", "1/3", "two words")
    walk(prompt, "acme", "box", "port")
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
    walk(prompt, "acme", "box", "port")
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
    walk(prompt, "m%s%n")
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
    walk(prompt, "acme")
    prompt.run("reset")
    assert prompt.help("set ") == (
        '\n  set    Set value of the configurable node. (set key value|"v1 v2")\n'
        + PATH_ROW + "\npath:\n  delay    Seconds.\n\n[reset]$ set "
    ).replace("\n", "\r\n").encode() + BELL  # fmt: skip
