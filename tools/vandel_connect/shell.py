"""The shell: at the terminal, or for one command that has a /tmp of the device's own.

One command keeps its state in /tmp/vandel.conf. In the place of /tmp it finds a directory
of the device, which has the true one as /tmp/.true.
"""

import os
import re
import subprocess

from vandel_connect.place import profile_directory
from vandel_connect.servers import Trouble, start

MOUNTS = ["mount", "--rbind", "/tmp", "/tmp"]
ENTER = 'mount --rbind /tmp "$0/.true" && mount --rbind "$0" /tmp && exec "$@"'
NO_MOUNTS = (
    "this system gives a command no mounts of its own, and without them what is staged for one"
    " device would reach others. Nothing was done: type the command in a shell, or pipe it in"
)
KEPT = {".true", "vandel.conf"}


def hidden(path):
    return re.sub("^/tmp/", "/tmp/.true/", path)


def mounts_of_its_own():
    """The words before a command that has them."""
    for words in (
        ["unshare", "--mount"],
        ["unshare", "--mount", "--map-current-user", "--keep-caps"],
    ):
        if subprocess.run([*words, *MOUNTS], check=False, capture_output=True).returncode == 0:
            return words
    raise Trouble(NO_MOUNTS)


def environment(sockets, change=str):
    found = dict(os.environ)
    found["SCHEMA_REDIS"], found["TARND_SOCKET"] = map(change, sockets)
    if os.isatty(1):
        found.setdefault("COLUMNS", str(os.get_terminal_size(1).columns))
    return found


def start_shell(words, sockets):
    """The shell, or a program in its place."""
    return start(words, env=environment(sockets))


def start_command(program, sockets, target, line):
    """One command; a file of the caller below /tmp is still meant by that name."""
    words = mounts_of_its_own()
    directory = profile_directory(target)
    os.makedirs(os.path.join(directory, ".true"), exist_ok=True)
    if line.startswith(("export-config ", "import-config ")):
        line = line.replace(" /tmp/", " /tmp/.true/")
    drop = ["setpriv", "--ambient-caps=-all", "--inh-caps=-all"]
    return start(
        [*words, "sh", "-c", ENTER, directory, *drop, hidden(program), line],
        env=environment(sockets, hidden),
    )


def astray(target):
    """What a command has written below its own /tmp, by the paths that lead there."""
    directory = profile_directory(target)
    return [os.path.join(directory, name) for name in sorted(set(os.listdir(directory)) - KEPT)]
