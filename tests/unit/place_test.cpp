// Places: what an operand names in the workspace, and what the schema says of it.
#include "schema/place.h"

#include "schema/path.h"
#include "tests/support/shell_world.h"

namespace
{

class place_test : public shell_world
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

    static place at(const char *path)
    {
        return place_at(path, path_scope_session);
    }

    static std::string keys_of(const char *list_path)
    {
        key_names keys;
        if (list_keys(at(list_path), &keys) != 0)
            return "(none)";
        std::string text;
        for (size_t i = 0; i < keys.count; i++)
            text += std::string(keys.name[i]) + ";";
        return text;
    }
};

TEST_F(place_test, absolute_arguments_are_taken_as_they_are)
{
    EXPECT_EQ(from("/m/c", "/m/c/x"), "/m/c/x");
    EXPECT_EQ(from("/m/c", "/"), "/");
    EXPECT_EQ(from("/m/c", "/nix/nowhere"), "/nix/nowhere");
}

TEST_F(place_test, relative_arguments_are_joined)
{
    EXPECT_EQ(from("/m/c", "x"), "/m/c/x");
    EXPECT_EQ(from("/m/c", "./x"), "/m/c/x");
    EXPECT_EQ(from("/", "m"), "/m");
    EXPECT_EQ(from("/", "./m/c"), "/m/c");
    EXPECT_EQ(from("/m/c", "sub/z"), "/m/c/sub/z");
    EXPECT_EQ(from("/m/c", "o:box/lid"), "/m/c/o:box/lid");
}

TEST_F(place_test, slashes_collapse)
{
    EXPECT_EQ(absolute("/a//b/"), "/a/b");
    EXPECT_EQ(absolute("///a///b///"), "/a/b");
    EXPECT_EQ(absolute("//"), "/");
    EXPECT_EQ(absolute("/////"), "/");
    EXPECT_EQ(absolute("/"), "/");
}

TEST_F(place_test, single_dots_vanish)
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

TEST_F(place_test, a_component_that_starts_with_a_dot_stays)
{
    EXPECT_EQ(absolute("/a/.b"), "/a/.b");
    EXPECT_EQ(absolute("/.b/c."), "/.b/c.");
}

TEST_F(place_test, double_dots_go_up)
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

TEST_F(place_test, climbing_above_the_root_fails)
{
    EXPECT_EQ(absolute("/.."), "(none)");
    EXPECT_EQ(absolute("/../a"), "(none)");
    EXPECT_EQ(absolute("/a/../.."), "(none)");
    EXPECT_EQ(absolute("/a/../../b"), "(none)");
    EXPECT_EQ(from("/", ".."), "(none)");
}

TEST_F(place_test, what_only_begins_with_double_dots_fails)
{
    EXPECT_EQ(absolute("/a/..x"), "(none)");
    EXPECT_EQ(absolute("/a/..."), "(none)");
    EXPECT_EQ(absolute("/a/b/..x/.."), "(none)");
}

TEST_F(place_test, the_leftmost_double_dots_are_resolved_first)
{
    // Taken from the right, "/.." behind "/b" would fail for neither.
    EXPECT_EQ(absolute("/a/../b/../c"), "/c");
    EXPECT_EQ(absolute("/../a/b/.."), "(none)");
}

TEST_F(place_test, an_entry_goes_up_to_its_list)
{
    EXPECT_EQ(absolute("/a/l[k=1]/.."), "/a/l");
    EXPECT_EQ(absolute("/a/l[k=1]/x/.."), "/a/l[k=1]");
    EXPECT_EQ(absolute("/a/l[k=1]/../.."), "/a");
    EXPECT_EQ(absolute("/a/l[k=1/2]/.."), "/a/l");
    EXPECT_EQ(absolute("/a/l[k=..]/x"), "/a/l[k=..]/x");
    EXPECT_EQ(absolute("/a/l[k='/..']/x"), "/a/l[k='\x01..']/x");
}

TEST_F(place_test, climbing_above_the_rpc_fails)
{
    enter_rpc("/m/r");
    EXPECT_EQ(absolute(".."), "(none)");
    EXPECT_EQ(absolute("/m/r/.."), "(none)");
    EXPECT_EQ(absolute("p/../.."), "(none)");
    EXPECT_EQ(absolute("p/.."), "/m/r");
    EXPECT_EQ(absolute("/m/c/.."), "/m");
    EXPECT_EQ(absolute("/m/rx/.."), "/m");
}

TEST_F(place_test, key_values_are_masked)
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

TEST_F(place_test, without_workspace_or_argument)
{
    EXPECT_EQ(path_absolute(nullptr), nullptr);
    set_text(&session.pwd, nullptr);
    EXPECT_EQ(path_absolute("x"), nullptr);
    EXPECT_EQ(path_absolute("/x"), nullptr);
}

TEST_F(place_test, below_a_list_stand_its_entries)
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

TEST_F(place_test, below_an_entry_stand_its_children)
{
    EXPECT_EQ(from("/m/c/l[name=a]", "v"), "/m/c/l[name=a]/v");
    EXPECT_EQ(from("/m/c/l[name=a]", ".."), "/m/c/l");
    EXPECT_EQ(from("/m/c/l[name=a]/in", "in[k=1]"), "/m/c/l[name=a]/in[k=1]");
    EXPECT_EQ(from("/m/c/l[name=a/b]/in", "in[k=1/2]/w"), "/m/c/l[name=a\x01"
                                                          "b]/in[k=1\x01"
                                                          "2]/w");
    EXPECT_EQ(from("/m/c/l[name=a]/in", "w"), "(none)");
}

