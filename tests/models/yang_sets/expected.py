"""What yanglint makes of modules: the nodes that the database should hold.

Its tree says whose each node is, in which form its type is written, and what the keys are;
its listing of the compiled modules ("info") the rest. Both have the nodes in one order.
"""

import os
import re
import subprocess
from dataclasses import dataclass, field

KINDS = {
    "container": 1,
    "leaf": 2,
    "leaf-list": 3,
    "list": 4,
    "choice": 5,
    "case": 6,
    "rpc": 7,
    "input": 8,
}
LEFT_OUT = ("anyxml", "anydata", "action", "notification", "output")
BUILT_IN = (
    "binary bits boolean decimal64 empty enumeration identityref instance-identifier int8 int16"
    " int32 int64 leafref string uint8 uint16 uint32 uint64 union"
).split()
TREE_LINE = re.compile(r"^([ |]*)[+xo]--(?:(rw|ro|-x|-n|-w|--|mp) |:)?(.*)$")
TOKEN = re.compile(r'"(?:[^"\\]|\\.)*"|[{};]|[^\s{};"]+', re.DOTALL)


@dataclass
class Node:
    kind: str
    name: str  # "module:name"
    config: bool = True
    type: str = ""  # the built-in one, as it is stored
    compiled_type: str = ""  # the built-in one
    written_type: str = ""
    is_mandatory: bool = False
    constraint: str = ""  # of the type, as the help text begins it; empty also where unknown
    units: str = ""
    defaults: list = field(default_factory=list)
    description: str = ""
    keys: list = field(default_factory=list)
    children: list = field(default_factory=list)


@dataclass
class Verdict:
    is_good: bool
    messages: str = ""
    modules: dict = field(default_factory=dict)  # of the implemented ones, by name
    imported: list = field(default_factory=list)  # the names of the others
    is_lost: bool = False  # yanglint has crashed


@dataclass
class Module:
    namespace: str
    nodes: list  # at the top
    is_met: bool  # it has what a path or a value may name


def run_yanglint(options, files):
    """(whether it accepts the files, what it prints, its messages)"""
    result = subprocess.run(
        ["yanglint", "-i", "-D", *options, *files],
        env={"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"},
        stdin=subprocess.DEVNULL,
        capture_output=True,
        text=True,
        errors="replace",
        timeout=120,
    )
    messages = result.stderr
    if result.returncode < 0:
        messages += f"libyang err : yanglint died of signal {-result.returncode}\n"
    return result.returncode == 0, result.stdout, messages


def ask(directories, files, paths, features):
    """Has yanglint read the files. `paths` finds those of modules that may come along, by
    name; `features` are "module:feature" of those that are on, None for all."""
    options = [word for directory in directories for word in ("-p", directory)]
    if features is not None:
        on = {name: [] for name, path in paths.items() if path in files}
        for name, _, feature in (one.partition(":") for one in features):
            on[name].append(feature)
        options += [word for name in on for word in ("-F", f"{name}:{','.join(on[name])}")]
    is_good, listed, messages = run_yanglint([*options, "-l"], files)
    if not is_good:
        return Verdict(False, messages, is_lost="died of signal" in messages)
    implemented = [one for one in re.findall(r"^    I ([^@\s]+)", listed, re.M) if one in paths]
    imported = re.findall(r"^    i ([^@\s]+)", listed, re.M)
    files = files + [paths[name] for name in implemented if paths[name] not in files]
    is_drawn, trees, _ = run_yanglint([*options, "-f", "tree", "-L", "100000"], files)
    is_good, listings, messages = run_yanglint([*options, "-f", "info"], files)
    if not is_drawn or not is_good:
        return Verdict(False, messages, is_lost=True)
    listings = {name: inner for _, name, inner in read_listing(listings)}
    prefixes = {name: value_of(inner, "prefix") for name, inner in listings.items()}
    modules = {}
    for text in re.split(r"^module: ", trees, flags=re.M)[1:]:
        name, _, tree = text.partition("\n")
        listing = listings[name]
        compiled = [one for one in listing if one[0] in (*KINDS, *LEFT_OUT)]
        keywords = {one[0] for one in listing}
        modules[name] = Module(
            value_of(listing, "namespace"),
            join(read_tree(tree, name, prefixes), compiled, name),
            bool(compiled) or "identity" in keywords,
        )
    return Verdict(True, messages, modules, imported)


