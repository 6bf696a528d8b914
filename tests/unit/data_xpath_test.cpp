// From data paths to XPath.
#include "schema/data_xpath.h"

#include "tests/support/shell_world.h"

namespace
{

class data_xpath_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    // The expression, and after a blank the prefixes in order of their use.
    static std::string xpath(const char *path)
    {
        ns_list namespaces;
        heap_text expression = data_xpath(path, &namespaces);
        std::string text;
        for (const ns_entry *entry = namespaces.first; entry != nullptr; entry = entry->next)
            text = " " + std::string(entry->prefix) + "=" + entry->uri + text;
        return expression ? expression.get() + text : "(none)";
    }
};

TEST_F(data_xpath_test, short_paths_have_none)
{
    EXPECT_EQ(xpath("/"), "(none)");
    EXPECT_EQ(xpath("/m"), "(none)");
    EXPECT_EQ(xpath(nullptr), "(none)");
    EXPECT_EQ(xpath(""), "(none)");
}

TEST_F(data_xpath_test, every_component_carries_its_module)
{
    EXPECT_EQ(xpath("/m/c"), "/m:c m=urn:m");
    EXPECT_EQ(xpath("/m/c/x"), "/m:c/m:x m=urn:m");
}

TEST_F(data_xpath_test, keys_carry_it_too)
{
    EXPECT_EQ(xpath("/m/c/l[k1=a,k2=b]/x"), "/m:c/m:l[m:k1='a' and m:k2='b']/m:x m=urn:m");
}

TEST_F(data_xpath_test, a_prefix_holds_for_what_follows)
{
    EXPECT_EQ(xpath("/m/c/o:box/lid/m:x/y"), "/m:c/o:box/o:lid/m:x/m:y m=urn:m o=urn:o");
}

TEST_F(data_xpath_test, a_key_name_takes_the_module_of_its_component)
{
    EXPECT_EQ(xpath("/m/c/l[k=1]/o:box/n[j=2]"),
              "/m:c/m:l[m:k='1']/o:box/o:n[o:j='2'] m=urn:m o=urn:o");
    EXPECT_EQ(xpath("/m/c/o:l[k=1]"), "/m:c/o:l[o:k='1'] m=urn:m o=urn:o");
    EXPECT_EQ(xpath("/m/c/l[o:k=1]/x"), "/m:c/m:l[o:k='1']/m:x m=urn:m o=urn:o");
}

TEST_F(data_xpath_test, values_are_quoted_by_what_they_hold)
{
    EXPECT_EQ(xpath("/m/l[k=it's]"), "/m:l[m:k=\"it's\"] m=urn:m");
    EXPECT_EQ(xpath("/m/l[k=a\"b]"), "/m:l[m:k='a\"b'] m=urn:m");
    EXPECT_EQ(xpath("/m/l[k=]"), "/m:l[m:k=''] m=urn:m");
    EXPECT_EQ(xpath("/m/l[k=a'b\"c'd]"), "/m:l[m:k=concat('a',\"'\",'b\"c',\"'\",'d')] m=urn:m");
}

TEST_F(data_xpath_test, masked_values_are_restored)
{
    EXPECT_EQ(xpath("/m/l[k=1\x01"
                    "0\x02"
                    "2]"),
              "/m:l[m:k='1/0:2'] m=urn:m");
    EXPECT_EQ(xpath("/m/l[k=\"a\x03"
                    "b\"]"),
              "/m:l[m:k='a b'] m=urn:m");
    EXPECT_EQ(xpath("/m/l[k='x\x0e"
                    "y\x0d\x0b\x0c']"),
              "/m:l[m:k='x,y=[]'] m=urn:m");
    EXPECT_EQ(xpath("/m/l[k='abc']"), "/m:l[m:k=\"'abc'\"] m=urn:m");
}

TEST_F(data_xpath_test, an_unknown_module)
{
    EXPECT_EQ(xpath("/nix/c"), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] nix is not a module\n"}}));
    EXPECT_EQ(xpath("/m/nix:c"), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] nix is not a module\n"}}));
    EXPECT_EQ(xpath("/m/l[nix:k=1]"), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] nix is not a module\n"}}));
}

TEST_F(data_xpath_test, the_longest_path_is_written_whole)
{
    std::string path = "/m";
    std::string expected;
    for (int i = 0; i < 2000; i++) {
        path += "/l[k1=v,k2=w]";
        expected += "/m:l[m:k1='v' and m:k2='w']";
    }
    EXPECT_EQ(xpath(path.c_str()), expected + " m=urn:m");
}

TEST_F(data_xpath_test, odd_predicates_do_no_harm)
{
    const std::string document = "<c xmlns='urn:m'><l/></c>";
    xml_doc parsed = xml_parse(document.data(), document.size());
    for (const char *path : {"/m/c/l[", "/m/c/l[]", "/m/c/l[k]", "/m/c/l[=v]", "/m/c/l[,]",
                             "/m/c/l[k=v", "/m/c/]", "/m/c/[", "/m/:", "/m/o:", "/m/c/l[k=v]]",
                             "/m/'", "/m/\"", "/m//c", "/m/c/", "/m/l[k=v,]"}) {
        ns_list namespaces;
        heap_text expression = data_xpath(path, &namespaces);
        if (expression)
            xpath_result result(xpath_eval(parsed.get(), expression.get(), namespaces));
    }
}

} // namespace
