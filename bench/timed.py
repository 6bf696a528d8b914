"""Programs as bench/compare times them: (milliseconds, MiB at most, or 0) of each."""

import os
import pty
import re
import select
import subprocess
import threading
import time

from support.schemac import BUILD

VANDEL = os.path.join(BUILD, "vandel")
MEGABYTE = 1000000


def since(start):
    return (time.perf_counter() - start) * 1000


def read_to(descriptor, end):
    """What is written, up to and with the end; the last kilobyte of it, and the last piece."""
    last = b""
    while True:
        piece = os.read(descriptor, MEGABYTE)
        assert piece, last
        last = last[-1000:] + piece
        assert b"rror" not in last, last[-500:]
        if end in last[-len(piece) - len(end) :]:
            return last


def whole(*words, has=b"", env=None):
    """A program from its start to its end."""
    start = time.perf_counter()
    with subprocess.Popen(
        words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, env=env
    ) as process:
        output = last = b""
        while last := os.read(process.stdout.fileno(), MEGABYTE):
            output = output[-1000:] + last
    elapsed = since(start)
    assert has in output, output
    return elapsed, 0


def most_memory(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        return int(re.search(r"VmHWM:\s+(\d+)", status.read())[1]) / 1024


def session(text, end, program=(VANDEL,), first="pwd\n", answer=b"/\r\n", env=None):
    """Lines into a shell on pipes that waits for them, until it writes the end."""
    pipe = subprocess.PIPE
    with subprocess.Popen(program, stdin=pipe, stdout=pipe, bufsize=0, env=env) as shell:
        shell.stdin.write(first.encode())
        read_to(shell.stdout.fileno(), answer)
        start = time.perf_counter()
        writer = threading.Thread(target=shell.stdin.write, args=(text.encode(),))
        writer.start()
        read_to(shell.stdout.fileno(), end)
        elapsed, memory = since(start), most_memory(shell.pid)
        writer.join()
        shell.stdin.write(b"quit\n")
        shell.stdin.close()
        while os.read(shell.stdout.fileno(), MEGABYTE):
            pass
    return elapsed, memory


class Terminal:
    """A program on a terminal of its own, whose output nothing interprets."""

    def __init__(self, *words, env=None):
        self.master, slave = pty.openpty()
        name = os.ttyname(slave)
        actions = [
            (os.POSIX_SPAWN_OPEN, 0, name, os.O_RDWR, 0),
            (os.POSIX_SPAWN_DUP2, 0, 1),
            (os.POSIX_SPAWN_DUP2, 0, 2),
        ]
        env = dict(env or os.environ, TERM="vt100", COLUMNS="80")
        self.pid = os.posix_spawnp(words[0], words, env, file_actions=actions, setsid=True)
        os.close(slave)

    def until(self, end):
        last = b""
        while end not in last:
            assert select.select([self.master], [], [], 60)[0], last
            last = last[-100:] + os.read(self.master, 65536)
        return last

    def press(self, keys, end=b"~"):
        """After the keys a mark is typed, which shows when they are dealt with."""
        start = time.perf_counter()
        os.write(self.master, keys + b"~")
        self.until(end)
        return since(start)

    def stop(self):
        os.kill(self.pid, 9)
        os.waitpid(self.pid, 0)
        os.close(self.master)


def to_prompt(*words, prompt=b"$ ", env=None):
    start = time.perf_counter()
    terminal = Terminal(*words, env=env)
    terminal.until(prompt)
    elapsed = since(start)
    terminal.stop()
    return elapsed, 0


def strike(line, key):
    terminal = Terminal(VANDEL)
    terminal.until(b"$ ")
    terminal.press(line)
    os.write(terminal.master, b"\x7f")
    time.sleep(0.02)  # for the mark to go
    while select.select([terminal.master], [], [], 0)[0]:
        os.read(terminal.master, 65536)
    elapsed, memory = terminal.press(key), most_memory(terminal.pid)
    terminal.stop()
    return elapsed, memory


def show_on_terminal(path):
    start = time.perf_counter()
    terminal = Terminal("sh", "-c", f"cat {path}; printf '~'")
    terminal.until(b"~")
    elapsed = since(start)
    terminal.stop()
    return elapsed, 0
