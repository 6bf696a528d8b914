"""Random sequences of edits against a small model of what is staged.

The model knows a node's path as a tuple of components and says which request
has to arrive. It was written from the behaviour that operators are promised.
"""

import random

import pytest
from support.example import EXAMPLE, edit_config

SESSIONS, STEPS = 150, 40
SERIES, SERIES_STEPS = 6, 12
SEED = 20240611
LEAVES = [("box", "name"), ("box", "size"), ("box", "inner", "deep"), ("hostname",)]
CONTAINERS = [("box",), ("box", "inner")]
LEAF_LIST = ("box", "tag")
WORDS = ["a", "b", "c", "x/y", "p:q", '"two words"']
PORTS = ["1", "2", "ge/0", "u:v", '"p q"']
DELETE = ' xc:operation="delete"'


def plain(word):
    """A word of the command line as it is sent."""
    return word[1:-1] if " " in word else word


class Node:
    def __init__(self, name, operation=None, value=None):
        self.name = name
        self.operation = operation  # "set", "delete", or None above others
        self.value = value
        self.children = []
        self.values = []  # of a leaf-list, after its first

    def child(self, name):
        return next((child for child in self.children if child.name == name), None)

    def xml(self, top):
        tag, _, predicate = self.name.partition("[id=")
        attributes = ' xmlns="urn:acme"' if top else ""
        attributes += DELETE if self.operation == "delete" else ""
        inside = "" if self.value is None else plain(self.value)
        if predicate:
            inside += f"<id>{plain(predicate[:-1])}</id>"
        if self.value is None:
            inside += "".join(node.xml(False) for node in self.values)
            inside += "".join(node.xml(False) for node in self.children)
            return f"<{tag}{attributes}>{inside}</{tag}>"
        rest = "".join(node.xml(False) for node in self.values + self.children)
        return f"<{tag}{attributes}>{inside}</{tag}>{rest}"


class Model:
    def __init__(self):
        self.root = Node("/")
        self.added = set()

    @property
    def staged(self):
        return bool(self.root.children)

    def stage(self, path, operation, value=None):
        """False when the change is refused."""
        above = self.root
        for name in path[:-1]:
            node = above.child(name)
            if node is None:
                node = Node(name)
                above.children.insert(0, node)
            above = node
        new, old = Node(path[-1], operation, value), above.child(path[-1])
        if old is None:
            above.children.insert(0, new)
        elif path == LEAF_LIST:
            return self.merge(old, new)
        elif operation == "set":
            old.operation, old.value = "set", value
        elif old.operation is None:
            above.children.remove(old)
            above.children.append(new)
        else:
            old.operation, old.value = "delete", None
        return True

    def merge(self, old, new):
        if new.value is None:
            if new.operation == "set":
                return False
            old.values = [new]
            return True
        for entry in old.values:
            if entry.value == new.value:
                entry.operation = new.operation
                return True
        old.values.append(new)
        return True

    def clear(self):
        self.root = Node("/")
        self.added.clear()

    def body(self):
        return "".join(child.xml(True) for child in self.root.children)


def random_step(chance, model, one_shot):
    """Does one step to the model; gives the line and whether it is refused."""
    word, port = chance.choice(WORDS), chance.choice(PORTS)
    entry = ("box", f"port[id={port}]")
    kind = chance.randrange(12)
    if kind <= 3:
        path = chance.choice(LEAVES + [(*entry, "mtu"), (*entry, "qos", "dscp")])
        value = chance.choice([word, None])
        model.stage(path, "set", value)
        return edit_line("set", path, value), False
    if kind == 4:
        value = None if chance.random() < 0.2 else word
        return edit_line("set", LEAF_LIST, value), not model.stage(LEAF_LIST, "set", value)
    if kind == 5:
        path = chance.choice(LEAVES + [(*entry, "mtu")])
        model.stage(path, "delete")
        return edit_line("delete", path), False
    if kind == 6:
        path = chance.choice(CONTAINERS + [(*entry, "qos"), ("box", "port")])
        model.stage(path, "delete")
        if path in (("box",), ("box", "port")):
            model.added.clear()
        return edit_line("delete", path), False
    if kind == 7:
        value = None if one_shot else chance.choice([word, word, None])
        model.stage(LEAF_LIST, "delete", value)
        return edit_line("delete", LEAF_LIST, value), False
    if kind == 8:
        box = model.root.child("box")
        old = box and box.child(entry[-1])
        known = old is not None and old.operation != "delete"
        if known or one_shot:
            model.stage(entry, "delete")
            model.added.discard(port)
        line = edit_line("delete", entry)
        return line, not (known or one_shot)
    if kind in (9, 10):
        refused = port in model.added and not one_shot
        if not refused:
            model.stage(entry, "set")
            model.added.add(port)
        return f"add-listentry id {port}", refused
    if chance.random() < 0.4:
        model.clear()
        return "discard_changes", False
    return "commit", False


def edit_line(command, path, value=None):
    return " ".join([command, "/acme/" + "/".join(path)] + ([] if value is None else [value]))


def plan(chance, steps, one_shot):
    """Lines, the bodies that have to be sent, and how many lines are refused."""
    model, lines, bodies, refusals = Model(), [], [], 0
    for number in range(steps + 1):
        line, refused = (
            random_step(chance, model, one_shot) if number < steps else ("commit", False)
        )
        lines.append(line)
        refusals += refused
        if line == "commit":
            if model.staged:
                bodies.append(model.body())
            model.clear()
    return lines, bodies, refusals


def sent(machine):
    """The bodies of the edits that came in, each in its whole envelope."""
    found = []
    for text in machine.tarnd.requests:
        if "<edit-config>" in text:
            number = int(text.partition('message-id="')[2].partition('"')[0])
            head, tail = edit_config("|", number).split("|")
            assert text.startswith(head) and text.endswith(tail)
            found.append(text[len(head) : -len(tail)])
    return found


@pytest.mark.parametrize("group", range(10))
def test_in_one_session(machine, group):
    machine.load(EXAMPLE)
    for number in range(group, SESSIONS, 10):
        seed = SEED + number
        lines, bodies, refusals = plan(random.Random(seed), STEPS, False)
        before = len(sent(machine))
        result = machine.session("cd acme", "cd box", "cd port", *lines, "quit")
        said = f"seed {seed}:\n" + "\n".join(lines)
        assert (result.status, result.stderr) == (0, b""), said
        assert sent(machine)[before:] == bodies, said
        messages = (b"already exist!", b"  is not existed.", b"add cmd error!")
        assert sum(result.stdout.count(message) for message in messages) == refusals, said


@pytest.mark.parametrize("number", range(SERIES))
def test_one_command_per_process(machine, number):
    machine.load(EXAMPLE)
    seed = SEED + 1000 + number
    lines, bodies, _ = plan(random.Random(seed), SERIES_STEPS, True)
    said = f"seed {seed}:\n" + "\n".join(lines)
    for line in ("cd acme", "cd box", "cd port", *lines):
        result = machine.one_shot(line)
        assert (result.status, result.stderr) == (0, b""), said
    assert sent(machine) == bodies, said
