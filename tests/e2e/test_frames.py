"""Frames on the wire: what is sent, and what is made of what comes back."""

import struct
import threading

import pytest
from support import tarnd as daemon
from support.example import EVENT, PRINTED_EVENT, get, printed_no_data
from support.shell import DEBUG, ERROR, INFO

REQUEST = "get /acme/empty"
SENT = (INFO, "[INFO] Send a message to tarnd.\n")
RECEIVED = (INFO, "[INFO] Recv a message from tarnd.\n")
pytestmark = pytest.mark.usefixtures("example")


def logged(machine):
    """What was logged after the session had been created."""
    return machine.log.texts()[3:]


def test_every_frame_has_its_header(machine):
    machine.dialogue(
        ("/$ ", REQUEST, printed_no_data(1)),
        ("/$ ", REQUEST, printed_no_data(2)),
        ("/$ ", REQUEST, printed_no_data(3)),
    )
    frames = machine.tarnd.frames
    assert len(frames) == 4
    for number, frame in enumerate(frames):
        assert frame.body[-1:] == b"\0" and frame.body.count(b"\0") == 1
        assert frame.header == struct.pack("<IIHH", 0xFEDCBAFF, len(frame.body), number, 0)


def test_sequence_and_message_ids_count_up(machine):
    machine.dialogue(*(("/$ ", REQUEST, printed_no_data(number)) for number in range(1, 13)))
    body = '<empty xmlns="urn:acme"></empty>'
    assert machine.tarnd.requests == [get(body, number) for number in range(1, 13)]
    assert [frame.sequence for frame in machine.tarnd.frames] == list(range(13))


def test_an_exchange_is_logged(machine):
    machine.dialogue(("/$ ", REQUEST, printed_no_data()))
    assert logged(machine) == [SENT, RECEIVED]


def test_two_notifications_before_the_reply(machine):
    machine.tarnd.on_request = lambda request: [EVENT, EVENT, request.data()]
    machine.dialogue(
        ("/$ ", REQUEST, PRINTED_EVENT + PRINTED_EVENT + printed_no_data(1)),
        ("/$ ", REQUEST, PRINTED_EVENT + PRINTED_EVENT + printed_no_data(2)),
    )
    assert logged(machine) == [SENT, RECEIVED, RECEIVED, RECEIVED] * 2


def test_many_notifications_before_the_reply(machine):
    machine.tarnd.on_request = lambda request: [EVENT] * 200 + [request.data()]
    machine.dialogue(("/$ ", REQUEST, PRINTED_EVENT * 200 + printed_no_data(1)))


def test_only_a_root_notification_of_the_right_namespace_is_one(machine):
    replies = [
        "<notification/>",
        '<notification xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"/>',
        '<a><notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0"/></a>',
    ]
    machine.tarnd.on_request = lambda request: replies[int(request.message_id) - 1]
    machine.dialogue(
        ("/$ ", REQUEST, "\r\n<notification/>\n"),
        (
            "/$ ",
            REQUEST,
            '\r\n<notification xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"/>\n',
        ),
        (
            "/$ ",
            REQUEST,
            "\r\n<a>\n"
            '  <notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0"/>\n'
            "  </a>\n",
        ),
    )


def test_a_notification_with_another_prefix(machine):
    event = '<n:notification xmlns:n="urn:ietf:params:xml:ns:netconf:notification:1.0"/>'
    machine.tarnd.on_request = lambda request: [event, request.data()]
    machine.dialogue(("/$ ", REQUEST, event + "\n" + printed_no_data(1)))


def test_a_notification_with_a_terminating_zero(machine):
    machine.tarnd.on_request = lambda request: [EVENT + "\0", request.data() + "\0"]
    machine.dialogue(("/$ ", REQUEST, PRINTED_EVENT + printed_no_data(1)))


def test_magic_and_sequence_of_a_reply_are_ignored(machine):
    machine.tarnd.on_request = lambda request: [
        daemon.frame(request.data(), magic=0, sequence=999, reserved=77)
    ]
    machine.dialogue(("/$ ", REQUEST, printed_no_data(1)))


def test_a_body_in_little_pieces(machine):
    def trickle(session):
        body = daemon.rpc_reply("<data></data>", "1").encode()
        session.send_raw(struct.pack("<IIHH", 0xFEDCBAFF, len(body), 0, 0))
        for start in range(0, len(body), 7):
            session.send_raw(body[start : start + 7])

    machine.tarnd.on_request = lambda request: [trickle]
    machine.dialogue(("/$ ", REQUEST, printed_no_data(1)))


