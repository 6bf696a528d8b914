"""Bash finds what is installed for it, and completes names, options and files."""

import os
import re
import subprocess

import pexpect
import pytest
from support.shell import BUILD, ROOT

PROMPT = "READY>"
TOOLS = os.path.join(ROOT, "tools")


@pytest.fixture(name="place", scope="module")
def fixture_place(tmp_path_factory):
    place = tmp_path_factory.mktemp("installed")
    subprocess.run(
        ["cmake", "--install", BUILD, "--prefix", place], check=True, capture_output=True
    )
    return place


@pytest.fixture(name="completions")
def fixture_completions(place, tmp_path):
    """All that may follow a line that is typed, in a directory with a file and a folder."""
    (tmp_path / "model.yang").touch()
    (tmp_path / "folder").mkdir()
    environment = {
        "PATH": f"{BUILD}:{TOOLS}:/usr/bin:/bin",
        "XDG_DATA_DIRS": str(place / "share"),
        "PS1": PROMPT,
        "TERM": "dumb",
    }
    bash = pexpect.spawn(
        "/bin/bash",
        ["--norc", "--noprofile"],
        env=environment,
        cwd=tmp_path,
        dimensions=(24, 2000),
        encoding="utf-8",
        timeout=60,
    )
    bash.expect_exact(PROMPT)
    bash.sendline(". /usr/share/bash-completion/bash_completion")
    bash.expect_exact(f"\r\n{PROMPT}")

    def complete(line):
        # Escape and a star put all of them into the line.
        bash.send(f"{line}\x1b*\x01: \r")
        bash.expect_exact(f"\r\n{PROMPT}")
        bash.send("\x10\x01echo \x04\r")
        bash.expect(rf"\r\n([^\r\n]*)\r\n{PROMPT}")
        words = bash.match[1].split()
        return sorted(words[len(line.split()) - (not line.endswith(" ")) :])

    yield complete
    bash.sendline("exit")
    bash.expect(pexpect.EOF)
    bash.close()


def test_the_commands_are_those_of_the_shell(completions):
    with open(os.path.join(ROOT, "shell", "command_table.cpp"), encoding="utf-8") as source:
        commands = re.findall(r'(?m)^    \{\d+, "(\S+)",', source.read())
    assert len(commands) > 10
    assert completions("vandel ") == completions("vandel help ") == sorted(commands)


@pytest.mark.parametrize(
    "line, expected",
    [
        ("vandel ge", ["get", "get-config"]),
        ("vandel get-config ", ["-r", "-s"]),
        ("vandel copy-config ", ["candidate", "config", "running", "startup"]),
        ("vandel copy-config config ", ["candidate", "running", "startup"]),
        ("vandel export-config s", ["startup"]),
        ("vandel export-config startup m", ["model.yang"]),
        ("vandel import-config fold", ["folder"]),
        ("vandel import-config model.yang r", ["running"]),
        ("schemac --fe", ["--feature", "--feature-file"]),
        ("schemac mod", ["model.yang"]),
        ("tarnd-gateway --max-", ["--max-buffered", "--max-shells"]),
        ("tarnd-gateway --listen s -- schem", ["schemac", "schemac-from", "schemac-show"]),
        ("vandel-do --no", ["--no-notifications"]),
    ],
)
def test_what_may_follow(completions, line, expected):
    assert completions(line) == expected


def test_nothing_runs_at_tab_that_is_not_in_the_path(completions, tmp_path):
    """What stands where one is may be another user's."""
    (tmp_path / "schemac").write_text("#!/bin/sh\ntouch run\n")
    (tmp_path / "schemac").chmod(0o755)
    expected = ["--feature", "--feature-file"]
    assert completions("schemac --fe") == completions("./schemac --fe") == expected
    assert not (tmp_path / "run").exists()
