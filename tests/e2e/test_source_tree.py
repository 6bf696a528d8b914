"""The source tree: who stands on whom, and in what voice it is written."""

import json
import os
import re
import subprocess

import pytest
from support.shell import BUILD, ROOT

# Each folder, and those that it stands on.
STANDS_ON = {
    "platform": (),
    "format": (),
    "tinyrl": ("platform",),
    "base": ("platform",),
    "link": ("base", "format"),
    "schema": ("link",),
    "cmdtree": ("schema",),
    "browse": ("cmdtree",),
    "profile": ("cmdtree",),
    "complete": ("browse", "tinyrl"),
    "commands": ("browse", "profile"),
    "shell": ("commands", "complete"),
    "device": ("platform", "format"),
}
STOREYS = [folder for folder in STANDS_ON if folder not in ("platform", "format", "device")]
INTERFACES = os.path.join(ROOT, "platform", "include")
INCLUDE = re.compile(r'(?m)^#include "(.+)"')


def below(folder):
    """All folders that a folder may know, itself included."""
    return {folder}.union(*(below(other) for other in STANDS_ON[folder]))


def folder_of(target):
    return target.split("/")[0] if "/" in target else "platform"


def read_includes():
    """{file: the files of ours that it includes}, by their paths from the root."""
    found = {}
    for folder in STANDS_ON:
        for directory, _, names in os.walk(os.path.join(ROOT, folder)):
            for name in names:
                if name.endswith((".h", ".cpp")):
                    path = os.path.join(directory, name)
                    with open(path, encoding="utf-8") as source:
                        found[os.path.relpath(path, ROOT)] = INCLUDE.findall(source.read())
    return found


INCLUDES = read_includes()


def test_the_design_names_every_folder():
    folders = {path.split("/")[0] for path in INCLUDES}
    assert folders == set(STANDS_ON)
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as build:
        built = re.findall(r"(?m)^add_subdirectory\((\w+)\)", build.read())
    assert built == [folder for folder in STANDS_ON if folder != "format"]


def test_every_include_names_a_file_from_the_root_or_an_interface():
    assert len(INCLUDES) > 150
    for path, targets in INCLUDES.items():
        for target in targets:
            interface = os.path.exists(os.path.join(INTERFACES, target))
            assert target in INCLUDES or interface, (path, target)


def test_tools_are_scripts_that_know_the_programs_only():
    for directory, _, names in os.walk(os.path.join(ROOT, "tools")):
        for name in names:
            path = os.path.join(directory, name)
            assert not name.endswith((".h", ".cpp", ".txt", ".cmake")), path
            with open(path, encoding="utf-8", errors="replace") as file:
                text = file.read()
            assert not re.search(r"\b(build|tests)/", text), path


def test_files_never_include_each_other_in_a_circle():
    finished, open_files = set(), []

    def visit(path):
        assert path not in open_files, [*open_files, path]
        if path not in finished:
            open_files.append(path)
            for target in INCLUDES.get(path, []):
                visit(target)
            finished.add(open_files.pop())

    for path in INCLUDES:
        visit(path)


def test_no_file_includes_one_of_a_folder_above():
    for path, targets in INCLUDES.items():
        allowed = below(folder_of(path))
        for target in targets:
            assert folder_of(target) in allowed, (path, target)


def test_the_shell_knows_interfaces_of_the_platform_only():
    for path, targets in INCLUDES.items():
        if folder_of(path) in STOREYS:
            assert not [target for target in targets if target.startswith("platform/")], path


def test_the_compiler_finds_the_headers_of_those_below_only():
    with open(os.path.join(BUILD, "compile_commands.json"), encoding="utf-8") as commands:
        entries = json.load(commands)
    seen = set()
    for entry in entries:
        folder = os.path.relpath(entry["file"], ROOT).split("/")[0]
        if folder not in STOREYS:
            continue
        seen.add(folder)
        words = entry["command"].split()
        paths = [os.path.relpath(word[2:], BUILD) for word in words if word.startswith("-I")]
        doors = {path.removeprefix("storeys/") for path in paths if path.startswith("storeys/")}
        outside = [path for path in paths if not path.startswith("storeys/")]
        assert doors | {"platform"} == below(folder) | {"platform"}, entry["file"]
        assert [os.path.normpath(os.path.join(BUILD, path)) for path in outside] == [
            os.path.join(ROOT, "platform", "include")
        ], entry["file"]
    assert seen == set(STOREYS)


