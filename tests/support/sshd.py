"""A NETCONF server behind a real ssh server, which is run for each connection: by ssh, which
speaks to it through a pipe, or on a port of its own."""

import contextlib
import os
import shlex
import socket
import subprocess

from .servers import Listener, stop

SSHD = "/usr/sbin/sshd"
# As root it wants this directory, which only a running system has.
PREPARE = "mount -t tmpfs none /run && mkdir /run/sshd"


def write(path, text, mode=0o600):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    os.chmod(path, mode)
    return path


def key(directory, name):
    path = os.path.join(directory, name)
    words = ["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", path]
    subprocess.run(words, check=True, stdin=subprocess.DEVNULL)
    with open(f"{path}.pub", encoding="ascii") as public:
        return path, public.read()


def command(directory):
    """What a shell runs to have the server on its standard input and output."""
    server = f"{SSHD} -i -e -f {directory}/sshd_config"
    if os.geteuid() != 0:
        return server
    return f"unshare --mount sh -c '{PREPARE} && exec {server}' 2>>{directory}/sshd.log"


def prepare(directory, transport, environment):
    """Makes the server ready in a directory; the text of its public key.

    transport is the command that leads to the NETCONF server, and environment what it needs.
    The key of the user is made where there is none.
    """
    host_key, host_public = key(directory, "host_key")
    user_key = os.path.join(directory, "user_key")
    if not os.path.exists(user_key):
        key(directory, "user_key")
    names = [name for name in ("HOME", "USER", "SSH_CONNECTION") if name in environment]
    settings = [f"{name}={environment[name]}" for name in names]
    subsystem = write(
        os.path.join(directory, "subsystem"),
        f"#!/bin/sh\nexec env {shlex.join([*settings, *transport])}\n",
        0o700,
    )
    write(
        os.path.join(directory, "sshd_config"),
        f"HostKey {host_key}\nAuthorizedKeysFile {user_key}.pub\n"
        "StrictModes no\nUsePAM no\nPermitRootLogin yes\nPasswordAuthentication no\n"
        f"Subsystem netconf {subsystem}\n",
    )
    return host_public


def write_client(directory, known, *more):
    """The path of a file for ssh -F; known are lines of keys."""
    known = write(os.path.join(directory, "known_hosts"), "".join(known))
    return write(
        os.path.join(directory, "ssh_config"),
        f"IdentityFile {directory}/user_key\nIdentitiesOnly yes\nUserKnownHostsFile {known}\n"
        "GlobalKnownHostsFile /dev/null\n" + "".join(f"{line}\n" for line in more),
    )


def configure(directory, transport, environment):
    """The path of a file for ssh -F, with which every host is this one."""
    public = prepare(directory, transport, environment)
    return write_client(directory, [f"* {public}"], f"ProxyCommand {command(directory)}")


class Sshd:
    """On a free port of the loopback, until stop(), as prepare() has left it in a directory."""

    def __init__(self, directory):
        self.command = command(directory)
        self.processes = []
        listener = socket.create_server(("127.0.0.1", 0))
        self.port = listener.getsockname()[1]
        self.listener = Listener(None, self._take, listener)

    def _take(self, connection):
        with connection:
            words = ["sh", "-c", f"exec {self.command}"]
            self.processes.append(subprocess.Popen(words, stdin=connection, stdout=connection))

    def stop(self):
        self.listener.stop(10)
        for process in self.processes:
            stop(process)


@contextlib.contextmanager
def port(directory):
    """A port of this machine where the server listens."""
    server = Sshd(directory)
    try:
        yield server.port
    finally:
        server.stop()
