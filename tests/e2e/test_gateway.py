"""tarnd-gateway between shells and NETCONF servers that the tests play by hand."""

import os
import resource
import shutil
import signal
import socket
import stat
import subprocess
import tempfile
import time

import pytest

from support import valgrind
from support.gateway import HEADER, MAGIC, PROGRAM, Gateway, frame, wait_for
from support.processes import is_running
from support.netconf_peer import (
    BASE_1_0,
    BASE_1_1,
    INTERLEAVE,
    MARK,
    NOTIFICATIONS,
    PeerHost,
    chunked,
    hello,
)

GATEWAY_HELLO = (
    b'<?xml version="1.0" encoding="UTF-8"?>'
    b'<hello xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><capabilities>'
    b"<capability>urn:ietf:params:netconf:base:1.0</capability>"
    b"<capability>urn:ietf:params:netconf:base:1.1</capability>"
    b"</capabilities></hello>"
)
CREATE_SESSION = (
    b'<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" '
    b'xmlns:tarnd="com:quorvex:netconf:private:vesk:device:tarnd" message-id="0">\r\n'
    b"         <tarnd:create-session>\r\n"
    b"         <tarnd:username>root</tarnd:username>\r\n"
    b"         <tarnd:agent-pid>4711</tarnd:agent-pid>\r\n"
    b"         </tarnd:create-session>\r\n"
    b"         </rpc>"
)
SUBSCRIPTION = (
    b'<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" '
    b'message-id="tarnd-gateway-subscription"><create-subscription '
    b'xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0"/></rpc>'
)
NOTIFICATION = (
    b'<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">\n'
    b"<eventTime>2024-01-01T00:00:00Z</eventTime>\n<x/>\n</notification>"
)
COMPACT_NOTIFICATION = NOTIFICATION.replace(b"\n", b"")
VERSIONS = pytest.mark.parametrize("version", [BASE_1_0, BASE_1_1], ids=["1.0", "1.1"])


def session_reply(session_id, message_id=0):
    return (
        b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="%d">'
        b'<session-id xmlns="com:quorvex:netconf:private:vesk:device:tarnd">%d</session-id>'
        b"</rpc-reply>" % (message_id, session_id)
    )


def reply(message_id, inner=b"<ok/>"):
    return (
        b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="%d">%s</rpc-reply>'
        % (message_id, inner)
    )


def refusal(message):
    """The frame of the gateway's own answer to a request without a message id."""
    return frame(
        b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><rpc-error>'
        b"<error-type>application</error-type><error-tag>operation-failed</error-tag>"
        b'<error-severity>error</error-severity><error-message xml:lang="en">%s</error-message>'
        b"</rpc-error></rpc-reply>" % message
    )


class Bench:
    """A gateway with a hand-played server behind it, in a private directory."""

    def __init__(self):
        self.directory = tempfile.mkdtemp(prefix="vandel-test.", dir="/tmp")
        self.host = PeerHost(self.directory)
        self.gateway = None

    def start(self, *options, command=None, **arguments):
        self.gateway = Gateway(self.directory, command or self.host.command(), options, **arguments)
        return self.gateway

    def session(self, capabilities=(BASE_1_0,), session_id=7):
        """A shell and its server after the hellos."""
        if not self.gateway:
            self.start()
        shell = self.gateway.shell()
        peer = self.host.accept()
        assert peer.greet(session_id, capabilities) == GATEWAY_HELLO
        return shell, peer

    def stop(self):
        try:
            if self.gateway:
                assert self.gateway.stop() == 0, self.gateway.log()
        finally:
            self.host.close()
            shutil.rmtree(self.directory, ignore_errors=True)


@pytest.fixture
def bench():
    made = Bench()
    yield made
    made.stop()


# The command line


def run(*arguments):
    return subprocess.run(
        [PROGRAM, *arguments],
        stdin=subprocess.DEVNULL,
        capture_output=True,
        timeout=60,
        check=False,
    )


def test_help():
    result = run("--help")
    assert result.returncode == 0
    assert result.stdout.startswith(
        b"usage: tarnd-gateway --listen SOCKET [OPTION]... -- COMMAND [ARGUMENT]...\n"
    )
    assert result.stderr == b""


@pytest.mark.parametrize(
    "arguments, message",
    [
        ([], "--listen SOCKET is missing"),
        (["--listen", "/nowhere/x"], "the command is missing"),
        (["--lisp"], "unknown option: --lisp"),
        (["--max-shells", "0x"], "--max-shells takes a number from 1 to 10000: 0x"),
        (["--\x1b%s\n"], "unknown option: --?%s?"),
    ],
    ids=["nothing", "no command", "unknown", "no number", "unprintable"],
)
def test_bad_usage(arguments, message):
    result = run(*arguments)
    assert result.returncode == 1
    assert result.stdout == b""
    assert result.stderr.decode() == (
        f"tarnd-gateway: {message}\n"
        "usage: tarnd-gateway --listen SOCKET [OPTION]... -- COMMAND [ARGUMENT]...\n"
    )


