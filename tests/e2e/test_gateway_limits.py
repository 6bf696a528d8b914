"""What tarnd-gateway lets shells and servers hold, and for how long."""

import re
import resource
import signal

import pytest
from support import valgrind
from support.gateway import HEADER, MAGIC, wait_for
from support.netconf_peer import MARK, hello
from test_gateway import Bench, session_reply

CREATE_SESSION = (
    b'<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" '
    b'xmlns:tarnd="com:quorvex:netconf:private:vesk:device:tarnd" message-id="5">'
    b"<tarnd:create-session/></rpc>"
)
TOO_MANY = "the gateway serves no more shells (--max-shells)"
NO_ROOM = "the gateway has no room for the request now (--max-buffered)"
IDLE = "the shell has asked nothing for too long (--idle-timeout)"
SILENT = "the server has not answered in time (--request-timeout)"
NO_HELLO = "the server has not said hello in time (--hello-timeout)"


def failure(message, message_id=b"5"):
    return (
        b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="%s">'
        b"<rpc-error><error-type>application</error-type><error-tag>operation-failed</error-tag>"
        b'<error-severity>error</error-severity><error-message xml:lang="en">%s</error-message>'
        b"</rpc-error></rpc-reply>" % (message_id, message.encode())
    )


class LimitedBench(Bench):
    """A gateway with the limits under test and hand-played servers behind it."""

    def session(self, session_id=7):
        shell, peer = super().session(session_id=session_id)
        assert shell.ask(CREATE_SESSION) == session_reply(session_id, 5)
        return shell, peer


@pytest.fixture
def bench():
    made = LimitedBench()
    yield made
    made.stop()


def check_still_serves(shell, peer):
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"


# Shells


def test_a_shell_beyond_the_limit_is_told_and_closed(bench):
    bench.start("--max-shells", "2")
    sessions = [bench.session(number) for number in (1, 2)]
    children = sorted(bench.gateway.children())
    extra = bench.gateway.shell()
    assert extra.ask(CREATE_SESSION) == failure(TOO_MANY)
    assert extra.at_end()
    bench.gateway.wait_for_log(f"shell 3: closed: {TOO_MANY}\n")
    wait_for(lambda: sorted(bench.gateway.children()) == children, "a command was started")
    for shell, peer in sessions:
        check_still_serves(shell, peer)
    sessions[0][0].close()
    wait_for(lambda: len(bench.gateway.sessions()) == 1, "its process was not reaped")
    bench.session(3)


def test_without_the_option_32_shells_are_served(bench):
    bench.start()
    for number in range(32):
        bench.session(number + 1)
    assert bench.gateway.shell().ask(CREATE_SESSION) == failure(TOO_MANY)


def test_a_refused_shell_that_asks_nothing_is_closed(bench):
    bench.start("--max-shells=1")
    bench.session()
    silent = bench.gateway.shell()
    slow = bench.gateway.shell()
    slow.raw(b"\xff\xba\xdc\xfe")
    assert silent.at_end()
    assert slow.at_end()
    for number in (2, 3):
        bench.gateway.wait_for_log(f"shell {number}: closed: {TOO_MANY}\n")


def test_a_refused_shell_that_leaves_is_let_go(bench):
    bench.start("--max-shells=1")
    bench.session()
    bench.gateway.shell().close()
    bench.gateway.wait_for_log(f"shell 2: closed: {TOO_MANY}\n")


def test_a_flood_of_shells_holds_nothing(bench):
    most = 64 + valgrind.DESCRIPTORS
    bench.start(
        "--max-shells=1", prepare=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    )
    shell, peer = bench.session()
    flood = [bench.gateway.shell() for _ in range(100)]
    for extra in flood:
        assert extra.at_end()
    bench.gateway.wait_for_log(f"shell 101: closed: {TOO_MANY}\n")
    wait_for(lambda: bench.gateway.children() == [peer.pid], "a command was started")
    assert "Too many open files" not in bench.gateway.log()
    check_still_serves(shell, peer)


