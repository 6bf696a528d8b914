"""schemac: YANG modules in, exact records in redis out."""

import fcntl
import os
import signal

import pytest
from support import valgrind
from support.schemac import (
    CASE,
    CHOICE,
    CONTAINER,
    good,
    INPUT,
    LEAF,
    LEAF_LIST,
    LIST,
    module,
    node,
    RPC,
)

pytest_plugins = ("support.schemac_fixtures",)


# Records


def test_records_byte_for_byte(server, run, write):
    write(
        "m",
        """
      leaf a { type uint8; description "Help."; }
      leaf b { type string; config false; }
      container c { leaf x { type empty; } }""",
    )
    good(run("m"))
    assert server.content() == {
        "/": {"m": bytes(43) + b"urn:m\0"},
        "/m": {
            "a": bytes.fromhex("8100" "00000000000000000000" "0700" "0100" "0000" "1500")
            + b"\0uint8\0Help. [uint8]\0",
            "b": bytes.fromhex("8000" "00000000000000000000" "0800" "0100" "0000" "1100")
            + b"\0string\0[string]\0",
            "c": bytes.fromhex("4100" "00000000000000000000" "0000" "0000" "0000" "0100") + b"\0",
        },
        "/m/c": {
            "x": bytes.fromhex("8100" "00000000000000000000" "0700" "0100" "0000" "0f00")
            + b"\0empty\0[empty]\0",
        },
    }


def test_every_kind_of_node(server, run, write):
    write(
        "m",
        """
      container c {
        description "A container.";
        leaf l { type string; }
        leaf-list ll { type int32; }
        list one {
          key k;
          leaf k { type string; }
          leaf v { type string; }
          list two {
            key "b a";
            leaf a { type uint8; }
            leaf b { type uint16; }
          }
        }
        container state {
          config false;
          leaf s { type string; }
          list nokey { leaf n { type string; } }
        }
        container hollow { presence "It is there."; }
        anyxml any;
      }
      rpc act { input { leaf in { type string; } } output { leaf out { type string; } } }
      rpc bare;
      notification n { leaf x { type string; } }""",
    )
    result = good(run("m"))
    content = server.content()
    assert content == {
        "/": {"m": module("urn:m")},
        "/m": {
            "c": node(CONTAINER, help_text="A container."),
            "act": node(RPC, config=False),
            "bare": node(RPC, config=False),
        },
        "/m/c": {
            "l": node(LEAF, True, "string", "[string]"),
            "ll": node(LEAF_LIST, True, "int32", "[int32]"),
            "one": node(LIST, help_text="[key k]"),
            "state": node(CONTAINER, False),
            "hollow": node(CONTAINER),
        },
        "/m/c/one": {"k": node(LEAF, True, "string", "[string]")},
        "/m/c/one[]": {
            "k": node(LEAF, True, "string", "[string]"),
            "v": node(LEAF, True, "string", "[string]"),
            "two": node(LIST, help_text="[keys b, a]"),
        },
        "/m/c/one[]/two": {
            "b": node(LEAF, True, "uint16", "[uint16]"),
            "a": node(LEAF, True, "uint8", "[uint8]"),
        },
        "/m/c/one[]/two[]": {
            "b": node(LEAF, True, "uint16", "[uint16]"),
            "a": node(LEAF, True, "uint8", "[uint8]"),
        },
        "/m/c/state": {
            "s": node(LEAF, False, "string", "[string]"),
            "nokey": node(LIST, False),
        },
        "/m/c/state/nokey[]": {"n": node(LEAF, False, "string", "[string]")},
        "/m/act": {"input": node(INPUT)},
        "/m/act/input": {"in": node(LEAF, True, "string", "[string]")},
        "/m/bare": {"input": node(INPUT)},
    }
    size = sum(
        len(key) + sum(len(field) + len(value) for field, value in fields.items())
        for key, fields in content.items()
    )
    assert result.stdout == f"schemac: 1 modules, 19 nodes, {size} bytes\n"


def test_actions_are_left_out(server, run, write):
    write(
        "m",
        """container c {
        leaf l { type string; }
        action go { input { leaf i { type string; } } }
        notification n { leaf x { type string; } }
        anydata d;
      }""",
        version="1.1",
    )
    good(run("m"))
    assert server.content() == {
        "/": {"m": module("urn:m")},
        "/m": {"c": node(CONTAINER)},
        "/m/c": {"l": node(LEAF, True, "string", "[string]")},
    }