def read_listing(text):
    """The statements as (keyword, argument, [statement])."""
    text = re.sub(r'^( *unique "[^";\n]*);$', r'\1";', text, flags=re.M)  # yanglint forgets that
    tokens = iter(TOKEN.findall(text))

    def statements():
        made = []
        words = []
        for token in tokens:
            if token in "{};":
                if token == "}":
                    return made
                inner = statements() if token == "{" else []
                made.append((words[0], " ".join(words[1:]), inner))
                words = []
            elif token[0] == '"':
                words.append(re.sub(r"\\(.)", unescaped, token[1:-1]))
            else:
                words.append(token)
        return made

    return statements()


def unescaped(match):
    return {"n": "\n", "t": "\t"}.get(match[1], match[1])


def value_of(statements, keyword, otherwise=""):
    for one in statements:
        if one[0] == keyword:
            return one[1]
    return otherwise


def read_tree(text, module, prefixes):
    """The nodes at the top of the module in yanglint's tree, with kind unknown."""
    tops = []
    above = []  # (column, node)
    is_own = True
    for line in text.splitlines():
        match = TREE_LINE.match(line)
        if not match:  # a heading
            is_own = line.strip() in ("", "rpcs:", "notifications:")
            above = []
        if not match or not is_own:
            continue
        column = len(match[1])
        node = read_node(match[3], module, prefixes)
        while above and above[-1][0] >= column:
            above.pop()
        (above[-1][1].children if above else tops).append(node)
        above.append((column, node))
    return tops


def read_node(text, module, prefixes):
    words = re.sub(r" \{[^{}]*\}\?$", "", text).split()
    name = words[0].strip("():?!*/@")
    prefix, colon, own = name.rpartition(":")
    found = [one for one in prefixes if prefixes[one] == prefix] if colon else [module]
    node = Node("", f"{'|'.join(found)}:{own}")
    rest = words[1:]
    keys = re.search(r"\[([^\]]*)\]", " ".join(rest))
    if keys and words[0].endswith("*"):
        node.keys = keys[1].split()
    elif rest:
        node.written_type = "leafref" if rest[0] == "->" else rest[0]
    return node


def join(nodes, compiled, module):
    """Completes the nodes of the tree by the compiled statements, and leaves out what the
    database does not hold."""
    assert [one.name.rpartition(":")[2] for one in nodes] == [
        one[1] or one[0] for one in compiled
    ], (module, [one.name for one in nodes], [one[:2] for one in compiled])
    kept = []
    for node, (keyword, _, inner) in zip(nodes, compiled):
        below = [one for one in inner if one[0] in (*KINDS, *LEFT_OUT)]
        node.children = join(node.children, below, module)
        if keyword in LEFT_OUT:
            continue
        node.kind = keyword
        node.config = value_of(inner, "config", "true") == "true"
        node.description = value_of(inner, "description")
        if keyword in ("leaf", "leaf-list"):
            complete_leaf(node, inner)
        if keyword == "rpc":
            node.config = False
            if not node.children:  # every rpc has an input
                node.children = [Node("input", node.name.partition(":")[0] + ":input")]
        kept.append(node)
    return kept


def complete_leaf(node, inner):
    kind = next(one for one in inner if one[0] == "type")
    node.type = node.compiled_type = kind[1]
    if kind[1] == "leafref":
        kind = next(one for one in kind[2] if one[0] == "type")
        if kind[1] in ("union", "identityref"):
            node.type = kind[1]
    node.constraint = constraint_of(kind)
    if node.written_type in BUILT_IN:
        node.written_type = node.compiled_type  # a deviation may have replaced that in the tree
    node.units = value_of(inner, "units")
    node.is_mandatory = (
        value_of(inner, "mandatory") == "true" or int(value_of(inner, "min-elements", "0")) > 0
    )
    node.defaults = [one[1] for one in inner if one[0] == "default"]


def constraint_of(kind):
    values = [one[1] for one in kind[2] if one[0] in ("enum", "bit")]
    if values:
        return ": " + (" | " if kind[1] == "enumeration" else " ").join(values[:12])
    for word in ("range", "length"):
        text = value_of(kind[2], word)
        if text and text.count("|") < 12:
            return f", {word} {text}"
    return ""
