"""vandel-do: commands in, what the shell prints out, and a status that tells."""

import os
import stat
import subprocess
import tempfile
from xml.etree import ElementTree

import pytest
from support import tarnd as daemon
from support import vandel_do
from support.example import BASE, EXAMPLE, edit_config, invoke, printed_no_data, printed_ok
from support.shell import BASE_NS, BUILD
from support.vandel_do import script

EVENT = daemon.notification("<event/>")
REFUSED = "<rpc-error><error-tag>invalid-value</error-tag></rpc-error>"
PRINTED_REFUSED = (
    f'\r\n<rpc-reply xmlns="{BASE}" message-id="1">\n'
    "  <rpc-error>\n    <error-tag>\n      invalid-value\n    </error-tag>\n  </rpc-error>\n"
    "</rpc-reply>\n"
)
UNKNOWN = "bogus: no such command, type 'help' for more information.\n"
NOT_FOUND = f"error parameter: bogus\r\n{UNKNOWN}"


@pytest.fixture(name="device")
def fixture_device(machine):
    machine.load(EXAMPLE)
    return machine


def refuse_edits(request):
    return request.reply(REFUSED) if "<edit-config>" in request.text else None


def check(result, status, stdout, stderr=""):
    assert (result.stderr.decode(), result.stdout.decode(), result.status) == (
        stderr, stdout, status)  # fmt: skip


def test_one_command_from_words(device):
    check(vandel_do.run(device, "get", "/acme/box"), 0, printed_no_data())


def test_words_are_joined_as_the_shell_joins_them(device):
    result = vandel_do.run(device, "--dry-run", "-c", "set /acme/box/name 'a  b'", "-c", "commit")
    check(result, 0, '<box xmlns="urn:acme"><name>a  b</name></box>\n')
    check(
        vandel_do.run(device, "help", "pwd"), 0, "  pwd             Print the current workspace. \n"
    )


def test_options_of_a_command_are_not_those_of_vandel_do(device):
    check(vandel_do.run(device, "get-config", "-r", "/acme/box"), 0, printed_no_data())


def test_commands_share_one_shell(device):
    result = vandel_do.run(device, "-c", "cd acme", "-c", "cd box", "-c", "pwd")
    check(result, 0, "/acme/box\r\n")
    assert len(device.tarnd.sessions) == 1


def test_an_empty_command_does_nothing(device):
    check(vandel_do.run(device, "-c", "", "-c", " \v", "-c", "pwd"), 0, "/\r\n")


def test_a_script(device):
    lines = script(
        "# how it is", "", "  cd acme", "\t# indented", "set box/name x\r", "commit", "   "
    )
    check(vandel_do.run(device, given=lines), 0, printed_ok())
    body = '<box xmlns="urn:acme">\r\n<name>x</name>\r\n</box>\r\n'
    assert [text.replace("\r\n", "") for text in device.tarnd.requests] == [
        edit_config(body).replace("\r\n", "")
    ]


@pytest.mark.parametrize("code", b"\1\2\3\v\f\16")
def test_what_the_shell_takes_for_punctuation(device, code):
    """A key of x, 12, /../../port, 11 and id=y would lead to the port y in the step after."""
    line = b"set /acme/box/name a%cb" % code
    result = vandel_do.run(device, "-k", given=line + b"\npwd\n")
    errors = "vandel-do: line 1: set /acme/box/name ...: the shell has refused it\n"
    check(result, 2, "/\r\n", errors)


def test_a_file(device):
    with open(device.path("lines"), "wb") as file:
        file.write(b"cd acme\npwd")
    check(vandel_do.run(device, "-f", "/tmp/lines"), 0, "/acme\r\n")
    check(vandel_do.run(device, "-f", "-", given=b"pwd"), 0, "/\r\n")


def test_a_hash_is_no_comment_among_arguments(device):
    text = "error parameter: #\r\n#: no such command, type 'help' for more information.\n"
    check(vandel_do.run(device, "#"), 2, text, "vandel-do: #: the shell has refused it\n")


