"""Programs under Valgrind, when VANDEL_VALGRIND is set.

A finding fails the test that started the program: an error, or memory that
nothing leads to at the end. What is left on purpose stands, each with its
reason, in valgrind.supp. Everything takes so much longer then that every
patience is multiplied by SCALE.
"""

import glob
import os

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
ENABLED = bool(os.environ.get("VANDEL_VALGRIND"))
SCALE = 20 if ENABLED else 1
keeps_standard_input_open = pytest.mark.skipif(
    ENABLED, reason="Valgrind opens a standard input that is closed"
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


def check(directory):
    """Raises what was found in programs whose findings go to directory."""
    for path in sorted(glob.glob(os.path.join(directory, "valgrind.*"))):
        with open(path, encoding="utf-8", errors="replace") as file:
            findings = file.read()
        if findings:
            raise AssertionError(findings)
