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

    static std::string absolute(const char *argument)
    {
        heap_text path = path_absolute(argument);
        return path ? path.get() : "(none)";
    }

    static std::string from(const char *workspace, const char *argument)
    {
        stand_at(workspace);
        return absolute(argument);
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

TEST_F(path_test, absolute_arguments_are_taken_as_they_are)
{
    EXPECT_EQ(from("/m/c", "/m/c/x"), "/m/c/x");
    EXPECT_EQ(from("/m/c", "/"), "/");
    EXPECT_EQ(from("/m/c", "/nix/nowhere"), "/nix/nowhere");
}

TEST_F(path_test, relative_arguments_are_joined)
{
    EXPECT_EQ(from("/m/c", "x"), "/m/c/x");
    EXPECT_EQ(from("/m/c", "./x"), "/m/c/x");
    EXPECT_EQ(from("/", "m"), "/m");
    EXPECT_EQ(from("/", "./m/c"), "/m/c");
    EXPECT_EQ(from("/m/c", "sub/z"), "/m/c/sub/z");
    EXPECT_EQ(from("/m/c", "o:box/lid"), "/m/c/o:box/lid");
}

TEST_F(path_test, slashes_collapse)
{
    EXPECT_EQ(absolute("/a//b/"), "/a/b");
    EXPECT_EQ(absolute("///a///b///"), "/a/b");
    EXPECT_EQ(absolute("//"), "/");
    EXPECT_EQ(absolute("/////"), "/");
    EXPECT_EQ(absolute("/"), "/");
}

TEST_F(path_test, single_dots_vanish)
{
    EXPECT_EQ(absolute("/a/./b"), "/a/b");
    EXPECT_EQ(absolute("/a/."), "/a");
    EXPECT_EQ(absolute("/a/./"), "/a");
    EXPECT_EQ(absolute("/./a/././b/./."), "/a/b");
    EXPECT_EQ(absolute("/."), "/");
    EXPECT_EQ(absolute("/./"), "/");
    EXPECT_EQ(from("/m/c", "."), "/m/c");
    EXPECT_EQ(from("/m/c", "./"), "/m/c");
    EXPECT_EQ(from("/", "."), "/");
}

TEST_F(path_test, a_component_that_starts_with_a_dot_stays)
{
    EXPECT_EQ(absolute("/a/.b"), "/a/.b");
    EXPECT_EQ(absolute("/.b/c."), "/.b/c.");
}

TEST_F(path_test, double_dots_go_up)
{
    EXPECT_EQ(absolute("/a/b/.."), "/a");
    EXPECT_EQ(absolute("/a/.."), "/");
    EXPECT_EQ(absolute("/a/../b"), "/b");
    EXPECT_EQ(absolute("/a/b/c/../../d"), "/a/d");
    EXPECT_EQ(absolute("/a/b/../.."), "/");
    EXPECT_EQ(absolute("/a/./../b/."), "/b");
    EXPECT_EQ(absolute("/a/b/../"), "/a");
    EXPECT_EQ(from("/m/c", ".."), "/m");
    EXPECT_EQ(from("/m/c", "../st"), "/m/st");
    EXPECT_EQ(from("/m", ".."), "/");
}

TEST_F(path_test, climbing_above_the_root_fails)
{
    EXPECT_EQ(absolute("/.."), "(none)");
    EXPECT_EQ(absolute("/../a"), "(none)");
    EXPECT_EQ(absolute("/a/../.."), "(none)");
    EXPECT_EQ(absolute("/a/../../b"), "(none)");
    EXPECT_EQ(from("/", ".."), "(none)");
}

TEST_F(path_test, what_only_begins_with_double_dots_fails)
{
    EXPECT_EQ(absolute("/a/..x"), "(none)");
    EXPECT_EQ(absolute("/a/..."), "(none)");
    EXPECT_EQ(absolute("/a/b/..x/.."), "(none)");
}

TEST_F(path_test, the_leftmost_double_dots_are_resolved_first)
{
    // Taken from the right, "/.." after "/b" would fail for neither.
    EXPECT_EQ(absolute("/a/../b/../c"), "/c");
    EXPECT_EQ(absolute("/../a/b/.."), "(none)");
}

TEST_F(path_test, an_entry_goes_up_to_its_list)
{
    EXPECT_EQ(absolute("/a/l[k=1]/.."), "/a/l");
    EXPECT_EQ(absolute("/a/l[k=1]/x/.."), "/a/l[k=1]");
    EXPECT_EQ(absolute("/a/l[k=1]/../.."), "/a");
    EXPECT_EQ(absolute("/a/l[k=1/2]/.."), "/a/l");
    EXPECT_EQ(absolute("/a/l[k=..]/x"), "/a/l[k=..]/x");
    EXPECT_EQ(absolute("/a/l[k='/..']/x"), "/a/l[k='\x01..']/x");
}

TEST_F(path_test, climbing_above_the_rpc_fails)
{
    enter_rpc("/m/r");
    EXPECT_EQ(absolute(".."), "(none)");
    EXPECT_EQ(absolute("/m/r/.."), "(none)");
    EXPECT_EQ(absolute("p/../.."), "(none)");
    EXPECT_EQ(absolute("p/.."), "/m/r");
    EXPECT_EQ(absolute("/m/c/.."), "/m");
    EXPECT_EQ(absolute("/m/rx/.."), "/m");
}

TEST_F(path_test, key_values_are_masked)
{
    EXPECT_EQ(absolute("/m/l[k=a/b:c]/x"), "/m/l[k=a\x01"
                                           "b\x02"
                                           "c]/x");
    EXPECT_EQ(absolute("/m/l[k='a b,c']"), "/m/l[k='a\x03"
                                           "b\x0e"
                                           "c']");
    EXPECT_EQ(absolute("/m/l[k=a//b/./c]"), "/m/l[k=a\x01\x01"
                                            "b\x01.\x01"
                                            "c]");
    // Masked already: nothing changes.
    EXPECT_EQ(absolute("/m/l[k=a\x01"
                       "b]"),
              "/m/l[k=a\x01"
              "b]");
}

TEST_F(path_test, without_workspace_or_argument)
{
    EXPECT_EQ(path_absolute(nullptr), nullptr);
    set_text(&session.pwd, nullptr);
    EXPECT_EQ(path_absolute("x"), nullptr);
    EXPECT_EQ(path_absolute("/x"), nullptr);
}

TEST_F(path_test, below_a_list_stand_its_entries)
{
    EXPECT_EQ(from("/m/c/l", "l[name=a]"), "/m/c/l[name=a]");
    EXPECT_EQ(from("/m/c/l", "l[name=a]/v"), "/m/c/l[name=a]/v");
    EXPECT_EQ(from("/m/c/l", "./l[name=a]"), "/m/c/l[name=a]");
    EXPECT_EQ(from("/m/c/l", "v"), "(none)");
    EXPECT_EQ(from("/m/c/l", "l"), "(none)");
    EXPECT_EQ(from("/m/c/l", "lx[name=a]"), "(none)");
    EXPECT_EQ(from("/m/c/l", "l2[name=a]"), "(none)");
    EXPECT_EQ(from("/m/c/l", ".."), "/m/c");
    EXPECT_EQ(from("/m/c/l", "."), "/m/c/l");
    EXPECT_EQ(from("/m/c/l", "/m/c/l[name=a]"), "/m/c/l[name=a]");
    EXPECT_EQ(from("/m/c/l", "/m/c/l/l[name=a]"), "/m/c/l[name=a]");
    EXPECT_EQ(from("/m/c/l", "/m/c/l2"), "/m/c/l2");
    EXPECT_EQ(from("/m/c/l", "/m/c/sub/z"), "/m/c/sub/z");
    EXPECT_EQ(from("/m/c/l", "/m/c/l/x"), "(none)");
}

TEST_F(path_test, below_an_entry_stand_its_children)
{
    EXPECT_EQ(from("/m/c/l[name=a]", "v"), "/m/c/l[name=a]/v");
    EXPECT_EQ(from("/m/c/l[name=a]", ".."), "/m/c/l");
    EXPECT_EQ(from("/m/c/l[name=a]/in", "in[k=1]"), "/m/c/l[name=a]/in[k=1]");
    EXPECT_EQ(from("/m/c/l[name=a/b]/in", "in[k=1/2]/w"), "/m/c/l[name=a\x01"
                                                          "b]/in[k=1\x01"
                                                          "2]/w");
    EXPECT_EQ(from("/m/c/l[name=a]/in", "w"), "(none)");
}

TEST_F(path_test, the_rule_of_lists_needs_a_record)
{
    EXPECT_EQ(from("/m/nix", "nix[k=1]"), "/m/nix/nix[k=1]");
    EXPECT_EQ(from("/m/c", "c[k=1]"), "/m/c/c[k=1]");
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

TEST_F(path_test, odd_paths_do_no_harm)
{
    for (const char *path : {"", "[", "]", "l[", "/m/l[k", "/m/l[k=", "/m/l]k=[", "/m/l[]/..",
                             "/[/..", "/]/..", "/m/l[[k=1]]/..", "'", "\"", "/'", "/m/[k=1]/.."}) {
        stand_at("/m/c");
        absolute(path);
        stand_at("/m/c/l");
        absolute(path);
        path_is_list_entry(path);
        path_listing_parent(path);
        path_parent(path);
    }
    std::string deep;
    for (int i = 0; i < 50000; i++)
        deep += "/a";
    std::string up = deep;
    for (int i = 0; i < 49999; i++)
        up += "/..";
    EXPECT_EQ(absolute(up.c_str()), "/a");
    EXPECT_EQ(absolute(std::string(100000, '/').c_str()), "/");
}

} // namespace
