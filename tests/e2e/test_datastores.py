"""copy-config, delete-config, save, export-config and import-config."""

import os

import pytest
from support.example import BASE
from support.messages import EXPORTED
from support.schema_db import Schema, container, leaf, module
from support.shell import DEBUG, ERROR
from support.tarnd import close, rpc_reply

pytestmark = pytest.mark.usefixtures("example")


def copy(target, source, message_id=1):
    return (
        f'<rpc xmlns="{BASE}" message-id="{message_id}">\r\n'
        "  <copy-config>\r\n"
        "    <target>\r\n"
        f"      <{target}/>\r\n"
        "    </target>\r\n"
        "    <source>\r\n"
        f"{source}"
        "    </source>\r\n"
        "  </copy-config>\r\n"
        "</rpc>\r\n"
    )


def reply(inner, message_id=1):
    return f'<rpc-reply xmlns="{BASE}" message-id="{message_id}">\n{inner}</rpc-reply>\n'


OK = reply("  <ok/>\n  ")


@pytest.mark.parametrize(
    "source, target",
    [
        (source, target)
        for source in ("running", "startup", "candidate")
        for target in ("running", "startup", "candidate")
        if source != target
    ],
)
def test_copy_config(machine, source, target):
    machine.dialogue(("/$ ", f"copy-config {source} {target}", OK))
    assert machine.tarnd.requests == [copy(target, f"      <{source}/>\r\n")]
    assert (DEBUG, f"[DEBUG] source: {source}\n\n") in machine.log.texts(DEBUG)
    assert (DEBUG, f"[DEBUG] target: {target}\n\n") in machine.log.texts(DEBUG)


def config(inner):
    return f"      <config>\r\n{inner}      </config>\r\n"


@pytest.mark.parametrize("target", ["running", "startup", "candidate"])
def test_copy_of_what_is_staged(machine, target):
    machine.dialogue(
        ("/$ ", "set /acme/box/port[id=eth0/1]/mtu 9", ""),
        ("/$ ", f"copy-config config {target}", OK),
        ("/$ ", "get-config -l", ""),
        ("/$ ", "commit", "There is no configuration data. \r\n"),
    )
    body = '<box xmlns="urn:acme"><port><id>eth0/1</id><mtu>9</mtu></port></box>'
    assert machine.tarnd.requests == [copy(target, config(body))]


def test_what_is_staged_is_dropped_though_the_server_refuses(machine):
    machine.tarnd.on_request = lambda request: request.reply("<rpc-error/>")
    machine.dialogue(
        ("/$ ", "set /acme/box/name a", ""),
        ("/$ ", "copy-config config running", reply("  <rpc-error/>\n  ")),
        ("/$ ", "commit", "There is no configuration data. \r\n"),
    )


def test_copy_of_nothing_staged(machine):
    machine.dialogue(("/$ ", "copy-config config startup", OK))
    assert machine.tarnd.requests == [copy("startup", config(""))]


def test_copy_takes_the_configuration_in_rpc_mode_too(machine):
    machine.dialogue(
        ("/$ ", "set /acme/box/name a", ""),
        ("/$ ", "/acme/reset", ""),
        ("\n[reset]$ ", "set delay 5", ""),
        ("\n[reset]$ ", "copy-config config startup", OK),
        ("\n[reset]$ ", "get-config -l", '<reset xmlns="urn:acme"><delay>5</delay></reset>\n'),
        (
            "\n[reset]$ ",
            "quit",
            "The discard_changes command executed successfuly!\n",
        ),
        end="\n/acme$ ",
    )
    assert machine.tarnd.requests == [
        copy("startup", config('<box xmlns="urn:acme"><name>a</name></box>'))
    ]


