"""What bench/compare measures: rows of programs that take turns, the product first."""

import contextlib
import glob
import os
import shutil
import subprocess

import redis
import yang_modules
from netconf_sessions import (
    BASE,
    GET,
    LARGE_EDIT,
    PEER,
    REPLY,
    STARTED,
    exchange,
    gateway,
    latency,
    netconf,
)
from netconfd_rows import by_shell, by_yangcli, read_by_shell, read_by_yangcli
from support.schema_db import Schema, container, leaf, leaf_list, list_, module, rpc
from support.schemac import BUILD, SCHEMAC
from support.servers import accepts, stop, wait_until
from timed import MEGABYTE, VANDEL, session, show_on_terminal, strike, to_prompt, whole

PLAIN, LINKED = (os.path.join(BUILD, "bench", f"baseline_{kind}") for kind in ("plain", "linked"))
# The private /tmp.
DAEMON, PROFILE, SCRATCH, DATABASE = (
    "/tmp/daemon",
    "/tmp/vandel.conf",
    "/tmp/file",
    "/tmp/redis.sock",
)
YANG = "/tmp/yang"
RUNS = 7
LARGE_LEAVES = "".join(f"set /m/large/x{number} {'v' * MEGABYTE}\n" for number in range(60))
WIDE = (1000, 10000, 100000)
ENTRY = list_("l", ["k"], leaf("k"), leaf("x"))
SCHEMA = Schema(
    module(
        "m",
        "urn:m",
        *(
            container(f"wide{size}", *(leaf(f"node-{number:06d}") for number in range(size)))
            for size in WIDE
        ),
        ENTRY,
        leaf_list("ll"),
        container("small", leaf("a"), leaf("b")),
        container("large", *(leaf(f"x{number}") for number in range(60))),
        rpc("call", ENTRY),
    )
)


def plain_read():
    return whole(PEER, "read", DAEMON)


def reply_with(data):
    with open(REPLY, "w", encoding="ascii") as file:
        file.write(f'<rpc-reply xmlns="{BASE}" message-id="0"><data>{data}</data></rpc-reply>')


def noted(lines):
    text = f"[pwd]\n/\n\n[config]\n{lines}\n\n[rpc]\n\n[rpc_para]\n\n\n%%%\n"
    with open(
        os.open(PROFILE, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600), "w", encoding="ascii"
    ) as profile:
        profile.write(text)


def with_profile(lines, *words, has=b""):
    noted(lines)
    result = whole(VANDEL, *words, has=has)
    os.remove(PROFILE)
    return result


def many(line, count):
    return "".join(line.format(number) + "\n" for number in range(count))


def sets(count):
    return many("set /m/l[k=e{0}]/x value", count)


def commit(lines, first=""):
    return session(first + lines + "commit\n", b"<ok/>")


def live_entries(count):
    reply_with(many('<l xmlns="urn:m"><k>e{0}</k></l>', count).replace("\n", ""))


def large_reply(size):
    entry = "<l><k>eth{0}</k><x>uplink &lt;{0}&gt; to core</x><mtu>9000</mtu></l>"
    count = size // len(entry.format(10000))
    reply_with('<m xmlns="urn:m">' + "".join(map(entry.format, range(count))) + "</m>")


def small(_):
    large_reply(200)


def names_on_file(count):
    with open(SCRATCH, "w", encoding="ascii") as file:
        file.write(many("node-{0:06d}".ljust(25), count))


def large_file(size):
    small(1)
    with open(SCRATCH, "w", encoding="ascii") as file:
        file.write(f"<data>{'d' * size}</data>")


def busy_gateway(size):
    """Two other shells read, until what this returns is called."""
    large_reply(size)
    words = [PEER, "read", gateway().path, "1000000"]
    readers = [subprocess.Popen(words) for _ in range(2)]
    return lambda: list(map(stop, readers))


def yang_files(count):
    shutil.rmtree(YANG, ignore_errors=True)
    yang_modules.write(YANG, count)


def schemac():
    with redis.Redis(unix_socket_path=DATABASE, db=4) as client:
        client.flushdb()
    return whole(SCHEMAC, "--redis", DATABASE, YANG)


# Rows: the name, what it means for the goal, the sizes and those that take long, what
# is made ready for a size, and who takes turns: the product first.


def row(name, goal, sizes, ready, *turns, long=(), runs=RUNS, unit=""):
    return locals()


def one_shot(*words, has=b""):
    return whole(VANDEL, *words, has=has)


