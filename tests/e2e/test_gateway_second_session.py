"""tarnd-gateway: servers that serve no requests on a session that has notifications."""

import contextlib
import os
import signal
import threading
import time

import pytest
from support.gateway import wait_for
from support.processes import is_running
from support.netconf_peer import BASE_1_0, BASE_1_1, BASE_NS, NOTIFICATIONS, chunked
from test_gateway import (
    COMPACT_NOTIFICATION,
    CREATE_SESSION,
    GATEWAY_HELLO,
    NOTIFICATION,
    SUBSCRIPTION,
    VERSIONS,
    Bench,
    reply,
    session_reply,
)

ACCEPTED = (
    f'<rpc-reply message-id="tarnd-gateway-subscription" xmlns="{BASE_NS}"><ok/></rpc-reply>'
).encode()
REFUSED = ACCEPTED.replace(
    b"<ok/>", b"<rpc-error><error-message>no more</error-message></rpc-error>"
)
LOST = "shell 1: notifications do not come now: "
AGAIN = "shell 1: notifications come again\n"


class SecondBench(Bench):
    """A gateway with a hand-played server without interleave behind it."""

    def session(self, capabilities=(BASE_1_1,), session_id=7):
        return super().session((*capabilities, NOTIFICATIONS), session_id)

    def second(self, capabilities=(BASE_1_1,), session_id=8):
        """The other session, which asks for notifications."""
        peer = self.host.accept()
        assert peer.greet(session_id, (*capabilities, NOTIFICATIONS)) == GATEWAY_HELLO
        assert peer.request() == SUBSCRIPTION
        return peer

    def notifies(self, shell, peer):
        peer.send(NOTIFICATION)
        return shell.receive() == COMPACT_NOTIFICATION


@pytest.fixture
def bench():
    made = SecondBench()
    yield made
    made.stop()


def check_serves(shell, peer):
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    peer.send(reply(1))
    assert shell.receive() == reply(1)


@VERSIONS
def test_requests_and_notifications_have_a_session_each(bench, version):
    shell, peer = bench.session((BASE_1_0, version))
    second = bench.second((BASE_1_0, version))
    assert second.about["descriptors"] == [0, 1, 2, 3]
    assert shell.ask(CREATE_SESSION) == session_reply(7)
    second.send(ACCEPTED)
    assert bench.notifies(shell, second)
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    assert bench.notifies(shell, second)
    # Whatever else comes there is no answer to a shell's request.
    second.send(reply(1, b"<no/>"))
    second.send(b"<notification/>")
    peer.send(reply(1))
    assert shell.receive() == reply(1)
    assert bench.notifies(shell, second)
    bench.gateway.wait_for_log("shell 1: what comes among the notifications and is none is dropped")
    log = bench.gateway.log()
    assert "shell 1: notifications take a second session (no interleave capability)\n" in log
    assert log.count("is dropped") == 1
    assert LOST not in log


def test_what_is_wished_is_asked_for_there(bench):
    bench.start("--stream=ALARMS")
    bench.session()
    second = bench.host.accept()
    second.greet(8, (BASE_1_1, NOTIFICATIONS))
    wish = b"><stream>ALARMS</stream></create-subscription>"
    assert second.request() == SUBSCRIPTION.replace(b"/>", wish)


def test_no_subscribe_needs_no_second_session(bench):
    bench.start("--no-subscribe")
    shell, peer = bench.session()
    check_serves(shell, peer)
    assert bench.gateway.children() == [peer.pid]


def test_one_that_is_lost_is_logged_once_and_tried_again(bench):
    shell, peer = bench.session()
    second = bench.second()
    second.send(ACCEPTED)
    assert bench.notifies(shell, second)
    lost_at = time.monotonic()
    second.close()
    bench.gateway.wait_for_log(f"{LOST}the server ended the session\n")
    check_serves(shell, peer)
    for _ in range(2):
        bench.host.accept().close()
    second = bench.second()
    assert time.monotonic() - lost_at > 1 + 2 + 4
    second.send(ACCEPTED)
    assert bench.notifies(shell, second)
    check_serves(shell, peer)
    bench.gateway.wait_for_log(AGAIN)
    assert bench.gateway.log().count(LOST) == 1
    assert sorted(bench.gateway.children()) == sorted([peer.pid, second.pid])


def test_one_that_is_refused_is_tried_again(bench):
    shell, peer = bench.session()
    for _ in range(2):
        bench.second().send(REFUSED)
        check_serves(shell, peer)
    bench.second().send(ACCEPTED)
    bench.gateway.wait_for_log(AGAIN)
    log = bench.gateway.log()
    assert log.count("shell 1: the server refused the subscription: no more\n") == 1
    assert log.count(f"{LOST}the server refused the subscription\n") == 1
    assert log.count(LOST) == 1


