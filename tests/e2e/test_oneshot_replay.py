"""What a replay of the profile stages, as the commit of an rpc writes it back."""

import pytest
from support.example import edit_config, get, invoke, printed_no_data, printed_ok
from support.oneshot import profile, write_profile
from support.shell import DEBUG, ERROR

PING = invoke('<ping xmlns="urn:acme"></ping>')
pytestmark = pytest.mark.usefixtures("example")


def written_back(machine, config):
    """The configuration lines that are left after an rpc was called."""
    write_profile(
        machine,
        f"[pwd]\n/acme/ping\n\n[config]\n{config}\n[rpc]\n/acme/ping\n\n[rpc_para]\n\n%%%\n",
    )
    result = machine.one_shot("commit")
    assert (result.status, result.stdout.decode()) == (0, printed_ok(1))
    assert machine.tarnd.requests == [PING]
    head, tail = "[pwd]\n/acme\n\n[config]\n", "\n[rpc]\n\n[rpc_para]\n\n%%%\n"
    text = profile(machine)
    assert text.startswith(head) and text.endswith(tail)
    return text[len(head) : -len(tail)]


UNCHANGED = [
    "",
    "set /acme/box/name 1\n",
    "set /acme/box/flag\nset /acme/box/name 2\ndelete /acme/box/size\n",
    "delete /acme/box/tag a\ndelete /acme/box/inner\n",
    "set /acme/box/tag a\nset /acme/box/tag b\ndelete /acme/box/tag c\n",
    'set /acme/box/name "a\x03b"\n',
    "set /acme/box/name 'a\x03\x0b\x0c\x0d\x0eb'\n",
    "set /acme/box/name a/b:c\n",
    "set /acme/box/name %s%n\n",
    "set /acme/box/name [rpc]\n",
    'set /acme/box/port[id="a b"]/mtu 1\n',
    "set /acme/box/port[id=a/b:c]\n",
    "set /acme/box/route[dest='x=y,[z]',via=1]/metric 3\n",
    "set /no/such 1\n",  # only a second line for a path looks at the schema
    "add /acme/box/port port[id=a/b:c]\n",
    'add /acme/box/port port[id="a b"]\n',
    "add no list\n",
]


@pytest.mark.parametrize("lines", UNCHANGED)
def test_lines_that_come_back_as_they_were(machine, lines):
    assert written_back(machine, lines) == lines


CHANGED = [
    # quotes are protected, the path is not
    ('set /acme/box/name "a b"\n', 'set /acme/box/name "a\x03b"\n'),
    ("  set   /acme/box/name\t1  \n", "set /acme/box/name 1\n"),
    ("\n\nset /acme/box/name 1\n\n\n", "set /acme/box/name 1\n"),
    # a line that is merged keeps its place
    ("set /acme/box/name 1\nset /acme/box/size 2\nset /acme/box/name 3\n",
     "set /acme/box/name 3\nset /acme/box/size 2\n"),
    ("set /acme/box/name 1\nset /acme/box/size 2\ndelete /acme/box/name\n",
     "delete /acme/box/name\nset /acme/box/size 2\n"),
    ("delete /acme/box/name\nset /acme/box/name 1\n", "set /acme/box/name 1\n"),
    ("delete /acme/box/name\ndelete /acme/box/name\n", "delete /acme/box/name\n"),
    # a delete takes along what is staged below, and goes last
    ("set /acme/box/inner/deep 1\nset /acme/box/name 2\ndelete /acme/box/inner\n",
     "set /acme/box/name 2\ndelete /acme/box/inner\n"),
    ("set /acme/box/inner/deep 1\nset /acme/box/inner\n",
     "set /acme/box/inner/deep 1\nset /acme/box/inner\n"),
    # leaf-lists: the first value is never compared
    ("set /acme/box/tag a\nset /acme/box/tag b\nset /acme/box/tag a\nset /acme/box/tag b\n",
     "set /acme/box/tag a\nset /acme/box/tag b\nset /acme/box/tag a\n"),
    ("set /acme/box/tag a\nset /acme/box/tag b\ndelete /acme/box/tag b\n",
     "set /acme/box/tag a\ndelete /acme/box/tag b\n"),
    ("set /acme/box/tag a\nset /acme/box/tag b\ndelete /acme/box/tag\n",
     "set /acme/box/tag a\ndelete /acme/box/tag\n"),
    # entries: newest first, lists and keys, each once, after the commands
    ("add /acme/box/port port[id=a]\nset /acme/box/name 1\nadd /acme/box/port port[id=b]\n"
     "add /acme/box/route route[dest=1,via=2]\nadd /acme/box/port port[id=a]\n",
     "set /acme/box/name 1\nadd /acme/box/route route[dest=1,via=2]\n"
     "add /acme/box/port port[id=b]\nadd /acme/box/port port[id=a]\n"),
    # deletes forget entries
    ("add /acme/box/port port[id=a/1]\nadd /acme/box/port port[id=b]\n"
     "delete /acme/box/port[id=a/1]\n",
     "delete /acme/box/port[id=a/1]\nadd /acme/box/port port[id=b]\n"),
    ("add /acme/box/port port[id=a]\nadd /acme/box/route route[dest=1,via=2]\ndelete /acme/box\n",
     "delete /acme/box\n"),
    ("add /acme/box/port port[id=a]\ndelete /acme/box/port[id=a]/mtu\n",
     "delete /acme/box/port[id=a]/mtu\nadd /acme/box/port port[id=a]\n"),
    ("add /acme/box/port port[id=a]\ndelete /acme/box/por\n",
     "delete /acme/box/por\nadd /acme/box/port port[id=a]\n"),
    # the rpc that was called takes its entries along
    ("add /acme/ping/l l[k=1]\nadd /acme/ping l[k=2]\nadd /acme/pings l[k=3]\n",
     "add /acme/pings l[k=3]\n"),
]  # fmt: skip


