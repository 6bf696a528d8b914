"""What vandel-do keeps of the text of a command, which may be large, and what it hands on."""

import os
import sys
import tracemalloc

import pytest
from support.shell import ROOT

sys.path.insert(0, os.path.join(ROOT, "tools"))
from vandel_do import reply  # noqa: E402  pylint: disable=wrong-import-position
from vandel_do.output import LIMIT, Text  # noqa: E402  pylint: disable=wrong-import-position
from vandel_do.stream import REFUSAL, Stream  # noqa: E402  pylint: disable=wrong-import-position

PROMPT = b"\n/acme$ "
MARKERS = (b"pwd 1", b"pwd 2")
CLOSING = b"".join(PROMPT + marker + b"\n" + REFUSAL for marker in MARKERS)
PIECE = b"x" * 999 + b"\n"


@pytest.mark.parametrize("size", [1, 2, 7, 50, 1 << 16])
def test_only_the_output_is_handed_on(size):
    taken = []
    stream = Stream(PROMPT, MARKERS, 100, taken.append)
    output = b"one\n" + PROMPT + PIECE + b"pwd 1\n"
    given = PROMPT + b"get x\n" + output + CLOSING
    for offset in range(0, len(given), size):
        assert stream.prompt is None
        stream.add(given[offset : offset + size])
    assert (b"".join(taken), stream.prompt) == (output, PROMPT)


def test_output_is_handed_on_as_it_comes():
    taken = []
    stream = Stream(None, MARKERS, 100, taken.append)
    for _ in range(5000):
        stream.add(PIECE)
        assert len(stream.kept) < 200
    stream.give_up()
    assert b"".join(taken) == PIECE * 5000


def test_the_echo_is_not_kept():
    stream = Stream(PROMPT, MARKERS, 100, print)
    stream.add(PROMPT)
    for _ in range(5):
        stream.add(b"x" * 100_000)
        assert not stream.kept


def test_the_ends_of_a_long_text_are_kept():
    passed = []
    text = Text(passed.append)
    text.add(b"first\n")
    for _ in range(1000):
        text.add(PIECE)
    text.add(b"last\n")
    assert b"".join(passed) == b"first\n" + PIECE * 1000 + b"last\n"
    lines = text.ends().split(b"\n")
    assert (lines[0], lines[-2:]) == (b"first", [b"last", b""])
    # The last line of the start and the first one of the end have become one.
    assert [len(line) for line in lines[1:-2] if len(line) != 999] == [530 + 530]
    assert len(text.ends()) <= 2 * LIMIT


def test_a_text_that_a_document_takes_the_place_of_is_dropped():
    passed = []
    text = Text(passed.append, lambda: True)
    for _ in range(1000):
        text.add(PIECE)
    assert not passed
    text.release()  # there is no document
    assert b"".join(passed) == (PIECE * 66)[:LIMIT]


def test_a_long_text_without_a_document_passes():
    passed = []
    text = Text(passed.append, lambda: False)
    for _ in range(1000):
        text.add(PIECE)
    text.release()
    assert b"".join(passed) == PIECE * 1000


def test_how_long_a_tag_may_be():
    """An older expat reads a tag anew with each piece: half an hour for one that fills a frame."""
    assert not reply.holds_error(b"<r a='%s'>%s</r>" % (b"x" * (9 << 20), b"x" * (30 << 20)))
    for document in (b"<r a='%s'/>", b"<!--%s--><r/>", b"<?r %s?><r/>", b"<r%s/>"):
        with pytest.raises(reply.Unreadable):
            reply.holds_error(document % (b"x" * (30 << 20)))


A_MEGABYTE = b"u" * 1_000_000
MANY_ELEMENTS = b"".join(b"<a%d/>" % number for number in range(100))
MANY_ATTRIBUTES = b"".join(b" u:a%d=''" % number for number in range(100))


@pytest.mark.parametrize(
    "document",
    [
        pytest.param(b"<r xmlns='%s'>%s</r>" % (A_MEGABYTE, MANY_ELEMENTS), id="elements"),
        pytest.param(b"<r xmlns:u='%s'%s/>" % (A_MEGABYTE, MANY_ATTRIBUTES), id="attributes"),
    ],
)
def test_a_namespace_is_not_kept_for_each_name(document):
    tracemalloc.start()
    try:
        assert not reply.is_notification(document)
        assert not reply.holds_error(document)
        assert reply.to_json(document)
        assert tracemalloc.get_traced_memory()[1] < 20_000_000
    finally:
        tracemalloc.stop()


def test_what_is_escaped_takes_no_memory_until_the_end():
    """One character above U+FFFF makes four bytes of each, and each has been a text of its own."""
    document = "<r><a>%s\U0001f600</a></r>" % ("\x7f" * 1_000_000)
    body = document.encode()
    tracemalloc.start()
    try:
        assert len(reply.to_json(body)) > 6_000_000
        assert tracemalloc.get_traced_memory()[1] < 30 * len(body)
    finally:
        tracemalloc.stop()


def test_a_document_type_is_no_xml():
    """Its attributes would be compared with each other: hours for those that fill a frame."""
    with pytest.raises(reply.Unreadable):
        reply.holds_error(b"<!DOCTYPE r [<!ATTLIST r a CDATA ''>]><r/>")


@pytest.mark.parametrize(
    ("document", "is_one"),
    [
        ("<notification xmlns='{}'/>", True),
        ("<n:notification xmlns:n='{}'/>", True),
        ("<n:notification xmlns:n='urn:other' xmlns='{}'/>", False),
        ("<notification xmlns:notification='{}'/>", False),
        ("<n:notification xmlns='{}'/>", False),
        ("<other xmlns='{}'/>", False),
    ],
)
def test_what_a_notification_is(document, is_one):
    space = "urn:ietf:params:xml:ns:netconf:notification:1.0"
    assert reply.is_notification(document.format(space).encode()) is is_one
