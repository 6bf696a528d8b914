// The command ls.
#include "commands/commands.h"

#include <stdlib.h>

#include "tests/support/profile_world.h"

namespace
{

class listing_test : public profile_world
{
  protected:
    static void SetUpTestSuite()
    {
        profile_world::SetUpTestSuite();
        unsetenv("COLUMNS");
    }

    static std::string ls_at(const char *path)
    {
        stand_at(path);
        return output_of(cmd_ls, "ls");
    }
};

TEST_F(listing_test, modules)
{
    EXPECT_EQ(ls_at("/"), "\033[01;34mm\033[0m  \033[01;34mo\033[0m\n");
}

TEST_F(listing_test, the_colour_of_each_kind)
{
    const char *colors[] = {"01;34", "01;34", "0", "0", "01;36", "",  "",
                            "01;32", "",      "",  "0", "0",     "0", "0"};
    fake_redis_put_node("/m", "kinds", fake_container);
    for (int kind = 0; kind < 14; kind++) {
        if (kind == fake_choice)
            continue;
        fake_redis_remove("/m/kinds");
        fake_redis_put_node("/m/kinds", "node", kind);
        EXPECT_EQ(ls_at("/m/kinds"), std::string("\033[") + colors[kind] + "mnode\033[0m\n")
            << kind;
    }
}

TEST_F(listing_test, nothing_below_prints_nothing)
{
    EXPECT_EQ(ls_at("/m/c/x"), "");
    fake_redis_put_node("/m", "hollow", fake_container);
    EXPECT_EQ(ls_at("/m/hollow"), "");
}

TEST_F(listing_test, a_choice_is_one_item)
{
    fake_redis_put_node("/m", "k", fake_container);
    fake_redis_put_node("/m/k", "ch", fake_choice);
    fake_redis_put_node("/m/k/ch", "one", fake_case);
    fake_redis_put_node("/m/k/ch", "two", fake_case);
    fake_redis_put_node("/m/k/ch/one", "b", fake_leaf);
    fake_redis_put_node("/m/k/ch/one", "a", fake_container);
    fake_redis_put_node("/m/k/ch/two", "c", fake_leaf);
    const std::string k = "<k xmlns=\"urn:m\">";
    serve({data_reply(k + "<a/></k>"), data_reply("")});
    EXPECT_EQ(ls_at("/m/k"), "( (\033[01;34m a\033[0m\033[0m b\033[0m)* | (\033[0m c\033[0m) )\n");
    serve({data_reply(""), data_reply(""), data_reply(k + "<c>1</c></k>")});
    EXPECT_EQ(ls_at("/m/k"), "( (\033[01;34m a\033[0m\033[0m b\033[0m) | (\033[0m c\033[0m)* )\n");
    serve({data_reply(""), data_reply(""), data_reply("")});
    EXPECT_EQ(ls_at("/m/k"), "( (\033[01;34m a\033[0m\033[0m b\033[0m) | (\033[0m c\033[0m) )\n");
}

TEST_F(listing_test, of_several_active_cases_the_first_is_starred)
{
    fake_redis_put_node("/m", "k", fake_container);
    fake_redis_put_node("/m/k", "ch", fake_choice);
    fake_redis_put_node("/m/k/ch", "one", fake_case);
    fake_redis_put_node("/m/k/ch", "two", fake_case);
    fake_redis_put_node("/m/k/ch", "three", fake_case);
    fake_redis_put_node("/m/k/ch/one", "a", fake_leaf);
    fake_redis_put_node("/m/k/ch/two", "b", fake_leaf);
    fake_redis_put_node("/m/k/ch/three", "c", fake_leaf);
    const std::string both = data_reply("<k xmlns=\"urn:m\"><b/><c/></k>");
    serve({both, both, both});
    EXPECT_EQ(ls_at("/m/k"), "( (\033[0m a\033[0m) | (\033[0m b\033[0m)* | (\033[0m c\033[0m) )\n");
}

TEST_F(listing_test, nested_choices_follow_the_nodes_of_their_case)
{
    fake_redis_put_node("/m", "k", fake_container);
    fake_redis_put_node("/m/k", "ch", fake_choice);
    fake_redis_put_node("/m/k/ch", "one", fake_case);
    fake_redis_put_node("/m/k/ch/one", "in", fake_choice);
    fake_redis_put_node("/m/k/ch/one", "a", fake_leaf);
    fake_redis_put_node("/m/k/ch/one/in", "p", fake_case);
    fake_redis_put_node("/m/k/ch/one/in", "q", fake_case);
    fake_redis_put_node("/m/k/ch/one/in/p", "b", fake_list);
    fake_redis_put_node("/m/k/ch/one/in/q", "c", fake_leaf_list);
    const std::string none = data_reply("");
    serve({none, none, none, none});
    EXPECT_EQ(ls_at("/m/k"),
              "( (\033[0m a\033[0m( (\033[01;36m b\033[0m) | (\033[0m c\033[0m) )) )\n");
}

TEST_F(listing_test, choices_without_cases_and_empty_cases)
{
    fake_redis_put_node("/m", "k", fake_container);
    fake_redis_put_node("/m/k", "ch", fake_choice);
    fake_redis_put_node("/m/k/ch", "one", fake_case);
    EXPECT_EQ(ls_at("/m/k"), "( () )\n");
    fake_redis_put("/m/k/ch", "one", "too short");
    EXPECT_EQ(ls_at("/m/k"), "(  )\n");
}

TEST_F(listing_test, entries_are_shown_unmasked)
{
    ASSERT_EQ(tree_stage_config("/m/c/l[name=s\x01t]", nullptr, operation_set), 0);
    serve({data_reply("<c xmlns=\"urn:m\"><l><name>a:b c</name></l></c>")});
    EXPECT_EQ(ls_at("/m/c/l"),
              "\033[01;36ml[name=\"a:b c\"]\033[0m  \033[01;36ml[name=s/t]\033[0m\n");
}

TEST_F(listing_test, in_rpc_mode)
{
    enter_rpc("/m/r");
    EXPECT_EQ(ls_at("/m/r"), "\033[0mp\033[0m  \033[01;34mpc\033[0m  \033[01;36mpl\033[0m\n");
}

TEST_F(listing_test, takes_no_word)
{
    EXPECT_TRUE(refused(cmd_ls, "ls x"));
    EXPECT_EQ(fake_redis_reads(), 0);
}

TEST_F(listing_test, a_failure_is_logged)
{
    EXPECT_EQ(ls_at("/m/nix"), "");
    EXPECT_EQ(captured_log_take().back(),
              std::make_pair(11, std::string("[ERROR] error:get ls node \r\n\n")));
}

TEST_F(listing_test, one_shot_sees_what_the_profile_stages)
{
    write_file(profile_name,
               "[pwd]\n/m/c/l\n\n[config]\nset /m/c/l[name=s]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    session.oneshot = 1;
    serve({data_reply("")});
    EXPECT_EQ(output_of(cmd_ls, "ls"), "\033[01;36ml[name=s]\033[0m\n");
}

TEST_F(listing_test, many_children)
{
    for (int i = 0; i < 2000; i++)
        fake_redis_put_node("/m/big", "n" + std::to_string(i), fake_leaf);
    fake_redis_put_node("/m", "big", fake_container);
    std::string printed = ls_at("/m/big");
    EXPECT_NE(printed.find("\033[0mn1999\033[0m"), std::string::npos);
    EXPECT_EQ(printed.substr(0, 10), "\033[0mn0\033[0m");
}

} // namespace
