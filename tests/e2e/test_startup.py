"""Start-up and the two run modes."""

import os
import socket
import struct
import subprocess
import threading

import pytest
from support import tarnd as daemon
from support import valgrind
from support.example import EXAMPLE, get, printed_no_data, printed_ok
from support.messages import NO_SERVER
from support.shell import DEBUG, ERROR, INFO, TIMEOUT, USER

CONNECTED = [
    (INFO, "[INFO] Vandel connect to tarnd success.\n"),
    (INFO, "[INFO] Send a message to tarnd.\n"),
]
EXCHANGED = [(INFO, "[INFO] Recv a message from tarnd.\n")]


def create_session(pid, user=USER):
    return (
        '<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"'
        ' xmlns:tarnd="com:quorvex:netconf:private:vesk:device:tarnd" message-id="0">\r\n'
        "         <tarnd:create-session>\r\n"
        f"         <tarnd:username>{user}</tarnd:username>\r\n"
        f"         <tarnd:agent-pid>{pid}</tarnd:agent-pid>\r\n"
        "         </tarnd:create-session>\r\n"
        "         </rpc>"
    )


def test_the_session_is_created_with_the_whole_text(machine):
    result = machine.one_shot("quit")
    assert (result.status, result.stdout, result.stderr) == (0, b"", b"")
    (frame,) = machine.tarnd.frames
    assert frame.body == create_session(result.pid).encode() + b"\0"
    assert frame.header == struct.pack("<IIHH", 0xFEDCBAFF, len(frame.body), 0, 0)
    assert frame.header[:4] == b"\xff\xba\xdc\xfe"


def test_the_user_name_is_sent_as_it_stands(machine):
    machine.replace_file("/etc/passwd", "a<b&c>:x:0:0::/:/bin/sh\n")
    result = machine.one_shot("quit")
    assert result.status == 0
    assert machine.tarnd.frames[0].text == create_session(result.pid, "a<b&c>")


def test_a_request_that_does_not_fit_is_sent_empty(machine):
    machine.replace_file("/etc/passwd", "u" * 900 + ":x:0:0::/:/bin/sh\n")
    machine.tarnd.on_request = lambda request: daemon.session_reply()
    assert machine.one_shot("quit").status == 0
    (frame,) = machine.tarnd.frames
    assert frame.header == struct.pack("<IIHH", 0xFEDCBAFF, 1, 0, 0)
    assert frame.body == b"\0"


def test_a_user_without_a_name_cannot_start(machine):
    machine.replace_file("/etc/passwd", "other:x:4242:4242::/:/bin/sh\n")
    machine.replace_file("/etc/nsswitch.conf", "passwd: files\n")
    result = machine.one_shot("quit")
    assert (result.status, result.stdout) == (255, NO_SERVER)
    assert machine.tarnd.frames == []


def test_start_up_is_logged(machine):
    result = machine.one_shot("quit")
    lines = machine.log.lines()
    assert [(line.priority, line.text) for line in lines] == CONNECTED + EXCHANGED
    assert {(line.ident, line.pid) for line in lines} == {("RELKA-VDL", result.pid)}


def test_without_a_daemon(machine):
    result = machine.one_shot("quit", env={"TARND_SOCKET": "/tmp/nobody"})
    assert (result.status, result.stdout, result.stderr) == (255, NO_SERVER, b"")
    assert machine.log.texts() == [
        (ERROR, "[ERROR] Connect to tarnd failed(No such file or directory).\n")
    ]


def test_a_daemon_that_refuses(machine):
    machine.tarnd.stop()
    with open(machine.path("tarnd.sock"), "w", encoding="ascii"):
        pass
    result = machine.one_shot("quit")
    assert (result.status, result.stdout) == (255, NO_SERVER)
    assert machine.log.texts() == [
        (ERROR, "[ERROR] Connect to tarnd failed(Connection refused).\n")
    ]


def test_interactive_without_a_daemon(machine):
    shell = machine.start(env={"TARND_SOCKET": "/tmp/nobody"})
    result = shell.wait()
    assert (result.status, result.stdout, result.stderr) == (255, NO_SERVER, b"")