# The listening socket


def test_socket_is_private_and_removed_at_the_end(bench):
    gateway = bench.start()
    found = os.lstat(gateway.socket)
    assert stat.S_ISSOCK(found.st_mode)
    assert stat.S_IMODE(found.st_mode) == 0o600
    assert gateway.stop() == 0
    assert not os.path.lexists(gateway.socket)


def test_stale_socket_is_replaced(bench):
    path = os.path.join(bench.directory, "tarnd.sock")
    with socket.socket(socket.AF_UNIX) as stale:
        stale.bind(path)
    shell, _ = bench.session()
    assert shell.ask(CREATE_SESSION) == session_reply(7)


def test_what_is_no_stale_socket_is_left_alone(bench):
    gateway = bench.start()
    busy = run("--listen", gateway.socket, "--", "cat")
    assert busy.returncode == 1
    assert busy.stderr.decode() == (
        f"tarnd-gateway: cannot listen on {gateway.socket}: another program listens there\n"
    )
    path = os.path.join(bench.directory, "file")
    with open(path, "w", encoding="ascii") as file:
        file.write("kept")
    os.symlink(path, path + ".link")
    for name in (path, path + ".link"):
        result = run("--listen", name, "--", "cat")
        assert result.returncode == 1
        assert result.stderr.decode() == (
            f"tarnd-gateway: cannot listen on {name}: the file exists and is no socket\n"
        )
    with open(path, encoding="ascii") as file:
        assert file.read() == "kept"
    missing = run("--listen", path + ".d/x", "--", "cat")
    assert missing.returncode == 1
    assert missing.stderr.endswith(b": No such file or directory\n")
    too_long = run("--listen", bench.directory + "/" + "x" * 100, "--", "cat")
    assert too_long.returncode == 1
    assert too_long.stderr.endswith(b": the path is too long for a socket\n")


def test_somebody_else_s_socket_is_not_removed(bench):
    gateway = bench.start()
    os.unlink(gateway.socket)
    with socket.socket(socket.AF_UNIX) as other:
        other.bind(gateway.socket)
        assert gateway.stop() == 0
        assert os.path.lexists(gateway.socket)


# Sessions


@VERSIONS
def test_create_session_is_answered_by_the_gateway(bench, version):
    shell, peer = bench.session((version,), 4294967295)
    assert shell.ask(CREATE_SESSION) == session_reply(4294967295)
    shell.send(b'<rpc message-id="1"><get/></rpc>')
    assert peer.request() == b'<rpc message-id="1"><get/></rpc>'


@VERSIONS
def test_requests_and_replies_pass(bench, version):
    shell, peer = bench.session((BASE_1_0, version))
    for message_id in range(5):
        request = b'<rpc message-id="%d">\r\n  <get/>\r\n</rpc>\r\n' % message_id
        shell.send(request)
        assert peer.request() == request
        peer.send(reply(message_id))
        assert shell.receive() == reply(message_id)


@VERSIONS
def test_zero_bytes_at_the_end_of_a_request_are_cut(bench, version):
    shell, peer = bench.session((version,))
    for end in (b"", b"\0", b"\0\0\0"):
        shell.send(b"<rpc>\r\n</rpc>\r\n", end)
        assert peer.request() == b"<rpc>\r\n</rpc>\r\n"


def test_a_request_with_blanks_before_the_equals_signs_passes(bench):
    shell, peer = bench.session((BASE_1_1,))
    request = (
        b'<rpc xmlns ="urn:ietf:params:xml:ns:netconf:base:1.0" message-id ="3">\r\n'
        b"  <copy-config>\r\n  </copy-config>\r\n</rpc>\r\n"
    )
    shell.send(request)
    assert peer.request() == request


def test_version_1_1_is_spoken_only_when_the_server_speaks_it(bench):
    shell, peer = bench.session((BASE_1_0, "urn:ietf:params:netconf:base:1.10"))
    shell.send(b"<rpc/>")
    assert peer.read_until(MARK) == b"<rpc/>"


def test_hello_comes_late(bench):
    bench.start()
    shell = bench.gateway.shell()
    shell.send(CREATE_SESSION)
    shell.send(b"<rpc/>")
    peer = bench.host.accept()
    assert peer.read_until(MARK) == GATEWAY_HELLO
    assert shell.has_nothing()
    for byte in hello(12, (BASE_1_1,)) + MARK:
        peer.raw(bytes([byte]))
    peer.chunked = True
    assert shell.receive() == session_reply(12)
    assert peer.request() == b"<rpc/>"


