// Namespace lists and XPath over replies.
#include "link/xpath.h"

#include "tests/support/shell_world.h"

namespace
{

class xpath_test : public shell_world
{
  protected:
    // prefix=uri of every entry, from the first on.
    std::string list() const
    {
        std::string text;
        for (const ns_entry *entry = namespaces.first; entry != nullptr; entry = entry->next) {
            text += std::string(entry->prefix) + "=" + entry->uri + ";";
        }
        return text;
    }

    // Number of nodes, or -1 for no result.
    int count(const std::string &text, const char *expression)
    {
        xml_doc document = xml_parse(text.data(), text.size());
        EXPECT_NE(document, nullptr);
        xpath_result result(xpath_eval(document.get(), expression, namespaces));
        return result ? result->nodesetval->nodeNr : -1;
    }

    ns_list namespaces;
};

TEST_F(xpath_test, entries_are_added_at_the_head)
{
    EXPECT_EQ(ns_add(&namespaces, "a", "urn:a"), 0);
    EXPECT_EQ(ns_add(&namespaces, "b", "urn:b"), 0);
    EXPECT_EQ(ns_add(&namespaces, "c", "urn:c"), 0);
    EXPECT_EQ(list(), "c=urn:c;b=urn:b;a=urn:a;");
}

TEST_F(xpath_test, the_first_registration_of_a_prefix_wins)
{
    EXPECT_EQ(ns_add(&namespaces, "a", "urn:a"), 0);
    EXPECT_EQ(ns_add(&namespaces, "b", "urn:b"), 0);
    EXPECT_EQ(ns_add(&namespaces, "a", "urn:other"), 0);
    EXPECT_EQ(list(), "b=urn:b;a=urn:a;");
}

TEST_F(xpath_test, the_base_namespace_has_its_prefix)
{
    const std::string reply = data_reply("<x/>");
    EXPECT_EQ(count(reply, "/base10:rpc-reply"), 1);
    EXPECT_EQ(count(reply, "/base10:rpc-reply/base10:data/base10:*"), 1);
    EXPECT_EQ(count(reply, "/rpc-reply"), -1);
}

TEST_F(xpath_test, listed_prefixes_are_known)
{
    ns_add(&namespaces, "m", "urn:m");
    ns_add(&namespaces, "n", "urn:n");
    const std::string text = "<a xmlns='urn:m'><b xmlns='urn:n'/><b xmlns='urn:n'/><b/></a>";
    EXPECT_EQ(count(text, "/m:a/n:b"), 2);
    EXPECT_EQ(count(text, "/m:a/m:b"), 1);
}

TEST_F(xpath_test, an_empty_result_is_none)
{
    EXPECT_EQ(count("<a/>", "/b"), -1);
    EXPECT_EQ(count("<a/>", "/a/b[1]"), -1);
}

TEST_F(xpath_test, a_result_that_is_no_node_set_is_none)
{
    EXPECT_EQ(count("<a/>", "count(/a)"), -1);
    EXPECT_EQ(count("<a/>", "'text'"), -1);
    EXPECT_EQ(count("<a/>", "true()"), -1);
}

TEST_F(xpath_test, a_broken_expression_is_none_and_prints_nothing)
{
    testing::internal::CaptureStderr();
    for (const char *expression : {"", "/", "///", "/a[", "/a['", "/nope:a", "/a[b='c\"]", "%s"}) {
        int nodes = count("<a/>", expression);
        EXPECT_EQ(nodes, std::string(expression) == "/" ? 1 : -1) << expression;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(xpath_test, a_prefix_that_cannot_be_registered)
{
    ns_add(&namespaces, "", "urn:x");
    captured_log_take();
    EXPECT_EQ(count("<a/>", "/a"), -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] Registering base namespace for the message xpath "
                              "context failed.\n"}}));
}

TEST_F(xpath_test, parsing_drops_blank_text)
{
    const std::string text = "<a> <b/>\n <c>x</c></a>";
    xml_doc document = xml_parse(text.data(), text.size());
    ASSERT_NE(document, nullptr);
    int children = 0;
    for (xmlNode *node = xmlDocGetRootElement(document.get())->children; node != nullptr;
         node = node->next)
        children++;
    EXPECT_EQ(children, 2);
    EXPECT_EQ(xml_parse("", 0), nullptr);
    EXPECT_EQ(xml_parse("<a>", 3), nullptr);
}

} // namespace