def test_the_end_of_the_shell_ends_the_run(device):
    check(vandel_do.run(device, given=script("pwd", "quit", "bogus")), 0, "/\r\n")


def test_what_is_staged_at_the_end_is_told(device):
    lines = script(
        "set /acme/box/name x", "set /acme/box/size 3", "cd acme", "reset", "set delay 5"
    )
    told = "vandel-do: {} not sent\n"
    check(vandel_do.run(device, given=lines), 0, "", told.format("3 staged changes were"))
    lines = script("set /acme/box/name x", "commit", "delete /acme/box/name", "quit")
    check(vandel_do.run(device, given=lines), 0, printed_ok(), told.format("1 staged change was"))
    lines = script("set /acme/box/name x", "discard_changes")
    text = "The discard_changes command executed successfuly!\n"
    check(vandel_do.run(device, given=lines), 0, text)


def test_a_command_that_the_device_refuses(device):
    device.tarnd.on_request = refuse_edits
    result = vandel_do.run(device, given=script("set /acme/box/name x", "commit", "pwd"))
    check(result, 1, PRINTED_REFUSED, "vandel-do: line 2: commit: the device has refused it\n")


def test_a_command_that_the_shell_refuses(device):
    result = vandel_do.run(device, given=script("", "bogus", "pwd"))
    check(result, 2, NOT_FOUND, "vandel-do: line 2: bogus: the shell has refused it\n")


@pytest.mark.parametrize("length", [65_000, 66_000, 200_000])
@pytest.mark.parametrize(
    "command, message",
    [
        ("cd {}", "error parameter: {}\r\n"),
        ("get-config -l /{}", "/{} not exist in local configuration buffer \r\n"),
        ("{}", "error parameter: {0}\r\n{0}: no such command, type 'help' for more information.\n"),
    ],
)
def test_a_refusal_of_any_length(device, length, command, message):
    """The lines after it may be meant for another place."""
    name = "x" * length
    result = vandel_do.run(device, given=script(command.format(name), "pwd"))
    assert (result.stdout.decode(), result.status) == (message.format(name), 2)


@pytest.mark.parametrize("path", ["<x", "<x>", "<x/><x>"])
def test_a_refusal_that_begins_as_xml_does(device, path):
    message = f"{path} not exist in local configuration buffer \r\n"
    error = "vandel-do: get-config -l ...: the shell has refused it\n"
    check(vandel_do.run(device, f"get-config -l {path}"), 2, message, error)


@pytest.mark.parametrize(
    "command, shown",
    [
        ("/acme/reset now", "/acme/reset now"),
        ("export-config running /dev/null", "export-config running ..."),
    ],
)
def test_a_command_that_only_the_log_tells_of_is_not_done(device, command, shown):
    """The lines after it would go to another place, or nobody would have the export."""
    result = vandel_do.run(device, given=script(command, "pwd"))
    check(result, 2, "", f"vandel-do: line 1: {shown}: the shell has refused it\n")
    assert device.tarnd.requests == []


def test_an_entry_that_is_left_out(device):
    """Or all else would be committed."""
    lines = ("set /acme/box/name x", "cd acme", "cd box", "cd port")
    lines = script(*lines, "add-listentry id a", "add-listentry id a]/5", "commit")
    error = (
        "vandel-do: line 6: add-listentry id ...: the shell has refused it\n"
        "vandel-do: 2 staged changes were not sent\n"
    )
    check(vandel_do.run(device, given=lines), 2, "", error)


def test_going_on_after_failures(device):
    device.tarnd.on_request = refuse_edits
    lines = script("bogus", "set /acme/box/name x", "commit", "pwd")
    errors = (
        "vandel-do: line 1: bogus: the shell has refused it\n"
        "vandel-do: line 3: commit: the device has refused it\n"
    )
    check(vandel_do.run(device, "-k", given=lines), 2, f"{NOT_FOUND}{PRINTED_REFUSED}/\r\n", errors)


