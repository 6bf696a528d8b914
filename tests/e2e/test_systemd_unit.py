"""The unit of a gateway is one that systemd takes and the gateway understands."""

import os
import re
import shlex
import stat
import subprocess

import pytest
from support.gateway import wait_for
from support.shell import BUILD

EXPOSURE = 15  # tenths of systemd's 10; a unit without any hardening has 96


@pytest.fixture(name="unit")
def fixture_unit(tmp_path):
    """An instance of the installed template, which finds its program in the build."""
    place = tmp_path / "installed"
    subprocess.run(
        ["cmake", "--install", BUILD, "--prefix", place], check=True, capture_output=True
    )
    template = (place / "lib" / "systemd" / "system" / "tarnd-gateway@.service").read_text()
    program = os.path.join(BUILD, "tarnd-gateway")
    text, count = re.subn(r"(?m)^(ExecStart=)\S+/bin/tarnd-gateway ", rf"\1{program} ", template)
    assert count == 1
    unit = tmp_path / "tarnd-gateway@router.service"
    unit.write_text(text)
    return unit


def analyse(*words):
    command = ["systemd-analyze", *words]
    return subprocess.run(command, check=False, capture_output=True, text=True, timeout=120)


def test_systemd_takes_it(unit):
    result = analyse("verify", "--man=no", str(unit))
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")


def test_it_exposes_little(unit):
    result = analyse("security", "--offline=true", f"--threshold={EXPOSURE}", str(unit))
    assert result.returncode == 0, result.stdout


def test_it_shares_no_memory(unit):
    """Neither a read-only system nor devices of its own keep it from /dev/shm."""
    lines = unit.read_text().splitlines()
    assert {"InaccessiblePaths=/dev/shm", "PrivateIPC=yes"} <= set(lines)


def test_what_is_below_run_is_read_only(unit):
    """systemd 252 was seen to leave it writable, as /run/lock is for all, where a unit has
    both ProtectSystem=strict and a /proc of its own."""
    assert "ReadOnlyPaths=/run" in unit.read_text().splitlines()


def test_its_line_starts_a_gateway_with_the_options_and_the_command_of_the_file(unit, tmp_path):
    (line,) = re.findall(r"(?m)^ExecStart=(.*)$", unit.read_text())
    (tmp_path / "vandel" / "router").mkdir(parents=True)
    line = line.replace("%t", str(tmp_path)).replace("%i", "router")
    variables = {"$OPTIONS": "--max-shells 1", "$COMMAND": "cat -u"}
    for name, words in variables.items():
        assert line.count(name) == 1
        line = line.replace(name, words)
    with subprocess.Popen(shlex.split(line), stderr=subprocess.PIPE) as gateway:
        path = tmp_path / "vandel" / "router" / "tarnd.sock"
        wait_for(lambda: path.exists() or gateway.poll() is not None, "no socket")
        assert stat.S_IMODE(path.stat().st_mode) == 0o600
        gateway.terminate()
        assert gateway.communicate(timeout=60)[1].endswith(b": stopping\n")


def test_the_user_is_made(unit, tmp_path):
    (user,) = re.findall(r"(?m)^User=(.*)$", unit.read_text())
    (state,) = re.findall(r"(?m)^StateDirectory=(.*)$", unit.read_text())
    root = tmp_path / "root"
    (root / "etc").mkdir(parents=True)
    rules = tmp_path / "installed" / "lib" / "sysusers.d" / "vandel-host.conf"
    command = ["systemd-sysusers", f"--root={root}", rules]
    subprocess.run(command, check=True, capture_output=True)
    lines = (root / "etc" / "passwd").read_text().splitlines()
    (fields,) = (line.split(":") for line in lines if line.startswith(f"{user}:"))
    assert fields[5:] == [f"/var/lib/{state}", "/usr/sbin/nologin"]
