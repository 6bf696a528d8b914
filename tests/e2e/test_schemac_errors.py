"""schemac: whatever is wrong is named, and the database stays as it was."""

import re

import pytest

from support.schemac import good, MODELS, nested_groupings

pytest_plugins = ("support.schemac_fixtures",)


BROKEN = {
    "syntax": ("leaf a { type string\n }", 5, 'expected ";" or "{"'),
    "keyword": ("\n\n  laef a { type string; }", 6, '"laef"'),
    "type": ("leaf a {\n  type nosuch;\n}", 4, '"nosuch" not found'),
    "import_": ("\n import nothere { prefix n; }", 5, "no module nothere"),
    "import_rev": (
        "import ietf-yang-types { prefix n; revision-date 1999-01-01; }",
        4,
        "no module ietf-yang-types@1999-01-01",
    ),
    "include_": ("\n\n include nothere;", 6, "no module nothere"),
    "key": ("container c {\n list l { key k;\n leaf j { type string; } } }", 5, '"k" not found'),
    "augment": ("container c;\n augment /c/y { leaf z { type string; } }", 5, 'target node "/c/y"'),
    "default": (
        "container c {\n  container d {\n\n leaf x { type uint8; default 300; } } }",
        7,
        "300",
    ),
    "leafref": ("leaf x {\n type leafref { path '../nono'; } }", 4, '"nono"'),
    "duplicate": (
        "leaf x { type string; }\n leaf y { type string; }\n leaf x { type string; }",
        4,
        'Duplicate identifier "x"',
    ),
    "in_grouping": (
        "container cc {\n uses g; }\n grouping g {\n leaf q { type nada; } }",
        7,
        '"nada"',
    ),
    "nested_uses": (
        "grouping h { uses g; }\n container cc {\n uses h; }\n"
        " grouping g { container i {\n leaf q { type nada; } } }",
        8,
        '"nada"',
    ),
    "no_grouping": ("container cc {\n uses gg; }", 5, '"gg"'),
    "no_feature": ("leaf a { type string; }\n leaf x { if-feature no; type string; }", 5, '"no"'),
    "range": (
        "list l { key k; leaf k { type string; }\n leaf x { type uint8 { range 1..; } } }",
        5,
        "range",
    ),
    "pattern": ("leaf x { type string { pattern '[a'; } }", 4, '"[a"'),
    "circle": ("typedef a { type b; }\n typedef b { type a; }\n leaf x { type a; }", 6, "circular"),
    "must": ("rpc r { input {\n leaf x { type string; must '..(('; } } }", 5, "XPath"),
    "identity": ("identity a { base b; }\n identity b { base a; }", 5, '"a"'),
    "quote": ('description "unterminated;\n', 7, "end-of-input"),
    "config": (
        "container a { config false;\n leaf b { config true; type string; } }",
        5,
        "state data",
    ),
    "comment": ("/* leaf x {\n */ // leaf x {\n leaf x { type 'no'+\n 'such'; }", 6, '"nosuch"'),
}


@pytest.mark.parametrize("name", BROKEN)
def test_an_error_names_module_line_and_cause(server, run, write, name):
    write("good", "leaf a { type string; }")
    good(run("good"))
    before = server.content()
    body, line, cause = BROKEN[name]
    write(name, body)
    for arguments in ([name], ["good", name]):
        result = run(*arguments)
        assert result.returncode == 1
        assert result.stdout == ""
        assert len(result.stderr.splitlines()) == 1
        assert result.stderr.startswith(f"schemac: {name}: line {line}: "), result.stderr
        assert cause in result.stderr
        assert server.content() == before


def test_all_broken_modules_are_named_and_no_others(server, run, write):
    write("good", "leaf a { type string; }")
    for name, (body, _, _) in BROKEN.items():
        write(name, body)
    result = run("good", *BROKEN)
    assert result.returncode == 1
    named = [
        re.match(r"schemac: (\S+): line (\d+): ", text).groups()
        for text in result.stderr.splitlines()
    ]
    assert named == [(name, str(line)) for name, (_, line, _) in BROKEN.items()]
    assert server.content() == {}


