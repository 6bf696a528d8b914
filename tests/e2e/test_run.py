"""./run: a shell on a schema database, a gateway and a real NETCONF server."""

import functools
import glob
import os
import re
import shlex
import signal
import subprocess
import time

import pexpect
import pytest
from support import valgrind
from support.servers import wait_until
from support.shell import BASE_NS, ROOT, TIMEOUT

NOTIFICATION = re.compile(r"<notification .*?\n</notification>\n", re.DOTALL)
MODIFIED = re.compile(r'\nlast-modified="[^"]*"')
PROGRAMS = ("vandel", "schemac", "tarnd-gateway")
STARTED = valgrind.SCALE * 300
SOON = valgrind.SCALE * 10  # about a second is meant; a busy machine is given more
DEVICE = "\n/vandel-device$ "
SYSTEM = "\n/vandel-device/system$ "
OPENED = (
    b"vandel-connect: a shell on a small router of its own (netconfd), gone when you leave: "
    b"type quit\n"
)


@functools.cache
def bring_up_to_date(build):
    """What ./run would build otherwise, it would tell amid what is compared."""
    lock = os.path.join(build, ".run.lock")
    subprocess.run(["flock", lock, "ninja", "-C", build, *PROGRAMS], check=True)


def run_command(machine, *arguments):
    bring_up_to_date(machine.build)
    build = valgrind.wrap(machine, *PROGRAMS) if valgrind.ENABLED else machine.build
    return machine.command("env", f"VANDEL_BUILD={build}", os.path.join(ROOT, "run"), *arguments)


def run(machine, *arguments):
    return machine.start_command(run_command(machine, *arguments))


def session(machine, *lines):
    """What ./run shows for lines typed through a pipe, without notifications."""
    shell = run(machine)
    shell.send("".join(line + "\n" for line in lines))
    result = shell.wait(STARTED)
    assert (result.status, result.stderr) == (0, OPENED)
    return MODIFIED.sub("", NOTIFICATION.sub("", result.stdout.decode()))


def reply(number, *lines, declares=""):
    """A reply of the server as the shell shows it."""
    head = f'<rpc-reply message-id="{number}" xmlns:nc="{BASE_NS}"\n{declares}xmlns="{BASE_NS}">\n'
    return "\r\n" + head + "".join(line + "\n" for line in lines)


def ok(number):
    return reply(number, "  <ok/>", "  </rpc-reply>")


def leftovers(machine):
    """Processes whose /tmp is this machine's: {pid: command line}."""
    found = {}
    for path in glob.glob("/proc/[0-9]*"):
        try:
            if os.path.samefile(f"{path}/root/tmp", machine.path()):
                with open(f"{path}/cmdline", "rb") as words:
                    found[int(path.split("/")[2])] = words.read()
        except OSError:
            continue  # it has ended meanwhile
    return found


def check_all_gone(machine):
    try:
        wait_until(lambda: not leftovers(machine), "the end of every server")
    except TimeoutError as error:
        remaining = leftovers(machine)
        for pid in remaining:
            os.kill(pid, signal.SIGKILL)
        raise AssertionError(f"still there: {remaining}") from error
    assert glob.glob(machine.path("vandel.*/")) == []


@pytest.fixture
def device(machine):
    """A machine on which nothing may be left behind."""
    yield machine
    for shell in machine.shells:
        shell.signal(signal.SIGTERM)
    check_all_gone(machine)


