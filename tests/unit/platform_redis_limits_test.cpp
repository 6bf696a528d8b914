// What a reply of the database may take.
#include "support/redis_world.h"

using redis_limits_test = redisapi_test;

TEST_F(redis_limits_test, a_reply_has_a_largest_size)
{
    const std::string value((16 << 20) - 13, 'x');
    fake_redis fake;
    fake.reply = "$16777203\r\n" + value + "\r\n";
    fake.start(path);
    connection = redis_connect();
    ASSERT_NE(connection, nullptr);
    EXPECT_TRUE(get("/m", "f") == value);
    redis_freeconn(connection);
    fake.join();
    unlink(path.c_str());

    fake.reply = "$16777204\r\n" + value + "x\r\n";
    fake.start(path);
    connection = redis_connect();
    ASSERT_NE(connection, nullptr);
    EXPECT_TRUE(get("/m", "f") == "(null)");
    redis_freeconn(connection);
    connection = nullptr;
    fake.join();
}

TEST_F(redis_limits_test, an_array_has_a_largest_count)
{
    for (int count : {1 << 18, (1 << 18) + 2}) {
        fake_redis fake;
        fake.reply = "*" + std::to_string(count) + "\r\n";
        for (int i = 0; i < count; i++)
            fake.reply += "$1\r\na\r\n";
        fake.start(path);
        connection = redis_connect();
        ASSERT_NE(connection, nullptr);
        redisReply *reply = redis_hash_get_all_bin_safe(connection, "/m", 2);
        EXPECT_EQ(reply != nullptr, count == 1 << 18);
        redis_freereply(reply);
        redis_freeconn(connection);
        connection = nullptr;
        fake.join();
        unlink(path.c_str());
    }
}

// Sends its first client more and more, up to what a test has memory for, and
// serves the later ones.
struct flooding_redis : fake_redis {
    size_t sent = 0;

    void start(const std::string &path)
    {
        listen_at(path);
        ASSERT_EQ(pthread_create(&thread, nullptr, run, this), 0);
    }
    static void *run(void *object)
    {
        auto *self = static_cast<flooding_redis *>(object);
        int far = accept(self->listener, nullptr, nullptr);
        self->flood(far);
        close(far);
        while ((far = accept(self->listener, nullptr, nullptr)) >= 0) {
            char request[512];
            while (read(far, request, sizeof request) > 0) {
                const bool is_select = strstr(request, "SELECT") != nullptr;
                const std::string answer = is_select ? "+OK\r\n" : "$1\r\nv\r\n";
                send(far, answer.data(), answer.size(), MSG_NOSIGNAL);
                memset(request, 0, sizeof request);
            }
            close(far);
        }
        return nullptr;
    }
    void flood(int far)
    {
        char request[512];
        if (read(far, request, sizeof request) <= 0 ||
            send(far, reply.data(), reply.size(), MSG_NOSIGNAL) < 0)
            return;
        const std::string piece(1 << 16, 'x');
        while (sent < 48U << 20) {
            ssize_t taken = send(far, piece.data(), piece.size(), MSG_NOSIGNAL);
            if (taken < 0)
                return;
            sent += static_cast<size_t>(taken);
        }
    }
};

TEST_F(redis_limits_test, an_endless_reply_is_given_up)
{
    for (const char *start :
         {"$4000000000\r\n", "*262144\r\n$4000000000\r\n", "$4294967282\r\n", "$4294967295\r\n"}) {
        flooding_redis fake;
        fake.reply = start;
        fake.start(path);
        connection = redis_connect();
        ASSERT_NE(connection, nullptr) << start;
        EXPECT_EQ(get("/m", "f"), "(null)") << start;
        EXPECT_EQ(get("/m", "f"), "v") << start;
        redis_freeconn(connection);
        connection = nullptr;
        fake.join();
        unlink(path.c_str());
        // What is on its way, in the buffers of the socket, has been sent, too.
        EXPECT_LT(fake.sent, 20U << 20) << start;
    }
}

TEST_F(redis_limits_test, an_array_is_not_prepared_for_what_it_announces)
{
    for (const char *start : {"*2147483646\r\n", "*262146\r\n", "*2\r\n*2\r\n"}) {
        fake_redis fake;
        fake.reply = start;
        fake.start(path);
        connection = redis_connect();
        ASSERT_NE(connection, nullptr);
        EXPECT_EQ(redis_hash_get_all_bin_safe(connection, "/m", 2), nullptr);
        EXPECT_EQ(connection->err, REDIS_ERR_OOM) << start; // not: nothing came any more
        redis_freeconn(connection);
        connection = nullptr;
        fake.join();
        unlink(path.c_str());
    }
}
