// One shell's session, byte for byte, with the bytes moved by hand.
#include "device/gateway/relay.h"

#include <gtest/gtest.h>
#include <string>

#include "support/relay_bench.h"

using namespace std::string_literals;

namespace
{

const std::string subscription =
    "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
    "message-id=\"tarnd-gateway-subscription\"><create-subscription "
    "xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"/></rpc>";

const std::string subscribed =
    "<rpc-reply message-id=\"tarnd-gateway-subscription\" "
    "xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><ok/></rpc-reply>";

const std::string no_interleave =
    "<capability>urn:ietf:params:netconf:capability:notification:1.0</capability>";
const std::string notification_capability =
    no_interleave + "<capability>urn:ietf:params:netconf:capability:interleave:1.0</capability>";

const std::string create_session =
    "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
    "xmlns:tarnd=\"com:quorvex:netconf:private:vesk:device:tarnd\" message-id=\"0\">\r\n"
    "         <tarnd:create-session>\r\n         </tarnd:create-session>\r\n         </rpc>";

std::string notification(int number)
{
    return "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><n>" +
           std::to_string(number) + "</n></notification>";
}

std::string session_reply(const std::string &id)
{
    return "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">"
           "<session-id xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">" +
           id + "</session-id></rpc-reply>";
}

} // namespace

TEST(gateway_relay, a_session_of_version_1_0)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    EXPECT_EQ(test.to_server(), "");
    EXPECT_EQ(test.shell_sends(frame(create_session + '\0')), "");
    EXPECT_EQ(test.to_server(), "");
    EXPECT_EQ(test.to_shell(), frame(session_reply("42")));
    EXPECT_EQ(test.shell_sends(frame("<rpc>\r\n</rpc>\r\n\0"s, 1)), "");
    EXPECT_EQ(test.to_server(), "<rpc>\r\n</rpc>\r\n]]>]]>");
    EXPECT_EQ(test.server_sends("<a>\n<b/>\n</a>\n]]>]]>"), "");
    EXPECT_EQ(test.to_shell(), frame("<a><b/></a>", 1));
    EXPECT_EQ(test.reason, "");
}

TEST(gateway_relay, a_session_of_version_1_1)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.1", "")), "");
    EXPECT_EQ(test.shell_sends(frame("<rpc/>\r\n")), "");
    EXPECT_EQ(test.to_server(), "\n#8\n<rpc/>\r\n\n##\n");
    EXPECT_EQ(test.server_sends("\n#3\n<a>\n#6\n ]]>]]\n#5\n></a>\n##\n"), "");
    EXPECT_EQ(test.to_shell(), frame("<a> ]]>]]></a>", 0));
}

TEST(gateway_relay, the_stream_may_be_cut_anywhere)
{
    const std::string stream = server_hello_text("1.1", notification_capability) +
                               chunked(subscribed) + chunked("<a> <b/> </a>") +
                               "\n#2\n<n\n#2\n/>\n##\n";
    for (size_t piece = 1; piece < stream.size(); piece++) {
        relay_bench test;
        EXPECT_EQ(test.to_server(), gateway_hello);
        std::string shell;
        for (std::string rest = stream; !rest.empty() && test.reason.empty();) {
            rest = test.server_sends(rest, piece);
            test.to_server();
            shell += test.to_shell();
        }
        ASSERT_EQ(test.reason, "") << piece;
        ASSERT_EQ(shell, frame("<a><b/></a>", 0) + frame("<n/>", 1)) << piece;
    }
}

TEST(gateway_relay, requests_wait_for_the_hello)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    const std::string two = frame(create_session + '\0') + frame("<rpc/>\0"s, 1);
    const std::string rest = test.shell_sends(two);
    EXPECT_EQ(rest, frame("<rpc/>\0"s, 1)) << "only one is held";
    EXPECT_EQ(test.to_server(), "");
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    EXPECT_EQ(test.to_shell(), frame(session_reply("42")));
    EXPECT_EQ(test.shell_sends(rest), "");
    EXPECT_EQ(test.to_server(), "<rpc/>]]>]]>");
}