def test_choices_and_cases(server, run, write):
    write(
        "m",
        """
      choice top { leaf t { type string; } }
      container c {
        choice ch {
          description "One of these.";
          case first { description "The first."; leaf a { type string; } leaf b { type string; } }
          leaf short { type empty; }
          container box { leaf in { type string; } }
          case nested {
            leaf d { type string; }
            choice inner { case x { leaf e { type string; } } leaf f { type string; } }
          }
        }
      }""",
    )
    good(run("m"))
    string = node(LEAF, True, "string", "[string]")
    assert server.content() == {
        "/": {"m": module("urn:m")},
        "/m": {"top": node(CHOICE), "c": node(CONTAINER)},
        "/m/top": {"t": node(CASE)},
        "/m/top/t": {"t": string},
        "/m/c": {"ch": node(CHOICE, help_text="One of these.")},
        "/m/c/ch": {
            "first": node(CASE, help_text="The first."),
            "short": node(CASE),
            "box": node(CASE),
            "nested": node(CASE),
        },
        "/m/c/ch/first": {"a": string, "b": string},
        "/m/c/ch/short": {"short": node(LEAF, True, "empty", "[empty]")},
        "/m/c/ch/box": {"box": node(CONTAINER)},
        "/m/c/ch/box/box": {"in": string},
        "/m/c/ch/nested": {"d": string, "inner": node(CHOICE)},
        "/m/c/ch/nested/inner": {"x": node(CASE), "f": node(CASE)},
        "/m/c/ch/nested/inner/x": {"e": string},
        "/m/c/ch/nested/inner/f": {"f": string},
    }


def test_choices_within_lists_and_rpcs(server, run, write):
    write(
        "m",
        """
      list l { key k; leaf k { type string; }
        choice ch { leaf a { type string; } } }
      rpc r { input { choice ch { case x { leaf b { type string; } } }
                      list i { key k; leaf k { type string; } leaf v { type string; } } } }""",
    )
    good(run("m"))
    string = node(LEAF, True, "string", "[string]")
    assert server.content() == {
        "/": {"m": module("urn:m")},
        "/m": {"l": node(LIST, help_text="[key k]"), "r": node(RPC, False)},
        "/m/l": {"k": string},
        "/m/l[]": {"k": string, "ch": node(CHOICE)},
        "/m/l[]/ch": {"a": node(CASE)},
        "/m/l[]/ch/a": {"a": string},
        "/m/r": {"input": node(INPUT)},
        "/m/r/input": {"ch": node(CHOICE), "i": node(LIST, help_text="[key k]")},
        "/m/r/input/ch": {"x": node(CASE)},
        "/m/r/input/ch/x": {"b": string},
        "/m/r/input/i": {"k": string},
        "/m/r/input/i[]": {"k": string, "v": string},
    }


# Modules that work together


def test_augments_name_their_module(server, run, write):
    write(
        "base",
        """
      container c {
        leaf x { type string; }
        choice ch { leaf a { type string; } }
      }
      list l { key k; leaf k { type string; } }
      rpc r { input { leaf i { type string; } } }""",
    )
    write(
        "more",
        """
      import base { prefix b; }
      augment "/b:c" {
        container box { leaf in { type string; } list deep { key k; leaf k { type string; } } }
        choice own { case mine { leaf o { type string; } } }
      }
      augment "/b:c/b:ch" { case extra { leaf e { type string; } } leaf short { type empty; } }
      augment "/b:c/b:ch/b:a" { leaf beside { type string; } }
      augment "/b:l" { leaf v { type string; } }
      augment "/b:r/b:input" { leaf j { type string; } }""",
    )
    write(
        "most",
        """
      import base { prefix b; }
      import more { prefix m; }
      augment "/b:c/m:box" { leaf far { type string; } }""",
    )
    result = good(run("base", "more", "most"))
    string = node(LEAF, True, "string", "[string]")
    assert server.content() == {
        "/": {"base": module("urn:base"), "more": module("urn:more"), "most": module("urn:most")},
        "/base": {
            "c": node(CONTAINER),
            "l": node(LIST, help_text="[key k]"),
            "r": node(RPC, False),
        },
        "/base/c": {
            "x": string,
            "ch": node(CHOICE),
            "more:box": node(CONTAINER),
            "more:own": node(CHOICE),
        },
        "/base/c/ch": {"a": node(CASE), "more:extra": node(CASE), "more:short": node(CASE)},
        "/base/c/ch/a": {"a": string, "more:beside": string},
        "/base/c/ch/more:extra": {"more:e": string},
        "/base/c/ch/more:short": {"more:short": node(LEAF, True, "empty", "[empty]")},
        "/base/c/more:own": {"mine": node(CASE)},
        "/base/c/more:own/mine": {"more:o": string},
        "/base/c/more:box": {
            "in": string,
            "deep": node(LIST, help_text="[key k]"),
            "most:far": string,
        },
        "/base/c/more:box/deep": {"k": string},
        "/base/c/more:box/deep[]": {"k": string},
        "/base/l": {"k": string},
        "/base/l[]": {"k": string, "more:v": string},
        "/base/r": {"input": node(INPUT)},
        "/base/r/input": {"i": string, "more:j": string},
    }
    assert result.stdout.startswith("schemac: 3 modules, 25 nodes, ")