def test_walk_read_change_and_read_back(device):
    assert session(
        device,
        "ls",
        "cd vandel-device",
        "cd system",
        "get hostname",
        "set hostname r1",
        "set ntp/enabled true",
        "commit",
        "get-config -r ntp",
        "get-config -r hostname",
        "quit",
    ) == (
        "/$ ls\n"
        + "  ".join(
            f"\x1b[01;34m{name}\x1b[0m"
            for name in (
                "iana-if-type",
                "ietf-interfaces",
                "ietf-ip",
                "vandel-device",
                "vandel-ospf",
            )
        )
        + "\n"
        "/$ cd vandel-device\n" + DEVICE + "cd system\n"
        + SYSTEM + "get hostname\n" + reply(1, "  <data>", "  </data>", "</rpc-reply>")
        + SYSTEM + "set hostname r1\n"
        + SYSTEM + "set ntp/enabled true\n"
        + SYSTEM + "commit\n" + ok(2)
        + SYSTEM + "get-config -r ntp\n"
        + reply(
            3,
            "  <data>",
            '    <system xmlns="urn:vandel:device">',
            "      <ntp>",
            "        <enabled>",
            "          true",
            "        </enabled>",
            "      </ntp>",
            "    </system>",
            "  </data>",
            "</rpc-reply>",
        )
        + SYSTEM + "get-config -r hostname\n"
        + reply(
            4,
            "  <data>",
            '    <system xmlns="urn:vandel:device">',
            "      <hostname>",
            "        r1",
            "      </hostname>",
            "    </system>",
            "  </data>",
            "</rpc-reply>",
        )
        + SYSTEM + "quit\n"
    )  # fmt: skip


def test_a_wrong_value_is_refused_by_the_server(device):
    output = session(device, "set /vandel-device/system/ntp/enabled maybe", "commit", "quit")
    assert "  <rpc-error>\n    <error-type>\n" in output
    assert "    <error-tag>\n      invalid-value\n    </error-tag>\n" in output
    assert (
        "    <error-path>\n"
        "      /nc:rpc/nc:edit-config/nc:config/dev:system/dev:ntp/dev:enabled\n"
        "    </error-path>\n"
    ) in output
    assert (
        '      <bad-value xmlns="http://netconfcentral.org/ns/yuma-ncx">\n        maybe\n' in output
    )


def test_one_wrong_value_rolls_everything_back(device):
    output = session(
        device,
        "set /vandel-device/system/hostname r2",
        "set /vandel-device/system/ntp/enabled maybe",
        "commit",
        "get-config -r /vandel-device/system",
        "quit",
    )
    assert "invalid-value" in output
    assert reply(2, "  <data>", "  </data>", "</rpc-reply>") in output


def test_an_rpc_is_called(device):
    assert session(device, "vandel-device/ping", "set destination 192.0.2.1", "commit", "quit") == (
        "/$ vandel-device/ping\n"
        "\n[ping]$ set destination 192.0.2.1\n"
        "\n[ping]$ commit\n" + ok(1) + DEVICE + "quit\n"
    )


def test_an_rpc_that_lacks_a_parameter_is_refused(device):
    output = session(device, "vandel-device/ping", "commit", "quit")
    assert "    <error-tag>\n      data-missing\n    </error-tag>\n" in output


def test_entries_of_a_list(device):
    interfaces = "/ietf-interfaces/interfaces"
    output = session(
        device,
        f"set {interfaces}/interface[name=ge-0/0/10]/type iana-if-type:ethernetCsmacd",
        f"set {interfaces}/interface[name=ge-0/0/10]/ietf-ip:ipv4/mtu 1400",
        "commit",
        "cd ietf-interfaces",
        "cd interfaces",
        "cd interface",
        "ls",
        "cd interface[name=ge-0/0/10]",
        "get-config -r ietf-ip:ipv4/mtu",
        "quit",
    )
    assert ok(1) in output
    assert "ls\n\x1b[01;36minterface[name=ge-0/0/10]\x1b[0m\n" in output
    assert f"\n{interfaces}/interface[name=ge-0/0/10]$ quit\n" in output
    assert (
        '        <ipv4 xmlns="urn:ietf:params:xml:ns:yang:ietf-ip">\n'
        "          <mtu>\n"
        "            1400\n"
    ) in output


