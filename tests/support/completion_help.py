"""What the tests of '?' walk through, and how they read what it writes.

Records stay below 64 bytes: then the database keeps the order of the fields.
"""

from .prompt import BELL
from .schema_db import Schema, case, choice, container, leaf, leaf_list, list_, module, rpc

SCHEMA = Schema(
    module(
        "acme",
        "urn:acme",
        leaf("hostname", help="Name of the box. [string 1..64]"),
        leaf("hostkey"),
        container(
            "box",
            leaf("size", help="Units. [uint8, 1..4, default 1]"),
            leaf_list("tag", help="Free text."),
            list_(
                "port",
                ["id"],
                leaf("id", help="Its number."),
                leaf("mtu", help="Bytes. [uint16]"),
                help="The ports. [keys: id]",
            ),
            list_("route", ["via", "dest"], leaf("via"), leaf("dest")),
            help="What it is made of.",
        ),
        container(
            "link",
            leaf("mode", help="Up or down."),
            choice(
                "transport",
                case("tcp", leaf("tcp-port", help="A port.")),
                case("udp", leaf("udp-port")),
            ),
        ),
        container("empty"),
        rpc("reset", leaf("delay", help="Seconds."), help="Starts again."),
        rpc("restart"),
    ),
    module("lab", "urn:lab"),
)
PATH_ROW = "      path    schema        yang module schema tree path\n"


def at_root(listing, line):
    """The bytes of a listing below which the prompt is drawn again."""
    return (listing + "/$ " + line).replace("\n", "\r\n").encode() + BELL


def at(workspace, listing, line):
    text = listing + f"\n{workspace}$ " + line
    return text.replace("\n", "\r\n").encode() + BELL
