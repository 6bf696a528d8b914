"""A private machine for the shell: its own /tmp, /dev/log, daemon and schema.

Every shell that a Machine starts runs in a mount namespace of its own in which
/tmp is the machine's directory and /dev/log leads to the machine's collector.
The process that Python sees is the shell itself, so its pid, its signals and
its exit status are the shell's.
"""

import contextlib
import glob
import os
import pwd
import shutil
import signal
import subprocess
import threading
import time

import pexpect

from . import servers, valgrind
from .processes import state_of
from .system_log import SystemLog
from .tarnd import Tarnd

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
BUILD = os.path.abspath(os.environ.get("VANDEL_BUILD") or os.path.join(ROOT, "build"))
TIMEOUT = 60 * valgrind.SCALE
BASE_NS = "urn:ietf:params:xml:ns:netconf:base:1.0"
USER = pwd.getpwuid(0).pw_name  # the user of every shell, in its namespace or outside
ERROR, INFO, DEBUG = 11, 14, 15
SANITIZER_LOG = "log_path=/tmp/sanitizer:print_stacktrace=1"
# The handler of SIGTERM and SIGPIPE releases the session and calls exit(), which the shell
# makes safe by letting the signals in at its waits only. ThreadSanitizer cannot see that.
SANITIZER_OPTIONS = {"TSAN_OPTIONS": ":report_signal_unsafe=0"}


class Result:
    """What a shell that has ended left behind."""

    def __init__(self, status, stdout, stderr, pid):
        self.status = status
        self.stdout = stdout
        self.stderr = stderr
        self.pid = pid

    def __repr__(self):
        return f"Result({self.status}, {self.stdout!r}, {self.stderr!r})"


class Shell:
    """A running shell whose input and output are pipes."""

    def __init__(self, process):
        self.process = process
        self.pid = process.pid
        self.output = {"stdout": bytearray(), "stderr": bytearray()}
        self.has_closed_stdout = False
        self.changed = threading.Condition()
        self.readers = [
            threading.Thread(target=self._read, args=(process.stdout, "stdout"), daemon=True),
            threading.Thread(target=self._read, args=(process.stderr, "stderr"), daemon=True),
        ]
        for reader in self.readers:
            reader.start()

    @property
    def stdout(self):
        return bytes(self.output["stdout"])

    @property
    def stderr(self):
        return bytes(self.output["stderr"])

    def _read(self, stream, name):
        while True:
            piece = os.read(stream.fileno(), 65536)
            with self.changed:
                self.output[name] += piece
                self.has_closed_stdout |= name == "stdout" and not piece
                self.changed.notify_all()
            if not piece:
                return

    def send(self, text):
        self.process.stdin.write(text.encode("utf-8", "surrogateescape"))
        self.process.stdin.flush()

    def wait_output(self, condition, timeout=TIMEOUT):
        """Waits until condition(output so far) holds; returns the output."""
        with self.changed:
            self.changed.wait_for(lambda: condition(self.stdout) or self.has_closed_stdout, timeout)
            if not condition(self.stdout):
                raise TimeoutError(f"the output is only {self.stdout!r}")
            return self.stdout

    def expect(self, data, timeout=TIMEOUT):
        """Waits until the output contains data."""
        return self.wait_output(lambda output: data in output, timeout)

    def wait_idle(self, timeout=TIMEOUT):
        """Waits until the main thread sleeps: what it wrote last is behind it then."""
        deadline = time.monotonic() + timeout
        while state_of(self.pid) != "S":
            if time.monotonic() > deadline:
                raise TimeoutError("the shell does not come to rest")
            time.sleep(0.005)

    def signal(self, number):
        self.process.send_signal(number)

    def wait(self, timeout=TIMEOUT):
        """Waits for the end of the shell."""
        try:
            status = self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            raise TimeoutError(f"the shell goes on; its output is {self.stdout!r}") from None
        for reader in self.readers:
            reader.join(timeout)
        return Result(status, self.stdout, self.stderr, self.pid)

    def stop(self):
        with contextlib.suppress(OSError):
            self.process.stdin.close()
        if self.process.poll() is None:
            _end(self.pid, lambda: self.process.poll() is not None)
        self.process.wait()
        for reader in self.readers:
            reader.join(10)
        self.process.stdout.close()
        self.process.stderr.close()


