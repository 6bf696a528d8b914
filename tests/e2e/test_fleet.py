"""Eight routers, each a real server behind a real ssh server, and Ansible."""

import contextlib
import json
import os
import re
import socket
import subprocess
import sys
import tempfile
import time
from xml.etree import ElementTree

import pytest
from support import sshd
from support.netconfd import Netconfd
from support.schemac import BUILD, MODELS, REPO, RUN_MODULES

TOOLS = os.path.join(REPO, "tools")
COLLECTION = os.path.join(TOOLS, "ansible_collections", "vandel", "netconf", "plugins")
sys.path[:0] = [TOOLS, os.path.join(COLLECTION, "module_utils")]
from device import parse, text_of  # noqa: E402
from schemac_from.session import BASE, Session  # noqa: E402

WAIT = 120
ALL = [f"r{number}" for number in range(1, 9)]
REFUSING, DEAD = "r3", "r6"
LIVING = [name for name in ALL if name != DEAD]
GOOD = [name for name in LIVING if name != REFUSING]
LINES = [
    "# What each router gets.",
    "cd vandel-device",
    "set system/hostname {{ inventory_hostname }}",
    "set interfaces/interface[name=e0]/mtu {{ mtu }}",
]


class Router:
    """A server behind an ssh server, or a port where nobody listens."""

    def __init__(self, place, name, servers):
        self.directory = os.path.join(place, name)
        os.makedirs(self.directory)
        os.link(os.path.join(place, "user_key"), os.path.join(self.directory, "user_key"))
        os.link(os.path.join(place, "user_key.pub"), os.path.join(self.directory, "user_key.pub"))
        server = Netconfd(self.directory, RUN_MODULES, (MODELS,))
        servers.callback(server.stop)
        transport = server.transport()
        self.key = sshd.prepare(self.directory, *transport)
        self.sshd = sshd.Sshd(self.directory)
        servers.callback(self.sshd.stop)

    def ask(self, operation):
        """The reply of the server, past everything that is tested."""
        session = Session([os.path.join(self.directory, "subsystem")], WAIT)
        try:
            session.ask(operation)
            return session.answer()[1]
        finally:
            session.end()

    def running(self):
        """The values, by the names that lead to them."""
        (data,) = self.ask("<get-config><source><running/></source></get-config>")
        return dict(values(data, ()))

    def clear(self):
        there = {path.partition("/")[0] for path in self.running()}
        config = "".join(
            f'<{name} xmlns="urn:vandel:device" n:operation="delete"/>' for name in there
        )
        if config:
            (answer,) = self.ask(
                f'<edit-config xmlns:n="{BASE}"><target><running/></target>'
                f"<config>{config}</config></edit-config>"
            )
            assert answer.tag == f"{{{BASE}}}ok"


def values(element, path):
    for child in element:
        name = (*path, child.tag.partition("}")[2])
        if child.text and child.text.strip():
            yield "/".join(name), child.text
        yield from values(child, name)


