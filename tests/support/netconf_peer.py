"""A NETCONF server that a test plays by hand, one step at a time.

Run as a program, this file is the transport command: it connects to a Unix
socket of the test, introduces itself with one line of JSON (process id, open
descriptors, blocked and ignored signals) and from then on passes bytes between
its standard input and output and that socket. It ends when the test closes the
socket or when its standard input ends; with --stubborn it ignores the end of its
input and SIGTERM.

Imported, it is the test's side: PeerHost listens, and accept() gives a Peer, the
server end of one session.
"""

import json
import os
import re
import signal
import socket
import sys
import threading

BASE_NS = "urn:ietf:params:xml:ns:netconf:base:1.0"
BASE_1_0 = "urn:ietf:params:netconf:base:1.0"
BASE_1_1 = "urn:ietf:params:netconf:base:1.1"
NOTIFICATIONS = "urn:ietf:params:netconf:capability:notification:1.0"
INTERLEAVE = "urn:ietf:params:netconf:capability:interleave:1.0"
MARK = b"]]>]]>"
WAIT = 60  # seconds until a test that waits for bytes fails


def hello(session_id=7, capabilities=(BASE_1_0,)):
    """A server's hello, laid out with line ends as servers like it."""
    lines = "".join(f"<capability>{name}</capability>\n" for name in capabilities)
    return (
        f'<?xml version="1.0" encoding="UTF-8"?>\n<hello xmlns="{BASE_NS}">\n'
        f"<capabilities>\n{lines}</capabilities>\n<session-id>{session_id}</session-id>\n</hello>"
    ).encode()


def chunked(message, size=None):
    """The message in chunks of the given size, or in one."""
    size = size or len(message)
    chunks = (message[at : at + size] for at in range(0, len(message), size))
    return b"".join(b"\n#%d\n%s" % (len(chunk), chunk) for chunk in chunks) + b"\n##\n"


class PeerHost:
    """Where the transport commands of one gateway report."""

    def __init__(self, directory):
        self.path = os.path.join(directory, "peer.sock")
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(self.path)
        self.listener.listen(128)
        self.listener.settimeout(WAIT)
        self.peers = []

    def command(self, *options):
        return [sys.executable, "-I", "-S", os.path.abspath(__file__), self.path, *options]

    def accept(self):
        peer = Peer(self.listener.accept()[0])
        self.peers.append(peer)
        return peer

    def close(self):
        self.listener.close()
        for peer in self.peers:
            peer.close()


class Peer:
    """The server end of one session."""

    def __init__(self, connection):
        self.connection = connection
        self.connection.settimeout(WAIT)
        self.buffer = b""
        self.chunked = False
        self.about = json.loads(self.read_until(b"\n"))
        self.pid = self.about["pid"]

    def _fill(self):
        got = self.connection.recv(1 << 20)
        if not got:
            raise EOFError(f"the gateway closed the session; left over: {self.buffer!r}")
        self.buffer += got

    def read(self, size):
        while len(self.buffer) < size:
            self._fill()
        result, self.buffer = self.buffer[:size], self.buffer[size:]
        return result

    def read_until(self, mark):
        while mark not in self.buffer:
            self._fill()
        result, _, self.buffer = self.buffer.partition(mark)
        return result

    def read_chunk_size(self):
        """The size of the next chunk; 0 at the end of the message."""
        assert self.read(2) == b"\n#"
        size = self.read_until(b"\n")
        if size == b"#":
            return 0
        assert re.fullmatch(rb"[1-9][0-9]*", size), size
        return int(size)

    def request(self):
        """The next message from the gateway, in the framing agreed."""
        if not self.chunked:
            return self.read_until(MARK)
        message = b""
        while size := self.read_chunk_size():
            message += self.read(size)
        return message

    def greet(self, session_id=7, capabilities=(BASE_1_0,)):
        """Sends a hello and returns the gateway's."""
        self.raw(hello(session_id, capabilities) + MARK)
        greeting = self.read_until(MARK)
        self.chunked = BASE_1_1 in capabilities
        return greeting

    def send(self, message, size=None):
        """Sends one message, in chunks of the given size if chunks are agreed."""
        self.raw(chunked(message, size) if self.chunked else message + MARK)

    def raw(self, data):
        self.connection.sendall(data)

    def at_end(self):
        """Waits until the gateway has closed the command's input; True when no
        message came before."""
        try:
            while True:
                self._fill()
        except (EOFError, ConnectionResetError):
            # The beginning of a chunk header goes ahead of its message.
            return self.buffer in ((b"", b"\n", b"\n#") if self.chunked else (b"",))

    def close(self):
        self.connection.close()


def _about():
    with open("/proc/self/status", encoding="ascii") as status:
        fields = dict(line.rstrip("\n").split(":\t", 1) for line in status if ":\t" in line)
    return {
        "pid": os.getpid(),
        "descriptors": sorted(int(name) for name in os.listdir("/proc/self/fd")),
        "blocked": int(fields["SigBlk"], 16),
        "ignored": int(fields["SigIgn"], 16),
        "arguments": sys.argv,
    }


def _pass_input(test, stubborn):
    while data := os.read(0, 1 << 20):
        try:
            test.sendall(data)
        except OSError:
            break
    test.shutdown(socket.SHUT_WR)
    if not stubborn:
        os._exit(0)


def _main():
    stubborn = "--stubborn" in sys.argv
    about = _about()
    if stubborn:
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
    test = socket.socket(socket.AF_UNIX)
    test.connect(sys.argv[1])
    test.sendall(json.dumps(about).encode() + b"\n")
    threading.Thread(target=_pass_input, args=(test, stubborn), daemon=True).start()
    try:
        while data := test.recv(1 << 20):
            while data:
                data = data[os.write(1, data) :]
    except OSError:
        pass
    os._exit(0)


if __name__ == "__main__":
    _main()
