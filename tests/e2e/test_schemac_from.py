"""schemac --from: the schema of a server that is running, by what it says itself."""

import io
import itertools
import os
import pwd
import re
import resource
import select
import shutil
import signal
import socket
import stat
import subprocess
import sys
import tempfile
import time
import types

import pytest

from support.netconf_device import (
    HAS_LIBRARY,
    HAS_TEXTS,
    UNKNOWN,
    Device,
    capability,
    leaves,
    listed,
    modules_state,
    yang_library,
)
from support.netconf_peer import BASE_1_0, BASE_1_1, BASE_NS, MARK, chunked, hello
from support.netconfd import Netconfd
from support.processes import is_running
from support.schemac import BUILD, MODELS, REPO, RUN_MODULES, SCHEMAC, compile_run_models, good
from support.servers import HOLDING_MANY_FILES, wait_until

sys.path.insert(0, os.path.join(REPO, "tools"))
from schemac_from import cache as kept  # noqa: E402  pylint: disable=wrong-import-position
from schemac_from.main import Progress  # noqa: E402  pylint: disable=wrong-import-position
from schemac_from.session import (  # noqa: E402  pylint: disable=wrong-import-position
    Failed,
    Session,
    parse,
)
from schemac_from.yang_text import read_head  # noqa: E402  pylint: disable=wrong-import-position

pytest_plugins = ("support.schemac_fixtures",)

UNCHANGED = "schemac: nothing has changed since the schema was stored (--force does it again)\n"
OK = "<ok/>"


def module(name, body):
    return f'module {name} {{ namespace "urn:{name}"; prefix p; {body} }}'


@pytest.fixture(name="device")
def fixture_device():
    with tempfile.TemporaryDirectory(prefix="vandel-test.", dir="/tmp") as directory:
        device = Device(directory)
        yield device
        device.stop()


@pytest.fixture(name="ask")
def fixture_ask(run, device, tmp_path):
    """Runs schemac on what the device has, with a cache of the test's own."""

    def ask_device(*options, command=()):
        cache = [] if "--cache" in options else ["--cache", tmp_path / "cache"]
        return run("--from", *cache, *options, "--", *(command or device.command()))

    return ask_device


def said(result):
    """(status, standard output, standard error)."""
    return result.returncode, result.stdout, result.stderr


def refused(text):
    return 1, "", f"schemac: {text}\n"


def stored(server):
    """The nodes in the database."""
    return sorted(f"{key}/{name}" for key, names in server.content().items() for name in names)


def fetched(result):
    """(how many texts were fetched, of how many), None where nobody asked."""
    found = re.match(r"schemac: (\d+) of (\d+) texts fetched\n", result.stdout)
    return found and (int(found[1]), int(found[2]))


def add_m(device, revision="", name="m", body="leaf a { type int8; }"):
    """Announces a module, and has it handed out."""
    date = f"revision {revision}; " if revision else ""
    device.texts[name, revision] = module(name, date + body)
    device.capabilities.append(capability(name, revision))


BOX = ["//box", "/box/a", "/box/b", "/box/e"]
BOX_TEXT = """include part; import lib { prefix l; } revision 2024-02-02; revision 2023-01-01;
    feature small; feature large; leaf a { type l:t; } leaf b { if-feature small; type l:t; }
    leaf c { if-feature large; type l:t; } leaf d { type string; }"""
DEVIATION = """import box { prefix b; } revision 2024-03-03;
    deviation /b:d { deviate not-supported; }"""


def add_box(device):
    """A module with a submodule, one that it imports, and one that takes /box/d away."""
    device.texts = {
        ("box", "2024-02-02"): module("box", BOX_TEXT),
        ("part", "2024-01-01"): "submodule part { belongs-to box { prefix p; }"
        " revision 2024-01-01; leaf e { type int8; } }",
        ("lib", "2020-01-01"): module("lib", "revision 2020-01-01; typedef t { type int8; }"),
        ("dev", "2024-03-03"): module("dev", DEVIATION),
    }


def older(device, mark=1):
    add_box(device)
    device.capabilities = [BASE_1_0, HAS_TEXTS, HAS_LIBRARY.format(mark)]
    part = leaves("name", "part") + leaves("revision", "2024-01-01")
    dev = leaves("name", "dev") + leaves("revision", "2024-03-03")
    is_implemented = leaves("conformance-type", "implement")
    inner = f"<deviation>{dev}</deviation>{is_implemented}<submodule>{part}</submodule>"
    device.library = modules_state(
        listed("module", "box", "2024-02-02", ["small"], inner),
        listed("module", "lib", "2020-01-01", (), leaves("conformance-type", "import")),
        listed("module", "dev", "2024-03-03", (), is_implemented),
    )


def newer(device):
    add_box(device)
    device.capabilities = [BASE_1_0, HAS_TEXTS, HAS_LIBRARY.format(1).replace("1.0", "1.1")]
    part = leaves("name", "part") + leaves("revision", "2024-01-01")
    inner = f"<submodule>{part}</submodule>{leaves('deviation', 'dev')}"
    device.library = yang_library(
        listed("module", "box", "2024-02-02", ["small"], inner),
        listed("module", "dev", "2024-03-03"),
        listed("import-only-module", "lib", "2020-01-01"),
    )


