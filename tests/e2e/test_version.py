"""There is one version, CMake's: the programs and the documents say it, too."""

import glob
import os
import re
import subprocess

import pytest
from support.shell import BUILD, ROOT


def read(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as document:
        return document.read()


VERSION = re.search(r"(?m)^project\(vandel VERSION ([0-9.]+) ", read("CMakeLists.txt"))[1]
# The versions of the list of changes, newest first, each with its date.
RELEASES = re.findall(r"(?m)^## ([0-9.]+) \((.+)\)$", read("CHANGES.md"))
PROGRAMS = [os.path.join(BUILD, name) for name in ("schemac", "tarnd-gateway")]
PROGRAMS += [os.path.join(ROOT, "tools", name) for name in ("vandel-connect", "vandel-do")]
PAGES = [os.path.relpath(page, ROOT) for page in glob.glob(os.path.join(ROOT, "docs/man/*.[157]"))]


@pytest.mark.parametrize("path", PROGRAMS, ids=os.path.basename)
@pytest.mark.parametrize("arguments", [["--version"], ["--version", "more"]])
def test_a_program_says_its_version(path, arguments):
    command = [path, *arguments]
    result = subprocess.run(command, check=False, capture_output=True, timeout=60)
    expected = f"{os.path.basename(path)} {VERSION}\n".encode()
    assert (result.returncode, result.stdout, result.stderr) == (0, expected, b"")


def test_the_shell_s_help_says_the_version(machine):
    assert f"vandel  version v{VERSION}\n".encode() in machine.one_shot("help").stdout


def test_the_newest_version_in_the_list_of_changes_is_this_one():
    assert RELEASES[0][0] == VERSION


@pytest.mark.parametrize("page", PAGES)
def test_a_man_page_has_the_version_and_its_date(page):
    text = read(page)
    assert re.findall(r"(?m)^\.Os (.*)$", text) == [f"vandel {VERSION}"]
    assert re.findall(r"(?m)^\.Dd (.*)$", text) == [RELEASES[0][1]]


def test_the_recipes_have_the_version():
    buildroot = read("packaging/buildroot/package/vandel/vandel.mk")
    assert re.findall(r"(?m)^VANDEL_VERSION = (.*)$", buildroot) == [VERSION]
    yocto = glob.glob(os.path.join(ROOT, "packaging/yocto/meta-vandel/recipes-*/*/*.bb"))
    assert [os.path.basename(path) for path in yocto] == [f"vandel_{VERSION}.bb"]


def test_the_collection_has_the_version():
    text = read("tools/ansible_collections/vandel/netconf/galaxy.yml")
    assert re.findall(r"(?m)^version: (.*)$", text) == [VERSION]


def test_there_are_man_pages():
    assert len(PAGES) >= 8
