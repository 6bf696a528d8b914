"""set and commit outside RPC mode: what is staged and what is sent."""

import threading

import pytest
from support import tarnd as daemon
from support.example import EXAMPLE, edit_config, get_config, printed_no_data, printed_ok
from support.schema_db import Schema, container, leaf, leaf_list, list_, module
from support.shell import DEBUG

SET_USAGE = "error command, please use:set path [value]\r\n"
COMMIT_USAGE = "error command, please use:commit \r\n"
NOTHING = "There is no configuration data. \r\n"


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(EXAMPLE)


def committed(machine, *lines):
    """Stages lines at the root, commits, and returns the one request."""
    machine.dialogue(*(("/$ ", line, "") for line in lines), ("/$ ", "commit", printed_ok(1)))
    (request,) = machine.tarnd.requests
    return request


def box(inner):
    return edit_config(f'<box xmlns="urn:acme">{inner}</box>')


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


VALUES = [
    ("plain", "plain"),
    ("a<b&c>d", "a&lt;b&amp;c&gt;d"),
    ("it's", "it's"),
    ('5"', "5&quot;"),
    ('"two words"', "two words"),
    ("'two words'", "two words"),
    ('"a=b"', "a=b"),
    ('"[x],y"', "[x],y"),
    ("a=b,[c]", "a=b,[c]"),
    # quotes around nothing that needs them belong to the value
    ('"one"', "&quot;one&quot;"),
    ("'one'", "'one'"),
    ('""', "&quot;&quot;"),
    ('"it\'s me"', "it's me"),
    ("'say \"hi you\"'", "say &quot;hi you&quot;"),
    ('"a  b   c"', "a  b   c"),
    ('x"y z"', "xy z"),
    ("/a/b:c", "/a/b:c"),
    ("http://h/?a=1&b=2", "http://h/?a=1&amp;b=2"),
    ("&amp;", "&amp;amp;"),
    ("%s%n%d", "%s%n%d"),
    ("ä€😀", "ä€😀"),
    ("-1", "-1"),
    ("\\n", "\\n"),
]


@pytest.mark.parametrize("typed, sent", VALUES)
def test_values(machine, typed, sent):
    assert committed(machine, f"set /acme/box/name {typed}") == box(f"<name>{sent}</name>")


def test_a_tab_in_a_value_becomes_a_blank(machine):
    assert committed(machine, 'set /acme/box/name "a\tb"') == box("<name>a b</name>")


def test_a_leaf_without_a_value(machine):
    assert committed(machine, "set /acme/box/flag") == box("<flag></flag>")


def test_relative_paths(machine):
    machine.dialogue(
        ("/$ ", "cd acme", ""),
        ("\n/acme$ ", "cd box", ""),
        ("\n/acme/box$ ", "set name n1", ""),
        ("\n/acme/box$ ", "set ./size 5", ""),
        ("\n/acme/box$ ", "set inner/deep d", ""),
        ("\n/acme/box$ ", "set ../hostname h", ""),
        ("\n/acme/box$ ", "commit", printed_ok(1)),
    )
    assert machine.tarnd.requests == [
        edit_config(
            '<hostname xmlns="urn:acme">h</hostname>'
            '<box xmlns="urn:acme">'
            "<inner><deep>d</deep></inner><size>5</size><name>n1</name></box>"
        )
    ]


def test_children_are_sent_newest_first(machine):
    assert committed(
        machine,
        "set /acme/box/name n1",
        "set /acme/box/size 5",
        "set /acme/box/flag",
    ) == box("<flag></flag><size>5</size><name>n1</name>")


def test_a_second_set_replaces_the_value_in_place(machine):
    assert committed(
        machine,
        "set /acme/box/name n1",
        "set /acme/box/size 5",
        "set /acme/box/name n2",
        "set /acme/box/size",
    ) == box("<size></size><name>n2</name>")


def test_values_of_a_leaf_list(machine):
    assert committed(
        machine,
        "set /acme/box/tag a",
        "set /acme/box/tag b",
        "set /acme/box/tag c",
        "set /acme/box/tag b",
    ) == box("<tag>a</tag><tag>b</tag><tag>c</tag>")


