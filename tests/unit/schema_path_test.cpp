// From data paths to schema paths.
#include "schema/schema_path.h"

#include "schema/command_reads.h"
#include "tests/support/shell_world.h"

namespace
{

class schema_path_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    static std::string schema_path(const char *path, path_scope scope = path_scope_session)
    {
        heap_text result = schema_path_of(path, scope);
        return result ? result.get() : "(none)";
    }
};

TEST_F(schema_path_test, short_paths_are_never_expanded)
{
    EXPECT_EQ(schema_path("/"), "/");
    EXPECT_EQ(schema_path("/m"), "/m");
    EXPECT_EQ(schema_path("/nix"), "/nix");
    EXPECT_EQ(fake_redis_reads(), 0);
}

// Of a name that is made of steps, each was asked for.
TEST_F(schema_path_test, a_path_that_is_too_deep_is_not_asked_for)
{
    std::string path = "/m";
    for (int level = 0; level < 1000; level++)
        path += "/a";
    EXPECT_EQ(schema_path(path.c_str()), "(none)");
    EXPECT_EQ(fake_redis_reads(), 0);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] error: invalid path " + path + "\r\n\n"}}));
}

TEST_F(schema_path_test, plain_paths_stay)
{
    EXPECT_EQ(schema_path("/m/c/x"), "/m/c/x");
    EXPECT_EQ(schema_path("/m/c/o:box/lid"), "/m/c/o:box/lid");
}

TEST_F(schema_path_test, predicates_are_emptied)
{
    EXPECT_EQ(schema_path("/m/c/l[name=a]"), "/m/c/l[]");
    EXPECT_EQ(schema_path("/m/c/l[name=a]/v"), "/m/c/l[]/v");
    EXPECT_EQ(schema_path("/m/c/l[name=a]/in[k=b]/w"), "/m/c/l[]/in[]/w");
    EXPECT_EQ(schema_path("/m/c/l[]"), "/m/c/l[]");
    EXPECT_EQ(schema_path("/m/c/l[name=a\x01"
                          "b\x02"
                          "c]"),
              "/m/c/l[]");
}

TEST_F(schema_path_test, choices_and_cases_are_put_in)
{
    EXPECT_EQ(schema_path("/m/c/a1"), "/m/c/ch/ca/a1");
    EXPECT_EQ(schema_path("/m/c/a2/deep"), "/m/c/ch/ca/a2/deep");
    EXPECT_EQ(schema_path("/m/c/b1"), "/m/c/ch/cb/b1");
    EXPECT_EQ(schema_path("/m/c/p1"), "/m/c/ch/cb/nest/n1/p1");
    EXPECT_EQ(schema_path("/m/c/p2"), "/m/c/ch/cb/nest/n2/p2");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(schema_path_test, choices_below_choices)
{
    fake_redis_put_node("/m/c/ch/ca/a2", "ch2", fake_choice);
    fake_redis_put_node("/m/c/ch/ca/a2/ch2", "c2", fake_case);
    fake_redis_put_node("/m/c/ch/ca/a2/ch2/c2", "low", fake_list);
    fake_redis_put_node("/m/c/ch/ca/a2/ch2/c2/low[]", "leaf", fake_leaf);
    EXPECT_EQ(schema_path("/m/c/a2/low[k=1]/leaf"), "/m/c/ch/ca/a2/ch2/c2/low[]/leaf");
    EXPECT_EQ(schema_path("/m/c/a2/low"), "/m/c/ch/ca/a2/ch2/c2/low");
}

TEST_F(schema_path_test, a_choice_right_below_the_module)
{
    fake_redis_put_node("/m", "mch", fake_choice);
    fake_redis_put_node("/m/mch", "mca", fake_case);
    fake_redis_put_node("/m/mch/mca", "o:thing", fake_container);
    fake_redis_put_node("/m/mch/mca/o:thing", "t", fake_leaf);
    EXPECT_EQ(schema_path("/m/o:thing/t"), "/m/mch/mca/o:thing/t");
}

TEST_F(schema_path_test, a_list_inside_a_case)
{
    fake_redis_put_node("/m/c/ch/cb", "cl", fake_list);
    fake_redis_put_node("/m/c/ch/cb/cl[]", "k", fake_leaf);
    EXPECT_EQ(schema_path("/m/c/cl[k=1]/k"), "/m/c/ch/cb/cl[]/k");
}

TEST_F(schema_path_test, paths_that_lead_nowhere)
{
    EXPECT_EQ(schema_path("/m/c/nix"), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] error: invalid path /m/c/nix\r\n\n"}}));
    EXPECT_EQ(schema_path("/nix/c"), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] error: invalid path /nix/c\r\n\n"}}));
    EXPECT_EQ(schema_path("/m/c/x/below"), "(none)");
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] error: invalid path /m/c/x/below\r\n\n"}}));
    EXPECT_EQ(schema_path("/m/c/a1/nix"), "(none)");
    EXPECT_EQ(schema_path("/m/%n/x"), "(none)");
    EXPECT_EQ(schema_path(nullptr), "(none)");
    EXPECT_EQ(schema_path("m/c"), "(none)");
    EXPECT_EQ(schema_path(""), "(none)");
}

