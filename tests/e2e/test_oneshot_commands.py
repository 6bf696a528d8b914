"""Every command as a process of its own: output, wire, profile and log."""

import os
import stat

import pytest
from support.example import BASE, get, get_config, printed_no_data, printed_ok
from support.messages import DISCARDED
from support.oneshot import profile, run, write_profile
from support.shell import DEBUG, ERROR, INFO
from support.tarnd import rpc_reply

STAGED = (
    "[pwd]\n/acme/box\n\n[config]\nset /acme/box/name 1\nadd /acme/box/port port[id=a]\n\n"
    "[rpc]\n\n[rpc_para]\n\n%%%\n"
)
IN_RPC = (
    "[pwd]\n/acme/reset\n\n[config]\nset /acme/box/name 1\n\n\n[rpc]\n/acme/reset\n\n"
    "[rpc_para]\nset /acme/reset/delay 5\n\n\n%%%\n"
)
SENT = (INFO, "[INFO] Send a message to tarnd.\n")
RECEIVED = (INFO, "[INFO] Recv a message from tarnd.\n")
OK = f'<rpc-reply xmlns="{BASE}" message-id="1">\n  <ok/>\n  </rpc-reply>\n'
DATA = "<data><box>1</box></data>"
EXPORTED = "<?xml version='1.0' encoding='UTF-8'?>" + DATA
pytestmark = pytest.mark.usefixtures("example")


def logged(machine):
    """What was logged after the session had been created."""
    return machine.log.texts()[3:]


def copy(target, source):
    return (
        f'<rpc xmlns="{BASE}" message-id="1">\r\n  <copy-config>\r\n    <target>\r\n'
        f"      <{target}/>\r\n    </target>\r\n    <source>\r\n{source}    </source>\r\n"
        "  </copy-config>\r\n</rpc>\r\n"
    )


SAVE = (
    f'<rpc xmlns ="{BASE}" message-id ="1">\r\n  <copy-config>\r\n    <target>\r\n'
    "      <startup/>\r\n    </target>\r\n"
    "    <error-option>rollback-on-error</error-option>\r\n    <source>\r\n"
    "      <running/>\r\n    </source>\r\n  </copy-config>\r\n</rpc>\r\n"
)
DELETE_CONFIG = (
    f'<rpc xmlns="{BASE}" message-id="1">\r\n  <delete-config>\r\n    <target>\r\n'
    "      <startup/>\r\n    </target>\r\n  </delete-config>\r\n</rpc>\r\n"
)
EXPORT = (
    f'<rpc xmlns="{BASE}" message-id="1">\r\n  <get-config>\r\n    <source>\r\n'
    "      <startup/>\r\n    </source>\r\n  </get-config>\r\n</rpc>\r\n"
)
EMPTY_CONFIG = "      <config>\r\n      </config>\r\n"
EMPTY = '<empty xmlns="urn:acme"></empty>'

# words, output, the one request
EXCHANGES = [
    ("copy-config running startup", OK, copy("startup", "      <running/>\r\n")),
    # only commit and the reading commands see what the profile stages
    ("copy-config config running", OK, copy("running", EMPTY_CONFIG)),
    ("save", "\r\n" + OK, SAVE),
    ("delete-config", "\r\n" + OK, DELETE_CONFIG),
    ("get /acme/empty", printed_no_data(), get(EMPTY)),
    ("get-config -r /acme/empty", printed_no_data(), get_config(EMPTY)),
    ("get-config -s /acme/empty", printed_no_data(), get_config(EMPTY, 1, "startup")),
]


@pytest.mark.parametrize("before", [None, STAGED])
@pytest.mark.parametrize("line, output, request_text", EXCHANGES)
def test_an_exchange_leaves_the_profile_alone(machine, line, output, request_text, before):
    machine.tarnd.on_request = lambda request: (
        None if "<get" in request.text else rpc_reply("<ok/>", "1")
    )
    if before:
        write_profile(machine, before)
    run(machine, *line.split(), prints=output)
    assert machine.tarnd.requests == [request_text]
    zero = b"" if line == "delete-config" else b"\0"
    assert machine.tarnd.frames[1].body == request_text.encode() + zero
    assert machine.tarnd.frames[1].sequence == 1
    assert profile(machine) == before
    source = [(DEBUG, f"[DEBUG] source: {line.split()[1]}\n\n")] if "copy" in line else []
    target = [(DEBUG, f"[DEBUG] target: {line.split()[-1]}\n\n")] if "copy" in line else []
    assert logged(machine) == [*source, *target, SENT, RECEIVED]


def test_export_and_import(machine):
    machine.tarnd.on_request = lambda request: (
        request.reply(DATA) if "<get" in request.text else request.reply("<ok/>")
    )
    done = "The export-config command executed successfuly! "
    run(machine, "export-config", "startup", "/tmp/out", prints=done)
    with open(machine.path("out"), encoding="utf-8") as file:
        assert file.read() == EXPORTED
    assert logged(machine) == [SENT, RECEIVED]
    run(machine, "import-config", "/tmp/out", "running", prints=OK)
    inner = "      <config>\r\n<box>1</box>      </config>\r\n"
    assert machine.tarnd.requests == [EXPORT, copy("running", inner)]
    assert profile(machine) is None


