"""RPC mode: entering it, what works inside, and the ways out."""

import pytest
from support import tarnd as daemon
from support.example import edit_config, get_config, invoke, printed_ok
from support.messages import DISCARDED, LEAF_OR_RPC, no_such
from support.schema_db import Schema, leaf, module, rpc
from support.shell import DEBUG, ERROR

INVALID = "invalid operation!!\r\n"
ENTER = ("/$ ", "/acme/reset", "")
AT = "\n[reset]$ "
ACME = "\n/acme$ "
pytestmark = pytest.mark.usefixtures("example")


def in_mode(machine, *steps, enter=(ENTER,), end=AT):
    """Enters RPC mode, does the steps, leaves it by quit, and ends."""
    return machine.dialogue(*enter, *steps, (end, "quit", DISCARDED), end=ACME)


def invoked(machine, *lines):
    """Sets lines in RPC mode, commits, and returns the one request."""
    machine.dialogue(
        ENTER, *((AT, line, "") for line in lines), (AT, "commit", printed_ok(1)), end=ACME
    )
    (request,) = machine.tarnd.requests
    return request


def test_the_prompt_shows_the_rpc(machine):
    in_mode(machine, (AT, "pwd", "/acme/reset\r\n"))
    assert machine.tarnd.requests == []


def test_a_relative_name(machine):
    in_mode(machine, enter=(("/$ ", "cd acme", ""), (ACME, "reset", "")))
    in_mode(machine, enter=(("/$ ", "cd acme", ""), (ACME, "./reset/", "")))
    in_mode(machine, enter=(("/$ ", "acme/reset", ""),))


def test_more_words_are_accepted_and_change_nothing(machine):
    machine.dialogue(("/$ ", "/acme/reset now", ""), ("/$ ", "/acme/reset delay 5", ""))


def test_quit_leads_back_to_the_module(machine):
    in_mode(machine)


def test_a_second_quit_ends_the_shell(machine):
    result = machine.session("acme/reset", "quit", "quit")
    assert result.stdout.decode() == f"/$ acme/reset\n{AT}quit\n{DISCARDED}{ACME}quit\n"


def test_quit_with_more_words_leaves_the_mode_too(machine):
    machine.dialogue(ENTER, (AT, "quit now please", DISCARDED), end=ACME)


def test_the_rpc_itself_is_no_operation_inside(machine):
    in_mode(
        machine,
        (AT, "/acme/reset", INVALID + no_such("/acme/reset")),
        (AT, ".", INVALID + no_such(".")),
    )


def test_another_rpc_cannot_be_entered_from_inside(machine):
    in_mode(machine, (AT, "/acme/ping", no_such("/acme/ping")))


def test_words_inside(machine):
    in_mode(
        machine,
        (AT, "delay", INVALID + no_such("delay")),
        (AT, "how", INVALID + no_such("how")),
        (AT, "nothing", "error parameter: nothing\r\n" + no_such("nothing")),
        (AT, "/acme/box", INVALID + no_such("/acme/box")),
    )


def test_walking_inside(machine):
    in_mode(
        machine,
        (AT, "cd how", ""),
        ("\n[reset]how$ ", "pwd", "/acme/reset/how\r\n"),
        ("\n[reset]how$ ", "cd ..", ""),
        (AT, "cd target", ""),
        ("\n[reset]target$ ", "cd /", ""),
        (AT, "cd /.", ""),
        (AT, "cd .", ""),
        (AT, "pwd", "/acme/reset\r\n"),
    )


def test_no_way_out_upwards(machine):
    in_mode(
        machine,
        (AT, "cd ..", "error parameter: ..\r\n"),
        (AT, "cd ../box", "error parameter: ../box\r\n"),
        (AT, "cd delay", LEAF_OR_RPC),
    )


def test_paths_outside_are_refused(machine):
    machine.dialogue(
        ENTER,
        (AT, "cd /acme", "error parameter: /acme\r\n"),
        (AT, "cd /extra", "error parameter: /extra\r\n"),
        (AT, "set /acme/hostname h", "error parameter: /acme/hostname\r\n"),
        (AT, "set /acme/box/name n", "error parameter: /acme/box/name\r\n"),
        (AT, "commit", printed_ok(1)),
        (ACME, "commit", "There is no configuration data. \r\n"),
    )
    assert machine.tarnd.requests == [invoke('<reset xmlns="urn:acme"></reset>')]


