"""add-listentry: what it says, what it stages and what it remembers."""

import pytest
from support import tarnd as daemon
from support.example import PORT_KEYS, box, get_config, invoke, printed_ok
from support.messages import DISCARDED, NOTHING_STAGED
from support.prompts import ROOT, at, go
from support.schema_db import Schema, container, leaf, list_, module
from support.shell import DEBUG

RPC = "\n[reset]$ "
TARGET = "\n[reset]target$ "
WRONG_NUMBER = "wrong number of parameters\r\n"
NO_LIST = "error: the add_listentry cmd only works at list's workspace \r\n"
NO_KEYS = "failed to get list's key:value \r\n"
PORT = "\n/acme/box/port$ "
ROUTE = "\n/acme/box/route$ "
pytestmark = pytest.mark.usefixtures("example")


def exists(key):
    return f"key:{key} already exist!, use ls cmd to see the current keys\r\n"


def edits(machine):
    return [text for text in machine.tarnd.requests if "<edit-config>" in text]


def in_port(machine, *steps):
    return machine.dialogue(*go("acme", "box", "port"), *steps, end=PORT)


def keys_of(*keys):
    entries = "".join(f"<port><id>{key}</id></port>" for key in keys)
    return f'<box xmlns="urn:acme">{entries}</box>'


def test_keys_that_are_full_of_signs(machine):
    """Each is compared with that of the new entry a few times, not at each sign."""
    others = (30_000 * "id=" + str(number) for number in range(100))
    machine.tarnd.holds("<port>", keys_of(*others))
    line = f'add-listentry id "{2_000_000 * "id="}x"'
    result = machine.session("cd acme", "cd box", "cd port", line, "quit")
    assert result.stdout.endswith(f'x"\n{PORT}quit\n'.encode())


ENTRIES = [
    ("1", "1"),
    ('"a b"', "a b"),
    ("'a b'", "a b"),
    ("a/b", "a/b"),
    ("::1", "::1"),
    ("/", "/"),
    ('"/a b:c/"', "/a b:c/"),
    ('"x=1,[y]"', "x=1,[y]"),
    ("'say \"hi you\"'", "say &quot;hi you&quot;"),
    ('"it\'s me"', "it's me"),
    ("it's", "it's"),
    ("<&>", "&lt;&amp;&gt;"),
    ("ä€😀", "ä€😀"),
    ("%s%n", "%s%n"),
]


@pytest.mark.parametrize("typed, sent", ENTRIES)
def test_an_entry_is_staged(machine, typed, sent):
    in_port(machine, (PORT, f"add-listentry id {typed}", ""), (PORT, "commit", printed_ok(2)))
    assert machine.tarnd.requests == [
        get_config(PORT_KEYS),
        box(f"<port><id>{sent}</id></port>", 2),
    ]


@pytest.mark.parametrize("typed, sent", ENTRIES)
def test_a_second_time_it_exists(machine, typed, sent):
    in_port(
        machine,
        (PORT, f"add-listentry id {typed}", ""),
        (PORT, f"add-listentry id {typed}", exists(f"port[id={typed}]")),
        (PORT, "commit", printed_ok(2)),
    )
    assert edits(machine) == [box(f"<port><id>{sent}</id></port>", 2)]


@pytest.mark.parametrize(
    "typed, held",
    [
        ("1", "1"),
        ("ge-0/0/1", "ge-0/0/1"),
        ("fe80::1", "fe80::1"),
        ('"a b"', "a b"),
        ('"x=1,[y]"', "x=1,[y]"),
        ('"a b/c:d"', "a b/c:d"),
        ("<&", "&lt;&amp;"),
    ],
)
def test_an_entry_that_the_server_holds(machine, typed, held):
    machine.tarnd.holds("<port>", keys_of("other", held))
    in_port(
        machine,
        (PORT, f"add-listentry id {typed}", exists(f"port[id={typed}]")),
        (PORT, "commit", NOTHING_STAGED),
    )
    assert machine.tarnd.requests == [get_config(PORT_KEYS)]


