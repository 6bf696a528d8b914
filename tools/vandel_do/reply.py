"""Reading what the device sends: its kind, whether it is an error, and as JSON.

Nothing here goes by the text: tags are those that an XML reader finds.
"""

import json
from xml.parsers import expat

from vandel_do.output import CONTROLS

NOTIFICATIONS = "urn:ietf:params:xml:ns:netconf:notification:1.0"
ERROR = "rpc-error"
DEPTH_LIMIT = 256  # elements within each other; the XML readers of devices stop there, too
PIECE = 1 << 20
ESCAPED_AT_ONCE = 1 << 16  # characters; each takes some seventy bytes until they are joined
TAG_LIMIT = 10_000_000  # bytes; an older expat reads it anew with each piece of it


class Unreadable(Exception):
    """This is no XML."""


class _Enough(Exception):
    """What was looked for is found."""


def local(name):
    return name.rpartition(":")[2]


def read(body, start, end=None, characters=None):
    """Calls start(name, depth, attributes) and the like; names are as they stand.

    Raises Unreadable, also for a document type: expat compares each attribute that one
    declares with all before it, and no signal is handled meanwhile. Namespaces are not put
    into the names: one of megabytes would be there again for each element and attribute.
    """
    depth = 0

    def refuse(*_):
        raise Unreadable

    def opened(name, attributes):
        nonlocal depth
        depth += 1
        if depth > DEPTH_LIMIT:
            raise Unreadable
        start(name, depth, attributes)

    def closed(name):
        nonlocal depth
        depth -= 1
        if end is not None:
            end(name)

    parser = expat.ParserCreate(intern=None)  # else it keeps every name
    parser.buffer_text = True
    parser.StartDoctypeDeclHandler = refuse
    parser.StartElementHandler = opened
    parser.EndElementHandler = closed
    parser.CharacterDataHandler = characters
    length = len(body)
    while length > 0 and body[length - 1] == 0:
        length -= 1
    text = memoryview(body)[:length]  # no copy: a reply may be large
    try:
        for offset in range(0, length, PIECE):
            parser.Parse(text[offset : offset + PIECE], False)
            # A newer expat waits for up to twice as much before it reads on.
            if offset - parser.CurrentByteIndex > 2 * TAG_LIMIT:
                raise Unreadable
        parser.Parse(b"", True)
    except _Enough:
        return
    except (expat.ExpatError, LookupError, ValueError):  # the latter for its encoding
        raise Unreadable from None


def tag_at(body, wanted):
    """Name and attributes of the first element at a depth; (None, {}) where there is none."""
    found = None, {}

    def start(name, depth, attributes):
        nonlocal found
        if depth == wanted:
            found = name, attributes
            raise _Enough

    try:
        read(body, start)
    except Unreadable:
        return None, {}
    return found


def is_notification(body):
    name, attributes = tag_at(body, 1)
    if name is None or local(name) != "notification":
        return False
    prefix, colon, _ = name.rpartition(":")
    return attributes.get(f"xmlns{colon}{prefix}") == NOTIFICATIONS


def operation(body):
    """What a request asks for, by its name; None where that cannot be seen."""
    name, _ = tag_at(body, 2)
    return None if name is None else local(name)


def holds_error(body):
    """Whether an rpc-error stands in a reply, and not in its data. Raises Unreadable."""
    found = False

    def start(name, depth, _attributes):
        nonlocal found
        found = found or (depth == 2 and local(name) == ERROR)

    read(body, start)
    return found


def escape(found):
    return f"\\u{ord(found[0]):04x}"


def to_json(body):
    """What stands in the root of a reply, as bytes, by the rules of the man page. Raises
    Unreadable."""
    root = [{}, []]
    path = [root]  # of each open element: its children by name, and the pieces of its text

    def start(_name, _depth, _attributes):
        path.append([{}, []])

    def end(name):
        children, pieces = path.pop()
        value = children if children else "".join(pieces)
        path[-1][0].setdefault(local(name), []).append(value)

    read(body, start, end, lambda piece: path[-1][1].append(piece))
    (content,) = next(iter(root[0].values()))
    text = json.dumps(content if isinstance(content, dict) else {}, ensure_ascii=False)
    # As a reference, &#x9b;, a character comes past those who let none raw.
    starts = range(0, len(text), ESCAPED_AT_ONCE)
    pieces = (text[start : start + ESCAPED_AT_ONCE] for start in starts)
    return b"".join(CONTROLS.sub(escape, piece).encode() for piece in pieces)
