"""schemac --keep-going: broken modules cost themselves only."""

import os

import pytest

from support import valgrind
from support.schemac import BUILD, good, SANITIZED

pytest_plugins = ("support.schemac_fixtures",)

NO_TYPE = 'Referenced type "nosuch" not found.'


@pytest.fixture(name="models")
def fixture_models(write):
    write("good", "leaf a { type string; }")
    write("fine", "leaf b { type string; }")
    write("lib", "\n typedef t { type nosuch; }\n leaf x { type t; }\n leaf }")
    write("bad", "leaf c { type nosuch; }")
    write("one", "import lib { prefix l; } leaf d { type string; }")
    write("two", "import lib { prefix l; } leaf e { type string; }")


def test_what_compiles_is_stored_and_the_rest_is_named(server, run, models):
    result = run("--keep-going", "one", "good", "bad", "lib", "two", "fine")
    assert result.returncode == 2
    assert server.content()["/"].keys() == {"good", "fine"}
    assert result.stdout.startswith("schemac: 2 modules, 2 nodes, ")
    assert len(result.stdout.splitlines()) == 1
    lines = result.stderr.splitlines()
    assert len(lines) == 2
    assert lines[0].startswith("schemac: lib: line 7: ")
    assert lines[0].endswith(" (needed by one, two)")
    assert lines[1] == f"schemac: bad: line 4: {NO_TYPE} (/bad:c)"


def test_a_name_that_steers_no_terminal(server, run, write):
    """It is that of the text, and longer than what is shown of one."""
    write("good", "leaf a { type string; }", directory="models")
    long = "e" * 1001
    for number, name in enumerate(["a\x1b[2J", "b\nc", long]):
        write(f'"{name}"', "leaf", file=f"models/{number}.yang")
    result = run("--keep-going", "models")
    assert (result.returncode, server.content()["/"].keys()) == (2, {"good"})
    assert [line[: line.index(": line ")] for line in result.stderr.splitlines()] == [
        "schemac: a?[2J",
        "schemac: b?c",
        f"schemac: {long[:1000]}…",
    ]
    assert "needed by" not in result.stderr


def test_a_missing_module_and_a_missing_import(server, run, models, write):
    write("user", "\n import gone { prefix g; }")
    result = run("--keep-going", "gone", "good", "user")
    assert result.returncode == 2
    assert result.stderr == (
        "schemac: gone: no module gone in .\n"
        "schemac: user: line 5: import: no module gone in .\n"
    )
    assert server.content()["/"].keys() == {"good"}


def test_of_modules_that_fail_only_together_the_later_is_left_out(server, run, write, tmp_path):
    """Two modules of one namespace."""
    write("good", "leaf a { type string; }")
    for name in ("first", "second"):
        (tmp_path / f"{name}.yang").write_text(
            f"module {name} {{ namespace urn:same; prefix p; leaf {name} {{ type string; }} }}"
        )
    for names in (["first", "second", "good"], ["second", "good", "first"]):
        result = run("--keep-going", *names)
        kept, left_out = names[0], ({"first", "second"} - {names[0]}).pop()
        assert (result.returncode, server.content()["/"].keys()) == (2, {kept, "good"})
        assert result.stderr.startswith(f"schemac: {left_out}: ")
        assert "urn:same" in result.stderr and len(result.stderr.splitlines()) == 1


def write_many(write, bodies, count=150):
    """More than are tried at once; the names in the order of the numbers."""
    names = [f"m{number:03}" for number in range(count)]
    for number, name in enumerate(names):
        write(name, bodies.get(number, "leaf x { type string; }"))
    return names


BROKEN = {
    3: "\n leaf {",
    40: "container c { leaf x {\n type nosuch; } }",
    64: "import gone { prefix g; }",
    70: "leaf x {\n type leafref { path '../nosuch'; } }",
    71: "leaf x {\n type uint8; default 300; }",
    72: "leaf x { type string; when '..(('; }",
    149: "leaf x {\n type uint8 { range 5..1; } }",
}
NEEDING = {
    5: "import m003 { prefix b; } leaf x { type string; }",
    69: "import m005 { prefix b; } leaf x { type string; }",
    90: "import m040 { prefix b; } augment /b:c { leaf y { type string; } }",
    91: "import m040 { prefix b; } leaf x { type string; }",  # needs nothing that is broken
}


