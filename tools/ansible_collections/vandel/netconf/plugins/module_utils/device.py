"""A device as the modules see it: through vandel-do."""

import contextlib
import os
import re
import signal
import subprocess
import tempfile
import threading
from xml.etree import ElementTree
from xml.parsers import expat

BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
OPERATION = f"{{{BASE}}}operation"
ARGUMENTS = {
    "host": {"type": "str"},
    "connect": {"type": "list", "elements": "str", "default": []},
    "timeout": {"type": "int", "default": 60},
}
REFUSED_BY_DEVICE, UNREACHABLE = 1, 3
CONNECTING = 10  # times as long as for a command: all modules may have to be fetched and compiled
DEEPEST = 40  # levels of a configuration that is laid out; models have half as many
LONGEST = 255  # characters of a namespace
LAST = 10000  # bytes that are shown of what was said while a device could not be reached
# What would steer a terminal: Ansible prints it as it stands.
CONTROLS = re.compile("[\0-\x08\x0b-\x1f\x7f-\x9f\u202a-\u202e\u2066-\u2069]")
# vandel-connect holds the device until its standard input is closed.
HOLD = 'printf "%s\\n" "$TARND_SOCKET" "$SCHEMA_REDIS" && exec cat'


class Device:
    """Open as long as it is entered. What fails here ends the module."""

    def __init__(self, module):
        self.module = module
        self.program = module.get_bin_path("vandel-do", required=True)
        self.connection = None
        self.environment = {}

    def __enter__(self):
        # An empty one is no device, and not the one of who names none.
        if self.module.params["host"] is not None:
            self._connect()
        return self

    def __exit__(self, *_):
        if self.connection:
            self.connection.communicate()

    def path(self, name):
        """In a directory that Ansible removes, also when the module is killed."""
        return os.path.join(self.module.tmpdir, name)

    def _connect(self):
        program = self.module.get_bin_path("vandel-connect", required=True)
        # At the login of ssh it would not notice that the module has been killed.
        words = ["setpriv", "--pdeathsig", "TERM", program, "-oBatchMode=yes"]
        words += [*self.module.params["connect"], "--run", "--", self.module.params["host"]]
        with tempfile.TemporaryFile("w+", encoding="utf-8", errors="replace") as said:
            self.connection = subprocess.Popen(
                [*words, "sh", "-c", HOLD],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=said, text=True,
            )  # fmt: skip
            seconds = CONNECTING * self.module.params["timeout"]
            # ssh waits for ever at a login, and nobody else ends what waits for that.
            patience = threading.Timer(seconds, self.connection.terminate)
            patience.start()
            for name in ("TARND_SOCKET", "SCHEMA_REDIS"):
                self.environment[name] = self.connection.stdout.readline().rstrip("\n")
            patience.cancel()
            if not self.environment["SCHEMA_REDIS"]:
                self.connection.communicate()
                said.seek(max(0, said.seek(0, os.SEEK_END) - LAST))
                if self.connection.returncode == -signal.SIGTERM:
                    self.fail(UNREACHABLE, f"{said.read()}no shell within {seconds} seconds")
                self.fail(self.connection.returncode, said.read())

    def run(self, lines, *options):
        """Has vandel-do run lines; (exit status, standard output, standard error)."""
        words = [
            self.program,
            "--no-notifications",
            "--timeout",
            str(self.module.params["timeout"]),
        ]
        given = "".join(f"{line}\n" for line in lines)
        return self.module.run_command(
            [*words, *options], data=given, binary_data=True, environ_update=self.environment
        )

    def fail(self, status, said, **result):
        """Ends the module with what was said of a status that is not 0, by the device, too."""
        said = printable(said.strip())
        if status == UNREACHABLE:
            self.module.exit_json(unreachable=True, msg=said, **result)
        self.module.fail_json(msg=said, rc=status, **result)

    def read(self, datastore):
        """All of a datastore, as an element `data`."""
        path = self.path(datastore)
        status, _, said = self.run([f"export-config {datastore} {path}"], "--xml")
        if status != 0:
            self.fail(status, said)
        if not os.path.exists(path):
            return ElementTree.Element("data")  # of nothing, an export makes no file
        data = parse_file(path)
        os.remove(path)
        return data


def lines_of(module, option):
    """The lines of an option. A line end within one, perhaps of a value, ends the module."""
    lines = module.params[option]
    if any("\n" in line.strip("\n") for line in lines):
        module.fail_json(msg=f"{option}: one holds a line end, after which another would begin")
    return lines


def parse(text):
    """The root of what a device has sent. Raises ParseError, also where a namespace is long,
    which would be there again in each name."""

    def look(_, attributes):
        spaces = (value for name, value in attributes.items() if name.startswith("xmlns"))
        if any(len(space) > LONGEST for space in spaces):
            raise ElementTree.ParseError(f"a namespace of more than {LONGEST} characters")

    # Not at once: what a handler raises keeps no reader from going on to the end.
    reader = expat.ParserCreate(intern=None)
    reader.StartElementHandler = look
    with contextlib.suppress(expat.ExpatError):  # it comes again
        reader.Parse(text, True)
    return ElementTree.fromstring(text)


def parse_file(path):
    with open(path, "rb") as file:
        return parse(file.read())


def printable(text):
    """With references in the place of what would steer a terminal."""
    return CONTROLS.sub(lambda found: f"&#x{ord(found[0]):x};", text)


def text_of(data):
    """The element, laid out for comparing and for people, without prefixes."""
    root = ElementTree.fromstring(ElementTree.tostring(data))
    # The blanks of a device that makes up levels would fill the memory.
    if _name(root, "") <= DEEPEST:
        ElementTree.indent(root)
    return printable(ElementTree.tostring(root, encoding="unicode")) + "\n"


def _name(element, outer):
    """How many levels there are, too."""
    space, _, name = element.tag.rpartition("}")
    if space != outer:
        element.set("xmlns", space[1:])
    element.tag = name
    return 1 + max((_name(child, space) for child in element), default=0)


def fulfils(data, request):
    """Whether all that a request asks for is so."""
    return all(_is_so(data, wanted) for wanted in request)


def _is_so(parent, wanted):
    is_deleted = OPERATION in wanted.attrib
    return is_deleted != any(_matches(child, wanted, is_deleted) for child in parent)


def _matches(element, wanted, is_any_value):
    if element.tag != wanted.tag:
        return False
    if not (len(wanted) or is_any_value and not wanted.text):
        return (element.text or "") == (wanted.text or "")
    return fulfils(element, wanted)


def errors(replies):
    """What the device has said against a request, from the output of vandel-do --xml."""
    found = []
    try:
        for error in parse(replies).iter(f"{{{BASE}}}rpc-error"):
            said = error.find(f"{{{BASE}}}error-message")
            said = error.find(f"{{{BASE}}}error-tag") if said is None else said
            path = error.findtext(f"{{{BASE}}}error-path")
            found.append(f"{said.text.strip()}" + (f" ({path.strip()})" if path else ""))
    except (ElementTree.ParseError, AttributeError):
        pass
    return printable("; ".join(found))
