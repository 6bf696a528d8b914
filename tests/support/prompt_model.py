"""What Tab and '?' do at the shell's prompt, worked out once more from scratch.

The schema is the tree that support.schema_db packs; `entries` are the names that
the server's lists hold, `staged` the paths of the entries that were added.
"""

import re

from .editor_model import EditorModel
from .schema_db import CASE, CHOICE, CONTAINER, INPUT, LEAF, LEAF_LIST, LIST, RPC

COMMANDS = {
    "help": "Display the help information. (help [cmd])",
    "cd": "Change the current workspace. (cd path)",
    "ls": "List subordinate configurable nodes. ",
    "pwd": "Print the current workspace. ",
    "set": 'Set value of the configurable node. (set key value|"v1 v2")',
    "delete": "Delete value of the configurable node. ",
    "discard_changes": "Delete local data. ",
    "get": "Get value of the configurable node. ",
    "get-config": "Get value from local, running or startup database. "
                  "(get-config -r|-s path or get-config -l [path])",
    "copy-config": "Copy source database to target database.",
    "commit": "Record changes to the server. ",
    "save": "Save running database to startup database. ",
    "add-listentry": "Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)",
    "export-config": "Export running or startup database to file. "
                     "(export-config running|startup path)",
    "import-config": "Import data to running or startup database from file. "
                     "(import-config file running|startup)",
    "quit": "Quit vandel or quit rpc mode.",
    "delete-config": "Delete startup database.",
}  # fmt: skip

STORES = {
    "running": "The running configuration.", "startup": "The startup configuration.",
    "candidate": "The candidate configuration.", "config": "The current command configuration.",
}  # fmt: skip
SOURCE = "Particular configuration to copy from."
PATH = ("path", "yang module schema tree path", "schema")


def some(*names):
    return {name: STORES[name] for name in names}


# (name, help, type, prerequisite, range text, values)
ARGUMENTS = {
    **{command: [(*PATH, "", "", None)] for command in ("cd", "set", "delete", "get")},
    "get-config": [
        ("-l", "vandel local path", "location", "", "", None),
        ("-r", "running path", "location", "", "", None),
        ("-s", "startup path", "location", "", "", None),
        (*PATH, "-l", "", None), (*PATH, "-r", "", None), (*PATH, "-s", "", None)],
    "copy-config": [
        ("source", SOURCE, "datastore", "", "running |startup | candidate |config | <url address>",
         STORES),
        ("target", "The configuration target of the copy operation.", "datastore", "source",
         "running |startup | candidate | <url address>", some("running", "startup", "candidate"))],
    "add-listentry": [
        ("list-key", "A leaf is a key in the list.", "list_key", "", "", None),
        ("key-value", "the value of a leaf which is a key in the list.", "string", "list-key", "",
         None)],
    "export-config": [
        ("source", SOURCE, "datastore", "", "running |startup", some("running", "startup")),
        ("file", "export config target file.", "string", "source", "", None)],
    "import-config": [
        ("file", "export config target file.", "string", "", "", None),
        ("target", SOURCE, "datastore", "file", "running |startup", some("running", "startup"))],
}  # fmt: skip


# Paths


def mask_quoted(text, characters, codes):
    """Codes in place of the characters that stand inside quotes."""
    table = str.maketrans(characters, codes)
    masked = ""
    while quote := re.search("[\"']", text):
        end = text.find(quote[0], quote.end())
        if end < 0:  # from a quote that is never closed on, no quote counts
            break
        masked += text[: quote.end()] + text[quote.end() : end + 1].translate(table)
        text = text[end + 1 :]
    return masked + text


def mask(text):
    """Text in which nothing inside quotes or key values cuts a path any more."""
    text = mask_quoted(text, " []=,", "\3\x0b\x0c\r\x0e")

    def mask_keys(predicate):
        return re.sub(
            r"=([^,\]]*)(?=[,\]])",
            lambda value: value[0].replace("/", "\1").replace(":", "\2"),
            predicate[0],
        )

    return re.sub(r"\[[^\]]*\]", mask_keys, text)


def unmask(text):
    return text.translate(str.maketrans("\1\2\3\x0b\x0c\r\x0e", "/: []=,"))


def predicate_of(component):
    """The name and the predicate of a component."""
    name, bracket, rest = component.partition("[")
    return name, bracket + rest


class Found:
    """A node that a path leads to; below it is what a path may go on with."""

    def __init__(self, node, kind, below, is_entry=False):
        self.node, self.kind, self.below = node, kind, below
        self.is_plain_list = kind == LIST and not is_entry


