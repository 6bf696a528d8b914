"""get and get-config: requests as whole texts, and every refusal."""

import pytest
from support import tarnd as daemon
from support.example import EXAMPLE, get, get_config, printed_no_data
from support.schema_db import Schema, container, leaf, module
from support.shell import DEBUG, ERROR

GET_USAGE = "error command, please use:get path\r\n "
GET_CONFIG_USAGE = "please input : get-config -r|-s path or get-config -l [path]\r\n"

FILTERS = [
    ("/acme/hostname", '<hostname xmlns="urn:acme"></hostname>'),
    ("/acme/box", '<box xmlns="urn:acme"></box>'),
    ("acme/box", '<box xmlns="urn:acme"></box>'),
    ("./acme/box/", '<box xmlns="urn:acme"></box>'),
    ("//acme//box/./inner/..", '<box xmlns="urn:acme"></box>'),
    ("/acme/box/name", '<box xmlns="urn:acme"><name></name></box>'),
    ("/acme/box/inner/deep", '<box xmlns="urn:acme"><inner><deep></deep></inner></box>'),
    ("/acme/box/tag", '<box xmlns="urn:acme"><tag></tag></box>'),
    ("/acme/box/port", '<box xmlns="urn:acme"><port></port></box>'),
    ("/acme/box/port[id=1]", '<box xmlns="urn:acme"><port><id>1</id></port></box>'),
    (
        "/acme/box/port[id=1]/mtu",
        '<box xmlns="urn:acme"><port><id>1</id><mtu></mtu></port></box>',
    ),
    (
        "/acme/box/route[via=a,dest=b]/metric",
        '<box xmlns="urn:acme"><route><via>a</via><dest>b</dest><metric></metric></route></box>',
    ),
    (
        "/acme/box/route[dest=b,via=a]",
        '<box xmlns="urn:acme"><route><dest>b</dest><via>a</via></route></box>',
    ),
    # key values with characters that separate elsewhere
    (
        "/acme/box/port[id=1/2/3]/mtu",
        '<box xmlns="urn:acme"><port><id>1/2/3</id><mtu></mtu></port></box>',
    ),
    ("/acme/box/port[id=a:b]", '<box xmlns="urn:acme"><port><id>a:b</id></port></box>'),
    ("/acme/box/port[id=/]", '<box xmlns="urn:acme"><port><id>/</id></port></box>'),
    (
        "/acme/box/route[via=::1/128,dest=10.0.0.0/8]",
        '<box xmlns="urn:acme"><route><via>::1/128</via><dest>10.0.0.0/8</dest></route></box>',
    ),
    ('/acme/box/port[id="a b"]', '<box xmlns="urn:acme"><port><id>a b</id></port></box>'),
    ("/acme/box/port[id='a b']", '<box xmlns="urn:acme"><port><id>a b</id></port></box>'),
    ('/acme/box/port[id="a=[b],c"]', '<box xmlns="urn:acme"><port><id>a=[b],c</id></port></box>'),
    ('/acme/box/port[id="it\'s me"]', '<box xmlns="urn:acme"><port><id>it\'s me</id></port></box>'),
    (
        "/acme/box/port[id='say \"x\"']",
        '<box xmlns="urn:acme"><port><id>say &quot;x&quot;</id></port></box>',
    ),
    # quotes around nothing that needs them belong to the value
    ('/acme/box/port[id="ab"]', '<box xmlns="urn:acme"><port><id>&quot;ab&quot;</id></port></box>'),
    ("/acme/box/port[id='ab']", "<box xmlns=\"urn:acme\"><port><id>'ab'</id></port></box>"),
    ("/acme/box/port[id=<&>]", '<box xmlns="urn:acme"><port><id>&lt;&amp;&gt;</id></port></box>'),
    # nodes of another module
    (
        "/acme/box/extra:badge",
        '<box xmlns="urn:acme"><badge xmlns="urn:extra"></badge></box>',
    ),
    (
        "/acme/box/extra:paint/shade",
        '<box xmlns="urn:acme"><paint xmlns="urn:extra"><shade></shade></paint></box>',
    ),
    (
        "/acme/box/extra:paint/acme:gloss",
        '<box xmlns="urn:acme"><paint xmlns="urn:extra">'
        '<gloss xmlns="urn:acme"></gloss></paint></box>',
    ),
    (
        "/acme/box/extra:lamp[id=7]/color",
        '<box xmlns="urn:acme"><lamp xmlns="urn:extra"><id>7</id><color></color></lamp></box>',
    ),
    # nodes of choices, at any depth
    ("/acme/link/tcp-port", '<link xmlns="urn:acme"><tcp-port></tcp-port></link>'),
    (
        "/acme/link/udp-options/ttl",
        '<link xmlns="urn:acme"><udp-options><ttl></ttl></udp-options></link>',
    ),
    ("/acme/deep/b2", '<deep xmlns="urn:acme"><b2></b2></deep>'),
    ("/extra/shelf/height", '<shelf xmlns="urn:extra"><height></height></shelf>'),
]


