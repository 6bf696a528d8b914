"""Rows of bench/compare on a real server, Debian's netconfd: the shell, through the
gateway, and yangcli, which says the same to the same server over loopback."""

import contextlib
import functools
import os
import socket
import subprocess
import tempfile
import threading
import time

from netconf_sessions import STARTED
from support.gateway import Gateway
from support.netconfd import MODULES, Netconfd
from support.schemac import MODELS, RUN_MODULES, Server, compile_run_models
from timed import VANDEL, Terminal, session, since, whole

PROMPT = b"root@127.0.0.1> "


@functools.cache
def router():
    """(the environment of a shell, the words that start yangcli, its environment)."""
    directory = STARTED.enter_context(tempfile.TemporaryDirectory())
    database = Server()
    STARTED.callback(database.stop)
    compile_run_models(database.socket)
    server = Netconfd(directory, RUN_MODULES, [MODELS])
    STARTED.callback(server.stop)
    command, environment = server.transport()
    gateway = Gateway(directory, command, ["--no-subscribe"], environment)
    STARTED.callback(gateway.stop)
    listener = STARTED.enter_context(socket.create_server(("127.0.0.1", 0)))
    threading.Thread(target=relay, args=(listener, command, environment), daemon=True).start()
    yangcli = ["yangcli", "--server=127.0.0.1", "--transport=tcp", "--user=root", "--password=x"]
    yangcli += [f"--ncport={listener.getsockname()[1]}", f"--modpath={MODELS}:{MODULES}"]
    shell = dict(os.environ, TARND_SOCKET=gateway.socket, SCHEMA_REDIS=database.socket)
    return shell, yangcli, environment


def relay(listener, command, environment):
    """Leaves out the line with which yangcli begins on TCP, which netconfd does not take."""
    while True:
        try:
            connection = listener.accept()[0]
        except OSError:
            return
        with connection, subprocess.Popen(
            command, env=environment, stdin=subprocess.PIPE, stdout=connection, bufsize=0
        ) as server:
            with contextlib.suppress(ConnectionResetError):  # yangcli is killed
                while connection.recv(1) != b"\n":
                    pass
                while data := connection.recv(65536):
                    server.stdin.write(data)


def by_shell(count):
    lines = "".join(
        f"set /vandel-device/interfaces/interface[name=e{one}]/description x\n"
        for one in range(count)
    )
    return session(lines + "commit\n", b"<ok/>", env=router()[0])


def by_yangcli(count):
    _, words, environment = router()
    terminal = Terminal(*words, env=environment)
    terminal.until(PROMPT)
    start = time.perf_counter()
    for one in range(count):
        entry = f"/dev:interfaces/dev:interface[dev:name='e{one}']/dev:description"
        os.write(terminal.master, f"merge {entry} value=x\r".encode())
        if PROMPT not in terminal.until(b"RPC OK Reply").partition(b"RPC OK Reply")[2]:
            terminal.until(PROMPT)
    elapsed = since(start)
    terminal.stop()
    return elapsed, 0


def read_by_shell(_):
    return whole(VANDEL, "get-config", "-r", "/vandel-device/interfaces", env=router()[0])


def read_by_yangcli(_):
    _, words, environment = router()
    start = time.perf_counter()
    terminal = Terminal(
        *words, "--batch-mode", "--run-command=get-config source=running", env=environment
    )
    terminal.until(b"rpc-reply")
    os.waitpid(terminal.pid, 0)
    elapsed = since(start)
    os.close(terminal.master)
    return elapsed, 0
