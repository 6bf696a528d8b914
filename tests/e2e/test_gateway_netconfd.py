"""tarnd-gateway in front of a real NETCONF server."""

import os
import shutil
import sys
import tempfile

import pytest
from lxml import etree

from support.gateway import Gateway
from support.netconfd import Netconfd
from support.schemac import MODELS
from support.shell import ROOT

BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
SPACES = {
    "b": BASE,
    "t": "com:quorvex:netconf:private:vesk:device:tarnd",
    "n": "urn:ietf:params:xml:ns:netconf:notification:1.0",
    "if": "urn:ietf:params:xml:ns:yang:ietf-interfaces",
    "ncn": "urn:ietf:params:xml:ns:yang:ietf-netconf-notifications",
}
EDIT = (
    "<edit-config><target><running/></target><config><interfaces "
    'xmlns="urn:ietf:params:xml:ns:yang:ietf-interfaces">{}</interfaces></config></edit-config>'
)
INTERFACE = (
    "<interface><name>{}</name><type xmlns:ianaift="
    '"urn:ietf:params:xml:ns:yang:iana-if-type">ianaift:ethernetCsmacd</type>'
    "<description>{}</description></interface>"
)
READ = (
    '<get-config><source><running/></source><filter type="subtree"><interfaces '
    'xmlns="urn:ietf:params:xml:ns:yang:ietf-interfaces"/></filter></get-config>'
)


class Session:
    """A shell that counts its message ids and keeps what came in between."""

    def __init__(self, gateway):
        self.shell = gateway.shell()
        self.message_id = 0
        self.notifications = []

    def receive(self):
        text = self.shell.receive()
        assert not text.startswith(b"<?xml")
        return text, etree.fromstring(text)

    def rpc(self, inner, namespaces=""):
        """Sends a request and returns its reply, text and tree."""
        message_id = str(self.message_id)
        self.message_id += 1
        self.shell.send(
            f'<rpc xmlns="{BASE}"{namespaces} message-id="{message_id}">\r\n'.encode()
            + f"{inner}</rpc>\r\n".encode()
        )
        text, tree = self.receive()
        while tree.tag == f"{{{SPACES['n']}}}notification":
            self.notifications.append(tree)
            text, tree = self.receive()
        assert tree.tag == f"{{{BASE}}}rpc-reply"
        assert tree.get("message-id") == message_id
        return text, tree

    def next_notification(self):
        if not self.notifications:
            self.notifications.append(self.receive()[1])
        return self.notifications.pop(0)

    def create(self):
        _, tree = self.rpc(
            "<tarnd:create-session>\r\n<tarnd:username>root</tarnd:username>\r\n"
            "<tarnd:agent-pid>1</tarnd:agent-pid>\r\n</tarnd:create-session>\r\n",
            f' xmlns:tarnd="{SPACES["t"]}"',
        )
        return int(tree.xpath("/b:rpc-reply/t:session-id/text()", namespaces=SPACES)[0])


@pytest.fixture(scope="module", name="gateway", params=["running", "candidate"])
def fixture_gateway(request):
    directory = tempfile.mkdtemp(prefix="vandel-test.", dir="/tmp")
    server = None
    gateway = None
    try:
        server = Netconfd(
            directory,
            ("ietf-interfaces", "iana-if-type", "vandel-device", "walk"),
            (MODELS, os.path.join(ROOT, "tests", "yang")),
            request.param,
        )
        command, environment = server.transport()
        gateway = Gateway(directory, command, environment=environment)
        yield gateway
        assert gateway.stop() == 0, gateway.log()
    finally:
        if gateway:
            gateway.stop()
        if server:
            server.stop()
        shutil.rmtree(directory, ignore_errors=True)


@pytest.fixture(name="session")
def fixture_session(gateway):
    return Session(gateway)


# What its commit makes of a copy to the candidate is not always what was copied.
EDITED = pytest.mark.parametrize("gateway", ["running"], indirect=True)


def has_ok(tree):
    return [child.tag for child in tree] == [f"{{{BASE}}}ok"]


def test_create_session_gives_the_server_s_session_id(gateway, session):
    number = session.create()
    assert number > 0
    assert f"session {number}, NETCONF 1.1\n" in gateway.log()
    assert Session(gateway).create() != number


def test_an_edit_is_read_back_compact(session):
    session.create()
    _, tree = session.rpc(EDIT.format(INTERFACE.format("eth7", "one &lt; two")))
    assert has_ok(tree)
    text, tree = session.rpc(READ)
    assert b"<interface><name>eth7</name><description>one &lt; two</description><type" in text
    assert b"</interface></interfaces></data></rpc-reply>" in text
    _, tree = session.rpc(
        EDIT.replace("<config>", f'<config xmlns:xc="{BASE}">').format(
            '<interface xc:operation="delete"><name>eth7</name></interface>'
        )
    )
    assert has_ok(tree)
    text, _ = session.rpc(READ)
    assert b"eth7" not in text


