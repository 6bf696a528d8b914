"""Lists in lists, choices in entries, and nodes of other modules at every level."""

import pytest
from support.example import edit_config, get, get_config, printed_ok
from support.prompts import ROOT, at, blue, cyan, go, plain, row, shown
from support.schema_db import (
    Schema,
    case,
    choice,
    container,
    leaf,
    leaf_list,
    list_,
    module,
    rpc,
)
from support.shell import DEBUG, ERROR

NET = Schema(
    module(
        "net",
        "urn:net",
        leaf_list("dns"),
        list_("user", ["name"], leaf("name"), leaf("role")),
        choice(
            "mode",
            case("simple", leaf("plain"), container("basic", leaf("x"))),
            case(
                "complex",
                list_("rule", ["id"], leaf("id"), leaf("act")),
                choice(
                    "inner",
                    case("i1", leaf_list("pat")),
                    case("i2", container("sub", leaf("y"))),
                ),
            ),
        ),
        container(
            "sys",
            list_(
                "vrf",
                ["name"],
                leaf("name"),
                list_(
                    "route",
                    ["via", "dest"],
                    leaf("via"),
                    leaf("dest"),
                    choice(
                        "kind",
                        case("k1", leaf("blackhole", "empty")),
                        case(
                            "k2",
                            container(
                                "nh",
                                list_(
                                    "hop",
                                    ["addr"],
                                    leaf("addr"),
                                    leaf("weight"),
                                    leaf_list("flag"),
                                ),
                            ),
                        ),
                    ),
                ),
            ),
            container(
                "ext:fan",
                list_(
                    "blade",
                    ["no"],
                    leaf("no"),
                    container("net:cover", leaf("color"), leaf("ext:pin")),
                    leaf("net:note"),
                    list_("net:tag", ["k"], leaf("k"), leaf("ext:v")),
                ),
                choice("net:speed", case("net:low", leaf("net:rpm")), case("high", leaf("turbo"))),
            ),
        ),
        rpc(
            "clean",
            list_(
                "job",
                ["id"],
                leaf("id"),
                list_("step", ["n", "m"], leaf("n"), leaf("m"), leaf("note")),
                leaf_list("arg"),
                choice(
                    "how",
                    case("fast", leaf("q")),
                    case("slow", list_("task", ["t"], leaf("t"))),
                ),
            ),
            leaf("ext:opt", "union"),
        ),
    ),
    module("ext", "urn:ext", container("own", leaf("z"))),
)

NO_CHILD = "error: child node is not existed or another choice case is set.\r\n"
DELETE = 'xc:operation="delete"'


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(NET)


def committed(machine, *lines):
    steps = [(ROOT, line, "") for line in lines]
    machine.dialogue(*steps, (ROOT, "commit", printed_ok(1)))
    (request,) = machine.tarnd.requests
    return request


def sys_(inner):
    return f'<sys xmlns="urn:net">{inner}</sys>'


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