@pytest.mark.parametrize("path, body", FILTERS)
def test_get_sends_the_whole_text(machine, path, body):
    machine.load(EXAMPLE)
    machine.dialogue(("/$ ", f"get {path}", printed_no_data(1)))
    assert machine.tarnd.requests == [get(body)]


@pytest.mark.parametrize("path, body", FILTERS)
def test_get_config_sends_the_whole_text(machine, path, body):
    machine.load(EXAMPLE)
    machine.dialogue(
        ("/$ ", f"get-config -r {path}", printed_no_data(1)),
        ("/$ ", f"get-config -s {path}", printed_no_data(2)),
    )
    assert machine.tarnd.requests == [get_config(body, 1), get_config(body, 2, "startup")]


def test_state_data_is_read_by_get_alone(machine):
    machine.load(EXAMPLE)
    machine.dialogue(
        ("/$ ", "get /acme/box/uptime", printed_no_data(1)),
        ("/$ ", "get-config -r /acme/box/uptime", "/acme/box/uptime's not config node.\r\n"),
        (
            "/$ ",
            "get-config -s acme/box/inner/state",
            "/acme/box/inner/state's not config node.\r\n",
        ),
        ("/$ ", "get acme/box/inner/state/load", printed_no_data(2)),
    )
    assert machine.tarnd.requests == [
        get('<box xmlns="urn:acme"><uptime></uptime></box>', 1),
        get('<box xmlns="urn:acme"><inner><state><load></load></state></inner></box>', 2),
    ]


def test_paths_are_relative_to_the_workspace(machine):
    machine.load(EXAMPLE)
    name = '<box xmlns="urn:acme"><name></name></box>'
    machine.dialogue(
        ("/$ ", "cd acme", ""),
        ("\n/acme$ ", "cd box", ""),
        ("\n/acme/box$ ", "get name", printed_no_data(1)),
        ("\n/acme/box$ ", "get ./name", printed_no_data(2)),
        ("\n/acme/box$ ", "get ../box/name", printed_no_data(3)),
        ("\n/acme/box$ ", "get-config -r inner/../name", printed_no_data(4)),
        ("\n/acme/box$ ", "get .", printed_no_data(5)),
    )
    assert machine.tarnd.requests == [
        get(name, 1),
        get(name, 2),
        get(name, 3),
        get_config(name, 4),
        get('<box xmlns="urn:acme"></box>', 5),
    ]


def test_an_entry_is_named_from_its_lists_workspace(machine):
    machine.load(EXAMPLE)
    machine.tarnd.holds("<port>", '<box xmlns="urn:acme"><port><id>1</id></port></box>')
    machine.dialogue(
        ("/$ ", "cd acme", ""),
        ("\n/acme$ ", "cd box", ""),
        ("\n/acme/box$ ", "cd port", ""),
        ("\n/acme/box/port$ ", "get mtu", "error parameter: mtu\r\n"),
        ("\n/acme/box/port$ ", "get-config -r porter[id=1]", "error parameter: porter[id=1]\r\n"),
        end="\n/acme/box/port$ ",
    )
    shell = machine.session("cd acme", "cd box", "cd port", "get port[id=1]/mtu", "quit")
    assert shell.status == 0
    assert machine.tarnd.requests == [
        get('<box xmlns="urn:acme"><port><id>1</id><mtu></mtu></port></box>', 1)
    ]


@pytest.mark.parametrize("line", ["get", "get /acme/box name", "get a b c", "get "])
def test_the_usage_of_get(machine, line):
    machine.load(EXAMPLE)
    machine.dialogue(("/$ ", line, GET_USAGE))
    assert machine.tarnd.requests == []


@pytest.mark.parametrize(
    "line",
    [
        "get-config",
        "get-config /acme/box",
        "get-config -r",
        "get-config -s",
        "get-config -r /acme/box more",
        "get-config -x /acme/box",
        "get-config -rr /acme/box",
        "get-config -r/acme/box",
        "get-config -- /acme/box",
        "get-config - /acme/box",
        "get-config /acme/box -r",
        "get-config ab",
    ],
)
def test_the_usage_of_get_config(machine, line):
    machine.load(EXAMPLE)
    result = machine.dialogue(("/$ ", line, GET_CONFIG_USAGE))
    assert result.stderr == b""
    assert machine.tarnd.requests == []


def test_options_are_parsed_anew_each_time(machine):
    machine.load(EXAMPLE)
    body = '<empty xmlns="urn:acme"></empty>'
    machine.dialogue(
        ("/$ ", "get-config -x y", GET_CONFIG_USAGE),
        ("/$ ", "get-config -r /acme/empty", printed_no_data(1)),
        ("/$ ", "get-config -r", GET_CONFIG_USAGE),
        ("/$ ", "get-config -s /acme/empty", printed_no_data(2)),
    )
    assert machine.tarnd.requests == [get_config(body, 1), get_config(body, 2, "startup")]


