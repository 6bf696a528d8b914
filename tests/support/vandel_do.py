"""Running vandel-do on a machine."""

import contextlib
import os
import threading

from .processes import children_of
from .servers import wait_until
from .shell import ROOT

PROGRAM = os.path.join(ROOT, "tools", "vandel-do")
SHELL = "/tmp/.build/vandel"


def start(machine, *arguments, env=None, vandel=SHELL, **options):
    """Starts vandel-do, whose standard input stays open."""
    words = machine.command(PROGRAM, "--vandel", vandel, *arguments)
    return machine.start_command(words, env, **options)


def run(machine, *arguments, given=b"", env=None, vandel=SHELL):
    """Runs vandel-do to its end; given is its standard input, of any length."""
    process = start(machine, *arguments, env=env, vandel=vandel)
    feeder = threading.Thread(target=_feed, args=(process.process.stdin, given))
    feeder.start()
    try:
        return process.wait()
    finally:
        feeder.join()


def _feed(pipe, given):
    """It may have ended before it has read everything."""
    with contextlib.suppress(BrokenPipeError):
        pipe.write(given)
    pipe.close()


def script(*lines):
    return b"".join((line.encode() if isinstance(line, str) else line) + b"\n" for line in lines)


def shell_of(process):
    """The process id of the shell that vandel-do has started."""
    wait_until(lambda: children_of(process.pid), "the shell")
    return children_of(process.pid)[0]


def left_behind(machine):
    """What vandel-do has left in the directory for temporary files."""
    return [name for name in os.listdir(machine.path()) if name.startswith("vandel-do.")]
