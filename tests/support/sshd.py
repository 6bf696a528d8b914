"""A NETCONF server behind a real ssh server, which needs no port: ssh runs it for each
connection and speaks to it through a pipe."""

import os
import shlex
import subprocess

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


def configure(directory, transport, environment):
    """The path of a file for ssh -F, with which every host is this one.

    transport is the command that leads to the server, and environment what it needs.
    """
    host_key, host_public = key(directory, "host_key")
    user_key, user_public = key(directory, "user_key")
    names = [name for name in ("HOME", "USER", "SSH_CONNECTION") if name in environment]
    settings = [f"{name}={environment[name]}" for name in names]
    subsystem = write(
        os.path.join(directory, "subsystem"),
        f"#!/bin/sh\nexec env {shlex.join([*settings, *transport])}\n",
        0o700,
    )
    server = write(
        os.path.join(directory, "sshd_config"),
        f"HostKey {host_key}\nAuthorizedKeysFile {write(f'{directory}/authorized', user_public)}\n"
        "StrictModes no\nUsePAM no\nPermitRootLogin yes\nPasswordAuthentication no\n"
        f"Subsystem netconf {subsystem}\n",
    )
    proxy = f"{SSHD} -i -e -f {server}"
    if os.geteuid() == 0:
        proxy = f"unshare --mount sh -c '{PREPARE} && exec {proxy}' 2>>{directory}/sshd.log"
    known = write(os.path.join(directory, "known_hosts"), f"* {host_public}")
    return write(
        os.path.join(directory, "ssh_config"),
        f"IdentityFile {user_key}\nIdentitiesOnly yes\nUserKnownHostsFile {known}\n"
        f"GlobalKnownHostsFile /dev/null\nProxyCommand {proxy}\n",
    )
