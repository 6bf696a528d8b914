"""Rpcs below list entries and in cases, where a device's database may hold them."""

import dataclasses

import pytest
from support.example import invoke, printed_ok
from support.messages import DISCARDED, no_such
from support.prompt import BELL, Prompt
from support.schema_db import Schema, case, choice, container, leaf, list_, module, rpc
from support.shell import DEBUG, ERROR


def probe(name):
    return rpc(
        name,
        leaf("delay", help="Seconds."),
        choice("when", case("now", leaf("at-once", "empty")), case("later", leaf("time"))),
        list_("target", ["name"], leaf("name"), leaf("depth")),
    )


SCHEMA = Schema(
    module(
        "m",
        "urn:m",
        container(
            "c",
            list_("l", ["k"], leaf("k"), probe("in-list")),
            choice("way", case("one", probe("in-case")), case("two", leaf("x"))),
            choice(
                "outer",
                case("first", leaf("y"), choice("inner", case("deep", probe("in-nested")))),
            ),
            choice(
                "both",
                case(
                    "listed",
                    list_(
                        "e",
                        ["k"],
                        leaf("k"),
                        choice("kind", case("some", choice("more", case("z", probe("in-both"))))),
                    ),
                ),
            ),
        ),
    )
)


@dataclasses.dataclass
class Place:
    """An rpc: the workspace that it stands in, and the elements around it."""

    name: str
    parent: str
    opened: str
    closed: str

    @property
    def path(self):
        return f"{self.parent}/{self.name}"

    @property
    def at(self):
        return f"\n[{self.name}]$ "

    @property
    def outside(self):
        return f"\n{self.parent}$ "

    def called(self, parameters, message_id=1):
        call = f"<{self.name}>{parameters}</{self.name}>"
        return invoke(f'<c xmlns="urn:m">{self.opened}{call}{self.closed}</c>', message_id)


def entry(lst, key):
    return f"<{lst}><k>{key}</k>", f"</{lst}>"


PLACES = [
    Place("in-list", "/m/c/l[k=a]", *entry("l", "a")),
    Place("in-list", "/m/c/l[k=a/b:c]", *entry("l", "a/b:c")),
    Place("in-list", '/m/c/l[k="a b"]', *entry("l", "a b")),
    Place("in-case", "/m/c", "", ""),
    Place("in-nested", "/m/c", "", ""),
    Place("in-both", "/m/c/e[k=a]", *entry("e", "a")),
    Place("in-both", '/m/c/e[k="[x/y] :"]', *entry("e", "[x/y] :")),
]


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(SCHEMA)


@pytest.fixture(params=PLACES, ids=lambda place: place.path)
def place(request):
    return request.param


def test_its_input_is_set_and_sent(machine, place):
    machine.dialogue(
        ("/$ ", place.path, ""),
        (place.at, "set delay 1", ""),
        (place.at, "set delay 2", ""),
        (place.at, "set time 12", ""),
        (place.at, f"set {place.path}/at-once", ""),
        (place.at, "set target[name=t]/depth 3", ""),
        (place.at, "commit", printed_ok(1)),
        end=place.outside,
    )
    assert machine.tarnd.requests == [
        place.called(
            "<target><name>t</name><depth>3</depth></target>"
            "<at-once></at-once><time>12</time><delay>2</delay>"
        )
    ]
    assert machine.log.texts(DEBUG, ERROR) == []


def test_what_cannot_be_set(machine, place):
    machine.dialogue(
        ("/$ ", place.path, ""),
        (place.at, "set no 1", "error parameter: no\r\n"),
        (place.at, "set target 1", f"{place.path}/target's not config node.\r\n"),
        (place.at, "set . 1", f"{place.path}'s not config node.\r\n"),
        (place.at, "set /m/c/x 1", "error parameter: /m/c/x\r\n"),
        (place.at, "quit", DISCARDED),
        end=place.outside,
    )


def test_entries_of_its_input(machine, place):
    below = f"\n[{place.name}]target$ "
    exists = "key:target[name=t] already exist!, use ls cmd to see the current keys\r\n"
    shown = "\x1b[01;36mtarget[name=t]\x1b[0m\n"
    machine.dialogue(
        ("/$ ", place.path, ""),
        (place.at, "cd target", ""),
        (below, "add-listentry name t", ""),
        (below, "add-listentry name t", exists),
        (below, "ls", shown),
        (below, "discard_changes", DISCARDED),
        (below, "ls", ""),
        (below, "add-listentry name t", ""),
        (below, "cd /", ""),
        (place.at, "commit", printed_ok(1)),
        (place.outside, place.path, ""),
        (place.at, "cd target", ""),
        (below, "add-listentry name t", ""),
        (below, "quit", DISCARDED),
        end=place.outside,
    )
    assert machine.tarnd.requests == [place.called("<target><name>t</name></target>")]


def test_ls_shows_its_input(machine, place):
    def plain(name):
        return f"\x1b[0m{name}\x1b[0m"

    item = f"( ({plain(' at-once')}) | ({plain(' time')}) )"
    listing = f"{item}  {plain('delay')}  \x1b[01;36mtarget\x1b[0m\n"
    machine.dialogue(
        ("/$ ", place.path, ""),
        (place.at, "ls", listing),
        (place.at, "cd ..", "error parameter: ..\r\n"),
        (place.at, "pwd", f"{place.path}\r\n"),
        (place.at, place.path, "invalid operation!!\r\n" + no_such(place.path.split()[0])),
        (place.at, "quit", DISCARDED),
        end=place.outside,
        env={"COLUMNS": "200"},
    )
    assert machine.tarnd.requests == []


def test_tab_and_help_offer_its_input(machine, place):
    prompt = Prompt(machine)
    prompt.run(place.path)
    prompt.tab("set de")
    assert prompt.shown() == f"[{place.name}]$ set delay"
    prompt.tab("set ti")
    assert prompt.shown() == f"[{place.name}]$ set time"
    prompt.tab("set tar")
    assert prompt.shown() == f"[{place.name}]$ set target/"
    rows = b"\r\n  target/    \r\n  delay      Seconds.\r\n  at-once    \r\n  time       \r\n"
    assert rows in prompt.help("set ")
    assert prompt.tab("set no") == BELL


def test_one_command_at_a_time(machine, place):
    def profile():
        with open(machine.profile, encoding="utf-8", newline="") as file:
            return file.read()

    def run(*words):
        result = machine.one_shot(*words)
        assert (result.status, result.stderr) == (0, b"")
        return result.stdout.decode()

    assert run(place.path) == ""
    assert run("set", "delay", "1") == ""
    assert profile().startswith(
        f"[pwd]\n{place.path}\n\n[config]\n\n\n[rpc]\n{place.path}\n\n"
        f"[rpc_para]\nset {place.path}/delay 1\n\n\n%%%\n"
    )
    assert run("discard_changes") == DISCARDED
    assert profile() == (
        f"[pwd]\n{place.path}\n\n[config]\n\n\n[rpc]\n{place.path}\n\n[rpc_para]\n\n\n%%%\n"
    )
    assert run("set", "delay", "2") == ""
    assert run("commit") == printed_ok(1)
    assert machine.tarnd.requests == [place.called("<delay>2</delay>")]
    assert profile() == f"[pwd]\n{place.parent}\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n"


def test_single_commands_call_it_without_input(machine, place):
    for words, output in ((place.path,), ""), (("commit",), printed_ok(1)):
        result = machine.one_shot(*words)
        assert (result.status, result.stdout.decode()) == (0, output)
    assert machine.tarnd.requests == [place.called("")]
    assert machine.log.texts(DEBUG, ERROR) == []
