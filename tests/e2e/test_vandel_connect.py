"""vandel-connect: a shell on a device behind a real ssh server, and all that it needs."""

import contextlib
import os
import pwd
import shutil
import signal
import stat
import subprocess
import sys
import tempfile

import pexpect
import pytest

from support import sshd
from support.netconf_device import Device, capability
from support.netconfd import Netconfd
from support.schemac import BUILD, MODELS, REPO, RUN_MODULES
from support.processes import children_of, is_running
from support.servers import HOLDING_MANY_FILES, wait_until

sys.path.insert(0, os.path.join(REPO, "tools"))
from vandel_connect import place as of_calls  # noqa: E402  pylint: disable=wrong-import-position

PROGRAM = os.path.join(REPO, "tools", "vandel-connect")
NOTHING_STAGED = "There is no configuration data. \r\n"
HOSTNAME = "/vandel-device/system/hostname"
WAIT = 120


class Client:
    """Somebody who calls vandel-connect, with directories of his own."""

    def __init__(self, directory, config, cache):
        self.directory = directory
        self.config = config
        self.cache = cache
        self.processes = []
        self.environment = {
            name: value for name, value in os.environ.items() if not name.startswith("XDG_")
        }
        for name in ("RUNTIME_DIR", "STATE_HOME", "CACHE_HOME"):
            self.environment[f"XDG_{name}"] = self.path(name)
        self.environment["ASAN_OPTIONS"] = "detect_leaks=0"

    def path(self, *names):
        return os.path.join(self.directory, *names)

    def start(self, *arguments, programs=BUILD):
        process = subprocess.Popen(
            self.words(*arguments, programs=programs), env=self.environment,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        )  # fmt: skip
        self.processes.append(process)
        return process

    def words(self, *arguments, programs=BUILD):
        cache = ["--cache", self.cache] if self.cache else []
        return [PROGRAM, "--programs", programs, *cache, "-F", self.config, *arguments]

    @contextlib.contextmanager
    def on_a_terminal(self, *arguments):
        first, *rest = self.words(*arguments)
        terminal = pexpect.spawn(first, rest, env=self.environment, timeout=WAIT, echo=False)
        try:
            yield terminal
        finally:
            terminal.close(force=True)

    def run(self, *arguments, given="", programs=BUILD):
        """(status, standard output, standard error)."""
        process = self.start(*arguments, programs=programs)
        stdout, stderr = process.communicate(given.encode(), timeout=WAIT)
        return process.returncode, stdout.decode(), stderr.decode()

    def open_shell(self, *arguments):
        """A shell at its prompt."""
        process = self.start(*(arguments or ["root@router"]))
        process.stdin.write(b"pwd\n\n")
        process.stdin.flush()
        prompt = b"/$ pwd\n/\r\n/$ "
        assert process.stdout.read(len(prompt)) == prompt
        return process

    def runs(self):
        place = self.path("RUNTIME_DIR", "vandel")
        return [name for name in os.listdir(place) if name != "lock"]

    def stop(self):
        for process in self.processes:
            if process.poll() is None:
                process.terminate()
            process.communicate()


def leave(process):
    """Ends a shell; (status, standard error)."""
    _, stderr = process.communicate(b"quit\n", timeout=WAIT)
    return process.returncode, stderr.decode()


def part(process, name):
    """The process id of a child, by the name of its program."""
    for child in children_of(process.pid):
        with open(f"/proc/{child}/comm", encoding="utf-8") as comm:
            if comm.read().rstrip("\n") == name:
                return child
    raise AssertionError(name)


@contextlib.contextmanager
def served(target):
    """A directory with a file for ssh that leads to a real server, and with a cache: this
    server does not survive handing out all its texts twice."""
    directory = tempfile.mkdtemp(prefix="vandel-test.", dir="/tmp")
    server = Netconfd(directory, RUN_MODULES, (MODELS,), target)
    try:
        sshd.configure(directory, *server.transport())
        yield directory
    finally:
        server.stop()
        shutil.rmtree(directory)


@pytest.fixture(scope="module", name="router")
def fixture_router():
    with served("running") as directory:
        yield directory