def test_chunks_of_every_odd_size(bench):
    shell, peer = bench.session((BASE_1_1,))
    message = reply(1, b"<data>]]>]]>\n##\n" + bytes(range(97, 123)) + b"</data>")
    for size in range(1, len(message) + 2, 2):
        peer.send(message, size)
    for size in range(1, len(message) + 2, 2):
        assert shell.receive() == message, size


@VERSIONS
def test_a_server_that_writes_single_bytes(bench, version):
    shell, peer = bench.session((version,))
    message = reply(1, b"<data><a>]]&gt;]]</a></data>")
    stream = chunked(message, 3) if version == BASE_1_1 else message + MARK
    for byte in stream * 2:
        peer.raw(bytes([byte]))
    assert shell.receive() == message
    assert shell.receive() == message


def test_a_shell_that_writes_single_bytes(bench):
    shell, peer = bench.session((BASE_1_1,))
    for byte in frame(CREATE_SESSION + b"\0") + frame(b"<rpc/>\0", 1):
        shell.raw(bytes([byte]))
    assert shell.receive() == session_reply(7)
    assert peer.request() == b"<rpc/>"


def test_many_frames_in_one_write(bench):
    shell, peer = bench.session((BASE_1_1,))
    shell.raw(b"".join(frame(b"<rpc>%d</rpc>\0" % number) for number in range(1000)))
    for number in range(1000):
        assert peer.request() == b"<rpc>%d</rpc>" % number
    peer.raw(b"".join(chunked(reply(number)) for number in range(1000)))
    for number in range(1000):
        assert shell.receive() == reply(number)


def test_replies_arrive_compact(bench):
    shell, peer = bench.session()
    peer.send(
        b'<?xml version="1.0" encoding="UTF-8"?>\n<rpc-reply a="x > y"\n b="z">\n'
        b"  <data>\n\t<leaf> </leaf>\r\n <text>\n two words \n</text>\n"
        b"  <c><![CDATA[ <x> ]]></c> <!-- > --> <e/> <?pi > ?>\n  </data>\n</rpc-reply>\n"
    )
    assert shell.receive() == (
        b'<rpc-reply a="x > y"\n b="z"><data><leaf> </leaf><text>\n two words \n</text>'
        b"<c><![CDATA[ <x> ]]></c><!-- > --><e/><?pi > ?></data></rpc-reply>"
    )


@VERSIONS
def test_controls_arrive_as_references(bench, version):
    shell, peer = bench.session((version,))
    shell.send(b"<rpc/>")
    peer.request()
    peer.send("<rpc-reply><id a='\x7f'>k3\u009b2J</id></rpc-reply>".encode(), size=1)
    assert shell.receive() == b"<rpc-reply><id a='&#x7F;'>k3&#x9B;2J</id></rpc-reply>"
    peer.send("<notification>\u0080\u00a0</notification>".encode())
    assert shell.receive() == "<notification>&#x80;\u00a0</notification>".encode()


def test_carriage_returns_do_not_arrive(bench):
    shell, peer = bench.session((BASE_1_1,))
    shell.send(b"<rpc/>")
    peer.request()
    peer.send(b"<rpc-reply><a b='&#13;'>1&#13;2&#xd;3\r\n4\r5&#9;&#10;</a></rpc-reply>", size=1)
    assert shell.receive() == (
        b"<rpc-reply><a b='&#xD;'>1&#xD;2&#xD;3\n4\n5&#9;&#10;</a></rpc-reply>"
    )


# Notifications


@VERSIONS
def test_subscribes_and_passes_notifications(bench, version):
    shell, peer = bench.session((version, NOTIFICATIONS, INTERLEAVE))
    assert peer.request() == SUBSCRIPTION
    peer.send(
        b'<rpc-reply message-id="tarnd-gateway-subscription" '
        b'xmlns="urn:ietf:params:xml:ns:netconf:base:1.0">\n<ok/>\n</rpc-reply>'
    )
    peer.send(NOTIFICATION)
    assert shell.receive() == COMPACT_NOTIFICATION
    shell.send(CREATE_SESSION)
    assert shell.receive() == session_reply(7)
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    peer.send(NOTIFICATION)
    peer.send(NOTIFICATION)
    peer.send(reply(1))
    assert shell.receive() == COMPACT_NOTIFICATION
    assert shell.receive() == COMPACT_NOTIFICATION
    assert shell.receive() == reply(1)
    assert "interleave" not in bench.gateway.log()
    assert bench.gateway.children() == [peer.pid]


def test_a_refused_subscription_is_logged(bench):
    shell, peer = bench.session((BASE_1_1, NOTIFICATIONS, INTERLEAVE))
    assert peer.request() == SUBSCRIPTION
    peer.send(
        b'<rpc-reply message-id="tarnd-gateway-subscription" '
        b'xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><rpc-error>'
        b"<error-message>not\nfor you</error-message></rpc-error></rpc-reply>"
    )
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    peer.send(reply(1))
    assert shell.receive() == reply(1)
    assert "tarnd-gateway: shell 1: the server refused the subscription: not?for you\n" in (
        bench.gateway.log()
    )