@pytest.mark.parametrize("lines, left", CHANGED)
def test_lines_that_come_back_otherwise(machine, lines, left):
    assert written_back(machine, lines) == left


BAD = [
    ("set\n", None),
    ("set /acme/box/name 1 2\n", None),
    ("put\n", None),
    ("put a b c\n", None),
    ("add /acme/box/port\n", None),
    ("set acme/box/name 1\n", None),
    ("delete relative\n", None),
    ("[config]\n", None),
    ("%%%\n", None),
    ("[pwd]\n", None),
    ("put /acme/box/name\n", "put /acme/box/name"),
    ("SET /acme/box/name 1\n", "SET /acme/box/name 1"),
    ("[rpcs] x\n", "[rpcs] x"),
    ("  get  %s%n\n", "  get  %s%n"),
]


@pytest.mark.parametrize("line, logged", BAD)
def test_a_bad_line_ends_the_replay(machine, line, logged):
    """What stands before it is kept, what follows is lost, the rpc is called."""
    first, last = "set /acme/box/name 1\n", "set /acme/box/size 2\n"
    assert written_back(machine, first + line + last) == first
    expected = [(DEBUG, f"[DEBUG] invalid format:{logged}\n")] if logged else []
    assert machine.log.texts(DEBUG, ERROR) == expected


def test_a_line_that_cannot_be_staged_ends_the_replay(machine):
    """A leaf-list that is to go takes no element without a value."""
    for words in ("delete", "tag"), ("set", "tag"), ("set", "size", "2"):
        assert machine.one_shot(words[0], f"/acme/box/{words[1]}", *words[2:]).stdout == b""
    assert machine.one_shot("commit").stdout.decode() == printed_ok(1)
    assert machine.tarnd.requests == [
        edit_config('<box xmlns="urn:acme"><tag xc:operation="delete"></tag></box>')
    ]
    assert machine.log.texts(DEBUG, ERROR) == [
        (DEBUG, "[DEBUG] set leaf-list without assigned value\n")
    ]
    assert profile(machine) == "[pwd]\n/\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"


def test_a_bad_parameter_is_not_sent(machine):
    good = "set /acme/reset/delay 5\n"
    for line in ("delete /acme/reset/delay", "add /acme/reset/target target[name=1]", "set",
                 "set /acme/reset/why a b", "[rpc]", "nonsense"):  # fmt: skip
        write_profile(
            machine,
            "[pwd]\n/acme/reset\n\n[config]\n\n\n[rpc]\n/acme/reset\n\n[rpc_para]\n"
            f"{good}{line}\nset /acme/reset/why x\n\n%%%\n",
        )
        assert machine.one_shot("commit").stdout.decode() == printed_ok(1)
    body = '<reset xmlns="urn:acme"><delay>5</delay></reset>'
    assert machine.tarnd.requests == [invoke(body)] * 6
    assert machine.log.texts(DEBUG, ERROR) == []


