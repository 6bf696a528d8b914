"""SIGTERM at random moments, in every state of the shell.

Each state is a scenario that brings a shell somewhere, kills it after a while
that chance decides, and says what the shell would have written if it had lived.
What it did write must be the beginning of that, and then the message; its status
is 1, and a terminal is left as it was found. Where nobody reads the output the
message cannot come through, but the end must.

The end is promised within a second of the signal. Here it is given ten times as
much, because the machine that tests may be busy with other tests; a hang is
found all the same. VANDEL_STORM=N kills N shells altogether (each state its
share, however long it takes) and VANDEL_STORM_LIMIT=S sets the seconds within
which a shell must end; without them each state has a sample of 30, or what three
seconds allow on a slow machine. The report names the seed, and the slowest end
both as it was and less the time for which the shell waited for a processor.
"""

import contextlib
import os
import random
import socket
import termios
import time

import pytest
from support import tarnd as daemon
from support.example import EXAMPLE, printed_no_data, printed_ok
from support.storm import MESSAGE, Entrance

TOTAL = int(os.environ.get("VANDEL_STORM", "0"))
LIMIT = float(os.environ.get("VANDEL_STORM_LIMIT", "10"))
SAMPLE, SAMPLE_SECONDS = 30, 3
SEED = int(os.environ.get("VANDEL_STORM_SEED", "0")) or random.randrange(1, 10**9)

LEAVES = 20000
GET = b"get /acme/box\n"
# fmt: off
BIG = "<box>" + "".join(f"<tag>{number:05}</tag>" for number in range(LEAVES)) + "</box>"
PRINTED_BIG = (
    b'\r\n<rpc-reply xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">\n'
    b"  <data>\n    <box>\n"
    + b"".join(b"      <tag>\n        %05d\n      </tag>\n" % number for number in range(LEAVES))
    + b"    </box>\n  </data>\n</rpc-reply>\n"
)
# fmt: on


class World:
    """One machine, chance, and the figures."""

    def __init__(self, machine):
        machine.load(EXAMPLE)
        self.machine = machine
        self.entrance = Entrance(machine)
        self.chance = random.Random(SEED)
        self.signals = 0
        self.slowest = self.slowest_alone = 0.0

    def pause(self, longest):
        """Some time, often a very short one."""
        time.sleep(longest * self.chance.random() ** 2)

    def kill(self, victim, **options):
        """Kills the shell; returns the status with which it ended."""
        victim.kill()
        status = victim.wait(LIMIT, **options)
        if status != 0:  # a command may have ended before
            self.signals += 1
            self.slowest = max(self.slowest, victim.seconds)
            self.slowest_alone = max(self.slowest_alone, victim.seconds - victim.queued)
        assert victim.errors == b""
        return status

    def kill_on_pipes(self, victim, transcript, **options):
        """Kills a shell that would have written transcript."""
        assert self.kill(victim, **options) == 1
        assert victim.output.endswith(MESSAGE), victim.output[-200:]
        written = victim.output[: -len(MESSAGE)]
        assert transcript.startswith(written), written[-200:]

    def kill_on_terminal(self, victim, stalled=False):
        assert self.kill(victim, stalled=stalled) == 1
        assert termios.tcgetattr(victim.slave) == victim.settings
        if not stalled:
            assert victim.output.endswith(MESSAGE.replace(b"\n", b"\r\n")), victim.output[-200:]
            assert victim.output.count(b"Receive signal") == 1


def answers(world, *steps):
    """The daemon answers every request with these steps."""
    world.machine.tarnd.on_request = lambda request: list(steps)


@contextlib.contextmanager
def silent_socket(world, kind):
    """The name of a socket in the shell's /tmp behind which nobody does anything."""
    path = world.machine.path("silent")
    with socket.socket(socket.AF_UNIX, kind) as quiet:
        quiet.bind(path)
        if kind == socket.SOCK_STREAM:
            quiet.listen(0)
        yield "silent"
    os.unlink(path)


def answers_big(world):
    world.machine.tarnd.on_request = lambda request: [request.data(BIG)]


def starting(world):
    with world.entrance.pipes() as victim:
        victim.await_handler()
        world.pause(0.005)
        world.kill_on_pipes(victim, b"")


def creating_the_session(world):
    world.machine.tarnd.session_reply = []
    with world.entrance.pipes() as victim:
        victim.await_handler()
        world.pause(0.02)
        world.kill_on_pipes(victim, b"")


def at_the_prompt(world):
    lines = 300
    with world.entrance.pipes() as victim:
        victim.send(b"pwd\n" * lines)
        victim.read_until(lambda output: output != b"")
        world.pause(0.02)
        world.kill_on_pipes(victim, b"/$ pwd\n/\r\n" * lines)


