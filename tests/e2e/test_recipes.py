"""The recipes for Buildroot and Yocto take what the build installs, as far as it shows here."""

import fnmatch
import os
import re
import subprocess

import kconfiglib
import pytest
from support.shell import BUILD, ROOT

EXTERNAL = os.path.join(ROOT, "packaging", "buildroot")
LAYER = os.path.join(ROOT, "packaging", "yocto", "meta-vandel")
# Buildroot's own, as far as the package uses it: it shows the options, and installs.
STUB = """
define sep


endef
define show
options:
\t@echo $$(VANDEL_CONF_OPTS)
install:
\t$$(VANDEL_INSTALL_TARGET_CMDS)
endef
cmake-package = $(show)
include $(BR2_EXTERNAL_VANDEL_PATH)/external.mk
"""
# Buildroot's symbols that the package goes by.
SYMBOL = 'config {name}\n\tbool "{name}"\n'
SHELL_ALONE = {"bin/vandel", "lib/tmpfiles.d/vandel.conf", "share/man/man1/vandel.1"}


def files_below(place):
    return {
        os.path.relpath(os.path.join(folder, name), place)
        for folder, _, names in os.walk(place)
        for name in names
    }


def installed(place, *options):
    command = ["cmake", "--install", BUILD, "--prefix", place, *options]
    subprocess.run(command, check=True, capture_output=True)
    return files_below(place)


@pytest.fixture(name="make")
def fixture_make(tmp_path):
    (tmp_path / "Makefile").write_text(STUB)

    def make(*words):
        variables = {
            "BR2_EXTERNAL_VANDEL_PATH": EXTERNAL,
            "BR2_CMAKE": "cmake",
            "TARGET_DIR": tmp_path / "target",
            "VANDEL_BUILDDIR": BUILD,
        }
        command = ["make", "-s", *(f"{name}={value}" for name, value in variables.items()), *words]
        result = subprocess.run(command, check=True, capture_output=True, text=True, cwd=tmp_path)
        return result.stdout

    return make


def test_buildroot_installs_the_shell_alone(make, tmp_path):
    assert make("options") == "-DVANDEL_TESTS=OFF -DVANDEL_HOST=OFF\n"
    make("install")
    prefix = tmp_path / "target" / "usr" / "local"
    found = files_below(prefix)
    assert found == installed(tmp_path / "shell", "--component", "shell")
    assert found >= SHELL_ALONE and "bin/schemac" not in found


def test_buildroot_installs_all_when_asked_to(make, tmp_path):
    host = "BR2_PACKAGE_VANDEL_HOST=y"
    assert make("options", host) == "-DVANDEL_TESTS=OFF -DVANDEL_HOST=ON\n"
    make("install", host)
    assert files_below(tmp_path / "target" / "usr" / "local") == installed(tmp_path / "all")


def test_buildroot_offers_the_package_where_it_can_be_built(tmp_path, monkeypatch):
    names = ("INSTALL_LIBSTDCPP", "TOOLCHAIN_GCC_AT_LEAST_12", "TOOLCHAIN_HAS_THREADS", "USE_MMU")
    others = ("STATIC_LIBS", "PACKAGE_HIREDIS", "PACKAGE_LIBXML2", "PACKAGE_LIBYANG")
    text = "".join(SYMBOL.format(name=f"BR2_{name}") for name in (*names, *others))
    (tmp_path / "Config.in").write_text(f'{text}source "{EXTERNAL}/Config.in"\n')
    monkeypatch.setenv("BR2_EXTERNAL_VANDEL_PATH", EXTERNAL)
    monkeypatch.setenv("CONFIG_", "")
    config = kconfiglib.Kconfig(str(tmp_path / "Config.in"), warn_to_stderr=False)
    assert config.warnings == []
    symbols = config.syms
    symbols["BR2_PACKAGE_VANDEL"].set_value("y")
    symbols["BR2_PACKAGE_VANDEL_HOST"].set_value("y")
    for name in names:
        assert symbols["BR2_PACKAGE_VANDEL"].str_value == "n"
        symbols[f"BR2_{name}"].set_value("y")
    for name in ("VANDEL", "VANDEL_HOST", "HIREDIS", "LIBXML2", "LIBYANG"):
        assert symbols[f"BR2_PACKAGE_{name}"].str_value == "y"
    symbols["BR2_STATIC_LIBS"].set_value("y")
    assert symbols["BR2_PACKAGE_VANDEL"].str_value == "n"


def read_assignments(path):
    """The variables of a file of Yocto's: {name: value}; any other line is a mistake."""
    with open(path, encoding="utf-8") as file:
        text = file.read().replace("\\\n", "")
    text = re.sub(r"(?ms)^do_install\(\) \{.*?^\}$", "", text)
    lines = [line for line in text.splitlines() if line and not re.match("#|inherit ", line)]
    found = {}
    for line in lines:
        name, _, value = re.fullmatch(r'([\w:${}\[\]-]+) (\?\?=|[.+]?=) "(.*)"', line).groups()
        found[name] = value
    return found


def test_yocto_s_packages_hold_all_that_is_installed(tmp_path):
    (recipe,) = (
        os.path.join(folder, name)
        for folder, _, names in os.walk(LAYER)
        for name in names
        if name.endswith(".bb")
    )
    variables = read_assignments(recipe)
    variables.update(bindir="bin", libdir="lib", libexecdir="libexec")
    variables.update(nonarch_libdir="lib", datadir="share")

    def patterns(package):
        text = variables[f"FILES:{package}"]
        while "${" in text:
            text = re.sub(r"\$\{(\w+)\}", lambda name: variables[name[1]], text)
        return text.split()

    def holds(package, path):
        return any(fnmatch.fnmatch(path, each) or path.startswith(f"{each}/") for each in package)

    shell, host = patterns("${PN}"), patterns("${PN}-host")
    # What Yocto itself puts into the package of the recipe's name, and into others.
    usual = ("bin/vandel", "include/", "lib/pkgconfig/", "share/doc/", "share/man/")
    for path in installed(tmp_path / "shell", "--component", "shell"):
        assert not holds(host, path), path
        assert holds(shell, path) or path.startswith(usual), path
    for path in installed(tmp_path / "host", "--component", "host"):
        path = re.sub(r"^lib/[\w]+-linux-[\w]+/", "lib/", path)
        assert holds(host, path) or path.startswith(usual[1:]), path


def test_yocto_finds_the_recipe():
    layer = read_assignments(os.path.join(LAYER, "conf", "layer.conf"))
    assert layer["BBFILE_COLLECTIONS"] == "vandel"
    assert layer["BBFILES"].split()[0] == "${LAYERDIR}/recipes-*/*/*.bb"
    assert os.path.isdir(os.path.join(LAYER, "recipes-vandel", "vandel"))
