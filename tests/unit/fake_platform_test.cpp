// The played platform itself: other tests believe what it says.
#include <errno.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include "conf_agent.h"
#include "redisapi.h"
#include "tests/support/captured_log.h"
#include "tests/support/captured_output.h"
#include "tests/support/fake_conf.h"
#include "tests/support/fake_redis.h"
#include "tests/support/scripted_server.h"

namespace
{

class fake_redis_test : public testing::Test
{
  protected:
    void SetUp() override
    {
        fake_redis_reset();
        connection = redis_connect();
    }
    void TearDown() override
    {
        redis_freeconn(connection);
        EXPECT_EQ(fake_redis_open_connections(), 0);
        EXPECT_EQ(fake_redis_open_replies(), 0);
    }
    redisReply *get_all(const std::string &hash) const
    {
        return redis_hash_get_all_bin_safe(connection, hash.data(), hash.size());
    }
    redisReply *get(const std::string &hash, const std::string &field) const
    {
        return redis_hash_get_bin_safe(connection, hash.data(), hash.size(), field.data(),
                                       field.size());
    }

    redisContext *connection = nullptr;
};

TEST(fake_conf, hands_out_the_other_end)
{
    fake_conf_reset();
    int daemon_end = fake_conf_listen();
    int shell_end = conf_agent_init();
    ASSERT_EQ(write(shell_end, "x", 1), 1);
    char got = 0;
    ASSERT_EQ(read(daemon_end, &got, 1), 1);
    EXPECT_EQ(got, 'x');
    close(daemon_end);
    close(shell_end);
    EXPECT_EQ(conf_agent_init(), -1);
    EXPECT_EQ(fake_conf_calls(), 2);
}

TEST(fake_conf, fails_as_arranged)
{
    fake_conf_reset();
    fake_conf_refuse(ECONNREFUSED);
    errno = 0;
    EXPECT_EQ(conf_agent_init(), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(fake_conf_debug_level(), -1);
    fake_conf_set_debug_result(5);
    EXPECT_EQ(conf_dbg_enable(7, 0), 5);
    EXPECT_EQ(fake_conf_debug_level(), 7);
    EXPECT_EQ(fake_conf_debug_flag(), 0);
}

TEST_F(fake_redis_test, keeps_fields_in_order_and_binary)
{
    fake_redis_put("/m", "b", std::string("1\0x", 3));
    fake_redis_put("/m", "a", "2");
    fake_redis_put("/m", "b", std::string("3\0y", 3));
    redisReply *reply = get_all("/m");
    ASSERT_NE(reply, nullptr);
    ASSERT_EQ(reply->type, REDIS_REPLY_ARRAY);
    ASSERT_EQ(reply->elements, 4U);
    EXPECT_EQ(std::string(reply->element[0]->str, reply->element[0]->len), "b");
    EXPECT_EQ(std::string(reply->element[1]->str, reply->element[1]->len), std::string("3\0y", 3));
    EXPECT_EQ(std::string(reply->element[2]->str, reply->element[2]->len), "a");
    EXPECT_EQ(fake_redis_open_replies(), 1);
    redis_freereply(reply);
}

TEST_F(fake_redis_test, what_is_missing_is_null)
{
    EXPECT_EQ(get("/m", "a"), nullptr);
    EXPECT_EQ(get_all("/m"), nullptr);
    fake_redis_put("/m", "a", "2");
    fake_redis_remove("/m");
    EXPECT_EQ(get("/m", "a"), nullptr);
    EXPECT_EQ(fake_redis_reads(), 3);
}

TEST_F(fake_redis_test, puts_can_be_undone)
{
    fake_redis_put("/m", "a", "1");
    fake_redis_keep_hashes();
    for (int round = 0; round < 2; round++) {
        fake_redis_put("/m", "a", "2");
        fake_redis_put("/m", "b", "3");
        fake_redis_put("/n", "c", "4");
        fake_redis_undo_puts();
        redisReply *reply = get_all("/m");
        ASSERT_NE(reply, nullptr);
        ASSERT_EQ(reply->elements, 2U);
        EXPECT_STREQ(reply->element[1]->str, "1");
        redis_freereply(reply);
        EXPECT_EQ(get_all("/n"), nullptr);
    }
}

TEST_F(fake_redis_test, packs_records_by_their_layout)
{
    EXPECT_EQ(fake_node_record(fake_list, true),
              std::string("\x01\x01\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x01\0\0", 21));
    EXPECT_EQ(fake_node_record(fake_leaf, false, "uint8", "Hi"),
              std::string("\x80\0\0\0\0\0\0\0\0\0\0\0\x07\0\x01\0\0\0\x0a\0", 20) +
                  std::string("\0uint8\0Hi\0", 10));
    fake_redis_put_module("m", "urn:m");
    redisReply *reply = get("/", "m");
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(std::string(reply->str, reply->len),
              std::string(43, '\0') + std::string("urn:m\0", 6));
    redis_freereply(reply);
}

TEST_F(fake_redis_test, answers_as_arranged)
{
    const std::pair<fake_reply, int> expected[] = {
        {fake_reply_nil, REDIS_REPLY_NIL},         {fake_reply_error, REDIS_REPLY_ERROR},
        {fake_reply_integer, REDIS_REPLY_INTEGER}, {fake_reply_odd, REDIS_REPLY_ARRAY},
        {fake_reply_mixed, REDIS_REPLY_ARRAY},     {fake_reply_empty_array, REDIS_REPLY_ARRAY}};
    for (const auto &[answer, type] : expected) {
        fake_redis_answer("/m", answer);
        redisReply *reply = get("/m", "a");
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(reply->type, type);
        redis_freereply(reply);
    }
    fake_redis_answer("/m", fake_reply_null);
    EXPECT_EQ(get_all("/m"), nullptr);
}

TEST_F(fake_redis_test, fails_after_some_reads)
{
    fake_redis_put("/m", "a", "2");
    fake_redis_fail_after(1);
    redis_freereply(get("/m", "a"));
    EXPECT_EQ(get("/m", "a"), nullptr);
    EXPECT_EQ(get_all("/m"), nullptr);
}

TEST(fake_redis, can_be_out_of_reach)
{
    fake_redis_reset();
    fake_redis_set_reachable(false);
    EXPECT_EQ(redis_connect(), nullptr);
    EXPECT_EQ(fake_redis_database(), -1);
    EXPECT_EQ(redis_select(nullptr, 4), -1);
    EXPECT_EQ(fake_redis_database(), 4);
    redis_freeconn(nullptr);
    redis_freereply(nullptr);
    EXPECT_EQ(fake_redis_open_connections(), 0);
}

TEST(scripted_server, answers_in_order)
{
    fake_conf_reset();
    scripted_server server(fake_conf_listen());
    int shell_end = conf_agent_init();
    server.push("<n/>").answer("<a/>").push_raw("zz").hang_up();
    server.start();
    std::string request = frame_bytes(std::string("hello\0", 6), 7);
    ASSERT_EQ(request, std::string("\xff\xba\xdc\xfe\x06\0\0\0\x07\0\0\0hello\0", 18));
    ASSERT_EQ(write(shell_end, request.data(), request.size()), 18);
    const auto &received = server.finish();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].magic, 0xFEDCBAFFU);
    EXPECT_EQ(received[0].length, 6U);
    EXPECT_EQ(received[0].sequence, 7);
    EXPECT_EQ(received[0].reserved, 0);
    EXPECT_EQ(received[0].body, std::string("hello\0", 6));
    std::string all(34, '\0');
    EXPECT_EQ(recv(shell_end, all.data(), all.size(), MSG_WAITALL), 34);
    EXPECT_EQ(all, frame_bytes("<n/>") + frame_bytes("<a/>") + "zz");
    EXPECT_EQ(recv(shell_end, all.data(), 1, 0), 0);
    close(shell_end);
}

TEST(scripted_server, ends_without_its_request)
{
    fake_conf_reset();
    scripted_server server(fake_conf_listen());
    int shell_end = conf_agent_init();
    server.answer("<a/>");
    server.start();
    close(shell_end);
    EXPECT_TRUE(server.finish().empty());
}

TEST(captured_output, takes_what_is_printed)
{
    captured_output output;
    printf("a%cb", 0);
    ASSERT_EQ(write(STDOUT_FILENO, "", 0), 0);
    puts("c\r");
    EXPECT_EQ(output.text(), std::string("a\0bc\r\n", 6));
}

TEST(captured_log, takes_what_is_logged)
{
    captured_log_take();
    openlog("IDENT", LOG_PID, LOG_USER);
    syslog(LOG_ERR, "a %d\n", 1);
    syslog(LOG_USER | LOG_DEBUG, "b");
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "a 1\n"}, {15, "b"}}));
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_EQ(captured_log_ident(), "IDENT");
    EXPECT_EQ(captured_log_option(), LOG_PID);
    EXPECT_EQ(captured_log_facility(), LOG_USER);
}

} // namespace