def test_a_wrong_value_is_answered_with_an_error(session):
    session.create()
    _, tree = session.rpc(
        EDIT.format("<interface><name>x</name><enabled>perhaps</enabled></interface>")
    )
    errors = tree.xpath("/b:rpc-reply/b:rpc-error/b:error-tag/text()", namespaces=SPACES)
    assert "invalid-value" in errors


def test_a_change_is_notified_to_every_session(gateway, session):
    other = Session(gateway)
    number = session.create()
    other.create()
    # The gateway answers that by itself; what the server answers comes after
    # the subscription.
    other.rpc(READ)
    _, tree = session.rpc(EDIT.format(INTERFACE.format("eth8", "notified")))
    assert has_ok(tree)
    for each in (session, other):
        while True:
            change = each.next_notification()
            found = change.xpath(
                "/n:notification/ncn:netconf-config-change[ncn:edit]"
                "/ncn:changed-by/ncn:session-id/text()",
                namespaces=SPACES,
            )
            if found:
                break
        assert found == [str(number)]


def test_a_large_edit(session):
    session.create()
    text = "0123456789abcde " * 65536
    _, tree = session.rpc(EDIT.format(INTERFACE.format("eth9", text[:-1])))
    assert has_ok(tree)
    answer, _ = session.rpc(READ)
    assert text[:-1].encode() in answer


INTERFACES = '<interfaces xmlns="urn:ietf:params:xml:ns:yang:ietf-interfaces">{}</interfaces>'
COPY = "<copy-config><target><{}/></target><source>{}</source></copy-config>"


def names(session, source="running"):
    """The names of the interfaces in a datastore; None when it has no interfaces at all."""
    _, tree = session.rpc(READ.replace("running", source))
    found = tree.xpath("/b:rpc-reply/b:data/if:interfaces", namespaces=SPACES)
    return (
        sorted(found[0].xpath("if:interface/if:name/text()", namespaces=SPACES)) if found else None
    )


def test_what_is_saved_can_be_restored(session):
    session.create()
    assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth4", "kept")))[1])
    kept = names(session)
    assert "eth4" in kept
    _, tree = session.rpc(
        COPY.format("startup", "<running/>").replace(
            "<source>", "<error-option>rollback-on-error</error-option><source>"
        )
    )
    assert has_ok(tree)
    assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth5", "given up")))[1])
    assert names(session) == sorted([*kept, "eth5"])
    assert has_ok(session.rpc(COPY.format("running", "<startup/>"))[1])
    assert names(session) == kept


def test_a_configuration_replaces_all_of_running(session):
    session.create()
    assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth4", "given up")))[1])
    config = f"<config>{INTERFACES.format(INTERFACE.format('eth6', 'new'))}</config>"
    assert has_ok(session.rpc(COPY.format("running", config))[1])
    assert names(session) == ["eth6"]
    assert has_ok(session.rpc(COPY.format("running", "<config/>"))[1])
    assert names(session) is None
    text, _ = session.rpc("<get-config><source><running/></source></get-config>")
    assert b"<data></data>" in text or b"<data/>" in text


def test_a_wrong_configuration_replaces_nothing(session):
    session.create()
    assert has_ok(session.rpc(EDIT.format(INTERFACE.format("eth4", "kept")))[1])
    kept = names(session)
    for wrong, tag in (
        (
            INTERFACES.format("<interface><name>x</name><enabled>perhaps</enabled></interface>"),
            "invalid-value",
        ),
        ('<nothing xmlns="urn:nowhere"/>', "unknown-namespace"),
    ):
        _, tree = session.rpc(COPY.format("running", f"<config>{wrong}</config>"))
        assert tag in tree.xpath("/b:rpc-reply/b:rpc-error/b:error-tag/text()", namespaces=SPACES)
        assert names(session) == kept


USERS = '<users xmlns="urn:vandel:device">{}</users>'
USER = "<user><name>{}</name><role>{}</role></user>"
LIST_ENTRY = '<item xmlns="urn:walk"><name>{}</name><value>{}</value></item>'


def replace_running(session, content):
    """Copies a configuration to running; returns the whole of running."""
    _, tree = session.rpc(COPY.format("running", f"<config>{content}</config>"))
    assert has_ok(tree)
    return running(session)


def running(session):
    text, _ = session.rpc("<get-config><source><running/></source></get-config>")
    return text.decode().partition("<data>")[2].rpartition("</data>")[0]


@EDITED
def test_a_user_who_is_not_in_the_configuration_is_gone(session):
    """With as many entries on either side, an edit whose default operation is
    replace would be merged."""
    session.create()
    alice = USERS.format(USER.format("alice", "administrator"))
    bob = USERS.format(USER.format("bob", "viewer"))
    for users in (alice, bob, alice):
        assert replace_running(session, users) == users
    assert has_ok(session.rpc(COPY.format("startup", "<running/>"))[1])
    assert replace_running(session, bob) == bob
    assert has_ok(session.rpc(COPY.format("running", "<startup/>"))[1])
    assert running(session) == alice


