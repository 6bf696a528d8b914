"""An operator at a terminal: keys into an interactive shell, its bytes and screen.

After every key the operator types a mark and rubs it out again: once the mark
shows up, the key has been dealt with, and what came before it is what the key
wrote. Nothing else may write a mark.
"""

import os
import select
import time

from .editor_terminal import DOWN, LEFT, RIGHT, UP, Screen, Vt100Stream
from .shell import TIMEOUT

__all__ = ["BELL", "DOWN", "LEFT", "RIGHT", "RUBOUT", "TAB", "UP", "Prompt"]

MARK, RUBOUT = b"~", b"\x7f"
BELL = b"\x07"
TAB = b"\t"
KILL = b"\x05\x15"  # to the end of the line, and everything before it away


class Prompt:
    """`screen` may be None when only the bytes matter."""

    def __init__(self, machine, columns=80, rows=60, env=None, screen=True):
        self.child = machine.terminal(env=env, rows=rows, columns=columns)
        self.screen = Screen(columns, rows) if screen else None
        self.stream = Vt100Stream(self.screen) if screen else None
        self.until(lambda seen: seen.endswith(b"$ "))

    def _read(self, timeout):
        if not select.select([self.child.child_fd], [], [], timeout)[0]:
            return b""
        piece = os.read(self.child.child_fd, 65536)
        if self.stream:
            self.stream.feed(piece)
        return piece

    def until(self, condition, timeout=TIMEOUT):
        """Waits until condition(what is written from now on) holds; returns that."""
        seen, limit = b"", time.monotonic() + timeout
        while not condition(seen):
            if time.monotonic() > limit:
                raise TimeoutError(f"the terminal shows only {seen!r}")
            seen += self._read(0.1)
        return seen

    def send(self, data):
        os.write(self.child.child_fd, data)

    def press(self, *keys, timeout=TIMEOUT):
        """Strikes keys; returns what was written in answer to the last of them."""
        seen = b""
        for key in keys:
            self.send(key + MARK)
            seen = self.until(lambda seen: MARK in seen, timeout)
            self.send(RUBOUT)
            self.until(lambda seen: seen.endswith(b"\x1b[J") or b"\x1b[J\x1b[" in seen, timeout)
            while self._read(0.005):
                pass
        return seen[: seen.index(MARK)]

    def type(self, text):
        """Types at the end of the line, which shows it."""
        self.press(text.encode())

    def line(self, text):
        """Replaces the line by this text, with the cursor where it has a "|"."""
        before, _, behind = text.partition("|")
        self.press(KILL + before.encode() + behind.encode() + LEFT * len(behind))

    def tab(self, text):
        """What Tab writes on this line."""
        self.line(text)
        return self.press(TAB)

    def help(self, text):
        """What '?' writes on this line."""
        self.line(text)
        return self.press(b"?")

    def run(self, line):
        """Runs a command; returns what it printed, up to the next prompt."""
        self.line(line)
        return self.press(b"\r").decode("utf-8", "surrogateescape")

    def walk(self, *names):
        """From the root into these, one after the other; returns the prompt there."""
        for name in names:
            self.run(f"cd {name}")
        return f"\n/{'/'.join(names)}$ "

    def shown(self):
        """The row of the screen in which the cursor stands."""
        return self.screen.display[self.screen.cursor.y].rstrip()
