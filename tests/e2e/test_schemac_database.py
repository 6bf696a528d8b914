"""schemac: how the database is replaced, and what the operator sees meanwhile."""

import os
import pty
import re
import select
import shutil
import socket
import tempfile
import threading
import time

import pytest

from support import valgrind
from support.schemac import (
    doubling_groupings,
    good,
    LEAF,
    module,
    node,
    SANITIZED,
    SCHEMAC,
    Server,
)

pytest_plugins = ("support.schemac_fixtures",)


# The database


def test_the_old_schema_is_gone_and_other_databases_stay(server, run, write):
    server.database(3).set("kept", "3")
    server.database(0).hset("/", "kept", "0")
    server.database(4).set("text", "old")
    server.database(4).hset("/old", "field", "old")
    write("m", "leaf a { type string; }")
    good(run("m"))
    assert server.content() == {
        "/": {"m": module("urn:m")},
        "/m": {"a": node(LEAF, True, "string", "[string]")},
    }
    assert server.database(3).get("kept") == b"3"
    assert server.database(0).hgetall("/") == {b"kept": b"0"}


def test_a_reader_sees_the_old_schema_or_the_new(server, run, write):
    body = "".join(f"container c{i} {{ leaf %s {{ type string; }} }}" for i in range(300))
    write("left", body.replace("%s", "left"))
    write("right", body.replace("%s", "right"))
    good(run("left"))
    is_over = threading.Event()
    seen = []

    def read():
        client = server.database()
        while not is_over.is_set():
            pipe = client.pipeline(transaction=True)
            pipe.hkeys("/")
            pipe.hkeys("/left/c0")
            pipe.hkeys("/left/c299")
            pipe.hkeys("/right/c0")
            pipe.hkeys("/right/c299")
            pipe.keys("/*")
            *hashes, keys = pipe.execute()
            seen.append(repr([*hashes, len(keys)]))

    reader = threading.Thread(target=read)
    reader.start()
    for _ in range(10):
        good(run("right"))
        good(run("left"))
    is_over.set()
    reader.join()
    old = repr([[b"left"], [b"left"], [b"left"], [], [], 302])
    new = repr([[b"right"], [], [], [b"right"], [b"right"], 302])
    assert set(seen) == {old, new}


@pytest.fixture(name="ordered_server")
def fixture_ordered_server(server):
    """The server, while it keeps the order of fields however long their values are."""
    option = "hash-max-listpack-value"
    default = server.database().config_get(option)[option]
    server.database().config_set(option, 4096)
    yield server
    server.database().config_set(option, default)


def test_nodes_are_stored_last_first_but_keys_and_cases_as_they_come(ordered_server, run, write):
    long = 'description "' + "Longer than a value that redis keeps in order by itself. " * 2 + '"'
    write(
        "m",
        f"""
      leaf z {{ type string; {long}; }}
      list l {{
        key "d b c";
        leaf a {{ type string; {long}; }}
        leaf b {{ type string; {long}; }}
        leaf c {{ type string; {long}; }}
        leaf d {{ type string; {long}; }}
      }}
      choice f {{
        case x {{ leaf p {{ type string; {long}; }} leaf o {{ type string; }} }}
        case w {{ leaf r {{ type string; {long}; }} }}
      }}
      leaf a {{ type string; {long}; }}
      rpc g {{ {long}; }}""",
    )
    write("n", "leaf a { type string; }")
    good(run("m", "n"))
    client = ordered_server.database()
    assert {key: b" ".join(client.hkeys(key)) for key in client.keys(b"/*")} == {
        b"/": b"n m",
        b"/m": b"g a f l z",
        b"/m/l": b"d b c",
        b"/m/l[]": b"a c b d",
        b"/m/f": b"x w",
        b"/m/f/x": b"o p",
        b"/m/f/w": b"r",
        b"/m/g": b"input",
        b"/n": b"a",
    }


@pytest.mark.parametrize("where", ["option", "environment", "option over environment"])
def test_where_the_server_is(server, run, write, where):
    write("m", "leaf a { type string; }")
    if where == "option":
        good(run("--redis", server.socket, "m", env={"SCHEMA_REDIS": "127.0.0.1:1"}))
    elif where == "environment":
        good(run("m"))
    else:
        good(run("m", "--redis=" + server.socket, env={"SCHEMA_REDIS": "nonsense"}))
    assert server.content()["/"].keys() == {"m"}


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def test_a_server_on_a_port(run, write):
    write("m", "leaf a { type string; }")
    port = free_port()
    server = Server("--port", str(port), "--bind", "127.0.0.1")
    try:
        good(run("--redis", f"127.0.0.1:{port}", "m"))
        assert server.content()["/"].keys() == {"m"}
        server.database().flushdb()
        good(run("--redis", f"localhost:{port}", "m"))
        assert server.content()["/"].keys() == {"m"}
    finally:
        server.stop()


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can be another user")
def test_a_server_of_somebody_else(server, run, write, tmp_path):
    """What is written there would be what he likes, so it is not written."""
    write("m", "leaf a { type string; }")
    path = str(tmp_path / "r")
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(path)
        os.seteuid(65534)
        try:
            listener.listen()
        finally:
            os.seteuid(0)
        result = run("--redis", path, "m")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: redis at {path}: the server is another user's\n"


