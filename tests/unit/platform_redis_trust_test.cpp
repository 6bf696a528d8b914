// Whom the database library trusts, and how it makes itself known.
#include <vector>

#include "support/other_user.h"
#include "support/redis_world.h"

using redis_trust_test = redisapi_test;

TEST_F(redis_trust_test, a_database_of_somebody_else_is_refused)
{
    if (getuid() != 0)
        GTEST_SKIP() << "only root can be another user";
    other_listener other;
    other.start(directory, path);
    EXPECT_EQ(redis_connect(), nullptr);
    EXPECT_EQ(as_other_user([] { return redis_connect() != nullptr ? 1 : 0; }), 1);
    other.stop();
}

TEST_F(redis_trust_test, a_database_that_became_somebody_elses_is_refused)
{
    if (getuid() != 0)
        GTEST_SKIP() << "only root can be another user";
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

TEST_F(redis_trust_test, roots_database_serves_everybody)
{
    if (getuid() != 0)
        GTEST_SKIP() << "only root can be another user";
    start_and_connect();
    ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
    ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    EXPECT_EQ(as_other_user([] { return redis_connect() != nullptr ? 1 : 0; }), 1);
}

// A server that wants a password, and the file that names it.
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
        if (secret != nullptr)
            freeReplyObject(redisCommand(side, "AUTH %s", secret));
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
    write_file("two words\n", 0600); // without its own line end
    EXPECT_FALSE(connects());
    tell({"CONFIG", "SET", "requirepass", "two words"}, "two words\r\n");
    EXPECT_TRUE(connects());
    tell({"CONFIG", "SET", "requirepass", ""}, "two words");
    EXPECT_FALSE(connects()); // another server, which wants none
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
