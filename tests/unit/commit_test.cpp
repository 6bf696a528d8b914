// The command commit.
#include "commands/commands.h"

#include "tests/support/profile_world.h"

namespace
{

const std::string ok = "<rpc-reply message-id=\"1\"><ok/></rpc-reply>";
const std::string printed_ok = "\r\n<rpc-reply message-id=\"1\">\n  <ok/>\n  </rpc-reply>\n";

class commit_test : public profile_world
{
  protected:
    static std::string commit()
    {
        return output_of(cmd_commit, "commit");
    }

    static void run(int (*command)(const char *), const std::string &line)
    {
        EXPECT_EQ(output_of(command, line), "") << line;
    }

    // Frees what a failed exchange left detached.
    static void free_detached(command_tree *tree)
    {
        cmd_node *node = tree->log.first;
        ASSERT_NE(node, nullptr);
        while (node->parent != nullptr)
            node = node->parent;
        tree_free_subtree(tree, node);
    }
};

TEST_F(commit_test, one_request_with_all_changes)
{
    run(cmd_set, "set /m/c/x 1");
    run(cmd_set, "set /m/c/l[name=a/b:c]/v \"p q\"");
    ASSERT_EQ(tree_stage_config("/m/top", nullptr, operation_delete), 0);
    local_entries_add("/m/c/l", "l[name=z]");
    serve({ok});
    captured_log_take();
    EXPECT_EQ(commit(), printed_ok);
    EXPECT_EQ(captured_log_take(), (log_lines{{14, "[INFO] Send a message to tarnd.\n"},
                                              {14, "[INFO] Recv a message from tarnd.\n"}}));
    EXPECT_EQ(requests(),
              (std::vector<std::string>{
                  "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">\r\n"
                  "  <edit-config>\r\n"
                  "    <target>\r\n"
                  "      <running/>\r\n"
                  "    </target>\r\n"
                  "    <error-option>rollback-on-error</error-option>\r\n"
                  "    <config xmlns:xc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">\r\n"
                  "<top xmlns=\"urn:m\" xc:operation=\"delete\"></top>"
                  "<c xmlns=\"urn:m\"><l><name>a/b:c</name><v>p q</v></l><x>1</x></c>"
                  "    </config>\r\n"
                  "  </edit-config>\r\n"
                  "</rpc>\r\n"}));
    EXPECT_EQ(session.config_tree.root, nullptr);
    EXPECT_EQ(session.config_tree.log.first, nullptr);
    EXPECT_EQ(session.entries, nullptr);
    EXPECT_EQ(session.output.slot[0], nullptr);
}

TEST_F(commit_test, nothing_to_commit)
{
    connect();
    EXPECT_TRUE(refused(cmd_commit, "commit"));
    EXPECT_TRUE(refused(cmd_commit, "commit  "));
    EXPECT_EQ(session.message_id, 0U);
    EXPECT_EQ(session.send_seq, 0U);
}

TEST_F(commit_test, takes_no_word)
{
    run(cmd_set, "set /m/c/x 1");
    EXPECT_TRUE(refused(cmd_commit, "commit now"));
    EXPECT_NE(session.config_tree.root, nullptr);
}

TEST_F(commit_test, message_ids_are_shared)
{
    serve({ok, ok, ok});
    session.message_id = 41;
    run(cmd_set, "set /m/c/x 1");
    commit();
    output_of(cmd_save, "save");
    run(cmd_set, "set /m/c/x 2");
    commit();
    std::vector<std::string> texts = requests();
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[0], edit_request(41, "<c xmlns=\"urn:m\"><x>1</x></c>"));
    EXPECT_EQ(texts[2], edit_request(43, "<c xmlns=\"urn:m\"><x>2</x></c>"));
    EXPECT_EQ(session.message_id, 44U);
}