def without_library(device):
    """A hello names no submodules and nothing that is only imported."""
    add_box(device)
    box = capability("box", "2024-02-02", features="small,", deviations="dev")
    device.capabilities = [BASE_1_0, HAS_TEXTS, box]


@pytest.mark.parametrize("announce", [older, newer, without_library])
def test_what_a_server_announces(device, ask, server, announce):
    """With its features and deviations, submodules, and what is only imported."""
    announce(device)
    result = good(ask())
    assert fetched(result) == (4, 4)
    assert stored(server) == BOX


def test_what_the_server_has_off_is_not_told(device, ask, server):
    """There is nothing to turn on."""
    older(device)
    device.library = device.library.replace("<feature>small</feature>", "")
    lines = good(ask()).stdout.split("\n")
    assert stored(server) == ["//box", "/box/a", "/box/e"]
    assert [line.split(" ")[2] for line in lines[:-1]] == ["of", "modules,", "modules"]


def test_nothing_is_asked_twice(device, ask, server):
    """One hello says that all is as it was; a new one, that the library has to be read."""
    older(device)
    good(ask())
    assert device.operations() == [
        "get", "box@2024-02-02", "part@2024-01-01", "lib@2020-01-01", "dev@2024-03-03",
        "close-session",
    ]  # fmt: skip
    assert said(ask()) == (0, UNCHANGED, "")
    assert device.operations() == ["close-session"]
    device.capabilities[-1] = HAS_LIBRARY.format(2)
    assert fetched(good(ask())) == (0, 4)
    assert device.operations() == ["get", "close-session"]
    assert stored(server) == BOX


def test_another_set_takes_the_place_of_the_first(device, ask, server):
    older(device)
    good(ask())
    box = device.texts.pop(("box", "2024-02-02"))
    device.texts["box", "2024-05-05"] = box.replace("2024-02-02", "2024-05-05").replace(
        " a ", " z "
    )
    device.library = device.library.replace("2024-02-02", "2024-05-05")
    device.capabilities[-1] = HAS_LIBRARY.format(2)
    assert fetched(good(ask())) == (1, 4)
    assert stored(server) == ["//box", "/box/b", "/box/e", "/box/z"]


def test_devices_share_texts(device, ask, server):
    """But none sees a revision that only another has."""
    add_m(device, "2024-01-01")
    add_m(device, "2022-02-02", "lib", "typedef t { type string; }")
    good(ask())
    older(device)
    good(ask())
    without_library(device)
    device.capabilities.append(capability("lib", "2020-01-01"))
    assert fetched(good(ask())) == (2, 4)
    assert device.operations() == ["dev@", "part@", "close-session"]  # a hello has no dates
    assert stored(server) == BOX


def test_what_is_implemented_is_preferred_to_what_is_only_imported(device, ask, server):
    """Also where that is newer."""
    add_m(device, body="import lib { prefix l; } uses l:g;")
    later = "import lib { prefix l; revision-date 2022-02-02; } uses l:g;"
    add_m(device, name="other", body=later)
    add_m(device, "2020-01-01", "lib", "grouping g { leaf old { type int8; } }")
    lib = "revision 2022-02-02; grouping g { leaf new { type int8; } }"
    device.texts["lib", "2022-02-02"] = module("lib", lib)
    assert fetched(good(ask())) == (4, 4)
    assert stored(server) == ["//m", "//other", "/m/old", "/other/new"]


def test_several_texts_are_asked_for_at_a_time(device, ask, server):
    """And taken in any order."""
    names = [f"m{number}" for number in range(9)]
    device.texts = {(name, ""): module(name, "leaf a { type int8; }") for name in names}
    device.capabilities += map(capability, names)

    def answer_backwards(peer):
        device.greet(peer)
        waiting = [device.receive(peer) for _ in range(8)]
        for number, operation in reversed(waiting):
            device.reply(peer, number, device.answer(operation))
        for _ in range(2):
            number, operation = device.receive(peer)
            device.reply(peer, number, device.answer(operation))

    device.script = answer_backwards
    assert fetched(good(ask())) == (9, 9)
    assert device.operations()[-2:] == ["m8@", "close-session"]
    assert len(stored(server)) == 18


@pytest.mark.parametrize("versions", [[BASE_1_0], [BASE_1_1], [BASE_1_1, BASE_1_0]])
def test_chunks_are_used_only_where_there_is_no_other_way(device, ask, versions):
    device.capabilities = [*versions, HAS_TEXTS]
    add_m(device, body="leaf a { type int8; description '" + "x" * 99999 + "'; }")
    good(ask())
    found = re.findall(rb"<capability>(.*?)</capability>", device.hello)
    assert found == [versions[-1].encode()]


def test_small_chunks(device, ask, server):
    device.capabilities = [BASE_1_1, HAS_TEXTS]
    add_m(device)
    device.reply = lambda peer, number, inner: peer.send(
        f'<rpc-reply xmlns="{BASE_NS}" message-id="{number}">{inner}</rpc-reply>'.encode(), 7
    )
    good(ask())
    assert stored(server) == ["//m", "/m/a"]


