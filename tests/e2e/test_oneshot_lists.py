"""One command per process where entries, rpcs and odd profiles are concerned."""

import os

import pytest
from support import tarnd as daemon
from support.example import edit_config, get, get_config, invoke, printed_no_data, printed_ok
from support.messages import DISCARDED, NOTHING_STAGED, NO_CHILD, no_such
from support.nested import NET
from support.oneshot import filled, profile, run, with_lines, write_profile
from support.shell import DEBUG, ERROR


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(NET)


def in_rpc(pwd, config="", parameters="", residue=""):
    """The profile that the first command creates when it enters an rpc."""
    text = filled(pwd, config, "/net/clean", parameters, residue)
    return text.replace("[rpc]\n/net/clean\n\n\n", "[rpc]\n/net/clean\n\n")


def cyan(name):
    return f"\x1b[01;36m{name}\x1b[0m"


class TestEntries:
    USERS = "/net/user"

    def at_users(self, machine, config=""):
        write_profile(machine, filled(self.USERS, config))

    def test_added_entries_are_listed_and_entered(self, machine):
        self.at_users(machine)
        run(machine, "add-listentry name a/b:c")
        run(machine, 'add-listentry name "x y"')
        run(machine, "ls", prints=cyan('user[name="x y"]') + "  " + cyan("user[name=a/b:c]") + "\n")
        run(machine, "cd user[name=none]", prints=NO_CHILD)
        run(machine, 'cd user[name="x y"]')
        run(machine, "pwd", prints='/net/user[name="x y"]\r\n')
        run(machine, "set role r:1/2")
        run(machine, "cd ..")
        run(machine, "pwd", prints="/net/user\r\n")
        run(machine, "commit", prints=printed_ok(1))
        assert machine.tarnd.requests[-1] == edit_config(
            '<user xmlns="urn:net"><name>x y</name><role>r:1/2</role></user>'
            '<user xmlns="urn:net"><name>a/b:c</name></user>'
        )
        assert profile(machine).startswith(with_lines("", self.USERS))

    def test_the_lines_of_added_entries(self, machine):
        self.at_users(machine)
        run(machine, "add-listentry name a/b:c")
        run(machine, 'add-listentry name "x=[y],/ z:"')
        run(machine, "add-listentry name a/b:c")
        lines = [
            "set /net/user[name=a/b:c]",
            "add /net/user user[name=a/b:c]",
            'set /net/user[name="x=[y],/ z:"]',
            'add /net/user user[name="x=[y],/ z:"]',
            "set /net/user[name=a/b:c]",
            "add /net/user user[name=a/b:c]",
        ]
        assert profile(machine) == filled(self.USERS, "".join(line + "\n" for line in lines))
        assert machine.tarnd.requests == []
        run(machine, "commit", prints=printed_ok(1))
        assert machine.tarnd.requests == [
            edit_config(
                '<user xmlns="urn:net"><name>x=[y],/ z:</name></user>'
                '<user xmlns="urn:net"><name>a/b:c</name></user>'
            )
        ]

    REFUSALS = [
        ("add-listentry", "wrong number of parameters\r\n"),
        ("add-listentry name", "wrong number of parameters\r\n"),
        ("add-listentry name a role", "wrong number of parameters\r\n"),
        ("add-listentry role a", "failed to get list's key:value \r\n"),
        ("add-listentry name a role b", "failed to get list's key:value \r\n"),
        ("set", "error command, please use:set path [value]\r\n"),
        ("set user[name=a]/role b c", "error command, please use:set path [value]\r\n"),
        ("set role b", "error parameter: role\r\n"),
        ("set user[name=a] b", "/net/user[name=a]'s not config node.\r\n"),
        ("set ../sys b", "/net/sys's not config node.\r\n"),
        ("set /net b", "error parameter: /net\r\n"),
        ("delete", "error command, please use:delete path\r\n"),
        ("delete a b c", "error command, please use:delete path\r\n"),
        ("delete role", "error parameter: role\r\n"),
        ("delete ../none", "error parameter: ../none\r\n"),
        ("discard_changes now", "error command, please use:discard_changes (no param)\r\n"),
        ("commit now", "error command, please use:commit \r\n"),
        ("commit", NOTHING_STAGED),
        ("cd", "error command, please use:cd path\r\n"),
        ("cd a b", "error command, please use:cd path\r\n"),
        ("cd role", "error parameter: role\r\n"),
        ("cd /net/sys", "cd cmd only takes one layer relative path as parameters!\r\n"),
        ("cd ../dns", "error: node:../dns  is not existed.\r\n"),
        ("ls x", "error command, please use:ls (no param)\r\n"),
        ("pwd x", "error command, please use:pwd (no param)\r\n"),
        ("get", "error command, please use:get path\r\n "),
        ("get role", "error parameter: role\r\n"),
        ("get ..", "/net's not config node.\r\n"),
        ("get-config", "please input : get-config -r|-s path or get-config -l [path]\r\n"),
        ("get-config -r ..", "/net's not config node.\r\n"),
        ("get-config -s role", "error parameter: role\r\n"),
        ("user[name=a]", "invalid operation!!\r\n" + no_such("user[name=a]")),
        ("clean", "error parameter: clean\r\n" + no_such("clean")),
        ("quit", ""),
    ]

    @pytest.mark.parametrize("line, prints", REFUSALS)
    def test_what_changes_nothing(self, machine, line, prints):
        self.at_users(machine)
        run(machine, line, prints=prints)
        assert profile(machine) == filled(self.USERS)
        assert machine.tarnd.requests == []

    @pytest.mark.parametrize(
        "operand, recorded",
        [
            ("user[name=none]", "/net/user[name=none]"),
            ('user[name="a b"]/role', '/net/user[name="a b"]/role'),
            ("user[name=a/b:c]/role value", "/net/user[name=a/b:c]/role"),
            ("/net", "/net"),
            ("/none", "/none"),
            ("..", "/net"),
            (".", "/net/user"),
            ("/", "/"),
            ("/net/clean", "/net/clean"),
            ("../dns 1", "/net/dns"),
        ],
    )
    def test_a_delete_is_recorded_unseen(self, machine, operand, recorded):
        self.at_users(machine)
        run(machine, f"delete {operand}")
        assert profile(machine) == filled(self.USERS, f"delete {recorded}\n")
        assert machine.tarnd.requests == []

    def test_a_delete_forgets_the_entry_when_it_is_replayed(self, machine):
        self.at_users(machine)
        run(machine, "add-listentry name a/1")
        run(machine, "add-listentry name b")
        run(machine, "delete user[name=a/1]")
        run(machine, "ls", prints=cyan("user[name=b]") + "\n")
        machine.tarnd.on_request = lambda request: daemon.close
        run(machine, "commit", prints="Read message failed. \r\n")
        assert machine.tarnd.requests[-1] == edit_config(
            '<user xmlns="urn:net"><name>b</name></user>'
            '<user xmlns="urn:net" xc:operation="delete"><name>a/1</name></user>'
        )

    def test_reading(self, machine):
        self.at_users(machine, "set /net/dns 1\n")
        run(machine, "get user[name=a/b:c]/role", prints=printed_no_data(1))
        run(machine, "get-config -r .", prints=printed_no_data(1))
        run(machine, "get-config -s ../dns", prints=printed_no_data(1))
        assert machine.tarnd.requests == [
            get('<user xmlns="urn:net"><name>a/b:c</name><role></role></user>'),
            get_config('<user xmlns="urn:net"></user>'),
            get_config('<dns xmlns="urn:net"></dns>', 1, "startup"),
        ]
        assert profile(machine) == filled(self.USERS, "set /net/dns 1\n")