@pytest.mark.parametrize("body", ["", "garbage", "no end <a", b"\0\0\0", b"\xff" * 100])
def test_a_reply_that_is_no_xml_is_taken_as_the_reply(machine, body):
    machine.tarnd.on_request = lambda request: body
    machine.dialogue(("/$ ", REQUEST, "\r\n"))
    assert logged(machine) == [SENT, RECEIVED, (DEBUG, "[DEBUG] parse xml err.\n")]


def test_a_reply_that_is_nearly_xml_is_shown(machine):
    machine.tarnd.on_request = lambda request: "<a><b>1</a>"
    machine.dialogue(("/$ ", REQUEST, "\r\n<a>\n  <b>\n    1\n  </a>\n"))


def test_errors_of_the_parser_do_not_reach_the_operator(machine):
    machine.tarnd.on_request = lambda request: "<a>&undefined;</b>"
    result = machine.dialogue(("/$ ", REQUEST, "\r\n<a>\n  &undefined;\n</b>\n"))
    assert result.stderr == b""


def test_a_reply_that_never_begins(machine):
    machine.tarnd.on_request = lambda request: [daemon.close]
    machine.dialogue(("/$ ", REQUEST, ""))
    assert logged(machine) == [SENT]


@pytest.mark.parametrize("count", [1, 11])
def test_a_header_that_ends_early(machine, count):
    header = struct.pack("<IIHH", 0xFEDCBAFF, 5, 0, 0)[:count]
    machine.tarnd.on_request = lambda request: [daemon.raw(header), daemon.close]
    machine.dialogue(("/$ ", REQUEST, ""))
    assert logged(machine) == [SENT]


def test_a_body_that_ends_early(machine):
    machine.tarnd.on_request = lambda request: [
        daemon.frame("<a/>", length=10),
        daemon.close,
    ]
    machine.dialogue(("/$ ", REQUEST, ""))
    sent, failed = logged(machine)
    assert sent == SENT
    assert failed[0] == DEBUG
    assert failed[1].startswith("[DEBUG] Read message failed(")
    assert failed[1].endswith("). expected: 10, actual:0\n")


@pytest.mark.parametrize(
    "length, shown",
    [(2**28 + 1, str(2**28 + 1)), (2**31 - 1, "2147483647"), (2**32 - 1, "-1")],
)
def test_a_frame_that_is_too_big(machine, length, shown):
    machine.tarnd.on_request = lambda request: [daemon.frame("", length=length)]
    machine.dialogue(("/$ ", REQUEST, ""))
    assert logged(machine) == [SENT, (ERROR, f"[ERROR] Packet is too big :{shown}\n")]


def test_the_body_of_a_frame_that_is_too_big_stays_in_the_stream(machine):
    answers = [
        [daemon.frame("", length=2**28 + 1)],
        # the next read finds whatever follows the refused header
        None,
    ]
    machine.tarnd.on_request = lambda request: answers[int(request.message_id) - 1]
    machine.dialogue(("/$ ", REQUEST, ""), ("/$ ", REQUEST, printed_no_data(2)))


def test_a_big_reply(machine):
    text = "x" * 5_000_000
    machine.tarnd.on_request = lambda request: f"<a>{text}</a>"
    machine.dialogue(("/$ ", REQUEST, f"\r\n<a>\n  {text}\n</a>\n"))


def test_a_reply_that_takes_its_time(machine):
    go_on = threading.Event()
    machine.tarnd.on_request = lambda request: [EVENT, daemon.pause(go_on), request.data()]
    shell = machine.start()
    shell.send(REQUEST + "\nquit\n")
    shell.expect(PRINTED_EVENT.encode())
    assert shell.process.poll() is None
    go_on.set()
    result = shell.wait()
    assert result.status == 0
    expected = f"/$ {REQUEST}\n{PRINTED_EVENT}{printed_no_data(1)}/$ quit\n"
    assert result.stdout.decode() == expected


def test_one_shot_exchanges_have_their_own_counters(machine):
    for _ in range(2):
        machine.one_shot("get", "/acme/empty")
    assert [frame.sequence for frame in machine.tarnd.frames] == [0, 1, 0, 1]
    assert machine.tarnd.requests == [get('<empty xmlns="urn:acme"></empty>', 1)] * 2
