// Modules that the server tells of when it is asked, before the first edit of a session.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "support/exchange_bench.h"

namespace
{

const std::string library =
    "<capability>urn:ietf:params:netconf:capability:rollback-on-error:1.0</capability>"
    "<capability>urn:ietf:params:netconf:capability:yang-library:1.0?revision=2016-06-21&amp;"
    "module-set-id=1</capability>";
const std::string second_revision =
    "<capability>urn:ietf:params:netconf:capability:rollback-on-error:1.0</capability>"
    "<capability>urn:ietf:params:netconf:capability:yang-library:1.1?revision=2019-01-04&amp;"
    "content-id=1</capability>";
const std::string space = " xmlns=\"urn:ietf:params:xml:ns:yang:ietf-yang-library\"";
const std::string asked =
    rpc("tarnd-gateway-library", "<get><filter type=\"subtree\"><modules-state" + space +
                                     "><module/></modules-state></filter></get>");
const std::string asked_for_sets = rpc(
    "tarnd-gateway-library",
    "<get><filter type=\"subtree\"><yang-library" + space +
        "><module-set><module/><import-only-module/></module-set></yang-library></filter></get>");

std::string edit(const std::string &declaration)
{
    return rpc("5", "<edit-config><config" + declaration + "><a>mod:x</a></config></edit-config>");
}

std::string told(const std::string &modules)
{
    return reply("tarnd-gateway-library",
                 "<data><modules-state" + space + ">" + modules + "</modules-state></data>");
}

std::string module(const std::string &name, const std::string &uri)
{
    return "<module><name>" + name + "</name><namespace>" + uri +
           "</namespace><submodule><name>part</name></submodule></module>";
}

std::string told_in_sets(const std::string &sets)
{
    return reply("tarnd-gateway-library",
                 "<data><yang-library" + space + ">" + sets + "</yang-library></data>");
}

} // namespace

TEST(gateway_yang_library, is_read_before_the_first_edit)
{
    exchange_bench test(library);
    EXPECT_EQ(test.ask(rpc("4", "<x/>")), chunked(rpc("4", "<x/>")));
    EXPECT_EQ(test.answer(reply("4", "<ok/>")), "");
    EXPECT_EQ(test.to_shell(), frame(reply("4", "<ok/>"), 0));
    EXPECT_EQ(test.ask(edit("")), chunked(asked));
    const std::string answer = told(module("other", "urn:o") + module("mod", "urn:m&amp;m"));
    const std::string declaration = " xmlns:mod=\"urn:m&amp;m\"";
    EXPECT_EQ(test.answer(answer), chunked(edit(declaration)));
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_EQ(test.answer(reply("5", "<ok/>")), "");
    EXPECT_EQ(test.to_shell(), frame(reply("5", "<ok/>"), 1));
    EXPECT_EQ(test.ask(edit("")), chunked(edit(declaration))) << "once is enough";
}

TEST(gateway_yang_library, whatever_it_says_the_edit_goes_out)
{
    const std::string part =
        "<module><name>mod</name><submodule><name>sub</name></submodule></module>";
    for (const std::string &answer : {
             reply("tarnd-gateway-library", error("unknown-namespace")),
             told(""),
             told(part + "<module><namespace>urn:m</namespace></module>"),
             told("<module><name>mod</name><namespace>" + std::string(600, 'x') +
                  "</namespace></module>"),
             told(module("mod", "")),
             reply("tarnd-gateway-library", "<data>" + module("mod", "urn:m") + "</data>"),
         }) {
        exchange_bench test(library);
        EXPECT_EQ(test.ask(edit("")), chunked(asked));
        EXPECT_EQ(test.answer(answer), chunked(edit("")));
    }
}

TEST(gateway_yang_library, the_second_revision_has_sets_of_modules)
{
    const std::string set = "<module-set><name>mod</name>";
    const std::string only = "<import-only-module><name>mod</name><revision>2026-01-01</revision>"
                             "<namespace>urn:m</namespace></import-only-module>";
    for (const std::string &sets : {
             set + module("mod", "urn:m") + "</module-set>",
             set + module("other", "urn:o") + only + "</module-set>",
             set + module("other", "urn:o") + "</module-set>" + set + only + "</module-set>",
         }) {
        exchange_bench test(second_revision);
        EXPECT_EQ(test.ask(edit("")), chunked(asked_for_sets));
        EXPECT_EQ(test.answer(told_in_sets(sets)), chunked(edit(" xmlns:mod=\"urn:m\"")));
        EXPECT_EQ(test.to_shell(), "");
    }
}

TEST(gateway_yang_library, what_the_second_revision_does_not_tell_the_first_may)
{
    for (const std::string &answer : {
             reply("tarnd-gateway-library", error("unknown-namespace")),
             told_in_sets("<module-set><name>mod</name></module-set>"),
         }) {
        exchange_bench test(library + second_revision);
        EXPECT_EQ(test.ask(edit("")), chunked(asked_for_sets));
        EXPECT_EQ(test.answer(answer), chunked(asked));
        EXPECT_EQ(test.answer(told(module("mod", "urn:m"))), chunked(edit(" xmlns:mod=\"urn:m\"")));
    }
}

TEST(gateway_yang_library, a_server_that_has_none_is_not_asked)
{
    exchange_bench test(library.substr(0, library.rfind("<capability>")));
    EXPECT_EQ(test.ask(edit("")), chunked(edit("")));
}
