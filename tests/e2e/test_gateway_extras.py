"""tarnd-gateway in front of a real NETCONF server, with what an operator can ask for."""

import contextlib
import shutil
import sys
import tempfile

import pytest

from support.gateway import Gateway, wait_for
from support.netconfd import Netconfd
from test_gateway_netconfd import (
    COPY,
    EDIT,
    INTERFACE,
    INTERFACES,
    READ,
    SPACES,
    Session,
    has_ok,
    running,
)

# Passes on what the gateway says until it confirms a commit that was done, and then ends with the
# session.
CUT_OFF = """
import os, subprocess, sys
server = subprocess.Popen(sys.argv[1:], stdin=subprocess.PIPE)
said = b""
is_done = False
while data := os.read(0, 65536):
    said = said[-11:] + data
    if is_done and b"<commit/>" in said:
        break
    is_done = is_done or b"<confirmed/>" in said
    server.stdin.write(data)
    server.stdin.flush()
server.terminate()
server.wait()
"""


@contextlib.contextmanager
def served(*options, **settings):
    """Gives what starts a gateway to a server of those settings, with these options, and with a
    command in between."""
    directory = tempfile.mkdtemp(prefix="vandel-test.", dir="/tmp")
    with contextlib.ExitStack() as stack:
        stack.callback(shutil.rmtree, directory, ignore_errors=True)
        server = Netconfd(directory, **settings)
        stack.callback(server.stop)
        command, environment = server.transport()

        def start(*between):
            place = tempfile.mkdtemp(dir=directory)
            gateway = Gateway(place, [*between, *command], options, environment)
            stack.callback(gateway.stop)
            return gateway

        yield start


def begin(gateway):
    session = Session(gateway)
    session.create()
    return session


def test_two_sessions_do_not_edit_at_the_same_time():
    with served("--lock") as start:
        gateway = start()
        one, other = begin(gateway), begin(gateway)
        before = running(one)
        lock = "<lock><target><running/></target></lock>"
        assert has_ok(other.rpc(lock)[1])
        _, tree = one.rpc(EDIT.format(INTERFACE.format("eth1", "kept out")))
        assert tree.xpath("b:rpc-error/b:error-tag/text()", namespaces=SPACES) == ["lock-denied"]
        assert running(one) == before
        assert has_ok(other.rpc(lock.replace("lock>", "unlock>"))[1])
        for session in (one, other, one):
            assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth1", "let in")))[1])
        assert "let in" in running(other)


@pytest.mark.parametrize(
    "mode, shown, defaults, target",
    [
        ("report-all", True, "explicit", "running"),
        ("report-all", True, "trim", "candidate"),
        ("report-all-tagged", True, "trim", "running"),
        ("trim", False, "report-all", "running"),
        ("explicit", False, "report-all", "candidate"),
    ],
)
def test_defaults_are_read_as_they_are_wanted(mode, shown, defaults, target):
    """What is exported so can be imported, though the server itself reports another thing."""
    with served(f"--with-defaults={mode}", defaults=defaults, target=target) as start:
        session = begin(start())
        assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth1", "x")))[1])
        assert ("true</enabled>" in session.rpc(READ)[0].decode()) is shown
        exported = running(session)
        config = f"<config>{INTERFACES.format(INTERFACE.format('eth2', 'y'))}</config>"
        session.rpc(COPY.format("running", config))
        assert has_ok(session.rpc(COPY.format("running", f"<config>{exported}</config>"))[1])
        assert running(session) == exported
        assert has_ok(session.rpc(COPY.format("startup", "<running/>"))[1])


def test_a_change_that_cuts_the_operator_off_is_undone():
    with served("--confirmed-commit=60", target="candidate") as start:
        session = begin(start())
        assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth1", "first")))[1])
        before = running(session)
        assert "first" in before
        gateway = start(sys.executable, "-c", CUT_OFF)
        other = begin(gateway)
        other.shell.send(
            f'<rpc xmlns="{SPACES["b"]}" message-id="1">'
            f'{EDIT.format(INTERFACE.format("eth1", "second"))}</rpc>'.encode()
        )
        gateway.wait_for_log("closed: the server ended the session")
        wait_for(lambda: running(session) == before, "the change is not undone")
        assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth1", "third")))[1])
        assert "third" in running(session)


def test_a_server_without_startup_keeps_what_is_committed():
    save = COPY.format("startup", "<running/>")
    read = "<get-config><source><startup/></source></get-config>"
    with served("--startup-is-running", startup="false") as start:
        gateway = start()
        session = begin(gateway)
        assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth1", "kept")))[1])
        assert has_ok(session.rpc(save)[1])
        assert "kept" in session.rpc(read)[0].decode()
        refused = session.rpc("<delete-config><target><startup/></target></delete-config>")[0]
        assert b"the server has no startup datastore" in refused
        gateway.wait_for_log("running is taken for startup (no startup capability)")
