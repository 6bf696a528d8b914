"""schemac: which features are on, and what those cost that are off."""

import re

import pytest

from support.schemac import good, SYSTEM_MODULES

pytest_plugins = ("support.schemac_fixtures",)

LEFT_OUT = (
    "schemac: {} of {} nodes left out, because features are off (--feature '*:*' turns them on)\n"
)
LIB = """
  feature f; feature g { if-feature f; } feature h { if-feature "not f"; }
  grouping lent { leaf always { type string; } leaf lent-f { if-feature f; type string; } }
  container own { leaf x { type string; } }"""
USER = """
  import lib { prefix l; }
  feature mine;
  container c { uses l:lent; leaf deep { if-feature "l:g and mine"; type string; } }
  leaf only-h { if-feature l:h; type string; }"""


@pytest.fixture(name="models")
def fixture_models(write):
    write("lib", LIB, version="1.1")
    write("user", USER, version="1.1")


@pytest.mark.parametrize("options", [["--feature", "*:*"], ["--feature=*:*", "--feature=user:*"]])
def test_all_features_of_all_modules(server, run, models, options):
    """Also of one that only lends a grouping: that does not make its own nodes appear."""
    assert good(run(*options, "user")).stdout.startswith("schemac: 1 modules, 4 nodes, ")
    content = server.content()
    assert content["/"].keys() == {"user"}
    assert content["/user"].keys() == {"c"}
    assert content["/user/c"].keys() == {"always", "lent-f", "deep"}


def test_features_in_submodules_and_of_modules_that_come_along(server, run, write, tmp_path):
    write("base", "include part; container c { leaf x { if-feature f; type string; } }")
    (tmp_path / "part.yang").write_text(
        "submodule part { belongs-to base { prefix b; } feature f;}"
    )
    write("more", "import base { prefix b; } augment /b:c { leaf y { type string; } }")
    good(run("--feature", "*:*", "more"))
    assert server.content()["/base/c"].keys() == {"x", "more:y"}


def test_a_file_of_features(server, run, models, tmp_path):
    (tmp_path / "features").write_text(
        "# what the device has\n\nlib:f # and g with it\n\t lib:g \r\nuser:*"
    )
    good(run("--feature-file", "features", "user"))
    assert server.content()["/user/c"].keys() == {"always", "lent-f", "deep"}
    (tmp_path / "all").write_text("*:*\n")
    good(run("--feature-file", "all", "user"))
    assert server.content()["/user/c"].keys() == {"always", "lent-f", "deep"}
    (tmp_path / "empty").write_text("#\n")
    good(run("--feature-file", "empty", "user"))
    assert server.content()["/user/c"].keys() == {"always"}


def test_mistakes_in_a_file_of_features(server, run, models, tmp_path):
    (tmp_path / "features").write_text("lib:f\n\nlib f # what\n")
    for file, text in (
        ("features", "features: line 3: MODULE:FEATURE expected, not lib f"),
        ("none", "none: No such file or directory"),
        (".", ".: Is a directory"),
    ):
        result = run("--feature-file", file, "user")
        assert (result.returncode, result.stdout) == (1, "")
        assert result.stderr == f"schemac: {text}\n"
    assert server.content() == {}


@pytest.mark.parametrize(
    "feature, text",
    [
        ("user:bogus", "user: no feature bogus; it has mine"),
        ("lib:bogus", "lib: no feature bogus; it has f, g, h"),
        ("bare:bogus", "bare: no feature bogus; it has none"),
        ("nosuch:f", "nosuch: no module nosuch in ."),
        (
            "lib:g",
            'lib: line 1: Feature "g" cannot be enabled because its "if-feature" is not satisfied.',
        ),
    ],
)
def test_a_wrong_feature_is_said_of_the_module_that_lacks_it(
    server, run, write, models, feature, text
):
    """Not of one that it imports, nor of the next one."""
    write("bare", "import lib { prefix l; } leaf a { type string; }")
    for words in (["user"], ["bare", "user"]):
        result = run("--feature", feature, *words)
        assert (result.returncode, result.stdout) == (1, "")
        assert result.stderr == f"schemac: {text}\n"
    assert server.content() == {}


def test_some_feature_of_all_modules_is_no_choice(run, models):
    result = run("--feature", "*:f", "user")
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == (
        "schemac: --feature needs MODULE:FEATURE, not *:f\nTry 'schemac --help'.\n"
    )


def test_what_features_cost_that_are_off_is_said(server, run, models):
    result = good(run("user"))
    assert re.fullmatch(
        r"schemac: 1 modules, 2 nodes, \d+ bytes\n" + re.escape(LEFT_OUT.format(2, 4)),
        result.stdout,
    )
    assert server.content()["/user/c"].keys() == {"always"}


def test_nothing_is_said_to_one_who_chose_or_who_loses_nothing(run, write, models):
    write("idle", "feature f; leaf a { type string; }")
    write("less", 'feature f; leaf a { if-feature "not f"; type string; }', version="1.1")
    for words in (["--feature=user:mine", "user"], ["--feature=*:*", "user"], ["idle"], ["less"]):
        assert re.fullmatch(r"schemac: 1 modules, \d nodes, \d+ bytes\n", good(run(*words)).stdout)


def test_a_model_that_is_broken_with_all_features_is_stored_without(server, run, write):
    write(
        "m",
        "feature f; leaf a { type leafref { path ../b; } }"
        ' leaf b { if-feature "not f"; type string; }',
        version="1.1",
    )
    good(run("m"))
    assert server.content()["/m"].keys() == {"a", "b"}
    assert run("--feature", "*:*", "m").returncode == 1


def test_a_real_module(run):
    """Half of it is behind features."""
    result = good(run("--search", SYSTEM_MODULES, "ietf-system"))
    assert result.stdout.splitlines()[1] + "\n" == LEFT_OUT.format(37, 72)