def test_one_that_never_says_hello_is_tried_again(bench):
    bench.start("--hello-timeout=5")
    shell, peer = bench.session()
    silent = bench.host.accept()
    bench.gateway.wait_for_log(f"{LOST}the server has not said hello in time (--hello-timeout)\n")
    check_serves(shell, peer)
    bench.second()
    assert not is_running(silent.pid)
    check_serves(shell, peer)


def test_one_that_breaks_the_protocol_is_tried_again(bench):
    shell, peer = bench.session()
    bench.second().raw(b"nonsense")
    bench.gateway.wait_for_log(f"{LOST}the server broke the chunked framing\n")
    check_serves(shell, peer)
    bench.second()


def flood_with(peer, pause=0):
    """Sends notifications as fast as they are read, or with pauses, until the session ends."""

    def send():
        with contextlib.suppress(OSError):
            while True:
                peer.raw(chunked(NOTIFICATION) * 100)
                time.sleep(pause)

    peer.connection.settimeout(None)
    threading.Thread(target=send, daemon=True).start()


def test_a_flood_of_notifications_keeps_no_reply_back(bench):
    shell, peer = bench.session()
    second = bench.second()
    second.send(ACCEPTED)
    flood_with(second)
    for message_id in range(3):
        shell.send(b"<rpc/>")
        assert peer.request() == b"<rpc/>"
        peer.send(reply(message_id))
        while (message := shell.receive()) != reply(message_id):
            assert message == COMPACT_NOTIFICATION


def asked_in_a_flood(bench):
    """The shell waits for an answer, and gets notifications meanwhile."""
    shell, peer = bench.session()
    second = bench.second()
    second.send(ACCEPTED)
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    flood_with(second, pause=0.2)
    return shell, peer


def test_notifications_put_no_answer_off(bench):
    bench.start("--request-timeout=2")
    shell, _ = asked_in_a_flood(bench)
    end = time.monotonic() + 60
    while (message := shell.receive()) == COMPACT_NOTIFICATION:
        assert time.monotonic() < end
    assert b"the server has not answered in time (--request-timeout)" in message


def test_a_shell_that_only_gets_notifications_is_idle(bench):
    bench.start("--idle-timeout=2")
    shell, peer = asked_in_a_flood(bench)
    answer_at = time.monotonic() + 3
    while time.monotonic() < answer_at:
        assert shell.receive() == COMPACT_NOTIFICATION
    peer.send(reply(1))
    received = set()
    while b"<session-closed " not in (message := shell.receive()):
        received.add(message)
        assert time.monotonic() < answer_at + 60
    assert received == {COMPACT_NOTIFICATION, reply(1)}


def test_notifications_do_not_come_into_the_middle_of_a_reply(bench):
    shell, peer = bench.session()
    second = bench.second()
    second.send(ACCEPTED)
    long = reply(1, b"<a>%s</a>" % (b"x" * 3000000))
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    half = len(long) // 2
    peer.raw(b"\n#%d\n%s" % (half, long[:half]))
    # What is not whole does not stand in the way.
    assert bench.notifies(shell, second)
    peer.raw(b"\n#%d\n%s\n##\n" % (len(long) - half, long[half:]))
    second.send(NOTIFICATION)
    assert {shell.receive(), shell.receive()} == {long, COMPACT_NOTIFICATION}


@pytest.mark.parametrize("option", [(), ("--stubborn",)], ids=["usual", "stubborn"])
def test_it_ends_with_the_shell(bench, option):
    bench.start(command=bench.host.command(*option))
    shell, peer = bench.session()
    second = bench.second()
    shell.close()
    wait_for(lambda: bench.gateway.sessions() == [], "the session's process has not ended")
    for ended in (peer, second):
        assert not is_running(ended.pid)
    assert LOST not in bench.gateway.log()


def test_the_server_s_end_is_the_end_of_both(bench):
    shell, peer = bench.session()
    second = bench.second()
    peer.close()
    assert shell.at_end()
    wait_for(lambda: bench.gateway.sessions() == [], "the session's process has not ended")
    assert not is_running(second.pid)
    assert LOST not in bench.gateway.log()


def test_the_gateway_ends_both(bench):
    bench.start(command=bench.host.command("--stubborn"))
    _, peer = bench.session()
    second = bench.second()
    assert bench.gateway.stop() == 0
    for ended in (peer, second):
        assert not is_running(ended.pid)


def test_a_killed_process_leaves_neither(bench):
    bench.start(command=bench.host.command("--stubborn"))
    shell, peer = bench.session()
    second = bench.second()
    os.kill(bench.gateway.sessions()[0], signal.SIGKILL)
    assert shell.at_end()
    for ended in (peer, second):
        wait_for(lambda pid=ended.pid: not is_running(pid), "a command still runs")


def test_waiting_for_another_try_takes_no_time(bench):
    shell, peer = bench.session()
    bench.second().close()
    for _ in range(2):
        bench.host.accept().close()
    used = bench.gateway.processor_time()
    time.sleep(2)
    assert bench.gateway.processor_time() - used < 0.2
    check_serves(shell, peer)