def test_a_server_that_wants_a_password(run, write, tmp_path):
    write("m", "leaf a { type string; }")
    secret = tmp_path / "secret"
    port = free_port()
    server = Server("--port", str(port), "--bind", "127.0.0.1", "--requirepass", "pass word")

    def refused(place, cause):
        result = run("--redis", f"{place},passwordfile={secret}", "m")
        where = f"redis at {place},passwordfile={secret}"
        assert (result.returncode, result.stdout) == (1, "")
        assert result.stderr == f"schemac: {where}: password file: {cause}\n"

    try:
        for place in server.socket, f"127.0.0.1:{port}":
            refused(place, "No such file or directory")
            secret.write_bytes(b"")
            secret.chmod(0o600)
            refused(place, "empty")
            secret.write_bytes(b"x" * 513)
            refused(place, "too long")
            secret.write_bytes(b"password\n")
            refused(place, "the server refused the password")
            secret.write_bytes(b"pass word\n")
            good(run("--redis", f"{place},passwordfile={secret}", "m"))
            secret.chmod(0o644)
            refused(place, "open to others")
            secret.unlink()
        secret.mkdir()
        refused(server.socket, "not a regular file")
    finally:
        server.stop()


@pytest.mark.parametrize(
    "where",
    [
        "",
        "localhost",
        "localhost:",
        ":6379",
        "localhost:0",
        "localhost:65536",
        "localhost:x",
        "localhost:-1",
        "/" + "x" * 107,
    ],
)
def test_a_place_that_is_none(server, run, write, where):
    write("m", "leaf a { type string; }")
    result = run("--redis", where, "m")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr.startswith("schemac: ")


def test_no_server(run, write, tmp_path):
    write("m", "leaf a { type string; }")
    result = run("--redis", tmp_path / "none", "m")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: redis at {tmp_path}/none: No such file or directory\n"


@pytest.mark.parametrize(
    "option, cause",
    [
        (["--requirepass", "secret"], "NOAUTH"),
        (["--databases", "4"], "DB index is out of range"),
        (["--rename-command", "DEL", ""], "unknown command"),
        (["--rename-command", "HSET", ""], "unknown command"),
        (["--rename-command", "EXEC", ""], "unknown command"),
        (["--maxmemory", "1"], "OOM"),
    ],
)
def test_a_server_that_refuses(run, write, option, cause):
    write("m", "leaf a { type string; }")
    server = Server(*option)
    try:
        if cause == "unknown command":
            server.database().set("old", "kept")
        result = run("--redis", server.socket, "m")
        assert (result.returncode, result.stdout) == (1, "")
        assert result.stderr.startswith(f"schemac: redis at {server.socket}: ")
        assert cause in result.stderr
        if cause == "unknown command":
            assert server.database().get("old") == b"kept"
            assert server.database().dbsize() == 1
    finally:
        server.stop()


def run_on_replies(run, replies):
    """Runs schemac on a server that says this and no more; the result, and what it was told."""
    directory = tempfile.mkdtemp(prefix="schemac")
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(directory + "/r")
    listener.listen(1)
    sent = []

    def serve():
        with listener.accept()[0] as far:
            sent.append(far.recv(100))
            far.sendall(replies)
            far.shutdown(socket.SHUT_WR)
            while sent[-1]:
                sent.append(far.recv(65536))

    thread = threading.Thread(target=serve)
    thread.start()
    # The first connection stores.
    result = run("--force", "--redis", directory + "/r", "m")
    thread.join()
    listener.close()
    shutil.rmtree(directory)
    return result, b"".join(sent)


@pytest.mark.parametrize(
    "replies",
    [
        b"",
        b"+OK\r\n",
        b"+OK\r\n+OK\r\n",
        b"+OK\r\n+OK\r\n+QUEUED\r\n",
        b"+OK\r\n+OK\r\n+OK\r\n",
        b"nonsense\r\n",
        b"*-1\r\n",
        b":1\r\n",
    ],
)
def test_a_server_that_goes_away(run, write, replies):
    write("m", "leaf a { type string; }")
    result, _ = run_on_replies(run, replies)
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr.startswith("schemac: redis at ")


