// The commands set, delete and discard_changes, and what they record.
#include "commands/commands.h"

#include "cmdtree/local_entries.h"
#include "commands/staging.h"
#include "schema/command_reads.h"
#include "tests/support/profile_world.h"

namespace
{

class edit_commands_test : public profile_world
{
  protected:
    static std::string set(const std::string &words)
    {
        return output_of(cmd_set, "set" + words);
    }

    static std::string del(const std::string &words)
    {
        return output_of(cmd_delete, "delete" + words);
    }

    static void discard()
    {
        output_of(cmd_discard_changes, "discard_changes");
    }

    // The profile's lines of one section.
    static std::string section(const std::string &name)
    {
        std::string text = profile();
        size_t begin = text.find(name + "\n") + name.size() + 1;
        return text.substr(begin, text.find("\n\n", begin) - begin);
    }

    static place at(const char *path)
    {
        return place_at(path, path_scope_session);
    }

    // A daemon without data, for the choice of /m/c.
    void serve_nothing()
    {
        serve(std::vector<std::string>(6, data_reply("")));
    }
};

TEST_F(edit_commands_test, set_stages_leaves_and_leaf_lists)
{
    EXPECT_EQ(set(" /m/c/x 5"), "");
    stand_at("/m/c");
    EXPECT_EQ(set(" y 6"), "");
    EXPECT_EQ(set(" ./ll a"), "");
    EXPECT_EQ(set(" ll b"), "");
    EXPECT_EQ(set(" ../top"), "");
    EXPECT_EQ(log(), "1 /m/c/x 5\n1 /m/c/y 6\n1 /m/c/ll a\n1 /m/c/ll b\n1 /m/top\n");
    EXPECT_EQ(profile(), "(no file)");
    EXPECT_EQ(session.message_id, 0U); // nothing is asked of the daemon
}

TEST_F(edit_commands_test, set_keeps_values_as_they_were_split)
{
    set(" /m/c/x \"v1 v2\"");
    set(" /m/c/y 'a,b'");
    set(" /m/c/un a/b:c");
    EXPECT_EQ(log(), "1 /m/c/x \"v1\x03v2\"\n1 /m/c/y 'a\x0e"
                     "b'\n1 /m/c/un a/b:c\n");
}

TEST_F(edit_commands_test, set_stages_masked_paths)
{
    set(" /m/c/l[name=a/b:c]/v 1");
    set(" /m/c/l[name='x y']/v 2");
    EXPECT_EQ(log(), "1 /m/c/l[name=a\x01"
                     "b\x02"
                     "c]/v 1\n1 /m/c/l[name='x\x03y']/v 2\n");
}

TEST_F(edit_commands_test, set_reaches_into_cases)
{
    EXPECT_EQ(set(" /m/c/p2 1"), "");
    EXPECT_EQ(log(), "1 /m/c/p2 1\n");
}

TEST_F(edit_commands_test, set_refusals)
{
    EXPECT_TRUE(refused(cmd_set, "set"));
    EXPECT_TRUE(refused(cmd_set, "set a b c"));
    EXPECT_TRUE(refused(cmd_set, "set /m/c 1"));
    stand_at("/m");
    EXPECT_TRUE(refused(cmd_set, "set c"));
    EXPECT_TRUE(refused(cmd_set, "set /m/c/up 1"));
    EXPECT_TRUE(refused(cmd_set, "set /m/c/l[name='a b/c'] 1"));
    EXPECT_TRUE(refused(cmd_set, "set /m/r 1"));
    EXPECT_TRUE(refused(cmd_set, "set /m 1"));
    EXPECT_TRUE(refused(cmd_set, "set /nix 1"));
    EXPECT_TRUE(refused(cmd_set, "set /m/nix 1"));
    EXPECT_TRUE(refused(cmd_set, "set nix['a b'] 1"));
    EXPECT_TRUE(refused(cmd_set, "set / 1"));
    EXPECT_TRUE(refused(cmd_set, "set /.. 1"));
    EXPECT_TRUE(refused(cmd_set, "set %n%s"));
}

TEST_F(edit_commands_test, set_that_cannot_be_merged)
{
    set(" /m/c/ll a");
    EXPECT_TRUE(refused(cmd_set, "set /m/c/ll"));
}

TEST_F(edit_commands_test, set_in_rpc_mode)
{
    enter_rpc("/m/r");
    EXPECT_EQ(set(" p 1"), "");
    EXPECT_EQ(set(" /m/r/pc/q 2"), "");
    EXPECT_EQ(set(" pl[n=a/b]/d 3"), "");
    EXPECT_EQ(log(session.rpc_tree), "1 /m/r/p 1\n1 /m/r/pc/q 2\n1 /m/r/pl[n=a\x01"
                                     "b]/d 3\n");
    EXPECT_EQ(log(), "");
    EXPECT_TRUE(refused(cmd_set, "set /m/c/x 1"));
    EXPECT_TRUE(refused(cmd_set, "set /m/rx 1"));
    EXPECT_TRUE(refused(cmd_set, "set pc 1"));
    EXPECT_TRUE(refused(cmd_set, "set nix 1"));
}

TEST_F(edit_commands_test, set_one_shot)
{
    session.oneshot = 1;
    EXPECT_EQ(set(" /m/c/x 1"), "");
    EXPECT_EQ(profile(),
              "[pwd]\n/\n\n[config]\nset /m/c/x 1\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    stand_at("/m/c");
    EXPECT_EQ(set(" y \"v1 v2\""), "");
    EXPECT_EQ(set(" l[name='a b/c']/v"), "");
    EXPECT_EQ(set(" ll"), "");
    EXPECT_EQ(set(" ll"), "");
    EXPECT_EQ(section("[config]"), "set /m/c/x 1\nset /m/c/y \"v1\x03v2\"\n"
                                   "set /m/c/l[name='a b/c']/v\nset /m/c/ll\nset /m/c/ll");
    EXPECT_EQ(session.config_tree.root, nullptr);
    EXPECT_TRUE(refused(cmd_set, "set c"));
}

TEST_F(edit_commands_test, set_one_shot_that_cannot_be_recorded)
{
    session.oneshot = 1;
    EXPECT_TRUE(refused(cmd_set, "set /m/c/x " + std::string(1000, 'v')));
    EXPECT_EQ(profile(), "(no file)");
    EXPECT_EQ(set(" /m/c/x " + std::string(1000 - 11, 'v')), "");
    EXPECT_EQ(section("[config]").size(), 1000U);
}

TEST_F(edit_commands_test, set_one_shot_in_rpc_mode)
{
    session.oneshot = 1;
    enter_rpc("/m/r");
    EXPECT_EQ(set(" p 1"), "");
    EXPECT_EQ(section("[rpc_para]"), "set /m/r/p 1");
    EXPECT_EQ(section("[config]"), "");
    EXPECT_EQ(session.rpc_tree.root, nullptr);
}

TEST_F(edit_commands_test, delete_stages)
{
    serve_nothing();
    EXPECT_EQ(del(" /m/top"), "");
    EXPECT_EQ(del(" /m/c"), "");
    EXPECT_EQ(del(" /m/c/x"), "");
    EXPECT_EQ(log(), "2 /m/top\n2 /m/c\n2 /m/c/x\n");
}

TEST_F(edit_commands_test, delete_of_leaf_list_values)
{
    serve_nothing();
    stand_at("/m/c");
    EXPECT_EQ(del(" ll 'v 1'"), "");
    EXPECT_EQ(log(), "2 /m/c/ll 'v\x03"
                     "1'\n");
}

TEST_F(edit_commands_test, delete_refusals)
{
    EXPECT_TRUE(refused(cmd_delete, "delete"));
    EXPECT_TRUE(refused(cmd_delete, "delete a b c"));
    EXPECT_TRUE(refused(cmd_delete, "delete /m"));
    EXPECT_TRUE(refused(cmd_delete, "delete /"));
    EXPECT_TRUE(refused(cmd_delete, "delete /nix"));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/nix"));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/state"));
    EXPECT_TRUE(refused(cmd_delete, "delete /.."));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/o:box/lid x"));
    stand_at("/m/c/o:box");
    EXPECT_TRUE(refused(cmd_delete, "delete lid 'a b'"));
    EXPECT_TRUE(refused(cmd_delete, "delete %n%s"));
    enter_rpc("/m/r");
    EXPECT_TRUE(refused(cmd_delete, "delete"));
    EXPECT_TRUE(refused(cmd_delete, "delete p"));
}