class Fleet:
    def __init__(self, place, servers):
        self.place = place
        sshd.key(place, "user_key")
        self.routers = {name: Router(place, name, servers) for name in LIVING}
        nobody = servers.enter_context(socket.socket())
        nobody.bind(("127.0.0.1", 0))  # and does not listen
        self.addresses = {
            name: f"127.0.0.1:{router.sshd.port}" for name, router in self.routers.items()
        }
        self.addresses[DEAD] = f"127.0.0.1:{nobody.getsockname()[1]}"
        known = [f"[127.0.0.1]:{router.sshd.port} {router.key}" for router in self.routers.values()]
        self.ssh = sshd.write_client(place, known)
        install = ["cmake", "--install", BUILD, "--prefix", self.path("usr")]
        subprocess.run(install, check=True, capture_output=True)
        os.mkdir(self.path("run"), 0o700)
        variables = {
            "HOME": place,
            "PATH": f"{self.path('usr', 'bin')}:{os.environ['PATH']}",
            "TMPDIR": place,
            "XDG_CACHE_HOME": self.path("cache"),
            "XDG_RUNTIME_DIR": self.path("run"),
            "ASAN_OPTIONS": "detect_leaks=0",
            "ANSIBLE_CALLBACKS_ENABLED": "tree",
            "ANSIBLE_CALLBACK_TREE_DIR": self.path("results"),
            "ANSIBLE_COLLECTIONS_PATH": self.path("usr", "share", "ansible", "collections"),
            "ANSIBLE_FORKS": "8",
            "ANSIBLE_NOCOLOR": "1",
            "SCHEMA_REDIS": self.path("nothing"),
            "TARND_SOCKET": self.path("nothing"),
        }
        self.environment = {**os.environ, **variables}

    def path(self, *names):
        return os.path.join(self.place, *names)

    def write(self, name, content):
        return sshd.write(self.path(name), json.dumps(content))  # which is YAML, too

    def run_program(self, *words):
        return subprocess.run(
            words, env=self.environment, cwd=self.place, stdin=subprocess.DEVNULL,
            capture_output=True, text=True, check=False, timeout=WAIT,
        )  # fmt: skip

    def play(self, module, *options, names=tuple(ALL), before=(), **arguments):
        """Runs one task, with words before the command; a Played."""
        hosts = {
            name: {
                "address": self.addresses[name],
                "mtu": 99999 if name == REFUSING else 9000,
            }
            for name in names
        }
        inventory = self.write("inventory.yml", {"all": {"hosts": hosts}})
        device = {} if before else {"host": "root@{{ address }}", "connect": ["-F", self.ssh]}
        play = {
            "hosts": "all",
            "connection": "local",
            "gather_facts": False,
            "vars": {"ansible_python_interpreter": "/usr/bin/python3"},
            "module_defaults": {"group/vandel.netconf.all": device},
            "tasks": [{f"vandel.netconf.{module}": arguments}],
        }
        playbook = self.write("play.yml", [play])
        done = self.run_program(*before, "ansible-playbook", "-i", inventory, *options, playbook)
        return Played(done, self.path("results"), names)

    def running(self):
        return {name: router.running() for name, router in self.routers.items()}


class Played:
    """What came of a play: its status, what it printed, and of each host result and recap."""

    def __init__(self, done, results, names):
        self.status, self.stdout = done.returncode, done.stdout
        self.results, self.recap = {}, {}
        for name in names:
            with open(os.path.join(results, name), encoding="utf-8") as file:
                self.results[name] = json.load(file)
            line = re.search(rf"(?m)^{name} +: (.*)$", done.stdout)[1]
            counts = dict(pair.split("=") for pair in line.split())
            self.recap[name] = {what for what, count in counts.items() if count != "0"}

    def all(self, key):
        return {name: result.get(key) for name, result in self.results.items()}


def each(names, value):
    return {name: value for name in names}


def configured(name):
    return {
        "system/hostname": name,
        "interfaces/interface/name": "e0",
        "interfaces/interface/mtu": "9000",
    }


@pytest.fixture(name="fleet", scope="module")
def fixture_fleet():
    with contextlib.ExitStack() as servers:
        place = servers.enter_context(
            tempfile.TemporaryDirectory(prefix="vandel-test.", dir="/tmp")
        )
        yield Fleet(place, servers)


@pytest.fixture(autouse=True)
def nothing_is_left(fleet):
    """Each test begins with empty routers, and leaves no run and no file."""
    for router in fleet.routers.values():
        router.clear()
    assert fleet.running() == each(LIVING, {})
    yield
    with contextlib.suppress(FileNotFoundError):
        assert os.listdir(fleet.path("run", "vandel")) == ["lock"]
    assert [name for name in os.listdir(fleet.place) if name.startswith("vandel-")] == []


