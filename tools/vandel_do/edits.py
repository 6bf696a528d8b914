"""What is staged in the shell, as the lines that would stage it again.

The shell drops what it sends, whatever the device answers. Relative paths go by the
workspace, so the lines that led there are kept with those that staged something.
"""

import os

STAGING = (b"set", b"delete", b"add-listentry")
ROOTS = (b"/$ ", b"\n/$ ")


class Edits:
    def __init__(self):
        self.walk = []  # (line, is_staged), from the top of the model on
        self.rpc = None  # the same for the rpc that is being prepared, its name first

    def count(self):
        """How many staged changes there are."""
        return sum(is_staged for _, is_staged in self.walk + (self.rpc or []))

    def block(self, last):
        """The lines that stage again what the line `last` sends, and that line."""
        lines = [b"cd /", *(line for line, _ in self.walk + (self.rpc or [])), last]
        return b"".join(line + b"\n" for line in lines)

    def note(self, line, shell, was_rpc):
        """Takes account of a line that the shell has carried out."""
        word = line.split(None, 1)[0]
        if word in STAGING:
            (self.walk if self.rpc is None else self.rpc).append((line, True))
        elif word == b"discard_changes" or takes_all(line):
            self.drop()
        elif shell.prompt != shell.before and shell.in_rpc == was_rpc:
            (self.walk if self.rpc is None else self.rpc).append((line, False))
        if shell.in_rpc and not was_rpc:
            self.rpc = [(line, False)]
        elif was_rpc and not shell.in_rpc:
            # It is left to where the model has it, which leads on.
            self.walk += [self.rpc[0], (b"quit", False)]
            self.rpc = None
        if shell.prompt in ROOTS and not self.count():
            self.walk = []

    def drop(self):
        """What was staged, here or for the rpc, is not staged any longer."""
        if self.rpc is None:
            self.walk = [(line, False) for line, is_staged in self.walk if not is_staged]
        else:
            self.rpc = [(line, False) for line, is_staged in self.rpc if not is_staged]


def takes_all(line):
    """True for a line that sends what is staged, which is not staged any longer then."""
    words = line.split()
    return words[:1] == [b"commit"] or words[:2] == [b"copy-config", b"config"]


class SaveFile:
    """The file of --save-edits: made when there is something to save, and never over another."""

    def __init__(self, path):
        self.path = path
        self.descriptor = None

    def add(self, comment, block):
        """Appends lines; raises OSError."""
        if self.descriptor is None:
            flags = os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_NOFOLLOW | os.O_CLOEXEC
            self.descriptor = os.open(self.path, flags, 0o600)
        rest = memoryview(b"# %s\n%s" % (comment.encode(), block))
        while rest:
            rest = rest[os.write(self.descriptor, rest) :]
