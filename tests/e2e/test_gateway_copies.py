"""tarnd-gateway: a shell's copy-config in words that the server understands."""

import socket

from support.gateway import HEADER, MAGIC
from support.netconf_peer import BASE_1_0, BASE_1_1, BASE_NS
from test_gateway import VERSIONS, bench, check_pieces, pieces  # noqa: F401

CAPABILITY = "urn:ietf:params:netconf:capability:"
WRITABLE = CAPABILITY + "writable-running:1.0"
ROLLBACK = CAPABILITY + "rollback-on-error:1.0"
SAVE = (
    f'<rpc xmlns ="{BASE_NS}" message-id ="3">\r\n'
    "  <copy-config>\r\n"
    "    <target>\r\n"
    "      <startup/>\r\n"
    "    </target>\r\n"
    "    <error-option>rollback-on-error</error-option>\r\n"
    "    <source>\r\n"
    "      <running/>\r\n"
    "    </source>\r\n"
    "  </copy-config>\r\n"
    "</rpc>\r\n"
).encode()
COPY_START = (
    f'<rpc xmlns="{BASE_NS}" message-id="4">\r\n'
    "  <copy-config>\r\n"
    "    <target>\r\n"
    "      <running/>\r\n"
    "    </target>\r\n"
    "    <source>\r\n"
    "      "
).encode()
COPY_END = b"\r\n    </source>\r\n  </copy-config>\r\n</rpc>\r\n"
EDIT_START = (
    f'<rpc xmlns="{BASE_NS}" message-id="4">\r\n'
    "  <edit-config><target><running/></target>"
    "<error-option>rollback-on-error</error-option>"
).encode()
EDIT_END = b"</edit-config>\r\n</rpc>\r\n"
READ_RUNNING = (
    f'<rpc xmlns="{BASE_NS}" message-id="tarnd-gateway-running"><get-config><source><running/>'
    "</source></get-config></rpc>"
).encode()
READ_STARTUP = READ_RUNNING.replace(b"running", b"startup")


def reply(message_id, inner):
    return f'<rpc-reply xmlns="{BASE_NS}" message-id="{message_id}">{inner}</rpc-reply>'.encode()


OK = reply(4, "<ok/>")
REFUSAL = reply(4, "<rpc-error><error-tag>operation-not-supported</error-tag></rpc-error>")


def operation(name):
    return f' xmlns:nc="{BASE_NS}" nc:operation="{name}"'


def running(content):
    return reply("tarnd-gateway-running", f"<data>\n{content}\n</data>")


@VERSIONS
def test_save_loses_its_error_option(bench, version):  # noqa: F811
    shell, peer = bench.session((version,))
    shell.send(SAVE)
    option = b"<error-option>rollback-on-error</error-option>"
    assert peer.request() == SAVE.replace(option, b"")


@VERSIONS
def test_an_edit_takes_the_place_of_a_refused_copy(bench, version):  # noqa: F811
    shell, peer = bench.session((version, WRITABLE, ROLLBACK))
    config = b'<config>\r\n<a xmlns="urn:a"/>      </config>'
    shell.send(COPY_START + config + COPY_END)
    assert peer.request() == COPY_START + config + COPY_END
    peer.send(REFUSAL)
    assert peer.request() == READ_RUNNING
    peer.send(running('<b xmlns="urn:b"/>'))
    removal = "remove" if version == BASE_1_1 else "delete"
    edit = (
        f'<config><b xmlns="urn:b"{operation(removal)}></b>'
        f'<a{operation("replace")} xmlns="urn:a"/></config>'
    ).encode()
    assert peer.request() == EDIT_START + edit + EDIT_END
    peer.send(OK)
    assert peer.request() == READ_RUNNING
    assert shell.has_nothing()
    peer.send(running('<a xmlns="urn:a"></a>'))
    assert shell.receive() == OK


