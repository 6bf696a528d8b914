// Copies to running through a relay: what is sent to the server and what the
// shell gets for it.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "support/exchange_bench.h"

namespace
{

std::string copy(const std::string &source)
{
    return rpc("5", "<copy-config><target><running/></target><source>" + source +
                        "</source></copy-config>");
}

std::string edit(const std::string &config)
{
    return rpc("5", "<edit-config><target><running/></target>"
                    "<error-option>rollback-on-error</error-option>" +
                        config + "</edit-config>");
}

const std::string unsupported = reply("5", error("operation-not-supported"));
const std::string read_running =
    rpc("tarnd-gateway-running", "<get-config><source><running/></source></get-config>");
const std::string read_startup =
    rpc("tarnd-gateway-startup", "<get-config><source><startup/></source></get-config>");
const std::string writable =
    "<capability>urn:ietf:params:netconf:capability:writable-running:1.0</capability>";
const std::string has_startup =
    "<capability>urn:ietf:params:netconf:capability:startup:1.0</capability>";
const std::string rolls_back =
    "<capability>urn:ietf:params:netconf:capability:rollback-on-error:1.0</capability>";
const std::string config = "<config><a xmlns=\"urn:a\"/></config>";
const std::string running = "<data><a xmlns=\"urn:a\"/><b xmlns=\"urn:b\"/></data>";
const std::string restored = "<data><a xmlns=\"urn:a\"/></data>";

std::string operation(const std::string &name)
{
    return " xmlns:nc=\"" + base + "\" nc:operation=\"" + name + "\"";
}

const std::string config_edit =
    "<config><b xmlns=\"urn:b\"" + operation("remove") + "></b></config>";
const std::string copy_is_tried =
    "tarnd-gateway: shell 1: the server does not copy to running: an edit "
    "takes the copy's place\n";

// How the gateway itself answers the copy.
std::string failure(const std::string &why)
{
    return reply("5", "<rpc-error><error-type>application</error-type>"
                      "<error-tag>operation-failed</error-tag>"
                      "<error-severity>error</error-severity><error-message xml:lang=\"en\">"
                      "running was changed but is not what was to be copied: " +
                          why + "</error-message></rpc-error>");
}

// A session with a server that edits running as a whole, unless it is said to be another one.
struct copy_bench : exchange_bench {
    explicit copy_bench(const std::string &capabilities = writable + rolls_back)
        : exchange_bench(capabilities + has_startup)
    {
    }

    // Up to the edit, of running that also holds b.
    void refuse_copy()
    {
        EXPECT_EQ(ask(copy(config)), chunked(copy(config)));
        EXPECT_EQ(answer(unsupported), chunked(read_running));
        EXPECT_EQ(answer(reply("tarnd-gateway-running", running)), chunked(edit(config_edit)));
    }
};

} // namespace

TEST(gateway_copy_to_running, a_copy_that_the_server_does_stays_a_copy)
{
    copy_bench test;
    EXPECT_EQ(test.ask(copy(config)), chunked(copy(config)));
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), "");
    EXPECT_EQ(test.to_shell(), frame(reply("5", "<ok/>"), 0));
    EXPECT_EQ(test.ask(rpc("6", "<x/>")), chunked(rpc("6", "<x/>")));
    EXPECT_EQ(test.log(), "");
}

TEST(gateway_copy_to_running, an_edit_takes_the_place_of_a_copy_of_a_configuration)
{
    copy_bench test;
    test.refuse_copy();
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", restored)), "");
    EXPECT_EQ(test.to_shell(), frame(reply("5", "<ok/>"), 0));
    EXPECT_EQ(test.log(), copy_is_tried);
}

TEST(gateway_copy_to_running, an_edit_takes_the_place_of_a_copy_of_startup)
{
    copy_bench test;
    const std::string node = "<data><c xmlns=\"urn:c\"><x>1</x></c></data>";
    EXPECT_EQ(test.ask(copy("<startup/>")), chunked(copy("<startup/>")));
    EXPECT_EQ(test.answer(unsupported), chunked(read_startup));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-startup", node)), chunked(read_running));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", "<data/>")),
              chunked(edit("<config xmlns=\"" + base + "\"><c" + operation("replace") +
                           " xmlns=\"urn:c\"><x>1</x></c></config>")));
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", node)), "");
    EXPECT_EQ(test.to_shell(), frame(reply("5", "<ok/>"), 0));
}

