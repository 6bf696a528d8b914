"""tarnd-gateway: what it does for servers that do something in their own way."""

from support.netconf_peer import BASE_1_0, BASE_1_1, BASE_NS, INTERLEAVE, NOTIFICATIONS
from test_gateway import SUBSCRIPTION, VERSIONS, bench  # noqa: F401

CAPABILITY = "urn:ietf:params:netconf:capability:"
CANDIDATE = CAPABILITY + "candidate:1.0"
WRITABLE = CAPABILITY + "writable-running:1.0"
ROLLBACK = CAPABILITY + "rollback-on-error:1.0"


def rpc(message_id, inner):
    return f'<rpc xmlns="{BASE_NS}" message-id="{message_id}">{inner}</rpc>'.encode()


def reply(message_id, inner):
    return f'<rpc-reply xmlns="{BASE_NS}" message-id="{message_id}">{inner}</rpc-reply>'.encode()


def answered(shell, peer, request, turns):
    """What the shell gets when the server has answered what becomes of its request."""
    shell.send(rpc(1, request))
    for asked, answer in turns:
        assert peer.request() == rpc(1, asked)
        assert shell.has_nothing(0.02)
        peer.send(answer)
    return shell.receive()


def test_data_arrive_between_two_plain_tags(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1,))
    read = rpc(1, "<get-config><source><running/></source></get-config>")
    for written, arrives in (
        (reply(1, "<data/>"), reply(1, "<data></data>")),
        (
            f'<n:rpc-reply xmlns:n="{BASE_NS}" xmlns:a="urn:a" message-id="1">\n'
            "<n:data>\n<a:x/>\n</n:data>\n</n:rpc-reply>".encode(),
            f'<rpc-reply xmlns="{BASE_NS}" xmlns:n="{BASE_NS}" xmlns:a="urn:a" message-id="1">'
            '<data><a:x xmlns:a="urn:a"/></data></rpc-reply>'.encode(),
        ),
    ):
        shell.send(read)
        assert peer.request() == read
        peer.send(written)
        assert shell.receive() == arrives


def test_an_element_without_content_goes_out_as_one_tag(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1,))
    edit = "<edit-config><target><running/></target><config>{}</config></edit-config>"
    shell.send(rpc(1, edit.format('<mtu xc:operation="delete"></mtu>\r\n')))
    assert peer.request() == rpc(1, edit.format('<mtu xc:operation="delete"/>\r\n'))


@VERSIONS
def test_running_is_written_through_the_candidate(bench, version):  # noqa: F811
    shell, peer = bench.session((BASE_1_0, version, CANDIDATE, ROLLBACK))
    bench.gateway.wait_for_log(
        "shell 1: what goes to running is committed from the candidate "
        "(no writable-running capability)\n"
    )
    edit = "<edit-config><target><{}/></target><config/></edit-config>"
    ok, error = reply(1, "<ok/>"), reply(1, "<rpc-error/>")
    lock, discard = "<lock><target><candidate/></target></lock>", "<discard-changes/>"
    unlock = lock.replace("lock>", "unlock>")
    first = [(lock, ok), (discard, ok)]
    for turns, answer in (
        ([(edit.format("candidate"), ok), ("<commit/>", ok), (unlock, ok)], ok),
        ([(edit.format("candidate"), error), (discard, ok), (unlock, ok)], error),
    ):
        assert answered(shell, peer, edit.format("running"), first + turns) == answer


def test_a_copy_of_the_candidate_to_running_is_a_commit(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, CANDIDATE, ROLLBACK))
    copy = "<copy-config><target><running/></target><source><candidate/></source></copy-config>"
    for answer in (reply(1, "<ok/>"), reply(1, "<rpc-error/>")):
        assert answered(shell, peer, copy, [("<commit/>", answer)]) == answer


def test_a_copy_through_the_candidate_is_compared(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, CANDIDATE, ROLLBACK))
    copy = (
        "<copy-config><target><{}/></target><source><config>"
        '<a xmlns="urn:a">1</a></config></source></copy-config>'
    )
    ok = reply(1, "<ok/>")
    lock = "<lock><target><candidate/></target></lock>"
    unlock = lock.replace("lock>", "unlock>")
    turns = (lock, "<discard-changes/>", copy.format("candidate"), "<commit/>")
    for value, differs in ((1, False), (2, True)):
        shell.send(rpc(1, copy.format("running")))
        for request in turns:
            assert peer.request() == rpc(1, request)
            peer.send(ok)
        assert b'"tarnd-gateway-running"><get-config><source><running/>' in peer.request()
        data = f'<data><a xmlns="urn:a">{value}</a></data>'
        peer.send(reply("tarnd-gateway-running", data))
        assert peer.request() == rpc(1, unlock)
        peer.send(ok)
        answer = shell.receive()
        assert (b"is not what was to be copied: a differs</error-message>" in answer) is differs
        assert (answer == ok) is not differs