class Machine:
    """Directories:  base/tmp is the shell's /tmp, base/dev its /dev."""

    def __init__(self, redis_server, build=BUILD):
        self.build = build
        self.base = servers.private_directory()
        self.shells = []
        self.environment = {}
        self.binds = []
        self._make_directories()
        self.redis = redis_server
        os.link(redis_server.socket, self.path("redis.sock"))
        self.log = SystemLog(self.path("log"))
        self.tarnd = Tarnd(self.path("tarnd.sock"))

    def _make_directories(self):
        for name in ("tmp", "tmp/.dev", "tmp/.build", "dev"):
            os.mkdir(os.path.join(self.base, name))
        if valgrind.ENABLED:
            os.mkdir(self.path(".valgrind"))
        os.chmod(self.path(), 0o1777)
        for name in ("null", "zero", "full", "random", "urandom", "tty", "ptmx", "pts", "shm"):
            os.symlink(f"/tmp/.dev/{name}", os.path.join(self.base, "dev", name))
        for number, name in enumerate(("stdin", "stdout", "stderr")):
            os.symlink(f"/proc/self/fd/{number}", os.path.join(self.base, "dev", name))
        os.symlink("/proc/self/fd", os.path.join(self.base, "dev", "fd"))
        os.symlink("/tmp/log", os.path.join(self.base, "dev", "log"))

    def path(self, name=""):
        """Where a file of the shell's /tmp is for the test."""
        return os.path.join(self.base, "tmp", name)

    @property
    def profile(self):
        return self.path("vandel.conf")

    def load(self, schema):
        self.redis.load(schema)

    def command(self, *words):
        """The command line that runs words on this machine.

        Signals begin as a terminal would have them, whatever the test was
        started from ignores."""
        flags = "-m" if os.geteuid() == 0 else "-rm"
        script = os.path.join(HERE, "private_mounts.sh")
        signals = "--default-signal=HUP,INT,QUIT,TERM,PIPE"
        return [
            "env",
            signals,
            "unshare",
            flags,
            script,
            self.base,
            self.build,
            *self.binds,
            "--",
            *words,
        ]

    def replace_file(self, path, content, mode=0o644):
        """Lets every command from now on see this content in the file at path."""
        replacement = os.path.join(self.base, f"replacement-{len(self.binds)}")
        with open(replacement, "w", encoding="utf-8") as file:
            file.write(content)
        os.chmod(replacement, mode)
        self.binds += [replacement, path]

    def vandel(self, *arguments):
        return self.command(*valgrind.words("/tmp/.valgrind"), "/tmp/.build/vandel", *arguments)

    def environ(self, extra=None):
        """The whole environment of a shell; a value of None leaves a name out."""
        names = {
            "PATH": os.environ.get("PATH", "/usr/sbin:/usr/bin:/sbin:/bin"),
            "TARND_SOCKET": "/tmp/tarnd.sock",
            "SCHEMA_REDIS": "/tmp/redis.sock",
            # Which string functions the C library takes (tests/e2e/CMakeLists.txt).
            "GLIBC_TUNABLES": os.environ.get("GLIBC_TUNABLES"),
        }
        for name in ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"):
            given = os.environ.get(name)
            names[name] = SANITIZER_LOG + SANITIZER_OPTIONS.get(name, "")
            names[name] += ":" + given if given else ""
        names.update(self.environment)
        names.update(extra or {})
        return {name: value for name, value in names.items() if value is not None}

    def start(self, *arguments, env=None, **options):
        """Starts a shell on pipes."""
        return self.start_command(self.vandel(*arguments), env, **options)

    def start_at_prompt(self):
        """A shell on pipes that has run a command and waits for a line."""
        shell = self.start()
        shell.send("pwd\n\n")
        shell.expect(b"/$ pwd\n/\r\n/$ \n")
        shell.wait_idle()
        return shell

    def start_command(self, words, env=None, **options):
        """Starts any program on pipes."""
        pipe = subprocess.PIPE
        # fmt: off
        process = subprocess.Popen(
            words, stdin=options.pop("stdin", pipe), stdout=pipe, stderr=pipe,
            bufsize=0, env=self.environ(env), cwd="/", **options)
        # fmt: on
        shell = Shell(process)
        self.shells.append(shell)
        return shell

    def one_shot(self, *arguments, env=None):
        """Runs one command from arguments."""
        shell = self.start(*arguments, env=env)
        shell.process.stdin.close()
        return shell.wait()

    def dialogue(self, *steps, end=None, env=None):
        """Types into an interactive shell and checks the whole transcript.

        A step is (prompt, line, output); "quit" is typed at the end, at the
        prompt `end` (when not given, the prompt of the last step)."""
        steps += ((steps[-1][0] if end is None else end, "quit", ""),)
        result = self.session(*(line for _, line, _ in steps), env=env)
        expected = "".join(f"{prompt}{line}\n{output}" for prompt, line, output in steps)
        assert result.stdout.decode("utf-8", "surrogateescape") == expected
        assert result.stderr == b""
        assert result.status == 0
        return result

    def session(self, *lines, env=None):
        """Types lines into an interactive shell through a pipe; the last must end it."""
        shell = self.start(env=env)
        shell.send("".join(line + "\n" for line in lines))
        return shell.wait()

    def terminal(self, *arguments, env=None, rows=24, columns=80):
        """Starts a shell on a terminal of its own (a pexpect spawn)."""
        words = self.vandel(*arguments)
        # fmt: off
        shell = pexpect.spawn(words[0], words[1:], env=self.environ(env), cwd="/",
                              dimensions=(rows, columns), timeout=TIMEOUT, echo=False)
        # fmt: on
        shell.delaybeforesend = None
        self.shells.append(_Terminal(shell))
        return shell

    def stop(self):
        """Ends every shell that still runs, then everything else.

        Raises what the daemon's script, the sanitizers and Valgrind complain about."""
        for shell in self.shells:
            shell.stop()
        try:
            self.tarnd.stop()
            self._check_sanitizers()
            valgrind.check(self.path(".valgrind"))
        finally:
            self.log.stop()
            shutil.rmtree(self.base, ignore_errors=True)

    def _check_sanitizers(self):
        for path in glob.glob(self.path("sanitizer.*")):
            with open(path, encoding="utf-8", errors="replace") as report:
                raise AssertionError(report.read())


class _Terminal:
    def __init__(self, child):
        self.child = child

    def stop(self):
        if self.child.isalive():
            _end(self.child.pid, lambda: not self.child.isalive())
            self.child.wait()
        self.child.ptyproc.delayafterclose = 0  # a tenth of a second, meant for one that lives
        self.child.close(force=True)


def _end(pid, has_ended):
    """Ends a process: under Valgrind so that it can still report what it lost."""
    if valgrind.ENABLED:
        os.kill(pid, signal.SIGTERM)
        with contextlib.suppress(TimeoutError):
            servers.wait_until(has_ended, "the end", 1)
    if not has_ended():
        os.kill(pid, signal.SIGKILL)