def test_copy_forgets_the_added_entries(machine):
    machine.dialogue(
        ("/$ ", "cd acme", ""),
        ("\n/acme$ ", "cd box", ""),
        ("\n/acme/box$ ", "cd port", ""),
        ("\n/acme/box/port$ ", "add-listentry id a", ""),
        ("\n/acme/box/port$ ", "copy-config config startup", reply("  <ok/>\n  ", 2)),
        ("\n/acme/box/port$ ", "add-listentry id a", ""),
    )


def test_a_tree_that_cannot_be_written_is_kept(machine):
    machine.load(Schema(module("acme", "urn:acme", container("box", leaf("nowhere:x")))))
    refused = ("/$ ", "copy-config config running", "")
    machine.dialogue(("/$ ", "set /acme/box/nowhere:x 1", ""), refused, refused)
    assert machine.tarnd.requests == []
    logged = [
        (ERROR, "[ERROR] cmdtree to netconf error \r\n\n"),
        (ERROR, "[ERROR] fill target fail.\r\n\n"),
    ]
    assert machine.log.texts(ERROR) == logged * 2


COPY_USAGE = "please input : copy-config source target\r\n"
BAD_SOURCE = "Please input correct source database (startup | running | candidate | config).\r\n"
BAD_TARGET = "Please input correct target database (startup | running | candidate).\r\n"
SAME = "target and source can't be same.\r\n"
COPY_REFUSALS = [
    ("copy-config", COPY_USAGE),
    ("copy-config running", COPY_USAGE),
    ("copy-config running startup x", COPY_USAGE),
    ("copy-config http://h/f running", BAD_SOURCE),
    ("copy-config Running startup", BAD_SOURCE),
    ("copy-config 'running' startup", BAD_SOURCE),
    ("copy-config x x", BAD_SOURCE),
    ("copy-config running config", BAD_TARGET),
    ("copy-config config config", BAD_TARGET),
    ("copy-config running http://h/f", BAD_TARGET),
    ("copy-config running running", SAME),
    ("copy-config startup startup", SAME),
    ("copy-config candidate candidate", SAME),
]


@pytest.mark.parametrize("line, message", COPY_REFUSALS)
def test_copy_refusals(machine, line, message):
    machine.dialogue(("/$ ", line, message))
    assert machine.tarnd.requests == []


def test_delete_config(machine):
    machine.dialogue(("/$ ", "delete-config", "\r\n" + OK))
    request = (
        f'<rpc xmlns="{BASE}" message-id="1">\r\n'
        "  <delete-config>\r\n"
        "    <target>\r\n"
        "      <startup/>\r\n"
        "    </target>\r\n"
        "  </delete-config>\r\n"
        "</rpc>\r\n"
    )
    assert machine.tarnd.frames[1].body == request.encode()  # and no zero byte


def test_save(machine):
    machine.tarnd.on_request = lambda request: rpc_reply("<ok/>", "1")
    machine.dialogue(("/$ ", "save", "\r\n" + OK))
    request = (
        f'<rpc xmlns ="{BASE}" message-id ="1">\r\n'
        "  <copy-config>\r\n"
        "    <target>\r\n"
        "      <startup/>\r\n"
        "    </target>\r\n"
        "    <error-option>rollback-on-error</error-option>\r\n"
        "    <source>\r\n"
        "      <running/>\r\n"
        "    </source>\r\n"
        "  </copy-config>\r\n"
        "</rpc>\r\n"
    )
    assert machine.tarnd.frames[1].body == request.encode() + b"\0"