@contextlib.contextmanager
def client_of(router):
    with tempfile.TemporaryDirectory(prefix="vandel-test.", dir="/tmp") as directory:
        os.mkdir(os.path.join(directory, "RUNTIME_DIR"), 0o700)
        client = Client(
            directory, os.path.join(router, "ssh_config"), os.path.join(router, "cache")
        )
        yield client
        client.stop()


@pytest.fixture(name="client")
def fixture_client(router):
    with client_of(router) as client:
        yield client


def test_one_command(client):
    assert client.run("root@router", "pwd") == (0, "/\r\n", "")
    assert client.runs() == []


def test_the_second_time_nothing_is_fetched(client):
    assert client.run("root@router", "pwd")[0] == 0
    places = [os.path.join(client.cache, name) for name in ("texts", "sets")]
    before = [os.stat(place).st_mtime_ns for place in places]
    assert client.run("root@router", "pwd")[0] == 0
    after = [os.stat(place).st_mtime_ns for place in places]
    assert before == after


def test_lines_of_a_pipe(client):
    status, stdout, stderr = client.run("root@router", given="cd vandel-device\npwd\nquit\n")
    assert (status, stderr) == (0, "")
    assert "pwd\n/vandel-device\r\n" in stdout
    assert client.runs() == []


def test_a_device_whose_running_is_written_through_a_candidate():
    lines = f"set {HOSTNAME} r2\ncommit\nget-config -r {HOSTNAME}\nquit\n"
    with served("candidate") as router, client_of(router) as client:
        status, stdout, stderr = client.run("root@router", given=lines)
    assert (status, stderr) == (0, "")
    assert "<ok/>" in stdout and " r2" in stdout.partition("get-config")[2]


def test_an_option_of_the_gateway(client):
    entry = "/ietf-interfaces/interfaces/interface[name=e9]"
    lines = f"set {entry}/type iana-if-type:ethernetCsmacd\ncommit\nquit\n"
    assert client.run("root@router", given=lines)[0] == 0
    read = "root@router", "get-config", "-r", "/ietf-interfaces/interfaces"
    assert "<enabled>" not in client.run(*read)[1]
    assert "<enabled>" in client.run("--gateway=--with-defaults=report-all", *read)[1]
    status, _, stderr = client.run("--gateway=--nonsense", "root@router", "pwd")
    assert status == 70
    assert "tarnd-gateway does not start:\ntarnd-gateway: unknown option: --nonsense\n" in stderr
    assert client.run("root@router", given=f"delete {entry}\ncommit\nquit\n")[0] == 0


def profile_of_the_machine():
    try:
        status = os.stat("/tmp/vandel.conf")
    except FileNotFoundError:
        return None
    return status.st_ino, status.st_mtime_ns


def test_what_is_staged_for_one_device_reaches_no_other(client):
    before = profile_of_the_machine()
    assert client.run("root@router", "set", HOSTNAME, "r1") == (0, "", "")
    assert client.run("root@router:22", "commit") == (0, NOTHING_STAGED, "")
    status, stdout, stderr = client.run("root@router", "commit")
    assert (status, stderr) == (0, "")
    assert "<ok/>" in stdout
    assert client.run("root@router", "commit") == (0, NOTHING_STAGED, "")
    assert profile_of_the_machine() == before
    assert os.listdir(client.path("STATE_HOME", "vandel")) != []


def test_files_below_tmp_are_those_of_the_caller(client):
    target = client.path("out.xml")
    assert target.startswith("/tmp/")
    exported = "The export-config command executed successfuly! "
    assert client.run("root@router", "export-config", "running", target) == (0, exported, "")
    with open(target, encoding="utf-8") as file:
        assert "<data>" in file.read()
    lost = client.path("STATE_HOME", "vandel", "root@router", "out.xml")
    told = f"the command had a /tmp of its own; it has left there: {lost}"
    result = client.run("root@router", "export-config", "running", "//tmp/out.xml")
    assert result == (0, exported, f"vandel-connect: {told}\n")
    assert os.path.exists(lost)