TEST_F(schema_path_test, the_rpc_s_input_level_is_put_in)
{
    enter_rpc("/m/r");
    EXPECT_EQ(schema_path("/m/r"), "/m/r/input");
    EXPECT_EQ(schema_path("/m/r/p"), "/m/r/input/p");
    EXPECT_EQ(schema_path("/m/r/pl[n=1]/d"), "/m/r/input/pl[]/d");
    EXPECT_EQ(schema_path("/m/c/a1"), "/m/c/ch/ca/a1");
    EXPECT_EQ(schema_path("/m"), "/m");
    // "/m/rx" only begins like the rpc.
    fake_redis_put_node("/m", "rx", fake_container);
    EXPECT_EQ(schema_path("/m/rx"), "/m/rx");
}

// As of one moment, like what is read.
TEST_F(schema_path_test, what_a_command_has_found_it_does_not_look_for_again)
{
    const command_reads reads;
    EXPECT_EQ(schema_path("/m/c/l[name=a]/v"), "/m/c/l[]/v");
    EXPECT_EQ(schema_path("/m/c/a1"), "/m/c/ch/ca/a1");
    enter_rpc("/m/c");
    EXPECT_EQ(schema_path("/m/c/a1", path_scope_configuration), "/m/c/ch/ca/a1");
    EXPECT_EQ(schema_path("/m/c/a1"), "(none)"); // there is no such input
    enter_rpc("/m/r");
    EXPECT_EQ(schema_path("/m/r/pl[n=1]"), "/m/r/input/pl[]");
    fake_redis_remove("/m/c/l[]");
    fake_redis_remove("/m/c/ch/ca");
    EXPECT_EQ(schema_path("/m/c/l[name=b]/v"), "/m/c/l[]/v");
    EXPECT_EQ(schema_path("/m/c/a1"), "/m/c/ch/ca/a1");
    EXPECT_EQ(schema_path("/m/r/pl[n=2]"), "/m/r/input/pl[]");
    command_reads_forget();
    EXPECT_EQ(schema_path("/m/c/l[name=b]/v"), "(none)");
    EXPECT_EQ(schema_path("/m/c/a1"), "(none)");
    EXPECT_EQ(schema_path("/m/r/pl[n=2]"), "/m/r/input/pl[]");
}

TEST_F(schema_path_test, configuration_paths_know_no_rpc)
{
    enter_rpc("/m/r");
    EXPECT_EQ(schema_path("/m/r", path_scope_configuration), "/m/r");
    EXPECT_EQ(schema_path("/m/r/p", path_scope_configuration), "(none)");
    EXPECT_EQ(schema_path("/m/c/l[name=1]/v", path_scope_configuration), "/m/c/l[]/v");
}

TEST_F(schema_path_test, an_rpc_without_input_has_no_schema_path)
{
    enter_rpc("/m/bare");
    EXPECT_EQ(schema_path("/m/bare"), "(none)");
    EXPECT_EQ(schema_path("/m/bare/p"), "(none)");
}

TEST_F(schema_path_test, a_choice_inside_the_input)
{
    fake_redis_put_node("/m/r/input", "when", fake_choice);
    fake_redis_put_node("/m/r/input/when", "now", fake_case);
    fake_redis_put_node("/m/r/input/when/now", "at", fake_leaf);
    enter_rpc("/m/r");
    EXPECT_EQ(schema_path("/m/r/at"), "/m/r/input/when/now/at");
}

TEST_F(schema_path_test, damaged_choices_are_passed_over)
{
    fake_redis_put("/m/c", "tiny", "x");
    fake_redis_put_node("/m/c", "hollow", fake_choice); // has no hash
    fake_redis_put("/m/c/ch", "tiny", "x");
    fake_redis_put_node("/m/c/ch", "leaf", fake_leaf); // no case
    fake_redis_put_node("/m/c/ch/leaf", "q", fake_leaf);
    EXPECT_EQ(schema_path("/m/c/p2"), "/m/c/ch/cb/nest/n2/p2");
    EXPECT_EQ(schema_path("/m/c/q"), "(none)");
}

TEST_F(schema_path_test, odd_brackets_do_no_harm)
{
    for (const char *path : {"/m/c/l[", "/m/c/l]", "/m/c/l[[a]]", "/m/c/l[a]b", "/m/[/]", "/[",
                             "/]", "/m/c/l[name=a]]/v", "/m/c/l[name=a/v", "//", "/m//c", "/m/c/"})
        schema_path(path);
}

} // namespace
