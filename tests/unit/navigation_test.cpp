// The commands cd and pwd.
#include "commands/commands.h"

#include "tests/support/profile_world.h"

namespace
{

class navigation_test : public profile_world
{
  protected:
    static std::string cd(const std::string &argument)
    {
        return output_of(cmd_cd, "cd " + argument);
    }

    // Goes from one place to another; the new workspace follows what is printed.
    static std::string from(const char *workspace, const std::string &argument)
    {
        stand_at(workspace);
        std::string printed = cd(argument);
        return printed + session.pwd;
    }

    // The server has this data at the nodes of the choice in /m/c.
    void serve_data(const std::string &data)
    {
        serve(std::vector<std::string>(8, data_reply("<c xmlns=\"urn:m\">" + data + "</c>")));
    }

    std::string with_data(const std::string &data, const std::string &argument)
    {
        serve_data(data);
        return from("/m/c", argument);
    }

    static testing::AssertionResult stays_at(const char *workspace, const std::string &argument)
    {
        stand_at(workspace);
        return refused(cmd_cd, "cd " + argument);
    }

    testing::AssertionResult stays_with_data(const std::string &data, const std::string &argument)
    {
        serve_data(data);
        return stays_at("/m/c", argument);
    }
};

TEST_F(navigation_test, pwd)
{
    stand_at("/m/c/l[name='a b']");
    EXPECT_EQ(output_of(cmd_pwd, "pwd"), "/m/c/l[name='a b']\r\n");
    stand_at("/%n%s");
    EXPECT_EQ(output_of(cmd_pwd, "pwd"), "/%n%s\r\n");
}

TEST_F(navigation_test, the_number_of_words)
{
    EXPECT_TRUE(refused(cmd_cd, "cd"));
    EXPECT_TRUE(refused(cmd_cd, "cd m m"));
    EXPECT_TRUE(refused(cmd_pwd, "pwd x"));
}

TEST_F(navigation_test, one_level_down)
{
    EXPECT_EQ(from("/", "m"), "/m");
    EXPECT_STREQ(session.prompt, "\n/m$ ");
    EXPECT_EQ(from("/", "/m"), "/m");
    EXPECT_EQ(from("/", "./m"), "/m");
    EXPECT_EQ(from("/m", "c"), "/m/c");
    EXPECT_EQ(from("/m", "c/"), "/m/c");
    EXPECT_EQ(from("/m", "./c/."), "/m/c");
}

TEST_F(navigation_test, one_level_up)
{
    EXPECT_EQ(from("/m/c", ".."), "/m");
    EXPECT_EQ(from("/m", ".."), "/");
    EXPECT_EQ(from("/m/c/l[name=a]", ".."), "/m/c/l");
    EXPECT_EQ(from("/m/c/l[name=a/b]/in", ".."), "/m/c/l[name=a/b]");
    EXPECT_EQ(from("/m/c/l", ".."), "/m/c");
    EXPECT_TRUE(stays_at("/", ".."));
    EXPECT_EQ(from("/m/c", "../"), "/m");
    EXPECT_EQ(from("/m/c", "../.."), "/");
}

TEST_F(navigation_test, the_root)
{
    EXPECT_EQ(from("/m/c", "/"), "/");
    EXPECT_EQ(from("/m/c", "/."), "/");
    EXPECT_EQ(from("/", "/"), "/");
    EXPECT_EQ(from("/m/c", "//"), "/");
    EXPECT_EQ(from("/m/c", "/./"), "/");
}

TEST_F(navigation_test, staying)
{
    EXPECT_EQ(from("/m/c", "."), "/m/c");
    EXPECT_EQ(from("/m/c", "./"), "/m/c");
    EXPECT_EQ(from("/m", "/m"), "/m");
    EXPECT_EQ(from("/m", "/m/"), "/m");
}

TEST_F(navigation_test, two_levels_are_refused)
{
    for (const char *argument : {"m/c", "/m/c", "/m/c/", "m/c/l", "./m/c", "../../..", "/../m",
                                 "//m//c", "m/./c", "../m/c", "m/../c"})
        EXPECT_TRUE(stays_at("/", argument));
}

TEST_F(navigation_test, slashes_in_key_values_are_no_levels)
{
    ASSERT_EQ(tree_stage_config("/m/c/l[name=a\x01"
                                "b\x01"
                                "c\x02"
                                "d]",
                                nullptr, operation_set),
              0);
    serve({data_reply("")});
    EXPECT_EQ(from("/m/c/l", "l[name=a/b/c:d]"), "/m/c/l[name=a/b/c:d]");
    EXPECT_STREQ(session.prompt, "\n/m/c/l[name=a/b/c:d]$ ");
}

TEST_F(navigation_test, up_and_down_in_one_word)
{
    connect();
    fake_redis_remove("/m/c/ch");
    fake_redis_put("/m/c", "ch", fake_node_record(fake_container)); // no choice to be judged
    EXPECT_EQ(from("/m/c/l", "../sub"), "/m/c/sub");
    EXPECT_EQ(from("/m/c", "../state"), "/m/state");
    // The lengths decide which way it is taken to go.
    EXPECT_TRUE(stays_at("/m/c/sub", "../l"));
}

TEST_F(navigation_test, what_is_not_there)
{
    EXPECT_TRUE(stays_at("/", "nix"));
    EXPECT_TRUE(stays_at("/m", "nix"));
    EXPECT_TRUE(stays_at("/m", "/nix"));
    EXPECT_TRUE(stays_at("/m", "..x"));
    EXPECT_TRUE(stays_at("/m", "%n%s"));
    EXPECT_TRUE(stays_at("/m", "nix['a b']"));
}

TEST_F(navigation_test, a_shorter_path_that_does_not_hold_the_workspace)
{
    EXPECT_TRUE(stays_at("/m/c", "/o"));
    EXPECT_EQ(from("/m/c", "/m"), "/m");
    fake_redis_put_module("mo", "urn:mo");
    EXPECT_TRUE(stays_at("/mo/x", "/m"));
}

TEST_F(navigation_test, the_refusal_shows_what_was_typed)
{
    fake_redis_put_node("/m/c", "a-rather-long-name", fake_container);
    stand_at("/m/c/a-rather-long-name");
    EXPECT_EQ(cd("../l[name='a b/c']"), "error: node:../l[name='a b/c']  is not existed.\r\n");
}

TEST_F(navigation_test, an_equally_long_path_counts_as_not_holding_it)
{
    EXPECT_TRUE(stays_at("/o", "/m"));
    EXPECT_TRUE(stays_at("/m/c", "/m/c"));
}

TEST_F(navigation_test, a_longer_path_elsewhere)
{
    EXPECT_TRUE(stays_at("/m", "/oo"));
    fake_redis_put_module("oo", "urn:oo");
    EXPECT_EQ(from("/m", "/oo"), "/oo");
}

TEST_F(navigation_test, leaves_and_rpcs_cannot_be_entered)
{
    EXPECT_TRUE(stays_at("/m", "top"));
    EXPECT_TRUE(stays_at("/m", "r"));
    EXPECT_TRUE(stays_at("/m/c/o:box", "lid"));
}

TEST_F(navigation_test, other_kinds_may_be_entered)
{
    EXPECT_EQ(with_data("<a1/><b1/><p1/>", "ll"), "/m/c/ll");
    EXPECT_EQ(with_data("", "o:box"), "/m/c/o:box");
    EXPECT_EQ(from("/m", "state"), "/m/state");
    fake_redis_put_node("/m", "odd", 9);
    EXPECT_EQ(from("/m", "odd"), "/m/odd");
}

TEST_F(navigation_test, children_of_cases)
{
    EXPECT_EQ(with_data("", "a2"), "/m/c/a2");
    EXPECT_EQ(with_data("<a1>1</a1>", "a2"), "/m/c/a2");
    EXPECT_TRUE(stays_with_data("<b1>1</b1>", "a2"));
    EXPECT_TRUE(stays_with_data("<p1>1</p1>", "a2"));
    EXPECT_TRUE(stays_with_data("<a2/>", "b1"));
    EXPECT_TRUE(stays_with_data("", "b1"));
}

TEST_F(navigation_test, choices_and_cases_have_no_names_here)
{
    EXPECT_TRUE(stays_with_data("", "ch"));
    stand_at("/m/c/ch");
    EXPECT_TRUE(refused(cmd_cd, "cd ca"));
}

TEST_F(navigation_test, list_entries)
{
    ASSERT_EQ(tree_stage_config("/m/c/l[name=s]", nullptr, operation_set), 0);
    const std::string reply =
        data_reply("<c xmlns=\"urn:m\"><l><name>a</name></l><l><name>x y</name></l></c>");
    serve(std::vector<std::string>(6, reply));
    EXPECT_EQ(from("/m/c/l", "l[name=a]"), "/m/c/l[name=a]");
    EXPECT_EQ(from("/m/c/l", "l[name=s]"), "/m/c/l[name=s]");
    EXPECT_EQ(from("/m/c/l", "l[name=\"x y\"]"), "/m/c/l[name=\"x y\"]");
    EXPECT_TRUE(stays_at("/m/c/l", "l[name=nix]"));
    EXPECT_EQ(from("/m/c", "l[name=a]"), "/m/c/l[name=a]");
    EXPECT_TRUE(stays_at("/m/c/l", "v"));
}

TEST_F(navigation_test, below_an_entry)
{
    EXPECT_EQ(from("/m/c/l[name=a/b:c]", "in"), "/m/c/l[name=a/b:c]/in");
    EXPECT_TRUE(stays_at("/m/c/l[name=a]", "v"));
    EXPECT_TRUE(stays_at("/m/c/l[name=a]", "nix"));
}

TEST_F(navigation_test, a_parent_whose_children_cannot_be_had)
{
    fake_redis_put_node("/m/c/sub", "hollow", fake_choice);
    fake_redis_put_node("/m/c/sub", "deeper", fake_container);
    EXPECT_TRUE(stays_at("/m/c/sub", "deeper"));
}

TEST_F(navigation_test, in_rpc_mode)
{
    enter_rpc("/m/r");
    EXPECT_EQ(cd("pc"), "");
    EXPECT_STREQ(session.pwd, "/m/r/pc");
    EXPECT_STREQ(session.prompt, "\n[r]pc$ ");
    EXPECT_EQ(cd("/"), "");
    EXPECT_STREQ(session.pwd, "/m/r");
    EXPECT_STREQ(session.prompt, "\n[r]$ ");
    EXPECT_TRUE(refused(cmd_cd, "cd .."));
    EXPECT_TRUE(refused(cmd_cd, "cd /m"));
    EXPECT_TRUE(refused(cmd_cd, "cd /o"));
    EXPECT_TRUE(refused(cmd_cd, "cd p"));
    EXPECT_EQ(cd("pl"), "");
    EXPECT_TRUE(refused(cmd_cd, "cd pl[n=1]"));
    ASSERT_EQ(tree_stage_rpc("/m/r/pl[n=1]", nullptr, operation_set), 0);
    EXPECT_EQ(cd("pl[n=1]"), "");
    EXPECT_STREQ(session.pwd, "/m/r/pl[n=1]");
    EXPECT_EQ(cd("/."), "");
    EXPECT_STREQ(session.pwd, "/m/r");
}

TEST_F(navigation_test, one_shot_sees_what_the_profile_stages)
{
    write_file(profile_name,
               "[pwd]\n/m/c/l\n\n[config]\nset /m/c/l[name=s]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    session.oneshot = 1;
    serve({data_reply("")});
    EXPECT_EQ(cd("l[name=s]"), "");
    EXPECT_STREQ(session.pwd, "/m/c/l[name=s]");
    EXPECT_EQ(profile(), "[pwd]\n/m/c/l[name=s]\n\n[config]\nset /m/c/l[name=s]\n\n[rpc]\n\n"
                         "[rpc_para]\n\n%%%\n");
}

TEST_F(navigation_test, one_shot_goes_on_after_a_bad_profile)
{
    write_file(profile_name, "rubbish\n");
    session.oneshot = 1;
    EXPECT_TRUE(refused(cmd_cd, "cd"));
    EXPECT_EQ(cd("m"), "");
    EXPECT_STREQ(session.pwd, "/m");
}

TEST_F(navigation_test, odd_arguments_do_no_harm)
{
    connect().hang_up();
    server->start();
    for (const char *workspace : {"/", "/m/c", "/m/c/l", "/m/c/l[name=a]"}) {
        for (const char *argument : {"[",
                                     "]",
                                     "l[",
                                     "l]",
                                     "l[]",
                                     "l[name",
                                     "l[name=",
                                     "l[name=a",
                                     "l[name=a]]",
                                     "'",
                                     "\"",
                                     "'/'",
                                     "l[name='a/b]",
                                     ":",
                                     "o:",
                                     ":box",
                                     "=",
                                     ",",
                                     "\x01",
                                     "\x02\x03",
                                     "...",
                                     "./..",
                                     ".[a]",
                                     "l[=]",
                                     "l[,]",
                                     "l[name=a][name=b]"}) {
            from(workspace, argument);
        }
    }
}

} // namespace
