"""What the documents tell engineers to run and to look into is there."""

import glob
import json
import os
import re
import subprocess

import pytest
from support.shell import ROOT

DOCUMENTS = (
    "CONTRIBUTING.md",
    "README.md",
    "bench/README.md",
    "docs/architecture.md",
    "docs/porting.md",
    "docs/reliability.md",
)
FOLDERS = (
    r"(?:\.ci|bench|cmake|docs|packaging|tests|platform|format|tinyrl|base|link|schema|cmdtree"
    r"|browse|profile|complete|commands|shell|device)"
)


def read(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as document:
        return document.read()


def known_tests():
    """The names that ctest has, but for those that are told apart by processor."""
    names = ["model.exchange_lock"]
    for folder, kind, ending in (("unit", "unit", ".cpp"), ("e2e", "e2e", ".py")):
        for file in os.listdir(os.path.join(ROOT, "tests", folder)):
            if file.endswith(ending):
                names.append(f"{kind}.{file.removesuffix(ending)}")
    for file in os.listdir(os.path.join(ROOT, "tests", "fuzz", "corpus")):
        names.append(f"fuzz.{file}")
    return names


@pytest.mark.parametrize("name", DOCUMENTS)
def test_each_path_is_there(name):
    paths = re.findall(rf"(?<![\w/.-]){FOLDERS}/[\w./*-]+", read(name))
    for path in paths:
        path = path.rstrip(".")
        if not re.search(r"[A-Z]{4}|\*", path):
            assert any(
                os.path.exists(os.path.join(ROOT, path + ending)) for ending in ("", ".py", ".cpp")
            ), path


@pytest.mark.parametrize("name", ["CONTRIBUTING.md", "docs/reliability.md"])
def test_each_choice_of_tests_finds_one(name):
    chosen = re.findall(r" -R '?([\w.$]+)", read(name))
    assert len(chosen) > 2
    for pattern in chosen:
        assert any(re.search(pattern, test) for test in known_tests()), pattern


def test_each_program_has_a_source():
    programs = re.findall(r"build[-a-z]*/(tests|fuzz)/(\w+)", read("CONTRIBUTING.md"))
    assert len(programs) > 3
    for folder, program in programs:
        source = {"tests": f"unit/{program}", "fuzz": f"fuzz/{program[5:]}_fuzz"}[folder]
        assert os.path.exists(os.path.join(ROOT, "tests", f"{source}.cpp")), program


@pytest.mark.parametrize("name", ["CONTRIBUTING.md", "bench/run"])
def test_the_choice_of_benchmarks_finds_one(name):
    sources = glob.glob(os.path.join(ROOT, "bench", "*_benchmark.cpp"))
    benchmarks = re.findall(r"BENCHMARK\((\w+)\)", "".join(read(source) for source in sources))
    (chosen,) = re.findall(r"--benchmark_filter=(\w+)", read(name))
    assert any(chosen in benchmark for benchmark in benchmarks)


def test_each_variable_is_read_somewhere():
    sources = subprocess.run(
        ["grep", "-rhoE", "VANDEL_[A-Z0-9_]+", "--include=*.py", "--include=*.sh",
         "--include=CMakeLists.txt", "--include=run*", "--exclude-dir=build*", ROOT],
        check=True, capture_output=True, text=True,
    ).stdout.split()  # fmt: skip
    for name in DOCUMENTS:
        for variable in re.findall(r"VANDEL_[A-Z0-9_]+", read(name)):
            assert variable in sources, variable


def test_the_presets_are_those_of_cmake():
    presets = json.loads(read("CMakePresets.json"))["configurePresets"]
    shown = [preset for preset in presets if not preset.get("hidden")]
    rows = re.findall(r"(?m)^\| (`.*`) \| `(.*?)` \| .* \|$", read("CONTRIBUTING.md"))
    described = {name: folder for names, folder in rows for name in re.findall(r"`(.+?)`", names)}
    folders = {preset["name"]: preset["binaryDir"].partition("}/")[2] for preset in shown}
    assert folders.pop("coverage").startswith(f"{described.pop('coverage')}/")
    assert described == folders
    used = re.findall(r"--preset ([a-z]+)", read("CONTRIBUTING.md"))
    assert set(used) <= {preset["name"] for preset in shown}


def test_what_fuzz_targets_are_there_for_is_there():
    with open(os.path.join(ROOT, "tests", "fuzz", "code"), encoding="utf-8") as code:
        lines = [line.split() for line in code if not line.startswith("#")]
    targets = os.listdir(os.path.join(ROOT, "tests", "fuzz", "corpus"))
    assert sorted(line[0] for line in lines) == sorted(targets)
    for line in lines:
        for path in line[1:]:
            assert os.path.isfile(os.path.join(ROOT, path)), path
