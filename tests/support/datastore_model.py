"""A model of a datastore: what a configuration holds after edits, in plain Python.

The nodes of a schema are described by the functions below. A configuration is a
dict of the children of a container or of a list's entry, by name: a leaf is its
text, a leaf-list a list of texts, a list a dict of entries by their keys, which
are tuples. Children of other modules have the module's name in front.
"""

import copy
import dataclasses
import itertools


@dataclasses.dataclass
class Node:
    """One node of a schema."""

    kind: str
    name: str
    values: tuple = ()
    children: tuple = ()
    keys: tuple = ()
    by_user: bool = False  # entries and values keep the order in which they were made
    presence: bool = False
    case: tuple = ()  # (choice, case), the same for all nodes of a case
    mandatory: bool = False
    default: str = None

    def __post_init__(self):
        self.by_name = {child.name: child for child in self.children}


def leaf(name, *values, **options):
    return Node("leaf", name, values, **options)


def identity(name, *values, **options):
    """Values with their modules in front."""
    return Node("identity", name, values, **options)


def bits(name, *values, **options):
    return Node("bits", name, values, **options)


def leaf_list(name, *values, **options):
    return Node("leaf-list", name, values, **options)


def list_(name, keys, *children, **options):
    return Node("list", name, children=children, keys=tuple(keys.split()), **options)


def container(name, *children, **options):
    return Node("container", name, children=children, **options)


def choice(name, *cases):
    """The nodes of the cases, each of which is a tuple of nodes."""
    return tuple(
        dataclasses.replace(node, case=(name, number))
        for number, case in enumerate(cases)
        for node in case
    )


class Schema:
    """The nodes at the top, and the modules by their namespaces. The first module
    is the one whose name does not stand in front."""

    def __init__(self, modules, *nodes):
        self.modules = modules
        self.home = next(iter(modules.values()))
        self.root = container("", *nodes)

    def _name(self, element, parent_module):
        uri, local = element.tag[1:].split("}")
        module = self.modules[uri]
        return module, local if module == parent_module else f"{module}:{local}"

    def read(self, data, ignored=()):
        """The configuration in a data element; names that are not in the schema
        are a failure, but for the namespaces at the top that are ignored."""
        content = {}
        for element in data:
            if element.tag[1:].partition("}")[0] not in ignored:
                self._read(self.root, element, self.home, content)
        return content

    def _read(self, parent, element, parent_module, content):
        module, name = self._name(element, parent_module)
        node = parent.by_name[name]
        if node.kind == "leaf-list":
            content.setdefault(name, []).append(element.text or "")
        elif node.kind in ("container", "list"):
            inner = {}
            for child in element:
                self._read(node, child, module, inner)
            if node.kind == "list":
                key = tuple(inner[key] for key in node.keys)
                entries = content.setdefault(name, {})
                assert key not in entries, (name, key)
                entries[key] = inner
            else:
                assert name not in content, name
                content[name] = inner
        else:
            assert name not in content, name
            content[name] = self._value(node, element)

    def _value(self, node, element):
        text = (element.text or "").strip()
        if node.kind == "bits":
            return " ".join(sorted(text.split()))
        if node.kind == "identity":
            prefix, _, local = text.rpartition(":")
            return f"{self.modules[element.nsmap[prefix or None]]}:{local}"
        return text


def plain(node, content):
    """What of a configuration counts: without empty containers that say nothing,
    and in one order where the order is the server's."""
    found = {}
    for name, value in content.items():
        child = node.by_name[name]
        if child.kind == "container":
            inner = plain(child, value)
            if inner or child.presence:
                found[name] = inner
        elif child.kind == "list" and value:
            entries = [(key, plain(child, entry)) for key, entry in value.items()]
            found[name] = entries if child.by_user else sorted(entries, key=lambda each: each[0])
        elif child.kind == "leaf-list" and value:
            found[name] = list(value) if child.by_user else sorted(value)
        elif child.kind not in ("list", "leaf-list"):
            found[name] = value
    return found


# A path is a tuple of steps: a name, or a name and keys or a leaf-list's value.