def test_an_exported_file_is_no_program(machine):
    machine.tarnd.on_request = lambda request: request.reply(DATA)
    words = machine.vandel("export-config", "startup", "/tmp/out")
    script = words.index("--") + 1
    words[script:script] = ["/bin/sh", "-c", 'umask 0; exec "$@"', "sh"]
    assert machine.start_command(words).wait().status == 0
    assert stat.S_IMODE(os.stat(machine.path("out")).st_mode) == 0o666


USAGES = [
    ("help a b", "error command, please use:help [cmd] \r\n"),
    ("cd", "error command, please use:cd path\r\n"),
    ("cd a b", "error command, please use:cd path\r\n"),
    ("ls x", "error command, please use:ls (no param)\r\n"),
    ("pwd x", "error command, please use:pwd (no param)\r\n"),
    ("set", "error command, please use:set path [value]\r\n"),
    ("set a b c", "error command, please use:set path [value]\r\n"),
    ("delete", "error command, please use:delete path\r\n"),
    ("delete a b c", "error command, please use:delete path\r\n"),
    ("discard_changes x", "error command, please use:discard_changes (no param)\r\n"),
    ("get", "error command, please use:get path\r\n "),
    ("get-config", "please input : get-config -r|-s path or get-config -l [path]\r\n"),
    ("get-config -r", "please input : get-config -r|-s path or get-config -l [path]\r\n"),
    ("get-config -l x", "irreciprocal mode unsupport get-config -l [path].\r\n"),
    ("copy-config x", "please input : copy-config source target\r\n"),
    ("commit x", "error command, please use:commit \r\n"),
    ("commit", "There is no configuration data. \r\n"),
    ("save x", "error command, please use:save (no param)\r\n"),
    ("add-listentry a", "wrong number of parameters\r\n"),
    ("export-config", "please input : export-config source dir(file path)\r\n"),
    ("import-config", "please input : import-config file target\r\n"),
    ("delete-config x", "error command, please use:delete-config\r\n "),
    ("quit", ""),
    ("quit x", ""),
]


@pytest.mark.parametrize("line, output", USAGES)
def test_a_command_that_is_refused_makes_no_profile(machine, line, output):
    run(machine, *line.split(), prints=output)
    assert profile(machine) is None
    assert machine.tarnd.requests == []
    assert logged(machine) == []


RECORDS = [
    # words, output, lines of the section
    ("set name", "", "set /acme/box/name\n"),
    ("set ./name x", "", "set /acme/box/name x\n"),
    ("set ../hostname x", "", "set /acme/hostname x\n"),
    ("set /acme/box//name/ x", "", "set /acme/box/name x\n"),
    ("set name ''", "", "set /acme/box/name ''\n"),
    ('set name "it\'s [a] b"', "", 'set /acme/box/name "it\'s\x03\x0ba\x0c\x03b"\n'),
    ('set name "x y', "error command, please use:set path [value]\r\n", ""),
    ("set name /:%s<&>", "", "set /acme/box/name /:%s<&>\n"),
    ("set port[id=a/b:c]/mtu 1", "", "set /acme/box/port[id=a/b:c]/mtu 1\n"),
    ("set port[id='a b']/mtu 1", "", "set /acme/box/port[id='a b']/mtu 1\n"),
    ("set inner x", "/acme/box/inner's not config node.\r\n", ""),
    ("set port[id='a b'] x", "/acme/box/port[id='a b']'s not config node.\r\n", ""),
    ("set uptime 1", "/acme/box/uptime's not config node.\r\n", ""),
    ("set none 1", "error parameter: none\r\n", ""),
    ("delete tag", "", "delete /acme/box/tag\n"),
    ("delete tag v1", "", "delete /acme/box/tag\n"),
    ("delete uptime", "", "delete /acme/box/uptime\n"),  # nothing is checked
    ("delete port[id='a b']", "", "delete /acme/box/port[id='a b']\n"),
    ("delete /acme", "", "delete /acme\n"),
    ("delete none", "error parameter: none\r\n", ""),
    ("add-listentry id 1", "error: the add_listentry cmd only works at list's workspace \r\n", ""),
]


@pytest.mark.parametrize("line, output, recorded", RECORDS)
def test_what_an_edit_records(machine, line, output, recorded):
    fresh = "[pwd]\n/acme/box\n\n[config]\n{}\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
    write_profile(machine, fresh.format(""))
    run(machine, *line.split(), prints=output)
    assert profile(machine) == fresh.format(recorded)
    assert machine.tarnd.requests == []


