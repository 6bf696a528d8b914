"""Mistakes that are put into correct sets, and where they stand then."""

from .text import Statement as S

STRING = S("type", "string")


def leaf(*inner, name="fault"):
    return S("leaf", name, *inner)


def circle():
    return [
        S("typedef", "fault-a", S("type", "fault-b")),
        S("typedef", "fault-b", S("type", "fault-a")),
    ]


# Nodes, which may stand wherever nodes may.
NODES = {
    "unknown type": lambda own: leaf(S("type", "nosuch")),
    "unknown prefix": lambda own: leaf(S("type", "nosuch:t")),
    "no type": lambda own: leaf(),
    "two types": lambda own: leaf(STRING, S("type", "int8")),
    "unknown prefix of an extension": lambda own: leaf(STRING, S("nosuch:e", "x")),
    "unknown extension": lambda own: leaf(STRING, S(f"{own}:nosuch", "x")),
    "unknown feature": lambda own: leaf(S("if-feature", "nosuch"), STRING),
    "unknown grouping": lambda own: S("container", "fault", S("uses", "nosuch")),
    "unknown identity": lambda own: leaf(S("type", "identityref", S("base", "nosuch"))),
    "wrong statement": lambda own: S("laef", "fault", STRING),
    "wrong place": lambda own: leaf(STRING, S("key", "x")),
    "wrong range": lambda own: leaf(S("type", "uint8", S("range", "5..1"))),
    "wrong default": lambda own: leaf(S("type", "uint8"), S("default", "300")),
    "wrong pattern": lambda own: leaf(S("type", "string", S("pattern", "[a", is_word=False))),
    "wrong condition": lambda own: leaf(STRING, S("must", "..((", is_word=False)),
    "wrong status": lambda own: leaf(STRING, S("status", "nosuch")),
    "wrong name": lambda own: leaf(STRING, name="1-fault"),
    "wrong path": lambda own: leaf(S("type", "leafref", S("path", f"/{own}:nosuch"))),
    "mandatory with a default": lambda own: leaf(STRING, S("mandatory", "true"), S("default", "x")),
    "one name twice": lambda own: S("container", "fault", leaf(STRING), leaf(STRING)),
    "no such key": lambda own: S("list", "fault", S("key", "nosuch"), leaf(STRING)),
    "no such case": lambda own: S("choice", "fault", S("default", "nosuch"), leaf(STRING)),
    "one value twice": lambda own: leaf(S("type", "enumeration", S("enum", "a"), S("enum", "a"))),
    "less than nothing": lambda own: S(
        "leaf-list", "fault", STRING, S("min-elements", "3"), S("max-elements", "2")
    ),
}
# What stands at the top of a module or submodule.
DEFINITIONS = {
    "unknown target": lambda own: S(
        "augment", f"/{own}:nosuch/{own}:there", leaf(STRING), is_word=False
    ),
    "unknown deviated node": lambda own: S(
        "deviation", f"/{own}:nosuch", S("deviate", "not-supported"), is_word=False
    ),
    "unknown base": lambda own: S("identity", "fault", S("base", "nosuch")),
    "configuration in state": lambda own: S(
        "container", "fault", S("config", "false"), leaf(S("config", "true"), STRING)
    ),
    "no key": lambda own: S("list", "fault", leaf(STRING)),
    "circle of types": lambda own: S("container", "fault", *circle(), leaf(S("type", "fault-a"))),
    "unknown refined node": lambda own: S(
        "container",
        "fault",
        S("grouping", "fault-g", leaf(STRING)),
        S("uses", "fault-g", S("refine", "nosuch", S("description", "x"))),
    ),
}
# What stands in the head.
HEADS = {
    "unknown import": lambda own: S("import", "nosuch-module", S("prefix", "nosuch")),
    "unknown include": lambda own: S("include", "nosuch-part"),
}
AROUND = {
    "at the top": lambda fault: [fault],
    "in containers": lambda fault: [S("container", "a-f", S("container", "b-f", fault))],
    "in a list": lambda fault: [S("list", "l-f", S("key", "k"), leaf(STRING, name="k"), fault)],
    "in a case": lambda fault: [S("choice", "h-f", S("case", "s-f", fault))],
    "in an input": lambda fault: [S("rpc", "r-f", S("input", None, fault))],
    "in a notification": lambda fault: [S("notification", "n-f", fault)],
    "in a used grouping": lambda fault: [S("grouping", "g-f", fault), S("uses", "g-f")],
}


def add_fault(random, part, statement):
    """Puts a fault into the statement of a part, and returns what it is."""
    name = random.choice((*NODES, *DEFINITIONS, *HEADS))
    inner = statement.inner
    if name in HEADS:
        fault = HEADS[name](part.prefix)
        is_head = [
            one.keyword in ("yang-version", "namespace", "prefix", "belongs-to") for one in inner
        ]
        inner.insert(sum(is_head), fault)
    elif name in DEFINITIONS:
        fault = DEFINITIONS[name](part.prefix)
        inner.append(fault)
    else:
        place = random.choice(list(AROUND))
        fault = NODES[name](part.prefix)
        inner += AROUND[place](fault)
        name += " " + place
    fault.is_marked = True
    for one in fault.inner:
        one.is_marked = ":" in one.keyword
    return name
