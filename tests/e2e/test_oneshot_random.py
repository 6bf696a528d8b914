"""Processes on profiles that nobody wrote, against a model of the file's text."""

import os
import random

import pytest
from support.example import EXAMPLE

DISCARDED = b"The discard_changes command executed successfuly!\n"
INSIDE = b"invalid operation!!\r\n/acme/reset: no such command, type 'help' for more information.\n"
PROFILE = [b"[pwd]\n/acme\n\n", b"[config]\n\n\n", b"[rpc]\n\n\n", b"[rpc_para]\n\n\n", b"%%%\n"]
PIECES = [b"[pwd]", b"[config]", b"[rpc]", b"[rpc_para]", b"%%%", b"\n", b"\n\n", b"/acme", b"\0"]
PIECES += [b"[rpc]\n/acme/reset\n\n", b"set /acme/box/name 1", b"x", b" ", b"\r\n", *PROFILE]
COMMANDS = ["pwd", "set /acme/box/name 5", "set /acme/reset/delay 5", "set /acme/box/flag"]
COMMANDS += ["/acme/reset", "quit", "discard_changes"]
PROCESSES = 60


def start_value(content, section):
    """The whole line right after the first header, up to a zero byte; else empty."""
    header = content.find(section + b"\n")
    if header < 0 or header != content.find(section):
        return b""
    line, end, _ = content[header + len(section) + 1 :].partition(b"\n")
    return line.partition(b"\0")[0] if end else b""


def put(content, section, line, replaces):
    """The file after a line was put into a section; None when it has no place."""
    header = content.find(section)
    end = content.find(b"\n\n", header) if header >= 0 else -1
    if end < 0:
        return None
    place = header + len(section) + 1 if replaces else end + 1
    written = content[:place] + line + b"\n" + content[end + 1 :]
    return written + content[len(written) :]


class Model:
    def __init__(self, content):
        self.content = content

    def fresh(self, pwd, rpc):
        self.content = b"[pwd]\n%b\n\n[config]\n\n\n[rpc]\n%b\n\n[rpc_para]\n\n\n%%%%%%\n" % (
            pwd,
            rpc,
        )

    def put(self, section, line, replaces):
        """True when the line found its place."""
        content = put(self.content, section, line, replaces)
        self.content = self.content if content is None else content
        return content is not None

    def move(self, pwd, rpc):
        if self.content is None:
            self.fresh(pwd, rpc)
        self.put(b"[pwd]", pwd, True)
        self.put(b"[rpc]", rpc, True)

    def run(self, command):
        """The output of a command; None for what the model does not know."""
        pwd = start_value(self.content or b"", b"[pwd]") or b"/"
        rpc = start_value(self.content or b"", b"[rpc]")
        if rpc not in (b"", b"/acme/reset"):
            return None
        if command == b"pwd":
            return pwd + b"\r\n"
        if command == b"discard_changes":
            self.fresh(pwd, rpc)
            return DISCARDED
        if command.startswith(b"set "):
            return self.set(command, pwd, rpc)
        if command == b"quit" and rpc:
            self.fresh(pwd, rpc)
            self.move(b"/acme", b"")
            return DISCARDED
        if command == b"/acme/reset" and not rpc:
            self.move(b"/acme/reset", b"/acme/reset")
            return b""
        return INSIDE if command == b"/acme/reset" else b""

    def set(self, command, pwd, rpc):
        path = command.split()[1]
        inside = path.startswith(b"/acme/reset/")
        if inside and not rpc:
            return None
        if rpc and not inside:
            return b"error parameter: " + path + b"\r\n"
        if self.content is None:
            self.fresh(pwd, rpc)
        section = b"[rpc_para]" if inside else b"[config]"
        return b"" if self.put(section, command, False) else b"add cmd error!\r\n"


def random_profile(chance):
    if chance.random() < 0.1:
        return None
    if chance.random() < 0.5:
        return b"".join(chance.choices(PIECES, k=chance.randint(1, 25)))
    pieces = list(PROFILE)
    for _ in range(chance.randint(0, 3)):
        pieces.insert(chance.randint(0, len(pieces)), chance.choice(PIECES))
    if chance.random() < 0.3:
        pieces.pop(chance.randrange(len(pieces)))
    return b"".join(pieces)


def profile(machine):
    if not os.path.exists(machine.profile):
        return None
    with open(machine.profile, "rb") as file:
        return file.read()


@pytest.mark.parametrize("seed", range(3))
def test_random_profiles(machine, seed):
    machine.load(EXAMPLE)
    chance = random.Random(seed)
    processes = 0
    while processes < PROCESSES:
        model = Model(random_profile(chance))
        if os.path.exists(machine.profile):
            os.remove(machine.profile)
        if model.content is not None:
            with open(machine.profile, "wb") as file:
                file.write(model.content)
        for command in chance.choices(COMMANDS, k=4):
            before = model.content
            output = model.run(command.encode())
            if output is None:
                break
            result = machine.one_shot(*command.split())
            processes += 1
            assert (result.stdout, result.status) == (output, 0), (before, command)
            assert profile(machine) == model.content, (before, command)
