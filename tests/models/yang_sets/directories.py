"""Modules that somebody has written, checked one by one."""

import os
import re
import tempfile

from . import expected

INSTANCE = re.compile(r"^\s*[\w-]+:[\w-]+(\s+(\"[^\"]*\"|[^\s;{]+))?\s*;", re.M)
NAMES = re.compile(r"^\s*(module|submodule)\s+\"?([A-Za-z_][\w.-]*)", re.M)
IDENTITY = re.compile(r"^\s*identity\s", re.M)
FEATURE = re.compile(r"^\s*feature\s", re.M)


class Library:
    """The modules in directories, by name: of several revisions the last one."""

    def __init__(self, directories, room):
        self.directories = directories
        self.room = room
        self.paths = {}
        self.lenders = set()
        self.featured = set()
        for directory in directories:
            for file in sorted(os.listdir(directory)):
                if file.endswith(".yang"):
                    self.add(os.path.join(directory, file))
        self.plain = self.without_instances()

    def add(self, path):
        with open(path, encoding="utf-8", errors="replace") as file:
            text = file.read()
        found = NAMES.search(text)
        if found is None or found[1] == "submodule":
            return
        self.paths.setdefault(found[2], path)
        if os.path.basename(path) > os.path.basename(self.paths[found[2]]):
            self.paths[found[2]] = path
        if IDENTITY.search(text):
            self.lenders.add(found[2])
        if FEATURE.search(text):
            self.featured.add(found[2])

    def without_instances(self):
        """(directories, paths) of the same with no extensions used: yanglint's tree cannot
        show them all."""
        copy = tempfile.mkdtemp(dir=self.room)
        paths = {}
        for name, path in self.paths.items():
            paths[name] = os.path.join(copy, os.path.basename(path))
        for directory in self.directories:
            for file in os.listdir(directory):
                with open(os.path.join(directory, file), encoding="utf-8", errors="replace") as old:
                    text = INSTANCE.sub("", old.read())
                with open(os.path.join(copy, file), "w", encoding="utf-8") as new:
                    new.write(text)
        return [copy], paths


def check_module(checker, library, name, features):
    path = library.paths[name]
    verdict = expected.ask(library.directories, [path], library.paths, features)
    if verdict.is_lost:
        directories, paths = library.plain
        verdict = expected.ask(directories, [paths[name]], paths, features)
    if verdict.is_lost:
        return None, 0, [], ""
    nodes, differences, messages = checker.check(
        verdict, library.directories, [path], features, library.lenders
    )
    if not verdict.is_good and not re.search(r"^schemac: \S+: line \d+: ", messages, re.M):
        differences.append(f"refused without a line: {messages}")
    return verdict.is_good, nodes, differences, messages
