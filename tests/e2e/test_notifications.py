"""The listener: what the daemon pushes while no request is under way."""

import os
import resource
import threading

import pytest
from support import tarnd as daemon
from support import valgrind
from support.example import EVENT, EXAMPLE, PRINTED_EVENT, printed_no_data
from support.shell import DEBUG

PRINTED = PRINTED_EVENT.encode()
SOON = valgrind.SCALE * 10  # about a second is meant; a busy machine is given more


@pytest.fixture
def idle(machine):
    """A shell at its prompt, and the daemon's side of its session."""
    machine.load(EXAMPLE)
    shell = machine.start()
    shell.send("pwd\n\n")
    shell.expect(b"/$ pwd\n/\r\n/$ \n")
    return shell, machine.tarnd.wait_session()


def finish(shell):
    shell.send("quit\n")
    return shell.wait()


def test_a_notification_appears_by_itself(idle):
    shell, session = idle
    session.send(EVENT)
    shell.expect(PRINTED, timeout=SOON)
    result = finish(shell)
    assert (result.status, result.stderr) == (0, b"")
    assert result.stdout == b"/$ pwd\n/\r\n/$ \n" + PRINTED + b"/$ quit\n"


def has_loaded(shell, library):
    with open(f"/proc/{shell.process.pid}/maps", encoding="utf-8") as maps:
        return library in maps.read()


def test_the_parser_is_loaded_when_a_message_needs_it(idle):
    """It takes as long to load as all else that a shell does until its prompt."""
    shell, session = idle
    shell.send("get /acme/box\n")
    shell.expect(printed_no_data().encode())
    assert has_loaded(shell, "libhiredis") and not has_loaded(shell, "libxml2")
    session.send(EVENT)
    shell.expect(PRINTED, timeout=SOON)
    assert has_loaded(shell, "libxml2")
    assert finish(shell).status == 0


def test_without_the_parser_a_notification_is_no_reply(machine, idle):
    """Or each reply would be shown as the one to the request after its own."""
    shell, _ = idle
    machine.tarnd.on_request = lambda request: [EVENT, request.data()]
    before = resource.prlimit(shell.pid, resource.RLIMIT_NOFILE)
    resource.prlimit(shell.pid, resource.RLIMIT_NOFILE, (3, before[1]))
    shell.send("get /acme/box\nget /acme/box\n")
    for number in (1, 2):
        shell.expect(printed_no_data(number).encode())
    assert not has_loaded(shell, "libxml2")
    resource.prlimit(shell.pid, resource.RLIMIT_NOFILE, before)
    result = finish(shell)
    shown = (b"/$ get /acme/box\n" + PRINTED + printed_no_data(n).encode() for n in (1, 2))
    assert result.stdout.partition(b"/$ \n")[2] == b"".join(shown) + b"/$ quit\n"


def test_several_notifications_come_in_order(idle):
    shell, session = idle
    for number in range(20):
        session.send(EVENT.replace("<event/>", f"<event{number}/>"))
    printed = b"".join(
        PRINTED.replace(b"<event/>", f"<event{number}/>".encode()) for number in range(20)
    )
    shell.expect(printed, timeout=SOON)
    assert finish(shell).status == 0


def test_a_frame_that_is_no_notification_is_dropped(idle, machine):
    shell, session = idle
    session.send("<stray/>")
    session.send("garbage")
    session.send(EVENT)
    shell.expect(PRINTED, timeout=SOON)
    result = finish(shell)
    assert result.stdout == b"/$ pwd\n/\r\n/$ \n" + PRINTED + b"/$ quit\n"
    assert machine.log.texts(DEBUG) == [(DEBUG, "[DEBUG] parse xml err.\n")]


def test_requests_and_notifications_take_turns(idle, machine):
    shell, session = idle
    for number in range(1, 6):
        session.send(EVENT)
        shell.send("get /acme/empty\n\n")
        shell.wait_output(lambda output, n=number: output.count(PRINTED) == n)
        shell.wait_output(lambda output, n=number: output.count(b"</rpc-reply>") == n)
    result = finish(shell)
    assert result.status == 0
    assert result.stdout.count(PRINTED) == 5
    for number in range(1, 6):
        assert printed_no_data(number).encode() in result.stdout.replace(PRINTED, b"")
    assert len(machine.tarnd.requests) == 5


