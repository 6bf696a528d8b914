"""The arguments of vandel-connect."""

import getopt
import os
import re
import shutil
import sys
from typing import NamedTuple

USAGE = """\
usage: vandel-connect [OPTION]... [USER@]HOST[:PORT] [COMMAND WORD...]
       vandel-connect --attach [USER@]HOST[:PORT] [COMMAND WORD...]
       vandel-connect --run [USER@]HOST[:PORT] PROGRAM [WORD...]
       vandel-connect --stop [USER@]HOST[:PORT]

Opens a shell on a device that speaks NETCONF over ssh, or runs one command: learns
its modules, starts what the shell needs, and ends that again with the shell.

  --attach         open another shell on what a running vandel-connect has started
  --run            run a program, vandel-do for example, in the place of the shell
  --stop           end the running ones of this device
  --cache DIR      what schemac keeps of devices
  --search DIR     where schemac looks for modules that the device does not hand out
  -o OPTION        an option of ssh, as its own -o; may be given again
  -F FILE          the file of options that ssh is to read
  --programs DIR   where vandel, schemac and tarnd-gateway are
  --help           print this
  --version        print the version

Exit status: that of the shell or program; 3 the device cannot be reached, or its modules
cannot be compiled, 64 nothing was done: the arguments are not as they should be, 70 a
server does not start.
"""
VERSION = "1.0.0"
TARGET = re.compile(
    r"(?:(?P<user>[^\s@:/\[\].-][^\s@:/\[\]]*)@)?"
    r"(?P<host>\[[0-9A-Fa-f:.]+\]|[^\s@:/\[\].-][^\s@:/\[\]]*)(?::(?P<port>[0-9]{1,5}))?"
)


class UsageError(Exception):
    """The call makes no sense, or something that it names is not there."""


class Options(NamedTuple):
    target: str
    command: str  # None: an interactive shell, or what is to run in its place
    run: list  # a program and its arguments
    action: str  # "start", "attach" or "stop"
    ssh: list  # the command, without what it is to do
    host: str
    schemac: list  # options
    programs: str

    def program(self, name):
        """The path of a program of ours."""
        found = shutil.which(os.path.join(self.programs, name))
        if found is None:
            raise UsageError(f"{os.path.join(self.programs, name)}: there is no such program")
        return os.path.realpath(found)


def parse(arguments, here):
    """The Options; raises UsageError. Ends the program for --help and --version."""
    names = "attach run stop cache= search= programs= help version".split()
    try:
        given, words = getopt.getopt(arguments, "o:F:", names)
    except getopt.GetoptError as error:
        raise UsageError(str(error)) from None
    flags = dict(given)
    if "--help" in flags:
        sys.exit(print(USAGE, end=""))
    if "--version" in flags:
        sys.exit(print(f"vandel-connect {VERSION}"))
    target = TARGET.fullmatch(words[0]) if words else None
    if target is None:
        raise UsageError(f"no [USER@]HOST[:PORT]: {words[0]}" if words else "no device is named")
    if {"--attach", "--stop"} <= flags.keys() or ("--stop" in flags and len(words) > 1):
        raise UsageError("--stop takes a device and nothing else")
    if "--run" in flags and shutil.which("".join(words[1:2])) is None:
        raise UsageError(f"--run: no such program: {''.join(words[1:2])}")
    action = "attach" if "--attach" in flags else "stop" if "--stop" in flags else "start"
    ssh = ["ssh", *(word for pair in given if pair[0] in ("-o", "-F") for word in pair)]
    if target["port"]:
        ssh += ["-p", target["port"]]
    if target["user"]:
        ssh += ["-l", target["user"]]
    return Options(
        target=words[0],
        command=None if "--run" in flags or len(words) == 1 else " ".join(words[1:]),
        run=words[1:] if "--run" in flags else None,
        action=action,
        ssh=ssh,
        host=target["host"].strip("[]"),
        schemac=[w for pair in given if pair[0] in ("--cache", "--search") for w in pair],
        programs=flags.get("--programs", here),
    )