def test_one_refuses_and_one_is_dead(fleet):
    """The others are done, the report names both, and nothing is half done."""
    done = fleet.play("vandel_config", lines=LINES)
    assert done.recap == {
        **each(GOOD, {"ok", "changed"}), REFUSING: {"failed"}, DEAD: {"unreachable"}
    }  # fmt: skip
    assert done.status != 0
    assert fleet.running() == {**{name: configured(name) for name in GOOD}, REFUSING: {}}
    path = "/nc:rpc/nc:edit-config/nc:config/dev:interfaces/dev:interface[dev:name='e0']/dev:mtu"
    refused = f"line 5: commit: the device has refused it: value not in range ({path})"
    assert done.results[REFUSING]["msg"] == f"vandel-do: {refused}"
    assert not done.results[REFUSING]["changed"]
    target = f"root@{fleet.addresses[DEAD]}"
    assert done.results[DEAD]["msg"].endswith(f"vandel-connect: {target} cannot be reached")

    # Again there is nothing to do, but for those two.
    again = fleet.play("vandel_config", lines=LINES)
    assert again.recap == {**each(GOOD, {"ok"}), REFUSING: {"failed"}, DEAD: {"unreachable"}}


def test_check_mode_shows_the_request_and_sends_nothing(fleet):
    done = fleet.play("vandel_config", "--check", "--diff", names=("r1", "r2"), lines=LINES)
    assert done.recap == each(("r1", "r2"), {"ok", "changed"})
    for name in ("r1", "r2"):
        request = (
            '<interfaces xmlns="urn:vandel:device"><interface><name>e0</name><mtu>9000</mtu>'
            f'</interface></interfaces><system xmlns="urn:vandel:device"><hostname>{name}'
            "</hostname></system>\n"
        )
        assert done.results[name]["request"] == request
        assert request in done.stdout
    assert fleet.running() == each(LIVING, {})


def test_diff_mode_shows_running_before_and_after(fleet):
    done = fleet.play("vandel_config", "--diff", names=("r1",), lines=LINES)
    added = """
+  <interfaces xmlns="urn:vandel:device">
+    <interface>
+      <name>e0</name>
+      <mtu>9000</mtu>
+    </interface>
+  </interfaces>
"""
    assert added in done.stdout
    assert "\n+    <hostname>r1</hostname>\n" in done.stdout

    # What is so already is no change, in check mode neither.
    for options in ([], ["--check"]):
        again = fleet.play("vandel_config", *options, names=("r1",), lines=LINES)
        assert again.recap == {"r1": {"ok"}}


def test_a_request_that_changes_nothing(fleet):
    """It is sent, as it is not what the device has, and the device says that it is the same."""
    names = ("r1",)
    assert fleet.play("vandel_config", names=names, lines=LINES).recap["r1"] == {"ok", "changed"}
    line = "set /vandel-device/interfaces/interface[name=e0]/mtu 09000"
    again = fleet.play("vandel_config", names=names, lines=[line])
    assert "<mtu>09000</mtu>" in again.results["r1"]["request"]
    assert again.recap == {"r1": {"ok"}}
    assert fleet.routers["r1"].running() == configured("r1")


def test_a_value_that_is_deleted(fleet):
    def recap(*options, line="delete /vandel-device/system/contact"):
        return fleet.play("vandel_config", *options, names=("r2",), lines=[line]).recap["r2"]

    assert recap(line="set /vandel-device/system/contact noc") == {"ok", "changed"}
    assert fleet.routers["r2"].running() == {"system/contact": "noc"}
    assert recap("--check") == {"ok", "changed"}
    assert recap() == {"ok", "changed"}
    assert fleet.routers["r2"].running() == {}
    assert recap() == {"ok"}


def test_an_export_is_restored(fleet):
    path = fleet.path("an export.xml")
    nacm = '<nacm xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-acm"/>'
    system = '<system xmlns="urn:vandel:device"><hostname>old</hostname></system>'
    sshd.write(path, f"<?xml version='1.0' encoding='UTF-8'?><data>{nacm}{system}</data>")
    assert fleet.play("vandel_config", names=("r1",), lines=LINES).status == 0
    done = fleet.play("vandel_config", "--check", names=("r1",), restore=path)
    assert done.recap == {"r1": {"ok", "changed"}}
    assert fleet.routers["r1"].running() == configured("r1")
    done = fleet.play("vandel_config", names=("r1",), restore=path)
    assert done.recap == {"r1": {"ok", "changed"}}
    assert fleet.routers["r1"].running() == {"system/hostname": "old"}
    assert fleet.play("vandel_config", names=("r1",), restore=path).recap == {"r1": {"ok"}}