def put(root, content, path, value=None):
    """Sets a leaf, or makes what the path leads to."""
    node = root
    for step in path:
        name, key = step if isinstance(step, tuple) else (step, None)
        parent, node = node, node.by_name[name]
        _drop_other_cases(parent, content, node)
        if node.kind == "container":
            content = content.setdefault(name, {})
        elif node.kind == "list":
            entry = dict(zip(node.keys, key))
            content = content.setdefault(name, {}).setdefault(key, entry)
        elif node.kind == "leaf-list":
            values = content.setdefault(name, [])
            if key not in values:
                values.append(key)
        else:
            content[name] = value


def _drop_other_cases(parent, content, node):
    if not node.case:
        return
    for name in list(content):
        other = parent.by_name[name].case
        if other and other[0] == node.case[0] and other != node.case:
            del content[name]


def _above(content, path):
    """What holds the last step of a path; empty when it is not there."""
    for step in path[:-1]:
        name, key = step if isinstance(step, tuple) else (step, None)
        content = content.get(name, {})
        content = content.get(key, {}) if key else content
    return content


def value_at(content, path):
    """The text of the leaf that the path leads to; empty when it is not there, and
    for anything else."""
    found = _above(content, path).get(path[-1], "") if isinstance(path[-1], str) else ""
    return found if isinstance(found, str) else ""


def remove(content, path):
    """Removes what the path leads to, which has to be there."""
    content = _above(content, path)
    last = path[-1]
    if not isinstance(last, tuple):
        del content[last]
    elif isinstance(content[last[0]], list):
        content[last[0]].remove(last[1])
    else:
        del content[last[0]][last[1]]


def paths(node, content, above=()):
    """Everything that can be removed: (path, node)."""
    for name, value in content.items():
        child = node.by_name[name]
        if child.kind == "container":
            if plain(child, value) or child.presence:
                yield (*above, name), child
            yield from paths(child, value, (*above, name))
        elif child.kind == "list":
            for key, entry in value.items():
                yield (*above, (name, key)), child
                yield from paths(child, entry, (*above, (name, key)))
        elif child.kind == "leaf-list":
            yield from ((((*above, (name, each))), child) for each in value)
        elif name not in node.keys and not child.mandatory:
            yield (*above, name), child


def random_path(rng, node, content):
    """Something to put: (path, node, value). It need not be there."""
    path = []
    while True:
        child = rng.choice([each for each in node.children if each.name not in node.keys])
        if child.kind == "container":
            path.append(child.name)
            content = content.get(child.name, {})
        elif child.kind == "list":
            known = list(content.get(child.name, {}))
            new = tuple(rng.choice(child.by_name[key].values) for key in child.keys)
            key = rng.choice([*known, new, new])
            path.append((child.name, key))
            content = content.get(child.name, {}).get(key, {})
        elif child.kind == "leaf-list":
            return (*path, (child.name, rng.choice(child.values))), child, None
        else:
            return (*path, child.name), child, rng.choice(child.values)
        node = child
        is_end = len(node.children) == len(node.keys) or (node.presence and rng.random() < 0.3)
        if is_end:
            return tuple(path), node, None


def nodes_along(root, path):
    """The nodes on a path, each with the part of the path that leads to it."""
    node = root
    for at, step in enumerate(path):
        node = node.by_name[step[0] if isinstance(step, tuple) else step]
        yield path[: at + 1], node


def meets(root, one, other):
    """True when two paths cannot stand in one request without a question: one
    leads through the other, they are in one choice, or both make entries whose
    order matters."""
    shared = sum(1 for _ in itertools.takewhile(lambda pair: pair[0] == pair[1], zip(one, other)))
    if shared in (len(one), len(other)):
        return True
    left = list(nodes_along(root, one))[shared][1]
    right = list(nodes_along(root, other))[shared][1]
    same_choice = left.case and right.case and left.case[0] == right.case[0]
    return bool(same_choice) or (left is right and left.by_user and left.kind == "list")


def copied(content):
    return copy.deepcopy(content)
