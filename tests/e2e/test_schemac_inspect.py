"""schemac --list and --show: what a database holds."""

import contextlib
import os
import re
import resource
import socket
import threading

import pytest

from support.schemac import CONTAINER, LEAF, REPO, SANITIZED, good, module, node

pytest_plugins = ("support.schemac_fixtures",)

# The values stay below the size from which redis loses the order of a hash.
BASE = """
  revision 2024-02-03;
  feature on; feature off;
  container c {
    leaf x { type string; description "An x."; }
    choice ch { case one { leaf deep { type uint8; } } leaf two { type empty; } }
    leaf-list many { type int8; }
  }
  list l {
    key "b a"; description "Lines.";
    leaf a { type string; } leaf b { type string; }
    container state { config false; leaf s { type string; } }
  }
  rpc act { input { leaf in { type string; } } }"""
MORE = """
  import base { prefix b; }
  augment /b:c { container box { leaf far { type string; } } }
  augment /b:c/b:ch { case three { leaf e { type string; } } }"""


@pytest.fixture(name="stored")
def fixture_stored(run, write):
    write("base", BASE)
    write("more", MORE)
    return good(run("--feature", "base:on", "base", "more")).stdout


def show(run, *words):
    return good(run("--show", *words)).stdout


def test_the_modules(run, stored):
    """The last line is that of the compilation."""
    lines = good(run("--list")).stdout.splitlines()
    assert [line.split()[:3] for line in lines[:3]] == [
        ["MODULE", "REVISION", "NODES"],
        ["base", "2024-02-03", "16"],
        ["more", "-", "4"],
    ]
    assert lines[1].endswith("  on; off: off") and lines[2].endswith("  -")
    assert lines[3:] == stored.splitlines() and " 20 nodes, " in stored
    sizes = [int(line.split()[3]) for line in lines[1:3]]
    assert sum(sizes) + len("/") == int(stored.split()[-2])
    # Columns: numbers stand at the right, texts at the left.
    assert lines[0].index("BYTES") + 5 == lines[1].index("  on") == lines[2].rindex("  -")
    assert lines[0].index("REVISION") == lines[1].index("2024") == lines[2].index("-")


def test_a_module(run, stored):
    assert show(run, "/base") == (
        "path       /base\n"
        "kind       module\n"
        "namespace  urn:base\n"
        "revision   2024-02-03\n"
        "features   on; off: off\n"
        "\n"
        "NAME  KIND       ACCESS  TYPE  HELP\n"
        "c     container  rw\n"
        "l     list       rw            Lines. [keys b, a]\n"
        "act   rpc        x\n"
    )


def test_a_list_by_the_path_of_an_entry(run, stored):
    expected = (
        "path    /base/l\n"
        "kind    list\n"
        "module  base\n"
        "access  rw\n"
        "keys    b a\n"
        "help    Lines. [keys b, a]\n"
        "\n"
        "NAME   KIND       ACCESS  TYPE    HELP\n"
        "b      leaf       rw      string  [string]\n"
        "a      leaf       rw      string  [string]\n"
        "state  container  ro\n"
    )
    for path in ("/base/l", "base/l/", "/base/l[]", "/base/l[b='x/]y'][a=\"/\"]"):
        assert show(run, path) == expected


def test_nodes_in_cases_by_the_path_that_leaves_them_out(run, stored):
    expected = (
        "path    /base/c/ch/more:three/more:e\n"
        "kind    leaf\n"
        "module  more\n"
        "access  rw\n"
        "type    string\n"
        "help    [string]\n"
    )
    assert show(run, "/base/c/more:e") == expected
    assert show(run, "/base/c/ch/more:three/more:e") == expected
    assert show(run, "/base/c/ch").splitlines()[5:] == [
        "one         case",
        "two         case",
        "more:three  case",
    ]


