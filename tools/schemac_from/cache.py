"""What is kept of servers: texts, which they share, and of each set of modules what it is.

Servers that share a cache trust each other: each could hand out what it likes under a name
that all have. So the one that nobody has named is a command's own.

    texts/NAME@REVISION.yang    a text that a server has handed out
    texts/NAME+DIGEST.yang      one without a revision
    sets/DIGEST/hello           the capabilities of a server with this set: it is whole
               /features        those that are on, a MODULE:FEATURE in a line
               /implemented/    links to the texts of the modules that are compiled
               /imported/       and of those that only lend what they define
"""

import contextlib
import hashlib
import os
import shutil
import tempfile
import time

from schemac_from.session import Failed

IMPLEMENTED, IMPORTED = "implemented", "imported"
DAY = 86400  # seconds; no file takes so long to write


def private(path):
    """Makes a directory that is ours alone, or sees that it is; its path. Raises Failed."""
    if not os.path.exists(above := os.path.dirname(path)):
        private(above)  # or the umask might let others exchange what is in it
    with contextlib.suppress(FileExistsError):
        os.mkdir(path, 0o700)
    status = os.stat(path)
    # A link of somebody else could lead to another place after this.
    is_led = os.lstat(path).st_uid not in (0, os.geteuid())
    if is_led or status.st_uid != os.geteuid() or status.st_mode & 0o077:
        raise Failed(f"{path}: others may use it; a cache is its owner's alone, mode 700")
    return path


def default_directory(command):
    """The path of a cache that only what this command leads to fills. Raises Failed, OSError."""
    home = os.environ.get("XDG_CACHE_HOME", "")
    if not os.path.isabs(home):
        # Who has no home does not get one where he happens to be: others may write there.
        home = os.path.join("/", os.path.expanduser("~/.cache"))
    schemas = private(os.path.join(private(os.path.join(home, "vandel")), "schemas"))
    return os.path.join(schemas, hashlib.sha256(os.fsencode("\0".join(command))).hexdigest())


def remove_old(directory):
    """Removes what runs that were killed have left half written."""
    for entry in os.scandir(directory):
        if not entry.name.startswith("."):
            continue
        with contextlib.suppress(FileNotFoundError):  # another run has been faster
            if entry.stat().st_mtime < time.time() - DAY:
                (shutil.rmtree if entry.is_dir() else os.unlink)(entry.path)


def file_name(name, revision):
    return f"{name}@{revision}.yang" if revision else f"{name}.yang"


def write_whole(path, data):
    """Writes a file that is there with all its bytes or not at all."""
    descriptor, temporary = tempfile.mkstemp(dir=os.path.dirname(path), prefix=".")
    try:
        with open(descriptor, "wb") as file:
            file.write(data)
            file.flush()
            os.fsync(file.fileno())
        os.rename(temporary, path)
    except BaseException:
        os.unlink(temporary)
        raise


class Cache:
    def __init__(self, directory):
        """Opens a cache, which is made if need be. Raises Failed, OSError."""
        self.directory = os.path.abspath(directory)
        private(self.directory)
        for place in ("texts", "sets"):
            remove_old(private(self._path(place)))

    def _path(self, *parts):
        return os.path.join(self.directory, *parts)

    def text(self, name, revision):
        """The path of a text that is there; None without one, or without a revision."""
        path = self._path("texts", file_name(name, revision))
        return path if revision and os.path.exists(path) else None

    def add_text(self, name, revision, data):
        """Keeps a text, in the place of what was there; its path."""
        if not revision:
            name = f"{name}+{hashlib.sha256(data).hexdigest()}"
        path = self._path("texts", file_name(name, revision))
        write_whole(path, data)
        return path

    def _set_path(self, capabilities):
        # All of the hello but the number of the session: it says which modules there are, or
        # has a mark that changes with them.
        said = "\n".join(sorted(capabilities))
        return self._path("sets", hashlib.sha256(said.encode("utf-8", "replace")).hexdigest())

    def find_set(self, capabilities):
        """The directory of the set of a server with this hello; None if it is not whole."""
        path = self._set_path(capabilities)
        if not os.path.exists(os.path.join(path, "hello")):
            return None
        for place in (IMPLEMENTED, IMPORTED):
            for entry in os.scandir(os.path.join(path, place)):
                if not os.path.exists(entry.path):
                    return None
        return path

    def add_set(self, capabilities, fetched, features):
        """Keeps a set, in the place of what was there; its directory."""
        path = self._set_path(capabilities)
        temporary = tempfile.mkdtemp(dir=self._path("sets"), prefix=".")
        try:
            os.mkdir(os.path.join(temporary, IMPLEMENTED))
            os.mkdir(os.path.join(temporary, IMPORTED))
            for (place, name), text in fetched.found.items():
                os.symlink(text, os.path.join(temporary, place, name))
            with open(os.path.join(temporary, "features"), "w", encoding="ascii") as file:
                file.writelines(f"{feature}\n" for feature in sorted(features))
            if not fetched.missing:
                with open(os.path.join(temporary, "hello"), "w", encoding="utf-8") as file:
                    file.writelines(f"{capability}\n" for capability in capabilities)
            if not fetched.is_anew and self.find_set(capabilities) is not None:
                shutil.rmtree(temporary)  # another run was faster, and its set is in use
            else:
                shutil.rmtree(path, ignore_errors=True)
                os.rename(temporary, path)
        except BaseException:
            shutil.rmtree(temporary, ignore_errors=True)
            raise
        return path
