"""vandel-do when daemon, database or shell do not answer or end, and when it is ended."""

import os
import signal
import subprocess
import threading

import pytest
from support import tarnd as daemon
from support import vandel_do
from support.example import EXAMPLE, printed_no_data
from support.processes import is_running
from support.servers import RedisServer, wait_until
from support.shell import Machine
from support.vandel_do import script

EVENT = daemon.notification("<event/>")
LOST = "the device or the database cannot be reached"
# vandel-do, which waits less for the first prompt.
IMPATIENT = f"""
import sys
sys.path.insert(0, {os.path.dirname(vandel_do.PROGRAM)!r})
from vandel_do import main, run
run.START_PATIENCE = 0.1
sys.exit(main.main(["--vandel", {vandel_do.SHELL!r}, "--timeout", "0.1", "pwd"], "/"))
"""
# vandel-do with a fault.
FAULTY = f"""
import sys
sys.path.insert(0, {os.path.dirname(vandel_do.PROGRAM)!r})
from vandel_do import main
main.carry_out = lambda options, here: {{}}["x"]
sys.exit(main.main(["pwd"], "/"))
"""
STAGED = ("set /acme/box/name x", "commit")


@pytest.fixture(name="device")
def fixture_device(machine):
    machine.load(EXAMPLE)
    return machine


@pytest.fixture(name="own_database")
def fixture_own_database():
    """A machine with a database that the test may end, and the database."""
    database = RedisServer()
    private = Machine(database)
    private.load(EXAMPLE)
    yield private, database
    private.stop()
    database.stop()


@pytest.fixture(name="silence")
def fixture_silence(device):
    """The daemon does not answer requests until the test is over."""
    over = threading.Event()
    device.tarnd.on_request = lambda request: [daemon.pause(over), request.reply("<ok/>")]
    yield
    over.set()


def check(result, status, stdout, stderr):
    assert (result.stderr.decode(), result.stdout.decode(), result.status) == (
        stderr,
        stdout,
        status,
    )


def test_no_daemon(device):
    result = vandel_do.run(device, "pwd", env={"TARND_SOCKET": "/tmp/gone"})
    error = "the shell does not start, status 255: /tmp/gone: No such file or directory"
    check(result, 3, "failed to connect ncserver!\r\n", f"vandel-do: {error}\n")
    assert vandel_do.left_behind(device) == []


def test_a_shell_that_cannot_be_started(device):
    with open(device.path("shell"), "wb") as file:
        os.chmod(file.fileno(), 0o755)
        file.write(b"\x7fELF")
    result = vandel_do.run(device, "pwd", vandel="/tmp/shell")
    check(result, 64, "", "vandel-do: [Errno 8] Exec format error: '/tmp/shell'\n")
    assert vandel_do.left_behind(device) == []


def test_a_daemon_that_creates_no_session(device):
    device.tarnd.session_reply = [daemon.close]
    result = vandel_do.run(device, "pwd")
    error = "vandel-do: the shell does not start, status 255: see the system log\n"
    check(result, 3, "failed to connect ncserver!\r\n", error)


def test_no_database(device):
    result = vandel_do.run(device, "pwd", env={"SCHEMA_REDIS": "/tmp/gone"})
    check(result, 3, "", "vandel-do: the shell does not start, status 255: see the system log\n")


@pytest.mark.parametrize(
    "command", ["get /acme/box", "get-config -r /acme/box", "save", "delete-config"]
)
def test_a_daemon_that_ends_instead_of_answering(device, command):
    device.tarnd.on_request = lambda request: [daemon.close]
    result = vandel_do.run(device, "-k", given=script("pwd", command, "pwd"))
    assert result.status == 3
    assert result.stdout.startswith(b"/\r\n") and result.stdout.count(b"/\r\n") == 1
    assert result.stderr.decode().endswith(f": {LOST}\n")


def test_a_daemon_that_ends_within_a_reply(device):
    device.tarnd.on_request = lambda request: [
        daemon.frame("<rpc-reply><ok/></rpc-reply>", length=100), daemon.close]  # fmt: skip
    result = vandel_do.run(device, "save")
    check(
        result,
        3,
        "Get the reply message of save command is fail! ",
        f"vandel-do: save: {LOST}\n",
    )


