#include "redisapi.h"

#include "support/other_user.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/* A redis-server of our own on a Unix socket, stopped by its process id. */
struct own_redis {
    pid_t pid = -1;

    void start(const std::string &directory, const std::string &socket_path)
    {
        pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            int null_device = open("/dev/null", O_RDWR);
            dup2(null_device, 0);
            dup2(null_device, 1);
            dup2(null_device, 2);
            execlp("redis-server", "redis-server", "--port", "0", "--unixsocket",
                   socket_path.c_str(), "--dir", directory.c_str(), "--save", "", "--appendonly",
                   "no", static_cast<char *>(nullptr));
            _exit(127);
        }
        for (int tries = 0; tries < 500; tries++) {
            redisContext *connection = redisConnectUnix(socket_path.c_str());
            bool there = connection != nullptr && connection->err == 0;
            redisFree(connection);
            if (there) {
                return;
            }
            usleep(20000);
        }
        FAIL() << "redis-server did not start";
    }
    void send_signal(int number) const
    {
        kill(pid, number);
    }
    void stop()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            pid = -1;
        }
    }
};

struct redisapi_test : testing::Test {
    void SetUp() override
    {
        char name[] = "/tmp/redisapi_testXXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory = name;
        path = directory + "/r";
        setenv("SCHEMA_REDIS", path.c_str(), 1);
    }
    void TearDown() override
    {
        unsetenv("SCHEMA_REDIS");
        redis_freeconn(connection);
        server.stop();
        unlink(path.c_str());
        rmdir(directory.c_str());
    }
    void start_and_connect()
    {
        server.start(directory, path);
        connection = redis_connect();
        ASSERT_NE(connection, nullptr);
    }
    /* Stores through a second connection, which knows nothing of the library. */
    void store(int database, const char *hash, const std::string &field, const std::string &value)
    {
        redisContext *side = redisConnectUnix(path.c_str());
        ASSERT_NE(side, nullptr);
        freeReplyObject(redisCommand(side, "SELECT %d", database));
        auto *reply = static_cast<redisReply *>(redisCommand(
            side, "HSET %s %b %b", hash, field.data(), field.size(), value.data(), value.size()));
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(reply->type, REDIS_REPLY_INTEGER);
        freeReplyObject(reply);
        redisFree(side);
    }
    std::string get(const std::string &hash, const std::string &field)
    {
        redisReply *reply = redis_hash_get_bin_safe(connection, hash.data(), hash.size(),
                                                    field.data(), field.size());
        if (reply == nullptr) {
            return "(null)";
        }
        std::string value(reply->str, reply->len);
        redis_freereply(reply);
        return value;
    }
    std::string directory;
    std::string path;
    own_redis server;
    redisContext *connection = nullptr;
};

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

TEST_F(redisapi_test, a_database_of_somebody_else_is_refused)
{
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can be another user";
    }
    other_listener other;
    other.start(directory, path);
    EXPECT_EQ(redis_connect(), nullptr);
    EXPECT_EQ(as_other_user([] { return redis_connect() != nullptr ? 1 : 0; }), 1);
    other.stop();
}

TEST_F(redisapi_test, a_database_that_became_somebody_elses_is_refused)
{
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can be another user";
    }
    start_and_connect();
    server.stop();
    unlink(path.c_str());
    other_listener other;
    other.start(directory, path);
    EXPECT_EQ(get("/m", "f"), "(null)");
    EXPECT_STREQ(connection->errstr, "the server is another user's");
    EXPECT_EQ(redis_select(connection, 4), -1);
    other.stop();
}

TEST_F(redisapi_test, roots_database_serves_everybody)
{
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can be another user";
    }
    start_and_connect();
    ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
    ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    EXPECT_EQ(as_other_user([] { return redis_connect() != nullptr ? 1 : 0; }), 1);
}

/* SIGPIPE has its deadly default here: the test program would not survive it. */
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

static volatile sig_atomic_t pipe_signals;

static void count_pipe_signal(int)
{
    pipe_signals = pipe_signals + 1;
}

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

    /* One that was pending before the call is delivered after it. */
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

    /* Also when the first the client hears of it is this very call. */
    server.stop();
    server.start(directory, path);
    store(4, "/m", "f", "four again");
    EXPECT_EQ(get("/m", "f"), "four again");
}

static long long now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

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

/* A server that wants a password, and the file that names it. */
struct redis_password_test : redisapi_test {
    void SetUp() override
    {
        redisapi_test::SetUp();
        file = directory + "/p";
        setenv("SCHEMA_REDIS", (path + ",passwordfile=" + file).c_str(), 1);
        server.start(directory, path);
        store(4, "/m", "f", "value");
        tell({"CONFIG", "SET", "requirepass", "two words\r\n"});
    }
    void TearDown() override
    {
        unlink(file.c_str());
        redisapi_test::TearDown();
    }
    void tell(std::vector<const char *> words, const char *secret = nullptr)
    {
        redisContext *side = redisConnectUnix(path.c_str());
        ASSERT_NE(side, nullptr);
        if (secret != nullptr) {
            freeReplyObject(redisCommand(side, "AUTH %s", secret));
        }
        freeReplyObject(
            redisCommandArgv(side, static_cast<int>(words.size()), words.data(), nullptr));
        redisFree(side);
    }
    void write_file(const std::string &content, mode_t mode)
    {
        unlink(file.c_str());
        int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
        ASSERT_EQ(write(descriptor, content.data(), content.size()),
                  static_cast<ssize_t>(content.size()));
        ASSERT_EQ(fchmod(descriptor, mode), 0);
        close(descriptor);
    }
    bool connects()
    {
        redis_freeconn(connection);
        connection = redis_connect();
        return connection != nullptr;
    }
    std::string file;
};