def test_a_commit_is_confirmed(bench):  # noqa: F811
    bench.start("--confirmed-commit=90")
    confirmed = CAPABILITY + "confirmed-commit:1.0"
    shell, peer = bench.session((BASE_1_1, CANDIDATE, ROLLBACK, confirmed))
    edit = "<edit-config><target><{}/></target><config/></edit-config>"
    lock, discard = "<lock><target><candidate/></target></lock>", "<discard-changes/>"
    unlock = lock.replace("lock>", "unlock>")
    commit = "<commit><confirmed/><confirm-timeout>90</confirm-timeout></commit>"
    ok, error = reply(1, "<ok/>"), reply(1, "<rpc-error/>")
    begin = [(lock, ok), (discard, ok), (edit.format("candidate"), ok), (commit, ok)]
    for end, answer in (
        ([("<commit/>", ok), (unlock, ok)], ok),
        ([("<commit/>", error), (discard, ok), (unlock, ok)], error),
    ):
        assert answered(shell, peer, edit.format("running"), begin + end) == answer


def test_what_is_confirmed_goes_through_the_candidate(bench):  # noqa: F811
    bench.start("--confirmed-commit=90")
    confirmed = CAPABILITY + "confirmed-commit:1.1"
    shell, peer = bench.session((BASE_1_1, CANDIDATE, WRITABLE, ROLLBACK, confirmed))
    bench.gateway.wait_for_log(
        "shell 1: what goes to running is committed from the candidate (--confirmed-commit)\n"
    )
    edit = "<edit-config><target><running/></target><config/></edit-config>"
    lock = "<lock><target><{}/></target></lock>"
    ok, error = reply(1, "<ok/>"), reply(1, "<rpc-error/>")
    turns = [
        (lock.format("running"), ok),
        (lock.format("candidate"), error),
        (lock.format("running").replace("lock>", "unlock>"), ok),
    ]
    assert answered(shell, peer, edit, turns) == error


def test_a_server_that_undoes_no_commit_gets_one_commit(bench):  # noqa: F811
    bench.start("--confirmed-commit=90")
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    edit = "<edit-config><target><running/></target><config/></edit-config>"
    ok = reply(1, "<ok/>")
    for _ in range(2):
        assert answered(shell, peer, edit, [(edit, ok)]) == ok
    said = (
        "shell 1: commits are not confirmed (no candidate or confirmed-commit capability); "
        "see --confirmed-commit\n"
    )
    assert bench.gateway.log().count(said) == 1


def test_data_are_read_with_defaults_as_they_are_wanted(bench):  # noqa: F811
    bench.start("--with-defaults=report-all")
    mode = "report-all".join(
        (
            '<with-defaults xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-with-defaults">',
            "</with-defaults>",
        )
    )
    knows = CAPABILITY + "with-defaults:1.0?basic-mode=explicit&amp;also-supported={}"
    for also, added in (("trim,report-all", mode), ("trim", "")):
        shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK, knows.format(also)))
        for request in (
            "<get>{}</get>",
            "<get-config><source><running/></source>{}</get-config>",
            "<copy-config><target><candidate/></target><source><running/></source>{}</copy-config>",
        ):
            shell.send(rpc(1, request.format("")))
            assert peer.request() == rpc(1, request.format(added))
            peer.send(reply(1, "<ok/>"))
            assert shell.receive() == reply(1, "<ok/>")
    said = "the server does not report defaults in the way that is wanted (--with-defaults)\n"
    assert bench.gateway.log().count(said) == 1
    assert f"shell 2: {said}" in bench.gateway.log()


@VERSIONS
def test_running_is_locked_while_it_is_edited(bench, version):  # noqa: F811
    bench.start("--lock")
    shell, peer = bench.session((version, WRITABLE, ROLLBACK))
    edit = "<edit-config><target><running/></target><config/></edit-config>"
    lock = "<lock><target><running/></target></lock>"
    ok, error = reply(1, "<ok/>"), reply(1, "<rpc-error/>")
    turns = [(lock, ok), (edit, ok), (lock.replace("lock>", "unlock>"), ok)]
    for turn, answer in ((turns, ok), ([(lock, error)], error)):
        assert answered(shell, peer, edit, turn) == answer


def test_a_server_that_cannot_undo_is_not_asked_to(bench):  # noqa: F811
    edit = "<edit-config><target><running/></target>{}<config/></edit-config>"
    option = "<error-option>rollback-on-error</error-option>"
    for capabilities, sent in (((), ""), ((ROLLBACK,), option)):
        shell, peer = bench.session((BASE_1_1, WRITABLE, *capabilities))
        shell.send(rpc(1, edit.format(option)))
        assert peer.request() == rpc(1, edit.format(sent))
    said = "a commit that is refused may have been done in part (no rollback-on-error capability)\n"
    assert bench.gateway.log().count(said) == 1
    assert f"shell 1: {said}" in bench.gateway.log()