EXPORT_USAGE = "please input : export-config source dir(file path)\r\n"
EXPORT_SOURCE = "input source is error,should be running or startup.\r\n"
IMPORT_USAGE = "please input : import-config file target\r\n"
IMPORT_TARGET = "input target is error,should be running or startup.\r\n"
USAGES = [
    ("save now", "error command, please use:save (no param)\r\n"),
    ("delete-config startup", "error command, please use:delete-config\r\n "),
    ("export-config", EXPORT_USAGE),
    ("export-config running", EXPORT_USAGE),
    ("export-config running /tmp/a b", EXPORT_USAGE),
    ("export-config candidate /tmp/a", EXPORT_SOURCE),
    ("export-config config /tmp/a", EXPORT_SOURCE),
    ("import-config", IMPORT_USAGE),
    ("import-config /tmp/a", IMPORT_USAGE),
    ("import-config a b c", IMPORT_USAGE),
    ("import-config /tmp/a candidate", IMPORT_TARGET),
    ("import-config /tmp/none running", "can't get file infomation.\r\n"),
    ("import-config /tmp running", "can't find the file \r\n"),
    ("export-config running /tmp/no/such", "Opening output file failed."),
    ("export-config running /tmp", "Opening output file failed."),
]


@pytest.mark.parametrize("line, message", USAGES)
def test_refusals(machine, line, message):
    machine.dialogue(("/$ ", line, message))
    assert machine.tarnd.requests == []


SILENCES = [
    ("copy-config running startup", "get reply message fail.\r\n"),
    ("delete-config", ""),
    ("save", "Get the reply message of save command is fail! "),
    ("export-config running /tmp/out", "export config fail.\r\n"),
]


@pytest.mark.parametrize("line, message", SILENCES)
def test_a_server_that_goes_away(machine, line, message):
    machine.tarnd.on_request = lambda request: close
    machine.dialogue(("/$ ", line, message))


def exported(machine, data, source="running"):
    """What export-config prints when the server's reply holds this text."""
    machine.tarnd.on_request = lambda request: request.reply(data)
    shell = machine.session(f"export-config {source} /tmp/out", "quit")
    assert shell.status == 0
    prompt, rest = shell.stdout.decode().split("/tmp/out\n", 1)
    assert prompt == f"/$ export-config {source} "
    assert rest.endswith("/$ quit\n")
    return rest.removesuffix("/$ quit\n")


def content(machine, name="out"):
    with open(machine.path(name), encoding="utf-8") as file:
        return file.read()


@pytest.mark.parametrize("source", ["running", "startup"])
def test_export(machine, source):
    data = "<data><a>1</a><b><data>2</data></b></data>"
    assert exported(machine, data, source) == EXPORTED
    assert content(machine) == "<?xml version='1.0' encoding='UTF-8'?>" + data
    assert machine.tarnd.requests == [
        f'<rpc xmlns="{BASE}" message-id="1">\r\n'
        "  <get-config>\r\n"
        "    <source>\r\n"
        f"      <{source}/>\r\n"
        "    </source>\r\n"
        "  </get-config>\r\n"
        "</rpc>\r\n"
    ]


def test_export_replaces_a_file(machine):
    with open(machine.path("out"), "w", encoding="ascii") as file:
        file.write("x" * 1000)
    assert exported(machine, "<data><a/></data>") == EXPORTED
    assert content(machine) == "<?xml version='1.0' encoding='UTF-8'?><data><a/></data>"


def test_export_of_an_empty_datastore_leaves_no_file(machine):
    with open(machine.path("out"), "w", encoding="ascii") as file:
        file.write("old")
    assert exported(machine, "<data></data>") == "no config data to export.\r\n" + EXPORTED
    assert not os.path.exists(machine.path("out"))


NO_DATA = "no config data to export.\r\nwrite config file fail.\r\nexport config fail.\r\n"


@pytest.mark.parametrize(
    "data", ["<data/>", "<ok/>", "<data>", "</data><data>", "<data x=''></data>"]
)
def test_export_without_data(machine, data):
    assert exported(machine, data) == NO_DATA
    assert not os.path.exists(machine.path("out"))


def test_export_through_a_symbolic_link_replaces_the_link(machine):
    with open(machine.path("kept"), "w", encoding="ascii") as file:
        file.write("kept")
    os.symlink("kept", machine.path("out"))
    assert exported(machine, "<data>1</data>") == EXPORTED
    assert content(machine, "kept") == "kept"
    assert not os.path.islink(machine.path("out"))


