"""Single commands whose line would not be read back as the words it came from."""

import os

import pytest
from support.example import edit_config, printed_ok
from support.oneshot import filled, profile, run, write_profile
from support.schema_db import Schema, leaf, list_, module, rpc

SCHEMA = Schema(
    module(
        "m",
        "urn:m",
        leaf("x"),
        list_("o", ["k"], leaf("k"), leaf("v"), list_("i", ["j"], leaf("j"), leaf("w"))),
        rpc("go"),
    )
)


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(SCHEMA)


APOSTROPHE = "/m/o[k=it's]"
MARK = '/m/o[k=5"]'

# the workspace, the command, what it is at the prompt
REFUSED = [
    (APOSTROPHE, "set v 'c d'", "<v>c d</v>"),
    (APOSTROPHE, "set v it's", "<v>it's</v>"),
    (APOSTROPHE, "set v '", "<v>'</v>"),
    (APOSTROPHE, "set v ''", "<v>''</v>"),
    (APOSTROPHE, 'set v "it\'s so"', "<v>it's so</v>"),
    (APOSTROPHE, 'set i[j="a b"]/w', "<i><j>a b</j><w></w></i>"),
    (MARK, 'set v "c d"', "<v>c d</v>"),
    (MARK, 'set v 7"', "<v>7&quot;</v>"),
]


@pytest.mark.parametrize("workspace, line, sent", REFUSED)
def test_what_the_prompt_takes_is_refused(machine, workspace, line, sent):
    before = filled(workspace, "set /m/x 1\n")
    write_profile(machine, before)
    run(machine, line, prints="add cmd error!\r\n")
    assert profile(machine) == before
    run(machine, "commit", prints=printed_ok(1))
    key = workspace[len("/m/o[k=") : -1]
    machine.tarnd.holds("<o ", f'<o xmlns="urn:m"><k>{key}</k></o>')
    at_entry = f"\n{workspace}$ "
    machine.dialogue(
        ("/$ ", "cd m", ""),
        ("\n/m$ ", "cd o", ""),
        ("\n/m/o$ ", f"cd o[k={key}]", ""),
        (at_entry, line, ""),
        (at_entry, "commit", printed_ok(2)),
    )
    key = key.replace('"', "&quot;")
    assert [text for text in machine.tarnd.requests if "edit-config" in text] == [
        edit_config('<x xmlns="urn:m">1</x>'),
        edit_config(f'<o xmlns="urn:m"><k>{key}</k>{sent}</o>', 2),
    ]


def test_an_entry_of_which_a_line_is_refused_has_none(machine):
    before = filled(f"{APOSTROPHE}/i", "")
    write_profile(machine, before)
    run(machine, "add-listentry", "j", "it's")
    run(machine, "add-listentry", "j", '"a b"')
    run(machine, "delete", "i[j='a b']")
    assert profile(machine) == before
    assert machine.tarnd.requests == []


def test_codes_outside_of_quotes(machine):
    """Bytes that stand for others, typed as they are: a path would lose them."""
    for path in ("/m/o[k=a\x03b]/v", "/m/o[k=\x0b]/v", "/m/o[k=a\x0cb]/v", "/m/o[k=a\x0eb]/v"):
        run(machine, "set", path, "1", prints="add cmd error!\r\n")
        run(machine, "delete", path)
    assert not os.path.exists(machine.profile)


RECORDED = [
    (APOSTROPHE, "set v", f"set {APOSTROPHE}/v\n", "<v></v>"),
    (APOSTROPHE, "set v c", f"set {APOSTROPHE}/v c\n", "<v>c</v>"),
    (APOSTROPHE, 'set v "c d"', f'set {APOSTROPHE}/v "c\x03d"\n', "<v>c d</v>"),
    (APOSTROPHE, 'set v "', f'set {APOSTROPHE}/v "\n', "<v>&quot;</v>"),
    (MARK, "set v 'c d'", f"set {MARK}/v 'c\x03d'\n", "<v>c d</v>"),
    ("/", "set /m/o[k='a b']/v 'c d'", "set /m/o[k='a b']/v 'c\x03d'\n", "<v>c d</v>"),
    ("/", "set /m/o[k=a/b:c]/v '", "set /m/o[k=a/b:c]/v '\n", "<v>'</v>"),
    ("/", "set /m/o[k=1]/v \x01\x02\x03\x0b\x0c\x0d\x0e",
     "set /m/o[k=1]/v \x01\x02\x03\x0b\x0c\x0d\x0e\n", "<v>/: []=,</v>"),
]  # fmt: skip


@pytest.mark.parametrize("workspace, line, recorded, sent", RECORDED)
def test_what_is_recorded(machine, workspace, line, recorded, sent):
    write_profile(machine, filled(workspace, ""))
    run(machine, line)
    assert profile(machine) == filled(workspace, recorded)
    run(machine, "commit", prints=printed_ok(1))
    (request,) = machine.tarnd.requests
    assert f"</k>{sent}</o>" in request


def test_lines_of_the_other_section_come_back_with_their_codes(machine):
    line = "set /m/o[k=a\x03b]/v 1\nset /m/x 2\n"
    text = f"[pwd]\n/m/go\n\n[config]\n{line}\n[rpc]\n/m/go\n\n[rpc_para]\n\n%%%\n"
    write_profile(machine, text)
    run(machine, "commit", prints=printed_ok(1))
    assert profile(machine) == f"[pwd]\n/m\n\n[config]\n{line}\n[rpc]\n\n[rpc_para]\n\n%%%\n"
    run(machine, "commit", prints=printed_ok(1))
    assert machine.tarnd.requests[-1] == edit_config(
        '<x xmlns="urn:m">2</x><o xmlns="urn:m"><k>a b</k><v>1</v></o>'
    )
