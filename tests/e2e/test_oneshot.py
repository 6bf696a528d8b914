"""One command per process: the session lives in the profile file."""

import os
import stat

import pytest
from support.example import edit_config, invoke, printed_ok
from support.messages import DISCARDED
from support.oneshot import filled, profile, run, with_lines, write_profile
from support.shell import DEBUG, ERROR

pytestmark = pytest.mark.usefixtures("example")


def test_set_creates_the_profile(machine):
    run(machine, "set", "/acme/box/name", "1")
    assert profile(machine) == filled(config="set /acme/box/name 1\n")
    assert stat.S_IMODE(os.stat(machine.profile).st_mode) == 0o600
    assert machine.tarnd.requests == []


def test_appended_lines_keep_their_order(machine):
    run(machine, "set", "/acme/box/name", "1")
    run(machine, "set /acme/box/flag")
    run(machine, "delete", "/acme/box/tag", "v1")
    run(machine, 'set /acme/box/port[id="a b"]/mtu "1 2"')
    lines = (
        "set /acme/box/name 1\n"
        "set /acme/box/flag\n"
        "delete /acme/box/tag\n"
        'set /acme/box/port[id="a b"]/mtu "1\x032"\n'
    )
    assert profile(machine) == filled(config=lines)


def test_cd_replaces_the_workspace_and_leaves_a_residue(machine):
    run(machine, "cd", "acme")
    run(machine, "cd", "box")
    run(machine, "pwd", prints="/acme/box\r\n")
    text = filled("/acme/box")
    run(machine, "cd", "/")
    run(machine, "pwd", prints="/\r\n")
    assert profile(machine) == filled() + text[-len("/acme/box") + 1 :]


def test_a_series_does_what_a_session_does(machine):
    run(machine, "cd", "acme")
    run(machine, "cd", "box")
    run(machine, "cd", "port")
    run(machine, "add-listentry", "id", "eth0/1")
    run(machine, "set", "port[id=eth0/1]/mtu", "9")
    run(machine, "cd", "..")
    usage = "error command, please use:set path [value]\r\n"
    run(machine, "set", "name", "a b", prints=usage)  # joined, these are four words
    lines = (
        "set /acme/box/port[id=eth0/1]\n"
        "add /acme/box/port port[id=eth0/1]\n"
        "set /acme/box/port[id=eth0/1]/mtu 9\n"
    )
    text = profile(machine)
    assert (
        text[: text.index("%%%")]
        == f"[pwd]\n/acme/box\n\n[config]\n{lines}\n\n[rpc]\n\n\n[rpc_para]\n\n\n"
    )


def test_commit_sends_the_lines_and_empties_the_profile(machine):
    for line in ("set /acme/box/name 1", "delete /acme/box/size", "set /acme/box/name 2"):
        run(machine, line)
    run(machine, "commit", prints=printed_ok(1))
    assert machine.tarnd.requests == [
        edit_config('<box xmlns="urn:acme"><size xc:operation="delete"></size><name>2</name></box>')
    ]
    assert profile(machine) == "[pwd]\n/\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"


def test_two_series_in_a_row_leave_nothing_staged(machine):
    for value in ("1", "2"):
        run(machine, "set", "/acme/box/name", value)
        run(machine, "commit", prints=printed_ok(1))
        assert profile(machine) == "[pwd]\n/\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"
    run(machine, "commit", prints="There is no configuration data. \r\n")
    bodies = [f'<box xmlns="urn:acme"><name>{value}</name></box>' for value in "12"]
    assert machine.tarnd.requests == [edit_config(body) for body in bodies]


def test_an_entry_is_committed_with_its_keys(machine):
    run(machine, "cd", "acme")
    run(machine, "cd", "box")
    run(machine, "cd", "route")
    run(machine, "add-listentry", "dest", "10.0.0.0/8", "via", "fe80::1")
    run(machine, "set", "route[dest=10.0.0.0/8,via=fe80::1]/metric", "3")
    run(machine, "commit", prints=printed_ok(1))
    entry = "<route><dest>10.0.0.0/8</dest><via>fe80::1</via><metric>3</metric></route>"
    assert machine.tarnd.requests == [edit_config(f'<box xmlns="urn:acme">{entry}</box>')]
    text = "[pwd]\n/acme/box/route\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"
    assert profile(machine).startswith(text)


