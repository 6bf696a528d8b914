"""What stands in the way of the shell's files, and who may read them."""

import contextlib
import os
import stat
import threading

import pytest
from support import tracing
from support.messages import DISCARDED, EXPORTED, NOTHING_STAGED
from support.oneshot import filled, run
from support.shell import DEBUG, ERROR
from support.tarnd import pause, rpc_reply, session_reply

OTHER = 4711  # a user that no shell runs as
NOT_ADDED = "add cmd error!\r\n"
STAGED_BY_OTHERS = (
    "[pwd]\n/acme\n\n[config]\nset /acme/box/name evil\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
)
as_root = pytest.mark.skipif(os.geteuid() != 0, reason="only root can make another user's file")
pytestmark = pytest.mark.usefixtures("example")


def write(path, text, mode=0o600):
    with open(path, "w", encoding="ascii") as file:
        file.write(text)
    os.chmod(path, mode)


def read(path):
    with open(path, encoding="ascii") as file:
        return file.read()


# The profile


def place_link(machine):
    write(machine.path("victim"), STAGED_BY_OTHERS)
    os.symlink("victim", machine.profile)


def place_link_to_nothing(machine):
    os.symlink("victim", machine.profile)


def place_second_name(machine):
    write(machine.path("victim"), STAGED_BY_OTHERS)
    os.link(machine.path("victim"), machine.profile)


def place_fifo(machine):
    os.mkfifo(machine.profile)


def place_read_fifo(machine):
    """Somebody waits at its other end for what is written."""
    os.mkfifo(machine.profile)
    machine.reader = os.open(machine.profile, os.O_RDWR | os.O_NONBLOCK)


def place_directory(machine):
    os.mkdir(machine.profile)


def place_others_file(machine):
    write(machine.profile, STAGED_BY_OTHERS, 0o666)
    os.chown(machine.profile, OTHER, OTHER)


# place, what it is, errno of a start or replay, of a line that is put into the file, of a whole
# new file
PLACES = [
    (place_link, "is a symbolic link", 40, 40, 40),
    (place_link_to_nothing, "is a symbolic link", 40, 40, 40),
    (place_second_name, "has a second name", 31, 31, 31),
    (place_fifo, "is not a regular file", 22, 22, 6),
    (place_read_fifo, "is not a regular file", 22, 22, 22),
    (place_directory, "is not a regular file", 22, 21, 21),
    pytest.param(place_others_file, "belongs to another user", 13, 13, 13, marks=as_root),
]


def snapshot(machine):
    """Everything about the files of the test but their times."""
    found = {}
    for name in ("vandel.conf", "victim"):
        with contextlib.suppress(FileNotFoundError):
            path = machine.path(name)
            status = os.lstat(path)
            regular = stat.S_ISREG(status.st_mode)
            found[name] = (status.st_mode, status.st_uid, status.st_ino, regular and read(path))
    return found


def log_of(errno):
    return (DEBUG, f"[DEBUG] open /tmp/vandel.conf failed! errno:{errno}\n")


@pytest.mark.parametrize("place, what, reading, updating, writing", PLACES)
def test_what_is_not_the_profile_is_left_alone(machine, place, what, reading, updating, writing):
    """It is a file that cannot be opened: it tells nothing and learns nothing.

    Each process logs once what it is."""
    place(machine)
    before = snapshot(machine)
    dialogue = [
        ("pwd", "/\r\n", []),
        ("set /acme/box/name secret", NOT_ADDED, [updating]),
        ("delete /acme/box/name", "", [updating]),
        ("cd /acme", "", [reading, updating]),
        ("commit", NOTHING_STAGED, [reading]),
        ("discard_changes", DISCARDED, [writing]),
    ]
    told = []
    for line, prints, errors in dialogue:
        known = len(machine.log.texts(DEBUG))
        run(machine, line, prints=prints)
        logged = [entry for entry in machine.log.texts(DEBUG)[known:] if "failed!" in entry[1]]
        assert logged == [log_of(errno) for errno in errors], line
        told += [(ERROR, f"[ERROR] VDL's profile </tmp/vandel.conf> {what}.\n")]
        assert machine.log.texts(ERROR) == told, line
    assert machine.tarnd.requests == []
    assert snapshot(machine) == before
    if place is place_read_fifo:
        with pytest.raises(BlockingIOError):
            os.read(machine.reader, 1)
        os.close(machine.reader)


@as_root
def test_what_others_stage_is_not_committed(machine):
    place_others_file(machine)
    run(machine, "commit", prints=NOTHING_STAGED)
    run(machine, "pwd", prints="/\r\n")
    assert machine.tarnd.requests == []


MAY_BE_WRITTEN = (ERROR, "[ERROR] VDL's profile </tmp/vandel.conf> may be written by others.\n")


