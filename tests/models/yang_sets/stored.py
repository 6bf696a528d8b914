"""What the database holds, compared with what it should hold."""

import struct

from .expected import KINDS

LONGEST_DESCRIPTION = 200
LONGEST_BRACKET = 600


class Comparison:
    """Of the hashes of a database, {key: {field: record}} in their order, with modules.
    `lenders`: the names of other modules that are in it, because they have identities."""

    def __init__(self, hashes, modules, lenders):
        self.hashes = hashes
        self.modules = modules
        self.lenders = lenders
        self.differences = []
        self.nodes = 0
        self.met = {"/"}
        self.compare_modules()
        for key in hashes.keys() - self.met:
            self.say(key, "is there")

    def say(self, place, *what):
        self.differences.append(f"{place}: " + " ".join(map(str, what)))

    def compare_modules(self):
        roots = self.hashes.get("/", {})
        for name, module in self.modules.items():
            if not roots.get(name, b"").endswith(b"\0" + module.namespace.encode() + b"\0"):
                if module.is_met:
                    self.say("/", name, "is not there, or has another namespace")
            self.compare_children("/" + name, name, name, module.nodes)
        for name in roots.keys() ^ self.modules.keys():
            if name in roots and name not in self.lenders:
                self.say("/", name, "is there")
        for name in self.lenders - roots.keys():
            self.say("/", name, "is not there")

    def fields_of(self, key):
        self.met.add(key)
        return self.hashes.get(key, {})

    def compare_children(self, key, module, data_module, nodes):
        """`module` is that of the node around, `data_module` that of the data node."""
        fields = self.fields_of(key)
        names = []
        for node in nodes:
            own, _, name = node.name.rpartition(":")
            around = module if node.kind in ("choice", "case") else data_module
            names.append(name if own == around else node.name)
        if sorted(fields) != sorted(names):
            self.say(key, "has", list(fields), "for", names)
            return
        for field, node in zip(names, nodes):
            self.nodes += 1
            self.compare_record(key, fields[field], node, f"{key}/{field}")
            self.compare_below(f"{key}/{field}", node, data_module)

    def compare_below(self, path, node, data_module):
        module = node.name.partition(":")[0]
        if node.kind not in ("choice", "case"):
            data_module = module
        below = path
        if node.kind == "list":
            below += "[]"
            keys = self.fields_of(path)
            entry = self.fields_of(below)
            if [one.rpartition(":")[2] for one in keys] != node.keys:
                self.say(path, "has the keys", list(keys), "for", node.keys)
            if not keys.items() <= entry.items():
                self.say(path, "has keys that differ from the nodes")
        self.compare_children(below, module, data_module, node.children)

    def compare_record(self, key, record, node, path):
        flags, help_at, type_at, bound = struct.unpack_from("<H10xhhxxh", record)
        strings = record[20:]
        texts = [
            strings[at : strings.index(0, at)].decode() if at else "" for at in (type_at, help_at)
        ]
        wanted = KINDS[node.kind] << 6 | node.config, node.type
        if (flags, texts[0]) != wanted or bound != len(strings):
            self.say(path, "is", (flags, texts[0]), "for", wanted)
        problem = help_problem(texts[1], node)
        if problem:
            self.say(path, "is described as", repr(texts[1]), "without", repr(problem))


def help_problem(text, node):
    """What the help text does not say of a node, though it is known of it."""
    description = " ".join(node.description.split())
    if len(description) > LONGEST_DESCRIPTION:
        description = description[: LONGEST_DESCRIPTION * 3 // 4]
    if not text.startswith(description):
        return description
    if node.kind not in ("leaf", "leaf-list") or len(text) > LONGEST_BRACKET:
        return ""
    start = f"[{node.compiled_type}{node.constraint}"
    if start not in text:  # no deviation has replaced a type that has a name
        start = f"[{node.written_type}{node.constraint}"
    end = f", units {node.units}" if node.units else ""
    end += ", default " + " ".join(one or '""' for one in node.defaults) if node.defaults else ""
    end += ", mandatory]" if node.is_mandatory else "]"
    bracket = text[text.find(start, len(description)) :]
    if not bracket.startswith(start) or not text.endswith(end):
        return start + end
    middle = bracket[len(start) : -len(end)]
    return next((one for one in (", default ", ", units ", ", mandatory") if one in middle), "")
