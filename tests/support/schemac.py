"""schemac under test: where it is, a redis of its own, and records to expect."""

import glob
import os
import shutil
import socket
import struct
import subprocess
import tempfile
import time

import redis

from . import valgrind

REPO = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.environ.get("VANDEL_BUILD", os.path.join(REPO, "build"))
SCHEMAC = os.path.join(BUILD, "schemac")
MODELS = os.path.join(REPO, "device", "models")
SYSTEM_MODULES = "/usr/share/yuma/modules"
RUN_MODULES = ("ietf-interfaces", "iana-if-type", "ietf-ip", "vandel-device", "vandel-ospf")

with open(SCHEMAC, "rb") as _program:
    SANITIZED = valgrind.ENABLED or b"__asan_init" in _program.read()

MODULE, CONTAINER, LEAF, LEAF_LIST, LIST, CHOICE, CASE, RPC, INPUT = range(9)


def node(kind, config=True, type_name="", help_text=""):
    """The record of a node, put together from its layout."""
    area = b"\0"
    type_offset = help_offset = 0
    if type_name:
        type_offset = len(area)
        area += type_name.encode() + b"\0"
    if help_text:
        help_offset = len(area)
        area += help_text.encode() + b"\0"
    flags = kind << 6 | (1 if config else 0)
    return struct.pack("<H10xhh2xh", flags, help_offset, type_offset, len(area)) + area


def module(namespace):
    return bytes(43) + namespace.encode() + b"\0"


class Server:
    """A redis-server of our own, stopped by its process id."""

    def __init__(self, *options):
        self.directory = tempfile.mkdtemp(prefix="schemac", dir="/tmp")
        self.socket = os.path.join(self.directory, "r")
        self.process = subprocess.Popen(
            [
                "redis-server",
                "--port",
                "0",
                "--unixsocket",
                self.socket,
                "--dir",
                self.directory,
                "--save",
                "",
                "--appendonly",
                "no",
                *options,
            ],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        deadline = time.monotonic() + 20
        while True:
            try:
                with socket.socket(socket.AF_UNIX) as probe:
                    probe.connect(self.socket)
                break
            except OSError:
                assert time.monotonic() < deadline and self.process.poll() is None
                time.sleep(0.02)

    def database(self, number=4):
        return redis.Redis(unix_socket_path=self.socket, db=number)

    def content(self, number=4):
        """All that readers of the schema see, as {key: {field: value}}: notes on it are
        left out."""
        client = self.database(number)
        return {
            key.decode(): {field.decode(): value for field, value in client.hgetall(key).items()}
            for key in client.keys()
            if not key.startswith(b"schemac:")
        }

    def stop(self):
        self.process.kill()
        self.process.wait()
        shutil.rmtree(self.directory)


def compile_run_models(redis_socket):
    """Fills a database with the models of ./run."""
    search = [MODELS, SYSTEM_MODULES, *glob.glob(os.path.join(SYSTEM_MODULES, "*", ""))]
    options = [word for directory in search for word in ("--search", directory)]
    subprocess.run(
        [SCHEMAC, *options, "--redis", redis_socket, *RUN_MODULES], check=True, capture_output=True
    )


def good(result):
    assert result.returncode == 0, result.stderr
    assert result.stderr == ""
    return result


def doubling_groupings(levels):
    """A few lines that compile to 3 * 2 ** (levels - 1) - 2 nodes."""
    return (
        "grouping g0 { leaf x { type string; } }\n"
        + "".join(
            f"grouping g{i} {{ container a {{ uses g{i - 1}; }}"
            f" container b {{ uses g{i - 1}; }} }}\n"
            for i in range(1, levels)
        )
        + f"uses g{levels - 1};"
    )


def nested_groupings(depth):
    """A module that is so deep."""
    return (
        "grouping g0 { leaf x { type string; } }\n"
        + "".join(
            f"grouping g{i} {{ container c {{ uses g{i - 1}; }} }}\n" for i in range(1, depth)
        )
        + f"uses g{depth - 1};"
    )