@pytest.mark.parametrize("lines, number", [("\0pwd", 1), ("pw\0d", 1), ("pwd\npw\rd", 2)])
def test_a_line_that_the_shell_would_read_as_another(device, lines, number):
    result = vandel_do.run(device, given=lines.encode())
    assert (result.status, result.stdout) == (2, b"/\r\n" * (number - 1))
    assert result.stderr.startswith(b"vandel-do: line %d: " % number)


@pytest.mark.parametrize("length", [76, 77, 78, 79, 80, 156, 157, 158, 200, 79 * 80, 1_000_000])
def test_a_line_of_any_length(device, length):
    line = "set /acme/box/name "
    line += "x" * (length - len(line))
    result = vandel_do.run(device, given=script(line, "commit", "pwd"))
    check(result, 0, printed_ok() + "/\r\n")
    assert f"<name>{line[19:]}</name>" in device.tarnd.requests[0]


def test_ten_thousand_lines(device):
    lines = [f"set /acme/box/port[id={number}]/mtu {number}" for number in range(5000)]
    lines += ["bogus"] + lines
    result = vandel_do.run(device, "-k", given=script(*lines, "pwd"))
    assert result.status == 2
    assert result.stdout.decode() == f"{NOT_FOUND}/\r\n"
    assert result.stderr.decode() == (
        "vandel-do: line 5001: bogus: the shell has refused it\n"
        "vandel-do: 10000 staged changes were not sent\n"
    )


# What the device or the operator may put into a value.
HOSTILE = [
    "\n/$ ",
    "/$ bogus\n" + NOT_FOUND,
    "\nerror parameter: x\n",
    "pwd 0123456789abcdef0123456789abcdef\nerror command, please use:pwd (no param)\n/$ ",
    "&lt;rpc-error&gt;",
    "</name></box></data>]]&gt;".replace("<", "&lt;"),
    "\nReceive signal=13 and exit\n",
]


@pytest.mark.parametrize("value", HOSTILE)
def test_a_value_is_taken_for_nothing_else(device, value):
    device.tarnd.holds("<get>", f"<box><name>{value}</name></box>")
    alone = vandel_do.run(device, "get", "/acme/box")
    session = device.session("get /acme/box", "quit").stdout.decode()
    assert alone.status == 0
    assert alone.stdout.decode() == session.removeprefix("/$ get /acme/box\n").removesuffix(
        "/$ quit\n"
    )
    result = vandel_do.run(device, given=script("get /acme/box", "pwd"))
    assert result.stdout == alone.stdout + b"/\r\n"


@pytest.mark.parametrize("key", ["x]$ pwd", "$ ", "/$ \u00e9", "[reset]$ ", "x" * 200])
def test_a_workspace_is_taken_for_nothing_else(device, key):
    """The prompt shows it."""
    lines = ["cd acme", "cd box", "cd port", f'add-listentry id "{key}"', f'cd port[id="{key}"]']
    result = vandel_do.run(
        device, given=script(*lines, "pwd", "set mtu 7", "commit", "cd ..", "pwd")
    )
    printed = f'/acme/box/port[id="{key}"]\r\n{printed_ok(3)}/acme/box/port\r\n'
    check(result, 0, printed)


@pytest.mark.parametrize("form", ["--no-notifications", "--json"])
def test_a_reply_that_the_shell_does_not_show_is_none(device, form):
    """It says nothing where it has no memory for one. This one loses what it says."""
    forgetful = device.path("forgetful")
    with open(forgetful, "x", encoding="ascii") as file:
        file.write("#!/bin/bash\nexec " + vandel_do.SHELL + " > >(sed -u '/^\\r$/d;/^ *<.*>$/d')\n")
    os.chmod(forgetful, 0o700)
    result = vandel_do.run(device, form, "get", "/acme/box", vandel="/tmp/forgetful")
    errors = (
        "vandel-do: the shell has not shown the reply\n"
        "vandel-do: get /acme/box: the device or the database cannot be reached\n"
    )
    check(result, 3, "", errors)