def test_broken_ones_of_all_kinds_among_many(server, run, write, tmp_path):
    """Each says what it says alone, in the order of the modules."""
    names = write_many(write, {**BROKEN, **NEEDING})
    (tmp_path / "m100.yang").write_text("no YANG")
    alone = {number: run(f"m{number:03}").stderr.rstrip("\n") for number in [*BROKEN, 100]}
    alone[3] += " (needed by m005, m069)"
    alone[40] += " (needed by m090)"
    result = run("--keep-going", *names)
    assert result.stderr.splitlines() == [alone[number] for number in sorted(alone)]
    left_out = {f"m{number:03}" for number in [*alone, 5, 69, 90]}
    kept = [name for name in names if name not in left_out]
    stored = server.content()
    assert (result.returncode, stored["/"].keys()) == (2, set(kept))
    server.database().flushdb()
    good(run(*kept))
    assert server.content() == stored


def test_several_among_many_that_fail_only_together(server, run, write, tmp_path):
    names = write_many(write, {})
    for name in ("m010", "m080", "m149"):
        (tmp_path / f"{name}.yang").write_text(
            f"module {name} {{ namespace urn:same; prefix p; leaf {name} {{ type string; }} }}"
        )
    result = run("--keep-going", *names)
    assert (result.returncode, server.content()["/"].keys()) == (2, {*names} - {"m080", "m149"})
    lines = result.stderr.splitlines()
    assert len(lines) == 2 and all("urn:same" in line for line in lines)
    assert sorted(line.split(": ")[1] for line in lines) == ["m080", "m149"]


def test_what_is_learnt_while_good_ones_compile_belongs_to_them(server, run, write):
    """libyang learns of base and eth while it compiles what bridge refers to."""
    base = "import base { prefix b; } "
    write("base", "container top { }")
    write("eth", base + 'augment "/b:top" { container eth { } }')
    write(
        "vlan",
        base + "import eth { prefix e; } container vlans { leaf id { type string; } }"
        ' augment "/b:top/e:eth" { leaf vid { type string; } }',
    )
    path = "leafref { path '/v:vlans/v:id'; }"
    write("bridge", f"import vlan {{ prefix v; }} leaf l {{ type {path} }}")
    # They fail because of what they need, and are needed themselves.
    write("bad", "import bridge { prefix b; } leaf x { type nosuch; }")
    result = run("--keep-going", "--feature", "eth:nosuch", "bad", "bridge", "eth")
    assert result.returncode == 2 and len(result.stderr.splitlines()) == 2
    stored = server.content()
    assert "eth:eth" in stored["/base/top"]
    server.database().flushdb()
    good(run("bridge"))
    assert server.content() == stored


def test_the_order_of_what_is_left_is_its_own(server, run, write):
    """Where there are very many paths of imports, modules are read in an order of all."""
    names = [f"m{number}" for number in range(10, 40)]
    write("base", "container top { }")
    for number, name in enumerate(names):
        imports = "".join(
            f"import {one} {{ prefix {one}-; }} " for one in ["base", *names[:number]]
        )
        write(name, f"{imports} augment /base-:top {{ leaf {name} {{ type string; }} }}")
    write("bad", "import m20 { prefix m; } import m12 { prefix n; } leaf x { type nosuch; }")
    orders = []
    for option, broken in (("--keep-going", ["bad"]), ("--force", [])):
        result = run(option, *reversed(names[:20]), *broken, *names[20:])
        assert result.returncode == (2 if broken else 0)
        orders.append(server.database().hkeys("/base/top"))
        server.database().flushdb()
    assert orders[0] == orders[1] and len(orders[0]) == len(names)


@pytest.mark.skipif(SANITIZED or valgrind.ENABLED, reason="what is preloaded comes too late")
def test_where_there_is_room_for_one_child(server, run, write):
    """That which waits for the others leaves it to them."""
    names = write_many(write, {80: "leaf x { type nosuch; }"})
    preloaded = os.path.join(BUILD, "tests", "libone_child.so")
    result = run("--keep-going", *names, env={"LD_PRELOAD": preloaded})
    assert (result.returncode, len(server.content()["/"])) == (2, 149)


def test_when_nothing_is_left_the_database_stays(server, run, models):
    good(run("good"))
    before = server.content()
    result = run("--keep-going", "bad", "lib")
    assert (result.returncode, result.stdout) == (1, "")
    assert len(result.stderr.splitlines()) == 2
    assert server.content() == before


def test_what_was_left_out_is_told_each_time(run, models):
    results = [run("--keep-going", "good", "bad") for _ in range(2)]
    assert [result.returncode for result in results] == [2, 2]
    assert results[0].stderr == results[1].stderr


def test_nothing_is_left_out_when_all_compile(server, run, models):
    assert good(run("--keep-going", "good", "fine")).stdout.startswith("schemac: 2 modules, ")


def test_a_server_that_is_not_there_is_told_once(run, models, tmp_path):
    result = run("--keep-going", "--redis", f"{tmp_path}/none", "good", "bad")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == (
        f"schemac: bad: line 4: {NO_TYPE} (/bad:c)\n"
        f"schemac: redis at {tmp_path}/none: No such file or directory\n"
    )