TEST(gateway_copy_to_running, it_may_happen_again)
{
    copy_bench test;
    for (unsigned turn = 0; turn < 3; turn++) {
        test.refuse_copy();
        EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
        EXPECT_EQ(test.answer(reply("tarnd-gateway-running", restored)), "");
        EXPECT_EQ(test.to_shell(), frame(reply("5", "<ok/>"), turn));
        EXPECT_EQ(test.session->taken_over.request.size, 0U);
    }
}

TEST(gateway_copy_to_running, an_edit_that_is_refused_has_changed_nothing)
{
    copy_bench test;
    test.refuse_copy();
    EXPECT_EQ(test.answer(reply("5", error("access-denied"))), "");
    EXPECT_EQ(test.to_shell(), frame(reply("5", error("access-denied")), 0));
    EXPECT_EQ(test.ask(rpc("6", "<x/>")), chunked(rpc("6", "<x/>")));
    EXPECT_EQ(test.log(), copy_is_tried);
}

TEST(gateway_copy_to_running, what_is_left_over_is_removed_by_a_second_edit)
{
    copy_bench test;
    test.refuse_copy();
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
    const std::string entry = "<a xmlns=\"urn:a\">1</a>";
    EXPECT_EQ(
        test.answer(
            reply("tarnd-gateway-running", "<data>" + entry + "<a xmlns=\"urn:a\"/></data>")),
        chunked(edit("<config><a xmlns=\"urn:a\"" + operation("remove") + ">1</a></config>")));
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", restored)), "");
    EXPECT_EQ(test.to_shell(), frame(reply("5", "<ok/>"), 0));
}

TEST(gateway_copy_to_running, a_server_that_says_ok_and_does_not_do_it_is_not_believed)
{
    copy_bench test;
    test.refuse_copy();
    for (int count = 0; count < 2; count++) {
        EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
        EXPECT_EQ(test.answer(reply("tarnd-gateway-running", running)), chunked(edit(config_edit)));
    }
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", running)), "");
    EXPECT_EQ(test.to_shell(), frame(failure("b differs"), 0));
    EXPECT_EQ(test.ask(rpc("6", "<x/>")), chunked(rpc("6", "<x/>")));
    EXPECT_EQ(test.log(), copy_is_tried + "tarnd-gateway: shell 1: running was changed but is not "
                                          "what was to be copied: b differs\n");
}

TEST(gateway_copy_to_running, a_long_name_is_cut_in_the_answer)
{
    copy_bench test;
    const std::string name(300, 'n');
    const std::string odd = reply("tarnd-gateway-running", "<data><a xmlns=\"urn:a\"/><" + name +
                                                               " xmlns=\"urn:n\"/></data>");
    test.refuse_copy();
    for (int count = 0; count < 2; count++) {
        EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
        EXPECT_NE(test.answer(odd), "");
    }
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
    EXPECT_EQ(test.answer(odd), "");
    EXPECT_EQ(test.to_shell(), frame(failure(name.substr(0, 100) + " differs"), 0));
}

TEST(gateway_copy_to_running, after_an_edit_nothing_but_the_same_running_is_ok)
{
    const struct {
        std::string running;
        std::string why;
    } cases[] = {
        {error("access-denied"), "running cannot be read"},
        {"<ok/>", "the server gives no data"},
        {"<data><p:a/></data>", "the configuration cannot be followed"},
    };
    for (const auto &bad : cases) {
        copy_bench test;
        test.refuse_copy();
        EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
        test.answer(reply("tarnd-gateway-running", bad.running));
        EXPECT_EQ(test.to_shell(), frame(failure(bad.why), 0));
    }
    copy_bench test;
    test.refuse_copy();
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", running)), chunked(edit(config_edit)));
    EXPECT_EQ(test.answer(reply("5", error("access-denied"))), "");
    EXPECT_EQ(test.to_shell(), frame(failure("the server refuses another edit"), 0));
}

