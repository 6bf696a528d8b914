"""schemac: modules that take more than there is, and those that break libyang.

Limits of the test stand in for those of the program, which would take minutes
or all the memory of a small machine to reach."""

import os
import pty
import re
import resource
import socket
import subprocess
import time

import pytest

from support import valgrind
from support.processes import children_of, is_running
from support.schemac import doubling_groupings, good, nested_groupings, SANITIZED, SCHEMAC

pytest_plugins = ("support.schemac_fixtures",)


def with_limit(limit, value):
    return lambda: resource.setrlimit(limit, (value, resource.getrlimit(limit)[1]))


NEVER_ENDING = (
    "grouping g0 { }\n"
    + "".join(f"grouping g{i} {{ uses g{i - 1}; uses g{i - 1}; }}\n" for i in range(1, 60))
    + "uses g59;"
)


@pytest.mark.skipif(SANITIZED, reason="a sanitizer needs more address space than the limit")
def test_a_module_that_explodes_is_an_error(server, run, write):
    write("m", doubling_groupings(40))
    result = run("m", preexec_fn=with_limit(resource.RLIMIT_AS, 400 << 20))
    assert result.returncode == 1
    # libyang does not look at the result of each allocation: it depends on which one fails.
    assert result.stderr in (
        "schemac: m: line 1: Memory allocation failed.\n",
        "schemac: m: the compiler died of signal 11; leave the module out, or change it\n",
    )
    assert server.content() == {}


@pytest.mark.skipif(SANITIZED, reason="a sanitizer needs more address space than the limit")
def test_a_file_of_features_for_which_there_is_no_memory(server, run, write, tmp_path):
    write("m", "leaf a { type string; }")
    with open(tmp_path / "features", "wb") as file:
        file.truncate(200 << 20)
    result = run(
        "--feature-file", "features", "m", preexec_fn=with_limit(resource.RLIMIT_AS, 100 << 20)
    )
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == "schemac: features: Cannot allocate memory\n"
    assert server.content() == {}


@pytest.mark.skipif(valgrind.ENABLED, reason="valgrind reports as lost what the killed child held")
def test_a_module_that_takes_for_ever_is_an_error(server, run, write):
    write("m", NEVER_ENDING)
    result = run("m", preexec_fn=with_limit(resource.RLIMIT_CPU, 2))
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == "schemac: m: compiling takes more than 2 seconds\n"
    assert server.content() == {}


@pytest.mark.skipif(SANITIZED, reason="a sanitizer needs more address space than the limit")
def test_a_schema_that_would_fill_the_memory_of_redis_is_an_error(server, run, write):
    """Long names in groupings within each other: each path holds all above it."""
    text = doubling_groupings(11)
    for name in "abx":
        text = text.replace(f" {name} {{", f" {name * 2000} {{")
    write("m", text)
    result = run("m", preexec_fn=with_limit(resource.RLIMIT_AS, 60 << 20))
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == "schemac: m: the schema takes more than 30 MiB\n"
    assert "/" not in server.content()
    good(run("m"))


def limits_of(pid):
    with open(f"/proc/{pid}/limits", encoding="ascii") as file:
        return {line[:25].strip(): line[25:].split()[0] for line in file}


def child_of(process):
    for _ in range(2000):
        children = children_of(process.pid)
        if children and "Max cpu time" in limits_of(children[0]):
            return children[0]
        time.sleep(0.01)
    raise AssertionError("no child")


def wait_until(condition):
    deadline = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.01)


@pytest.mark.skipif(valgrind.ENABLED, reason="the child is valgrind's")
def test_the_compiler_has_limits_and_ends_with_the_program(server, write, tmp_path):
    write("m", NEVER_ENDING)
    with subprocess.Popen(
        [SCHEMAC, "--redis", server.socket, "m"], cwd=tmp_path, stdin=subprocess.DEVNULL
    ) as process:
        try:
            child = child_of(process)
            wait_until(lambda: limits_of(child)["Max cpu time"] == "120")
            wait_until(lambda: limits_of(child)["Max address space"] != "unlimited")
        finally:
            process.kill()
    wait_until(lambda: not is_running(child))
    assert server.content() == {}


@pytest.mark.parametrize("word", ["m", "--list"])
def test_who_asks_a_database_has_a_limit(write, tmp_path, word):
    """Its reply may have no end. What asks for a list has become another program."""
    write("m", "leaf a { type string; }")
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(tmp_path / "r"))
        listener.listen()
        with subprocess.Popen(
            [SCHEMAC, "--redis", tmp_path / "r", word],
            cwd=tmp_path,
            stdin=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        ) as process:
            with listener.accept()[0] as peer:
                peer.recv(1000)
                peer.sendall(b"+OK\r\n")
                peer.recv(1000)
                limit = resource.prlimit(process.pid, resource.RLIMIT_AS)
            listener.close()
    assert (
        limit[0] != resource.RLIM_INFINITY and limit[1] == resource.getrlimit(resource.RLIMIT_AS)[1]
    )


