// Changes of running through a server that has only a candidate to write to.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "device/gateway/answers.h"
#include "support/exchange_bench.h"

namespace
{

const std::string startup =
    "<capability>urn:ietf:params:netconf:capability:startup:1.0</capability>";
const std::string capability =
    "<capability>urn:ietf:params:netconf:capability:candidate:1.0</capability>";
const std::string writable =
    "<capability>urn:ietf:params:netconf:capability:writable-running:1.0</capability>";
const std::string undoes =
    "<capability>urn:ietf:params:netconf:capability:rollback-on-error:1.0</capability>";
const std::string lock = rpc("5", "<lock><target><candidate/></target></lock>");
const std::string discard = rpc("5", "<discard-changes/>");
const std::string commit = rpc("5", "<commit/>");
const std::string unlock = rpc("5", "<unlock><target><candidate/></target></unlock>");
const std::string ok = reply("5", "<ok/>");
const std::string denied = reply("5", error("access-denied"));
const std::string other = rpc("6", "<x/>");

std::string edit(const std::string &datastore)
{
    return rpc("5", "<edit-config>\r\n<target>\r\n" + datastore +
                        "\r\n</target><config><running/></config></edit-config>\r\n");
}

// The log of a server in which the candidate is all that can be written.
const std::string notice = "tarnd-gateway: shell 1: what goes to running is committed from the "
                           "candidate (no writable-running capability)\n";

struct candidate_bench : exchange_bench {
    explicit candidate_bench(const std::string &more = "", const server_extras &extras = {})
        : exchange_bench(capability + undoes + more, extras)
    {
    }

    // Up to the answer to the edit.
    void begin()
    {
        EXPECT_EQ(ask(edit("<running/>")), chunked(lock));
        EXPECT_EQ(answer(ok), chunked(discard));
        EXPECT_EQ(answer(ok), chunked(edit("<candidate/>")));
    }

    // The answer is what the shell gets, and the next request goes out.
    void ends_with(const std::string &last)
    {
        EXPECT_EQ(to_shell(), frame(last, 0));
        EXPECT_TRUE(exchange_idle(&session->taken_over));
        EXPECT_EQ(session->unanswered, 0U);
        EXPECT_EQ(ask(other), chunked(other));
    }
};

constexpr server_extras confirming{.confirmed_commit = 90};
const std::string confirms =
    "<capability>urn:ietf:params:netconf:capability:confirmed-commit:1.1?x=y</capability>";
const std::string unconfirmed =
    rpc("5", "<commit><confirmed/><confirm-timeout>90</confirm-timeout></commit>");
const std::string lock_running = rpc("5", "<lock><target><running/></target></lock>");
const std::string unlock_running = rpc("5", "<unlock><target><running/></target></unlock>");
const std::string publish =
    rpc("5", "<copy-config><target><running/></target><source><candidate/></source></copy-config>");

} // namespace

TEST(gateway_candidate, an_edit_is_committed)
{
    candidate_bench test;
    test.begin();
    EXPECT_EQ(test.answer(ok), chunked(commit));
    const std::string committed = reply("5", "<ok/><!--committed-->");
    EXPECT_EQ(test.answer(committed), chunked(unlock));
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_EQ(test.answer(ok), "");
    test.ends_with(committed);
}

// It would lead from a step to the next one, which were then left out.
TEST(gateway_candidate, an_answer_to_what_has_not_gone_out_is_none)
{
    candidate_bench test;
    EXPECT_EQ(test.shell_sends(frame(edit("<running/>"))), "");
    for (const size_t sent : {size_t{0}, chunked(lock).size() - 1}) {
        outgoing_advance(&test.session->to_server, sent);
        EXPECT_EQ(test.server_sends(chunked(ok)), "");
        EXPECT_EQ(test.to_shell(), frame(ok, sent > 0 ? 1 : 0));
    }
    EXPECT_EQ(test.to_server(), "\n");
    EXPECT_EQ(test.answer(ok), chunked(discard));
    EXPECT_EQ(test.answer(ok), chunked(edit("<candidate/>")));
}

TEST(gateway_candidate, a_refusal_of_half_a_request_is_one)
{
    candidate_bench test;
    EXPECT_EQ(test.shell_sends(frame(edit("<running/>"))), "");
    outgoing_advance(&test.session->to_server, 1);
    EXPECT_EQ(test.server_sends(chunked(denied)), "");
    EXPECT_EQ(test.to_server(), chunked(lock).substr(1));
    test.ends_with(denied);
}