IN_RPC_RECORDS = [
    ("set delay 6", "", "", "set /acme/reset/delay 6\n"),
    ("set ./how/mode x", "", "", "set /acme/reset/how/mode x\n"),
    ("set /acme/box/name 2", "error parameter: /acme/box/name\r\n", "", ""),
    ("delete delay", "current mode not support del cmd\r\n", "", ""),
    ("get /acme/empty", "rpc mode not support get operation\r\n", "", ""),
    ("/acme/ping", "/acme/ping: no such command, type 'help' for more information.\n", "", ""),
    ("get-config -r x", "rpc mode not support get-config -r operation\r\n", "", ""),
]


@pytest.mark.parametrize("line, output, config, parameter", IN_RPC_RECORDS)
def test_what_is_recorded_in_an_rpc(machine, line, output, config, parameter):
    write_profile(machine, IN_RPC)
    run(machine, *line.split(), prints=output)
    expected = IN_RPC.replace("name 1\n", "name 1\n" + config)
    assert profile(machine) == expected.replace("delay 5\n", "delay 5\n" + parameter)


def test_an_entry_in_an_rpc_has_a_record_in_both_sections(machine):
    write_profile(machine, IN_RPC.replace("[pwd]\n/acme/reset\n", "[pwd]\n/acme/reset/target\n"))
    run(machine, "add-listentry", "name", "x/y")
    run(machine, "ls", prints="\x1b[01;36mtarget[name=x/y]\x1b[0m\n")
    assert profile(machine) == (
        "[pwd]\n/acme/reset/target\n\n"
        "[config]\nset /acme/box/name 1\nadd /acme/reset/target target[name=x/y]\n\n\n"
        "[rpc]\n/acme/reset\n\n"
        "[rpc_para]\nset /acme/reset/delay 5\nset /acme/reset/target[name=x/y]\n\n\n%%%\n"
    )
    run(machine, "cd", "target[name=x/y]")
    run(machine, "set", "depth", '"a b"')
    run(machine, "commit", prints=printed_ok(1))
    assert machine.tarnd.requests == [
        f'<rpc xmlns="{BASE}" message-id="1">\r\n<reset xmlns="urn:acme"><target><name>x/y</name>'
        "<depth>a b</depth></target><delay>5</delay></reset></rpc>\r\n"
    ]
    assert profile(machine) == (
        "[pwd]\n/acme\n\n[config]\nset /acme/box/name 1\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"
    )


def test_quit_in_an_rpc_leaves_what_the_old_file_was_longer(machine):
    write_profile(machine, IN_RPC)
    run(machine, "quit", prints=DISCARDED)
    # first the fresh file of the rpc, then a workspace that is 6 bytes shorter,
    # then an rpc that is 11 bytes shorter
    assert profile(machine) == (
        "[pwd]\n/acme\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
        "\n\n%%%\n"
        "\n%%%\n\n\n%%%\n"
    )


def test_an_rpc_is_entered_with_lines_staged(machine):
    run(machine, "set", "/acme/box/name", "1")
    run(machine, "/acme/reset")
    assert profile(machine) == (
        "[pwd]\n/acme/reset\n\n[config]\nset /acme/box/name 1\n\n\n[rpc]\n/acme/reset\n\n\n"
        "[rpc_para]\n\n\n%%%\n"
    )
    run(machine, "/acme/reset", "more", prints=(
        "invalid operation!!\r\n"
        "/acme/reset: no such command, type 'help' for more information.\n"
    ))  # fmt: skip


def test_a_line_that_finds_no_section(machine):
    text = "[pwd]\n/acme/box\n\n"
    write_profile(machine, text)
    run(machine, "set", "name", "1", prints="add cmd error!\r\n")
    run(machine, "delete", "name")
    assert profile(machine) == text
    assert machine.log.texts(ERROR, DEBUG) == []


def test_a_line_keeps_the_mode_of_the_file_and_discard_changes_sets_it(machine):
    write_profile(machine, STAGED)
    os.chmod(machine.profile, 0o644)
    run(machine, "set", "name", "2")
    assert stat.S_IMODE(os.stat(machine.profile).st_mode) == 0o644
    run(machine, "commit", prints=printed_ok(1))
    assert stat.S_IMODE(os.stat(machine.profile).st_mode) == 0o600
    os.chmod(machine.profile, 0o644)
    run(machine, "discard_changes", prints=DISCARDED)
    assert stat.S_IMODE(os.stat(machine.profile).st_mode) == 0o600


def test_a_directory_in_its_place_is_told_once(machine):
    os.mkdir(machine.profile)
    refused = (DEBUG, "[DEBUG] open /tmp/vandel.conf failed! errno:21\n")
    what = (ERROR, "[ERROR] VDL's profile </tmp/vandel.conf> is not a regular file.\n")
    run(machine, "pwd", prints="/\r\n")
    assert machine.log.texts(DEBUG, ERROR) == [what]
    for words, output in (
        (("set", "/acme/box/name", "1"), "add cmd error!\r\n"),
        (("delete", "/acme/box/name"), ""),
        (("discard_changes",), DISCARDED),
    ):
        before = len(machine.log.texts(DEBUG))
        run(machine, *words, prints=output)
        assert machine.log.texts(DEBUG)[before:] == [refused]