def test_the_listener_reads_no_reply(idle, machine):
    """A reply that comes late is still the requester's."""
    shell, session = idle
    go_on = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(go_on), request.data()]
    shell.send("get /acme/empty\n")
    machine.tarnd.wait_requests(1)
    session.send(EVENT)
    shell.expect(PRINTED)
    # longer than the listener's pauses: it had its chance to take the reply
    assert not threading.Event().wait(2.5)
    go_on.set()
    result = finish(shell)
    assert result.stdout == (
        b"/$ pwd\n/\r\n/$ \n/$ get /acme/empty\n"
        + PRINTED
        + printed_no_data(1).encode()
        + b"/$ quit\n"
    )


def test_the_listener_survives_a_frame_that_is_too_big(idle):
    shell, session = idle
    session.send("", length=2**28 + 1)
    session.send(EVENT)
    shell.expect(PRINTED, timeout=SOON)
    assert finish(shell).status == 0


def test_the_shell_survives_a_daemon_that_goes_away(idle):
    shell, session = idle
    session.close()
    assert not threading.Event().wait(1.5)
    shell.send("pwd\n")
    result = finish(shell)
    assert result.status == 0
    assert result.stdout == b"/$ pwd\n/\r\n/$ \n/$ pwd\n/\r\n/$ quit\n"


def test_a_notification_for_one_command(machine):
    """The listener runs in the one-command mode too, but nobody waits for it."""
    machine.load(EXAMPLE)
    machine.tarnd.on_request = lambda request: [EVENT, request.data()]
    result = machine.one_shot("get", "/acme/empty")
    assert result.stdout == PRINTED + printed_no_data(1).encode()


def test_text_of_a_notification_is_no_format(idle):
    shell, session = idle
    session.send(daemon.notification("<event>100%s %n</event>"))
    shell.expect(b"<event>\n    100%s %n\n  </event>\n", timeout=SOON)
    assert finish(shell).status == 0


MANY_DESCRIPTORS = """
import os, resource, sys
resource.setrlimit(resource.RLIMIT_NOFILE, (1200, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
while os.dup(0) < 1100:
    pass
for number in range(3, 1101):
    os.set_inheritable(number, True)
os.execvp(sys.argv[1], sys.argv[1:])
"""


def sockets_of(pid):
    """The descriptors of a process that are sockets."""
    directory = f"/proc/{pid}/fd"
    return [
        int(number)
        for number in os.listdir(directory)
        if os.readlink(f"{directory}/{number}").startswith("socket:")
    ]


def test_a_descriptor_that_cannot_be_selected(machine):
    """The listener never sees it readable; requests have no need to select."""
    if 0 <= resource.getrlimit(resource.RLIMIT_NOFILE)[1] < 1200:
        pytest.skip("this machine does not allow so many descriptors")
    machine.load(EXAMPLE)
    machine.tarnd.on_request = lambda request: [EVENT, request.data()]
    words = machine.vandel()
    script = words.index("--") + 1
    words[script:script] = ["/usr/bin/python3", "-c", MANY_DESCRIPTORS]
    shell = machine.start_command(words)
    shell.send("pwd\n\n")
    shell.expect(b"/$ pwd\n/\r\n/$ \n")
    assert min(sockets_of(shell.pid)) > 1100
    machine.tarnd.wait_session().send(EVENT)
    assert not threading.Event().wait(2.5)
    assert PRINTED not in shell.stdout
    shell.send("get /acme/empty\n")
    result = finish(shell)
    assert (result.status, result.stderr) == (0, b"")
    assert result.stdout == (
        b"/$ pwd\n/\r\n/$ \n/$ get /acme/empty\n"
        + PRINTED * 2
        + printed_no_data(1).encode()
        + b"/$ quit\n"
    )