def test_an_element_in_the_data_is_no_error(device):
    device.tarnd.holds("<get>", f"<box>{REFUSED}</box>{REFUSED}")
    assert vandel_do.run(device, "get", "/acme/box").status == 0


def test_the_prefix_of_an_error_does_not_matter(device):
    error = f'<nc:rpc-reply xmlns:nc="{BASE}"><nc:rpc-error/></nc:rpc-reply>'
    device.tarnd.on_request = lambda request: error
    assert vandel_do.run(device, "get", "/acme/box").status == 1


def test_a_reply_that_is_no_xml_is_an_error(device):
    device.tarnd.on_request = lambda request: "<rpc-reply><ok/>"
    result = vandel_do.run(device, "save")
    assert result.status == 1
    assert result.stdout == b"\r\n<rpc-reply>\n  <ok/>\n"


def test_a_reply_in_an_encoding_that_nobody_knows_is_no_xml(device):
    text = '<?xml version="1.0" encoding="foo"?><rpc-reply><ok/></rpc-reply>'
    device.tarnd.on_request = lambda request: text
    result = vandel_do.run(device, "save")
    assert result.status == 1
    assert result.stderr.startswith(b"vandel-do: the reply is no XML\n")


@pytest.mark.parametrize("key", ["error parameter: x", "\nerror parameter: x\n"])
def test_the_name_of_an_entry_is_no_message(device, key):
    entry = f"<port><id>{key}</id></port>"
    device.tarnd.holds("<port", f'<box xmlns="urn:acme">{entry}</box>')
    result = vandel_do.run(device, given=script("cd acme", "cd box", "cd port", "ls"))
    shown = key.replace("\n", "?")
    assert f'port[id="{shown}"]' in result.stdout.decode()
    assert (result.status, result.stderr) == (0, b"")


def test_a_staged_value_is_no_message(device):
    value = "'x: no such command, type \"help\"'"
    lines = script(f"set /acme/box/name {value}", "get-config -l", "discard_changes")
    assert vandel_do.run(device, given=lines).status == 0


def test_an_error_of_a_look_up_is_not_the_command_s(device):
    """What the shell asks for itself, and shows nothing of."""
    device.tarnd.on_request = lambda request: request.reply(REFUSED)
    result = vandel_do.run(device, given=script("cd acme", "cd box", "cd port", "ls", "pwd"))
    check(result, 0, "/acme/box/port\r\n")
    assert device.tarnd.requests


def test_an_export_that_the_device_refuses(device):
    device.tarnd.on_request = lambda request: request.reply(REFUSED)
    text = "no config data to export.\r\nwrite config file fail.\r\nexport config fail.\r\n"
    error = "vandel-do: export-config running ...: the device has refused it\n"
    check(vandel_do.run(device, "export-config", "running", "/tmp/x"), 1, text, error)


def test_an_export_of_nothing_succeeds(device):
    text = "no config data to export.\r\nThe export-config command executed successfuly! "
    check(vandel_do.run(device, "export-config", "running", "/tmp/x"), 0, text)


def announce(request):
    return [EVENT, EVENT, request.data(), EVENT] if "<get>" in request.text else None


def test_notifications_go_to_standard_error(device):
    device.tarnd.on_request = announce
    lines = script("get /acme/box", "get /acme/box")
    printed = printed_no_data() + printed_no_data(2)
    result = vandel_do.run(device, given=lines)
    assert (result.status, result.stdout.decode()) == (0, printed)
    # The last one may come when vandel-do has left.
    assert result.stderr.decode() in (f"{EVENT}\n" * 5, f"{EVENT}\n" * 6)


