"""The test machine itself: what a shell on it can see, and what it cannot."""

import os
import re
import socket
import struct
import subprocess
import syslog
import threading

import pytest
import redis
from support import schema_db as db
from support import spilling
from support import tarnd as daemon


def run_inside(machine, code, *arguments):
    return subprocess.run(
        machine.command("/usr/bin/python3", "-c", code, *arguments),
        env=machine.environ(),
        stdin=subprocess.DEVNULL,
        capture_output=True,
        check=True,
        timeout=30,
    ).stdout


def connect(machine):
    connection = socket.socket(socket.AF_UNIX)
    connection.settimeout(30)
    connection.connect(machine.tarnd.path)
    return connection


def exchange(connection, body, sequence=0):
    connection.sendall(struct.pack("<IIHH", 0xFEDCBAFF, len(body), sequence, 0) + body)
    return receive(connection)


def receive(connection):
    with connection.makefile("rb", buffering=0) as stream:
        header = read_exactly(stream, 12)
        return header, read_exactly(stream, struct.unpack("<IIHH", header)[1])


def read_exactly(stream, count):
    data = b""
    while len(data) < count:
        piece = stream.read(count - len(data))
        assert piece, f"closed after {data!r}"
        data += piece
    return data


def test_a_file_in_tmp_is_private(machine):
    run_inside(machine, "open('/tmp/vandel.conf', 'w').write('mine')")
    with open(machine.profile, encoding="ascii") as profile:
        assert profile.read() == "mine"
    before = os.path.exists("/tmp/vandel.conf") and os.stat("/tmp/vandel.conf").st_ino
    assert before != os.stat(machine.profile).st_ino


def test_the_devices_work(machine):
    code = "print(open('/dev/null').read() == '', len(open('/dev/urandom', 'rb').read(3)))"
    assert run_inside(machine, code) == b"True 3\n"


def test_the_build_directory_is_there_and_nothing_else_of_tmp(machine):
    code = (
        "import os, sys; names = set(os.listdir('/tmp')) - {sys.argv[1], '.valgrind'};"
        "print(sorted(names), os.path.samefile('/tmp/.build', sys.argv[2]))"
    )
    below_tmp = os.path.relpath(machine.build, "/tmp").split("/", maxsplit=1)[0]
    expected = "['.build', '.dev', 'log', 'redis.sock', 'tarnd.sock'] True\n"
    assert run_inside(machine, code, below_tmp, machine.build) == expected.encode()


def test_a_file_is_replaced_for_the_shell_only(machine):
    machine.replace_file("/etc/hostname", "another")
    assert run_inside(machine, "print(open('/etc/hostname').read())") == b"another\n"
    with open("/etc/hostname", encoding="ascii") as hostname:
        assert hostname.read() != "another"


def test_the_mounts_do_not_reach_the_host(machine):
    run_inside(machine, "pass")
    with open("/proc/self/mounts", encoding="utf-8") as mounts:
        assert machine.base not in mounts.read()


def test_system_log_lines_are_collected_exactly(machine):
    code = (
        "import syslog, os; syslog.openlog('IDENT', syslog.LOG_PID, syslog.LOG_USER);"
        "syslog.syslog(syslog.LOG_ERR, '[ERROR] a [b]: c\\r\\n \\n');"
        "syslog.syslog(syslog.LOG_DEBUG, 'd'); print(os.getpid())"
    )
    pid = int(run_inside(machine, code))
    assert machine.log.lines() == [
        (syslog.LOG_USER | syslog.LOG_ERR, "IDENT", pid, "[ERROR] a [b]: c\r\n \n"),
        (15, "IDENT", pid, "d"),
    ]
    assert machine.log.texts(15) == [(15, "d")]


def test_the_process_id_is_that_of_the_command(machine):
    process = subprocess.Popen(
        machine.command("/usr/bin/python3", "-c", "import os; print(os.getpid())"),
        stdout=subprocess.PIPE,
    )
    assert int(process.communicate(timeout=30)[0]) == process.pid


def test_the_daemon_answers_and_records(machine):
    with connect(machine) as connection:
        create = b'<rpc message-id="0"><tarnd:create-session>\r\n</rpc>\0'
        header, body = exchange(connection, create)
        assert header == struct.pack("<IIHH", 0xFEDCBAFF, len(body), 0, 0)
        assert body == (
            b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="0">'
            b'<session-id xmlns="com:quorvex:netconf:private:vesk:device:tarnd">1</session-id>'
            b"</rpc-reply>"
        )
        exchange(connection, b'<rpc message-id="1"><get></get></rpc>\0', 1)
    frames = machine.tarnd.frames
    assert [(one.length, one.sequence, one.reserved) for one in frames] == [
        (len(create), 0, 0),
        (38, 1, 0),
    ]
    assert frames[0].body == create
    assert machine.tarnd.wait_requests(1) == ['<rpc message-id="1"><get></get></rpc>']
    assert machine.tarnd.sessions[0].pid == os.getpid()


