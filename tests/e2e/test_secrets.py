"""What is staged is not found in the shell's memory once it is sent or dropped.

Nor is a piece of it as large as a register: string functions leave values in
registers, from where others save them. Libraries that do so at each call make visible
what is left there on any x86 processor; elsewhere it depends on how the system's
libraries are bound, and on the string functions that the C library takes.

A line that was typed stays in the history (which is what a history is for), and
in the buffers of standard input and output, until other lines take its place."""

import os
import random
import resource
import string
import threading

import pytest
import redis
from support import memory, servers, spilling, tracing, valgrind
from support.example import EXAMPLE
from support.tarnd import frame, pause, session_reply

SECRET = "q7Vd-Zx2K.9mWp-Lr4T.uB"
SET = f"set /acme/box/name {SECRET}"
MOST_OF_A_CORE = resource.getrlimit(resource.RLIMIT_CORE)[1]
TYPED_OVER = [f"pwd {' ' * len(SET)} {number}" for number in range(10)]


@pytest.fixture(autouse=True, params=[
    "usual", pytest.param("spilling", marks=spilling.on_x86_only)])  # fmt: skip
def libraries(machine, request):
    machine.load(EXAMPLE)
    if request.param == "spilling":
        machine.environment.update(spilling.ENVIRONMENT)


def found_in(pid, secret=SECRET):
    return memory.find(pid, secret.encode())


def staged(machine, secret=SECRET):
    """Stages the secret by a process of its own."""
    assert machine.one_shot("set", "/acme/box/name", secret).stdout == b""
    with open(machine.profile, encoding="ascii") as file:
        assert secret in file.read()


def at_exit_of(machine, *words, secret=SECRET):
    """Where a one-shot holds the secret in its last moment; its output."""
    go_on = threading.Event()
    machine.tarnd.session_reply = [pause(go_on), session_reply()]
    shell = machine.start(*words, env=tracing.ENVIRONMENT)
    shell.process.stdin.close()
    traced = tracing.Traced(shell.pid)
    go_on.set()
    traced.run_to_exit()
    found = found_in(shell.pid, secret)
    traced.release()
    result = shell.wait()
    assert result.status == 0
    return found, result.stdout.decode()


def test_a_value_is_in_memory_while_it_is_staged(machine):
    """Or else the search would prove nothing."""
    shell = machine.terminal()
    shell.expect_exact("/$ ")
    shell.send(SET + "\r")
    shell.expect_exact("\n/$ ")
    assert len(found_in(shell.pid)) == 2  # staged, and in the history


@pytest.fixture
def password_file(machine):
    """The secret as the password of the database, in a file that the shell is told of."""
    with open(machine.path("secret"), "w", encoding="ascii", opener=private) as file:
        file.write(SECRET + "\n")
    machine.environment["SCHEMA_REDIS"] = "/tmp/redis.sock,passwordfile=/tmp/secret"
    with redis.Redis(unix_socket_path=machine.redis.socket) as client:
        client.config_set("requirepass", SECRET)
        yield
        client.config_set("requirepass", "")


def private(path, flags):
    return os.open(path, flags, 0o600)


@pytest.mark.usefixtures("password_file")
def test_the_password_of_the_database_is_gone_when_it_has_been_sent(machine):
    shell = machine.terminal()
    shell.expect_exact("/$ ")
    assert found_in(shell.pid) == []
    shell.send("ls\r")
    shell.expect_exact("acme")
    shell.expect_exact("\n/$ ")
    assert found_in(shell.pid) == []


@pytest.mark.parametrize("end", ["discard_changes", "commit", "copy-config config running"])
def test_a_value_is_gone_when_it_is_no_longer_staged(machine, end):
    shell = machine.terminal()
    shell.expect_exact("/$ ")
    for line in (SET, end):
        shell.send(line + "\r")
        shell.expect_exact("\n/$ ")
    assert len(found_in(shell.pid)) == 1  # in the history
    for line in TYPED_OVER:
        shell.send(line + "\r")
        shell.expect_exact("\n/$ ")
    assert found_in(shell.pid) == []


def test_a_value_that_was_shown_is_gone_when_it_is_no_longer_staged(machine):
    """What is shown is shorter than its XML."""
    shell = machine.terminal()
    shell.expect_exact("/$ ")
    lines = [f"set /acme/box/name {'&' * 50}{SECRET}", "get-config -l", "discard_changes", "help"]
    for line in lines + TYPED_OVER:
        shell.send(line + "\r")
        shell.expect_exact("\n/$ ")
    assert found_in(shell.pid) == []


@pytest.mark.parametrize("end", ["discard_changes", "commit", "quit"])
def test_a_parameter_is_gone_when_it_is_no_longer_staged(machine, end):
    shell = machine.terminal()
    shell.expect_exact("/$ ")
    shell.send("/acme/reset\r")
    shell.expect_exact("[reset]$ ")
    shell.send(f"set who {SECRET}\r")
    shell.expect_exact("[reset]$ ")
    shell.send(end + "\r")
    shell.expect_exact("$ ")
    for line in TYPED_OVER:
        shell.send(line + "\r")
        shell.expect_exact("$ ")
    assert found_in(shell.pid) == []


