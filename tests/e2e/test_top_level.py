"""Lists, leaf-lists and a choice that stand in a module itself."""

import pytest
from support.example import DELETE, committed, edit_config, get, get_config, printed_ok
from support.messages import NO_CHILD
from support.nested import NET
from support.prompts import ROOT, at, blue, cyan, go, plain, row, shown
from support.shell import DEBUG


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(NET)


def printed_data(inner, message_id):
    """How a reply that holds data, written out in lines, is shown."""
    base = "urn:ietf:params:xml:ns:netconf:base:1.0"
    lines = "".join(f"    {line}\n" for line in inner)
    return (
        f'\r\n<rpc-reply xmlns="{base}" message-id="{message_id}">\n'
        f"  <data>\n{lines}  </data>\n</rpc-reply>\n"
    )


class TestTopLevel:
    """Nodes right below the module declare its namespace, each for itself."""

    USERS = (
        '<user xmlns="urn:net"><name>a/b:c</name></user>'
        '<user xmlns="urn:net"><name>x y</name></user>'
    )
    KEYS = '<user xmlns="urn:net"><name></name></user>'

    def test_a_list(self, machine):
        machine.tarnd.holds("<user ", self.USERS)
        prompt, entry = at("/net/user"), at("/net/user[name=a/b:c]")
        lines = ['<user xmlns="urn:net">', "  <name>", "    {}", "  </name>", "</user>"]
        reply = [line.format(key) for key in ("a/b:c", "x y") for line in lines]
        machine.dialogue(
            *go("net", "user"),
            (prompt, "ls", row(cyan('user[name="x y"]'), cyan("user[name=a/b:c]"))),
            (prompt, "cd user[name=a/b:c]", ""),
            (entry, "set role r", ""),
            (entry, "cd ..", ""),
            (prompt, 'delete user[name="x y"]', ""),
            (prompt, "add-listentry name new", ""),
            (prompt, "get user[name=a/b:c]", printed_data(reply, 11)),
            (prompt, "commit", printed_ok(12)),
        )
        # the first six ask for the choice beside the list
        assert machine.tarnd.requests[6:] == [
            get_config(self.KEYS, 7),
            get_config(self.KEYS, 8),
            get_config(self.KEYS, 9),
            get_config(self.KEYS, 10),
            get('<user xmlns="urn:net"><name>a/b:c</name></user>', 11),
            edit_config(
                '<user xmlns="urn:net"><name>new</name></user>'
                f'<user xmlns="urn:net" {DELETE}><name>x y</name></user>'
                '<user xmlns="urn:net"><name>a/b:c</name><role>r</role></user>',
                12,
            ),
        ]

    def test_a_leaf_list(self, machine):
        assert committed(
            machine,
            "set /net/dns 1.1.1.1",
            "set /net/dns ::1",
            "set /net/dns 2.2.2.2",
        ) == edit_config(
            '<dns xmlns="urn:net">1.1.1.1</dns>'
            '<dns xmlns="urn:net">::1</dns>'
            '<dns xmlns="urn:net">2.2.2.2</dns>'
        )

    def test_values_of_a_leaf_list_are_deleted(self, machine):
        machine.dialogue(
            (ROOT, "set /net/dns a", ""),
            (ROOT, "set /net/dns b", ""),
            (ROOT, "delete /net/dns b", ""),
            (ROOT, "delete /net/dns c", ""),
            (ROOT, "commit", printed_ok(13)),
        )
        assert machine.tarnd.requests[12] == edit_config(
            '<dns xmlns="urn:net">a</dns>'
            f'<dns xmlns="urn:net" {DELETE}>b</dns>'
            f'<dns xmlns="urn:net" {DELETE}>c</dns>',
            13,
        )


