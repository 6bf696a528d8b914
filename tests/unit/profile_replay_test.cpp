// Replay of the profile into the session.
#include "profile/profile.h"

#include "tests/support/profile_world.h"

namespace
{

class profile_replay_test : public profile_world
{
  protected:
    static int replay(const std::string &text)
    {
        write_file(profile_name, text);
        captured_log_take();
        int result = profile_load();
        EXPECT_EQ(profile(), text) << "the replay wrote to the file";
        return result;
    }

    static int replay_config(const std::string &lines)
    {
        return replay("[pwd]\n/\n\n[config]\n" + lines + "\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    }

    // One line per staged command: operation, path, value.
    static std::string log_of(const command_tree &tree)
    {
        std::string text;
        for (const cmd_node *node = tree.log.first; node != nullptr; node = node->log_next) {
            text += std::to_string(node->operation) + " " + node->path +
                    (node->value != nullptr ? std::string(" ") + node->value : "") + "\n";
        }
        return text;
    }

    static std::string config()
    {
        return log_of(session.config_tree);
    }
};

TEST_F(profile_replay_test, without_a_file_nothing_is_staged)
{
    EXPECT_EQ(profile_load(), 0);
    EXPECT_EQ(session.config_tree.root, nullptr);
    EXPECT_STREQ(session.pwd, "/");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(profile_replay_test, everything)
{
    session.oneshot = 1;
    EXPECT_EQ(replay("\n\n[pwd]\n\n/m/c\n\n[config]\n"
                     "set /m/c/x 1\n\nset /m/c/l[name=a]\nadd /m/c/l l[name=a]\n"
                     "delete /m/c/y\nset /m/c/ll one\ndelete /m/c/ll two\n\n"
                     "[rpc]\n/m/r\n\n[rpc_para]\nset /m/r/p 5\nset /m/r/pl[n=1]\n\n%%%\n"),
              0);
    EXPECT_STREQ(session.pwd, "/m/c");
    EXPECT_STREQ(session.rpc_path, "/m/r");
    EXPECT_EQ(config(), "1 /m/c/x 1\n1 /m/c/l[name=a]\n2 /m/c/y\n1 /m/c/ll one\n2 /m/c/ll two\n");
    EXPECT_EQ(log_of(session.rpc_tree), "1 /m/r/p 5\n1 /m/r/pl[n=1]\n");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 1);
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(profile_replay_test, the_first_line_must_be_the_workspace_s_header)
{
    for (const char *text : {"[config]\n", "\n\nx\n[pwd]\n/m\n", "[pwd] \n/m\n", " [pwd]\n/m\n"}) {
        EXPECT_EQ(replay(text), -1) << text;
        EXPECT_EQ(captured_log_take(),
                  (log_lines{{15, "[DEBUG] err:/tmp/vandel.conf's first line must be: [pwd]\n"}}));
        EXPECT_STREQ(session.pwd, "/");
    }
}

TEST_F(profile_replay_test, an_empty_file_is_a_file_without_lines)
{
    EXPECT_EQ(replay(""), 0);
    EXPECT_EQ(replay("\n\n\n"), 0);
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(profile_replay_test, the_last_of_several_workspace_lines_counts)
{
    EXPECT_EQ(replay("[pwd]\n/m\n/m/c\n[config]\n"), 0);
    EXPECT_STREQ(session.pwd, "/m/c");
}

TEST_F(profile_replay_test, headers_are_whole_lines)
{
    EXPECT_EQ(replay("[pwd]\n/m/[config]\n[config]x\nset /m/c/x 1\n"), 0);
    EXPECT_STREQ(session.pwd, "/m/[config]");
    EXPECT_EQ(session.config_tree.root, nullptr);
}

TEST_F(profile_replay_test, the_last_line_needs_no_line_feed)
{
    EXPECT_EQ(replay("[pwd]\n/\n[config]\nset /m/c/x 1"), 0);
    EXPECT_EQ(config(), "1 /m/c/x 1\n");
}

TEST_F(profile_replay_test, lines_after_the_end_are_ignored)
{
    EXPECT_EQ(replay("[pwd]\n/m\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
                     "ara]\n\n\n%%%\nrubbish\n"),
              0);
    EXPECT_STREQ(session.pwd, "/m");
}

TEST_F(profile_replay_test, a_line_with_an_unknown_word_ends_the_replay)
{
    EXPECT_EQ(replay_config("set /m/c/x 1\nput /m/c/y 2\nset /m/c/un 3\n"), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] invalid format:put /m/c/y 2\n"}}));
    EXPECT_EQ(config(), "1 /m/c/x 1\n");
    EXPECT_EQ(replay_config("get %n%s\n"), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] invalid format:get %n%s\n"}}));
}

TEST_F(profile_replay_test, the_number_of_words_is_looked_at_first)
{
    for (const char *line : {"set\n", "put\n", "set /m/c/x 1 2\n", "put a b c\n", "   \n"}) {
        EXPECT_EQ(replay_config(line), -1) << line;
        EXPECT_EQ(captured_log_take(), log_lines{}) << line;
    }
    EXPECT_EQ(config(), "");
}

TEST_F(profile_replay_test, an_add_line_needs_a_key)
{
    EXPECT_EQ(replay_config("add /m/c/l\n"), -1);
    EXPECT_EQ(session.entries, nullptr);
}

TEST_F(profile_replay_test, a_relative_path_cannot_be_staged)
{
    EXPECT_EQ(replay_config("set m/c/x 1\nset /m/c/y 2\n"), -1);
    EXPECT_EQ(config(), "");
}

TEST_F(profile_replay_test, what_cannot_be_merged_ends_the_replay)
{
    EXPECT_EQ(replay_config("set /m/c/ll a\nset /m/c/ll\nset /m/c/y 2\n"), -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] set leaf-list without assigned value\n"}}));
    EXPECT_EQ(config(), "1 /m/c/ll a\n");
}

TEST_F(profile_replay_test, values_keep_their_codes_and_quotes)
{
    EXPECT_EQ(replay_config("set /m/c/x \"a\x03"
                            "b\"\nset /m/c/y 'c d'\nset /m/c/un a/b:c\n"),
              0);
    EXPECT_EQ(config(), "1 /m/c/x \"a\x03"
                        "b\"\n1 /m/c/y 'c\x03"
                        "d'\n1 /m/c/un a/b:c\n");
}

TEST_F(profile_replay_test, key_values_are_protected_again)
{
    EXPECT_EQ(replay_config("set /m/c/l[name=a/b:c]/v 1\nset /m/c/l[name='x y']\n"
                            "add /m/c/l l[name=a/b:c]\nadd /m/c/l l[name='x y,z']\n"
                            "delete /m/c/l2[k1=1/2,k2=:]\n"),
              0);
    EXPECT_EQ(config(), "1 /m/c/l[name=a\x01"
                        "b\x02"
                        "c]/v 1\n1 /m/c/l[name='x\x03y']\n2 /m/c/l2[k1=1\x01"
                        "2,k2=\x02]\n");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a\x01"
                                          "b\x02"
                                          "c]"),
              1);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name='x\x03y\x0ez']"), 1);
}

TEST_F(profile_replay_test, a_delete_forgets_added_entries)
{
    EXPECT_EQ(
        replay_config("add /m/c/l l[name=a]\nadd /m/c/l l[name=b]\nadd /m/c/l2 l2[k1=1,k2=2]\n"
                      "delete /m/c/l[name=a]\n"),
        0);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 0);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=b]"), 1);
    EXPECT_EQ(local_entries_has("/m/c/l2", "l2[k1=1,k2=2]"), 1);
    EXPECT_EQ(replay_config("add /m/c/l l[name=a]\ndelete /m/c\n"), 0);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 0);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=b]"), 0);
    EXPECT_EQ(local_entries_has("/m/c/l2", "l2[k1=1,k2=2]"), 0);
}