# What is announced and not handed out.


def test_a_text_is_looked_for_elsewhere(device, ask, server, tmp_path):
    """By its name and revision, in files of any name and below other folders."""
    older(device)
    box = device.texts.pop(("box", "2024-02-02"))
    lib = device.texts.pop(("lib", "2020-01-01"))
    result = ask()
    assert (result.returncode, result.stdout) == (1, "schemac: 2 of 4 texts fetched\n")
    lines = result.stderr.split("\n")
    assert lines[0] == "schemac: box@2024-02-02: the server does not hand it out: invalid-value"
    searched = " ".join(map(str, sets(tmp_path, "imported", "implemented")))
    assert lines[2:] == [f"schemac: box: no module box@2024-02-02 in {searched}", ""]
    assert stored(server) == []
    below = tmp_path / "other/below"
    below.mkdir(parents=True)
    (below / "box@2023-01-01.yang").write_text(box.replace("revision 2024-02-02;", ""))
    (below / "box.yang").write_text(box)
    (tmp_path / "other/lib@2020-01-01.yang").write_text(lib)
    assert fetched(good(ask("--search", "other"))) == (0, 4)
    assert stored(server) == BOX
    # What was found is part of the set, as long as it is there.
    (below / "box.yang").write_text(box.replace(" a ", " y "))
    assert fetched(good(ask())) is None
    assert stored(server) == ["//box", "/box/b", "/box/e", "/box/y"]
    (below / "box.yang").unlink()
    assert ask().returncode == 1


def sets(tmp_path, *parts):
    (place,) = (tmp_path / "cache/sets").iterdir()
    return [place / part for part in parts]


def test_what_needs_a_text_that_is_not_there(device, ask, server):
    """It is the one that is named when what is missing is only imported."""
    older(device)
    del device.texts["lib", "2020-01-01"]
    result = ask()
    assert result.returncode == 1
    assert result.stderr.startswith("schemac: box: line 1: import: no module lib in ")
    assert stored(server) == []


def test_keeping_on_without_what_is_missing(device, ask, server):
    add_m(device)
    device.capabilities.append(capability("lost"))
    result = ask("--keep-going")
    assert result.returncode == 2
    assert result.stderr.startswith("schemac: lost: the server does not hand it out: invalid-value")
    assert stored(server) == ["//m", "/m/a"]


@pytest.mark.parametrize(
    "name, revision, path",
    [
        ("lost", "", "lost/evil.yang"),
        ("lost", "2020-01-01", "lost@2020-01-01/evil.yang"),
        ("evil.yang", "", "evil.yang"),
    ],
)
def test_what_is_missing_is_not_taken_from_where_it_is_called(
    device, ask, server, tmp_path, name, revision, path
):
    """In /tmp others could put one there."""
    add_m(device)
    device.capabilities.append(capability(name, revision))
    (tmp_path / path).parent.mkdir(exist_ok=True)
    (tmp_path / path).write_text(module("evil", "leaf a { type int8; }"))
    assert ask("--keep-going").returncode == 2
    assert stored(server) == ["//m", "/m/a"]


def test_a_server_without_get_schema(device, ask, server, tmp_path):
    device.capabilities = [BASE_1_0]
    add_m(device)
    result = ask()
    assert device.operations() == ["close-session"]
    text = "schemac: m: the server does not hand it out: it has no get-schema\n"
    assert result.stderr.startswith(text)
    (tmp_path / "m@2020-01-01.yang").write_text(module("m", "revision 2020-01-01; leaf y {}"))
    (tmp_path / "m@2021-01-01.yang").write_text(
        module("m", "revision 2021-01-01; leaf z { type int8; }")
    )
    good(ask("--search", "."))
    assert stored(server) == ["//m", "/m/z"]


def test_a_fifo_among_the_texts(device, ask, server, tmp_path):
    """It would be read until somebody writes to it, whatever --timeout says."""
    device.capabilities = [BASE_1_0]
    add_m(device)
    os.mkfifo(tmp_path / "m@2021-01-01.yang")
    (tmp_path / "m.yang").write_text(module("m", "leaf y { type int8; }"))
    good(ask("--search", "."))
    assert stored(server) == ["//m", "/m/y"]


def test_a_text_without_a_revision_is_asked_for_with_every_new_set(device, ask, server, tmp_path):
    add_m(device)
    assert fetched(good(ask())) == (1, 1)
    device.texts["m", ""] = module("m", "leaf b { type int8; }")
    device.capabilities.append("urn:changed")
    assert fetched(good(ask())) == (1, 1)
    assert stored(server) == ["//m", "/m/b"]
    names = sorted(path.name for path in (tmp_path / "cache/texts").iterdir())
    assert [re.sub("[0-9a-f]{64}", "DIGEST", name) for name in names] == ["m+DIGEST.yang"] * 2


