"""Thousands of keys at random: every byte that the line editor writes for each."""

import random
import subprocess

import pytest
from support.editor_model import EditorModel
from support.editor_terminal import start_fixture  # noqa: F401
from support.editor_terminal import (
    BACKSPACE,
    CTRL,
    DELETE,
    DEMO,
    DOWN,
    END,
    ENTER,
    HOME,
    LEFT,
    PATIENCE,
    RIGHT,
    RUBOUT,
    UP,
)

WORDS = [
    "get",
    "get-config",
    "set",
    "set-of-everything",
    "interfaces/",
    "interface[name=a]/",
    "interface[name=ab]/",
    "i",
]
KEYS = (
    [UP, DOWN, LEFT, RIGHT, RUBOUT, DELETE] * 3
    + [LEFT, RIGHT, CTRL["w"], CTRL["i"], CTRL["y"]] * 3
    + [CTRL[letter] for letter in "aedkuyfl"]
    + [HOME, END, BACKSPACE]
)
CHARACTERS = b"abc de/f[]=,-1 2gsi\xc3\xa9\xff"


def words_before(line, point):
    start = line.rfind(b" ", 0, point) + 1
    typed = line[start:point]
    return start, [word.encode() for word in WORDS if word.encode().startswith(typed)]


def next_key(dice, model, longest):
    """A key at random; none that makes the line much longer than longest."""
    if dice.random() < 0.03:
        return dice.choice([ENTER, ENTER, CTRL["c"]])
    key = dice.choice(KEYS) if dice.random() < 0.5 else bytes([dice.choice(CHARACTERS)])
    if len(model.text) > longest and key not in (LEFT, RIGHT, HOME, UP, DOWN):
        return dice.choice([CTRL["w"], CTRL["u"], CTRL["k"], RUBOUT])
    return key


@pytest.mark.parametrize("prompt, columns, longest, seed", [
    ("/$ ", 20, 70, 1), ("\n/acme/box$ ", 20, 50, 2), ("\n[reset]$ ", 40, 130, 3),
    ("/$ ", 80, 170, 4), ("\n/a/prompt/wider/than/the/window$ ", 20, 60, 5), ("", 132, 300, 6),
    ("$ ", 1, 9, 7), ("$ ", 2, 12, 8), ("", 7, 30, 9)])  # fmt: skip
def test_every_byte_of_random_keys(start, prompt, columns, longest, seed):
    dice = random.Random(seed)
    demo = start("--prompt", prompt, "--words", " ".join(WORDS), columns=columns)
    model = EditorModel(prompt.encode(), columns)
    model.candidates = words_before
    assert demo.drawn == model.begin()
    keys = []
    for _ in range(1000):
        if dice.random() < 0.02:
            model.columns = dice.choice([columns, columns, columns + 1, 20, 40, 80, 132])
            demo.resize_window(model.columns, 24)
        key = next_key(dice, model, longest)
        keys.append(key)
        assert demo.press(key) == model.press(key), (columns, keys)
        if model.result is not None:
            assert demo.line() == model.result, keys
            if model.result:
                model.remember(model.result)
            assert demo.go_on() == model.begin(), keys


def piped_text(dice):
    """Lines whose lengths are near those at which pieces and rows end."""
    text = b""
    for _ in range(dice.randrange(12)):
        length = dice.choice([3, 5, 79, 80, 158, 160, 237, 240, 316]) + dice.randrange(-3, 4)
        line = bytes(dice.choices(b"abcdefg/ ", k=length))
        line = dice.choice([b"", b"", b" ", b" \t ", b" " * 79, b" " * 85]) + line
        if dice.random() < 0.3:
            at = dice.randrange(len(line) + 1)
            line = line[:at] + dice.choice([b"\r", b"\0", b"\t", b"\xff", b"\x1b[D"]) + line[at:]
        text += line + dice.choice([b"\n", b"\n", b"\n", b"\r\n"])
    return text[: len(text) - dice.choice([0, 0, 1, 2, 40])]


@pytest.mark.parametrize("seed", range(150))
def test_every_byte_of_random_piped_lines(seed):
    dice = random.Random(seed)
    text = piped_text(dice)
    model = EditorModel(b"\n/a$ ", 80)
    rest, expected = text, b""
    while True:
        line, written, rest = model.read_piped(rest)
        expected += written
        if line is None:
            break
        expected += b"line " + line.hex().encode() + b"\n"
    done = subprocess.run([*DEMO, "--prompt", "\n/a$ "], input=text, stdout=subprocess.PIPE,
                          timeout=PATIENCE, check=True)  # fmt: skip
    assert done.stdout == expected + b"none 2\n"
