#!/usr/bin/python3
"""Draws docs/pictures/session.svg: a session of a real shell, as a terminal shows it.

A shell of build/ (or VANDEL_BUILD) talks to the router of ./run. What is below is
typed, key by key, and the screen is drawn, with its colours. Nothing in it depends on
the machine or the time, so that tests/e2e/test_pictures can compare."""

import os
import sys
from html import escape

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "tests"))

from support.prompt import TAB, Prompt  # noqa: E402
from support.router import router  # noqa: E402

PICTURE = os.path.join(HERE, "session.svg")
COLUMNS, ROWS = 88, 50
# A line and the key that ends it.
TYPED = (
    ("cd van", TAB),
    ("cd vandel-device", b"\r"),
    ("ls", b"\r"),
    ("set system/ntp/", b"?"),
    ("set system/ntp/enabled true", b"\r"),
    ("set interfaces/interface[name=eth0]/mtu 9000", b"\r"),
    ("get-config -l", b"\r"),
    ("commit", b"\r"),
    ("cd interfaces", b"\r"),
    ("cd interface", b"\r"),
    ("ls", b"\r"),
)

WIDTH, HEIGHT = 8.4, 19  # of a cell
MARGIN, HEAD = 16, 34
PALETTE = {
    "default": "#d8dee4", "black": "#7d8590", "red": "#ff7b72", "green": "#7ee787",
    "brown": "#e3b341", "blue": "#79b8ff", "magenta": "#d2a8ff", "cyan": "#76e3ea",
    "white": "#f0f6fc",
}  # fmt: skip


def screen_after(machine):
    """The screen of a shell that all of it was typed into."""
    with router(machine, "--no-subscribe"):
        prompt = Prompt(machine, columns=COLUMNS, rows=ROWS, env={"COLUMNS": str(COLUMNS)})
        for line, key in TYPED:
            prompt.line(line)
            prompt.press(key)
        return prompt.screen


def pieces(row):
    """What of a row is drawn in one go: its first column, its text, its look."""
    found = []
    for column in range(COLUMNS):
        cell = row[column]
        look = (cell.fg, cell.bold)
        if found and found[-1][2] == look:
            found[-1][1] += cell.data
        else:
            found.append([column, cell.data, look])
    return [(column, text.rstrip(), look) for column, text, look in found if text.strip()]


def text_element(line, column, text, look):
    shift = len(text) - len(text.lstrip())
    text = text.lstrip()
    x = MARGIN + (column + shift) * WIDTH
    y = HEAD + MARGIN + (line + 0.75) * HEIGHT
    colour, is_bold = PALETTE[look[0]], ' font-weight="bold"' if look[1] else ""
    length = len(text) * WIDTH
    return (
        f'<text x="{x:.1f}" y="{y:.1f}" fill="{colour}"{is_bold} textLength="{length:.1f}"'
        f' lengthAdjust="spacingAndGlyphs">{escape(text, quote=False)}</text>'
    )


def drawing(screen):
    """The picture: it brings a background of its own, so that it can stand on any."""
    width = 2 * MARGIN + COLUMNS * WIDTH
    used = max(line for line in range(ROWS) if pieces(screen.buffer[line])) + 1
    height = HEAD + 2 * MARGIN + used * HEIGHT
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height:.0f}"'
        f' width="{width:.0f}" height="{height:.0f}" xml:space="preserve"'
        ' font-family="ui-monospace, Menlo, Consolas, DejaVu Sans Mono, monospace"'
        ' font-size="14" role="img">',
        "<title>A session of vandel in a terminal</title>",
        f'<rect width="{width:.0f}" height="{height:.0f}" rx="8" fill="#161b22"/>',
        *(
            f'<circle cx="{20 + 18 * number}" cy="18" r="5.5" fill="{colour}"/>'
            for number, colour in enumerate(("#ff5f57", "#febc2e", "#28c840"))
        ),
    ]
    for line in range(used):
        lines += [text_element(line, *piece) for piece in pieces(screen.buffer[line])]
    x = MARGIN + screen.cursor.x * WIDTH
    y = HEAD + MARGIN + screen.cursor.y * HEIGHT
    lines.append(
        f'<rect x="{x:.1f}" y="{y:.1f}" width="{WIDTH}" height="{HEIGHT - 1}"'
        f' fill="{PALETTE["default"]}"/>'
    )
    return "\n".join([*lines, "</svg>", ""])


def main():
    # Only here: the tests bring a machine of their own.
    from support.servers import RedisServer
    from support.shell import Machine

    os.umask(0o022)
    redis_server = RedisServer()
    machine = Machine(redis_server)
    try:
        picture = drawing(screen_after(machine))
    finally:
        machine.stop()
        redis_server.stop()
    with open(PICTURE, "w", encoding="utf-8") as file:
        file.write(picture)


if __name__ == "__main__":
    main()
