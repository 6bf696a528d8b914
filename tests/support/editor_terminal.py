"""A pseudo-terminal with the line editor's demo program in it, and its screen.

tinyrl_demo reports every byte it has read, so a test knows when a key has been
dealt with: after the report, as soon as the program sleeps again.
"""

import contextlib
import fcntl
import os
import pty
import select
import struct
import subprocess
import termios
import time

import pyte
import pytest

from . import valgrind

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
BUILD = os.path.abspath(os.environ.get("VANDEL_BUILD") or os.path.join(ROOT, "build"))
DEMO = [*valgrind.words(valgrind.FINDINGS), os.path.join(BUILD, "tests", "tinyrl_demo")]
PATIENCE = 60 * valgrind.SCALE

UP, DOWN, RIGHT, LEFT = b"\x1b[A", b"\x1b[B", b"\x1b[C", b"\x1b[D"
HOME, END, DELETE = b"\x1b[H", b"\x1b[F", b"\x1b[3~"
CTRL = {letter: bytes([ord(letter) - 96]) for letter in "abcdefghijklmnopqrstuvwxyz"}
ENTER, BACKSPACE, RUBOUT = b"\r", b"\x08", b"\x7f"
NEXT_LINE = b"\x1bE"


class Vt100Stream(pyte.ByteStream):
    """pyte takes next-line for a mere line feed; a VT100 returns the cursor, too."""

    escape = dict(pyte.ByteStream.escape, E="next_line")
    events = pyte.ByteStream.events | {"next_line"}


class Screen(pyte.Screen):
    """A terminal's screen that counts bells and keeps its rows as text."""

    def __init__(self, columns, lines):
        self.bells = 0
        self.texts = {}
        super().__init__(columns, lines)

    def bell(self, *args):
        self.bells += 1

    def next_line(self):
        self.carriage_return()
        self.index()

    def rows(self):
        """The rows without the blanks at their ends."""
        for y in self.dirty:
            row = self.buffer[y]
            self.texts[y] = "".join(row[x].data for x in range(self.columns)).rstrip()
        self.dirty.clear()
        return [self.texts.get(y, "") for y in range(self.lines)]

    def at(self):
        return (self.cursor.y, self.cursor.x)


class Demo:
    """tinyrl_demo in a pseudo-terminal, and the terminal's screen."""

    def __init__(self, *options, columns=80, lines=24, settings=None, controlling=True):
        self.master, self.slave = pty.openpty()
        self.resize_window(columns, lines)
        if settings is not None:
            termios.tcsetattr(self.slave, termios.TCSANOW, settings)
        self.settings = termios.tcgetattr(self.slave)
        self.screen = Screen(columns, lines)
        self.stream = Vt100Stream(self.screen)
        self.reports, report = os.pipe()
        gate, self.gate = os.pipe()
        self.buffered = b""
        self.process = subprocess.Popen(
            [*DEMO, "--report", str(report), "--gate", str(gate), *options],
            stdin=self.slave,
            stdout=self.slave,
            stderr=subprocess.PIPE,
            pass_fds=(report, gate),
            start_new_session=True,
            preexec_fn=(lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0)) if controlling else None,
        )
        os.close(report)
        os.close(gate)
        self.wait_for(lambda: self.mode_is_raw())
        self.drawn = self.settle()

    def stop(self):
        if self.process.poll() is None:
            self.end()
        self.process.wait()
        self.process.stderr.close()
        for descriptor in (self.master, self.slave, self.reports, self.gate):
            with contextlib.suppress(OSError):
                os.close(descriptor)

    def end(self):
        """Ends the program: under Valgrind so that it can still report what it lost."""
        if valgrind.ENABLED:
            self.process.terminate()
            with contextlib.suppress(subprocess.TimeoutExpired):
                self.process.wait(20)
        self.process.kill()

    @staticmethod
    def wait_for(condition):
        limit = time.monotonic() + PATIENCE
        while not condition():
            assert time.monotonic() < limit, "the program does not do what it should"
            time.sleep(0.0005)

    def resize_window(self, columns, lines):
        size = struct.pack("HHHH", lines, columns, 0, 0)
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, size)

    def resize(self, columns):
        """The window and the screen get another width; the text stays where it is."""
        self.resize_window(columns, self.screen.lines)
        self.screen.resize(self.screen.lines, columns)
        self.screen.dirty.update(range(self.screen.lines))

    def mode(self):
        return termios.tcgetattr(self.slave)

    def mode_is_raw(self):
        return self.mode()[3] == 0

    def sleeps(self):
        with open(f"/proc/{self.process.pid}/stat", "rb") as stat:
            return stat.read().rpartition(b") ")[2][:1] == b"S"

    def settle(self):
        """Waits until the program waits; returns what it has written meanwhile."""
        written = b""
        self.wait_for(self.sleeps)
        while select.select([self.master], [], [], 0)[0]:
            part = os.read(self.master, 65536)
            self.stream.feed(part)
            written += part
        return written

    def report(self):
        """The next report of the program."""
        limit = time.monotonic() + PATIENCE
        while b"\n" not in self.buffered:
            assert select.select([self.reports], [], [], limit - time.monotonic())[0]
            part = os.read(self.reports, 65536)
            assert part, "the program has ended"
            self.buffered += part
        line, self.buffered = self.buffered.split(b"\n", 1)
        return line.decode()

    def press(self, *keys):
        """Strikes keys, byte by byte; returns what the last key made it write."""
        written = b""
        for key in keys:
            written = b""
            for byte in key:
                os.write(self.master, bytes([byte]))
                assert self.report() == f"key {byte}"
                written += self.settle()
        return written

    def type(self, text):
        """Strikes a key for each byte of text; returns all that was written."""
        return b"".join(self.press(bytes([byte])) for byte in text)

    def line(self):
        """The line that the read returned."""
        word, text = self.report().split(" ")
        assert word == "line"
        return bytes.fromhex(text)

    def go_on(self):
        """Lets the program read the next line; returns what it draws first."""
        os.write(self.gate, b"x")
        self.wait_for(self.mode_is_raw)
        return self.settle()

    def enter(self, text):
        """Types text and Enter; returns the line and goes on."""
        self.type(text)
        self.press(ENTER)
        line = self.line()
        self.go_on()
        return line


@pytest.fixture(name="start")
def start_fixture():
    running = []

    def start_demo(*options, **settings):
        demo = Demo(*options, **settings)
        running.append(demo)
        return demo

    yield start_demo
    for demo in running:
        demo.stop()


def shows(demo, rows, cursor):
    """Asserts the screen from its top, and the cursor as (row, column)."""
    assert demo.screen.rows() == rows + [""] * (demo.screen.lines - len(rows))
    assert demo.screen.at() == cursor


def wrapped(text, columns):
    return [text[at : at + columns].rstrip() for at in range(0, len(text), columns)]
