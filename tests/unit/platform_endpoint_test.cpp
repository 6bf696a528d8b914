#include "platform/redis_endpoint.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

std::string parsed(const char *text)
{
    redis_endpoint endpoint = {};
    if (redis_endpoint_parse(text, &endpoint) != 0)
        return "refused";
    std::string place = std::string(endpoint.host) + " " + std::to_string(endpoint.port);
    return endpoint.password_file[0] == '\0' ? place : place + " " + endpoint.password_file;
}

} // namespace

TEST(redis_endpoint_test, without_text_the_usual_place)
{
    EXPECT_EQ(parsed(nullptr), "127.0.0.1 6379");
    EXPECT_EQ(parsed(""), "127.0.0.1 6379");
}

TEST(redis_endpoint_test, host_and_port)
{
    EXPECT_EQ(parsed("localhost:6380"), "localhost 6380");
    EXPECT_EQ(parsed("10.0.0.1:1"), "10.0.0.1 1");
    EXPECT_EQ(parsed("h:65535"), "h 65535");
    EXPECT_EQ(parsed("h:00080"), "h 80");
}

TEST(redis_endpoint_test, addresses_with_colons)
{
    EXPECT_EQ(parsed("[::1]:6379"), "::1 6379");
    EXPECT_EQ(parsed("fe80::1:6379"), "fe80::1 6379");
}

TEST(redis_endpoint_test, a_slash_makes_it_a_path)
{
    EXPECT_EQ(parsed("/run/redis.sock"), "/run/redis.sock 0");
    EXPECT_EQ(parsed("./redis:6379"), "./redis:6379 0");
    std::string longest = "/" + std::string(106, 'p');
    EXPECT_EQ(parsed(longest.c_str()), longest + " 0");
    EXPECT_EQ(parsed((longest + "p").c_str()), "refused");
}

TEST(redis_endpoint_test, a_password_file_after_each_of_them)
{
    EXPECT_EQ(parsed("h:1,passwordfile=/etc/p"), "h 1 /etc/p");
    EXPECT_EQ(parsed("[::1]:1,passwordfile=p:2"), "::1 1 p:2");
    EXPECT_EQ(parsed("/run/r.sock,passwordfile=/etc/p,q"), "/run/r.sock 0 /etc/p,q");
    EXPECT_EQ(parsed(",passwordfile=p"), "127.0.0.1 6379 p");
    std::string longest = "/" + std::string(254, 'p');
    EXPECT_EQ(parsed(("h:1,passwordfile=" + longest).c_str()), "h 1 " + longest);
    EXPECT_EQ(parsed(("h:1,passwordfile=" + longest + "p").c_str()), "refused");
    std::string host(255, 'h');
    EXPECT_EQ(parsed((host + ":65535,passwordfile=p").c_str()), host + " 65535 p");
    EXPECT_EQ(parsed((host + "hhhhhhhhhhhh:1,passwordfile=p").c_str()), "refused");
    EXPECT_EQ(parsed("h:1,passwordfile="), "refused");
    EXPECT_EQ(parsed("h:1,password=p"), "refused");
    EXPECT_EQ(parsed("h,passwordfile=p"), "refused");
}

TEST(redis_endpoint_test, everything_else_is_refused)
{
    for (const char *text :
         {"localhost", "localhost:", ":6379", ":", "h:0", "h:65536", "h:99999999999999999999",
          "h:-1", "h:+1", "h: 1", "h:1 ", "h:0x10", "h:6379x", "[]:1", "[::1:6379", "[:1"})
        EXPECT_EQ(parsed(text), "refused") << text;
    std::string host(256, 'h');
    EXPECT_EQ(parsed((host + ":1").c_str()), "refused");
}