def test_a_change_by_another_shell_is_announced(device):
    """With nothing typed at the first shell."""
    first = run(device)
    first.send("pwd\n\n")
    first.expect(b"/$ pwd\n/\r\n/$ ", timeout=STARTED)
    (directory,) = glob.glob(device.path("vandel.*"))
    private = f"/tmp/{os.path.basename(directory)}"
    where = {"TARND_SOCKET": f"{private}/tarnd.sock", "SCHEMA_REDIS": f"{private}/redis.sock"}
    # The gateway's subscription counts from some moment after the start; once
    # it does, the beginning of every other session is announced.
    wait_until(
        lambda: device.session("quit", env=where) and b"  <netconf-session-start " in first.stdout,
        "a first notification",
        pause=0.5,
    )
    assert b"netconf-config-change" not in first.stdout
    second = device.session("set /vandel-device/system/hostname r3", "commit", "quit", env=where)
    assert b"  <ok/>\n" in second.stdout
    output = first.expect(b"  </netconf-config-change>\n</notification>\n", timeout=SOON)
    assert b"        /dev:system\n      </target>\n" in output
    first.send("quit\n")
    result = first.wait()
    assert (result.status, result.stderr) == (0, OPENED)


def test_one_command(device):
    result = run(device, "pwd").wait(300)
    assert (result.status, result.stdout, result.stderr) == (0, b"/\r\n", b"")


def test_arguments_reach_the_shell_whole(device):
    result = run(device, "get-config", "-r", "/vandel-device/system").wait(300)
    assert (result.status, result.stderr) == (0, b"")
    assert MODIFIED.sub("", result.stdout.decode()) == reply(
        1, "  <data>", "  </data>", "</rpc-reply>"
    )


# What a device's shells keep for each other; no test may find a trace of itself there.
KEPT = (
    "[pwd]\n/vandel-device\n\n[config]\nset /vandel-device/system/hostname kept\n\n\n"
    "[rpc]\n\n[rpc_para]\n\n\n%%%\n"
)


def check_one_commands(device):
    """Commands that would read, write and send what is kept."""
    assert run(device, "pwd").wait(STARTED).stdout == b"/\r\n"
    assert run(device, "cd", "vandel-device").wait(STARTED).stdout == b""
    assert run(device, "set", "/vandel-device/system/hostname", "r1").wait(STARTED).stdout == b""
    nothing = run(device, "commit").wait(STARTED).stdout
    assert nothing == b"There is no configuration data. \r\n"


def test_one_command_leaves_nothing_to_a_device(device):
    check_one_commands(device)
    assert not os.path.exists(device.profile)


def test_one_command_leaves_alone_what_a_device_keeps(device):
    with open(device.profile, "w", encoding="utf-8") as profile:
        profile.write(KEPT)
    os.chmod(device.profile, 0o600)
    check_one_commands(device)
    with open(device.profile, encoding="utf-8") as profile:
        assert profile.read() == KEPT


EXPORTED = b"The export-config command executed successfuly! "


@pytest.mark.parametrize(
    "words",
    [
        ("export-config", "running", "/tmp/out.xml"),
        ("export-config running /tmp/out.xml",),
        ("export-config", "running", "out.xml"),
        ("export-config", "running", "/tmp/inner/../out.xml"),
    ],
)
def test_an_export_lands_where_it_is_meant_to(device, words):
    os.mkdir(device.path("inner"))
    command = run_command(device, *words)
    command[command.index("--") + 1 :] = [
        "sh", "-c", "cd /tmp && " + shlex.join(command[command.index("--") + 1 :]),
    ]  # fmt: skip
    result = device.start_command(command).wait(STARTED)
    assert (result.status, result.stdout, result.stderr) == (0, EXPORTED, b"")
    with open(device.path("out.xml"), encoding="utf-8") as file:
        assert file.read().startswith("<?xml version='1.0' encoding='UTF-8'?><data>")