# Hellos


@pytest.mark.parametrize(
    "script",
    ["", "printf '<hello'", "printf '%s' \"$0\"", "trap '' TERM; while :; do sleep 1; done"],
    ids=["nothing", "begun", "no mark", "stubborn"],
)
def test_a_server_without_a_hello_is_given_up(bench, script):
    bench.start(
        "--hello-timeout=1",
        command=["sh", "-c", f"{script}\ncat >/dev/null; true", hello().decode()],
    )
    shell = bench.gateway.shell()
    assert shell.ask(CREATE_SESSION) == failure(NO_HELLO)
    assert shell.at_end()
    bench.gateway.wait_for_log(f"shell 1: closed: {NO_HELLO}\n")
    wait_for(lambda: bench.gateway.children() == [], "the command was not reaped")
    assert "the command was ended" not in bench.gateway.log()


def test_a_shell_that_asks_nothing_is_closed_without_a_hello_too(bench):
    bench.start("--hello-timeout=1", command=["sh", "-c", "cat >/dev/null; true"])
    assert bench.gateway.shell().at_end()
    bench.gateway.wait_for_log(f"shell 1: closed: {NO_HELLO}\n")


# Requests that are sent in part


def request(size, message_id=5):
    """A request of so many bytes."""
    start, end = b'<rpc message-id="%d"><a>' % message_id, b"</a></rpc>"
    return start + b"x" * (size - len(start) - len(end)) + end


def begin(bench, shell, size, sent):
    """Sends the beginning of a frame, and waits until it is read and counted; the rest of it."""
    header = HEADER.pack(MAGIC, size, shell.sequence, 0)
    shell.sequence += 1
    body = request(size)
    shell.raw(header + body[:sent])
    wait_for(shell.is_taken, "the gateway does not read")
    bench.gateway.rest()
    return body[sent:]


def test_requests_hold_no_more_together_than_they_may(bench):
    bench.start("--max-buffered=1000000")
    (first, first_peer), (second, second_peer) = bench.session(1), bench.session(2)
    rest = begin(bench, first, 900000, 890000)
    second.send(request(500000, 77))
    assert second.receive() == failure(NO_ROOM, b"77")
    assert f"shell 2: a request is refused: {NO_ROOM}\n" in bench.gateway.log()
    # Small ones always pass, and the one that came first is not touched.
    check_still_serves(second, second_peer)
    first.raw(rest)
    assert first_peer.request() == request(900000)
    bench.gateway.rest()
    second.send(request(500000))
    assert second_peer.request() == request(500000)


def test_a_shell_that_leaves_gives_its_room_back(bench):
    bench.start("--max-buffered=1000000")
    (first, _), (second, second_peer) = bench.session(1), bench.session(2)
    begin(bench, first, 900000, 890000)
    first.close()
    bench.gateway.wait_for_log("shell 1: closed: the shell ended in the middle of a frame\n")
    bench.gateway.rest()
    second.send(request(500000))
    assert second_peer.request() == request(500000)


def test_requests_that_servers_do_not_take_count_too(bench):
    bench.start("--max-buffered=1000000")
    (first, first_peer), (second, second_peer) = bench.session(1), bench.session(2)
    first.send(request(900000), b"")
    wait_for(first.is_taken, "the gateway does not read")
    bench.gateway.rest()
    check_still_serves(second, second_peer)
    second.send(request(700000))
    assert second.receive() == failure(NO_ROOM)
    assert first_peer.request() == request(900000)


def test_a_request_that_can_never_fit_is_refused(bench):
    bench.start("--max-buffered=1000000")
    shell, peer = bench.session()
    shell.send(request(3000000))
    assert shell.receive() == failure(NO_ROOM)
    check_still_serves(shell, peer)


