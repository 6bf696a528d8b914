"""What passes between the shell and the daemon.

The shell connects to a socket of vandel-do, which hands every frame on. So vandel-do
sees each reply as the device has sent it: in what the shell prints, a value may look
like an error, a prompt or anything else. And notifications do not reach the shell, so
that nothing stands between the output of two commands.
"""

import contextlib
import os
import shutil
import socket
import struct
import tempfile
import threading

from vandel_do import reply

DAEMON = "/run/tarnd.sock"
HEADER = struct.Struct("=IIHH")  # magic, length of the body, number, 0
BODY_LIMIT = 1 << 28
PIECE = 1 << 20
CREDENTIALS = struct.Struct("=3i")  # process, user, group
PATIENCE = 30  # seconds until a daemon has to accept
READS = ("create-session", "get", "get-config")  # requests that change nothing


def receive(connection, size):
    """So many bytes, or None when the other end has closed before."""
    data = bytearray()
    while len(data) < size:
        piece = connection.recv(min(size - len(data), PIECE))
        if not piece:
            return None
        data += piece
    return data


def connect_daemon(path):
    """A connection to the daemon of root or of this user; raises OSError."""
    connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    try:
        connection.settimeout(PATIENCE)
        connection.connect(path)
        connection.settimeout(None)
        option = connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, CREDENTIALS.size)
        if CREDENTIALS.unpack(option)[1] not in (0, os.geteuid()):
            raise PermissionError(f"{path}: somebody else listens there")
        return connection
    except OSError:
        connection.close()
        raise


class Relay:
    """One connection of one shell. Two threads hand frames on, one in each direction."""

    def __init__(self, notify, reads_only):
        """notify is called with each notification; reads_only lets no change pass."""
        self.notify = notify
        self.reads_only = reads_only
        self.directory = tempfile.mkdtemp(prefix="vandel-do.")
        self.path = os.path.join(self.directory, "tarnd.sock")
        self.why = None  # there is no connection to the daemon
        self.daemon = None
        self.shell = None
        self.listener = None
        self.lock = threading.Lock()
        self.requests = 0
        self.replies = []  # since forget()
        self.is_lost = False
        try:
            self._listen()
        except OSError as error:
            # Nobody listens at the path, so the shell finds no daemon and says so.
            self.why = error
        except BaseException:
            self.stop()
            raise

    def _listen(self):
        self.daemon = connect_daemon(os.environ.get("TARND_SOCKET") or DAEMON)
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(self.path)
        self.listener.listen(1)
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        try:
            self.shell = self.listener.accept()[0]
        except OSError:
            return
        self._remove_socket()
        threading.Thread(target=self._hand_up, daemon=True).start()
        self._hand_down()

    def _remove_socket(self):
        shutil.rmtree(self.directory, ignore_errors=True)

    def _hand_up(self):
        """From the shell to the daemon."""
        with contextlib.suppress(OSError):
            while frame := self._receive_frame(self.shell):
                header, body = frame
                with self.lock:
                    self.requests += 1
                if self.reads_only and reply.operation(body) not in READS:
                    break
                self.daemon.sendall(header + body)
        self._lose()

    def _hand_down(self):
        """From the daemon to the shell, all but notifications."""
        with contextlib.suppress(OSError):
            while frame := self._receive_frame(self.daemon):
                header, body = frame
                if reply.is_notification(body):
                    self.notify(bytes(body))
                    continue
                with self.lock:
                    self.replies.append(body)
                # In one piece: the shell reads a header at once.
                self.shell.sendall(header + body)
        self._lose()

    @staticmethod
    def _receive_frame(connection):
        header = receive(connection, HEADER.size)
        if header is None:
            return None
        length = HEADER.unpack(header)[1]
        body = receive(connection, length) if length <= BODY_LIMIT else None
        return None if body is None else (header, body)

    def _lose(self):
        with self.lock:
            self.is_lost = True
        for connection in (self.shell, self.daemon):
            with contextlib.suppress(OSError):
                connection.shutdown(socket.SHUT_RDWR)

    def forget(self):
        """Begins to count anew, for the next command."""
        with self.lock:
            self.requests = 0
            self.replies = []

    def answered(self):
        """The last reply since forget(), or None; and whether a request has none."""
        with self.lock:
            last = self.replies[-1] if self.replies else None
            return last, self.requests > len(self.replies)

    def stop(self):
        for connection in (self.listener, self.shell, self.daemon):
            if connection is not None:
                with contextlib.suppress(OSError):
                    connection.shutdown(socket.SHUT_RDWR)
        self._remove_socket()