def test_a_name_that_begins_like_the_rpc_is_outside(machine):
    machine.load(
        Schema(module("m", "urn:m", rpc("go", leaf("x")), rpc("gone", leaf("y")), leaf("gofer")))
    )
    machine.dialogue(
        ("/$ ", "/m/go", ""),
        ("\n[go]$ ", "set /m/gone/y 1", "error parameter: /m/gone/y\r\n"),
        ("\n[go]$ ", "set /m/gofer 1", "error parameter: /m/gofer\r\n"),
        ("\n[go]$ ", "/m/gone", no_such("/m/gone")),
        ("\n[go]$ ", "quit", DISCARDED),
        end="\n/m$ ",
    )


def plain(name):
    return f"\x1b[0m{name}\x1b[0m"


def test_ls_shows_the_input(machine):
    blue, cyan = "\x1b[01;34m", "\x1b[01;36m"
    item = f"( ({plain(' at-once')}) | ({plain(' time')}) )"
    expected = [
        item,
        plain("delay"),
        f"{blue}how\x1b[0m",
        f"{cyan}target\x1b[0m",
        plain("who"),
        plain("why"),
    ]
    result = machine.session("acme/reset", "ls", "quit", "quit", env={"COLUMNS": "200"})
    assert result.stdout.decode() == (
        f"/$ acme/reset\n{AT}ls\n" + "  ".join(expected) + f"\n{AT}quit\n{DISCARDED}{ACME}quit\n"
    )
    assert machine.tarnd.requests == []


def test_ls_of_a_list_does_not_ask_the_server(machine):
    in_mode(
        machine,
        (AT, "cd target", ""),
        ("\n[reset]target$ ", "ls", ""),
        end="\n[reset]target$ ",
    )
    assert machine.tarnd.requests == []


def test_reading_is_refused(machine):
    usage = "please input : get-config -r|-s path or get-config -l [path]\r\n"
    in_mode(
        machine,
        (AT, "get delay", "rpc mode not support get operation\r\n"),
        (AT, "get", "rpc mode not support get operation\r\n"),
        (AT, "get-config -r delay", "rpc mode not support get-config -r operation\r\n"),
        (AT, "get-config -s delay", "rpc mode not support get-config -s operation\r\n"),
        (AT, "get-config -r", usage),
        (AT, "get-config", usage),
    )


def test_an_invocation_as_a_whole_text(machine):
    assert invoked(machine, "set delay 5") == (
        '<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">\r\n'
        '<reset xmlns="urn:acme"><delay>5</delay></reset>'
        "</rpc>\r\n"
    )


def test_an_invocation_without_parameters(machine):
    assert invoked(machine) == invoke('<reset xmlns="urn:acme"></reset>')
    frame = machine.tarnd.frames[1]
    assert frame.body == invoke('<reset xmlns="urn:acme"></reset>').encode() + b"\0"


INPUTS = [
    (["set delay 5", "set delay 6"], "<delay>6</delay>"),
    (["set delay 5", "set who a"], "<who>a</who><delay>5</delay>"),
    (["set who a", "set who b"], "<who>a</who><who>b</who>"),
    (["set how/mode m", "set how/force"], "<how><force></force><mode>m</mode></how>"),
    (["set target[name=a]/depth 1"], "<target><name>a</name><depth>1</depth></target>"),
    (
        ["set target[name=a/b:c]/depth 1", 'set target[name="x y"]/depth 2'],
        "<target><name>x y</name><depth>2</depth></target>"
        "<target><name>a/b:c</name><depth>1</depth></target>",
    ),
    (["set why extra:cold"], '<why xmlns:extra="urn:extra">extra:cold</why>'),
    (["set at-once"], "<at-once></at-once>"),
    (["set time 12:30"], "<time>12:30</time>"),
    (["set /acme/reset/delay 9"], "<delay>9</delay>"),
    (["set ./how/mode <m>"], "<how><mode>&lt;m&gt;</mode></how>"),
]


@pytest.mark.parametrize("lines, sent", INPUTS)
def test_inputs(machine, lines, sent):
    assert invoked(machine, *lines) == invoke(f'<reset xmlns="urn:acme">{sent}</reset>')


def test_an_rpc_whose_input_is_empty(machine):
    machine.dialogue(
        ("/$ ", "/acme/ping", ""),
        ("\n[ping]$ ", "ls", ""),
        ("\n[ping]$ ", "commit", printed_ok(1)),
        end=ACME,
    )
    assert machine.tarnd.requests == [invoke('<ping xmlns="urn:acme"></ping>')]


