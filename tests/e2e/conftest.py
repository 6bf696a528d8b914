"""Fixtures: one redis-server per test process, one private machine per test."""

import os
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
pytest.register_assert_rewrite("support.example", "support.oneshot", "support.shell")
os.umask(0o022)  # a profile that others may write is none

from support import valgrind  # noqa: E402  pylint: disable=wrong-import-position
from support.example import EXAMPLE  # noqa: E402  pylint: disable=wrong-import-position
from support.servers import RedisServer  # noqa: E402  pylint: disable=wrong-import-position
from support.shell import Machine  # noqa: E402  pylint: disable=wrong-import-position


@pytest.fixture(scope="session")
def redis_server():
    server = RedisServer()
    yield server
    server.stop()


@pytest.fixture(autouse=valgrind.ENABLED)
def nothing_found():
    """Valgrind has found nothing in programs that ran on no machine."""
    yield
    valgrind.check(valgrind.FINDINGS)


@pytest.fixture
def machine(redis_server):  # pylint: disable=redefined-outer-name
    private = Machine(redis_server)
    yield private
    private.stop()


@pytest.fixture
def example(machine):  # pylint: disable=redefined-outer-name
    """A machine with the schema that most tests walk through."""
    machine.load(EXAMPLE)
    return machine