def test_another_entry_than_the_servers(machine):
    machine.tarnd.holds("<port>", keys_of("1", "111", "1 1"))
    in_port(machine, (PORT, "add-listentry id 11", ""), (PORT, "commit", printed_ok(2)))
    assert edits(machine) == [box("<port><id>11</id></port>", 2)]


@pytest.mark.parametrize("keys", ["via v dest d", "dest d via v"])
def test_keys_in_either_order(machine, keys):
    machine.dialogue(
        *go("acme", "box", "route"),
        (ROUTE, f"add-listentry {keys}", ""),
        (ROUTE, "add-listentry dest d via v", exists("route[dest=d,via=v]")),
        (ROUTE, "add-listentry via v dest d", exists("route[dest=d,via=v]")),
        (ROUTE, "add-listentry via d dest v", ""),
        (ROUTE, "set route[dest=d,via=v]/metric 1", ""),
        (ROUTE, "commit", printed_ok(3)),
    )
    assert edits(machine) == [
        box(
            "<route><dest>v</dest><via>d</via></route>"
            "<route><dest>d</dest><via>v</via><metric>1</metric></route>",
            3,
        )
    ]


def test_keys_with_everything_in_them(machine):
    machine.dialogue(
        *go("acme", "box", "route"),
        (ROUTE, 'add-listentry via "a b" dest \'10.0.0.0/8,"x"\'', ""),
        (ROUTE, "commit", printed_ok(2)),
    )
    assert edits(machine) == [
        box("<route><dest>10.0.0.0/8,&quot;x&quot;</dest><via>a b</via></route>", 2)
    ]


def test_the_servers_keys_in_any_order(machine):
    machine.tarnd.holds(
        "<route>", '<box xmlns="urn:acme"><route><via>v</via><dest>a/b</dest></route></box>'
    )
    machine.dialogue(
        *go("acme", "box", "route"),
        (ROUTE, "add-listentry via v dest a/b", exists("route[dest=a/b,via=v]")),
    )


def test_a_list_of_another_module(machine):
    lamp = "\n/acme/box/extra:lamp$ "
    machine.dialogue(
        *go("acme", "box", "extra:lamp"),
        (lamp, "add-listentry id a:b", ""),
        (lamp, "add-listentry id a:b", exists("extra:lamp[id=a:b]")),
        (lamp, "commit", printed_ok(2)),
    )
    assert edits(machine) == [box('<lamp xmlns="urn:extra"><id>a:b</id></lamp>', 2)]


@pytest.mark.parametrize("words", ["", " id", " id 1 x", " via v dest"])
def test_the_number_of_words(machine, words):
    in_port(
        machine, (PORT, f"add-listentry{words}", WRONG_NUMBER), (PORT, "commit", NOTHING_STAGED)
    )
    assert machine.tarnd.requests == []


def test_the_number_of_words_counts_first(machine):
    machine.dialogue((ROOT, "add-listentry id", WRONG_NUMBER))


@pytest.mark.parametrize(
    "words, log",
    [
        ("key 1", "[DEBUG] invalid key:key\n"),
        ("ID 1", "[DEBUG] invalid key:ID\n"),
        ("mtu 1", "[DEBUG] invalid key:mtu\n"),
        ("id 1 mtu 2", "[DEBUG] expect 1 kvs but 2 in fact\n"),
        ("id 1 id 1", "[DEBUG] expect 1 kvs but 2 in fact\n"),
    ],
)
def test_wrong_keys(machine, words, log):
    in_port(machine, (PORT, f"add-listentry {words}", NO_KEYS), (PORT, "commit", NOTHING_STAGED))
    assert machine.tarnd.requests == []
    assert machine.log.texts(DEBUG) == [(DEBUG, log)]


def test_too_few_keys(machine):
    machine.dialogue(*go("acme", "box", "route"), (ROUTE, "add-listentry via 1", NO_KEYS))
    assert machine.log.texts(DEBUG) == [(DEBUG, "[DEBUG] expect 2 kvs but 1 in fact\n")]


