"""Sessions of bench/compare with a NETCONF server that answers at once, through
tarnd-gateway and without it."""

import contextlib
import functools
import os
import socket
import subprocess
import tempfile
import time

from support.gateway import HEADER, MAGIC, Gateway
from support.schemac import BUILD
from support.servers import stop
from timed import MEGABYTE, since

PEER = os.path.join(BUILD, "bench", "bench_peer")
REPLY = "/tmp/reply.xml"  # of the private /tmp
BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
CREATE = (
    f'<rpc xmlns="{BASE}" xmlns:tarnd="com:quorvex:netconf:private:vesk:device:tarnd"'
    ' message-id="0">\r\n         <tarnd:create-session>\r\n'
    "         <tarnd:username>root</tarnd:username>\r\n"
    "         <tarnd:agent-pid>1</tarnd:agent-pid>\r\n"
    "         </tarnd:create-session>\r\n         </rpc>"
).encode()
MARK = b"]]>]]>"
HELLO = f'<hello xmlns="{BASE}"><capabilities/></hello>'.encode()
GET = f'<rpc xmlns="{BASE}" message-id="0"><get/></rpc>'.encode()
# As a shell's, whose configuration comes last.
EDIT = (
    f'<rpc xmlns="{BASE}" message-id="0"><edit-config><target><running/></target>'
    "<error-option>rollback-on-error</error-option>"
    "<config><d>{}</d></config></edit-config></rpc>"
)
SMALL_EDIT = EDIT.format("").encode()
LARGE_EDIT = EDIT.format("d" * 100 * MEGABYTE).encode()
ROUND_TRIPS = 500
STARTED = contextlib.ExitStack()


class Client:
    """One end of a session: a message goes out after a head and with an end, and a reply
    comes with an end."""

    def __init__(self, connection, head, end, reply_end, memory=lambda: 0):
        self.connection, self.head, self.end = connection, head, end
        self.reply_end, self.memory = b"</rpc-reply>" + reply_end, memory

    def ask(self, message):
        self.connection.sendall(self.head(message) + message + self.end)
        last = b""
        while not last.endswith(self.reply_end):
            last = last[-20:] + self.connection.recv(MEGABYTE)


@functools.cache
def gateway():
    """A client of a gateway to the server of netconf()."""
    directory = STARTED.enter_context(tempfile.TemporaryDirectory())
    started = Gateway(directory, [PEER, "netconf", REPLY], ["--no-subscribe"])
    STARTED.callback(started.stop)
    connection = started.shell().connection
    client = Client(connection, frame_header, b"\0", b"", lambda: started.peak_memory() / 2**20)
    client.path = started.socket
    client.ask(CREATE)
    return client


def frame_header(message):
    return HEADER.pack(MAGIC, len(message) + 1, 0, 0)


@functools.cache
def netconf():
    """The same without the gateway."""
    ours, theirs = socket.socketpair()
    server = subprocess.Popen([PEER, "netconf", REPLY], stdin=theirs, stdout=theirs)
    STARTED.callback(stop, server)
    theirs.close()
    client = Client(ours, lambda message: b"", MARK, MARK)
    ours.sendall(HELLO + MARK)
    return client


def exchange(client, message):
    start = time.perf_counter()
    client.ask(message)
    return since(start), client.memory()


def latency(client, share=0.5):
    """What that share of the exchanges keeps below."""
    times = sorted(exchange(client, SMALL_EDIT)[0] for _ in range(ROUND_TRIPS))
    return times[int(share * len(times))], 0
