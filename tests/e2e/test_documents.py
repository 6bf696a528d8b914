"""What the documents show is what the programs do: transcripts, commands and options."""

import contextlib
import glob
import os
import re
import shlex
import shutil
import subprocess
import tempfile
from typing import NamedTuple

import pytest
from support import vandel_do
from support.example import EXAMPLE
from support.gateway import wait_for
from support.netconfd import Netconfd
from support.prompt import Prompt
from support.router import router
from support.schemac import MODELS, RUN_MODULES
from support.servers import accepts
from support.shell import BUILD, ROOT

UNSEEN = re.compile(r"\x1b\[[0-9;]*m|[\r\a]")
COMMAND = re.compile(r"(?P<prompt>(/|\[).*?\$|\$) (?P<line>.+)")
PROFILE = "/tmp/vandel.conf"
PROGRAMS = {
    "schemac": os.path.join(BUILD, "schemac"),
    "tarnd-gateway": os.path.join(BUILD, "tarnd-gateway"),
    "vandel-connect": os.path.join(ROOT, "tools", "vandel-connect"),
    "vandel-do": vandel_do.PROGRAM,
}
PAGES = sorted(os.listdir(os.path.join(ROOT, "docs", "man")))


class Step(NamedTuple):
    prompt: str
    line: str
    answer: list


