"""Random choices in choices, and a model of which of their cases are active.

The model builds a node's children field by field as the database holds them and
asks a set of names instead of a server; requests, listings, refusals and the
number of messages in the system log have to agree with it.
"""

import random

import pytest
from support.example import get_config
from support.messages import LEAF_OR_RPC, NO_CHILD
from support.schema_db import (
    CHOICE,
    CONTAINER,
    LEAF,
    Schema,
    case,
    choice,
    container,
    leaf,
    leaf_list,
    list_,
    module,
    rpc,
)
from support.shell import DEBUG

SEED = 20261121
NOT_ACTIVE = (DEBUG, "[DEBUG] failed to get acitve case branch. \r\n\n")
CODES = {CONTAINER: "01;34"}


def random_choice(chance, names, depth):
    cases = (random_case(chance, names, depth) for _ in range(chance.randint(1, 3)))
    return choice(next(names), *cases)


def random_case(chance, names, depth):
    """A case with a few nodes and, down to a depth, choices between them."""
    make = [leaf, leaf, leaf_list, lambda name: container(name, leaf("inside"))]
    children = [chance.choice(make)(next(names)) for _ in range(chance.randint(0, 3))]
    for _ in range(chance.randint(0, 2) if depth else 0):
        nested = random_choice(chance, names, depth - 1)
        children.insert(chance.randint(0, len(children)), nested)
    return case(next(names), *children or [leaf(next(names))])


class Children:
    """The children of a node: what was found last stands first."""

    def __init__(self, nodes, world):
        self.nodes, self.choices = [], []
        for node in nodes:
            if node.shape != CHOICE:
                self.nodes.insert(0, node)
                continue
            cases = []
            self.choices.insert(0, cases)
            for one in node.children:
                cases.append(Case(Children(one.children, world)))
                if world is not None:
                    cases[-1].judge(world)

    def text(self):
        shown = "".join(f"\x1b[{CODES.get(n.shape, '0')}m {n.name}\x1b[0m" for n in self.nodes)
        return shown + "".join(map(choice_text, self.choices))

    def reach(self, name):
        if any(node.name == name for node in self.nodes):
            return True
        return any(
            any(one.children.reach(name) for one in [c for c in cases if c.active][:1] or cases)
            for cases in self.choices
        )


class Case:
    def __init__(self, children):
        self.children, self.active = children, False

    def judge(self, world):
        self.active = any(world.has(node.name) for node in self.children.nodes)
        if not self.active and self.children.choices:
            self.active = self.children.choices[0][0].judge(world)
        world.inactive += not self.active
        return self.active


def choice_text(cases):
    first = next((one for one in cases if one.active), None)
    inner = " | ".join(f"({one.children.text()}" + (")*" if one is first else ")") for one in cases)
    return f"( {inner} )"


class World:
    """What the server holds, and what it was asked for."""

    def __init__(self, held):
        self.held, self.asked, self.inactive = held, [], 0

    def has(self, name):
        self.asked.append(name)
        return name in self.held


def data_names(nodes):
    for node in nodes:
        if node.shape == CHOICE:
            for one in node.children:
                yield from data_names(one.children)
        else:
            yield node


# Where the choice stands: the module's children, the way there, the prompt
# there, and the parts of a request around the node that is asked for.
PLACES = {
    "module": (lambda it: [it], ["m"], "/m", '<{0} xmlns="urn:m"></{0}>'),
    "container": (lambda it: [container("c", it)], ["m", "c"], "/m/c",
                  '<c xmlns="urn:m"><{0}></{0}></c>'),
    "entry": (lambda it: [container("c", list_("l", ["k"], leaf("k"), container("d", it)))],
              ["m", "c", "l", 'l[k="a b/c"]', "d"], '/m/c/l[k="a b/c"]/d',
              '<c xmlns="urn:m"><l><k>a b/c</k><d><{0}></{0}></d></l></c>'),
}  # fmt: skip
ENTRY = '<c xmlns="urn:m"><l><k>a b/c</k></l></c>'


def random_tree(seed):
    """A choice, some of its nodes, and the names of those that have data."""
    chance = random.Random(seed)
    tree = random_choice(chance, (f"n{number:03}" for number in range(1000)), 3)
    nodes = list(data_names([tree]))
    held = {node.name for node in nodes if chance.random() < 0.15}
    return tree, chance.sample(nodes, min(len(nodes), 8)), held


def commands(nodes):
    yield "ls", None
    for node in nodes:
        yield "delete", node
        if node.shape == LEAF:
            yield "cd", node


def answer(word, node, children):
    if word == "ls":
        return children.text() + "\n"
    if children.reach(node.name):
        return LEAF_OR_RPC if word == "cd" else ""
    return NO_CHILD if word == "cd" else f"error: child node:{node.name}  is not existed.\r\n"


def transcript(machine, way, prompt, steps):
    """What is shown from the first step on is what the steps say."""
    typed = [f"{word} {node.name}" if node else word for word, node, _ in steps]
    result = machine.session(*way, *typed, "quit", "quit", env={"COLUMNS": "10000"})
    expected = "".join(f"{prompt}{line}\n{output}" for line, (_, _, output) in zip(typed, steps))
    text = result.stdout.decode()
    assert text[text.index(prompt + "ls\n") :][: len(expected)] == expected


@pytest.mark.parametrize("place", PLACES)
@pytest.mark.parametrize("number", range(8))
def test_random_choices(machine, place, number):
    tree, nodes, held = random_tree(f"{SEED} {place} {number}")
    around, way, where, asking = PLACES[place]
    machine.load(Schema(module("m", "urn:m", *around(tree))))
    machine.tarnd.holds("<k></k>", ENTRY)
    for name in held:
        machine.tarnd.holds(f"<{name}", asking.format(name))
    world = World(held)
    steps = [
        (word, node, answer(word, node, Children([tree], world))) for word, node in commands(nodes)
    ]
    transcript(machine, [f"cd {name}" for name in way], f"\n{where}$ ", steps)
    bodies = [asking.format(name) for name in world.asked]
    if place == "entry":
        bodies.insert(0, '<c xmlns="urn:m"><l><k></k></l></c>')
    assert machine.tarnd.requests == [get_config(body, n) for n, body in enumerate(bodies, 1)]
    assert machine.log.texts(DEBUG) == [NOT_ACTIVE] * world.inactive


@pytest.mark.parametrize("number", range(4))
def test_in_an_rpc_nothing_is_active(machine, number):
    tree, nodes, _ = random_tree(f"{SEED} rpc {number}")
    machine.load(Schema(module("m", "urn:m", rpc("go", tree))))
    steps = [
        (word, node, answer(word, node, Children([tree], None)))
        for word, node in commands(nodes)
        if word != "delete"
    ]
    transcript(machine, ["/m/go"], "\n[go]$ ", steps)
    assert machine.tarnd.requests == []
    assert machine.log.texts(DEBUG) == []
