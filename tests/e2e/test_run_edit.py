"""./run: editing, saving and restoring a device with a real NETCONF server."""

import glob
import os
import re

import pytest
from test_run import STARTED, check_all_gone, run, session

DISCARDED = "The discard_changes command executed successfuly!\n"
DEVICE = "/vandel-device"
EMPTY = "  <data>\n  </data>\n</rpc-reply>\n"
EXPORTED = "The export-config command executed successfuly! "
HEAD = "<?xml version='1.0' encoding='UTF-8'?>"
INTERFACE = f"{DEVICE}/interfaces/interface[name=ge-0/0/1]"
NOTHING = "no config data to export.\r\n"
OK = "  <ok/>\n  </rpc-reply>\n"

# A bit of everything, two lists and two leaf-lists among it.
EVERYTHING = (
    f"set {DEVICE}/system/contact \"a <b> & 'c'\"",
    f"set {DEVICE}/system/maintenance",
    f"set {DEVICE}/system/dns/server 192.0.2.9",
    f"set {DEVICE}/system/dns/server 192.0.2.1",
    f"set {DEVICE}/routing/preferred-protocol vandel-ospf:ospf",
    f"set {DEVICE}/routing/vandel-ospf:ospf/enabled true",
    f"set {INTERFACE}/vlan 10",
    f"set {INTERFACE}/vlan 20",
    f"set {INTERFACE}/address[ip=192.0.2.1,prefix-length=24]/label main",
    f"set {INTERFACE}/address[ip=2001:db8::1,prefix-length=64]/label other",
    "set /ietf-interfaces/interfaces/interface[name=e0]/type iana-if-type:ethernetCsmacd",
)


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
        f"get-config -r {INTERFACE}",
        f"delete {entry}",
        "commit",
        f"get-config -r {INTERFACE}",
    )
    assert OK in output[8]
    assert leaves(output[9], "ip") == ["192.0.2.1"]
    assert leaves(output[9], "prefix-length") == ["24"]
    assert leaves(output[9], "label") == ["main"]
    assert OK in output[11]
    assert leaves(output[12], "name") == ["ge-0/0/1"]
    assert leaves(output[12], "ip") == []


def test_values_and_entries_of_an_entry(device):
    read = f"get-config -r {INTERFACE}"
    address = f"{INTERFACE}/address[ip=192.0.2.1,prefix-length=24]"
    output = talk(
        device,
        *EVERYTHING,
        "commit",
        f"delete {INTERFACE}/vlan 10",
        f"delete {address}/label",
        "commit",
        read,
        f"delete {address}",
        "commit",
        read,
        f"delete {INTERFACE}",
        "commit",
        f"get-config -r {DEVICE}/interfaces",
    )[len(EVERYTHING) :]
    assert OK in output[0]
    assert OK in output[3]
    assert leaves(output[4], "vlan") == ["20"]
    assert leaves(output[4], "ip") == ["192.0.2.1", "2001:db8::1"]
    assert leaves(output[4], "prefix-length") == ["24", "64"]
    assert leaves(output[4], "label") == ["other"]
    assert OK in output[6]
    assert leaves(output[7], "ip") == ["2001:db8::1"]
    assert leaves(output[7], "vlan") == ["20"]
    assert OK in output[9]
    assert leaves(output[10], "name") == []


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


def one_shots(device, *lines):
    """What each line prints as a process of its own, on servers that stay."""
    keeper = run(device)
    keeper.send("pwd\n\n")
    keeper.expect(b"/$ pwd\n/\r\n/$ ", timeout=STARTED)
    (directory,) = glob.glob(device.path("vandel.*"))
    private = f"/tmp/{os.path.basename(directory)}"
    where = {"TARND_SOCKET": f"{private}/tarnd.sock", "SCHEMA_REDIS": f"{private}/redis.sock"}
    output = []
    for line in lines:
        result = device.one_shot(*line.split(" "), env=where)
        assert (result.status, result.stderr) == (0, b"")
        output.append(result.stdout.decode())
    keeper.send("quit\n")
    assert keeper.wait().status == 0
    return output


