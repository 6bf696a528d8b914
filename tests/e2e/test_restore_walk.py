"""A random walk of edits, exports, imports and copies against a real NETCONF server.

After every step that ends in a request, running and startup are read from the
server and compared with a model of them. VANDEL_WALK gives the number of steps of
each walk; a failure tells the seed and the last steps.
"""

import collections
import os
import random
import re
import subprocess
from xml.sax.saxutils import escape

import pytest
from lxml import etree
from support import datastore_model as model
from support.datastore_model import bits, choice, container, identity, leaf, leaf_list, list_
from support.gateway import Gateway
from support.netconfd import MODULES, Netconfd
from support.schemac import MODELS, SCHEMAC
from support.servers import RedisServer
from support.shell import ROOT, Machine
from test_gateway_netconfd import BASE, Session, has_ok

STEPS = int(os.environ.get("VANDEL_WALK", "1000"))
NACM = "urn:ietf:params:xml:ns:yang:ietf-netconf-acm"
NOTIFICATION = re.compile(r"<notification .*?\n</notification>\n", re.DOTALL)
EXPORTED = "The export-config command executed successfuly! "
NOTHING = "no config data to export.\r\n"
WORDS = ("a", "b", "c", "x y", "<&>", "10", "ä")
KEYS = ("a", "b", "10", "9", "c d")
NUMBERS = ("0", "7", "12", "255")


def shapes():
    """What the grouping of the test's own model holds."""
    return (
        leaf("value", *WORDS),
        leaf("number", *NUMBERS, default="7"),
        leaf("flag", ""),
        identity("hue", "walk:red", "walk-more:blue"),
        bits("bits", "one", "one two", "three two"),
        leaf_list("values", *WORDS),
        leaf_list("ordered", *WORDS, by_user=True),
        list_("pair", "b a", leaf("value", *WORDS), leaf("a", *KEYS), leaf("b", *NUMBERS)),
        list_("queue", "name", leaf("name", *KEYS), leaf("value", *WORDS), by_user=True),
        list_("only", "name", leaf("name", *KEYS)),
        *choice(
            "way",
            (leaf("left", *WORDS),),
            (leaf("first", *WORDS), leaf_list("more", *NUMBERS)),
            (container("right", leaf("value", *WORDS)),),
            (leaf("walk-more:up", *WORDS),),
        ),
        container("here", leaf("value", *WORDS), presence=True),
    )


def shapes_without_addition():
    """The same where the other module adds nothing to the choice."""
    return tuple(node for node in shapes() if node.name != "walk-more:up")


EVERY_SHAPE = model.Schema(
    {"urn:walk": "walk", "urn:walk-more": "walk-more"},
    *shapes_without_addition(),
    list_(
        "item",
        "name",
        leaf("name", *KEYS),
        *shapes_without_addition(),
        leaf("walk-more:extra-value", *WORDS),
        leaf_list("walk-more:extra", *WORDS),
    ),
    container(
        "box",
        *shapes(),
        list_("item", "name", leaf("name", *KEYS), *shapes_without_addition()),
        container("deep", container("deeper", *shapes_without_addition())),
        leaf("walk-more:extra", *WORDS),
        container(
            "walk-more:plus", list_("entry", "name", leaf("name", *KEYS), leaf("value", *WORDS))
        ),
    ),
    container("walk-more:box", leaf("value", *WORDS)),
)

