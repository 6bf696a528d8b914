// The command line of tarnd-gateway.
#include "device/gateway/gateway_options.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

struct parsed {
    gateway_options options;
    std::string reason; // "" when it was accepted
    std::string culprit;
    std::vector<std::string> command;
};

parsed parse(std::vector<std::string> words)
{
    words.insert(words.begin(), "tarnd-gateway");
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    parsed result{};
    const char *culprit;
    const char *reason = gateway_options_read(static_cast<int>(words.size()), arguments.data(),
                                              &result.options, &culprit);
    result.reason = reason ? reason : "";
    result.culprit = culprit ? culprit : "";
    for (char *const *word = result.options.command; word && *word; word++)
        result.command.emplace_back(*word);
    return result;
}

} // namespace

TEST(gateway_options, the_whole_command_line)
{
    const parsed result =
        parse({"--listen", "/run/x", "--no-subscribe", "--", "ssh", "-s", "--", "r", "netconf"});
    EXPECT_EQ(result.reason, "");
    EXPECT_FALSE(result.options.subscribe);
    EXPECT_FALSE(result.options.help);
    EXPECT_EQ(result.command, (std::vector<std::string>{"ssh", "-s", "--", "r", "netconf"}));
}

TEST(gateway_options, subscribes_unless_told_not_to)
{
    const std::string path = "--listen=/run/y";
    const parsed result = parse({path, "--", "cat"});
    EXPECT_EQ(result.reason, "");
    EXPECT_TRUE(result.options.subscribe);
    EXPECT_EQ(result.command, std::vector<std::string>{"cat"});
}

TEST(gateway_options, the_path_in_both_spellings)
{
    char name[] = "tarnd-gateway";
    char option[] = "--listen";
    char path[] = "/run/z";
    char both[] = "--listen=/run/z";
    char dashes[] = "--";
    char command[] = "cat";
    char *const apart[] = {name, option, path, dashes, command, nullptr};
    char *const joined[] = {name, both, dashes, command, nullptr};
    gateway_options options;
    const char *culprit;
    ASSERT_EQ(gateway_options_read(5, apart, &options, &culprit), nullptr);
    EXPECT_STREQ(options.socket_path, "/run/z");
    ASSERT_EQ(gateway_options_read(4, joined, &options, &culprit), nullptr);
    EXPECT_STREQ(options.socket_path, "/run/z");
}

TEST(gateway_options, help_needs_nothing_else)
{
    const parsed result = parse({"--help"});
    EXPECT_EQ(result.reason, "");
    EXPECT_TRUE(result.options.help);
}

TEST(gateway_options, version_needs_nothing_else)
{
    const parsed result = parse({"--version"});
    EXPECT_EQ(result.reason, "");
    EXPECT_TRUE(result.options.version);
    EXPECT_FALSE(parse({"--listen", "x", "--", "cat", "--version"}).options.version);
}

TEST(gateway_options, extras)
{
    EXPECT_FALSE(parse({"--listen", "x", "--", "cat", "--lock"}).options.extras.lock);
    EXPECT_TRUE(parse({"--lock", "--listen", "x", "--", "cat"}).options.extras.lock);
    EXPECT_TRUE(parse({"--startup-is-running", "--listen", "x", "--", "cat"})
                    .options.extras.startup_is_running);
    const parsed confirmed = parse({"--confirmed-commit=86400", "--listen", "x", "--", "cat"});
    EXPECT_EQ(confirmed.options.extras.confirmed_commit, 86400U);
    EXPECT_EQ(parse({"--confirmed-commit", "0"}).reason,
              "--confirmed-commit takes a number from 1 to 86400");
    EXPECT_EQ(parse({"--listen", "x", "--", "cat"}).options.extras.confirmed_commit, 0U);
    EXPECT_EQ(parse({"--listen", "x", "--", "cat"}).options.extras.defaults, nullptr);
    for (const char *mode : {"report-all", "report-all-tagged", "trim", "explicit"}) {
        const parsed known = parse({"--with-defaults", mode, "--listen", "x", "--", "cat"});
        ASSERT_NE(known.options.extras.defaults, nullptr);
        EXPECT_EQ(known.options.extras.defaults->name, mode);
    }
    for (const char *mode : {"", "report", "trim "}) {
        const parsed unknown = parse({"--with-defaults", mode, "--listen", "x", "--", "cat"});
        EXPECT_EQ(unknown.reason,
                  "--with-defaults takes report-all, report-all-tagged, trim or explicit");
        EXPECT_EQ(unknown.culprit, mode);
    }
}