def test_another_shell_on_the_same_servers(client):
    first = client.open_shell()
    assert len(client.runs()) == 1
    assert client.run("--attach", "root@router", "pwd") == (0, "/\r\n", "")
    assert client.run("--attach", "root@router", given="quit\n") == (0, "/$ quit\n", "")
    assert len(client.runs()) == 1
    assert client.run("--attach", "root@other", "pwd") == (
        64, "", "vandel-connect: root@other: no vandel-connect runs for it, only for root@router\n"
    )  # fmt: skip
    assert leave(first) == (0, "")
    assert client.runs() == []


def test_a_program_in_the_place_of_the_shell(client):
    """It has the sockets and its own arguments and input; its status is the status."""
    script = 'test -S "$TARND_SOCKET" && test -S "$SCHEMA_REDIS" && cat && exit "$1"'
    run = ["--run", "root@router", "sh", "-c", script, "sh"]
    assert client.run(*run, "5", given="a line\n") == (5, "a line\n", "")
    shell = client.open_shell()
    assert client.run("--attach", *run, "0") == (0, "", "")
    assert leave(shell) == (0, "")
    assert client.runs() == []


def test_two_at_once(client):
    """Each has servers of its own, and ends with its own shell."""
    first, second = client.open_shell(), client.open_shell()
    assert len(client.runs()) == 2
    assert leave(first) == (0, "")
    assert len(client.runs()) == 1
    assert leave(second) == (0, "")


def test_stop_ends_those_of_the_device(client):
    shells = [client.open_shell(), client.open_shell()]
    other = client.open_shell("root@other")
    parts = [child for shell in shells for child in children_of(shell.pid)]
    assert len(parts) == 10
    assert client.run("--stop", "root@router") == (0, "", "")
    assert [shell.wait(WAIT) for shell in shells] == [-signal.SIGTERM] * 2
    assert not any(map(is_running, parts))
    assert len(client.runs()) == 1
    none = "vandel-connect: root@router: no vandel-connect runs for it"
    assert client.run("--stop", "root@router") == (0, "", f"{none}, only for root@other\n")
    assert leave(other) == (0, "")
    assert client.run("--stop", "root@router") == (0, "", f"{none}\n")


@pytest.mark.parametrize("name", ["redis-server", "ssh", "tarnd-gateway"])
def test_a_server_that_is_killed(client, name):
    """The operator is told, and decides himself."""
    shell = client.open_shell()
    parts = children_of(shell.pid)
    os.kill(part(shell, name), signal.SIGKILL)
    told = f"vandel-connect: {name} has ended: leave the shell, and start again\n"
    assert shell.stderr.readline() == told.encode()
    shell.stdin.write(b"quit\n")
    shell.stdin.flush()
    shell.wait(WAIT)
    assert not any(map(is_running, parts))
    assert client.runs() == []


def test_a_shell_that_is_killed(client):
    shell = client.open_shell()
    parts = children_of(shell.pid)
    os.kill(part(shell, "vandel"), signal.SIGKILL)
    assert shell.wait(WAIT) == -signal.SIGKILL
    assert not any(map(is_running, parts))
    assert client.runs() == []


def check_all_end(parts):
    for child in parts:
        wait_until(lambda: not is_running(child), "the end of a part")  # noqa: B023


def test_nothing_is_left_by_one_that_is_killed(client):
    shell = client.open_shell()
    parts = children_of(shell.pid)
    assert len(parts) == 5
    shell.kill()
    check_all_end(parts)
    assert client.runs() == []


def test_a_command_of_one_that_is_killed(client):
    begun = client.path("begun").replace("/tmp/", "/tmp/.true/")
    place = programs(client, vandel=f"touch {begun}; exec sleep {WAIT}")
    call = client.start("root@router", "pwd", programs=place)
    wait_until(lambda: os.path.exists(client.path("begun")), "the command")
    parts = children_of(call.pid)
    assert len(parts) == 5
    call.kill()
    check_all_end(parts)
    assert client.runs() == []


def test_nothing_is_left_by_one_whose_housekeeper_is_killed(client):
    shell = client.open_shell()
    parts = children_of(shell.pid)
    os.kill(part(shell, "vandel-connect"), signal.SIGKILL)
    assert client.run("--attach", "root@router", "pwd") == (0, "/\r\n", "")
    assert leave(shell) == (0, "")
    assert not any(map(is_running, parts))
    assert client.runs() == []