def test_the_two_records_of_an_entry(machine):
    write_profile(machine, filled("/acme/box/port"))
    run(machine, "add-listentry", "id", '"a b"')
    lines = 'set /acme/box/port[id="a b"]\nadd /acme/box/port port[id="a b"]\n'
    assert profile(machine) == filled("/acme/box/port", lines)
    assert machine.tarnd.requests == []  # no look for duplicates


def test_rpc_mode(machine):
    run(machine, "/acme/reset")
    assert profile(machine).startswith("[pwd]\n/acme/reset\n\n[config]\n\n\n[rpc]\n/acme/reset\n")
    run(machine, "set", "delay", "5")
    run(machine, "set", "target[name=x]/depth", "1")
    assert (
        "[rpc_para]\nset /acme/reset/delay 5\nset /acme/reset/target[name=x]/depth 1\n"
        in profile(machine)
    )
    run(machine, "commit", prints=printed_ok(1))
    body = "<target><name>x</name><depth>1</depth></target><delay>5</delay>"
    assert machine.tarnd.requests == [invoke(f'<reset xmlns="urn:acme">{body}</reset>')]
    run(machine, "pwd", prints="/acme\r\n")
    assert profile(machine) == "[pwd]\n/acme\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"


def test_quit_leaves_rpc_mode_and_drops_every_line(machine):
    run(machine, "set", "/acme/box/name", "1")
    run(machine, "/acme/reset")
    run(machine, "set", "delay", "5")
    run(machine, "quit", prints=DISCARDED)
    text = profile(machine)
    assert text[: text.index("%%%")] == "[pwd]\n/acme\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n"
    run(machine, "commit", prints="There is no configuration data. \r\n")


def test_discard_changes_writes_a_fresh_profile(machine):
    run(machine, "cd", "acme")
    run(machine, "set", "box/name", "1")
    run(machine, "discard_changes", prints=DISCARDED)
    assert profile(machine) == filled("/acme")


def test_discard_changes_keeps_the_rpc(machine):
    run(machine, "/acme/reset")
    run(machine, "set", "delay", "5")
    run(machine, "discard_changes", prints=DISCARDED)
    assert profile(machine) == (
        "[pwd]\n/acme/reset\n\n[config]\n\n\n[rpc]\n/acme/reset\n\n[rpc_para]\n\n\n%%%\n"
    )


def test_a_failed_exchange_keeps_the_lines(machine):
    from support.tarnd import close

    run(machine, "set", "/acme/box/name", "1")
    before = profile(machine)
    machine.tarnd.on_request = lambda request: close
    run(machine, "commit", prints="Read message failed. \r\n")
    assert profile(machine) == before


def test_a_refusal_of_the_server_empties_the_profile(machine):
    run(machine, "set", "/acme/box/name", "1")
    machine.tarnd.on_request = lambda request: request.reply("<rpc-error/>")
    machine.one_shot("commit")
    assert profile(machine) == "[pwd]\n/\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"


def test_local_configuration_is_not_shown(machine):
    run(machine, "get-config", "-l", prints="irreciprocal mode unsupport get-config -l [path].\r\n")


def test_line_length(machine):
    path = "/acme/box/name"
    value = "x" * (1000 - len(f"set {path} "))
    run(machine, "set", path, value)
    assert f"set {path} {value}\n" in profile(machine)
    before = profile(machine)
    run(machine, "set", path, value + "x", prints="add cmd error!\r\n")
    assert profile(machine) == before
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] command is too 1000 byts\n")]


def test_a_line_too_long_creates_no_profile(machine):
    run(machine, "set", "/acme/box/name", "x" * 1000, prints="add cmd error!\r\n")
    assert not os.path.exists(machine.profile)


def test_an_entry_too_long_for_its_first_record_has_no_second(machine):
    write_profile(machine, filled("/acme/box/port"))
    run(machine, "add-listentry", "id", "x" * 1000)
    assert profile(machine) == filled("/acme/box/port")


def test_an_empty_profile_ends_the_start(machine):
    write_profile(machine, "")
    result = machine.one_shot("pwd")
    assert (result.status, result.stdout) == (255, b"")
    assert machine.log.texts(ERROR) == [
        (ERROR, "[ERROR] VDL's profile </tmp/vandel.conf> is invalid.\n")
    ]
    assert (DEBUG, "[DEBUG] config file error\n") in machine.log.texts(DEBUG)