@pytest.mark.parametrize(
    "names",
    [(), ("acme",), ("acme", "box"), ("acme", "box", "tag"), ("acme", "box", "port", "port[id=1]")],
)
def test_a_workspace_that_is_no_list(machine, names):
    machine.tarnd.holds("<port>", keys_of("1"))
    prompt = at("/" + "/".join(names)).replace("port/port", "port") if names else ROOT
    machine.dialogue(
        *go(*names[:3]),
        *((PORT, f"cd {name}", "") for name in names[3:]),
        (prompt, "add-listentry id 1", NO_LIST),
        (prompt, "commit", NOTHING_STAGED),
    )


def test_below_an_entry(machine):
    machine.tarnd.holds("<port>", keys_of("1"))
    qos = "\n/acme/box/port[id=1]/qos$ "
    in_entry = "\n/acme/box/port[id=1]$ "
    machine.dialogue(
        *go("acme", "box", "port"),
        (PORT, "cd port[id=1]", ""),
        (in_entry, "cd qos", ""),
        (qos, "add-listentry id 1", NO_LIST),
    )


STATES = Schema(
    module(
        "acme",
        "urn:acme",
        container(
            "box",
            list_("peer", ["id"], leaf("id"), config=False),
            list_("line", [], leaf("text")),
            container("state", leaf("x"), config=False),
        ),
    )
)


@pytest.mark.parametrize("name", ["peer", "state"])
def test_state_data(machine, name):
    machine.load(STATES)
    path = f"/acme/box/{name}"
    machine.dialogue(
        *go("acme", "box", name),
        (at(path), "add-listentry id 1", f"{path}'s  not config node.\r\n"),
        (at(path), "commit", NOTHING_STAGED),
    )


def test_an_entry_of_state_data_is_no_list(machine):
    """A predicate counts before what the node is."""
    machine.load(STATES)
    machine.tarnd.holds("<peer>", '<box xmlns="urn:acme"><peer><id>1</id></peer></box>')
    entry = at("/acme/box/peer[id=1]")
    machine.dialogue(
        *go("acme", "box", "peer", "peer[id=1]"), (entry, "add-listentry id 1", NO_LIST), end=entry
    )


def test_a_list_without_keys(machine):
    machine.load(STATES)
    line = "\n/acme/box/line$ "
    no_keys = "failed to get list's keys \r\n"
    machine.dialogue(*go("acme", "box", "line"), (line, "add-listentry id 1", no_keys))


FORGETTING = [
    ("delete port[id=a]", ""),
    ("delete /acme/box", ""),
    ("delete ../port", ""),
    ("discard_changes", DISCARDED),
]


@pytest.mark.parametrize("line, output", FORGETTING)
def test_what_forgets_an_entry(machine, line, output):
    in_port(
        machine,
        (PORT, "add-listentry id a", ""),
        (PORT, line, output),
        (PORT, "add-listentry id a", ""),
        (PORT, "add-listentry id a", exists("port[id=a]")),
    )


@pytest.mark.parametrize(
    "line",
    [
        "delete port[id=a]/mtu",
        "delete port[id=b]",
        "delete ../route",
        "delete ../name",
        "set port[id=a]/mtu 1",
    ],
)
def test_what_forgets_no_entry(machine, line):
    in_port(
        machine,
        (PORT, "add-listentry id b", ""),
        (PORT, "add-listentry id a", ""),
        (PORT, line, ""),
        (PORT, "add-listentry id a", exists("port[id=a]")),
    )


def test_a_commit_forgets_every_entry(machine):
    in_port(
        machine,
        (PORT, "add-listentry id a", ""),
        (PORT, "commit", printed_ok(2)),
        (PORT, "add-listentry id a", ""),
        (PORT, "commit", printed_ok(4)),
    )
    assert edits(machine) == [box("<port><id>a</id></port>", number) for number in (2, 4)]


def test_an_entry_that_is_deleted_and_added_again(machine):
    in_port(
        machine,
        (PORT, "add-listentry id a/1", ""),
        (PORT, "set port[id=a/1]/mtu 9", ""),
        (PORT, "delete port[id=a/1]", ""),
        (PORT, "add-listentry id a/1", ""),
        (PORT, "commit", printed_ok(4)),
    )
    # an entry that was itself staged keeps what is staged below it
    assert edits(machine) == [box("<port><id>a/1</id><mtu>9</mtu></port>", 4)]


