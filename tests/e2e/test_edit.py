"""delete, add-listentry and discard_changes: what they say and what they stage."""

import pytest
from support import tarnd as daemon
from support.example import (
    DELETE,
    PORT_KEYS,
    box,
    committed,
    edit_config,
    get_config,
    invoke,
    printed_ok,
)
from support.messages import DISCARDED, NOTHING_STAGED
from support.prompts import ROOT, at, go
from support.shell import DEBUG

DELETE_USAGE = "error command, please use:delete path\r\n"
DISCARD_USAGE = "error command, please use:discard_changes (no param)\r\n"
NO_DELETE = "current mode not support del cmd\r\n"
pytestmark = pytest.mark.usefixtures("example")


def missing(operand):
    return f"error: child node:{operand}  is not existed.\r\n"


def ports(*keys):
    entries = "".join(f"<port><id>{key}</id></port>" for key in keys)
    return f'<box xmlns="urn:acme">{entries}</box>'


def refused(machine, line, message):
    """The line prints the message and stages nothing."""
    machine.dialogue((ROOT, line, message), (ROOT, "commit", NOTHING_STAGED))


class TestDelete:
    @pytest.mark.parametrize(
        "line", ["delete", "delete /acme/box/tag a b", "delete a b c d", "delete  "]
    )
    def test_usage(self, machine, line):
        refused(machine, line, DELETE_USAGE)

    @pytest.mark.parametrize(
        "operand", ["..", "/..", "/acme/..x", "/acme/box/..x", "/acme/nothing/x"]
    )
    def test_a_path_that_cannot_be_resolved(self, machine, operand):
        refused(machine, f"delete {operand}", f"error parameter: {operand}\r\n")

    @pytest.mark.parametrize("operand", ["/nothing", "nothing", "./nothing", "/"])
    def test_an_unknown_module(self, machine, operand):
        refused(machine, f"delete {operand}", missing(operand))

    @pytest.mark.parametrize(
        "operand", ["/acme", "acme", "/acme/", "./acme", "//acme", "/acme/box/.."]
    )
    def test_a_module(self, machine, operand):
        refused(machine, f"delete {operand}", f"error parameter: {operand}\r\n")

    @pytest.mark.parametrize(
        "operand, path",
        [
            ("/acme/box/uptime", "/acme/box/uptime"),
            ("acme/box/uptime/", "/acme/box/uptime"),
            ("/acme/box/inner/state", "/acme/box/inner/state"),
            ("/acme//box/./inner/state/load", "/acme/box/inner/state/load"),
        ],
    )
    def test_state_data(self, machine, operand, path):
        refused(machine, f"delete {operand}", f"{path}'s not config node.\r\n")
        refused(machine, f"delete {operand} 1", f"{path}'s not config node.\r\n")

    @pytest.mark.parametrize(
        "operand",
        ["/acme/box/name", "/acme/box", "acme/box/port", "/acme/box/port[id=1]/mtu",
         '/acme/box/port[id="a b=,[]"]/mtu'],
    )  # fmt: skip
    def test_a_value_of_what_is_no_leaf_list(self, machine, operand):
        message = f"error parameter: {operand}. delete key value only support leaflist.\r\n"
        refused(machine, f"delete {operand} 1", message)

    NODES = [
        ("name", f"<name {DELETE}></name>"),
        ("inner", f"<inner {DELETE}></inner>"),
        ("inner/deep", f"<inner><deep {DELETE}></deep></inner>"),
        ("tag", f"<tag {DELETE}></tag>"),
        ("tag a", f"<tag {DELETE}>a</tag>"),
        ('tag "a <b>"', f"<tag {DELETE}>a &lt;b&gt;</tag>"),
        ("tag a/b:c", f"<tag {DELETE}>a/b:c</tag>"),
        ("port", f"<port {DELETE}></port>"),
        ("port[id=1]/mtu", f"<port><id>1</id><mtu {DELETE}></mtu></port>"),
        ("port[id=1]/qos", f"<port><id>1</id><qos {DELETE}></qos></port>"),
        ("port[id=a/b:c]/mtu", f"<port><id>a/b:c</id><mtu {DELETE}></mtu></port>"),
        ('port[id="a b"]/mtu', f"<port><id>a b</id><mtu {DELETE}></mtu></port>"),
        ("extra:badge", f'<badge xmlns="urn:extra" {DELETE}></badge>'),
        ("extra:paint", f'<paint xmlns="urn:extra" {DELETE}></paint>'),
        ("extra:paint/acme:gloss",
         f'<paint xmlns="urn:extra"><gloss xmlns="urn:acme" {DELETE}></gloss></paint>'),
    ]  # fmt: skip

    @pytest.mark.parametrize("typed, sent", NODES)
    def test_nodes(self, machine, typed, sent):
        assert committed(machine, f"delete /acme/box/{typed}") == box(sent)
        assert len(machine.tarnd.requests) == 1

    def test_top_level_nodes(self, machine):
        assert committed(machine, "delete /acme/hostname", "delete acme/box") == edit_config(
            f'<box xmlns="urn:acme" {DELETE}></box><hostname xmlns="urn:acme" {DELETE}></hostname>'
        )

    def test_relative_operands(self, machine):
        machine.dialogue(
            *go("acme", "box"),
            (at("/acme/box"), "delete name", ""),
            (at("/acme/box"), "delete ./size", ""),
            (at("/acme/box"), "delete ../hostname", ""),
            (at("/acme/box"), "delete none", "error parameter: none\r\n"),
            (at("/acme/box"), "delete %s%n", "error parameter: %s%n\r\n"),
            (at("/acme/box"), "commit", printed_ok(1)),
        )
        assert machine.tarnd.requests == [
            edit_config(
                f'<hostname xmlns="urn:acme" {DELETE}></hostname>'
                f'<box xmlns="urn:acme"><size {DELETE}></size><name {DELETE}></name></box>'
            )
        ]

    @pytest.mark.parametrize("where", ["/acme/reset", "/acme/ping"])
    @pytest.mark.parametrize(
        "line", ["delete", "delete delay", "delete /acme/box/name", "delete a b c"]
    )
    def test_in_rpc_mode(self, machine, where, line):
        prompt = f"\n[{where.rpartition('/')[2]}]$ "
        machine.dialogue(
            (ROOT, where, ""),
            (prompt, line, NO_DELETE),
            (prompt, "quit", DISCARDED),
            end=at("/acme"),
        )
        assert machine.tarnd.requests == []


