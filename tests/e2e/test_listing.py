"""ls: entries, classes, choices, and the columns they stand in."""

import pytest
from support import tarnd as daemon
from support.example import EXAMPLE, get_config
from support.prompts import at, blue, cyan, go, plain, shown
from support.schema_db import (
    Schema,
    case,
    choice,
    container,
    leaf,
    leaf_list,
    list_,
    module,
    node_record,
    other,
    rpc,
)
from support.shell import DEBUG, ERROR

USAGE = "error command, please use:ls (no param)\r\n"


def test_the_root_lists_modules_by_name(machine):
    machine.load(Schema(module("zeta", "urn:z"), module("alpha", "urn:a"), module("Mid", "urn:m")))
    machine.dialogue(("/$ ", "ls", f"{blue('Mid')}  {blue('alpha')}  {blue('zeta')}\n"))


def test_modules_look_alike_whatever_their_records_hold(machine):
    machine.load(
        Schema(
            module("a", "", record=b""),
            module("b", "", record=node_record(2)),
            module("c", "", record=bytes(43)),
        )
    )
    machine.dialogue(("/$ ", "ls", f"{blue('a')}  {blue('b')}  {blue('c')}\n"))


def test_the_class_of_every_kind(machine):
    machine.load(
        Schema(
            module(
                "m",
                "urn:m",
                other("k00", 0),
                container("k01"),
                leaf("k02"),
                leaf_list("k03"),
                list_("k04", []),
                other("k06", 6),
                rpc("k07"),
                other("k08", 8),
                other("k09", 9),
                other("k10", 10),
                other("k11", 11),
                other("k31", 31),
            )
        )
    )
    machine.dialogue(
        *go("m"),
        (
            at("/m"),
            "ls",
            "  ".join(
                [
                    shown("k00", "01;34"),
                    shown("k01", "01;34"),
                    shown("k02", "0"),
                    shown("k03", "0"),
                    shown("k04", "01;36"),
                    shown("k06", ""),
                    shown("k07", "01;32"),
                    shown("k08", ""),
                    shown("k09", ""),
                    shown("k10", "0"),
                    shown("k11", "0"),
                    shown("k31", "0"),
                ]
            )
            + "\n",
        ),
    )


def test_fields_that_are_too_short_are_left_out(machine):
    machine.load(
        Schema(
            module(
                "m",
                "urn:m",
                leaf("long", record=bytes([0x81, 0]) + bytes(18)),
                leaf("short", record=bytes([0x81, 0]) + bytes(17)),
                leaf("none", record=b""),
            )
        )
    )
    machine.dialogue(*go("m"), (at("/m"), "ls", plain("long") + "\n"))


@pytest.mark.parametrize("line", ["ls x", "ls .", "ls -l", "ls a b"])
def test_the_usage_of_ls(machine, line):
    machine.dialogue(("/$ ", line, USAGE))