def after_the_end_of_input(world):
    with world.entrance.pipes() as victim:
        victim.send(b"pwd\n")
        victim.process.stdin.close()
        victim.read_until(lambda output: output != b"")
        world.pause(0.3)
        world.kill_on_pipes(victim, b"/$ pwd\n/\r\n")


def a_daemon_that_accepts_nobody(world):
    with silent_socket(world, socket.SOCK_STREAM) as path, socket.socket(socket.AF_UNIX) as other:
        other.connect(world.machine.path(path))  # and the queue is full
        with world.entrance.pipes(env={"TARND_SOCKET": f"/tmp/{path}"}) as victim:
            victim.await_handler()
            world.pause(0.02)
            world.kill_on_pipes(victim, b"")


def a_database_that_says_nothing(world):
    with silent_socket(world, socket.SOCK_STREAM) as path:
        with world.entrance.pipes(env={"SCHEMA_REDIS": f"/tmp/{path}"}) as victim:
            victim.await_handler()
            world.pause(0.05)
            world.kill_on_pipes(victim, b"")


def a_system_log_that_takes_no_more(world):
    world.machine.tarnd.on_request = None
    lines = 50
    with silent_socket(world, socket.SOCK_DGRAM) as path:
        log = world.machine.path("log")
        os.rename(log, log + ".kept")
        try:
            os.link(world.machine.path(path), log)
            with world.entrance.pipes() as victim:
                victim.send(b"get /acme/empty\n" * lines)
                victim.read_until(lambda output: output != b"")
                world.pause(0.2)
                transcript = b"".join(
                    b"/$ get /acme/empty\n" + printed_no_data(number + 1).encode()
                    for number in range(lines)
                )
                world.kill_on_pipes(victim, transcript)
        finally:
            os.replace(log + ".kept", log)


def waiting_for_a_reply(world):
    """There is none, or only its beginning."""
    answers(world, *world.chance.choice([(), (daemon.frame("<rpc-reply", length=1000),)]))
    with world.entrance.pipes() as victim:
        victim.send(b"pwd\n" + GET)
        victim.read_until(lambda output: output != b"")
        world.pause(0.005)
        world.kill_on_pipes(victim, b"/$ pwd\n/\r\n/$ " + GET)


def waiting_for_the_lock(world):
    """The listener has it, and reads a frame that does not end."""
    world.machine.tarnd.session_reply = [
        daemon.session_reply(),
        daemon.frame("<notification", length=1000),
    ]
    with world.entrance.pipes() as victim:
        victim.send(b"pwd\n" + GET)
        victim.read_until(lambda output: GET.strip() in output)
        world.pause(0.005)
        world.kill_on_pipes(victim, b"/$ pwd\n/\r\n/$ " + GET)


def staging_and_committing(world):
    rounds = 40
    world.machine.tarnd.on_request = None
    lines, transcript = b"", b""
    for number in range(rounds):
        lines += b"set acme/box/size %d\ncommit\n" % number
        transcript += b"/$ set acme/box/size %d\n/$ commit\n" % number
        transcript += printed_ok(number + 1).encode()
    with world.entrance.pipes() as victim:
        victim.send(lines)
        victim.read_until(lambda output: output != b"")
        world.pause(0.02)
        world.kill_on_pipes(victim, transcript)


def printing_a_big_reply(world):
    answers_big(world)
    transcript = b"/$ " + GET + PRINTED_BIG
    with world.entrance.pipes() as victim:
        victim.send(GET)
        enough = world.chance.randrange(len(transcript))
        victim.read_until(lambda output: len(output) > enough)
        world.kill_on_pipes(victim, transcript)


def notifications_in_between(world):
    count = 200
    events = [daemon.notification(f"<event{number}/>") for number in range(count)]
    world.machine.tarnd.on_request = lambda request: [*events, request.data()]
    printed = b"".join(
        b'<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">\n'
        b"  <eventTime>\n    2024-01-02T03:04:05Z\n  </eventTime>\n"
        b"  <event%d/>\n  </notification>\n" % number
        for number in range(count)
    )
    with world.entrance.pipes() as victim:
        victim.send(b"get /acme/empty\n")
        victim.read_until(lambda output: output != b"")
        world.pause(0.02)
        world.kill_on_pipes(victim, b"/$ get /acme/empty\n" + printed + printed_no_data().encode())


def nobody_reads_the_pipe(world):
    """The message may come through, should the pipe have room for it."""
    answers_big(world)
    transcript = b"/$ " + GET + PRINTED_BIG
    with world.entrance.pipes() as victim:
        victim.send(GET)
        victim.read_until(lambda output: output != b"")
        world.pause(0.3)
        assert world.kill(victim, stalled=True) == 1
        written = victim.output.removesuffix(MESSAGE)
        assert transcript.startswith(written), written[-200:]