def test_a_text_of_another_revision(device, ask, server, tmp_path):
    """It is kept as what it is: nobody else is to take it for what it was announced as."""
    add_m(device, "2024-01-01")
    text = module("m", "revision 2023-01-01; leaf z { type int8; }")
    device.texts["m", "2024-01-01"] = text
    result = ask()
    assert result.returncode == 0
    (path,) = sets(tmp_path, "implemented/m@2024-01-01.yang")
    assert result.stderr == f"schemac: m: line 1: the revision is 2023-01-01, not that of {path}\n"
    assert os.listdir(tmp_path / "cache/texts") == ["m@2023-01-01.yang"]


@pytest.mark.parametrize(
    "text",
    [module("n", "leaf a { type int8; }"), "", "x", module("m", "revision ../../x;")],
)
def test_a_text_of_something_else(device, ask, tmp_path, text):
    add_m(device)
    device.texts["m", ""] = text
    result = ask()
    text = "schemac: m: the server does not hand it out: what it sends is another text\n"
    assert result.stderr.startswith(text)
    assert os.listdir(tmp_path / "cache/texts") == []


def test_an_answer_without_a_text(device, ask):
    add_m(device)
    device.answer = lambda _: OK
    text = "schemac: m: the server does not hand it out: it answers without a text\n"
    assert ask().stderr.startswith(text)


def test_everything_is_fetched_anew_by_force(device, ask, server):
    add_m(device, "2024-01-01")
    good(ask())
    device.texts["m", "2024-01-01"] = module("m", "revision 2024-01-01; leaf z { type int8; }")
    assert said(ask()) == (0, UNCHANGED, "")
    assert fetched(good(ask("--force"))) == (1, 1)
    assert stored(server) == ["//m", "/m/z"]
    assert said(ask()) == (0, UNCHANGED, "")


# Servers that are not as they should be.


@pytest.mark.parametrize(
    "name, revision",
    [
        ("../../m", ""),
        ("m/../../x", ""),
        (".m", ""),
        ("", ""),
        ("m" * 151, ""),
        ("m%0ax", ""),
        ("m", "2024-1-1"),
        ("m", "../x"),
        ("m", "2024-01-01/"),
    ],
)
def test_a_name_that_is_none_becomes_no_file(device, ask, tmp_path, name, revision):
    add_m(device, name="good")
    device.capabilities.append(f"urn:m?module={name}&amp;revision={revision}&amp;x=y")
    result = ask()
    shown = f"{name}@{revision}".replace("%0a", "?")
    expected = f"schemac: the server announces what is no name: {shown}\n" if name else ""
    assert (result.returncode, result.stderr) == (0, expected)
    assert device.operations() == ["good@", "close-session"]
    assert [path.name[:5] for path in (tmp_path / "cache/texts").iterdir()] == ["good+"]


def test_features_that_are_none(device, ask):
    add_m(device)
    device.library = modules_state(
        listed("module", "m", "", ["x y", "m:f"]), listed("module", "a\u202eb", "")
    )
    device.capabilities.append(HAS_LIBRARY.format(1))
    what = "schemac: the server announces what is no name: "
    result = ask()
    assert (result.returncode, result.stderr) == (
        0, f"{what}m:x y\n{what}m:m:f\n{what}a?b@\n"
    )  # fmt: skip


def test_a_library_that_is_not_shown(device, ask, server):
    """The hello has to do then."""
    add_m(device)
    device.capabilities.append(HAS_LIBRARY.format(1))
    message = "<error-message>not\nyou</error-message><error-tag>access-denied</error-tag>"
    device.library = f"<rpc-error>{message}</rpc-error>"
    text = "schemac: the server does not show its YANG library: not?you\n"
    result = ask()
    assert (result.returncode, result.stderr) == (0, text)
    assert stored(server) == ["//m", "/m/a"]


def test_a_server_without_modules(device, ask):
    assert said(ask()) == refused("the server announces no modules")
    device.capabilities.append(HAS_LIBRARY.format(1))
    device.library = modules_state(
        listed("module", "lib", "", (), leaves("conformance-type", "import"))
    )
    assert said(ask()) == refused("the server announces no modules")


def test_a_server_with_too_many_modules(device, ask):
    device.capabilities += [capability(f"m{number}") for number in range(10001)]
    assert said(ask()) == refused("the server announces more than 10000 modules")


def test_a_server_with_too_many_names_that_are_none(device, ask):
    device.capabilities += [capability(f"-{number}") for number in range(10001)]
    assert said(ask()) == refused("the server announces more than 10000 names that are none")


def test_a_server_with_too_many_features(device, ask):
    """Each would be a line with the module's name, which may be long."""
    add_m(device)
    features = ",".join(f"f{number}" for number in range(100001))
    device.capabilities.append(capability("n", features=features))
    assert said(ask()) == refused("the server announces more than 100000 features")


def test_a_module_that_needs_too_many(device, ask):
    add_m(device, body="".join(f"import m{number} {{ prefix p; }} " for number in range(20000)))
    assert said(ask()) == refused("its modules need more than 20000 texts")
    assert device.operations() == ["m@"]


def test_modules_within_modules(device, ask):
    """Were each gone through for all around it, a small reply would take hours."""
    add_m(device)
    device.capabilities.append(HAS_LIBRARY.format(1))
    deepest = listed(
        "module", "lib", "", (), leaves("conformance-type", "import") + leaves("feature", "x y")
    )
    device.library = modules_state(listed("module", "m", "", (), deepest))
    result = ask()
    assert (result.returncode, result.stderr) == (0, "")


