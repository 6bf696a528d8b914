"""Running tarnd-gateway, and talking to it as a shell does."""

import contextlib
import fcntl
import os
import signal
import socket
import struct
import subprocess
import termios
import time

from . import valgrind
from .processes import children_of, state_of

REPOSITORY = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.abspath(os.environ.get("VANDEL_BUILD") or os.path.join(REPOSITORY, "build"))
PROGRAM = os.path.join(BUILD, "tarnd-gateway")
HEADER = struct.Struct("<IIHH")
MAGIC = 0xFEDCBAFF
WAIT = 60 * valgrind.SCALE  # seconds until a test that waits fails


def wait_for(condition, what):
    deadline = time.monotonic() + WAIT
    while not condition():
        assert time.monotonic() < deadline, what
        time.sleep(0.01)


def peak_memory_of(pid):
    """The largest resident size so far, without what the program's files take."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        lines = dict(line.split(":", 1) for line in status)
    sizes = [int(lines.get(name, "0").split()[0]) for name in ("VmHWM", "RssFile")]
    return (sizes[0] - sizes[1]) * 1024


def processor_time_of(pid):
    """Seconds of processor time; 0 when the process has ended."""
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rpartition(")")[2].split()
    except (FileNotFoundError, ProcessLookupError):
        return 0
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def frame(body, sequence=0):
    return HEADER.pack(MAGIC, len(body), sequence, 0) + body


class Gateway:
    """A gateway in a directory of its own; its log goes to a file there."""

    def __init__(self, directory, command, options=(), environment=None, prepare=None, inherit=()):
        self.socket = os.path.join(directory, "tarnd.sock")
        self.log_path = os.path.join(directory, "gateway.log")
        self.shells = []
        with open(self.log_path, "wb") as log:
            self.process = subprocess.Popen(
                [
                    *valgrind.words(directory),
                    PROGRAM,
                    "--listen",
                    self.socket,
                    *options,
                    "--",
                    *command,
                ],
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=log,
                env=environment,
                preexec_fn=prepare,
                pass_fds=inherit,
            )
        self.wait_for_log("listening on")

    def log(self):
        with open(self.log_path, "rb") as log:
            return log.read().decode("utf-8", "replace")

    def wait_for_log(self, text):
        def logged():
            assert self.process.poll() is None or text in self.log(), self.log()
            return text in self.log()

        wait_for(logged, f"no {text!r} in the log")

    def shell(self):
        shell = Shell(self.socket)
        self.shells.append(shell)
        return shell

    def sessions(self):
        """Process ids of those that serve a shell each, zombies included."""
        return children_of(self.process.pid)

    def rest(self):
        """Waits until each session waits: the others know then what it holds."""
        wait_for(lambda: all(state_of(pid) in "SZX" for pid in self.sessions()), "one is busy")

    def children(self):
        """Process ids of the commands, zombies included."""
        return [pid for session in self.sessions() for pid in children_of(session)]

    def peak_memory(self):
        """The largest resident sizes so far of those that run, in bytes; 0 under AddressSanitizer
        or Valgrind, which keep freed memory and copy where the C library does not."""
        if valgrind.ENABLED:
            return 0
        with open(f"/proc/{self.process.pid}/maps", encoding="utf-8") as maps:
            if "libasan" in maps.read():
                return 0
        return sum(map(peak_memory_of, [self.process.pid, *self.sessions()]))

    def processor_time(self):
        """Seconds of processor time used so far by those that run."""
        return sum(map(processor_time_of, [self.process.pid, *self.sessions()]))

    def stop(self, number=signal.SIGTERM):
        """Ends the gateway and returns its exit status."""
        for shell in self.shells:
            shell.close()
        if self.process.poll() is None:
            self.process.send_signal(number)
        try:
            status = self.process.wait(WAIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise
        valgrind.check(os.path.dirname(self.socket))
        # What a sanitizer finds ends only the process that served the shell.
        assert "its process ended with status" not in self.log(), self.log()
        assert "Sanitizer" not in self.log(), self.log()
        return status


class Shell:
    """A shell's end of the socket."""

    def __init__(self, path):
        self.connection = socket.socket(socket.AF_UNIX)
        self.connection.settimeout(WAIT)
        self.connection.connect(path)
        self.sequence = 0
        self.expected = 0

    def send(self, text, end=b"\0"):
        self.raw(frame(text + end, self.sequence))
        self.sequence += 1

    def raw(self, data):
        self.connection.sendall(data)

    def is_taken(self):
        """True when the gateway has read all that was sent."""
        left = fcntl.ioctl(self.connection, termios.TIOCOUTQ, b"\0\0\0\0")
        return left == b"\0\0\0\0"

    def read(self, size):
        data = bytearray()
        while len(data) < size:
            got = self.connection.recv(min(size - len(data), 1 << 20))
            assert got, f"the gateway closed the socket after {bytes(data[:100])!r}"
            data += got
        return bytes(data)

    def read_header(self):
        """Reads a frame's header, checks it, and returns the body's length."""
        magic, length, sequence, reserved = HEADER.unpack(self.read(HEADER.size))
        assert (magic, sequence, reserved) == (MAGIC, self.expected, 0)
        self.expected += 1
        return length

    def receive(self):
        return self.read(self.read_header())

    def ask(self, text):
        self.send(text)
        return self.receive()

    def read_to_the_end(self):
        data = b""
        with contextlib.suppress(ConnectionResetError):
            while got := self.connection.recv(1 << 20):
                data += got
        return data

    def at_end(self):
        """Waits for the gateway to close the socket; True when nothing came before."""
        try:
            return self.connection.recv(1) == b""
        except ConnectionResetError:
            return True

    def has_nothing(self, seconds=0.2):
        """True when nothing arrives for that long."""
        self.connection.settimeout(seconds)
        try:
            return self.connection.recv(1, socket.MSG_PEEK) is None
        except TimeoutError:
            return True
        finally:
            self.connection.settimeout(WAIT)

    def close(self):
        with contextlib.suppress(OSError):
            self.connection.close()
