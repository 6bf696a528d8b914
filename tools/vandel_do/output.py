"""What vandel-do prints: messages, notifications, and the texts of the shell."""

import contextlib
import os
import re

STDOUT, STDERR = 1, 2
LIMIT = 1 << 16  # bytes at each end of a text that are kept
# What would steer a terminal, and bytes that are no character.
CONTROLS = re.compile(
    "[\0-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f\u202a-\u202e\u2066-\u2069\ud800-\udfff]|\r(?!\n)"
)


def printable(text):
    """Without what would steer a terminal."""
    return "".join(character if character.isprintable() else "?" for character in text)


def write(descriptor, data):
    """Writes all of it, past the buffers: notifications come from a thread of their own."""
    rest = memoryview(data)
    while rest:
        rest = rest[os.write(descriptor, rest) :]


def tell(data):
    """Writes to standard error; where that cannot be written, the exit status has to do."""
    with contextlib.suppress(OSError):
        write(STDERR, data)


def complain(text):
    tell(f"vandel-do: {printable(text)}\n".encode())


def without_controls(data):
    """As printable(), for bytes of several lines."""
    return CONTROLS.sub("?", data.decode("utf-8", "surrogateescape")).encode()


class Stdout:
    """Standard output. A command goes on to its end when it fails: it may be a commit."""

    def __init__(self):
        self.error = None

    def write(self, data):
        """Writes all of it, or remembers the error."""
        try:
            if self.error is None:
                write(STDOUT, data)
        except OSError as error:
            self.error = error


class Text:
    """What a command prints: passed on, and its ends kept, which tell how it went."""

    def __init__(self, pass_on, is_unwanted=None):
        """pass_on(piece) gets each piece at once.

        With is_unwanted, a text waits for release(). One that gets too long to be kept
        passes on at once, or is dropped from there on if is_unwanted() says so.
        """
        self.pass_on = pass_on
        self.is_unwanted = is_unwanted
        self.is_waiting = is_unwanted is not None
        self.head = bytearray()
        self.tail = b""
        self.size = 0

    def add(self, piece):
        was_whole = self.size <= LIMIT
        self.size += len(piece)
        if self.is_waiting and was_whole and self.size > LIMIT and not self.is_unwanted():
            self.release()
        self.head += piece[: LIMIT - len(self.head)]
        self.tail = (self.tail + piece)[-LIMIT:]
        if not self.is_waiting:
            self.pass_on(piece)

    def release(self):
        """Passes on what was kept; the next pieces pass at once."""
        if self.is_waiting:
            self.is_waiting = False
            self.pass_on(bytes(self.head))

    def ends(self):
        """All of a short text; of a long one its start and its end.

        They are joined: a line that is longer than both still begins and ends as it does.
        """
        return bytes(self.head) + (self.tail if self.size > LIMIT else b"")
