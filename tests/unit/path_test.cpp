// Workspace paths.
#include "schema/path.h"

#include "tests/support/shell_world.h"

namespace
{

class path_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    static std::string collapsed(const std::string &path)
    {
        std::string text = path;
        path_collapse(text.data());
        return text.c_str();
    }
};

TEST_F(path_test, levels_are_slashes)
{
    EXPECT_EQ(path_levels("/"), 1U);
    EXPECT_EQ(path_levels("/m"), 1U);
    EXPECT_EQ(path_levels("/m/c/x"), 3U);
    EXPECT_EQ(path_levels("/m/l[k=a\x01"
                          "b]"),
              2U);
    EXPECT_EQ(path_levels(""), 0U);
}

TEST_F(path_test, components)
{
    EXPECT_STREQ(path_last_component("/m/c/l[k=1]"), "l[k=1]");
    EXPECT_STREQ(path_last_component("/m"), "m");
    EXPECT_STREQ(path_last_component("/"), "");
    EXPECT_STREQ(path_last_component("x"), "x");
    EXPECT_EQ(path_module("/m/c"), "m");
    EXPECT_EQ(path_module("/m"), "m");
    EXPECT_EQ(path_module("/"), "");
}

TEST_F(path_test, list_entries)
{
    EXPECT_TRUE(path_is_list_entry("/m/l[k=1]"));
    EXPECT_FALSE(path_is_list_entry("/m/l"));
    EXPECT_FALSE(path_is_list_entry("/m/l[k=1]/x"));
    EXPECT_FALSE(path_is_list_entry("/"));
}

TEST_F(path_test, parents)
{
    EXPECT_STREQ(path_parent("/m/c/x").get(), "/m/c");
    EXPECT_STREQ(path_parent("/m").get(), "/");
    EXPECT_STREQ(path_parent("/m/l[k=1]").get(), "/m");
    EXPECT_STREQ(path_listing_parent("/m/l[k=1]").get(), "/m/l");
    EXPECT_STREQ(path_listing_parent("/m/l[k=1]/x").get(), "/m/l[k=1]");
    EXPECT_STREQ(path_listing_parent("/m/c").get(), "/m");
    EXPECT_STREQ(path_listing_parent("/m").get(), "/");
}

TEST_F(path_test, within_is_by_components)
{
    EXPECT_TRUE(path_is_within("/m/c", "/m/c"));
    EXPECT_TRUE(path_is_within("/m/c/x", "/m/c"));
    EXPECT_FALSE(path_is_within("/m/cx", "/m/c"));
    EXPECT_FALSE(path_is_within("/m", "/m/c"));
    EXPECT_TRUE(path_is_within("/m", "/"));
    EXPECT_TRUE(path_is_within("/", "/"));
}

TEST_F(path_test, within_the_rpc)
{
    EXPECT_FALSE(path_in_rpc("/m/r"));
    EXPECT_FALSE(path_outside_rpc("/m/c"));
    enter_rpc("/m/r");
    EXPECT_TRUE(path_in_rpc("/m/r"));
    EXPECT_TRUE(path_in_rpc("/m/r/p"));
    EXPECT_FALSE(path_in_rpc("/m/rx"));
    EXPECT_FALSE(path_outside_rpc("/m/r/p"));
    EXPECT_TRUE(path_outside_rpc("/m/rx"));
    EXPECT_TRUE(path_outside_rpc("/m"));
}

TEST_F(path_test, collapse_leaves_double_dots)
{
    EXPECT_EQ(collapsed("/a//b/./c/"), "/a/b/c");
    EXPECT_EQ(collapsed("/../x"), "/../x");
    EXPECT_EQ(collapsed("/"), "/");
    EXPECT_EQ(collapsed("/."), "/");
    EXPECT_EQ(collapsed("/./"), "/");
    EXPECT_EQ(collapsed("//./"), "/");
    EXPECT_EQ(collapsed("/.a/.b"), "/.a/.b");
}

} // namespace
