"""The shell and the libraries beside it need no C++ run-time library: a device need not have one.

For other processors, too, whose programs can be read here like any."""

import os
import re
import subprocess

import pytest
from support.shell import BUILD

# Where an emulator runs the programs, BUILD holds scripts and stands in the build.
CACHE = "CMakeCache.txt"
BUILT = BUILD if os.path.exists(os.path.join(BUILD, CACHE)) else os.path.dirname(BUILD)
SHELL = ["libc", "libconf", "libredisapi", "libxml2"]


def is_sanitized():
    with open(os.path.join(BUILT, CACHE), encoding="utf-8") as cache:
        return re.search(r"(?m)^VANDEL_SANITIZE:\w+=.", cache.read()) is not None


def needed(name):
    """Without the program loader, which is there wherever libc is."""
    command = ["readelf", "--wide", "--dynamic", os.path.join(BUILT, name)]
    entries = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    libraries = re.findall(r"\(NEEDED\) .*\[(.+?)\.so[.\d]*\]", entries)
    return sorted(library for library in libraries if not library.startswith("ld-linux"))


@pytest.mark.skipif(is_sanitized(), reason="a sanitizer is itself such a library")
@pytest.mark.parametrize(
    "name, libraries",
    [
        ("vandel", SHELL),
        ("installed/vandel", SHELL),
        ("libconf.so", ["libc"]),
        ("libredisapi.so", ["libc", "libhiredis"]),
    ],
)
def test_what_is_loaded_with_it(name, libraries):
    assert needed(name) == libraries
