"""Tab and '?' over the models of ./run, compiled: at every node, and what they say."""

import struct

import pytest
import redis
from support.prompt import TAB, Prompt
from support.prompt_model import PromptModel, data_nodes
from support.schema_db import DATABASE, LEAF, LEAF_LIST, LIST, RPC, Module, Node
from support.schemac import compile_run_models

INTERFACE = "vandel-device/interfaces/interface[name=e0]/"


def text_at(strings, offset):
    return strings[offset : strings.index(0, offset)].decode()


def nodes_below(content, path):
    """The nodes whose records a hash holds, in the order in which it gives them."""
    nodes = []
    for name, record in content.get(path, {}).items():
        flags, help_offset = struct.unpack_from("<H10xh", record)
        kind = flags >> 6 & 31
        below = f"{path}/{name}"
        nodes.append(Node(
            kind, name, nodes_below(content, below + "[]" if kind == LIST else below),
            keys=list(content.get(below, {})) if kind == LIST else [],
            help=text_at(record[20:], help_offset) if help_offset else ""))  # fmt: skip
    return nodes


@pytest.fixture
def shells(machine):
    compile_run_models(machine.redis.socket)
    with redis.Redis(unix_socket_path=machine.redis.socket, db=DATABASE) as client:
        content = {
            key.decode(): {name.decode(): record for name, record in client.hgetall(key).items()}
            for key in client.keys()
        }
    modules = [Module(name, "", nodes_below(content, "/" + name)) for name in content["/"]]
    return Prompt(machine, rows=200), PromptModel(modules, {}, 80)


def paths_below(node, path):
    """Every data path from a node on, as (path, node)."""
    for child in data_nodes(node.children):
        entry = "".join(f",{key}=1" for key in child.keys)[1:]
        below = f"{path}/{child.name}" + (f"[{entry}]" if entry else "")
        yield below, child
        if child.kind != RPC:
            yield from paths_below(child, below)


def expect_both(prompt, model, line, key):
    prompt.line(line)
    model.begin()
    for byte in line.encode():
        model.press(bytes([byte]))
    assert prompt.press(key) == model.press(key), (line, key)


def test_every_node(shells):
    prompt, model = shells
    seen = {}
    for module in model.modules:
        for path, node in paths_below(module, module.name):
            seen[path] = node.kind
            if node.kind in (LEAF, LEAF_LIST):
                if len(seen) % 3 == 0:
                    expect_both(prompt, model, f"set {path}", b"?")
                    expect_both(prompt, model, f"set {path[:-1]}", b"?")
                    expect_both(prompt, model, f"get {path[:-1]}", TAB)
            elif node.kind != RPC:
                expect_both(prompt, model, f"set {path}/", b"?")
                expect_both(prompt, model, f"cd {path}/", TAB)
    assert len(seen) > 150
    assert set(seen.values()) >= {LEAF, LEAF_LIST, LIST, RPC}


@pytest.mark.parametrize("path, text", [
    ("vandel-device/system/hostname",
     "Name of the device, shown in its prompt and in its log. "
     "[string, length 1..64, default router]"),
    ("vandel-device/system/maintenance",
     "While this is set, the device raises no alarms; it goes on forwarding traffic. [empty]"),
    ("vandel-device/system/clock/utc-offset",
     "A fixed distance from UTC, for devices that know no names. "
     "[int16, range -720..840, units minutes]"),
    ("vandel-device/system/ntp/enabled",
     "Whether the clock follows the servers below. [boolean, default false]"),
    ("vandel-device/users/user[name=x]/role",
     "What the user may do. [enumeration: viewer | operator | administrator, mandatory]"),
    (INTERFACE + "mtu", "Largest packet. [uint16, range 68..9216, units bytes, default 1500]"),
    (INTERFACE + "speed",
     "Speed of the line in megabits per second. "
     "[union: enumeration (auto) or uint32 (range 10..400000), default auto]"),
    (INTERFACE + "admin-state",
     "What the operator wants of the interface. [admin-state: up | down | testing, default up]"),
    (INTERFACE + "vlan", "VLANs that the interface carries with a tag. [vlan-id, range 1..4094]"),
])  # fmt: skip
def test_what_an_operator_needs_to_type_a_value(shells, path, text):
    prompt, _ = shells
    name = path.rpartition("/")[2]
    row = f"\r\n  {name}    {text}\r\n\r\r\n/$ set {path}"
    assert prompt.help(f"set {path[:-1]}") == row.encode() + b"\a"


def test_the_texts_stand_in_one_column(shells):
    prompt, _ = shells
    rows = prompt.help("set " + INTERFACE).decode().split("\r\n")[1:-2]
    assert len(rows) > 12
    column = len("  vandel-ospf:ospf/    ")
    for row in rows:
        assert row[:column].strip() in row.split()[0] and row[column] != " "
