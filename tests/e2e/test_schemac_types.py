"""schemac: types and the help texts that an operator reads."""

import struct

import pytest

from support.schemac import CHOICE, CONTAINER, good, LEAF, LEAF_LIST, LIST, node, SANITIZED

pytest_plugins = ("support.schemac_fixtures",)


@pytest.mark.parametrize(
    "statement, type_name, help_text",
    [
        ("type int8 { range '-3..4 | 9'; }", "int8", "[int8, range -3..4 | 9]"),
        (
            "type uint64 { range '0..18446744073709551615'; }",
            "uint64",
            "[uint64, range 0..18446744073709551615]",
        ),
        ("type int64 { range 'min..0'; }", "int64", "[int64, range -9223372036854775808..0]"),
        (
            "type decimal64 { fraction-digits 2; range '-0.5..1.25 | 30'; }",
            "decimal64",
            "[decimal64, range -0.5..1.25 | 30.0]",
        ),
        (
            "type decimal64 { fraction-digits 18; range 'min..0'; }",
            "decimal64",
            "[decimal64, range -9.223372036854775808..0.0]",
        ),
        ("type string { length '1..8 | 12'; }", "string", "[string, length 1..8 | 12]"),
        ("type binary { length 'max'; }", "binary", "[binary, length 18446744073709551615]"),
        ("type boolean; default true;", "boolean", "[boolean, default true]"),
        ("type empty;", "empty", "[empty]"),
        ("type string; mandatory true; units m;", "string", "[string, units m, mandatory]"),
        ("type string; default '';", "string", '[string, default ""]'),
        ("type instance-identifier;", "instance-identifier", "[instance-identifier]"),
        (
            "type enumeration { enum a; enum b; } default b;",
            "enumeration",
            "[enumeration: a | b, default b]",
        ),
        ("type bits { bit x; bit y; } default 'y x';", "bits", "[bits: x y, default x y]"),
        (
            "type enumeration {" + "".join(f"enum e{i};" for i in range(12)) + "}",
            "enumeration",
            "[enumeration: " + " | ".join(f"e{i}" for i in range(12)) + "]",
        ),
        (
            "type enumeration {" + "".join(f"enum e{i};" for i in range(13)) + "}",
            "enumeration",
            "[enumeration: " + " | ".join(f"e{i}" for i in range(12)) + " | …]",
        ),
        (
            "type bits {" + "".join(f"bit b{i};" for i in range(40)) + "}",
            "bits",
            "[bits: " + " ".join(f"b{i}" for i in range(12)) + " …]",
        ),
        (
            "type union { type uint8 { range 1..3; } type enumeration { enum off; } type t1; }",
            "union",
            "[union: uint8 (range 1..3) or enumeration (off) or t1 (range 10..20)]",
        ),
        ("type u;", "union", "[u]"),
        ("type t2;", "uint8", "[t2, range 10..20, units t-units, default 12]"),
        ("type t3 { range '11 | 13'; }", "uint8", "[t3, range 11 | 13, units t-units, default 11]"),
        (
            "type identityref { base base-id; }",
            "identityref",
            "[identityref: m:one | m:two | m:three]",
        ),
        ("type leafref { path '/m:target'; }", "leafref", "[leafref, range 1..2]"),
        (
            "type leafref { path '/m:idtarget'; }",
            "identityref",
            "[leafref: m:one | m:two | m:three]",
        ),
        ("type leafref { path '/m:utarget'; }", "union", "[leafref]"),
        ("type leafref { path '/m:chain'; }", "leafref", "[leafref, range 1..2]"),
    ],
)
def test_types(server, run, write, statement, type_name, help_text):
    write(
        "m",
        """
      typedef t1 { type uint8 { range "10..20"; } }
      typedef t2 { type t1; units "t-units"; default 12; }
      typedef t3 { type t2; default 11; }
      typedef u { type union { type string; type t1; } }
      identity base-id;
      identity one { base base-id; }
      identity two { base base-id; }
      identity three { base two; }
      leaf target { type uint8 { range 1..2; } }
      leaf idtarget { type identityref { base base-id; } }
      leaf utarget { type u; }
      leaf chain { type leafref { path '/m:target'; } }
      leaf it { """
        + statement
        + " }",
    )
    good(run("m"))
    assert server.content()["/m"]["it"] == node(LEAF, True, type_name, help_text)


def test_leaf_lists(server, run, write):
    write(
        "m",
        """
      leaf-list a { type uint8; default 1; default 2; units "u"; }
      leaf-list b { type string; min-elements 1; }""",
        version="1.1",
    )
    good(run("m"))
    assert server.content()["/m"] == {
        "a": node(LEAF_LIST, True, "uint8", "[uint8, units u, default 1 2]"),
        "b": node(LEAF_LIST, True, "string", "[string, mandatory]"),
    }


