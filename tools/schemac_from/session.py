"""A NETCONF session on the standard input and output of a command."""

import contextlib
import ctypes
import os
import re
import select
import signal
import subprocess
import time
from xml.etree.ElementTree import TreeBuilder
from xml.parsers import expat

BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
BASE_1_0 = "urn:ietf:params:netconf:base:1.0"
BASE_1_1 = "urn:ietf:params:netconf:base:1.1"
MARK = b"]]>]]>"
# There are servers that leave a request which came together with the hello until more
# comes. So more comes, after as many seconds: what a message may begin with.
NUDGES = (0.2, b"\n"), (1.3, b"#")
LARGEST = 64 << 20  # bytes of a message, as of a file that schemac reads
LONGEST = 255  # characters of a namespace
READ_SIZE = 1 << 16
PARTING = 5  # seconds that a command has to end by itself
PR_SET_PDEATHSIG = 1
LIBC = ctypes.CDLL(None)


class Failed(Exception):
    """The schema cannot be had from the server; the text says why."""


def check(message):
    """Raises Failed for what takes a reader without end: what a document type defines, and a
    long namespace, which expat puts into the name of each element and attribute that has it.
    It does so to the end of what it reads, also when a handler raises; so this goes before."""

    def refuse(*_):
        raise Failed("the server sends a document type")

    def look(_, attributes):
        spaces = (value for name, value in attributes.items() if name.startswith("xmlns"))
        if any(len(space) > LONGEST for space in spaces):
            raise Failed(f"the server sends a namespace of more than {LONGEST} characters")

    parser = expat.ParserCreate("utf-8")
    parser.StartDoctypeDeclHandler = refuse
    parser.StartElementHandler = look
    parser.Parse(message, True)


def parse(message):
    """The tree of a message, with tags as "{namespace}name". Raises Failed."""
    builder = TreeBuilder()
    parser = expat.ParserCreate("utf-8", "}")
    parser.buffer_text = True

    def tag(name):
        return "{" + name if "}" in name else name

    parser.StartElementHandler = lambda name, attributes: builder.start(tag(name), attributes)
    parser.EndElementHandler = lambda name: builder.end(tag(name))
    parser.CharacterDataHandler = builder.data
    try:
        message = message.lstrip()
        check(message)
        parser.Parse(message, True)
    except expat.ExpatError as error:
        raise Failed(f"the server sends what is no XML: {error}") from None
    return builder.close()


def error_of(reply):
    """What an rpc-error in a reply says; None where there is none."""
    error = reply.find(f"{{{BASE}}}rpc-error")
    if error is None:
        return None
    texts = (error.findtext(f"{{{BASE}}}error-{part}") for part in ("message", "tag"))
    return next((text.strip() for text in texts if text and text.strip()), "rpc-error")


def end_with(parent, prepare):
    """Ends this process with its parent: the end of its input alone ends no ssh whose server
    says nothing. Then calls `prepare`, if there is one."""
    LIBC.prctl(PR_SET_PDEATHSIG, ctypes.c_ulong(signal.SIGTERM), 0, 0, 0)
    if os.getppid() != parent:
        os.kill(os.getpid(), signal.SIGTERM)
    if prepare:
        prepare()


def is_ready(file, event, seconds):
    """Whether it is before so long. select() takes no numbers from 1024 on."""
    poll = select.poll()
    poll.register(file, event)
    return bool(poll.poll(seconds * 1000))


