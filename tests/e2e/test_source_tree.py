"""The source tree: who includes whom."""

import os
import re

from support.shell import ROOT

SHELL = ("shell", "link", "schema", "cmdtree", "tinyrl", "complete")
# For the shell and the host's programs alike.
TEXT = ("bounded.h", "heap.h", "scrub.h", "code_point.h", "terminal_text.h")
INTERFACES = (*TEXT, "conf_agent.h", "redisapi.h")
INCLUDE = re.compile(r'(?m)^#include "(.+)"')


def read_includes():
    """{file: the files of ours that it includes}, by their paths from the root."""
    found = {}
    for folder in (*SHELL, "platform", "device"):
        for directory, _, names in os.walk(os.path.join(ROOT, folder)):
            for name in names:
                if name.endswith((".h", ".cpp")):
                    path = os.path.join(directory, name)
                    with open(path, encoding="utf-8") as source:
                        found[os.path.relpath(path, ROOT)] = INCLUDE.findall(source.read())
    return found


INCLUDES = read_includes()


def included_by(folder):
    return {
        target
        for path, targets in INCLUDES.items()
        if path.startswith(f"{folder}/")
        for target in targets
    }


def test_every_include_names_a_file_from_the_root_or_an_interface():
    assert len(INCLUDES) > 150
    for path, targets in INCLUDES.items():
        for target in targets:
            assert target in INCLUDES or target in INTERFACES, (path, target)


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


def test_the_editor_knows_nothing_of_the_shell():
    assert {target for target in included_by("tinyrl") if not target.startswith("tinyrl/")} == {
        "bounded.h",
        "terminal_text.h",
    }


def test_the_host_s_libraries_know_nothing_of_ours():
    assert {target for target in included_by("platform") if not target.startswith("platform/")} == {
        *INTERFACES
    }


def test_the_host_s_programs_know_nothing_of_the_shell():
    for target in included_by("device"):
        assert target.startswith(("device/", "platform/")) or target in TEXT


def test_only_the_top_knows_the_editor():
    assert {path for path, targets in INCLUDES.items()
            if not path.startswith(("tinyrl/", "complete/"))
            and any(target.startswith("tinyrl/") for target in targets)} == {
        "shell/startup.cpp", "base/signals.cpp"}  # fmt: skip


def test_the_session_record_includes_nothing_of_ours():
    assert INCLUDES["base/session.h"] == []