def test_no_subscribe(bench):
    bench.start("--no-subscribe")
    shell, peer = bench.session((BASE_1_1, NOTIFICATIONS, INTERLEAVE))
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"


def test_a_silent_server_is_nudged_without_changing_the_stream(bench):
    """Some servers leave what comes together with the hello lying until more comes."""
    shell, peer = bench.session((BASE_1_1,))
    shell.send(b"<rpc>1</rpc>")
    assert peer.request() == b"<rpc>1</rpc>"
    assert peer.read(1) == b"\n"
    assert peer.read(1) == b"#"
    shell.send(b"<rpc>2</rpc>")
    assert peer.read(len(b"12\n<rpc>2</rpc>\n##\n")) == b"12\n<rpc>2</rpc>\n##\n"
    peer.send(reply(1))
    peer.send(reply(2))
    assert shell.receive() == reply(1)
    assert shell.receive() == reply(2)
    shell.send(b"<rpc>3</rpc>")
    assert peer.request() == b"<rpc>3</rpc>"


# Several shells


def test_two_shells(bench):
    first, first_peer = bench.session((BASE_1_0,), 1)
    second, second_peer = bench.session((BASE_1_1,), 2)
    assert second.ask(CREATE_SESSION) == session_reply(2)
    assert first.ask(CREATE_SESSION) == session_reply(1)
    first.send(b"<rpc>1</rpc>")
    second.send(b"<rpc>2</rpc>")
    assert second_peer.request() == b"<rpc>2</rpc>"
    assert first_peer.request() == b"<rpc>1</rpc>"
    second_peer.send(b"<a>2</a>")
    first_peer.send(b"<a>1</a>")
    assert first.receive() == b"<a>1</a>"
    assert second.receive() == b"<a>2</a>"
    first.close()
    assert first_peer.at_end()
    second.send(b"<rpc>3</rpc>")
    assert second_peer.request() == b"<rpc>3</rpc>"


def test_thirty_shells(bench):
    sessions = [bench.session((BASE_1_1,), number + 1) for number in range(30)]
    for turn in range(3):
        for shell, _ in sessions:
            shell.send(b"<rpc>%d</rpc>" % turn)
        for number, (_, peer) in enumerate(sessions):
            assert peer.request() == b"<rpc>%d</rpc>" % turn
            peer.send(b"<a>%d</a>" % number)
        for number, (shell, _) in enumerate(sessions):
            assert shell.receive() == b"<a>%d</a>" % number


def test_a_shell_that_does_not_read_stops_its_own_server_only(bench):
    lazy, busy_peer = bench.session()
    busy_peer.connection.settimeout(1)
    sent = 0
    with pytest.raises(TimeoutError):
        while True:
            busy_peer.send(reply(sent, b"x" * 1000000))
            sent += 1
    assert sent < 30
    other, peer = bench.session()
    other.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    for number in range(sent):
        assert lazy.receive() == reply(number, b"x" * 1000000)


def test_a_server_that_does_not_read_stops_its_own_shell_only(bench):
    shell, lazy_peer = bench.session()
    shell.connection.settimeout(1)
    sent = 0
    with pytest.raises(TimeoutError):
        while True:
            shell.send(b"<rpc>%d%s</rpc>" % (sent, b"x" * 1000000))
            sent += 1
    assert sent < 30
    other, peer = bench.session()
    other.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    for number in range(sent):
        assert lazy_peer.request() == b"<rpc>%d%s</rpc>" % (number, b"x" * 1000000)


# Bad shells


@pytest.mark.parametrize(
    "data, reason",
    [
        (b"GET / HTTP/1.1\r\n\r\n", "a frame from the shell has a wrong magic number"),
        (HEADER.pack(MAGIC, (1 << 28) + 1, 0, 0), "a frame from the shell is longer than 256 MiB"),
        (
            HEADER.pack(MAGIC, 1, 0, 1),
            "a frame from the shell has a reserved field that is not zero",
        ),
        (HEADER.pack(MAGIC, 0, 0, 0), "a frame from the shell is empty"),
        (frame(b"\0"), "a frame from the shell is empty"),
        (frame(b"<rpc a=']]>]]>'/>"), "a request holds the end-of-message mark"),
    ],
    ids=["magic", "length", "reserved", "no body", "no text", "mark"],
)
def test_bad_frames(bench, data, reason):
    bad, bad_peer = bench.session()
    good, good_peer = bench.session()
    bad.raw(data)
    assert bad.at_end()
    assert f"tarnd-gateway: shell 1: closed: {reason}\n" in bench.gateway.log()
    assert bad_peer.at_end()
    good.send(b"<rpc/>")
    assert good_peer.request() == b"<rpc/>"


