"""The page of messages has every text that the programs print and log, and no other."""

import ast
import glob
import os
import re

import pytest
from support.printed import (
    NO_MESSAGES,
    calls,
    literals,
    logged,
    printed,
    shown,
    texts_of,
    tool_code,
)
from support.shell import ROOT

with open(os.path.join(ROOT, "docs", "messages.md"), encoding="utf-8") as document:
    PAGE = document.read()


def described(section):
    """The messages in the tables of a section."""
    text = PAGE.partition(f"\n## {section}\n")[2].partition("\n## ")[0]
    rows = re.findall(r"(?m)^\| (`.*?`) \| ", text)
    messages = re.findall("`([^`]+)`", "\n".join(rows).replace("\\|", "|"))
    assert len(messages) > 10
    assert len(messages) == len(set(messages))
    return set(messages)


def test_what_the_shell_prints():
    messages = described("vandel, on the terminal")
    assert messages | set(NO_MESSAGES) == printed()
    assert not messages & set(NO_MESSAGES)


def test_what_the_shell_logs():
    assert described("vandel, in the system log") == logged()


def python_texts(expression):
    """The texts that an expression may be, as a reader would quote them."""
    if isinstance(expression, ast.Constant) and isinstance(expression.value, str):
        return [expression.value]
    if isinstance(expression, ast.JoinedStr):
        pieces = ("".join(python_texts(piece)) or "…" for piece in expression.values)
        return [re.sub("…+", "…", "".join(pieces))]
    if isinstance(expression, ast.BinOp):
        return [text + "…" for text in python_texts(expression.left)]
    if isinstance(expression, ast.BoolOp):
        return [text for value in expression.values for text in python_texts(value)]
    if isinstance(expression, ast.IfExp):
        return python_texts(expression.body) + python_texts(expression.orelse)
    return []


SAYING = "Failed NotThere PermissionError Trouble Unreachable UsageError _look_elsewhere".split()


def said_in_python(path):
    """What the code in a file reports."""
    with open(path, encoding="utf-8") as file:
        nodes = ast.walk(ast.parse(file.read()))
    for call in (node for node in nodes if isinstance(node, ast.Call)):
        name = getattr(call.func, "attr", getattr(call.func, "id", ""))
        if name in [*SAYING, "complain"]:
            yield from (text for word in call.args for text in python_texts(word))


SHOW_SAYS = set(said_in_python(os.path.join(ROOT, "tools", "schemac-show")))


@pytest.mark.parametrize("folder, program", [("schemac", "schemac"), ("gateway", "tarnd-gateway")])
def test_what_a_tool_says_is_in_its_sources(folder, program):
    known = "\n".join([*map(shown, literals(tool_code(folder))), *SHOW_SAYS])
    for message in described(program):
        for piece in message.split("…"):
            assert piece.strip() in known, message


def sentences(texts):
    """Those of several words, as a reader would quote them."""
    return {shown(text) for text in texts if re.match(r"[-\w].* \S*\w", text)}


# What is handed up to be put into a line of the gateway's log.
REASON = re.compile(r'(?:return|\?|:)\s*((?:"(?:[^"\\]|\\.)*"\s*)+)(?=[;:)])')
NO_REASONS = {"no error"}  # of what has none


def test_what_the_gateway_says():
    code = tool_code("gateway")
    said = [text for call in calls(code, "report|report_shell") for text in literals(call)]
    said += [literals(reason)[0] for reason in REASON.findall(code)]
    found = sentences(said) - NO_REASONS
    assert len(found) > 50
    assert found <= described("tarnd-gateway")


def test_what_schemac_says():
    """As far as it stands in one piece where it is reported."""
    code = tool_code("schemac")
    reports = calls(code, "complain|set_error|report_error")
    found = sentences(text for call in reports for text in literals(call)) - {"redis at"}
    messages = "\n".join(described("schemac"))
    assert len(found) > 8
    for text in found | SHOW_SAYS - {"…", "/…"}:
        assert text in messages


@pytest.mark.parametrize(
    "folder, section",
    [
        ("schemac_from", "schemac --from"),
        ("vandel_connect", "vandel-connect"),
        ("vandel_do", "vandel-do"),
    ],
)
def test_what_a_tool_in_python_says(folder, section):
    paths = glob.glob(os.path.join(ROOT, "tools", folder, "*.py"))
    found = set().union(*map(said_in_python, paths))
    assert found - {"…"} == described(section)


def test_what_a_scan_of_sources_finds():
    code = (
        'puts("one (\\r");\nprintf("%s\'s %-*d\\r\\n", name("x)"), ")");\n'
        'int tinyrl_printf(struct tinyrl *editor);\nputs(usage); // puts("no")\n'
        'fputs(wide ? "a" "b" : "c", stdout); puts(text.get());\n'
        'const char usage[] =\n    "two "\n    "\\"three\\"";\n'
    )
    assert texts_of(code) == {"one (", "…'s …", 'two "three"', "ab", "c", "puts(text.get())"}
