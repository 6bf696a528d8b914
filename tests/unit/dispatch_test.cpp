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
    std::string run(std::string line)
    {
        return printed_by([&] { result = dispatch(line.data()); });
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
    EXPECT_EQ(run("   help pwd"), "  pwd             Print the current workspace. \n");
    EXPECT_EQ(result, 0);
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
    EXPECT_EQ(run("  pwd x"), "error command, please use:pwd (no param)\r\n");
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
    EXPECT_EQ(run("quitx"), "error parameter: quitx\r\n"
                            "quitx: no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
}

TEST_F(dispatch_test, commands_have_their_case)
{
    EXPECT_EQ(run("PWD"), "error parameter: PWD\r\n"
                          "PWD: no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
}

TEST_F(dispatch_test, the_word_is_no_format)
{
    EXPECT_EQ(run("%s%n%d"), "error parameter: %s%n%d\r\n"
                             "%s%n%d: no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
}

TEST_F(dispatch_test, a_module_or_container_is_an_invalid_operation)
{
    EXPECT_EQ(run("m"), "invalid operation!!\r\n"
                        "m: no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(run("/m/c a"), "invalid operation!!\r\n"
                             "/m/c: no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
}

TEST_F(dispatch_test, the_word_of_an_unknown_command_is_what_was_typed)
{
    EXPECT_EQ(run("/m/c/nix[k=\"a b\"]"),
              "error parameter: /m/c/nix[k=\"a b\"]\r\n"
              "/m/c/nix[k=\"a: no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
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
    EXPECT_EQ(run("quit"), "The discard_changes command executed successfuly!\n");
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

TEST_F(dispatch_test, naming_the_rpc_in_rpc_mode)
{
    run("/m/r");
    EXPECT_EQ(run("/m/r"), "invalid operation!!\r\n"
                           "/m/r: no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
    // Another rpc lies outside the current one, so its own record is found.
    EXPECT_EQ(run("/m/bare"), "/m/bare: no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
    EXPECT_STREQ(session.rpc_path, "/m/r");
}

TEST_F(dispatch_test, every_command_of_the_table_is_found)
{
    EXPECT_EQ(run("cd"), "error command, please use:cd path\r\n");
    EXPECT_EQ(run("ls x"), "error command, please use:ls (no param)\r\n");
    EXPECT_EQ(run("set"), "error command, please use:set path [value]\r\n");
    EXPECT_EQ(run("delete"), "error command, please use:delete path\r\n");
    EXPECT_EQ(run("discard_changes x"), "error command, please use:discard_changes (no param)\r\n");
    EXPECT_EQ(run("get"), "error command, please use:get path\r\n ");
    EXPECT_EQ(run("get-config"),
              "please input : get-config -r|-s path or get-config -l [path]\r\n");
    EXPECT_EQ(run("copy-config"), "please input : copy-config source target\r\n");
    EXPECT_EQ(run("commit x"), "error command, please use:commit \r\n");
    EXPECT_EQ(run("save x"), "error command, please use:save (no param)\r\n");
    EXPECT_EQ(run("add-listentry"), "wrong number of parameters\r\n");
    EXPECT_EQ(run("export-config"), "please input : export-config source dir(file path)\r\n");
    EXPECT_EQ(run("import-config"), "please input : import-config file target\r\n");
    EXPECT_EQ(run("delete-config x"), "error command, please use:delete-config\r\n ");
    EXPECT_EQ(result, 0);
}

TEST_F(dispatch_test, a_long_word_is_reported_whole)
{
    std::string word(100000, 'w');
    EXPECT_EQ(run(word), "error parameter: " + word + "\r\n" + word +
                             ": no such command, type 'help' for more information.\n");
    EXPECT_EQ(result, 1);
}

} // namespace
