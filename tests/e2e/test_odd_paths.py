"""Every way to write a path, and what is refused."""

import pytest
from support.example import edit_config, get, printed_no_data, printed_ok
from support.messages import NO_CHILD, TOO_MANY_LAYERS
from support.prompts import ROOT
from support.schema_db import Schema, leaf, list_, module
from support.shell import DEBUG

BOX = "\n/acme/box$ "
pytestmark = pytest.mark.usefixtures("example")


def in_box(machine, *steps, end=BOX):
    return machine.dialogue((ROOT, "cd acme", ""), ("\n/acme$ ", "cd box", ""), *steps, end=end)


def not_config(path):
    return f"{path}'s not config node.\r\n"


# None of these can be set, and the answer names the path that was understood.
RESOLVED = [
    (".", "/acme/box"),
    ("./", "/acme/box"),
    ("./.", "/acme/box"),
    (".//./.", "/acme/box"),
    ("../box", "/acme/box"),
    ("../../acme/box", "/acme/box"),
    ("/acme/box/", "/acme/box"),
    ("//acme///box//", "/acme/box"),
    ("/./acme/./box/.", "/acme/box"),
    ("inner", "/acme/box/inner"),
    ("./inner", "/acme/box/inner"),
    ("inner/", "/acme/box/inner"),
    ("inner/..", "/acme/box"),
    ("inner/../", "/acme/box"),
    ("inner/../inner/./state/..", "/acme/box/inner"),
    ("none/../inner", "/acme/box/inner"),
    ("none[x=1]/../../inner", "/acme/box/inner"),
    ("port[id=1]", "/acme/box/port[id=1]"),
    ("port[id=1]/..", "/acme/box/port"),
    ("port[id=1]/../..", "/acme/box"),
    ("port[id=1]/../qos/..", "/acme/box/port"),
    ("port[id=1]/qos/..", "/acme/box/port[id=1]"),
    ("port[id=..]", "/acme/box/port[id=..]"),
    ("port[id=/../]/qos", "/acme/box/port[id=/../]/qos"),
    ("port[id=//]/qos//", "/acme/box/port[id=//]/qos"),
    ("port[id=a/./b]/qos/.", "/acme/box/port[id=a/./b]/qos"),
    ("port[id=/]/..", "/acme/box/port"),
    ("port[id=a=b]/qos", "/acme/box/port[id=a=b]/qos"),
    ("port[id=']']", "/acme/box/port[id=']']"),
    ('port[id="[/]"]/qos', '/acme/box/port[id="[/]"]/qos'),
    ('port[id="a , b"]/..', "/acme/box/port"),
    ("route[via=a:b/c,dest=d:/e]", "/acme/box/route[via=a:b/c,dest=d:/e]"),
    ("extra:lamp[id=extra:x]/..", "/acme/box/extra:lamp"),
    ("extra:paint/.", "/acme/box/extra:paint"),
]


@pytest.mark.parametrize("line", ["set {}", "set {} x"])
def test_what_is_understood(machine, line):
    in_box(machine, *((BOX, line.format(operand), not_config(path)) for operand, path in RESOLVED))


UNUSABLE = [
    "none",
    "../none",
    "inner/none",
    "../../..",
    "/..",
    "/../acme/box/name",
    "/acme/../..",
    "..x",
    "...",
    "inner/..x",
    "inner/...",
    ".inner",
    "./.inner",
    "/acme/box/..inner",
    "port/name",
    "port[id=1]/name",
    "port[id=1]/../mtu",
    "paint",
    "extra:name",
    "acme:name",
    "extra:paint/acme:shade",
    "name/x",
    "tag/x",
    "[id=1]",
    "/",
    '"name"',
    '"a b"/c',
    "%s%n",
]


@pytest.mark.parametrize("line", ["set {} 1", "set {}", "get-config -r {}", "get-config -s {}"])
def test_what_leads_nowhere(machine, line):
    in_box(
        machine,
        *((BOX, line.format(operand), f"error parameter: {operand}\r\n") for operand in UNUSABLE),
    )
    assert machine.tarnd.requests == []