@pytest.mark.parametrize("words", [["base", "more"], ["more", "base"], ["more"]])
def test_a_choice_at_the_top_of_another_module_is_augmented(server, run, write, words):
    write("base", "choice ch { case a { leaf x { type string; } } }")
    write(
        "more",
        "import base { prefix b; } augment /b:ch { case c { leaf y { type string; } } }",
    )
    good(run(*words))
    assert server.content()["/base/ch"].keys() == {"a", "more:c"}
    assert server.content()["/base/ch/more:c"].keys() == {"more:y"}


def test_what_is_augmented_comes_along_unnamed(server, run, write):
    write("base", "container c { leaf x { type string; } }")
    write("more", "import base { prefix b; } augment /b:c { leaf y { type string; } }")
    good(run("more"))
    assert server.content()["/base/c"].keys() == {"x", "more:y"}
    good(run("base"))
    assert server.content()["/base/c"].keys() == {"x"}


def test_submodules(server, run, write, tmp_path):
    write("m", "include part; container c { uses g; } leaf own { type t; }")
    (tmp_path / "part.yang").write_text(
        """submodule part {
      belongs-to m { prefix m; }
      typedef t { type uint8; }
      grouping g { leaf gl { type t; } }
      container from-part { leaf p { type t; } }
      rpc do-part { input { leaf q { type t; } } }
    }"""
    )
    good(run("m"))
    t = node(LEAF, True, "uint8", "[t]")
    expected = {
        "/": {"m": module("urn:m")},
        "/m": {
            "c": node(CONTAINER),
            "own": t,
            "from-part": node(CONTAINER),
            "do-part": node(RPC, False),
        },
        "/m/c": {"gl": t},
        "/m/from-part": {"p": t},
        "/m/do-part": {"input": node(INPUT)},
        "/m/do-part/input": {"q": t},
    }
    assert server.content() == expected
    server.database().flushdb()
    good(run("part"))  # a submodule stands for its module
    assert server.content() == expected


def write_parts(tmp_path, directory, module_text, **parts):
    (tmp_path / directory).mkdir()
    head = "module m { namespace urn:m; prefix m; "
    (tmp_path / directory / "m.yang").write_text(head + module_text)
    for name, text in parts.items():
        head = f"submodule {name} {{ belongs-to m {{ prefix m; }} "
        (tmp_path / directory / f"{name}.yang").write_text(head + text)


@pytest.mark.parametrize("words", [["--search", "d", "m"], ["d/m.yang"], ["d"], ["d/a.yang"]])
def test_extensions_in_a_submodule_of_a_submodule(server, run, tmp_path, words):
    write_parts(
        tmp_path,
        "d",
        "include a; extension e; }",
        a="include b; }",
        b="container c { m:e; leaf x { type string; } } }",
    )
    good(run(*words))
    assert server.content() == {
        "/": {"m": module("urn:m")},
        "/m": {"c": node(CONTAINER)},
        "/m/c": {"x": node(LEAF, True, "string", "[string]")},
    }


def test_extensions_that_only_a_submodule_defines(server, run, tmp_path):
    write_parts(
        tmp_path,
        "d",
        "include a; include b; m:e; leaf x { type string; } }",
        a="extension e; leaf y { type string { m:e; } } }",
        b="include a; leaf z { m:e; type string; } }",
    )
    good(run("d"))
    assert server.content()["/m"].keys() == {"x", "y", "z"}


