// What is asked of a server that has notifications, and which of them a shell is spared.
#include "device/gateway/subscription.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

const std::string start = "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
                          "message-id=\"tarnd-gateway-subscription\"><create-subscription "
                          "xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"";
const std::string end = "</create-subscription></rpc>";

std::string written(const char *stream, const char *filter)
{
    server_modules modules{};
    EXPECT_EQ(server_modules_add(&modules, "mod", "urn:m&n"), 0);
    server_modules_sort(&modules);
    const subscription_wish wish{stream, filter};
    byte_buffer out{};
    EXPECT_EQ(subscription_write(&wish, &modules, &out), 0);
    return std::string(byte_buffer_view(&out));
}

std::string started(const std::string &number, const std::string &name = "netconf-session-start")
{
    return "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><" + name +
           " xmlns=\"urn:ietf:params:xml:ns:yang:ietf-netconf-notifications\"><username>a"
           "</username><session-id>" +
           number + "</session-id></" + name + "></notification>";
}

} // namespace

TEST(gateway_subscription, asks_for_what_is_wished)
{
    EXPECT_EQ(written(nullptr, nullptr), start + "/></rpc>");
    EXPECT_EQ(written("a<b", nullptr), start + "><stream>a&lt;b</stream>" + end);
    EXPECT_EQ(written(nullptr, "<a xmlns='urn:a'/>"),
              start + "><filter type=\"subtree\"><a xmlns='urn:a'/></filter>" + end);
    EXPECT_EQ(written("s", "/mod:a[mod:b=\"1\"]/other:c"),
              start +
                  "><stream>s</stream><filter type=\"xpath\" xmlns:mod=\"urn:m&amp;n\" "
                  "select=\"/mod:a[mod:b=&quot;1&quot;]/other:c\"/>" +
                  end);
}

TEST(gateway_subscription, only_the_start_of_its_own_session_is_no_news)
{
    EXPECT_TRUE(subscription_tells_start(started("42"), 42));
    EXPECT_FALSE(subscription_tells_start(started("421"), 42));
    EXPECT_FALSE(subscription_tells_start(started("42", "netconf-session-end"), 42));
    const std::string held = "<a><b><c>" + started("42") + "</c></b></a>";
    EXPECT_FALSE(subscription_tells_start(held, 42));
    EXPECT_FALSE(subscription_tells_start(started("42") + "<", 43));
    EXPECT_FALSE(subscription_tells_start("netconf-session-start", 42));
}

TEST(gateway_subscription, a_flood_is_told_once)
{
    subscription_flood flood{};
    for (time_t now = 1000; now < 2000; now++) {
        for (int count = 0; count < 10; count++)
            EXPECT_FALSE(subscription_floods(&flood, now));
    }
    EXPECT_TRUE(subscription_floods(&flood, 1999));
    for (int count = 0; count < 1000; count++)
        EXPECT_FALSE(subscription_floods(&flood, 2000));
}
