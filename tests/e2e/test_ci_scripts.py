"""What every change must pass finds its files by itself."""

import os
import shutil
import subprocess
import sys

import pytest
from support.shell import ROOT

FILES = {
    "a.cpp": b"#include <x>\n",
    "a.h": b"",
    "tool.py": b"import os\n",
    "sourced.sh": b"# no interpreter\n",
    "folder/with bash": b"#!/usr/bin/env bash\nset -e\n",
    "with sh": b"#!/bin/sh -e\n",
    "bash alone": b"#!/bin/bash",
    "with python": b"#!/usr/bin/python3 -B\n",
    "with awk": b"#!/usr/bin/awk -f\n",
    "words": b"bash\n",
    "bytes": b"\0\xff#!/bin/sh\n",
    "no byte": b"",
}


@pytest.mark.parametrize(
    "language, expected",
    [
        ("c++", ["a.cpp", "a.h"]),
        ("python", ["tool.py", "with python"]),
        ("shell", ["sourced.sh", "folder/with bash", "with sh", "bash alone"]),
    ],
)
def test_files_of_a_language(tmp_path, language, expected):
    (tmp_path / "folder").mkdir()
    for name, content in FILES.items():
        (tmp_path / name).write_bytes(content)
    names = "".join(f"{name}\n" for name in [*FILES, "gone.cpp", "gone.py", "gone.sh"])
    result = subprocess.run(
        [os.path.join(ROOT, ".ci", "written_in"), language],
        cwd=tmp_path,
        input=names.encode(),
        check=True,
        capture_output=True,
    )
    assert result.stderr == b""
    assert result.stdout.decode().splitlines() == expected


def test_the_tests_take_no_settings_from_above_the_tree(tmp_path):
    """Others can put some there, where the tree is below /tmp."""
    tests = tmp_path / "tree" / "tests"
    tests.mkdir(parents=True)
    shutil.copy(os.path.join(os.path.dirname(__file__), "pytest.ini"), tests)
    (tmp_path / "pytest.ini").write_text("[pytest]\n")
    (tmp_path / "conftest.py").write_text("raise SystemExit('run')\n")
    (tests / "test_one.py").write_text("def test_one():\n    pass\n")
    result = subprocess.run(
        [sys.executable, "-B", "-m", "pytest", "-q", "-p", "no:cacheprovider", "test_one.py"],
        cwd=tests,
        check=False,
        capture_output=True,
        timeout=60,
    )
    assert result.returncode == 0, result
