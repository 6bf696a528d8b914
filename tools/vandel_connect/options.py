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
       vandel-connect [--programs DIR] --local [COMMAND WORD... | --run PROGRAM [WORD...]]

Opens a shell on a device that speaks NETCONF over ssh, or runs one command: learns
its modules, starts what the shell needs, and ends that again with the shell.

  --attach         open another shell on what a running vandel-connect has started
  --run            run a program, vandel-do for example, in the place of the shell
  --stop           end the running ones of this device
  --local          use a small router of one's own, that is gone afterwards (netconfd)
  --cache DIR      what schemac keeps of the device
  --search DIR     where schemac looks for modules that the device does not hand out
  -o OPTION        an option of ssh, as its own -o; may be given again
  -F FILE          the file of options that ssh is to read
  --gateway OPTION an option of tarnd-gateway, as --gateway=--lock; may be given again
  --programs DIR   where vandel, schemac and tarnd-gateway are
  --help           print this
  --version        print the version

Exit status: that of the shell or program; 3 the device cannot be reached, or its modules
cannot be compiled, 64 nothing was done: the arguments are not as they should be, 70 a
server does not start.
"""
VERSION = "1.0.0"
MODELS = "../device/models", "../share/vandel/models"
TARGET = re.compile(
    r"(?:(?P<user>[^\s@:/\[\].-][^\s@:/\[\]]*)@)?"
    r"(?P<host>\[[0-9A-Fa-f:.]+\]|[^\s@:/\[\].-][^\s@:/\[\]]*)(?::(?P<port>[0-9]{1,5}))?"
)


class UsageError(Exception):
    """The call makes no sense, or something that it names is not there."""


class Options(NamedTuple):
    target: str  # None: a router of one's own
    command: str  # None: an interactive shell, or what is to run in its place
    run: list  # a program and its arguments
    action: str  # "start", "attach", "stop" or "local"
    ssh: list  # the command, without what it is to do
    host: str
    cache: str  # None: the device's own
    search: list  # options of schemac
    gateway: list  # options of tarnd-gateway
    programs: str
    models: str

    def program(self, name):
        """The path of a program of ours."""
        found = shutil.which(os.path.join(self.programs, name))
        if found is None:
            raise UsageError(f"{os.path.join(self.programs, name)}: there is no such program")
        return os.path.realpath(found)


def parse(arguments, here):
    """The Options; raises UsageError. Ends the program for --help and --version."""
    names = "attach run stop local cache= search= gateway= programs= help version".split()
    try:
        given, words = getopt.getopt(arguments, "o:F:", names)
    except getopt.GetoptError as error:
        raise UsageError(str(error)) from None
    flags = dict(given)
    if "--help" in flags:
        sys.exit(print(USAGE, end=""))
    if "--version" in flags:
        sys.exit(print(f"vandel-connect {VERSION}"))
    actions = [name for name in ("--attach", "--stop", "--local") if name in flags]
    if len(actions) > 1:
        raise UsageError(f"{actions[0]} and {actions[1]} exclude each other")
    action = actions[0].strip("-") if actions else "start"
    target, ssh, host = None, [], ""
    if action != "local":
        target, ssh, host = _way(words, given)
    command = words[1:] if target else words
    if action == "stop" and command:
        raise UsageError("--stop takes a device and nothing else")
    if "--run" in flags and shutil.which("".join(command[:1])) is None:
        raise UsageError(f"--run: no such program: {''.join(command[:1])}")
    return Options(
        target=target,
        command=None if "--run" in flags or not command else " ".join(command),
        run=command if "--run" in flags else None,
        action=action,
        ssh=ssh,
        host=host,
        cache=flags.get("--cache"),
        search=[word for pair in given if pair[0] == "--search" for word in pair],
        gateway=[value for name, value in given if name == "--gateway"],
        programs=flags.get("--programs", here),
        # In the source tree, or where it is installed.
        models=next(filter(os.path.isdir, (os.path.join(here, place) for place in MODELS)), ""),
    )


def _way(words, given):
    """The device as it is named, the ssh command that leads there, and the host."""
    target = TARGET.fullmatch(words[0]) if words and words[0].isprintable() else None
    if target is None:
        raise UsageError(f"no [USER@]HOST[:PORT]: {words[0]}" if words else "no device is named")
    ssh = ["ssh", *(word for pair in given if pair[0] in ("-o", "-F") for word in pair)]
    if target["port"]:
        ssh += ["-p", target["port"]]
    if target["user"]:
        ssh += ["-l", target["user"]]
    return words[0], ssh, target["host"].strip("[]")
