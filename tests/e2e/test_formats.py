"""What the pages of the formats show is what the programs write, byte for byte."""

import os
import re
import shlex
import shutil
import subprocess
import tempfile

import pytest
from support import tarnd as daemon
from support.schemac import SCHEMAC, Server
from support.shell import ROOT


def blocks(page):
    """The examples of a page, as a reader sees them, and what follows a `\\` joined."""
    with open(os.path.join(ROOT, "docs", "man", page), encoding="utf-8") as file:
        examples = file.read().partition("\n.Sh EXAMPLES\n")[2].partition("\n.Sh ")[0]
    found = re.findall(r"(?ms)^\.Bd -literal.*?\n(.*?)^\.Ed$", examples)
    return [block.replace("\\e\n", "") for block in found]


def hexdump(data):
    """What hexdump -C says of some bytes, without its last line."""
    lines = []
    for start in range(0, len(data), 16):
        row = data[start : start + 16]
        numbers = " ".join([row[:8].hex(" "), "", row[8:].hex(" ")])
        text = "".join(chr(byte) if 32 <= byte < 127 else "." for byte in row)
        lines.append(f"{start:08x}  {numbers:<50}|{text}|\n")
    return "".join(lines)


SCHEMA = blocks("vandel-schema.5")


@pytest.fixture(name="bakery", scope="module")
def fixture_bakery():
    """A database that schemac has made of the page's modules."""
    directory = tempfile.mkdtemp(prefix="vandel-test.", dir="/tmp")
    server = Server("--hash-max-listpack-value", "4096")
    try:
        names = [re.match(r"module (\S+)", text)[1] for text in SCHEMA[:2]]
        for name, text in zip(names, SCHEMA):
            with open(os.path.join(directory, f"{name}.yang"), "w", encoding="utf-8") as file:
                file.write(text)
        words = [SCHEMAC, "--search", directory, "--redis", server.socket, *names]
        subprocess.run(words, check=True, capture_output=True)
        yield server
    finally:
        server.stop()
        shutil.rmtree(directory)


@pytest.fixture(name="baker")
def fixture_baker(machine, bakery):
    """A machine whose shells know the page's modules."""
    os.link(bakery.socket, machine.path("bakery.sock"))
    machine.environment["SCHEMA_REDIS"] = "/tmp/bakery.sock"
    return machine


def test_the_hashes_and_their_fields(bakery):
    shown = [line.split() for line in SCHEMA[2].splitlines()]
    content = bakery.content()
    assert shown == [[key, *content[key]] for key in sorted(content)]


@pytest.mark.parametrize("example, key, field", [(3, "/bakery/shop", "open"), (4, "/", "bakery")])
def test_the_bytes_of_a_record(bakery, example, key, field):
    assert SCHEMA[example] == hexdump(bakery.content()[key][field])


def test_the_profile(baker):
    commands, profile = blocks("vandel.conf.5")
    for line in commands.splitlines():
        prompt, program, *words = shlex.split(line)
        assert (prompt, program) == ("$", "vandel")
        result = baker.one_shot(*words)
        assert (result.status, result.stdout, result.stderr) == (0, b"", b"")
    with open(baker.profile, encoding="ascii") as file:
        before, end, _ = file.read().partition("%%%\n")
    assert before + end == profile.replace("^C", "\3")


FIRST, REQUEST, ANSWER, LINES, EDIT = blocks("vandel-frames.7")


def sent(header, text):
    """The bytes of a frame of the shell, from what a page shows of it."""
    return bytes.fromhex(header) + text.replace("\n", "\r\n").encode()


def test_the_first_frame(baker):
    """The page's is that of a process with another number."""
    baker.one_shot("pwd")
    (frame,) = baker.tarnd.frames
    pid = re.search(r"<tarnd:agent-pid>(\d+)<", frame.text)[1]
    example = sent(FIRST, REQUEST.rstrip("\n")) + b"\0"
    assert int.from_bytes(example[4:8], "little") == len(example) - 12
    body = example[12:].replace(b"4711", pid.encode())
    length = len(body).to_bytes(4, "little")
    assert frame.header + frame.body == example[:4] + length + example[8:12] + body


def test_the_answer_that_opens_a_session(baker):
    header, body = ANSWER.rstrip("\n").split("\n")
    answer = bytes.fromhex(header) + body.encode()
    assert int.from_bytes(answer[4:8], "little") == len(body)
    baker.tarnd.session_reply = [daemon.raw(answer)]
    assert baker.one_shot("pwd").stdout == b"/\r\n"


def test_a_commit(baker):
    baker.session(*LINES.splitlines(), "quit")
    header, _, body = EDIT.partition("\n")
    frame = baker.tarnd.frames[-1]
    assert frame.header + frame.body == sent(header, body) + b"\0"


def constants(header):
    """The numbers that a header of the formats gives names to."""
    with open(os.path.join(ROOT, "format", header), encoding="utf-8") as file:
        code = re.sub("//.*", "", file.read())
    found = re.findall(r"(\w+) = ((?:0x)?[0-9a-fA-F]+)(?:U << (\d+))?[,;]", code)
    return {name: int(number, 0) << int(shift or 0) for name, number, shift in found}


def text_of(page):
    with open(os.path.join(ROOT, "docs", "man", page), encoding="utf-8") as file:
        return file.read()


def test_the_numbers_of_a_frame():
    frame, page = constants("frame.h"), text_of("vandel-frames.7")
    assert f".It 0 Ta 4 Ta {frame['frame_magic']:X} hexadecimal\n" in page
    assert f".It {frame['frame_header_size']} Ta length Ta the body" in page
    assert f"\nA body has at most {frame['frame_body_limit']} bytes" in page


def test_the_numbers_of_a_record():
    record, page = constants("schema_record.h"), text_of("vandel-schema.5")
    assert f".It {record['record_help_offset']} Ta i16 Ta offset of the help text" in page
    assert f".It {record['record_type_offset']} Ta i16 Ta offset of the name of the type" in page
    assert f".It {record['record_bound_offset']} Ta i16 Ta the length of the strings" in page
    assert f".It {record['node_record_minimum']} Ta strings" in page
    assert f"\n{record['module_record_minimum']} bytes that are zero" in page
    table = re.findall(r"(?m)^\.It (\d) Ta ([a-z-]+)$", page)
    kinds = {name.removeprefix("node_kind_") for name in record if name.startswith("node_kind_")}
    assert {name.replace("-", "_") for _, name in table} == kinds - {"module", "browsable"}
    for number, name in table:
        assert record[f"node_kind_{name.replace('-', '_')}"] == int(number)