TEST_F(commit_test, message_ids_are_shown_signed)
{
    serve({ok});
    session.message_id = 0x80000000U;
    run(cmd_set, "set /m/c/x 1");
    commit();
    EXPECT_EQ(requests()[0].substr(0, rpc_line(-2147483647 - 1).size()), rpc_line(-2147483647 - 1));
}

TEST_F(commit_test, an_error_reply_drops_the_changes_too)
{
    run(cmd_set, "set /m/c/x 1");
    serve({"<rpc-reply><rpc-error><error-tag>x</error-tag></rpc-error></rpc-reply>"});
    EXPECT_EQ(commit(), "\r\n<rpc-reply>\n  <rpc-error>\n    <error-tag>\n      x\n"
                        "    </error-tag>\n  </rpc-error>\n</rpc-reply>\n");
    EXPECT_EQ(session.config_tree.root, nullptr);
}

TEST_F(commit_test, odd_replies)
{
    for (const char *reply : {"", "garbage", "<a"}) {
        run(cmd_set, "set /m/c/x 1");
        serve({reply});
        EXPECT_EQ(commit(), "\r\n");
        EXPECT_EQ(session.config_tree.root, nullptr);
    }
}

TEST_F(commit_test, a_notification_before_the_reply)
{
    run(cmd_set, "set /m/c/x 1");
    connect()
        .expect()
        .push("<notification "
              "xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"></notification>")
        .push(ok);
    server->start();
    EXPECT_EQ(commit(), "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">\n"
                        "</notification>\n" +
                            printed_ok);
}

TEST_F(commit_test, codes_are_restored_in_the_body_only)
{
    run(cmd_set, "set /m/c/x a\x01"
                 "b\x02"
                 "c");
    serve({ok});
    commit();
    EXPECT_EQ(requests()[0], edit_request(0, "<c xmlns=\"urn:m\"><x>a/b:c</x></c>"));
}

TEST_F(commit_test, bodies_of_any_size_arrive_whole)
{
    for (size_t size :
         {1000U, 3U << 10, 4060U, 4070U, 4080U, 4090U, 5U << 10, 100U << 10, 3U << 20}) {
        std::string value(size, 'v');
        run(cmd_set, "set /m/c/x " + value);
        run(cmd_set, "set /m/c/y end");
        serve({ok});
        session.message_id = 0;
        commit();
        EXPECT_TRUE(requests()[0] ==
                    edit_request(0, "<c xmlns=\"urn:m\"><y>end</y><x>" + value + "</x></c>"))
            << size;
    }
}

TEST_F(commit_test, many_entries_arrive_in_order)
{
    std::string body;
    std::vector<std::string> parts;
    for (int i = 0; i < 10000; i++) {
        std::string name = std::to_string(i);
        ASSERT_EQ(tree_stage_config(("/m/c/l[name=" + name + "]/v").c_str(), "x&", operation_set),
                  0);
        parts.push_back("<l><name>" + name + "</name><v>x&amp;</v></l>");
    }
    for (auto part = parts.rbegin(); part != parts.rend(); part++)
        body += *part;
    serve({ok});
    commit();
    EXPECT_TRUE(requests()[0] == edit_request(0, "<c xmlns=\"urn:m\">" + body + "</c>"));
}

TEST_F(commit_test, a_tree_that_cannot_be_written_is_kept)
{
    ASSERT_EQ(tree_stage_config("/nix/c/x", "1", operation_set), 0);
    serve({ok});
    EXPECT_TRUE(refused(cmd_commit, "commit"));
    EXPECT_NE(session.config_tree.root, nullptr);
    EXPECT_EQ(session.message_id, 0U);
    EXPECT_EQ(session.output.slot[0], nullptr);
    tree_free(&session.config_tree);
    run(cmd_set, "set /m/c/x 2");
    EXPECT_EQ(commit(), printed_ok);
    EXPECT_EQ(requests(),
              (std::vector<std::string>{edit_request(0, "<c xmlns=\"urn:m\"><x>2</x></c>")}));
}

TEST_F(commit_test, a_failed_send_detaches_the_changes)
{
    run(cmd_set, "set /m/c/x 1");
    local_entries_add("/m/c/l", "l[name=a]");
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(commit(), "Send message error. \r\n");
    EXPECT_EQ(session.config_tree.root, nullptr);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 1);
    EXPECT_TRUE(refused(cmd_commit, "commit"));
    EXPECT_EQ(session.message_id, 1U);
    free_detached(&session.config_tree);
}

