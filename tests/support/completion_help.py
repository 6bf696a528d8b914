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
COMMANDS = (
    "\n"
    "  help               Display the help information. (help [cmd])\n"
    "  cd                 Change the current workspace. (cd path)\n"
    "  ls                 List subordinate configurable nodes. \n"
    "  pwd                Print the current workspace. \n"
    '  set                Set value of the configurable node. (set key value|"v1 v2")\n'
    "  delete             Delete value of the configurable node. \n"
    "  discard_changes    Delete local data. \n"
    "  get                Get value of the configurable node. \n"
    "  get-config         Get value from local, running or startup database. "
    "(get-config -r|-s path or get-config -l [path])\n"
    "  copy-config        Copy source database to target database.\n"
    "  commit             Record changes to the server. \n"
    "  save               Save running database to startup database. \n"
    "  add-listentry      Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)\n"
    "  export-config      Export running or startup database to file. "
    "(export-config running|startup path)\n"
    "  import-config      Import data to running or startup database from file. "
    "(import-config file running|startup)\n"
    "  quit               Quit vandel or quit rpc mode.\n"
    "  delete-config      Delete startup database.\n"
)
PATH_ROW = "      path    schema        yang module schema tree path\n"
GET_CONFIG_ROWS = (
    "        -l      location        vandel local path\n"
    "        -r      location        running path\n"
    "        -s      location        startup path\n"
    "        path    schema          yang module schema tree path\n"
    "        path    schema          yang module schema tree path\n"
    "        path    schema          yang module schema tree path\n"
)
ROOT = "path:\n  lab/     \n  acme/    \n"


def walk(prompt, *names):
    for name in names:
        prompt.run(f"cd {name}")


def at_root(listing, line):
    """The bytes of a listing below which the prompt is drawn again."""
    return (listing + "/$ " + line).replace("\n", "\r\n").encode() + BELL


def at(workspace, listing, line):
    text = listing + f"\n{workspace}$ " + line
    return text.replace("\n", "\r\n").encode() + BELL


LIST_KEY_ROWS = (
    "\n  add-listentry    Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)\n"
    "              list-key     list_key        A leaf is a key in the list.\n"
    "              key-value    string          the value of a leaf which is a key in the list.\n"
)