# Selected, watched, one module, memory, and limits.
UP_TO_KEYS = b"+OK\r\n+OK\r\n:1\r\n:5\r\n*2\r\n$20\r\nhash-max-ziplist-x-y\r\n:5\r\n"
NO_KEYS = b"*2\r\n$1\r\n0\r\n*0\r\n"


def test_a_server_that_goes_away_amid_the_reply_to_a_transaction(run, write):
    write("m", "leaf a { type string; }")
    result, _ = run_on_replies(run, UP_TO_KEYS + NO_KEYS + b"+OK\r\n" + b"*9\r\n+OK\r\n:1\r\n")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr.endswith("r: connection lost: Server closed the connection\n")


@pytest.mark.parametrize("cursor", [b"%s%s%s%s", b"0%lu", b"7 COUNT 1"])
def test_a_server_that_chooses_its_words(run, write, cursor):
    """What it says is sent back as one word, and a limit that is no text is none."""
    write("m", "leaf a { type string; }")
    keys = b"*2\r\n$%d\r\n%s\r\n*0\r\n" % (len(cursor), cursor)
    result, sent = run_on_replies(run, UP_TO_KEYS + keys + NO_KEYS)
    assert result.stderr.startswith("schemac: redis at ")
    words = b"$4\r\nSCAN\r\n$%d\r\n%s\r\n$5\r\nCOUNT\r\n" % (len(cursor), cursor)
    assert words in sent


def test_a_large_schema(server, run, write):
    write(
        "m",
        "".join(
            f"list l{i} {{ key k; leaf k {{ type string; }} leaf v {{ type string; "
            f'description "{"text " * 30}"; }} }}\n'
            for i in range(5000)
        ),
    )
    result = good(run("m"))
    assert result.stdout.startswith("schemac: 1 modules, 15000 nodes, ")
    content = server.content()
    assert len(content) == 10002
    assert content["/m/l4999[]"].keys() == {"k", "v"}


# The command line and the terminal


def test_help(run):
    for arguments in (["--help"], ["--help", "m"], ["-h"]):
        result = good(run(*arguments))
        assert result.stdout.startswith(
            "Usage: schemac [--search DIR]... [--redis WHERE] "
            "[--feature MODULE:FEATURE]... MODULE...\n"
        )


@pytest.mark.parametrize(
    "arguments",
    [
        [],
        ["--search", "."],
        ["--nonsense", "m"],
        ["--search"],
        ["m", "--redis"],
        ["--feature"],
        ["-x", "m"],
    ],
)
def test_mistakes_on_the_command_line(server, run, write, arguments):
    write("m", "leaf a { type string; }")
    result = run(*arguments)
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr.startswith("schemac: ")
    assert server.content() == {}


def run_on_terminal(arguments, directory, server):
    """What schemac writes to a terminal, and its status."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.chdir(directory)
        os.environ["SCHEMA_REDIS"] = server.socket
        words = [*valgrind.words(valgrind.FINDINGS), SCHEMAC, *arguments]
        os.execvp(words[0], words)
    output = b""
    deadline = time.monotonic() + 120 * valgrind.SCALE
    while time.monotonic() < deadline:
        if select.select([terminal], [], [], 1)[0]:
            try:
                piece = os.read(terminal, 65536)
            except OSError:
                break
            if not piece:
                break
            output += piece
    os.close(terminal)
    return output.decode(), os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])


def test_progress_on_a_terminal(server, write, tmp_path):
    write("quick", "leaf a { type string; }")
    output, status = run_on_terminal(["quick"], tmp_path, server)
    assert status == 0
    assert re.fullmatch(r"schemac: 1 modules, 1 nodes, \d+ bytes\r\n", output)

    # Nothing is shown during the first second; how slow is slow enough depends.
    for levels in range(16, 24):
        write("slow", doubling_groupings(levels))
        output, status = run_on_terminal(["slow"], tmp_path, server)
        assert status == 0
        if "\033" in output:
            break
    nodes = 3 * 2 ** (levels - 1) - 2
    steps = r"reading 1 of 1: slow|compiling \d of \d: [a-z-]+|comparing with what is stored"
    storing = r"storing \d+ of \d+: slow, \d+000 nodes"
    assert re.search(rf"\r\033\[Kschemac: ({steps}|{storing})", output)
    assert re.search(rf"\r\033\[Kschemac: 1 modules, {nodes} nodes, \d+ bytes\r\n$", output)


def test_no_progress_elsewhere(server, run, write):
    levels = 16 if SANITIZED else 18
    write("slow", doubling_groupings(levels))
    result = good(run("slow"))
    nodes = 3 * 2 ** (levels - 1) - 2
    assert re.fullmatch(rf"schemac: 1 modules, {nodes} nodes, \d+ bytes\n", result.stdout)