def test_a_module_is_a_path_but_no_node(machine):
    in_box(
        machine,
        (BOX, "set .. 1", "error parameter: ..\r\n"),
        (BOX, "get-config -r ..", not_config("/acme")),
        (BOX, "get ..", not_config("/acme")),
        (BOX, "get ../../extra", not_config("/extra")),
    )


def test_the_log_shows_a_path_as_it_is_typed(machine):
    machine.dialogue((ROOT, 'get "/a b"', 'error parameter: "/a b"\r\n'))
    machine.dialogue((ROOT, 'get acme/"a ,b"', 'error parameter: acme/"a ,b"\r\n'))
    lines = ['/"/a b"', '/acme/"a ,b"']
    assert machine.log.texts(DEBUG) == [
        (DEBUG, f"[DEBUG] error: invalid path {line}\r\n\n") for line in lines
    ]


# How many layers an argument of cd has. The answers are those of /acme/box.
LAYERED = [
    ("inner/state", TOO_MANY_LAYERS),
    ("/acme/box", TOO_MANY_LAYERS),
    ("../../x", TOO_MANY_LAYERS),
    ("../../..", TOO_MANY_LAYERS),
    ("./inner/state", TOO_MANY_LAYERS),
    ("//a//b", TOO_MANY_LAYERS),
    ("/../x", TOO_MANY_LAYERS),
    ("inner/../inner", TOO_MANY_LAYERS),
    ("port[id=1]/qos", TOO_MANY_LAYERS),
    ("a/./b", TOO_MANY_LAYERS),
    ("/none", "error: node:/none  is not existed.\r\n"),
    ("/none/", "error: node:/none/  is not existed.\r\n"),
    ("/./none", "error: node:/./none  is not existed.\r\n"),
    ("/none-at-all", "error parameter: /none-at-all\r\n"),
    ("../none", "error parameter: ../none\r\n"),
    ("./none", "error parameter: ./none\r\n"),
    ("/..", "error parameter: /..\r\n"),
    ("port[id=a/b/c]", NO_CHILD),
    ('port[id="/a b/"]', NO_CHILD),
    ("port[id=1", NO_CHILD),
    ("route[dest=d]", NO_CHILD),
    (".", ""),
    ("./.", ""),
    ("inner/..", ""),
    ("../box", ""),
]


def test_layers(machine):
    in_box(machine, *((BOX, f"cd {operand}", output) for operand, output in LAYERED))


UPWARDS = [
    ("..", "/acme"),
    ("../", "/acme"),
    ("./..", "/acme"),
    ("..//.", "/acme"),
    ("../.", "/acme"),
    ("../..", "/"),
    ("../../", "/"),
    ("./../..", TOO_MANY_LAYERS),
    ("/acme", "/acme"),
    ("//acme//", "/acme"),
    ("/", "/"),
    ("/.", "/"),
    ("//", "/"),
    ("/./", "/"),
]


@pytest.mark.parametrize("operand, where", UPWARDS)
def test_upwards(machine, operand, where):
    if where == TOO_MANY_LAYERS:
        in_box(machine, (BOX, f"cd {operand}", TOO_MANY_LAYERS))
    else:
        in_box(machine, (BOX, f"cd {operand}", ""), end=f"\n{where}$ ")