def read(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as document:
        return document.read()


def transcripts(name):
    """The steps of each block of a document that begins with a prompt."""
    for block in re.findall(r"(?m)(?:^    .*\n|^\n(?=    ))+", read(name)):
        lines = [line[4:] for line in block.strip("\n").split("\n")]
        if COMMAND.fullmatch(lines[0]):
            yield list(steps_of(lines))


def steps_of(lines):
    steps = []
    for line in lines:
        if command := COMMAND.fullmatch(line):
            steps.append(Step(command["prompt"], command["line"], []))
        else:
            steps[-1].answer.append(line)
    return steps


def shown(text):
    """Lines as they are read: without colours, blanks at their ends and empty lines."""
    lines = UNSEEN.sub("", text).split("\n")
    return [line.rstrip() for line in lines if line.strip()]


def agrees(pattern, lines):
    """True when lines are those of the pattern, in which "…" stands for any number of them."""
    if not pattern:
        return not lines
    if pattern[0].strip() == "…":
        return any(agrees(pattern[1:], lines[skipped:]) for skipped in range(len(lines) + 1))
    return bool(lines) and lines[0] == pattern[0] and agrees(pattern[1:], lines[1:])


@pytest.fixture(name="device")
def fixture_device(machine):
    with router(machine, "--no-subscribe"):
        yield machine


class Terminal:
    """An interactive shell; its prompt is what stood there last."""

    def __init__(self, machine):
        self.prompt = Prompt(machine, columns=250, env={"COLUMNS": "80"})
        self.last = "/$"

    def ask(self, step):
        assert self.last == step.prompt
        if step.line.endswith("?"):
            *answer, again = shown(self.prompt.help(step.line[:-1]).decode())
            assert again == f"{step.prompt} {step.line[:-1]}"
            return answer
        *answer, self.last = shown(self.prompt.run(step.line))
        return answer


def run_words(machine, line):
    """One command of the system's shell: vandel, vandel-do, or a look at vandel's file."""
    if line == f"cat {PROFILE}":
        with open(machine.profile, encoding="utf-8") as profile:
            return shown(profile.read())
    program, *arguments = shlex.split(line)
    assert program in ("vandel", "vandel-do")
    if program == "vandel":
        result = machine.one_shot(*arguments)
    else:
        result = vandel_do.run(machine, *arguments)
    assert (result.status, result.stderr) == (0, b"")
    return shown(result.stdout.decode())


@pytest.mark.parametrize("name", ["README.md", "docs/guide.md"])
def test_transcripts(device, name):
    terminal = Terminal(device)
    steps = [step for block in transcripts(name) for step in block]
    prompts = re.findall(r"(?m)^    (?:/|\[|\$ ).*", read(name))
    assert len(steps) == len([line for line in prompts if COMMAND.fullmatch(line[4:])]) > 10
    for step in steps:
        alone = step.prompt == "$"
        answer = run_words(device, step.line) if alone else terminal.ask(step)
        expected = shown("\n".join(step.answer))
        assert agrees(expected, answer), "\n".join([f"{step.prompt} {step.line}", *answer])


@pytest.mark.parametrize("page", PAGES)
def test_a_man_page_is_well_formed(page):
    path = os.path.join(ROOT, "docs", "man", page)
    lint = ["mandoc", "-T", "lint", "-W", "warning", path]
    assert subprocess.run(lint, check=False, capture_output=True).stdout == b""


@pytest.mark.parametrize("page", PAGES)
def test_a_man_page_refers_to_all_others(page):
    section = read(f"docs/man/{page}").partition(".Sh SEE ALSO\n")[2].partition("\n.Sh")[0]
    named = set(re.findall(r"(?m)^\.Xr (\S+) (\d)( ,)?$", section))
    others = {tuple(other.rsplit(".", 1)) for other in PAGES if other != page}
    assert len(others) == 7
    assert others <= {(name, number) for name, number, _ in named}


@pytest.mark.parametrize("program", PROGRAMS)
def test_a_man_page_has_every_option(program):
    usage = subprocess.run([PROGRAMS[program], "--help"], check=True, capture_output=True)
    options = set(re.findall(r"(?m)^  --([a-z-]+)", usage.stdout.decode()))
    assert "help" in options
    assert set(re.findall(r"(?m)^\.It Fl -([a-z-]+)", read(f"docs/man/{program}.1"))) == options


def test_the_man_page_has_every_command(machine):
    listed = re.findall(r"(?m)^  ([a-z_-]+) +\S", machine.one_shot("help").stdout.decode())
    assert len(listed) == 17
    described = re.findall(r"(?m)^\.It Ic ([a-z_-]+)", read("docs/man/vandel.1"))
    assert list(dict.fromkeys(described)) == listed


def commands_for_a_router(name):
    """The lines that lead to a router of the reader's own, each as its words."""
    block = re.search(r"(?m)^    redis-server (?:.*\n)(?:    .*\n)+", read(name))[0]
    return [shlex.split(line) for line in block.replace("\\\n", " ").splitlines()]


def test_the_documents_show_the_same_way_to_a_router():
    ways = [commands_for_a_router(name) for name in ("README.md", "docs/guide.md")]
    assert ways[0] == ways[1]


def test_the_way_to_a_router_of_one_s_own(machine, tmp_path):
    """Each command as it is shown, with names of this machine in place of the reader's, where
    another user has put what redis would take for its own database."""
    (tmp_path / "dump.rdb").write_text("a database of another")
    with contextlib.ExitStack() as servers:
        directory = tempfile.mkdtemp(prefix="vandel-test.", dir="/tmp")
        servers.callback(shutil.rmtree, directory, ignore_errors=True)
        server = Netconfd(directory, RUN_MODULES, [MODELS])
        servers.callback(server.stop)
        command, environment = server.transport()

        def words_here(words):
            line = " ".join(words).replace("/run", directory).replace("MODELS", MODELS)
            line = line.replace("MODULE…", "vandel-device vandel-ospf")
            return line.replace("ssh -s admin@router netconf", shlex.join(command)).split(" ")

        def start(words, socket):
            process = subprocess.Popen(
                words, cwd=tmp_path, env=environment, stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            )  # fmt: skip
            servers.callback(process.wait)
            servers.callback(process.terminate)
            wait_for(lambda: accepts(os.path.join(directory, socket)), words)
            os.link(os.path.join(directory, socket), machine.path(f"own.{socket}"))

        database, compiler, gateway, shell = map(words_here, commands_for_a_router("docs/guide.md"))
        start(database, "schema.sock")
        compiler[0] = os.path.join(BUILD, compiler[0])
        subprocess.run(compiler, check=True, capture_output=True)
        gateway[0] = os.path.join(BUILD, gateway[0])
        start(gateway, "tarnd.sock")
        *variables, program = shell
        assert program == "vandel"
        for variable in variables:
            name, _, path = variable.partition("=")
            machine.environment[name] = f"/tmp/own.{os.path.basename(path)}"
        result = machine.session("ls", "save", "quit")
        assert b"vandel-device" in result.stdout and b"<ok/>" in result.stdout


def test_the_contract_has_every_function_of_the_platform():
    """Each has a section of its own, with its declaration."""
    declared = {}
    for header in ("conf_agent.h", "redisapi.h"):
        code = re.sub("//.*", "", read(f"platform/include/{header}"))
        for text, name in re.findall(r"((?:int|void|redis\w+) \*?(\w+)\([^)]*\);)", code):
            declared[name] = text.split()
    found = re.findall(r"(?m)^### (\w+)\n\n((?:    .*\n)+)", read("docs/porting.md"))
    assert {name: text.split() for name, text in found} == declared
    assert len(declared) == 8


DOCUMENTS = ("README.md", "CONTRIBUTING.md", "CHANGES.md", "bench/README.md") + tuple(
    f"docs/{name}" for name in os.listdir(os.path.join(ROOT, "docs")) if name.endswith(".md")
)


def anchors(text):
    """What a link may name in a document: its headings, as they stand in an address."""
    headings = re.findall(r"(?m)^#+ (.*)$", text)
    return {re.sub(r"[^\w -]", "", heading).lower().replace(" ", "-") for heading in headings}


@pytest.mark.parametrize("name", DOCUMENTS)
def test_each_link_leads_somewhere(name):
    for target in re.findall(r"\]\(([^)]+)\)", read(name)):
        if target.startswith("https://"):
            continue
        path, _, anchor = target.partition("#")
        path = os.path.normpath(os.path.join(os.path.dirname(name), path)) if path else name
        assert os.path.exists(os.path.join(ROOT, path)), target
        assert not anchor or anchor in anchors(read(path)), target


def test_installed_documents_link_to_each_other_only():
    (line,) = re.findall(r"install\(FILES (docs/.*) DESTINATION", read("CMakeLists.txt"))
    names = line.split()
    assert len(names) > 1
    for name in names:
        for target in re.findall(r"\]\(([^)#]+)", read(name)):
            assert f"docs/{target}" in names, (name, target)


# A test file, and in brackets after it names of its tests, or pieces of them.
NAMED = re.compile(r"`(unit|e2e|tests/fuzz)/([\w*]+)`(?: \(((?:[^()`]|`[^`]*`)*)\))?")
PLACES = {"unit": "unit/{}.cpp", "e2e": "e2e/{}.py", "tests/fuzz": "fuzz/{}*"}


@pytest.mark.parametrize("name", ["docs/reliability.md", "docs/security.md"])
def test_each_promise_names_tests_that_are_there(name):
    named = NAMED.findall(re.sub(r"\s+", " ", read(name)))
    assert len(named) > 20
    for folder, file, cases in named:
        sources = glob.glob(os.path.join(ROOT, "tests", PLACES[folder].format(file)))
        assert sources, file
        text = "".join(read(source) for source in sources)
        for case in re.findall(r"`([^`]+)`", cases):
            if re.fullmatch(r"[a-z0-9_…]+", case):
                assert re.search(case.strip("…").replace("…", r"\w+"), text), (file, case)


@pytest.mark.parametrize("length", [78, 157])
def test_lines_of_a_pipe(machine, length):
    machine.load(EXAMPLE)
    line = "pwd " + "x" * (length - 4)
    alone = b"/$ pwd\n/\r\n/$ quit\n"
    assert b"/$ pwd\n" not in machine.session(line, "pwd", "quit").stdout
    assert machine.session(line, "", "pwd", "quit").stdout.endswith(alone)
    assert machine.session(line[:-1], "pwd", "quit").stdout.endswith(alone)