ROUTER = model.Schema(
    {"urn:vandel:device": "vandel-device", "urn:vandel:ospf": "vandel-ospf"},
    container(
        "system",
        leaf("hostname", "edge-1", "edge-2", "router", default="router"),
        leaf("contact", *WORDS),
        leaf("maintenance", ""),
        bits("log-events", "logins", "changes links", "changes logins", default="changes logins"),
        container(
            "clock",
            *choice(
                "timezone",
                (leaf("timezone-name", "Europe/Berlin"),),
                (leaf("utc-offset", "0", "-60"),),
            ),
        ),
        container(
            "ntp",
            leaf("enabled", "true", "false", default="false"),
            list_(
                "server",
                "address",
                leaf("address", "192.0.2.1", "192.0.2.2", "ntp.example"),
                leaf("prefer", ""),
                leaf("interval", "16", "64", default="64"),
            ),
        ),
        container(
            "dns",
            leaf_list("server", "192.0.2.9", "192.0.2.1", "2001:db8::1", by_user=True),
            leaf_list("search", "example.net", "example.com"),
        ),
    ),
    container(
        "users",
        list_(
            "user",
            "name",
            leaf("name", "alice", "bob", "carol", "dave"),
            leaf("role", "viewer", "operator", "administrator", mandatory=True),
        ),
    ),
    container(
        "interfaces",
        list_(
            "interface",
            "name",
            leaf("name", "eth0", "eth1", "ge-0/0/1"),
            leaf("description", *WORDS),
            leaf("mtu", "1400", "1500", "9000", default="1500"),
            leaf_list("vlan", "1", "20", "300"),
            *choice(
                "addressing",
                (leaf("dhcp", ""), leaf("client-id", *WORDS)),
                (
                    list_(
                        "address",
                        "ip prefix-length",
                        leaf("ip", "192.0.2.1", "2001:db8::1"),
                        leaf("prefix-length", "24", "64"),
                        leaf("label", *WORDS),
                    ),
                ),
                (leaf("peer", *WORDS),),
            ),
            container(
                "vandel-ospf:ospf", leaf("area", "0", "1"), leaf("cost", "5", "10", default="10")
            ),
        ),
    ),
    container(
        "routing",
        identity(
            "preferred-protocol",
            "vandel-device:rip",
            "vandel-device:static",
            "vandel-ospf:ospf",
            default="vandel-device:static",
        ),
        container(
            "static",
            list_(
                "route",
                "destination",
                leaf("destination", "192.0.2.0/24", "2001:db8::/32"),
                leaf("distance", "1", "9", default="1"),
                *choice(
                    "next-hop",
                    (leaf("gateway", "192.0.2.1"),),
                    (leaf("blackhole", ""),),
                    (leaf("vandel-ospf:via-area", "3"),),
                ),
            ),
        ),
        container(
            "vandel-ospf:ospf",
            leaf("enabled", "true"),
            list_(
                "area",
                "id",
                leaf("id", "0", "1", "10"),
                leaf_list("network", "192.0.2.0/24", "198.51.100.0/24"),
                *choice("kind", (leaf("stub", ""),), (leaf("not-so-stubby", ""),)),
            ),
        ),
    ),
)
YANG = os.path.join(ROOT, "tests", "yang")


class Device:
    """A shell on a server with a schema, and a second session next to it."""

    def __init__(self, schema, directory):
        self.schema = schema
        self.modules = tuple(schema.modules.values())
        spaces = {"nc": BASE, **{module: uri for uri, module in schema.modules.items()}}
        self.spaces = "".join(f' xmlns:{name}="{uri}"' for name, uri in spaces.items())
        self.redis = RedisServer()
        self.machine = self.server = self.gateway = None
        try:
            self._start(directory)
        except BaseException:
            self.stop()
            raise

    def _start(self, directory):
        subprocess.run(
            [
                SCHEMAC,
                "--search",
                directory,
                "--search",
                MODULES,
                "--redis",
                self.redis.socket,
                *self.modules,
            ],
            check=True,
            capture_output=True,
        )
        self.machine = Machine(self.redis)
        private = self.machine.path("net")
        os.mkdir(private)
        self.server = Netconfd(private, self.modules, (directory,))
        command, environment = self.server.transport()
        self.gateway = Gateway(private, command, environment=environment)
        self.machine.environment["TARND_SOCKET"] = "/tmp/net/tarnd.sock"
        self.shell = self.machine.start()
        self.other = Session(self.gateway)
        self.other.create()
        self.marks = 0

    def type(self, *lines):
        """What the shell prints for lines, without notifications, up to the answer
        to a command that is none."""
        self.marks += 1
        mark = f"mark-{self.marks}"
        self.shell.send("".join(f"{padded(line)}\n" for line in (*lines, mark)))
        self.shell.expect(f"{mark}: no such command".encode())
        with self.shell.changed:
            text = self.shell.stdout.decode()
            self.shell.output["stdout"].clear()
        return NOTIFICATION.sub("", text)

    def read(self, source):
        """A datastore of the server, as the model has it."""
        _, tree = self.other.rpc(f"<get-config><source><{source}/></source></get-config>")
        self.other.notifications.clear()
        return self.schema.read(tree[0], (NACM,))

    def edit(self, path, operation, value=""):
        """An edit by the other session."""
        uris = {module: uri for uri, module in self.schema.modules.items()}
        uri = uris[self.schema.home]
        opened = closed = text = ""
        for (part, node), step in zip(model.nodes_along(self.schema.root, path), path):
            module, _, local = node.name.rpartition(":")
            uri = uris[module] if module else uri
            said = f' nc:operation="{operation}"' if part == path else ""
            opened += f'<{local} xmlns="{uri}"{said}>'
            closed = f"</{local}>{closed}"
            if node.kind == "list":
                opened += "".join(
                    f"<{key}>{escape(content)}</{key}>" for key, content in zip(node.keys, step[1])
                )
            elif node.kind == "leaf-list":
                text = escape(step[1])
            elif node.kind != "container":
                text = escape(value)
        _, tree = self.other.rpc(
            f"<edit-config><target><running/></target><config{self.spaces}>{opened}{text}{closed}"
            "</config></edit-config>"
        )
        return has_ok(tree)

    def stop(self):
        if self.gateway:
            self.gateway.stop()
        if self.server:
            self.server.stop()
        if self.machine:
            self.machine.stop()
        self.redis.stop()


