"""Shells by the hundred, each killed at some moment.

An Entrance starts shells on a machine without making a mount namespace for each
of them: one sleeping process keeps the namespace, the shells enter it. A Victim
is such a shell on pipes or on a terminal; nobody reads its output but the test,
so the test decides whether it stalls.
"""

import contextlib
import os
import pty
import select
import signal
import subprocess
import termios
import time

from . import servers

MESSAGE = b"\nReceive signal=15 and exit\n"
CAUGHT = 1 << (signal.SIGTERM - 1)
PATIENCE = 60


def field(pid, name):
    """A line of /proc/PID/status; the empty text when the process has ended."""
    with contextlib.suppress(OSError):
        with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as status:
            for line in status:
                if line.startswith(name + ":"):
                    return line.split(":", 1)[1].strip()
    return ""


def queued(pid):
    """Seconds for which the main thread was ready to run, but had no processor."""
    with contextlib.suppress(OSError):
        with open(f"/proc/{pid}/schedstat", encoding="ascii") as schedule:
            return int(schedule.read().split()[1]) / 1e9
    return 0.0


class Entrance:
    """The machine's mount namespace, kept open."""

    def __init__(self, machine):
        self.machine = machine
        keeper = machine.start_command(machine.command("sleep", "infinity")).pid
        servers.wait_until(lambda: field(keeper, "Name") == "sleep", "the namespace")
        user = [] if os.geteuid() == 0 else ["--user", "--preserve-credentials"]
        self.words = ["nsenter", f"--target={keeper}", "--mount", "--root", *user, "--"]

    def pipes(self, *arguments, env=None):
        return Victim(self._start(arguments, subprocess.PIPE, subprocess.PIPE, env))

    def terminal(self):
        master, slave = pty.openpty()
        settings = termios.tcgetattr(slave)  # before a shell can change them
        return Victim(self._start((), slave, slave), master, slave, settings)

    def _start(self, arguments, stdin, stdout, env=None):
        # fmt: off
        return subprocess.Popen(
            [*self.words, "/tmp/.build/vandel", *arguments], stdin=stdin, stdout=stdout,
            stderr=subprocess.PIPE, bufsize=0, env=self.machine.environ(env), cwd="/")
        # fmt: on


class Victim:
    """A shell that is going to be killed. Everything read so far is in `output`."""

    def __init__(self, process, master=None, slave=None, settings=None):
        self.process = process
        self.pid = process.pid
        self.master, self.slave = master, slave
        self.output, self.errors = b"", b""
        self.ended = os.pidfd_open(process.pid)
        self.settings = settings
        self.reading = process.stdout.fileno() if slave is None else master
        self.seconds = self.queued = 0.0

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        for stream in (self.process.stdin, self.process.stdout, self.process.stderr):
            if stream:
                stream.close()
        for descriptor in (self.ended, self.master, self.slave):
            if descriptor is not None:
                os.close(descriptor)

    def await_handler(self):
        """Waits until SIGTERM is the shell's own to handle (before, nobody can), or
        until a shell that has one command only has ended by itself."""
        deadline = time.monotonic() + PATIENCE
        while not int(field(self.pid, "SigCgt") or "0", 16) & CAUGHT:
            assert time.monotonic() < deadline
            if self.process.poll() is not None:
                break

    def send(self, data):
        os.write(self.master if self.master is not None else self.process.stdin.fileno(), data)

    def read(self, timeout):
        """Reads a piece if one comes in time; False when there is none."""
        if not select.select([self.reading], [], [], timeout)[0]:
            return False
        piece = b""
        with contextlib.suppress(OSError):  # a terminal that nobody has open any more
            piece = os.read(self.reading, 65536)
        self.output += piece
        return piece != b""

    def read_until(self, condition):
        """Reads until condition(output) holds."""
        deadline = time.monotonic() + PATIENCE
        while not condition(self.output):
            assert self.read(1) or time.monotonic() < deadline, self.output[-200:]

    def read_for(self, seconds):
        """Reads whatever comes during that time."""
        deadline = time.monotonic() + seconds
        while (left := deadline - time.monotonic()) > 0:
            if not self.read(left):
                break

    def kill(self):
        self.queued = queued(self.pid)
        self.killed = time.monotonic()
        self.process.send_signal(signal.SIGTERM)

    def wait(self, limit, stalled=False):
        """Waits for the end; reads meanwhile, unless the output is to be stalled.

        Returns the status. A shell that has not ended after `limit` seconds hangs."""
        deadline = self.killed + limit
        wanted = [self.ended] if stalled else [self.ended, self.reading]
        while True:
            ready = select.select(wanted, [], [], max(0, deadline - time.monotonic()))[0]
            if self.ended in ready:
                break
            assert ready, f"a hang: {field(self.pid, 'State')}, {self.output[-200:]!r}"
            if not self.read(0):
                wanted = [self.ended]
        self.seconds = time.monotonic() - self.killed
        self.queued = queued(self.pid) - self.queued
        while self.read(0):
            pass
        self.errors = self.process.stderr.read()
        return self.process.wait()
