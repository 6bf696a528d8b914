// What the gateway reads out of hellos, requests and replies, and what it says
// itself.
#include <gtest/gtest.h>
#include <string>

#include "device/gateway/answers.h"
#include "device/gateway/hello.h"
#include "device/gateway/report.h"
#include "device/gateway/xml_head.h"

namespace
{

// A hello with the given capabilities and what else is wanted in it.
std::string hello_with(const std::string &capabilities, const std::string &rest)
{
    return "<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><capabilities>" +
           capabilities + "</capabilities>" + rest + "</hello>";
}

const std::string base_1_0 = "<capability>urn:ietf:params:netconf:base:1.0</capability>";
const std::string base_1_1 = "<capability>urn:ietf:params:netconf:base:1.1</capability>";

std::string refusal(const std::string &text)
{
    server_hello hello;
    const char *reason = server_hello_read(text, &hello);
    return reason ? reason : "none";
}

server_hello accepted(const std::string &text)
{
    server_hello hello;
    EXPECT_EQ(server_hello_read(text, &hello), nullptr) << text;
    return hello;
}

message_head head_of(const std::string &text)
{
    return message_head_read(text);
}

std::string told(const message_head &head)
{
    return std::to_string(head.kind) + " " + head.operation + (head.is_error ? " error " : " ") +
           (head.message_id != nullptr ? head.message_id.get() : "(none)");
}

// What the parser says of a text of its own beginning, which no other one has had.
std::string parsed(const std::string &text)
{
    static int number = 0;
    return told(head_of("<!--" + std::to_string(++number) + "-->" + text));
}

// Reads a text when a beginning of another one is known.
std::string told_after(const std::string &known, const std::string &text)
{
    head_of(known);
    return told(head_of(text));
}

std::string error_of(const std::string &text)
{
    return error_text_read(text).text;
}

std::string session_reply(const char *message_id, uint32_t session_id)
{
    byte_buffer out{};
    EXPECT_EQ(session_reply_write(message_id, session_id, &out), 0);
    return {out.data.get(), out.size};
}

} // namespace

TEST(gateway_hello, what_the_gateway_offers)
{
    EXPECT_STREQ(hello_text, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                             "<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
                             "<capabilities>"
                             "<capability>urn:ietf:params:netconf:base:1.0</capability>"
                             "<capability>urn:ietf:params:netconf:base:1.1</capability>"
                             "</capabilities></hello>");
}

TEST(gateway_hello, versions)
{
    const std::string session = "<session-id>4</session-id>";
    const server_hello first = accepted(hello_with(base_1_0, session));
    EXPECT_TRUE(first.base_1_0);
    EXPECT_FALSE(first.base_1_1);
    EXPECT_EQ(first.session_id, 4U);
    EXPECT_FALSE(first.notifications);
    EXPECT_FALSE(first.interleave);
    EXPECT_TRUE(accepted(hello_with(base_1_1, session)).base_1_1);
    EXPECT_TRUE(accepted(hello_with(base_1_0 + base_1_1, session)).base_1_1);
    EXPECT_EQ(refusal(hello_with("", session)),
              "the server's hello offers neither NETCONF 1.0 nor 1.1");
    EXPECT_EQ(
        refusal(hello_with("<capability>urn:ietf:params:netconf:base:1.12</capability>", session)),
        "the server's hello offers neither NETCONF 1.0 nor 1.1");
}

TEST(gateway_hello, notifications_and_interleave)
{
    const server_hello hello = accepted(hello_with(
        base_1_0 + "<capability>urn:ietf:params:netconf:capability:notification:1.0</capability>"
                   "<capability>urn:ietf:params:netconf:capability:interleave:1.0?x=y</capability>",
        "<session-id>1</session-id>"));
    EXPECT_TRUE(hello.notifications);
    EXPECT_TRUE(hello.interleave);
    // The module of the same name in a capability is not the capability.
    EXPECT_FALSE(accepted(hello_with(base_1_0 + "<capability>urn:ietf:params:xml:ns:netconf:"
                                                "notification:1.0?module=notifications"
                                                "</capability>",
                                     "<session-id>1</session-id>"))
                     .notifications);
}

TEST(gateway_hello, blanks_prefixes_and_order_do_not_matter)
{
    const server_hello hello = accepted(
        "<nc:hello xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
        "<nc:session-id>\n 77 \n</nc:session-id><nc:capabilities>"
        "<nc:capability>\n  urn:ietf:params:netconf:base:1.1\n</nc:capability><nc:capability/>"
        "</nc:capabilities></nc:hello>");
    EXPECT_EQ(hello.session_id, 77U);
    EXPECT_TRUE(hello.base_1_1);
}

