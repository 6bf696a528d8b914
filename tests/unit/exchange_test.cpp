// Sending, receiving, and waiting for a reply.
#include "link/exchange.h"

#include <atomic>
#include <errno.h>
#include <sys/stat.h>

#include "tests/support/shell_world.h"

namespace
{

const std::string notification =
    "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><e/></notification>";

const std::string printed_notification =
    "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">\n  <e/>\n"
    "  </notification>\n";

const log_lines sent = {{14, "[INFO] Send a message to tarnd.\n"}};
const log_lines received = {{14, "[INFO] Recv a message from tarnd.\n"}};

class exchange_test : public shell_world
{
  protected:
    int receive()
    {
        return take(msg_recv);
    }

    int wait_reply()
    {
        return take(msg_wait_reply);
    }

    template <class reader>
    int take(reader read_one)
    {
        got.text.reset(strdup("old"));
        got.length = 99;
        const int result = read_one(&got);
        if (result != 0) {
            EXPECT_EQ(got.text, nullptr);
            EXPECT_EQ(got.length, 0U);
        }
        return result;
    }

    std::string text() const
    {
        EXPECT_EQ(got.text.get()[got.length], '\0');
        return {got.text.get(), got.length};
    }

    static bool lock_is_free()
    {
        bool free_now = false;
        std::thread other([&] {
            free_now = exchange_trylock() == 0;
            if (free_now)
                exchange_unlock();
        });
        other.join();
        return free_now;
    }

    // Pushes bytes and ends the connection.
    void push_all(const std::string &bytes)
    {
        disconnect();
        connect().push_raw(bytes).hang_up();
        server->start();
        server->finish();
    }

    reply_text got;
};

// How a body that ended early is told; errno may name any cause then.
void expect_early_end(const log_lines &lines, const std::string &numbers)
{
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].first, 15);
    const std::string begin = "[DEBUG] Read message failed(";
    const std::string &text = lines[0].second;
    EXPECT_EQ(text.substr(0, begin.size()), begin);
    EXPECT_EQ(text.substr(text.rfind(')')), "). " + numbers + "\n");
}

TEST_F(exchange_test, a_text_travels_with_its_zero_byte)
{
    connect().expect().expect();
    server->start();
    EXPECT_EQ(send_text("abcdef"), 0);
    exchange_unlock();
    EXPECT_EQ(send_text("ghi"), 0);
    exchange_unlock();
    auto frames = server->finish();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].magic, 0xFEDCBAFFU);
    EXPECT_EQ(frames[0].length, 7U);
    EXPECT_EQ(frames[0].sequence, 0);
    EXPECT_EQ(frames[0].reserved, 0);
    EXPECT_EQ(frames[0].body, std::string("abcdef\0", 7));
    EXPECT_EQ(frames[1].length, 4U);
    EXPECT_EQ(frames[1].sequence, 1);
    EXPECT_EQ(frames[1].body, std::string("ghi\0", 4));
}

TEST_F(exchange_test, a_buffer_travels_from_where_it_is)
{
    text_buffer buffer;
    ASSERT_EQ(text_append(&buffer, frame_room), 0);
    ASSERT_EQ(text_append(&buffer, "abcdef"), 0);
    connect().expect().expect();
    server->start();
    EXPECT_EQ(msg_send(&buffer), 0);
    EXPECT_EQ(captured_log_take(), sent);
    EXPECT_FALSE(lock_is_free());
    exchange_unlock();
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_EQ(buffer.length, 0U);
    EXPECT_EQ(buffer.capacity, 0U);
    EXPECT_EQ(send_text("ghi"), 0);
    exchange_unlock();
    auto frames = server->finish();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].magic, 0xFEDCBAFFU);
    EXPECT_EQ(frames[0].length, 7U);
    EXPECT_EQ(frames[0].sequence, 0);
    EXPECT_EQ(frames[0].reserved, 0);
    EXPECT_EQ(frames[0].body, std::string("abcdef\0", 7));
    EXPECT_EQ(frames[1].sequence, 1);
}

