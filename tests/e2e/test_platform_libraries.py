"""Which of the platform's functions a shell calls, in which order, on every way through."""

import signal
import threading

import pytest
from support import tarnd as daemon
from support.messages import NO_SERVER
from support.shell import DEBUG, ERROR, INFO

ENABLED = "conf_dbg_enable(7, 0)\n"
CONNECTED = ENABLED + "conf_agent_init()\n"
OPENED = CONNECTED + "redis_connect()\nredis_select(connection, 4)\n"
RELEASED = OPENED + "redis_freeconn(connection)\n"
SESSION = [
    (INFO, "[INFO] Vandel connect to tarnd success.\n"),
    (INFO, "[INFO] Send a message to tarnd.\n"),
    (INFO, "[INFO] Recv a message from tarnd.\n"),
]


@pytest.fixture(autouse=True)
def traced(machine):
    machine.environment["LD_LIBRARY_PATH"] = "/tmp/.build/tests/traced"


def assert_ended(result, status, stdout, calls):
    assert result.stdout == stdout
    assert result.stderr.decode() == calls
    assert result.status == status


@pytest.mark.parametrize("arguments", [[], ["pwd"]])
@pytest.mark.parametrize("answer", ["1", "-1"])
def test_debug_output_that_cannot_be_enabled(machine, arguments, answer):
    result = machine.start(*arguments, env={"TRACED_DEBUG_RESULT": answer}).wait()
    assert_ended(result, 255, b"", ENABLED)
    assert machine.log.texts() == []
    assert machine.tarnd.frames == []


def test_a_daemon_that_is_not_there(machine):
    result = machine.one_shot("pwd", env={"TRACED_CONF_ERRNO": "13"})
    assert_ended(result, 255, NO_SERVER, CONNECTED)
    assert machine.log.texts() == [(ERROR, "[ERROR] Connect to tarnd failed(Permission denied).\n")]


def test_a_session_that_is_refused(machine):
    machine.tarnd.session_reply = daemon.rpc_reply("<ok/>")
    assert_ended(machine.one_shot("pwd"), 255, NO_SERVER, CONNECTED)


def test_a_database_that_is_not_there(machine):
    """The missing connection is selected all the same, and nothing is said."""
    result = machine.one_shot("pwd", env={"TRACED_REDIS_REFUSES": "1"})
    calls = CONNECTED + "redis_connect()\nredis_select(null, 4)\n"
    assert_ended(result, 255, b"", calls)
    assert machine.log.texts() == SESSION


@pytest.mark.parametrize("words, output", [(["pwd"], b"/\r\n"), (["quit"], b""), ([""], b"")])
def test_one_command(machine, words, output):
    assert_ended(machine.one_shot(*words), 0, output, RELEASED)


def test_a_profile_that_is_empty(machine):
    with open(machine.profile, "wb"):
        pass
    assert_ended(machine.one_shot("pwd"), 255, b"", RELEASED)
    assert machine.log.texts() == SESSION + [
        (ERROR, "[ERROR] VDL's profile </tmp/vandel.conf> is invalid.\n"),
        (DEBUG, "[DEBUG] config file error\n"),
    ]


def test_a_session_that_is_quit(machine):
    assert_ended(machine.session("pwd", "quit"), 0, b"/$ pwd\n/\r\n/$ quit\n", RELEASED)


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGPIPE])
def test_a_signal_at_the_prompt(machine, number):
    shell = machine.start_at_prompt()
    shell.signal(number)
    output = f"/$ pwd\n/\r\n/$ \n\nReceive signal={int(number)} and exit\n".encode()
    assert_ended(shell.wait(), 1, output, RELEASED)


def test_a_signal_before_the_database_is_open(machine):
    stalled = threading.Event()
    machine.tarnd.session_reply = [daemon.pause(stalled)]
    shell = machine.start()
    machine.tarnd.wait_session()
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    stalled.set()
    assert_ended(result, 1, b"\nReceive signal=15 and exit\n", CONNECTED)


def test_a_signal_to_one_command(machine):
    stalled = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(stalled)]
    shell = machine.start("save")
    machine.tarnd.wait_requests(1)
    shell.signal(signal.SIGTERM)
    result = shell.wait()
    stalled.set()
    assert_ended(result, 1, b"\nReceive signal=15 and exit\n", RELEASED)
