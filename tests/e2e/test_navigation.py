"""cd and pwd, outside RPC mode."""

import pytest
from support import tarnd as daemon
from support.example import get_config
from support.messages import LEAF_OR_RPC, NO_CHILD, TOO_MANY_LAYERS
from support.prompts import at, go
from support.schema_db import Schema, container, leaf, leaf_list, list_, module
from support.shell import DEBUG

CD_USAGE = "error command, please use:cd path\r\n"
PWD_USAGE = "error command, please use:pwd (no param)\r\n"
PORTS = (
    '<box xmlns="urn:acme"><port><id>1</id></port><port><id>2/3</id></port>'
    "<port><id>a b</id></port></box>"
)
pytestmark = pytest.mark.usefixtures("example")


def test_down_and_up(machine):
    machine.dialogue(
        ("/$ ", "cd acme", ""),
        (at("/acme"), "cd box", ""),
        (at("/acme/box"), "cd inner", ""),
        (at("/acme/box/inner"), "pwd", "/acme/box/inner\r\n"),
        (at("/acme/box/inner"), "cd ..", ""),
        (at("/acme/box"), "cd ..", ""),
        (at("/acme"), "cd ..", ""),
        (at("/"), "pwd", "/\r\n"),
        (at("/"), "cd extra", ""),
        (at("/extra"), "cd shelf", ""),
        end=at("/extra/shelf"),
    )
    assert machine.tarnd.requests == []


def test_the_root(machine):
    steps = go("acme", "box")
    machine.dialogue(*steps, (at("/acme/box"), "cd /", ""), (at("/"), "pwd", "/\r\n"))
    machine.dialogue(*steps, (at("/acme/box"), "cd /.", ""), (at("/"), "pwd", "/\r\n"))


def test_forms_of_one_layer(machine):
    steps = go("acme")
    for word, path in (
        ("box", "/acme/box"),
        ("./box", "/acme/box"),
        ("box/", "/acme/box"),
        ("box/.", "/acme/box"),
        (".//box", "/acme/box"),
        ("..", "/"),
        ("../", "/"),
        ("./..", "/"),
        ("../extra", "/extra"),
        ("../acme", "/acme"),
    ):
        machine.dialogue(*steps, (at("/acme"), f"cd {word}", ""), end=at(path))
    machine.dialogue(("/$ ", "cd /acme", ""), end=at("/acme"))
    machine.dialogue(("/$ ", "cd /acme/", ""), end=at("/acme"))


@pytest.mark.parametrize(
    "word", ["acme/box", "/acme/box", "box/inner", "./acme/box", "//acme//box/inner"]
)
def test_two_layers_are_too_many(machine, word):
    machine.dialogue(("/$ ", f"cd {word}", TOO_MANY_LAYERS))


def test_slashes_in_a_key_value_are_no_layers(machine):
    machine.tarnd.holds("<port>", PORTS)
    steps = go("acme", "box", "port")
    machine.dialogue(
        *steps,
        (at("/acme/box/port"), "cd port[id=2/3]", ""),
        (at("/acme/box/port[id=2/3]"), "pwd", "/acme/box/port[id=2/3]\r\n"),
        (at("/acme/box/port[id=2/3]"), "cd qos", ""),
        (at("/acme/box/port[id=2/3]/qos"), "cd ..", ""),
        (at("/acme/box/port[id=2/3]"), "cd ..", ""),
        end=at("/acme/box/port"),
    )


def test_an_entry_whose_key_holds_a_blank(machine):
    machine.tarnd.holds("<port>", PORTS)
    steps = go("acme", "box", "port")
    entry = '/acme/box/port[id="a b"]'
    machine.dialogue(
        *steps,
        (at("/acme/box/port"), 'cd port[id="a b"]', ""),
        (at(entry), "pwd", f"{entry}\r\n"),
        end=at(entry),
    )


def test_an_entry_is_asked_of_the_server(machine):
    machine.tarnd.holds("<port>", PORTS)
    steps = go("acme", "box", "port")
    machine.dialogue(
        *steps, (at("/acme/box/port"), "cd port[id=1]", ""), end=at("/acme/box/port[id=1]")
    )
    assert machine.tarnd.requests == [
        get_config('<box xmlns="urn:acme"><port><id></id></port></box>')
    ]


def test_an_entry_can_be_entered_from_above_its_list(machine):
    machine.tarnd.holds("<port>", PORTS)
    steps = go("acme", "box")
    machine.dialogue(
        *steps,
        (at("/acme/box"), "cd port[id=1]", ""),
        (at("/acme/box/port[id=1]"), "cd ..", ""),
        (at("/acme/box/port"), "cd ..", ""),
        end=at("/acme/box"),
    )