TEST_F(place_test, the_rule_of_lists_needs_a_record)
{
    EXPECT_EQ(from("/m/nix", "nix[k=1]"), "/m/nix/nix[k=1]");
    EXPECT_EQ(from("/m/c", "c[k=1]"), "/m/c/c[k=1]");
}

TEST_F(place_test, odd_paths_do_no_harm)
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

TEST_F(place_test, a_node)
{
    const place leaf = at("/m/c/p1");
    EXPECT_STREQ(leaf.path.get(), "/m/c/p1");
    EXPECT_STREQ(leaf.schema_path.get(), "/m/c/ch/cb/nest/n1/p1");
    EXPECT_TRUE(place_is_known(leaf));
    EXPECT_EQ(place_kind(leaf), 2U);
    EXPECT_TRUE(place_takes_value(leaf));
    EXPECT_TRUE(place_is_config(leaf));
    EXPECT_TRUE(place_takes_value(at("/m/c/ll")));
    const place list = at("/m/c/l");
    EXPECT_EQ(place_kind(list), 4U);
    EXPECT_FALSE(place_takes_value(list));
    EXPECT_FALSE(place_is_config(at("/m/state")));
}

TEST_F(place_test, a_module)
{
    const place module = at("/m");
    EXPECT_TRUE(place_is_known(module));
    EXPECT_EQ(module.record, nullptr);
    EXPECT_EQ(place_kind(module), 0U);
    EXPECT_FALSE(place_is_config(module));
    EXPECT_TRUE(place_is_known(at("/m[k=v]")));
    EXPECT_FALSE(place_is_known(at("/nix")));
    EXPECT_FALSE(place_is_known(at("/")));
}

TEST_F(place_test, none)
{
    const place unknown = at("/m/c/nix");
    EXPECT_STREQ(unknown.path.get(), "/m/c/nix");
    EXPECT_EQ(unknown.schema_path, nullptr);
    EXPECT_FALSE(place_is_known(unknown));
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] error: invalid path /m/c/nix\r\n\n"}}));
    const place null = at(nullptr);
    EXPECT_EQ(null.path, nullptr);
    EXPECT_EQ(null.schema_path, nullptr);
    EXPECT_FALSE(place_is_known(null));
    EXPECT_EQ(place_of("..").path, nullptr);
}

TEST_F(place_test, outside_of_the_rpc_nothing_is_looked_up)
{
    enter_rpc("/m/r");
    EXPECT_STREQ(place_within_rpc("p").schema_path.get(), "/m/r/input/p");
    EXPECT_STREQ(place_within_rpc("/m/r").schema_path.get(), "/m/r/input");
    EXPECT_STREQ(place_of("/m/c/x").schema_path.get(), "/m/c/x");
    const int reads = fake_redis_reads();
    EXPECT_EQ(place_within_rpc("/m/c/x").schema_path, nullptr);
    EXPECT_EQ(place_within_rpc("/m/nix/nix").schema_path, nullptr);
    EXPECT_EQ(fake_redis_reads(), reads);
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(place_test, what_lists_it)
{
    EXPECT_STREQ(place_listing_parent(at("/m/c/l[name=a]")).schema_path.get(), "/m/c/l");
    EXPECT_STREQ(place_listing_parent(at("/m/c/p1")).schema_path.get(), "/m/c");
    EXPECT_STREQ(place_listing_parent(at("/m/c")).path.get(), "/m");
    EXPECT_STREQ(place_listing_parent(at("/m")).path.get(), "/");
}

TEST_F(place_test, keys_in_the_order_of_the_database)
{
    EXPECT_EQ(keys_of("/m/c/l"), "name;");
    EXPECT_EQ(keys_of("/m/c/l2"), "k2;k1;");
    EXPECT_EQ(keys_of("/m/c/l[name=x]/in"), "k;");
    EXPECT_EQ(keys_of("/m/c/l[name=x]/in[k=y]"), "k;"); // an entry has those of its list
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(place_test, keys_of_a_list_inside_a_case)
{
    fake_redis_put_node("/m/c/ch/cb", "cl", fake_list);
    fake_redis_put_node("/m/c/ch/cb/cl", "k", fake_leaf);
    EXPECT_EQ(keys_of("/m/c/cl"), "k;");
    EXPECT_EQ(keys_of("/m/c/cl[k=1]"), "k;");
}

TEST_F(place_test, keys_that_cannot_be_read)
{
    fake_redis_put_node("/m", "keyless", fake_list);
    EXPECT_EQ(keys_of("/m/keyless"), "(none)");
    fake_redis_put_node("/m/keyless", "a/b", fake_leaf); // levels that are made up
    EXPECT_EQ(keys_of("/m/keyless"), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] Failed to get /m/keyless from db\n"}}));
    EXPECT_EQ(keys_of("/m/nix"), "(none)");
    captured_log_take();
    fake_redis_fail_after(0);
    EXPECT_EQ(keys_of("/m/c/l"), "(none)");
}

TEST_F(place_test, odd_brackets_do_no_harm)
{
    for (const char *path :
         {"/m/c/l[", "/m/c/l]", "/m/c/l[[a]]", "/m/c/l[a]b", "/m/[/]", "/[", "/]",
          "/m/c/l[name=a]]/v", "/m/c/l[name=a/v", "//", "/m//c", "/m/c/"}) {
        place_is_known(at(path));
        keys_of(path);
    }
}

} // namespace