def test_a_caller_with_many_files(client):
    words = [*HOLDING_MANY_FILES, *client.words("root@router", "pwd")]
    subprocess.run(words, env=client.environment, stdout=subprocess.DEVNULL, check=True)
    assert client.runs() == []


def test_the_next_one_removes_what_a_housekeeper_that_is_killed_leaves(client):
    """No more than a directory: the parts end with the call, too."""
    shell = client.open_shell()
    parts = children_of(shell.pid)
    os.kill(part(shell, "vandel-connect"), signal.SIGKILL)
    shell.kill()
    check_all_end(parts)
    assert len(client.runs()) == 1
    assert client.run("root@router", "pwd") == (0, "/\r\n", "")
    assert client.runs() == []


def test_the_end_of_a_shell_that_is_attached_and_killed(client):
    first = client.open_shell()
    second = client.open_shell("--attach", "root@router")
    parts = children_of(second.pid)
    assert len(parts) == 2
    second.kill()
    check_all_end(parts)
    assert len(client.runs()) == 1
    assert leave(first) == (0, "")


@pytest.mark.parametrize("number", [signal.SIGHUP, signal.SIGINT, signal.SIGTERM])
def test_a_signal(client, number):
    shell = client.open_shell()
    parts = children_of(shell.pid)
    shell.send_signal(number)
    assert shell.wait(WAIT) == -number
    assert not any(map(is_running, parts))
    assert client.runs() == []


PROMPT = "Are you sure you want to continue connecting (yes/no/[fingerprint])? "


def test_ssh_asks_at_the_terminal_about_a_new_device(client):
    known = client.path("known")
    options = [f"-oUserKnownHostsFile={known}", "-oStrictHostKeyChecking=ask"]
    with client.on_a_terminal(*options, "root@router", "pwd") as terminal:
        terminal.expect_exact(PROMPT)
        terminal.sendline("yes")
        terminal.expect_exact("/\r\r\n")
        terminal.expect(pexpect.EOF)
    with open(known, encoding="ascii") as file:
        assert file.read().startswith("router ssh-ed25519 ")


@pytest.fixture(name="secret")
def fixture_secret(client):
    """The secret without which ssh does not take the user's key."""
    directory = os.path.dirname(client.config)
    key = shutil.copy(os.path.join(directory, "user_key"), client.directory)
    words = ["ssh-keygen", "-q", "-p", "-P", "", "-N", "a secret", "-f", key]
    subprocess.run(words, check=True, stdout=subprocess.DEVNULL)
    with open(client.config, encoding="utf-8") as config:
        text = config.read().replace(f"{directory}/user_key", key)
    client.config = sshd.write(client.path("ssh_config"), text)
    return "a secret"


def test_a_secret_is_asked_for_once(client, secret):
    """The shell's lines are those after it."""
    with client.on_a_terminal("root@router") as terminal:
        terminal.expect_exact("Enter passphrase for key ")
        terminal.sendline(secret)
        terminal.expect_exact("/$ ")
        assert terminal.before.strip().endswith(b"user_key':")
        terminal.send("quit\r")
        terminal.expect(pexpect.EOF)
        terminal.wait()
        assert terminal.exitstatus == 0


def test_ctrl_c_while_a_secret_is_asked_for(client, secret):  # pylint: disable=unused-argument
    with client.on_a_terminal("root@router") as terminal:
        terminal.expect_exact("Enter passphrase for key ")
        terminal.sendintr()
        terminal.expect(pexpect.EOF)
        terminal.wait()
        assert terminal.signalstatus == signal.SIGINT
    assert client.runs() == []


def test_a_port(client):
    with sshd.port(os.path.dirname(client.config)) as port:
        device = f"root@127.0.0.1:{port}"
        assert client.run("-oProxyCommand=none", device, "pwd") == (0, "/\r\n", "")


