"""One shell on a pipe, asked one command after the other.

A pipe has no sign for the end of what a command prints, and what it prints may look
like anything. So after each command two lines are sent that the shell refuses with a
text that is known, each with a word that nobody can guess. The first one ends the
output; between the two stands the prompt, which is then known, too:

    OUTPUT  prompt  pwd FIRST
    refusal prompt  pwd SECOND
    refusal

The refusal comes from the shell alone, whatever database and daemon do.
"""

import contextlib
import ctypes
import os
import secrets
import selectors
import signal
import subprocess
import time

from vandel_do.stream import Stream

PIECE_SIZE = 79  # the shell reads lines in such pieces; one that is full goes on in the next
READ_SIZE = 1 << 16
PROMPT_SIZE = 1 << 12  # more than a prompt has beside the workspace
PATIENCE = 5  # seconds until a shell that was told to leave is ended
PR_SET_PDEATHSIG = 1
LIBC = ctypes.CDLL(None)


class TookTooLong(Exception):
    """The command was not done in time."""


class Ended(Exception):
    """The shell has ended with `status`."""

    def __init__(self, status):
        super().__init__()
        self.status = status


def as_input(line):
    """The line as the shell has to be given it: a full last piece needs an end of its own."""
    return line + b"\n" * (2 if (len(line) + 1) % PIECE_SIZE == 0 else 1)


def new_marker():
    return b"pwd %s" % secrets.token_hex(16).encode()


def end_with(parent):
    """Ends this process with its parent: the end of its input alone does not."""
    LIBC.prctl(PR_SET_PDEATHSIG, ctypes.c_ulong(signal.SIGTERM), 0, 0, 0)
    if os.getppid() != parent:
        os.kill(os.getpid(), signal.SIGTERM)


class Shell:
    def __init__(self, program, daemon):
        """Starts the shell, whose daemon listens at a path."""
        self.prompt = b""
        self.before = b""  # the prompt before the last command
        parent = os.getpid()
        self.process = subprocess.Popen(
            [program],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            bufsize=0,
            preexec_fn=lambda: end_with(parent),
            env={**os.environ, "TARND_SOCKET": daemon},
        )
        os.set_blocking(self.process.stdin.fileno(), False)

    def begin(self, timeout, take):
        """Waits for the first prompt; arguments and failures as of run()."""
        self._converse(b"", None, timeout, take)

    def run(self, line, timeout, take):
        """Calls take with each piece that a command prints, its time not counted.

        Raises TookTooLong, or Ended when the shell has left; take has got all before.
        """
        self._converse(as_input(line), self.prompt, timeout, take)

    @property
    def in_rpc(self):
        return self.prompt.startswith(b"\n[")

    def _converse(self, given, echo, timeout, take):
        """Sends some input; hands on all that comes up to the next prompt."""
        self.before = self.prompt
        markers = new_marker(), new_marker()
        # A step into an entry shows the key, perhaps with quotes and in another form.
        longest = PROMPT_SIZE + 2 * (len(self.prompt) + len(given))
        stream = Stream(echo, markers, longest, take)
        try:
            self._exchange(given + b"".join(marker + b"\n" for marker in markers), stream, timeout)
        except (TookTooLong, Ended):
            stream.give_up()
            raise
        self.prompt = stream.prompt

    def _exchange(self, given, stream, timeout):
        """Sends what is given and feeds the stream until it has all."""
        deadline = time.monotonic() + timeout
        pending = memoryview(given)
        source, sink = self.process.stdout, self.process.stdin
        with selectors.DefaultSelector() as ready:
            ready.register(source, selectors.EVENT_READ)
            ready.register(sink, selectors.EVENT_WRITE)
            while stream.prompt is None:
                left = deadline - time.monotonic()
                if left <= 0:
                    raise TookTooLong
                for key, _ in ready.select(left):
                    if key.fileobj is source:
                        piece = os.read(source.fileno(), READ_SIZE)
                        if not piece:
                            raise Ended(self._wait())
                        begun = time.monotonic()
                        stream.add(piece)
                        deadline += time.monotonic() - begun
                    else:
                        pending = pending[self._send(pending) :]
                        if not pending:
                            ready.unregister(sink)

    def _send(self, data):
        """How many bytes the shell has taken; of one that has ended, all."""
        try:
            return os.write(self.process.stdin.fileno(), data)
        except BlockingIOError:
            return 0
        except BrokenPipeError:
            return len(data)

    def _wait(self):
        """The status of a shell that ends by itself."""
        with contextlib.suppress(subprocess.TimeoutExpired):
            return self.process.wait(PATIENCE)
        return self._end()

    def _end(self):
        """Ends the shell, also one that does not listen."""
        self.process.terminate()
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()

    def leave(self):
        """Has the shell leave, also out of an rpc."""
        with contextlib.suppress(OSError):
            self.process.stdin.write(b"quit\nquit\n")
            self.process.stdin.close()
        # It may have something left to say.
        os.set_blocking(self.process.stdout.fileno(), False)
        deadline = time.monotonic() + PATIENCE
        while self.process.poll() is None and time.monotonic() < deadline:
            with contextlib.suppress(BlockingIOError):
                os.read(self.process.stdout.fileno(), READ_SIZE)
            time.sleep(0.005)
        self.stop()

    def stop(self):
        """Ends a shell that is still there, at once."""
        if self.process.poll() is None:
            self._end()
        with contextlib.suppress(OSError):
            self.process.stdin.close()
        self.process.stdout.close()