def test_a_name_among_blanks(device, ask, tmp_path):
    add_m(device, body="feature f; leaf a { if-feature f; type int8; }")
    device.capabilities[-1] = "urn:m?module=%E2%80%83%0Am&amp;features=f"
    good(ask())
    (features,) = sets(tmp_path, "features")
    assert features.read_bytes() == b"m:f\n"


@pytest.mark.parametrize(
    "first, text",
    [
        (b"<rpc-reply/>" + MARK, "the server does not begin with a hello"),
        (b"login: " + MARK,
         "the server sends what is no XML: syntax error: line 1, column 0"),
        (b'<!DOCTYPE hello [<!ENTITY a "b">]><hello>&a;</hello>' + MARK,
         "the server sends a document type"),
        (hello(capabilities=["urn:x"]) + MARK,
         "the server speaks neither NETCONF 1.0 nor 1.1"),
        (b"", "the server has ended the session"),
        (b"<hello", "the server has ended the session"),
        (b"x" * (65 << 20), "the server sends a message of more than 64 MiB"),
    ],
    ids=range(7),
)  # fmt: skip
def test_a_hello_that_is_none(device, ask, first, text):
    device.script = lambda peer: peer.raw(first)
    result = ask()
    assert said(result) == refused(text)


@pytest.mark.parametrize(
    "answer, text",
    [
        (chunked(b"<rpc-reply/>"), "the server answers with what is no reply"),
        (chunked(f'<rpc-reply xmlns="{BASE_NS}"/>'.encode()),
         "the server answers with what is no reply"),
        (chunked(f'<rpc-reply xmlns="{BASE_NS}" message-id="9"/>'.encode()),
         "the server answers what it was not asked"),
        (b"<rpc-reply/>\n", "the server sends what is no chunk"),
        (b"\n#0\n\n##\n", "the server sends what is no chunk"),
        (b"\n#67108865\n", "the server sends a message of more than 64 MiB"),
        (b"\n#9\n<rpc-", "the server has ended the session"),
    ],
)  # fmt: skip
def test_an_answer_that_is_none(device, ask, answer, text):
    def answer_so(peer):
        device.greet(peer)
        device.receive(peer)
        peer.raw(answer)

    device.capabilities = [BASE_1_1, HAS_TEXTS]
    add_m(device)
    device.script = answer_so
    assert said(ask()) == refused(text)


def test_a_server_that_hangs(device, ask):
    """And whose command does not end with it."""
    device.script = lambda peer: peer.at_end()
    hanging = device.command("--stubborn")
    result = ask("--timeout", "0.1", command=hanging)
    assert said(result) == refused("the server has not answered within 0.1 seconds")


def test_a_server_that_hangs_later(device, ask):
    def hang(peer):
        device.greet(peer)
        peer.at_end()

    add_m(device)
    device.script = hang
    assert said(ask("--timeout", "1")) == refused("the server has not answered within 1 seconds")


def test_a_server_that_has_always_more_to_say(monkeypatch, tmp_path):
    """Here with a clock on which each look takes a second."""
    (tmp_path / "said").write_bytes(hello() + MARK)
    clock = types.SimpleNamespace(monotonic=itertools.count().__next__)
    monkeypatch.setattr("schemac_from.session.time", clock)
    monkeypatch.setattr("schemac_from.session.READ_SIZE", 1)
    with pytest.raises(Failed, match="^the server has not answered within 60 seconds$"):
        Session(["cat", tmp_path / "said"], 60)


def test_a_server_that_answers_what_it_does_not_read(ask, tmp_path):
    """More than a pipe holds."""
    count = 1000
    names = [f"{number}".rjust(100, "m") for number in range(count)]
    modules = [capability(name) for name in names]
    (tmp_path / "said").write_bytes(hello(1, [BASE_1_0, HAS_TEXTS, *modules]) + MARK)
    with open(tmp_path / "said", "ab") as file:
        for number in range(1, count + 1):
            error = f'<rpc-reply xmlns="{BASE_NS}" message-id="{number}">{UNKNOWN}</rpc-reply>'
            file.write(error.encode() + MARK)
    talks = ["sh", "-c", 'cat "$0"; exec sleep 1000', tmp_path / "said"]
    result = ask("--timeout", "1", command=talks)
    assert said(result) == refused("the server has not answered within 1 seconds")


@pytest.mark.parametrize("version", [BASE_1_0, BASE_1_1])
def test_a_server_that_leaves_what_came_with_the_hello(device, ask, server, version):
    """Until more comes, which may be the beginning of what follows."""

    def wait_for_more(peer):
        device.greet(peer)
        number, operation = device.receive(peer)
        for piece in (b"\n", b"\n") if version == BASE_1_0 else (b"\n", b"#"):
            assert peer.read(1) == piece
        peer.buffer = b"\n#" if peer.chunked else b""
        device.reply(peer, number, device.answer(operation))
        number, operation = device.receive(peer)
        device.reply(peer, number, device.answer(operation))

    device.capabilities = [version, HAS_TEXTS]
    add_m(device)
    device.script = wait_for_more
    good(ask())
    assert device.operations() == ["m@", "close-session"]
    assert stored(server) == ["//m", "/m/a"]