def test_a_notification_cannot_steer_the_terminal(device):
    event = EVENT.replace("<event/>", "\x1b]0;x\x07\n\t\u009b2J\u202e\u00e9")
    device.tarnd.on_request = lambda request: [event, request.data()]
    result = vandel_do.run(device, "get", "/acme/box")
    # A reader of XML stops at such a character, but the name is known by then.
    assert result.stderr.decode() == EVENT.replace("<event/>", "?]0;x?\n\t?2J?\u00e9") + "\n"


def test_notifications_are_left_out(device):
    device.tarnd.on_request = announce
    result = vandel_do.run(device, "--no-notifications", "get", "/acme/box")
    check(result, 0, printed_no_data())


def test_replies_as_xml(device):
    device.tarnd.holds("<get>", "<box><name>&lt;x&gt;\ny</name></box>")
    lines = script("cd acme", "pwd", "get box", "set box/name x", "commit")
    reply = '<rpc-reply xmlns="{}" message-id="{}">{}</rpc-reply>\n'
    box = "<data><box><name>&lt;x&gt;\ny</name></box></data>"
    printed = reply.format(BASE, 1, box) + reply.format(BASE, 2, "<ok/>")
    check(vandel_do.run(device, "--xml", given=lines), 0, printed, "/acme\r\n")


def test_replies_as_json(device):
    box = (
        '<box xmlns="urn:acme"><name>&lt;x&gt;\n"\u00e9</name><tag>1</tag><tag/>'
        '<port><id>7</id></port><x:name xmlns:x="urn:x" at="1">y</x:name></box>'
    )
    device.tarnd.holds("<get>", box)
    device.tarnd.on_request = refuse_edits
    lines = script("get /acme/box", "save", "set /acme/box/name x", "commit")
    printed = (
        '{"data": [{"box": [{"name": ["<x>\\n\\"\u00e9", "y"], "tag": ["1", ""],'
        ' "port": [{"id": ["7"]}]}]}]}\n'
        '{"ok": [""]}\n'
        '{"rpc-error": [{"error-tag": ["invalid-value"]}]}\n'
    )
    error = "vandel-do: line 4: commit: the device has refused it\n"
    check(vandel_do.run(device, "--json", given=lines), 1, printed, error)


def test_json_steers_no_terminal(device):
    device.tarnd.holds("<get>", "<name>&#x9b;2J\u0085&#x7f;&#x202e;&amp;</name>")
    printed = '{"data": [{"name": ["\\u009b2J\\u0085\\u007f\\u202e&"]}]}\n'
    check(vandel_do.run(device, "--json", "get", "/acme/box"), 0, printed, "")


@pytest.mark.parametrize("form", ["--json", "--xml"])
def test_an_answer_that_is_no_document_steers_no_terminal(device, form):
    device.tarnd.on_request = lambda request: "<a>\x1b[2J\u009b2J\r&#13;\u00e9</a>"
    errors = (
        "vandel-do: the reply is no XML\n\r\n<a>\n  ?[2J?2J??\u00e9\n</a>\n"
        "vandel-do: get /acme/box: the device has refused it\n"
    )
    check(vandel_do.run(device, form, "get", "/acme/box"), 1, "", errors)


@pytest.mark.parametrize("form", ["--json", "--xml"])
def test_texts_of_the_shell_are_kept_from_documents(device, form):
    errors = NOT_FOUND + "vandel-do: bogus: the shell has refused it\n"
    check(vandel_do.run(device, form, "bogus"), 2, "", errors)


def nested(depth):
    return "<a>" * depth + "</a>" * depth


def test_how_deep_a_reply_may_be(device):
    device.tarnd.on_request = lambda request: f"<rpc-reply>{nested(255)}</rpc-reply>"
    assert vandel_do.run(device, "--json", "get", "/acme/box").status == 0
    device.tarnd.on_request = lambda request: f"<rpc-reply>{nested(300)}</rpc-reply>"
    result = vandel_do.run(device, "--json", "get", "/acme/box")
    errors = "vandel-do: the reply is no XML\n"
    assert (result.status, result.stdout) == (1, b"")
    assert result.stderr.decode().startswith(f"{errors}\r\n<rpc-reply>\n")


