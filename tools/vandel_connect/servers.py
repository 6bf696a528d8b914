"""The servers of a run: children that end with this process, whatever ends it."""

import contextlib
import ctypes
import os
import signal
import socket
import subprocess
import time

PATIENCE = 30  # seconds that a server may take to start
PARTING = 5  # and to end
PR_SET_PDEATHSIG = 1
LIBC = ctypes.CDLL(None)


class Trouble(Exception):
    """A server does not do what it should; the text says which."""


def start(words, **options):
    """A child that gets SIGTERM when this process ends."""
    parent = os.getpid()

    def end_with_parent():
        LIBC.prctl(PR_SET_PDEATHSIG, ctypes.c_ulong(signal.SIGTERM), 0, 0, 0)
        if os.getppid() != parent:
            os.kill(os.getpid(), signal.SIGTERM)

    return subprocess.Popen(words, preexec_fn=end_with_parent, **options)


def answers(path):
    with socket.socket(socket.AF_UNIX) as probe:
        return probe.connect_ex(path) == 0


class Servers:
    def __init__(self, run):
        self.run = run
        self.children = {}  # by name

    def start(self, name, words, is_apart=True):
        """Starts one, whose output goes to a file unless it is to talk to the operator."""
        options = {"stdin": subprocess.DEVNULL}
        if is_apart:  # what is typed at the terminal ends the shell, and not this
            log = open(self.run.file(f"{name}.log"), "wb")
            options |= {"stdout": log, "stderr": log, "start_new_session": True}
        try:
            self.children[name] = start(words, **options)
        except OSError as error:
            raise Trouble(f"{words[0]}: {error.strerror}") from None

    def await_file(self, name, path, is_there=os.path.exists, patience=PATIENCE):
        """Waits until a server has made its socket."""
        deadline = time.monotonic() + patience
        while not is_there(path):
            if self.children[name].poll() is not None or time.monotonic() > deadline:
                raise Trouble(f"{name} does not start{self.last_words(name)}")
            time.sleep(0.02)

    def last_words(self, name):
        with contextlib.suppress(OSError):
            with open(self.run.file(f"{name}.log"), encoding="utf-8", errors="replace") as log:
                said = "".join(log.readlines()[-5:]).rstrip()
                return f":\n{said}" if said else ""
        return ""

    def name(self, pid):
        return next((name for name, child in self.children.items() if child.pid == pid), None)

    def stop(self):
        """Ends them, the last one first."""
        for child in reversed(self.children.values()):
            for end in (child.terminate, child.kill):
                end()
                with contextlib.suppress(subprocess.TimeoutExpired):
                    child.wait(PARTING)
                    break
