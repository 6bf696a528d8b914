#include "support/redis_world.h"

#include <time.h>

TEST_F(redisapi_test, reads_a_field)
{
    start_and_connect();
    store(0, "/m", "f", "value");
    EXPECT_EQ(get("/m", "f"), "value");
    EXPECT_EQ(get("/m", "g"), "(null)");
    EXPECT_EQ(get("/n", "f"), "(null)");
}

TEST_F(redisapi_test, values_and_names_are_binary)
{
    start_and_connect();
    std::string field("a\0b\r\n", 5);
    std::string value("\0\1\0\r\n\0", 6);
    store(0, "/m", field, value);
    EXPECT_EQ(get("/m", field), value);
    EXPECT_EQ(get("/m", "a"), "(null)");
    store(0, "/m", "empty", "");
    EXPECT_EQ(get("/m", "empty"), "");
}

TEST_F(redisapi_test, only_the_given_length_of_a_name_counts)
{
    start_and_connect();
    store(0, "/", "m", "value");
    redisReply *reply = redis_hash_get_bin_safe(connection, "/m/c", 1, "mxyz", 1);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->type, REDIS_REPLY_STRING);
    EXPECT_EQ(std::string(reply->str, reply->len), "value");
    redis_freereply(reply);
}

TEST_F(redisapi_test, reads_a_whole_hash)
{
    start_and_connect();
    store(0, "/m", "one", std::string("1\0", 2));
    redisReply *reply = redis_hash_get_all_bin_safe(connection, "/m", 2);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->type, REDIS_REPLY_ARRAY);
    ASSERT_EQ(reply->elements, 2U);
    EXPECT_EQ(std::string(reply->element[0]->str, reply->element[0]->len), "one");
    EXPECT_EQ(std::string(reply->element[1]->str, reply->element[1]->len), std::string("1\0", 2));
    redis_freereply(reply);
}

TEST_F(redisapi_test, a_missing_hash_is_null)
{
    start_and_connect();
    EXPECT_EQ(redis_hash_get_all_bin_safe(connection, "/none", 5), nullptr);
    EXPECT_EQ(redis_hash_get_all_bin_safe(connection, "", 0), nullptr);
}

TEST_F(redisapi_test, a_key_of_another_type_is_null)
{
    start_and_connect();
    redisContext *side = redisConnectUnix(path.c_str());
    freeReplyObject(redisCommand(side, "SET text value"));
    redisFree(side);
    EXPECT_EQ(get("text", "f"), "(null)");
    EXPECT_EQ(redis_hash_get_all_bin_safe(connection, "text", 4), nullptr);
    store(0, "/m", "f", "still works");
    EXPECT_EQ(get("/m", "f"), "still works");
}

TEST_F(redisapi_test, selects_a_database)
{
    start_and_connect();
    store(4, "/m", "f", "four");
    store(0, "/m", "f", "zero");
    EXPECT_EQ(get("/m", "f"), "zero");
    EXPECT_EQ(redis_select(connection, 4), 0);
    EXPECT_EQ(get("/m", "f"), "four");
    EXPECT_EQ(redis_select(connection, 100000), -1);
    EXPECT_EQ(redis_select(connection, -1), -1);
    EXPECT_EQ(get("/m", "f"), "four");
}

TEST_F(redisapi_test, a_selection_that_met_no_server_is_made_later)
{
    start_and_connect();
    server.stop();
    EXPECT_EQ(redis_select(connection, 4), -1);
    EXPECT_EQ(redis_select(connection, 5), -1);
    EXPECT_EQ(get("/m", "f"), "(null)");
    server.start(directory, path);
    store(0, "/m", "f", "zero");
    store(5, "/m", "f", "five");
    EXPECT_EQ(get("/m", "f"), "five");
}

TEST_F(redisapi_test, null_is_accepted_everywhere)
{
    EXPECT_EQ(redis_select(nullptr, 4), -1);
    EXPECT_EQ(redis_hash_get_bin_safe(nullptr, "/", 1, "m", 1), nullptr);
    EXPECT_EQ(redis_hash_get_all_bin_safe(nullptr, "/", 1), nullptr);
    redis_freereply(nullptr);
    redis_freeconn(nullptr);
}

TEST_F(redisapi_test, null_names_are_missing_records)
{
    start_and_connect();
    EXPECT_EQ(redis_hash_get_bin_safe(connection, nullptr, 1, "m", 1), nullptr);
    EXPECT_EQ(redis_hash_get_bin_safe(connection, "/", 1, nullptr, 1), nullptr);
    EXPECT_EQ(redis_hash_get_all_bin_safe(connection, nullptr, 1), nullptr);
}