def test_a_daemon_that_has_ended_between_two_commands(device):
    process = vandel_do.start(device)
    process.send("get /acme/box\n")
    process.expect(printed_no_data().encode())
    device.tarnd.sessions[0].close()
    process.send("get /acme/box\n")
    result = process.wait()
    assert result.status == 3
    assert result.stderr.decode() == f"vandel-do: line 2: get /acme/box: {LOST}\n"


def test_a_commit_that_has_no_answer_is_kept(device):
    device.tarnd.on_request = lambda request: [daemon.close]
    result = vandel_do.run(device, "--save-edits", "/tmp/saved", given=script(*STAGED))
    errors = (
        "vandel-do: line 2: it is not known whether the device has done it\n"
        "vandel-do: the lines of this commit are in /tmp/saved\n"
        f"vandel-do: line 2: commit: {LOST}\n"
    )
    check(result, 3, "Read message failed. \r\n", errors)
    with open(device.path("saved"), encoding="utf-8") as file:
        assert file.read() == f"# line 2: {LOST}\ncd /\nset /acme/box/name x\ncommit\n"


@pytest.mark.parametrize("command", ["ls", "cd acme", "set /acme/box/name x", "get-config -l"])
def test_a_database_that_has_ended(own_database, command):
    machine, database = own_database
    process = vandel_do.start(machine)
    process.send("cd acme\npwd\n")
    process.expect(b"/acme\r\n")
    database.stop()
    process.send(f"{command}\n")
    result = process.wait()
    assert result.status == 3
    assert result.stderr.decode().endswith(f": {LOST}\n")


def test_a_command_that_takes_too_long(device, silence):
    result = vandel_do.run(device, "-k", "--timeout", "0.5", given=script("save", "pwd"))
    check(result, 4, "", "vandel-do: line 1: save: it took too long\n")


def test_what_was_staged_takes_too_long(device, silence):
    result = vandel_do.run(device, "--timeout", "0.5", given=script("copy-config config startup"))
    errors = (
        "vandel-do: line 1: it is not known whether the device has done it\n"
        "vandel-do: line 1: copy-config config ...: it took too long\n"
    )
    check(result, 4, "", errors)


def test_a_daemon_that_is_silent_from_the_start(device):
    over = threading.Event()
    device.tarnd.session_reply = [daemon.pause(over)]
    result = device.start_command(device.command("/usr/bin/python3", "-IBc", IMPATIENT)).wait()
    over.set()
    error = "vandel-do: the shell does not start: daemon or database do not answer\n"
    check(result, 4, "", error)


def ended_by(process, number):
    """Sends a signal, and waits for the end of vandel-do and of its shell."""
    shell = vandel_do.shell_of(process)
    process.signal(number)
    result = process.wait()
    wait_until(lambda: not is_running(shell), "the end of the shell")
    return result


ENDING = (signal.SIGHUP, signal.SIGINT, signal.SIGTERM)


@pytest.mark.parametrize("number", ENDING)
def test_a_signal_while_a_command_waits(device, silence, number):
    process = vandel_do.start(device)
    process.send("save\n")
    device.tarnd.wait_requests(1)
    result = ended_by(process, number)
    assert (result.status, result.stderr) == (-number, b"")
    assert vandel_do.left_behind(device) == []


@pytest.mark.parametrize("number", [*ENDING, signal.SIGKILL])
def test_a_signal_while_commands_are_awaited(device, number):
    process = vandel_do.start(device)
    process.send("pwd\n")
    process.expect(b"/\r\n")
    result = ended_by(process, number)
    assert (result.status, result.stdout, result.stderr) == (-number, b"/\r\n", b"")
    assert vandel_do.left_behind(device) == []