def test_the_first_value_of_a_leaf_list_is_not_compared(machine):
    assert committed(
        machine, "set /acme/box/tag a", "set /acme/box/tag a", "set /acme/box/tag a"
    ) == box("<tag>a</tag><tag>a</tag>")


def test_a_further_value_of_a_leaf_list_must_be_given(machine):
    machine.dialogue(
        ("/$ ", "set /acme/box/tag a", ""),
        ("/$ ", "set /acme/box/tag", "add cmd error!\r\n"),
        ("/$ ", "commit", printed_ok(1)),
    )
    assert machine.tarnd.requests == [box("<tag>a</tag>")]
    assert machine.log.texts(DEBUG) == [(DEBUG, "[DEBUG] set leaf-list without assigned value\n")]


ENTRIES = [
    ("port[id=1]/mtu 9", "<port><id>1</id><mtu>9</mtu></port>"),
    ("port[id=ge-0/0/1]/mtu 9", "<port><id>ge-0/0/1</id><mtu>9</mtu></port>"),
    ("port[id=a:b]/mtu 9", "<port><id>a:b</id><mtu>9</mtu></port>"),
    ("port[id=/]/mtu 9", "<port><id>/</id><mtu>9</mtu></port>"),
    ('port[id="a b"]/mtu 9', "<port><id>a b</id><mtu>9</mtu></port>"),
    ('port[id="a=[b],c"]/mtu 9', "<port><id>a=[b],c</id><mtu>9</mtu></port>"),
    ("port[id='say \"hi you\"']/mtu 9", "<port><id>say &quot;hi you&quot;</id><mtu>9</mtu></port>"),
    ("port[id=it's]/mtu 9", "<port><id>it's</id><mtu>9</mtu></port>"),
    ('port[id="ab"]/mtu 9', "<port><id>&quot;ab&quot;</id><mtu>9</mtu></port>"),
    ("port[id=<&>]/mtu 9", "<port><id>&lt;&amp;&gt;</id><mtu>9</mtu></port>"),
    ("port[id=1]/qos/dscp ef", "<port><id>1</id><qos><dscp>ef</dscp></qos></port>"),
    (
        "route[via=v,dest=10.0.0.0/8]/metric 1",
        "<route><via>v</via><dest>10.0.0.0/8</dest><metric>1</metric></route>",
    ),
    (
        'route[dest="d,e",via=::1]/metric 1',
        "<route><dest>d,e</dest><via>::1</via><metric>1</metric></route>",
    ),
    ("extra:badge b", '<badge xmlns="urn:extra">b</badge>'),
    ("extra:paint/shade dark", '<paint xmlns="urn:extra"><shade>dark</shade></paint>'),
    (
        "extra:paint/acme:gloss high",
        '<paint xmlns="urn:extra"><gloss xmlns="urn:acme">high</gloss></paint>',
    ),
    ("extra:lamp[id=7]/color red", '<lamp xmlns="urn:extra"><id>7</id><color>red</color></lamp>'),
]


@pytest.mark.parametrize("typed, sent", ENTRIES)
def test_entries_and_nodes_of_other_modules(machine, typed, sent):
    assert committed(machine, f"set /acme/box/{typed}") == box(sent)


@pytest.mark.parametrize(
    "predicate, sent",
    [
        ("[id]", "<port><id></id><mtu>9</mtu></port>"),
        ("[id=]", "<port><id></id><mtu>9</mtu></port>"),
    ],
)
def test_predicates_without_a_value(machine, predicate, sent):
    assert committed(machine, f"set /acme/box/port{predicate}/mtu 9") == box(sent)


def test_entries_of_one_list_are_separate(machine):
    assert committed(
        machine,
        "set /acme/box/port[id=1]/mtu 1",
        "set /acme/box/port[id=2]/mtu 2",
        "set /acme/box/port[id=1]/qos/dscp x",
    ) == box(
        "<port><id>2</id><mtu>2</mtu></port>"
        "<port><id>1</id><qos><dscp>x</dscp></qos><mtu>1</mtu></port>"
    )


