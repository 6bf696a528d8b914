"""What stands between schemac and redis."""

import contextlib
import os
import select
import shutil
import socket
import tempfile

from .servers import Listener


def take_command(pending):
    """(the words of the command that the bytes begin with, its size), or None."""
    lines = pending.split(b"\r\n", 1)
    if len(lines) < 2:
        return None
    at, words = len(lines[0]) + 2, []
    for _ in range(int(lines[0][1:])):
        end = pending.find(b"\r\n", at)
        start = end + 2
        if end < 0 or len(pending) < start + int(pending[at + 1 : end]) + 2:
            return None
        at = start + int(pending[at + 1 : end]) + 2
        words.append(pending[start : at - 2])
    return words, at


class Relay:
    """Stands between schemac and redis, and knows the changes that were asked for.

    on_exec(number) is called before a transaction is run; unless it says True, both
    connections are closed. on_multi() is called before one is begun."""

    def __init__(self, server, on_exec=lambda number: True, on_multi=lambda: None):
        self.server = server
        self.on_exec = on_exec
        self.on_multi = on_multi
        self.changes = []
        self.transactions = 0
        self.directory = tempfile.mkdtemp(prefix="relay", dir="/tmp")
        self.socket = os.path.join(self.directory, "r")
        self.listener = Listener(self.socket, self.serve)

    def serve(self, near):
        with contextlib.closing(near), socket.socket(socket.AF_UNIX) as far:
            far.connect(self.server.socket)
            pending = b""
            while True:
                for ready in select.select([near, far], [], [])[0]:
                    piece = ready.recv(1 << 20)
                    if not piece:
                        return
                    if ready is far:
                        near.sendall(piece)
                    else:
                        pending = self.pass_on(pending + piece, far)
                        if pending is None:
                            return

    def pass_on(self, pending, far):
        """Sends whole commands on; what is left, or None at the end."""
        while command := take_command(pending):
            words, size = command
            if words[0] in (b"DEL", b"HSET"):
                self.changes.append((words[0].decode(), words[1].decode()))
            if words[0] == b"MULTI":
                self.on_multi()
            if words[0] == b"EXEC":
                self.transactions += 1
                if not self.on_exec(self.transactions):
                    return None
            far.sendall(pending[:size])
            pending = pending[size:]
        return pending

    def stop(self):
        self.listener.stop(10)
        shutil.rmtree(self.directory)