@pytest.mark.parametrize("gateway", ["candidate"], indirect=True)
def test_what_a_commit_makes_of_a_copy_is_not_ok(session):
    session.create()
    for text in ("a", "b"):
        content = f'<value xmlns="urn:walk">{text}</value>'
        assert replace_running(session, content) == content
    content = '<value xmlns="urn:walk"><![CDATA[a<b]]></value>'
    _, tree = session.rpc(COPY.format("running", f"<config>{content}</config>"))
    assert tree.xpath("/b:rpc-reply/b:rpc-error/b:error-message/text()", namespaces=SPACES) == [
        "running was changed but is not what was to be copied: value differs"
    ]
    assert replace_running(session, "") == ""


def test_entries_at_the_top_are_replaced_too(session):
    session.create()
    entries = [LIST_ENTRY.format(name, value) for name, value in ("a1", "b1", "a2", "c1")]
    for first, other in (
        ((0, 1), (2, 3)),  # one entry with another value, one that is not there
        ((0, 1, 3), (1,)),
        ((0,), (1,)),  # which might be one container
        ((0,), (2,)),
        ((), (0, 1, 3)),
    ):
        for chosen in (first, other, first):
            content = "".join(entries[at] for at in chosen)
            assert replace_running(session, content) == content


@EDITED
def test_the_operator_s_order_is_restored(session):
    session.create()
    values = [f'<ordered xmlns="urn:walk">{value}</ordered>' for value in "abc"]
    queue = [f'<queue xmlns="urn:walk"><name>{name}</name></queue>' for name in "abc"]
    for order in ((0, 1, 2), (2, 0, 1), (1,), (0, 1), (2, 1, 0)):
        content = "".join(values[at] for at in order) + "".join(queue[at] for at in order)
        assert replace_running(session, content) == content


@EDITED
def test_bits_at_the_top_are_not_joined(session):
    session.create()
    for value in ("one two", "three", "one three", "two"):
        content = f'<bits xmlns="urn:walk">{value}</bits>'
        assert replace_running(session, content) == content


@EDITED
def test_what_the_server_loses_is_not_ok(session):
    """netconfd drops CDATA sections."""
    session.create()
    content = '<value xmlns="urn:walk"><![CDATA[a<b]]></value>'
    _, tree = session.rpc(COPY.format("running", f"<config>{content}</config>"))
    assert not has_ok(tree)
    assert tree.xpath("/b:rpc-reply/b:rpc-error/b:error-message/text()", namespaces=SPACES) == [
        "running was changed but is not what was to be copied: value differs"
    ]
    assert replace_running(session, "") == ""


# A netconfd of 32 bits says "ok" when it is sent this edit of running.
LACKS_A_LEAF = "<description>no type</description>" if sys.maxsize > 1 << 32 else "<mtu>1</mtu>"


def test_a_refused_edit_leaves_nothing(gateway, session):
    """One that is refused as it is made, and one that its commit would be refused for."""
    session.create()
    other = Session(gateway)
    other.create()
    before = running(session)
    good = INTERFACE.format("eth7", "not kept")
    for bad in ("<enabled>perhaps</enabled>", LACKS_A_LEAF):
        edit = EDIT.format(f"{good}<interface><name>eth8</name>{bad}</interface>").replace(
            "<config>", "<error-option>rollback-on-error</error-option><config>"
        )
        assert not has_ok(session.rpc(edit)[1])
        assert running(session) == before
        assert has_ok(other.rpc(EDIT.format(INTERFACE.format("eth9", "kept")))[1])
        assert b"eth7" not in session.rpc(READ)[0]
        before = running(session)


EDIT_WALK = (
    f'<edit-config><target><running/></target><config xmlns:xc="{BASE}">{{}}</config></edit-config>'
)


def test_a_number_is_deleted_by_two_tags(session):
    session.create()
    assert replace_running(session, '<number xmlns="urn:walk">5</number>')
    deleted = '<number xmlns="urn:walk" xc:operation="delete"></number>'
    assert has_ok(session.rpc(EDIT_WALK.format(deleted))[1])
    assert running(session) == ""


def test_an_identity_is_named_after_its_module(session):
    session.create()
    interface = "<interface><name>eth5</name><type>iana-if-type:ethernetCsmacd</type></interface>"
    assert has_ok(session.rpc(EDIT.format(interface))[1])
    assert b"ethernetCsmacd" in session.rpc(READ)[0]
    routing = "<preferred-protocol>vandel-device:rip</preferred-protocol>"
    assert has_ok(
        session.rpc(EDIT_WALK.format(f'<routing xmlns="urn:vandel:device">{routing}</routing>'))[1]
    )


def test_close_session_ends_the_shell(gateway, session):
    number = session.create()
    _, tree = session.rpc("<close-session/>")
    assert has_ok(tree)
    session.notifications.clear()
    while session.shell.connection.recv(65536):
        pass
    gateway.wait_for_log(f"session {number}, ")
    gateway.wait_for_log("closed: the server ended the session\n")
