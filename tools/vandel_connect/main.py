"""One call: a device's servers and a shell on them, or a shell on those of another call."""

import functools
import os
import signal
import subprocess
import sys
import tempfile

from vandel_connect import place, router, shell
from vandel_connect.house import House, Trouble
from vandel_connect.options import UsageError, parse

UNREACHABLE, USAGE_STATUS, TROUBLE_STATUS = 3, 64, 70
ENDING = (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM)


class Signalled(BaseException):
    def __init__(self, number):
        super().__init__()
        self.number = number


class Unreachable(Exception):
    """The device, or what it says, is of no use; the text says why."""


def raise_signal(number, _):
    # One is enough: the next must not disturb what the first has begun to take down.
    for other in ENDING:
        signal.signal(other, signal.SIG_IGN)
    raise Signalled(number)


def die_of(number):
    """Ends as the shell has, or as if nobody had caught the signal."""
    if number != signal.SIGKILL:
        signal.signal(number, signal.SIG_DFL)
    os.kill(os.getpid(), number)


def open_standard_files():
    """Puts /dev/null in the place of those that are closed: a socket would get their number."""
    while (descriptor := os.open(os.devnull, os.O_RDWR)) <= 2:
        os.set_inheritable(descriptor, True)
    os.close(descriptor)


def complain(text):
    """What stands in it may be the words of a device, which is not to steer the terminal."""
    text = "".join(c if c.isprintable() or c == "\n" else "?" for c in str(text))
    if sys.stderr is not None:  # Python would take standard output instead
        print(f"vandel-connect: {text}", file=sys.stderr)


def start_device(options, house, database):
    """Connects with the device, and has its schema stored; the command that leads to it."""
    control = house.file("ssh")
    # One connection for all: a password is asked for once, here at the terminal.
    ssh = [*options.ssh, "-S", control]
    master = [*ssh, "-MN", "-o", "ControlPersist=no", options.host]
    house.children["ssh"] = house.start(master, stdin=subprocess.DEVNULL)
    try:
        house.await_socket("ssh", control, os.path.exists, patience=float("inf"))
    except Trouble:
        raise Unreachable(f"{options.target} cannot be reached") from None
    house.await_socket("redis-server", database)
    netconf = [*ssh, "-o", "ControlMaster=no", "-s", options.host, "netconf"]
    schemac = [options.program("schemac"), "--from", "--keep-going", "--redis", database]
    schemac += ["--cache", options.cache or place.cache_directory(options.target)]
    status = house.run([*schemac, *options.search, "--", *netconf])
    if status not in (0, 2):
        raise Unreachable(f"{options.target}: there is no schema of its modules")
    return netconf


def start_gateway(options, house, netconf):
    listen = house.file("tarnd.sock")
    words = [options.program("tarnd-gateway"), "--listen", listen, *options.gateway, "--"]
    house.serve("tarnd-gateway", [*words, *netconf])
    # By what it says: a connection would begin a session, and a socket may not listen yet.
    house.await_socket(
        "tarnd-gateway", listen, lambda _: ": listening on " in house.last_words("tarnd-gateway")
    )


def start_database(house):
    listen = house.file("redis.sock")
    words = ["redis-server", "--port", "0", "--unixsocket", listen, "--unixsocketperm", "700"]
    words += ["--dir", house.path, "--save", "", "--appendonly", "no"]
    # Field order, in which the shell offers names, is kept only where values are short; a
    # description is not.
    house.serve("redis-server", [*words, "--hash-max-listpack-value", "4096"])
    return listen


def converse(options, house, sockets, words=()):
    """Runs the shell on the sockets in a directory; its status."""
    program = [*words, options.program("vandel")]
    if options.command is None:
        child = shell.start_shell(house, options.run or program, sockets)
    else:
        kept = place.profile_directory(options.target) if options.target else house.file("tmp")
        child = shell.start_command(house, program, sockets, kept, options.command)
    while True:
        pid, status = os.wait()
        if pid == child.pid:
            break
        if name := house.name(pid):
            complain(f"{name} has ended: leave the shell, and start again")
    if options.command is not None:
        report_astray(options, kept)
    if os.WIFSIGNALED(status):
        raise Signalled(os.WTERMSIG(status))
    if status != 0 and not options.run and (said := house.last_words("tarnd-gateway")):
        complain(f"the gateway has said{said}")
    return os.WEXITSTATUS(status)


def report_astray(options, directory):
    """Names the files that a command has written below its own /tmp."""
    names = shell.astray(directory)
    if names and options.target:
        paths = " ".join(os.path.join(directory, name) for name in names)
        complain(f"the command had a /tmp of its own; it has left there: {paths}")
    elif names:
        paths = " ".join(os.path.join("/tmp", name) for name in names)
        complain(f"the command had a /tmp of its own, and with it these files are gone: {paths}")


def begin(options):
    place.living()
    make_directory = functools.partial(place.make_run, options.target, os.getpid())
    with House(make_directory) as house:
        place.hold(house.path)
        netconf = start_device(options, house, start_database(house))
        start_gateway(options, house, netconf)
        place.make_ready(house.path)
        return converse(options, house, house.path)


def begin_locally(options):
    """As begin, with a device of one's own."""
    with House(functools.partial(tempfile.mkdtemp, prefix="vandel.", dir="/tmp")) as house:
        netconf, words = router.start(options, house, start_database(house))
        start_gateway(options, house, netconf)
        if options.command is None:
            complain(
                "a shell on a small router of its own (netconfd), gone when you leave: type quit"
            )
        return converse(options, house, house.path, words)


def nothing_runs(options, living):
    """The error; the device may only be written in another way than it was."""
    names = ", ".join(sorted({run.target for run in living} - {options.target}))
    others = f", only for {names}" if names else ""
    return UsageError(f"{options.target}: no vandel-connect runs for it{others}")


def carry_out(options):
    if options.action == "local":
        return begin_locally(options)
    if options.action == "start":
        return begin(options)
    living = place.living()
    runs = [run for run in living if run.target == options.target]
    if options.action == "stop":
        for run in runs:
            run.stop()
        if not runs:
            complain(nothing_runs(options, living))
        return 0
    ready = [run for run in runs if run.is_ready()]
    if not ready:
        raise nothing_runs(options, living)
    with House() as house:
        return converse(options, house, ready[-1].path)


def main(arguments, here):
    """The exit status of a call; `here` is the directory of the script."""
    open_standard_files()
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # as in other programs
    for number in ENDING:
        if signal.getsignal(number) != signal.SIG_IGN:
            signal.signal(number, raise_signal)
    try:
        return carry_out(parse(arguments, here))
    except UsageError as error:
        complain(error)
        return USAGE_STATUS
    except Unreachable as error:
        complain(error)
        return UNREACHABLE
    except Trouble as error:
        complain(error)
    except Signalled as end:
        die_of(end.number)
    except OSError as error:
        complain(f"{error.filename}: {error.strerror}" if error.filename else error)
    return TROUBLE_STATUS