def test_start_and_replay_take_different_workspaces(machine):
    """The start takes the first line of the section, the replay its last."""
    write_profile(
        machine, "[pwd]\n/acme\n/acme/link\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
    )
    assert machine.one_shot("pwd").stdout == b"/acme\r\n"
    listing = machine.one_shot("ls").stdout
    assert b"mode" in listing and b"transport" not in listing and b"hostname" not in listing
    assert machine.one_shot("get", "empty").stdout.decode().startswith("\r\n<rpc-reply")


def test_a_header_in_a_value_is_not_taken_for_one(machine):
    """What stands after it is no path, so that the start sees no rpc there."""
    text = (
        "[pwd]\n/acme\n\n[config]\nset /acme/box/name [rpc]\nset /acme/box/size 1\n\n"
        "[rpc]\n\n[rpc_para]\n\n%%%\n"
    )
    write_profile(machine, text)
    assert machine.one_shot("get", "/acme/empty").stdout.decode() == printed_no_data(1)
    assert machine.tarnd.requests == [get('<empty xmlns="urn:acme"></empty>')]
    assert profile(machine) == text


def no_path(machine, pwd="acme/box", rpc=""):
    """Writes a profile whose places begin without "/", and returns it."""
    text = (
        f"[pwd]\n{pwd}\n\n[config]\nset /acme/box/name n\n\n[rpc]\n{rpc}\n\n"
        "[rpc_para]\nset /acme/reset/delay 5\n\n%%%\n"
    )
    write_profile(machine, text)
    return text


@pytest.mark.parametrize("pwd", ["acme", "acme/box", "acme/", " /acme", "."])
def test_a_workspace_that_is_no_path_is_the_root(machine, pwd):
    text = no_path(machine, pwd)
    assert machine.one_shot("pwd").stdout == b"/\r\n"
    assert machine.one_shot("ls").stdout == b"\x1b[01;34macme\x1b[0m  \x1b[01;34mextra\x1b[0m\n"
    assert machine.one_shot("get", "acme/empty").stdout.decode() == printed_no_data(1)
    assert machine.one_shot("set", "box/size", "1").stdout == b"error parameter: box/size\r\n"
    assert profile(machine) == text
    assert machine.one_shot("set", "acme/box/size", "1").stdout == b""
    assert profile(machine) == text.replace("name n\n", "name n\nset /acme/box/size 1\n")
    assert machine.one_shot("cd", "acme").stdout == b""
    assert profile(machine).startswith("[pwd]\n/acme\n\n[config]\nset /acme/box/name n\n")


@pytest.mark.parametrize("rpc", ["acme/reset", "cacme/reset", "set /acme/reset", "reset"])
def test_an_rpc_that_is_no_path_is_none(machine, rpc):
    no_path(machine, "/acme", rpc)
    assert machine.one_shot("get", "empty").stdout.decode() == printed_no_data(1)
    assert machine.one_shot("cd", "box").stdout == b""
    assert machine.one_shot("delete", "size").stdout == b""
    lines = "set /acme/box/name n\ndelete /acme/box/size\n"
    assert profile(machine).startswith(f"[pwd]\n/acme/box\n\n[config]\n{lines}\n[rpc]\n{rpc}\n")
    assert machine.one_shot("commit").stdout.decode() == printed_ok(1)
    body = '<box xmlns="urn:acme"><size xc:operation="delete"></size><name>n</name></box>'
    assert machine.tarnd.requests[-1] == edit_config(body)
    # What was staged for an rpc waits for one.
    assert profile(machine) == (
        "[pwd]\n/acme/box\n\n[config]\n\n[rpc]\n\n" "[rpc_para]\nset /acme/reset/delay 5\n\n%%%\n"
    )


def test_only_the_lines_that_are_paths_are_replayed(machine):
    write_profile(
        machine,
        "[pwd]\n/acme\nbox\n\n[config]\n\n[rpc]\nnone\n/acme/reset\nacme/ping\n\n"
        "[rpc_para]\nset /acme/reset/delay 5\n\n%%%\n",
    )
    assert machine.one_shot("commit").stdout.decode() == printed_ok(1)
    assert machine.tarnd.requests == [invoke('<reset xmlns="urn:acme"><delay>5</delay></reset>')]
    assert profile(machine) == "[pwd]\n/acme\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"


