"""Databases and replies that are not as they should be."""

import pytest
from support import tarnd as daemon
from support.example import edit_config, get, get_config, invoke, printed_no_data, printed_ok
from support.prompts import ROOT, at
from support.schema_db import (
    CASE,
    CHOICE,
    INPUT,
    LEAF,
    Node,
    Schema,
    case,
    choice,
    container,
    leaf,
    leaf_list,
    list_,
    module,
    node_record,
    rpc,
)
from support.shell import DEBUG, ERROR

NO_SUCH = "m: no such command, type 'help' for more information.\n"
NOT_ACTIVE = (DEBUG, "[DEBUG] failed to get acitve case branch. \r\n\n")
NO_LIST = (DEBUG, "[DEBUG] netserver didn't configure list\n")


def short(kind):
    """A record that lacks one byte of the least that is needed."""
    return node_record(kind)[:19]


def least(kind, config=True):
    """A record without a string area."""
    return node_record(kind, config)[:20]


def wrong(operand):
    return f"error parameter: {operand}\r\n"


def load(machine, *children):
    machine.load(Schema(module("m", "urn:m", *children)))


class TestRecords:
    def test_a_node_of_19_bytes_is_absent(self, machine):
        load(machine, container("c", leaf("x", record=short(LEAF))))
        machine.dialogue(
            (ROOT, "get /m/c/x", wrong("/m/c/x")),
            (ROOT, "set /m/c/x 1", wrong("/m/c/x")),
            (ROOT, "get-config -r /m/c/x", wrong("/m/c/x")),
            (ROOT, "delete /m/c/x", "error: child node:/m/c/x  is not existed.\r\n"),
        )
        assert machine.tarnd.requests == []

    def test_a_node_of_20_bytes_is_there(self, machine):
        load(machine, container("c", leaf("x", record=least(LEAF))))
        machine.dialogue(
            (ROOT, "set /m/c/x a:b", ""),
            (ROOT, "get-config -r /m/c/x", printed_no_data(1)),
            (ROOT, "commit", printed_ok(2)),
        )
        assert machine.tarnd.requests[1] == edit_config('<c xmlns="urn:m"><x>a:b</x></c>', 2)

    def test_a_module_of_42_bytes_is_absent(self, machine):
        machine.load(Schema(module("m", "", leaf("x"), record=bytes(42))))
        machine.dialogue(
            (ROOT, "get /m", wrong("/m")),
            (ROOT, "cd m", wrong("m")),
            (ROOT, "ls", "\x1b[01;34mm\x1b[0m\n"),
            (ROOT, "get /m/x", ""),
            (ROOT, "m", wrong("m") + NO_SUCH),
        )
        assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] failed to build netconf get msg!\n")]

    def test_what_is_staged_in_a_module_without_a_namespace(self, machine):
        """It can be neither shown nor sent, and stays."""
        machine.load(Schema(module("m", "", container("c", leaf("x")), record=bytes(42))))
        shell = machine.start()
        shell.send("set /m/c/x 1\nget-config -l\nget-config -l /m/c/x\ncommit\n\n")
        shell.expect(b"/$ commit\ncmdtree to netconf error \r\n/$ ")
        machine.load(Schema(module("m", "urn:m", container("c", leaf("x")))))
        shell.send("commit\nquit\n")
        result = shell.wait()
        assert result.stdout.decode() == (
            "/$ set /m/c/x 1\n/$ get-config -l\n/$ get-config -l /m/c/x\n<x>1</x>\n"
            f"/$ commit\ncmdtree to netconf error \r\n/$ \n/$ commit\n{printed_ok(1)}/$ quit\n"
        )
        assert machine.tarnd.requests == [edit_config('<c xmlns="urn:m"><x>1</x></c>')]
        assert machine.log.texts(ERROR) == [(ERROR, "[ERROR] cmdtree2netconf error \r\n\n")]

    def test_a_module_of_43_bytes_is_there(self, machine):
        machine.load(Schema(module("m", "", leaf("x"), record=bytes(43))))
        machine.dialogue(
            (ROOT, "get /m", "/m's not config node.\r\n"),
            (ROOT, "get-config -r /m/x", printed_no_data(1)),
            (ROOT, "m", "invalid operation!!\r\n" + NO_SUCH),
            (ROOT, "cd m", ""),
            end=at("/m"),
        )
        assert machine.tarnd.requests == [get_config('<x xmlns=""></x>')]

    def test_other_bits_of_the_flags_mean_nothing(self, machine):
        flags = (0xFFFF & ~(31 << 6) | LEAF << 6).to_bytes(2, "little")
        load(machine, container("c", leaf("x", record=flags + b"\xff" * 18)))
        machine.dialogue(
            (ROOT, "set /m/c/x 1", ""),
            (ROOT, "get-config -l", '<c xmlns="urn:m"><x>1</x></c>\n'),
        )

    @pytest.mark.parametrize("kind", [0, 1, 4, 5, 6, 7, 8, 9, 10, 11, 31])
    def test_what_can_be_set_is_decided_by_the_kind(self, machine, kind):
        load(machine, container("c", leaf("x", record=least(kind))))
        machine.dialogue((ROOT, "set /m/c/x 1", "/m/c/x's not config node.\r\n"))

    @pytest.mark.parametrize("kind", [2, 3])
    def test_what_can_be_set_must_be_configuration(self, machine, kind):
        state = leaf("y", record=least(kind, False))
        load(machine, container("c", leaf("x", record=least(kind)), state))
        machine.dialogue(
            (ROOT, "set /m/c/x 1", ""), (ROOT, "set /m/c/y 1", "/m/c/y's not config node.\r\n")
        )