def test_extensions_of_a_grouping_that_is_used_at_the_top(server, run, write):
    write(
        "m",
        """extension e { argument a; }
           grouping g { m:e "} //"
            + 'x' { m:e y; } leaf x { m:e z; type string; } }
           uses g { m:e x; }""",
    )
    good(run("m"))
    assert server.content()["/m"].keys() == {"x"}


def test_submodules_that_include_each_other_see_each_other(server, run, tmp_path):
    write_parts(
        tmp_path,
        "d",
        """include a { revision-date 2020-01-01; }
           include b; import lib { prefix l; } extension e; leaf top { type t; } }""",
        a="""include b { revision-date
               2021-01-01; } include c;
             revision 2020-01-01;
             leaf in-a { type t; } container ca { m:e; uses g; } }""",
        b="""include
               "c" + ""; revision 2021-01-01; include d; grouping g { leaf gg { type t; } } }""",
        c="typedef t { type uint8; m:e; } }",
        d="leaf in-d { m:e; type t; } }",
    )
    (tmp_path / "d/lib.yang").write_text("module lib { namespace urn:lib; prefix lib; }")
    good(run("--search", "d", "m"))
    t = node(LEAF, True, "uint8", "[t]")
    assert server.content() == {
        "/": {"m": module("urn:m")},
        "/m": {"top": t, "in-a": t, "ca": node(CONTAINER), "in-d": t},
        "/m/ca": {"gg": t},
    }


def write_bridge(write, base_import):
    """libyang learns of base and eth while it compiles what bridge refers to."""
    base_import = f"import base {{ prefix b; {base_import} }}"
    write("eth", base_import + ' augment "/b:top" { container eth { } }')
    write(
        "vlan",
        base_import
        + """
      import eth { prefix e; }
      container vlans { leaf id { type string; } }
      augment "/b:top/e:eth" { leaf vid { type string; } }""",
    )
    write(
        "bridge",
        """
      import vlan { prefix v; }
      container bridge { leaf l { type leafref { path "/v:vlans/v:id"; } } }""",
    )


def check_bridge(server, result):
    string = node(LEAF, True, "string", "[string]")
    assert server.content() == {
        "/": {name: module(f"urn:{name}") for name in ("base", "eth", "vlan", "bridge")},
        "/base": {"top": node(CONTAINER)},
        "/base/top": {"eth:eth": node(CONTAINER)},
        "/base/top/eth:eth": {"vlan:vid": string},
        "/vlan": {"vlans": node(CONTAINER)},
        "/vlan/vlans": {"id": string},
        "/bridge": {"bridge": node(CONTAINER)},
        "/bridge/bridge": {"l": node(LEAF, True, "leafref", "[leafref]")},
    }
    assert result.stdout.startswith("schemac: 4 modules, 7 nodes, ")


@pytest.mark.parametrize("word", ["bridge", "bridge.yang", "."])
def test_modules_that_are_needed_only_by_what_is_needed(server, run, write, word):
    write("base", "container top { }")
    write_bridge(write, "")
    check_bridge(server, good(run(word)))


def test_revisions_that_are_needed_only_by_what_is_needed(server, run, write):
    write("base", "revision 2020-01-01; container top { }", file="base@2020-01-01.yang")
    write("base", "revision 2021-01-01; container newer { }", file="base@2021-01-01.yang")
    write_bridge(write, "revision-date 2020-01-01;")
    check_bridge(server, good(run("bridge")))


def test_groupings_of_other_modules(server, run, write):
    write(
        "lib",
        """
      typedef small { type uint8 { range "0..9"; } default 3; units "spoons"; }
      grouping g {
        leaf a { type small; description "As written."; }
        container box { leaf b { type string; } }
      }
      container unseen { leaf u { type string; } }""",
    )
    write(
        "m",
        """
      import lib { prefix lb; }
      container c { uses lb:g { refine a { description "Refined."; default 7; } } }
      leaf d { type lb:small; }""",
    )
    good(run("m"))
    assert server.content() == {
        "/": {"m": module("urn:m")},
        "/m": {
            "c": node(CONTAINER),
            "d": node(LEAF, True, "uint8", "[lb:small, range 0..9, units spoons, default 3]"),
        },
        "/m/c": {
            "a": node(LEAF, True, "uint8", "Refined. [small, range 0..9, units spoons, default 7]"),
            "box": node(CONTAINER),
        },
        "/m/c/box": {"b": node(LEAF, True, "string", "[string]")},
    }