def test_errors_in_other_files_than_the_named_one(server, run, write, tmp_path):
    write("m", "include part;\n\n")
    (tmp_path / "part.yang").write_text(
        "submodule part { belongs-to m { prefix m; }\n\n leaf y { type foo; } }"
    )
    assert run("m").stderr.startswith("schemac: part: line 3: ")
    write("user", "import lib { prefix l; }\n uses l:g;")
    write("lib", "\n\n grouping g {\n  leaf x {\n type foo; } }")
    result = run("user")
    assert result.returncode == 1
    assert re.match(r'schemac: (user: line 5|lib: line 7): .*"foo" not found', result.stderr)
    write("base", "container c;")
    write("more", "import base { prefix b; }\n\n augment /b:c {\n leaf x { type foo; } }")
    assert run("more").stderr.startswith("schemac: more: line 7: ")
    write("dev", "import base { prefix b; }\n deviation /b:no { deviate not-supported; }")
    assert run("base", "dev").stderr.startswith("schemac: dev: line 5: ")
    write("chain", "import syntax { prefix s; }")
    write("syntax", "\n leaf {")
    result = run("chain", "syntax")
    assert result.stderr.startswith("schemac: syntax: line ")
    assert len(result.stderr.splitlines()) == 1


def test_what_follows_a_module_in_its_file_is_no_part_of_it(run, tmp_path):
    (tmp_path / "m.yang").write_text(
        "module m { namespace urn:m; prefix m; }\n\n"
        "module n { import nosuch; revision 2020-01-01; }"
    )
    for word in ("m", "m.yang"):
        result = run(word)
        assert (result.returncode, result.stdout) == (1, "")
        assert result.stderr == (
            'schemac: m: line 3: Trailing garbage "module n { impo..." after module,'
            " expected end-of-input.\n"
        )


@pytest.mark.parametrize(
    "text, error",
    [
        ("some text", 'other: line 1: Invalid character sequence "some", expected a keyword.'),
        ("", "other: line 1: ./other.yang is empty"),
        ("\n// nothing", "other: line 2: Unexpected end-of-input."),
    ],
)
@pytest.mark.parametrize("statement", ["import other { prefix o; }", "include other;"])
def test_a_text_that_is_no_yang_is_named_by_its_file(run, write, tmp_path, text, error, statement):
    (tmp_path / "other.yang").write_text(text)
    write("m", statement)
    assert run("m").stderr == f"schemac: {error}\n"


def test_lines_are_those_of_the_files_whatever_is_included(server, run, tmp_path):
    """What is changed for libyang in texts that include others keeps its line."""
    module = "module m { namespace urn:m; prefix m;\n include a; leaf x { type %s; }\n}"
    first = "submodule a { belongs-to m { prefix m; }\n include b\n { description\n 'b'; }\n%s }"
    second = "submodule b { belongs-to m { prefix m; }\n\n%s }"
    leaf = "leaf %s { type nosuch; }"
    for texts, place in (
        ((module % "nosuch", first % "", second % ""), "m: line 2"),
        ((module % "string", first % leaf % "y", second % ""), "a: line 5"),
        ((module % "string", first % "", second % leaf % "z"), "b: line 3"),
        ((module % "string", first % "include c;", second % ""), "a: line 5"),
    ):
        for name, text in zip(("m", "a", "b"), texts):
            (tmp_path / f"{name}.yang").write_text(text)
        result = run("m")
        assert result.returncode == 1
        assert result.stderr.startswith(f"schemac: {place}: "), result.stderr


@pytest.mark.parametrize("instance", ["nosuch:e;", "m:nosuch;", "l:nosuch;"])
@pytest.mark.parametrize("place", ["m: line 3", "a: line 2", "b: line 2"])
def test_an_extension_that_there_is_not_is_named_where_it_is_used(
    run, write, tmp_path, instance, place
):
    """libyang looks for it when it has read everything, and does not say where it was."""
    write("lib", "extension e;\nleaf x { type string; lib:e; }")
    module = "module m { namespace urn:m; prefix m; import lib { prefix l; }\n include a;\n%s }"
    part = "submodule %s { belongs-to m { prefix m; } import lib { prefix l; } %s\n%s }"
    used = dict.fromkeys("mab", "l:e;") | {place[0]: f"leaf y {{ type string; {instance} }}"}
    (tmp_path / "m.yang").write_text(module % used["m"])
    (tmp_path / "a.yang").write_text(part % ("a", "include b;", used["a"]))
    (tmp_path / "b.yang").write_text(part % ("b", "", used["b"]))
    result = run("m")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr.startswith(f"schemac: {place}: "), result.stderr
    assert instance.rstrip(";").removesuffix(":e") in result.stderr