TEST_F(edit_commands_test, delete_of_a_state_leaf)
{
    serve_nothing();
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/up"));
}

TEST_F(edit_commands_test, delete_of_an_entry)
{
    const std::string reply = data_reply("<c xmlns=\"urn:m\"><l><name>a/b c</name></l></c>");
    serve({reply, reply, reply});
    EXPECT_EQ(del(" /m/c/l[name=\"a/b c\"]"), "");
    EXPECT_EQ(log(), "2 /m/c/l[name=\"a\x01"
                     "b\x03"
                     "c\"]\n");
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/l[name=\"a b\"]"));
    stand_at("/m/c/l");
    EXPECT_TRUE(refused(cmd_delete, "delete l[name=x]"));
}

TEST_F(edit_commands_test, delete_seeks_no_siblings_again)
{
    fake_redis_put("/m/c/l[]", "odd", "too short");
    const command_reads reads;
    EXPECT_EQ(del(" /m/c/l[name=a]/v"), "");
    EXPECT_STREQ(reads.lists_all, "/m/c/l[]");
    EXPECT_EQ(del(" /m/c/l[name=b]/name"), "");
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/l[name=b]/nix"));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/l[name=b]/v["));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/l[name=b]/v[k=1]"));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/l[name=b]/in[k=1]"));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/l/name"));
    EXPECT_EQ(del(" /m/c/l[name=b]/odd"),
              "error: child node:/m/c/l[name=b]/odd  is not existed.\r\n");
    EXPECT_EQ(del(" /m/c/l[name=b]/in"), "");
    EXPECT_EQ(log(), "2 /m/c/l[name=a]/v\n2 /m/c/l[name=b]/name\n2 /m/c/l[name=b]/in\n");
    EXPECT_EQ(del(" /m/c/sub/z"), "");
    EXPECT_STREQ(reads.lists_all, "/m/c/sub");
    command_reads_forget();
    EXPECT_EQ(reads.lists_all, nullptr);
}