def test_an_import_finds_its_file(device):
    with open(device.path("in.xml"), "w", encoding="utf-8") as file:
        system = '<system xmlns="urn:vandel:device"><hostname>r1</hostname></system>'
        file.write(f"<data>{system}</data>")
    result = run(device, "import-config", "/tmp/in.xml", "running").wait(STARTED)
    assert (result.status, result.stderr) == (0, b"")
    assert NOTIFICATION.sub("", result.stdout.decode()) == ok(1).removeprefix("\r\n")


def test_a_file_that_is_lost_is_named(device):
    """The shell takes this for /tmp, ./run does not."""
    result = run(device, "export-config", "running", "//tmp/out.xml").wait(STARTED)
    assert (result.status, result.stdout) == (0, EXPORTED)
    assert result.stderr == (
        b"vandel-connect: the command had a /tmp of its own, and with it these files are gone:"
        b" /tmp/out.xml\n"
    )


def test_where_no_mounts_are_given(device):
    device.replace_file("/usr/bin/unshare", "#!/bin/sh\nexit 1\n", mode=0o755)
    result = run(device, "set", "/vandel-device/system/hostname", "r1").wait(STARTED)
    assert (result.status, result.stdout) == (70, b"")
    assert result.stderr == (
        b"vandel-connect: this system gives a command no mounts of its own, and without them what"
        b" is staged for one device would reach others. Nothing was done: type the command in a"
        b" shell, or pipe it in\n"
    )
    assert not os.path.exists(device.profile)
    assert session(device, "pwd", "quit") == "/$ pwd\n/\r\n/$ quit\n"


SAVES = ("set /vandel-device/system/hostname r1", "commit", "save", "quit")


@pytest.mark.parametrize("home", ["/tmp/home", "/nonexistent"])
@pytest.mark.parametrize("variable", [None, "/tmp/home", "/nonexistent"])
def test_nothing_is_left_in_the_home(device, home, variable):
    os.mkdir(device.path("home"))
    device.replace_file("/etc/passwd", f"root:x:0:0::{home}:/bin/sh\n")
    device.environment["HOME"] = variable
    output = session(device, *SAVES)
    assert ok(2) in output
    assert os.listdir(device.path("home")) == []


def test_another_server_is_reached_afterwards(device):
    """netconfd would remove that socket at its end, whatever its own one is."""
    with open(device.path("ncxserver.sock"), "wb"):
        assert ok(2) in session(device, *SAVES)
    assert os.path.exists(device.path("ncxserver.sock"))


def run_copy(device, user, *arguments):
    """./run by a user, with programs below /tmp that are this user's own."""
    os.makedirs(device.path("own"), exist_ok=True)
    for program in PROGRAMS:
        with open(device.path(f"own/{program}"), "w", encoding="utf-8") as wrapper:
            wrapper.write(f'#!/bin/sh\nexec "${{0%/*}}/../.build/{program}" "$@"\n')
        os.chmod(wrapper.name, 0o755)
    with open(device.path("own/build.ninja"), "w", encoding="utf-8") as rules:
        rules.write(f"build {' '.join(PROGRAMS)}: phony\n")
    os.chown(device.path("own"), user, user)
    # A user without a name gets one from a library that precedes the sanitizer's.
    options = device.environ()["ASAN_OPTIONS"] + ":verify_asan_link_order=0"
    settings = ["env", "VANDEL_BUILD=/tmp/own", f"ASAN_OPTIONS={options}"]
    script = os.path.join(ROOT, "run")
    return device.start_command(device.command(*become(user), *settings, script, *arguments))


def become(user):
    if user == os.geteuid():
        return []
    return ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups"]


def check_possible(user, *words):
    """Skips where another user may not do what ./run has to do."""
    probe = subprocess.run([*become(user), *words], check=False, capture_output=True)
    if probe.returncode != 0:
        pytest.skip(f"another user is refused {words[0]}")


other_users = pytest.mark.parametrize("user", [65534, 54321], ids=["nobody", "without a name"])
as_root = pytest.mark.skipif(os.geteuid() != 0, reason="only root becomes somebody else")