class PromptModel(EditorModel):
    """A shell at a terminal. `where` is its workspace, `rpc` the rpc's path or None."""

    def __init__(self, modules, entries, columns):
        super().__init__(b"/$ ", columns)
        self.modules = modules
        self.entries = entries
        self.staged = []
        self.where, self.rpc = "/", None

    def actions(self):
        return {**super().actions(), b"?": self.help}

    def go(self, where, rpc=None):
        """Stands in another workspace from the next read on."""
        self.where, self.rpc = where, rpc
        name = (rpc or "").rpartition("/")[2]
        below = where[len(rpc) + 1 :] if rpc else ""
        self.prompt = (f"\n[{name}]{below}$ " if rpc else f"\n{where}$ ").encode()

    # The schema

    def absolute(self, argument):
        """The path that an argument names here, masked; None for none."""
        path = argument if argument.startswith("/") else f"{self.where}/{argument}"
        if argument.startswith("./"):
            path = f"{self.where}/{argument[2:]}"
        above = mask(self.rpc or "").split("/")[1:]
        steps = []
        for step in mask(path).split("/"):
            if step == "..":
                if not steps or (self.rpc and steps == above):
                    return None
                name, predicate = predicate_of(steps.pop())
                if predicate:
                    steps.append(name)
            elif step.startswith(".."):
                return None
            elif step not in ("", "."):
                steps.append(step)
        return self.below_its_list(steps)

    def below_its_list(self, steps):
        """In a list's workspace l/l[k=v] is l[k=v], and nothing else stands below the list."""
        here = mask(self.where).split("/")[1:]
        below = steps[len(here) :]
        if below and steps[: len(here)] == here and self.is_plain_list(here):
            name, predicate = predicate_of(below[0])
            if name != here[-1] or not predicate:
                return None
            steps = here[:-1] + below
        return "/" + "/".join(steps)

    def is_plain_list(self, steps):
        found = self.find("/" + "/".join(steps))
        return found is not None and found.is_plain_list

    def children_of(self, node, path):
        """Those of the current rpc are its input's."""
        inputs = node.children if path == self.rpc else []
        return [leaf for one in inputs for leaf in one.children] or node.children

    def find(self, path):
        """Where a masked path leads; None for nowhere."""
        steps = [step for step in path.split("/") if step]
        found = Found(None, 0, {module.name: module for module in self.modules})
        walked = ""
        for number, step in enumerate(steps):
            name, predicate = predicate_of(step)
            node = found.below.get(name)
            if node is None:
                return None
            walked += "/" + step
            children = self.children_of(node, unmask(walked))
            kind = 0 if number == 0 else node.shape
            if kind == LIST and not predicate:
                children = [child for child in children if child.name in node.keys]
            below = {child.name: child for child in data_nodes(children)}
            found = Found(node, kind, below, kind == LIST and bool(predicate))
        return found

    def descendants(self, path):
        """(name, help, kind) of what stands below a masked path; None for a failure."""
        found = self.find(path)
        if found is None:
            return None
        if path == "/":
            return [(name, "", 0) for name in reversed(found.below)]
        if found.is_plain_list:
            staged = [
                entry.rpartition("/")[2]
                for entry in map(mask, self.staged)
                if entry.rpartition("[")[0] == path
            ]
            held = [] if self.rpc else self.entries.get(found.node.name, [])
            return [(unmask(name), "", LIST) for name in [*reversed(held), *staged]]
        children = self.children_of(found.node, unmask(path))
        if found.kind in (0, CONTAINER, LIST) or self.rpc == unmask(path):
            return [(node.name, node.help, node.shape) for node in listed(children)]
        return []

    # The line

    def scan(self, is_masked):
        """The words before the current one, the current one's start, and whether the
        current one is the first."""
        line = self.text.decode()
        if is_masked:
            line = mask_quoted(line, " ", "\3")
        before = line[: self.point]
        start = len(before) - len(re.search(r"\S*$", before)[0])
        first = len(line) - len(line.lstrip()) if line.strip() else self.point
        words = before[:start].split() if first < start else [""]
        return words, start, first == start

    def typed(self, start):
        return self.text.decode()[start : self.point]

    @staticmethod
    def component(word):
        """Where in a path its last component begins."""
        masked = mask(word)
        slash, equals = masked.rfind("/"), masked.rfind("=")
        if 0 <= equals < slash and "]" not in masked:
            return 0
        return slash + 1

    # Candidates: (name, help, kind)

    def commands(self, typed):
        found = self.find(self.absolute(".") or "/nowhere")
        rpcs = []
        if found and self.where != "/" and not found.is_plain_list:
            rpcs = [node.name for node in reversed(list(found.node.children)) if node.shape == RPC]
        every = [(name, text, 0) for name, text in COMMANDS.items()]
        every += [(name, None, RPC) for name in rpcs]
        return [one for one in every if one[0].startswith(typed)]

    def children(self, word):
        cut = self.component(word)
        if cut == 1:
            return []
        path = self.absolute(self.where + "/" + word[:cut])
        below = self.descendants(path) if path is not None else None
        return [
            (name if kind in (LEAF, LEAF_LIST) else name + "/", text, kind)
            for name, text, kind in below or []
            if name.startswith(word[cut:])
        ]

    def keys(self, words, typed):
        path = self.absolute(".")
        found = self.find(path)
        if found is None or found.kind != LIST or len(words) % 2 == 0:
            return []
        if len(words) // 2 > len(found.node.keys):
            return []
        return [
            (key, "", LEAF)
            for key in found.node.keys
            if key not in words[1::2] and key.startswith(typed)
        ]

    # Tab

    def complete(self):
        words, start, is_first = self.scan(True)
        typed = self.typed(start)
        cut = 0 if is_first else self.component(typed)
        names = self.tab_candidates(words, typed, is_first)
        if not names:
            return False
        names = [name.encode() for name in names]
        if len(names) == 1:
            self.replace(start + cut, names[0])
            return self.redraw() + self.redraw()
        return self.offer(start + cut, names) + self.redraw()

    def tab_candidates(self, words, typed, is_first):
        if is_first:
            return [name for name, _, _ in self.commands(typed)]
        command, position = words[0], len(words) - 1
        if command in ("cd", "set", "delete", "get", "get-config"):
            return [name for name, _, _ in self.children(typed)]
        if command == "add-listentry":
            return [name for name, _, _ in self.keys(words, typed)]
        places = {"copy-config": (0, 1), "export-config": (0,), "import-config": (1,)}
        if position not in places.get(command, ()):
            return []
        values = ARGUMENTS[command][position][5]
        first = words[1] if command == "copy-config" and position == 1 else None
        return [name for name in values if name.startswith(typed) and name != first]

    # '?'

    def help(self):
        words, start, is_first = self.scan(False)
        if is_first:
            written = self.help_on_commands(start)
        elif words[0] in COMMANDS:
            written = self.help_on_arguments(words, start)
        else:
            written = b""
        return written + b"\a" + self.redraw()

    def help_on_commands(self, start):
        found = self.commands(self.typed(start))
        if not found:
            return b""
        width = max((len(name) for name, _, _ in found), default=0)
        rows = [f"  {name:{width}}    {text or ''}\n" for name, text, _ in found]
        if len(found) == 1 and found[0][1] is None:
            rows = [f"  {found[0][0]}\n"]
        self.insert_shared(start, names_of(found))
        return "".join(["\n", *rows]).encode() + self.reset()

    def help_on_arguments(self, words, start):
        command = words[0]
        rows = ARGUMENTS.get(command, [])
        if len(words) == 1 and not self.typed(start):
            written = f"\n  {command}    {COMMANDS[command]}\n" + self.table(rows)
            for row in rows:
                written += self.help_on(row, words, start, True) if not row[3] else ""
            return written.encode() + self.reset()
        if (
            not self.typed(start)
            and len(words) > 2
            and command in ("copy-config", "export-config", "import-config")
        ):
            return b""
        written = ""
        for row in rows:
            if len(words) == 1:
                fits = not row[3]
            else:
                fits = row[3] and (row[5] is not None or row[3] == words[-1])
            written += self.help_on(row, words, start, False) if fits else ""
        return (written + "\r\n").encode() + self.reset()

    @staticmethod
    def table(rows):
        names = [row[0] for row in rows]
        widths = [max(len(row[at]) for row in rows) for at in (3, 0, 2, 4)] if rows else []
        lines = ""
        for row in rows:
            cells = ["" if row[3] in names else row[3], row[0], row[2], row[4]]
            cells = [f"{cell:{width}}" for cell, width in zip(cells, widths)]
            lines += "  " + "    ".join([*cells, row[1]]) + "\n"
        return lines

    def help_on(self, row, words, start, is_list):
        name, text, kind, _, _, values = row
        typed = self.typed(start)
        if kind == "schema":
            return self.help_on_path(typed, start, is_list)
        if kind == "string":
            return ""
        if kind == "location":
            found = [(name, text, 0)] if name.startswith(typed) else []
        elif kind == "list_key":
            found = self.keys(words, typed)
        else:
            previous = words[-1] if len(words) > 1 else None
            found = [
                (value, help_text, 0)
                for value, help_text in values.items()
                if value.startswith(typed) and value != previous
            ]
        if not found:
            return ""
        if kind == "location" and is_list:
            return "\n"
        if kind != "location" and not is_list:
            self.insert_shared(start, names_of(found))
        heading = f"{name}:\n" if is_list else ""
        return "\n" + heading + in_rows(found)

    def help_on_path(self, typed, start, is_list):
        cut = self.component(typed)
        found = self.children(typed)
        if (
            len(found) == 1
            and found[0][2] in (LEAF, LEAF_LIST)
            and (len(found[0][0]) == len(typed) - cut)
        ):
            return "\n<cr>\n"
        if found and not is_list:
            self.insert_shared(start + cut, names_of(found))
        return "\n" + ("path:\n" if is_list else "") + in_rows(found)


def names_of(found):
    return [name.encode() for name, _, _ in found]


def in_rows(found):
    width = max((len(name) for name, _, _ in found), default=0)
    return "".join(f"  {name:{width}}    {text}\n" for name, text, _ in found)


def data_nodes(children):
    """The nodes of the data tree: those of every case take the choice's place."""
    for node in children:
        if node.shape == CHOICE:
            for one in node.children:
                yield from data_nodes(one.children)
        elif node.shape != INPUT:
            yield node


def listed(children):
    """The same in the order of listings: choices last, the last found first."""
    for node in reversed(children):
        if node.shape not in (CHOICE, CASE):
            yield node
    for node in reversed(children):
        if node.shape == CHOICE:
            for one in node.children:
                yield from listed(one.children)
