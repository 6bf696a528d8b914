"""What every change must pass finds its files by itself."""

import os
import subprocess

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
