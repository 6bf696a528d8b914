"""get-config -l: what is staged, as XML."""

import pytest
from support.example import box, committed, edit_config, printed_ok
from support.schema_db import Schema, container, leaf, leaf_list, module

pytestmark = pytest.mark.usefixtures("example")


def test_nothing_staged(machine):
    machine.dialogue(
        ("/$ ", "get-config -l", ""),
        (
            "/$ ",
            "get-config -l /acme/box",
            "/acme/box not exist in local configuration buffer \r\n",
        ),
    )


def test_the_whole_tree(machine):
    machine.dialogue(
        ("/$ ", "set /acme/box/name n1", ""),
        ("/$ ", "set /acme/box/port[id=a/b:c]/mtu 9", ""),
        (
            "/$ ",
            "get-config -l",
            '<box xmlns="urn:acme"><port><id>a/b:c</id><mtu>9</mtu></port>'
            "<name>n1</name></box>\n",
        ),
        (
            "/$ ",
            "get-config -l",
            '<box xmlns="urn:acme"><port><id>a/b:c</id><mtu>9</mtu></port>'
            "<name>n1</name></box>\n",
        ),
    )
    assert machine.tarnd.requests == []


def test_a_subtree(machine):
    machine.dialogue(
        ("/$ ", "set /acme/box/name n1", ""),
        ("/$ ", "set /acme/box/inner/deep d", ""),
        ("/$ ", "set /acme/box/port[id=1]/mtu 9", ""),
        ("/$ ", "get-config -l /acme/box/inner", "<inner><deep>d</deep></inner>\n"),
        ("/$ ", "get-config -l acme/box/inner/deep", "<deep>d</deep>\n"),
        (
            "/$ ",
            "get-config -l /acme/box/port[id=1]",
            "<port><id>1</id><mtu>9</mtu></port>\n",
        ),
        (
            "/$ ",
            "get-config -l /acme/box/size",
            "/acme/box/size not exist in local configuration buffer \r\n",
        ),
        (
            "/$ ",
            "get-config -l /acme/box/port[id=2]",
            "/acme/box/port[id=2] not exist in local configuration buffer \r\n",
        ),
    )


def test_a_list_stands_for_the_node_above_its_staged_entries(machine):
    machine.dialogue(
        ("/$ ", "set /acme/box/name n1", ""),
        ("/$ ", "set /acme/box/port[id=1]/mtu 9", ""),
        (
            "/$ ",
            "get-config -l /acme/box/port",
            '<box xmlns="urn:acme"><port><id>1</id><mtu>9</mtu></port><name>n1</name></box>\n',
        ),
        (
            "/$ ",
            "get-config -l /acme/box/por",
            "/acme/box/por not exist in local configuration buffer \r\n",
        ),
    )


def test_entities_are_turned_back(machine):
    machine.dialogue(
        ("/$ ", 'set /acme/box/name "a<b & c"', ""),
        ("/$ ", "get-config -l", '<box xmlns="urn:acme"><name>a<b & c</name></box>\n'),
        ("/$ ", "commit", printed_ok(1)),
        ("/$ ", "get-config -l", ""),
    )
    assert machine.tarnd.requests == [box("<name>a&lt;b &amp; c</name>")]


def test_values_of_a_leaf_list(machine):
    machine.dialogue(
        ("/$ ", "set /acme/box/tag a", ""),
        ("/$ ", "set /acme/box/tag b", ""),
        ("/$ ", "get-config -l /acme/box/tag", "<tag>a</tag><tag>b</tag>\n"),
    )


def test_more_than_one_chunk(machine):
    first, second = "x" * 3000, "y" * 3000
    machine.dialogue(
        ("/$ ", f"set /acme/hostname {first}", ""),
        ("/$ ", f"set /acme/box/name {second}", ""),
        (
            "/$ ",
            "get-config -l",
            f'<box xmlns="urn:acme"><name>{second}</name></box>\n'
            f'<hostname xmlns="urn:acme">{first}</hostname>\n',
        ),
    )


def test_one_command_mode_has_no_buffer(machine):
    expected = b"irreciprocal mode unsupport get-config -l [path].\r\n"
    assert machine.one_shot("get-config", "-l").stdout == expected
    assert machine.one_shot("get-config", "-l", "/acme/box").stdout == expected


def test_the_buffer_is_not_changed_by_looking(machine):
    machine.dialogue(
        ("/$ ", 'set /acme/box/port[id="a b"]/mtu "1 2"', ""),
        (
            "/$ ",
            "get-config -l",
            '<box xmlns="urn:acme"><port><id>a b</id><mtu>1 2</mtu></port></box>\n',
        ),
        ("/$ ", 'set /acme/box/port[id="a b"]/qos/dscp x', ""),
        ("/$ ", "commit", printed_ok(1)),
    )
    assert machine.tarnd.requests == [
        box("<port><id>a b</id><qos><dscp>x</dscp></qos><mtu>1 2</mtu></port>")
    ]


def test_leaf_lists_and_leaves_of_any_depth(machine):
    depth = 40
    node = container(f"c{depth}", leaf("x"), leaf_list("y"))
    for number in range(depth - 1, 0, -1):
        node = container(f"c{number}", node)
    machine.load(Schema(module("m", "urn:m", node)))
    path = "/m/" + "/".join(f"c{number}" for number in range(1, depth + 1))
    opening = '<c1 xmlns="urn:m">' + "".join(f"<c{n}>" for n in range(2, depth + 1))
    closing = "".join(f"</c{n}>" for n in range(depth, 0, -1))
    assert committed(machine, f"set {path}/x 1", f"set {path}/y 2") == edit_config(
        f"{opening}<y>2</y><x>1</x>{closing}"
    )