@pytest.mark.parametrize("line", ["commit", "quit", "save", "pwd"])
def test_lines_stage_and_do_nothing_else(fleet, line):
    done = fleet.play("vandel_config", names=("r1",), lines=[*LINES, line])
    text = f"{line}: of the commands, only cd, set, delete, add-listentry stage"
    assert (done.results["r1"]["msg"], done.recap) == (text, {"r1": {"failed"}})
    assert fleet.routers["r1"].running() == {}


@pytest.mark.parametrize("module, option", [("config", "lines"), ("command", "commands")])
def test_a_value_begins_no_line(fleet, module, option):
    value = "Hall\nset /vandel-device/system/hostname evil\ncommit"
    lines = [f"set /vandel-device/system/location {value}"]
    done = fleet.play(f"vandel_{module}", names=("r1",), **{option: lines})
    text = f"{option}: one holds a line end, after which another would begin"
    assert (done.results["r1"]["msg"], done.recap) == (text, {"r1": {"failed"}})
    assert fleet.routers["r1"].running() == {}


def test_a_value_ends_no_element(fleet):
    """Where it is compared with what there is: the line after it would be left out."""
    value = "old</location><!--"
    lines = [
        f"set /vandel-device/system/{leaf} {text}"
        for leaf, text in (("location", value), ("hostname", "r1"), ("contact", "--><contact>&"))
    ]
    done = fleet.play("vandel_config", names=("r1",), lines=lines)
    assert done.recap == {"r1": {"ok", "changed"}}
    expected = {"location": value, "hostname": "r1", "contact": "--><contact>&"}
    assert fleet.routers["r1"].running() == {f"system/{leaf}": expected[leaf] for leaf in expected}
    assert fleet.play("vandel_config", names=("r1",), lines=lines).recap == {"r1": {"ok"}}


@pytest.mark.parametrize("host", ["--local", ""])
def test_a_host_is_no_option_and_not_empty(fleet, host):
    """It would configure a router of one's own, or the device in the environment, and say that
    it has changed something."""
    done = fleet.play("vandel_config", names=("r1",), host=host, lines=LINES)
    text = f"vandel-connect: no [USER@]HOST[:PORT]: {host}".rstrip()
    assert (done.results["r1"]["msg"], done.recap) == (text, {"r1": {"failed"}})


def test_a_value_steers_no_terminal(fleet):
    """Ansible prints what it gets; a reader of XML makes characters of references."""

    def play(line, *options):
        done = fleet.play("vandel_config", *options, names=("r1",), lines=[line])
        assert re.search("[\x7f-\x9f\u202a-\u202e\u2066-\u2069]", done.stdout) is None
        return done

    text, shown = "\u009b2J\u202e", "&#x9b;2J&#x202e;"
    done = play(f"set /vandel-device/system/location a{text}", "--diff")
    assert f"\n+    <location>a{shown}</location>\n" in done.stdout
    assert fleet.routers["r1"].running() == {"system/location": f"a{text}"}
    done = play(f"set /vandel-device/system/contact a{text}", "--check", "--diff")
    assert f"<contact>a{shown}</contact>" in done.stdout
    done = play(f"set /vandel-device/interfaces/interface[name=e{text}]/mtu 99999")
    assert done.results["r1"]["msg"].endswith(f"dev:interface[dev:name='e{shown}']/dev:mtu)")
    assert shown in play(f"set vandel-device/{text} 1").results["r1"]["stdout"]
    assert play(f"set\t{text}").results["r1"]["msg"].startswith(f"set\t{shown}: of the commands")