def test_the_session_is_closed_before_the_input(device, ask):
    """A command that ends with its input would not pass on what the server has yet to read."""

    def look_for_the_end(peer):
        device.greet(peer)
        for _ in range(2):
            number, operation = device.receive(peer)
            if device.operation(operation) == "close-session":
                if select.select([peer.connection], [], [], 0.1)[0]:  # a nudge, if anything
                    assert peer.connection.recv(1, socket.MSG_PEEK)
                device.asked.append(operation)
            device.reply(peer, number, device.answer(operation))

    add_m(device)
    device.script = look_for_the_end
    good(ask())
    assert device.operations() == ["m@", "close-session", "close-session"]


def test_a_server_that_does_not_let_go(device, ask, server):
    """What it has said counts."""

    def stay(peer):
        device.greet(peer)
        number, operation = device.receive(peer)
        device.reply(peer, number, device.answer(operation))
        peer.at_end()
        time.sleep(0.5)

    add_m(device)
    device.script = stay
    good(ask(command=device.command("--stubborn")))
    assert stored(server) == ["//m", "/m/a"]


@pytest.mark.parametrize(
    "command, text",
    [
        (["/nowhere/ssh"], "/nowhere/ssh: No such file or directory"),
        (["sh", "-c", "exit 7"],
         "the server has ended the session; its command ended with status 7"),
    ],
)  # fmt: skip
def test_a_command_that_leads_nowhere(ask, command, text):
    assert said(ask(command=command)) == refused(text)


def test_a_caller_with_many_files(tmp_path):
    words = [*HOLDING_MANY_FILES, SCHEMAC, "--from", "--cache", str(tmp_path / "cache")]
    result = subprocess.run(
        [*words, "--", "sh", "-c", "exit 7"], check=False, capture_output=True, text=True
    )
    assert said(result) == refused(
        "the server has ended the session; its command ended with status 7"
    )


def test_what_takes_too_much_memory(device, server, tmp_path):
    """Here with less than there is for it otherwise."""
    device.script = lambda peer: peer.raw(b"<hello>" + b"<a/>" * (8 << 20) + b"</hello>" + MARK)
    program = [os.path.join(REPO, "tools", "schemac-from"), SCHEMAC]
    least = 200 << 20
    result = subprocess.run(
        [*program, "--cache", str(tmp_path / "cache"), "--", *device.command()],
        check=False, capture_output=True, text=True,
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (least, least)),
    )  # fmt: skip
    assert said(result) == refused("what the server sends takes too much memory")


def test_a_hello_that_takes_too_much_memory(device, server, tmp_path):
    """The command itself may take what it likes."""
    limits = []

    def say(peer):
        limits.append(resource.prlimit(peer.pid, resource.RLIMIT_AS))
        peer.raw(b"<hello>" + b"<a/>" * (8 << 20) + b"</hello>" + MARK)

    device.script = say
    program = (
        "import sys; from schemac_from import main; main.MEMORY = 200 << 20;"
        "sys.exit(main.main(sys.argv[1], sys.argv[2:]))"
    )
    result = subprocess.run(
        [sys.executable, "-c", program, SCHEMAC, "--cache", tmp_path / "cache", "--"]
        + device.command(),
        env=os.environ | {"PYTHONPATH": os.path.join(REPO, "tools")},
        check=False, capture_output=True, text=True,
    )  # fmt: skip
    assert said(result) == refused("what the server sends takes too much memory")
    assert limits == [resource.getrlimit(resource.RLIMIT_AS)]


def test_a_namespace_that_is_long():
    """It would be there again in the name of each element and attribute, which takes hours."""
    text = b"<a><b xmlns='%s' xmlns:c='%s'/>" + b"<c:d c:e=''/>" * 1000000
    text = text.replace(b"/>", b">", 1) + b"</b></a>"
    parse(text % (b"u" * 255, b"v" * 255))
    for lengths in ((256, 1), (1, 20 << 20)):
        with pytest.raises(Failed, match="sends a namespace of more than 255 characters"):
            parse(text % tuple(b"u" * length for length in lengths))


@pytest.mark.parametrize("is_terminal", [True, False])
def test_who_waits_at_a_terminal_sees_how_far_it_is(monkeypatch, is_terminal):
    """After a second, and then from time to time."""
    terminal = io.StringIO()
    terminal.isatty = lambda: is_terminal
    now = 100.0
    monkeypatch.setattr("sys.stderr", terminal)
    monkeypatch.setattr("time.monotonic", lambda: now)
    progress = Progress()
    for now, done in ((100.9, 1), (101.1, 2), (101.2, 3), (101.4, 4)):
        progress.show(done, 9)
    progress.clear()
    start = "\r\033[K"
    shown = (
        f"{start}schemac: 2 texts fetched, 9 to go{start}schemac: 4 texts fetched, 9 to go{start}"
    )
    assert terminal.getvalue() == (shown if is_terminal else "")


# The cache.


