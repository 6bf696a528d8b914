"""What the compiler and the linker were asked for stands in the programs."""

import glob
import os
import platform
import re
import subprocess
import tempfile

import pytest
from support.shell import BUILD, ROOT

PROGRAMS = ("vandel", "installed/vandel", "schemac", "tarnd-gateway")
LIBRARIES = ("libconf.so", "libredisapi.so")
X86 = platform.machine() in ("x86_64", "i686")


def is_sanitized():
    with open(os.path.join(BUILD, "CMakeCache.txt"), encoding="utf-8") as cache:
        return re.search(r"(?m)^VANDEL_SANITIZE:\w+=.", cache.read()) is not None


pytestmark = pytest.mark.skipif(is_sanitized(), reason="a sanitizer has its own protections")
every_binary = pytest.mark.parametrize("name", [*PROGRAMS, *LIBRARIES])
only_x86 = pytest.mark.skipif(not X86, reason="reads the processor's instructions")


def readelf(what, name):
    command = ["readelf", "--wide", what, os.path.join(BUILD, name)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def code(name):
    command = ["objdump", "-d", "--no-show-raw-insn", os.path.join(BUILD, name)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def search_path(name):
    return re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", readelf("--dynamic", name))


@every_binary
def test_it_can_be_loaded_anywhere(name):
    assert re.search(r"Type: +DYN ", readelf("--file-header", name))


@pytest.mark.parametrize("name", PROGRAMS)
def test_a_program_is_linked_as_one_that_can_be_loaded_anywhere(name):
    assert re.search(r"\(FLAGS_1\).*\bPIE\b", readelf("--dynamic", name))


@every_binary
def test_what_the_loader_has_written_cannot_be_written_again(name):
    assert "GNU_RELRO" in readelf("--segments", name)
    assert re.search(r"\(FLAGS_1\).*\bNOW\b", readelf("--dynamic", name))


@every_binary
def test_the_stack_holds_no_code(name):
    assert re.search(r"GNU_STACK .* RW +0x", readelf("--segments", name))


@every_binary
def test_the_stack_is_guarded(name):
    assert "__stack_chk_fail@" in readelf("--dyn-syms", name)


@every_binary
def test_calls_of_the_c_library_are_bounded(name):
    assert re.search(r"__\w+_chk@", readelf("--dyn-syms", name).replace("__stack_chk_fail@", ""))


@only_x86
@every_binary
def test_no_function_steps_over_the_guard_page(name):
    steps = re.findall(r"\bsub[lq]? +\$0x([0-9a-f]{1,7}),%[er]sp\b", code(name))
    assert [step for step in steps if int(step, 16) > 0x1000] == []


@only_x86
def test_a_large_frame_is_touched_page_by_page():
    """Or else the test above would prove nothing."""
    assert re.search(r"\bor[lq] +\$0x0,\(%[er]sp\)", code("vandel"))


@only_x86
@every_binary
def test_indirect_calls_have_marked_targets(name):
    functions = r"\n[0-9a-f]+ <(?:main|conf_agent_init|redis_connect)>:\n(.*)\n"
    starts = re.findall(functions, code(name))
    assert len(starts) == 1
    assert re.search(r"\bendbr(64|32)$", starts[0].rstrip())


def test_the_built_shell_finds_its_libraries_beside_itself():
    assert search_path("vandel") == ["$ORIGIN"]


def test_the_installed_shell_finds_its_libraries_in_their_folder_only():
    with tempfile.TemporaryDirectory() as place:
        subprocess.run(
            ["cmake", "--install", BUILD, "--prefix", place], check=True, capture_output=True
        )
        installed = os.path.join(place, "bin", "vandel")
        paths = search_path(installed)
        assert len(paths) == 1 and re.fullmatch(r"\$ORIGIN/\.\./lib(/[\w-]+)?/vandel", paths[0])
        folder = os.path.join(os.path.dirname(installed), paths[0].removeprefix("$ORIGIN/"))
        assert sorted(os.listdir(folder)) == sorted(LIBRARIES)


def test_the_installation_makes_the_profile_at_boot():
    with tempfile.TemporaryDirectory() as place:
        subprocess.run(
            ["cmake", "--install", BUILD, "--prefix", place], check=True, capture_output=True
        )
        assert os.listdir(os.path.join(place, "lib", "tmpfiles.d")) == ["vandel.conf"]


def test_the_readme_has_all_that_is_installed():
    with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as readme:
        table = readme.read().partition("| folder | files |")[2].partition("\n\n")[0]
    described = {
        (folder, name)
        for folder, names in re.findall(r"(?m)^\| `(.+)` \| (.+) \|$", table)
        for name in re.findall(r"`(.+?)`", names)
    }
    with tempfile.TemporaryDirectory() as place:
        subprocess.run(
            ["cmake", "--install", BUILD, "--prefix", place], check=True, capture_output=True
        )
        installed = {
            (os.path.relpath(folder, place), name)
            for folder, _, names in os.walk(place)
            for name in names
        }
    # A build for /usr has its libraries in a folder of the processor's.
    assert described == {
        (re.sub(r"^lib/[\w-]+/(vandel|pkgconfig)$", r"lib/\1", folder), name)
        for folder, name in installed
    }


def test_a_device_s_libraries_are_built_with_what_is_installed():
    """As a vendor does it: with pkg-config's flags, and for the place that it names."""
    sources = os.path.join(ROOT, "tests", "support", "other_platform")
    with tempfile.TemporaryDirectory() as place:
        subprocess.run(
            ["cmake", "--install", BUILD, "--prefix", place], check=True, capture_output=True
        )
        (metadata,) = glob.glob(os.path.join(place, "lib", "**", "pkgconfig"), recursive=True)

        def pkg_config(*options):
            words = ["pkg-config", *options, "vandel-platform"]
            environment = {**os.environ, "PKG_CONFIG_PATH": metadata}
            result = subprocess.run(
                words, check=True, capture_output=True, text=True, env=environment
            )
            return result.stdout.split()

        (folder,) = pkg_config("--variable=librarydir")
        assert sorted(os.listdir(folder)) == sorted(LIBRARIES)
        assert pkg_config("--libs") == []
        for name in ("conf", "redisapi"):
            built = os.path.join(folder, f"lib{name}.so")
            host_version = set(exported(built))
            words = ["g++", "-std=c++20", "-shared", "-fPIC", "-fno-exceptions", "-o", built]
            source = os.path.join(sources, f"{name}.cpp")
            subprocess.run([*words, *pkg_config("--cflags"), source], check=True)
            assert set(exported(built)) >= host_version


def exported(path):
    """The functions of a library that others may call, but for those of C++."""
    symbols = readelf("--dyn-syms", path)
    functions = re.findall(r"FUNC +(?:GLOBAL|WEAK) +DEFAULT +\d+ (\w+)$", symbols, re.MULTILINE)
    assert functions
    return [name for name in functions if not name.startswith("_")]


@pytest.mark.parametrize("name", ["schemac", "tarnd-gateway", *LIBRARIES])
def test_nothing_else_has_a_search_path_of_its_own(name):
    assert search_path(name) == []