TEST_F(exchange_test, the_bytes_of_a_frame)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    server_fd = ends[0];
    session.send_seq = 0x1234;
    EXPECT_EQ(send_text("abcdef"), 0);
    exchange_unlock();
    char bytes[64];
    ASSERT_EQ(read(ends[1], bytes, sizeof bytes), 19);
    EXPECT_EQ(std::string(bytes, 19),
              std::string("\xff\xba\xdc\xfe\x07\0\0\0\x34\x12\0\0abcdef\0", 19));
    EXPECT_EQ(session.send_seq, 0x1235);
    close(ends[1]);
}

TEST_F(exchange_test, the_sequence_wraps)
{
    session.send_seq = 65535;
    connect().expect().expect();
    server->start();
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(send_text("x"), 0);
        exchange_unlock();
    }
    auto frames = server->finish();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].sequence, 65535);
    EXPECT_EQ(frames[1].sequence, 0);
    EXPECT_EQ(session.send_seq, 1);
}

TEST_F(exchange_test, a_send_takes_the_lock_and_logs)
{
    connect().expect();
    server->start();
    captured_log_take();
    EXPECT_EQ(send_text("x"), 0);
    EXPECT_EQ(captured_log_take(), sent);
    EXPECT_FALSE(lock_is_free());
    exchange_unlock();
    EXPECT_TRUE(lock_is_free());
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(exchange_test, what_was_printed_is_out_before_a_send)
{
    connect().expect();
    server->start();
    const captured_output output;
    printf("get");
    EXPECT_EQ(send_text("x"), 0);
    struct stat status = {};
    EXPECT_EQ(fstat(STDOUT_FILENO, &status), 0);
    EXPECT_EQ(status.st_size, 3);
    exchange_unlock();
}

TEST_F(exchange_test, a_text_without_room_for_its_header_is_refused)
{
    connect().expect();
    server->start();
    text_buffer nothing;
    EXPECT_EQ(msg_send(&nothing), -1);
    const std::vector<std::pair<int, std::string>> refused = {
        {11, "[ERROR] send error:out of memory!\n"}};
    EXPECT_EQ(captured_log_take(), refused);
    EXPECT_TRUE(lock_is_free());
}

TEST_F(exchange_test, an_empty_body_is_a_frame_too)
{
    connect().expect();
    server->start();
    EXPECT_EQ(send_text("", frame_ends_in_text), 0);
    exchange_unlock();
    auto frames = server->finish();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].length, 0U);
}

TEST_F(exchange_test, without_a_connection_sending_succeeds_and_takes_no_lock)
{
    for (int unconnected : {-1, 0}) {
        server_fd = unconnected;
        session.send_seq = 5;
        captured_log_take();
        EXPECT_EQ(printed_by([] { EXPECT_EQ(send_text("x"), 0); }), "");
        EXPECT_EQ(captured_log_take(),
                  (log_lines{{14, "[INFO] Send a message to tarnd.\n"},
                             {11, "[ERROR] Connect to Server first!Send msg error.\n"}}));
        EXPECT_EQ(session.send_seq, 6);
        EXPECT_TRUE(lock_is_free());
    }
}

TEST_F(exchange_test, a_wait_without_a_connection_fails_and_prints_nothing)
{
    server_fd = -1;
    EXPECT_EQ(printed_by([this] { EXPECT_EQ(wait_reply(), -1); }), "");
    EXPECT_TRUE(lock_is_free());
}

TEST_F(exchange_test, a_wait_without_the_lock_releases_nobody_else_s)
{
    std::atomic<int> step = 0;
    std::thread holder([&] {
        exchange_lock();
        step = 1;
        while (step == 1)
            std::this_thread::yield();
        exchange_unlock();
    });
    while (step == 0)
        std::this_thread::yield();
    EXPECT_EQ(printed_by([this] { EXPECT_EQ(wait_reply(), -1); }), "");
    EXPECT_EQ(exchange_trylock(), EBUSY);
    step = 2;
    holder.join();
}