class TestDeleteOfAnEntry:
    @pytest.mark.parametrize(
        "key, typed, sent",
        [
            ("1", "1", "1"),
            ("a b", '"a b"', "a b"),
            ("ge-0/0/1", "ge-0/0/1", "ge-0/0/1"),
            ("::1", "::1", "::1"),
            ("x=[y],z", '"x=[y],z"', "x=[y],z"),
            ("&lt;&amp;", "<&", "&lt;&amp;"),
        ],
    )
    def test_that_the_server_holds(self, machine, key, typed, sent):
        machine.tarnd.holds("<port>", ports("other", key, "last"))
        request = committed(machine, f"delete /acme/box/port[id={typed}]", message_id=2)
        assert request == box(f"<port {DELETE}><id>{sent}</id></port>", 2)
        assert machine.tarnd.requests[0] == get_config(PORT_KEYS)

    def test_that_nobody_knows(self, machine):
        machine.tarnd.holds("<port>", ports("1", "11"))
        for operand in ("/acme/box/port[id=2]", "acme/box/port[id=]", '/acme/box/port[id="a b"]'):
            refused(machine, f"delete {operand}", missing(operand))

    def test_that_is_staged(self, machine):
        request = committed(
            machine,
            "set /acme/box/port[id=a/1]/mtu 1",
            "set /acme/box/port[id=b]/mtu 2",
            "set /acme/box/name n",
            "delete /acme/box/port[id=a/1]",
            message_id=2,
        )
        assert request == box(
            f"<name>n</name><port><id>b</id><mtu>2</mtu></port><port {DELETE}><id>a/1</id></port>",
            2,
        )

    def test_with_its_children_of_any_depth(self, machine):
        request = committed(
            machine,
            "set /acme/box/port[id=a]/mtu 1",
            "set /acme/box/port[id=a]/qos/dscp ef",
            "delete /acme/box/port[id=a]",
            "set /acme/box/port[id=a]/mtu 2",
            message_id=2,
        )
        assert request == box(f"<port {DELETE}><id>a</id><mtu>2</mtu></port>", 2)

    def test_by_keys_in_another_order(self, machine):
        machine.tarnd.holds(
            "<route>", '<box xmlns="urn:acme"><route><via>v</via><dest>d</dest></route></box>'
        )
        operand = "/acme/box/route[via=v,dest=d]"
        refused(machine, f"delete {operand}", missing(operand))
        request = committed(machine, "delete /acme/box/route[dest=d,via=v]", message_id=2)
        assert request == box(f"<route {DELETE}><dest>d</dest><via>v</via></route>", 2)

    def test_while_the_server_answers_nonsense(self, machine):
        machine.tarnd.on_request = (
            lambda request: "no xml" if "<get-config>" in request.text else None
        )
        operand = "/acme/box/port[id=a]"
        refused(machine, f"delete {operand}", missing(operand))
        assert (DEBUG, "[DEBUG] Receive a invalid xml document.\n") in machine.log.texts(DEBUG)

    def test_while_the_server_is_gone(self, machine):
        machine.tarnd.on_request = lambda request: daemon.close
        operand = "/acme/box/port[id=a]"
        machine.dialogue((ROOT, f"delete {operand}", missing(operand)))
        assert (DEBUG, "[DEBUG] recv get msg reply error\n") in machine.log.texts(DEBUG)


