"""The texts that the sources of the programs print and log, found by reading them."""

import glob
import os
import re

from .shell import ROOT

OTHERS = ("bench", "device", "platform", "tests")  # folders without a part of the shell
PRINTS = r"puts|printf|fputs|fprintf|putchar|vprintf|tinyrl_printf|write|fwrite"
# Not where a type stands before the name: that declares what prints.
CALL = re.compile(rf"(?<!\w)(?<!int )(?<!void )(?:{PRINTS})\(")
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')
CHARACTER = re.compile(r"'(?:[^'\\]|\\.)'")
ROW = re.compile(rf"(?:{LITERAL.pattern}\s*)+")  # literals in a row are one
CONSTANT = re.compile(r'const char (\w+)\[\] =\s*((?:"(?:[^"\\]|\\.)*"\s*)+);')
FORMAT = re.compile(r"%[-0.]*(?:\*|\d+)?[a-z]")

# What the shell prints that tells the operator nothing to look up.
NO_MESSAGES = {
    "": "the empty line above a reply, or below a listing of '?'",
    "vandel  version …": "the head of help",
    "compile time: …, …": "the head of help",
    "… …": "a row of help, or one name in a row of candidates",
    "…": "the workspace, the last name in a row of candidates, or a column of a row of '?'",
    "…    …": "a row of '?': a name and its description",
    "…:": "the head of the values of an argument",
    "path:": "the head of the nodes of a path",
    "<cr>": "'?': nothing may follow",
    "…………………": "a name of ls with its colour",
    "fputs(entry->name, stdout)": "a name of ls",
    "fputs(entry->line, out)": "a line of the history, in another one",
    "fwrite(copied, 1, static_cast<size_t>(at - copied), out)": "what stands around it there",
    "putchar(' ')": "the space between names of ls",
    "putchar('\\n')": "the end of a row of ls",
    "puts(plain.data)": "get-config -l",
    "fwrite(text, 1, length, terminal->output)": "the line that is being typed",
    "write(fd, text.data(), text.size())": "an export file",
    "write(server_fd, from, size)": "a request",
    "write(STDOUT_FILENO, text, strlen(text))": "Receive signal=…, where nobody takes the output",
    "…: …: Assertion `…' failed.": "a mistake in the program",
}


def end_of_call(code, position):
    """The end of the call whose arguments begin at position."""
    depth = 1
    while depth:
        if text := CHARACTER.match(code, position) or LITERAL.match(code, position):
            position = text.end()
            continue
        depth += {"(": 1, ")": -1}.get(code[position], 0)
        position += 1
    return position


def literals(code):
    return ["".join(LITERAL.findall(row[0])) for row in ROW.finditer(code)]


def shown(literal):
    """A literal as a reader would quote it: what is filled in is "…"."""
    text = re.sub(r"\\[nrt]", "", literal).replace('\\"', '"').replace("\\\\", "\\")
    return FORMAT.sub("…", text).strip()


def without_comments(code):
    code = re.sub(r"(?s)/\*.*?\*/", "", code)
    return re.sub(r"(?m)//(?:[^\"\n]|\"[^\"\n]*\")*$", "", code)


def texts_of(code):
    """What some code prints: a text each, or the whole call where that has no literal."""
    code = without_comments(code)
    constants = {name: literals(value)[0] for name, value in CONSTANT.findall(code)}
    found = set()
    for start in CALL.finditer(code):
        call = code[start.start() : end_of_call(code, start.end())]
        given = call[call.index("(") + 1 : -1]
        if given in constants:
            found.add(shown(constants[given]))
        elif texts := literals(given):
            # Of a call with a format, the rest fills it in.
            found.update(map(shown, texts[:1] if "printf" in call[: call.index("(")] else texts))
        else:
            found.add(" ".join(call.split()))
    return found


def shell_sources():
    for path in glob.glob(os.path.join(ROOT, "*", "*.cpp")):
        if os.path.basename(os.path.dirname(path)) not in OTHERS:
            with open(path, encoding="utf-8") as file:
                yield file.read()


def printed():
    return set().union(*map(texts_of, shell_sources()))


def calls(code, names):
    """The calls in some code of functions with these names, given as an expression."""
    for start in re.finditer(rf"(?<!\w)(?<!void )(?:{names})\(", code):
        yield code[start.start() : end_of_call(code, start.end())]


def logged():
    """What the shell writes to the system log."""
    found = set()
    for code in map(without_comments, shell_sources()):
        found.update(shown(literals(call)[0]) for call in calls(code, "log_(?:error|info|debug)"))
    return found


def tool_code(folder):
    """The sources of one of the host's programs, without their comments."""
    paths = glob.glob(os.path.join(ROOT, "device", folder, "**", "*.[ch]*"), recursive=True)
    texts = []
    for path in sorted(paths):
        with open(path, encoding="utf-8") as file:
            texts.append(without_comments(file.read()))
    # A quote that is a character begins no literal.
    return "\n".join(texts).replace("'\"'", "0").replace("'\\''", "0")