@pytest.mark.parametrize(
    "description, help_text",
    [
        ("  Two\n       lines\t and\r\n   more.  ", "Two lines and more."),
        ("", ""),
        (" \n ", ""),
        ("x" * 200, "x" * 200),
        ("x" * 201, "x" * 200 + "…"),
        ("ü" * 200, "ü" * 200),
        ("ü" * 201, "ü" * 200 + "…"),
        ("word " * 60, ("word " * 40).strip() + "…"),
        ("wordy " * 60, ("wordy " * 33).strip() + "…"),
        ("a" * 199 + " b", "a" * 199 + "…"),
        ("a\u009bb\u007fc", "a?b?c"),
    ],
)
def test_descriptions(server, run, write, description, help_text):
    write("m", f'container c {{ description "{description}"; leaf x {{ type string; }} }}')
    good(run("m"))
    assert server.content()["/m"]["c"] == node(CONTAINER, help_text=help_text)


# What turns the direction of a line, separates lines or is not seen.
UNSEEN = (
    "\u00ad\u061c\u180e\u200b\u200f\u2028\u202e\u2060\u2066\u206f\ufeff\ufff9\ufffb"
    "\U000e0001\U000e007f"
)


@pytest.mark.parametrize("odd", ["\u009b\u0080\u007f", UNSEEN], ids=["controls", "unseen"])
def test_no_part_of_a_help_text_steers_a_terminal(server, run, write, odd):
    shown = "?" * len(odd)
    write(
        "m",
        f"""
      leaf a {{ type string; description "D{odd}"; units "u{odd}"; default "d{odd}"; }}
      leaf b {{ type enumeration {{ enum "e{odd}"; enum "f"; }} }}""",
    )
    good(run("m"))
    assert server.content()["/m"] == {
        "a": node(LEAF, True, "string", f"D{shown} [string, units u{shown}, default d{shown}]"),
        "b": node(LEAF, True, "enumeration", f"[enumeration: e{shown} | f]"),
    }


def test_description_and_bracket(server, run, write):
    write(
        "m",
        """
      leaf a { type string; description "Some
                                         text."; }
      list l { key "a b"; description "A list.";
               leaf a { type string; } leaf b { type string; } }""",
    )
    good(run("m"))
    assert server.content()["/m"] == {
        "a": node(LEAF, True, "string", "Some text. [string]"),
        "l": node(LIST, help_text="A list. [keys a, b]"),
    }


def test_offsets_stay_small_whatever_a_module_holds(server, run, write):
    write(
        "m",
        "leaf a { type enumeration { "
        + "".join("enum " + chr(97 + i) * 30000 + "; " for i in range(5))
        + '} description "'
        + "€" * 50000
        + '"; }',
    )
    good(run("m"))
    value = server.content()["/m"]["a"]
    help_offset, type_offset, bound = struct.unpack_from("<hhxxh", value, 12)
    assert 0 < type_offset < help_offset < bound == len(value) - 20 < 3000
    assert value.endswith("…]\0".encode())
    value[20:].decode()


@pytest.mark.skipif(SANITIZED, reason="libyang has freed what it leaves in the schema")
def test_unions_of_unions_in_several_places(server, run, write):
    """libyang would free the types of these once more, after all is done."""
    leaf = "leaf x { type union { type union { type t; } } }"
    write(
        "m",
        f"""typedef t {{ type s; }} typedef s {{ type boolean; }}
            {leaf} notification n {{ {leaf} }} rpc r {{ input {{ {leaf} }} }}""",
    )
    good(run("m"))
    assert server.content()["/m"].keys() == {"x", "r"}


def test_a_named_boolean_with_a_default_and_units(server, run, write):
    """libyang leaves the type of the second one unset."""
    write(
        "m",
        """typedef t { type boolean; } typedef s { type t; default true; }
           leaf a { type s; } leaf b { type s; units q; mandatory true; }""",
    )
    good(run("m"))
    fields = server.content()["/m"]
    assert fields["a"] == node(LEAF, True, "boolean", "[s, default true]")
    assert fields["b"] == node(LEAF, True, "boolean", "[s, units q, mandatory]")