class TestRpcs:
    def test_lists_in_lists(self, machine):
        steps = "/net/clean/job[id=a/b:c]/step"
        run(machine, "/net/clean")
        run(machine, "cd job")
        run(machine, "add-listentry id a/b:c")
        run(machine, "cd job[id=a/b:c]")
        run(machine, "set arg 1")
        run(machine, "set arg 2")
        run(machine, "delete arg", prints="current mode not support del cmd\r\n")
        run(machine, "cd step")
        run(machine, "add-listentry n 2 m /")
        run(machine, "ls", prints=cyan("step[m=/,n=2]") + "\n")
        config = (
            "add /net/clean/job job[id=a/b:c]\n" "add /net/clean/job[id=a/b:c]/step step[m=/,n=2]\n"
        )
        parameters = (
            "set /net/clean/job[id=a/b:c]\n"
            "set /net/clean/job[id=a/b:c]/arg 1\n"
            "set /net/clean/job[id=a/b:c]/arg 2\n"
            "set /net/clean/job[id=a/b:c]/step[m=/,n=2]\n"
        )
        assert profile(machine) == in_rpc(steps, config, parameters)
        assert machine.tarnd.requests == []
        run(machine, "commit", prints=printed_ok(1))
        assert machine.tarnd.requests == [
            invoke(
                '<clean xmlns="urn:net"><job><id>a/b:c</id>'
                "<step><m>/</m><n>2</n></step><arg>1</arg><arg>2</arg></job></clean>"
            )
        ]
        assert profile(machine) == with_lines("", "/net")

    def test_staged_configuration_waits(self, machine):
        write_profile(machine, filled("/net/user"))
        run(machine, 'set /net/dns "a b"')
        run(machine, "delete /net/dns")
        run(machine, "add-listentry name u1")
        run(machine, "add-listentry name u:2")
        run(machine, "/net/clean")
        run(machine, "set ext:opt 1")
        run(machine, "commit", prints=printed_ok(1))
        staged = (
            'set /net/dns "a\x03b"\n'
            "delete /net/dns\n"
            "set /net/user[name=u1]\n"
            "set /net/user[name=u:2]\n"
            "add /net/user user[name=u:2]\n"
            "add /net/user user[name=u1]\n"
        )
        text = f"[pwd]\n/net\n\n[config]\n{staged}\n[rpc]\n\n[rpc_para]\n\n%%%\n"
        assert profile(machine) == text
        run(machine, "commit", prints=printed_ok(1))
        assert machine.tarnd.requests == [
            invoke('<clean xmlns="urn:net"><opt xmlns="urn:ext">1</opt></clean>'),
            edit_config(
                '<user xmlns="urn:net"><name>u:2</name></user>'
                '<user xmlns="urn:net"><name>u1</name></user>'
                '<dns xmlns="urn:net">a b</dns><dns xmlns="urn:net" xc:operation="delete"></dns>'
            ),
        ]
        assert profile(machine) == with_lines("", "/net")

    REFUSALS = [
        ("get .", "rpc mode not support get operation\r\n"),
        ("get", "rpc mode not support get operation\r\n"),
        ("get-config -r .", "rpc mode not support get-config -r operation\r\n"),
        ("get-config -s .", "rpc mode not support get-config -s operation\r\n"),
        ("get-config -l", "irreciprocal mode unsupport get-config -l [path].\r\n"),
        ("get-config -r", "please input : get-config -r|-s path or get-config -l [path]\r\n"),
        ("delete", "current mode not support del cmd\r\n"),
        ("set /net/dns 1", "error parameter: /net/dns\r\n"),
        ("set job 1", "/net/clean/job's not config node.\r\n"),
        ("add-listentry id 1", "error: the add_listentry cmd only works at list's workspace \r\n"),
        ("cd ..", "error parameter: ..\r\n"),
        ("cd /net", "error parameter: /net\r\n"),
        ("/net/clean", "invalid operation!!\r\n" + no_such("/net/clean")),
        ("job", "invalid operation!!\r\n" + no_such("job")),
        ("pwd", "/net/clean\r\n"),
        ("commit x", "error command, please use:commit \r\n"),
    ]

    @pytest.mark.parametrize("line, prints", REFUSALS)
    def test_what_changes_nothing(self, machine, line, prints):
        run(machine, "/net/clean")
        before = profile(machine)
        assert before == in_rpc("/net/clean")
        run(machine, line, prints=prints)
        assert profile(machine) == before
        assert machine.tarnd.requests == []

    def test_words_after_the_rpc_change_nothing(self, machine):
        run(machine, "/net/clean now")
        assert not os.path.exists(machine.profile)

    def test_back_to_the_rpc_from_below(self, machine):
        run(machine, "/net/clean")
        run(machine, "cd job")
        run(machine, "cd /")
        assert profile(machine) == in_rpc("/net/clean", residue="%%%\n")

    def test_leaving(self, machine):
        run(machine, "/net/clean")
        run(machine, "set ext:opt 1")
        run(machine, "quit", prints=DISCARDED)
        run(machine, "pwd", prints="/net\r\n")
        run(machine, "quit")
        run(machine, "commit", prints=NOTHING_STAGED)
        text = profile(machine)
        assert text[: text.index("%%%") + 4] == filled("/net")