def test_discard_in_one_shot_mode(device):
    output = one_shots(
        device,
        f"set {DEVICE}/system/hostname r1",
        "discard_changes",
        "commit",
        f"{DEVICE}/ping",
        "set destination 192.0.2.1",
        "discard_changes",
        "commit",
    )
    assert output[:3] == ["", DISCARDED, "There is no configuration data. \r\n"]
    assert output[3:6] == ["", "", DISCARDED]
    assert "data-missing" in output[6]


def test_a_series_of_one_shots(device):
    """The same as in one session: an entry with two keys is added, filled, read and deleted."""
    output = one_shots(
        device,
        f"cd {DEVICE}",
        "cd interfaces",
        "cd interface",
        "add-listentry name ge-0/0/1",
        "cd interface[name=ge-0/0/1]",
        "set vlan 10",
        "set vlan 20",
        "cd address",
        "add-listentry prefix-length 24 ip 192.0.2.1",
        "set address[ip=192.0.2.1,prefix-length=24]/label main",
        "commit",
        f"get-config -r {INTERFACE}",
        "delete address[ip=192.0.2.1,prefix-length=24]",
        "commit",
        f"get-config -r {INTERFACE}",
        "commit",
    )
    assert output[:10] == [""] * 10
    assert OK in output[10]
    assert leaves(output[11], "vlan") == ["10", "20"]
    assert leaves(output[11], "ip") == ["192.0.2.1"]
    assert leaves(output[11], "label") == ["main"]
    assert output[12] == ""
    assert OK in output[13]
    assert leaves(output[14], "vlan") == ["10", "20"]
    assert leaves(output[14], "ip") == []
    assert output[15] == "There is no configuration data. \r\n"


def test_save(device):
    read = f"get-config -s {DEVICE}/system"
    output = talk(device, read, f"set {DEVICE}/system/hostname r1", "commit", read, "save", read)
    assert EMPTY in output[0]
    assert EMPTY in output[3]
    assert OK in output[4]
    assert leaves(output[5], "hostname") == ["r1"]


def test_running_is_given_up_for_startup(device):
    """All of it: what only running has is gone afterwards."""
    read = f"get-config -r {DEVICE}/system"
    output = talk(
        device,
        f"set {DEVICE}/system/hostname r1",
        "commit",
        "save",
        f"set {DEVICE}/system/hostname r2",
        f"set {DEVICE}/system/contact nobody",
        f"set {INTERFACE}/vlan 10",
        "commit",
        read,
        "copy-config startup running",
        read,
        f"get-config -r {DEVICE}/interfaces",
    )
    assert leaves(output[7], "hostname") == ["r2"]
    assert leaves(output[7], "contact") == ["nobody"]
    assert OK in output[8]
    assert leaves(output[9], "hostname") == ["r1"]
    assert leaves(output[9], "contact") == []
    assert EMPTY in output[10]


def test_what_is_staged_becomes_a_datastore(device):
    output = talk(
        device,
        f"set {INTERFACE}/vlan 10",
        "commit",
        f"set {DEVICE}/system/hostname r1",
        "copy-config config startup",
        "commit",
        f"get-config -s {DEVICE}/system",
        f"set {DEVICE}/system/hostname r2",
        "copy-config config running",
        "commit",
        f"get-config -r {DEVICE}/system",
        f"get-config -r {DEVICE}/interfaces",
    )
    assert OK in output[3]
    assert output[4].startswith("There is no configuration data. \r\n")
    assert leaves(output[5], "hostname") == ["r1"]
    assert OK in output[7]
    assert output[8].startswith("There is no configuration data. \r\n")
    assert leaves(output[9], "hostname") == ["r2"]
    assert EMPTY in output[10]


def content(device, name):
    """An export file; the server writes an empty container in one tag or in two."""
    with open(device.path(name), encoding="utf-8") as file:
        return re.sub(r"<nacm ([^>/]*)>\n</nacm>", r"<nacm \1/>", file.read())