TEST_F(commit_test, a_failed_read_detaches_the_changes)
{
    run(cmd_set, "set /m/c/x 1");
    connect().expect().hang_up();
    server->start();
    commit();
    EXPECT_EQ(session.config_tree.root, nullptr);
    EXPECT_TRUE(refused(cmd_commit, "commit"));
    EXPECT_EQ(session.message_id, 1U);
    free_detached(&session.config_tree);
    // Without a connection the send is taken for a success.
    disconnect();
    run(cmd_set, "set /m/c/x 1");
    commit();
    EXPECT_EQ(session.config_tree.root, nullptr);
    free_detached(&session.config_tree);
}

TEST_F(commit_test, changes_after_a_failed_exchange)
{
    run(cmd_set, "set /m/c/x lost");
    commit();
    cmd_node *lost = session.config_tree.log.first;
    run(cmd_set, "set /m/c/y 2");
    serve({ok});
    EXPECT_EQ(commit(), printed_ok);
    EXPECT_EQ(requests()[0], edit_request(1, "<c xmlns=\"urn:m\"><y>2</y></c>"));
    EXPECT_EQ(session.config_tree.log.first, lost);
    free_detached(&session.config_tree);
}

TEST_F(commit_test, an_rpc_with_input)
{
    run(cmd_set, "set /m/c/x kept");
    local_entries_add("/m/c/l", "l[name=a]");
    local_entries_add("/m/r/pl", "pl[n=1]");
    enter_rpc("/m/r");
    stand_at("/m/r/pc");
    run(cmd_set, "set /m/r/p a:b");
    run(cmd_set, "set q 2");
    run(cmd_set, "set /m/r/pl[n=a/b]/d 3");
    serve({ok});
    EXPECT_EQ(commit(), printed_ok);
    EXPECT_EQ(requests(), (std::vector<std::string>{rpc_line(0) +
                                                    "<r xmlns=\"urn:m\"><pl><n>a/b</n><d>3</d></pl>"
                                                    "<pc><q>2</q></pc><p>a:b</p></r></rpc>\r\n"}));
    EXPECT_EQ(session.rpc_tree.root, nullptr);
    EXPECT_EQ(session.rpc_path, nullptr);
    EXPECT_STREQ(session.pwd, "/m");
    EXPECT_STREQ(session.prompt, "\n/m$ ");
    EXPECT_NE(session.config_tree.root, nullptr);
    EXPECT_EQ(local_entries_has("/m/c/l", "l[name=a]"), 1);
    EXPECT_EQ(local_entries_has("/m/r/pl", "pl[n=1]"), 0);
}

TEST_F(commit_test, an_rpc_without_input)
{
    enter_rpc("/m/r");
    serve({ok, ok});
    EXPECT_EQ(commit(), printed_ok);
    EXPECT_STREQ(session.pwd, "/m");
    enter_rpc("/m/bare");
    EXPECT_EQ(commit(), printed_ok);
    EXPECT_EQ(requests(), (std::vector<std::string>{
                              rpc_line(0) + "<r xmlns=\"urn:m\"></r></rpc>\r\n",
                              rpc_line(1) + "<bare xmlns=\"urn:m\"></bare></rpc>\r\n",
                          }));
}

TEST_F(commit_test, an_rpc_whose_exchange_fails_is_not_left)
{
    enter_rpc("/m/r");
    run(cmd_set, "set p 1");
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(commit(), "Send message error. \r\n");
    EXPECT_STREQ(session.rpc_path, "/m/r");
    EXPECT_STREQ(session.pwd, "/m/r");
    EXPECT_EQ(session.rpc_tree.root, nullptr);
    free_detached(&session.rpc_tree);
}

