// Modules that the server tells of when it is asked, before the first edit of a session.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "support/exchange_bench.h"

namespace
{

const std::string library =
    "<capability>urn:ietf:params:netconf:capability:rollback-on-error:1.0</capability>"
    "<capability>urn:ietf:params:netconf:capability:yang-library:1.1?revision=2019-01-04&amp;"
    "content-id=1</capability>";
const std::string space = " xmlns=\"urn:ietf:params:xml:ns:yang:ietf-yang-library\"";
const std::string asked =
    rpc("tarnd-gateway-library", "<get><filter type=\"subtree\"><modules-state" + space +
                                     "><module><name/><namespace/></module></modules-state>"
                                     "</filter></get>");

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
    return "<module><name>" + name + "</name><namespace>" + uri + "</namespace></module>";
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

TEST(gateway_yang_library, a_server_that_has_none_is_not_asked)
{
    exchange_bench test(library.substr(0, library.rfind("<capability>")));
    EXPECT_EQ(test.ask(edit("")), chunked(edit("")));
}
