"""Thousands of keys at random, against a model of text, cursor and screen."""

import os
import random
import select

import pytest
from support.editor_terminal import start_fixture  # noqa: F401
from support.editor_terminal import (
    BACKSPACE,
    CTRL,
    DELETE,
    DOWN,
    END,
    ENTER,
    HOME,
    LEFT,
    RIGHT,
    RUBOUT,
    UP,
    wrapped,
)


class Model:
    """What the keys should do: text, point, history; no drawing."""

    def __init__(self, history=10):
        self.limit = history
        self.history = []
        self.killed = None
        self.start()

    def start(self):
        self.text = self.draft = ""
        self.point = 0
        self.place = None

    def set(self, text, point):
        self.text, self.point, self.place = text, point, None

    def show(self, place):
        if self.place is None:
            self.draft = self.text
        self.place = place
        self.text = self.draft if place is None else self.history[place]
        self.point = len(self.text)

    def insert(self, more):
        self.set(self.text[: self.point] + more + self.text[self.point :], self.point + len(more))
        return True

    def erase(self, first, last):
        """Removes the characters from first up to, not including, last."""
        if not 0 <= first < last <= len(self.text):
            return False
        self.set(self.text[:first] + self.text[last:], first)
        return True

    def up(self):
        place = len(self.history) - 1 if self.place is None else self.place - 1
        if place < 0:
            return False
        self.show(place)
        return True

    def down(self):
        if self.place is None:
            return False
        self.show(self.place + 1 if self.place + 1 < len(self.history) else None)
        return True

    def move(self, point):
        if not 0 <= point <= len(self.text):
            return False
        self.point = point
        return True

    def kill(self, first, last):
        self.killed = self.text[first:last]
        self.erase(first, last)
        return True

    def kill_to_start(self):
        if self.point == 0:
            self.killed = None
            return True
        return self.kill(0, self.point)

    def erase_word(self):
        first = len(self.text[: self.point].rstrip(" "))
        first = self.text.rfind(" ", 0, first) + 1
        self.erase(first, self.point)
        return True

    def yank(self):
        if self.killed is None:
            return False
        if self.killed:
            self.insert(self.killed)
        else:
            self.set(self.text, self.point)
        return True

    def finish(self):
        line = self.text[:-1] if self.text.endswith(" ") else self.text
        if line:
            if line in self.history:
                self.history.remove(line)
            self.history = (self.history + [line])[-self.limit :]
        self.start()
        return line

    def press(self, key):
        """Returns whether the key did not fail."""
        actions = {
            CTRL["a"]: lambda: self.move(0),
            HOME: lambda: self.move(0),
            CTRL["e"]: lambda: self.move(len(self.text)),
            END: lambda: self.move(len(self.text)),
            LEFT: lambda: self.move(self.point - 1),
            RIGHT: lambda: self.move(self.point + 1),
            UP: self.up,
            DOWN: self.down,
            RUBOUT: lambda: self.erase(self.point - 1, self.point),
            BACKSPACE: lambda: self.erase(self.point - 1, self.point),
            CTRL["d"]: lambda: self.erase(self.point, self.point + 1),
            DELETE: lambda: self.erase(self.point, self.point + 1),
            CTRL["k"]: lambda: self.kill(self.point, len(self.text)),
            CTRL["u"]: self.kill_to_start,
            CTRL["w"]: self.erase_word,
            CTRL["y"]: self.yank,
            CTRL["f"]: lambda: False,
            b"\x1b[5~": lambda: True,
            b"\x1b[12345678": lambda: True,
        }
        if key in actions:
            return actions[key]()
        return self.insert(key.decode())


