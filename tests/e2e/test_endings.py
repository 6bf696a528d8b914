"""How a shell ends by a signal, or by a daemon or a reader that goes away."""

import os
import signal
import subprocess
import threading
import time

from support import tarnd as daemon
from support.example import EXAMPLE


def processor_seconds(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as stat:
        fields = stat.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def test_after_the_end_of_input_the_shell_waits_for_a_signal(machine):
    shell = machine.start()
    shell.send("pwd\n")
    shell.process.stdin.close()
    machine.tarnd.wait_session()
    shell.expect(b"/$ pwd")
    before = processor_seconds(shell.pid)
    time.sleep(1.5)
    assert shell.process.poll() is None
    assert processor_seconds(shell.pid) - before < 0.5
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    assert (result.status, result.stderr) == (1, b"")
    assert result.stdout == b"/$ pwd\n/\r\n\nReceive signal=15 and exit\n"


def test_sigterm_while_a_line_is_awaited(machine):
    shell = machine.start_at_prompt()
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    assert (result.status, result.stderr) == (1, b"")
    assert result.stdout == b"/$ pwd\n/\r\n/$ \n\nReceive signal=15 and exit\n"


def test_sigterm_while_a_reply_is_awaited(machine):
    machine.load(EXAMPLE)
    stalled = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(stalled)]
    shell = machine.start()
    shell.send("pwd\nget /acme/empty\n")
    machine.tarnd.wait_requests(1)
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    stalled.set()
    assert result.status == 1
    assert result.stdout == b"/$ pwd\n/\r\n/$ get /acme/empty\n\nReceive signal=15 and exit\n"


def test_sigterm_to_one_command(machine):
    machine.load(EXAMPLE)
    stalled = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(stalled)]
    shell = machine.start("get", "/acme/empty")
    machine.tarnd.wait_requests(1)
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    stalled.set()
    assert (result.status, result.stdout) == (1, b"\nReceive signal=15 and exit\n")


def test_sigterm_while_the_session_is_created(machine):
    stalled = threading.Event()
    machine.tarnd.session_reply = [daemon.pause(stalled)]
    shell = machine.start()
    machine.tarnd.wait_session()
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    stalled.set()
    assert (result.status, result.stdout) == (1, b"\nReceive signal=15 and exit\n")


def test_a_request_to_a_daemon_that_has_gone(machine):
    machine.load(EXAMPLE)
    shell = machine.start_at_prompt()
    machine.tarnd.wait_session().close()
    shell.send("get /acme/empty\n")
    result = shell.wait()
    assert (result.status, result.stderr) == (1, b"")
    assert result.stdout == (
        b"/$ pwd\n/\r\n/$ \n/$ get /acme/empty\n\nReceive signal=13 and exit\n"
    )


def test_sigpipe_from_outside(machine):
    shell = machine.start_at_prompt()
    shell.signal(signal.SIGPIPE)
    result = shell.wait()
    assert (result.status, result.stderr) == (1, b"")
    assert result.stdout == b"/$ pwd\n/\r\n/$ \n\nReceive signal=13 and exit\n"


def test_sigint_ends_the_shell_without_a_word(machine):
    shell = machine.start_at_prompt()
    shell.signal(signal.SIGINT)
    result = shell.wait()
    assert (result.status, result.stderr) == (-signal.SIGINT, b"")
    assert b"Receive signal" not in result.stdout


def test_output_that_nobody_reads_ends_the_shell(machine):
    reading, writing = os.pipe()
    process = subprocess.Popen(
        machine.vandel(),
        stdin=subprocess.PIPE,
        stdout=writing,
        stderr=subprocess.PIPE,
        bufsize=0,
        env=machine.environ(),
    )
    os.close(writing)
    os.close(reading)
    machine.tarnd.wait_session()
    process.stdin.write(b"pwd\npwd\n")
    try:
        assert process.wait(30) == 1
    finally:
        process.kill()
        process.wait()
        process.stdin.close()
        process.stderr.close()
