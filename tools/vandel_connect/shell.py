"""The shell: at the terminal, or for one command that has a /tmp of the device's own.

One command keeps its state in /tmp/vandel.conf. In the place of /tmp it finds a directory
of the device, which has the true one as /tmp/.true.
"""

import os
import re
import subprocess

from vandel_connect.house import Trouble

MOUNTS = ["mount", "--rbind", "/tmp", "/tmp"]
ENTER = 'mount --rbind /tmp "$0/.true" && mount --rbind "$0" /tmp && exec "$@"'
KEPT = {".true", "vandel.conf"}


def hidden(word):
    return re.sub("(^|=)/tmp/", r"\1/tmp/.true/", word)


def mounts_of_its_own():
    """The words before a command that has them."""
    for words in (
        ["unshare", "--mount"],
        ["unshare", "--mount", "--map-current-user", "--keep-caps"],
    ):
        if subprocess.run([*words, *MOUNTS], check=False, capture_output=True).returncode == 0:
            return words
    raise Trouble(
        "this system gives a command no mounts of its own, and without them what is staged for one"
        " device would reach others. Nothing was done: type the command in a shell, or pipe it in"
    )


def environment(sockets):
    found = dict(os.environ)
    found["SCHEMA_REDIS"] = os.path.join(sockets, "redis.sock")
    found["TARND_SOCKET"] = os.path.join(sockets, "tarnd.sock")
    if os.isatty(1):
        found.setdefault("COLUMNS", str(os.get_terminal_size(1).columns))
    return found


def start_shell(house, program, sockets):
    """The shell, or a program in its place; `program` are words."""
    return house.start(program, env=environment(sockets))


def start_command(house, program, sockets, directory, line):
    """One command; a file of the caller below /tmp is still meant by that name."""
    words = mounts_of_its_own()
    os.makedirs(os.path.join(directory, ".true"), exist_ok=True)
    if line.startswith(("export-config ", "import-config ")):
        line = line.replace(" /tmp/", " /tmp/.true/")
    drop = ["setpriv", "--ambient-caps=-all", "--inh-caps=-all"]
    return house.start(
        [*words, "sh", "-c", ENTER, directory, *drop, *map(hidden, program), line],
        env=environment(hidden(sockets)),
    )


def astray(directory):
    """The names of what a command has written below its own /tmp."""
    return sorted(set(os.listdir(directory)) - KEPT)