class Session:
    def __init__(self, command, patience, prepare=None):
        """Runs the command, in whose process `prepare`, if there is one, is called first, and reads
        its server's hello; each message may take `patience` seconds. Raises Failed."""
        self.patience = patience
        self.deadline = 0
        self.buffer = bytearray()
        self.is_chunked = False
        self.asked = 0  # requests so far
        self.nudges = []  # that are left since the last one
        self.ahead = 0  # bytes of the next one that have been sent
        here = os.getpid()
        try:
            self.process = subprocess.Popen(  # pylint: disable=consider-using-with
                command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0,
                preexec_fn=lambda: end_with(here, prepare),
            )  # fmt: skip
        except OSError as error:
            raise Failed(f"{command[0]}: {error.strerror}") from None
        try:
            self._greet()
        except BaseException:
            self.end()
            raise

    def _greet(self):
        """Reads the hello and answers it. Chunks are used only where there is no other way."""
        hello = parse(self._message())
        if hello.tag != f"{{{BASE}}}hello":
            raise Failed("the server does not begin with a hello")
        found = (item.text for item in hello.iter(f"{{{BASE}}}capability"))
        self.capabilities = [text.strip() for text in found if text]
        version = BASE_1_0 if BASE_1_0 in self.capabilities else BASE_1_1
        if version not in self.capabilities:
            raise Failed("the server speaks neither NETCONF 1.0 nor 1.1")
        self._write(
            f'<hello xmlns="{BASE}"><capabilities><capability>{version}</capability>'
            "</capabilities></hello>".encode() + MARK
        )
        self.is_chunked = version == BASE_1_1

    def ask(self, body):
        """Sends a request, whose number is returned; its answer comes when it comes."""
        self.asked += 1
        text = f'<rpc xmlns="{BASE}" message-id="{self.asked}">{body}</rpc>'.encode()
        chunk = b"\n#%d\n%s\n##\n" % (len(text), text)
        self._write(chunk[self.ahead :] if self.is_chunked else text + MARK)
        self.nudges = list(NUDGES)
        self.ahead = 0
        return self.asked

    def answer(self):
        """The number of a request, and the reply to it."""
        reply = parse(self._message())
        number = reply.get("message-id", "")
        if reply.tag != f"{{{BASE}}}rpc-reply" or not re.fullmatch("[0-9]{1,9}", number):
            raise Failed("the server answers with what is no reply")
        return int(number), reply

    def close(self):
        """Leaves as one should, and gives the command time to end."""
        self.patience = PARTING
        with contextlib.suppress(Failed, subprocess.TimeoutExpired):
            self.ask("<close-session/>")
            # The end of its input ends many a command at once, heard by the server or not.
            self._message()
            self.process.stdin.close()
            self.process.wait(PARTING)
        self.end()

    def end(self):
        """Ends the command, also one that does not listen."""
        self.process.stdin.close()
        self.process.stdout.close()
        for end in (self.process.terminate, self.process.kill):
            if self.process.poll() is None:
                end()
                with contextlib.suppress(subprocess.TimeoutExpired):
                    self.process.wait(PARTING)

    def _write(self, data):
        # A server may answer what it has not read. What is so short, a pipe takes whole or not yet.
        if not is_ready(self.process.stdin, select.POLLOUT, self.patience):
            raise self._late()
        with contextlib.suppress(BrokenPipeError):  # reading tells why
            self.process.stdin.write(data)

    def _message(self):
        self.deadline = time.monotonic() + self.patience
        return self._chunks() if self.is_chunked else self._until(MARK)

    def _chunks(self):
        message = bytearray()
        while True:
            start = self._take(2)
            size = self._until(b"\n")
            if start == b"\n#" and size == b"#":
                return bytes(message)
            if start != b"\n#" or not re.fullmatch(rb"[1-9][0-9]{0,9}", size):
                raise Failed("the server sends what is no chunk")
            self._bound(len(message) + int(size))
            message += self._take(int(size))

    def _until(self, mark):
        """What comes before a mark."""
        start = 0
        while (at := self.buffer.find(mark, start)) < 0:
            start = max(0, len(self.buffer) - len(mark) + 1)
            self._fill()
        return self._take(at + len(mark))[:at]

    def _take(self, size):
        while len(self.buffer) < size:
            self._fill()
        taken = bytes(self.buffer[:size])
        del self.buffer[:size]
        return taken

    def _wait(self):
        """Whether there is something to read before the next nudge or the deadline."""
        left = max(0, self.deadline - time.monotonic())
        if self.nudges:
            left = min(left, self.nudges[0][0])
        return is_ready(self.process.stdout, select.POLLIN, left)

    def _fill(self):
        """Reads more, before the deadline."""
        while (is_late := time.monotonic() >= self.deadline) or not self._wait():
            if is_late or not self.nudges:
                raise self._late()
            _, start = self.nudges.pop(0)
            self._write(start if self.is_chunked else b"\n")
            self.ahead += 1
        piece = os.read(self.process.stdout.fileno(), READ_SIZE)
        if not piece:
            raise Failed("the server has ended the session" + self._status())
        self.buffer += piece
        self._bound(len(self.buffer) - READ_SIZE)

    def _late(self):
        return Failed(f"the server has not answered within {self.patience:g} seconds")

    def _bound(self, size):
        if size > LARGEST:
            raise Failed(f"the server sends a message of more than {LARGEST >> 20} MiB")

    def _status(self):
        """How the command has ended, as a part of a message."""
        try:
            status = self.process.wait(PARTING)
        except subprocess.TimeoutExpired:
            return ""
        return f"; its command ended with status {status}" if status else ""
