"""schemac: real modules, and our own."""

import os
import re
import shutil
import struct
import subprocess
import tempfile
import time

from support.schemac import (
    CASE,
    CHOICE,
    CONTAINER,
    good,
    INPUT,
    LEAF,
    LEAF_LIST,
    LIST,
    MODELS,
    module,
    node,
    RPC,
    SYSTEM_MODULES,
)

pytest_plugins = ("support.schemac_fixtures",)


def test_all_ietf_modules_in_one_call(server, run):
    directory = os.path.join(SYSTEM_MODULES, "ietf")
    names = sorted({file.split("@")[0].removesuffix(".yang") for file in os.listdir(directory)})
    assert len(names) > 30
    result = good(run("--search", directory, *names))
    content = server.content()
    submodules = {"ietf-ipv6-router-advertisements"}
    only_types = {
        "iana-crypt-hash",
        "ietf-geo-location",
        "ietf-inet-types",
        "ietf-yang-metadata",
        "ietf-yang-types",
    }
    assert content["/"].keys() == set(names) - submodules - only_types
    assert content["/ietf-interfaces/interfaces/interface"].keys() == {"name"}
    assert "ietf-ip:ipv4" in content["/ietf-interfaces/interfaces/interface[]"]
    assert content["/"]["ietf-ip"] == module("urn:ietf:params:xml:ns:yang:ietf-ip")
    match = re.match(r"schemac: (\d+) modules, (\d+) nodes, (\d+) bytes\n", result.stdout)
    assert int(match[1]) == len(content["/"])
    assert int(match[3]) == sum(
        len(key) + sum(len(field) + len(value) for field, value in fields.items())
        for key, fields in content.items()
    )
    for key, fields in content.items():
        for field, value in fields.items():
            if key != "/":
                check_node_record(content, key, field, value)


def check_node_record(content, key, field, value):
    flags, help_offset, type_offset, bound = struct.unpack_from("<H10xhhxxh", value)
    kind = flags >> 6
    area = value[20:]
    assert flags & 0x3E == 0 and CONTAINER <= kind <= INPUT
    assert value[2:12] == bytes(10) and value[16:18] == bytes(2)
    assert bound == len(area) < 3000 and area[0] == 0 and area[-1] == 0
    assert (type_offset == 1) == (kind in (LEAF, LEAF_LIST))
    assert 0 <= help_offset < bound
    area[help_offset : area.index(0, help_offset)].decode()
    below = key + "/" + field
    if kind in (LEAF, LEAF_LIST):
        assert below not in content and below + "[]" not in content
    if kind == LIST:
        assert content.get(below, {}).items() <= content[below + "[]"].items()
    if kind == RPC:
        assert content[below].keys() == {"input"}


def test_our_own_models(server, run):
    good(
        run(
            "--search",
            MODELS,
            "--search",
            os.path.join(SYSTEM_MODULES, "ietf"),
            "vandel-device",
            "vandel-ospf",
            "ietf-interfaces",
            "iana-if-type",
            "ietf-ip",
        )
    )
    content = server.content()
    assert content["/"]["vandel-ospf"] == module("urn:vandel:ospf")
    kinds = {
        struct.unpack_from("<H", value)[0] >> 6
        for key, fields in content.items()
        if key.startswith("/vandel-device")
        for value in fields.values()
    }
    assert kinds == {CONTAINER, LEAF, LEAF_LIST, LIST, CHOICE, CASE, RPC, INPUT}
    assert content["/vandel-device/system"]["hostname"] == node(
        LEAF,
        True,
        "string",
        "Name of the device, shown in its prompt and in its log. "
        "[string, length 1..64, default router]",
    )
    assert content["/vandel-device/reboot"].keys() == {"input"}
    assert "/vandel-device/reboot/input" not in content
    assert content["/vandel-device/interfaces/interface[]/addressing/manual/address"].keys() == {
        "ip",
        "prefix-length",
    }
    assert "vandel-ospf:ospf" in content["/vandel-device/interfaces/interface[]"]


def test_netconfd_takes_our_own_models(tmp_path):
    directory = tempfile.mkdtemp(prefix="netconfd")
    path = directory + "/ncx"
    user = os.environ.get("USER") or "root"
    environment = dict(os.environ, HOME=directory, USER=user)
    log = open(directory + "/log", "wb")
    process = subprocess.Popen(
        [
            "netconfd",
            "--target=running",
            "--with-startup=true",
            "--indent=0",
            "--no-startup",
            f"--superuser={user}",
            "--module=vandel-device",
            "--module=vandel-ospf",
            f"--modpath={MODELS}:{SYSTEM_MODULES}",
            "--port=20830",
            f"--ncxserver-sockname={path}",
        ],
        cwd=directory,
        env=environment,
        stdin=subprocess.DEVNULL,
        stdout=log,
        stderr=log,
    )
    try:
        deadline = time.monotonic() + 30
        while not os.path.exists(path):
            assert process.poll() is None and time.monotonic() < deadline
            time.sleep(0.05)
        environment["SSH_CONNECTION"] = "127.0.0.1 50000 127.0.0.1 20830"
        session = subprocess.Popen(
            ["netconf-subsystem", f"--ncxserver-sockname=20830@{path}"],
            env=environment,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
        )
        hello = b""
        while b"]]>]]>" not in hello:
            piece = os.read(session.stdout.fileno(), 65536)
            assert piece
            hello += piece
        session.kill()
        session.communicate()
        assert b"urn:vandel:device?module=vandel-device&amp;revision=" in hello
        assert b"urn:vandel:ospf?module=vandel-ospf&amp;revision=" in hello
    finally:
        process.terminate()
        process.wait()
        log.close()
        text = open(directory + "/log", encoding="utf-8", errors="replace").read()
        shutil.rmtree(directory)
    for file in ("vandel-device.yang", "vandel-ospf.yang"):
        assert not re.search(re.escape(file) + r":[\d.]+: (error|warning)", text), text