@pytest.mark.parametrize("words", [("cd", "box"), ("ls",), ("get-config", "-s", "/acme/empty")])
def test_a_failing_replay_does_not_stop_a_command(machine, words):
    """It is logged, and the command goes on with the workspace of the start."""
    write_profile(machine, "junk\n[pwd]\n/acme\n\n")
    result = machine.one_shot(*words)
    assert result.status == 0
    first = (DEBUG, "[DEBUG] err:/tmp/vandel.conf's first line must be: [pwd]\n")
    assert machine.log.texts(DEBUG, ERROR) == [first]
    if words[0] == "cd":
        assert result.stdout == b""
        assert profile(machine) == "junk\n[pwd]\n/acme/box\n\n"
    elif words[0] == "ls":
        assert b"hostname" in result.stdout
    else:
        assert result.stdout.startswith(b"\r\n<rpc-reply")


LEAF = "set /acme/box/name 1\n"
PAGE_HEAD = "[pwd]\n/acme\n[config]\nset /acme/box/name "
SHAPES = [
    # the file, the value that is sent (None: nothing), the workspace afterwards
    ("[pwd]\n/acme\n[config]\nset /acme/box/name 1", "1", "/acme"),
    ("\n\n[pwd]\n\n/acme\n\n[config]\n\n\n" + LEAF, "1", "/acme"),
    ("[pwd]\n[config]\n" + LEAF, "1", "/"),
    ("[pwd]\n/acme\n[config]\n" + LEAF + "[rpc]\n\n[rpc_para]\n%%%\n" + LEAF * 3, "1", "/acme"),
    ("[pwd]\n/acme\n[config]\nset /acme/box/name a\0b\n", "a", "/acme"),
    ("[pwd]\n/acme\n[config]\n\0\n" + LEAF, "1", "/acme"),
    ("[pwd]\n/acme\n[config]\nset /acme/box/name\t1\v2\f3\n", "1[2]3", "/acme"),
    ("[pwd]\n/acme\n[config]\nset /acme/box/name 1\r\n", "1=", "/acme"),
    (PAGE_HEAD + "v" * (4096 - len(PAGE_HEAD)), "v" * (4096 - len(PAGE_HEAD)), "/acme"),
    (PAGE_HEAD + "v" * (8191 - len(PAGE_HEAD)) + "\n", "v" * (8191 - len(PAGE_HEAD)), "/acme"),
    ("[pwd]\n/acme\n[config] \n" + LEAF, None, None),
    ("[pwd]\n/acme\n[Config]\n" + LEAF, None, None),
    ("[pwd]\r\n/acme\n[config]\n" + LEAF, None, None),
    ("[pwd]", None, None),
    ("\n", None, None),
]


@pytest.mark.parametrize("text, sent, workspace", SHAPES)
def test_shapes_of_a_file(machine, text, sent, workspace):
    write_profile(machine, text)
    result = machine.one_shot("commit")
    if sent is None:
        assert result.stdout == b"There is no configuration data. \r\n"
        assert machine.tarnd.requests == []
        assert profile(machine) == text
        return
    assert result.stdout.decode() == printed_ok(1)
    assert machine.tarnd.requests == [
        edit_config(f'<box xmlns="urn:acme"><name>{sent}</name></box>')
    ]
    assert profile(machine) == f"[pwd]\n{workspace}\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"


@pytest.mark.parametrize(
    "words, logs",
    [
        (("cd",), True),
        (("cd", "a", "b"), True),
        (("ls", "x"), True),
        (("get-config",), True),
        (("get-config", "-l"), True),
        (("commit",), True),
        (("commit", "x"), False),  # the words are looked at before the file
        (("pwd",), False),
        (("get",), False),
        (("get", "/acme/empty"), False),
        (("set", "/acme/box/none"), False),
        (("add-listentry", "id", "1"), False),
        (("copy-config", "config", "running"), False),
        (("help",), False),
    ],
)
def test_who_replays_the_profile(machine, words, logs):
    write_profile(machine, "junk\n")
    assert machine.one_shot(*words).status == 0
    first = (DEBUG, "[DEBUG] err:/tmp/vandel.conf's first line must be: [pwd]\n")
    assert (first in machine.log.texts(DEBUG)) == logs
    assert profile(machine) == "junk\n"