@pytest.mark.parametrize(
    "lines",
    [
        [SET],
        [f"set /acme/box/tag {SECRET}", f"set /acme/box/tag {SECRET[::-1]}"],
        ["/acme/reset", f"set who {SECRET}"],
    ],
)
def test_a_value_is_gone_when_its_commit_has_no_answer(machine, lines):
    machine.tarnd.on_request = lambda request: [frame("", length=2**32 - 1)]
    shell = machine.terminal()
    shell.expect_exact("/$ ")
    for line in (*lines, "commit", "get-config -l"):
        shell.send(line + "\r")
        shell.expect_exact("$ ")
    assert "<" not in shell.before.decode()  # nothing is staged
    for line in TYPED_OVER:
        shell.send(line + "\r")
        shell.expect_exact("$ ")
    assert found_in(shell.pid) == found_in(shell.pid, SECRET[::-1]) == []


@pytest.mark.parametrize(
    "line",
    [
        f"help {SECRET}",
        f"help '{SECRET[:2]} {SECRET}'",
        f"set /acme/box/none {SECRET}",
        f"set /acme/box {SECRET}",
        f"set /acme/box/name {SECRET} {SECRET}",
        f"delete /acme/box/name {SECRET}",
        f"set /acme/box/name {'x' * 5000}{SECRET} {SECRET}",
        f"set /acme/box/name {SECRET}\x15",  # killed, and brought back nowhere
    ],
)
def test_a_refused_line_is_gone(machine, line):
    shell = machine.terminal()
    shell.expect_exact("/$ ")
    for typed in (line, "a\x15", *TYPED_OVER):
        shell.send(typed + "\r")
        shell.expect_exact("$ ")
    assert found_in(shell.pid) == []


@valgrind.keeps_no_arguments
def test_one_shot_set(machine):
    assert at_exit_of(machine, *SET.split(" ")) == ([], "")


@valgrind.keeps_no_arguments
def test_the_arguments_are_blank_while_the_daemon_is_waited_for(machine):
    """Or else every user could read them there, for as long as it takes."""
    go_on = threading.Event()
    machine.tarnd.session_reply = [pause(go_on), session_reply()]
    shell = machine.start(*SET.split(" "))
    servers.wait_until(lambda: machine.tarnd.frames, "the request for a session")
    with open(f"/proc/{shell.pid}/cmdline", "rb") as file:
        words = file.read()
    go_on.set()
    assert words == b"/tmp/.build/vandel\0" + bytes(len(SET) + 1)
    assert shell.wait().status == 0
    with open(machine.profile, encoding="ascii") as file:
        assert SECRET in file.read()


@pytest.mark.skipif(MOST_OF_A_CORE == 0, reason="nothing is written here in any case")
@pytest.mark.parametrize("words", [[], ["get", "/acme/box"]])
def test_no_core_is_written(machine, words):
    go_on = threading.Event()
    machine.tarnd.session_reply = [pause(go_on), session_reply()]
    shell = machine.start_command(["sh", "-c", 'ulimit -S -c "$(ulimit -H -c)"; exec "$@"', "sh",
                                   *machine.vandel(*words)])  # fmt: skip
    servers.wait_until(lambda: machine.tarnd.frames, "the request for a session")
    limits = resource.prlimit(shell.pid, resource.RLIMIT_CORE)
    go_on.set()
    assert limits == (0, 0)


def test_one_shot_commit(machine):
    staged(machine)
    assert at_exit_of(machine, "commit")[0] == []
    assert SECRET in machine.tarnd.requests[-1]


@valgrind.keeps_no_arguments
@pytest.mark.parametrize("length", [8, 16, 40, 100, 600])
def test_a_value_of_any_length(machine, length):
    """One that fits into a general register, into vector registers of each size, or into none."""
    letters = random.Random(length).choices(string.ascii_letters + string.digits, k=length)
    secret = "".join(letters)
    assert at_exit_of(machine, "set", "/acme/box/name", secret, secret=secret)[0] == []
    staged(machine, secret)
    assert at_exit_of(machine, "commit", secret=secret)[0] == []


def test_one_shot_discard(machine):
    staged(machine)
    assert at_exit_of(machine, "discard_changes")[0] == []


@pytest.mark.parametrize("command", ["ls", "cd /acme"])
def test_one_shots_that_keep_it_staged_hold_it_once(machine, command):
    """It is staged to the end of the process, and nothing of its way there is left."""
    staged(machine)
    assert len(at_exit_of(machine, *command.split(" "))[0]) == 1


def test_import_leaves_nothing_of_the_file(machine):
    with open(machine.path("in.xml"), "w", encoding="ascii") as file:
        file.write(f"<data><box xmlns='urn:acme'><name>{SECRET}</name></box></data>")
    found, _ = at_exit_of(machine, "import-config", "/tmp/in.xml", "running")
    assert SECRET in machine.tarnd.requests[-1]
    assert found == []


def test_import_leaves_nothing_of_a_file_that_it_refuses(machine):
    with open(machine.path("in.xml"), "w", encoding="ascii") as file:
        file.write(f"<none>\0{SECRET}</none>")
    found, output = at_exit_of(machine, "import-config", "/tmp/in.xml", "running")
    assert output == "the file have no <data>.\r\n"
    assert found == []


@pytest.mark.parametrize("command", ["pwd", "ls", "set /acme/box/size 1", "commit"])
def test_nothing_is_left_of_what_follows_a_zero_byte_in_the_profile(machine, command):
    """A line ends there; who edited the file may have put anything after it."""
    with open(machine.profile, "w", encoding="ascii", opener=private) as file:
        file.write(
            f"[pwd]\n/acme\n\n[config]\nset /acme/box/name 1\0{SECRET}\n\n\n"
            "[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
        )
    assert at_exit_of(machine, *command.split(" "))[0] == []
