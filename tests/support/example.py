"""The schema that most tests walk through, and the texts of requests.

Records stay below 64 bytes: then the database keeps the order of the fields,
and the order of a listing can be asserted.
"""

from .prompts import ROOT
from .schema_db import Schema, case, choice, container, leaf, leaf_list, list_, module, other, rpc
from .tarnd import notification

EVENT = notification("<event/>")
PRINTED_EVENT = (
    '<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">\n'
    "  <eventTime>\n"
    "    2024-01-02T03:04:05Z\n"
    "  </eventTime>\n"
    "  <event/>\n"
    "  </notification>\n"
)

EXAMPLE = Schema(
    module(
        "acme",
        "urn:acme",
        leaf("hostname", help="its name"),
        container(
            "box",
            leaf("name"),
            leaf("size", "uint8"),
            leaf("kind", "identityref"),
            leaf("any", "union"),
            leaf("flag", "empty"),
            leaf("uptime", "uint32", config=False),
            leaf_list("tag"),
            container("inner", leaf("deep"), container("state", leaf("load"), config=False)),
            list_(
                "port", ["id"], leaf("id"), leaf("mtu", "uint16"), container("qos", leaf("dscp"))
            ),
            list_("route", ["via", "dest"], leaf("via"), leaf("dest"), leaf("metric", "uint8")),
            list_("extra:lamp", ["id"], leaf("id"), leaf("color")),
            container("extra:paint", leaf("shade"), leaf("acme:gloss")),
            leaf("extra:badge"),
        ),
        container(
            "link",
            leaf("mode"),
            choice(
                "transport",
                case("tcp", leaf("tcp-port"), leaf("tcp-host")),
                case("udp", leaf("udp-port"), container("udp-options", leaf("ttl"))),
            ),
        ),
        container(
            "deep",
            choice(
                "outer",
                case(
                    "first",
                    leaf("a1"),
                    choice("middle", case("m1", leaf("b1"), leaf("b2")), case("m2", leaf("c1"))),
                ),
                case("second", leaf("d1")),
            ),
        ),
        container("empty"),
        other("odd", 10, leaf("inside")),
        other("strange", 9, leaf("inside")),
        rpc(
            "reset",
            leaf("delay", "uint32"),
            leaf("why", "identityref"),
            leaf_list("who"),
            container("how", leaf("mode"), leaf("force", "empty")),
            list_("target", ["name"], leaf("name"), leaf("depth")),
            choice("when", case("now", leaf("at-once", "empty")), case("later", leaf("time"))),
        ),
        rpc("ping"),
        rpc("bare", with_input=False),
    ),
    module("extra", "urn:extra", container("shelf", leaf("height"))),
)

BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"


def get(body, message_id=1):
    """The whole text of a get request."""
    return (
        f'<rpc xmlns="{BASE}" message-id="{message_id}">\r\n'
        "  <get>\r\n"
        '    <filter type="subtree">\r\n'
        f"{body}"
        "    </filter>\r\n"
        "  </get>\r\n"
        "</rpc>\r\n"
    )


def get_config(body, message_id=1, source="running"):
    """The whole text of a get-config request."""
    return (
        f'<rpc xmlns="{BASE}" message-id="{message_id}">\r\n'
        "  <get-config>\r\n"
        "    <source>\r\n"
        f"      <{source}/>\r\n"
        "    </source>\r\n"
        '    <filter type="subtree">\r\n'
        f"{body}"
        "    </filter>\r\n"
        "  </get-config>\r\n"
        "</rpc>\r\n"
    )


def edit_config(body, message_id=1):
    """The whole text of an edit-config request."""
    return (
        f'<rpc xmlns="{BASE}" message-id="{message_id}">\r\n'
        "  <edit-config>\r\n"
        "    <target>\r\n"
        "      <running/>\r\n"
        "    </target>\r\n"
        "    <error-option>rollback-on-error</error-option>\r\n"
        f'    <config xmlns:xc="{BASE}">\r\n'
        f"{body}"
        "    </config>\r\n"
        "  </edit-config>\r\n"
        "</rpc>\r\n"
    )


DELETE = 'xc:operation="delete"'  # of an element in an edit


def invoke(body, message_id=1):
    """The whole text of a request that invokes an rpc."""
    return f'<rpc xmlns="{BASE}" message-id="{message_id}">\r\n{body}</rpc>\r\n'


def printed_ok(message_id=1):
    """How the reply of a request that succeeded is shown."""
    return (
        "\r\n"
        f'<rpc-reply xmlns="{BASE}" message-id="{message_id}">\n'
        "  <ok/>\n"
        "  </rpc-reply>\n"
    )


def printed_no_data(message_id=1):
    """How the reply of a read that found nothing is shown."""
    return (
        "\r\n"
        f'<rpc-reply xmlns="{BASE}" message-id="{message_id}">\n'
        "  <data>\n"
        "  </data>\n"
        "</rpc-reply>\n"
    )


# What is asked for to know the entries of /acme/box/port.
PORT_KEYS = '<box xmlns="urn:acme"><port><id></id></port></box>'


def box(inner, message_id=1):
    """The whole text of an edit of what the example has at /acme/box."""
    return edit_config(f'<box xmlns="urn:acme">{inner}</box>', message_id)


def committed(machine, *lines, message_id=1):
    """Stages lines at the root, commits, and returns the edit that is sent: the last request."""
    before = len(machine.tarnd.requests)
    steps = [(ROOT, line, "") for line in lines]
    machine.dialogue(*steps, (ROOT, "commit", printed_ok(message_id)))
    assert len(machine.tarnd.requests) - before == message_id
    return machine.tarnd.requests[-1]
