"""Lines at random, Tab and '?' on them: every byte, against a second shell.

Records stay below 64 bytes: then the database keeps the order of the fields.
"""

import random

import pytest
from support.editor_terminal import CTRL, DELETE, DOWN, LEFT, RIGHT, UP
from support.prompt import KILL, MARK, RUBOUT, TAB, Prompt
from support.prompt_model import COMMANDS, PromptModel
from support.schema_db import (
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

MODULES = [
    module(
        "acme",
        "urn:acme",
        leaf("hostname", help="Its name. [string]"),
        leaf("hostkey"),
        container(
            "box",
            leaf("size", help="Units. [1..4]"),
            leaf_list("tag", help="Free text."),
            list_(
                "port",
                ["id"],
                leaf("id", help="Its number."),
                leaf("mtu"),
                container("qos", leaf("dscp")),
                list_("peer", ["name"], leaf("name"), leaf("cost")),
                help="The ports. [key id]",
            ),
            list_("route", ["via", "dest"], leaf("via"), leaf("dest"), leaf("metric")),
            container("lab:shelf", leaf("height"), leaf("acme:depth")),
            choice(
                "transport",
                case("tcp", leaf("tcp-port"), choice("more", case("deep", container("deep-end")))),
                case("udp", leaf("udp-port"), list_("station", ["id"], leaf("id"))),
            ),
            help="What it holds.",
        ),
        container("empty"),
        rpc(
            "reset",
            leaf("delay", help="Seconds."),
            list_("target", ["id"], leaf("id"), leaf("how")),
            container("how", leaf("mode")),
            help="Starts again.",
        ),
        rpc("restart"),
        rpc("set-clock"),
    ),
    module("lab", "urn:lab", container("shelf", leaf("height"))),
    module("acid", "urn:acid"),
]
PORTS = ["1/2", "1/3", "two words", "a:b", "it's", "[z]="]
ROUTES = [("10/8", "x"), ("10/8", "y z")]
ENTRIES = {
    "port": ["port[id=1/2]", "port[id=1/3]", 'port[id="two words"]', "port[id=a:b]",
             "port[id=it's]", 'port[id="[z]="]'],
    "route": ["route[dest=x,via=10/8]", 'route[dest="y z",via=10/8]'],
    "station": ["station[id=s1]"],
}  # fmt: skip
WALKS = [
    [], ["acme"], ["acme", "box"], ["acme", "box", "port"], ["acme", "box", "route"],
    ["acme", "box", "port", 'port[id="two words"]'], ["acme", "box", "port", "port[id=1/2]"],
    ["acme", "box", "port", "port[id=1/2]", "peer"], ["acme", "box", "station"],
    ["acme", "box", "lab:shelf"], ["acme", "empty"], ["lab"],
]  # fmt: skip


EDITING = [UP, UP, DOWN, LEFT, RIGHT, DELETE, b" ", b"/", b"a"] + [CTRL[key] for key in "aekuyw"]


def run(prompt, model, line):
    prompt.run(line)
    model.remember(line.encode())
    model.killed = None  # by the line that is empty before the next one


def walk(prompt, model, names):
    run(prompt, model, "cd /")
    where = ""
    for name in names:
        run(prompt, model, f"cd {name}")
        where = where.rpartition("/")[0] + "/" + name if "[" in name else f"{where}/{name}"
    model.go(where or "/")


def fill(machine):
    def entry(*pairs):
        return "".join(f"<{key}>{value}</{key}>" for key, value in pairs)

    ports = "".join(f"<port>{entry(('id', value))}</port>" for value in PORTS)
    routes = "".join(f"<route>{entry(('via', via), ('dest', to))}</route>" for via, to in ROUTES)
    stations = "<station><id>s1</id></station>"
    for needle, data in (("<port>", ports), ("<route>", routes), ("<station>", stations)):
        machine.tarnd.holds(needle, f'<box xmlns="urn:acme">{data}</box>')


class Typist:
    """Lines that make sense, and lines that do not."""

    def __init__(self, dice, model):
        self.dice, self.model = dice, model

    def path(self):
        start = self.dice.choice(["", "", "", "", "./", "../", "../../", "/", "//"])
        steps = []
        here = self.model.absolute(f"{self.model.where}/{start}")
        while here is not None and self.dice.random() < 0.8:
            below = [name for name, _, _ in self.model.descendants(here) or []]
            if not below:
                break
            steps.append(self.dice.choice(below))
            here = self.model.absolute("/" + here.strip("/") + "/" + steps[-1])
        text = start + "/".join(steps)
        if self.dice.random() < 0.15:
            text += self.dice.choice(["/", "/x", "x", "//", "/.", "/..", "[", "]", "=", '"', "'"])
        elif self.dice.random() < 0.6:
            text = text[: self.dice.randrange(len(text) + 1)]
        return text

    def word(self):
        other = [
            "running",
            "startup",
            "cand",
            "config",
            "-l",
            "-r",
            "-",
            "id",
            "via",
            "dest",
            "5",
            '"a b"',
            "'c  d'",
            '"open',
            "it's",
            "%s%n",
            "list-key",
            "r",
            "s",
            "",
        ]
        return self.path() if self.dice.random() < 0.5 else self.dice.choice(other)

    def line(self):
        command = self.dice.choice([*COMMANDS, "reset", "nothing"])
        if self.dice.random() < 0.6:
            command = self.dice.choice(["set", "cd", "get", "get-config", "add-listentry"])
        if self.dice.random() < 0.15:
            text = command[: self.dice.randrange(len(command) + 1)]
        else:
            words = [self.word() for _ in range(self.dice.choice([1, 1, 1, 2, 2, 3, 4]))]
            text = " ".join([command, *words])
        if self.dice.random() < 0.1:
            text = "  " + text.replace(" ", "  ")
        return text.replace("?", "")


def strike(prompt, model, key):
    """Strikes a key in both shells; the bytes that each of them writes."""
    seen = prompt.press(key)
    expected = model.press(key)
    model.press(MARK)
    model.press(RUBOUT)
    return seen, expected


def type_line(prompt, model, text, back):
    prompt.press(KILL + text.encode() + LEFT * back)
    keys = [KILL[:1], KILL[1:], *(bytes([byte]) for byte in text.encode()), *([LEFT] * back)]
    for key in [*keys, MARK, RUBOUT]:
        model.press(key)


def stage(prompt, model, path):
    """Adds an entry to the list that is the workspace."""
    name, _, value = path.rpartition("[")[2].rstrip("]").partition("=")
    run(prompt, model, f"add-listentry {name} {value}")
    model.staged.append(path)


def keys_for(dice):
    keys = dice.choices([TAB, b"?"], k=dice.choice([1, 2, 3]))
    return keys + dice.choices([TAB, b"?", *EDITING], k=dice.choice([0, 0, 0, 5]))


def compare(prompt, model, dice, count):
    prompt.press(b"\x03")
    model.begin()
    model.press(MARK)
    model.press(RUBOUT)
    typist = Typist(dice, model)
    for _ in range(count):
        text = typist.line()
        back = dice.randrange(len(text) + 1) if dice.random() < 0.2 else 0
        type_line(prompt, model, text, back)
        for key in keys_for(dice):
            if dice.random() < 0.03:
                model.columns = dice.choice([20, 33, 40, 80, 132])
                prompt.child.setwinsize(100, model.columns)
            seen, expected = strike(prompt, model, key)
            assert seen == expected, (model.where, text, back, key)


@pytest.fixture
def shells(machine, request):
    machine.load(Schema(*MODULES))
    fill(machine)
    columns = request.param
    return Prompt(machine, columns=columns, rows=100), PromptModel(MODULES, ENTRIES, columns)


@pytest.mark.parametrize("shells, seed", [(80, 1), (40, 2), (20, 3), (132, 4)], indirect=["shells"])
def test_lines_at_random(shells, seed):
    prompt, model = shells
    dice = random.Random(seed)
    for names in WALKS:
        walk(prompt, model, names)
        compare(prompt, model, dice, 12)


@pytest.mark.parametrize("shells, seed", [(80, 5), (30, 6)], indirect=["shells"])
def test_lines_at_random_among_staged_entries(shells, seed):
    prompt, model = shells
    dice = random.Random(seed)
    walk(prompt, model, ["acme", "box", "port"])
    stage(prompt, model, "/acme/box/port[id=staged/1]")
    stage(prompt, model, '/acme/box/port[id="st aged"]')
    compare(prompt, model, dice, 12)
    walk(prompt, model, ["acme", "box", "port", "port[id=staged/1]", "peer"])
    stage(prompt, model, "/acme/box/port[id=staged/1]/peer[name=p]")
    compare(prompt, model, dice, 12)
    walk(prompt, model, ["acme", "box"])
    compare(prompt, model, dice, 20)


@pytest.mark.parametrize("shells, seed", [(80, 7), (30, 8)], indirect=["shells"])
def test_lines_at_random_in_an_rpc(shells, seed):
    prompt, model = shells
    dice = random.Random(seed)
    walk(prompt, model, ["acme"])
    run(prompt, model, "reset")
    model.go("/acme/reset", "/acme/reset")
    compare(prompt, model, dice, 12)
    run(prompt, model, "cd target")
    model.go("/acme/reset/target", "/acme/reset")
    stage(prompt, model, "/acme/reset/target[id=1/2]")
    stage(prompt, model, '/acme/reset/target[id="a b"]')
    compare(prompt, model, dice, 12)
    run(prompt, model, "cd ..")
    model.go("/acme/reset", "/acme/reset")
    compare(prompt, model, dice, 12)
    run(prompt, model, "cd how")
    model.go("/acme/reset/how", "/acme/reset")
    compare(prompt, model, dice, 12)