class TestListsInLists:
    VRF = "/net/sys/vrf[name='a \"b\" c']"
    ROUTE = VRF + "/route[dest=10.0.0.0/8,via=fe80::1]"
    HEAD = "<vrf><name>a &quot;b&quot; c</name>"
    KEYS = "<route><dest>10.0.0.0/8</dest><via>fe80::1</via>"
    VRFS = sys_("<vrf><name></name></vrf>")
    ROUTES = sys_(HEAD + "<route><dest></dest><via></via></route></vrf>")
    HOPS = sys_(f"{HEAD}{KEYS}<nh><hop><addr></addr></hop></nh></route></vrf>")

    def serve(self, machine):
        other = "<vrf><name>other</name><route><via>v</via><dest>d</dest></route></vrf>"
        hops = "<nh><hop><addr>1/2:3</addr></hop><hop><addr>]=[</addr></hop></nh>"
        keys = "<route><via>fe80::1</via><dest>10.0.0.0/8</dest>{}</route>"
        route = sys_(other + self.HEAD + keys.format("") + "</vrf>")
        machine.tarnd.holds("<hop>", sys_(self.HEAD + keys.format(hops) + "</vrf>"))
        machine.tarnd.holds("<nh>", sys_(self.HEAD + keys.format(hops) + "</vrf>"))
        machine.tarnd.holds("<dest></dest>", route)
        machine.tarnd.holds(
            "<vrf><name></name>", sys_("<vrf><name>other</name></vrf>" + self.HEAD + "</vrf>")
        )

    def test_down_to_the_innermost_entry(self, machine):
        self.serve(machine)
        hops = self.ROUTE + "/nh/hop"
        names = [cyan('hop[addr="]=["]'), cyan("hop[addr=1/2:3]")]
        machine.dialogue(
            *go("net", "sys", "vrf", "vrf[name='a \"b\" c']", "route"),
            (at(self.VRF + "/route"), "ls", cyan("route[dest=10.0.0.0/8,via=fe80::1]") + "\n"),
            (at(self.VRF + "/route"), "cd route[dest=10.0.0.0/8,via=fe80::1]", ""),
            (at(self.ROUTE), "cd nh", ""),
            (at(self.ROUTE + "/nh"), "cd hop", ""),
            (at(hops), "ls", "  ".join(names) + "\n"),
            (at(hops), 'cd hop[addr="]=["]', ""),
            (at(hops + '[addr="]=["]'), "pwd", hops + '[addr="]=["]\r\n'),
            (at(hops + '[addr="]=["]'), "cd ..", ""),
            (at(hops), "cd ..", ""),
            (at(self.ROUTE + "/nh"), "cd ..", ""),
            (at(self.ROUTE), "cd ..", ""),
            (at(self.VRF + "/route"), "cd ..", ""),
            (at(self.VRF), "cd ..", ""),
            (at("/net/sys/vrf"), "cd ..", ""),
            (at("/net/sys"), "cd ..", ""),
            end=at("/net"),
        )
        asked = [text for text in machine.tarnd.requests if "<sys" in text and "fan" not in text]
        bodies = [
            self.VRFS,
            self.ROUTES,
            self.ROUTES,
            # the choice in the entry: its first case, then its second
            sys_(f"{self.HEAD}{self.KEYS}<blackhole></blackhole></route></vrf>"),
            sys_(f"{self.HEAD}{self.KEYS}<nh></nh></route></vrf>"),
            self.HOPS,
            self.HOPS,
        ]
        filters = [text.partition('"subtree">\r\n')[2].partition("    </f")[0] for text in asked]
        assert filters == bodies

    def test_the_choice_in_an_entry(self, machine):
        self.serve(machine)
        item = f"( ({plain(' blackhole')}) | ({blue(' nh')})* )"
        machine.dialogue(
            *go("net", "sys", "vrf", "vrf[name='a \"b\" c']", "route",
               "route[dest=10.0.0.0/8,via=fe80::1]"),
            (at(self.ROUTE), "ls", row(item, plain("dest"), plain("via"))),
            (at(self.ROUTE), "cd blackhole", NO_CHILD),
            (at(self.ROUTE), "delete blackhole",
             "error: child node:blackhole  is not existed.\r\n"),
            (at(self.ROUTE), "set blackhole", ""),
            (at(self.ROUTE), "cd nh", ""),
            end=at(self.ROUTE + "/nh"), env={"COLUMNS": "400"},
        )  # fmt: skip

    def test_edits_share_their_entries(self, machine):
        route = '/net/sys/vrf[name="x y"]/route[via=v,dest=d/8]'
        assert committed(
            machine,
            f"set {route}/nh/hop[addr=::1]/weight 1",
            f"set {route}/nh/hop[addr=::1]/flag f",
            f"set {route}/nh/hop[addr=::2]/flag g",
            f"set {route}/nh/hop[addr=::1]/flag h",
            f"set {route}/blackhole",
            "set /net/sys/vrf[name=z]/route[via=v,dest=d]/blackhole",
        ) == edit_config(
            sys_(
                "<vrf><name>z</name>"
                "<route><via>v</via><dest>d</dest><blackhole></blackhole></route></vrf>"
                "<vrf><name>x y</name>"
                "<route><via>v</via><dest>d/8</dest><blackhole></blackhole><nh>"
                "<hop><addr>::2</addr><flag>g</flag></hop>"
                "<hop><addr>::1</addr><flag>f</flag><flag>h</flag><weight>1</weight></hop>"
                "</nh></route></vrf>"
            )
        )

    def test_staged_entries_at_every_level(self, machine):
        vrf, vrfs = "/net/sys/vrf[name=n/1]", "/net/sys/vrf"
        machine.dialogue(
            *go("net", "sys", "vrf"),
            (at(vrfs), "add-listentry name n/1", ""),
            (at(vrfs), "cd vrf[name=n/1]", ""),
            (at(vrf), "cd route", ""),
            (at(vrf + "/route"), 'add-listentry via "v w" dest d', ""),
            (at(vrf + "/route"), "add-listentry dest d via z", ""),
            (at(vrf + "/route"), "ls",
             row(cyan('route[dest=d,via="v w"]'), cyan("route[dest=d,via=z]"))),
            (at(vrf + "/route"), "delete route[dest=d,via=z]", ""),
            (at(vrf + "/route"), "ls", cyan('route[dest=d,via="v w"]') + "\n"),
            (at(vrf + "/route"), 'cd route[dest=d,via="v w"]', ""),
            (at(vrf + '/route[dest=d,via="v w"]'), "set nh/hop[addr=q]/weight 2", ""),
            (at(vrf + '/route[dest=d,via="v w"]'), "get-config -l",
             sys_("<vrf><name>n/1</name>"
                  f"<route {DELETE}><dest>d</dest><via>z</via></route>"
                  "<route><dest>d</dest><via>v w</via>"
                  "<nh><hop><addr>q</addr><weight>2</weight></hop></nh></route>"
                  "</vrf>") + "\n"),
            (at(vrf + '/route[dest=d,via="v w"]'), "get-config -l nh/hop",
             "<nh><hop><addr>q</addr><weight>2</weight></hop></nh>\n"),
            end=at(vrf + '/route[dest=d,via="v w"]'),
        )  # fmt: skip

    def test_a_list_below_a_list_without_predicate(self, machine):
        for path in ("/net/sys/vrf/route", "/net/sys/vrf/route[via=1,dest=2]/dest"):
            machine.dialogue((ROOT, f"get {path}", f"error parameter: {path}\r\n"))
        assert committed(machine, "set /net/sys/vrf/name k") == edit_config(
            sys_("<vrf><name>k</name></vrf>")
        )