def test_without_a_schema_database(machine):
    result = machine.one_shot("quit", env={"SCHEMA_REDIS": "/tmp/nobody"})
    assert (result.status, result.stdout, result.stderr) == (255, b"", b"")
    assert machine.log.texts() == CONNECTED + EXCHANGED


@pytest.mark.parametrize("text", ["7", "0x10", "010", " 12 ", "-3", "", "none", "9" * 40])
def test_any_session_id_will_do(machine, text):
    machine.tarnd.session_reply = daemon.session_reply(text)
    result = machine.one_shot("pwd")
    assert (result.status, result.stdout) == (0, b"/\r\n")


@pytest.mark.parametrize(
    "reply",
    [
        # another prefix, white space between the elements, a declaration
        '<?xml version="1.0" encoding="UTF-8"?>\n<r:rpc-reply message-id="0"'
        ' xmlns:r="urn:ietf:params:xml:ns:netconf:base:1.0">\n  <q:session-id'
        ' xmlns:q="com:quorvex:netconf:private:vesk:device:tarnd">5</q:session-id>\n'
        "</r:rpc-reply>\n",
        # with its terminating zero byte
        daemon.session_reply() + "\0",
        # the first of two counts
        daemon.rpc_reply(
            f'<session-id xmlns="{daemon.PRIVATE_NS}">1</session-id>'
            f'<session-id xmlns="{daemon.PRIVATE_NS}">2</session-id>'
        ),
    ],
)
def test_forms_of_the_session_reply(machine, reply):
    machine.tarnd.session_reply = reply
    assert machine.one_shot("quit").status == 0


@pytest.mark.parametrize(
    "reply",
    [
        daemon.rpc_reply("<ok/>"),
        daemon.rpc_reply("<session-id>1</session-id>"),
        f'<rpc-reply><session-id xmlns="{daemon.PRIVATE_NS}">1</session-id></rpc-reply>',
        daemon.rpc_reply(f'<x><session-id xmlns="{daemon.PRIVATE_NS}">1</session-id></x>'),
    ],
)
def test_a_reply_without_a_session_id(machine, reply):
    machine.tarnd.session_reply = reply
    result = machine.one_shot("quit")
    assert (result.status, result.stdout, result.stderr) == (255, NO_SERVER, b"")
    assert machine.log.texts() == CONNECTED + EXCHANGED


@pytest.mark.parametrize("reply", ["", "garbage", "<rpc-reply", "<a></b>", b"\0", b"\xff\xfe<"])
def test_a_session_reply_that_is_no_xml(machine, reply):
    machine.tarnd.session_reply = reply
    result = machine.one_shot("quit")
    assert (result.status, result.stdout, result.stderr) == (255, NO_SERVER, b"")
    assert machine.log.texts() == CONNECTED + EXCHANGED + [
        (DEBUG, "[DEBUG] parse xml err.\n"),
        (DEBUG, "[DEBUG] Receive a invalid xml documen.\n"),
    ]


def test_a_daemon_that_hangs_up_instead_of_answering(machine):
    machine.tarnd.session_reply = [daemon.close]
    result = machine.one_shot("quit")
    assert (result.status, result.stdout) == (255, NO_SERVER)
    assert machine.log.texts() == CONNECTED


def test_a_notification_may_come_before_the_session(machine):
    machine.tarnd.session_reply = [daemon.notification("<up/>"), daemon.session_reply()]
    result = machine.one_shot("pwd")
    assert result.status == 0
    assert result.stdout == (
        b'<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">\n'
        b"  <eventTime>\n"
        b"    2024-01-02T03:04:05Z\n"
        b"  </eventTime>\n"
        b"  <up/>\n"
        b"  </notification>\n"
        b"/\r\n"
    )


def test_one_command_from_the_arguments(machine):
    result = machine.one_shot("pwd")
    assert (result.status, result.stdout, result.stderr) == (0, b"/\r\n", b"")


def test_arguments_are_joined_by_one_blank(machine):
    expected = b"error command, please use:cd path\r\n"
    assert machine.one_shot("cd", "a b").stdout == expected
    assert machine.one_shot("cd", "a", "b").stdout == expected
    assert machine.one_shot("cd a b").stdout == expected
    assert machine.one_shot("  pwd  ").stdout == b"/\r\n"
    assert machine.one_shot("", "pwd").stdout == b"/\r\n"