@pytest.mark.parametrize(
    "reach, refine, deviate, name, help_text",
    [
        ("1..2", "refine a { description E; }", "", "a", "E [string, units u, default d]"),
        ("1..2", "refine a { default e; }", "", "a", "D [string, units u, default e]"),
        ("1..2", "", "a { deviate replace { units v; } }", "a", "D [string, units v, default d]"),
        (
            "1..2",
            "",
            "a { deviate replace { type binary; } deviate delete { default d; } }",
            "a",
            "D [binary, units u]",
        ),
        ("1..2", "", "a { deviate replace { type s; } }", "a", "D [s, units u, default d]"),
        ("1..2", "refine r { mandatory true; }", "", "r", "[leafref, range 1..2, mandatory]"),
        ("1..3", "", "", "r", "[leafref, range 1..3]"),
        ("1..3", "", "", "o", "[union: leafref (range 1..3) or empty]"),
        ("1..2", "refine l { min-elements 1; }", "", "l", "[string, mandatory]"),
        ("1..2", "refine l { default x; }", "", "l", "[string, default x]"),
        ("1..2", "refine l { default y; default z; }", "", "l", "[string, default y z]"),
    ],
)
def test_one_grouping_in_several_places(
    server, run, write, reach, refine, deviate, name, help_text
):
    """Its nodes have the same help, but where a place makes a difference."""
    plain = {
        "a": "D [string, units u, default d]",
        "r": "[leafref, range 1..2]",
        "o": "[union: leafref (range 1..2) or empty]",
        "l": "[string]",
    }
    place = "container %s { leaf t { type int8 { range %s; } } container c { uses g { %s } } }\n"
    write(
        "m",
        """typedef s { type string; }
        grouping g {
          leaf a { type string; default d; units u; description D; }
          leaf r { type leafref { path "../../t"; } }
          leaf o { type union { type leafref { path "../../t"; } type empty; } }
          leaf-list l { type string; }
        }\n"""
        + place % ("before", "1..2", "")
        + place % ("here", reach, refine)
        + place % ("after", "1..2", "")
        + (f"deviation /m:here/m:c/m:{deviate}" if deviate else ""),
        version="1.1",
    )
    good(run("m"))
    content = server.content()
    for where, texts in (("before", plain), ("here", {name: help_text}), ("after", plain)):
        for one, text in texts.items():
            assert content[f"/m/{where}/c"][one].endswith(b"\0" + text.encode() + b"\0"), where


@pytest.mark.parametrize(
    "one, one_text, other, other_text",
    [
        ("leaf x { type t; }", "[t, range 0..9]", *other)
        for other in (
            ("leaf x { type t; default 1; }", "[t, range 0..9, default 1]"),
            ("leaf x { type t; units u; }", "[t, range 0..9, units u]"),
            ("leaf x { type t; mandatory true; }", "[t, range 0..9, mandatory]"),
            ("leaf x { type t; description D; }", "D [t, range 0..9]"),
            ("leaf x { type t { range 1; } }", "[t, range 1]"),
            ("leaf x { type same; }", "[same, range 0..9]"),
            ("leaf x { type leafref { path /m:y; } }", "[leafref, range 0..9]"),
            ("leaf-list x { type t; min-elements 1; }", "[t, range 0..9, mandatory]"),
        )
    ]
    + [
        (
            "leaf x { type leafref { path /m:y; } }",
            "[leafref, range 0..9]",
            "leaf x { type leafref { path /m:z; } }",
            "[leafref]",
        ),
        (
            "leaf x { type union { type t; type empty; } }",
            "[union: t (range 0..9) or empty]",
            "leaf x { type union { type t; type string; } }",
            "[union: t (range 0..9) or string]",
        ),
        (
            "typedef own { type t; } leaf x { type own; }",
            "[own, range 0..9]",
            "typedef own { type string; } leaf x { type own; }",
            "[own]",
        ),
        (
            "leaf-list x { type t; }",
            "[t, range 0..9]",
            "leaf-list x { type t; min-elements 1; }",
            "[t, range 0..9, mandatory]",
        ),
        (
            "list x { key k; leaf k { type t; } }",
            "[key k]",
            "list x { key l; leaf l { type t; } }",
            "[key l]",
        ),
    ],
)
def test_one_name_in_several_statements(server, run, write, one, one_text, other, other_text):
    """Its nodes have the same help only where the statements say the same."""
    write(
        "m",
        """typedef t { type uint8 { range 0..9; } } typedef same { type t; }
           leaf y { type t; } leaf z { type string; }\n"""
        + "".join(f"container {place} {{ {one} }}\n" for place in ("a", "c"))
        + f"container b {{ {other} }} container d {{ {one} }}",
    )
    good(run("m"))
    content = server.content()
    for place, text in (("a", one_text), ("c", one_text), ("b", other_text), ("d", one_text)):
        assert content[f"/m/{place}"]["x"].endswith(b"\0" + text.encode() + b"\0"), place


def test_one_name_of_several_kinds(server, run, write):
    leaf = "leaf l { type string; }"
    write(
        "m",
        f"""container a {{ container x {{ description D; {leaf} }} }}
            container b {{ container x {{ description D; config false; {leaf} }} }}
            container c {{ choice x {{ description D; {leaf} }} }}
            container d {{ leaf x {{ description D; type empty; }} }}
            container e {{ leaf-list x {{ description D; type empty; }} }}""",
        version="1.1",
    )
    good(run("m"))
    content = server.content()
    assert [content[f"/m/{place}"]["x"] for place in "abcde"] == [
        node(CONTAINER, True, "", "D"),
        node(CONTAINER, False, "", "D"),
        node(CHOICE, True, "", "D"),
        node(LEAF, True, "empty", "D [empty]"),
        node(LEAF_LIST, True, "empty", "D [empty]"),
    ]
