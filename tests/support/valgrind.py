"""Programs under Valgrind, when VANDEL_VALGRIND is set.

A finding fails the test that started the program: an error, or memory that
nothing leads to at the end. What is left on purpose stands, each with its
reason, in valgrind.supp. Everything takes so much longer then that every
patience is multiplied by SCALE.
"""

import atexit
import glob
import os
import shutil
import tempfile

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
ENABLED = bool(os.environ.get("VANDEL_VALGRIND"))
SCALE = 20 if ENABLED else 1
DESCRIPTORS = 12 if ENABLED else 0  # of those allowed to a program, Valgrind's own
# Of programs that do not run on a Machine; conftest.py looks here after each test.
FINDINGS = tempfile.mkdtemp(prefix="valgrind.") if ENABLED else ""
atexit.register(shutil.rmtree, FINDINGS, ignore_errors=True)
keeps_standard_input_open = pytest.mark.skipif(
    ENABLED, reason="Valgrind opens a standard input that is closed"
)
catches_what_it_says = pytest.mark.skipif(
    ENABLED, reason="Valgrind catches signals whether or not the program does"
)
keeps_no_arguments = pytest.mark.skipif(ENABLED, reason="Valgrind keeps a copy of the arguments")
starts_commands_itself = pytest.mark.skipif(
    ENABLED, reason="Valgrind's fork and descriptors stand between a program and its commands"
)


def words(directory):
    """What precedes a command line so that findings go to files in directory."""
    if not ENABLED:
        return []
    return [
        "valgrind", "--quiet", "--vgdb=no", "--fair-sched=yes", "--num-callers=30",
        "--leak-check=full", "--show-leak-kinds=definite,indirect",
        "--errors-for-leak-kinds=definite,indirect",
        f"--suppressions={HERE}/valgrind.supp", f"--log-file={directory}/valgrind.%p",
    ]  # fmt: skip


def wrap(machine, *programs):
    """A build directory, as the machine sees it, whose programs run under Valgrind.

    Its build file makes ninja content with them as they are."""
    os.makedirs(machine.path(".wrapped"), exist_ok=True)
    for program in programs:
        # From its own place, for ./run hides /tmp under another name from one command.
        command = " ".join(words("${0%/*}/../.valgrind"))
        with open(machine.path(f".wrapped/{program}"), "w", encoding="utf-8") as script:
            script.write(f'#!/bin/sh\nexec {command} "${{0%/*}}/../.build/{program}" "$@"\n')
        os.chmod(script.name, 0o755)
    with open(machine.path(".wrapped/build.ninja"), "w", encoding="utf-8") as rules:
        rules.write(f"build {' '.join(programs)}: phony\n")
    return "/tmp/.wrapped"


def check(directory):
    """Raises what was found, once, in programs whose findings go to directory."""
    for path in sorted(glob.glob(os.path.join(directory, "valgrind.*"))):
        with open(path, encoding="utf-8", errors="replace") as file:
            findings = file.read()
        os.unlink(path)
        if findings:
            raise AssertionError(findings)