def test_an_entry_that_does_not_exist(machine):
    machine.tarnd.holds("<port>", PORTS)
    steps = go("acme", "box", "port")
    machine.dialogue(
        *steps,
        (at("/acme/box/port"), "cd port[id=9]", NO_CHILD),
        (at("/acme/box/port"), "cd port[mtu=1]", NO_CHILD),
        (at("/acme/box/port"), "cd port[id=]", NO_CHILD),
    )


def test_keys_are_named_in_the_order_of_their_names(machine):
    machine.tarnd.holds(
        "<route>", '<box xmlns="urn:acme"><route><via>v</via><dest>d</dest></route></box>'
    )
    steps = go("acme", "box", "route")
    machine.dialogue(
        *steps,
        (at("/acme/box/route"), "cd route[via=v,dest=d]", NO_CHILD),
        (at("/acme/box/route"), "cd route[dest=d,via=v]", ""),
        end=at("/acme/box/route[dest=d,via=v]"),
    )


def test_a_list_workspace_takes_only_its_entries(machine):
    steps = go("acme", "box", "port")
    machine.dialogue(
        *steps,
        (at("/acme/box/port"), "cd mtu", "error parameter: mtu\r\n"),
        (at("/acme/box/port"), "cd port", "error parameter: port\r\n"),
        (at("/acme/box/port"), "cd qos", "error parameter: qos\r\n"),
    )


@pytest.mark.parametrize("line", ["cd", "cd a b", "cd a b c"])
def test_the_usage_of_cd(machine, line):
    machine.dialogue(("/$ ", line, CD_USAGE))


@pytest.mark.parametrize("line", ["pwd x", "pwd .", "pwd a b"])
def test_the_usage_of_pwd(machine, line):
    machine.dialogue(("/$ ", line, PWD_USAGE))


def test_paths_that_lead_nowhere(machine):
    steps = go("acme", "box")
    prompt = at("/acme/box")
    machine.dialogue(
        ("/$ ", "cd nothing", "error parameter: nothing\r\n"),
        ("/$ ", "cd ..", "error parameter: ..\r\n"),
        ("/$ ", "cd ../..", "error parameter: ../..\r\n"),
        *steps,
        (prompt, "cd nothing", "error parameter: nothing\r\n"),
        (prompt, "cd %s%n", "error parameter: %s%n\r\n"),
        (prompt, 'cd "a b"', 'error parameter: "a b"\r\n'),
        (prompt, "cd name[x=1]", NO_CHILD),
    )


def test_a_leaf_cannot_be_entered(machine):
    steps = go("acme", "box")
    prompt = at("/acme/box")
    machine.dialogue(
        *steps,
        (prompt, "cd name", LEAF_OR_RPC),
        (prompt, "cd uptime", LEAF_OR_RPC),
        (prompt, "cd extra:badge", LEAF_OR_RPC),
    )


def test_below_an_entry(machine):
    machine.tarnd.holds("<port>", PORTS)
    entry = at("/acme/box/port[id=1]")
    machine.dialogue(
        *go("acme", "box", "port", "port[id=1]"),
        (entry, "cd mtu", LEAF_OR_RPC),
        (entry, "cd nothing", "error parameter: nothing\r\n"),
    )


def test_a_leaf_list_can_be_entered(machine):
    machine.dialogue(*go("acme", "box", "tag"), end=at("/acme/box/tag"))


def test_an_rpc_cannot_be_entered(machine):
    machine.dialogue(*go("acme"), (at("/acme"), "cd reset", LEAF_OR_RPC), end=at("/acme"))


def test_a_node_of_another_module(machine):
    machine.dialogue(
        *go("acme", "box", "extra:paint"),
        (at("/acme/box/extra:paint"), "pwd", "/acme/box/extra:paint\r\n"),
        (at("/acme/box/extra:paint"), "cd ..", ""),
        (at("/acme/box"), "cd paint", "error parameter: paint\r\n"),
        end=at("/acme/box"),
    )


def test_nodes_of_other_kinds(machine):
    machine.dialogue(*go("acme", "odd"), end=at("/acme/odd"))
    machine.dialogue(*go("acme", "strange"), end=at("/acme/strange"))


def test_the_workspace_itself(machine):
    machine.dialogue(
        *go("acme", "box"),
        (at("/acme/box"), "cd .", ""),
        (at("/acme/box"), "cd ../box", ""),
        end=at("/acme/box"),
    )


def test_sideways_to_a_longer_and_to_a_shorter_name(machine):
    machine.dialogue(
        *go("acme", "box"),
        (at("/acme/box"), "cd ../link", ""),
        (at("/acme/link"), "cd ../box", "error: node:../box  is not existed.\r\n"),
        (at("/acme/link"), "cd ../deep", "error: node:../deep  is not existed.\r\n"),
        end=at("/acme/link"),
    )


