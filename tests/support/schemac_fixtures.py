"""Fixtures for the tests of schemac: a server, a way to write modules, a way to run."""

import os
import subprocess

import pytest

from support import valgrind
from support.schemac import SCHEMAC, Server


@pytest.fixture(scope="module")
def shared_server():
    server = Server()
    yield server
    server.stop()


@pytest.fixture
def server(shared_server):
    shared_server.database().flushall()
    return shared_server


@pytest.fixture
def run(server, tmp_path):
    """Runs schemac in tmp_path against the server."""

    def run_schemac(*arguments, **options):
        environment = dict(os.environ, SCHEMA_REDIS=server.socket)
        environment.update(options.pop("env", {}))
        words = [*valgrind.words(tmp_path), SCHEMAC, *map(str, arguments)]
        result = subprocess.run(
            words,
            cwd=tmp_path,
            env=environment,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=180 * valgrind.SCALE,
            **options,
        )
        valgrind.check(tmp_path)
        return result

    return run_schemac


@pytest.fixture
def write(tmp_path):
    """Writes NAME.yang with a header of its own around the given statements."""

    def write_module(name, body, directory=".", file=None, version=None):
        head = f'module {name} {{\n  namespace "urn:{name}";\n  prefix {name};\n'
        if version:
            head = head.replace("{\n", f"{{ yang-version {version};\n", 1)
        path = tmp_path / directory / (file or f"{name}.yang")
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(head + body + "\n}\n")
        return path

    return write_module