class TestColumns:
    """Ten names of five bytes unless a test says otherwise."""

    NAMES = [f"name{letter}" for letter in "abcdefghij"]

    @staticmethod
    def load(machine, names):
        machine.load(Schema(module("m", "urn:m", *(leaf(name) for name in names))))

    def ls(self, machine, columns):
        result = machine.session("cd m", "ls", "quit", env={"COLUMNS": columns})
        before = b"/$ cd m\n\n/m$ ls\n"
        after = b"\n/m$ quit\n"
        assert result.stdout.startswith(before) and result.stdout.endswith(after)
        return result.stdout[len(before) : -len(after)].decode()

    def rows(self, machine, columns):
        return [
            [name[4:-4] for name in line.split()] for line in self.ls(machine, columns).splitlines()
        ]

    def test_all_fit_in_one_row(self, machine):
        self.load(machine, self.NAMES)
        assert self.ls(machine, "80") == "  ".join(map(plain, self.NAMES)) + "\n"

    def test_one_column_less_and_the_rows_double(self, machine):
        self.load(machine, self.NAMES)
        # ten columns take 9 * 7 + 5 = 68 and must be less than the width
        assert len(self.rows(machine, "69")) == 1
        assert self.rows(machine, "68") == [
            ["namea", "namec", "namee", "nameg", "namei"],
            ["nameb", "named", "namef", "nameh", "namej"],
        ]

    def test_rows_fill_downwards(self, machine):
        self.load(machine, self.NAMES)
        assert self.rows(machine, "27") == [
            ["namea", "named", "nameg", "namej"],
            ["nameb", "namee", "nameh"],
            ["namec", "namef", "namei"],
        ]
        assert self.rows(machine, "26") == [
            ["namea", "namee", "namei"],
            ["nameb", "namef", "namej"],
            ["namec", "nameg"],
            ["named", "nameh"],
        ]

    def test_one_column_when_nothing_fits(self, machine):
        self.load(machine, self.NAMES)
        expected = "".join(plain(name) + "\n" for name in self.NAMES)
        for columns in ("1", "2", "3", "5", "12"):
            assert self.ls(machine, columns) == expected

    def test_columns_are_as_wide_as_their_widest_name(self, machine):
        self.load(machine, ["a", "bbbbbbbb", "ccc", "dd", "e"])
        assert self.ls(machine, "20") == (
            f"{plain('a')}         {plain('ccc')}  {plain('e')}\n"
            f"{plain('bbbbbbbb')}  {plain('dd')}\n"
        )

    def test_a_single_entry(self, machine):
        self.load(machine, ["only"])
        assert self.ls(machine, "80") == plain("only") + "\n"

    def test_names_are_sorted_by_bytes(self, machine):
        self.load(machine, ["b", "A", "a", "_", "B", "a-b", "ä", "10", "9"])
        assert self.ls(machine, "200").split() == [
            plain(name) for name in ["10", "9", "A", "B", "_", "a", "a-b", "b", "ä"]
        ]

    @pytest.mark.parametrize(
        "columns",
        [
            None,
            "",
            "0",
            "-5",
            "wide",
            "80",
            "0x50",
            "0120",
            " 80",
            "80 columns",
            "9" * 30,
            "-" + "9" * 30,
        ],
    )
    def test_values_that_mean_eighty(self, machine, columns):
        # 79 bytes fit into 80, 80 do not
        for last, rows in ((3, 1), (4, 2)):
            names = [f"n{number:02}-{'x' * 8}" for number in range(5)] + ["z" * last]
            self.load(machine, names + ["y" * 4])
            assert len(self.rows(machine, columns)) == rows, (columns, last)

    @pytest.mark.parametrize("columns", ["10000", "10001", "20000", "2147483647"])
    def test_ten_thousand_is_the_widest(self, machine, columns):
        # 49 columns of 200, one of 3, and the last
        for last, rows in ((196, 1), (197, 2)):
            names = [f"n{number:03}" + "x" * 194 for number in range(49)] + ["z" * last, "y"]
            self.load(machine, names)
            assert len(self.rows(machine, columns)) == rows

    def test_a_thousand_entries(self, machine):
        names = [f"entry{number:04}" for number in range(1000)]
        self.load(machine, names)
        rows = self.rows(machine, "80")
        columns = 80 // 11
        assert len(rows) == -(-1000 // columns)
        assert sorted(name for row in rows for name in row) == names


class TestListEntries:
    PORTS = "".join(
        f"<port><id>{key}</id></port>" for key in ("1", "ge-0/0/1", "a:b", "x y", "p=q")
    )

    def test_the_entries_of_a_list(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.holds("<port>", f'<box xmlns="urn:acme">{self.PORTS}</box>')
        names = [
            'port[id="p=q"]',
            'port[id="x y"]',
            "port[id=1]",
            "port[id=a:b]",
            "port[id=ge-0/0/1]",
        ]
        result = machine.session(
            "cd acme", "cd box", "cd port", "ls", "quit", env={"COLUMNS": "200"}
        )
        expected = "  ".join(cyan(name) for name in names) + "\n"
        assert result.stdout.decode() == (
            "/$ cd acme\n\n/acme$ cd box\n\n/acme/box$ cd port\n"
            f"\n/acme/box/port$ ls\n{expected}\n/acme/box/port$ quit\n"
        )
        assert machine.tarnd.requests == [
            get_config('<box xmlns="urn:acme"><port><id></id></port></box>')
        ]

    def test_a_list_with_two_keys(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.holds(
            "<route>",
            '<box xmlns="urn:acme"><route><via>v</via><dest>1/8</dest></route>'
            "<route><dest>2/8</dest><via>w</via></route></box>",
        )
        machine.dialogue(
            *go("acme", "box", "route"),
            (
                at("/acme/box/route"),
                "ls",
                f"{cyan('route[dest=1/8,via=v]')}  {cyan('route[dest=2/8,via=w]')}\n",
            ),
        )
        (request,) = machine.tarnd.requests
        assert request == get_config(
            '<box xmlns="urn:acme"><route><dest></dest><via></via></route></box>'
        )

    def test_values_with_quotes(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.holds(
            "<port>",
            '<box xmlns="urn:acme"><port><id>say "hi"</id></port>'
            "<port><id>it's</id></port><port><id>a,b</id></port></box>",
        )
        machine.dialogue(
            *go("acme", "box", "port"),
            (
                at("/acme/box/port"),
                "ls",
                "  ".join(map(cyan, ['port[id="a,b"]', "port[id='say \"hi\"']", "port[id=it's]"]))
                + "\n",
            ),
        )

    def test_a_list_of_another_module(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.holds(
            "<lamp", '<box xmlns="urn:acme"><lamp xmlns="urn:extra"><id>7</id></lamp></box>'
        )
        machine.dialogue(
            *go("acme", "box", "extra:lamp"),
            (at("/acme/box/extra:lamp"), "ls", cyan("extra:lamp[id=7]") + "\n"),
        )
        assert machine.tarnd.requests == [
            get_config('<box xmlns="urn:acme"><lamp xmlns="urn:extra"><id></id></lamp></box>')
        ]

    def test_a_server_without_entries(self, machine):
        machine.load(EXAMPLE)
        machine.dialogue(*go("acme", "box", "port"), (at("/acme/box/port"), "ls", ""))
        assert machine.log.texts(DEBUG) == [(DEBUG, "[DEBUG] netserver didn't configure list\n")]

    def test_an_entry_with_too_many_leaves(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.holds(
            "<port>", '<box xmlns="urn:acme"><port><id>1</id><mtu>9</mtu></port></box>'
        )
        machine.dialogue(*go("acme", "box", "port"), (at("/acme/box/port"), "ls", ""))
        assert machine.log.texts(DEBUG) == [
            (DEBUG, "[DEBUG] kvs is full\n"),
            (DEBUG, "[DEBUG] error:get nclist \r\n \n"),
        ]

    def test_an_entry_without_its_key(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.holds(
            "<port>",
            '<box xmlns="urn:acme"><port><id>1</id></port><port><mtu>9</mtu></port></box>',
        )
        machine.dialogue(*go("acme", "box", "port"), (at("/acme/box/port"), "ls", ""))
        assert (DEBUG, "[DEBUG] error:get nclist \r\n \n") in machine.log.texts(DEBUG)

    def test_a_reply_in_another_namespace_has_no_entries(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.holds("<port>", '<box xmlns="urn:other"><port><id>1</id></port></box>')
        machine.dialogue(*go("acme", "box", "port"), (at("/acme/box/port"), "ls", ""))

    def test_a_server_that_hangs_up(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.on_request = lambda request: [daemon.close]
        machine.dialogue(*go("acme", "box", "port"), (at("/acme/box/port"), "ls", ""))
        assert (DEBUG, "[DEBUG] recv get msg reply error\n") in machine.log.texts(DEBUG)
        assert machine.log.texts(ERROR) == []

    def test_below_one_entry_only_that_entry_counts(self, machine):
        machine.load(
            Schema(
                module(
                    "m",
                    "urn:m",
                    container(
                        "c",
                        list_("l", ["k"], leaf("k"), list_("n", ["j"], leaf("j"))),
                    ),
                )
            )
        )
        inner = "<n><j>{}</j></n>"
        machine.tarnd.holds(
            "<n>",
            '<c xmlns="urn:m">'
            + f"<l><k>1</k>{inner.format('one')}</l>"
            + f"<l><k>a/b:c</k>{inner.format('two')}</l></c>",
        )
        machine.tarnd.holds("<l>", '<c xmlns="urn:m"><l><k>1</k></l><l><k>a/b:c</k></l></c>')
        path = "/m/c/l[k=a/b:c]/n"
        machine.dialogue(
            *go("m", "c", "l"),
            (at("/m/c/l"), "cd l[k=a/b:c]", ""),
            (at("/m/c/l[k=a/b:c]"), "cd n", ""),
            (at(path), "ls", cyan("n[j=two]") + "\n"),
        )
        assert machine.tarnd.requests[-1] == get_config(
            '<c xmlns="urn:m"><l><k>a/b:c</k><n><j></j></n></l></c>', 2
        )


class TestChoices:
    """Cases stand in the database's order, their children newest first."""

    TCP = plain(" tcp-host") + plain(" tcp-port")
    UDP = blue(" udp-options") + plain(" udp-port")
    HAS_TCP = '<link xmlns="urn:acme"><tcp-host>h</tcp-host></link>'
    HAS_UDP = '<link xmlns="urn:acme"><udp-port>53</udp-port></link>'

    def check(self, machine, item):
        machine.load(EXAMPLE)
        machine.dialogue(
            *go("acme", "link"), (at("/acme/link"), "ls", f"{item}\n{plain('mode')}\n")
        )

    def test_no_case_is_active(self, machine):
        self.check(machine, f"( ({self.TCP}) | ({self.UDP}) )")

    def test_the_active_case_has_a_star(self, machine):
        machine.tarnd.holds("<udp-port>", self.HAS_UDP)
        self.check(machine, f"( ({self.TCP}) | ({self.UDP})* )")

    def test_of_two_active_cases_the_first_has_the_star(self, machine):
        machine.tarnd.holds("<udp-port>", self.HAS_UDP)
        machine.tarnd.holds("<tcp-host>", self.HAS_TCP)
        self.check(machine, f"( ({self.TCP})* | ({self.UDP}) )")

    def test_the_server_is_asked_until_the_first_hit(self, machine):
        machine.load(EXAMPLE)
        machine.tarnd.holds("<tcp-host>", self.HAS_TCP)
        machine.session("cd acme", "cd link", "ls", "quit")
        assert machine.tarnd.requests == [
            get_config(f'<link xmlns="urn:acme"><{name}></{name}></link>', number)
            for number, name in enumerate(("tcp-host", "udp-options", "udp-port"), 1)
        ]

    def nested(self, machine, first="", m1="", m2=""):
        machine.load(EXAMPLE)
        inner = f"( ({plain(' b2')}{plain(' b1')}){m1} | ({plain(' c1')}){m2} )"
        machine.dialogue(
            *go("acme", "deep"),
            (
                at("/acme/deep"),
                "ls",
                f"( ({plain(' a1')}{inner}){first} | ({plain(' d1')}) )\n",
            ),
        )

    def test_a_nested_choice_stands_after_the_direct_nodes(self, machine):
        self.nested(machine)
        # the cases of a choice are judged when it is read, the inner one first
        assert machine.tarnd.requests == [
            get_config(f'<deep xmlns="urn:acme"><{name}></{name}></deep>', number)
            for number, name in enumerate(("b2", "b1", "c1", "a1", "b2", "b1", "d1"), 1)
        ]

    def test_a_nested_case_makes_its_outer_case_active(self, machine):
        machine.tarnd.holds("<b1>", '<deep xmlns="urn:acme"><b1>1</b1></deep>')
        self.nested(machine, first="*", m1="*")

    def test_the_first_nested_case_without_data_ends_the_search(self, machine):
        machine.tarnd.holds("<c1>", '<deep xmlns="urn:acme"><c1>1</c1></deep>')
        self.nested(machine, m2="*")

    def test_one_item_however_many_nodes(self, machine):
        machine.load(
            Schema(
                module(
                    "m",
                    "urn:m",
                    container(
                        "c", choice("x", case("a", leaf("p")), case("b", leaf("q"))), leaf("r")
                    ),
                )
            )
        )
        # the item is as wide as its text with the colour codes; a column has
        # three characters at least
        item = f"( ({plain(' p')}) | ({plain(' q')}) )"
        fits = len(item) + 2 + 3 + 1
        for columns, output in (
            (fits, f"{item}  {plain('r')}\n"),
            (fits - 1, f"{item}\n{plain('r')}\n"),
        ):
            result = machine.session("cd m", "cd c", "ls", "quit", env={"COLUMNS": str(columns)})
            assert result.stdout.decode().endswith(f"ls\n{output}\n/m/c$ quit\n")