def test_several_top_level_nodes_and_modules(machine):
    assert committed(
        machine,
        "set /acme/hostname h",
        "set /acme/box/name n",
        "set /extra/shelf/height 3",
        "set /acme/link/mode m",
    ) == edit_config(
        '<shelf xmlns="urn:extra"><height>3</height></shelf>'
        '<link xmlns="urn:acme"><mode>m</mode></link>'
        '<box xmlns="urn:acme"><name>n</name></box>'
        '<hostname xmlns="urn:acme">h</hostname>'
    )


def test_a_top_level_leaf_declares_its_namespace(machine):
    assert committed(machine, "set /acme/hostname h:1") == edit_config(
        '<hostname xmlns="urn:acme">h:1</hostname>'
    )


class TestPrefixes:
    """A prefix of an identityref or union value is declared if it names a module."""

    def test_an_identityref(self, machine):
        assert committed(machine, "set /acme/box/kind extra:big") == box(
            '<kind xmlns:extra="urn:extra">extra:big</kind>'
        )

    def test_a_union(self, machine):
        assert committed(machine, "set /acme/box/any acme:it") == box(
            '<any xmlns:acme="urn:acme">acme:it</any>'
        )

    def test_another_type(self, machine):
        assert committed(machine, "set /acme/box/name extra:big") == box("<name>extra:big</name>")

    def test_a_prefix_that_names_no_module(self, machine):
        assert committed(machine, "set /acme/box/kind other:big") == box("<kind>other:big</kind>")

    def test_an_empty_prefix(self, machine):
        assert committed(machine, "set /acme/box/kind :big") == box("<kind>:big</kind>")

    def test_only_the_first_colon_counts(self, machine):
        assert committed(machine, "set /acme/box/any extra:a:b") == box(
            '<any xmlns:extra="urn:extra">extra:a:b</any>'
        )

    def test_beside_the_namespace_of_a_top_level_leaf(self, machine):
        machine.load(
            Schema(module("m", "urn:m", leaf("kind", "identityref")), module("ids", "urn:i&d"))
        )
        assert committed(machine, "set /m/kind ids:one") == edit_config(
            '<kind xmlns="urn:m" xmlns:ids="urn:i&amp;d">ids:one</kind>'
        )

    def test_a_leaf_of_another_module_drops_the_declaration(self, machine):
        machine.load(
            Schema(
                module("m", "urn:m", container("c", leaf("ids:kind", "identityref"))),
                module("ids", "urn:ids"),
            )
        )
        assert committed(machine, "set /m/c/ids:kind ids:one") == edit_config(
            '<c xmlns="urn:m"><kind xmlns="urn:ids">ids:one</kind></c>'
        )

    def test_a_key_value_is_written_plainly(self, machine):
        machine.load(
            Schema(
                module(
                    "m",
                    "urn:m",
                    container("c", list_("l", ["k"], leaf("k", "identityref"), leaf("x"))),
                ),
                module("ids", "urn:ids"),
            )
        )
        assert committed(machine, "set /m/c/l[k=ids:one]/x 1") == edit_config(
            '<c xmlns="urn:m"><l><k>ids:one</k><x>1</x></l></c>'
        )


def test_a_namespace_is_escaped(machine):
    machine.load(Schema(module("m", 'urn:"<&>', container("c", leaf("x")))))
    assert committed(machine, "set /m/c/x 1") == edit_config(
        '<c xmlns="urn:&quot;&lt;&amp;&gt;"><x>1</x></c>'
    )


def test_nodes_of_choices_have_no_element_for_the_choice(machine):
    assert committed(machine, "set /acme/link/udp-options/ttl 3") == edit_config(
        '<link xmlns="urn:acme"><udp-options><ttl>3</ttl></udp-options></link>'
    )


def test_a_container_of_kind_ten(machine):
    assert committed(machine, "set /acme/odd/inside x") == edit_config(
        '<odd xmlns="urn:acme"><inside>x</inside></odd>'
    )


@pytest.mark.parametrize("line", ["set", "set /acme/box/name a b", "set a b c d"])
def test_the_usage_of_set(machine, line):
    machine.dialogue(("/$ ", line, SET_USAGE), ("/$ ", "commit", NOTHING))