def quoted(text):
    return f'"{text}"' if re.search(r"[ =,\[\]]", text) else text


def padded(line):
    """A piped line that ends where a piece of 79 bytes does is joined with the next one."""
    return line + " " if (len(line.encode()) + 1) % 79 == 0 else line


def typed(schema, path):
    """A path as an operator types it."""
    first = path[0][0] if isinstance(path[0], tuple) else path[0]
    module, colon, _ = first.partition(":")
    text = f"/{module if colon else schema.home}"
    for (_, node), step in zip(model.nodes_along(schema.root, path), path):
        name = node.name.partition(":")[2] if step is path[0] and colon else node.name
        text += f"/{name}"
        if node.kind == "list":
            pairs = ",".join(f"{key}={quoted(value)}" for key, value in zip(node.keys, step[1]))
            text += f"[{pairs}]"
    return text


def last_value(path, node, value):
    text = path[-1][1] if node.kind == "leaf-list" else value
    return f" {quoted(text)}" if text else ""


def can_be_deleted(node):
    """Not by the shell: entries whose keys do not come first, which it does not
    find. Not from netconfd: a leaf whose type does not allow the empty text."""
    if node.kind in ("list", "container", "leaf-list"):
        return node.name != "pair"
    return node.values in (WORDS, ("",))


def merges_well(node, value, old):
    """netconfd joins bits with those that are there, the default ones included, and
    takes no notice of a default that is written down."""
    return value != node.default and not (node.kind == "bits" and (old or node.default))


def is_ok(output):
    assert ("<ok/>" in output) != ("<rpc-error" in output), output
    return "<ok/>" in output