def test_a_long_name_takes_no_time_to_tell(server, write, tmp_path):
    """It would be told for each step, and fill the terminal, too."""
    write("n" * 100000, NEVER_ENDING, file="m.yang")
    terminal, end = pty.openpty()
    with subprocess.Popen(
        [SCHEMAC, "--redis", server.socket, "m.yang"],
        cwd=tmp_path,
        stdin=subprocess.DEVNULL,
        stderr=end,
    ) as process:
        try:
            shown = b""
            while shown.count(b"\r") < 2:
                shown += os.read(terminal, 65536)
        finally:
            process.kill()
            os.close(end)
            os.close(terminal)
    line = shown.split(b"\r")[1]
    assert re.fullmatch(rb"\033\[Kschemac: compiling \d of \d: n{16000,17000}", line)


@pytest.mark.skipif(SANITIZED, reason="a sanitizer says itself that the stack is full")
def test_a_module_that_breaks_the_compiler_hides_no_other(server, run, write):
    write("good", "leaf a { type string; }")
    write("deep", nested_groupings(8000))
    write("bad", "leaf a { type nosuch; }")
    result = run("good", "deep", "bad", preexec_fn=with_limit(resource.RLIMIT_STACK, 256 << 10))
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == (
        'schemac: bad: line 4: Referenced type "nosuch" not found. (/bad:a)\n'
        "schemac: deep: the compiler died of signal 11; leave the module out, or change it\n"
    )
    assert server.content() == {}


@pytest.mark.skipif(SANITIZED, reason="a sanitizer says itself that the stack is full")
def test_one_of_many_that_breaks_the_compiler_is_left_out(server, run, write):
    names = [f"m{number:03}" for number in range(100)]
    for name in names:
        write(name, nested_groupings(8000) if name == "m080" else "leaf x { type string; }")
    stack = with_limit(resource.RLIMIT_STACK, 256 << 10)
    result = run("--keep-going", *names, preexec_fn=stack)
    assert (result.returncode, server.content()["/"].keys()) == (2, {*names} - {"m080"})
    assert (
        result.stderr
        == "schemac: m080: the compiler died of signal 11; leave the module out, or change it\n"
    )


@pytest.mark.skipif(valgrind.ENABLED, reason="the child is valgrind's")
def test_the_first_error_is_printed_before_the_others_are_known(server, write, tmp_path):
    write("bad", "leaf {")
    write("slow", NEVER_ENDING)
    with subprocess.Popen(
        [SCHEMAC, "--redis", server.socket, "bad", "slow"],
        cwd=tmp_path,
        stdin=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
    ) as process:
        try:
            assert process.stderr.readline().startswith(b"schemac: bad: line 4: ")
            assert process.poll() is None
        finally:
            process.kill()
        assert process.stderr.read() == b""


def test_modules_of_which_each_imports_all_before_it(server, run, write):
    """There are 2 ** 38 paths of imports from the last one to the first one."""
    names = [f"m{number}" for number in range(10, 50)]
    for number, name in enumerate(names):
        imports = "".join(f"import {one} {{ prefix {one}-; }} " for one in names[:number])
        write(name, f"{imports} leaf x {{ type string; }}", "models")
    good(run("./models", preexec_fn=with_limit(resource.RLIMIT_CPU, 60)))
    assert server.content()["/"].keys() == set(names)


def test_files_have_a_limit_together(server, run, write):
    """They take no room on the disk, and would fill the memory."""
    paths = [write(f"m{number}", "", directory="models") for number in range(9)]
    for path in paths:
        os.truncate(path, 60 << 20)
    result = run(*map(str, paths))
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: {paths[8]}: File too large\n"


def test_imports_have_a_limit_together(server, run, write):
    """Each takes more than its seven letters."""
    paths = [write(f"m{number}", "import;" * 1000000, directory="models") for number in range(7)]
    result = run(*map(str, paths))
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"schemac: {paths[6]}: File too large\n"


@pytest.mark.skipif(SANITIZED, reason="a sanitizer needs more address space than the limit")
def test_many_modules_named_as_files_are_read_once(server, run, write):
    """Were each read again for each other file in its directory, they would take 400 MB."""
    names = [f"m{number}" for number in range(200)]
    for name in names:
        write(name, f'description "{"x" * 10000}"; leaf {name} {{ type string; }}')
    paths = [f"{name}.yang" for name in names]
    good(run(*paths, preexec_fn=with_limit(resource.RLIMIT_AS, 200 << 20)))
    assert server.content()["/"].keys() == set(names)