@pytest.mark.parametrize("place", ["link", "fifo", "directory"])
def test_what_is_no_file_is_refused(machine, place):
    if place == "link":
        with open(machine.path("victim"), "w", encoding="ascii") as file:
            file.write(filled("/acme"))
        os.symlink("victim", machine.profile)
    elif place == "fifo":
        os.mkfifo(machine.profile)
    else:
        os.mkdir(machine.profile)
    run(machine, "pwd", prints="/\r\n")
    run(machine, "set", "/acme/box/name", "1", prints="add cmd error!\r\n")
    run(machine, "discard_changes", prints=DISCARDED)
    if place == "link":
        with open(machine.path("victim"), encoding="ascii") as file:
            assert file.read() == filled("/acme")


STARTS = [
    ("[pwd]\n/acme\n\n[rpc]\n\n", "/acme"),
    ("x[pwd]\n/acme\n", "/acme"),  # the first occurrence, wherever it is
    ("[pwd]", "/"),
    ("[pwd]\n/acme", "/"),
    ("[pwd]\n\n/acme\n", "/"),
    ("nothing", "/"),
    ("[pwd]\n" + "/acme\n" + "x" * (4096 - len("[pwd]\n/acme\n")), "/acme"),
]


@pytest.mark.parametrize("text, workspace", STARTS)
def test_what_the_start_finds(machine, text, workspace):
    write_profile(machine, text)
    run(machine, "pwd", prints=f"{workspace}\r\n")


def replayed(machine, text):
    """What commit sends for a profile, and what it logs about it."""
    write_profile(machine, text)
    machine.one_shot("commit")
    return machine.tarnd.requests, machine.log.texts(DEBUG)


NAME = edit_config('<box xmlns="urn:acme"><name>1</name></box>')
FIRST = (DEBUG, "[DEBUG] err:/tmp/vandel.conf's first line must be: [pwd]\n")


def test_the_first_line_that_is_not_empty(machine):
    requests, _ = replayed(machine, "\n\n" + with_lines("set /acme/box/name 1\n"))
    assert requests == [NAME]


def test_another_first_line_is_refused(machine):
    requests, log = replayed(machine, "x\n" + with_lines("set /acme/box/name 1\n"))
    assert requests == []
    assert FIRST in log


BAD_LINES = ["set", "set a b c", "add /acme/box/port", "delete x /acme/y z"]


@pytest.mark.parametrize("line", BAD_LINES)
def test_a_bad_line_ends_the_replay_silently(machine, line):
    lines = f"set /acme/box/name 1\n{line}\nset /acme/box/size 2\n"
    requests, log = replayed(machine, with_lines(lines))
    assert requests == [NAME]
    assert not [text for _, text in log if "format" in text]


def test_a_bad_word_is_logged(machine):
    lines = "set /acme/box/name 1\nput /acme/x\nset /acme/box/size 2\n"
    requests, log = replayed(machine, with_lines(lines))
    assert requests == [NAME]
    assert (DEBUG, "[DEBUG] invalid format:put /acme/x\n") in log


def test_what_follows_the_end_mark_is_ignored(machine):
    text = with_lines("set /acme/box/name 1\n") + "set /acme/box/size 2\n[pwd]\n"
    assert replayed(machine, text)[0] == [NAME]


def test_lines_of_any_length_are_replayed(machine):
    value = "v" * 100000
    requests, _ = replayed(machine, with_lines(f"set /acme/box/name {value}\n"))
    assert requests == [edit_config(f'<box xmlns="urn:acme"><name>{value}</name></box>')]


def test_deep_paths_are_replayed(machine):
    path = "/acme" + "/a" * 2000
    requests, _ = replayed(machine, with_lines(f"set {path} 1\n"))
    assert requests[0].count("<a") == 2000


def test_a_replayed_delete_forgets_the_entry(machine):
    lines = (
        "set /acme/box/port[id=a]\nadd /acme/box/port port[id=a]\n" "delete /acme/box/port[id=a]\n"
    )
    requests, _ = replayed(machine, with_lines(lines))
    assert requests == [
        edit_config('<box xmlns="urn:acme"><port xc:operation="delete"><id>a</id></port></box>')
    ]
