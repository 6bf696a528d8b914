"""The directories of vandel-connect: one for each run, and one for each device.

A run's directory is locked by its housekeeper, and by the run itself, for as long as they
live. So the next run knows what one has left whose housekeeper was killed.
"""

import contextlib
import fcntl
import os
import pathlib
import shutil
import signal
import stat
import tempfile
from urllib.parse import quote


def _home(variable, default):
    """The directory that a variable names, or one in the home of the caller."""
    path = os.environ.get(variable, "")
    # Who has no home does not get one where he happens to be: others may write there.
    return path if os.path.isabs(path) else os.path.join("/", os.path.expanduser(default))


def private(path):
    """Makes a directory that is ours alone, or sees that it is; its path. Raises OSError."""
    if not os.path.exists(above := os.path.dirname(path)):
        private(above)  # or the umask might let others exchange what is in it
    with contextlib.suppress(FileExistsError):
        os.mkdir(path, 0o700)
    status = os.stat(path)
    # A link of somebody else could lead to another place after this.
    is_led = os.lstat(path).st_uid not in (0, os.geteuid())
    if is_led or status.st_uid != os.geteuid() or status.st_mode & 0o077:
        raise PermissionError(1, "others may use it; it has to be its owner's alone", path)
    return path


def _is_of_another(path):
    """Whether somebody else may put what he likes in the place of what is below it."""
    status = os.lstat(path)
    is_shared = stat.S_ISDIR(status.st_mode) and status.st_mode & 0o022
    is_sticky = status.st_mode & stat.S_ISVTX
    return (is_shared and not is_sticky) or status.st_uid not in (0, os.geteuid())


def runs_directory():
    given = pathlib.Path(os.environ.get("XDG_RUNTIME_DIR", ""))  # without a slash at its end
    # That of somebody else, which su leaves in the environment, may have links. One that is
    # not there is not made, nor is one used that is there for now: in a directory of his he
    # could exchange it later, also where a link of ours leads there.
    if given.is_absolute() and os.path.isdir(given):
        above = (*given.parents, *pathlib.Path(os.path.realpath(given)).parents)
        if not any(map(_is_of_another, above)):
            return private(os.path.join(private(str(given)), "vandel"))
    return private(os.path.join(private(_home("", "~/.cache/vandel")), "run"))


def _of_device(home, target):
    return private(os.path.join(home, quote(target, safe="@:[]")))


def profile_directory(target):
    """Where the single commands for a device keep what they share."""
    home = _home("XDG_STATE_HOME", "~/.local/state")
    return _of_device(private(os.path.join(home, "vandel")), target)


def cache_directory(target):
    """Where it is kept what a device has handed out. Each has its own: it could hand out what
    it likes under a name that others have, too."""
    home = private(os.path.join(_home("XDG_CACHE_HOME", "~/.cache"), "vandel"))
    return _of_device(private(os.path.join(home, "schemas")), target)


@contextlib.contextmanager
def _everything_locked():
    """While no other process makes or clears directories of runs."""
    with open(os.path.join(runs_directory(), "lock"), "w", encoding="ascii") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        yield


class Run:
    """A run of another process, or what it has left."""

    def __init__(self, path):
        self.path = path
        self.pid = 0
        self.target = ""
        with contextlib.suppress(OSError, ValueError):
            with open(os.path.join(path, "owner"), encoding="utf-8") as file:
                pid, self.target = file.read().split("\n")[:2]
                self.pid = int(pid)

    def is_alive(self, patience=fcntl.LOCK_NB):
        try:
            with open(os.path.join(self.path, "owner"), encoding="utf-8") as file:
                fcntl.flock(file, fcntl.LOCK_EX | patience)
        except BlockingIOError:
            return True
        except OSError:
            pass
        return False

    def is_ready(self):
        return os.path.exists(os.path.join(self.path, "ready"))

    def stop(self):
        """Ends it, and waits until it has."""
        with contextlib.suppress(ProcessLookupError):
            os.kill(self.pid, signal.SIGTERM)
        self.is_alive(patience=0)


def living():
    """The runs there are, after what dead ones have left has been removed."""
    found = []
    with _everything_locked():
        for entry in os.scandir(runs_directory()):
            if entry.is_dir(follow_symlinks=False):
                run = Run(entry.path)
                if run.is_alive():
                    found.append(run)
                else:
                    shutil.rmtree(run.path, ignore_errors=True)
    return found


def make_run(target, pid):
    """Makes the directory of a run; its path. It is alive for as long as this process is."""
    with _everything_locked():
        path = tempfile.mkdtemp(dir=runs_directory(), prefix="")
        owner = os.open(os.path.join(path, "owner"), os.O_WRONLY | os.O_CREAT, 0o600)
        fcntl.flock(owner, fcntl.LOCK_SH)
        os.write(owner, f"{pid}\n{target}\n".encode())
    return path


def hold(path):
    """As make_run, for another process."""
    fcntl.flock(os.open(os.path.join(path, "owner"), os.O_RDONLY), fcntl.LOCK_SH)


def make_ready(path):
    """Says that others can use a run."""
    with open(os.path.join(path, "ready"), "w", encoding="ascii"):
        pass