TEST_F(profile_replay_test, a_delete_below_an_entry_forgets_nothing)
{
    EXPECT_EQ(replay_config("add /m/c/l l[name=a]\ndelete /m/c/l[name=a]/v\n"), 0);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 1);
}

TEST_F(profile_replay_test, rpc_parameters_are_sets_only)
{
    const std::string head = "[pwd]\n/\n[config]\n[rpc]\n/m/r\n[rpc_para]\n";
    for (const char *line : {"delete /m/r/p\n", "add /m/r/pl pl[n=1]\n", "set\n", "set a b c\n",
                             "set /m/r/p 1 2\n", "x\n", "[pwd]\n", "%%%%\n"}) {
        EXPECT_EQ(replay(head + line), -1) << line;
        EXPECT_EQ(log_of(session.rpc_tree), "") << line;
    }
    EXPECT_EQ(replay(head + "set /m/r/p 1\nset /m/r/pl[n=a/b] \nset p\n"), -1);
    EXPECT_EQ(log_of(session.rpc_tree), "1 /m/r/p 1\n1 /m/r/pl[n=a\x01"
                                        "b]\n");
}

TEST_F(profile_replay_test, lines_have_no_length_limit)
{
    std::string value(300000, 'v');
    std::string pwd = "/" + std::string(70000, 'p');
    EXPECT_EQ(replay("[pwd]\n" + pwd + "\n[config]\nset /m/c/x " + value + "\n"), 0);
    EXPECT_EQ(session.pwd, pwd);
    EXPECT_EQ(config(), "1 /m/c/x " + value + "\n");
}

