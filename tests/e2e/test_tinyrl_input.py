"""The line editor and its input: the terminal's mode, what is typed ahead,
signals, and input that is not a terminal.
"""

import fcntl
import os
import pty
import random
import select
import signal
import struct
import subprocess
import termios
import time

import pytest
from support import valgrind
from support.editor_terminal import start_fixture  # noqa: F401
from support.editor_terminal import CTRL, DEMO, ENTER, LEFT, NEXT_LINE, PATIENCE, UP


# The terminal's mode


def odd_settings():
    """Settings that no program would choose, to see them come back."""
    master, slave = pty.openpty()
    settings = termios.tcgetattr(slave)
    os.close(master)
    os.close(slave)
    settings[0] = termios.ICRNL | termios.IXON | termios.INLCR
    settings[1] = termios.OPOST | termios.ONLCR | termios.OCRNL
    settings[3] = termios.ICANON | termios.ISIG | termios.ECHO | termios.ECHOE
    settings[6][termios.VERASE] = b"#"
    settings[6][termios.VINTR] = b"\x1c"
    return settings


def test_raw_mode_within_the_read_only(start):
    demo = start(settings=odd_settings())
    before = demo.settings
    now = demo.mode()
    assert now[0] == 0
    assert now[1] == 5
    assert now[2] == before[2]
    assert now[3] == 0
    assert now[6][termios.VMIN] in (1, b"\x01")
    assert now[6][termios.VTIME] in (0, b"\x00")
    demo.type(b"ls")
    assert demo.mode_is_raw()
    demo.press(ENTER)
    demo.line()
    demo.wait_for(lambda: demo.mode() == before)
    demo.go_on()
    assert demo.mode_is_raw()
    demo.press(CTRL["c"])
    demo.line()
    demo.wait_for(lambda: demo.mode() == before)


def ended(demo):
    """The exit status, once the program has ended and its mode is back."""
    status = demo.process.wait(PATIENCE)
    assert demo.mode() == demo.settings
    return status


ENDING = {signal.SIGHUP, signal.SIGINT, signal.SIGQUIT}