def test_a_tree(run, stored):
    assert show(run, "/base", "--tree") == (
        "/base\n"
        "  +--rw c\n"
        "  |  +--rw x  string\n"
        "  |  +--(ch)\n"
        "  |  |  +--:(one)\n"
        "  |  |  |  +--rw deep  uint8\n"
        "  |  |  +--:(two)\n"
        "  |  |  |  +--rw two  empty\n"
        "  |  |  +--:(more:three)\n"
        "  |  |     +--rw more:e  string\n"
        "  |  +--rw many*  int8\n"
        "  |  +--rw more:box\n"
        "  |     +--rw far  string\n"
        "  +--rw l* [b a]\n"
        "  |  +--rw b  string\n"
        "  |  +--rw a  string\n"
        "  |  +--ro state\n"
        "  |     +--ro s  string\n"
        "  +--x act\n"
        "     +--rw input\n"
        "        +--rw in  string\n"
    )
    assert show(run, "/base/l[]/state", "--tree") == "/base/l[]/state\n  +--ro s  string\n"


def test_names_in_their_order_where_the_server_has_lost_that_of_the_model(run, write):
    long = 'description "' + "Longer than a value that redis keeps in order by itself. " * 2 + '"'
    names = ("m", "z", "b", "y", "a", "x")
    write("m", "".join(f"leaf {name} {{ type string; {long}; }}" for name in names))
    good(run("m"))
    assert show(run, "/m", "--tree") == "/m\n" + "".join(
        f"  +--rw {name}  string\n" for name in sorted(names)
    )
    assert show(run, "/m").splitlines()[5] == (
        "a     leaf  rw      string  Longer than a value that redis keeps in order by itself.…"
    )


@pytest.mark.parametrize(
    "path, text",
    [
        ("/nosuch", "/nosuch: no such module; --list shows those that there are"),
        ("/base/c/nosuch/x", "/base/c: no node nosuch in it"),
        ("/base/c/e", "/base/c: no node e in it"),
        ("/base/c/x/y", "/base/c/x: no node y in it"),
        ("/", "/: no module named; --list shows those that there are"),
        ("", ": no module named; --list shows those that there are"),
    ],
)
def test_what_is_not_there_is_named(run, stored, path, text):
    result = run("--show", path)
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: {text}\n"


@pytest.mark.parametrize("words", [["--list"], ["--show", "/m"], ["--show", "/m", "--tree"]])
def test_databases_that_cannot_be_shown(server, run, tmp_path, words):
    for where, cause in (
        (server.socket, "no schema in database 4"),
        (f"{tmp_path}/none", "No such file or directory"),
    ):
        result = run(*words, "--redis", where)
        assert (result.returncode, result.stdout) == (1, "")
        assert result.stderr == f"schemac: redis at {where}: {cause}\n"
    server.database().hset("/", "m", module("urn:m"))
    server.database().set("/m", "no hash")
    result = run(*words)
    assert result.returncode == 1
    assert "WRONGTYPE" in result.stderr


def run_on_reply(run, path, sent, **options):
    """Has a server list what it says to hold."""

    def serve(listener):
        with contextlib.suppress(OSError), listener.accept()[0] as peer:
            peer.recv(1000)
            peer.sendall(b"+OK\r\n")
            peer.recv(1000)
            peer.sendall(sent)

    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(path)
        listener.listen()
        server = threading.Thread(target=serve, args=(listener,))
        server.start()
        result = run("--list", "--redis", path, **options)
        listener.shutdown(socket.SHUT_RDWR)  # nobody waits for who has not come
        server.join()
    return result


@pytest.mark.parametrize(
    "sent, cause",
    [
        (b"", "connection lost: Server closed the connection"),
        (b"*2\r\n$1\r\nm\r\n$50", "connection lost: Protocol error"),
        (b"*2\r\n$1\r\nm\r\n$50\r\nshort", "connection lost: Server closed the connection"),
        (b":1\r\n", "connection lost: Protocol error"),
        (b"-ERR no\x1b\r\n", "ERR no?"),
    ],
)
def test_a_database_that_ends_in_between(run, tmp_path, sent, cause):
    path = str(tmp_path / "r")
    result = run_on_reply(run, path, sent)
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: redis at {path}: {cause}\n"


@pytest.mark.skipif(SANITIZED, reason="a sanitizer needs more address space than the limit")
def test_a_database_for_which_there_is_no_memory(run, tmp_path):
    path = str(tmp_path / "r")
    reply = b"*1\r\n$200000000\r\n" + bytes(200000000)
    limit = 100 << 20
    result = run_on_reply(
        run, path, reply, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
    )
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: redis at {path}: out of memory\n"