def test_modules_whose_identities_are_values_have_a_namespace(server, run, write):
    write("kinds", "identity kind; identity red { base kind; }")
    write("types", "typedef t { type string; }")
    write(
        "m",
        """
      import kinds { prefix k; }
      import types { prefix t; }
      leaf a { type identityref { base k:kind; } default k:red; }
      leaf b { type t:t; }""",
    )
    good(run("m"))
    content = server.content()
    assert content["/"] == {"m": module("urn:m"), "kinds": module("urn:kinds")}
    assert content["/m"]["a"] == node(
        LEAF, True, "identityref", "[identityref: kinds:red, default kinds:red]"
    )


def test_modules_that_nobody_can_meet_are_left_out(server, run, write):
    """Of the others a path, the name of a node or a value may need the namespace."""
    write("m", "container c { leaf a { type string; } leaf b { type string; } }")
    write("types", "typedef t { type string; }")
    write("groupings", "import types { prefix t; } grouping g { leaf x { type t:t; } }")
    write("less", "import m { prefix m; } deviation /m:c/m:a { deviate not-supported; }")
    write("more", "import m { prefix m; } augment /m:c { leaf d { type string; } }")
    write("call", "rpc r;")
    write("event", "notification n;")
    write("kinds", "identity kind;")
    result = good(run("m", "types", "groupings", "less", "more", "call", "event", "kinds"))
    content = server.content()
    assert content["/"].keys() == {"m", "more", "call", "event", "kinds"}
    assert content["/m/c"].keys() == {"b", "more:d"}
    lines = result.stdout.splitlines()
    assert lines[0].startswith("schemac: 5 modules, 5 nodes, ")
    assert lines[1:] == ["schemac: 3 modules left out, because they have no nodes"]


def test_features(server, run, write):
    write(
        "m",
        """
      feature f; feature g { if-feature f; }
      leaf a { type string; } leaf b { if-feature f; type string; }
      leaf c { if-feature g; type string; }""",
    )
    good(run("m"))
    assert server.content()["/m"].keys() == {"a"}
    good(run("--feature", "m:f", "m"))
    assert server.content()["/m"].keys() == {"a", "b"}
    good(run("--feature", "m:f", "--feature=m:g", "m"))
    assert server.content()["/m"].keys() == {"a", "b", "c"}
    good(run("--feature", "m:*", "m"))
    assert server.content()["/m"].keys() == {"a", "b", "c"}
    before = server.content()
    for wrong in ("m:h", "m:g", "nosuch:f"):
        result = run("--feature", wrong, "m")
        assert result.returncode == 1
        assert wrong.split(":")[0] in result.stderr and result.stdout == ""
    for wrong in ("m", "m:", ":f", ""):
        assert run("--feature", wrong, "m").returncode == 1
    assert server.content() == before


def test_feature_of_a_module_that_comes_along(server, run, write):
    write("base", "feature f; container c { leaf x { if-feature f; type string; } }")
    write("more", "import base { prefix b; } augment /b:c { leaf y { type string; } }")
    good(run("--feature", "base:f", "more"))
    assert server.content()["/base/c"].keys() == {"x", "more:y"}


def test_deviations(server, run, write):
    write(
        "base",
        """
      typedef t { type uint8; }
      container c {
        leaf gone { type string; }
        leaf retyped { type t; description "Help."; }
        leaf tuned { type string; }
        leaf state { config true; type string; }
        choice ch { case x { leaf deep { type t; } } }
      }""",
    )
    write(
        "dev",
        """
      import base { prefix b; }
      typedef mine { type int32 { range "1..5"; } }
      deviation /b:c/b:gone { deviate not-supported; }
      deviation /b:c/b:retyped { deviate replace { type mine; } }
      deviation /b:c/b:ch/b:x/b:deep { deviate replace { type string; } }
      deviation /b:c/b:tuned { deviate add { default "d"; units "u"; } }
      deviation /b:c/b:state { deviate replace { config false; } }""",
    )
    good(run("base", "dev"))
    content = server.content()
    assert content["/base/c"] == {
        "retyped": node(LEAF, True, "int32", "Help. [mine, range 1..5]"),
        "tuned": node(LEAF, True, "string", "[string, units u, default d]"),
        "state": node(LEAF, False, "string", "[string]"),
        "ch": node(CHOICE),
    }
    assert content["/base/c/ch/x"] == {"deep": node(LEAF, True, "string", "[string]")}