TEST(gateway_copy_to_running, other_refusals_pass)
{
    for (const char *tag : {"access-denied", "lock-denied", "operation-failed", "invalid-value"}) {
        copy_bench test;
        EXPECT_EQ(test.ask(copy(config)), chunked(copy(config)));
        EXPECT_EQ(test.answer(reply("5", error(tag))), "");
        EXPECT_EQ(test.to_shell(), frame(reply("5", error(tag)), 0));
        EXPECT_EQ(test.log(), "");
    }
}

TEST(gateway_copy_to_running, any_of_several_errors_may_be_the_one)
{
    copy_bench test;
    EXPECT_EQ(test.ask(copy(config)), chunked(copy(config)));
    EXPECT_EQ(test.answer(reply("5", error("bad") + error("\n operation-not-supported\n"))),
              chunked(read_running));
}

TEST(gateway_copy_to_running, a_refusal_of_anything_else_passes)
{
    const std::string copies[] = {
        rpc("5", "<copy-config><target><startup/></target><source>" + config +
                     "</source></copy-config>"),
        copy("<candidate/>"),
        rpc("5", "<edit-config/>"),
        "<rpc xmlns=\"" + base + "\"><copy-config><target><running/></target><source>" + config +
            "</source></copy-config></rpc>",
    };
    for (const std::string &request : copies) {
        copy_bench test;
        EXPECT_EQ(test.ask(request), chunked(request));
        EXPECT_EQ(test.answer(unsupported), "");
        EXPECT_EQ(test.to_shell(), frame(unsupported, 0));
    }
}

TEST(gateway_copy_to_running, only_a_server_that_edits_running_as_a_whole_is_asked_to)
{
    for (const std::string &capabilities : {std::string(), writable, rolls_back}) {
        copy_bench test(capabilities);
        EXPECT_EQ(test.ask(copy(config)), chunked(copy(config)));
        EXPECT_EQ(test.answer(unsupported), "");
        EXPECT_EQ(test.to_shell(), frame(unsupported, 0));
    }
}

TEST(gateway_copy_to_running, what_fails_on_the_way_gives_the_refusal)
{
    const std::string denied = error("access-denied");
    const struct {
        std::string running;
        std::string log;
    } cases[] = {
        {denied, "running cannot be read"},
        {"<ok/>", "the server gives no data"},
        {"<data><p:a/></data>", "the configuration cannot be followed"},
    };
    for (const auto &bad : cases) {
        copy_bench test;
        EXPECT_EQ(test.ask(copy(config)), chunked(copy(config)));
        EXPECT_EQ(test.answer(unsupported), chunked(read_running));
        EXPECT_EQ(test.answer(reply("tarnd-gateway-running", bad.running)), "");
        EXPECT_EQ(test.to_shell(), frame(unsupported, 0));
        EXPECT_EQ(test.ask(rpc("6", "<x/>")), chunked(rpc("6", "<x/>")));
        EXPECT_EQ(test.log(),
                  copy_is_tried +
                      "tarnd-gateway: shell 1: the copy to running is refused: " + bad.log + "\n");
    }
    copy_bench test;
    EXPECT_EQ(test.ask(copy("<startup/>")), chunked(copy("<startup/>")));
    EXPECT_EQ(test.answer(unsupported), chunked(read_startup));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-startup", denied)), "");
    EXPECT_EQ(test.to_shell(), frame(unsupported, 0));
}

TEST(gateway_copy_to_running, a_configuration_beyond_a_limit_gives_the_refusal)
{
    std::string spaces;
    for (int number = 0; number < 257; number++)
        spaces += " xmlns:n" + std::to_string(number) + "='u'";
    const std::string limited = copy("<config><a" + spaces + "/></config>");
    copy_bench test;
    EXPECT_EQ(test.ask(limited), chunked(limited));
    EXPECT_EQ(test.answer(unsupported), chunked(read_running));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", running)), "");
    EXPECT_EQ(test.to_shell(), frame(unsupported, 0));
    EXPECT_EQ(test.log(), copy_is_tried + "tarnd-gateway: shell 1: the copy to running is refused: "
                                          "the configuration cannot be followed\n");
}