def test_a_name_that_only_begins_like_the_workspace_is_not_above_it(machine):
    machine.load(
        Schema(
            module(
                "m",
                "urn:m",
                container("box", leaf("x")),
                container("boxes", leaf("y")),
            )
        )
    )
    machine.dialogue(
        ("/$ ", "cd m", ""),
        (at("/m"), "cd boxes", ""),
        (at("/m/boxes"), "cd ../box", "error: node:../box  is not existed.\r\n"),
        end=at("/m/boxes"),
    )


def test_a_module_to_another_of_equal_length(machine):
    machine.load(
        Schema(
            module("aa", "urn:a", container("c", leaf("x"))),
            module("bb", "urn:b", container("c", leaf("x"))),
        )
    )
    machine.dialogue(
        ("/$ ", "cd aa", ""),
        (at("/aa"), "cd /bb", "error: node:/bb  is not existed.\r\n"),
        end=at("/aa"),
    )


class TestChoices:
    """The active case of a choice is asked of the server, node by node."""

    HAS_TCP = '<link xmlns="urn:acme"><tcp-host>h</tcp-host></link>'
    HAS_UDP = '<link xmlns="urn:acme"><udp-port>53</udp-port></link>'

    @staticmethod
    def asked(*names):
        return [
            get_config(f'<link xmlns="urn:acme"><{name}></{name}></link>', number)
            for number, name in enumerate(names, 1)
        ]

    def test_a_child_of_the_active_case(self, machine):
        machine.tarnd.holds("<udp-port>", self.HAS_UDP)
        machine.dialogue(*go("acme", "link", "udp-options"), end=at("/acme/link/udp-options"))
        assert machine.tarnd.requests == self.asked(
            "tcp-host", "tcp-port", "udp-options", "udp-port"
        )

    def test_a_child_of_an_inactive_case_while_another_is_active(self, machine):
        machine.tarnd.holds("<tcp-host>", self.HAS_TCP)
        machine.dialogue(
            *go("acme", "link"),
            (at("/acme/link"), "cd udp-options", NO_CHILD),
            (at("/acme/link"), "cd udp-port", NO_CHILD),
            (at("/acme/link"), "cd tcp-port", LEAF_OR_RPC),
            end=at("/acme/link"),
        )

    def test_any_child_while_no_case_is_active(self, machine):
        machine.dialogue(*go("acme", "link", "udp-options"), end=at("/acme/link/udp-options"))
        assert (
            machine.log.texts(DEBUG)
            == [(DEBUG, "[DEBUG] failed to get acitve case branch. \r\n\n")] * 2
        )

    def test_a_child_of_a_nested_choice(self, machine):
        machine.dialogue(
            *go("acme", "deep"),
            (at("/acme/deep"), "cd b1", LEAF_OR_RPC),
            (at("/acme/deep"), "cd c1", LEAF_OR_RPC),
            (at("/acme/deep"), "cd d1", LEAF_OR_RPC),
        )

    def test_an_outer_case_that_is_active_is_final(self, machine):
        machine.tarnd.holds("<d1>", '<deep xmlns="urn:acme"><d1>1</d1></deep>')
        machine.dialogue(
            *go("acme", "deep"),
            (at("/acme/deep"), "cd d1", LEAF_OR_RPC),
        )

    def test_an_inner_case_makes_the_outer_one_active(self, machine):
        machine.tarnd.holds("<b1>", '<deep xmlns="urn:acme"><b1>1</b1></deep>')
        machine.dialogue(
            *go("acme", "deep"),
            (at("/acme/deep"), "cd b2", LEAF_OR_RPC),
            (at("/acme/deep"), "cd d1", NO_CHILD),
        )


def test_the_server_goes_away_while_an_entry_is_asked_for(machine):
    machine.tarnd.on_request = lambda request: [daemon.close]
    machine.dialogue(
        *go("acme", "box", "port"),
        (at("/acme/box/port"), "cd port[id=1]", NO_CHILD),
    )
    assert (DEBUG, "[DEBUG] recv get msg reply error\n") in machine.log.texts(DEBUG)


def test_a_missing_hash_is_an_empty_level(machine):
    machine.load(Schema(module("m", "urn:m", container("c"), list_("l", []), leaf_list("ll"))))
    machine.dialogue(*go("m", "c"), (at("/m/c"), "ls", ""), end=at("/m/c"))
    assert machine.log.texts(DEBUG) == [
        (DEBUG, "[DEBUG] Failed to get entrys with key:/m/c from DB\n")
    ]
