"""What vandel-do lets pass between shell and daemon."""

import contextlib
import os
import shutil
import socket
import stat
import sys

import pytest
from support import gateway, servers
from support import tarnd as daemon
from support.example import edit_config, get, get_config
from support.shell import ROOT

sys.path.insert(0, os.path.join(ROOT, "tools"))
from vandel_do import relay as relays  # noqa: E402  pylint: disable=wrong-import-position

SESSION = b"<rpc><tarnd:create-session xmlns:tarnd='x'/></rpc>"
EVENT = daemon.notification("<event/>")


@pytest.fixture(name="place")
def fixture_place(monkeypatch):
    """Where relays look for a daemon."""
    directory = servers.private_directory()
    path = os.path.join(directory, "tarnd.sock")
    monkeypatch.setenv("TARND_SOCKET", path)
    yield path
    shutil.rmtree(directory)


@pytest.fixture(name="far")
def fixture_far(place):
    server = daemon.Tarnd(place)
    yield server
    server.stop()


@contextlib.contextmanager
def connected(reads_only=False):
    """A relay, and the shell's end of it."""
    events = []
    relay = relays.Relay(events.append, reads_only)
    relay.events = events
    try:
        yield relay, gateway.Shell(relay.path)
    finally:
        relay.stop()


def test_frames_pass_as_they_are(far):
    with connected() as (relay, shell):
        request = get("<x/>").encode()
        assert shell.ask(request) == daemon.rpc_reply("<data></data>", "1").encode()
        assert [frame.body for frame in far.frames] == [request + b"\0"]
        assert relay.answered() == (daemon.rpc_reply("<data></data>", "1").encode(), False)
        relay.forget()
        assert relay.answered() == (None, False)


def test_a_notification_does_not_reach_the_shell(far):
    far.on_request = lambda request: [EVENT, request.reply("<ok/>")]
    with connected() as (relay, shell):
        shell.send(get("").encode())
        shell.expected = 1  # the daemon's count goes on
        assert shell.receive() == daemon.rpc_reply("<ok/>", "1").encode()
        assert relay.events == [EVENT.encode()]


@pytest.mark.parametrize(
    "look_alike",
    [
        "<notification><event/></notification>",
        f"<rpc-reply>{EVENT}</rpc-reply>",
        f'<?xml version="1.0" encoding="foo"?>{EVENT}',
        f'<?xml version="1.0" encoding="utf-7"?>{EVENT}',
        "no XML",
        "",
    ],
)
def test_what_is_no_notification_reaches_the_shell(far, look_alike):
    far.on_request = lambda request: look_alike
    with connected() as (relay, shell):
        assert shell.ask(get("").encode()) == look_alike.encode()
        assert relay.events == []


def test_what_nobody_has_asked_for_does_not_reach_the_shell(far):
    def announce(session):
        for text in (daemon.rpc_reply("<data>x</data>", "9"), EVENT):
            session.send(text)

    far.on_connect = announce
    with connected() as (relay, shell):
        servers.wait_until(lambda: relay.events, "the notification after it")
        assert relay.answered() == (None, False)
        shell.expected = 2  # the daemon's count goes on
        assert shell.ask(get("").encode()) == daemon.rpc_reply("<data></data>", "1").encode()


def test_an_error_of_the_relay_ends_the_connection(far):
    far.on_request = lambda request: [EVENT]
    with connected() as (relay, shell):
        relay.notify = lambda _: 1 // 0
        shell.send(get("").encode())
        assert shell.at_end()
        assert relay.is_lost
        assert relay.why.startswith("nothing is handed on any longer: ZeroDivisionError")


def test_a_daemon_that_has_to_accept_others_first(place, monkeypatch):
    with socket.socket(socket.AF_UNIX) as listener, socket.socket(socket.AF_UNIX) as other:
        listener.bind(place)
        listener.listen(0)
        other.connect(place)
        accepted = []
        monkeypatch.setattr(relays.time, "sleep", lambda _: accepted.append(listener.accept()))
        relay = relays.Relay(print, False)
        assert relay.why is None
        assert len(accepted) == 1
        relay.stop()
        accepted[0][0].close()


def test_nothing_but_reads_passes_in_a_dry_run(far):
    with connected(reads_only=True) as (_, shell):
        far.session_reply = daemon.session_reply()
        shell.ask(SESSION)
        shell.ask(get("<x/>").encode())
        shell.ask(get_config("<x/>").encode())
    assert len(far.frames) == 3