TEST(gateway_copy_to_running, later_requests_wait_and_other_messages_pass)
{
    copy_bench test;
    EXPECT_EQ(test.ask(rpc("4", "<x/>")), chunked(rpc("4", "<x/>")));
    EXPECT_EQ(test.ask(copy(config)), chunked(copy(config)));
    EXPECT_EQ(test.ask(rpc("6", "<x/>")), "");
    EXPECT_EQ(relay_shell_want(test.session.get()), 0U);
    EXPECT_FALSE(relay_requests_done(test.session.get()));
    EXPECT_EQ(test.answer(reply("4", error("operation-not-supported"))), "");
    EXPECT_EQ(test.to_shell(), frame(reply("4", error("operation-not-supported")), 0));
    EXPECT_EQ(test.answer("<notification/>"), "");
    EXPECT_EQ(test.to_shell(), frame("<notification/>", 1));
    EXPECT_EQ(test.answer(unsupported), chunked(read_running));
    EXPECT_EQ(test.answer("<notification/>"), "");
    EXPECT_EQ(test.to_shell(), frame("<notification/>", 2));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", running)), chunked(edit(config_edit)));
    EXPECT_EQ(test.answer("<notification/>"), "");
    EXPECT_EQ(test.to_shell(), frame("<notification/>", 3));
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), chunked(read_running));
    EXPECT_EQ(test.answer("<notification/>"), "");
    EXPECT_EQ(test.to_shell(), frame("<notification/>", 4));
    EXPECT_FALSE(relay_requests_done(test.session.get()));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", restored)), chunked(rpc("6", "<x/>")));
    EXPECT_TRUE(relay_requests_done(test.session.get()));
}

TEST(gateway_copy_to_running, a_server_that_forgets_message_ids_does_not_stop_the_shell)
{
    copy_bench test;
    const std::string nameless =
        "<rpc-reply xmlns=\"" + base + "\">" + error("malformed-message") + "</rpc-reply>";
    EXPECT_EQ(test.ask(copy(config)), chunked(copy(config)));
    EXPECT_EQ(test.answer(nameless), "");
    EXPECT_EQ(test.to_shell(), frame(nameless, 0));
    EXPECT_EQ(test.ask(rpc("6", "<x/>")), chunked(rpc("6", "<x/>")));
}

TEST(gateway_copy_to_running, a_refusal_that_comes_before_the_whole_copy_is_out)
{
    copy_bench test;
    EXPECT_EQ(test.shell_sends(frame(copy(config))), "");
    outgoing_advance(&test.session->to_server, 1);
    EXPECT_EQ(test.server_sends(chunked(unsupported)), "");
    EXPECT_EQ(test.to_shell(), frame(unsupported, 0));
    EXPECT_EQ(test.to_server(), chunked(copy(config)).substr(1));
    EXPECT_EQ(test.session->taken_over.request.size, 0U);
    EXPECT_EQ(test.ask(rpc("6", "<x/>")), chunked(rpc("6", "<x/>")));
}

TEST(gateway_copy_to_running, a_copy_loses_its_error_option_everywhere)
{
    copy_bench test(rolls_back);
    EXPECT_EQ(test.ask(rpc("5", "<copy-config><error-option>x</error-option></copy-config>")),
              chunked(rpc("5", "<copy-config></copy-config>")));
    const std::string edit_with = rpc("5", "<edit-config><error-option/></edit-config>");
    EXPECT_EQ(test.ask(edit_with), chunked(edit_with));
}

TEST(gateway_copy_to_running, netconf_1_0_is_said_once)
{
    const std::string all = writable + has_startup + rolls_back;
    EXPECT_EQ(hello_log(all, {}, "1.0"),
              "tarnd-gateway: shell 1: what a copy to running lacks is deleted, not removed "
              "(NETCONF 1.0)\n");
    EXPECT_EQ(hello_log(all), "");
}