@pytest.mark.parametrize(
    "path",
    [
        "nothing",
        "/acme/nothing",
        "/acme/box/name/x",
        "..",
        "/nothing/x",
        "/acme/box/port[id=1]/none",
    ],
)
def test_a_path_that_leads_nowhere(machine, path):
    machine.dialogue(
        ("/$ ", f"set {path} 1", f"error parameter: {path}\r\n"), ("/$ ", "commit", NOTHING)
    )


@pytest.mark.parametrize(
    "typed, resolved",
    [
        ("/acme/box", "/acme/box"),
        ("acme/box/inner/", "/acme/box/inner"),
        ("/acme/box/uptime", "/acme/box/uptime"),
        ("/acme/box/inner/state/load", "/acme/box/inner/state/load"),
        ("/acme/box/port", "/acme/box/port"),
        ("/acme/box/port[id=1]", "/acme/box/port[id=1]"),
        ('/acme/box/port[id="a/b c"]/qos', '/acme/box/port[id="a/b c"]/qos'),
        ("/acme/reset", "/acme/reset"),
    ],
)
def test_a_node_that_cannot_be_set(machine, typed, resolved):
    machine.dialogue(
        ("/$ ", f"set {typed} 1", f"{resolved}'s not config node.\r\n"),
        ("/$ ", f"set {typed}", f"{resolved}'s not config node.\r\n"),
        ("/$ ", "commit", NOTHING),
    )


def test_a_module_cannot_be_set(machine):
    machine.dialogue(
        ("/$ ", "set /acme 1", "error parameter: /acme\r\n"), ("/$ ", "commit", NOTHING)
    )


@pytest.mark.parametrize("line", ["commit now", "commit /acme/box", "commit a b"])
def test_the_usage_of_commit(machine, line):
    machine.dialogue(("/$ ", "set /acme/hostname h", ""), ("/$ ", line, COMMIT_USAGE))
    assert machine.tarnd.requests == []


def test_nothing_to_commit(machine):
    machine.dialogue(("/$ ", "commit", NOTHING), ("/$ ", "commit", NOTHING))
    assert machine.tarnd.requests == []


def test_a_commit_empties_the_staging(machine):
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        ("/$ ", "commit", printed_ok(1)),
        ("/$ ", "commit", NOTHING),
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
        ("/$ ", "commit", NOTHING),
    )


def test_a_daemon_that_hangs_up_instead_of_answering(machine):
    machine.tarnd.on_request = lambda request: [daemon.close]
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        ("/$ ", "commit", "Read message failed. \r\n"),
        ("/$ ", "commit", NOTHING),
    )