TEST(gateway_hello, session_ids)
{
    EXPECT_EQ(accepted(hello_with(base_1_0, "<session-id>4294967295</session-id>")).session_id,
              4294967295U);
    EXPECT_EQ(accepted(hello_with(base_1_0, "<session-id>010</session-id>")).session_id, 10U);
    for (const char *bad :
         {"", "<session-id/>", "<session-id>0</session-id>", "<session-id>-1</session-id>",
          "<session-id>1x</session-id>", "<session-id>4294967296</session-id>",
          "<session-id>99999999999999999999999</session-id>", "<session-id>0x10</session-id>"})
        EXPECT_EQ(refusal(hello_with(base_1_0, bad)), "the server's hello has no valid session-id")
            << bad;
}

TEST(gateway_hello, a_tag_of_many_attributes_is_not_gone_into)
{
    std::string attributes;
    for (int at = 0; at < 3000; at++)
        attributes += " x" + std::to_string(at) + "=''";
    EXPECT_EQ(refusal("<hello" + attributes +
                      " xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'><capabilities><capability>"
                      "urn:ietf:params:netconf:base:1.0</capability></capabilities>"
                      "<session-id>1</session-id></hello>"),
              "the server's first message is not a hello");
}

TEST(gateway_hello, other_messages_are_no_hello)
{
    EXPECT_EQ(refusal("<hello/>"), "the server's first message is not a hello");
    EXPECT_EQ(refusal("<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"/>"),
              "the server's first message is not a hello");
    EXPECT_EQ(refusal(""), "the server's hello is not well-formed");
    EXPECT_EQ(refusal("<!DOCTYPE hello><hello/>"), "the server's first message is not a hello");
    EXPECT_EQ(refusal(hello_with(base_1_0, "<session-id>1</session-id>") + "<x>"),
              "the server's hello is not well-formed");
    EXPECT_EQ(refusal(hello_with(base_1_0, "<session-id>1</session-id></x>")),
              "the server's hello is not well-formed");
}

TEST(gateway_head, create_session)
{
    const message_head head =
        head_of("<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
                "xmlns:tarnd=\"com:quorvex:netconf:private:vesk:device:tarnd\" "
                "message-id=\"0\">\r\n         <tarnd:create-session>\r\n         "
                "<tarnd:username>root</tarnd:username>\r\n         "
                "<tarnd:agent-pid>1</tarnd:agent-pid>\r\n         </tarnd:create-session>\r\n"
                "         </rpc>");
    EXPECT_EQ(head.kind, message_create_session);
    EXPECT_STREQ(head.message_id.get(), "0");
}

TEST(gateway_head, create_session_in_other_spellings)
{
    EXPECT_EQ(head_of("<x:rpc xmlns:x = 'urn:ietf:params:xml:ns:netconf:base:1.0'><create-session "
                      "xmlns ='com:quorvex:netconf:private:vesk:device:tarnd'/></x:rpc>")
                  .kind,
              message_create_session);
    // A user name comes unescaped.
    EXPECT_EQ(head_of("<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">"
                      "<t:create-session xmlns:t=\"com:quorvex:netconf:private:vesk:device:tarnd\">"
                      "<t:username>a<&b</t:username></t:create-session></rpc>")
                  .kind,
              message_create_session);
}

TEST(gateway_head, other_requests_pass)
{
    EXPECT_EQ(head_of("<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
                      "<create-session/></rpc>")
                  .kind,
              message_other);
    EXPECT_EQ(head_of("<rpc><create-session "
                      "xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\"/></rpc>")
                  .kind,
              message_other);
    EXPECT_EQ(head_of("<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><get/>"
                      "<create-session xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\"/>"
                      "</rpc>")
                  .kind,
              message_other);
    EXPECT_EQ(head_of("<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"/>").kind,
              message_other);
    EXPECT_EQ(head_of("").kind, message_other);
    EXPECT_EQ(head_of("nonsense").kind, message_other);
    EXPECT_EQ(head_of("<rpc").kind, message_other);
    EXPECT_EQ(head_of(std::string(200000, ' ') + "<rpc/>").kind, message_other);
    EXPECT_EQ(head_of("<!-- " + std::string(3000, 'x') + " --><notification/>").kind,
              message_other);
}

TEST(gateway_head, the_operation_of_a_request)
{
    const std::string rpc = "<n:rpc xmlns:n='urn:ietf:params:xml:ns:netconf:base:1.0'>";
    EXPECT_STREQ(head_of(rpc + "<n:copy-config>").operation, "copy-config");
    EXPECT_STREQ(head_of(rpc + "<copy-config>").operation, "") << "of another namespace";
    EXPECT_STREQ(head_of(rpc + "<n:" + std::string(31, 'x') + ">").operation,
                 std::string(31, 'x').c_str());
    EXPECT_STREQ(head_of(rpc + "<n:" + std::string(32, 'x') + ">").operation, "");
    EXPECT_STREQ(head_of("<rpc><copy-config/></rpc>").operation, "");
}

TEST(gateway_head, replies_and_their_message_ids)
{
    const message_head reply =
        head_of("<rpc-reply xmlns =\"urn:ietf:params:xml:ns:netconf:base:1.0\" x:message-id=\"no\" "
                "xmlns:x=\"urn:x\" message-id =\"a&amp;&#98;\"><ok/></rpc-reply>");
    EXPECT_EQ(reply.kind, message_rpc_reply);
    EXPECT_STREQ(reply.message_id.get(), "a&b");
    EXPECT_FALSE(reply.is_error);
    const message_head bare =
        head_of("<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"/>");
    EXPECT_EQ(bare.kind, message_rpc_reply);
    EXPECT_EQ(bare.message_id.get(), nullptr);
}

TEST(gateway_head, notifications)
{
    const std::string uri = "urn:ietf:params:xml:ns:netconf:notification:1.0";
    EXPECT_EQ(head_of("<n:notification xmlns:n=\"" + uri + "\">").kind, message_notification);
    EXPECT_EQ(head_of("<notification/>").kind, message_other);
    EXPECT_EQ(head_of("<notifications xmlns=\"" + uri + "\"/>").kind, message_other);
}

TEST(gateway_head, each_message_may_begin_with_a_byte_order_mark)
{
    const std::string text =
        "\xEF\xBB\xBF<rpc xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'><get/></rpc>";
    for (int times = 0; times < 2; times++)
        EXPECT_STREQ(head_of(text).operation, "get");
}

TEST(gateway_head, one_that_begins_as_another_is_what_the_parser_says_it_is)
{
    const std::string uri = "urn:ietf:params:xml:ns:netconf:base:1.0";
    const std::string texts[] = {
        "<rpc-reply xmlns=\"" + uri + "\" message-id=\"17\"><ok/></rpc-reply>",
        "<n:rpc-reply message-id='17' xmlns:n='" + uri + "'><n:rpc-error></n:rpc-reply>",
        "<rpc xmlns =\"" + uri + "\" message-id =\"17\"><edit-config><target/>",
        "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><a/>",
        "<rpc-reply xmlns='" + uri + "' x:message-id='3' message-id='17'><ok/></rpc-reply>",
        "<a b=' message-id=\"17\" ' message-id='17' xmlns='" + uri + "'/>"};
    for (const std::string &known : texts) {
        for (size_t at = 0; at < known.size(); at++) {
            EXPECT_EQ(told_after(known, known.substr(0, at)), parsed(known.substr(0, at)));
            for (const char byte : {'0', '8', 'x', 'k', ' ', '"', '\'', '<', '>', '/', '&', '\1'}) {
                std::string other = known;
                other[at] = byte;
                EXPECT_EQ(told_after(known, other), parsed(other)) << other;
                other = known.substr(0, at) + byte + known.substr(at);
                EXPECT_EQ(told_after(known, other), parsed(other)) << other;
            }
            const std::string shorter = known.substr(0, at) + known.substr(at + 1);
            EXPECT_EQ(told_after(known, shorter), parsed(shorter)) << shorter;
        }
    }
}

TEST(gateway_head, many_that_take_turns)
{
    for (int at = 0; at < 2000; at++) {
        const std::string id = std::to_string(at);
        const std::string name = "name" + std::to_string(at % 7);
        const std::string attributes =
            " xmlns='urn:ietf:params:xml:ns:netconf:base:1.0' message-id='" + id + "'><";
        EXPECT_EQ(told(head_of("<rpc" + attributes + name + ">")), "0 " + name + " " + id);
        EXPECT_EQ(told(head_of("<rpc-reply" + attributes + name + ">")), "2  " + id);
        EXPECT_EQ(told(head_of("<rpc-reply" + attributes + "rpc-error>")), "2  error " + id);
    }
}

// What follows is longer as the parser would write it, so that it does not know where it stands.
TEST(gateway_head, one_in_another_encoding_is_read_each_time)
{
    const std::string rest = ">" + std::string(600, '<');
    const std::string reply = "<?xml version='1.0' encoding='UTF-7'?><rpc-reply message-id='1' "
                              "xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'><";
    for (int times = 0; times < 2; times++) {
        EXPECT_EQ(told(head_of(reply + "ok" + rest)), "2  1");
        EXPECT_EQ(told(head_of(reply + "rpc-error" + rest)), "2  error 1");
    }
}

TEST(gateway_head, a_tag_that_goes_wrong_is_read_each_time)
{
    const std::string wrong = "<notification xmlns='urn:ietf:params:xml:ns:netconf:notification:"
                              "1.0' \1 a='1' message-id='7'>";
    for (int times = 0; times < 2; times++)
        EXPECT_EQ(told(head_of(wrong)), "3  (none)");
}

TEST(gateway_head, a_message_with_a_document_type_is_not_looked_at)
{
    const message_head head =
        head_of("<!DOCTYPE rpc [<!ENTITY a \"xxxxxxxxxx\"><!ENTITY b \"&a;&a;&a;&a;\">]>"
                "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
                "message-id=\"&b;&b;\"/>");
    EXPECT_EQ(head.kind, message_other);
    EXPECT_EQ(head.message_id.get(), nullptr);
}

TEST(gateway_head, error_replies)
{
    const std::string reply = "<nc:rpc-reply xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
                              "<nc:rpc-error><nc:error-tag>in-use</nc:error-tag>"
                              "<nc:error-message xml:lang=\"en\">\n not now \n</nc:error-message>"
                              "</nc:rpc-error></nc:rpc-reply>";
    EXPECT_TRUE(head_of(reply).is_error);
    EXPECT_EQ(error_of(reply), "not now");
    EXPECT_EQ(error_of("<e xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
                       "<error-tag>in-use</error-tag></e>"),
              "in-use");
    EXPECT_EQ(error_of("<e xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
                       "<error-message>\t" +
                       std::string(2000, 'x') + "</error-message></e>"),
              std::string(511, 'x'));
    EXPECT_EQ(error_of("<e xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
                       "<error-message>1\xC2\x9B"
                       "2</error-message></e>"),
              "1??2");
    EXPECT_EQ(error_of("<e/>"), "");
    EXPECT_EQ(error_of(""), "");
}

TEST(gateway_head, a_long_message_costs_its_head_only)
{
    std::string text = "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
                       "message-id=\"5\"><data>";
    text.resize(50000000, 'x');
    text += "</data></rpc-reply>";
    for (int at = 0; at < 1000; at++)
        ASSERT_STREQ(head_of(text).message_id.get(), "5");
}

TEST(gateway_head, the_answer_to_create_session)
{
    EXPECT_EQ(session_reply("0", 1),
              "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">"
              "<session-id xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">1</session-id>"
              "</rpc-reply>");
    EXPECT_EQ(session_reply("<\"&'>\t\n\r", 4294967295U),
              "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
              "message-id=\"&lt;&quot;&amp;'>&#9;&#10;&#13;\">"
              "<session-id xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">4294967295"
              "</session-id></rpc-reply>");
    EXPECT_EQ(session_reply(nullptr, 2),
              "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
              "<session-id xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">2</session-id>"
              "</rpc-reply>");
}

TEST(gateway_report, foreign_text_is_made_safe)
{
    EXPECT_STREQ(report_clean("plain ~").text, "plain ~");
    EXPECT_STREQ(report_clean("a\nb\x1B[31m\x7F\xC2\x9B%s").text, "a?b?[31m???%s");
    EXPECT_STREQ(report_clean(nullptr).text, "");
    EXPECT_EQ(std::string(report_clean(std::string(2000, 'x').c_str()).text),
              std::string(511, 'x'));
}

TEST(gateway_report, lines)
{
    testing::internal::CaptureStderr();
    report("%s", "one");
    report_shell(12, "%d", 34);
    report("%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tarnd-gateway: one\ntarnd-gateway: shell 12: 34\n"
              "tarnd-gateway: (a message that is too long)\n");
}