def test_the_names_of_modules_in_values_are_declared(bench):  # noqa: F811
    module = "urn:ietf:params:xml:ns:yang:iana-if-type"
    shell, peer = bench.session(
        (BASE_1_1, WRITABLE, ROLLBACK, f"{module}?module=iana-if-type&amp;revision=2014-05-08")
    )
    edit = (
        "<edit-config><target><running/></target>"
        "<config{}><type>{}:vlan</type></config></edit-config>"
    )
    for name, declared in (("iana-if-type", f' xmlns:iana-if-type="{module}"'), ("other", "")):
        shell.send(rpc(1, edit.format("", name)))
        assert peer.request() == rpc(1, edit.format(declared, name))


def test_a_save_without_startup_says_so(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    save = "<copy-config><target><startup/></target><source><running/></source></copy-config>"
    shell.send(rpc(1, save))
    assert peer.request() == rpc(1, save)
    peer.send(reply(1, "<rpc-error><error-message>What?\x7f</error-message></rpc-error>"))
    assert (
        b'<error-message xml:lang="en">the server has no startup datastore '
        b"(no startup capability)</error-message>" in shell.receive()
    )
    bench.gateway.wait_for_log("shell 1: startup is refused: What??\n")


SUBSCRIBING = (BASE_1_1, NOTIFICATIONS, INTERLEAVE)


def test_a_subscription_to_some_notifications_only(bench):  # noqa: F811
    bench.start("--stream", "ALARMS", "--filter=/a[b='1']")
    _, peer = bench.session(SUBSCRIBING)
    wish = b'><stream>ALARMS</stream><filter type="xpath" select="/a[b=\'1\']"/>'
    assert peer.request() == SUBSCRIPTION.replace(b"/>", wish + b"</create-subscription>")


NOTIFICATION = (
    '<notification xmlns="urn:ietf:params:xml:ns:netconf:notification:1.0">{}</notification>'
)


def test_the_start_of_its_own_session_does_not_reach_a_shell(bench):  # noqa: F811
    shell, peer = bench.session(SUBSCRIBING, 7)
    started = NOTIFICATION.format(
        "<netconf-session-start "
        'xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-notifications">'
        "<session-id>{}</session-id></netconf-session-start>"
    )
    peer.request()
    for number in (7, 8):
        peer.send(started.format(number).encode())
    assert shell.receive() == started.format(8).encode()


def test_a_flood_of_notifications_is_logged_once(bench):  # noqa: F811
    shell, peer = bench.session(SUBSCRIBING)
    notification = NOTIFICATION.format("<x/>").encode()
    for _ in range(300):
        peer.send(notification)
        assert shell.receive() == notification
    hint = "notifications come in a flood; see --filter, --stream and --no-subscribe\n"
    assert bench.gateway.log().count(f"shell 1: {hint}") == 1


def test_modules_that_the_hello_does_not_tell_are_asked_for(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, ROLLBACK, CAPABILITY + "yang-library:1.0?revision=1"))
    edit = "<edit-config><target><running/></target><config{}><a>mod:x</a></config></edit-config>"
    shell.send(rpc(1, edit.format("")))
    assert b'message-id="tarnd-gateway-library"><get><filter type="subtree"><modules-state' in (
        peer.request()
    )
    peer.send(
        reply(
            "tarnd-gateway-library",
            '<data>\n<modules-state xmlns="urn:ietf:params:xml:ns:yang:ietf-yang-library">\n'
            "<module>\n<name>mod</name>\n<namespace>urn:mod</namespace>\n</module>\n"
            "</modules-state>\n</data>",
        )
    )
    assert peer.request() == rpc(1, edit.format(' xmlns:mod="urn:mod"'))


def test_a_library_of_the_second_revision(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, ROLLBACK, CAPABILITY + "yang-library:1.1?content-id=1"))
    edit = "<edit-config><target><running/></target><config{}><a>mod:x</a></config></edit-config>"
    shell.send(rpc(1, edit.format("")))
    assert b'message-id="tarnd-gateway-library"><get><filter type="subtree"><yang-library' in (
        peer.request()
    )
    peer.send(
        reply(
            "tarnd-gateway-library",
            '<data>\n<yang-library xmlns="urn:ietf:params:xml:ns:yang:ietf-yang-library">\n'
            "<module-set>\n<name>all</name>\n<import-only-module>\n<name>mod</name>\n"
            "<namespace>urn:mod</namespace>\n</import-only-module>\n</module-set>\n"
            "</yang-library>\n</data>",
        )
    )
    assert peer.request() == rpc(1, edit.format(' xmlns:mod="urn:mod"'))
