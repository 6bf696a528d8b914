"""The head of a YANG text: whose it is, and what it needs."""

import re
from typing import NamedTuple

# Each alternative takes all that it begins, to the end of the text if need be, so that no
# text is gone through twice.
TOKEN = re.compile(
    r'"[^"\\]*(?:\\.[^"\\]*)*"?|\'[^\']*\'?|//[^\n]*|/\*.*?(?:\*/|\Z)|[{};]|[^\s{};"\']+', re.DOTALL
)
HEAD = set(
    "yang-version namespace prefix belongs-to import include"
    " organization contact description reference revision".split()
)


class Head(NamedTuple):
    name: str  # empty: this is no module
    revision: str  # the newest; empty: none
    needs: list  # [name, revision or "", whether it is an include] of each import and include


def statements(text):
    """(depth, keyword, argument) of each statement."""
    depth = 0
    words = []
    for match in TOKEN.finditer(text):
        token = match[0]
        if token.startswith(("//", "/*")):
            continue
        if token not in "{};":
            words.append(token)
            continue
        if words:
            yield depth, words[0], words[1].strip("\"'") if len(words) > 1 else ""
        words.clear()
        depth += {"{": 1, "}": -1, ";": 0}[token]


def read_head(text):
    name = revision = ""
    needs = []
    for depth, keyword, argument in statements(text):
        if depth == 0 and keyword in ("module", "submodule"):
            name = argument
        elif depth == 1 and keyword in ("import", "include"):
            needs.append([argument, "", keyword == "include"])
        elif depth == 1 and keyword == "revision":
            revision = max(revision, argument)
        elif depth == 2 and keyword == "revision-date" and needs:
            needs[-1][1] = argument
        elif depth == 1 and keyword not in HEAD and ":" not in keyword:
            break  # the body
    return Head(name, revision, needs)
