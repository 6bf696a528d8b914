"""The processes of a call and the directory that they share: all of it ends with the call.

A housekeeper sees to that, a process that no signal but SIGKILL ends. It notices the end of
the call by the connection between them, so that no way in which one may end is forgotten.
"""

import contextlib
import ctypes
import os
import select
import shutil
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


def _end(process, ending=signal.SIGTERM):
    end = select.poll()
    end.register(process, select.POLLIN)
    for number in (ending, signal.SIGKILL):
        with contextlib.suppress(ProcessLookupError):
            signal.pidfd_send_signal(process, number)
        if end.poll(PARTING * 1000):
            break


def _keep(call, make_directory):
    """What the housekeeper does: makes the directory and tells its path, is told of the
    processes, and when the call has ended, ends them, the last one first."""
    os.setsid()
    null = os.open(os.devnull, os.O_RDWR)
    for standard in range(3):
        os.dup2(null, standard)
    path = make_directory()
    processes = []
    with contextlib.suppress(OSError):  # the call has ended before it has read the path
        call.sendall(f"{path}\n".encode())
        for line in call.makefile():
            pid, ending = map(int, line.split())
            with contextlib.suppress(ProcessLookupError):
                processes.append((os.pidfd_open(pid), ending))
    for process in reversed(processes):
        _end(*process)
    if path:
        shutil.rmtree(path, ignore_errors=True)


def answers(path):
    with socket.socket(socket.AF_UNIX) as probe:
        return probe.connect_ex(path) == 0


class House:
    def __init__(self, make_directory=str):
        """The directory is one that `make_directory` makes and names; none by default."""
        self.children = {}  # servers by name
        self.housekeeper, call = socket.socketpair()
        before = signal.pthread_sigmask(signal.SIG_BLOCK, signal.valid_signals())
        self.pid = os.fork()
        if self.pid == 0:
            try:
                self.housekeeper.close()
                _keep(call, make_directory)
            finally:
                os._exit(0)
        call.close()
        signal.pthread_sigmask(signal.SIG_SETMASK, before)
        self.path, told, _ = self.housekeeper.recv(4096).decode().partition("\n")
        if not told:
            raise Trouble("there is no place for what is to be started")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        """Waits until all has ended."""
        self.housekeeper.close()
        with contextlib.suppress(ChildProcessError):
            if os.waitpid(self.pid, 0)[1] == 0:
                return
        # Somebody has killed it.
        for child in reversed(self.children.values()):
            if child.poll() is None:
                _end(os.pidfd_open(child.pid))
        if self.path:
            shutil.rmtree(self.path, ignore_errors=True)

    def file(self, name):
        return os.path.join(self.path, name)

    def start(self, words, ending=signal.SIGTERM, **options):
        """Starts a process, of which the housekeeper knows whatever happens meanwhile, and
        which it ends by a signal. When that is killed, and then the call, the system does."""
        call = os.getpid()

        def tell():
            LIBC.prctl(PR_SET_PDEATHSIG, ctypes.c_ulong(ending), 0, 0, 0)
            if os.getppid() != call:
                os.kill(os.getpid(), ending)
            self.housekeeper.sendall(b"%d %d\n" % (os.getpid(), ending))

        try:
            return subprocess.Popen(words, preexec_fn=tell, **options)
        except OSError as error:
            raise Trouble(f"{words[0]}: {error.strerror}") from None

    def run(self, words):
        """The exit status of a program that has neither input nor output."""
        return self.start(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL).wait()

    def serve(self, name, words, directory=None, ending=signal.SIGTERM):
        """Starts a server in a session of its own, so that what is typed at the terminal ends
        the shell, and not this. It works in a directory, by default the caller's. Its output
        goes to a file."""
        with open(self.file(f"{name}.log"), "wb") as log:
            self.children[name] = self.start(
                words, ending, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                start_new_session=True, cwd=directory,
            )  # fmt: skip

    def await_socket(self, name, path, is_there=answers, patience=PATIENCE):
        """Waits until a server has made its socket."""
        deadline = time.monotonic() + patience
        while not is_there(path):
            if self.children[name].poll() is not None or time.monotonic() > deadline:
                raise Trouble(f"{name} does not start{self.last_words(name)}")
            time.sleep(0.02)

    def last_words(self, name):
        """What a server has written last, to be put after a text; empty if there is nothing."""
        if name not in self.children or not os.path.exists(self.file(f"{name}.log")):
            return ""
        with open(self.file(f"{name}.log"), "rb") as log:
            log.seek(max(0, os.fstat(log.fileno()).st_size - 4000))
            lines = log.read().decode(errors="replace").rstrip().splitlines()[-20:]
        return "\n".join([":", *lines]) if lines else ""

    def name(self, pid):
        return next((name for name, child in self.children.items() if child.pid == pid), None)