def test_half_sent_requests_take_no_more_memory_than_they_may(bench):
    bench.start("--max-buffered=16777216")
    sessions = [bench.session(number + 1) for number in range(8)]
    rests = [begin(bench, shell, 16000000, 15900000) for shell, _ in sessions]
    assert bench.gateway.log().count(f"a request is refused: {NO_ROOM}\n") == 7
    assert bench.gateway.peak_memory() < 64 << 20
    for (shell, _), rest in list(zip(sessions, rests))[1:]:
        shell.raw(rest)
        assert shell.receive() == failure(NO_ROOM)
    sessions[0][0].raw(rests[0])
    assert sessions[0][1].request() == request(16000000)


def test_a_refused_shell_s_request_is_read_and_not_held(bench):
    bench.start("--max-shells=1")
    bench.session()
    extra = bench.gateway.shell()
    rest = begin(bench, extra, 30000000, 29999999)
    assert bench.gateway.peak_memory() < 24 << 20
    extra.raw(rest)
    assert extra.receive() == failure(TOO_MANY)
    assert extra.at_end()


# Servers that do not answer


def test_a_server_that_does_not_answer_is_given_up(bench):
    bench.start("--request-timeout=1", command=bench.host.command("--stubborn"))
    shell, peer = bench.session()
    assert shell.has_nothing(1.2)
    shell.send(request(100, 6))
    assert peer.request() == request(100, 6)
    peer.raw(b"<rpc-reply")
    assert shell.receive() == failure(SILENT, b"6")
    assert shell.at_end()
    bench.gateway.wait_for_log(f"shell 1: closed: {SILENT}\n")
    peer.close()
    wait_for(lambda: bench.gateway.children() == [], "the command was not reaped")


def test_a_server_that_says_something_is_waited_for(bench):
    bench.start("--request-timeout=5")
    shell, peer = bench.session()
    shell.send(request(100, 6))
    assert peer.request() == request(100, 6)
    answer = b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><ok/></rpc-reply>'
    for part in (answer[:20], answer[20:40], answer[40:]):
        assert shell.has_nothing(2)
        peer.raw(part)
    peer.raw(MARK)
    assert shell.receive() == answer


def test_a_quiet_server_is_asked_for_nothing(bench):
    bench.start("--keepalive=1")
    shell, peer = bench.session()
    for _ in range(2):
        assert b'message-id="tarnd-gateway-keepalive"><get-config>' in peer.request()
        peer.send(
            b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" '
            b'message-id="tarnd-gateway-keepalive"><data/></rpc-reply>'
        )
    assert shell.has_nothing()


# Idle shells


def idle_notice(message):
    """True for the notification that an idle shell gets."""
    return re.fullmatch(
        rb'<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">'
        rb"<eventTime>\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ</eventTime>"
        rb'<session-closed xmlns="urn:vandel:tarnd-gateway"><reason>%s</reason></session-closed>'
        rb"</notification>" % re.escape(IDLE.encode()),
        message,
    )


def test_an_idle_shell_is_told_and_closed(bench):
    bench.start("--idle-timeout=1")
    shell = bench.gateway.shell()
    assert idle_notice(shell.receive())
    assert shell.at_end()
    bench.gateway.wait_for_log(f"shell 1: closed: {IDLE}\n")
    wait_for(lambda: bench.gateway.children() == [], "the command was not reaped")


def test_a_shell_that_waits_for_its_answer_is_not_idle(bench):
    bench.start("--idle-timeout=1")
    # Stopped, so that the request is there when its time begins.
    bench.gateway.process.send_signal(signal.SIGSTOP)
    waiting = bench.gateway.shell()
    waiting.send(b"<rpc/>")
    bench.gateway.process.send_signal(signal.SIGCONT)
    peer = bench.host.accept()
    assert idle_notice(bench.gateway.shell().receive())
    peer.greet()
    assert peer.request() == b"<rpc/>"
    assert idle_notice(bench.gateway.shell().receive())
    reply = b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><ok/></rpc-reply>'
    peer.send(reply)
    assert waiting.receive() == reply
    assert idle_notice(waiting.receive())