TEST(gateway_relay, subscribes_first_and_keeps_the_answer_to_itself)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.shell_sends(frame("<rpc/>\0"s)), "");
    EXPECT_EQ(test.server_sends(server_hello_text("1.1", notification_capability)), "");
    EXPECT_EQ(test.to_server(), chunked(subscription) + chunked("<rpc/>"));
    EXPECT_EQ(test.server_sends(chunked("<notification/>") + chunked(subscribed) + chunked("<a/>")),
              "");
    EXPECT_EQ(test.to_shell(), frame("<notification/>", 0) + frame("<a/>", 1));
    // A shell's own message id of that name is its own business afterwards.
    EXPECT_EQ(test.server_sends(chunked(subscribed)), "");
    EXPECT_EQ(test.to_shell(), frame(subscribed, 2));
}

TEST(gateway_relay, a_refused_subscription_is_logged_and_the_session_goes_on)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    testing::internal::CaptureStderr();
    EXPECT_EQ(test.server_sends(server_hello_text("1.1", notification_capability)), "");
    EXPECT_EQ(test.to_server(), chunked(subscription));
    EXPECT_EQ(
        test.server_sends(
            chunked("<rpc-reply message-id=\"tarnd-gateway-subscription\" "
                    "xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><rpc-error><error-message>"
                    "no\xC2\x9B\nstreams</error-message></rpc-error></rpc-reply>") +
            chunked("<a/>")),
        "");
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "tarnd-gateway: shell 1: session 42, NETCONF 1.1\n"
        "tarnd-gateway: shell 1: the server has no startup datastore (no startup capability)\n"
        "tarnd-gateway: shell 1: the server refused the subscription: no???streams\n");
    EXPECT_EQ(test.to_shell(), frame("<a/>", 0));
    EXPECT_EQ(test.reason, "");
}

TEST(gateway_relay, does_not_subscribe_when_told_not_to)
{
    relay_bench test(false);
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.1", notification_capability)), "");
    EXPECT_EQ(test.to_server(), "");
}

TEST(gateway_relay, without_interleave_a_second_session_brings_the_notifications)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_FALSE(relay_needs_second(test.session.get())) << "not before the hello";
    testing::internal::CaptureStderr();
    EXPECT_EQ(test.server_sends(server_hello_text("1.1", no_interleave)), "");
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "tarnd-gateway: shell 1: session 42, NETCONF 1.1\n"
        "tarnd-gateway: shell 1: the server has no startup datastore (no startup capability)\n"
        "tarnd-gateway: shell 1: notifications take a second session "
        "(no interleave capability)\n");
    EXPECT_TRUE(relay_needs_second(test.session.get()));
    EXPECT_EQ(test.shell_sends(frame("<rpc/>\0"s)), "");
    EXPECT_EQ(test.to_server(), chunked("<rpc/>")) << "nothing else is asked here";

    relay_bench second;
    second.session->first = test.session.get();
    EXPECT_EQ(second.to_server(), gateway_hello);
    EXPECT_EQ(second.server_sends(server_hello_text("1.0", "")), "");
    EXPECT_FALSE(relay_needs_second(second.session.get()));
    EXPECT_EQ(second.to_server(), subscription + "]]>]]>") << "whatever its own hello says";
    testing::internal::CaptureStderr();
    EXPECT_EQ(second.server_sends(subscribed + "]]>]]>" + notification(1) + "]]>]]>"), "");
    EXPECT_EQ(test.server_sends(chunked("<a/>")), chunked("<a/>")) << "the shell reads first";
    EXPECT_FALSE(relay_server_wanted(second.session.get()));
    EXPECT_EQ(test.to_shell(), frame(notification(1), 0));
    EXPECT_EQ(test.server_sends(chunked("<a/>")), "");
    EXPECT_EQ(second.server_sends(notification(2) + "]]>]]>"), notification(2) + "]]>]]>");
    EXPECT_EQ(test.to_shell(), frame("<a/>", 1));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    testing::internal::CaptureStderr();
    EXPECT_EQ(second.server_sends(subscribed + "]]>]]><notification/>]]>]]>" + notification(3) +
                                  "]]>]]>"),
              "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tarnd-gateway: shell 1: what comes among the notifications and is none is "
              "dropped\n");
    EXPECT_EQ(test.to_shell(), frame(notification(3), 2));
}

