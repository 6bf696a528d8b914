#!/usr/bin/python3
"""Draws docs/pictures/request.svg: the way of a change, from the key to the device.

What stands in the boxes is below. A first line with a "/" is a folder or a file of the
repository, which tests/e2e/test_pictures looks for."""

import os
from html import escape

HERE = os.path.dirname(os.path.abspath(__file__))
PICTURE = os.path.join(HERE, "request.svg")
# Rows of boxes, each read from left to right: what it is, and what happens there.
ROWS = (
    ("a key is pressed", (
        ("terminal", "bytes come in"),
        ("tinyrl/", "edits the line"),
        ("shell/dispatch", "finds the command"),
    )),
    ("set writes down", (
        ("commands/set", "splits the line"),
        ("schema/", "is there such a leaf?"),
        ("libredisapi.so", "redis, database 4"),
        ("cmdtree/tree", "keeps the change"),
    )),
    ("commit sends", (
        ("commands/commit", "lets go of the tree"),
        ("cmdtree/xml_writer", "makes it XML"),
        ("link/exchange", "locks, frames, sends"),
        ("libconf.so", "a socket"),
    )),
    ("the device does all of it, or nothing", (
        ("tarnd", "or tarnd-gateway"),
        ("the device", "checks and applies"),
        ("link/exchange", "reads the reply"),
        ("link/xml_print", "shows it indented"),
    )),
)  # fmt: skip
OUTSIDE = ("terminal", "libredisapi.so", "libconf.so", "tarnd", "the device")

BOX, TALL, GAP, MARGIN, TITLE = 170, 56, 26, 20, 26
PITCH = TITLE + TALL + 24


def box(column, top, head, text):
    x, middle = MARGIN + column * (BOX + GAP), MARGIN + column * (BOX + GAP) + BOX / 2
    kind = "outside" if head in OUTSIDE else "inside"
    return [
        f'<rect class="{kind}" x="{x}" y="{top}" width="{BOX}" height="{TALL}" rx="6"/>',
        f'<text class="head" x="{middle:g}" y="{top + 24}">{escape(head)}</text>',
        f'<text class="what" x="{middle:g}" y="{top + 43}">{escape(text)}</text>',
    ]


def arrow(column, top):
    """From a box to the next one in its row."""
    x, y = MARGIN + column * (BOX + GAP) + BOX + 4, top + TALL / 2
    return f'<path class="way" d="M{x} {y:g}h{GAP - 8}m-7 -5l7 5l-7 5"/>'


def drawing():
    width = 2 * MARGIN + 4 * BOX + 3 * GAP
    height = MARGIN + len(ROWS) * PITCH
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}"'
        f' width="{width}" height="{height}" role="img" font-family="system-ui,'
        ' DejaVu Sans, sans-serif" text-anchor="middle">',
        "<title>The way of a change, from the key to the device and back</title>",
        "<style>",
        ".inside { fill: #1f3a5f; stroke: #79b8ff } .outside { fill: #21262d; stroke: #7d8590 }",
        ".head { fill: #f0f6fc; font: 600 14px ui-monospace, DejaVu Sans Mono, monospace }",
        ".what { fill: #b7c3cf; font-size: 13px } .way { fill: none; stroke: #e3b341 }",
        ".row { fill: #e3b341; font-size: 13px; text-anchor: start }",
        "</style>",
        f'<rect width="{width}" height="{height}" rx="8" fill="#161b22"/>',
    ]
    for number, (title, boxes) in enumerate(ROWS):
        top = MARGIN + number * PITCH + TITLE
        lines.append(f'<text class="row" x="{MARGIN}" y="{top - 10}">{escape(title)}</text>')
        for column, (head, text) in enumerate(boxes):
            lines += box(column, top, head, text)
        lines += [arrow(column, top) for column in range(len(boxes) - 1)]
    return "\n".join([*lines, "</svg>", ""])


if __name__ == "__main__":
    with open(PICTURE, "w", encoding="utf-8") as file:
        file.write(drawing())