def test_the_daemon_follows_a_script(machine):
    go_on = threading.Event()
    machine.tarnd.on_request = lambda request: [
        daemon.pause(go_on),
        daemon.frame("<late/>", length=9, magic=1, sequence=70000, reserved=2),
        daemon.raw(b"zz"),
        daemon.close,
    ]
    with connect(machine) as connection:
        connection.sendall(struct.pack("<IIHH", 0xFEDCBAFF, 2, 0, 0) + b"x\0")
        machine.tarnd.wait_requests(1)
        session = machine.tarnd.wait_session()
        session.send("<early/>")
        assert receive(connection)[1] == b"<early/>"
        go_on.set()
        header, body = receive(connection)
        assert header == struct.pack("<IIHH", 1, 9, 70000 & 0xFFFF, 2)
        assert body == b"<late/>zz"
        assert connection.recv(1) == b""


def test_the_daemon_holds_data(machine):
    machine.tarnd.holds("<box", "<box>1</box>")
    with connect(machine) as connection:
        found = exchange(connection, b'<rpc message-id="4"><get-config><box></rpc>\0')[1]
        assert b"<data><box>1</box></data>" in found
        assert b"<data></data>" in exchange(connection, b"<rpc><get><other></rpc>\0")[1]
        assert b"<ok/>" in exchange(connection, b"<rpc><edit-config><box></rpc>\0")[1]


def test_what_goes_wrong_in_a_script_fails_the_test(redis_server):
    from support.shell import Machine  # pylint: disable=import-outside-toplevel

    private = Machine(redis_server)
    private.tarnd.on_request = lambda request: [lambda session: 1 / 0]
    with connect(private) as connection:
        connection.sendall(struct.pack("<IIHH", 0xFEDCBAFF, 2, 0, 0) + b"x\0")
        assert connection.recv(1) == b""
    with pytest.raises(ZeroDivisionError):
        private.stop()


def test_schema_records_are_packed_by_the_layout(machine):
    machine.load(
        db.Schema(
            db.module(
                "acme",
                "urn:acme",
                db.list_(
                    "port",
                    ["id"],
                    db.leaf("id", "uint8", help="Number"),
                    db.choice("c", db.case("a", db.leaf("x", config=False))),
                ),
                db.rpc("reset", db.leaf("delay", "uint32")),
            )
        )
    )
    port = b"\x01\x01" + bytes(10) + b"\0\0\0\0\0\0\x01\0" + b"\0"
    number = b"\x81\x00" + bytes(10) + b"\x07\0\x01\0\0\0\x0e\0" + b"\0uint8\0Number\0"
    with redis.Redis(unix_socket_path=machine.redis.socket, db=4) as client:
        assert client.hgetall("/") == {b"acme": bytes(43) + b"urn:acme\0"}
        assert client.hget("/acme", "port") == port
        assert client.hgetall("/acme/port") == {b"id": number}
        assert set(client.hgetall("/acme/port[]")) == {b"id", b"c"}
        assert set(client.hgetall("/acme/port[]/c")) == {b"a"}
        assert client.hget("/acme/port[]/c/a", "x")[:2] == b"\x80\x00"
        assert client.hget("/acme", "reset")[:2] == b"\xc1\x01"
        assert client.hget("/acme/reset", "input")[:2] == b"\x01\x02"
        assert set(client.hgetall("/acme/reset/input")) == {b"delay"}


def functions(path, defined):
    """The functions that a program or library provides, or that it calls in libraries."""
    listing = subprocess.run(
        ["readelf", "--dyn-syms", "--wide", path], capture_output=True, check=True
    ).stdout.decode()
    rows = [line.split() for line in listing.splitlines() if " FUNC " in line]
    return {row[7].partition("@")[0] for row in rows if (row[6] != "UND") == defined}


@spilling.on_x86_only
def test_each_call_to_a_library_is_watched(machine):
    """But for those into the C library, and into the run-time library of a sanitizer."""
    called = functions(os.path.join(machine.build, "vandel"), False)
    with open(os.path.join(machine.build, "vandel"), "rb") as program:
        loaded = {name.decode() for name in re.findall(rb"\0(xml[A-Z]\w+)(?=\0)", program.read())}
    watched = functions(os.path.join(machine.build, "tests/spilling/libconf.so"), True)
    assert {name for name in called if name.startswith(("redis_", "conf_"))} | loaded <= watched
    assert {"redis_connect", "xmlReadMemory"} <= called | loaded
    environment = {**spilling.ENVIRONMENT, "SPILLING_TELLS": "1"}
    result = machine.one_shot("ls", env=environment)
    assert b"acme" in result.stdout
    # The database is connected to, chosen, read and left, and its reply freed.
    calls = int(result.stderr.removesuffix(b" calls\n"))
    assert calls >= 5
    machine.tarnd.holds("<box", '<box xmlns="urn:acme"><!-- for a parser --></box>')
    result = machine.one_shot("get", "/acme/box", env=environment)
    # Where libxml2 has to read, a parser is made, used and freed, too.
    assert int(result.stderr.removesuffix(b" calls\n")) >= calls + 3