@pytest.mark.parametrize("command", ["get", "get-config -r", "get-config -s"])
@pytest.mark.parametrize(
    "path",
    ["/acme/nothing", "..", "/acme/box/name/x", "nothing", "/acme/..x", "/acme/box/../../..", "-s"],
)
def test_a_path_that_leads_nowhere(machine, command, path):
    machine.load(EXAMPLE)
    machine.dialogue(("/$ ", f"{command} {path}", f"error parameter: {path}\r\n"))
    assert machine.tarnd.requests == []


@pytest.mark.parametrize("command", ["get", "get-config -r", "get-config -s"])
def test_a_module_is_no_config_node(machine, command):
    machine.load(EXAMPLE)
    machine.dialogue(
        ("/$ ", f"{command} /acme", "/acme's not config node.\r\n"),
        ("/$ ", f"{command} extra", "/extra's not config node.\r\n"),
    )
    assert machine.tarnd.requests == []


def test_messages_show_what_was_typed(machine):
    machine.load(EXAMPLE)
    machine.dialogue(
        ("/$ ", 'get "a b=[1,2]"', 'error parameter: "a b=[1,2]"\r\n'),
        ("/$ ", "get /acme/x[k='a b/c:d']", "error parameter: /acme/x[k='a b/c:d']\r\n"),
        ("/$ ", "get %s%n", "error parameter: %s%n\r\n"),
    )


def test_the_resolved_path_is_shown_unmasked(machine):
    machine.load(
        Schema(
            module(
                "m",
                "urn:m",
                container("c", leaf("x", config=False)),
            )
        )
    )
    machine.dialogue(("/$ ", "get-config -r m//c/./x/", "/m/c/x's not config node.\r\n"))


def test_a_filter_that_does_not_fit(machine):
    machine.load(EXAMPLE)
    path = f"/acme/box/port[id={'9' * 4000}]"
    machine.dialogue(
        ("/$ ", f"get-config -r {path}", "fail !!\r\n"),
        ("/$ ", f"get {path}", ""),
        # both requests had taken their ids
        ("/$ ", "get /acme/empty", printed_no_data(3)),
    )
    assert machine.tarnd.requests == [get('<empty xmlns="urn:acme"></empty>', 3)]
    assert (ERROR, "[ERROR] failed to build netconf get msg!\n") in machine.log.texts(ERROR)
    assert (DEBUG, "[DEBUG] buf is not enough!\n") in machine.log.texts(DEBUG)


def test_the_biggest_filter_that_fits(machine):
    machine.load(EXAMPLE)
    room = 4096 - 1 - len(get('<box xmlns="urn:acme"><port><id></id></port></box>'))
    machine.dialogue(("/$ ", f"get /acme/box/port[id={'9' * room}]", printed_no_data(1)))
    (request,) = machine.tarnd.requests
    assert len(request) == 4095
    over = "9" * (room + 1)
    machine.dialogue(("/$ ", f"get /acme/box/port[id={over}]", ""))


@pytest.mark.parametrize("command", ["get-config -r", "get-config -s"])
def test_a_reply_that_does_not_come(machine, command):
    machine.load(EXAMPLE)
    machine.tarnd.on_request = lambda request: [daemon.close]
    machine.dialogue(("/$ ", f"{command} /acme/empty", "recv error!\r\n"))


def test_a_missing_namespace(machine):
    short = bytes(42)
    machine.load(Schema(module("m", "", container("c", leaf("x")), record=short)))
    machine.dialogue(("/$ ", "get-config -r /m/c", "fail !!\r\n"), ("/$ ", "get /m/c", ""))
    assert machine.tarnd.requests == []


def test_an_empty_namespace(machine):
    machine.load(Schema(module("m", "", container("c", leaf("x")), record=bytes(43))))
    machine.dialogue(("/$ ", "get /m/c/x", printed_no_data(1)))
    assert machine.tarnd.requests == [get('<c xmlns=""><x></x></c>')]


def test_a_namespace_is_escaped_and_ends_with_its_record(machine):
    machine.load(Schema(module("m", "", container("c"), record=bytes(43) + b'urn:a&b"c<d')))
    machine.dialogue(("/$ ", "get /m/c", printed_no_data(1)))
    assert machine.tarnd.requests == [get('<c xmlns="urn:a&amp;b&quot;c&lt;d"></c>')]


def test_the_reply_is_shown_indented(machine):
    machine.load(EXAMPLE)
    machine.tarnd.holds("<box", '<box xmlns="urn:acme"><name>n&amp;1</name><tag>a</tag></box>')
    machine.dialogue(
        (
            "/$ ",
            "get /acme/box",
            "\r\n"
            '<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">\n'
            "  <data>\n"
            '    <box xmlns="urn:acme">\n'
            "      <name>\n"
            "        n&1\n"
            "      </name>\n"
            "      <tag>\n"
            "        a\n"
            "      </tag>\n"
            "    </box>\n"
            "  </data>\n"
            "</rpc-reply>\n",
        )
    )
