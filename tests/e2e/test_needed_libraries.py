"""The shell and the libraries beside it need no C++ run-time library: no device must have one.
And the shell is small.

For other processors, too, whose programs can be read here like any."""

import os
import re
import subprocess

import pytest
from support.shell import BUILD

# Where an emulator runs the programs, BUILD holds scripts and stands in the build.
CACHE = "CMakeCache.txt"
BUILT = BUILD if os.path.exists(os.path.join(BUILD, CACHE)) else os.path.dirname(BUILD)
SHELL = ["libc", "libconf", "libredisapi"]


def configured(name):
    """What CMake has kept under a name; the empty text for nothing."""
    with open(os.path.join(BUILT, CACHE), encoding="utf-8") as cache:
        found = re.search(rf"(?m)^{name}:\w+=(.*)", cache.read())
    return found.group(1) if found else ""


def needed(name):
    """Without the program loader, which is there wherever libc is."""
    command = [configured("CMAKE_READELF"), "--wide", "--dynamic", os.path.join(BUILT, name)]
    entries = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    libraries = re.findall(r"\(NEEDED\) .*\[(.+?)\.so[.\d]*\]", entries)
    return sorted(library for library in libraries if not library.startswith("ld-linux"))


@pytest.mark.skipif(
    configured("VANDEL_SANITIZE") != "", reason="a sanitizer is itself such a library"
)
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


@pytest.mark.skipif(
    configured("VANDEL_SANITIZE") != "" or configured("CMAKE_BUILD_TYPE") != "Release",
    reason="not as on a device",
)
def test_how_large_the_shell_is(tmp_path):
    stripped = tmp_path / "vandel"
    subprocess.run(
        [configured("CMAKE_STRIP"), "-o", stripped, os.path.join(BUILT, "vandel")], check=True
    )
    assert stripped.stat().st_size <= 220_000
