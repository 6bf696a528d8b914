"""A schema of lists in lists, nested choices and modules in one another."""

from .schema_db import Schema, case, choice, container, leaf, leaf_list, list_, module, rpc

NET = Schema(
    module(
        "net",
        "urn:net",
        leaf_list("dns"),
        list_("user", ["name"], leaf("name"), leaf("role")),
        choice(
            "mode",
            case("simple", leaf("plain"), container("basic", leaf("x"))),
            case(
                "complex",
                list_("rule", ["id"], leaf("id"), leaf("act")),
                choice(
                    "inner",
                    case("i1", leaf_list("pat")),
                    case("i2", container("sub", leaf("y"))),
                ),
            ),
        ),
        container(
            "sys",
            list_(
                "vrf",
                ["name"],
                leaf("name"),
                list_(
                    "route",
                    ["via", "dest"],
                    leaf("via"),
                    leaf("dest"),
                    choice(
                        "kind",
                        case("k1", leaf("blackhole", "empty")),
                        case(
                            "k2",
                            container(
                                "nh",
                                list_(
                                    "hop",
                                    ["addr"],
                                    leaf("addr"),
                                    leaf("weight"),
                                    leaf_list("flag"),
                                ),
                            ),
                        ),
                    ),
                ),
            ),
            container(
                "ext:fan",
                list_(
                    "blade",
                    ["no"],
                    leaf("no"),
                    container("net:cover", leaf("color"), leaf("ext:pin")),
                    leaf("net:note"),
                    list_("net:tag", ["k"], leaf("k"), leaf("ext:v")),
                ),
                choice("net:speed", case("net:low", leaf("net:rpm")), case("high", leaf("turbo"))),
            ),
        ),
        rpc(
            "clean",
            list_(
                "job",
                ["id"],
                leaf("id"),
                list_("step", ["n", "m"], leaf("n"), leaf("m"), leaf("note")),
                leaf_list("arg"),
                choice(
                    "how",
                    case("fast", leaf("q")),
                    case("slow", list_("task", ["t"], leaf("t"))),
                ),
            ),
            leaf("ext:opt", "union"),
        ),
    ),
    module("ext", "urn:ext", container("own", leaf("z"))),
)
