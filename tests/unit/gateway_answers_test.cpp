// What the gateway tells a shell unasked.
#include "device/gateway/answers.h"

#include <gtest/gtest.h>
#include <string>

TEST(gateway_answers, a_closed_session)
{
    byte_buffer notice{};
    ASSERT_EQ(closed_notice_write("too late", 1700000000, &notice), 0);
    EXPECT_EQ(std::string(notice.data.get(), notice.size),
              "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">"
              "<eventTime>2023-11-14T22:13:20Z</eventTime>"
              "<session-closed xmlns=\"urn:vandel:tarnd-gateway\"><reason>too late</reason>"
              "</session-closed></notification>");
}