class TestChoices:
    """/m/c with a leaf in a case of a choice whose records are damaged."""

    LOST = (DEBUG, "[DEBUG] error: invalid path /m/c/x\r\n\n")

    @pytest.mark.parametrize(
        "damaged",
        [
            choice("ch", case("a", leaf("x")), record=short(CHOICE)),
            choice("ch", case("a", leaf("x"), record=short(CASE))),
        ],
    )
    def test_short_records_hide_what_is_below(self, machine, damaged):
        load(machine, container("c", damaged))
        machine.dialogue(
            (ROOT, "get /m/c/x", wrong("/m/c/x")),
            (ROOT, "cd m", ""),
            (at("/m"), "cd c", ""),
            (at("/m/c"), "cd x", wrong("x")),
            end=at("/m/c"),
        )
        assert machine.log.texts(DEBUG) == [self.LOST] * 2
        assert machine.tarnd.requests == []

    def test_a_short_case_is_not_shown(self, machine):
        load(
            machine,
            container(
                "c", choice("ch", case("a", leaf("x"), record=short(CASE)), case("b", leaf("y")))
            ),
        )
        result = machine.session("cd m", "cd c", "ls", "quit")
        assert b"\n/m/c$ ls\n( (\x1b[0m y\x1b[0m) )\n\n/m/c$ quit\n" in result.stdout
        assert machine.log.texts(DEBUG) == [NOT_ACTIVE]
        assert machine.tarnd.requests == [get_config('<c xmlns="urn:m"><y></y></c>')]

    def test_a_choice_whose_cases_are_missing(self, machine):
        """Nothing of its node can be listed."""
        load(machine, container("c", leaf("x"), choice("ch")))
        machine.dialogue(
            (ROOT, "cd m", ""),
            (at("/m"), "cd c", ""),
            (at("/m/c"), "ls", ""),
            (at("/m/c"), "cd x", "failed to get descendant\r\n"),
            (at("/m/c"), "delete x", "error: child node:x  is not existed.\r\n"),
            (at("/m/c"), "set x 1", ""),
        )
        branch = (DEBUG, "[DEBUG] Failed to get /m/c:/m/c's  branch\n")
        below = (ERROR, "[ERROR] error:get descendant by schema \r\n \n")
        assert machine.log.texts(DEBUG, ERROR) == [
            branch,
            below,
            (ERROR, "[ERROR] error:get ls node \r\n\n"),
            branch,
            below,
            branch,
            below,
        ]

    def test_its_message_shows_the_path_as_it_is_typed(self, machine):
        load(machine, list_("l", ["k"], leaf("k"), choice("ch")))
        machine.dialogue(
            (ROOT, "cd m", ""),
            (at("/m"), "cd l", ""),
            (at("/m/l"), 'add-listentry k "a b/c:d"', ""),
            (at("/m/l"), 'cd l[k="a b/c:d"]', ""),
            (at('/m/l[k="a b/c:d"]'), "ls", ""),
        )
        line = """[DEBUG] Failed to get /m/l[k="a b/c:d"]:/m/l[]'s  branch\n"""
        assert (DEBUG, line) in machine.log.texts(DEBUG)

    def test_a_child_that_is_no_case_is_shown_but_not_found(self, machine):
        """Every field of a choice is listed as a case; paths go through cases."""
        load(machine, container("c", choice("ch", container("a", leaf("x")))))
        machine.dialogue((ROOT, "set /m/c/x 1", wrong("/m/c/x")))
        result = machine.session("cd m", "cd c", "ls", "quit")
        assert b"\n( (\x1b[0m x\x1b[0m) )\n" in result.stdout

    def test_choices_are_searched_in_the_order_of_the_database(self, machine):
        load(
            machine,
            container(
                "c",
                choice("one", case("a", choice("deep", case("z", leaf("x", config=False))))),
                choice("two", case("b", leaf("y")), case("d", leaf("x"))),
            ),
        )
        # a case that has the node itself goes before one that nests it
        machine.dialogue((ROOT, "set /m/c/x 1", ""))


