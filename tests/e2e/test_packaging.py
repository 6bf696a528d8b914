"""What makes the profile at boot makes what the shell would write itself."""

import os
import re
import shutil
import stat
import subprocess

import pytest
from support.example import EXAMPLE
from support.shell import ROOT

RULES = os.path.join(ROOT, "packaging", "tmpfiles.d", "vandel.conf")
PROGRAM = shutil.which("systemd-tmpfiles")
OTHER = 4711  # a user that is not root
FRESH = "[pwd]\n/\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
with_the_program = pytest.mark.skipif(
    PROGRAM is None or os.geteuid() != 0, reason="needs systemd-tmpfiles, and root to run it"
)


def the_rule():
    """The fields of the rule that makes it: type, path, mode, user, group, age, content."""
    with open(RULES, encoding="ascii") as file:
        rules = [line for line in file if line.startswith("f")]
    assert len(rules) == 1
    return rules[0].rstrip("\n").split(" ", 6)


def content_of(argument):
    """What the content stands for: "\\n" is a line feed, "%%" a "%"."""
    assert re.fullmatch(r"([^\\%]|\\n|%%)*", argument)
    return argument.replace("\\n", "\n").replace("%%", "%")


def test_the_rule_makes_a_fresh_profile_of_root():
    *fields, argument = the_rule()
    assert fields == ["f+!", "/tmp/vandel.conf", "0600", "root", "root", "-"]
    assert content_of(argument) == FRESH


def test_the_shell_writes_the_same_and_goes_on_with_it(machine):
    machine.load(EXAMPLE)
    machine.one_shot("discard_changes")
    with open(machine.profile, encoding="ascii") as file:
        assert file.read() == FRESH
    with open(machine.profile, "w", encoding="ascii") as file:
        file.write(content_of(the_rule()[-1]))
    assert machine.one_shot("set", "/acme/box/name", "x").stdout == b""
    with open(machine.profile, encoding="ascii") as file:
        assert file.read() == FRESH.replace("[config]\n", "[config]\nset /acme/box/name x\n")


def run(root, *words):
    """Runs the program below root; the profile's path."""
    subprocess.run([PROGRAM, f"--root={root}", *words], check=True, capture_output=True)
    return root / "tmp" / "vandel.conf"


def make(root, *options):
    """Lets the program make the profile below root; the profile's path."""
    return run(root, "--create", *options, RULES)


@pytest.fixture(name="root")
def make_root(tmp_path):
    (tmp_path / "tmp").mkdir()
    (tmp_path / "tmp").chmod(0o1777)
    return tmp_path


def check_fresh(path):
    status = os.lstat(path)
    assert (stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid) == (0o600, 0, 0)
    assert path.read_text() == FRESH


@with_the_program
def test_at_boot(root):
    check_fresh(make(root, "--boot"))


@with_the_program
def test_at_boot_nothing_is_left_of_what_another_user_has_put_there(root):
    path = root / "tmp" / "vandel.conf"
    path.write_text("[config]\nset /acme/box/name evil\n")
    path.chmod(0o666)
    os.chown(path, OTHER, OTHER)
    check_fresh(make(root, "--boot"))


@with_the_program
def test_at_any_other_time_what_is_staged_stays(root):
    path = root / "tmp" / "vandel.conf"
    path.write_text("staged")
    assert make(root).read_text() == "staged"
    path.unlink()
    assert not make(root).exists()


def place_link(path):
    path.symlink_to("elsewhere")


def place_second_name(path):
    (path.parent / "first").touch()
    os.link(path.parent / "first", path)


def place_directory(path):
    (path / "full").mkdir(parents=True)


@with_the_program
@pytest.mark.parametrize("place", [place_link, place_second_name, place_directory])
def test_at_boot_nobody_keeps_the_name(root, place):
    place(root / "tmp" / "vandel.conf")
    path = make(root, "--remove", "--boot")
    check_fresh(path)
    assert path.stat().st_nlink == 1


@with_the_program
def test_the_name_is_not_free_after_some_days(root):
    path = make(root, "--boot")
    rules = root / "tmp.conf"
    rules.write_text("d /tmp 1777 root root 0\n")  # of any age
    (root / "tmp" / "old").touch()
    run(root, "--clean", RULES, str(rules))
    assert not (root / "tmp" / "old").exists()
    check_fresh(path)