def test_arguments_are_split_again_by_the_command(machine):
    machine.load(EXAMPLE)
    for words in (
        ("set", "/acme/box/name", '"a', 'b"'),  # quotes reach across arguments
        ("set /acme/box/name", '"a b"'),
        ('set\t/acme/box/name\n"a b"',),
    ):
        machine.one_shot("discard_changes")
        result = machine.one_shot(*words)
        assert (result.status, result.stdout) == (0, b"")
        with open(machine.profile, "rb") as profile:
            assert b'\n[config]\nset /acme/box/name "a\x03b"\n\n' in profile.read()


def test_a_line_feed_in_an_argument_ends_no_command(machine):
    usage = b"error command, please use:pwd (no param)\r\n"
    assert machine.one_shot("pwd\nquit").stdout == usage
    assert machine.one_shot("pwd\n\t").stdout == b"/\r\n"
    assert machine.one_shot("\n\v\f\r\tpwd").stdout == b"/\r\n"


def test_options_are_words_like_any(machine):
    machine.load(EXAMPLE)
    for word in ("-h", "--help", "--", "-"):
        assert machine.one_shot(word).stdout.decode() == (
            f"error parameter: {word}\r\n"
            f"{word}: no such command, type 'help' for more information.\n"
        )


@pytest.mark.parametrize("content", [b"", b"junk", b"[pwd]\n/acme\n\n[rpc]\n/acme/reset\n\n"])
def test_an_interactive_session_has_nothing_to_do_with_the_profile(machine, content):
    machine.load(EXAMPLE)
    with open(machine.profile, "wb") as profile:
        profile.write(content)
    machine.dialogue(
        ("/$ ", "pwd", "/\r\n"),
        ("/$ ", "cd acme", ""),
        ("\n/acme$ ", "set box/name 1", ""),
        ("\n/acme$ ", "delete box/size", ""),
        ("\n/acme$ ", "reset", ""),
        ("\n[reset]$ ", "quit", "The discard_changes command executed successfuly!\n"),
        ("\n/acme$ ", "commit", printed_ok(1)),
    )
    with open(machine.profile, "rb") as profile:
        assert profile.read() == content


def test_an_interactive_session_makes_no_profile(machine):
    machine.load(EXAMPLE)
    machine.dialogue(("/$ ", "cd acme", ""), ("\n/acme$ ", "set box/name 1", ""))
    assert not os.path.lexists(machine.profile)


@pytest.mark.parametrize("arguments", [[], ["get", "/acme/empty"]])
def test_the_listener_runs_in_both_modes(machine, arguments):
    machine.load(EXAMPLE)
    stalled = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(stalled), request.data()]
    shell = machine.start(*arguments)
    if not arguments:
        shell.send("get /acme/empty\nquit\n")
    machine.tarnd.wait_requests(1)
    threads = os.listdir(f"/proc/{shell.pid}/task")
    stalled.set()
    assert shell.wait().status == 0
    assert len(threads) >= 2  # a sanitizer may have one of its own


def test_the_status_of_one_command_is_zero_whatever_it_did(machine):
    machine.load(EXAMPLE)
    assert machine.one_shot("quit").status == 0
    assert machine.one_shot("").status == 0
    assert machine.one_shot("nonsense").status == 0
    assert machine.one_shot("pwd", "now").status == 0
    assert machine.one_shot("get", "/nowhere/at-all").status == 0


def test_one_request_from_the_arguments(machine):
    machine.load(EXAMPLE)
    result = machine.one_shot("get", "/acme/empty")
    assert result.status == 0
    assert result.stdout.decode() == printed_no_data()
    assert machine.tarnd.requests == [get('<empty xmlns="urn:acme"></empty>')]


def test_a_piped_transcript(machine):
    machine.load(EXAMPLE)
    result = machine.session("pwd", "cd acme", "pwd", "quit")
    assert (result.status, result.stderr) == (0, b"")
    assert result.stdout == (
        b"/$ pwd\n" b"/\r\n" b"/$ cd acme\n" b"\n/acme$ pwd\n" b"/acme\r\n" b"\n/acme$ quit\n"
    )


