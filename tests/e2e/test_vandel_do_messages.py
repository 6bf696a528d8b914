"""The table of vandel-do has every message of the shell, in a class."""

import os
import sys

import pytest
from support.printed import NO_MESSAGES, printed
from support.shell import ROOT

sys.path.insert(0, os.path.join(ROOT, "tools"))
from vandel_do.messages import Messages  # noqa: E402  pylint: disable=wrong-import-position

CLASSES = ("done", "refused", "lost")


def rows():
    path = os.path.join(ROOT, "tools", "vandel_do", "messages")
    with open(path, encoding="utf-8") as table:
        lines = [line.rstrip("\n") for line in table]
    return [line.split(" ", 1) for line in lines if line and not line.startswith("#")]


def test_every_message_has_one_class():
    texts = [text for _, text in rows()]
    assert len(texts) == len(set(texts))
    assert set(texts) == printed() - set(NO_MESSAGES)
    assert {kind for kind, _ in rows()} == set(CLASSES)


@pytest.mark.parametrize(
    "output, kind",
    [
        ("", "done"),
        ("/acme/box\r\n", "done"),
        ("error parameter: x\r\n", "refused"),
        ("x: no such command, type 'help' for more information.\n", "refused"),
        ("error command, please use:get path\r\n ", "refused"),
        ("This is a leaf or rpc node,that can't cd.", "refused"),
        ("no config data to export.\r\nexport config fail.\r\n", "refused"),
        ("no config data to export.\r\n", "done"),
        ("recv error!\r\n", "lost"),
        ("error parameter: x\r\npthread mutex lock error!\n\t", "lost"),
        ("a row with error parameter: x\n", "done"),
        ("<name>x\nerror parameter: x\n</name>\n", "done"),
        ("recv error! or so\n", "done"),
        ("/acme/port[id='s  not config node.']\r\n", "done"),
    ],
)
def test_what_a_text_says_of_a_command(output, kind):
    assert Messages().judge(output.encode()) == kind