def caught_signals(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        mask = int(status.read().partition("SigCgt:")[2].split()[0], 16)
    return {number for number in ENDING if mask >> (number - 1) & 1}


def test_mode_is_back_after_a_time_out(start):
    demo = start("--timeout", "1", settings=odd_settings())
    demo.type(b"abc")
    assert demo.report() == "none 2"
    assert ended(demo) == 0


def test_a_time_out_may_go_on(start):
    demo = start("--timeout", "1", "--patient")
    demo.type(b"abc")
    time.sleep(2.5)
    assert demo.press(b"d") == b"d"
    demo.press(ENTER)
    assert demo.line() == b"abcd"


def test_mode_is_back_after_exit_within_the_read(start):
    demo = start(settings=odd_settings())
    demo.type(b"abc")
    os.write(demo.master, CTRL["t"])
    assert ended(demo) == 3


def test_mode_is_back_after_a_broken_rule(start):
    demo = start(settings=odd_settings())
    demo.type(b"abc")
    os.write(demo.master, CTRL["x"])
    assert ended(demo) == -signal.SIGABRT
    assert demo.process.stderr.read() == (
        b"tinyrl.c: tinyrl_display_matches: Assertion `matches' failed.\n"
    )


def test_mode_is_back_after_a_signal(start):
    demo = start("--mask", settings=odd_settings())
    demo.type(b"abc")
    os.kill(demo.process.pid, signal.SIGTERM)
    assert ended(demo) == 1


@pytest.mark.parametrize("number", sorted(ENDING))
def test_mode_is_back_after_a_signal_that_nobody_handles(start, number):
    demo = start(settings=odd_settings())
    demo.enter(b"abc")
    demo.type(b"abc")
    os.kill(demo.process.pid, number)
    assert ended(demo) == -number


@valgrind.catches_what_it_says
def test_signals_are_nobodys_outside_a_read(start):
    demo = start(settings=odd_settings())
    demo.type(b"abc")
    assert caught_signals(demo.process.pid) == ENDING
    demo.press(ENTER)
    demo.line()
    demo.wait_for(lambda: not caught_signals(demo.process.pid))
    os.kill(demo.process.pid, signal.SIGINT)
    assert ended(demo) == -signal.SIGINT


def test_a_signal_that_is_ignored_stays_so(start):
    signal.signal(signal.SIGHUP, signal.SIG_IGN)
    try:
        demo = start()
    finally:
        signal.signal(signal.SIGHUP, signal.SIG_DFL)
    demo.type(b"ab")
    os.kill(demo.process.pid, signal.SIGHUP)
    demo.type(b"c")
    demo.press(ENTER)
    assert demo.line() == b"abc"


def test_a_signal_waits_for_the_editor_to_wait(start):
    demo = start("--mask")
    demo.type(b"abc")
    demo.press(ENTER)
    demo.line()
    os.kill(demo.process.pid, signal.SIGTERM)
    time.sleep(0.2)
    assert demo.process.poll() is None
    os.write(demo.gate, b"x")
    assert ended(demo) == 1


@pytest.mark.parametrize("seed", range(40))
def test_signals_at_random_moments(start, seed):
    dice = random.Random(seed)
    demo = start("--mask", settings=odd_settings())
    keys = b"".join(
        dice.choice([b"word ", UP, LEFT, CTRL["w"], CTRL["l"], b"x\r"]) for _ in range(200)
    )
    os.write(demo.gate, b"x" * 200)
    os.write(demo.master, keys[: dice.randrange(1, len(keys))])
    time.sleep(dice.random() * 0.01)
    os.kill(demo.process.pid, signal.SIGTERM)
    assert ended(demo) == 1


def test_a_terminal_that_goes_away_ends_the_read(start):
    demo = start(controlling=False)
    demo.type(b"abc")
    os.close(demo.slave)
    os.close(demo.master)
    assert demo.report() == "none 2"
    assert demo.process.wait(PATIENCE) == 0


def test_a_stalled_terminal_does_not_keep_a_signal_waiting(start):
    demo = start("--mask")
    demo.type(b"abc")
    termios.tcflow(demo.slave, termios.TCOOFF)
    os.kill(demo.process.pid, signal.SIGTERM)
    assert ended(demo) == 1


# What is typed while nobody reads


def test_what_was_typed_ahead_is_kept(start):
    demo = start()
    demo.type(b"one")
    demo.press(ENTER)
    assert demo.line() == b"one"
    os.write(demo.master, b"two\rthr")
    echo = b""
    while echo != b"two\r\nthr":
        echo += os.read(demo.master, 1)
    os.write(demo.gate, b"xx")
    for byte in b"two\n":
        assert demo.report() == f"key {byte}"
    assert demo.line() == b"two"
    for byte in b"thr":
        assert demo.report() == f"key {byte}"
    demo.wait_for(demo.mode_is_raw)
    demo.settle()
    assert demo.enter(b"ee") == b"three"


def test_a_paste_is_read_to_its_last_byte(start):
    demo = start(columns=80, lines=50)
    lines = [b"line %d of a paste" % number for number in range(100)]
    os.write(demo.gate, b"x" * 100)
    os.write(demo.master, b"\r".join(lines) + b"\r")
    seen = []
    while len(seen) < len(lines):
        report = demo.report()
        if report.startswith("line "):
            seen.append(bytes.fromhex(report[5:]))
    assert seen == lines


# Input that is not a terminal


def piped(text, *options, output=subprocess.PIPE, **settings):
    return subprocess.run(
        [*DEMO, *options], input=text, stdout=output, timeout=PATIENCE, check=True, **settings
    ).stdout


def test_a_transcript_of_piped_lines():
    assert piped(b"pwd\n\n  ls -l \nquit\nnever read\n") == (
        b"/$ pwd\nline 707764\n"
        b"/$ \nline \n"
        b"/$ ls -l \nline 6c73202d6c20\n"
        b"/$ quit\nline 71756974\n"
    )


def test_the_end_of_piped_lines():
    assert piped(b"pwd") == b"/$ pwd\nline 707764\nnone 2\n"
    assert piped(b"") == b"none 2\n"
    assert piped(b"ls\n   ") == b"/$ ls\nline 6c73\n/$ none 2\n"
    assert piped(b" " * 79) == b"/$ none 2\n"


def test_piped_lines_longer_than_a_piece():
    line = b"0123456789" * 8
    assert piped(line + b"\n") == (
        b"/$ " + line + NEXT_LINE + b"\nline " + line.hex().encode() + b"\nnone 2\n"
    )
    assert piped(line[:78] + b"\npwd\n") == (
        b"/$ " + line[:78] + b"pwd\nline " + line[:78].hex().encode() + b"707764\nnone 2\n"
    )


def test_piped_lines_on_a_narrow_terminal():
    master, slave = pty.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 20, 0, 0))
    before = termios.tcgetattr(slave)
    piped(b"x" * 19 + b"y\nquit\n", "--prompt", "", output=slave)
    assert termios.tcgetattr(slave) == before
    written = b""
    while select.select([master], [], [], 0)[0]:
        written += os.read(master, 65536)
    os.close(master)
    os.close(slave)
    assert written == (
        b"x" * 19 + b"y" + NEXT_LINE + b"\r\nline " + b"78" * 19 + b"79\r\n"
        b"quit\r\nline 71756974\r\n"
    )


def test_a_signal_ends_the_wait_for_piped_input():
    process = subprocess.Popen([*DEMO, "--mask"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    process.stdin.write(b"pwd\n")
    process.stdin.flush()
    expected = b"/$ pwd\nline 707764\n"
    assert process.stdout.read(len(expected)) == expected
    process.send_signal(signal.SIGTERM)
    assert process.wait(PATIENCE) == 1
    process.stdin.close()
    process.stdout.close()


def test_a_line_is_answered_before_the_next_arrives():
    process = subprocess.Popen(DEMO, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    for _ in range(3):
        process.stdin.write(b"ls\n")
        process.stdin.flush()
        assert process.stdout.read(16) == b"/$ ls\nline 6c73\n"
    process.stdin.close()
    assert process.stdout.read() == b"none 2\n"
    assert process.wait(PATIENCE) == 0
    process.stdout.close()


@valgrind.keeps_standard_input_open
def test_a_closed_standard_input_is_an_end():
    result = subprocess.run(
        ["sh", "-c", 'exec "$@" <&-', "sh", *DEMO],
        stdout=subprocess.PIPE,
        timeout=PATIENCE,
        check=False,
    )
    assert result.stdout == b"none 2\n"
    assert result.returncode == 0