def test_what_is_not_shown_is_what_the_shell_does_not_show():
    """The same table stands in both, in two languages."""
    with open(os.path.join(REPO, "platform", "terminal_text.cpp"), encoding="utf-8") as file:
        ranges = re.findall(r"\{0x([0-9a-f]+), 0x([0-9a-f]+)\}", file.read())
    with open(os.path.join(REPO, "tools", "schemac-show"), encoding="utf-8") as file:
        unsafe = re.search(r"UNSAFE = (re\.compile\(.*?\n\))", file.read(), re.DOTALL)[1]
    hidden = re.compile(eval(unsafe, {"re": re}))  # pylint: disable=eval-used
    expected = {code for first, last in ranges for code in range(int(first, 16), int(last, 16) + 1)}
    surrogates = set(range(0xD800, 0xE000))  # bytes that are no UTF-8
    assert {code for code in range(0x110000) if hidden.match(chr(code))} == expected | surrogates


def test_a_database_that_is_too_deep(server, run):
    pipe = server.database().pipeline()
    pipe.hset("/", "m", module("urn:m"))
    for level in range(999):
        pipe.hset("/m" + "/c" * level, "c", node(CONTAINER, True))
    pipe.execute()
    assert " 999 nodes, " in good(run("--list")).stdout
    server.database().hset("/m" + "/c" * 999, "c", node(CONTAINER, True))
    for words in (["--list"], ["--show", "/m", "--tree"]):
        result = run(*words)
        assert result.returncode == 1
        assert result.stderr.endswith(": nodes are more than 1000 levels deep\n")


def test_a_database_of_another_writer(server, run):
    """Without notes, with records that are none, and with what a terminal would obey."""
    server.database().hset("/", mapping={"m": module("urn:m"), "short": b"x"})
    server.database().hset(
        "/m",
        mapping={"a": node(LEAF, True, "\x1b[2J", "A help\x07."), "b": b"short", "c": bytes(20)},
    )
    assert good(run("--list")).stdout == (
        "MODULE  REVISION  NODES  BYTES  FEATURES\n"
        "m       -             1     88  -\n"
        "short   -             0      6  -\n"
        "schemac: 2 modules, 1 nodes, 95 bytes\n"
    )
    assert show(run, "/m") == (
        "path       /m\n"
        "kind       module\n"
        "namespace  urn:m\n"
        "\n"
        "NAME  KIND  ACCESS  TYPE  HELP\n"
        "a     leaf  rw      ?[2J  A help?.\n"
    )
    assert show(run, "/m", "--tree") == "/m\n  +--rw a  ?[2J\n"


def test_a_long_name_makes_no_row_of_others_long(run, write):
    name = "n" * 5000
    write("m", f"leaf a {{ type string; }} leaf {name} {{ type string; }}")
    good(run("m"))
    rows = show(run, "/m").splitlines()[-2:]
    assert rows == [f"{n:255}  leaf  rw      string  [string]" for n in ("a", name)]


def test_a_name_of_a_module_that_is_a_path(server, run):
    server.database().hset("/", "m/n", module("urn:m"))
    server.database().hset("/m/n", "a", node(LEAF, True))
    assert good(run("--list")).stdout.splitlines()[1:] == [
        "m/n     -             1     78  -",
        "schemac: 1 modules, 1 nodes, 79 bytes",
    ]


@pytest.mark.parametrize(
    "words, text",
    [
        (["--tree"], "--tree needs --show"),
        (["--list", "--tree"], "--tree needs --show"),
        (["--list", "--show", "/m"], "--list and --show are two things"),
        (["--list", "m"], "unexpected m"),
        (["--show", "/m", "m"], "unexpected m"),
    ],
)
def test_words_that_do_not_go_together(run, words, text):
    result = run(*words)
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: {text}\nTry 'schemac --help'.\n"


def test_notes_go_with_the_schema_that_they_are_on(server, run, stored, write):
    notes = {"schemac:revisions", "schemac:features-on", "schemac:features-off", "schemac:origin"}
    assert {key.decode() for key in server.database().keys("schemac:*")} == notes
    assert all(key.startswith((b"/", b"schemac:")) for key in server.database().keys())
    write("n", "leaf a { type string; }")
    good(run("n"))
    assert show(run, "/n").splitlines()[:3] == [
        "path       /n",
        "kind       module",
        "namespace  urn:n",
    ]
    assert b"base" not in server.database().hgetall("schemac:revisions")