FAILED_WRITE = "write config file fail.\r\nexport config fail.\r\n"


def test_export_to_a_path_that_became_a_directory(machine):
    def answer(request):
        os.mkdir(machine.path("out"))
        return request.reply("<data>1</data>")

    machine.tarnd.on_request = answer
    machine.dialogue(("/$ ", "export-config running /tmp/out", FAILED_WRITE))
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] Opening output file failed.\n\n")]
    assert os.path.isdir(machine.path("out"))


@pytest.mark.parametrize("size", [1, 100_000])
def test_export_to_a_full_disk(machine, size):
    """A small file fails when it is closed, a large one when it is written."""
    machine.tarnd.on_request = lambda request: request.reply(f"<data>{'x' * size}</data>")
    no_more_files = "trap '' XFSZ; ulimit -f 0; exec /tmp/.build/vandel \"$@\""
    words = ("export-config", "running", "/tmp/out")
    shell = machine.start_command(machine.command("sh", "-c", no_more_files, "sh", *words))
    assert shell.wait().stdout.decode() == FAILED_WRITE
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] write file fail.\n\n")]
    assert not os.path.lexists(machine.path("out"))


def test_the_old_file_goes_before_the_server_is_asked(machine):
    with open(machine.path("out"), "w", encoding="ascii") as file:
        file.write("old")
    seen = []

    def answer(request):
        seen.append(os.path.lexists(machine.path("out")))
        return close

    machine.tarnd.on_request = answer
    machine.dialogue(("/$ ", "export-config running /tmp/out", "export config fail.\r\n"))
    assert seen == [False]
    assert not os.path.lexists(machine.path("out"))


@pytest.mark.parametrize(
    "line",
    ["copy-config running startup", "delete-config", "save", "export-config running /tmp/out"],
)
def test_a_request_to_a_server_that_has_gone(machine, line):
    """The signal ends the shell before a message about the send can."""
    shell = machine.start()
    shell.send("pwd\n\n")
    shell.expect(b"/$ pwd\n/\r\n/$ ")
    machine.tarnd.wait_session().close()
    shell.send(line + "\n")
    result = shell.wait()
    assert result.status == 1
    expected = f"/$ pwd\n/\r\n/$ \n/$ {line}\n\nReceive signal=13 and exit\n"
    assert result.stdout.decode() == expected


def test_export_to_a_device_is_refused(machine):
    machine.dialogue(("/$ ", "export-config running /dev/null", ""))
    assert machine.tarnd.requests == []
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] export path is not a file.\r\n\n")]


def test_export_to_a_fifo_does_not_wait(machine):
    os.mkfifo(machine.path("fifo"))
    machine.dialogue(("/$ ", "export-config running /tmp/fifo", "Opening output file failed."))


def test_export_to_a_name_with_blanks_keeps_the_quotes(machine):
    machine.tarnd.on_request = lambda request: request.reply("<data>1</data>")
    machine.dialogue(("/$ ", 'export-config running /tmp/"a b"', EXPORTED))
    assert content(machine, '"a b"').endswith("<data>1</data>")


def test_export_to_a_full_device_removes_the_file(machine):
    os.symlink("/dev/full", machine.path("out"))
    machine.dialogue(("/$ ", "export-config running /tmp/out", ""))
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] export path is not a file.\r\n\n")]


def imported(machine, text, target="running"):
    with open(machine.path("in"), "wb") as file:
        file.write(text)
    return machine.session(f"import-config /tmp/in {target}", "quit").stdout.decode()


@pytest.mark.parametrize("target", ["running", "startup"])
def test_import(machine, target):
    text = b"<?xml version='1.0' encoding='UTF-8'?><data><a>x</a><data>y</data>\n</data>rest"
    line = f"/$ import-config /tmp/in {target}\n"
    assert imported(machine, text, target) == line + OK + "/$ quit\n"
    assert machine.tarnd.requests == [copy(target, config("<a>x</a><data>y</data>\n"))]


