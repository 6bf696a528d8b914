"""Paths that name no element, most for a malformed predicate: nothing is sent or staged."""

import os

import pytest
from support.example import EXAMPLE, edit_config, get, get_config, printed_no_data, printed_ok
from support.messages import NOTHING_STAGED
from support.oneshot import profile, run, with_lines, write_profile
from support.prompt import BELL, Prompt
from support.prompts import ROOT
from support.schema_db import Schema, case, choice, leaf, list_, module, rpc
from support.shell import DEBUG, ERROR

READS = ["[name=", "[", "[name", "[name=a", "[]", "[=x]", "[,]", "[=]", "[[name=a]", "[1=a]"]
EDITS = ["[]", "[=x]", "[,]", "[=]", "[[name=a]", "[name=a,,x=b]", "[name=a,=b]", "[\u00d7=a]"]
LEAVES = ["x[", "x[]", "x[name", "x[=a]"]


# fmt: off
SCHEMA = Schema(
    module(
        "m", "urn:m",
        leaf("x"),
        leaf("gr\u00f6\u00dfe"),
        list_(
            "l", ["name"],
            leaf("name"), leaf("v"),
            choice("kind", case("one", leaf("a")), case("two", leaf("b"))),
            list_("in", ["k"], leaf("k")),
        ),
        rpc("go", leaf("p")),
    )
)
# fmt: on


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(SCHEMA)


def no_tree(path):
    return (DEBUG, f"[DEBUG] Failed to build {path}'s tree!\n")


NO_GET = (ERROR, "[ERROR] failed to build netconf get msg!\n")


def test_reads_at_the_prompt(machine):
    for predicate in READS:
        machine.dialogue(
            (ROOT, f"get-config -r /m/l{predicate}", "fail !!\r\n"),
            (ROOT, f"get-config -s /m/l{predicate}", "fail !!\r\n"),
            (ROOT, f"get /m/l{predicate}", ""),
        )
    logged = [[*[no_tree(f"/m/l{predicate}")] * 3, NO_GET] for predicate in READS]
    assert machine.log.texts(DEBUG, ERROR) == sum(logged, [])
    assert machine.tarnd.requests == []


@pytest.mark.parametrize("predicate", READS)
def test_reads_as_single_commands(machine, predicate):
    run(machine, "get-config", "-r", f"/m/l{predicate}", prints="fail !!\r\n")
    run(machine, "get-config", "-s", f"/m/l{predicate}", prints="fail !!\r\n")
    run(machine, "get", f"/m/l{predicate}")
    assert machine.log.texts(DEBUG, ERROR) == [*[no_tree(f"/m/l{predicate}")] * 3, NO_GET]
    assert machine.tarnd.requests == []


def test_a_closed_predicate_without_a_value(machine):
    entry = '<l xmlns="urn:m"><name></name>{}</l>'
    machine.dialogue(
        (ROOT, "get-config -r /m/l[name]", printed_no_data(1)),
        (ROOT, "get /m/l[name=]", printed_no_data(2)),
        (ROOT, "set /m/l[name]/v 1", ""),
        (ROOT, "commit", printed_ok(3)),
    )
    assert machine.tarnd.requests == [
        get_config(entry.format("")),
        get(entry.format(""), 2),
        edit_config(entry.format("<v>1</v>"), 3),
    ]


def test_edits_at_the_prompt(machine):
    edits = [f"/m/l{predicate}/v" for predicate in EDITS] + [f"/m/{name}" for name in LEAVES]
    machine.dialogue(
        (ROOT, "set /m/x 1", ""),
        *((ROOT, f"set {path} 1", "add cmd error!\r\n") for path in edits),
        *((ROOT, f"set {path}", "add cmd error!\r\n") for path in edits),
        # what is looked up first refuses these
        (ROOT, "set /m/l[ 1", "/m/l['s not config node.\r\n"),
        (ROOT, "set /m/l[name=a/v 1", "error parameter: /m/l[name=a/v\r\n"),
        (ROOT, "delete /m/x[", "error: child node:/m/x[  is not existed.\r\n"),
        (ROOT, "get-config -l /m/l[", "/m/l[ not exist in local configuration buffer \r\n"),
        (ROOT, "commit", printed_ok(1)),
        (ROOT, "commit", NOTHING_STAGED),
    )
    assert machine.tarnd.requests == [edit_config('<x xmlns="urn:m">1</x>')]


def test_deletes_at_the_prompt(machine):
    """The choice in the entry is not asked about."""
    machine.dialogue(
        *((ROOT, f"delete /m/l{predicate}/v", "delete cmd error!\r\n") for predicate in EDITS),
        (ROOT, "commit", NOTHING_STAGED),
    )
    assert machine.tarnd.requests == []


