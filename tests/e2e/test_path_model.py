"""Random paths, understood by the shell and by a model that works on text alone.

The model rewrites the path as a text, one rule after the other, while the shell
works component by component; both must come to the same path.
"""

import random
import re

import pytest
from support.prompts import ROOT
from support.schema_db import Schema, container, leaf, list_, module, rpc

PIECES = ["m", "c", "l", "x", "k", "r", "n", ".", "..", "", "...", ".c", "..c", "l[k=1]", "l[k=/]",
          "l[k=a/../b]", "l[k=:/.]", "c[k=1]", "l[k=1]x", "x[", "l[]", "l]"]  # fmt: skip


def below(depth):
    """What stands below a node: leaves, and on most levels a container and a list."""
    leaves = [leaf("x", config=False)]
    if depth == 0:
        return leaves
    deeper = below(depth - 1)
    return [*leaves, container("c", *deeper), list_("l", ["k"], leaf("k", config=False), *deeper)]


SCHEMA = Schema(
    module("m", "urn:m", *below(4), rpc("r", *below(3))), module("n", "urn:n", *below(1))
)


def mask(path):
    """Hides what cuts inside the values of predicates."""
    hidden = str.maketrans("/:", "\1\2")
    return re.sub(r"=[^],]*(?=[],])", lambda value: value[0].translate(hidden), path)


def normal(workspace, argument, rpc_path, is_list):
    """The absolute path of an argument, or None."""
    if argument.startswith("/"):
        path = argument
    else:
        path = f"{workspace}/{argument[2:] if argument.startswith('./') else argument}"
    path = mask(path)
    while "//" in path:
        path = path.replace("//", "/")
    while "/./" in path:
        path = path.replace("/./", "/", 1)
    if path.endswith("/."):
        path = path[:-2]
    if path.endswith("/") and len(path) > 1:
        path = path[:-1]
    while "/.." in path:
        at = path.index("/..")
        before, after = path[:at], path[at + 3 :]
        if before == "" or before == rpc_path or after[:1] not in ("", "/"):
            return None
        last = before[before.rindex("/") :]
        cut = last.index("[") if "[" in last else 0
        path = before[: len(before) - len(last) + cut] + after
    path = path or "/"
    workspace = mask(workspace)
    if is_list and path.startswith(workspace + "/"):
        name = workspace[workspace.rindex("/") :]
        if not path[len(workspace) :].startswith(name + "["):
            return None
        path = workspace + path[len(workspace) + len(name) :]
    return path


def exists(path, rpc_path):
    """True when the schema has a node at a normal path below a module."""
    if path.count("/") < 2:
        return False
    if rpc_path:
        if path != rpc_path and not path.startswith(rpc_path + "/"):
            return False
        path = path.replace(rpc_path, rpc_path + "/input", 1)
    parent, _, name = re.sub(r"\[[^]]*\]", "[]", path).rpartition("/")
    while parent:
        if name.partition("[")[0] not in SCHEMA.hashes.get(parent, {}):
            return False
        parent, _, name = parent.rpartition("/")
        if not parent:
            return name in SCHEMA.hashes["/"]
    return False


WORKSPACES = [
    ("/", "", []),
    ("/m", "", ["m"]),
    ("/m/c/c", "", ["m", "c", "c"]),
    ("/m/c/l", "", ["m", "c", "l"]),
    ("/m/l[k=a/b]", "", ["m", "l", "l[k=a/b]"]),
    ("/m/l[k=a/b]/l", "", ["m", "l", "l[k=a/b]", "l"]),
    ("/m/r", "/m/r", []),
    ("/m/r/c/l", "/m/r", ["c", "l"]),
]


def prompt_of(workspace, rpc_path):
    if not rpc_path:
        return f"\n{workspace}$ "
    return f"\n[r]{workspace[len(rpc_path) + 1:]}$ "


@pytest.mark.parametrize("workspace, rpc_path, names", WORKSPACES)
def test_random_paths(machine, workspace, rpc_path, names):
    machine.load(SCHEMA)
    machine.tarnd.holds("<l>", '<l xmlns="urn:m"><k>a/b</k></l>')
    machine.tarnd.holds("<l ", '<l xmlns="urn:m"><k>a/b</k></l>')
    choose = random.Random(workspace)
    prompt = ROOT if workspace == "/" else prompt_of(workspace, rpc_path)
    expected, lines = "", []
    for _ in range(600):
        pieces = choose.choices(PIECES, k=choose.randint(1, 6))
        start = choose.choice(["", "", "", "/", "./", workspace + "/"])
        argument = start + "/".join(pieces)
        if argument == "" or len(argument) > 70:  # longer lines are echoed in two pieces
            continue
        path = normal(workspace, argument, rpc_path, workspace.endswith("/l"))
        answer = f"error parameter: {argument}"
        if path is not None and exists(path, rpc_path):
            shown = path.replace("\1", "/").replace("\2", ":")
            answer = f"{shown}'s not config node."
        lines.append(f"set {argument}")
        expected += f"{prompt}{lines[-1]}\n{answer}\r\n"
    way = ["/m/r"] if rpc_path else []
    way += [f"cd {name}" for name in names]
    result = machine.session(*way, *lines, *["quit"] * (2 if rpc_path else 1))
    text = result.stdout.decode()
    shown = text[text.index(f"{prompt}{lines[0]}\n") :][: len(expected)]
    assert shown.split("\r\n") == expected.split("\r\n")