@pytest.mark.parametrize(
    "text, body",
    [
        (b"<data></data>", ""),
        (b"<data>config</data>", "config"),
        (b"<data>a\0b</data>", "a"),
        (b"</data><data>a</data>", "a"),
        (b"<data>a</data>" + b"\0" * 9000, "a"),
        (b"x" * 4095 + b"<data>" + b"y" * 8192 + b"</data>", "y" * 8192),
    ],
)
def test_what_is_imported(machine, text, body):
    imported(machine, text)
    assert machine.tarnd.requests == [copy("running", config(body))]


def test_import_leaves_what_is_staged(machine):
    with open(machine.path("in"), "wb") as file:
        file.write(b"<data>config</data>")
    local = '<box xmlns="urn:acme"><name>a</name></box>\n'
    machine.dialogue(
        ("/$ ", "set /acme/box/name a", ""),
        ("/$ ", "import-config /tmp/in startup", OK),
        ("/$ ", "get-config -l", local),
    )


@pytest.mark.parametrize(
    "text, message",
    [
        (b"nothing", "the file have no <data>.\r\n"),
        (b"</data>", "the file have no <data>.\r\n"),
        (b"<data>", "the file have no </data>.\r\n"),
        (b"</data><data>", "the file have no </data>.\r\n"),
        # where the file is read page by page, <data> ends one
        (b"x" * (4096 - 6) + b"<data>", "the file have no </data>.\r\n"),
        (b"<" * 8192, "the file have no <data>.\r\n"),
        (b"", "warning:input file is EMPTY."),
    ],
)
def test_files_that_cannot_be_imported(machine, text, message):
    expected = "/$ import-config /tmp/in running\n" + message + "/$ quit\n"
    assert imported(machine, text) == expected
    assert machine.tarnd.requests == []
    empty = [(ERROR, "[ERROR] input file is EMPTY.\n\n")]
    assert machine.log.texts(ERROR) == ([] if text else empty)


IMPORT_LOOKS = [
    # the words are looked at in order: their number, the target, the file
    ("import-config /tmp/none config", "input target is error,should be running or startup.\r\n"),
    ("import-config '/tmp/in' running", "can't get file infomation.\r\n"),
    ("import-config /tmp/in/x running", "can't get file infomation.\r\n"),
    ("import-config /tmp/in 'running'", "input target is error,should be running or startup.\r\n"),
    ("import-config /tmp/dev running", "can't find the file \r\n"),
]


@pytest.mark.parametrize("line, message", IMPORT_LOOKS)
def test_what_import_looks_at(machine, line, message):
    with open(machine.path("in"), "wb") as file:
        file.write(b"<data>1</data>")
    os.mkdir(machine.path("dev"))
    machine.dialogue(("/$ ", line, message))
    assert machine.tarnd.requests == []
    assert machine.log.texts(ERROR, DEBUG) == []


def test_import_of_a_name_with_codes(machine):
    """Codes that were typed are restored in the file's name, quotes are kept."""
    with open(machine.path("'a [b]=,c'"), "wb") as file:
        file.write(b"<data>1</data>")
    machine.dialogue(
        ("/$ ", "import-config /tmp/'a [b]=,c' running", OK),
        ("/$ ", "import-config /tmp/'a\x03\x0bb\x0c=\x0ec' running", reply("  <ok/>\n  ", 2)),
    )
    assert machine.tarnd.requests == [
        copy("running", config("1"), 1),
        copy("running", config("1"), 2),
    ]


def test_import_of_what_is_no_file(machine):
    os.mkfifo(machine.path("fifo"))
    os.symlink("in", machine.path("link"))
    with open(machine.path("in"), "wb") as file:
        file.write(b"<data>1</data>")
    machine.dialogue(
        ("/$ ", "import-config /tmp/fifo running", "can't find the file \r\n"),
        ("/$ ", "import-config /tmp/link running", "can't find the file \r\n"),
    )
