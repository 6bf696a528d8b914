"""Runs the commands of a call in one shell, and finds the exit status."""

import contextlib
import os
import resource
import signal

from vandel_do.options import UsageError, find_vandel, parse
from vandel_do.output import STDERR, STDOUT, complain, write
from vandel_do.run import Run

USAGE_STATUS = 64
TROUBLE_STATUS = 70  # 1 to 4 tell of the device and the shell
ENDING = (signal.SIGHUP, signal.SIGINT, signal.SIGTERM)


class Signalled(BaseException):
    def __init__(self, number):
        super().__init__()
        self.number = number


def raise_signal(number, _):
    # One is enough: the next must not disturb what the first has begun to take down.
    for other in ENDING:
        signal.signal(other, signal.SIG_IGN)
    raise Signalled(number)


def die_of(number):
    """Ends as if nobody had caught the signal, so that the caller sees it."""
    signal.signal(number, signal.SIG_DFL)
    os.kill(os.getpid(), number)


def open_standard_files():
    """Puts /dev/null in the place of those that are closed: a socket would get their number."""
    while (descriptor := os.open(os.devnull, os.O_RDWR)) <= STDERR:
        os.set_inheritable(descriptor, True)
    os.close(descriptor)


def lines_of(file):
    """(place, command) of each line of a script that is no comment and not blank."""
    for number, line in enumerate(file, 1):
        line = line.removesuffix(b"\n").removesuffix(b"\r").lstrip(b" \t")
        if line.strip() and not line.startswith(b"#"):
            yield f"line {number}: ", line


@contextlib.contextmanager
def commands_of(options):
    """The commands of a call, each with the place where it stands, as messages begin with it."""
    if options.commands:
        many = len(options.commands) > 1
        yield (
            (f"command {number}: " if many else "", line)
            for number, line in enumerate(options.commands, 1)
        )
    elif options.file in (None, "-"):
        with open(0, "rb", closefd=False) as file:
            yield lines_of(file)
    else:
        try:
            file = open(options.file, "rb")  # pylint: disable=consider-using-with
        except OSError as error:
            raise UsageError(f"{options.file}: {error.strerror}") from None
        with file:
            yield lines_of(file)


def carry_out(options, here):
    program = find_vandel(options, here)
    if options.save_edits is not None and os.path.lexists(options.save_edits):
        raise UsageError(f"{options.save_edits}: exists, and is not written over")
    with commands_of(options) as commands:
        try:
            run = Run(options, program)
        except OSError as error:
            raise UsageError(str(error)) from None
        with contextlib.closing(run):
            return run.all(commands)


def main(arguments, here):
    """The exit status of a call; `here` is the directory of the script."""
    try:
        open_standard_files()
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))  # it would hold passwords
        for number in ENDING:
            if signal.getsignal(number) != signal.SIG_IGN:
                signal.signal(number, raise_signal)
        options = parse(arguments)
        if options.told is not None:
            write(STDOUT, options.told.encode())
            return 0
        return carry_out(options, here)
    except UsageError as error:
        complain(str(error))
        return USAGE_STATUS
    except Signalled as end:
        die_of(end.number)
    except BrokenPipeError:
        die_of(signal.SIGPIPE)
    except OSError as error:
        complain(f"cannot go on: {error}")
    except Exception as error:  # pylint: disable=broad-exception-caught
        # Python's own status would mean that the device has refused something.
        complain(f"cannot go on: {error!r}")
    return TROUBLE_STATUS