def test_an_edit_in_a_dry_run_is_answered_here(far, monkeypatch):
    """And never by the daemon, which may answer before it is asked."""
    request = edit_config("<x>&lt;</x>").encode()
    with connected(reads_only=True) as (relay, shell):

        def tag_at(*arguments):
            assert not relay._note_reply(b"<lie/>")
            return real(*arguments)

        real = relays.reply.tag_at
        monkeypatch.setattr(relays.reply, "tag_at", tag_at)
        assert shell.ask(request) == daemon.rpc_reply("<ok/>", "1").encode()
        assert relay.answered() == (request + b"\0", False)
    assert far.frames == []


@pytest.mark.parametrize("request_text", ["<rpc><reset/></rpc>", "no XML", ""])
def test_a_change_in_a_dry_run_ends_the_connection(far, request_text):
    with connected(reads_only=True) as (relay, shell):
        shell.send(request_text.encode())
        assert shell.at_end()
        assert relay.answered() == (None, True)
    assert far.frames == []


def test_a_request_without_an_answer(far):
    far.on_request = lambda request: [daemon.close]
    with connected() as (relay, shell):
        shell.send(get("").encode())
        assert shell.at_end()
        assert relay.is_lost and relay.answered() == (None, True)


def test_a_frame_that_is_too_large_ends_the_connection(far):
    far.on_request = lambda request: [daemon.frame("", length=(1 << 28) + 1)]
    with connected() as (_, shell):
        shell.send(get("").encode())
        assert shell.at_end()


def test_the_socket_of_a_run_goes_when_the_shell_is_there(far):
    with connected() as (relay, shell):
        shell.ask(get("<x/>").encode())
        assert not os.path.exists(relay.directory)


def test_what_takes_its_name_later_stays(far):
    with connected() as (relay, shell):
        shell.ask(get("<x/>").encode())
        os.mkdir(relay.directory)
    assert os.path.isdir(relay.directory)
    os.rmdir(relay.directory)


def test_what_others_have_put_there_stays(far):
    relay = relays.Relay(print, False)
    kept = os.path.join(relay.directory, "kept")
    os.mkdir(kept)
    relay.stop()
    assert os.listdir(relay.directory) == ["kept"]
    shutil.rmtree(relay.directory)


def test_what_its_name_leads_to_later_stays(far, tmp_path):
    """Where TMPDIR lets others rename, they could put a link there."""
    daemon = tmp_path / "tarnd.sock"
    daemon.touch()
    relay = relays.Relay(print, False)
    moved = relay.directory + ".moved"
    os.rename(relay.directory, moved)
    os.symlink(tmp_path, relay.directory)
    relay.stop()
    assert daemon.exists()
    assert os.listdir(moved) == []
    os.unlink(relay.directory)
    os.rmdir(moved)
    assert not far.frames


def test_no_socket_is_made_where_its_name_leads_to(far, tmp_path, monkeypatch):
    """In a directory that others may use they could reach it, and speak for this user."""
    listen = relays.Relay._listen  # pylint: disable=protected-access

    def exchange(relay):
        os.rename(relay.directory, relay.directory + ".moved")
        os.symlink(tmp_path, relay.directory)
        listen(relay)

    monkeypatch.setattr(relays.Relay, "_listen", exchange)
    relay = relays.Relay(print, False)
    assert os.listdir(tmp_path) == []
    assert os.listdir(relay.directory + ".moved") == ["tarnd.sock"]
    relay.stop()
    os.unlink(relay.directory)
    os.rmdir(relay.directory + ".moved")
    assert not far.frames


def test_the_socket_of_a_run_is_out_of_reach_of_others(far):
    relay = relays.Relay(print, False)
    assert stat.S_IMODE(os.stat(relay.directory).st_mode) == 0o700
    relay.stop()
    assert not os.path.exists(relay.directory)
    assert not far.frames


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can be another user")
def test_a_daemon_of_somebody_else_gets_nothing(place):
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(place)
        os.seteuid(65534)
        try:
            listener.listen()
        finally:
            os.seteuid(0)
        relay = relays.Relay(print, False)
        assert str(relay.why) == f"{place}: somebody else listens there"
        assert not os.path.exists(relay.path)
        relay.stop()