TEST_F(profile_replay_test, a_file_of_whole_pages)
{
    std::string text = "[pwd]\n/\n[config]\nset /m/c/x ";
    std::string value(8192 - text.size() - 1, 'v');
    EXPECT_EQ(replay(text + value + "\n"), 0);
    EXPECT_EQ(config(), "1 /m/c/x " + value + "\n");
}

TEST_F(profile_replay_test, a_zero_byte_loses_no_later_line)
{
    const char text[] = "[pwd]\n/m\0x\n[config]\nset /m/c/x a\0b\nset /m/c/y 1\n";
    EXPECT_EQ(replay(std::string(text, sizeof text - 1)), 0);
    EXPECT_EQ(config(), "1 /m/c/x a\n1 /m/c/y 1\n");
}

TEST_F(profile_replay_test, a_line_that_begins_with_a_zero_byte_is_an_empty_one)
{
    const char text[] = "\0\n[pwd]\n/m\n\0x\n[config]\n\0y\nset /m/c/x 1\n"
                        "[rpc]\n\0z\n[rpc_para]\n\0\n%%%\n";
    EXPECT_EQ(replay(std::string(text, sizeof text - 1)), 0);
    EXPECT_STREQ(session.pwd, "/m");
    EXPECT_EQ(session.rpc_path, nullptr);
    EXPECT_EQ(config(), "1 /m/c/x 1\n");
}

TEST_F(profile_replay_test, paths_of_the_rpc_s_module_are_looked_up_as_configuration)
{
    // Workspace and rpc come first in a file of RPC mode; a staged leaf-list
    // of the configuration must merge all the same.
    set_text(&session.rpc_path, "/m/r");
    EXPECT_EQ(replay_config("set /m/c/ll a\nset /m/c/ll b\n"), 0);
    EXPECT_EQ(config(), "1 /m/c/ll a\n1 /m/c/ll b\n");
}

TEST_F(profile_replay_test, a_line_that_is_no_element_ends_the_replay)
{
    for (const char *path : {"/m/c/l[", "/m/c/l[name=a", "/m/c/l[]/v", "/m/c/l[=x]", "/m/c/"}) {
        for (const char *word : {"set ", "delete "}) {
            EXPECT_EQ(
                replay_config(std::string("set /m/c/x 1\n") + word + path + "\nset /m/c/y 2\n"),
                profile_refused);
            EXPECT_EQ(config(), "1 /m/c/x 1\n");
            tree_free(&session.config_tree);
        }
    }
}

} // namespace