TEST(gateway_candidate, a_nudge_that_the_server_has_not_taken_holds_up_no_answer)
{
    candidate_bench test;
    EXPECT_EQ(test.ask(edit("<running/>")), chunked(lock));
    ASSERT_TRUE(relay_may_nudge(test.session.get()));
    relay_nudge(test.session.get());
    EXPECT_EQ(test.server_sends(chunked(ok) + chunked(denied)), "");
    EXPECT_EQ(test.to_shell(), frame(denied, 0)) << "the discard has not gone out";
    EXPECT_EQ(test.to_server(), chunked(discard));
}

TEST(gateway_candidate, a_server_that_stops_answering_is_given_up)
{
    candidate_bench test;
    test.begin();
    relay_refuse(test.session.get(), relay_phase_refused, "silence");
    test.advance();
    EXPECT_EQ(test.to_server(), "");
    byte_buffer failure{};
    EXPECT_EQ(failure_reply_write("5", "silence", &failure), 0);
    EXPECT_EQ(test.to_shell(), frame(std::string(byte_buffer_view(&failure)), 0));
}

TEST(gateway_candidate, the_target_keeps_its_prefix)
{
    candidate_bench test;
    const std::string head =
        "<n:rpc xmlns:n='" + base + "' message-id='5'><n:edit-config><n:target>";
    const std::string tail = "</n:target></n:edit-config></n:rpc>";
    EXPECT_EQ(test.ask(head + "<n:running></n:running>" + tail), chunked(lock));
    EXPECT_EQ(test.answer(ok), chunked(discard));
    EXPECT_EQ(test.answer(ok), chunked(head + "<n:candidate/>" + tail));
}

TEST(gateway_candidate, the_first_error_is_the_answer_and_what_was_done_is_undone)
{
    const std::string later = reply("5", error("later"));
    {
        candidate_bench test;
        EXPECT_EQ(test.ask(edit("<running/>")), chunked(lock));
        EXPECT_EQ(test.answer(denied), "");
        test.ends_with(denied);
    }
    {
        candidate_bench test;
        EXPECT_EQ(test.ask(edit("<running/>")), chunked(lock));
        EXPECT_EQ(test.answer(ok), chunked(discard));
        EXPECT_EQ(test.answer(denied), chunked(unlock));
        EXPECT_EQ(test.answer(ok), "");
        test.ends_with(denied);
    }
    for (const bool edit_fails : {true, false}) {
        candidate_bench test;
        test.begin();
        const std::string last = edit_fails ? "" : test.answer(ok);
        EXPECT_EQ(last, edit_fails ? "" : chunked(commit));
        EXPECT_EQ(test.answer(denied), chunked(discard));
        EXPECT_EQ(test.answer(later), chunked(unlock));
        EXPECT_EQ(test.answer(later), "");
        test.ends_with(denied);
        const std::string kept =
            "tarnd-gateway: shell 1: the server does not let go of the candidate\n";
        EXPECT_EQ(test.log(), kept + kept);
    }
}

TEST(gateway_candidate, a_warning_is_no_error)
{
    const std::string severity = "<error-severity>warning</error-severity>";
    const std::string warned = reply("5", "<rpc-error>" + severity + "</rpc-error><ok/>");
    candidate_bench test;
    test.begin();
    EXPECT_EQ(test.answer(warned), chunked(commit));
    EXPECT_EQ(test.answer(warned), chunked(unlock));
    EXPECT_EQ(test.answer(ok), "");
    test.ends_with(warned);
}

TEST(gateway_candidate, a_copy_to_running_is_committed)
{
    const std::string start = "<copy-config><target>";
    const std::string end = "</target><source><config/></source></copy-config>";
    candidate_bench test;
    EXPECT_EQ(test.ask(rpc("5", start + "<running/>" + end)), chunked(lock));
    EXPECT_EQ(test.answer(ok), chunked(discard));
    EXPECT_EQ(test.answer(ok), chunked(rpc("5", start + "<candidate/>" + end)));
}

TEST(gateway_candidate, a_copy_of_the_candidate_to_running_is_a_commit)
{
    candidate_bench test;
    EXPECT_EQ(test.ask(rpc("5", "<copy-config><target><running/></target><source><candidate/>"
                                "</source></copy-config>")),
              chunked(commit));
    EXPECT_EQ(test.answer(denied), "");
    EXPECT_EQ(test.to_shell(), frame(denied, 0));
}