def symbols(folder, *options):
    library = os.path.join(BUILD, folder, f"lib{folder}.a")
    listed = subprocess.run(
        ["nm", "--format=just-symbols", *options, library],
        stdout=subprocess.PIPE,
        check=True,
        text=True,
    ).stdout
    return {line for line in listed.splitlines() if line and not line.endswith(":")}


def test_no_library_calls_one_above():
    defined = {folder: symbols(folder, "--defined-only", "--extern-only") for folder in STOREYS}
    assert all(defined.values())
    for folder in STOREYS:
        wanted = symbols(folder, "--undefined-only")
        own = set().union(*(defined[other] for other in below(folder) if other in defined))
        for other in set(STOREYS) - below(folder):
            # What a header defines inline stands in several libraries.
            assert not wanted & defined[other] - own, (folder, other)


def test_only_the_top_knows_the_editor():
    knowing = {
        path
        for path, targets in INCLUDES.items()
        if not path.startswith(("tinyrl/", "complete/"))
        and any(target.startswith("tinyrl/") for target in targets)
    }
    assert knowing == {"shell/startup.cpp"}


def test_the_session_record_includes_nothing_of_ours():
    assert INCLUDES["base/session.h"] == []


# The folders of one voice, as far as neither clang-format nor clang-tidy hears it.
ONE_VOICE = [*STOREYS, "platform", "format", "device"]
LITERAL = re.compile(r'"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)\'')
C_HEADERS = (
    "assert|ctype|errno|limits|locale|math|signal|stdarg|stddef|stdint|stdio|stdlib|string|time"
)
ONE_LINE = r" \{\n\1    \S[^\n]*;\n\1\}"
DISCORDS = {
    "comments in /* */": r"/\*(?!\w+\*/)",
    "static at file level": r"(?m)^static ",
    # What a device's C code may read has guards, because it is no standard of C.
    "guards where C does not read": r"(?ms)\A(?!.*^extern 0).*?^#ifndef VANDEL_\w+_H$",
    "C headers by another name": rf"(?m)^#include <c(?:{C_HEADERS})>",
    "steps before the name": r"(?m)(?:^ *|[;,] )(?:\+\+|--)\w+(?=[;,)])",
    "braces around single lines": r"(?m)^( *)(?:if|for|while) \([^{}]*?\)"
    + ONE_LINE
    + r"(?: else(?: if \([^{}]*?\))?"
    + ONE_LINE
    + r")*$",
}


def read_sources():
    """{path from the root: text} of the folders of one voice."""
    found = {}
    for path in INCLUDES:
        if path.split("/")[0] in ONE_VOICE:
            with open(os.path.join(ROOT, path), encoding="utf-8") as source:
                found[path] = source.read()
    return found


SOURCES = read_sources()


@pytest.mark.parametrize("discord", DISCORDS.values(), ids=DISCORDS)
def test_one_voice(discord):
    heard = []
    for path, text in SOURCES.items():
        code = LITERAL.sub("0", text)
        for found in re.finditer(discord, code):
            line = code.count("\n", 0, found.start()) + 1
            heard.append(f"{path}:{line}")
    assert heard == []


def order_of_includes(text):
    """A letter for each block of includes: System, Ours, Mixed; a header that is alone, o."""
    run = re.search(r"(?m)(?:^#include .*\n+)+", text)
    letters = ""
    for block in run.group().strip().split("\n\n") if run else ():
        kinds = set(re.findall(r'(?m)^#include ([<"])', block))
        ours = "O" if "\n" in block else "o"
        letters += "M" if len(kinds) > 1 else "S" if "<" in kinds else ours
    return letters


def test_a_file_includes_its_own_header_then_the_system_s_then_ours():
    orders = {path: order_of_includes(text) for path, text in SOURCES.items()}
    assert {path: order for path, order in orders.items()
            if not re.fullmatch("o?S?[oO]?", order)} == {}  # fmt: skip