def test_export_wipe_import(device):
    reads = [f"get-config -r {DEVICE}/{name}" for name in ("system", "interfaces", "routing")]
    reads.append("get-config -r /ietf-interfaces/interfaces")
    output = talk(
        device,
        *EVERYTHING,
        "commit",
        *reads,
        "export-config running /tmp/before.xml",
        "copy-config config running",
        *reads,
        "export-config running /tmp/wiped.xml",
        "import-config /tmp/before.xml running",
        *reads,
        "export-config running /tmp/after.xml",
    )[len(EVERYTHING) + 1 :]
    assert output[4].startswith(EXPORTED)
    assert OK in output[5]
    assert all(EMPTY in text for text in output[6:10])
    assert output[10].startswith(NOTHING + EXPORTED)
    assert OK in output[11]
    without_ids = [text.partition("<data>")[2] for text in output]
    assert without_ids[12:16] == without_ids[:4]
    assert output[16].startswith(EXPORTED)
    assert leaves(output[12], "contact") == ["a <b> & 'c'"]
    assert leaves(output[12], "server") == ["192.0.2.9", "192.0.2.1"]
    assert leaves(output[13], "ip") == ["192.0.2.1", "2001:db8::1"]
    before = content(device, "before.xml")
    assert before.startswith(HEAD + "<data>")
    assert before.endswith("</data>")
    assert "<contact>a &lt;b&gt; &amp; 'c'</contact><maintenance/>" in before
    assert content(device, "after.xml") == before
    assert not os.path.exists(device.path("wiped.xml"))


def test_import_replaces_running(device):
    """What the file does not name is gone, in whole containers and within them."""
    output = talk(
        device,
        f"set {DEVICE}/system/hostname r1",
        f"set {DEVICE}/system/dns/search a.example",
        "commit",
        "export-config running /tmp/saved.xml",
        *EVERYTHING,
        f"delete {DEVICE}/system/dns/search a.example",
        "commit",
        "import-config /tmp/saved.xml running",
        f"get-config -r {DEVICE}/system",
        f"get-config -r {DEVICE}/interfaces",
        "export-config running /tmp/again.xml",
    )[len(EVERYTHING) + 4 :]
    assert OK in output[1]
    assert OK in output[2]
    assert leaves(output[3], "hostname") == ["r1"]
    assert leaves(output[3], "search") == ["a.example"]
    assert leaves(output[3], "contact") == leaves(output[3], "server") == []
    assert EMPTY in output[4]
    assert content(device, "again.xml") == content(device, "saved.xml")


def test_startup_is_exported_deleted_and_imported(device):
    read = f"get-config -s {DEVICE}/system"
    output = talk(
        device,
        *EVERYTHING,
        "commit",
        "save",
        read,
        "export-config startup /tmp/before.xml",
        "delete-config",
        read,
        "export-config startup /tmp/none.xml",
        "import-config /tmp/before.xml startup",
        read,
        "export-config startup /tmp/after.xml",
        f"get-config -r {DEVICE}/system",
    )[len(EVERYTHING) + 1 :]
    assert OK in output[0]
    assert leaves(output[1], "contact") == ["a <b> & 'c'"]
    assert output[2].startswith(EXPORTED)
    assert OK in output[3]
    assert EMPTY in output[4]
    assert output[5].startswith(NOTHING + EXPORTED)
    assert OK in output[6]
    assert output[7].partition("<data>")[2] == output[1].partition("<data>")[2]
    assert output[8].startswith(EXPORTED)
    assert content(device, "after.xml") == content(device, "before.xml")
    assert leaves(output[9], "contact") == ["a <b> & 'c'"]


def test_an_import_that_the_server_refuses_changes_nothing(device):
    with open(device.path("wrong.xml"), "w", encoding="utf-8") as file:
        file.write(HEAD + '<data><system xmlns="urn:vandel:device"><ntp><enabled>maybe</enabled>'
                   "</ntp></system></data>")  # fmt: skip
    output = talk(
        device,
        f"set {DEVICE}/system/hostname r1",
        "commit",
        "import-config /tmp/wrong.xml running",
        f"get-config -r {DEVICE}/system",
    )
    assert "invalid-value" in output[2]
    assert leaves(output[3], "hostname") == ["r1"]


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