class TestOddProfiles:
    """Written by hand."""

    @pytest.mark.parametrize("pwd", ["/net/", "/net//", "//net", "/net/.", "/net/sys/.."])
    def test_a_workspace_that_is_not_in_its_normal_form(self, machine, pwd):
        write_profile(machine, filled(pwd))
        listed = machine.one_shot("ls").stdout
        write_profile(machine, filled("/net"))
        assert listed == machine.one_shot("ls").stdout != b""
        write_profile(machine, filled(pwd))
        run(machine, "set sys/vrf[name=1]/name 1")
        run(machine, "cd sys")
        text = profile(machine)
        expected = filled("/net/sys", "set /net/sys/vrf[name=1]/name 1\n")
        assert text[: len(expected)] == expected

    def test_a_slash_after_the_workspace_is_not_part_of_it(self, machine):
        write_profile(machine, filled("/net/sys/"))
        run(machine, "cd .")
        run(machine, "cd ../sys")
        assert profile(machine) == filled("/net/sys/")
        run(machine, "cd ../dns", prints="error: node:../dns  is not existed.\r\n")
        run(machine, "cd ..")
        run(machine, "pwd", prints="/net\r\n")

    def test_a_workspace_that_is_not_there(self, machine):
        write_profile(machine, filled("/net/none"))
        run(machine, "pwd", prints="/net/none\r\n")
        run(machine, "ls")
        run(machine, "cd x", prints="error parameter: x\r\n")
        run(machine, "add-listentry a b", prints="error parameter: /net/none\r\n")
        run(machine, "cd ..")
        run(machine, "pwd", prints="/net\r\n")
        assert machine.log.texts(ERROR) == [
            (ERROR, "[ERROR] error parameter: /net/none\r\n\n"),
            (ERROR, "[ERROR] error:get ls node \r\n\n"),
        ]

    def test_a_value_whose_node_is_gone_cannot_be_written(self, machine):
        lines = 'set /net/sys/vrf[name="a b/c"]/none x:y\n'
        write_profile(machine, filled("/", lines))
        run(machine, "commit", prints="cmdtree to netconf error \r\n")
        assert (DEBUG, '[DEBUG] Failed to get /net/sys/vrf[name="a b/c"]/none from db\n') in (
            machine.log.texts(DEBUG)
        )
        assert machine.tarnd.requests == []
        assert profile(machine) == filled("/", lines)

    def test_a_module_and_the_root_have_no_element(self, machine):
        write_profile(machine, filled("/", "set /net 1\nset /net/dns 2\nset /ext\n"))
        run(machine, "commit", prints=printed_ok(1))
        assert machine.tarnd.requests == [edit_config('<dns xmlns="urn:net">2</dns>')]

    def test_a_value_of_an_entry_stands_for_the_whole_element(self, machine):
        lines = "set /net/user[name=a] v\nset /net/user[name=a]/role r\n"
        write_profile(machine, filled("/", lines))
        run(machine, "commit", prints=printed_ok(1))
        assert machine.tarnd.requests == [
            edit_config('<user xmlns="urn:net">v</user><role>r</role>')
        ]

    def test_deletes_with_values(self, machine):
        lines = "delete /net/dns a\ndelete /net/dns b\nset /net/dns b\n"
        write_profile(machine, filled("/", lines))
        run(machine, "commit", prints=printed_ok(1))
        assert machine.tarnd.requests == [
            edit_config(
                '<dns xmlns="urn:net" xc:operation="delete">a</dns><dns xmlns="urn:net">b</dns>'
            )
        ]
