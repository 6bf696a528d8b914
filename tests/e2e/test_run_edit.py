"""./run: editing, saving and restoring a device with a real NETCONF server."""

import pytest
from test_run import check_all_gone, session

DISCARDED = "The discard_changes command executed successfuly!\n"
DEVICE = "/vandel-device"
EMPTY = "  <data>\n  </data>\n</rpc-reply>\n"
OK = "  <ok/>\n  </rpc-reply>\n"


@pytest.fixture
def device(machine):
    """A machine on which nothing may be left behind."""
    yield machine
    check_all_gone(machine)


def answers(output, lines):
    """What was printed for each line, in order; every line must be echoed."""
    found = []
    rest = output
    for line in lines:
        before, echoed, rest = rest.partition(f"$ {line}\n")
        assert echoed, f"{line!r} was not echoed in {output!r}"
        found.append(before)
    return found[1:] + [rest]


def talk(device, *lines):
    """{line's index: what was printed for it}; "quit" is added."""
    lines += ("quit",)
    return answers(session(device, *lines), lines)


def leaves(text, name):
    """The values of every element of that name in a printed reply."""
    lines = [line.strip() for line in text.splitlines()]
    return [lines[i + 1] for i, line in enumerate(lines[:-1]) if line == f"<{name}>"]


@pytest.mark.parametrize("keys", ["ip 192.0.2.1 prefix-length 24", "prefix-length 24 ip 192.0.2.1"])
def test_an_entry_with_two_keys(device, keys):
    entry = "address[ip=192.0.2.1,prefix-length=24]"
    interface = f"{DEVICE}/interfaces/interface[name=ge-0/0/1]"
    output = talk(
        device,
        "cd vandel-device",
        "cd interfaces",
        "cd interface",
        "add-listentry name ge-0/0/1",
        "cd interface[name=ge-0/0/1]",
        "cd address",
        f"add-listentry {keys}",
        f"set {entry}/label main",
        "commit",
        f"get-config -r {interface}",
        f"delete {entry}",
        "commit",
        f"get-config -r {interface}",
    )
    assert OK in output[8]
    assert leaves(output[9], "ip") == ["192.0.2.1"]
    assert leaves(output[9], "prefix-length") == ["24"]
    assert leaves(output[9], "label") == ["main"]
    assert OK in output[11]
    assert leaves(output[12], "name") == ["ge-0/0/1"]
    assert leaves(output[12], "ip") == []


def test_values_of_a_leaf_list(device):
    path = f"{DEVICE}/system/dns/search"
    output = talk(
        device,
        f"set {path} a.example",
        f"set {path} b.example",
        f"set {path} c.example",
        "commit",
        f"delete {path} b.example",
        "commit",
        f"get-config -r {path}",
        f"set {path} d.example",
        "commit",
        f"get-config -r {path}",
    )
    assert leaves(output[6], "search") == ["a.example", "c.example"]
    assert leaves(output[9], "search") == ["a.example", "c.example", "d.example"]


def test_discard_in_both_modes(device):
    output = talk(
        device,
        f"set {DEVICE}/system/hostname r1",
        f"{DEVICE}/ping",
        "set destination 192.0.2.1",
        "discard_changes",
        "commit",
        "commit",
        f"get-config -r {DEVICE}/system/hostname",
        f"set {DEVICE}/system/hostname r2",
        "discard_changes",
        "commit",
    )
    assert output[3].startswith(DISCARDED)
    assert "data-missing" in output[4]
    assert OK in output[5]
    assert leaves(output[6], "hostname") == ["r1"]
    assert output[8].startswith(DISCARDED)
    assert output[9].startswith("There is no configuration data. \r\n")


def test_datastores(device):
    read = f"get-config -s {DEVICE}/system"
    output = talk(
        device,
        f"set {DEVICE}/system/hostname r1",
        "commit",
        "copy-config running startup",
        read,
        f"set {DEVICE}/system/hostname r2",
        "commit",
        "copy-config running startup",
        read,
        "delete-config",
        read,
    )
    assert OK in output[2]
    assert leaves(output[3], "hostname") == ["r1"]
    assert OK in output[6]
    assert leaves(output[7], "hostname") == ["r2"]
    assert OK in output[8]
    assert EMPTY in output[9]