class Walk:
    """Steps on a device, and the model of its datastores."""

    def __init__(self, device, seed):
        self.device = device
        self.schema = device.schema
        self.root = device.schema.root
        self.rng = random.Random(seed)
        self.running = device.read("running")
        self.startup = device.read("startup")
        self.files = {}
        self.count = 0
        self.done = collections.deque(maxlen=12)

    def type(self, *lines):
        self.count += len(lines)
        self.done.extend(lines)
        return self.device.type(*lines)

    def run(self, steps):
        moves = (
            [self.commit] * 8
            + [self.commit_refused] * 2
            + [self.edit_elsewhere] * 3
            + [self.export] * 3
            + [self.restore] * 5
            + [self.restore_wrong]
            + [self.save] * 2
            + [self.give_up] * 3
            + [self.copy_staged] * 2
        )
        while self.count < steps:
            self.rng.choice(moves)()
            self.check()

    def check(self):
        for source, expected in (("running", self.running), ("startup", self.startup)):
            found = self.device.read(source)
            assert model.plain(self.root, found) == model.plain(self.root, expected), (
                source,
                list(self.done),
            )

    def edits(self, most, content):
        """Paths to put into a configuration that can stand in one request."""
        chosen = []
        for _ in range(self.rng.randint(1, most)):
            path, node, value = model.random_path(self.rng, self.root, content)
            is_typed = node.kind not in ("list", "container")
            if content is self.running:
                is_typed = is_typed and merges_well(node, value, model.value_at(content, path))
            if is_typed and not any(model.meets(self.root, path, other) for other, *_ in chosen):
                chosen.append((path, node, value))
        return chosen

    def removals(self, chosen):
        """Paths to delete in the same request."""
        there = [
            (path, node)
            for path, node in model.paths(self.root, self.running)
            if can_be_deleted(node)
        ]
        self.rng.shuffle(there)
        found = []
        for path, node in there[: self.rng.randint(0, 3)]:
            others = [other for other, *_ in (*chosen, *found)]
            if not any(model.meets(self.root, path, other) for other in others):
                found.append((path, node))
        return found

    def set_lines(self, chosen):
        return [
            f"set {typed(self.schema, path)}{last_value(path, node, value)}"
            for path, node, value in chosen
        ]

    def delete_lines(self, chosen):
        return [
            f"delete {typed(self.schema, path)}{last_value(path, node, None)}"
            for path, node in chosen
        ]

    def commit(self):
        chosen = self.edits(4, self.running)
        gone = self.removals(chosen)
        lines = self.set_lines(chosen) + self.delete_lines(gone)
        if not lines:
            return
        self.rng.shuffle(lines)
        output = self.type(*lines, "commit")
        assert is_ok(output), output
        for path, _ in gone:
            model.remove(self.running, path)
        for path, _, value in chosen:
            model.put(self.root, self.running, path, value)

    def commit_refused(self):
        """Edits that would be right, and one that is not."""
        chosen = self.edits(3, self.running)
        wrong = {
            EVERY_SHAPE: "set /walk/box/number 999",
            ROUTER: "set /vandel-device/system/clock/utc-offset 5000",
        }[self.schema]
        assert not is_ok(self.type(*self.set_lines(chosen), wrong, "commit"))

    def edit_elsewhere(self):
        """What the shell cannot do: entries with nothing but keys, containers that
        say something by themselves, and removals of any entry."""
        path, node, _ = model.random_path(self.rng, self.root, self.running)
        removable = list(model.paths(self.root, self.running))
        if removable and self.rng.random() < 0.5:
            path, node = self.rng.choice(removable)
            self.done.append(f"(the other session) delete {path}")
            assert self.device.edit(path, "delete", model.value_at(self.running, path))
            model.remove(self.running, path)
        elif node.kind in ("list", "container"):
            self.done.append(f"(the other session) merge {path}")
            assert self.device.edit(path, "merge")
            model.put(self.root, self.running, path)

    def export(self):
        source = self.rng.choice(("running", "startup"))
        name = f"{self.rng.randint(1, 6)}.xml"
        output = self.type(f"export-config {source} /tmp/{name}")
        assert EXPORTED in output
        content = {"running": self.running, "startup": self.startup}[source]
        self.files.pop(name, None)
        if NOTHING in output:
            assert model.plain(self.root, content) == {}
            return
        exported = self.schema.read(etree.parse(self.device.machine.path(name)).getroot(), (NACM,))
        assert model.plain(self.root, exported) == model.plain(self.root, content)
        self.files[name] = model.copied(content)

    def restore(self):
        if not self.files:
            return
        name = self.rng.choice(list(self.files))
        target = self.rng.choice(("running", "running", "running", "startup"))
        output = self.type(f"import-config /tmp/{name} {target}")
        assert is_ok(output), (output, list(self.done))
        setattr(self, target, model.copied(self.files[name]))

    def restore_wrong(self):
        """A file with a value that is out of range, and much else in it."""
        if not self.files:
            return
        with open(self.device.machine.path(self.rng.choice(list(self.files))), "rb") as file:
            tree = etree.fromstring(file.read())
        uri = next(iter(self.schema.modules))
        tops = {EVERY_SHAPE: ("box", "number"), ROUTER: ("interfaces", "interface")}[self.schema]
        for old in tree.findall(f"{{{uri}}}{tops[0]}"):
            tree.remove(old)
        top = etree.SubElement(tree, f"{{{uri}}}{tops[0]}", nsmap={None: uri})
        etree.SubElement(top, f"{{{uri}}}{tops[1]}").text = "wrong"
        with open(self.device.machine.path("wrong.xml"), "wb") as file:
            file.write(etree.tostring(tree, encoding="UTF-8"))
        assert not is_ok(self.type("import-config /tmp/wrong.xml running"))

    def save(self):
        assert is_ok(self.type(self.rng.choice(("save", "copy-config running startup"))))
        self.startup = model.copied(self.running)

    def give_up(self):
        output = self.type("copy-config startup running")
        assert is_ok(output), (output, list(self.done))
        self.running = model.copied(self.startup)

    def copy_staged(self):
        chosen = self.edits(6, {})
        target = self.rng.choice(("running", "running", "startup"))
        output = self.type(*self.set_lines(chosen), f"copy-config config {target}")
        assert is_ok(output), (output, list(self.done))
        content = {}
        for path, _, value in chosen:
            model.put(self.root, content, path, value)
        setattr(self, target, content)


@pytest.mark.parametrize("seed", [1, 2, 3])
@pytest.mark.parametrize(
    "schema, directory", [(EVERY_SHAPE, YANG), (ROUTER, MODELS)], ids=["every shape", "router"]
)
def test_running_and_startup_are_what_the_model_says(schema, directory, seed):
    print(f"seed {seed}, {STEPS} steps")
    device = Device(schema, directory)
    try:
        Walk(device, seed).run(STEPS)
    finally:
        device.stop()
