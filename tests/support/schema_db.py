"""Schema records for the database, described as a tree and packed by hand.

    schema = Schema(
        module("acme", "urn:acme",
               container("box",
                         leaf("name", help="its name"),
                         list_("port", ["id"], leaf("id", "uint8"), leaf("mtu", "uint16")))))

A node of another module below a node is named "module:name", as in every path
that goes through it. `record=` replaces a node's packed record by given bytes,
`kind=` its kind, for databases that are not as they should be.
"""

import struct

import redis

DATABASE = 4
CONTAINER, LEAF, LEAF_LIST, LIST, CHOICE, CASE, RPC, INPUT = range(1, 9)
NODE = struct.Struct("<H10xhh2xh")


def node_record(kind, config=True, type_name="", help_text=""):
    """A node record: flags, offsets, and the strings that the offsets find."""
    strings = b"\0"
    type_offset = help_offset = 0
    if type_name:
        type_offset = len(strings)
        strings += type_name.encode() + b"\0"
    if help_text:
        help_offset = len(strings)
        strings += help_text.encode() + b"\0"
    flags = (1 if config else 0) | kind << 6
    return NODE.pack(flags, help_offset, type_offset, len(strings)) + strings


def module_record(namespace):
    return bytes(43) + namespace.encode() + b"\0"


class Node:
    def __init__(self, shape, name, children=(), keys=(), **options):
        self.shape = shape
        self.kind = options.pop("kind", shape)
        self.name = name
        self.children = list(children)
        self.keys = list(keys)
        self.config = options.pop("config", None)
        self.type_name = options.pop("type_name", "")
        self.help = options.pop("help", "")
        self.record = options.pop("record", None)
        if options:
            raise TypeError(f"unknown options: {options}")

    def packed(self, config):
        if self.record is not None:
            return self.record
        return node_record(self.kind, config, self.type_name, self.help)


def container(name, *children, **options):
    return Node(CONTAINER, name, children, **options)


def leaf(name, type_name="string", **options):
    return Node(LEAF, name, type_name=type_name, **options)


def leaf_list(name, type_name="string", **options):
    return Node(LEAF_LIST, name, type_name=type_name, **options)


def list_(name, keys, *children, **options):
    return Node(LIST, name, children, keys, **options)


def choice(name, *cases, **options):
    return Node(CHOICE, name, cases, **options)


def case(name, *children, **options):
    return Node(CASE, name, children, **options)


def rpc(name, *parameters, with_input=True, **options):
    inner = [Node(INPUT, "input", parameters)] if with_input else []
    return Node(RPC, name, inner, **options)


def other(name, kind, *children, **options):
    """A node of any kind that is stored like a container."""
    return Node(CONTAINER, name, children, kind=kind, **options)


class Module:
    def __init__(self, name, namespace, children, record=None):
        self.name = name
        self.children = children
        self.record = module_record(namespace) if record is None else record


def module(name, namespace, *children, record=None):
    return Module(name, namespace, children, record)


class Schema:
    """The hashes of a database: {path: {child's name: record}}."""

    def __init__(self, *modules):
        self.hashes = {"/": {}}
        for one in modules:
            self.hashes["/"][one.name] = one.record
            self._add_children("/" + one.name, one.children, True)

    def _add_children(self, path, children, config):
        for child in children:
            own = config if child.config is None else child.config
            self.hashes.setdefault(path, {})[child.name] = child.packed(own)
            self._add_below(f"{path}/{child.name}", child, own)

    def _add_below(self, path, node, config):
        if node.shape != LIST:
            self._add_children(path, node.children, config)
            return
        self._add_children(path + "[]", node.children, config)
        for key in node.keys:
            name = key.partition(":")[2] or key
            record = self.hashes[path + "[]"].get(key) or self.hashes[path + "[]"][name]
            self.hashes.setdefault(path, {})[key] = record

    def load(self, socket_path):
        """Makes this schema the content of the database."""
        with redis.Redis(unix_socket_path=socket_path, db=DATABASE) as client:
            pipe = client.pipeline(transaction=True)
            pipe.flushdb()
            for path, fields in self.hashes.items():
                if fields:
                    pipe.hset(path, mapping=fields)
            pipe.execute()