TEST_F(commit_test, an_rpc_in_an_unknown_module)
{
    enter_rpc("/nix/r");
    EXPECT_TRUE(refused(cmd_commit, "commit"));
}

TEST_F(commit_test, one_shot_sends_what_the_profile_holds)
{
    session.oneshot = 1;
    stand_at("/m/c");
    run(cmd_set, "set /m/c/x 1");
    run(cmd_set, "set ll \"a b\"");
    run(cmd_set, "set ll c");
    run(cmd_delete, "delete ll d");
    run(cmd_set, "set l[name='x y/z']/v 2");
    serve({ok});
    EXPECT_EQ(commit(), printed_ok);
    // The value word of a delete is not recorded: the values of the leaf-list
    // beyond the first are dropped.
    EXPECT_EQ(requests()[0],
              edit_request(0, "<c xmlns=\"urn:m\"><l><name>x y/z</name><v>2</v></l><ll>a b</ll>"
                              "<ll xc:operation=\"delete\"></ll><x>1</x></c>"));
    EXPECT_EQ(profile(), "[pwd]\n/m/c\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
}

TEST_F(commit_test, one_shot_with_nothing_staged)
{
    session.oneshot = 1;
    EXPECT_TRUE(refused(cmd_commit, "commit"));
    EXPECT_EQ(session.message_id, 0U);
    EXPECT_EQ(profile(), "(no file)");
}

TEST_F(commit_test, one_shot_in_rpc_mode)
{
    session.oneshot = 1;
    write_file(profile_name,
               "[pwd]\n/m/r/pc\n\n[config]\nset /m/c/x 1\nset /m/c/l[name=a]\n"
               "add /m/c/l l[name=a]\nadd /m/r/pl pl[n=1]\n\n[rpc]\n/m/r\n\n[rpc_para]\n"
               "set /m/r/p 5\n\n%%%\n");
    serve({ok});
    EXPECT_EQ(commit(), printed_ok);
    EXPECT_EQ(requests()[0], rpc_line(0) + "<r xmlns=\"urn:m\"><p>5</p></r></rpc>\r\n");
    EXPECT_EQ(profile(), "[pwd]\n/m\n\n[config]\nset /m/c/x 1\nset /m/c/l[name=a]\n"
                         "add /m/c/l l[name=a]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
}

TEST_F(commit_test, one_shot_keeps_its_lines_when_the_exchange_fails)
{
    const std::string text = "[pwd]\n/\n\n[config]\nset /m/c/x 1\n\n[rpc]\n\n[rpc_para]\n\n%%%\n";
    session.oneshot = 1;
    write_file(profile_name, text);
    commit();
    EXPECT_EQ(profile(), text);
    free_detached(&session.config_tree);
}

TEST_F(commit_test, one_shot_after_an_error_reply_writes_the_lines_away)
{
    session.oneshot = 1;
    write_file(profile_name, "[pwd]\n/\n\n[config]\nset /m/c/x 1\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    serve({"<rpc-reply><rpc-error/></rpc-reply>"});
    commit();
    EXPECT_EQ(profile(), "[pwd]\n/\n\n[config]\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
}

TEST_F(commit_test, one_shot_goes_on_after_a_bad_line)
{
    session.oneshot = 1;
    write_file(profile_name,
               "[pwd]\n/\n\n[config]\nset /m/c/x 1\nbad line\nset /m/c/y 2\n\n[rpc]\n\n"
               "[rpc_para]\n\n%%%\n");
    serve({ok});
    EXPECT_EQ(commit(), printed_ok);
    EXPECT_EQ(requests()[0], edit_request(0, "<c xmlns=\"urn:m\"><x>1</x></c>"));
}

} // namespace