TEST(gateway_candidate, other_requests_pass)
{
    for (const std::string &request : {
             edit("<candidate/>"),
             edit("<running xmlns='urn:other'/>"),
             rpc("5", "<copy-config><target><startup/></target><source><running/></source>"
                      "</copy-config>"),
             rpc("5", "<lock><target><running/></target></lock>"),
             "<rpc xmlns='" + base +
                 "'><edit-config><target><running/></target></edit-config></rpc>",
             rpc("5", "<edit-config><target><running/></edit-config>"),
         }) {
        candidate_bench test;
        EXPECT_EQ(test.ask(request), chunked(request));
    }
}

TEST(gateway_candidate, only_where_running_cannot_be_written)
{
    for (const std::string &capabilities : {undoes, capability + writable + undoes}) {
        exchange_bench test(capabilities);
        EXPECT_EQ(test.ask(edit("<running/>")), chunked(edit("<running/>")));
        EXPECT_EQ(test.log(), "");
    }
    EXPECT_EQ(hello_log(startup + capability + undoes, {}), notice);
}

TEST(gateway_candidate, what_became_of_a_copy_is_looked_at)
{
    const std::string start = "<copy-config><target>";
    const std::string source =
        "</target><source><config><a xmlns=\"urn:a\">1</a></config></source>";
    const std::string startup = "</target><source><startup/></source>";
    const std::string end = "</copy-config>";
    const std::string read = "<get-config><source><running/></source></get-config>";
    const std::string good = "<data><a xmlns=\"urn:a\">1</a></data>";
    const struct {
        std::string from;
        std::string running;
        std::string fault; // empty: none
    } cases[] = {
        {source, good, ""},
        {startup, good, ""},
        {source, "<data><a xmlns=\"urn:a\">2</a></data>", "a differs"},
        {startup, "<data/>", "a differs"},
        {source, error("access-denied"), "running cannot be read"},
    };
    for (const auto &each : cases) {
        candidate_bench test;
        const bool from_startup = each.from == startup;
        EXPECT_EQ(test.ask(rpc("5", start + "<running/>" + each.from + end)), chunked(lock));
        EXPECT_EQ(test.answer(ok), chunked(discard));
        EXPECT_EQ(test.answer(ok), chunked(rpc("5", start + "<candidate/>" + each.from + end)));
        EXPECT_EQ(test.answer(ok), chunked(commit));
        std::string next = test.answer(ok);
        if (from_startup) {
            EXPECT_EQ(next, chunked(rpc("tarnd-gateway-startup",
                                        "<get-config><source><startup/></source></get-config>")));
            next = test.answer(reply("tarnd-gateway-startup", good));
        }
        EXPECT_EQ(next, chunked(rpc("tarnd-gateway-running", read)));
        EXPECT_EQ(test.answer(reply("tarnd-gateway-running", each.running)), chunked(unlock));
        EXPECT_EQ(test.answer(ok), "");
        byte_buffer failure{};
        const std::string text =
            "running was changed but is not what was to be copied: " + each.fault;
        EXPECT_EQ(failure_reply_write("5", text.c_str(), &failure), 0);
        test.ends_with(each.fault.empty() ? ok : std::string(byte_buffer_view(&failure)));
    }
}

TEST(gateway_candidate, a_commit_is_confirmed_over_the_session_that_has_made_it)
{
    const std::string committed = reply("5", "<ok/><!--committed-->");
    candidate_bench test(confirms, confirming);
    test.begin();
    EXPECT_EQ(test.answer(ok), chunked(unconfirmed));
    EXPECT_EQ(test.answer(committed), chunked(commit));
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_EQ(test.answer(ok), chunked(unlock));
    EXPECT_EQ(test.answer(ok), "");
    test.ends_with(committed);
}

TEST(gateway_candidate, a_commit_that_cannot_be_confirmed_is_an_error)
{
    {
        candidate_bench test(confirms, confirming);
        test.begin();
        EXPECT_EQ(test.answer(ok), chunked(unconfirmed));
        EXPECT_EQ(test.answer(denied), chunked(discard)) << "there is nothing to confirm";
        EXPECT_EQ(test.answer(ok), chunked(unlock));
        EXPECT_EQ(test.answer(ok), "");
        test.ends_with(denied);
    }
    candidate_bench test(confirms, confirming);
    test.begin();
    EXPECT_EQ(test.answer(ok), chunked(unconfirmed));
    EXPECT_EQ(test.answer(ok), chunked(commit));
    EXPECT_EQ(test.answer(denied), chunked(discard));
    EXPECT_EQ(test.answer(ok), chunked(unlock));
    EXPECT_EQ(test.answer(ok), "");
    test.ends_with(denied);
}