TEST(gateway_options, numbers)
{
    const parsed none = parse({"--listen", "x", "--", "cat"});
    EXPECT_EQ(none.options.max_shells, 32U);
    EXPECT_EQ(none.options.max_buffered, 536870912U);
    EXPECT_EQ(none.options.hello_timeout, 60U);
    EXPECT_EQ(none.options.idle_timeout, 0U);
    EXPECT_EQ(none.options.request_timeout, 0U);
    EXPECT_EQ(none.options.keepalive, 0U);
    const parsed joined = parse({"--max-shells=1", "--listen", "x", "--", "cat"});
    EXPECT_EQ(joined.reason, "");
    EXPECT_EQ(joined.options.max_shells, 1U);
    const parsed apart = parse({"--listen", "x", "--max-shells", "10000", "--", "cat"});
    EXPECT_EQ(apart.reason, "");
    EXPECT_EQ(apart.options.max_shells, 10000U);
    const parsed most = parse({"--max-buffered=4294967295", "--listen", "x", "--", "cat"});
    EXPECT_EQ(most.reason, "");
    EXPECT_EQ(most.options.max_buffered, 4294967295U);
    const parsed timeout = parse({"--hello-timeout=86400", "--listen", "x", "--", "cat"});
    EXPECT_EQ(timeout.reason, "");
    EXPECT_EQ(timeout.options.hello_timeout, 86400U);
}

TEST(gateway_options, what_is_no_number)
{
    for (const char *text : {"", "0", "-1", "+1", " 1", "1 ", "1x", "10001", "4294967297",
                             "18446744073709551617", "99999999999999999999999"}) {
        const parsed result = parse({"--max-shells", text, "--listen", "x", "--", "cat"});
        EXPECT_EQ(result.reason, "--max-shells takes a number from 1 to 10000") << text;
        EXPECT_EQ(result.culprit, text);
    }
    EXPECT_EQ(parse({"--max-buffered=4294967296"}).reason,
              "--max-buffered takes a number from 1 to 4294967295");
    const parsed idle = parse({"--idle-timeout=86400", "--listen", "x", "--", "cat"});
    EXPECT_EQ(idle.reason, "");
    EXPECT_EQ(idle.options.idle_timeout, 86400U);
    const parsed request = parse({"--request-timeout", "1", "--listen", "x", "--", "cat"});
    EXPECT_EQ(request.reason, "");
    EXPECT_EQ(request.options.request_timeout, 1U);
    const parsed keepalive = parse({"--keepalive=7", "--listen", "x", "--", "cat"});
    EXPECT_EQ(keepalive.reason, "");
    EXPECT_EQ(keepalive.options.keepalive, 7U);
    EXPECT_EQ(parse({"--request-timeout=x"}).reason,
              "--request-timeout takes a number from 1 to 86400");
    EXPECT_EQ(parse({"--idle-timeout=0"}).reason, "--idle-timeout takes a number from 1 to 86400");
    EXPECT_EQ(parse({"--hello-timeout=86401"}).reason,
              "--hello-timeout takes a number from 1 to 86400");
    EXPECT_EQ(parse({"--max-shells"}).reason, "--max-shells takes a number from 1 to 10000");
    EXPECT_EQ(parse({"--max-shellsx=1", "--listen", "x", "--", "cat"}).reason, "unknown option");
}

TEST(gateway_options, refusals)
{
    EXPECT_EQ(parse({}).reason, "--listen SOCKET is missing");
    EXPECT_EQ(parse({"--", "cat"}).reason, "--listen SOCKET is missing");
    EXPECT_EQ(parse({"--listen"}).reason, "--listen SOCKET is missing");
    EXPECT_EQ(parse({"--listen", "", "--", "cat"}).reason, "--listen SOCKET is missing");
    EXPECT_EQ(parse({"--listen", "x"}).reason, "the command is missing");
    EXPECT_EQ(parse({"--listen", "x", "--"}).reason, "the command is missing");
    EXPECT_EQ(parse({"--listen", "x", "--", ""}).reason, "the command is missing");
    const parsed bare = parse({"--listen", "x", "cat"});
    EXPECT_EQ(bare.reason, "a \"--\" has to stand in front of the command");
    EXPECT_EQ(bare.culprit, "cat");
    const parsed unknown = parse({"--listener", "x", "--", "cat"});
    EXPECT_EQ(unknown.reason, "unknown option");
    EXPECT_EQ(unknown.culprit, "--listener");
    EXPECT_EQ(parse({"--no-subscribe=1", "--listen", "x", "--", "cat"}).reason, "unknown option");
}
