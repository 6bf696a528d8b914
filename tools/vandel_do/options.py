"""The arguments of vandel-do."""

import getopt
import os
import shutil
from typing import NamedTuple

USAGE = """\
usage: vandel-do [OPTION]... [-c COMMAND]... | -f FILE | COMMAND WORD...

Runs commands of vandel in one shell: COMMAND, each COMMAND of -c, the lines of
FILE, or those of standard input. Prints what the shell prints, without prompts.

  -c COMMAND            run this command; may be given again
  -f FILE               run the lines of FILE; "-" is standard input
  -k                    go on after a command that failed
  --timeout SECONDS     how long a command may take (default 60)
  --dry-run             show what a commit would send, and change nothing
  --save-edits FILE     keep the lines of a commit that was refused
  --json                print the replies of the device as JSON, nothing else
  --xml                 print the replies of the device as they came
  --no-notifications    leave out the notifications of the device
  --vandel PATH         the shell to run
  --help                print this
  --version             print the version

Exit status: 0 all commands succeeded, 1 the device refused one (rpc-error), 2 the
shell refused one, 3 server or database cannot be reached, 4 a command took too long,
64 nothing was run: options, files or the shell are not as they should be,
70 output cannot be written, or vandel-do has failed.
"""
VERSION = "1.0.0"
LONG = (
    "timeout= dry-run save-edits= json xml no-notifications vandel= help version".split()
)  # fmt: skip


class UsageError(Exception):
    """The call makes no sense, or something that it names is not there."""


class Options(NamedTuple):
    commands: tuple = ()  # of -c, or the one of the words; bytes
    file: str = None  # of -f
    keep_going: bool = False
    timeout: float = 60.0
    dry_run: bool = False
    save_edits: str = None
    form: str = "text"  # or "json", "xml"
    notifications: bool = True
    vandel: str = None
    told: str = None  # what is to be printed instead of running anything


def seconds(text):
    try:
        value = float(text)
    except ValueError:
        value = 0
    if not 0 < value <= 1e6:
        raise UsageError(f"--timeout {text}: not a number of seconds above 0")
    return value


def one_line(text):
    if "\n" in text:
        raise UsageError("-c takes one command: use -c again, or a file")
    return os.fsencode(text)


def parse(arguments):
    """The Options of the arguments; raises UsageError."""
    try:
        given, words = getopt.getopt(arguments, "c:f:k", LONG)
    except getopt.GetoptError as error:
        raise UsageError(str(error)) from None
    found = {}
    commands = []
    for name, value in given:
        if name == "-c":
            commands.append(one_line(value))
        elif name in ("--json", "--xml"):
            if found.setdefault("form", name[2:]) != name[2:]:
                raise UsageError("--json and --xml exclude each other")
        elif name in SETTERS:
            field, convert = SETTERS[name]
            found[field] = convert(value)
    if bool(commands) + bool(words) + ("file" in found) > 1:
        raise UsageError("give commands with -c, or a file with -f, or one command")
    if words:
        commands = [one_line(" ".join(words))]
    return Options(commands=tuple(commands), **found)


SETTERS = {
    "-f": ("file", str),
    "-k": ("keep_going", lambda _: True),
    "--timeout": ("timeout", seconds),
    "--dry-run": ("dry_run", lambda _: True),
    "--save-edits": ("save_edits", str),
    "--no-notifications": ("notifications", lambda _: False),
    "--vandel": ("vandel", str),
    "--help": ("told", lambda _: USAGE),
    "--version": ("told", lambda _: f"vandel-do {VERSION}\n"),
}


def find_vandel(options, here):
    """The path of the shell: the one that was named, that beside the script, that in PATH."""
    if options.vandel is not None:
        found = shutil.which(options.vandel)
    else:
        found = shutil.which(os.path.join(here, "vandel")) or shutil.which("vandel")
    if found is None:
        raise UsageError(f"{options.vandel or 'vandel'}: there is no such program")
    return found
