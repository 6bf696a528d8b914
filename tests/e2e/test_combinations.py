"""Lists in lists, choices in entries, and nodes of other modules at every level."""

import pytest
from support.example import DELETE, committed, edit_config, get_config, printed_ok
from support.messages import NO_CHILD
from support.nested import NET
from support.prompts import ROOT, at, blue, cyan, go, plain, row
from support.shell import DEBUG, ERROR


@pytest.fixture(autouse=True)
def schema(machine):
    machine.load(NET)


def sys_(inner):
    return f'<sys xmlns="urn:net">{inner}</sys>'


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