TEST_F(edit_commands_test, delete_asks_again_where_there_are_choices)
{
    command_reads reads;
    serve(std::vector<std::string>(12, data_reply("")));
    EXPECT_EQ(del(" /m/c/x"), "");
    const auto asked = session.message_id;
    EXPECT_EQ(del(" /m/c/y"), "");
    EXPECT_EQ(session.message_id, 2 * asked);
    EXPECT_GT(asked, 0U);
    EXPECT_EQ(reads.lists_all, nullptr);
    reads.lists_all = text_copy("/m/c").release(); // as if there were none
    EXPECT_EQ(del(" /m/c/id"), "");
    EXPECT_EQ(session.message_id, 2 * asked);
}

TEST_F(edit_commands_test, delete_in_an_inactive_case)
{
    const std::string a1 = data_reply("<c xmlns=\"urn:m\"><a1>1</a1></c>");
    serve(std::vector<std::string>(6, a1));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/b1"));
    serve(std::vector<std::string>(6, a1));
    EXPECT_EQ(del(" /m/c/a1"), "");
    EXPECT_EQ(log(), "2 /m/c/a1\n");
}

TEST_F(edit_commands_test, delete_forgets_added_entries)
{
    auto refill = [] {
        local_entries_forget(nullptr, nullptr);
        local_entries_add("/m/c/l", "l[name=a]");
        local_entries_add("/m/c/l", "l[name=b\x01"
                                    "c]");
        local_entries_add("/m/c/l2", "l2[k1=1,k2=2]");
        local_entries_add("/m/other", "x[k=1]");
    };
    refill();
    local_entries_forget_deleted("/m/c/l[name=b\x01"
                                 "c]");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=b\x01"
                                          "c]"),
              0);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 1);
    refill();
    local_entries_forget_deleted("/m/c/l[name=a]/v");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 1);
    refill();
    local_entries_forget_deleted("/m/c");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 0);
    EXPECT_EQ(local_entries_has("/m/c/l2", "l2[k1=1,k2=2]"), 0);
    EXPECT_EQ(local_entries_has("/m/other", "x[k=1]"), 1);
    EXPECT_EQ(printed_by([] {
                  local_entries_forget_deleted("l[name='a\x03"
                                               "b']");
              }),
              "delete cmdpath err l[name='a b']!\r\n");
}

TEST_F(edit_commands_test, delete_by_the_command_forgets_too)
{
    local_entries_add("/m/c/l", "l[name=a]");
    ASSERT_EQ(tree_stage_config("/m/c/l[name=a]", nullptr, operation_set), 0);
    serve({data_reply("")});
    EXPECT_EQ(del(" /m/c/l[name=a]"), "");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 0);
    EXPECT_EQ(log(), "2 /m/c/l[name=a]\n");
}

TEST_F(edit_commands_test, delete_looks_nothing_up_after_its_checks)
{
    ASSERT_EQ(tree_stage_config("/m/top", "1", operation_set), 0);
    int reads_needed = 0;
    fake_redis_fail_after(-1);
    {
        int before = fake_redis_reads();
        EXPECT_EQ(del(" /m/top"), "");
        reads_needed = fake_redis_reads() - before;
    }
    ASSERT_EQ(tree_stage_config("/m/top", "1", operation_set), 0);
    fake_redis_fail_after(reads_needed - 1);
    EXPECT_TRUE(refused(cmd_delete, "delete /m/top"));
}