def test_what_a_device_hands_out_is_for_itself(client):
    """Also where another announces the same."""
    client.cache = None
    device = Device(client.directory)
    try:
        client.config = sshd.configure(client.directory, device.command(), client.environment)
        device.capabilities.append(capability("m", "2024-01-01"))
        for name in ("one", "two"):
            device.texts["m", "2024-01-01"] = (
                f'module m {{ namespace "urn:m"; prefix m; revision 2024-01-01;'
                f" container {name} {{ leaf x {{ type string; }} }} }}"
            )
            assert name in client.run(f"root@{name}", given="cd m\nls\nquit\n")[1]
        place = client.path("CACHE_HOME", "vandel", "schemas")
        assert sorted(os.listdir(place)) == ["root@one", "root@two"]
        assert "one" in client.run("root@one", given="cd m\nls\nquit\n")[1]
    finally:
        device.stop()


def test_the_installed_one(client):
    """Finds its parts, on a device and with a router of its own."""
    place = client.path("place")
    words = ["cmake", "--install", BUILD, "--prefix", place]
    subprocess.run(words, check=True, capture_output=True)
    program = os.path.join(place, "bin", "vandel-connect")
    device = ["--cache", client.cache, "-F", client.config, "root@router"]
    for arguments in (device, ["--local"]):
        result = subprocess.run(
            [program, *arguments, "pwd"], env=client.environment, check=False, capture_output=True
        )
        assert (result.returncode, result.stdout, result.stderr) == (0, b"/\r\n", b"")


def test_a_router_takes_no_module_from_where_it_is_called(client):
    """Where others may write, it would be one of theirs."""
    with open(client.path("ietf-interfaces.yang"), "w", encoding="ascii") as file:
        file.write("module ietf-interfaces { namespace urn:theirs; prefix if; }")
    words = client.words("--local", "pwd")
    result = subprocess.run(
        words, cwd=client.directory, env=client.environment, check=False, capture_output=True
    )
    assert (result.returncode, result.stdout, result.stderr) == (0, b"/\r\n", b"")


@pytest.mark.parametrize(
    "closed, printed", [("<&-", b"/\r\n"), (">&- 2>&-", b""), ("<&- >&- 2>&-", b"")]
)
def test_a_standard_file_that_is_closed_is_as_the_null_device(client, closed, printed):
    words = ["sh", "-c", f'exec "$@" {closed}', "sh", *client.words("--local", "pwd")]
    result = subprocess.run(words, env=client.environment, check=False, capture_output=True)
    assert (result.returncode, result.stdout, result.stderr) == (0, printed, b"")


def test_what_is_said_where_standard_error_is_closed_reaches_no_output(client):
    words = ["sh", "-c", 'exec "$@" 2>&-', "sh", *client.words("--stop", "router")]
    result = subprocess.run(words, env=client.environment, check=False, capture_output=True)
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")


def test_a_device_that_cannot_be_reached(client):
    status, stdout, stderr = client.run("-o", "ProxyCommand=false", "root@router", "pwd")
    assert (status, stdout) == (3, "")
    assert stderr.endswith("\nvandel-connect: root@router cannot be reached\n")
    assert client.runs() == []


def test_a_device_that_speaks_no_netconf(client):
    client.config = sshd.configure(client.directory, ["true"], client.environment)
    assert client.run("root@router", "pwd") == (
        3, "", "schemac: the server has ended the session\n"
        "vandel-connect: root@router: there is no schema of its modules\n"
    )  # fmt: skip
    assert client.runs() == []


def programs(client, **scripts):
    """A directory with our programs, some of them replaced."""
    place = client.path("programs")
    os.mkdir(place)
    for name in ("vandel", "schemac", "tarnd-gateway"):
        path = os.path.join(place, name)
        if name in scripts:
            sshd.write(path, f"#!/bin/sh\n{scripts[name]}\n", 0o700)
        else:
            os.symlink(os.path.join(BUILD, name), path)
    return place


@pytest.mark.parametrize("arguments", [[], ["pwd"]])
@pytest.mark.parametrize("script, status", [("exit 7", 7), ("kill -KILL $$", -9)])
def test_the_status_is_that_of_the_shell(client, arguments, script, status):
    place = programs(client, vandel=script)
    result = client.run("root@router", *arguments, programs=place)
    assert result[:2] == (status, "")