TEST(gateway_relay, a_second_session_that_is_refused_ends)
{
    const std::string refused =
        "<rpc-reply message-id=\"tarnd-gateway-subscription\" "
        "xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><rpc-error/></rpc-reply>]]>]]>";
    relay_bench test;
    for (const bool hushed : {false, true}) {
        relay_bench second;
        second.session->first = test.session.get();
        second.session->hushed = hushed;
        EXPECT_EQ(second.to_server(), gateway_hello);
        testing::internal::CaptureStderr();
        EXPECT_EQ(second.server_sends(server_hello_text("1.0", no_interleave)), "");
        EXPECT_EQ(second.to_server(), subscription + "]]>]]>");
        second.server_sends(refused);
        EXPECT_EQ(second.reason, "the server refused the subscription");
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  hushed ? ""
                         : "tarnd-gateway: shell 1: session 42, NETCONF 1.0\n"
                           "tarnd-gateway: shell 1: the server refused the subscription: it gives "
                           "no reason\n");
    }
}

TEST(gateway_relay, no_second_session_that_nobody_wants)
{
    relay_bench told(false);
    EXPECT_EQ(told.to_server(), gateway_hello);
    EXPECT_EQ(told.server_sends(server_hello_text("1.0", no_interleave)), "");
    EXPECT_FALSE(relay_needs_second(told.session.get()));
    for (const std::string &capabilities : {""s, notification_capability}) {
        relay_bench other;
        EXPECT_EQ(other.to_server(), gateway_hello);
        EXPECT_EQ(other.server_sends(server_hello_text("1.0", capabilities)), "");
        EXPECT_FALSE(relay_needs_second(other.session.get())) << capabilities;
    }
    relay_bench gone;
    EXPECT_EQ(gone.to_server(), gateway_hello);
    EXPECT_EQ(gone.server_sends(server_hello_text("1.0", no_interleave)), "");
    EXPECT_TRUE(relay_needs_second(gone.session.get()));
    gone.session->deaf = true;
    EXPECT_FALSE(relay_needs_second(gone.session.get()));
    gone.session->deaf = false;
    relay_refuse(gone.session.get(), relay_phase_refused, "over");
    EXPECT_FALSE(relay_needs_second(gone.session.get()));
}

TEST(gateway_relay, a_refused_shell_is_told_in_the_place_of_an_answer)
{
    relay_bench test;
    relay_refuse(test.session.get(), relay_phase_refused, "no \"room\" & <more>");
    test.advance();
    EXPECT_EQ(test.to_server(), "");
    const std::string second = frame("<rpc/>", 1);
    EXPECT_EQ(test.shell_sends(frame(create_session + '\0') + second), second);
    EXPECT_EQ(test.to_shell(),
              frame("<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">"
                    "<rpc-error><error-type>application</error-type>"
                    "<error-tag>operation-failed</error-tag>"
                    "<error-severity>error</error-severity><error-message xml:lang=\"en\">"
                    "no &quot;room&quot; &amp; &lt;more></error-message></rpc-error></rpc-reply>"));
    EXPECT_EQ(test.shell_sends(second), second) << "once is enough";
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_EQ(test.server_sends("x"), "x");
    EXPECT_EQ(test.reason, "");
}

TEST(gateway_relay, a_large_request_without_room_is_answered_with_an_error)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    const std::string large = frame("<rpc message-id=\"8\">" + std::string(70000, 'x') + "</rpc>");
    EXPECT_EQ(test.shell_sends(large.substr(0, 65000)), "");
    relay_no_room(test.session.get(), 548);
    EXPECT_EQ(relay_held(test.session.get()), 64988U) << "so much is always taken";
    relay_no_room(test.session.get(), 549);
    EXPECT_EQ(relay_held(test.session.get()), 4096U);
    EXPECT_EQ(test.shell_sends(large.substr(65000)), "");
    EXPECT_EQ(test.to_shell(), "") << "answers come after the hello";
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    EXPECT_EQ(test.to_shell(),
              frame("<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"8\">"
                    "<rpc-error><error-type>application</error-type>"
                    "<error-tag>operation-failed</error-tag>"
                    "<error-severity>error</error-severity><error-message xml:lang=\"en\">"
                    "the gateway has no room for the request now (--max-buffered)"
                    "</error-message></rpc-error></rpc-reply>"));
    EXPECT_EQ(test.to_server(), "");
    EXPECT_EQ(test.shell_sends(frame("<rpc/>", 1)), "");
    EXPECT_EQ(test.to_server(), "<rpc/>]]>]]>") << "the next one passes";
    EXPECT_EQ(test.reason, "");
}

TEST(gateway_relay, a_request_is_held_until_the_server_has_taken_it)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(relay_held(test.session.get()), 0U);
    EXPECT_EQ(test.shell_sends(frame("<rpc/>")), "");
    EXPECT_EQ(relay_held(test.session.get()), 6U);
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    EXPECT_EQ(relay_held(test.session.get()), 6U);
    EXPECT_EQ(test.to_server(), "<rpc/>]]>]]>");
    EXPECT_EQ(relay_held(test.session.get()), 0U);
}