def test_one_command_with_programs_below_tmp(device):
    result = run_copy(device, os.geteuid(), "pwd").wait(STARTED)
    assert (result.status, result.stdout, result.stderr) == (0, b"/\r\n", b"")


def test_nobody_else_keeps_it_waiting(device):
    """Whoever can read a file can hold its lock."""
    run_copy(device, os.geteuid(), "pwd").wait(STARTED)
    assert os.stat(device.path("own/.run.lock")).st_mode & 0o777 == 0o600


@as_root
@other_users
def test_another_user(device, user):
    check_possible(user, "test", "-r", os.path.join(ROOT, "run"))
    shell = run_copy(device, user)
    shell.send("".join(line + "\n" for line in SAVES))
    result = shell.wait(STARTED)
    assert (result.status, result.stderr) == (0, OPENED)
    assert ok(2) in NOTIFICATION.sub("", result.stdout.decode())


@as_root
@other_users
def test_one_command_of_another_user(device, user):
    check_possible(user, "test", "-r", os.path.join(ROOT, "run"))
    check_possible(user, "unshare", "--mount", "--map-current-user", "--keep-caps",
                   "mount", "--rbind", "/tmp", "/tmp")  # fmt: skip
    with open(device.profile, "w", encoding="utf-8") as profile:
        profile.write(KEPT)
    os.chmod(device.profile, 0o600)
    result = run_copy(device, user, "export-config", "running", "/tmp/out.xml").wait(STARTED)
    assert (result.status, result.stdout, result.stderr) == (0, EXPORTED, b"")
    assert os.stat(device.path("out.xml")).st_uid == user
    with open(device.profile, encoding="utf-8") as profile:
        assert profile.read() == KEPT


def test_the_sockets_are_private(device):
    shell = run(device)
    shell.send("pwd\n\n")
    shell.expect(b"/$ pwd\n/\r\n/$ ", timeout=STARTED)
    (directory,) = glob.glob(device.path("vandel.*"))
    assert os.stat(directory).st_mode & 0o777 == 0o700
    listening = {path for path in os.listdir(directory) if path.endswith(".sock")}
    assert listening == {"tarnd.sock", "redis.sock", "ncx.sock"}
    shell.send("quit\n")
    assert shell.wait().status == 0


def opened(device):
    """A ./run whose shell has answered."""
    shell = run(device)
    shell.send("pwd\n\n")
    shell.expect(b"/$ pwd\n/\r\n/$ ", timeout=STARTED)
    return shell


ENDING = [
    number
    for number in sorted(signal.valid_signals() - {signal.SIGKILL, signal.SIGSTOP})
    if number not in range(signal.SIGCHLD, signal.SIGURG + 1) and number != signal.SIGWINCH
]


@pytest.mark.parametrize("name", "HUP INT QUIT USR1 PIPE ALRM TERM XCPU RTMIN RTMAX".split())
def test_a_signal_ends_everything(device, name):
    number = signal.Signals[f"SIG{name}"]
    shell = opened(device)
    shell.signal(number)
    result = shell.wait()
    assert result.status == -number
    assert result.stdout.endswith(b"\nReceive signal=15 and exit\n")


@pytest.mark.parametrize("first", [signal.SIGTERM, signal.SIGHUP, signal.SIGUSR1])
def test_signals_while_it_stops(device, first):
    shell = opened(device)
    shell.signal(first)
    for number in ENDING * 3:
        shell.signal(number)
        time.sleep(0.005)
    # Of several that have come, the lowest is taken first.
    assert -shell.wait().status in (first, *ENDING)


@pytest.mark.parametrize("wait", [0.1, 0.3, 0.5, 0.8])
@pytest.mark.parametrize("number", [signal.SIGKILL, signal.SIGQUIT])
def test_a_signal_while_it_starts(device, number, wait):
    """At moments that are others on each machine; the fixture sees what is left behind."""
    shell = run(device)
    time.sleep(wait)
    shell.signal(number)
    assert shell.wait().status in (-number, 128 + number)