class TestInAList:
    """A list goes on with its own name and a predicate, or not at all."""

    LIST = "\n/acme/box/port$ "

    @pytest.fixture(autouse=True)
    def entries(self, machine):
        machine.tarnd.holds("<port>", '<box xmlns="urn:acme"><port><id>1</id></port></box>')

    def in_list(self, machine, *steps, end=LIST):
        return in_box(machine, (BOX, "cd port", ""), *steps, end=end)

    UNDERSTOOD = [
        ("port[id=1]/qos", "/acme/box/port[id=1]/qos"),
        ("./port[id=1]/qos/../qos", "/acme/box/port[id=1]/qos"),
        ("/acme/box/port/port[id=a/b]", "/acme/box/port[id=a/b]"),
        ("/acme/box/port[id=1]/qos", "/acme/box/port[id=1]/qos"),
        ("../inner", "/acme/box/inner"),
        ("none/..", "/acme/box/port"),
        (".", "/acme/box/port"),
    ]

    def test_what_is_understood(self, machine):
        self.in_list(
            machine,
            *((self.LIST, f"set {typed} 1", not_config(path)) for typed, path in self.UNDERSTOOD),
            # an entry goes up to its list's name, which is no entry
            (self.LIST, "set port[id=1]/.. 1", "error parameter: port[id=1]/..\r\n"),
        )

    def test_what_is_not(self, machine):
        operands = ["id", "mtu", "port", "port/id", "ports[id=1]", "por[id=1]", "/acme/box/port/id"]
        self.in_list(
            machine,
            *((self.LIST, f"set {typed} 1", f"error parameter: {typed}\r\n") for typed in operands),
        )

    def test_up_from_an_entry(self, machine):
        entry = "\n/acme/box/port[id=1]$ "
        self.in_list(
            machine,
            (self.LIST, "cd port[id=1]", ""),
            (entry, "cd ../..", ""),
            end=BOX,
        )


def test_a_list_of_another_module_goes_on_with_its_prefix(machine):
    lamp = "\n/acme/box/extra:lamp$ "
    entry = '<lamp xmlns="urn:extra"><id>1</id><color>red</color></lamp>'
    in_box(
        machine,
        (BOX, "cd extra:lamp", ""),
        (lamp, "set lamp[id=1]/color red", "error parameter: lamp[id=1]/color\r\n"),
        (lamp, "set extra:lamp[id=1]/color red", ""),
        (lamp, "get-config -l .", f'<box xmlns="urn:acme">{entry}</box>\n'),
        (lamp, "get-config -l extra:lamp[id=1]", f"{entry}\n"),
        end=lamp,
    )


def test_a_key_leaf_below_the_list_itself(machine):
    """Keys are all that a list has without a predicate."""
    in_box(
        machine,
        (BOX, "set port/id 5", ""),
        (BOX, "set port[id=1]/id 5", ""),
        (BOX, "get port/id", printed_no_data(1)),
        (BOX, "commit", printed_ok(2)),
    )
    assert machine.tarnd.requests == [
        get('<box xmlns="urn:acme"><port><id></id></port></box>'),
        edit_config(
            '<box xmlns="urn:acme"><port><id>1</id><id>5</id></port><port><id>5</id></port></box>',
            2,
        ),
    ]


def test_names_of_choices_and_cases_are_no_data(machine):
    """They can be looked up but are never listed."""
    machine.dialogue(
        (ROOT, "cd acme", ""),
        ("\n/acme$ ", "cd link", ""),
        ("\n/acme/link$ ", "cd transport", NO_CHILD),
        ("\n/acme/link$ ", "cd tcp", "error parameter: tcp\r\n"),
        ("\n/acme/link$ ", "set transport 1", not_config("/acme/link/transport")),
        ("\n/acme/link$ ", "delete transport", "error: child node:transport  is not existed.\r\n"),
    )