@pytest.mark.parametrize("size", [1, 11, 12, 13, 15])
def test_a_shell_that_ends_in_the_middle_of_a_frame(bench, size):
    shell, peer = bench.session()
    shell.raw(frame(b"<rpc/>\0")[:size])
    shell.close()
    assert peer.at_end()
    bench.gateway.wait_for_log("shell 1: closed: the shell ended in the middle of a frame\n")


# Bad servers


@pytest.mark.parametrize(
    "data, reason",
    [
        (b"root@router's password: \x1b[2J", "the server sent something that is not XML"),
        (b"<hello/>" + MARK, "the server's first message is not a hello"),
        (hello(0) + MARK, "the server's hello has no valid session-id"),
        (hello(1, ()) + MARK, "the server's hello offers neither NETCONF 1.0 nor 1.1"),
        (
            hello(1, (BASE_1_1,)) + MARK + b"<rpc-reply/>" + MARK,
            "the server broke the chunked framing",
        ),
        (hello(1, (BASE_1_1,)) + MARK + b"\n#0\n", "the server broke the chunked framing"),
        (hello(1) + MARK + b"garbage" + MARK, "the server sent something that is not XML"),
        (
            hello(1) + MARK + b"<a>" + MARK,
            "the server sent a message that is no complete XML document",
        ),
        (
            hello(1) + MARK + b"<a>\x1b[2J</a>" + MARK,
            "the server sent a character that XML forbids",
        ),
        (hello(1) + MARK + b"<a>\x9b2J</a>" + MARK, "the server sent a character that XML forbids"),
    ],
    ids=[
        "prompt",
        "other hello",
        "no session",
        "no version",
        "marked in 1.1",
        "chunk size",
        "garbage",
        "incomplete",
        "escape",
        "no UTF-8",
    ],
)
def test_bad_servers(bench, data, reason):
    bench.start()
    shell = bench.gateway.shell()
    peer = bench.host.accept()
    peer.raw(data)
    assert shell.at_end()
    assert bench.gateway.log().count(f"tarnd-gateway: shell 1: closed: {reason}\n") == 1
    other, other_peer = bench.session()
    other.send(b"<rpc/>")
    assert other_peer.request() == b"<rpc/>"


@pytest.mark.parametrize("killed", [False, True], ids=["closes", "killed"])
@pytest.mark.parametrize(
    "data, reason",
    [
        (b"", "the server ended before its hello"),
        (hello()[:50], "the server ended before its hello"),
        (hello(), "the server ended before its hello"),
        (hello() + MARK, "the server ended the session"),
        (hello() + MARK + b"\n", "the server ended the session"),
        (hello() + MARK + b"<rpc-reply><da", "the server ended in the middle of a message"),
        (
            hello(7, (BASE_1_1,)) + MARK + b"\n#100\n<a>",
            "the server ended in the middle of a message",
        ),
    ],
    ids=[
        "at once",
        "in hello",
        "before mark",
        "after hello",
        "after blanks",
        "in message",
        "in chunk",
    ],
)
def test_a_server_that_dies(bench, data, reason, killed):
    bench.start()
    shell = bench.gateway.shell()
    shell.send(b"<rpc/>")
    peer = bench.host.accept()
    peer.raw(data)
    # Its hello, and a request if it may already come.
    peer.read_until(MARK)
    if killed:
        os.kill(peer.pid, signal.SIGKILL)
    else:
        peer.close()
    answer = shell.read_to_the_end()
    ended = "the command was ended by signal 9"
    expected = {reason}
    if killed:  # what it was still to pass on may be lost
        expected |= {"the server ended before its hello", "the server ended the session"}
    found = [text for text in expected if f"shell 1: closed: {text}\n" in bench.gateway.log()]
    assert len(found) == 1
    assert answer == (refusal(found[0].encode()) if "hello" in found[0] else b"")
    wait_for(lambda: bench.gateway.children() == [], "a command was not reaped")
    if killed:
        bench.gateway.wait_for_log(f"shell 1: {ended}\n")


def test_what_a_dying_server_said_is_delivered(bench):
    shell, peer = bench.session()
    message = reply(1, b"x" * 3000000)
    peer.send(message)
    peer.send(reply(2))
    peer.close()
    assert shell.receive() == message
    assert shell.receive() == reply(2)
    assert shell.at_end()


