"""What the tests of Tab walk through, and how they read what it writes."""

from .schema_db import Schema, case, choice, container, leaf, leaf_list, list_, module, rpc

SCHEMA = Schema(
    module(
        "acme",
        "urn:acme",
        leaf("hostname"),
        container(
            "box",
            leaf("size"),
            leaf_list("tag"),
            list_("port", ["id"], leaf("id"), leaf("mtu"), container("qos", leaf("dscp"))),
            list_("route", ["via", "dest"], leaf("via"), leaf("dest"), leaf("metric")),
            leaf("station"),
            leaf("state"),
        ),
        container(
            "link",
            leaf("mode"),
            choice(
                "transport",
                case("tcp", leaf("tcp-port"), choice("more", case("deep", container("tcp-deep")))),
                case("udp", leaf("udp-port")),
            ),
        ),
        container("empty"),
        rpc("reset", leaf("delay"), container("how", leaf("mode"))),
        rpc("restart"),
        rpc("compose"),
    ),
    module("lab", "urn:lab", container("shelf", leaf("height"))),
)


def in_columns(prompt, line, *rows):
    """What is written when candidates are listed below the line."""
    return "".join(row + "\r\n" for row in ("", *rows)) + prompt.replace("\n", "\r\n") + line


def tab(prompt, line):
    """What Tab writes on this line, as text."""
    return prompt.tab(line).decode()


def entry(*pairs):
    return "".join(f"<{key}>{value}</{key}>" for key, value in pairs)


def ports(machine, *values):
    entries = "".join(f"<port>{entry(('id', value))}</port>" for value in values)
    inner = f'<acme xmlns="urn:acme"></acme><box xmlns="urn:acme">{entries}</box>'
    machine.tarnd.holds("<port>", inner)