def test_a_server_that_merges_gets_no_ok(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    source = '<users xmlns="urn:a"><user><name>a</name></user></users>'
    merged = source.replace("</users>", "<user><name>b</name></user></users>")
    shell.send(COPY_START + f"<config>{source}</config>".encode() + COPY_END)
    peer.request()
    peer.send(REFUSAL)
    for _ in range(3):
        assert peer.request() == READ_RUNNING
        peer.send(running(merged))
        assert b"<users" + operation("replace").encode() in peer.request()
        peer.send(OK)
    assert peer.request() == READ_RUNNING
    peer.send(running(merged))
    answer = shell.receive()
    assert b"<ok/>" not in answer
    assert (
        b"<error-tag>operation-failed</error-tag><error-severity>error</error-severity>"
        b'<error-message xml:lang="en">running was changed but is not what was to be copied: '
        b"users differs</error-message>" in answer
    )


def test_a_copy_of_startup(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    shell.send(COPY_START + b"<startup/>" + COPY_END)
    assert peer.request() == COPY_START + b"<startup/>" + COPY_END
    peer.send(REFUSAL)
    assert peer.request() == READ_STARTUP
    peer.send(reply("tarnd-gateway-startup", '<data><a xmlns="urn:a">1</a></data>'))
    assert peer.request() == READ_RUNNING
    peer.send(running('<a xmlns="urn:a">2</a>'))
    config = f'<config xmlns="{BASE_NS}"><a{operation("replace")} xmlns="urn:a">1</a></config>'
    assert peer.request() == EDIT_START + config.encode() + EDIT_END
    peer.send(OK)
    assert peer.request() == READ_RUNNING
    peer.send(running('<a xmlns="urn:a">1</a>'))
    assert shell.receive() == OK


def test_a_server_without_the_means_has_the_last_word(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_0, WRITABLE))
    shell.send(COPY_START + b"<config/>" + COPY_END)
    assert peer.request() == COPY_START + b"<config/>" + COPY_END
    peer.send(REFUSAL)
    assert shell.receive() == REFUSAL


def test_a_shell_that_sends_no_more_gets_what_it_asked_for(bench):  # noqa: F811
    bench.start(command=bench.host.command("--stubborn"))  # answers after the end of its input
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    shell.send(COPY_START + b"<config/>" + COPY_END)
    shell.connection.shutdown(socket.SHUT_WR)
    peer.request()
    peer.send(REFUSAL)
    assert peer.request() == READ_RUNNING
    peer.send(reply("tarnd-gateway-running", "<data/>"))
    assert peer.request() == EDIT_START + b"<config></config>" + EDIT_END
    peer.send(OK)
    assert peer.request() == READ_RUNNING
    peer.send(reply("tarnd-gateway-running", "<data/>"))
    assert peer.at_end()
    assert shell.receive() == OK
    peer.close()
    assert shell.at_end()


def test_a_server_that_ends_in_between(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    shell.send(COPY_START + b"<config/>" + COPY_END)
    peer.request()
    peer.send(REFUSAL)
    assert peer.request() == READ_RUNNING
    peer.close()
    assert shell.at_end()
    bench.gateway.wait_for_log("shell 1: closed: the server ended the session\n")


def test_a_large_copy(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    size = 100000000
    start, end = b'<config><a xmlns="urn:a">', b"</a></config>"
    total = len(COPY_START + start + end + COPY_END) + size
    shell.raw(HEADER.pack(MAGIC, total, 0, 0) + COPY_START + start)
    for piece in pieces(size):
        shell.raw(piece)
    shell.raw(end + COPY_END)
    assert peer.read_chunk_size() == total
    assert peer.read(len(COPY_START + start)) == COPY_START + start
    check_pieces(peer.read, size)
    assert peer.read(len(end + COPY_END)) == end + COPY_END
    assert peer.read_chunk_size() == 0
    peer.send(REFUSAL)
    assert peer.request() == READ_RUNNING
    peer.send(reply("tarnd-gateway-running", "<data/>"))
    edit_start = EDIT_START + start.replace(b"<a", b"<a" + operation("replace").encode())
    assert peer.read_chunk_size() == len(edit_start + end + EDIT_END) + size
    assert peer.read(len(edit_start)) == edit_start
    check_pieces(peer.read, size)
    assert peer.read(len(end + EDIT_END)) == end + EDIT_END
    assert peer.read_chunk_size() == 0
    peer.send(OK)
    assert peer.request() == READ_RUNNING
    head, tail = running('<a xmlns="urn:a">VALUE</a>').split(b"VALUE")
    for piece in (head, *pieces(size), tail):
        peer.raw(b"\n#%d\n%s" % (len(piece), piece))
    peer.raw(b"\n##\n")
    assert shell.receive() == OK
    assert bench.gateway.peak_memory() < 3 * size
