"""A scripted configuration daemon.

Tarnd listens on a Unix socket and speaks the frame protocol. It records every
frame it receives, whole, and answers from a script, so that a test can assert
the exact bytes a shell sends and can make the server do anything: answer late,
answer nonsense, push notifications, stall, or go away.

The script is `on_request`, a callable that takes a Frame and returns the list
of steps that answer it. A step is a text (sent as one frame) or a callable
that takes the Session and does something else: `close`, `raw(...)`,
`frame(...)`, `take(count)`, `pause(event)`. `None` instead of a list means the default
answer: an empty data element for a read, ok for anything else. The request
that creates the session is answered from `session_reply` and never reaches
`on_request`. `on_connect` is called with each new Session.
"""

import collections
import contextlib
import functools
import os
import re
import socket
import struct
import threading
import time

from . import servers, valgrind

HEADER = struct.Struct("<IIHH")
MAGIC = 0xFEDCBAFF
BASE_NS = "urn:ietf:params:xml:ns:netconf:base:1.0"
PRIVATE_NS = "com:quorvex:netconf:private:vesk:device:tarnd"
WAIT = 30 * valgrind.SCALE
PIECE = 1 << 20


class Frame:
    """One received frame: the header's fields and the body as it came."""

    def __init__(self, header, body):
        self.header = header
        self.magic, self.length, self.sequence, self.reserved = HEADER.unpack(header)
        self.body = body

    @functools.cached_property
    def text(self):
        """The body without its terminating zero byte."""
        return self.body.rstrip(b"\0").decode("utf-8", "surrogateescape")

    @property
    def message_id(self):
        found = re.search(r'message-id="([^"]*)"', self.text)
        return found.group(1) if found else ""

    @property
    def creates_session(self):
        return ":create-session>" in self.text

    def reply(self, inner):
        """A compact reply to this request with the given content."""
        return rpc_reply(inner, self.message_id)

    def data(self, inner=""):
        return self.reply(f"<data>{inner}</data>")

    def __repr__(self):
        return f"Frame({self.sequence}, {self.body!r})"


def rpc_reply(inner, message_id="0"):
    return f'<rpc-reply xmlns="{BASE_NS}" message-id="{message_id}">{inner}</rpc-reply>'


def session_reply(session_id="1"):
    return rpc_reply(f'<session-id xmlns="{PRIVATE_NS}">{session_id}</session-id>')


def notification(inner):
    return (
        '<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">'
        f"<eventTime>2024-01-02T03:04:05Z</eventTime>{inner}</notification>"
    )


def close(session):
    """Step: closes the connection."""
    session.close()


def raw(data):
    """Step: writes bytes as they are, without a frame around them."""
    return lambda session: session.send_raw(data)


def frame(body, **fields):
    """Step: sends a frame whose header fields may be wrong."""
    return lambda session: session.send(body, **fields)


def take(count):
    """Step: reads that many bytes of what the shell sends next, whatever they are."""
    return lambda session: session.read(count)


def pause(event):
    """Step: waits until the test sets the event."""

    def step(session):
        deadline = time.monotonic() + WAIT
        while not event.wait(0.02) and not session.daemon.stopping:
            if time.monotonic() > deadline:
                raise TimeoutError("the test never let the daemon go on")

    return step