def test_a_signal_that_the_caller_ignores_is_ignored(device):
    words = device.command("sh", "-c", 'trap "" HUP; exec "$@"', "sh")
    words += [vandel_do.PROGRAM, "--vandel", vandel_do.SHELL]
    process = device.start_command(words)
    process.send("pwd\n")
    process.expect(b"/\r\n")
    process.signal(signal.SIGHUP)
    process.send("pwd\nquit\n")
    result = process.wait()
    assert (result.status, result.stdout) == (0, b"/\r\n/\r\n")


def test_a_shell_that_somebody_ends(device, silence):
    process = vandel_do.start(device)
    process.send("save\n")
    device.tarnd.wait_requests(1)
    os.kill(vandel_do.shell_of(process), signal.SIGTERM)
    result = process.wait()
    check(
        result,
        3,
        "\nReceive signal=15 and exit\n",
        f"vandel-do: line 1: save: {LOST}\n",
    )


def test_a_reader_that_has_gone(device):
    source, sink = os.pipe()
    words = device.command(vandel_do.PROGRAM, "--vandel", vandel_do.SHELL)
    with subprocess.Popen(
        words, stdin=subprocess.PIPE, stdout=sink, stderr=subprocess.PIPE, env=device.environ()
    ) as process:
        os.close(sink)
        shell = vandel_do.shell_of(process)
        os.close(source)
        _, errors = process.communicate(b"pwd\n")
    assert (process.returncode, errors) == (-signal.SIGPIPE, b"")
    assert not is_running(shell)
    assert vandel_do.left_behind(device) == []


def test_nobody_who_reads_notifications(device):
    source, sink = os.pipe()
    os.close(source)
    device.tarnd.on_request = lambda request: [EVENT, request.data()]
    words = device.command(vandel_do.PROGRAM, "--vandel", vandel_do.SHELL, "get", "/acme/box")
    result = subprocess.run(
        words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=sink,
        env=device.environ(), check=False,
    )  # fmt: skip
    os.close(sink)
    assert (result.returncode, result.stdout) == (0, printed_no_data().encode())


def redirected(device, how, *arguments):
    """Runs vandel-do with the redirections of a shell."""
    words = device.command("sh", "-c", f'exec "$@" {how}', "sh")
    words += [vandel_do.PROGRAM, "--vandel", vandel_do.SHELL, *arguments]
    return device.start_command(words).wait()


@pytest.mark.parametrize("closed", ["<&-", ">&-", "2>&-", "<&- >&- 2>&-"])
def test_a_standard_file_that_is_closed_is_as_the_null_device(device, closed):
    device.tarnd.on_request = lambda request: [EVENT, request.data()]
    result = redirected(device, closed, "-c", "get /acme/box", "-c", "get /acme/box")
    printed = b"" if ">&-" in closed.split() else printed_no_data() + printed_no_data(2)
    assert result.status == 0
    assert result.stdout == (printed and printed.encode())
    # The session and the two requests, and nothing that was printed.
    assert len(device.tarnd.frames) == 3


def test_standard_input_that_is_closed_has_no_commands(device):
    check(redirected(device, "<&-"), 0, "", "")


def test_output_that_cannot_be_written(device):
    device.tarnd.on_request = lambda request: request.reply("<rpc-error/>")
    arguments = ["--save-edits", "/tmp/saved", "-k"]
    for command in (*STAGED, "save"):
        arguments += ["-c", command]
    errors = (
        "vandel-do: the lines of this commit are in /tmp/saved\n"
        "vandel-do: command 2: commit: the device has refused it\n"
        "vandel-do: cannot go on: [Errno 28] No space left on device\n"
    )
    check(redirected(device, ">/dev/full", *arguments), 70, "", errors)
    assert len(device.tarnd.requests) == 1
    assert os.path.exists(device.path("saved"))
    assert redirected(device, ">/dev/full", "--version").status == 70


def test_messages_that_cannot_be_written(device):
    assert redirected(device, "2>/dev/full", "bogus").status == 2
    assert redirected(device, "2>/dev/full", "--nothing").status == 64


def test_a_fault_of_its_own_is_no_refusal(device):
    result = device.start_command(device.command("/usr/bin/python3", "-IBc", FAULTY)).wait()
    check(result, 70, "", "vandel-do: cannot go on: KeyError('x')\n")
