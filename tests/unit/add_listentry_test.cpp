// The command add-listentry.
#include "commands/commands.h"

#include "tests/support/profile_world.h"

namespace
{

const std::string no_keys = "failed to get list's keys \r\n";

class add_listentry_test : public profile_world
{
  protected:
    void SetUp() override
    {
        profile_world::SetUp();
        stand_at("/m/c/l");
    }

    static std::string add(const std::string &words)
    {
        return output_of(cmd_add_listentry, "add-listentry" + words);
    }

    void serve_entries(const std::string &entries, size_t count = 1)
    {
        serve(
            std::vector<std::string>(count, data_reply("<c xmlns=\"urn:m\">" + entries + "</c>")));
    }
};

TEST_F(add_listentry_test, stages_an_entry)
{
    serve_entries("", 2);
    EXPECT_EQ(add(" name a"), "");
    EXPECT_EQ(add(" name b"), "");
    EXPECT_EQ(log(), "1 /m/c/l[name=a]\n1 /m/c/l[name=b]\n");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 1);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=b]"), 1);
    EXPECT_EQ(requests()[0], get_config_request(0, "<c xmlns=\"urn:m\"><l><name></name></l></c>"));
    EXPECT_EQ(profile(), "(no file)");
}

TEST_F(add_listentry_test, keys_in_either_order)
{
    stand_at("/m/c/l2");
    serve_entries("", 2);
    EXPECT_EQ(add(" k2 y k1 x"), "");
    EXPECT_EQ(add(" k1 p k2 q"), "");
    EXPECT_EQ(log(), "1 /m/c/l2[k1=x,k2=y]\n1 /m/c/l2[k1=p,k2=q]\n");
}

TEST_F(add_listentry_test, key_values_get_both_protections)
{
    serve_entries("", 2);
    EXPECT_EQ(add(" name a/b:c"), "");
    EXPECT_EQ(add(" name 'x y,[z]=/'"), "");
    EXPECT_EQ(log(), "1 /m/c/l[name=a\x01"
                     "b\x02"
                     "c]\n"
                     "1 /m/c/l[name='x\x03y\x0e\x0bz\x0c\x0d\x01']\n");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a\x01"
                                          "b\x02"
                                          "c]"),
              1);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name='x\x03y\x0e\x0bz\x0c\x0d\x01']"), 1);
}

TEST_F(add_listentry_test, in_the_workspace_of_a_nested_list)
{
    stand_at("/m/c/l[name=a/b]/in");
    serve_entries("");
    EXPECT_EQ(add(" k 1"), "");
    EXPECT_EQ(log(), "1 /m/c/l[name=a\x01"
                     "b]/in[k=1]\n");
    EXPECT_EQ(local_entries_has("/m/c/l[name=a\x01"
                                "b]/in",
                                "in[k=1]"),
              1);
}

TEST_F(add_listentry_test, the_number_of_words)
{
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry"));
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name"));
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name a k"));
}

TEST_F(add_listentry_test, works_at_a_list_only)
{
    for (const char *path :
         {"/", "/m", "/m/c", "/m/c/x", "/m/c/l[name=a]", "/m/r", "/nix", "/m/nix"}) {
        stand_at(path);
        EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name a")) << path;
    }
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(add_listentry_test, works_at_configuration_only)
{
    fake_redis_put_node("/m/state", "sl", fake_list, false);
    for (const char *path : {"/m/state", "/m/state/sl", "/m/state/sl[k='a b/c']"}) {
        stand_at(path);
        EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name a")) << path;
    }
}

TEST_F(add_listentry_test, keys_that_the_list_does_not_have)
{
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry nix a"));
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] invalid key:nix\n"}}));
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name a nix b"));
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] expect 1 kvs but 2 in fact\n"}}));
    stand_at("/m/c/l2");
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry k1 a"));
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry k1 a k1 b"));
    fake_redis_put_node("/m/c", "keyless", fake_list);
    stand_at("/m/c/keyless");
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry k1 a"));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(add_listentry_test, a_key_may_carry_its_prefix)
{
    serve_entries("");
    EXPECT_EQ(add(" m:name a"), "");
    EXPECT_EQ(log(), "1 /m/c/l[name=a]\n");
}

TEST_F(add_listentry_test, keys_that_cannot_be_read)
{
    // Every look-up before the keys' works.
    int reads_needed = fake_redis_reads();
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry nix a"));
    reads_needed = fake_redis_reads() - reads_needed;
    fake_redis_fail_after(reads_needed - 1);
    EXPECT_EQ(add(" name a"), no_keys);
    EXPECT_EQ(log(), "");
}