class Session:
    """One connected shell."""

    def __init__(self, daemon, connection):
        self.daemon = daemon
        self.connection = connection
        self.frames = []
        self.closed = threading.Event()
        credentials = connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12)
        self.pid = struct.unpack("3i", credentials)[0]
        self.write_lock = threading.Lock()
        self.sent = 0
        self.thread = threading.Thread(target=self._serve, daemon=True)

    def send(self, body, magic=MAGIC, length=None, sequence=None, reserved=0):
        """Sends one frame; fields that are not given are right."""
        data = body.encode("utf-8", "surrogateescape") if isinstance(body, str) else body
        with self.write_lock:
            number = self.sent if sequence is None else sequence
            size = len(data) if length is None else length
            self.sent += 1
            self.connection.sendall(HEADER.pack(magic, size, number & 0xFFFF, reserved) + data)

    def send_raw(self, data):
        with self.write_lock:
            self.connection.sendall(data)

    def close(self):
        with contextlib.suppress(OSError):
            self.connection.shutdown(socket.SHUT_RDWR)
        self.connection.close()

    def read(self, count):
        data = bytearray()
        while len(data) < count:
            piece = self.connection.recv(min(count - len(data), PIECE))
            if not piece:
                return None
            data += piece
        return bytes(data)

    def _serve(self):
        try:
            if self.daemon.on_connect:
                self.daemon.on_connect(self)
            while True:
                header = self.read(HEADER.size)
                if header is None:
                    return
                body = self.read(HEADER.unpack(header)[1])
                if body is None:
                    return
                self._answer(Frame(header, body))
        except OSError:
            pass  # the shell went away, or the script closed the connection
        except Exception as error:  # pylint: disable=broad-except
            self.daemon.errors.append(error)
        finally:
            self.close()
            with self.daemon.changed:
                self.closed.set()
                self.daemon.changed.notify_all()

    def _answer(self, request):
        steps = self.daemon.steps_for(request)
        with self.daemon.changed:
            self.frames.append(request)
            self.daemon.frames.append(request)
            self.daemon.changed.notify_all()
        for step in steps:
            if callable(step):
                step(self)
            else:
                self.send(step)


class Tarnd:
    """The daemon: a listening socket and what came in over it."""

    def __init__(self, path, listener=None):
        """Listens on the Unix socket of this path, or takes a listening socket besides."""
        self.path = path
        self.session_reply = session_reply()
        self.on_connect = None
        self.on_request = None
        self.frames = []
        self.sessions = []
        self.errors = []
        self.stopping = False
        self.changed = threading.Condition()
        self.rules = collections.OrderedDict()
        self.listener = servers.Listener(path, self._take, listener)

    def _take(self, connection):
        session = Session(self, connection)
        with self.changed:
            session.thread.start()
            self.sessions.append(session)
            self.changed.notify_all()

    def holds(self, needle, inner):
        """From now on a read whose text contains needle finds this data."""
        self.rules[needle] = inner

    def steps_for(self, request):
        if request.creates_session:
            reply = self.session_reply
            return list(reply) if isinstance(reply, (list, tuple)) else [reply]
        steps = self.on_request(request) if self.on_request else None
        if steps is not None:
            return [steps] if isinstance(steps, (str, bytes)) or callable(steps) else list(steps)
        if "<get>" in request.text or "<get-config>" in request.text:
            for needle, inner in self.rules.items():
                if needle in request.text:
                    return [request.data(inner)]
            return [request.data()]
        return [request.reply("<ok/>")]

    @property
    def requests(self):
        """Every request so far but those that create a session, as text."""
        with self.changed:
            return [frame.text for frame in self.frames if not frame.creates_session]

    def wait(self, condition, what="the daemon"):
        """Waits until condition() holds; it is looked at whenever something happens."""
        with self.changed:
            if not self.changed.wait_for(condition, WAIT):
                raise TimeoutError(f"{what}: still not so after {WAIT} s")

    def wait_requests(self, count):
        """Waits until that many requests came in and returns their texts."""
        self.wait(
            lambda: sum(not frame.creates_session for frame in self.frames) >= count,
            f"{count} requests",
        )
        return self.requests

    def wait_session(self, number=0):
        """Waits until session `number` exists and has asked to be created."""
        self.wait(
            lambda: len(self.sessions) > number and self.sessions[number].frames,
            f"session {number}",
        )
        return self.sessions[number]

    def stop(self):
        """Closes every connection; raises what went wrong inside the daemon."""
        self.stopping = True
        self.listener.stop(WAIT)
        for session in self.sessions:
            session.close()
        for session in self.sessions:
            session.thread.join(WAIT)
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.path)
        if self.errors:
            raise self.errors[0]