def test_the_cache_is_its_owner_s_alone(device, ask, tmp_path):
    add_m(device)
    good(ask())
    for place in ("", "texts", "sets"):
        path = tmp_path / "cache" / place
        assert stat.S_IMODE(path.stat().st_mode) == 0o700
        path.chmod(0o750)
        assert said(ask()) == refused(
            f"{path}: others may use it; a cache is its owner's alone, mode 700"
        )
        path.chmod(0o700)
    assert said(ask()) == (0, UNCHANGED, "")


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can be another user")
def test_the_cache_is_not_behind_somebody_else_s_link(device, ask, tmp_path):
    """He could have it lead to a directory of his at any moment."""
    add_m(device)
    good(ask())
    path = tmp_path / "cache"
    path.rename(tmp_path / "ours")
    path.symlink_to("ours")
    assert said(ask()) == (0, UNCHANGED, "")
    os.lchown(path, 65534, 65534)
    assert said(ask()) == refused(
        f"{path}: others may use it; a cache is its owner's alone, mode 700"
    )


def test_where_the_cache_is(device, run, tmp_path):
    add_m(device)
    home = {"HOME": str(tmp_path / "home"), "XDG_CACHE_HOME": ""}
    for environment, place in (
        (home, "home/.cache/vandel"),
        ({**home, "XDG_CACHE_HOME": "relative"}, "home/.cache/vandel"),
        ({**home, "XDG_CACHE_HOME": str(tmp_path / "xdg")}, "xdg/vandel"),
    ):
        good(run("--from", "--force", "--", *device.command(), env=environment))
        assert os.listdir(tmp_path / place) == ["schemas"]
        (cache,) = (tmp_path / place / "schemas").iterdir()
        assert sorted(os.listdir(cache)) == ["sets", "texts"]
        (tmp_path / place).chmod(0o750)
        words = ["--from", "--", *device.command()]
        assert said(run(*words, env=environment)) == refused(
            f"{tmp_path / place}: others may use it; a cache is its owner's alone, mode 700"
        )
        shutil.rmtree(tmp_path / place)


def test_what_the_cache_is_in_cannot_be_exchanged(monkeypatch, tmp_path):
    """It is made where it is missing, whatever the umask."""
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path / "home" / "cache"))
    mask = os.umask(0)
    kept.default_directory(["ssh"])
    os.umask(mask)
    for place in ("home", "home/cache"):
        assert stat.S_IMODE((tmp_path / place).stat().st_mode) == 0o700


def test_who_has_no_home_gets_no_cache_where_he_is(monkeypatch):
    """Others may write there, as in /tmp."""

    def nobody(_):
        raise KeyError

    monkeypatch.setattr(pwd, "getpwuid", nobody)
    monkeypatch.setattr(kept, "private", lambda path: path)
    monkeypatch.delenv("HOME")
    monkeypatch.setenv("XDG_CACHE_HOME", "")
    assert os.path.dirname(kept.default_directory(["ssh"])) == "/~/.cache/vandel/schemas"


def test_another_command_has_another_cache(device, run, server, tmp_path):
    """What a server plants under a name of others stays with it."""
    environment = {"XDG_CACHE_HOME": str(tmp_path)}
    add_m(device, "2024-01-01")
    good(run("--from", "--", *device.command(), env=environment))
    device.texts["m", "2024-01-01"] = device.texts["m", "2024-01-01"].replace(" a ", " z ")
    good(run("--from", "--", *device.command(), env=environment))
    assert stored(server) == ["//m", "/m/a"]
    good(run("--from", "--", "env", *device.command(), env=environment))
    assert stored(server) == ["//m", "/m/z"]


def test_what_is_left_half_written_is_removed_a_day_later(device, ask, tmp_path):
    add_m(device)
    good(ask())
    left = [tmp_path / "cache" / place / f".{name}" for place in ("texts", "sets") for name in "ab"]
    for path in left[:2]:
        path.touch()
    for path in left[2:]:
        path.mkdir()
        (path / "hello").touch()
    for path in left[::2]:
        os.utime(path, (time.time() - 86500,) * 2)
    good(ask())
    assert [path.exists() for path in left] == [False, True, False, True]


def test_who_is_killed_leaves_only_what_is_removed_later(device, ask, tmp_path, monkeypatch):
    """A file that is half written has a name that no module has."""
    names = []
    monkeypatch.setattr(os, "rename", lambda source, _: names.append(os.path.basename(source)))
    kept.write_whole(tmp_path / "m@2024-01-01.yang", b"x")
    assert [name[0] for name in names] == ["."]


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGKILL])
def test_who_is_ended_leaves_no_command(tmp_path, number):
    """Also one that goes on when its input ends, as ssh does while a server says nothing."""
    talks = 'echo $$ > "$0"; exec sleep 1000'
    words = [SCHEMAC, "--from", "--cache", tmp_path / "cache", "--", "sh", "-c", talks, "pid"]
    with subprocess.Popen(words, cwd=tmp_path) as asking:
        path = tmp_path / "pid"
        pid = int(wait_until(lambda: path.exists() and path.read_text(), "the command"))
        asking.send_signal(number)
    try:
        wait_until(lambda: not is_running(pid), "the end of the command")
    finally:
        if is_running(pid):
            os.kill(pid, signal.SIGKILL)


