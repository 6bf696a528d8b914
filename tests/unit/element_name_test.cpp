// Which paths can be written as elements.
#include "cmdtree/element_name.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

TEST(is_xml_name, of_ascii)
{
    for (const char *name : {"a", "Z", "_", "a-b.c_d9", "_1", "xml", "x--"})
        EXPECT_TRUE(is_xml_name(name)) << name;
    for (const char *name :
         {"",     "1",     "-a",    ".",  "..",  ".a",  "a:b", ":",   "a b", "a[",
          "a]",   "[",     "a=",    "a,", "'a'", "a\"", "a<",  "a&b", "a/",  "a\x01",
          "\x02", "a\x0b", "a\x7f", "a@", "`",   "{",   "@",   "a!",  "a+"})
        EXPECT_FALSE(is_xml_name(name)) << name;
    EXPECT_FALSE(is_xml_name(std::string_view("a\0b", 3)));
    EXPECT_FALSE(is_xml_name(std::string_view("\0", 1)));
}

TEST(is_xml_name, of_other_characters)
{
    for (const char *name : {"\u00e9", "a\u00df", "\u4e2d\u6587", "\U0001f600", "a\u00b7",
                             "a\u0300", "a\u203f", "\u0370", "\ufffd", "\U000effff"})
        EXPECT_TRUE(is_xml_name(name)) << name;
    for (const char *name : {"\u00d7", "a\u00f7", "\u00b7", "\u0300", "\u203f", "a\u00a0",
                             "a\u2028", "a\u037e", "a\u3000", "a\ufffe", "a\U000f0000"})
        EXPECT_FALSE(is_xml_name(name)) << name;
}

TEST(is_xml_name, of_what_is_no_utf_8)
{
    for (const char *name : {"\xc3", "a\xc3",
                             "\xc3"
                             "a",
                             "a\xa9", "\xff", "\xf8\x88\x80\x80\x80", "\xe4\xb8", "\xf0\x9f\x98",
                             "\xc1\x81", "\xe0\x81\x81", "\xf0\x80\x81\x81", // "A", too long
                             "\xed\xa0\x80", "\xf4\x90\x80\x80"})
        EXPECT_FALSE(is_xml_name(name)) << name;
}

TEST(path_names_elements, without_predicates)
{
    for (const char *path : {"/", "/m", "/m/c", "/m/c/x", "/m/o:c/o:x", "/1", "/1/c", "/m/nix:c"})
        EXPECT_TRUE(path_names_elements(path)) << path;
    for (const char *path : {"/m/", "/m/c/", "/m//c", "/m/1", "/m/1/c", "/m/c/.",
                             "/m/o:", "/m/:", "/m/a:b:c", "/m/c]", "/m/c\x01x", "/m/c\x0bk\x0c"})
        EXPECT_FALSE(path_names_elements(path)) << path;
}

TEST(path_names_elements, with_predicates)
{
    for (const char *path : {"/m/l[k=v]", "/m/l[k=v]/x", "/m/l[k]", "/m/l[k=]", "/m/l[k1,k2=b]",
                             "/m/l[k=v,]", "/m/l[o:k=v]", "/m/o:l[o:k=v]/in[k=1]", "/m/l[k=a=b]",
                             "/m/l[k=\x01\x02\x03\x0b<[]", "/m/l[k=v]]"})
        EXPECT_TRUE(path_names_elements(path)) << path;
    for (const char *path :
         {"/m/l[",           "/m/l[k",       "/m/l[k=",   "/m/l[k=v",    "/m/l[]",
          "/m/l[]/x",        "/m/l[=v]",     "/m/l[=]",   "/m/l[,]",     "/m/l[,k=v]",
          "/m/l[k=v,,k2=w]", "/m/l[k=v,=w]", "/m/l[1=v]", "/m/l[[k=v]",  "/m/l[o:=v]",
          "/m/l['k'=v]",     "/m/[k=v]",     "/m/l[k/x]", "/m/l[k=v/x]", "/m/l[k=v]/in[",
          "/m/l]k=v["})
        EXPECT_FALSE(path_names_elements(path)) << path;
}

// Each level would become a node with its own path: of these, four gigabytes.
TEST(path_names_elements, levels_that_would_fill_the_memory)
{
    std::string path = "/m";
    for (int level = 0; level < 64000; level++)
        path += "/a";
    EXPECT_FALSE(path_names_elements(path));
    EXPECT_TRUE(path_names_elements(path.substr(0, 16000)));
    EXPECT_TRUE(path_names_elements("/m/l[k=" + std::string(32 << 20, 'v') + "]/x"));
}

TEST(element_name_of, a_name_and_its_prefix)
{
    element_name name = element_name_of("x");
    EXPECT_FALSE(name.prefixed);
    EXPECT_EQ(name.local, "x");
    name = element_name_of("o:x:y");
    EXPECT_TRUE(name.prefixed);
    EXPECT_EQ(name.module, "o");
    EXPECT_EQ(name.local, "x:y");
    name = element_name_of(":");
    EXPECT_TRUE(name.prefixed);
    EXPECT_EQ(name.module, "");
    EXPECT_EQ(name.local, "");
}

} // namespace