class TestAChoiceBelowTheModule:
    ASKED = [
        '<basic xmlns="urn:net"></basic>',
        '<plain xmlns="urn:net"></plain>',
        '<pat xmlns="urn:net"></pat>',
        '<sub xmlns="urn:net"></sub>',
        '<rule xmlns="urn:net"></rule>',
        '<pat xmlns="urn:net"></pat>',
    ]
    REST = [plain("dns"), blue("sys"), cyan("user")]
    NOT_ACTIVE = (DEBUG, "[DEBUG] failed to get acitve case branch. \r\n\n")

    def item(self, simple="", complex_="", i1="", i2=""):
        inner = f"( ({plain(' pat')}){i1} | ({blue(' sub')}){i2} )"
        return (
            f"( ({blue(' basic')}{plain(' plain')}){simple} | ({cyan(' rule')}{inner}){complex_} )"
        )

    def ls(self, machine):
        result = machine.session("cd net", "ls", "quit", env={"COLUMNS": "400"})
        head, tail = "/$ cd net\n\n/net$ ls\n", "\n/net$ quit\n"
        text = result.stdout.decode()
        assert text.startswith(head) and text.endswith(tail)
        return text[len(head) : -len(tail)]

    def expect(self, item):
        return "  ".join([item, shown("clean", "01;32"), *self.REST]) + "\n"

    def test_nothing_is_active(self, machine):
        assert self.ls(machine) == self.expect(self.item())
        assert machine.tarnd.requests == [
            get_config(body, number) for number, body in enumerate(self.ASKED, 1)
        ]
        # simple, i1, i2, and for complex i1 once more
        assert machine.log.texts(DEBUG) == [self.NOT_ACTIVE] * 5

    def test_a_list_makes_its_case_active(self, machine):
        machine.tarnd.holds("<rule ", '<rule xmlns="urn:net"><id>1</id></rule>')
        assert self.ls(machine) == self.expect(self.item(complex_="*"))
        assert machine.tarnd.requests == [
            get_config(body, number) for number, body in enumerate(self.ASKED[:5], 1)
        ]
        assert machine.log.texts(DEBUG) == [self.NOT_ACTIVE] * 3

    def test_a_leaf_list_of_the_first_nested_case(self, machine):
        machine.tarnd.holds("<pat ", '<pat xmlns="urn:net">p</pat><pat xmlns="urn:net">q</pat>')
        assert self.ls(machine) == self.expect(self.item(complex_="*", i1="*"))
        assert machine.log.texts(DEBUG) == [self.NOT_ACTIVE] * 2

    def test_a_container_of_the_second_nested_case(self, machine):
        """It is active itself but does not make the outer case so."""
        machine.tarnd.holds("<sub ", '<sub xmlns="urn:net"><y>1</y></sub>')
        assert self.ls(machine) == self.expect(self.item(i2="*"))
        assert machine.log.texts(DEBUG) == [self.NOT_ACTIVE] * 4

    def test_both_outer_cases(self, machine):
        machine.tarnd.holds("<plain ", '<plain xmlns="urn:net">1</plain>')
        machine.tarnd.holds("<pat ", '<pat xmlns="urn:net">p</pat>')
        assert self.ls(machine) == self.expect(self.item(simple="*", i1="*"))

    def test_entering_and_deleting(self, machine):
        machine.tarnd.holds("<rule ", '<rule xmlns="urn:net"><id>1</id></rule>')
        prompt = at("/net")
        missing = "error: child node:{0}  is not existed.\r\n"
        machine.dialogue(
            *go("net"),
            (prompt, "cd basic", NO_CHILD),
            (prompt, "cd plain", NO_CHILD),
            (prompt, "delete basic", missing.format("basic")),
            (prompt, "delete sub", ""),
            (prompt, "cd sub", ""),
            (at("/net/sub"), "cd ../rule", ""),
            (at("/net/rule"), "cd rule[id=1]", ""),
            (at("/net/rule[id=1]"), "pwd", "/net/rule[id=1]\r\n"),
            end=at("/net/rule[id=1]"),
        )

    def test_nothing_of_a_case_is_in_the_path_that_is_sent(self, machine):
        assert committed(
            machine, "set /net/sub/y 1", "set /net/rule[id=a:b]/act x", "set /net/pat p"
        ) == edit_config(
            '<pat xmlns="urn:net">p</pat>'
            '<rule xmlns="urn:net"><id>a:b</id><act>x</act></rule>'
            '<sub xmlns="urn:net"><y>1</y></sub>'
        )
