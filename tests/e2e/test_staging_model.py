"""Random edits of nested lists and of other modules' nodes against a model.

The model keeps what is staged as a tree of typed path components. Every answer,
every look at a part of what is staged, and the request that is sent at the end
have to agree with it, for configuration and for the input of an rpc.
"""

import random
import re

import pytest
from support.example import edit_config, invoke, printed_ok
from support.schema_db import Schema, container, leaf, leaf_list, list_, module, rpc

SEED = 20261122
DELETE = ' xc:operation="delete"'
MODULES = {"a": "urn:a", "b": "urn:b"}
VALUES = [None, "1", "b:id", "gone:id", '"x y"', "'b:x y'", "<&>", "a/b", 'say"', '"q"']
KEYS = ["1", "a/b", "::", '"x y"', "'=[,]/'", '"q"', "<"]


def inner_list():
    """A list in which nodes of both modules stand, and its own inner list."""
    innermost = list_("n", ["j"], leaf("j"), leaf_list("t", "union"), leaf("b:w", "identityref"))
    other = container("b:x", leaf("y"), leaf("a:z", "union"))
    return list_("l", ["k2", "k1"], leaf("k1"), leaf("k2"), leaf("v"), innermost, other)


def children():
    return [
        leaf("id", "identityref"),
        leaf("s"),
        leaf_list("ll", "identityref"),
        container("c", leaf("u", "union"), inner_list(), leaf("e", "empty")),
    ]


TREE = [*children(), rpc("r", *children())]
SCHEMA = Schema(module("a", "urn:a", *TREE), module("b", "urn:b"))


def plain(word):
    """A word as it is sent: quotes that guard nothing belong to it."""
    return word[1:-1] if word[0] in "'\"" and re.search(r"[][=, ]", word) else word


def escaped(text):
    text = text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
    return text.replace('"', "&quot;")


class Node:
    def __init__(self, path, operation=None, value=None, schema=None):
        self.path, self.operation, self.value, self.schema = path, operation, value, schema
        self.children, self.values = [], []

    def attributes(self, name):
        found = [f'xmlns="{MODULES["a"]}"'] if len(self.path) == 2 else []
        prefix = (self.value or "").partition(":")[0] if ":" in (self.value or "") else ""
        declares = self.schema is not None and self.schema.type_name in ("union", "identityref")
        if self.operation == "set" and declares and prefix in MODULES:
            found.append(f'xmlns:{prefix}="{MODULES[prefix]}"')
        if ":" in name:
            found = [f'xmlns="{MODULES[name.partition(":")[0]]}"']
        return "".join(" " + one for one in found) + (DELETE if self.operation == "delete" else "")

    def xml(self, write):
        rest = "".join(node.xml(write) for node in self.values + self.children)
        if len(self.path) < 2:
            return rest
        name, _, predicate = self.path[-1].partition("[")
        tag = name.rpartition(":")[2]
        opening = f"<{tag}{self.attributes(name)}>"
        if self.value is not None:
            return f"{opening}{write(plain(self.value))}</{tag}>{rest}"
        keys = re.findall(r"(\w+)=('[^']*'|\"[^\"]*\"|[^],]*)", predicate)
        inside = "".join(f"<{key}>{write(plain(value))}</{key}>" for key, value in keys)
        return f"{opening}{inside}{rest}</{tag}>"


class Staged:
    def __init__(self):
        self.root = Node(())

    def find(self, path):
        """The deepest node on the way to path."""
        node = self.root
        while True:
            below = [one for one in node.children if path[: len(one.path)] == one.path]
            if not below:
                return node
            node = below[0]

    def stage(self, path, operation, value, schema):
        node = self.find(path)
        new = Node(path, operation, value, schema)
        if node.path != path:
            for depth in range(len(node.path) + 1, len(path)):
                node.children.insert(0, Node(path[:depth]))
                node = node.children[0]
            node.children.insert(0, new)
            return True
        if schema is not None and schema.name == "ll" or path[-1] == "t":
            return merged(node, new)
        if operation == "set":
            node.operation, node.value, node.schema = "set", value, schema
        elif node.operation is None:
            above = self.find(path[:-1])
            above.children.remove(node)
            above.children.append(new)
        else:
            node.operation, node.value = "delete", None
        return True

    def part(self, path):
        """What a look at path shows, or None."""
        node = self.find(path)
        if node.path == path:
            return node
        if node.path != path[:-1]:
            return None
        entry = path[-1] + "["
        return node if any(one.path[-1].startswith(entry) for one in node.children) else None


def merged(node, new):
    if new.value is None:
        if new.operation == "set":
            return False
        node.values = [new]
        return True
    for entry in node.values:
        if entry.value == new.value:
            entry.operation = new.operation
            return True
    node.values.append(new)
    return True


