// Writing the profile file, and what start-up takes from it.
#include "profile/profile.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/support/profile_world.h"

namespace
{

const std::string fresh_at_root = "[pwd]\n/\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n";

class profile_test : public profile_world
{
  protected:
    static void write_profile(const std::string &text)
    {
        write_file(profile_name, text);
    }

    static bool exists()
    {
        struct stat status = {};
        return lstat(profile_name, &status) == 0;
    }

    static unsigned mode()
    {
        struct stat status = {};
        EXPECT_EQ(lstat(profile_name, &status), 0);
        return status.st_mode & 07777;
    }

    static void stage(const char *path, const char *value, cmd_operation operation = operation_set)
    {
        ASSERT_EQ(tree_stage_config(path, value, operation), 0);
    }
};

TEST_F(profile_test, a_fresh_file_outside_rpc_mode)
{
    set_text(&session.pwd, "/m/c");
    EXPECT_EQ(profile_write_fresh(), 0);
    EXPECT_EQ(profile(), "[pwd]\n/m/c\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    EXPECT_EQ(mode(), 0600U);
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(profile_test, a_fresh_file_in_rpc_mode)
{
    enter_rpc("/m/r");
    EXPECT_EQ(profile_write_fresh(), 0);
    EXPECT_EQ(profile(), "[pwd]\n/m/r\n\n[config]\n\n\n[rpc]\n/m/r\n\n[rpc_para]\n\n\n%%%\n");
}

TEST_F(profile_test, a_fresh_file_has_no_staged_lines_and_nothing_after_its_end)
{
    stage("/m/c/x", "1");
    write_profile(std::string(10000, 'x'));
    EXPECT_EQ(profile_write_fresh(), 0);
    EXPECT_EQ(profile(), fresh_at_root);
}

TEST_F(profile_test, the_mode_is_private_whatever_the_umask_and_the_old_file)
{
    mode_t mask = umask(0);
    EXPECT_EQ(profile_write_fresh(), 0);
    EXPECT_EQ(mode(), 0600U);
    umask(0777);
    remove(profile_name);
    profile_write_fresh();
    umask(mask);
    EXPECT_EQ(mode(), 0600U);
    chmod(profile_name, 0666);
    EXPECT_EQ(profile_write_back(), 0);
    EXPECT_EQ(mode(), 0600U);
}

TEST_F(profile_test, what_others_may_write_is_neither_read_nor_added_to)
{
    write_profile("[pwd]\n/m\n\n[config]\nset /m/c/x 1\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    const std::string before = profile();
    const log_lines unopened = {{15, "[DEBUG] open /tmp/vandel.conf failed! errno:1\n"}};
    for (const mode_t loose : {0620, 0602, 0666}) {
        SCOPED_TRACE(loose);
        chmod(profile_name, loose);
        session.profile_refused = 0;
        EXPECT_EQ(profile_load_start(), 0);
        EXPECT_STREQ(session.pwd, "/");
        EXPECT_EQ(captured_log_take(),
                  (log_lines{{11, "[ERROR] VDL's profile </tmp/vandel.conf> may be written by "
                                  "others.\n"}}));
        EXPECT_EQ(profile_load(), profile_unopened);
        EXPECT_EQ(captured_log_take(), unopened);
        EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 2", profile_append), -1);
        EXPECT_EQ(captured_log_take(), unopened);
        EXPECT_EQ(profile(), before);
    }
    EXPECT_EQ(profile_write_fresh(), 0);
    EXPECT_EQ(profile(), fresh_at_root);
    EXPECT_EQ(mode(), 0600U);
}

TEST_F(profile_test, a_link_in_its_place_is_refused)
{
    write_profile("untouched");
    ASSERT_EQ(rename(profile_name, "/tmp/target"), 0);
    ASSERT_EQ(symlink("/tmp/target", profile_name), 0);
    const log_lines refused = {{15, "[DEBUG] open /tmp/vandel.conf failed! errno:40\n"}};
    EXPECT_EQ(profile_write_fresh(), -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{11, "[ERROR] VDL's profile </tmp/vandel.conf> is a symbolic link.\n"},
                         refused[0]}));
    EXPECT_EQ(profile_write_back(), -1);
    EXPECT_EQ(captured_log_take(), refused);
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), -1);
    EXPECT_EQ(captured_log_take(), refused);
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_NE(profile_load(), 0);
    EXPECT_EQ(captured_log_take().size(), 1U);
    std::ifstream target("/tmp/target");
    std::string text;
    getline(target, text);
    EXPECT_EQ(text, "untouched");
    // A link that leads nowhere must not create its target, and is told once.
    remove("/tmp/target");
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), -1);
    EXPECT_EQ(captured_log_take(), refused);
    struct stat status = {};
    EXPECT_NE(stat("/tmp/target", &status), 0);
}