@pytest.mark.parametrize("module, option", [("config", "lines"), ("command", "commands")])
def test_what_a_server_says_at_once_steers_no_terminal(fleet, module, option):
    """Also where it is no text, the device is unreachable."""
    # Its output is open until it has said so: ssh ends it with that.
    way = "sh -c \"printf 'a\\302\\2332J\\033[2J\\342\\200\\256b\\377\\n' >&2\""
    told = {"names": ("r1",), "connect": [f"-oProxyCommand={way}"], option: ["cd /"]}
    done = fleet.play(f"vandel_{module}", **told)
    assert done.results["r1"]["msg"].startswith("a&#x9b;2J&#x1b;[2J&#x202e;b\ufffd\n")
    assert done.recap == {"r1": {"unreachable"}}


@pytest.mark.parametrize("module, option", [("config", "lines"), ("command", "commands")])
def test_a_device_that_keeps_ssh_waiting(fleet, module, option):
    way = "sh -c 'cat >/dev/null; exit'"  # it ends with its input
    told = {"names": ("r1",), "connect": [f"-oProxyCommand={way}"], option: ["cd /"]}
    done = fleet.play(f"vandel_{module}", timeout=1, **told)
    assert done.results["r1"]["msg"] == "no shell within 10 seconds"
    assert done.recap == {"r1": {"unreachable"}}


def test_a_module_that_is_killed_while_ssh_waits(fleet):
    """Nothing waits on, and what ssh was told is nowhere."""
    parent = "$(ps -o ppid= -p {})"
    module = parent.format(parent.format("$PPID"))  # of ssh, which vandel-connect has started
    way = f"sh -c 'kill -KILL {module}; cat >/dev/null'"
    try:
        done = fleet.play(
            "vandel_command", names=("r1",), connect=[f"-oProxyCommand={way}"], commands=["cd /"]
        )
        assert done.recap == {"r1": {"failed"}}
        deadline = time.monotonic() + WAIT
        while os.listdir(fleet.path("run", "vandel")) != ["lock"]:
            assert time.monotonic() < deadline
            time.sleep(0.01)
    finally:
        fleet.run_program("vandel-connect", "--stop", f"root@{fleet.addresses['r1']}")


def test_a_module_that_is_killed_while_it_reads(fleet):
    """Ansible removes what was read."""
    os.makedirs(fleet.path("killing"))
    program = fleet.path("killing", "vandel-do")
    told = fleet.path("told")
    sshd.write(
        program, f'#!/bin/sh\nread -r _ _ path\necho "$path" | tee {told} >"$path"\nkill -9 $PPID\n'
    )
    os.chmod(program, 0o700)
    path = f"{fleet.path('killing')}:{fleet.environment['PATH']}"
    done = fleet.play("vandel_config", names=("r1",), before=["env", f"PATH={path}"], lines=LINES)
    assert done.recap == {"r1": {"failed"}}
    with open(told, encoding="utf-8") as file:
        assert not os.path.exists(os.path.dirname(file.read().rstrip()))


def test_a_line_that_the_shell_refuses(fleet):
    done = fleet.play("vandel_config", names=("r1",), lines=["set vandel-device/nonsense 1"])
    assert done.recap == {"r1": {"failed"}}
    refused = "vandel-do: line 1: set vandel-device/nonsense ...: the shell has refused it"
    assert (done.results["r1"]["rc"], done.results["r1"]["msg"]) == (2, refused)
    assert "nonsense" in done.results["r1"]["stdout"]