def test_a_command_that_ends_with_an_error_is_logged(bench):
    bench.start(command=["sh", "-c", "echo first >&2; printf 'no \\033[2Jroute\\n\\n' >&2; exit 3"])
    assert bench.gateway.shell().at_end()
    bench.gateway.wait_for_log("shell 1: closed: the server ended before its hello\n")
    bench.gateway.wait_for_log(
        "shell 1: the command ended with status 3\n"
        "tarnd-gateway: shell 1: the command said last: no ?[2Jroute\n"
    )
    assert "first\nno \x1b[2Jroute\n\n" in bench.gateway.log()
    wait_for(lambda: bench.gateway.children() == [], "a command was not reaped")


def test_a_command_that_leaves_something_behind_with_its_output(bench):
    bench.start(command=["sh", "-c", "sleep 1000 & echo $! >&2"])
    shell = bench.gateway.shell()
    assert shell.at_end()
    left = [line for line in bench.gateway.log().splitlines() if line.isdigit()]
    assert len(left) == 1
    wait_for(lambda: not is_running(int(left[0])), "what the command left behind still runs")


@valgrind.starts_commands_itself
def test_a_command_that_cannot_be_run(bench):
    bench.start(command=["/nonexistent/\x1b[2Jx"])
    shell = bench.gateway.shell()
    shell.send(b"<rpc/>")
    assert shell.read_to_the_end() == refusal(b"there is no server: its command cannot be run")
    assert (
        "tarnd-gateway: shell 1: cannot run /nonexistent/?[2Jx: No such file or directory\n"
        "tarnd-gateway: shell 1: closed: there is no server: its command cannot be run\n"
    ) in bench.gateway.log()
    assert bench.gateway.shell().at_end()


# The end of a session


def test_the_command_ends_with_its_shell(bench):
    shell, peer = bench.session()
    assert bench.gateway.children() == [peer.pid]
    shell.close()
    assert peer.at_end()
    wait_for(lambda: bench.gateway.children() == [], "the command was not reaped")
    bench.gateway.wait_for_log("shell 1: closed: the shell ended the session\n")


def test_a_shell_that_leaves_before_the_hello(bench):
    bench.start()
    bench.gateway.shell().close()
    peer = bench.host.accept()
    peer.read_until(MARK)
    assert peer.at_end()
    wait_for(lambda: bench.gateway.children() == [], "the command was not reaped")


def test_the_requests_of_a_shell_that_has_left_still_pass(bench):
    shell, peer = bench.session()
    requests = [b"<rpc>%d%s</rpc>" % (number, b"x" * 50000) for number in range(3)]
    for request in requests:
        shell.send(request)
    shell.close()
    for request in requests:
        assert peer.request() == request
    assert peer.at_end()


def test_a_shell_that_only_sends_no_more_gets_its_replies(bench):
    bench.start(command=bench.host.command("--stubborn"))
    shell, peer = bench.session()
    shell.send(b"<rpc>1</rpc>")
    shell.send(b"<rpc>2</rpc>")
    shell.connection.shutdown(socket.SHUT_WR)
    assert peer.request() == b"<rpc>1</rpc>"
    assert peer.request() == b"<rpc>2</rpc>"
    assert peer.at_end()
    used = bench.gateway.processor_time()
    assert shell.has_nothing(1)
    assert bench.gateway.processor_time() - used < 0.5
    peer.send(reply(1))
    peer.send(reply(2))
    assert shell.receive() == reply(1)
    assert shell.receive() == reply(2)
    peer.close()
    assert shell.at_end()


def test_a_command_that_does_not_want_to_end(bench):
    bench.start(command=bench.host.command("--stubborn"))
    shell, peer = bench.session()
    shell.close()
    assert peer.at_end()
    wait_for(lambda: bench.gateway.children() == [], "the command was not killed and reaped")
    assert not is_running(peer.pid)


def test_a_shell_that_leaves_a_server_that_does_not_read(bench):
    shell, peer = bench.session()
    shell.connection.settimeout(1)
    with pytest.raises(TimeoutError):
        while True:
            shell.send(b"<rpc>%s</rpc>" % (b"x" * 1000000))
    shell.close()
    bench.gateway.wait_for_log(
        "shell 1: closed: the shell ended the session while the server was busy\n"
    )
    used = bench.gateway.processor_time()
    wait_for(lambda: bench.gateway.children() == [], "the command was not reaped")
    assert bench.gateway.processor_time() - used < 1
    peer.close()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT, signal.SIGHUP])
def test_the_gateway_ends_everything_with_itself(bench, number):
    shells = [bench.session() for _ in range(3)]
    assert bench.gateway.stop(number) == 0
    for _, peer in shells:
        assert not is_running(peer.pid)
    assert not os.path.lexists(bench.gateway.socket)


def test_the_gateway_ends_with_a_stubborn_command(bench):
    bench.start(command=bench.host.command("--stubborn"))
    shell, peer = bench.session()
    bench.gateway.process.send_signal(signal.SIGTERM)
    assert shell.at_end()
    assert bench.gateway.process.wait(60) == 0
    assert not is_running(peer.pid)