class TestLocalTexts:
    """get-config -l prints one text for each chunk of its output."""

    SCHEMA = Schema(module("m", "urn:m", *(leaf(name) for name in "abcdefgh")))

    @staticmethod
    def piece(name, length):
        room = length - len(f'<{name} xmlns="urn:m"></{name}>')
        return name * room, f'<{name} xmlns="urn:m">{name * room}</{name}>'

    # lengths of the pieces in output order, and how many stand in each text
    @pytest.mark.parametrize(
        "lengths, texts",
        [
            ([4095], [1]),
            ([4096], [1]),
            ([4000, 95], [2]),
            ([4000, 96], [1, 1]),
            ([4095, 100], [1, 1]),
            ([5000, 100, 8000], [1, 2]),
            ([5000, 100, 8091], [1, 2]),
            ([5000, 100, 8092], [1, 1, 1]),
            ([100, 9000, 100, 16283], [1, 1, 2]),
            ([100, 9000, 100, 16284], [1, 1, 1, 1]),
            ([100, 8191, 100], [1, 1, 1]),
            ([100, 8192, 100], [1, 1, 1]),
        ],
    )
    def test_where_a_text_ends(self, machine, lengths, texts):
        machine.load(self.SCHEMA)
        pieces = [self.piece(name, length) for name, length in zip("abcdefgh", lengths)]
        shell = machine.start()
        # the newest comes first
        for value, _ in reversed(pieces):
            shell.send(f"set /m/{value[0]} {value}\n")
        shell.send("get-config -l\nquit\n")
        expected, rest = "", [text for _, text in pieces]
        for count in texts:
            expected += "".join(rest[:count]) + "\n"
            rest = rest[count:]
        output = shell.wait().stdout.decode()
        assert output.endswith(f"/$ get-config -l\n{expected}/$ quit\n")

    @pytest.mark.parametrize(
        "value, shown",
        [
            ("&amp;lt;", "&amp;lt;"),
            ("&#10;&#65;&apos;", "&#10;&#65;&apos;"),
            ("<&>\"'", "<&>\"'"),
            ('"a [b]=c, d"', "a [b]=c, d"),
            ("%d%s%n", "%d%s%n"),
            ("a/b:c", "a/b:c"),
            ("\x01\x02", "/:"),
        ],
    )
    def test_values(self, machine, value, shown):
        machine.load(self.SCHEMA)
        machine.dialogue(
            (ROOT, f"set /m/a {value}", ""),
            (ROOT, "get-config -l", f'<a xmlns="urn:m">{shown}</a>\n'),
            (ROOT, "get-config -l /m", f'<a xmlns="urn:m">{shown}</a>\n'),
            (ROOT, "get-config -l /", f'<a xmlns="urn:m">{shown}</a>\n'),
            (ROOT, "get-config -l m/a", f'<a xmlns="urn:m">{shown}</a>\n'),
        )

    def test_paths_without_anything_staged(self, machine):
        missing = "{} not exist in local configuration buffer \r\n"
        machine.dialogue(
            (ROOT, "get-config -l /", missing.format("/")),
            (ROOT, "set /acme/box/port[id=1]/mtu 9", ""),
            *((ROOT, f"get-config -l {path}", missing.format(path))
              for path in ("none", "..", "/none/x", "/acme/box/name", "/acme/box/port[id=1]/qos",
                           "/acme/box/port[id=1", '/acme/box/port[id="a b"]', "/acme/box/port/id",
                           "/acme/box/route", "/extra", "acme/box/port[id=1]/mtu/x")),
        )  # fmt: skip


@pytest.mark.parametrize(
    "typed, held",
    [
        ('"a b"', "a b"),
        ("'a b'", "a b"),
        ('"it\'s it"', "it's it"),
        ("'say \"x y\"'", 'say "x y"'),
        ("it's", "it's"),
        ('x"y', 'x"y'),
        ("a'b\"c", "a'b\"c"),
        ("/a:b/", "/a:b/"),
        ('"[=,]"', "[=,]"),
        ('"ab"', '"ab"'),
    ],
)
def test_a_reply_is_searched_for_the_value_itself(machine, typed, held):
    """Entries below an entry whose key needs quotes, or has some of its own."""
    inner = list_("i", ["j"], leaf("j"))
    machine.load(Schema(module("m", "urn:m", list_("o", ["k"], leaf("k"), inner))))
    machine.tarnd.on_request = lambda request: request.data(
        '<o xmlns="urn:m"><k>other</k><i><j>wrong</j></i></o>'
        f'<o xmlns="urn:m"><k>{held}</k><i><j>right</j></i></o>'
    )
    path = f"/m/o[k={typed}]"
    machine.dialogue(
        (ROOT, "cd m", ""),
        ("\n/m$ ", "cd o", ""),
        ("\n/m/o$ ", f"set /m/o[k={typed}]/i[j=1]/j 1", ""),
        ("\n/m/o$ ", f"cd o[k={typed}]", ""),
        (f"\n{path}$ ", "cd i", ""),
        (f"\n{path}/i$ ", "delete i[j=1]", ""),
        (f"\n{path}/i$ ", "ls", "\x1b[01;36mi[j=right]\x1b[0m\n"),
    )
