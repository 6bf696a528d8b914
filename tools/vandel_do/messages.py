"""What the shell has said of a command: done, refused or lost, by the table beside this file."""

import os
import re

TABLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "messages")
FILLED_IN = "…"


def read_table():
    """{text: class}, as the file has them."""
    found = {}
    with open(TABLE, encoding="utf-8") as file:
        for line in file:
            kind, _, text = line.rstrip("\n").partition(" ")
            if text and not line.startswith("#"):
                found[text] = kind
    return found


def compile_kind(table, kind):
    """What matches a whole line with a text of this class."""
    texts = [text for text in table if table[text] == kind]
    patterns = [".*".join(map(re.escape, text.split(FILLED_IN))) for text in texts]
    return re.compile("|".join(patterns).encode())


class Messages:
    def __init__(self):
        table = read_table()
        self.lost = compile_kind(table, "lost")
        self.refused = compile_kind(table, "refused")

    def judge(self, output):
        """The class of what a command has printed that is no reply of the device."""
        if output.startswith(b"<") and output.rstrip().endswith(b">"):
            return "done"  # what is staged, as XML, where a value may be any of the texts
        lines = [line.strip() for line in output.split(b"\n")]
        for kind in ("lost", "refused"):
            if any(getattr(self, kind).fullmatch(line) for line in lines):
                return kind
        return "done"