# What the commands inherit, and what the system has too little of


# The C library's way to start a program leaves its two internal signals ignored.
INTERNAL_SIGNALS = 1 << (32 - 1) | 1 << (33 - 1)


@valgrind.starts_commands_itself
def test_the_commands_inherit_nothing(bench):
    leaked, other = os.pipe()
    bench.start(inherit=[leaked], prepare=lambda: os.dup2(leaked, 0))
    os.close(other)
    os.close(leaked)
    bench.session()
    _, peer = bench.session()
    # 3 is the directory that the list was read from.
    assert peer.about["descriptors"] == [0, 1, 2, 3]
    assert peer.about["blocked"] == 0


def test_the_commands_ignore_no_signal(bench):
    path = os.path.join(bench.directory, "ignored")

    def prepare():
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        signal.signal(signal.SIGCHLD, signal.SIG_IGN)

    bench.start(
        command=["sh", "-c", 'grep SigIgn /proc/self/status > "$0"; exit 3', path], prepare=prepare
    )
    assert bench.gateway.shell().at_end()
    # Reaped although SIGCHLD was ignored before.
    bench.gateway.wait_for_log("shell 1: the command ended with status 3\n")
    with open(path, encoding="ascii") as found:
        assert int(found.read().split()[1], 16) & ~INTERNAL_SIGNALS == 0


@valgrind.starts_commands_itself
def test_too_many_shells(bench):
    first, first_peer = bench.session()
    pid = bench.gateway.process.pid
    usual = resource.prlimit(pid, resource.RLIMIT_NOFILE)
    # The signals and the listening socket are all that it has beside the standard ones.
    resource.prlimit(pid, resource.RLIMIT_NOFILE, (5, usual[1]))
    waiting = bench.gateway.shell()
    waiting.send(b"<rpc/>")
    bench.gateway.wait_for_log("cannot accept a shell now: Too many open files\n")
    used = bench.gateway.processor_time()
    time.sleep(1.5)
    assert bench.gateway.processor_time() - used < 0.5
    first.send(b"<rpc/>")
    assert first_peer.request() == b"<rpc/>"
    resource.prlimit(pid, resource.RLIMIT_NOFILE, usual)
    peer = bench.host.accept()
    peer.greet()
    assert peer.request() == b"<rpc/>"


# One process for each shell


def test_a_process_that_is_killed_takes_nothing_with_it(bench):
    first, first_peer = bench.session()
    killed = bench.gateway.sessions()
    second, second_peer = bench.session()
    os.kill(killed[0], signal.SIGKILL)
    assert first.at_end()
    wait_for(lambda: not is_running(first_peer.pid), "its command still runs")
    bench.gateway.wait_for_log("shell 1: closed: its process was ended by signal 9\n")
    assert killed[0] not in bench.gateway.sessions()
    second.send(b"<rpc/>")
    assert second_peer.request() == b"<rpc/>"


def test_a_killed_process_leaves_no_stubborn_command(bench):
    bench.start(command=["sh", "-c", "trap '' HUP TERM; echo $$ >&2; sleep 1000"])
    shell = bench.gateway.shell()
    bench.gateway.wait_for_log("shell 1: connected\n")
    started = []
    while not started:
        started = [line for line in bench.gateway.log().splitlines() if line.isdigit()]
    command = int(started[0])
    os.kill(bench.gateway.sessions()[0], signal.SIGKILL)
    assert shell.at_end()
    wait_for(lambda: not is_running(command), "the command still runs")


def test_the_gateway_reaps_what_a_command_leaves_behind(bench):
    bench.start(command=["sh", "-c", "setsid sleep 1000 & echo $! >&2; read line"])
    shell = bench.gateway.shell()
    bench.gateway.wait_for_log("shell 1: connected\n")
    wait_for(lambda: bench.gateway.log().splitlines()[-1].isdigit(), "nothing is left behind")
    left = int(bench.gateway.log().splitlines()[-1])
    wait_for(lambda: os.getsid(left) == left, "it ends with the command")
    shell.close()
    wait_for(lambda: bench.gateway.sessions() == [left], "it is another process's child")
    os.kill(left, signal.SIGKILL)
    wait_for(lambda: bench.gateway.sessions() == [], "it is not reaped")


def test_the_gateway_reaps_many_at_once(bench):
    """More than it does in one turn."""
    fifo = os.path.join(bench.directory, "fifo")
    os.mkfifo(fifo)
    leave = "for n in $(seq 100); do (setsid sh -c 'read line' <&3 &); done"
    bench.start(command=["sh", "-c", f"exec 3<{fifo}; {leave}; echo left >&2; read line"])
    shell = bench.gateway.shell()
    with open(fifo, "wb"):
        bench.gateway.wait_for_log("left\n")
        wait_for(lambda: len(bench.gateway.sessions()) == 101, "they are others' children")
        os.kill(bench.gateway.process.pid, signal.SIGSTOP)
    wait_for(lambda: not any(map(is_running, bench.gateway.sessions()[1:])), "they do not end")
    os.kill(bench.gateway.process.pid, signal.SIGCONT)
    wait_for(lambda: len(bench.gateway.sessions()) == 1, "they are not reaped")
    shell.close()


