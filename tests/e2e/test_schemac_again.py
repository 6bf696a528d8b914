"""schemac a second time: when nothing has changed, nothing is done."""

import pytest

from support.schemac import good, Server

pytest_plugins = ("support.schemac_fixtures",)

UNCHANGED = "schemac: nothing has changed since the schema was stored (--force does it again)\n"


@pytest.fixture(name="models")
def fixture_models(write, tmp_path):
    """A module that reaches others through an import and through includes."""
    write("lib", "typedef t { type string; }", "lib")
    write("m", "include part; feature f; leaf a { type string; }", "d")
    (tmp_path / "d/part.yang").write_text(
        "submodule part { belongs-to m { prefix m; } include in;}"
    )
    (tmp_path / "d/in.yang").write_text(
        "submodule in { belongs-to m { prefix m; } import lib { prefix l; }"
        " leaf b { if-feature f; type l:t; } }"
    )
    return ["--search", "d", "--search", "lib", "m"]


def is_stored(server, run, *words):
    """Whether schemac stores: a mark that it would remove is gone."""
    server.database().set("mark", "")
    result = good(run(*words))
    is_kept = server.database().exists("mark") == 1
    assert is_kept == (result.stdout == UNCHANGED)
    return not is_kept


def test_the_same_again(server, run, models):
    assert is_stored(server, run, *models)
    assert not is_stored(server, run, *models)
    assert not is_stored(server, run, "--search", "lib", "--search", "d", "--search", ".", "m")
    assert is_stored(server, run, "--force", *models)
    assert not is_stored(server, run, *models)


@pytest.mark.parametrize("file", ["d/m", "d/part", "d/in", "lib/lib"])
def test_a_text_that_has_changed(server, run, models, tmp_path, file):
    assert is_stored(server, run, *models)
    path = tmp_path / f"{file}.yang"
    path.write_text(path.read_text().replace("type string", "type uint8").replace("; }", ";  }"))
    assert is_stored(server, run, *models)
    assert not is_stored(server, run, *models)


def test_another_order_and_other_features(server, run, models, write):
    write("n", "leaf a { type string; }", "d")
    runs = (
        models,
        [*models, "n"],
        [*models[:-1], "n", "m"],
        ["--feature", "m:f", *models],
        ["--feature", "*:*", *models],
        [*models, "d/n.yang"],
    )
    for words in runs:
        assert is_stored(server, run, *words)
        assert not is_stored(server, run, *words)


def test_another_text_for_the_same_name(server, run, models, write):
    assert is_stored(server, run, *models)
    write("lib", "revision 2021-01-01; typedef t { type uint8; }", "lib", "lib@2021-01-01.yang")
    assert is_stored(server, run, *models)


def test_what_nobody_needs_may_change(server, run, models, write):
    assert is_stored(server, run, *models)
    write("other", "leaf a { type string; }", "d")
    assert not is_stored(server, run, *models)


def test_a_database_that_was_emptied(server, run, models):
    assert is_stored(server, run, *models)
    server.database().flushdb()
    assert is_stored(server, run, *models)


def test_what_failed_is_tried_again(server, run, models, write):
    assert is_stored(server, run, *models)
    write("bad", "leaf a { type nosuch; }")
    for _ in range(2):
        assert run("bad").returncode == 1
    assert not is_stored(server, run, *models)


def test_a_server_that_cannot_be_asked(run, models):
    server = Server("--rename-command", "HGET", "")
    try:
        for _ in range(2):
            assert good(run("--redis", server.socket, *models)).stdout != UNCHANGED
    finally:
        server.stop()