@pytest.mark.parametrize("mode", [0o620, 0o602, 0o666])
def test_what_others_may_write_is_not_the_profile(machine, mode):
    """Another user writes into a file of ours and moves it into the profile's place."""
    write(machine.path("ours"), STAGED_BY_OTHERS, mode)
    os.rename(machine.path("ours"), machine.profile)
    before = snapshot(machine)
    dialogue = [
        ("commit", NOTHING_STAGED, [1]),
        ("pwd", "/\r\n", []),
        ("set /acme/box/name mine", NOT_ADDED, [1]),
        ("cd /acme", "", [1, 1]),
    ]
    for line, prints, errors in dialogue:
        known = len(machine.log.texts())
        run(machine, line, prints=prints)
        logged = machine.log.texts()[known:]
        assert [entry for entry in logged if "failed!" in entry[1]] == [log_of(e) for e in errors]
        assert [entry for entry in logged if entry[0] == ERROR] == [MAY_BE_WRITTEN]
    assert snapshot(machine) == before
    assert machine.tarnd.requests == []


def test_whoever_has_a_loose_profile_open_stages_nothing_after_it_is_reset(machine):
    write(machine.profile, STAGED_BY_OTHERS, 0o666)
    with open(machine.profile, "r+b", buffering=0) as held:
        run(machine, "discard_changes", prints=DISCARDED)
        held.write(STAGED_BY_OTHERS.encode())
    assert stat.S_IMODE(os.lstat(machine.profile).st_mode) == 0o600
    assert read(machine.profile) == filled()
    run(machine, "set /acme/box/name mine")
    machine.tarnd.on_request = lambda request: request.reply("<ok/>")
    machine.one_shot("commit")
    assert "mine" in machine.tarnd.requests[0] and "evil" not in machine.tarnd.requests[0]


def statuses_seen(machine, *words):
    """Those that the profile has while a command runs, looked at around each system call."""
    statuses = []

    def look():
        with contextlib.suppress(FileNotFoundError):
            statuses.append(os.lstat(machine.profile))

    go_on = threading.Event()
    machine.tarnd.session_reply = [pause(go_on), session_reply()]
    mask = os.umask(0)
    shell = machine.start_command(machine.command(*words), tracing.ENVIRONMENT)
    os.umask(mask)
    traced = tracing.Traced(shell.pid)
    shell.send("\n")
    go_on.set()
    traced.run_to_exit(look)
    traced.release()
    assert shell.wait().status == 0
    return statuses


def modes_seen(machine, *words):
    return {stat.S_IMODE(status.st_mode) for status in statuses_seen(machine, *words)}


def test_a_careless_program_is_noticed(machine):
    """Or else the next test would prove nothing."""
    careless = "read go; : >/tmp/vandel.conf; chmod 600 /tmp/vandel.conf; :"
    assert modes_seen(machine, "sh", "-c", careless) == {0o666, 0o600}


def test_nobody_else_may_read_the_profile_at_any_moment(machine):
    vandel = "/tmp/.build/vandel"
    for line in (
        "set /acme/box/name secret",  # makes the file
        "set /acme/box/tag secret",
        "cd /acme",
        "add-listentry id 1",
        "discard_changes",
        "set /acme/box/name secret",
        "commit",
        "discard_changes",
    ):
        assert modes_seen(machine, vandel, *line.split(" ")) == {0o600}, line
    assert len(machine.tarnd.requests) == 1
    os.unlink(machine.profile)
    assert modes_seen(machine, vandel, "discard_changes") == {0o600}  # makes it, too


def test_what_is_written_anew_is_cut_last(machine):
    """Who fills the disk would take what is given back before, and then the file's name, too."""
    write(machine.profile, STAGED_BY_OTHERS)
    statuses = statuses_seen(machine, "/tmp/.build/vandel", "discard_changes")
    assert {status.st_size for status in statuses} == {
        len(STAGED_BY_OTHERS),
        os.path.getsize(machine.profile),
    }


# Export targets


def exported(machine, path="/tmp/out", before_reply=lambda: None):
    """What export-config prints; something may happen while the datastore is read."""

    def answer(request):
        before_reply()
        return request.reply("<data>1</data>")

    machine.tarnd.on_request = answer
    result = machine.one_shot("export-config", "running", path)
    assert (result.status, result.stderr) == (0, b"")
    return result.stdout.decode()


EXPORT = "<?xml version='1.0' encoding='UTF-8'?><data>1</data>"
NOT_OPENED = "Opening output file failed."
NO_FILE = (ERROR, "[ERROR] export path is not a file.\r\n\n")


def test_export_to_a_directory(machine):
    os.mkdir(machine.path("out"))
    assert exported(machine) == NOT_OPENED
    assert os.listdir(machine.path("out")) == []
    assert machine.tarnd.requests == []


def test_export_to_a_link_to_a_directory(machine):
    os.mkdir(machine.path("there"))
    os.symlink("there", machine.path("out"))
    assert exported(machine) == NOT_OPENED
    assert os.listdir(machine.path("there")) == []
    assert os.readlink(machine.path("out")) == "there"