def test_a_process_that_hangs_stops_nobody_else(bench):
    _, stuck_peer = bench.session()
    stuck = bench.gateway.sessions()[0]
    shell, peer = bench.session()
    os.kill(stuck, signal.SIGSTOP)
    shell.send(b"<rpc/>")
    assert peer.request() == b"<rpc/>"
    assert bench.gateway.stop() == 0
    assert not is_running(stuck)
    assert not is_running(stuck_peer.pid)


def test_nothing_stays_when_the_gateway_is_killed(bench):
    shells = [bench.session() for _ in range(3)]
    processes = bench.gateway.sessions() + [peer.pid for _, peer in shells]
    bench.gateway.process.kill()
    assert bench.gateway.process.wait() == -signal.SIGKILL
    for shell, _ in shells:
        assert shell.at_end()
    for process in processes:
        wait_for(lambda pid=process: not is_running(pid), "a process of the gateway still runs")
    bench.gateway = None


# Large messages

PIECE = b"0123456789abcdef" * 65536


def pieces(size):
    """Bytes that repeat PIECE, size of them in all."""
    while size > 0:
        yield PIECE[: min(size, len(PIECE))]
        size -= len(PIECE)


def check_pieces(read, size):
    for piece in pieces(size):
        assert read(len(piece)) == piece


@VERSIONS
@pytest.mark.parametrize("size", [100000000, 1 << 28])
def test_a_large_request(bench, version, size):
    shell, peer = bench.session((version,))
    inner = size - len(b"<rpc></rpc>")
    shell.raw(HEADER.pack(MAGIC, size, 0, 0) + b"<rpc>")
    for piece in pieces(inner):
        shell.raw(piece)
    shell.raw(b"</rpc>")
    left = peer.read_chunk_size() if version == BASE_1_1 else size
    assert left == size
    assert peer.read(5) == b"<rpc>"
    check_pieces(peer.read, inner)
    assert peer.read(6) == b"</rpc>"
    assert peer.read(4 if version == BASE_1_1 else 6) in (b"\n##\n", MARK)
    shell.send(b"<after/>")
    assert peer.request() == b"<after/>"
    assert bench.gateway.peak_memory() < size + (96 << 20)


@VERSIONS
@pytest.mark.parametrize("size", [100000000, 1 << 28])
def test_a_large_reply(bench, version, size):
    shell, peer = bench.session((version,))
    inner = size - len(b"<rpc-reply></rpc-reply>")
    start, end = b"<rpc-reply>", b"</rpc-reply>"
    if version == BASE_1_1:
        start, end = b"\n#11\n" + start, b"\n#12\n" + end
    peer.raw(start)
    for piece in pieces(inner):
        peer.raw((b"\n#%d\n" % len(piece) if version == BASE_1_1 else b"") + piece)
    peer.raw(end + (b"\n##\n" if version == BASE_1_1 else MARK))
    peer.send(b"<after/>")
    assert shell.read_header() == size
    assert shell.read(11) == b"<rpc-reply>"
    check_pieces(shell.read, inner)
    assert shell.read(12) == b"</rpc-reply>"
    assert shell.receive() == b"<after/>"
    assert bench.gateway.peak_memory() < size + (96 << 20)


def test_a_reply_that_is_too_large(bench):
    shell, peer = bench.session((BASE_1_1,))
    peer.raw(b"\n#4294967295\n<a>")
    with pytest.raises(OSError):
        for piece in pieces(1 << 30):
            peer.raw(piece)
    assert shell.at_end()
    assert "shell 1: closed: a message of the server is too long\n" in bench.gateway.log()


def test_a_large_reply_of_small_elements(bench):
    shell, peer = bench.session((BASE_1_1,))
    rows, turns = 20000, 25
    peer.raw(b"\n#6\n<data>")
    for _ in range(turns):
        row = b"\n  <entry>\n    <name>n</name>\n    <value> </value>\n  </entry>" * rows
        peer.raw(b"\n#%d\n%s" % (len(row), row))
    peer.raw(b"\n#8\n\n</data>\n##\n")
    compact = b"<entry><name>n</name><value> </value></entry>" * rows
    assert shell.read_header() == len(compact) * turns + len(b"<data></data>")
    assert shell.read(6) == b"<data>"
    for _ in range(turns):
        assert shell.read(len(compact)) == compact
    assert shell.read(7) == b"</data>"