class TestOtherModules:
    BLADE = "/net/sys/ext:fan/blade[no=1/2]"

    def test_elements_declare_where_the_module_changes(self, machine):
        assert committed(
            machine,
            f"set {self.BLADE}/net:cover/color red",
            f"set {self.BLADE}/net:cover/ext:pin p",
            f"set {self.BLADE}/net:note n",
            f"set {self.BLADE}/net:tag[k=ext:1]/ext:v x",
            "set /net/sys/ext:fan/turbo t",
            "set /net/sys/ext:fan/net:rpm 9",
        ) == edit_config(
            sys_(
                '<fan xmlns="urn:ext"><rpm xmlns="urn:net">9</rpm><turbo>t</turbo>'
                "<blade><no>1/2</no>"
                '<tag xmlns="urn:net"><k>ext:1</k><v xmlns="urn:ext">x</v></tag>'
                '<note xmlns="urn:net">n</note>'
                '<cover xmlns="urn:net"><pin xmlns="urn:ext">p</pin><color>red</color></cover>'
                "</blade></fan>"
            )
        )

    def test_deletes_keep_the_declaration(self, machine):
        machine.dialogue(
            (ROOT, f"set {self.BLADE}/net:cover/color red", ""),
            (ROOT, f"delete {self.BLADE}/net:cover/ext:pin", ""),
            (ROOT, f"delete {self.BLADE}/net:note", ""),
            (ROOT, f"delete {self.BLADE}/net:cover", ""),
            (ROOT, "commit", printed_ok(1)),
        )
        assert machine.tarnd.requests == [
            edit_config(
                sys_(
                    '<fan xmlns="urn:ext"><blade><no>1/2</no>'
                    f'<note xmlns="urn:net" {DELETE}></note>'
                    f'<cover xmlns="urn:net" {DELETE}></cover></blade></fan>'
                )
            )
        ]

    def test_entries_are_found_in_the_namespaces_of_their_path(self, machine):
        fan = (
            '<fan xmlns="urn:ext"><blade><no>{}</no>'
            '<tag xmlns="urn:net"><k>{}</k></tag></blade></fan>'
        )
        machine.tarnd.holds("<tag ", sys_(fan.format("2", "no") + fan.format("1/2", "a:b")))
        path = self.BLADE + "/net:tag"
        steps = [
            *go("net", "sys", "ext:fan", "blade"),
            (at("/net/sys/ext:fan/blade"), "add-listentry no 1/2", ""),
            (at("/net/sys/ext:fan/blade"), "cd blade[no=1/2]", ""),
            (at(self.BLADE), "cd net:tag", ""),
            (at(path), "ls", cyan("net:tag[k=a:b]") + "\n"),
            (at(path), "cd net:tag[k=a:b]", ""),
            (at(path + "[k=a:b]"), "set ext:v 1", ""),
        ]
        machine.dialogue(*steps, end=at(path + "[k=a:b]"))
        request, again = [text for text in machine.tarnd.requests if "<tag" in text]
        keys = sys_(
            '<fan xmlns="urn:ext"><blade><no>1/2</no>'
            '<tag xmlns="urn:net"><k></k></tag></blade></fan>'
        )
        number = machine.tarnd.requests.index(request) + 1
        assert (request, again) == (get_config(keys, number), get_config(keys, number + 1))