# Where modules come from


def test_search_directories(server, run, write, tmp_path):
    write("m", "import other { prefix o; } leaf a { type o:t; }", directory="one/deep/er")
    write("other", "typedef t { type string; }", directory="two")
    good(run("--search", "one", "--search=two", "m"))
    assert server.content()["/"].keys() == {"m"}
    result = run("--search", "one", "m")
    assert result.returncode == 1
    assert result.stderr == "schemac: m: line 4: import: no module other in one\n"
    assert run("m").returncode == 1  # the current directory, but not below it
    result = run("--search", tmp_path / "none", "m")
    assert result.returncode == 1
    assert result.stderr == f"schemac: {tmp_path}/none: No such file or directory\n"


def test_the_newest_revision_is_taken(server, run, write):
    write("m", "revision 2020-01-01; leaf old { type string; }", file="m@2020-01-01.yang")
    write(
        "m",
        "revision 2021-01-01; leaf new { type string; }",
        file="m@2021-01-01.yang",
        directory="later",
    )
    write("m", "revision 2020-06-01; leaf mid { type string; }", directory="plain")
    good(run("--search", ".", "m"))
    assert server.content()["/m"].keys() == {"new"}
    good(run("--search", ".", "m@2020-01-01"))
    assert server.content()["/m"].keys() == {"old"}
    good(run("--search", ".", "m@2020-06-01"))
    assert server.content()["/m"].keys() == {"mid"}
    result = run("--search", ".", "m@1999-01-01")
    assert result.returncode == 1
    assert result.stderr == "schemac: m: no module m@1999-01-01 in .\n"


def test_imports_by_revision(server, run, write):
    write("lib", "revision 2020-01-01; typedef t { type string; }", file="lib@2020-01-01.yang")
    write("lib", "revision 2021-01-01; typedef t { type uint8; }", file="lib@2021-01-01.yang")
    write(
        "m",
        """import lib { prefix l; revision-date 2020-01-01; }
                  leaf a { type l:t; }""",
    )
    write("n", "import lib { prefix l; } leaf a { type l:t; }")
    good(run("m", "n"))
    assert server.content()["/m"]["a"] == node(LEAF, True, "string", "[l:t]")
    assert server.content()["/n"]["a"] == node(LEAF, True, "uint8", "[l:t]")


def test_a_module_named_as_a_file(server, run, write):
    write("m", "import lib { prefix l; } leaf here { type l:t; }", directory="a")
    write("lib", "typedef t { type string; }", directory="a")
    write("m", "leaf there { type string; }", directory="b")
    good(run("--search", "b", "a/m.yang"))
    assert server.content()["/m"].keys() == {"here"}
    assert run("a/none.yang").returncode == 1


def test_every_module_of_a_directory(server, run, write, tmp_path):
    write("m", "revision 2020-01-01; leaf old { type string; }", "d", "m@2020-01-01.yang")
    write("m", "revision 2021-01-01; leaf new { type string; }", "d", "m@2021-01-01.yang")
    write("user", "import lib { prefix l; } include part; leaf a { type l:t; }", "d")
    (tmp_path / "d/part.yang").write_text(
        "submodule part { belongs-to user { prefix u; } leaf b { type string; } }"
    )
    write("other", "leaf o { type string; }", "d", "called-otherwise.yang")
    write("below", "leaf x { type string; }", "d/deeper")
    write("lib", "typedef t { type string; } leaf y { type string; }", "e")
    write("m", "revision 2022-01-01; leaf newer { type string; }", "e", "m@2022-01-01.yang")
    (tmp_path / "d/notes.txt").write_text("no module")
    for words in (["d"], ["d/"], [f"{tmp_path}/d"], ["./d", "d//"]):
        server.database().flushdb()
        good(run("--search", "e", *words))
        content = server.content()
        assert content["/"].keys() == {"m", "user", "other"}
        assert content["/m"].keys() == {"new"}
        assert content["/user"].keys() == {"a", "b"}
    good(run("--search", "e", "d", "lib", "d/deeper"))
    assert server.content()["/"].keys() == {"m", "user", "other", "lib", "below"}