class TestRpcs:
    def test_a_short_input_is_none(self, machine):
        load(machine, Node(7, "go", [Node(INPUT, "input", [leaf("x")], record=short(INPUT))]))
        machine.dialogue(
            (ROOT, "/m/go", ""),
            ("\n[go]$ ", "set x 1", wrong("x")),
            ("\n[go]$ ", "commit", printed_ok(1)),
            end=at("/m"),
        )
        assert machine.tarnd.requests == [invoke('<go xmlns="urn:m"></go>')]

    def test_the_input_is_known_by_its_kind(self, machine):
        load(machine, Node(7, "go", [leaf("input"), Node(INPUT, "in", [leaf("x")])]))
        machine.dialogue(
            (ROOT, "/m/go", ""),
            ("\n[go]$ ", "ls", "\x1b[0mx\x1b[0m\n"),
            ("\n[go]$ ", "set x 1", ""),
            ("\n[go]$ ", "set input 1", wrong("input")),
            ("\n[go]$ ", "commit", printed_ok(1)),
            end=at("/m"),
        )
        assert machine.tarnd.requests == [invoke('<go xmlns="urn:m"><x>1</x></go>')]

    def test_parameters_must_be_configuration(self, machine):
        state = list_("l", ["k"], leaf("k"), config=False)
        load(machine, rpc("go", leaf("x", config=False), state))
        machine.dialogue(
            (ROOT, "/m/go", ""),
            ("\n[go]$ ", "set x 1", "/m/go/x's not config node.\r\n"),
            ("\n[go]$ ", "cd l", ""),
            ("\n[go]l$ ", "add-listentry k 1", "/m/go/l's  not config node.\r\n"),
            ("\n[go]l$ ", "commit", printed_ok(1)),
            end=at("/m"),
        )