def test_lines_of_blanks_do_nothing(machine):
    result = machine.session("", "   ", "\t \t", "\v \f", "quit")
    assert result.status == 0
    assert result.stdout == b"/$ \n/$ \n/$ \n/$ \v \f\n/$ quit\n"


def test_leading_blanks_of_a_piped_line_are_dropped(machine):
    assert machine.session("   pwd", "quit").stdout == b"/$ pwd\n/\r\n/$ quit\n"


def test_a_carriage_return_ends_a_piped_line(machine):
    assert machine.session("pwd\r", "pwd\rwhat", "quit").stdout == (
        b"/$ pwd\n/\r\n/$ pwd\n/\r\n/$ quit\n"
    )


def test_a_long_piped_line_is_read_whole(machine):
    word = "x" * 299 + "y"
    shell = machine.start()
    shell.send(f"{word}\nquit\n")
    result = shell.wait()
    assert result.stdout.decode() == (
        f"/$ {word}\n"
        f"error parameter: {word}\r\n"
        f"{word}: no such command, type 'help' for more information.\n"
        "/$ quit\n"
    )


def test_a_piped_line_that_fills_its_piece_goes_on_in_the_next(machine):
    # A piece holds 79 characters, the line's end among them.
    shell = machine.start()
    shell.send("pwd" + " " * 75 + "\n" + "now\nquit\n")
    assert shell.wait().stdout == (
        b"/$ pwd" + b" " * 75 + b"now\nerror command, please use:pwd (no param)\r\n/$ quit\n"
    )


def test_the_last_line_needs_no_end(machine):
    shell = machine.start()
    shell.send("pwd\nquit")
    shell.process.stdin.close()
    result = shell.wait()
    assert (result.status, result.stdout) == (0, b"/$ pwd\n/\r\n/$ quit\n")


@valgrind.keeps_standard_input_open
def test_a_closed_standard_input_makes_zero_the_daemons_descriptor(machine):
    machine.tarnd.on_connect = lambda session: session.send(daemon.session_reply())
    words = machine.vandel("pwd")
    script = words.index("--") + 1
    words[script:script] = ["/bin/sh", "-c", 'exec "$@" <&-', "sh"]
    result = subprocess.run(
        words, capture_output=True, env=machine.environ(), timeout=TIMEOUT, check=False
    )
    assert (result.returncode, result.stdout, result.stderr) == (0, b"/\r\n", b"")
    assert machine.tarnd.frames == []
    refused = (ERROR, "[ERROR] Connect to Server first!Send msg error.\n")
    assert machine.log.texts() == [*CONNECTED, refused, *EXCHANGED]


@valgrind.keeps_standard_input_open
def test_requests_over_the_descriptor_zero(machine):
    """Each is said to be refused and sent nowhere, yet its reply is waited for."""
    machine.load(EXAMPLE)

    def answer_and_hang_up(session):
        session.send(daemon.session_reply())
        session.connection.shutdown(socket.SHUT_WR)

    machine.tarnd.on_connect = answer_and_hang_up
    words = machine.vandel("save")
    script = words.index("--") + 1
    words[script:script] = ["/bin/sh", "-c", 'exec "$@" <&-', "sh"]
    result = subprocess.run(
        words, capture_output=True, env=machine.environ(), timeout=60, check=False
    )
    failed = b"Get the reply message of save command is fail! "
    assert (result.returncode, result.stdout, result.stderr) == (0, failed, b"")
    assert machine.tarnd.frames == []
    refused = (ERROR, "[ERROR] Connect to Server first!Send msg error.\n")
    assert machine.log.texts() == [*CONNECTED, refused, *EXCHANGED, CONNECTED[1], refused]


def test_only_one_environment_variable_matters_to_the_shell(machine):
    machine.load(EXAMPLE)
    result = machine.session("ls", "quit", env={"TERM": "bogus", "HOME": "/nowhere", "LANG": "C"})
    assert result.status == 0
    assert result.stdout == b"/$ ls\n\x1b[01;34macme\x1b[0m  \x1b[01;34mextra\x1b[0m\n/$ quit\n"
