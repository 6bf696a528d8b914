"""What passes between the shell and the daemon.

The shell connects to a socket of vandel-do, which hands every frame on. So vandel-do
sees each reply as the device has sent it: in what the shell prints, a value may look
like an error, a prompt or anything else. And notifications do not reach the shell, so
that nothing stands between the output of two commands.
"""

import contextlib
import html
import os
import socket
import struct
import tempfile
import threading
import time

from vandel_do import reply

DAEMON = "/run/tarnd.sock"
SOCKET = "tarnd.sock"
HEADER = struct.Struct("=IIHH")  # magic, length of the body, number, 0
BODY_LIMIT = 1 << 28
PIECE = 1 << 20
CREDENTIALS = struct.Struct("=3i")  # process, user, group
PATIENCE = 30  # seconds until a daemon has to accept
PAUSE = 0.05  # seconds until it is asked again
READS = ("create-session", "get", "get-config")  # requests that change nothing
EDIT = "edit-config"  # what a commit sends, but for an rpc
OK = b'<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="%s"><ok/></rpc-reply>'


def receive(connection, size):
    """So many bytes, or None when the other end has closed before."""
    data = bytearray()
    while len(data) < size:
        piece = connection.recv(min(size - len(data), PIECE))
        if not piece:
            return None
        data += piece
    return data


def connect_patiently(connection, path):
    """Connects, also to a daemon that has to accept others first; raises OSError."""
    deadline = time.monotonic() + PATIENCE
    connection.settimeout(PATIENCE)
    while True:
        try:
            connection.connect(path)
            break
        except BlockingIOError:  # too many wait; with a time limit this comes at once
            if time.monotonic() > deadline:
                raise
            time.sleep(PAUSE)
    connection.settimeout(None)


def connect_daemon(path):
    """A connection to the daemon of root or of this user; raises OSError."""
    connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    try:
        connect_patiently(connection, path)
        option = connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, CREDENTIALS.size)
        if CREDENTIALS.unpack(option)[1] not in (0, os.geteuid()):
            raise PermissionError("somebody else listens there")
        return connection
    except OSError:
        connection.close()
        raise


class Relay:
    """One connection of one shell. Two threads hand frames on, one in each direction."""

    def __init__(self, notify, reads_only):
        """notify is called with each notification; reads_only lets no change pass,
        and answers an edit, which is noted in the place of a reply."""
        self.notify = notify
        self.reads_only = reads_only
        self.why = None  # there is no connection to the daemon any longer
        self.daemon = None
        self.shell = None
        self.listener = None
        self.lock = threading.Lock()
        self.waiting = 0  # requests without a reply
        self.requests = 0  # since forget(), as the next two
        self.replies = 0
        self.last = None
        self.is_lost = False
        path = os.environ.get("TARND_SOCKET") or DAEMON
        try:
            self.daemon = connect_daemon(path)
        except OSError as error:
            # Nobody listens at the path, so the shell finds no daemon and says so.
            self.why = f"{path}: {error.strerror or error}"
        # Only now: who is killed while he waits for the daemon leaves nothing.
        self.directory = tempfile.mkdtemp(prefix="vandel-do.")
        self.path = os.path.join(self.directory, SOCKET)
        self.place = -1
        self.is_removed = False
        try:
            # Where TMPDIR lets others rename, its name may lead to another directory later.
            self.place = os.open(self.directory, os.O_PATH | os.O_DIRECTORY | os.O_NOFOLLOW)
            if self.daemon is not None:
                self._listen()
        except BaseException:
            self.stop()
            raise

    def _listen(self):
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(f"/proc/self/fd/{self.place}/{SOCKET}")
        self.listener.listen(1)
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        try:
            self.shell = self.listener.accept()[0]
        except OSError:
            return
        self._remove_socket()
        with self._until_lost():
            threading.Thread(target=self._hand_up, daemon=True).start()
            self._hand_down()

    def _remove_socket(self):
        """Once: what stands at the name afterwards may be another user's."""
        with self.lock:
            if not self.is_removed:
                self.is_removed = True
                with contextlib.suppress(OSError):
                    os.unlink(SOCKET, dir_fd=self.place)
                with contextlib.suppress(OSError):
                    os.close(self.place)
                with contextlib.suppress(OSError):
                    os.rmdir(self.directory)

    @contextlib.contextmanager
    def _until_lost(self):
        """However a thread ends, the other end of the shell's connection ends with it."""
        try:
            yield
        except OSError:
            pass
        except Exception as error:  # pylint: disable=broad-exception-caught
            self.why = f"nothing is handed on any longer: {error!r}"
        finally:
            self._lose()

    def _hand_up(self):
        """From the shell to the daemon."""
        with self._until_lost():
            while frame := self._receive_frame(self.shell):
                header, body = frame
                asked = reply.operation(body) if self.reads_only else None
                if asked == EDIT:
                    self._answer_edit(header, body)
                    continue
                with self.lock:
                    self.requests += 1
                    self.waiting += 1
                if self.reads_only and asked not in READS:
                    break
                self.daemon.sendall(header + body)

    def _answer_edit(self, header, body):
        """In the place of the daemon, which does not get it; it is shown in that of a reply."""
        with self.lock:  # it never waits: the daemon could answer it otherwise
            self.requests += 1
            self.replies += 1
            self.last = body
        text = OK % html.escape(reply.tag_at(body, 1)[1].get("message-id", "")).encode()
        magic, _, number, _ = HEADER.unpack(header)
        self.shell.sendall(HEADER.pack(magic, len(text), number, 0) + text)

    def _hand_down(self):
        """From the daemon to the shell, all but notifications and what nobody has asked for."""
        while frame := self._receive_frame(self.daemon):
            header, body = frame
            if reply.is_notification(body):
                self.notify(bytes(body))
            elif self._note_reply(body):
                # In one piece: the shell reads a header at once.
                self.shell.sendall(header + body)

    def _note_reply(self, body):
        """False when no request waits for it."""
        with self.lock:
            if self.waiting == 0:
                return False
            self.waiting -= 1
            self.replies += 1
            self.last = body
            return True

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
            self.replies = 0
            self.last = None

    def answered(self):
        """The last reply since forget(), or None; and whether a request has none."""
        with self.lock:
            return self.last, self.requests > self.replies

    def stop(self):
        for connection in (self.listener, self.shell, self.daemon):
            if connection is not None:
                with contextlib.suppress(OSError):
                    connection.shutdown(socket.SHUT_RDWR)
        self._remove_socket()