TEST_F(edit_commands_test, delete_one_shot)
{
    session.oneshot = 1;
    EXPECT_EQ(del(" /m/c/ll v1"), "");
    EXPECT_EQ(del(" /m/c/l[name='a b/c']"), "");
    EXPECT_EQ(del(" /m"), "");
    EXPECT_EQ(del(" /m/state"), "");
    EXPECT_EQ(section("[config]"),
              "delete /m/c/ll\ndelete /m/c/l[name='a b/c']\ndelete /m\ndelete /m/state");
    EXPECT_TRUE(refused(cmd_delete, "delete /m/nix"));
    EXPECT_EQ(del(" /m/c/l[name=" + std::string(1000, 'n') + "]"), ""); // not recorded, not told
    EXPECT_EQ(session.message_id, 0U);
    EXPECT_EQ(session.config_tree.root, nullptr);
}

TEST_F(edit_commands_test, discard)
{
    set(" /m/c/x 1");
    local_entries_add("/m/c/l", "l[name=a]");
    discard();
    EXPECT_EQ(session.config_tree.root, nullptr);
    EXPECT_EQ(log(), "");
    EXPECT_EQ(session.entries, nullptr);
    discard();
    EXPECT_EQ(profile(), "(no file)");
}

TEST_F(edit_commands_test, discard_takes_no_word)
{
    set(" /m/c/x 1");
    EXPECT_TRUE(refused(cmd_discard_changes, "discard_changes x"));
}

TEST_F(edit_commands_test, discard_in_rpc_mode)
{
    set(" /m/c/x 1");
    local_entries_add("/m/c/l", "l[name=a]");
    local_entries_add("/m/r/pl", "pl[n=1]");
    enter_rpc("/m/r");
    set(" p 1");
    discard();
    EXPECT_EQ(session.rpc_tree.root, nullptr);
    EXPECT_NE(session.config_tree.root, nullptr);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 1);
    EXPECT_EQ(local_entries_has("/m/r/pl", "pl[n=1]"), 0);
    EXPECT_STREQ(session.rpc_path, "/m/r");
}

TEST_F(edit_commands_test, discard_one_shot)
{
    session.oneshot = 1;
    set(" /m/c/x 1");
    stand_at("/m/c");
    discard();
    EXPECT_EQ(profile(), "[pwd]\n/m/c\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    enter_rpc("/m/r");
    set(" p 1");
    discard();
    EXPECT_EQ(profile(), "[pwd]\n/m/r\n\n[config]\n\n\n[rpc]\n/m/r\n\n[rpc_para]\n\n\n%%%\n");
}

TEST_F(edit_commands_test, records)
{
    session.oneshot = 1;
    stage_entry(at("/m/c/l"), "l[name=a\x01]", "/m/c/l[name=a\x01]");
    EXPECT_EQ(stage_change(operation_set,
                           at("/m/c/l[name=a\x01"
                              "b]"),
                           "'v\x03w'"),
              0);
    EXPECT_EQ(section("[config]"), "set /m/c/l[name=a/]\nadd /m/c/l l[name=a/]\n"
                                   "set /m/c/l[name=a/b] 'v\x03w'");
    enter_rpc("/m/r");
    stage_entry(at("/m/r/pl"), "pl[n=1]", "/m/r/pl[n=1]");
    EXPECT_EQ(section("[config]"), "set /m/c/l[name=a/]\nadd /m/c/l l[name=a/]\n"
                                   "set /m/c/l[name=a/b] 'v\x03w'\nadd /m/r/pl pl[n=1]");
    EXPECT_EQ(section("[rpc_para]"), "set /m/r/pl[n=1]");
    EXPECT_EQ(stage_change(operation_set, at("/m"), std::string(1000, 'v').c_str()), -1);
}

TEST_F(edit_commands_test, what_cannot_be_read_back_is_not_recorded)
{
    session.oneshot = 1;
    EXPECT_EQ(stage_change(operation_set, at("/m/c/l[name=it's]/v"),
                           "'c\x03"
                           "d'"),
              -1);
    stage_change(operation_delete,
                 at("/m/c/l[name=a\x03"
                    "b]"),
                 nullptr);
    stage_change(operation_delete, at("/m/c/l[]"), nullptr);
    // The first line would do, the second would not.
    stage_entry(at("/m/c/l[name=it's]/in"), "in[k=it's]", "/m/c/l[name=it's]/in[k=b]");
    EXPECT_EQ(profile(), "(no file)");
}

TEST_F(edit_commands_test, malformed_paths_are_not_staged)
{
    serve_nothing();
    EXPECT_TRUE(refused(cmd_set, "set /m/c/l[]/v 1"));
    EXPECT_TRUE(refused(cmd_set, "set /m/c/x[ 1"));
    EXPECT_TRUE(refused(cmd_set, "set /m/c/l[ 1"));
    EXPECT_TRUE(refused(cmd_delete, "delete /m/c/l[=x]/in"));
    session.oneshot = 1;
    EXPECT_TRUE(refused(cmd_set, "set /m/c/l[]/v 1"));
    EXPECT_EQ(del(" /m/c/l[=x]/in"), "");
    EXPECT_EQ(profile(), "(no file)");
}

} // namespace
