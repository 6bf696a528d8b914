"""A collector of system log lines."""

import collections
import os
import re
import socket
import threading

Line = collections.namedtuple("Line", "priority ident pid text")
FORM = re.compile(rb"<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d ([^[]*)\[(\d+)\]: (.*)", re.DOTALL)


class SystemLog:
    """Listens where /dev/log leads and keeps every line exactly as it came."""

    def __init__(self, path):
        self.path = path
        self.raw = []
        self.changed = threading.Condition()
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(path)
        os.chmod(path, 0o666)
        self.marks = 0
        self.marks_seen = 0
        self.thread = threading.Thread(target=self._collect, daemon=True)
        self.thread.start()

    def _collect(self):
        # One buffer for all: what is made this large, and cut for each line, keeps a
        # mapping of its own, of which a process has so many only.
        buffer = bytearray(1 << 20)
        while True:
            size = self.socket.recv_into(buffer)
            datagram = bytes(memoryview(buffer)[:size])
            with self.changed:
                if datagram == b"mark":
                    self.marks_seen += 1
                elif datagram == b"stop":
                    return
                else:
                    self.raw.append(datagram)
                self.changed.notify_all()

    def _tell(self, datagram):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.connect(self.path)
            sender.send(datagram)

    def lines(self):
        """Every line that was logged before this call."""
        with self.changed:
            self.marks += 1
            wanted = self.marks
        self._tell(b"mark")
        with self.changed:
            if not self.changed.wait_for(lambda: self.marks_seen >= wanted, 30):
                raise TimeoutError("the system log collector does not answer")
            found = [FORM.fullmatch(datagram) for datagram in self.raw]
            bad = [datagram for datagram, match in zip(self.raw, found) if not match]
        if bad:
            raise ValueError(f"not lines of a system log: {bad}")
        return [
            Line(int(match[1]), match[2].decode(), int(match[3]),
                 match[4].decode("utf-8", "surrogateescape"))
            for match in found
        ]  # fmt: skip

    def texts(self, *priorities):
        """(priority, text) of the lines, of all priorities or of the given ones."""
        return [
            (line.priority, line.text)
            for line in self.lines()
            if not priorities or line.priority in priorities
        ]

    def stop(self):
        self._tell(b"stop")
        self.thread.join(30)
        self.socket.close()
