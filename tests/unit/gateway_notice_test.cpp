// What the gateway tells a shell unasked.
#include "device/gateway/notice.h"

#include <gtest/gtest.h>
#include <string>

TEST(gateway_notice, a_closed_session)
{
    byte_buffer notice{};
    ASSERT_TRUE(closed_notice_write("too late", 1700000000, &notice));
    EXPECT_EQ(std::string(notice.data.get(), notice.size),
              "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">"
              "<eventTime>2023-11-14T22:13:20Z</eventTime>"
              "<session-closed xmlns=\"urn:vandel:tarnd-gateway\"><reason>too late</reason>"
              "</session-closed></notification>");
}

TEST(gateway_notice, a_reason_that_is_too_long)
{
    byte_buffer notice{};
    EXPECT_FALSE(closed_notice_write(std::string(500, 'x').c_str(), 0, &notice));
    EXPECT_EQ(notice.size, 0U);
}