class TestKeys:
    def test_a_key_of_another_module(self, machine):
        """The database's name of a key is the one that entries are named by."""
        keyed = list_("l", ["b", "x:a"], leaf("x:a"), leaf("b"), leaf("v"))
        machine.load(Schema(module("m", "urn:m", container("c", keyed)), module("x", "urn:x")))
        machine.tarnd.holds("<l>", '<c xmlns="urn:m"><l><a xmlns="urn:x">1</a><b>2</b></l></c>')
        path = "/m/c/l[b=2,x:a=1]"
        exists = "key:l[b=2,x:a=1] already exist!, use ls cmd to see the current keys\r\n"
        keys = '<c xmlns="urn:m"><l><a xmlns="urn:x"></a><b></b></l></c>'
        machine.dialogue(
            (ROOT, "cd m", ""),
            (at("/m"), "cd c", ""),
            (at("/m/c"), "cd l", ""),
            (at("/m/c/l"), "ls", "\x1b[01;36ml[b=2,x:a=1]\x1b[0m\n"),
            (at("/m/c/l"), "add-listentry a 1 b 2", exists),
            (at("/m/c/l"), "add-listentry x:a 3 b 4", ""),
            (at("/m/c/l"), "cd l[b=2,x:a=1]", ""),
            (at(path), "set v 1", ""),
            (at(path), "commit", printed_ok(5)),
        )
        assert machine.tarnd.requests == [
            *(get_config(keys, number) for number in range(1, 5)),
            edit_config(
                '<c xmlns="urn:m"><l><b>2</b><a xmlns="urn:x">1</a><v>1</v></l>'
                '<l><b>4</b><a xmlns="urn:x">3</a></l></c>',
                5,
            ),
        ]

    def test_a_key_typed_with_its_prefix(self, machine):
        load(machine, container("c", list_("l", ["k"], leaf("k"), leaf("v"))))
        machine.dialogue(
            (ROOT, "set /m/c/l[m:k=1]/v 2", ""),
            (ROOT, "get /m/c/l[m:k=a:b]", printed_no_data(1)),
            (ROOT, "get /m/c/l[gone:k=1]", ""),
            (ROOT, "commit", printed_ok(3)),
        )
        assert machine.tarnd.requests == [
            get('<c xmlns="urn:m"><l><k xmlns="urn:m">a:b</k></l></c>', 1),
            edit_config('<c xmlns="urn:m"><l><k xmlns="urn:m">1</k><v>2</v></l></c>', 3),
        ]
        assert machine.log.texts(DEBUG) == [(DEBUG, "[DEBUG] augment node:k error\n")]

    def test_a_list_without_keys(self, machine):
        """Its entries have no names: they are not asked for, and none can be added."""
        load(machine, list_("o", ["k"], leaf("k"), list_("l", [], leaf("v"))))
        o, entry, bare = at("/m/o"), at("/m/o[k=a/b]"), at("/m/o[k=a/b]/l")
        machine.dialogue(
            (ROOT, "cd m", ""),
            (at("/m"), "cd o", ""),
            (o, "add-listentry k a/b", ""),
            (o, "cd o[k=a/b]", ""),
            (entry, "cd l", ""),
            (bare, "ls", ""),
            (
                bare,
                "cd l[k=1]",
                "error: child node is not existed or another choice case is set.\r\n",
            ),
            (bare, "add-listentry k 1", "failed to get list's keys \r\n"),
            (bare, "get-config -r .", printed_no_data(3)),
        )
        unread = "[DEBUG] Failed to get /m/o[]/l from db\n"
        unasked = [unread, "[DEBUG] failed to get list[/m/o[k=a/b]/l] key\n",
                   "[DEBUG] error:get nclist \r\n \n"]  # fmt: skip
        logged = [text for _, text in machine.log.texts(DEBUG)]
        assert logged == [NO_LIST[1]] * 2 + unasked * 2 + [unread]

    def test_the_name_of_a_wrong_key_is_logged_as_it_is_typed(self, machine):
        load(machine, list_("l", ["k"], leaf("k")))
        machine.dialogue(
            (ROOT, "cd m", ""),
            (at("/m"), "cd l", ""),
            (at("/m/l"), 'add-listentry "k =" 1', "failed to get list's key:value \r\n"),
        )
        assert machine.log.texts(DEBUG) == [(DEBUG, '[DEBUG] invalid key:"k ="\n')]