def test_a_dry_run_shows_and_changes_nothing(device):
    lines = script(
        "set /acme/box/name x", "commit", "set /acme/box/size 3", "commit", "get-config -l"
    )
    printed = (
        '<box xmlns="urn:acme"><name>x</name></box>\n<box xmlns="urn:acme"><size>3</size></box>\n'
    )
    check(vandel_do.run(device, "--dry-run", given=lines), 0, printed)
    assert device.tarnd.requests == []


def test_a_dry_run_shows_the_request_as_xml(device):
    """In which no value can end its element, as it can in what the shell shows."""
    given = script("set /acme/box/name a</name>&", "commit", "commit")
    result = vandel_do.run(device, "--dry-run", "--xml", "-k", given=given)
    value = b'<box xmlns="urn:acme"><name>a&lt;/name&gt;&amp;</name></box>'
    assert (result.status, result.stdout.count(value)) == (2, 1)
    assert ElementTree.fromstring(result.stdout)[0].tag == f"{{{BASE_NS}}}edit-config"
    assert b"There is no configuration data." in result.stderr
    assert device.tarnd.requests == []


def test_a_dry_run_of_an_rpc(device):
    lines = script("cd acme", "reset", "set delay 5", "commit", "pwd")
    expected = '<reset xmlns="urn:acme"><delay>5</delay></reset>\n/acme\r\n'
    check(vandel_do.run(device, "--dry-run", given=lines), 0, expected)
    assert device.tarnd.requests == []


def test_a_dry_run_of_nothing_is_refused_as_the_commit_would_be(device):
    text = "There is no configuration data. \r\n"
    error = "vandel-do: commit: the shell has refused it\n"
    check(vandel_do.run(device, "--dry-run", "commit"), 2, text, error)


@pytest.mark.parametrize(
    "command",
    ["save", "copy-config running startup", "delete-config", "import-config /tmp/x running",
     "export-config running /tmp/x"],
)  # fmt: skip
def test_a_dry_run_leaves_out_what_changes_something(device, command):
    result = vandel_do.run(device, "--dry-run", command)
    assert (result.status, result.stdout) == (0, b"")
    assert result.stderr.endswith(b": not done, this is a dry run\n")
    assert device.tarnd.requests == []
    assert not os.path.exists(device.path("x"))


def saved(device):
    with open(device.path("saved"), encoding="utf-8") as file:
        return file.read()


def test_the_lines_of_a_refused_commit_are_kept(device):
    device.tarnd.on_request = refuse_edits
    lines = (
        "cd acme",
        "set hostname h",
        "cd box",
        "set name 'a b'",
        "delete tag x",
        "pwd",
        "bogus",
    )
    given = script(*lines, "commit", "set size 3", "commit")
    result = vandel_do.run(device, "-k", "--save-edits", "/tmp/saved", given=given)
    assert b"\nvandel-do: the lines of this commit are in /tmp/saved\n" in result.stderr
    assert saved(device) == (
        "# line 8: the device has refused it\n"
        "cd /\ncd acme\nset hostname h\ncd box\nset name 'a b'\ndelete tag x\ncommit\n"
        "# line 10: the device has refused it\n"
        "cd /\ncd acme\ncd box\nset size 3\ncommit\n"
    )
    assert stat.S_IMODE(os.stat(device.path("saved")).st_mode) == 0o600


def test_what_was_kept_repeats_the_commit(device):
    device.tarnd.on_request = refuse_edits
    lines = script(
        "cd acme", "cd box", "cd port", "add-listentry id 7", "cd port[id=7]", "set mtu 9", "commit"
    )
    assert vandel_do.run(device, "--save-edits", "/tmp/saved", given=lines).status == 1
    device.tarnd.on_request = None
    check(vandel_do.run(device, "-f", "/tmp/saved"), 0, printed_ok(3))
    edits = [text for text in device.tarnd.requests if "<edit-config>" in text]
    assert len(edits) == 2 and edits[0] == edits[1]


