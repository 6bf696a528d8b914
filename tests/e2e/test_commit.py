"""commit outside RPC mode: the one exchange, what it leaves staged, and what fails it."""

import threading

import pytest
from support import tarnd as daemon
from support.example import box, committed, edit_config, get_config, printed_no_data, printed_ok
from support.messages import NOTHING_STAGED
from support.schema_db import Schema, container, leaf, module
from support.shell import DEBUG

COMMIT_USAGE = "error command, please use:commit \r\n"
pytestmark = pytest.mark.usefixtures("example")


def test_one_leaf(machine):
    assert committed(machine, "set /acme/box/name n1") == (
        '<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">\r\n'
        "  <edit-config>\r\n"
        "    <target>\r\n"
        "      <running/>\r\n"
        "    </target>\r\n"
        "    <error-option>rollback-on-error</error-option>\r\n"
        '    <config xmlns:xc="urn:ietf:params:xml:ns:netconf:base:1.0">\r\n'
        '<box xmlns="urn:acme"><name>n1</name></box>'
        "    </config>\r\n"
        "  </edit-config>\r\n"
        "</rpc>\r\n"
    )


def test_the_frame_counts_the_terminating_zero(machine):
    committed(machine, "set /acme/box/name n1")
    frame = machine.tarnd.frames[1]
    assert frame.body == box("<name>n1</name>").encode() + b"\0"
    assert frame.length == len(frame.body)
    assert frame.sequence == 1


@pytest.mark.parametrize("line", ["commit now", "commit /acme/box", "commit a b"])
def test_the_usage_of_commit(machine, line):
    machine.dialogue(("/$ ", "set /acme/hostname h", ""), ("/$ ", line, COMMIT_USAGE))
    assert machine.tarnd.requests == []


def test_nothing_to_commit(machine):
    machine.dialogue(("/$ ", "commit", NOTHING_STAGED), ("/$ ", "commit", NOTHING_STAGED))
    assert machine.tarnd.requests == []


def test_a_commit_empties_the_staging(machine):
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        ("/$ ", "commit", printed_ok(1)),
        ("/$ ", "commit", NOTHING_STAGED),
        ("/$ ", "set /acme/box/name n", ""),
        ("/$ ", "commit", printed_ok(2)),
    )
    assert machine.tarnd.requests[1] == edit_config('<box xmlns="urn:acme"><name>n</name></box>', 2)


def test_other_requests_take_message_ids_too(machine):
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        ("/$ ", "get-config -r /acme/empty", printed_no_data(1)),
        ("/$ ", "commit", printed_ok(2)),
    )
    assert machine.tarnd.requests == [
        get_config('<empty xmlns="urn:acme"></empty>', 1),
        edit_config('<hostname xmlns="urn:acme">h</hostname>', 2),
    ]


def test_an_error_reply_is_shown_and_the_staging_is_gone(machine):
    machine.tarnd.on_request = lambda request: request.reply(
        "<rpc-error><error-tag>invalid-value</error-tag></rpc-error>"
    )
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        (
            "/$ ",
            "commit",
            "\r\n"
            '<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">\n'
            "  <rpc-error>\n"
            "    <error-tag>\n"
            "      invalid-value\n"
            "    </error-tag>\n"
            "  </rpc-error>\n"
            "</rpc-reply>\n",
        ),
        ("/$ ", "commit", NOTHING_STAGED),
    )


def test_a_daemon_that_hangs_up_instead_of_answering(machine):
    machine.tarnd.on_request = lambda request: [daemon.close]
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        ("/$ ", "commit", "Read message failed. \r\n"),
        ("/$ ", "commit", NOTHING_STAGED),
    )


@pytest.mark.parametrize("reply", ["", "garbage", b"\xff\xfe"])
def test_a_reply_that_is_no_xml(machine, reply):
    machine.tarnd.on_request = lambda request: reply
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        ("/$ ", "commit", "\r\n"),
        ("/$ ", "commit", NOTHING_STAGED),
    )


def test_a_commit_to_a_daemon_that_has_gone(machine):
    shell = machine.start()
    shell.send("set /acme/hostname h\n\n")
    shell.expect(b"/$ set /acme/hostname h\n/$ ")
    machine.tarnd.wait_session().close()
    shell.send("commit\n")
    result = shell.wait()
    assert (result.status, result.stderr) == (1, b"")
    assert result.stdout == (
        b"/$ set /acme/hostname h\n/$ \n/$ commit\n\nReceive signal=13 and exit\n"
    )


def test_a_missing_namespace_fails_the_serialisation(machine):
    machine.load(Schema(module("m", "", container("c", leaf("x")), record=bytes(42))))
    machine.dialogue(
        ("/$ ", "set /m/c/x 1", ""), ("/$ ", "commit", "cmdtree to netconf error \r\n")
    )
    assert machine.tarnd.requests == []


def test_an_unknown_module_of_a_node_fails_the_serialisation(machine):
    machine.load(Schema(module("m", "urn:m", container("c", leaf("gone:x"), leaf("y")))))
    machine.dialogue(
        ("/$ ", "set /m/c/gone:x 1", ""), ("/$ ", "commit", "cmdtree to netconf error \r\n")
    )
    assert (DEBUG, "[DEBUG] augment node:x error\n") in machine.log.texts(DEBUG)


def test_after_a_failed_serialisation_the_next_commit_starts_afresh(machine):
    good = Schema(
        module("m", "urn:m", container("c", leaf("gone:x"), leaf("y"))), module("gone", "urn:g")
    )
    machine.load(Schema(module("m", "urn:m", container("c", leaf("gone:x"), leaf("y")))))
    shell = machine.start()
    shell.send("set /m/c/y 1\nset /m/c/gone:x 2\ncommit\n\n")
    shell.expect(b"cmdtree to netconf error \r\n")
    machine.load(good)
    shell.send("commit\nquit\n")
    assert shell.wait().status == 0
    assert machine.tarnd.requests == [
        edit_config('<c xmlns="urn:m"><x xmlns="urn:g">2</x><y>1</y></c>')
    ]


def test_a_value_far_larger_than_any_chunk(machine):
    value = "v" * 200_000
    result = machine.session(f"set /acme/box/name {value}", "commit", "quit")
    assert result.status == 0
    # no look at the first line: its echo wraps wherever a piece ends at the margin
    assert result.stdout.decode().endswith(f"\n/$ commit\n{printed_ok(1)}/$ quit\n")
    assert machine.tarnd.requests == [box(f"<name>{value}</name>")]


def test_a_body_of_many_chunks(machine):
    lines = [f"set /acme/box/port[id={number}]/mtu {'9' * 1000}" for number in range(600)]
    entries = "".join(
        f"<port><id>{number}</id><mtu>{'9' * 1000}</mtu></port>" for number in reversed(range(600))
    )
    assert committed(machine, *lines) == box(entries)


def test_a_commit_is_one_exchange(machine):
    """Notifications that arrive meanwhile are printed before the reply."""
    go_on = threading.Event()
    machine.tarnd.on_request = lambda request: [
        daemon.notification("<x/>"),
        daemon.pause(go_on),
        request.reply("<ok/>"),
    ]
    shell = machine.start()
    shell.send("set /acme/hostname h\ncommit\nquit\n")
    shell.expect(b"  <x/>\n  </notification>\n")
    go_on.set()
    result = shell.wait()
    assert result.status == 0
    assert result.stdout.decode().endswith(
        "  <x/>\n  </notification>\n" + printed_ok(1) + "/$ quit\n"
    )
