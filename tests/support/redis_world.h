// The database library under test, and the servers that it meets.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "redisapi.h"

// A redis-server of our own on a Unix socket, stopped by its process id.
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
            if (there)
                return;
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
    // Stores through a second connection, which knows nothing of the library.
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
        if (reply == nullptr)
            return "(null)";
        std::string value(reply->str, reply->len);
        redis_freereply(reply);
        return value;
    }
    std::string directory;
    std::string path;
    own_redis server;
    redisContext *connection = nullptr;
};

// Answers anything with one fixed text, a byte at a time when told so.
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
        for (int far; (far = accept(self->listener, nullptr, nullptr)) >= 0; close(far))
            self->serve(far);
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
                if (send(far, &letter, 1, MSG_NOSIGNAL) != 1)
                    return;
                usleep(static_cast<useconds_t>(delay_us));
            }
        }
    }
};
