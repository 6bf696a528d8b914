"""A NETCONF server with YANG modules, played for `schemac --from`: one thread, one session
after the other."""

import contextlib
import threading
from xml.sax.saxutils import escape

from lxml import etree

from .netconf_peer import BASE_1_0, BASE_NS, PeerHost

LIBRARY = "urn:ietf:params:xml:ns:yang:ietf-yang-library"
MONITORING = "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"
HAS_TEXTS = MONITORING  # its get-schema, and nothing that is compiled
HAS_LIBRARY = "urn:ietf:params:netconf:capability:yang-library:1.0?module-set-id={}"
UNKNOWN = "<rpc-error><error-tag>invalid-value</error-tag></rpc-error>"


def capability(module, revision="", **parameters):
    """As a hello names a module."""
    if revision:
        parameters = {"revision": revision, **parameters}
    return f"urn:{module}?module={module}" + "".join(
        f"&amp;{name}={value}" for name, value in parameters.items()
    )


def leaves(name, *values):
    return "".join(f"<{name}>{escape(value)}</{name}>" for value in values)


def listed(kind, name, revision, features=(), inner=""):
    """A module as a YANG library lists it."""
    head = leaves("name", name) + leaves("revision", revision)
    return f"<{kind}>{head}{leaves('feature', *features)}{inner}</{kind}>"


def modules_state(*modules):
    """The older YANG library."""
    inner = "".join(modules)
    return f'<data><modules-state xmlns="{LIBRARY}">{inner}</modules-state></data>'


def yang_library(*modules):
    """The newer one."""
    module_set = f"<module-set><name>all</name>{''.join(modules)}</module-set>"
    return f'<data><yang-library xmlns="{LIBRARY}">{module_set}</yang-library></data>'


class Device:
    """texts: {(name, revision): text}; library: the answer to a read of the YANG library.

    asked is what the last session has asked, an element each; script(peer), if it is set,
    takes the place of all that follows the start of the command.
    """

    def __init__(self, directory):
        self.host = PeerHost(directory)
        self.capabilities = [BASE_1_0, HAS_TEXTS]
        self.texts = {}
        self.library = None
        self.script = None
        self.asked = []
        self.hello = b""
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def command(self, *options):
        return self.host.command(*options)

    def operations(self):
        """What the last session has asked, get-schema as "name@version"."""
        return [self.operation(one) for one in self.asked]

    @staticmethod
    def operation(element):
        kind = etree.QName(element).localname
        if kind != "get-schema":
            return kind
        space = {"m": MONITORING}
        texts = (element.findtext(f"m:{leaf}", "", space) for leaf in ("identifier", "version"))
        return "@".join(texts)

    def greet(self, peer):
        self.hello = peer.greet(capabilities=self.capabilities)
        peer.chunked = BASE_1_0 not in self.capabilities

    def receive(self, peer):
        """The number of the next request, and what it asks."""
        request = etree.fromstring(peer.request())
        self.asked.append(request[0])
        return request.get("message-id"), request[0]

    def answer(self, operation):
        """What stands in the reply."""
        asked = self.operation(operation)
        if asked == "close-session":
            return "<ok/>"
        if asked == "get":
            return self.library
        name, version = asked.split("@")
        found = [
            text
            for (known, revision), text in self.texts.items()
            if known == name and version in ("", revision)
        ]
        if not found:
            return UNKNOWN
        return f'<data xmlns="{MONITORING}">{escape(found[0])}</data>'

    def reply(self, peer, number, inner):
        text = f'<rpc-reply xmlns="{BASE_NS}" message-id="{number}">{inner}</rpc-reply>'
        peer.send(text.encode())

    def _serve(self):
        with contextlib.suppress(OSError):
            while True:
                peer = self.host.accept()
                self.asked = []
                with contextlib.suppress(EOFError, OSError):
                    self._serve_one(peer)
                peer.close()

    def _serve_one(self, peer):
        if self.script is not None:
            self.script(peer)
            return
        self.greet(peer)
        while True:
            number, operation = self.receive(peer)
            self.reply(peer, number, self.answer(operation))

    def stop(self):
        self.host.close()