def test_an_rpc_without_an_input_node(machine):
    machine.dialogue(
        ("/$ ", "/acme/bare", ""),
        ("\n[bare]$ ", "ls", ""),
        ("\n[bare]$ ", "set x 1", "error parameter: x\r\n"),
        ("\n[bare]$ ", ".", "error parameter: .\r\n" + no_such(".")),
        ("\n[bare]$ ", "commit", printed_ok(1)),
        end=ACME,
    )
    assert machine.tarnd.requests == [invoke('<bare xmlns="urn:acme"></bare>')]
    assert (ERROR, "[ERROR] error parameter: /acme/bare\r\n\n") in machine.log.texts(ERROR)


def test_what_cannot_be_set(machine):
    in_mode(
        machine,
        (AT, "set how 1", "/acme/reset/how's not config node.\r\n"),
        (AT, "set target[name=a]", "/acme/reset/target[name=a]'s not config node.\r\n"),
        (AT, "set nothing 1", "error parameter: nothing\r\n"),
        (AT, "set . 1", "/acme/reset's not config node.\r\n"),
        (AT, "set", "error command, please use:set path [value]\r\n"),
        (AT, "commit x", "error command, please use:commit \r\n"),
    )
    assert machine.tarnd.requests == []


def test_leaving_by_quit_drops_the_input(machine):
    machine.dialogue(
        ENTER,
        (AT, "set delay 5", ""),
        (AT, "quit", DISCARDED),
        (ACME, "reset", ""),
        (AT, "commit", printed_ok(1)),
        end=ACME,
    )
    assert machine.tarnd.requests == [invoke('<reset xmlns="urn:acme"></reset>')]


def test_staged_configuration_waits_outside(machine):
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        ENTER,
        (AT, "set delay 5", ""),
        (AT, "get-config -l", '<reset xmlns="urn:acme"><delay>5</delay></reset>\n'),
        (AT, "get-config -l delay", "<delay>5</delay>\n"),
        (AT, "get-config -l how", "how not exist in local configuration buffer \r\n"),
        (AT, "commit", printed_ok(1)),
        (ACME, "get-config -l", '<hostname xmlns="urn:acme">h</hostname>\n'),
        (ACME, "commit", printed_ok(2)),
    )
    assert machine.tarnd.requests == [
        invoke('<reset xmlns="urn:acme"><delay>5</delay></reset>', 1),
        edit_config('<hostname xmlns="urn:acme">h</hostname>', 2),
    ]


def test_an_identity_value_staged_outside_is_looked_up_outside(machine):
    machine.dialogue(
        ("/$ ", "set /acme/box/kind extra:big", ""),
        ENTER,
        (AT, "quit", DISCARDED),
        (ACME, "commit", printed_ok(1)),
    )
    assert machine.tarnd.requests == [
        edit_config('<box xmlns="urn:acme"><kind xmlns:extra="urn:extra">extra:big</kind></box>')
    ]


def test_commit_from_below_the_rpc(machine):
    machine.dialogue(
        ENTER,
        (AT, "cd how", ""),
        ("\n[reset]how$ ", "set mode m", ""),
        ("\n[reset]how$ ", "commit", printed_ok(1)),
        (ACME, "pwd", "/acme\r\n"),
    )
    assert machine.tarnd.requests == [
        invoke('<reset xmlns="urn:acme"><how><mode>m</mode></how></reset>')
    ]


def test_an_error_reply_leaves_the_mode_too(machine):
    machine.tarnd.on_request = lambda request: request.reply("<rpc-error></rpc-error>")
    machine.dialogue(
        ENTER,
        (
            AT,
            "commit",
            "\r\n"
            '<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">\n'
            "  <rpc-error>\n"
            "  </rpc-error>\n"
            "</rpc-reply>\n",
        ),
        end=ACME,
    )


def test_a_daemon_that_hangs_up_keeps_the_mode(machine):
    machine.tarnd.on_request = lambda request: [daemon.close]
    in_mode(machine, (AT, "set delay 5", ""), (AT, "commit", "Read message failed. \r\n"))
    assert machine.tarnd.requests == [invoke('<reset xmlns="urn:acme"><delay>5</delay></reset>')]


def test_reading_works_again_outside(machine):
    machine.dialogue(
        ENTER,
        (AT, "quit", DISCARDED),
        (
            ACME,
            "get-config -r box/name",
            "\r\n"
            '<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">\n'
            "  <data>\n"
            "  </data>\n"
            "</rpc-reply>\n",
        ),
    )
    assert machine.tarnd.requests == [get_config('<box xmlns="urn:acme"><name></name></box>')]


def test_nothing_is_logged_as_an_error(machine):
    invoked(machine, "set delay 5")
    assert machine.log.texts(ERROR, DEBUG) == []
