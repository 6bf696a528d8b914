"""What a shell says when the operating system refuses it a file."""

import os

import pytest
from support import valgrind
from support.shell import DEBUG, ERROR

# Standard streams, daemon, log, database and what wakes the listener: there is none left
# for a file.
DESCRIPTORS = 7
UNREADABLE = "/sys/class/net/lo/speed"  # a regular file of 4096 bytes that cannot be read
FRESH = "[pwd]\n/acme\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
TOO_MANY = (DEBUG, "[DEBUG] open /tmp/vandel.conf failed! errno:24\n")
pytestmark = pytest.mark.usefixtures("example")


def write(machine, name, text):
    with open(machine.path(name), "w", encoding="ascii") as file:
        file.write(text)


def run_limited(machine, *arguments):
    """Runs a command of a shell that can open no file once it has started."""
    if valgrind.ENABLED:
        pytest.skip("Valgrind needs descriptors of its own")
    words = machine.vandel(*arguments)
    script = words.index("--") + 1
    words[script:script] = ["/bin/sh", "-c", f'ulimit -n {DESCRIPTORS}; exec "$@"', "sh"]
    result = machine.start_command(words).wait()
    assert (result.status, result.stderr) == (0, b"")
    return result.stdout.decode()


def test_import(machine):
    write(machine, "in", "<data>1</data>")
    assert run_limited(machine, "import-config", "/tmp/in", "running") == ""
    assert machine.log.texts(ERROR, DEBUG) == [(ERROR, "[ERROR] Opening input file failed.\r\n\n")]
    assert machine.tarnd.requests == []


def test_export(machine):
    write(machine, "out", "old")
    printed = run_limited(machine, "export-config", "running", "/tmp/out")
    assert printed == "Opening output file failed."
    assert machine.log.texts(ERROR, DEBUG) == []
    assert machine.tarnd.requests == []
    with open(machine.path("out"), encoding="ascii") as file:
        assert file.read() == "old"


@pytest.mark.parametrize(
    "line, output, log",
    [
        ("pwd", "/\r\n", []),  # the start goes on without the file
        ("set /acme/box/name 1", "add cmd error!\r\n", [TOO_MANY]),
        ("delete /acme/box/name", "", [TOO_MANY]),
        ("discard_changes", "The discard_changes command executed successfuly!\n", [TOO_MANY]),
        ("commit", "There is no configuration data. \r\n", [TOO_MANY]),
    ],
)
def test_a_profile_that_cannot_be_opened(machine, line, output, log):
    write(machine, "vandel.conf", FRESH)
    assert run_limited(machine, *line.split()) == output
    assert machine.log.texts(ERROR, DEBUG) == log
    with open(machine.profile, encoding="ascii") as file:
        assert file.read() == FRESH


def test_a_profile_that_cannot_be_made(machine):
    assert run_limited(machine, "set", "/acme/box/name", "1") == "add cmd error!\r\n"
    assert machine.log.texts(ERROR, DEBUG) == [TOO_MANY]
    assert not os.path.lexists(machine.profile)


@pytest.fixture
def unreadable():
    try:
        with open(UNREADABLE, "rb") as file:
            file.read()
    except OSError:
        return
    pytest.skip("this machine has no regular file that refuses to be read")


@pytest.mark.usefixtures("unreadable")
def test_a_profile_that_cannot_be_read(machine):
    write(machine, "vandel.conf", "")
    machine.binds += [UNREADABLE, machine.profile]
    result = machine.one_shot("pwd")
    assert (result.status, result.stdout, result.stderr) == (255, b"", b"")
    (mapping, config) = machine.log.texts(ERROR, DEBUG)
    assert mapping[0] == ERROR
    assert mapping[1].startswith("[ERROR] Mapping file /tmp/vandel.conf to memory failed(")
    assert mapping[1].endswith(").\n")
    assert config == (DEBUG, "[DEBUG] config file error\n")


@pytest.mark.usefixtures("unreadable")
def test_an_import_that_cannot_be_read(machine):
    machine.dialogue(("/$ ", f"import-config {UNREADABLE} running", ""))
    assert machine.log.texts(ERROR, DEBUG) == [(ERROR, "[ERROR] mmap err.\n\n")]
    assert machine.tarnd.requests == []