TEST(gateway_relay, an_answer_is_owed_until_the_reply)
{
    const std::string reply = "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"/>";
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_FALSE(relay_owes_answer(test.session.get()));
    EXPECT_EQ(test.shell_sends(frame("<rpc/>")), "");
    EXPECT_TRUE(relay_owes_answer(test.session.get())) << "it waits for the hello";
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    EXPECT_EQ(test.to_server(), "<rpc/>]]>]]>");
    EXPECT_EQ(test.shell_sends(frame("<rpc/>", 1)), "");
    EXPECT_EQ(test.to_server(), "<rpc/>]]>]]>");
    for (const char *message : {"<notification/>", reply.c_str()}) {
        EXPECT_EQ(test.server_sends(message + "]]>]]>"s), "");
        EXPECT_NE(test.to_shell(), "");
        EXPECT_TRUE(relay_owes_answer(test.session.get())) << message;
    }
    EXPECT_EQ(test.server_sends(reply + "]]>]]>"), "");
    EXPECT_FALSE(relay_owes_answer(test.session.get()));
    EXPECT_NE(test.to_shell(), "");
    EXPECT_EQ(test.server_sends(reply + "]]>]]>"), "") << "one that nobody has asked for";
    EXPECT_NE(test.to_shell(), "");
    EXPECT_FALSE(relay_owes_answer(test.session.get()));
    EXPECT_EQ(test.shell_sends(frame(create_session + '\0')), "");
    EXPECT_FALSE(relay_owes_answer(test.session.get())) << "answered here";
}

TEST(gateway_relay, nothing_is_taken_from_a_side_while_the_other_does_not_read)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    EXPECT_EQ(test.shell_sends(frame("<one/>") + frame("<two/>") + frame("<three/>")),
              frame("<three/>"));
    EXPECT_EQ(relay_shell_want(test.session.get()), 0U);
    EXPECT_EQ(test.server_sends("<a/>]]>]]><b/>]]>]]>"), "");
    EXPECT_FALSE(relay_server_wanted(test.session.get()));
    EXPECT_EQ(test.to_shell(), frame("<a/>", 0) + frame("<b/>", 1));
    EXPECT_TRUE(relay_server_wanted(test.session.get()));
    EXPECT_EQ(test.to_server(), "<one/>]]>]]><two/>]]>]]>");
    EXPECT_EQ(relay_shell_want(test.session.get()), 12U);
}

TEST(gateway_relay, create_session_waits_for_its_turn_toward_the_shell)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "") + "<notification/>]]>]]>"), "");
    EXPECT_EQ(test.shell_sends(frame(create_session)), "");
    EXPECT_EQ(test.to_shell(), frame("<notification/>", 0) + frame(session_reply("42"), 1));
}

TEST(gateway_relay, a_deaf_shell_gets_nothing_but_its_requests_pass)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    test.session->deaf = true;
    EXPECT_EQ(test.shell_sends(frame(create_session) + frame("<rpc/>")), "");
    EXPECT_FALSE(relay_requests_done(test.session.get()));
    EXPECT_EQ(test.to_server(), "<rpc/>]]>]]>");
    EXPECT_TRUE(relay_requests_done(test.session.get()));
    EXPECT_EQ(test.server_sends("<a/>]]>]]>"), "");
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_TRUE(relay_server_wanted(test.session.get()));
}

TEST(gateway_relay, nudges_go_ahead_of_the_next_chunk_header)
{
    for (int nudges = 0; nudges <= 2; nudges++) {
        relay_bench test;
        EXPECT_EQ(test.to_server(), gateway_hello);
        EXPECT_EQ(test.server_sends(server_hello_text("1.1", "")), "");
        EXPECT_FALSE(relay_may_nudge(test.session.get())) << "nothing was said yet";
        EXPECT_EQ(test.shell_sends(frame("<one/>")), "");
        EXPECT_FALSE(relay_may_nudge(test.session.get())) << "it is not out yet";
        std::string sent = test.to_server();
        for (int count = 0; count < nudges; count++) {
            EXPECT_TRUE(relay_may_nudge(test.session.get()));
            relay_nudge(test.session.get());
            sent += test.to_server();
        }
        EXPECT_EQ(relay_may_nudge(test.session.get()), nudges < 2);
        EXPECT_EQ(sent, chunked("<one/>") + std::string("\n#", static_cast<size_t>(nudges)));
        EXPECT_EQ(test.shell_sends(frame("<two/>")), "");
        sent += test.to_server();
        EXPECT_EQ(test.server_sends(chunked("<a/>")), "");
        EXPECT_FALSE(relay_may_nudge(test.session.get())) << "it has answered";
        EXPECT_EQ(test.shell_sends(frame("<three/>")), "");
        sent += test.to_server();
        EXPECT_EQ(sent, chunked("<one/>") + chunked("<two/>") + chunked("<three/>"));
    }
}

