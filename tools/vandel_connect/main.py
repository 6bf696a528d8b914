"""One call: a device's servers and a shell on them, or a shell on those of another call."""

import os
import signal
import subprocess
import sys

from vandel_connect import place, shell
from vandel_connect.options import UsageError, parse
from vandel_connect.servers import Servers, Trouble, answers

UNREACHABLE, USAGE_STATUS, TROUBLE_STATUS = 3, 64, 70
ENDING = (signal.SIGHUP, signal.SIGINT, signal.SIGTERM)


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


def complain(text):
    print(f"vandel-connect: {text}", file=sys.stderr)


def connect(options, run, servers):
    """Starts what a shell on the device needs."""
    database, gateway, control = map(run.file, ("redis.sock", "tarnd.sock", "ssh"))
    redis = ["redis-server", "--port", "0", "--unixsocket", database, "--unixsocketperm", "700"]
    redis += ["--dir", run.path, "--save", "", "--appendonly", "no"]
    servers.start("redis-server", [*redis, "--hash-max-listpack-value", "4096"])
    # One connection for all: a password is asked for once, here at the terminal.
    ssh = [*options.ssh, "-S", control]
    servers.start("ssh", [*ssh, "-MN", "-o", "ControlPersist=no", options.host], is_apart=False)
    try:
        servers.await_file("ssh", control, patience=float("inf"))
    except Trouble:
        raise Unreachable(f"{options.target} cannot be reached") from None
    servers.await_file("redis-server", database, answers)
    netconf = [*ssh, "-o", "ControlMaster=no", "-s", options.host, "netconf"]
    schemac = [options.program("schemac"), "--from", "--keep-going", "--redis", database]
    status = subprocess.run(
        [*schemac, *options.schemac, "--", *netconf],
        check=False, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
    ).returncode  # fmt: skip
    if status not in (0, 2):
        raise Unreachable(f"{options.target}: there is no schema of its modules")
    listen = [options.program("tarnd-gateway"), "--listen", gateway, "--"]
    servers.start("tarnd-gateway", [*listen, *netconf])
    servers.await_file("tarnd-gateway", gateway)


def converse(options, path, servers):
    """Runs the shell on the sockets in a directory; its status."""
    program = options.program("vandel")
    sockets = [os.path.join(path, name) for name in ("redis.sock", "tarnd.sock")]
    if options.command is None:
        child = shell.start_shell(options.run or [program], sockets)
    else:
        child = shell.start_command(program, sockets, options.target, options.command)
    try:
        while True:
            pid, status = os.wait()
            if pid == child.pid:
                break
            if servers is not None and (name := servers.name(pid)):
                complain(f"{name} has ended: leave the shell, and start again")
    except BaseException:
        child.terminate()
        child.wait()
        raise
    if options.command is not None and (lost := shell.astray(options.target)):
        complain(f"the command had a /tmp of its own; it has left there: {' '.join(lost)}")
    if os.WIFSIGNALED(status):
        raise Signalled(os.WTERMSIG(status))
    return os.WEXITSTATUS(status)


def begin(options):
    run = place.OwnRun(options.target)
    servers = Servers(run)
    try:
        connect(options, run, servers)
        run.ready()
        status = converse(options, run.path, servers)
        if status != 0 and not options.run and (words := servers.last_words("tarnd-gateway")):
            complain(f"the gateway has said{words}")
        return status
    finally:
        servers.stop()
        run.remove()


def carry_out(options):
    if options.action == "start":
        return begin(options)
    runs = [run for run in place.living() if run.target == options.target]
    if options.action == "stop":
        for run in runs:
            run.stop()
        return 0
    ready = [run for run in runs if run.is_ready()]
    if not ready:
        raise UsageError(f"{options.target}: no vandel-connect runs for it")
    return converse(options, ready[-1].path, None)


def main(arguments, here):
    """The exit status of a call; `here` is the directory of the script."""
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