def test_a_gateway_that_does_not_start(client):
    place = programs(client, **{"tarnd-gateway": "echo why >&2; exit 1"})
    assert client.run("root@router", "pwd", programs=place) == (
        70, "", "vandel-connect: tarnd-gateway does not start:\nwhy\n"
    )  # fmt: skip
    assert client.runs() == []


def test_a_gateway_whose_socket_does_not_listen_yet(client):
    bind = """/usr/bin/python3 -c 'import socket, sys; socket.socket(1).bind(sys.argv[1])' "$2" """
    script = f'{bind}\nsleep 0.5\nexec {BUILD}/tarnd-gateway "$@"'
    place = programs(client, **{"tarnd-gateway": script})
    assert client.run("root@router", "get", HOSTNAME, programs=place)[::2] == (0, "")


def test_what_a_server_has_said_steers_no_terminal(client):
    said = "seq 100000; printf '\\033[2Jcleared\\n\\tand\\233K\\nmore' >&2; exit 1"
    place = programs(client, **{"tarnd-gateway": f"{{ {said}; }}"})
    assert client.run("root@router", "pwd", programs=place) == (
        70, "", "vandel-connect: tarnd-gateway does not start:\n"
        + "".join(f"{number}\n" for number in range(99984, 100001))
        + "?[2Jcleared\n?and\ufffdK\nmore\n"
    )  # fmt: skip
    assert client.runs() == []


def test_where_no_mounts_are_given(client):
    shell = client.open_shell()
    os.mkdir(client.path("bin"))
    sshd.write(client.path("bin", "unshare"), "#!/bin/sh\nexit 1\n", 0o700)
    client.environment["PATH"] = f"{client.path('bin')}:{os.environ['PATH']}"
    assert client.run("--attach", "root@router", "set", HOSTNAME, "x") == (
        70, "",
        "vandel-connect: this system gives a command no mounts of its own, and without them what"
        " is staged for one device would reach others. Nothing was done: type the command in a"
        " shell, or pipe it in\n",
    )  # fmt: skip
    assert leave(shell) == (0, "")


@pytest.mark.parametrize("place", ["RUNTIME_DIR", "RUNTIME_DIR/vandel", "STATE_HOME/vandel"])
def test_directories_that_others_may_use(client, place):
    os.makedirs(client.path(place), exist_ok=True)
    os.chmod(client.path(place), 0o755)
    text = f"{client.path(place)}: others may use it; it has to be its owner's alone"
    assert client.run("root@router", "pwd") == (70, "", f"vandel-connect: {text}\n")


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can be another user")
@pytest.mark.parametrize("place", ["RUNTIME_DIR/vandel", "STATE_HOME/vandel"])
def test_directories_behind_somebody_else_s_link(client, place):
    """He could have it lead to a directory of his at any moment."""
    os.makedirs(client.path(place), 0o700)
    os.chmod(os.path.dirname(client.path(place)), 0o700)
    os.rename(client.path(place), client.path("ours"))
    os.symlink(client.path("ours"), client.path(place))
    os.lchown(client.path(place), 65534, 65534)
    text = f"{client.path(place)}: others may use it; it has to be its owner's alone"
    assert client.run("root@router", "pwd") == (70, "", f"vandel-connect: {text}\n")


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can be another user")
def test_a_runtime_directory_of_somebody_else(client):
    """He could lead the removal of what dead ones have left to another directory of ours."""
    os.makedirs(client.path("ours", "kept"), 0o700)
    os.chmod(client.path("ours"), 0o700)
    os.symlink(client.path("ours"), client.path("RUNTIME_DIR", "vandel"))
    os.chown(client.path("RUNTIME_DIR"), 65534, 65534)
    text = f"{client.path('RUNTIME_DIR')}: others may use it; it has to be its owner's alone"
    assert client.run("--stop", "router") == (70, "", f"vandel-connect: {text}\n")
    assert os.listdir(client.path("ours")) == ["kept"]


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can be another user")
def test_a_runtime_directory_that_somebody_else_names(client):
    """Made by us, it would be ours, and he could exchange it for another."""
    os.mkdir(client.path("his"))
    os.chown(client.path("his"), 65534, 65534)
    client.environment |= {"XDG_RUNTIME_DIR": client.path("his", "none"), "HOME": client.path()}
    assert client.run("--stop", "router")[0] == 0
    assert os.listdir(client.path("his")) == []
    assert os.listdir(client.path(".cache", "vandel", "run")) == ["lock"]


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can be another user")
@pytest.mark.parametrize(
    "name",
    ["his/there", "his/link/there", "his/last/", "his/last/.", "shared/there"]
    + ["to_shared/there", "to_there"],
)
def test_a_runtime_directory_that_somebody_else_can_exchange(client, name):
    """It is ours, but only for now, as what he has linked to is."""
    for path in ("his/there", "ours/there", "shared/there"):
        os.makedirs(client.path(path))
        os.chmod(client.path(path), 0o700)
    for link, path in (("his/link", "ours"), ("his/last", "ours/there")):
        os.symlink(client.path(path), client.path(link))
        os.lchown(client.path(link), 65534, 65534)
    for link, path in (("to_shared", "shared"), ("to_there", "his/there")):
        os.symlink(client.path(path), client.path(link))
    os.chown(client.path("his"), 65534, 65534)
    os.chmod(client.path("shared"), 0o770)
    client.environment |= {"XDG_RUNTIME_DIR": client.path(name), "HOME": client.path()}
    assert client.run("--stop", "router")[0] == 0
    assert os.listdir(client.path(name)) == []
    assert os.listdir(client.path(".cache", "vandel", "run")) == ["lock"]