class TestDeleteInAChoice:
    HAS_TCP = '<link xmlns="urn:acme"><tcp-host>h</tcp-host></link>'

    def test_without_an_active_case(self, machine):
        machine.dialogue((ROOT, "delete /acme/link/udp-port", ""), (ROOT, "commit", printed_ok(5)))
        assert machine.tarnd.requests[:4] == [
            get_config(f'<link xmlns="urn:acme"><{name}></{name}></link>', number)
            for number, name in enumerate(("tcp-host", "tcp-port", "udp-options", "udp-port"), 1)
        ]
        assert machine.tarnd.requests[4] == edit_config(
            f'<link xmlns="urn:acme"><udp-port {DELETE}></udp-port></link>', 5
        )

    def test_in_the_active_case(self, machine):
        machine.tarnd.holds("<tcp-host>", self.HAS_TCP)
        machine.session("delete /acme/link/tcp-port", "commit", "quit")
        body = f'<link xmlns="urn:acme"><tcp-port {DELETE}></tcp-port></link>'
        edit = machine.tarnd.requests[-1]
        assert edit == edit_config(body, len(machine.tarnd.requests))

    @pytest.mark.parametrize("name", ["udp-port", "udp-options"])
    def test_in_another_case(self, machine, name):
        machine.tarnd.holds("<tcp-host>", self.HAS_TCP)
        refused(machine, f"delete /acme/link/{name}", missing(f"/acme/link/{name}"))

    def test_below_another_case(self, machine):
        """Only the last component is looked for."""
        machine.tarnd.holds("<tcp-host>", self.HAS_TCP)
        assert committed(machine, "delete /acme/link/udp-options/ttl") == edit_config(
            f'<link xmlns="urn:acme"><udp-options><ttl {DELETE}></ttl></udp-options></link>'
        )

    @pytest.mark.parametrize("name", ["transport", "tcp"])
    def test_the_choice_itself(self, machine, name):
        machine.session(f"delete /acme/link/{name}", "commit", "quit")
        assert not [text for text in machine.tarnd.requests if "<edit-config>" in text]


MERGES = [
    (["set name a", "delete name"], f"<name {DELETE}></name>"),
    (["delete name", "set name b"], "<name>b</name>"),
    (["delete name", "set flag", "set name b"], "<flag></flag><name>b</name>"),
    (["set name a", "set flag", "delete name"], f"<flag></flag><name {DELETE}></name>"),
    (["delete name", "set flag", "delete name"], f"<flag></flag><name {DELETE}></name>"),
    (["set name a", "delete name", "set name"], "<name></name>"),
    # what is replaced goes last
    (
        ["set name a", "set inner/deep d", "set flag", "delete inner"],
        f"<flag></flag><name>a</name><inner {DELETE}></inner>",
    ),
    (
        ["set inner/deep d", "delete inner", "set name a", "delete inner"],
        f"<name>a</name><inner {DELETE}></inner>",
    ),
    (["delete inner", "set inner/deep d"], f"<inner {DELETE}><deep>d</deep></inner>"),
    (
        ["delete inner", "set inner/deep d", "set name a", "delete inner"],
        f"<name>a</name><inner {DELETE}><deep>d</deep></inner>",
    ),
    # a list is not above its entries
    (
        ["set port[id=1]/mtu 9", "delete port"],
        f"<port {DELETE}></port><port><id>1</id><mtu>9</mtu></port>",
    ),
    # values of a leaf-list: the first one is not compared
    (["set tag a", "delete tag a"], f"<tag>a</tag><tag {DELETE}>a</tag>"),
    (["set tag a", "delete tag a", "set tag a"], "<tag>a</tag><tag>a</tag>"),
    (["set tag a", "set tag a"], "<tag>a</tag><tag>a</tag>"),
    (["delete tag a", "set tag a"], f"<tag {DELETE}>a</tag><tag>a</tag>"),
    (["delete tag a", "delete tag a"], f"<tag {DELETE}>a</tag><tag {DELETE}>a</tag>"),
    (
        ["delete tag a", "delete tag a", "delete tag a"],
        f"<tag {DELETE}>a</tag><tag {DELETE}>a</tag>",
    ),
    (
        ["set tag a", "set tag b", "set tag c", "delete tag b"],
        f"<tag>a</tag><tag {DELETE}>b</tag><tag>c</tag>",
    ),
    (["set tag a", "delete tag b", "set tag b"], "<tag>a</tag><tag>b</tag>"),
    (["set tag a", 'set tag "b c"', 'delete tag "b c"'], f"<tag>a</tag><tag {DELETE}>b c</tag>"),
    (["set tag a", "set tag b", "set tag c", "delete tag"], f"<tag>a</tag><tag {DELETE}></tag>"),
    (
        ["set tag a", "set tag b", "delete tag", "delete tag", "set tag b"],
        f"<tag>a</tag><tag {DELETE}></tag><tag>b</tag>",
    ),
    # later values stand inside a first element without a value
    (["delete tag", "set tag b"], f"<tag {DELETE}><tag>b</tag></tag>"),
    (["delete tag", "delete tag"], f"<tag {DELETE}><tag {DELETE}></tag></tag>"),
    (["set tag", "set tag b", "set tag c"], "<tag><tag>b</tag><tag>c</tag></tag>"),
    (["delete tag", "delete tag b"], f"<tag {DELETE}><tag {DELETE}>b</tag></tag>"),
]