TEST_F(redis_password_test, is_sent_with_each_connection)
{
    write_file("two words\r\n\n", 0600);
    ASSERT_TRUE(connects());
    EXPECT_EQ(redis_select(connection, 4), 0);
    EXPECT_EQ(get("/m", "f"), "value");
    tell({"CLIENT", "KILL", "TYPE", "normal"}, "two words\r\n");
    EXPECT_EQ(get("/m", "f"), "value");
}

TEST_F(redis_password_test, has_to_be_the_servers)
{
    write_file("two words\n", 0600); /* without its own line end */
    EXPECT_FALSE(connects());
    tell({"CONFIG", "SET", "requirepass", "two words"}, "two words\r\n");
    EXPECT_TRUE(connects());
    tell({"CONFIG", "SET", "requirepass", ""}, "two words");
    EXPECT_FALSE(connects()); /* another server, which wants none */
}

TEST_F(redis_password_test, stands_in_a_file_that_is_closed_to_others)
{
    EXPECT_FALSE(connects());
    for (mode_t mode : {0600, 0400, 0640, 0700}) {
        write_file("two words\r\n\n", mode);
        EXPECT_TRUE(connects()) << mode;
    }
    for (mode_t mode : {0604, 0602, 0601, 0620}) {
        write_file("two words\r\n\n", mode);
        EXPECT_FALSE(connects()) << mode;
    }
    if (getuid() == 0) {
        write_file("two words\r\n\n", 0600);
        ASSERT_EQ(chown(file.c_str(), other_user, 0), 0);
        EXPECT_FALSE(connects());
    }
    unlink(file.c_str());
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(connects());
}

TEST_F(redis_password_test, has_a_largest_length)
{
    const std::string longest(512, 'p');
    tell({"CONFIG", "SET", "requirepass", longest.c_str()}, "two words\r\n");
    write_file(longest + "\n", 0600);
    EXPECT_TRUE(connects());
    const std::string longer = longest + "p";
    tell({"CONFIG", "SET", "requirepass", longer.c_str()}, longest.c_str());
    for (const std::string &content : {longer, longer + "\n", longer + "pppp", std::string("\n")}) {
        write_file(content, 0600);
        EXPECT_FALSE(connects()) << content;
    }
}

/* Answers anything with one fixed text, a byte at a time when told so. */
struct fake_redis {
    int listener = -1;
    std::string reply;
    int delay_us = 0;
    int connections = 1;
    pthread_t thread = {};

    void listen_at(const std::string &path)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        memcpy(address.sun_path, path.c_str(), path.size() + 1);
        listener = socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listener, 8), 0);
    }
    void start(const std::string &path)
    {
        listen_at(path);
        ASSERT_EQ(pthread_create(&thread, nullptr, run, this), 0);
    }
    void join() const
    {
        shutdown(listener, SHUT_RDWR);
        pthread_join(thread, nullptr);
        close(listener);
    }
    static void *run(void *object)
    {
        auto *self = static_cast<fake_redis *>(object);
        for (int far; (far = accept(self->listener, nullptr, nullptr)) >= 0; close(far)) {
            self->serve(far);
        }
        return nullptr;
    }
    void serve(int far) const
    {
        char request[512];
        while (read(far, request, sizeof request) > 0) {
            if (delay_us == 0) {
                send(far, reply.data(), reply.size(), MSG_NOSIGNAL);
                continue;
            }
            for (char letter : reply) {
                if (send(far, &letter, 1, MSG_NOSIGNAL) != 1) {
                    return;
                }
                usleep(static_cast<useconds_t>(delay_us));
            }
        }
    }
};

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

TEST_F(redisapi_test, a_reply_has_a_largest_size)
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

TEST_F(redisapi_test, an_array_has_a_largest_count)
{
    for (int count : {1 << 18, (1 << 18) + 2}) {
        fake_redis fake;
        fake.reply = "*" + std::to_string(count) + "\r\n";
        for (int i = 0; i < count; i++) {
            fake.reply += "$1\r\na\r\n";
        }
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

/* Sends its first client more and more, up to what a test has memory for, and
 * serves the later ones. */
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
            send(far, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) {
            return;
        }
        const std::string piece(1 << 16, 'x');
        while (sent < 48U << 20) {
            ssize_t taken = send(far, piece.data(), piece.size(), MSG_NOSIGNAL);
            if (taken < 0) {
                return;
            }
            sent += static_cast<size_t>(taken);
        }
    }
};

TEST_F(redisapi_test, an_endless_reply_is_given_up)
{
    for (const char *start : {"$4000000000\r\n", "*262144\r\n$4000000000\r\n"}) {
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
        /* What is on its way, in the buffers of the socket, has been sent, too. */
        EXPECT_LT(fake.sent, 20U << 20) << start;
    }
}

TEST_F(redisapi_test, an_array_is_not_prepared_for_what_it_announces)
{
    for (const char *start : {"*2147483646\r\n", "*262146\r\n", "*2\r\n*2\r\n"}) {
        fake_redis fake;
        fake.reply = start;
        fake.start(path);
        connection = redis_connect();
        ASSERT_NE(connection, nullptr);
        EXPECT_EQ(redis_hash_get_all_bin_safe(connection, "/m", 2), nullptr);
        EXPECT_EQ(connection->err, REDIS_ERR_OOM) << start; /* not: nothing came any more */
        redis_freeconn(connection);
        connection = nullptr;
        fake.join();
        unlink(path.c_str());
    }
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
