"""set outside RPC mode: each change as the XML that commit sends."""

import pytest
from support.example import box, committed, edit_config, printed_ok
from support.messages import NOTHING_STAGED, SET_USAGE
from support.schema_db import Schema, container, leaf, list_, module
from support.shell import DEBUG

pytestmark = pytest.mark.usefixtures("example")


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

    def test_a_prefix_that_is_no_name(self, machine):
        """Whatever modules a database says that there are."""
        kind = module("m", "urn:m", leaf("kind", "union"))
        machine.load(Schema(kind, module("a><b/><c", "urn:a"), module("", "urn:b")))
        values = {"a><b/><c:1": "a&gt;&lt;b/&gt;&lt;c:1", ":1": ":1"}
        for value, written in values.items():
            assert f'<kind xmlns="urn:m">{written}</kind>' in committed(
                machine, f"set /m/kind {value}"
            )

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
    machine.dialogue(("/$ ", line, SET_USAGE), ("/$ ", "commit", NOTHING_STAGED))


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
        ("/$ ", f"set {path} 1", f"error parameter: {path}\r\n"), ("/$ ", "commit", NOTHING_STAGED)
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
        ("/$ ", "commit", NOTHING_STAGED),
    )


def test_a_module_cannot_be_set(machine):
    machine.dialogue(
        ("/$ ", "set /acme 1", "error parameter: /acme\r\n"), ("/$ ", "commit", NOTHING_STAGED)
    )
