"""vandel-do with real redis, schemac, gateway and netconfd: what an operator would do."""

import json
import re

import pytest
from support import vandel_do
from support.router import router
from support.vandel_do import script


@pytest.fixture(name="device")
def fixture_device(machine):
    with router(machine):
        yield machine


def hostname(device):
    """The configured name, as a program would read it."""
    result = vandel_do.run(device, "--json", "get-config", "-r", "/vandel-device/system/hostname")
    assert result.status == 0
    (data,) = json.loads(result.stdout)["data"]
    return data["system"][0]["hostname"][0] if data else None


def test_a_walk(device):
    setting = script(
        "# What this router is called.",
        "cd vandel-device",
        "cd system",
        "set hostname edge-1",
        'set location "Hall 2, rack 7"',
        "get-config -l",
        "commit",
    )
    staged = (
        '<system xmlns="urn:vandel:device"><location>Hall 2, rack 7</location>'
        "<hostname>edge-1</hostname></system>\n"
    )

    # First what would be done, then what is.
    result = vandel_do.run(device, "--dry-run", given=setting)
    assert (result.status, result.stdout.decode(), result.stderr) == (0, staged * 2, b"")
    assert hostname(device) is None
    result = vandel_do.run(device, given=setting)
    assert result.status == 0
    assert re.fullmatch(
        re.escape(staged) + r"\r\n<rpc-reply [^>]*>\n  <ok/>\n  </rpc-reply>\n",
        result.stdout.decode(),
    )
    assert hostname(device) == "edge-1"

    # A value that the server refuses takes the others with it; they are kept.
    refused = script(
        "cd vandel-device",
        "set system/hostname edge-2",
        "set interfaces/interface[name=e0]/mtu 99999",
        "commit",
        "pwd",
    )
    result = vandel_do.run(device, "--save-edits", "/tmp/edits", given=refused)
    assert result.status == 1
    assert b"value not in range" in result.stdout and b"/vandel-device\r\n" not in result.stdout
    assert b"vandel-do: line 4: commit: the device has refused it\n" in result.stderr
    assert hostname(device) == "edge-1"

    # Corrected, they are repeated.
    with open(device.path("edits"), encoding="utf-8") as file:
        corrected = file.read().replace("99999", "9000")
    assert vandel_do.run(device, given=corrected.encode()).status == 0
    assert hostname(device) == "edge-2"

    # An operation, a listing and the words of one command.
    calling = script("/vandel-device/ping", "set destination 192.0.2.1", "commit", "ls")
    result = vandel_do.run(device, "--no-notifications", given=calling)
    assert (result.status, result.stderr) == (0, b"")
    assert b"<ok/>" in result.stdout and b"interfaces" in result.stdout
    result = vandel_do.run(device, "get", "/vandel-device")
    assert (result.status, result.stdout) == (2, b"/vandel-device's not config node.\r\n")
