// Running input lines: blank ones, commands, rpcs, unknown words, quit.
#include "shell/command_table.h"
#include "shell/dispatch.h"
#include "tests/support/shell_world.h"

namespace
{

class dispatch_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        command_rows_use(command_table);
        sample_schema();
    }

    // Runs a line; its result is kept.
    std::string run_in_place(char *line)
    {
        return printed_by([&] { result = dispatch(line); });
    }

    std::string run(std::string line)
    {
        return run_in_place(line.data());
    }

    int result = 99;
};

TEST_F(dispatch_test, blank_lines_run_nothing)
{
    for (const char *line : {"", " ", "   ", " \t\n\v\f\r "}) {
        EXPECT_EQ(run(line), "");
        EXPECT_EQ(result, 1);
    }
    EXPECT_EQ(fake_redis_reads(), 0);
}

TEST_F(dispatch_test, leading_white_space_is_skipped)
{
    EXPECT_EQ(run("\t\v\f\r\npwd"), "/\r\n");
    EXPECT_EQ(result, 0);
}

TEST_F(dispatch_test, any_white_space_ends_the_word)
{
    EXPECT_EQ(run("pwd\t"), "/\r\n");
    EXPECT_EQ(result, 0);
    // The splitter of the handler knows blanks only, so it sees one word.
    EXPECT_EQ(run("pwd\rx"), "/\r\n");
    EXPECT_EQ(result, 0);
}

TEST_F(dispatch_test, the_handler_gets_the_line_from_the_word_on)
{
    std::string line = "  help pwd "; // help cuts its line after each word
    run_in_place(line.data());
    EXPECT_EQ(line, std::string("  help\0pwd\0", 11));
    EXPECT_EQ(result, 0);
}

TEST_F(dispatch_test, quit_outside_rpc_mode_leaves)
{
    EXPECT_EQ(run("quit"), "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(run("  quit now"), "");
    EXPECT_EQ(result, -1);
}

TEST_F(dispatch_test, quitx_is_no_command)
{
    run("quitx");
    EXPECT_EQ(result, 1);
}

TEST_F(dispatch_test, commands_have_their_case)
{
    run("PWD");
    EXPECT_EQ(result, 1);
}

TEST_F(dispatch_test, a_path_that_is_no_rpc_runs_nothing)
{
    for (const char *line : {"m", "/m/c a", "/m/c/nix[k=\"a b\"]", "%s%n%d"}) {
        run(line);
        EXPECT_EQ(result, 1) << line;
    }
}

TEST_F(dispatch_test, an_rpc_is_entered_and_left)
{
    EXPECT_EQ(run("/m/r"), "");
    EXPECT_EQ(result, 0);
    EXPECT_STREQ(session.rpc_path, "/m/r");
    EXPECT_STREQ(session.pwd, "/m/r");
    EXPECT_STREQ(session.prompt, "\n[r]$ ");
    EXPECT_EQ(run("set p 1"), "");
    EXPECT_EQ(result, 0);
    ASSERT_NE(session.rpc_tree.root, nullptr);
    run("quit");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(session.rpc_path, nullptr);
    EXPECT_EQ(session.rpc_tree.root, nullptr);
    EXPECT_STREQ(session.pwd, "/m");
    EXPECT_STREQ(session.prompt, "\n/m$ ");
    EXPECT_EQ(run("quit"), "");
    EXPECT_EQ(result, -1);
}

TEST_F(dispatch_test, quit_in_rpc_mode_keeps_the_configuration)
{
    run("set /m/c/x 1");
    run("/m/r");
    run("quit with words");
    EXPECT_EQ(session.rpc_path, nullptr);
    ASSERT_NE(session.config_tree.root, nullptr);
}

TEST_F(dispatch_test, an_rpc_with_more_words_changes_nothing)
{
    EXPECT_EQ(run("/m/r p 1"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(session.rpc_path, nullptr);
    EXPECT_STREQ(session.pwd, "/");
}

TEST_F(dispatch_test, no_rpc_is_entered_from_rpc_mode)
{
    run("/m/r");
    run("/m/r");
    EXPECT_EQ(result, 1);
    run("/m/bare");
    EXPECT_EQ(result, 1);
    EXPECT_STREQ(session.rpc_path, "/m/r");
}

TEST_F(dispatch_test, every_command_of_the_table_is_found)
{
    for (int row = 0; row < command_count; row++) {
        const std::string name = command_table[row].name;
        run(name + " a b c");
        EXPECT_EQ(result, name == "quit" ? -1 : 0) << name;
    }
}

TEST_F(dispatch_test, a_long_word_is_reported_whole)
{
    std::string word(100000, 'w');
    EXPECT_EQ(run(word), "error parameter: " + word + "\r\n" + word +
                             ": no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
}

} // namespace