TEST_F(profile_test, nothing_is_said_against_a_file_that_is_not_to_blame)
{
    profile_write_fresh();
    struct rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    struct rlimit none = limit;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), -1);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] open /tmp/vandel.conf failed! errno:24\n"}}));
}

TEST_F(profile_test, a_directory_in_its_place_is_refused)
{
    ASSERT_EQ(mkdir(profile_name, 0700), 0);
    const log_lines refused = {{15, "[DEBUG] open /tmp/vandel.conf failed! errno:21\n"}};
    EXPECT_EQ(profile_write_fresh(), -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{11, "[ERROR] VDL's profile </tmp/vandel.conf> is not a regular file.\n"},
                         refused[0]}));
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), -1);
    EXPECT_EQ(captured_log_take(), refused);
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_NE(profile_load(), 0);
}

TEST_F(profile_test, a_fifo_in_its_place_does_not_hold_the_shell_up)
{
    ASSERT_EQ(mkfifo(profile_name, 0600), 0);
    EXPECT_EQ(profile_write_fresh(), -1);
    EXPECT_EQ(captured_log_take().size(), 2U);
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), -1);
    EXPECT_EQ(captured_log_take().size(), 1U);
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_NE(profile_load(), 0);
}

TEST_F(profile_test, the_first_line_creates_the_file)
{
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), 0);
    EXPECT_EQ(profile(),
              "[pwd]\n/\n\n[config]\nset /m/c/x 1\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    EXPECT_EQ(mode(), 0600U);
}

TEST_F(profile_test, appended_lines_keep_their_order)
{
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), 0);
    EXPECT_EQ(profile_put_line("[config]", "delete /m/c/y", profile_append), 0);
    EXPECT_EQ(profile_put_line("[rpc_para]", "set /m/r/p 1", profile_append), 0);
    EXPECT_EQ(profile_put_line("[rpc_para]", "set /m/r/q 2", profile_append), 0);
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\nset /m/c/x 1\ndelete /m/c/y\n\n\n[rpc]\n\n\n"
                         "[rpc_para]\nset /m/r/p 1\nset /m/r/q 2\n\n\n%%%\n");
}

TEST_F(profile_test, a_line_of_1000_bytes_is_the_longest)
{
    EXPECT_EQ(profile_put_line("[config]", std::string(1001, 'x').c_str(), profile_append), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] command is too 1000 byts\n"}}));
    EXPECT_FALSE(exists());
    EXPECT_EQ(profile_put_line("[config]", std::string(1000, 'x').c_str(), profile_append), 0);
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\n" + std::string(1000, 'x') +
                             "\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
}

