// Telling notifications from replies.
#include "link/xml_root.h"

#include "tests/support/shell_world.h"

namespace
{

class notification_test : public shell_world
{
  protected:
    static int told(const std::string &message)
    {
        return is_notification(message.data(), message.size());
    }
};

TEST_F(notification_test, the_root_element_decides)
{
    EXPECT_EQ(told("<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"/>"), 1);
    EXPECT_EQ(told("<?xml version=\"1.0\"?><n:notification "
                   "xmlns:n=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"> <e/>"
                   "</n:notification>"),
              1);
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(notification_test, another_namespace_or_place_does_not_count)
{
    EXPECT_EQ(told("<notification/>"), 0);
    EXPECT_EQ(told("<notification xmlns=\"urn:x\"/>"), 0);
    EXPECT_EQ(told("<a><notification "
                   "xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"/></a>"),
              0);
    EXPECT_EQ(told("<Notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"/>"), 0);
    EXPECT_EQ(told("<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"/>"), 0);
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(notification_test, a_trailing_zero_byte_is_accepted)
{
    EXPECT_EQ(told("<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"/>" +
                   std::string(1, '\0')),
              1);
}

TEST_F(notification_test, what_is_no_xml_is_logged)
{
    for (const char *text : {"", "x", "<a>", "<notification", "\xff\xfe<"}) {
        EXPECT_EQ(told(text), 0) << text;
        EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] parse xml err.\n"}})) << text;
    }
}

TEST_F(notification_test, only_the_given_length_is_read)
{
    const std::string message =
        "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"/>rubbish";
    EXPECT_EQ(is_notification(message.data(), message.size() - 7), 1);
    EXPECT_EQ(is_notification(message.data(), message.size()), 0);
}

TEST_F(notification_test, the_parser_prints_nothing)
{
    testing::internal::CaptureStderr();
    told("<a><b></a>");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