TEST(gateway_candidate, a_copy_is_confirmed_before_it_is_compared)
{
    candidate_bench test(confirms, confirming);
    const std::string copy = "<copy-config><target><running/></target><source><config/></source>"
                             "</copy-config>";
    EXPECT_EQ(test.ask(rpc("5", copy)), chunked(lock));
    EXPECT_EQ(test.answer(ok), chunked(discard));
    test.answer(ok);
    EXPECT_EQ(test.answer(ok), chunked(unconfirmed));
    EXPECT_EQ(test.answer(ok), chunked(commit));
    EXPECT_EQ(test.answer(ok),
              chunked(rpc("tarnd-gateway-running",
                          "<get-config><source><running/></source></get-config>")));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-running", "<data/>")), chunked(unlock));
    EXPECT_EQ(test.answer(ok), "");
    test.ends_with(ok);
}

TEST(gateway_candidate, a_copy_of_the_candidate_is_confirmed)
{
    for (const std::string &second : {ok, denied}) {
        candidate_bench test(confirms, confirming);
        EXPECT_EQ(test.ask(publish), chunked(unconfirmed));
        EXPECT_EQ(test.answer(ok), chunked(commit));
        EXPECT_EQ(test.answer(second), "");
        test.ends_with(second);
    }
    candidate_bench test(confirms, confirming);
    EXPECT_EQ(test.ask(publish), chunked(unconfirmed));
    EXPECT_EQ(test.answer(denied), "") << "what stands in the candidate is left alone";
    test.ends_with(denied);
}

TEST(gateway_candidate, what_is_confirmed_goes_through_it_though_running_can_be_written)
{
    candidate_bench test(writable + confirms, confirming);
    EXPECT_EQ(test.ask(edit("<running/>")), chunked(lock_running));
    EXPECT_EQ(test.answer(ok), chunked(lock));
    EXPECT_EQ(test.answer(ok), chunked(discard));
    EXPECT_EQ(test.answer(ok), chunked(edit("<candidate/>")));
    EXPECT_EQ(test.answer(ok), chunked(unconfirmed));
    EXPECT_EQ(test.answer(ok), chunked(commit));
    EXPECT_EQ(test.answer(ok), chunked(unlock));
    EXPECT_EQ(test.answer(ok), chunked(unlock_running));
    EXPECT_EQ(test.answer(denied), "");
    test.ends_with(ok);
    EXPECT_EQ(test.log(), "tarnd-gateway: shell 1: the server does not let go of running\n");
}

TEST(gateway_candidate, what_another_session_has_locked_is_let_go)
{
    {
        candidate_bench test(writable + confirms, confirming);
        EXPECT_EQ(test.ask(edit("<running/>")), chunked(lock_running));
        EXPECT_EQ(test.answer(denied), "");
        test.ends_with(denied);
    }
    candidate_bench test(writable + confirms, confirming);
    EXPECT_EQ(test.ask(edit("<running/>")), chunked(lock_running));
    EXPECT_EQ(test.answer(ok), chunked(lock));
    EXPECT_EQ(test.answer(denied), chunked(unlock_running));
    EXPECT_EQ(test.answer(ok), "");
    test.ends_with(denied);
}

TEST(gateway_candidate, a_server_that_cannot_undo_a_commit_is_not_asked_to)
{
    const std::string unknown =
        "tarnd-gateway: shell 1: commits are not confirmed (no candidate or confirmed-commit "
        "capability); see --confirmed-commit\n";
    const std::string through =
        "tarnd-gateway: shell 1: what goes to running is committed from the "
        "candidate (--confirmed-commit)\n";
    EXPECT_EQ(hello_log(startup + capability + undoes, confirming), notice + unknown);
    EXPECT_EQ(hello_log(startup + writable + undoes + confirms, confirming), unknown);
    EXPECT_EQ(hello_log(startup + capability + undoes + confirms, confirming), notice);
    EXPECT_EQ(hello_log(startup + capability + writable + undoes + confirms, confirming), through);
    EXPECT_EQ(hello_log(startup + capability + writable + undoes + confirms, {}), "");
    candidate_bench test("", confirming);
    test.begin();
    EXPECT_EQ(test.answer(ok), chunked(commit));
    EXPECT_EQ(test.answer(ok), chunked(unlock));
}