def test_an_entry_that_is_only_above_a_leaf_can_be_added(machine):
    in_port(
        machine,
        (PORT, "set port[id=a]/mtu 9", ""),
        (PORT, "set port[id=b]/mtu 9", ""),
        (PORT, "add-listentry id a", ""),
        (PORT, "commit", printed_ok(2)),
    )
    entries = "".join(f"<port><id>{key}</id><mtu>9</mtu></port>" for key in "ba")
    assert edits(machine) == [box(entries, 2)]


@pytest.mark.parametrize(
    "answer, log",
    [
        ("no xml", "[DEBUG] Receive a invalid xml document.\n"),
        (daemon.close, "[DEBUG] recv get msg reply error\n"),
    ],
)
def test_a_server_that_does_not_answer_well(machine, answer, log):
    """Nobody is known to hold the entry: it is added."""
    machine.tarnd.on_request = lambda request: answer
    in_port(
        machine,
        (PORT, "add-listentry id a", ""),
        (PORT, "add-listentry id a", exists("port[id=a]")),
        (PORT, "get-config -l", '<box xmlns="urn:acme"><port><id>a</id></port></box>\n'),
    )
    assert (DEBUG, log) in machine.log.texts(DEBUG)


class TestRpcMode:
    def test_an_entry(self, machine):
        machine.tarnd.holds("target", "<target><name>a b</name></target>")
        machine.dialogue(
            (ROOT, "/acme/reset", ""),
            (RPC, "cd target", ""),
            (TARGET, 'add-listentry name "a b"', ""),
            (TARGET, 'add-listentry name "a b"', exists('target[name="a b"]')),
            (TARGET, "add-listentry name x/y", ""),
            (TARGET, "set target[name=x/y]/depth 2", ""),
            (TARGET, "commit", printed_ok(1)),
            end=at("/acme"),
        )
        assert machine.tarnd.requests == [
            invoke(
                '<reset xmlns="urn:acme"><target><name>x/y</name><depth>2</depth></target>'
                "<target><name>a b</name></target></reset>"
            )
        ]

    @pytest.mark.parametrize(
        "prompt, steps", [(RPC, []), ("\n[reset]how$ ", [(RPC, "cd how", "")])]
    )
    def test_where_no_list_is(self, machine, prompt, steps):
        machine.dialogue(
            (ROOT, "/acme/reset", ""),
            *steps,
            (prompt, "add-listentry name a", NO_LIST),
            (prompt, "quit", DISCARDED),
            end=at("/acme"),
        )

    @pytest.mark.parametrize("words", ["", " name", " name a x"])
    def test_the_number_of_words(self, machine, words):
        machine.dialogue(
            (ROOT, "/acme/reset", ""),
            (RPC, "cd target", ""),
            (TARGET, f"add-listentry{words}", WRONG_NUMBER),
            (TARGET, "quit", DISCARDED),
            end=at("/acme"),
        )

    def test_discard_forgets_only_the_entries_of_the_rpc(self, machine):
        machine.dialogue(
            *go("acme", "box", "port"),
            (PORT, "add-listentry id a", ""),
            (PORT, "/acme/reset", ""),
            (RPC, "cd target", ""),
            (TARGET, "add-listentry name a", ""),
            (TARGET, "discard_changes", DISCARDED),
            (TARGET, "add-listentry name a", ""),
            (TARGET, "commit", printed_ok(2)),
            (at("/acme"), "cd box", ""),
            (at("/acme/box"), "cd port", ""),
            (PORT, "add-listentry id a", exists("port[id=a]")),
            (PORT, "commit", printed_ok(3)),
            end=PORT,
        )
        assert machine.tarnd.requests[1:] == [
            invoke('<reset xmlns="urn:acme"><target><name>a</name></target></reset>', 2),
            box("<port><id>a</id></port>", 3),
        ]