def test_the_lines_of_a_refused_rpc_are_kept(device):
    device.tarnd.on_request = lambda request: request.reply(REFUSED)
    lines = script(
        "set /acme/hostname h", "cd acme", "ping", "quit", "/acme/reset", "set delay 5", "cd how",
        "set mode m", "commit",
    )  # fmt: skip
    result = vandel_do.run(device, "--save-edits", "/tmp/saved", given=lines)
    assert result.status == 1
    assert saved(device) == (
        "# line 9: the device has refused it\n"
        "cd /\nset /acme/hostname h\ncd acme\nping\nquit\n"
        "/acme/reset\nset delay 5\ncd how\nset mode m\ncommit\n"
    )


def test_a_commit_that_succeeds_leaves_no_file(device):
    lines = script("set /acme/box/name x", "commit")
    assert vandel_do.run(device, "--save-edits", "/tmp/saved", given=lines).status == 0
    assert not os.path.lexists(device.path("saved"))


def make_file(path):
    with open(path, "x", encoding="ascii"):
        pass


def make_link(path):
    os.symlink("gone", path)


@pytest.mark.parametrize("make", [make_file, make_link])
def test_a_file_that_is_there_is_not_written(device, make):
    make(device.path("saved"))
    result = vandel_do.run(device, "--save-edits", "/tmp/saved", "save")
    check(result, 64, "", "vandel-do: /tmp/saved: exists, and is not written over\n")
    assert device.tarnd.requests == []


def test_a_value_is_not_shown_when_it_is_refused(device):
    result = vandel_do.run(device, given=script("set /acme/box/name hunter2 hunter2"))
    text = "error command, please use:set path [value]\r\n"
    error = "vandel-do: line 1: set /acme/box/name ...: the shell has refused it\n"
    check(result, 2, text, error)


def test_an_error_cannot_steer_the_terminal(device):
    result = vandel_do.run(device, given=b"\x1b[2J\n")
    assert result.stderr == b"vandel-do: line 1: ?[2J: the shell has refused it\n"


@pytest.mark.parametrize(
    "arguments, error",
    [
        (["--nothing"], "option --nothing not recognized"),
        (["-c"], "option -c requires argument"),
        (["--timeout", "0", "pwd"], "--timeout 0: not a number of seconds above 0"),
        (["--timeout", "nan", "pwd"], "--timeout nan: not a number of seconds above 0"),
        (["--json", "--xml", "pwd"], "--json and --xml exclude each other"),
        (["-c", "pwd", "ls"], "give commands with -c, or a file with -f, or one command"),
        (["-f", "/x", "ls"], "give commands with -c, or a file with -f, or one command"),
        (["-c", "pwd\nls"], "-c takes one command: use -c again, or a file"),
        (["-f", "/gone"], "/gone: No such file or directory"),
        (["--vandel", "/gone", "pwd"], "/gone: there is no such program"),
    ],
)
def test_a_call_that_makes_no_sense(device, arguments, error):
    check(vandel_do.run(device, *arguments), 64, "", f"vandel-do: {error}\n")
    assert device.tarnd.sessions == []


def test_an_rpc(device):
    result = vandel_do.run(device, given=script("/acme/reset", "set delay 5", "commit"))
    check(result, 0, printed_ok())
    body = '<reset xmlns="urn:acme"><delay>5</delay></reset>'
    assert device.tarnd.requests == [invoke(body)]


def test_the_installed_one_runs_from_its_place(device):
    with tempfile.TemporaryDirectory(dir=device.path()) as place:
        install = ["cmake", "--install", BUILD, "--prefix", place]
        subprocess.run(install, check=True, capture_output=True)
        program = os.path.join("/tmp", os.path.basename(place), "bin", "vandel-do")
        shell = device.start_command(device.command(program, "pwd"))
        check(shell.wait(), 0, "/\r\n")
        assert not [names for _, names, _ in os.walk(place) if "__pycache__" in names]
