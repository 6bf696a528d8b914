#!/usr/bin/python3
"""Draws bench/growth.svg: how the times in bench/figures.json grow with the size.

The same figures give the same bytes."""

import json
import math
import os
from html import escape

HERE = os.path.dirname(os.path.abspath(__file__))
FIGURES = os.path.join(HERE, "figures.json")
PICTURE = os.path.join(HERE, "growth.svg")
# The panels: a title, what the sizes count, and the curves: a row of bench/compare and
# whose time. A "" stands for the product.
PANELS = (
    ("Lines, then commit", "lines", (
        ("set, then commit", ""),
        ("leaf-list values, then commit", ""),
        ("delete, then commit", ""),
        ("set in rpc mode, then commit", ""),
        ("add-listentry in rpc mode, then commit", ""),
    )),
    ("Single commands after as many lines", "lines or words", (
        ("one command: set, lines noted", ""),
        ("one command: commit, lines noted", ""),
        ("one command: many words", ""),
    )),
    ("Keys among children and live entries", "names", (
        ("Tab among children", ""),
        ("? among children", ""),
        ("Tab among live entries", ""),
        ("ls among live entries", ""),
        ("Tab among children", "cat"),
    )),
    ("Printing a reply", "bytes", (
        ("printing a reply", ""),
        ("printing a reply", "xmllint"),
        ("printing a reply", "cat"),
    )),
)  # fmt: skip
COLOURS = ("#79b8ff", "#7ee787", "#e3b341", "#d2a8ff", "#ff7b72")

WIDE, TALL, LEFT, TOP, GAP = 330, 190, 66, 62, 96  # of a panel's inside, and around it
LEGEND = 17 * max(len(curves) for _, _, curves in PANELS)


def points(figures, name, whose):
    """(size, least, median, most) of a curve, by size."""
    return [
        (one["size"], least, middle, most)
        for one in figures
        if one["row"] == name
        for middle, least, most in [one["ms"][whose or "vandel"]]
    ]


def decades(values):
    """The powers of ten around these."""
    low = math.floor(math.log10(min(values)))
    return low, max(math.ceil(math.log10(max(values))), low + 1)


def power(exponent):
    return f"{10**exponent:,}" if exponent >= 0 else f"{10.0 ** exponent:g}"


def text(kind, x, y, words):
    return f'<text class="{kind}" x="{x:.1f}" y="{y:.1f}">{escape(words)}</text>'


def panel(figures, left, top, title, unit, curves):
    drawn = [(name, whose, points(figures, name, whose)) for name, whose in curves]
    drawn = [one for one in drawn if one[2]]
    lines = [text("title", left, top - 14, title)]
    if not drawn:
        return lines
    sizes = decades([size for _, _, curve in drawn for size, *_ in curve])
    times = decades([time for _, _, curve in drawn for _, *values in curve for time in values])

    def place(size, time):
        across = (math.log10(size) - sizes[0]) / (sizes[1] - sizes[0])
        up = (math.log10(time) - times[0]) / (times[1] - times[0])
        return left + across * WIDE, top + (1 - up) * TALL

    for exponent in range(sizes[0], sizes[1] + 1):
        x = place(10.0**exponent, 10.0 ** times[0])[0]
        lines.append(f'<path class="grid" d="M{x:.1f} {top}v{TALL}"/>')
        lines.append(text("under", x, top + TALL + 17, power(exponent)))
    for exponent in range(times[0], times[1] + 1):
        y = place(10.0 ** sizes[0], 10.0**exponent)[1]
        lines.append(f'<path class="grid" d="M{left} {y:.1f}h{WIDE}"/>')
        lines.append(text("beside", left - 7, y + 4, f"{power(exponent)} ms"))
    lines.append(text("under", left + WIDE / 2, top + TALL + 34, unit))
    for number, (name, whose, curve) in enumerate(drawn):
        colour = COLOURS[number]
        dashes = ' stroke-dasharray="5 4"' if whose else ""
        way = " ".join("{:.1f},{:.1f}".format(*place(size, mid)) for size, _, mid, _ in curve)
        lines.append(f'<polyline fill="none" stroke="{colour}"{dashes} points="{way}"/>')
        for size, least, _, most in curve:
            (x, low), (_, high) = place(size, least), place(size, most)
            lines.append(f'<path stroke="{colour}" d="M{x:.1f} {low:.1f}V{high:.1f}"/>')
        y = top + TALL + 54 + 17 * number
        lines.append(f'<path stroke="{colour}"{dashes} d="M{left} {y - 4}h24"/>')
        lines.append(text("name", left + 32, y, f"{name}: {whose}" if whose else name))
    return lines


def drawing(figures):
    columns, pitch = 2, (LEFT + WIDE + 40, TALL + GAP + LEGEND)
    width = columns * pitch[0] + 20
    height = TOP - 20 + math.ceil(len(PANELS) / columns) * pitch[1]
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}"'
        f' width="{width}" height="{height}" role="img" stroke-width="2" font-family="system-ui,'
        ' DejaVu Sans, sans-serif" font-size="12">',
        "<title>How times grow with the size, on logarithmic scales</title>",
        "<style>",
        ".title { fill: #f0f6fc; font-size: 15px; font-weight: 600 } .name { fill: #d8dee4 }",
        ".under { fill: #b7c3cf; text-anchor: middle } .beside { fill: #b7c3cf; text-anchor: end }",
        ".grid { fill: none; stroke: #30363d; stroke-width: 1 }",
        "</style>",
        f'<rect width="{width}" height="{height}" rx="8" fill="#161b22"/>',
    ]
    for number, (title, unit, curves) in enumerate(PANELS):
        left = 20 + LEFT + number % columns * pitch[0]
        top = TOP + number // columns * pitch[1]
        lines += panel(figures, left, top, title, unit, curves)
    return "\n".join([*lines, "</svg>", ""])


def kept():
    with open(FIGURES, encoding="utf-8") as file:
        return json.load(file)["figures"]


if __name__ == "__main__":
    with open(PICTURE, "w", encoding="utf-8") as picture:
        picture.write(drawing(kept()))