@pytest.mark.parametrize("reply", ["", "garbage", b"\xff\xfe"])
def test_a_reply_that_is_no_xml(machine, reply):
    machine.tarnd.on_request = lambda request: reply
    machine.dialogue(
        ("/$ ", "set /acme/hostname h", ""),
        ("/$ ", "commit", "\r\n"),
        ("/$ ", "commit", NOTHING),
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


class TestLocalBuffer:
    """get-config -l shows what is staged."""

    def test_nothing_staged(self, machine):
        machine.dialogue(
            ("/$ ", "get-config -l", ""),
            (
                "/$ ",
                "get-config -l /acme/box",
                "/acme/box not exist in local configuration buffer \r\n",
            ),
        )

    def test_the_whole_tree(self, machine):
        machine.dialogue(
            ("/$ ", "set /acme/box/name n1", ""),
            ("/$ ", "set /acme/box/port[id=a/b:c]/mtu 9", ""),
            (
                "/$ ",
                "get-config -l",
                '<box xmlns="urn:acme"><port><id>a/b:c</id><mtu>9</mtu></port>'
                "<name>n1</name></box>\n",
            ),
            (
                "/$ ",
                "get-config -l",
                '<box xmlns="urn:acme"><port><id>a/b:c</id><mtu>9</mtu></port>'
                "<name>n1</name></box>\n",
            ),
        )
        assert machine.tarnd.requests == []

    def test_a_subtree(self, machine):
        machine.dialogue(
            ("/$ ", "set /acme/box/name n1", ""),
            ("/$ ", "set /acme/box/inner/deep d", ""),
            ("/$ ", "set /acme/box/port[id=1]/mtu 9", ""),
            ("/$ ", "get-config -l /acme/box/inner", "<inner><deep>d</deep></inner>\n"),
            ("/$ ", "get-config -l acme/box/inner/deep", "<deep>d</deep>\n"),
            (
                "/$ ",
                "get-config -l /acme/box/port[id=1]",
                "<port><id>1</id><mtu>9</mtu></port>\n",
            ),
            (
                "/$ ",
                "get-config -l /acme/box/size",
                "/acme/box/size not exist in local configuration buffer \r\n",
            ),
            (
                "/$ ",
                "get-config -l /acme/box/port[id=2]",
                "/acme/box/port[id=2] not exist in local configuration buffer \r\n",
            ),
        )

    def test_a_list_stands_for_the_node_above_its_staged_entries(self, machine):
        machine.dialogue(
            ("/$ ", "set /acme/box/name n1", ""),
            ("/$ ", "set /acme/box/port[id=1]/mtu 9", ""),
            (
                "/$ ",
                "get-config -l /acme/box/port",
                '<box xmlns="urn:acme"><port><id>1</id><mtu>9</mtu></port><name>n1</name></box>\n',
            ),
            (
                "/$ ",
                "get-config -l /acme/box/por",
                "/acme/box/por not exist in local configuration buffer \r\n",
            ),
        )

    def test_entities_are_turned_back(self, machine):
        machine.dialogue(
            ("/$ ", 'set /acme/box/name "a<b & c"', ""),
            ("/$ ", "get-config -l", '<box xmlns="urn:acme"><name>a<b & c</name></box>\n'),
            ("/$ ", "commit", printed_ok(1)),
            ("/$ ", "get-config -l", ""),
        )
        assert machine.tarnd.requests == [box("<name>a&lt;b &amp; c</name>")]

    def test_values_of_a_leaf_list(self, machine):
        machine.dialogue(
            ("/$ ", "set /acme/box/tag a", ""),
            ("/$ ", "set /acme/box/tag b", ""),
            ("/$ ", "get-config -l /acme/box/tag", "<tag>a</tag><tag>b</tag>\n"),
        )

    def test_more_than_one_chunk(self, machine):
        first, second = "x" * 3000, "y" * 3000
        machine.dialogue(
            ("/$ ", f"set /acme/hostname {first}", ""),
            ("/$ ", f"set /acme/box/name {second}", ""),
            (
                "/$ ",
                "get-config -l",
                f'<box xmlns="urn:acme"><name>{second}</name></box>\n'
                f'<hostname xmlns="urn:acme">{first}</hostname>\n',
            ),
        )

    def test_one_command_mode_has_no_buffer(self, machine):
        expected = b"irreciprocal mode unsupport get-config -l [path].\r\n"
        assert machine.one_shot("get-config", "-l").stdout == expected
        assert machine.one_shot("get-config", "-l", "/acme/box").stdout == expected

    def test_the_buffer_is_not_changed_by_looking(self, machine):
        machine.dialogue(
            ("/$ ", 'set /acme/box/port[id="a b"]/mtu "1 2"', ""),
            (
                "/$ ",
                "get-config -l",
                '<box xmlns="urn:acme"><port><id>a b</id><mtu>1 2</mtu></port></box>\n',
            ),
            ("/$ ", 'set /acme/box/port[id="a b"]/qos/dscp x', ""),
            ("/$ ", "commit", printed_ok(1)),
        )
        assert machine.tarnd.requests == [
            box("<port><id>a b</id><qos><dscp>x</dscp></qos><mtu>1 2</mtu></port>")
        ]


def test_leaf_lists_and_leaves_of_any_depth(machine):
    depth = 40
    node = container(f"c{depth}", leaf("x"), leaf_list("y"))
    for number in range(depth - 1, 0, -1):
        node = container(f"c{number}", node)
    machine.load(Schema(module("m", "urn:m", node)))
    path = "/m/" + "/".join(f"c{number}" for number in range(1, depth + 1))
    opening = '<c1 xmlns="urn:m">' + "".join(f"<c{n}>" for n in range(2, depth + 1))
    closing = "".join(f"</c{n}>" for n in range(depth, 0, -1))
    assert committed(machine, f"set {path}/x 1", f"set {path}/y 2") == edit_config(
        f"{opening}<y>2</y><x>1</x>{closing}"
    )