class Paper:
    """The rows that a terminal of this size shows when text is written on it."""

    def __init__(self, prompt, columns, lines):
        self.prompt, self.columns, self.lines = prompt, columns, lines
        self.clear()

    def clear(self):
        self.done = []
        self.top = 0

    def draw(self, text, point):
        """Returns the rows of the screen and the cursor."""
        rows = self.done + wrapped(self.prompt + text, self.columns)
        row, column = divmod(len(self.prompt) + point, self.columns)
        row += len(self.done)
        last = len(self.done) + (len(self.prompt) + len(text)) // self.columns
        self.top = max(self.top, last + 1 - self.lines)
        shown = rows[self.top :]
        return shown + [""] * (self.lines - len(shown)), (row - self.top, column)

    def end_line(self, text):
        shown = wrapped(self.prompt + text, self.columns)
        count = (len(self.prompt) + len(text)) // self.columns + 1
        self.done += shown + [""] * (count - len(shown))


KEYS = (
    [UP, DOWN, LEFT, RIGHT, RUBOUT, DELETE] * 3
    + [LEFT, RIGHT, CTRL["w"]] * 4
    + [CTRL[letter] for letter in "aedkuy"]
    + [HOME, END, BACKSPACE, CTRL["f"], b"\x1b[5~", b"\x1b[12345678"]
)
CHARACTERS = "abc de/f[]=,-1 2"


def next_key(dice, model, longest):
    """A key at random; none that makes the line longer than longest."""
    if dice.random() < 0.03:
        return ENTER
    if dice.random() < 0.01:
        return dice.choice([CTRL["c"], CTRL["l"]])
    key = dice.choice(KEYS) if dice.random() < 0.45 else dice.choice(CHARACTERS).encode()
    grown = len(model.killed or "") if key == CTRL["y"] else 1
    return key if len(model.text) + grown <= longest else CTRL["u"]


@pytest.mark.parametrize(
    "prompt, columns, longest, seed",
    [
        ("", 20, 100, 1),
        ("", 20, 100, 2),
        ("", 40, 130, 3),
        ("", 80, 200, 4),
        ("", 132, 300, 5),
        ("/$ ", 20, 16, 6),
        ("/$ ", 40, 36, 7),
        ("/a/b$ ", 80, 73, 8),
        ("/$ ", 132, 128, 9),
    ],
)
def test_random_keys_against_a_model(start, prompt, columns, longest, seed):
    dice = random.Random(seed)
    demo = start("--prompt", prompt, columns=columns, lines=30)
    model, paper = Model(), Paper(prompt, columns, 30)
    keys = []
    bells = 0
    for _ in range(1200):
        key = next_key(dice, model, longest)
        if key in (ENTER, CTRL["c"]):
            # At the end of the line: the new line is written where the cursor is.
            demo.press(END)
            model.press(END)
            paper.draw(model.text, model.point)
            demo.press(key)
            paper.end_line(model.text)
            if key == CTRL["c"]:
                model.start()
            assert demo.line().decode() == model.finish(), keys
            demo.go_on()
        elif key == CTRL["l"]:
            demo.press(key)
            paper.clear()
        else:
            demo.press(key)
            bells += 0 if model.press(key) else 1
        keys.append(key)
        rows, cursor = paper.draw(model.text, model.point)
        assert demo.screen.rows() == rows, keys
        assert demo.screen.at() == cursor, keys
        assert demo.screen.bells == bells, keys


@pytest.mark.parametrize("seed", range(4))
def test_random_keys_all_at_once(start, seed):
    """The returned lines do not depend on how fast the keys come."""
    dice = random.Random(100 + seed)
    demo = start(columns=80, lines=30)
    model = Model()
    os.write(demo.gate, b"x" * 200)
    expected = []
    reports = []
    for _ in range(2000):
        key = next_key(dice, model, 1000)
        if key in (ENTER, CTRL["c"]):
            # Not before the read has begun: Ctrl-C is a signal at other times.
            if key == CTRL["c"]:
                model.start()
            expected.append(model.finish())
        elif key != CTRL["l"]:
            model.press(key)
        os.write(demo.master, key)
        while key in (ENTER, CTRL["c"]) and len(reports) < len(expected):
            report = demo.report()
            if report.startswith("line "):
                reports.append(bytes.fromhex(report[5:]).decode())
                demo.wait_for(demo.mode_is_raw)
            while select.select([demo.master], [], [], 0)[0]:
                os.read(demo.master, 65536)
    assert reports == expected