TEST_F(redisapi_test, no_server_is_no_connection)
{
    EXPECT_EQ(redis_connect(), nullptr);
    setenv("SCHEMA_REDIS", "127.0.0.1:notaport", 1);
    EXPECT_EQ(redis_connect(), nullptr);
    setenv("SCHEMA_REDIS", "127.0.0.1", 1);
    EXPECT_EQ(redis_connect(), nullptr);
}

// SIGPIPE has its deadly default here: the test program would not survive it.
TEST_F(redisapi_test, a_server_that_went_away_is_a_missing_record)
{
    start_and_connect();
    store(0, "/m", "f", "value");
    EXPECT_EQ(get("/m", "f"), "value");
    server.stop();
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(get("/m", "f"), "(null)");
        EXPECT_EQ(redis_hash_get_all_bin_safe(connection, "/m", 2), nullptr);
        EXPECT_EQ(redis_select(connection, 4), -1);
    }
}

namespace
{

volatile sig_atomic_t pipe_signals;

void count_pipe_signal(int)
{
    pipe_signals = pipe_signals + 1;
}

} // namespace

TEST_F(redisapi_test, the_callers_sigpipe_is_its_own)
{
    start_and_connect();
    struct sigaction action = {};
    action.sa_handler = count_pipe_signal;
    struct sigaction before;
    ASSERT_EQ(sigaction(SIGPIPE, &action, &before), 0);
    pipe_signals = 0;
    server.stop();
    EXPECT_EQ(get("/m", "f"), "(null)");
    EXPECT_EQ(get("/m", "f"), "(null)");
    EXPECT_EQ(pipe_signals, 0);

    // One that was pending before the call is delivered after it.
    sigset_t pipe_set;
    sigemptyset(&pipe_set);
    sigaddset(&pipe_set, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe_set, nullptr);
    raise(SIGPIPE);
    EXPECT_EQ(get("/m", "f"), "(null)");
    EXPECT_EQ(pipe_signals, 0);
    pthread_sigmask(SIG_UNBLOCK, &pipe_set, nullptr);
    EXPECT_EQ(pipe_signals, 1);

    raise(SIGPIPE);
    EXPECT_EQ(pipe_signals, 2);
    sigaction(SIGPIPE, &before, nullptr);
}

TEST_F(redisapi_test, a_restarted_server_is_found_again_with_its_database)
{
    start_and_connect();
    ASSERT_EQ(redis_select(connection, 4), 0);
    server.stop();
    EXPECT_EQ(get("/m", "f"), "(null)");
    server.start(directory, path);
    store(4, "/m", "f", "four");
    store(0, "/m", "f", "zero");
    EXPECT_EQ(get("/m", "f"), "four");

    // Also when the first the client hears of it is this very call.
    server.stop();
    server.start(directory, path);
    store(4, "/m", "f", "four again");
    EXPECT_EQ(get("/m", "f"), "four again");
}

namespace
{

long long now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

} // namespace

TEST_F(redisapi_test, a_stalled_server_is_given_up_and_its_late_reply_dropped)
{
    start_and_connect();
    store(0, "/m", "first", "1");
    store(0, "/m", "second", "2");
    EXPECT_EQ(get("/m", "second"), "2");
    server.send_signal(SIGSTOP);
    long long start = now_ms();
    EXPECT_EQ(get("/m", "first"), "(null)");
    EXPECT_GE(now_ms() - start, 4900);
    EXPECT_LT(now_ms() - start, 8000);
    server.send_signal(SIGCONT);
    EXPECT_EQ(get("/m", "second"), "2");
}

TEST_F(redisapi_test, a_trickling_server_cannot_stretch_the_wait)
{
    fake_redis fake;
    fake.reply = "$1000\r\n" + std::string(1000, 'x') + "\r\n";
    fake.delay_us = 500000;
    fake.start(path);
    connection = redis_connect();
    ASSERT_NE(connection, nullptr);
    long long start = now_ms();
    EXPECT_EQ(get("/m", "f"), "(null)");
    EXPECT_LT(now_ms() - start, 8000);
    redis_freeconn(connection);
    connection = nullptr;
    fake.join();
}

TEST_F(redisapi_test, replies_that_are_no_redis_are_missing_records)
{
    for (const char *text : {"nonsense\r\n", "$-5\r\n", "*2\r\n$1\r\na\r\n:1\r\n", "*-1\r\n",
                             "*1\r\n$1\r\na\r\n", "-ERR no\r\n", "+OK\r\n", ":1\r\n", "*0\r\n"}) {
        fake_redis fake;
        fake.reply = text;
        fake.start(path);
        connection = redis_connect();
        ASSERT_NE(connection, nullptr) << text;
        EXPECT_EQ(get("/m", "f"), "(null)") << text;
        EXPECT_EQ(redis_hash_get_all_bin_safe(connection, "/m", 2), nullptr) << text;
        redis_freeconn(connection);
        connection = nullptr;
        fake.join();
        unlink(path.c_str());
    }
}