def typing(world):
    with world.entrance.terminal() as victim:
        victim.read_until(lambda output: output.endswith(b"$ "))
        victim.send(b"set /acme/box/size 1234567" + b"\x08" * world.chance.randrange(5))
        victim.read_for(0.005 * world.chance.random())
        world.kill_on_terminal(victim)


def completing(world):
    """Tab asks the daemon, which answers or does not."""
    if world.chance.random() < 0.5:
        answers(world)
    else:
        world.machine.tarnd.on_request = None
    with world.entrance.terminal() as victim:
        victim.read_until(lambda output: output.endswith(b"$ "))
        victim.send(b"cd acme\rcd link/\t")
        victim.read_for(0.02 * world.chance.random())
        world.kill_on_terminal(victim)


def listing_help(world):
    with world.entrance.terminal() as victim:
        victim.read_until(lambda output: output.endswith(b"$ "))
        victim.send(b"?" * world.chance.randrange(1, 30))
        victim.read_for(0.02 * world.chance.random())
        world.kill_on_terminal(victim)


def nobody_reads_the_terminal(world):
    answers_big(world)
    with world.entrance.terminal() as victim:
        victim.read_until(lambda output: output.endswith(b"$ "))
        victim.send(GET.replace(b"\n", b"\r"))
        world.pause(0.3)
        world.kill_on_terminal(victim, stalled=True)


def a_terminal_that_is_held(world):
    """As by an operator who stopped its output: keys find no echo, lines do not end."""
    with world.entrance.terminal() as victim:
        victim.read_until(lambda output: output.endswith(b"$ "))
        termios.tcflow(victim.slave, termios.TCOOFF)
        victim.send(b"pwd" + world.chance.choice([b"", b"?", b"\t", b"\r"]))
        world.pause(0.02)
        world.kill_on_terminal(victim, stalled=True)


def one_command(world):
    """A command may be done before the signal comes, and then it is done wholly.

    Whether or not the ones before it were: what they leave behind is a profile."""
    world.machine.tarnd.on_request = None
    with contextlib.suppress(FileNotFoundError):
        os.unlink(world.machine.profile)
    committed = (printed_ok().encode(), b"There is no configuration data. \r\n")
    commands = [
        (("cd", "acme"), (b"",)),
        (("set", "/acme/box/size", str(world.chance.randrange(100))), (b"",)),
        (("commit",), committed),
        (("get", "/acme/empty"), (printed_no_data().encode(),)),
        (("pwd",), (b"/\r\n", b"/acme\r\n")),
    ]
    for words, transcripts in commands:
        with world.entrance.pipes(*words) as victim:
            victim.await_handler()
            world.pause(0.01)
            status = world.kill(victim)
            if status == 0:
                assert victim.output in transcripts, words
                continue
            assert (status, victim.output[-len(MESSAGE) :]) == (1, MESSAGE), words
            written = victim.output[: -len(MESSAGE)]
            assert any(text.startswith(written) for text in transcripts), (words, written)


def one_command_without_a_reply(world):
    answers(world)
    with world.entrance.pipes("get", "/acme/empty") as victim:
        victim.await_handler()
        world.pause(0.01)
        world.kill_on_pipes(victim, b"")


STATES = [
    starting,
    creating_the_session,
    a_daemon_that_accepts_nobody,
    a_database_that_says_nothing,
    a_system_log_that_takes_no_more,
    at_the_prompt,
    after_the_end_of_input,
    waiting_for_a_reply,
    waiting_for_the_lock,
    staging_and_committing,
    printing_a_big_reply,
    notifications_in_between,
    nobody_reads_the_pipe,
    typing,
    completing,
    listing_help,
    nobody_reads_the_terminal,
    a_terminal_that_is_held,
    one_command,
    one_command_without_a_reply,
]


def goes_on(world, began):
    if TOTAL:
        return world.signals * len(STATES) < TOTAL
    in_time = time.monotonic() - began < SAMPLE_SECONDS
    return world.signals < (SAMPLE if in_time else 1)


@pytest.mark.parametrize("state", STATES, ids=lambda state: state.__name__)
def test_sigterm(machine, state, capsys):
    world = World(machine)
    began = time.monotonic()
    try:
        while goes_on(world, began):
            state(world)
    finally:
        with capsys.disabled():
            print(
                f"{state.__name__}: {world.signals} signals, slowest end {world.slowest:.3f} s"
                f" ({world.slowest_alone:.3f} s less waits for a processor), seed {SEED}"
            )