def test_export_to_a_fifo(machine):
    os.mkfifo(machine.path("out"))
    assert exported(machine) == NOT_OPENED
    reader = os.open(machine.path("out"), os.O_RDWR | os.O_NONBLOCK)
    assert exported(machine) == ""
    assert machine.log.texts(ERROR) == [NO_FILE]
    with pytest.raises(BlockingIOError):
        os.read(reader, 1)
    os.close(reader)
    assert stat.S_ISFIFO(os.lstat(machine.path("out")).st_mode)
    assert machine.tarnd.requests == []


@pytest.mark.parametrize("there", ["kept", None])
def test_export_to_a_link_replaces_the_link(machine, there):
    """What it leads to is neither changed nor made."""
    if there:
        write(machine.path("there"), there)
    os.symlink("there", machine.path("out"))
    assert exported(machine) == EXPORTED
    assert read(machine.path("out")) == EXPORT
    assert stat.S_ISREG(os.lstat(machine.path("out")).st_mode)
    if there:
        assert read(machine.path("there")) == there
    else:
        assert not os.path.lexists(machine.path("there"))


@as_root
def test_export_to_others_file_replaces_it(machine):
    """The operator has named it; its owner must not be able to read the new one through it."""
    write(machine.path("out"), "old", 0o666)
    os.chown(machine.path("out"), OTHER, OTHER)
    with open(machine.path("out"), encoding="ascii") as held:
        assert exported(machine) == EXPORTED
        assert held.read() == "old"
    assert os.lstat(machine.path("out")).st_uid == os.geteuid()
    assert read(machine.path("out")) == EXPORT


def plant_link(machine):
    os.symlink("victim", machine.path("out"))


def plant_fifo(machine):
    os.mkfifo(machine.path("out"))


def plant_read_fifo(machine):
    os.mkfifo(machine.path("out"))
    machine.reader = os.open(machine.path("out"), os.O_RDWR | os.O_NONBLOCK)


def plant_directory(machine):
    os.mkdir(machine.path("out"))


def plant_second_name(machine):
    os.link(machine.path("victim"), machine.path("out"))


@pytest.mark.parametrize(
    "plant", [plant_link, plant_second_name, plant_fifo, plant_read_fifo, plant_directory]
)
def test_what_comes_in_the_way_while_the_datastore_is_read(machine, plant):
    write(machine.path("victim"), "kept")
    write(machine.path("out"), "old")
    printed = exported(machine, before_reply=lambda: plant(machine))
    assert printed == "write config file fail.\r\nexport config fail.\r\n"
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] Opening output file failed.\n\n")]
    assert read(machine.path("victim")) == "kept"
    if plant is plant_read_fifo:
        with pytest.raises(BlockingIOError):
            os.read(machine.reader, 1)
        os.close(machine.reader)


def test_a_directory_that_disappears_while_the_datastore_is_read(machine):
    os.mkdir(machine.path("there"))
    printed = exported(machine, "/tmp/there/out", lambda: os.rmdir(machine.path("there")))
    assert printed == "write config file fail.\r\nexport config fail.\r\n"
    assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] Opening output file failed.\n\n")]


def test_a_file_of_the_operator_that_comes_in_the_way_is_replaced(machine):
    path = machine.path("out")
    assert exported(machine, before_reply=lambda: write(path, "x" * 1000)) == EXPORTED
    assert read(path) == EXPORT


@as_root
def test_others_file_that_comes_in_the_way_is_replaced(machine):
    """Its owner, who may hold it open, does not read the new one through it."""
    path = machine.path("out")
    held = []

    def plant():
        write(path, "planted", 0o666)
        os.chown(path, OTHER, OTHER)
        held.append(open(path, encoding="ascii"))  # pylint: disable=consider-using-with

    assert exported(machine, before_reply=plant) == EXPORTED
    with held[0] as file:
        assert file.read() == "planted"
    assert read(path) == EXPORT


# Import sources


@pytest.mark.parametrize("target", ["running", "startup"])
@pytest.mark.parametrize("kind", ["link", "fifo", "directory", "socket", "nothing"])
def test_import_of_what_is_no_file(machine, kind, target):
    message = "can't find the file \r\n"
    name = "in"
    if kind == "link":
        write(machine.path("there"), "<data>1</data>")
        os.symlink("there", machine.path("in"))
    elif kind == "fifo":
        os.mkfifo(machine.path("in"))
    elif kind == "directory":
        os.mkdir(machine.path("in"))
    elif kind == "socket":
        name = "tarnd.sock"
    else:
        message = "can't get file infomation.\r\n"
    run(machine, f"import-config /tmp/{name} {target}", prints=message)
    assert machine.tarnd.requests == []
    assert machine.log.texts(ERROR) == []


@as_root
def test_import_of_others_file(machine):
    """The operator has named it."""
    write(machine.path("in"), "<data><a/></data>")
    os.chown(machine.path("in"), OTHER, OTHER)
    machine.tarnd.on_request = lambda request: rpc_reply("<ok/>", "1")
    result = machine.one_shot("import-config", "/tmp/in", "running")
    assert b"<ok/>" in result.stdout
    assert "<config>\r\n<a/>      </config>" in machine.tarnd.requests[0]