TEST_F(profile_test, only_the_four_sections_are_known)
{
    EXPECT_EQ(profile_put_line("[rpc_par]", "x", profile_append), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] invalid domain:[rpc_par]\n"}}));
    EXPECT_EQ(profile_put_line("%%%", "x", profile_append), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] invalid domain:%%%\n"}}));
    EXPECT_EQ(profile_put_line("", "x", profile_append), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] invalid domain:\n"}}));
    EXPECT_FALSE(exists());
    // The length is looked at before the section.
    EXPECT_EQ(profile_put_line("x", std::string(1001, 'x').c_str(), profile_append), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] command is too 1000 byts\n"}}));
}

TEST_F(profile_test, replacing_the_workspace)
{
    profile_write_fresh();
    EXPECT_EQ(profile_put_line("[pwd]", "/m/long", profile_replace), 0);
    EXPECT_EQ(profile(), "[pwd]\n/m/long\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
}

TEST_F(profile_test, a_shorter_workspace_leaves_the_end_of_the_old_file)
{
    set_text(&session.pwd, "/m/long/path");
    profile_write_fresh();
    EXPECT_EQ(profile_put_line("[pwd]", "/m", profile_replace), 0);
    EXPECT_EQ(profile(), "[pwd]\n/m\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n"
                         "ra]\n\n\n%%%\n");
}

TEST_F(profile_test, replacing_the_rpc)
{
    profile_write_fresh();
    EXPECT_EQ(profile_put_line("[rpc]", "/m/r", profile_replace), 0);
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\n\n\n[rpc]\n/m/r\n\n\n[rpc_para]\n\n\n%%%\n");
    EXPECT_EQ(profile_put_line("[rpc]", "", profile_replace), 0);
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\n\n\n[rpc]\n\n\n\n[rpc_para]\n\n\n%%%\n%%%\n");
}

TEST_F(profile_test, replacing_drops_every_line_of_the_section)
{
    write_profile("[pwd]\n/a\n/b\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    EXPECT_EQ(profile_put_line("[pwd]", "/abcde", profile_replace), 0);
    EXPECT_EQ(profile().substr(0, 22), "[pwd]\n/abcde\n\n[config]");
}

TEST_F(profile_test, sections_are_found_as_plain_text)
{
    // The first "[config]" of the file stands in the workspace.
    write_profile("[pwd]\n/m[config]\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    EXPECT_EQ(profile_put_line("[config]", "X", profile_append), 0);
    EXPECT_EQ(profile(), "[pwd]\n/m[config]\nX\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
}

TEST_F(profile_test, a_file_that_has_no_place_for_the_line)
{
    for (const char *text :
         {"x", "[config]\n", "[config]", "\n\n[config]\nset\n", "[pwd]\n/\n\n"}) {
        write_profile(text);
        EXPECT_EQ(profile_put_line("[config]", "X", profile_append), -1) << text;
        EXPECT_EQ(profile_put_line("[config]", "X", profile_replace), -1) << text;
        EXPECT_EQ(profile(), text);
    }
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(profile_test, an_empty_file_takes_no_line)
{
    write_profile("");
    EXPECT_EQ(profile_put_line("[config]", "X", profile_append), -1);
    EXPECT_EQ(profile(), "");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(profile_test, zero_bytes_and_whole_pages_are_kept)
{
    std::string text = "[pwd]\n/\n\n[config]\nset /m/c/x ";
    text += std::string(1, '\0');
    const std::string tail = "\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n";
    text += std::string(4096 - text.size() - tail.size(), 'v');
    write_profile(text + tail);
    EXPECT_EQ(profile_put_line("[rpc_para]", "set /m/r/p 1", profile_append), 0);
    EXPECT_EQ(profile(), text + "\n\n[rpc]\n\n\n[rpc_para]\nset /m/r/p 1\n\n\n%%%\n");
    write_profile(text + tail);
    EXPECT_EQ(profile_put_line("[config]", "L", profile_append), 0);
    EXPECT_EQ(profile(), text + "\nL\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
}

// The file is searched in pieces of 32 KiB: a header, and the empty line that ends a
// section, may begin in one and end in the next.
TEST_F(profile_test, sections_are_found_wherever_a_piece_ends)
{
    for (size_t size = 32732; size <= 32772; size++) {
        std::string head = "[pwd]\n/\n\n[config]\nset /m/c/x ";
        head += std::string(size - head.size(), 'v');
        write_profile(head + "\n\n[rpc]\n/m/r\n\n[rpc_para]\n\n\n%%%\n");
        EXPECT_EQ(profile_put_line("[config]", "L", profile_append), 0) << size;
        EXPECT_EQ(profile_put_line("[rpc_para]", "M", profile_append), 0) << size;
        EXPECT_EQ(profile(), head + "\nL\n\n[rpc]\n/m/r\n\n[rpc_para]\nM\n\n\n%%%\n");
        set_text(&session.rpc_path, nullptr);
        EXPECT_EQ(profile_load_start(), 0);
        EXPECT_STREQ(session.rpc_path, "/m/r") << size;
    }
}

TEST_F(profile_test, a_line_is_no_format)
{
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x %n%s", profile_append), 0);
    EXPECT_EQ(profile(),
              "[pwd]\n/\n\n[config]\nset /m/c/x %n%s\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
}

TEST_F(profile_test, write_back_of_nothing)
{
    EXPECT_EQ(profile_write_back(), 0);
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    EXPECT_EQ(mode(), 0600U);
}

TEST_F(profile_test, write_back_of_everything)
{
    set_text(&session.pwd, "/m/r/pc");
    set_text(&session.rpc_path, "/m/r");
    stage("/m/c/x", "\"a\x03"
                    "b\"");
    stage("/m/c/l[name=a\x01"
          "b\x02"
          "c]",
          nullptr);
    stage("/m/c/y", nullptr, operation_delete);
    stage("/m/c/ll", "one");
    stage("/m/c/ll", "two");
    stage("/m/c/ll", "three", operation_delete);
    ASSERT_EQ(tree_stage_rpc("/m/r/p", "5", operation_set), 0);
    ASSERT_EQ(tree_stage_rpc("/m/r/pl[n='x\x03y']", nullptr, operation_set), 0);
    local_entries_add("/m/c/l", "l[name=a\x01"
                                "b\x02"
                                "c]");
    local_entries_add("/m/c/l", "l[name=n]");
    local_entries_add("/m/c/l2", "l2[k1=1,k2=2]");
    EXPECT_EQ(profile_write_back(), 0);
    EXPECT_EQ(profile(), "[pwd]\n/m/r/pc\n\n"
                         "[config]\n"
                         "set /m/c/x \"a\x03"
                         "b\"\n"
                         "set /m/c/l[name=a/b:c]\n"
                         "delete /m/c/y\n"
                         "set /m/c/ll one\n"
                         "set /m/c/ll two\n"
                         "delete /m/c/ll three\n"
                         "add /m/c/l2 l2[k1=1,k2=2]\n"
                         "add /m/c/l l[name=n]\n"
                         "add /m/c/l l[name=a/b:c]\n"
                         "\n"
                         "[rpc]\n/m/r\n\n"
                         "[rpc_para]\n"
                         "set /m/r/p 5\n"
                         "set /m/r/pl[n='x y']\n"
                         "\n"
                         "%%%\n");
}

TEST_F(profile_test, write_back_follows_the_staging_order_through_changes)
{
    stage("/m/c/x", "1");
    stage("/m/c/y", "2");
    stage("/m/c/x", "3");                       // keeps its place
    stage("/m/c/y", nullptr, operation_delete); // keeps its place, too
    stage("/m/c/sub/z", "4");
    stage("/m/c/sub", nullptr, operation_delete); // takes z with it, goes last
    stage("/m/c/un", "5");
    EXPECT_EQ(profile_write_back(), 0);
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\nset /m/c/x 3\ndelete /m/c/y\ndelete /m/c/sub\n"
                         "set /m/c/un 5\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
}

TEST_F(profile_test, appending_to_what_was_written_back)
{
    profile_write_back();
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), 0);
    EXPECT_EQ(profile_put_line("[rpc_para]", "set /m/r/p 1", profile_append), 0);
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\nset /m/c/x 1\n\n[rpc]\n\n[rpc_para]\n"
                         "set /m/r/p 1\n\n%%%\n");
}

TEST_F(profile_test, start_without_a_file)
{
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/");
    EXPECT_EQ(session.rpc_path, nullptr);
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_FALSE(exists());
}

TEST_F(profile_test, start_with_an_empty_file)
{
    write_profile("");
    EXPECT_EQ(profile_load_start(), -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{11, "[ERROR] VDL's profile </tmp/vandel.conf> is invalid.\n"}}));
}

TEST_F(profile_test, start_takes_workspace_and_rpc)
{
    write_profile("[pwd]\n/m/r/pc\n\n[config]\n\n\n[rpc]\n/m/r\n\n[rpc_para]\n\n\n%%%\n");
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/m/r/pc");
    EXPECT_STREQ(session.rpc_path, "/m/r");
}

TEST_F(profile_test, start_keeps_defaults_for_empty_values)
{
    write_profile("[pwd]\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/");
    EXPECT_EQ(session.rpc_path, nullptr);
}

TEST_F(profile_test, start_needs_whole_lines)
{
    for (const char *text :
         {"[pwd]", "[pwd]\n", "[pwd]\n/m", "[pwd]/m\n/c\n", "x", "[rpc]\n/m/r"}) {
        write_profile(text);
        EXPECT_EQ(profile_load_start(), 0) << text;
        EXPECT_STREQ(session.pwd, "/") << text;
        EXPECT_EQ(session.rpc_path, nullptr) << text;
    }
    write_profile("[pwd]\n/m\n");
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/m");
}

TEST_F(profile_test, start_finds_headers_as_plain_text)
{
    write_profile("xx[pwd]\n/m\nyy[rpc]\n/m/r\n");
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/m");
    EXPECT_STREQ(session.rpc_path, "/m/r");
}

TEST_F(profile_test, start_with_a_file_of_exactly_one_page)
{
    const std::string head = "[pwd]\n";
    write_profile(head + "/" + std::string(4096 - head.size() - 1, 'a'));
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/");
    write_profile(head + "/" + std::string(4096 - head.size() - 2, 'a') + "\n");
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_EQ(session.pwd, "/" + std::string(4096 - head.size() - 2, 'a'));
    write_profile(std::string(4096 - 5, 'x') + "[pwd]");
    set_text(&session.pwd, "/");
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/");
}

TEST_F(profile_test, start_reads_on_after_zero_bytes)
{
    write_profile(std::string("a\0b[pwd]\n/m\n\n\0[rpc]\n/m/r\n", 25));
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/m");
    EXPECT_STREQ(session.rpc_path, "/m/r");
}

TEST_F(profile_test, start_ends_a_value_at_a_zero_byte)
{
    write_profile(std::string("[pwd]\n/m\0x\n\n[rpc]\n\0/m/r\n", 24));
    EXPECT_EQ(profile_load_start(), 0);
    EXPECT_STREQ(session.pwd, "/m");
    EXPECT_EQ(session.rpc_path, nullptr);
}

TEST_F(profile_test, write_back_of_codes_that_came_by_hand)
{
    const std::string lines = "set /m/c/l[name=a\x03"
                              "b]/v 1\n"
                              "add /m/c/l[name=a\x03"
                              "b]/in in[k=\x03]\n";
    write_profile("[pwd]\n/\n\n[config]\n" + lines + "\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    EXPECT_EQ(profile_load(), profile_replayed);
    EXPECT_EQ(profile_write_back(), 0);
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\n" + lines + "\n[rpc]\n\n[rpc_para]\n\n%%%\n");
}

} // namespace