def test_a_directory_called_like_a_module(server, run, write):
    write("m", "leaf module { type string; }")
    write("n", "leaf directory { type string; }", "m")
    good(run("m"))
    assert server.content()["/"].keys() == {"m"}
    good(run("./m"))
    assert server.content()["/"].keys() == {"n"}


def test_directories_that_cannot_be_taken(server, run, write, tmp_path):
    write("m", "leaf a { type string; }", "d")
    os.symlink("nowhere", tmp_path / "d/gone.yang")
    (tmp_path / "empty").mkdir()
    (tmp_path / "parts").mkdir()
    (tmp_path / "parts/part.yang").write_text("submodule part { belongs-to m { prefix m; } }")
    for word, text in (
        ("d", "d/gone.yang: No such file or directory"),
        ("empty", "empty: no module in it"),
        ("parts", "parts: no module in it"),
        ("none/", "none/: No such file or directory"),
    ):
        result = run(word)
        assert (result.returncode, result.stdout) == (1, "")
        assert result.stderr == f"schemac: {text}\n"
    assert server.content() == {}


def test_a_file_name_with_another_revision_than_the_text(server, run, write):
    write("m", "\n revision 2021-01-01; leaf a { type string; }", file="m@2020-01-01.yang")
    write("n", "import m { prefix m; } leaf b { type string; }", file="n@2022-01-01.yang")
    of_m = "schemac: m: line 1: the revision is 2021-01-01, not that of ./m@2020-01-01.yang\n"
    of_n = "schemac: n: line 1: the revision is none, not that of ./n@2022-01-01.yang\n"
    for words, warnings in (
        (["m"], of_m),
        (["m@2020-01-01"], of_m),
        (["m@2021-01-01"], "schemac: m: no module m@2021-01-01 in .\n"),
        (["m@2020-01-01.yang"], of_m),
        (["n"], of_n + of_m),
    ):
        result = run(*words)
        assert result.stderr == warnings
        assert result.returncode == (1 if "no module" in warnings else 0)
    assert server.content()["/"].keys() == {"n"}


def test_newer_standard_types_than_the_compiler_knows(server, run, write):
    write(
        "ietf-yang-types",
        """revision 2099-01-01;
          typedef brand-new { type uint8; } typedef counter32 { type uint32; }""",
    )
    write("m", "import ietf-yang-types { prefix y; } leaf a { type y:brand-new; }")
    good(run("m"))
    assert server.content()["/m"]["a"] == node(LEAF, True, "uint8", "[y:brand-new]")


def test_loops_of_links_and_pipes_do_no_harm(server, run, write, tmp_path):
    write("m", "leaf a { type string; }", directory="d")
    os.symlink("..", tmp_path / "d" / "up")
    os.symlink(".", tmp_path / "d" / "here")
    os.mkfifo(tmp_path / "d" / "pipe.yang")
    good(run("--search", "d", "m"))
    result = run("--search", "d", "pipe")
    assert result.returncode == 1 and "pipe" in result.stderr


def test_no_file_keeps_it_waiting(run, write, tmp_path):
    """Somebody else may have a lease on his, or exchange it for a FIFO when it has been judged."""
    write("m", "leaf a { type string; }")
    before = signal.signal(signal.SIGIO, signal.SIG_IGN)  # how the holder is told
    with open(tmp_path / "m.yang", "rb+") as file:
        try:
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)
        except OSError:
            pytest.skip("no leases here")
        result = run("m.yang")
    signal.signal(signal.SIGIO, before)
    assert (result.returncode, result.stderr) == (
        1, "schemac: m.yang: Resource temporarily unavailable\n"
    )  # fmt: skip


def close_input_and_output():
    os.close(0)
    os.close(1)


@valgrind.keeps_standard_input_open
def test_closed_descriptors_do_no_harm(server, run, write):
    """Nor is what cannot be printed there taken for a failure."""
    write("m", "leaf a { type string; }")
    result = run("m", preexec_fn=close_input_and_output)
    assert (result.returncode, result.stderr) == (0, "")
    assert sorted(server.content()) == ["/", "/m"]