@pytest.mark.parametrize("lines, sent", MERGES)
def test_one_command_after_another(machine, lines, sent):
    full = [line.replace(" ", " /acme/box/", 1) for line in lines]
    assert committed(machine, *full) == box(sent)


def test_a_deleted_top_level_node_goes_last(machine):
    assert committed(
        machine,
        "set /acme/box/inner/deep 1",
        "set /acme/box/port[id=1]/mtu 1",
        "set /acme/hostname h",
        "delete /acme/box",
    ) == edit_config(
        f'<hostname xmlns="urn:acme">h</hostname><box xmlns="urn:acme" {DELETE}></box>'
    )


class TestDiscard:
    @pytest.mark.parametrize("line", ["discard_changes now", "discard_changes a b"])
    def test_usage(self, machine, line):
        machine.dialogue(
            (ROOT, "set /acme/box/name n", ""),
            (ROOT, line, DISCARD_USAGE),
            (ROOT, "commit", printed_ok(1)),
        )
        assert machine.tarnd.requests == [box("<name>n</name>")]

    def test_with_nothing_staged(self, machine):
        refused(machine, "discard_changes", DISCARDED)

    def test_everything_staged(self, machine):
        machine.dialogue(
            (ROOT, "set /acme/box/name n", ""),
            (ROOT, "delete /acme/box/inner", ""),
            (ROOT, "set /extra/shelf/height 1", ""),
            (ROOT, "discard_changes", DISCARDED),
            (ROOT, "commit", NOTHING_STAGED),
            (ROOT, "set /acme/box/size 1", ""),
            (ROOT, "commit", printed_ok(1)),
        )
        assert machine.tarnd.requests == [box("<size>1</size>")]

    def test_in_rpc_mode_the_parameters_only(self, machine):
        prompt = "\n[reset]$ "
        machine.dialogue(
            (ROOT, "set /acme/box/name n", ""),
            (ROOT, "/acme/reset", ""),
            (prompt, "set delay 5", ""),
            (prompt, "discard_changes x", DISCARD_USAGE),
            (prompt, "discard_changes", DISCARDED),
            (prompt, "set why x", ""),
            (prompt, "commit", printed_ok(1)),
            (at("/acme"), "commit", printed_ok(2)),
        )
        assert machine.tarnd.requests == [
            invoke('<reset xmlns="urn:acme"><why>x</why></reset>'),
            box("<name>n</name>", 2),
        ]

    def test_in_rpc_mode_everything_is_gone(self, machine):
        prompt = "\n[reset]$ "
        machine.dialogue(
            (ROOT, "/acme/reset", ""),
            (prompt, "set delay 5", ""),
            (prompt, "discard_changes", DISCARDED),
            (prompt, "commit", printed_ok(1)),
            end=at("/acme"),
        )
        assert machine.tarnd.requests == [invoke('<reset xmlns="urn:acme"></reset>')]