def test_edits_as_single_commands(machine):
    for path in [f"/m/l{predicate}/v" for predicate in EDITS] + [f"/m/{name}" for name in LEAVES]:
        run(machine, "set", path, "1", prints="add cmd error!\r\n")
        run(machine, "delete", path)
    for predicate in READS:
        run(machine, "delete", f"/m/l{predicate}")
    assert not os.path.exists(machine.profile)
    run(machine, "commit", prints=NOTHING_STAGED)
    assert machine.tarnd.requests == []


def test_input_of_an_rpc(machine):
    inside = "\n[go]$ "
    machine.dialogue(
        (ROOT, "/m/go", ""),
        (inside, "set p[ 1", "add cmd error!\r\n"),
        (inside, "set p[] 1", "add cmd error!\r\n"),
        (inside, "set p 2", ""),
        (inside, "commit", printed_ok(1)),
        end="\n/m$ ",
    )
    assert len(machine.tarnd.requests) == 1
    assert '\r\n<go xmlns="urn:m"><p>2</p></go></rpc>\r\n' in machine.tarnd.requests[0]


def test_an_rpc_that_is_no_element_is_not_called(machine):
    machine.dialogue(
        (ROOT, "/m/go[", ""),
        ("\n[go[]$ ", "commit", ""),
        ("\n[go[]$ ", "quit", "The discard_changes command executed successfuly!\n"),
        end="\n/m$ ",
    )
    assert machine.tarnd.requests == []


def test_what_was_refused_is_not_copied(machine):
    machine.tarnd.on_request = lambda request: request.reply("<ok/>")
    machine.session("set /m/l[]/v 1", "copy-config config running", "quit")
    (request,) = machine.tarnd.requests
    assert "      <config>\r\n      </config>\r\n" in request


BY_HAND = ["/m/l[", "/m/l[name=a", "/m/l[]/v", "/m/l[=x]/v", "/m/x[]", "/m/"]


@pytest.mark.parametrize("path", BY_HAND)
@pytest.mark.parametrize("word", ["set", "delete"])
def test_a_line_by_hand_ends_the_replay(machine, word, path):
    write_profile(machine, with_lines(f"set /m/x 1\n{word} {path}\nset /m/x 2\n"))
    run(machine, "commit", prints=printed_ok(1))
    assert machine.tarnd.requests == [edit_config('<x xmlns="urn:m">1</x>')]
    assert profile(machine) == with_lines("")


def test_browsing_a_workspace_by_hand(machine):
    """Neither its choice nor its inner list is asked about."""
    write_profile(machine, with_lines("\n", "/m/l[]"))
    assert b"\x1b[01;36min\x1b[0m" in machine.one_shot("ls").stdout
    run(machine, "cd", "in")
    before = profile(machine)
    assert before.startswith(with_lines("\n", "/m/l[]/in"))
    run(machine, "ls")
    run(machine, "add-listentry", "k", "1")
    assert profile(machine) == before
    no_list = (DEBUG, "[DEBUG] Failed to build list:/m/l[]/in's tree.\n")
    assert machine.log.texts(DEBUG)[-3:-1] == [no_list, (DEBUG, "[DEBUG] Build get msg error\n")]
    assert machine.tarnd.requests == []


def test_completion_asks_nothing(machine):
    line = "set /m/l[]/"
    prompt = Prompt(machine)
    assert prompt.tab(line) == b"\r\nin/  v    name a    b    \r\n/$ " + line.encode()
    assert prompt.tab("set /m/l[=x]/in/") == BELL
    assert machine.tarnd.requests == []


def test_a_key_that_cuts_the_path(machine):
    """A "]" in a key ends the predicate, and what follows is no name."""
    at = "\n/m/l$ "
    machine.dialogue(
        (ROOT, "cd m", ""),
        ("\n/m$ ", "cd l", ""),
        (at, "add-listentry name a/b]c/d", ""),
        (at, "add-listentry name 'a/b]c/d'", ""),
        (at, "commit", printed_ok(3)),
    )
    entry = '<l xmlns="urn:m"><name>a/b]c/d</name></l>'
    assert machine.tarnd.requests[-1] == edit_config(entry, 3)


def test_names_beyond_ascii(machine):
    machine.dialogue((ROOT, "set /m/gr\u00f6\u00dfe 1", ""), (ROOT, "commit", printed_ok(1)))
    assert machine.tarnd.requests == [
        edit_config('<gr\u00f6\u00dfe xmlns="urn:m">1</gr\u00f6\u00dfe>')
    ]


def test_what_else_brackets_do(machine):
    machine.load(EXAMPLE)
    machine.dialogue(
        (ROOT, "set /acme/box/route[via=1,]/metric 3", ""),
        (ROOT, "set /acme/box/port[id=1]]/mtu 9", "error parameter: /acme/box/port[id=1]]/mtu\r\n"),
        (ROOT, "set /acme/box/extra:lamp[extra:=1]/color red", "add cmd error!\r\n"),
        (ROOT, "commit", printed_ok(1)),
    )
    assert machine.tarnd.requests == [
        edit_config('<box xmlns="urn:acme"><route><via>1</via><metric>3</metric></route></box>')
    ]
