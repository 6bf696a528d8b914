"""The shell at a terminal: its mode, however the shell ends, and what is typed or
printed while the daemon has its say.
"""

import signal
import termios
import threading

import pytest
from support import tarnd as daemon
from support.example import EXAMPLE
from support.prompt import BELL, UP, Prompt
from support.servers import wait_until

CTRL_C = b"\x03"


class Terminal:
    """A shell at a terminal with settings that no program would choose."""

    def __init__(self, machine):
        may_start = threading.Event()
        machine.tarnd.session_reply = [daemon.pause(may_start), machine.tarnd.session_reply]
        self.child = machine.terminal()
        machine.tarnd.wait_session()
        settings = self.mode()
        settings[0] = termios.IXON | termios.INLCR
        settings[1] = termios.OPOST | termios.ONLCR
        settings[3] = termios.ICANON | termios.ISIG | termios.ECHOE
        settings[6][termios.VERASE] = b"#"
        termios.tcsetattr(self.child.child_fd, termios.TCSANOW, settings)
        self.settings = self.mode()
        may_start.set()

    def mode(self):
        return termios.tcgetattr(self.child.child_fd)

    def await_prompt(self, prompt=b"/$ "):
        self.child.expect_exact(prompt)
        wait_until(lambda: self.mode()[3] == 0, "raw mode")

    def ended(self):
        """The exit status, once the shell has ended; the mode must be back."""
        self.child.wait()
        assert self.mode() == self.settings
        number = self.child.signalstatus
        return self.child.exitstatus if number is None else -number


@pytest.fixture
def terminal(machine):
    machine.load(EXAMPLE)
    started = Terminal(machine)
    started.await_prompt()
    return started


# The mode


def test_the_mode_of_a_command_is_the_terminals_own(terminal, machine):
    may_answer = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(may_answer), request.data()]
    assert terminal.mode()[:2] == [0, termios.OPOST | termios.ONLCR]
    terminal.child.send("get /acme/empty\r")
    machine.tarnd.wait_requests(1)
    assert terminal.mode() == terminal.settings
    may_answer.set()
    terminal.await_prompt()
    terminal.child.send("quit\r")
    assert terminal.ended() == 0


def test_the_mode_after_quit(terminal):
    terminal.child.send("quit\r")
    assert terminal.ended() == 0


@pytest.mark.parametrize("number, status", [
    (signal.SIGTERM, 1), (signal.SIGPIPE, 1), (signal.SIGINT, -signal.SIGINT),
    (signal.SIGQUIT, -signal.SIGQUIT), (signal.SIGHUP, -signal.SIGHUP)])  # fmt: skip
@pytest.mark.parametrize("typed", ["", "half a li"])
def test_the_mode_after_a_signal_at_the_prompt(terminal, number, status, typed):
    terminal.child.send(typed)
    terminal.child.expect_exact(typed)
    terminal.child.kill(number)
    assert terminal.ended() == status


def test_sigterm_while_a_command_waits_for_the_daemon(terminal, machine):
    never = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(never)]
    terminal.child.send("get /acme/empty\r")
    machine.tarnd.wait_requests(1)
    terminal.child.kill(signal.SIGTERM)
    terminal.child.expect_exact("\r\nReceive signal=15 and exit\r\n")
    assert terminal.ended() == 1
    never.set()


def test_ctrl_c_while_a_command_waits_for_the_daemon(terminal, machine):
    never = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(never)]
    terminal.child.send("get /acme/empty\r")
    machine.tarnd.wait_requests(1)
    terminal.child.send(CTRL_C)
    assert terminal.ended() == -signal.SIGINT
    never.set()


def test_the_mode_after_the_daemon_went_away(terminal, machine):
    machine.tarnd.wait_session().close()
    terminal.child.send("get /acme/empty\r")
    assert terminal.ended() == 1


def test_the_mode_after_a_start_that_fails(machine):
    machine.tarnd.session_reply = "<rpc-reply/>"
    terminal = Terminal(machine)
    assert terminal.ended() == 255


# The line


@pytest.fixture
def prompt(machine):
    machine.load(EXAMPLE)
    return Prompt(machine)


def test_ctrl_c_drops_the_line(prompt):
    prompt.line("cd acme")
    assert prompt.press(CTRL_C) == b"\r\n/$ "
    assert prompt.shown() == "/$"
    assert prompt.press(UP) == BELL
    prompt.run("cd acme")
    prompt.line("cd bo|x")
    assert prompt.press(CTRL_C) == b"\r\n\r\n/acme$ "
    assert prompt.run("pwd") == "\r\n/acme\r\r\n\r\n/acme$ "


def test_a_trailing_blank_is_not_part_of_the_command(prompt):
    prompt.run("pwd ")
    assert prompt.press(UP) == b"pwd"
    prompt.run("pwd  ")
    assert prompt.press(UP) == b"pwd "


def test_a_long_line_reaches_the_command_whole(machine):
    machine.load(EXAMPLE)
    prompt = Prompt(machine, columns=20)
    name = "n" * 300
    assert prompt.run("get /" + name).startswith(f"\r\nerror parameter: /{name}\r\r\n")


def test_a_notification_leaves_the_line_where_it_is(prompt, machine):
    prompt.line("set acme/host")
    machine.tarnd.wait_session().send(daemon.notification("<event/>"))
    seen = prompt.until(lambda seen: b"</notification>\r\n" in seen)
    assert seen == (
        b'<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">\r\n'
        b"  <eventTime>\r\n    2024-01-02T03:04:05Z\r\n  </eventTime>\r\n  <event/>\r\n"
        b"  </notification>\r\n"
    )
    assert prompt.press(b"n") == b"n"
    assert prompt.press(b"\x0c") == b"\x1b[2J\x1b[H/$ set acme/hostn"
    assert prompt.shown() == "/$ set acme/hostn"


def test_what_is_typed_while_a_command_waits_is_the_next_line(prompt, machine):
    may_answer = threading.Event()
    machine.tarnd.on_request = lambda request: [daemon.pause(may_answer), request.data()]
    prompt.line("get /acme/empty")
    prompt.send(b"\r")
    machine.tarnd.wait_requests(1)
    prompt.send(b"cd acme\npw")
    may_answer.set()
    prompt.until(lambda seen: seen.endswith(b"\r\n/acme$ pw"))
    assert prompt.press(b"d", b"\r") == b"\r\n/acme\r\r\n\r\n/acme$ "
