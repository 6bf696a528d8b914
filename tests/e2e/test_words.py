"""How a line is split into words, and what becomes of a value on its way out.

The rules are written here once more, and random lines are held against them.
"""

import random

import pytest
from support.example import EXAMPLE, edit_config, printed_ok
from support.messages import NOTHING_STAGED, SET_USAGE

CODES = {" ": "\x03", "[": "\x0b", "]": "\x0c", "=": "\x0d", ",": "\x0e"}
CHARACTERS = {code: character for character, code in CODES.items()}
CHARACTERS.update({"\x01": "/", "\x02": ":"})
ENTITIES = {"&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;", "\r": "&#13;"}
PIECES = ['"', "'", '"', "'", " ", "  ", "\t", "a", "b[c]", "=", ",", "/", ":", "[", "]", "<", "&"]
PIECES += ["%s", "%n", "\\", "\xc3\xa9", "\x01", "\x02", "\x03", "\x0b", "\x0c", "\x0e"]


def quoted_sections(text):
    """(text before, quote, inside) of each closed quotation, then the rest."""
    sections = []
    while True:
        opening = min((at for at in map(text.find, "\"'") if at >= 0), default=-1)
        closing = text.find(text[opening], opening + 1) if opening >= 0 else -1
        if closing < 0:
            return sections, text
        sections.append((text[:opening], text[opening], text[opening + 1 : closing]))
        text = text[closing + 1 :]


def words_of(line):
    sections, rest = quoted_sections(line.replace("\t", " "))
    text = ""
    for before, quote, inside in sections:
        text += before + quote + "".join(CODES.get(one, one) for one in inside) + quote
    return [word for word in (text + rest).split(" ") if word]


def sent(word):
    """A word as the text of an element."""
    sections, rest = quoted_sections("".join(CHARACTERS.get(one, one) for one in word))
    text = ""
    for before, quote, inside in sections:
        cuts = any(one in inside for one in CODES)
        text += before + (inside if cuts else quote + inside + quote)
    return "".join(ENTITIES.get(one, one) for one in text + rest)


@pytest.mark.parametrize("seed", range(3))
def test_random_values(machine, seed):
    machine.load(EXAMPLE)
    chance = random.Random(seed)
    lines, expected, requests = [], "", []
    for _ in range(500):
        line = "set /acme/box/name " + "".join(chance.choices(PIECES, k=chance.randint(0, 8)))
        words = words_of(line)
        lines += [line.encode("latin-1").decode("utf-8", "surrogateescape"), "commit"]
        expected += f"/$ {line}\n"
        if len(words) > 3:
            expected += f"{SET_USAGE}/$ commit\n{NOTHING_STAGED}"
            continue
        value = sent(words[2]) if len(words) == 3 else ""
        number = len(requests) + 1
        requests.append(edit_config(f'<box xmlns="urn:acme"><name>{value}</name></box>', number))
        expected += f"/$ commit\n{printed_ok(number)}"
    result = machine.session(*lines, "quit")
    assert result.stdout.decode("latin-1") == expected + "/$ quit\n"
    arrived = [frame.body.decode("latin-1") for frame in machine.tarnd.frames[1:]]
    assert arrived == [request + "\0" for request in requests]