TEST_F(exchange_test, a_write_that_fails_releases_the_lock)
{
    connect().hang_up();
    server->start();
    server->finish();
    server.reset();
    captured_log_take();
    EXPECT_EQ(printed_by([] { EXPECT_EQ(send_text("x"), -1); }), "");
    EXPECT_EQ(captured_log_take(),
              (log_lines{{14, "[INFO] Send a message to tarnd.\n"},
                         {11, "[ERROR] Send message failed(Broken pipe).\n"}}));
    EXPECT_TRUE(lock_is_free());
    EXPECT_EQ(session.send_seq, 1);
}

TEST_F(exchange_test, a_large_body_arrives_whole)
{
    std::string large(60 << 20, 'b');
    connect().expect();
    server->start();
    EXPECT_EQ(send_text(large), 0);
    exchange_unlock();
    auto frames = server->finish();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].body, large + std::string(1, '\0'));
}

TEST_F(exchange_test, a_short_write_counts_as_success)
{
    connect();
    ASSERT_EQ(fcntl(server_fd, F_SETFL, O_NONBLOCK), 0);
    std::string large(8 << 20, 'b');
    captured_log_take();
    EXPECT_EQ(send_text(large), 0);
    EXPECT_EQ(captured_log_take(), sent);
    EXPECT_FALSE(lock_is_free());
    exchange_unlock();
}

TEST_F(exchange_test, a_body_is_received_as_it_is)
{
    push_all(frame_bytes(std::string("<a/>\0x\0", 7), 77));
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(text(), std::string("<a/>\0x\0", 7));
    EXPECT_EQ(captured_log_take(), received);
}

TEST_F(exchange_test, an_empty_body_is_an_empty_text)
{
    push_all(frame_bytes(""));
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(text(), "");
}

TEST_F(exchange_test, magic_sequence_and_reserve_are_not_looked_at)
{
    push_all(std::string("\1\2\3\4\x03\0\0\0\5\6\7\x08"
                         "abc",
                         15));
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(text(), "abc");
}

TEST_F(exchange_test, a_body_in_pieces)
{
    connect();
    server->push_raw(frame_bytes(std::string(300000, 'q')).substr(0, 12));
    for (int i = 0; i < 3; i++)
        server->push_raw(std::string(100000, static_cast<char>('0' + i)));
    server->start();
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(text(),
              std::string(100000, '0') + std::string(100000, '1') + std::string(100000, '2'));
}

TEST_F(exchange_test, a_short_header_fails_without_a_word)
{
    for (size_t size : {0U, 1U, 11U}) {
        push_all(frame_bytes("abc").substr(0, size));
        EXPECT_EQ(receive(), -1);
        EXPECT_EQ(captured_log_take(), log_lines{});
    }
}

TEST_F(exchange_test, a_short_header_is_not_waited_for)
{
    connect().push_raw(frame_bytes("abc").substr(0, 5));
    server->start();
    server->finish();
    EXPECT_EQ(receive(), -1); // the connection is still open
}

TEST_F(exchange_test, a_body_above_256_mebibytes_is_refused)
{
    push_all(std::string("\xff\xba\xdc\xfe\x01\0\0\x10\0\0\0\0", 12));
    EXPECT_EQ(receive(), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] Packet is too big :268435457\n"}}));
    push_all(std::string("\xff\xba\xdc\xfe\xff\xff\xff\xff\0\0\0\0", 12));
    EXPECT_EQ(receive(), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] Packet is too big :-1\n"}}));
}

