"""Starting helper programs and waiting until they answer."""

import contextlib
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time

from . import valgrind

# Words before a program that is to begin with more open files than select() takes.
HOLD = """import os, resource, sys
hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
resource.setrlimit(resource.RLIMIT_NOFILE, (2048, hard))
for number in range(3, 1100):
    os.dup2(0, number)
os.execv(sys.argv[1], sys.argv[1:])
"""
HOLDING_MANY_FILES = [sys.executable, "-c", HOLD]


def private_directory():
    """A directory of our own with a path short enough for Unix sockets."""
    return tempfile.mkdtemp(prefix="vandel-test.", dir="/tmp")


def wait_until(condition, what, timeout=30, pause=0.01):
    """Waits until condition() is true and returns what it returned."""
    deadline = time.monotonic() + timeout * valgrind.SCALE
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise TimeoutError(f"{what}: still not so after {timeout} s")
        time.sleep(pause)


def accepts(path):
    with socket.socket(socket.AF_UNIX) as probe:
        try:
            probe.connect(path)
        except OSError:
            return False
    return True


class Listener:
    """Gives each connection to a Unix socket to take(), in a thread, until it is stopped.

    `listener` is a socket that listens already, in place of one at the path."""

    def __init__(self, path, take, listener=None):
        self.take = take
        self.listener = listener or socket.socket(socket.AF_UNIX)
        if not listener:
            self.listener.bind(path)
            self.listener.listen(16)
        self.thread = threading.Thread(target=self._accept, daemon=True)
        self.thread.start()

    def _accept(self):
        while True:
            try:
                connection = self.listener.accept()[0]
            except OSError:
                return
            self.take(connection)

    def stop(self, timeout):
        with contextlib.suppress(OSError):
            self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join(timeout)


def stop(process):
    """Ends a process that we started, kindly if it lets us."""
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(10)
        except subprocess.TimeoutExpired:
            process.kill()
    process.wait()
    for stream in (process.stdin, process.stdout, process.stderr):
        if stream:
            with contextlib.suppress(OSError):
                stream.close()


class RedisServer:
    """A redis-server on a Unix socket in a directory of its own."""

    def __init__(self):
        self.directory = private_directory()
        self.socket = os.path.join(self.directory, "redis.sock")
        self.loaded = None
        # fmt: off
        self.process = subprocess.Popen(
            ["redis-server", "--port", "0", "--unixsocket", self.socket, "--save", "",
             "--appendonly", "no", "--dir", self.directory,
             "--logfile", os.path.join(self.directory, "redis.log")],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        # fmt: on
        try:
            wait_until(self._ready, "redis-server")
        except BaseException:
            self.stop()
            raise

    def _ready(self):
        if self.process.poll() is not None:
            raise RuntimeError("redis-server ended: " + self.log())
        return accepts(self.socket)

    def log(self):
        with open(os.path.join(self.directory, "redis.log"), encoding="utf-8") as log:
            return log.read()

    def load(self, schema):
        if self.loaded is not schema:
            schema.load(self.socket)
            self.loaded = schema

    def stop(self):
        stop(self.process)
        shutil.rmtree(self.directory, ignore_errors=True)