class TestRpcInput:
    AT, JOBS = "\n[clean]$ ", "\n[clean]job$ "
    JOB = "\n[clean]job[id=a/b:c]$ "
    STEPS = "\n[clean]job[id=a/b:c]/step$ "

    def test_lists_in_lists(self, machine):
        item = f"( ({plain(' q')}) | ({cyan(' task')}) )"
        machine.dialogue(
            (ROOT, "/net/clean", ""),
            (self.AT, "ls", row(plain("ext:opt"), cyan("job"))),
            (self.AT, "cd job", ""),
            (self.JOBS, "add-listentry id a/b:c", ""),
            (self.JOBS, 'add-listentry id "x y"', ""),
            (self.JOBS, "ls", row(cyan('job[id="x y"]'), cyan("job[id=a/b:c]"))),
            (self.JOBS, "cd job[id=none]", NO_CHILD),
            (self.JOBS, "cd job[id=a/b:c]", ""),
            (self.JOB, "ls", row(item, plain("arg"), plain("id"), cyan("step"))),
            (self.JOB, "set arg 1", ""),
            (self.JOB, "set arg 2", ""),
            (self.JOB, "cd step", ""),
            (self.STEPS, 'add-listentry n "1 2" m /', ""),
            (self.STEPS, "ls", cyan('step[m=/,n="1 2"]') + "\n"),
            (self.STEPS, 'set step[m=/,n="1 2"]/note "a note"', ""),
            (self.STEPS, "cd ..", ""),
            (self.JOB, "set q now", ""),
            (self.JOB, "set task[t=t]/t u", ""),
            (self.JOB, "cd /", ""),
            (self.AT, "set ext:opt ext:deep", ""),
            (self.AT, "get-config -l job", self.LOCAL),
            (self.AT, "commit", printed_ok(1)),
            end=at("/net"),
            env={"COLUMNS": "400"},
        )
        assert machine.tarnd.requests == [
            '<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">\r\n'
            + self.LOCAL.rstrip("\n")
            + "</rpc>\r\n"
        ]
        assert machine.log.texts(DEBUG, ERROR) == []

    LOCAL = (
        '<clean xmlns="urn:net"><opt xmlns="urn:ext">ext:deep</opt>'
        "<job><id>x y</id></job>"
        "<job><id>a/b:c</id><task><t>t</t><t>u</t></task><q>now</q>"
        "<step><m>/</m><n>1 2</n><note>a note</note></step>"
        "<arg>1</arg><arg>2</arg></job></clean>\n"
    )