class TestReplies:
    ERRORS = "<rpc-error><error-tag>operation-failed</error-tag></rpc-error>"

    @pytest.fixture(autouse=True)
    def schema(self, machine):
        load(
            machine,
            container(
                "c",
                list_("l", ["k"], leaf("k"), leaf("v")),
                choice("ch", case("a", leaf_list("x"))),
            ),
        )

    def listing(self, machine, name):
        result = machine.session("cd m", "cd c", f"cd {name}", "ls", "quit")
        return result.stdout.decode().partition("$ ls\n")[2].partition("\n/m")[0]

    @pytest.mark.parametrize(
        "reply, logged",
        [
            (lambda request: request.reply(TestReplies.ERRORS), []),
            (lambda request: request.reply(""), []),
            (lambda request: request.data(), []),
            (lambda request: request.data('<c xmlns="urn:m"/>'), []),
            (lambda request: request.data('<c xmlns="urn:m"><l xmlns=""><k>1</k></l></c>'), []),
            (lambda request: "<data/>", []),
            (lambda request: [daemon.frame(b"")], ["parse xml err.", "recv get msg reply error"]),
            (lambda request: "<rpc-reply", ["parse xml err.", "Receive a invalid xml document."]),
            (lambda request: "\0", ["parse xml err.", "Receive a invalid xml document."]),
        ],
    )
    def test_replies_without_entries(self, machine, reply, logged):
        machine.tarnd.on_request = lambda request: reply(request)
        assert self.listing(machine, "l") == ""
        lines = [f"[DEBUG] {text}\n" for text in logged]
        # the way to the list asks once for the choice beside it
        expected = [*lines, NOT_ACTIVE[1], *lines, NO_LIST[1]]
        assert [text for _, text in machine.log.texts(DEBUG)] == expected

    @pytest.mark.parametrize(
        "entries, names",
        [
            ("<l><k/></l>", ["l[k=]"]),
            ("<l><k>1</k></l><l><k>1</k></l>", ["l[k=1]", "l[k=1]"]),
            ("<l><!-- first --><k>1<!-- 0 --></k> </l>", ["l[k=1]"]),
            ("<l><k><![CDATA[<&>]]></k></l>", ["l[k=<&>]"]),
            ("<l><k>a<b>c</b></k></l>", ["l[k=ac]"]),
            ('<p:l xmlns:p="urn:m"><p:k>1</p:k></p:l>', ["l[k=1]"]),
            ("<l><k>1</k></l><other><k>2</k></other>", ["l[k=1]"]),
            ("<l><k>&#228;</k></l>", ["l[k=ä]"]),
        ],
    )
    def test_entries(self, machine, entries, names):
        machine.tarnd.holds("<l>", f'<c xmlns="urn:m">{entries}</c>')
        shown = "  ".join(f"\x1b[01;36m{name}\x1b[0m" for name in names)
        assert self.listing(machine, "l") == shown + "\n"

    @pytest.mark.parametrize("reply", [b"", b"\0", b"text"])
    def test_a_read_that_is_answered_by_nothing(self, machine, reply):
        machine.tarnd.on_request = lambda request: [daemon.frame(reply)]
        machine.dialogue(
            (ROOT, "get /m/c", "\r\n"),
            (ROOT, "get-config -r /m/c", "\r\n"),
            (ROOT, "get-config -s /m/c", "\r\n"),
        )

    def test_a_read_that_is_refused(self, machine):
        machine.tarnd.on_request = lambda request: request.reply(self.ERRORS)
        base = "urn:ietf:params:xml:ns:netconf:base:1.0"
        shown = (
            "\r\n"
            '<rpc-reply xmlns="{}" message-id="{}">\n'
            "  <rpc-error>\n"
            "    <error-tag>\n"
            "      operation-failed\n"
            "    </error-tag>\n"
            "  </rpc-error>\n"
            "</rpc-reply>\n"
        )
        machine.dialogue(
            (ROOT, "get /m/c", shown.format(base, 1)),
            (ROOT, "get-config -s m/c", shown.format(base, 2)),
        )

    def test_a_list_that_is_too_deep_for_a_request(self, machine):
        """It shows what is staged; the request has taken its id."""
        load(machine, list_("o", ["k"], leaf("k"), list_("i", ["j"], leaf("j"))))
        key = "9" * 4000
        shell = machine.start()
        shell.send("cd m\ncd o\n")
        shell.send(f"add-listentry k {key}\ncd o[k={key}]\ncd i\n")
        shell.send("add-listentry j 1\nls\nget /m/o\nquit\n")
        assert shell.wait().stdout.endswith(
            b"]/i$ ls\n\x1b[01;36mi[j=1]\x1b[0m\n\n/m/o[k=" + key.encode() + b"]/i$ get /m/o\n"
            + printed_no_data(5).encode() + b"\n/m/o[k=" + key.encode() + b"]/i$ quit\n"
        )  # fmt: skip
        failed = ["buf is not enough!", "Build get msg error", "netserver didn't configure list"]
        logged = [text for _, text in machine.log.texts(DEBUG)]
        assert logged == [f"[DEBUG] {text}\n" for text in failed[2:] * 2 + failed * 2]