def test_nothing_is_left_when_it_is_killed(device):
    shell = opened(device)
    shell.signal(signal.SIGKILL)
    assert shell.wait().status == -signal.SIGKILL
    check_all_gone(device)


def test_the_status_is_the_shells(device):
    shell = run(device)
    shell.send("pwd\n\n")
    shell.expect(b"/$ pwd\n/\r\n/$ ", timeout=STARTED)
    os.kill(device_shell(device), signal.SIGTERM)
    assert shell.wait().status == 1


def device_shell(device):
    """The process id of the vandel that ./run has started."""
    found = leftovers(device).items()
    (pid,) = [pid for pid, words in found if b"/vandel\0" in words]
    return pid


@pytest.mark.parametrize(
    "program, name",
    [
        ("/usr/bin/redis-server", "redis-server"),
        ("/usr/sbin/netconfd", "netconfd"),
    ],
)
def test_a_server_that_does_not_start(device, program, name):
    device.replace_file(program, "#!/bin/sh\necho 'no luck today'\nexit 3\n", mode=0o755)
    result = run(device, "pwd").wait(300)
    assert (result.status, result.stdout) == (70, b"")
    told = f"vandel-connect: {name} does not start:\nno luck today\n"
    assert result.stderr.decode() == told


def test_models_that_do_not_compile(device):
    model = os.path.join(ROOT, "device", "models", "vandel-device.yang")
    device.replace_file(model, "module vandel-device { namespace urn:x; prefix x; leaf y; }\n")
    result = run(device, "pwd").wait(300)
    assert (result.status, result.stdout) == (70, b"")
    assert result.stderr.decode().endswith("\nvandel-connect: the models do not compile\n")
    assert "vandel-device" in result.stderr.decode()


def test_on_a_terminal(device):
    words = run_command(device)
    shell = pexpect.spawn(
        words[0], words[1:], env=device.environ(), timeout=TIMEOUT, dimensions=(24, 60), echo=False
    )
    try:
        shell.expect_exact("/$ ", timeout=STARTED)
        shell.send("ls\r")
        # 60 columns are too few for the five modules in a row
        rows = (("iana-if-type", "     ", "ietf-ip", "        ", "vandel-ospf"),
                ("ietf-interfaces", "  ", "vandel-device"))  # fmt: skip
        shell.expect_exact(
            "".join(
                "".join(word if word.isspace() else f"\x1b[01;34m{word}\x1b[0m" for word in row)
                + "\r\n"
                for row in rows
            )
        )
        shell.expect_exact("/$ ")
        shell.send("quit\r")
        shell.expect(pexpect.EOF)
        shell.wait()
        assert shell.exitstatus == 0
    finally:
        shell.close(force=True)


def test_on_a_terminal_it_says_what_it_is(device):
    words = run_command(device)
    shell = pexpect.spawn(words[0], words[1:], env=device.environ(), timeout=TIMEOUT, echo=False)
    try:
        shell.expect_exact(OPENED.replace(b"\n", b"\r\n") + b"/$ ", timeout=STARTED)
    finally:
        shell.close(force=True)


@pytest.mark.parametrize("attempt", range(4))  # shell and script hear of it in either order
def test_a_terminal_that_is_closed(device, attempt):  # pylint: disable=unused-argument
    words = run_command(device)
    shell = pexpect.spawn(words[0], words[1:], env=device.environ(), timeout=TIMEOUT, echo=False)
    shell.expect_exact("/$ ", timeout=STARTED)
    os.close(shell.child_fd)  # the terminal goes away
    shell.closed = True
    pid, status = os.waitpid(shell.pid, 0)
    assert (pid, os.waitstatus_to_exitcode(status)) == (shell.pid, -signal.SIGHUP)