def staging(name, goal, lines, first=""):
    # Beside: the same number of lines of set.
    return row(
        name,
        goal,
        (10000, 100000),
        small,
        ("vandel", lambda count: commit(lines(count), first)),
        ("set", lambda count: commit(sets(count))),
        unit="lines",
        runs=5,
    )


def words_of(count):
    return ["w"] * count


ROWS = [
    row(
        "one command: get-config -r",
        "1.5 times a program that starts",
        (1,),
        small,
        ("vandel", lambda _: one_shot("get-config", "-r", "/m/small", has=b"<data>")),
        ("starts, linked", lambda _: whole(LINKED, "start")),
        ("starts, plain", lambda _: whole(PLAIN, "start")),
        runs=41,
    ),
    row(
        "one command: pwd",
        "",
        (1,),
        small,
        ("vandel", lambda _: one_shot("pwd", has=b"/\r\n")),
        ("starts, linked", lambda _: whole(LINKED, "start")),
        runs=41,
    ),
    row(
        "start to first prompt",
        "1.4 times a program that prints one",
        (1,),
        small,
        ("vandel", lambda _: to_prompt(VANDEL)),
        ("prompts, linked", lambda _: to_prompt(LINKED, "prompt")),
        ("prompts, plain", lambda _: to_prompt(PLAIN, "prompt")),
        ("yangcli", lambda _: to_prompt("yangcli", prompt=b"yangcli> ")),
        runs=41,
    ),
    row(
        "set, then commit",
        "0.25 s, 2.5 s and 50 MiB; growth 1.05",
        (10000, 100000),
        small,
        ("vandel", lambda count: commit(sets(count))),
        ("cat", lambda count: session(sets(count) + "~\n", b"~\n", ("cat",), "\n", b"\n")),
        long=(1000000,),
        runs=5,
        unit="lines",
    ),
    staging(
        "leaf-list values, then commit",
        "1.2 times set",
        lambda count: many("set /m/ll v{0}", count),
    ),
    staging(
        "delete, then commit",
        "1.2 times set",
        lambda count: many("delete /m/l[k=e{0}]/x", count),
    ),
    staging(
        "set in rpc mode, then commit",
        "1.2 times set",
        lambda count: many("set l[k=e{0}]/x value", count),
        "m/call\n",
    ),
    staging(
        "add-listentry in rpc mode, then commit",
        "growth 1.05",
        lambda count: many("add-listentry k e{0}", count),
        "m/call\ncd l\n",
    ),
    row(
        "add-listentry, as many on the server",
        "growth 1.05 over the server's",
        (100, 1000),
        live_entries,
        ("vandel", lambda count: commit("cd m\ncd l\n" + many("add-listentry k f{0}", count))),
        ("replies read", lambda count: whole(PEER, "read", DAEMON, str(count))),
        long=(3000,),
        runs=5,
        unit="entries",
    ),
    row(
        "one command: set, lines noted",
        "the same for any number",
        (1, 10000, 100000),
        small,
        ("vandel", lambda count: with_profile(sets(count), "set", "/m/l[k=a]/x", "1")),
        ("starts, linked", lambda _: whole(LINKED, "start")),
        unit="lines",
    ),
    row(
        "one command: commit, lines noted",
        "2 times reading and parsing",
        (1, 10000, 100000),
        small,
        ("vandel", lambda count: with_profile(sets(count), "commit", has=b"<ok/>")),
        ("get-config -l", lambda count: with_profile(sets(count), "get-config", "-l", "/m/ll")),
        unit="lines",
    ),
    row(
        "one command: many words",
        "0.2 s for 100,000",
        (1000, 10000, 100000),
        small,
        ("vandel", lambda count: one_shot("pwd", *words_of(count), has=b"no param")),
        ("starts, linked", lambda count: whole(LINKED, *words_of(count))),
        unit="words",
    ),
    row(
        "printing a reply",
        "a sixth of xmllint's time",
        (MEGABYTE, 10 * MEGABYTE, 100 * MEGABYTE),
        large_reply,
        ("vandel", lambda _: session("get /m/small\n", b"</rpc-reply>\n")),
        ("xmllint", lambda _: whole("xmllint", "--format", REPLY)),
        ("cat", lambda _: whole("cat", REPLY)),
        runs=5,
        unit="bytes",
    ),
    row(
        "reading and printing 200 MB",
        "one copy in memory; twice a plain read",
        (200 * MEGABYTE,),
        large_reply,
        ("vandel", lambda _: session("get /m/small\n", b"</rpc-reply>\n")),
        ("plain read", lambda _: plain_read()),
        runs=3,
        unit="bytes",
    ),
    row(
        "Tab among children",
        "1–2, 6–20, 60–150 ms",
        WIDE,
        names_on_file,
        ("vandel", lambda size: strike(b"set m/wide%d/no" % size, b"\t\t")),
        ("cat", lambda _: show_on_terminal(SCRATCH)),
        unit="children",
    ),
    row(
        "? among children",
        "1–2, 6–20, 60–150 ms",
        WIDE,
        names_on_file,
        ("vandel", lambda size: strike(b"set m/wide%d/" % size, b"?")),
        ("cat", lambda _: show_on_terminal(SCRATCH)),
        unit="children",
    ),
    row(
        "Tab among live entries",
        "5, 30, 250 ms over the server's time",
        (10, *WIDE),
        live_entries,
        ("vandel", lambda _: strike(b"cd m/l/l[", b"\t")),
        ("reply read", lambda _: plain_read()),
        unit="entries",
    ),
    row(
        "ls among live entries",
        "5, 30, 250 ms over the server's time",
        WIDE,
        live_entries,
        ("vandel", lambda _: session("cd m\ncd l\nls\npwd\n", b"/m/l\r\n")),
        ("reply read", lambda _: plain_read()),
        unit="entries",
    ),
    row(
        "commit of 60 MB",
        "one copy in memory",
        (60 * MEGABYTE,),
        small,
        ("vandel", lambda _: commit(LARGE_LEAVES)),
        ("cat", lambda _: session(LARGE_LEAVES + "~\n", b"~\n", ("cat",), "\n", b"\n")),
        runs=3,
        unit="bytes",
    ),
    row(
        "import-config of 60 MB",
        "one copy in memory",
        (60 * MEGABYTE,),
        large_file,
        ("vandel", lambda _: session(f"import-config {SCRATCH} running\n", b"<ok/>")),
        ("cat", lambda _: whole("cat", SCRATCH)),
        runs=3,
        unit="bytes",
    ),
    row(
        "gateway: one request and its answer",
        "5 µs added",
        (1,),
        small,
        ("vandel", lambda _: latency(gateway())),
        ("no gateway", lambda _: latency(netconf())),
    ),
    row(
        "gateway: another shell's, meanwhile",
        "5 ms",
        (100 * MEGABYTE,),
        busy_gateway,
        ("vandel", lambda _: latency(gateway(), share=0.99)),
        ("no gateway", lambda _: latency(netconf(), share=0.99)),
        unit="bytes",
    ),
    row(
        "gateway: a large reply",
        "500 MB/s",
        (100 * MEGABYTE,),
        large_reply,
        ("vandel", lambda _: exchange(gateway(), GET)),
        ("no gateway", lambda _: exchange(netconf(), GET)),
        runs=5,
        unit="bytes",
    ),
    row(
        "gateway: a large request",
        "500 MB/s; 1.1 times the request in memory",
        (100 * MEGABYTE,),
        small,
        ("vandel", lambda _: exchange(gateway(), LARGE_EDIT)),
        ("no gateway", lambda _: exchange(netconf(), LARGE_EDIT)),
        runs=5,
        unit="bytes",
    ),
    row(
        "netconfd: changes",
        "",
        (100,),
        small,
        ("vandel", by_shell),
        ("yangcli", by_yangcli),
        runs=5,
        unit="leaves",
    ),
    row(
        "netconfd: one command that reads",
        "",
        (1,),
        small,
        ("vandel", read_by_shell),
        ("yangcli", read_by_yangcli),
        runs=5,
    ),
    row(
        "schemac into an empty database",
        "",
        (10, 100),
        yang_files,
        ("vandel", lambda _: schemac()),
        ("yanglint", lambda _: whole("yanglint", *glob.glob(f"{YANG}/*.yang"))),
        long=(1225,),
        runs=3,
        unit="modules",
    ),
]


@contextlib.contextmanager
def start_servers():
    """The daemon, and the schema in the database of the private /tmp."""
    small(1)
    SCHEMA.load(DATABASE)
    daemon = subprocess.Popen([PEER, "daemon", DAEMON, REPLY])
    try:
        wait_until(lambda: accepts(DAEMON), "the daemon")
        yield
    finally:
        STARTED.close()
        stop(daemon)