def test_what_is_made_cannot_be_exchanged(monkeypatch, tmp_path):
    """Also what is above it, whatever the umask."""
    monkeypatch.setenv("HOME", str(tmp_path))
    for name in ("XDG_RUNTIME_DIR", "XDG_STATE_HOME"):
        monkeypatch.delenv(name, raising=False)
    mask = os.umask(0)
    of_calls.runs_directory()
    of_calls.profile_directory("router")
    os.umask(mask)
    for place in (".cache", ".local", ".local/state"):
        assert stat.S_IMODE((tmp_path / place).stat().st_mode) == 0o700


def test_who_has_no_home_gets_none_where_he_is(monkeypatch):
    """Others may write there, as in /tmp."""

    def nobody(_):
        raise KeyError

    monkeypatch.setattr(pwd, "getpwuid", nobody)
    monkeypatch.setattr(of_calls, "private", lambda path: path)
    for name in ("HOME", "XDG_RUNTIME_DIR", "XDG_STATE_HOME", "XDG_CACHE_HOME"):
        monkeypatch.delenv(name, raising=False)
    assert of_calls.runs_directory() == "/~/.cache/vandel/run"
    assert of_calls.cache_directory("router") == "/~/.cache/vandel/schemas/router"
    assert of_calls.profile_directory("router") == "/~/.local/state/vandel/router"


@pytest.mark.parametrize(
    "arguments, text",
    [
        ([], "no device is named"),
        (["-oProxyCommand=x", "-G"], "option -G not recognized"),
        (["--", "-G"], "no [USER@]HOST[:PORT]: -G"),
        (["--", "-x@host"], "no [USER@]HOST[:PORT]: -x@host"),
        (["../x"], "no [USER@]HOST[:PORT]: ../x"),
        (["a b"], "no [USER@]HOST[:PORT]: a b"),
        (["host:ssh"], "no [USER@]HOST[:PORT]: host:ssh"),
        (["\x1b[2Jhost"], "no [USER@]HOST[:PORT]: ?[2Jhost"),
        (["\udcffhost"], "no [USER@]HOST[:PORT]: ?host"),
        (["--stop", "host", "pwd"], "--stop takes a device and nothing else"),
        (["--run", "host"], "--run: no such program: "),
        (["--run", "host", "no-such-thing"], "--run: no such program: no-such-thing"),
        (["--attach", "--stop", "host"], "--attach and --stop exclude each other"),
        (["--local", "--stop", "host"], "--stop and --local exclude each other"),
        (["--nonsense"], "option --nonsense not recognized"),
        (["--programs", "/nowhere", "host"], "/nowhere/schemac: there is no such program"),
    ],
)
def test_a_call_that_makes_no_sense(client, arguments, text):
    assert client.run(*arguments) == (64, "", f"vandel-connect: {text}\n")