def test_what_a_module_of_version_1_1_fails_to_include_is_named(server, run, tmp_path):
    head = "submodule %s { yang-version 1.1; belongs-to m { prefix m; } "
    (tmp_path / "m.yang").write_text(
        "module m { yang-version 1.1; namespace urn:m; prefix m; include a; }"
    )
    (tmp_path / "a.yang").write_text(head % "a" + "include b; }")
    (tmp_path / "b.yang").write_text(head % "b" + "leaf x { type string; } }")
    result = run("m")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == (
        "schemac: a: line 1: YANG 1.1 requires all submodules to be included from main module. "
        'But submodule "a" includes submodule "b" which is not included by main module "m".\n'
    )


def test_control_characters_of_a_module_do_not_reach_the_terminal(server, run, tmp_path):
    (tmp_path / "m.yang").write_bytes(
        b'module m { namespace urn:m; prefix m;\n leaf a { type "\xc2\x9b\x1b[2Jx"; } }'
    )
    result = run("m")
    assert result.returncode == 1
    assert "\x1b" not in result.stderr


def test_the_name_of_a_file_that_is_taken_for_an_option_steers_no_terminal(run):
    """As the shell of the system hands it on for *.yang."""
    result = run("--\x1b[2J.yang")
    assert result.stderr == "schemac: unknown option --?[2J.yang\nTry 'schemac --help'.\n"


def test_unknown_module(server, run):
    result = run("--search", MODELS, "nosuch")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: nosuch: no module nosuch in {MODELS}\n"


HEAD = b"module m { namespace urn:m; prefix m; "

HOSTILE = {
    "empty": b"",
    "zero": b"\0",
    "word": b"module",
    "no body": b"module m",
    "no end": b"module m {",
    "no header": b"module m { }",
    "brace": b"}",
    "braces": b"{{{{",
    "not utf-8": b"\xff\xfe",
    "truncated": HEAD + b"leaf a { type string; } ",
    "trailing": HEAD + b"} trailing",
    "one brace too many": HEAD + b"leaf a { type string; } } }",
    "inner zero": HEAD + b"\0 leaf a { type string; } }",
    "open quote": HEAD + b'leaf a { type "',
    "open sum": HEAD + b"leaf a { type 'x' + ",
    "open comment": HEAD + b"/*",
    "submodule of nothing": b"submodule m { }",
    "submodule of itself": b"submodule m { belongs-to m { prefix m; } }",
    "submodule of nobody": b"submodule m { belongs-to n { prefix n; } }",
    "other name": b"module n { namespace urn:n; prefix n; }",
    "imports itself": HEAD + b"import m { prefix x; } }",
    "includes itself": HEAD + b"include m; }",
    "deep": HEAD + b" container c {" * 100000,
    "deep union": HEAD + b" leaf a { type " + b"union { type " * 20000,
    "deep nonsense": HEAD + b"must '" + b"(" * 100000 + b"'; }",
    "deep condition": HEAD + b"leaf a { type string; must '" + b"(" * 10000 + b"'; }}",
    "circle of groupings": HEAD + b"grouping a { uses b; } grouping b { uses a; } uses a; }",
}


@pytest.mark.parametrize("name", HOSTILE)
def test_hostile_texts_are_errors(server, run, write, tmp_path, name):
    write("good", "leaf a { type string; }")
    good(run("good"))
    before = server.content()
    (tmp_path / "m.yang").write_bytes(HOSTILE[name])
    result = run("m")
    assert result.returncode == 1
    assert result.stdout == ""
    assert re.match(r"schemac: [^\n]*\bm\b|schemac: n: ", result.stderr)
    assert len(result.stderr.splitlines()) == 1
    assert server.content() == before


def test_a_very_deep_schema(server, run, write):
    depth = 3000
    write("m", nested_groupings(depth))
    result = run("m")
    if result.returncode == 0:
        assert server.content()["/m" + "/c" * (depth - 1)].keys() == {"x"}
    else:
        assert result.stderr.startswith("schemac: m: ")