TEST_F(exchange_test, a_refused_body_is_left_in_the_socket)
{
    push_all(std::string("\xff\xba\xdc\xfe\x01\0\0\x10\0\0\0\0", 12) + frame_bytes("next"));
    EXPECT_EQ(receive(), -1);
    EXPECT_EQ(receive(), 0);
    EXPECT_EQ(text(), "next");
}

TEST_F(exchange_test, a_body_of_256_mebibytes_is_accepted)
{
    push_all(std::string("\xff\xba\xdc\xfe\0\0\0\x10\0\0\0\0xyz", 15));
    EXPECT_EQ(receive(), -1);
    expect_early_end(captured_log_take(), "expected: 268435456, actual:0");
}

TEST_F(exchange_test, a_body_that_ends_early_fails)
{
    push_all(frame_bytes("abcdef").substr(0, 14));
    EXPECT_EQ(receive(), -1);
    expect_early_end(captured_log_take(), "expected: 6, actual:0");
}

TEST_F(exchange_test, a_read_error_in_the_body_is_named)
{
    connect().push_raw(frame_bytes("abcdef").substr(0, 14));
    server->start();
    server->finish();
    ASSERT_EQ(fcntl(server_fd, F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(receive(), -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] Read message failed(Resource temporarily unavailable). "
                              "expected: 6, actual:-1\n"}}));
}

TEST_F(exchange_test, the_reply_is_handed_out_and_the_lock_given_back)
{
    serve({"<rpc-reply/>"});
    EXPECT_EQ(send_text("<rpc/>"), 0);
    EXPECT_EQ(printed_by([this] { EXPECT_EQ(wait_reply(), 0); }), "");
    EXPECT_EQ(text(), "<rpc-reply/>");
    EXPECT_TRUE(lock_is_free());
}

TEST_F(exchange_test, notifications_before_the_reply_are_printed)
{
    connect().push(notification).expect().push(notification).push("<ok/>").push(notification);
    server->start();
    EXPECT_EQ(send_text("<rpc/>"), 0);
    EXPECT_EQ(printed_by([this] { EXPECT_EQ(wait_reply(), 0); }),
              printed_notification + printed_notification);
    EXPECT_EQ(text(), "<ok/>");
    EXPECT_TRUE(lock_is_free());
    server->finish();
    EXPECT_EQ(receive(), 0); // the one after the reply is still there
    EXPECT_EQ(text(), notification);
}

TEST_F(exchange_test, a_notification_with_its_zero_byte)
{
    connect().push(notification + std::string(1, '\0')).push("<ok/>");
    server->start();
    EXPECT_EQ(printed_by([this] { EXPECT_EQ(wait_reply(), 0); }), printed_notification);
    EXPECT_EQ(text(), "<ok/>");
}

TEST_F(exchange_test, what_is_no_xml_is_the_reply)
{
    for (const char *reply : {"garbage", "", "<a>", "<notification/>"}) {
        serve({reply});
        EXPECT_EQ(send_text("<rpc/>"), 0);
        EXPECT_EQ(printed_by([this] { EXPECT_EQ(wait_reply(), 0); }), "");
        EXPECT_EQ(text(), reply);
        EXPECT_TRUE(lock_is_free());
    }
}

TEST_F(exchange_test, a_daemon_that_goes_away_before_its_reply)
{
    connect().expect().hang_up();
    server->start();
    EXPECT_EQ(send_text("<rpc/>"), 0);
    EXPECT_EQ(printed_by([this] { EXPECT_EQ(wait_reply(), -1); }), "");
    EXPECT_TRUE(lock_is_free());
}

TEST_F(exchange_test, a_daemon_that_goes_away_after_a_notification)
{
    connect().expect().push(notification).push_raw("\xff\xba").hang_up();
    server->start();
    EXPECT_EQ(send_text("<rpc/>"), 0);
    EXPECT_EQ(printed_by([this] { EXPECT_EQ(wait_reply(), -1); }), printed_notification);
    EXPECT_TRUE(lock_is_free());
}

} // namespace