TEST_F(add_listentry_test, the_same_entry_twice)
{
    serve_entries("");
    EXPECT_EQ(add(" name 'a b/c'"), "");
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name 'a b/c'"));
    EXPECT_EQ(log(), "1 /m/c/l[name='a\x03"
                     "b\x01"
                     "c']\n");
}

TEST_F(add_listentry_test, an_entry_of_the_server)
{
    serve_entries("<l><name>a</name></l><l><name>b/c d</name></l>", 3);
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name a"));
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name \"b/c d\""));
    EXPECT_EQ(add(" name A"), "");
    EXPECT_EQ(log(), "1 /m/c/l[name=A]\n");
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 0);
}

TEST_F(add_listentry_test, a_server_that_fails_does_not_hinder)
{
    EXPECT_EQ(add(" name a"), ""); // no connection
    EXPECT_EQ(log(), "1 /m/c/l[name=a]\n");
}

TEST_F(add_listentry_test, a_staged_entry_below_which_something_is_staged)
{
    serve_entries("");
    ASSERT_EQ(tree_stage_config("/m/c/l[name=a]/v", "1", operation_set), 0);
    EXPECT_EQ(add(" name a"), "");
    EXPECT_EQ(log(), "1 /m/c/l[name=a]/v 1\n1 /m/c/l[name=a]\n");
}

TEST_F(add_listentry_test, in_rpc_mode)
{
    enter_rpc("/m/r");
    connect();
    stand_at("/m/r/pl");
    EXPECT_EQ(add(" n 1"), "");
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry n 1"));
    EXPECT_EQ(log(session.rpc_tree), "1 /m/r/pl[n=1]\n");
    EXPECT_EQ(log(), "");
    EXPECT_EQ(session.message_id, 0U); // the server is not asked
    stand_at("/m/c/l");
    EXPECT_TRUE(refused(cmd_add_listentry, "add-listentry name a"));
}

TEST_F(add_listentry_test, one_shot_records_two_lines)
{
    session.oneshot = 1;
    EXPECT_EQ(add(" name 'a b/c'"), "");
    EXPECT_EQ(add(" name x"), "");
    EXPECT_EQ(add(" name x"), ""); // not compared in this mode
    EXPECT_EQ(profile(), "[pwd]\n/m/c/l\n\n[config]\n"
                         "set /m/c/l[name='a b/c']\nadd /m/c/l l[name='a b/c']\n"
                         "set /m/c/l[name=x]\nadd /m/c/l l[name=x]\n"
                         "set /m/c/l[name=x]\nadd /m/c/l l[name=x]\n"
                         "\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    EXPECT_EQ(session.config_tree.root, nullptr);
    EXPECT_EQ(session.entries, nullptr);
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(add_listentry_test, one_shot_in_rpc_mode)
{
    session.oneshot = 1;
    enter_rpc("/m/r");
    stand_at("/m/r/pl");
    EXPECT_EQ(add(" n 1"), "");
    EXPECT_EQ(profile(), "[pwd]\n/m/r/pl\n\n[config]\nadd /m/r/pl pl[n=1]\n\n\n"
                         "[rpc]\n/m/r\n\n[rpc_para]\nset /m/r/pl[n=1]\n\n\n%%%\n");
}

TEST_F(add_listentry_test, one_shot_whose_first_record_is_refused)
{
    session.oneshot = 1;
    // "set /m/c/l[name=...]" has 1001 bytes, "add /m/c/l l[name=...]" 1003.
    EXPECT_EQ(add(" name " + std::string(1001 - 17, 'n')), "");
    EXPECT_EQ(profile(), "(no file)");
    // One byte less: the first fits, the second does not.
    EXPECT_EQ(add(" name " + std::string(1000 - 17, 'n')), "");
    EXPECT_EQ(profile(),
              "[pwd]\n/m/c/l\n\n[config]\nset /m/c/l[name=" + std::string(1000 - 17, 'n') +
                  "]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
}

TEST_F(add_listentry_test, odd_values_do_no_harm)
{
    serve_entries("", 40);
    for (const char *value : {"a,b", "a=b", "[", "]", "a]b", "'", "\"", "'a", "=", ",", "[]", "..",
                              "/", ":", "\x01", "%n%s"})
        add(std::string(" name ") + value);
}

} // namespace