def test_commands(fleet):
    ask = "get-config -r /vandel-device/system/hostname"
    commands = ["set /vandel-device/system/hostname r9", "commit", ask]
    told = {"format": "json", "names": ("r1",)}
    done = fleet.play("vandel_command", "--check", commands=commands[:2], names=("r1",))
    shown = '<system xmlns="urn:vandel:device"><hostname>r9</hostname></system>\n'
    assert (done.results["r1"]["stdout"], done.recap["r1"]) == (shown, {"ok"})
    done = fleet.play("vandel_command", commands=commands, **told)
    answers = [{"ok": [""]}, {"data": [{"system": [{"hostname": ["r9"]}]}]}]
    assert (done.results["r1"]["replies"], done.recap["r1"]) == (answers, {"ok", "changed"})
    assert fleet.play("vandel_command", commands=commands, **told).recap["r1"] == {"ok"}
    done = fleet.play("vandel_command", commands=[ask], **told)
    assert (done.results["r1"]["replies"], done.recap["r1"]) == (answers[1:], {"ok"})
    done = fleet.play("vandel_command", commands=["set /vandel-device/system/x 1"], **told)
    assert (done.results["r1"]["rc"], done.recap["r1"]) == (2, {"failed"})


def test_a_device_that_is_open_already(fleet):
    """The modules find it in the environment."""
    target = f"root@{fleet.addresses['r4']}"
    words = ["vandel-connect", "-F", fleet.ssh, "--run", target]
    done = fleet.play("vandel_config", names=("r4",), before=words, lines=LINES)
    assert done.recap == {"r4": {"ok", "changed"}}
    assert fleet.running() == {**each(LIVING, {}), "r4": configured("r4")}
    done = fleet.play("vandel_command", names=("r4",), before=["env"], commands=["pwd"])
    assert done.recap == {"r4": {"unreachable"}}


def test_a_device_that_makes_up_levels():
    """Laid out, each of its elements would begin after hundreds of blanks."""
    deep, empty = 250, 1000
    text = "<a>" * deep + "<b />" * empty + "</a>" * deep
    assert text_of(ElementTree.fromstring(text)) == text + "\n"


def test_a_namespace_that_is_long():
    """It would be there again in the name of each element and attribute, which takes hours."""
    text = (
        "<x:a xmlns:x='{}'><x:b c='&lt;'>&amp;<!-- d --></x:b>e" + "<b x:c=''/>" * 1000 + "</x:a>"
    )
    short = text.format("u" * 255)
    assert text_of(parse(short)) == text_of(ElementTree.fromstring(short))
    for length in (256, 20 << 20):
        with pytest.raises(ElementTree.ParseError, match="a namespace of more than 255 characters"):
            parse(text.format("u" * length))


def test_what_is_shown_of_a_restored_file_is_what_is_sent(fleet):
    """Whoever has written it could hide what import-config finds first."""
    system = '<system xmlns="urn:vandel:device"><hostname>{}</hostname></system>'
    hidden, seen = (f"{system.format(name)}</data" for name in ("evil", "good"))
    path = sshd.write(fleet.path("restore.xml"), f"<?p <data>{hidden}>?><data >{seen} >")
    done = fleet.play("vandel_config", "--check", names=("r1",), restore=path)
    assert "evil" in done.results["r1"]["request"]
    assert "good" not in done.results["r1"]["request"]


def test_a_restored_file_with_a_namespace_that_is_long(fleet):
    """It is a device's, too."""
    text = f"<data><x:a xmlns:x='{'u' * 256}'/></data>"
    path = sshd.write(fleet.path("restore.xml"), text)
    done = fleet.play("vandel_config", "--check", names=("r1",), restore=path)
    assert done.recap == {"r1": {"failed"}}


def test_a_server_that_says_much_at_once(fleet):
    """Only the end is shown."""
    way = "sh -c 'head -c 1000000 /dev/zero >&2'"
    done = fleet.play(
        "vandel_command", names=("r1",), connect=[f"-oProxyCommand={way}"], commands=["cd /"]
    )
    assert done.recap == {"r1": {"unreachable"}}
    assert len(done.results["r1"]["msg"]) < 60000


@pytest.mark.parametrize("module", ["vandel_config", "vandel_command"])
def test_its_documentation(fleet, module):
    done = fleet.run_program("ansible-doc", "--json", f"vandel.netconf.{module}")
    (found,) = json.loads(done.stdout).values()
    assert {"host", "connect", "timeout"} < found["doc"]["options"].keys()
    assert found["examples"] and found["return"]
