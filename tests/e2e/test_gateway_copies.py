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
    "  <edit-config><target><running/></target><default-operation>replace</default-operation>"
    "<error-option>rollback-on-error</error-option>"
).encode()
EDIT_END = b"</edit-config>\r\n</rpc>\r\n"
READ_RUNNING = (
    f'<rpc xmlns="{BASE_NS}" message-id="tarnd-gateway-running"><get-config><source><running/>'
    "</source></get-config></rpc>"
).encode()
READ_STARTUP = READ_RUNNING.replace(b"running", b"startup")


def reply(message_id, inner):
    return (
        f'<rpc-reply xmlns="{BASE_NS}" message-id="{message_id}">{inner}</rpc-reply>'.encode()
    )


REFUSAL = reply(4, "<rpc-error><error-tag>operation-not-supported</error-tag></rpc-error>")


def removal(name, namespace):
    return (
        f'<{name} xmlns="{namespace}" xmlns:nc="{BASE_NS}" nc:operation="remove"/>'.encode()
    )


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
    peer.send(reply("tarnd-gateway-running", '<data>\n<b xmlns="urn:b"/>\n</data>'))
    edit = b'<config>\r\n<a xmlns="urn:a"/>      ' + removal("b", "urn:b") + b"</config>"
    assert peer.request() == EDIT_START + edit + EDIT_END
    assert shell.has_nothing()
    peer.send(reply(4, "<ok/>"))
    assert shell.receive() == reply(4, "<ok/>")


def test_a_copy_of_startup(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    shell.send(COPY_START + b"<startup/>" + COPY_END)
    assert peer.request() == COPY_START + b"<startup/>" + COPY_END
    peer.send(REFUSAL)
    assert peer.request() == READ_STARTUP
    peer.send(reply("tarnd-gateway-startup", '<data><a xmlns="urn:a">1</a></data>'))
    assert peer.request() == READ_RUNNING
    peer.send(reply("tarnd-gateway-running", '<data><a xmlns="urn:a">2</a></data>'))
    config = f'<config xmlns="{BASE_NS}"><a xmlns="urn:a">1</a></config>'.encode()
    assert peer.request() == EDIT_START + config + EDIT_END


def test_a_server_without_the_means_has_the_last_word(bench):  # noqa: F811
    shell, peer = bench.session((BASE_1_0, WRITABLE))
    shell.send(COPY_START + b"<config/>" + COPY_END)
    assert peer.request() == COPY_START + b"<config/>" + COPY_END
    peer.send(REFUSAL)
    assert shell.receive() == REFUSAL


def test_a_shell_that_sends_no_more_gets_what_it_asked_for(bench):  # noqa: F811
    bench.start(command=bench.host.command("--stubborn"))  # answers behind the end of its input
    shell, peer = bench.session((BASE_1_1, WRITABLE, ROLLBACK))
    shell.send(COPY_START + b"<config/>" + COPY_END)
    shell.connection.shutdown(socket.SHUT_WR)
    peer.request()
    peer.send(REFUSAL)
    assert peer.request() == READ_RUNNING
    peer.send(reply("tarnd-gateway-running", "<data/>"))
    assert peer.request() == EDIT_START + b"<config></config>" + EDIT_END
    assert peer.at_end()
    peer.send(reply(4, "<ok/>"))
    assert shell.receive() == reply(4, "<ok/>")
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
    assert peer.read_chunk_size() == len(EDIT_START + start + end + EDIT_END) + size
    assert peer.read(len(EDIT_START + start)) == EDIT_START + start
    check_pieces(peer.read, size)
    assert peer.read(len(end + EDIT_END)) == end + EDIT_END
    assert peer.read_chunk_size() == 0
    peer.send(reply(4, "<ok/>"))
    assert shell.receive() == reply(4, "<ok/>")
    assert bench.gateway.peak_memory() < 3 * size