def test_a_cache_that_cannot_be_written(device, ask, tmp_path):
    (tmp_path / "file").touch()
    path = tmp_path / "file/cache"
    assert said(ask("--cache", path)) == refused(f"{path}: Not a directory")


def test_directories_as_deep_as_they_can_be(device, ask, server, tmp_path):
    """Others may have made them, where --search is not the caller's alone."""
    device.capabilities = [BASE_1_0]
    add_m(device)
    deepest = tmp_path / "other"
    deepest.mkdir()
    while len(str(deepest)) < 3900:
        deepest /= "d"
        deepest.mkdir()
    (deepest / "m.yang").write_text(module("m", "leaf y { type int8; }"))
    try:
        good(ask("--search", "other"))
    finally:  # pytest cannot
        (deepest / "m.yang").unlink()
        os.removedirs(deepest)
    assert stored(server) == ["//m", "/m/y"]


def test_a_directory_that_is_not_there(device, ask):
    add_m(device)
    assert said(ask("--search", "nowhere")) == refused("nowhere: No such file or directory")


# The command line, and where the program stands.


@pytest.mark.parametrize(
    "arguments, text",
    [
        ([], "--from needs a command that leads to a server"),
        (["--"], "--from needs a command that leads to a server"),
        (["--nonsense"], "option --nonsense not recognized"),
        (["--timeout", "0", "--", "true"], "--timeout needs a number of seconds, not 0"),
        (["--timeout", "x", "--", "true"], "--timeout needs a number of seconds, not x"),
    ],
)
def test_a_command_line_that_makes_no_sense(run, arguments, text):
    assert said(run("--from", *arguments)) == refused(f"{text}\nTry 'schemac --help'.")


def test_the_installed_one_runs_from_its_place(device, server, tmp_path):
    add_m(device)
    place = tmp_path / "place"
    words = ["cmake", "--install", BUILD, "--prefix", str(place)]
    subprocess.run(words, check=True, capture_output=True)
    words = ["bin/schemac", "--from", "--cache", "cache", "--redis", server.socket, "--"]
    subprocess.run([*words, *device.command()], check=True, capture_output=True, cwd=place)
    assert stored(server) == ["//m", "/m/a"]
    shutil.rmtree(place / "libexec")
    result = subprocess.run(
        [*words, "true"], check=False, capture_output=True, text=True, cwd=place
    )
    assert said(result) == refused("schemac-from: No such file or directory")


def test_one_that_is_not_installed_takes_what_is_beside_it(tmp_path):
    """In the place of an installed one may be somebody else's: a build tree may be in /tmp."""
    for place in ("build", "libexec/vandel"):
        path = tmp_path / place / "schemac-from"
        path.parent.mkdir(parents=True)
        path.write_text(f"#!/bin/sh\necho {place}\n")
        path.chmod(0o700)
    shutil.copy(SCHEMAC, tmp_path / "build")
    words = [tmp_path / "build" / "schemac", "--from"]
    assert subprocess.run(words, check=True, capture_output=True).stdout == b"build\n"


# A real server.


def test_a_real_server(run, server, tmp_path):
    """It has what its modules have when they are compiled from files, and its own besides."""
    compile_run_models(server.socket)
    expected = server.content()
    netconfd = Netconfd(str(tmp_path), RUN_MODULES, (MODELS,))
    try:
        command, environment = netconfd.transport()
        words = ["--from", "--cache", "cache", "--", *command]
        result = good(run(*words, env=environment))
        done, wanted = fetched(result)
        assert done == wanted > 20
        found = server.content()
        for key in expected.keys() - {"/"}:
            if "interfaces" not in key:
                assert found[key] == expected[key]
        assert expected["/"].items() <= found["/"].items()
        assert said(run(*words, env=environment)) == (0, UNCHANGED, "")
    finally:
        netconfd.stop()


# What is read of a text.


@pytest.mark.parametrize(
    "text, head",
    [
        ("module m { }", ("m", "", [])),
        (' // module n {\n/* { */ submodule "m" { include\'x\';}', ("m", "", [["x", "", True]])),
        ("module m { revision 2020-01-01 { description \"revision 2021-01-01; }\"; }"
         " revision '2022-01-01' { } revision 2021-01-01; }", ("m", "2022-01-01", [])),
        ("module m { import a { prefix \"\\\"{\"; revision-date 2020-01-01; } x:y { import b; }"
         " import c { prefix c; } container d { revision-date e; } import f { prefix f; } }",
         ("m", "", [["a", "2020-01-01", False], ["c", "", False]])),
        ("module m { description 'no end { import x;", ("m", "", [])),
        ("module m { import a /* no end { import x;", ("m", "", [])),
        ("}}}module m {", ("", "", [])),
    ],
)  # fmt: skip
def test_the_head_of_a_text(text, head):
    assert tuple(read_head(text)) == head


@pytest.mark.parametrize("piece", ["/* ", "'", '"', '"\\"', "{", "}", "//", "a "])
def test_a_text_is_gone_through_once(piece):
    """Or this would take hours."""
    assert read_head(piece * 300000).name == ""