def random_node(chance, nodes, path):
    """A node of the schema and the path to it, with a predicate at each list."""
    node = chance.choice(nodes)
    name = node.name
    if node.keys and chance.random() < 0.9:
        keys = chance.sample(node.keys, len(node.keys))
        name += "[" + ",".join(f"{key}={chance.choice(KEYS)}" for key in keys) + "]"
    path = (*path, name)
    if (
        node.children
        and node.name != "r"
        and (chance.random() < 0.8)
        and ("[" in name or not node.keys)
    ):
        return random_node(chance, node.children, path)
    return node, path


def recorded_edit(chance, staged, nodes, base, in_rpc):
    """An edit by a process of its own, which records it and looks for nothing."""
    node, path = random_node(chance, nodes, base)
    operand = "/" + "/".join(path)
    if not in_rpc and chance.random() < 0.3:
        staged.stage(path, "delete", None, node)
        return f"delete {operand}" + chance.choice(["", " x"]), ""
    if node.shape not in (2, 3):
        return f"set {operand}", f"{operand}'s not config node.\r\n"
    value = chance.choice(VALUES if node.shape == 2 else VALUES[1:])
    staged.stage(path, "set", value, node)
    return f"set {operand}" + (f" {value}" if value else ""), ""


def random_edit(chance, staged, nodes, base, in_rpc):
    """One edit, done to the model too: the line and its answer."""
    node, path = random_node(chance, nodes, base)
    operand = "/" + "/".join(path)
    if in_rpc or chance.random() < 0.7:
        if node.shape not in (2, 3):
            return f"set {operand}", f"{operand}'s not config node.\r\n"
        value = chance.choice(VALUES)
        done = staged.stage(path, "set", value, node)
        line = f"set {operand}" + (f" {value}" if value else "")
        return line, "" if done else "add cmd error!\r\n"
    value = chance.choice(VALUES) if node.shape == 3 else None
    if "[" in path[-1]:
        known = staged.find(path)
        if known.path != path or known.operation == "delete":
            return f"delete {operand}", f"error: child node:{operand}  is not existed.\r\n"
    staged.stage(path, "delete", value, node)
    return f"delete {operand}" + (f" {value}" if value else ""), ""


def look(chance, staged, nodes, base):
    _, path = random_node(chance, nodes, base)
    path = path[: chance.randint(0, len(path))]
    operand = "/" + "/".join(path)
    part = staged.part(path)
    if part is None:
        return f"get-config -l {operand}", f"{operand} not exist in local configuration buffer \r\n"
    text = part.xml(str)
    return f"get-config -l {operand}", f"{text}\n" if text else ""


@pytest.mark.parametrize("in_rpc", [False, True])
@pytest.mark.parametrize("number", range(10))
def test_random_edits(machine, number, in_rpc):
    chance = random.Random(f"{SEED} {number} {in_rpc}")
    machine.load(SCHEMA)
    staged, nodes, base = Staged(), TREE[:-1], ("a",)
    prompt, way = "/$ ", []
    if in_rpc:
        nodes, base = TREE[-1].children[0].children, ("a", "r")
        prompt, way = "\n[r]$ ", ["/a/r"]
    steps = []
    for _ in range(60):
        steps.append(random_edit(chance, staged, nodes, base, in_rpc))
        if staged.root.children and chance.random() < 0.3:
            steps.append(look(chance, staged, nodes, base))
    result = machine.session(*way, *(line for line, _ in steps), "commit", "quit", "quit")
    expected = "".join(f"{prompt}{line}\n{output}" for line, output in steps)
    text = result.stdout.decode()
    shown = text[text.index(f"{prompt}{steps[0][0]}\n") :][: len(expected)]
    assert shown.split(prompt) == expected.split(prompt)
    number = len(machine.tarnd.requests)
    envelope = invoke if in_rpc else edit_config
    assert machine.tarnd.requests[-1] == envelope(staged.root.xml(escaped), number)


@pytest.mark.parametrize("in_rpc", [False, True])
@pytest.mark.parametrize("number", range(3))
def test_random_edits_by_one_process_each(machine, number, in_rpc):
    chance = random.Random(f"{SEED} series {number} {in_rpc}")
    machine.load(SCHEMA)
    staged, nodes, base, envelope = Staged(), TREE[:-1], ("a",), edit_config
    if in_rpc:
        nodes, base, envelope = TREE[-1].children[0].children, ("a", "r"), invoke
        assert machine.one_shot("/a/r").stdout == b""
    said = []
    for _ in range(14):
        line, output = recorded_edit(chance, staged, nodes, base, in_rpc)
        said.append(line)
        result = machine.one_shot(line)
        assert (result.stdout.decode(), result.stderr) == (output, b""), said
    assert machine.tarnd.requests == []
    result = machine.one_shot("commit")
    assert result.stdout.decode() == printed_ok(1)
    assert machine.tarnd.requests == [envelope(staged.root.xml(escaped))], said