TEST(gateway_relay, no_nudges_in_version_1_0)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    EXPECT_EQ(test.shell_sends(frame("<one/>")), "");
    EXPECT_EQ(test.to_server(), "<one/>]]>]]>");
    EXPECT_FALSE(relay_may_nudge(test.session.get()));
}

TEST(gateway_relay, the_sequence_wraps)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    test.session->sequence = 65535;
    EXPECT_EQ(test.server_sends("<a/>]]>]]><b/>]]>]]>"), "");
    EXPECT_EQ(test.to_shell(), frame("<a/>", 65535) + frame("<b/>", 0));
}

TEST(gateway_relay, bad_frames_end_it)
{
    relay_bench magic;
    magic.shell_sends("GET / HTTP/1.1\r\n");
    EXPECT_EQ(magic.reason, "a frame from the shell has a wrong magic number");
    relay_bench empty;
    empty.shell_sends(frame("\0"s));
    EXPECT_EQ(empty.reason, "a frame from the shell is empty");
}

TEST(gateway_relay, a_request_with_the_mark_in_it_ends_a_1_0_session)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text("1.0", "")), "");
    test.shell_sends(frame("<rpc><!-- ]]>]]> --></rpc>"));
    EXPECT_EQ(test.reason, "a request holds the end-of-message mark");
    EXPECT_EQ(test.to_server(), "");
}

TEST(gateway_relay, a_bad_server_ends_it)
{
    const struct {
        std::string bytes;
        std::string reason;
    } cases[] = {
        {"Permission denied.\n", "the server sent something that is not XML"},
        {"<hello/>]]>]]>", "the server's first message is not a hello"},
        {"<hello>]]>]]>", "the server sent a message that is no complete XML document"},
        {"]]>]]>", "the server sent a message that is no complete XML document"},
        {server_hello_text("1.2", ""), "the server's hello offers neither NETCONF 1.0 nor 1.1"},
        {server_hello_text("1.1", "") + "<a/>]]>]]>", "the server broke the chunked framing"},
        {server_hello_text("1.1", "") + "\n#0\n", "the server broke the chunked framing"},
        {server_hello_text("1.1", "") + chunked("x"), "the server sent something that is not XML"},
        {server_hello_text("1.1", "") + chunked("<a>"),
         "the server sent a message that is no complete XML document"},
        {server_hello_text("1.0", "") + "<a/><b/>]]>]]>",
         "the server sent something that is not XML"},
        {server_hello_text("1.1", "") + chunked("<a>\x1B</a>"),
         "the server sent a character that XML forbids"},
    };
    for (const auto &bad : cases) {
        relay_bench test;
        EXPECT_EQ(test.to_server(), gateway_hello);
        test.server_sends(bad.bytes);
        EXPECT_EQ(test.reason, bad.reason) << bad.bytes;
    }
}

TEST(gateway_relay, a_hello_without_end_is_refused)
{
    relay_bench test;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends("<hello>"), "");
    const std::string part = "<capability>" + std::string(65000, 'x') + "</capability>";
    for (size_t total = 0; total < (size_t{17} << 20) && test.reason.empty(); total += part.size())
        test.server_sends(part);
    EXPECT_EQ(test.reason, "a message of the server is too long");
}

TEST(gateway_relay, where_a_server_may_end)
{
    relay_bench test;
    EXPECT_STREQ(relay_server_ended(test.session.get()), "the server ended before its hello");
    test.to_server();
    test.server_sends(server_hello_text("1.0", "") + "\n");
    EXPECT_EQ(relay_server_ended(test.session.get()), nullptr);
    test.server_sends("<a>");
    EXPECT_STREQ(relay_server_ended(test.session.get()),
                 "the server ended in the middle of a message");
    test.server_sends("</a>]]>]]>");
    EXPECT_EQ(relay_server_ended(test.session.get()), nullptr);
}
