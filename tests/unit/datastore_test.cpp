// The commands copy-config, delete-config and save.
#include "commands/commands.h"

#include "commands/copy_request.h"
#include "tests/support/shell_world.h"

namespace
{

const std::string ok = "<rpc-reply message-id=\"1\"><ok/></rpc-reply>";
const std::string printed_ok = "<rpc-reply message-id=\"1\">\n  <ok/>\n  </rpc-reply>\n";

std::string copy_request(int message_id, const std::string &target, const std::string &source)
{
    return rpc_line(message_id) + "  <copy-config>\r\n    <target>\r\n      " + target +
           "\r\n    </target>\r\n    <source>\r\n      " + source +
           "    </source>\r\n  </copy-config>\r\n</rpc>\r\n";
}

std::string config_source(const std::string &body)
{
    return "<config>\r\n" + body + "      </config>\r\n";
}

class datastore_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }
};

TEST_F(datastore_test, copy_config_between_datastores)
{
    serve({ok, ok, ok});
    captured_log_take();
    EXPECT_EQ(output_of(cmd_copy_config, "copy-config running startup"), printed_ok);
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] source: running\n\n"},
                                              {15, "[DEBUG] target: startup\n\n"},
                                              {14, "[INFO] Send a message to tarnd.\n"},
                                              {14, "[INFO] Recv a message from tarnd.\n"}}));
    EXPECT_EQ(output_of(cmd_copy_config, "copy-config  candidate\trunning"), printed_ok);
    EXPECT_EQ(output_of(cmd_copy_config, "copy-config startup candidate"), printed_ok);
    EXPECT_EQ(requests(), (std::vector<std::string>{
                              copy_request(0, "<startup/>", "<running/>\r\n"),
                              copy_request(1, "<running/>", "<candidate/>\r\n"),
                              copy_request(2, "<candidate/>", "<startup/>\r\n"),
                          }));
}

TEST_F(datastore_test, copy_config_refusals)
{
    for (const char *words :
         {"", " running", " running startup x", " Running startup", " http://x/y startup",
          " 'running' startup", " x x", " running config", " config config", " running http://x/y",
          " running running", " candidate candidate"})
        EXPECT_TRUE(refused(cmd_copy_config, std::string("copy-config") + words));
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_test, copy_config_of_the_staged_changes)
{
    serve({ok, ok});
    output_of(cmd_set, "set /m/c/x a<b");
    output_of(cmd_set, "set /m/c/l[name=a/b:c]/v 'x y'");
    local_entries_add("/m/c/l", "l[name=q]");
    EXPECT_EQ(output_of(cmd_copy_config, "copy-config config running"), printed_ok);
    EXPECT_EQ(session.config_tree.root, nullptr);
    EXPECT_EQ(session.config_tree.log.first, nullptr);
    EXPECT_EQ(session.entries, nullptr);
    EXPECT_EQ(session.output.slot[0], nullptr);
    // Nothing is staged any more.
    EXPECT_EQ(output_of(cmd_copy_config, "copy-config config candidate"), printed_ok);
    EXPECT_EQ(
        requests(),
        (std::vector<std::string>{
            copy_request(0, "<running/>",
                         config_source("<c xmlns=\"urn:m\"><l><name>a/b:c</name><v>x y</v></l>"
                                       "<x>a&lt;b</x></c>")),
            copy_request(1, "<candidate/>", config_source("")),
        }));
}

TEST_F(datastore_test, copy_config_of_deletes_declares_no_prefix)
{
    serve({ok});
    tree_stage_config("/m/c/x", nullptr, operation_delete);
    output_of(cmd_copy_config, "copy-config config running");
    EXPECT_EQ(
        requests()[0],
        copy_request(0, "<running/>",
                     config_source("<c xmlns=\"urn:m\"><x xc:operation=\"delete\"></x></c>")));
}

TEST_F(datastore_test, copy_config_takes_the_configuration_in_rpc_mode_too)
{
    serve({ok});
    output_of(cmd_set, "set /m/c/x 1");
    enter_rpc("/m/r");
    output_of(cmd_set, "set p 2");
    output_of(cmd_copy_config, "copy-config config running");
    EXPECT_EQ(requests()[0],
              copy_request(0, "<running/>", config_source("<c xmlns=\"urn:m\"><x>1</x></c>")));
    EXPECT_NE(session.rpc_tree.root, nullptr);
    EXPECT_STREQ(session.rpc_path, "/m/r");
}

TEST_F(datastore_test, copy_config_drops_the_changes_whatever_the_daemon_says)
{
    serve({"<rpc-reply><rpc-error></rpc-error></rpc-reply>"});
    output_of(cmd_set, "set /m/c/x 1");
    EXPECT_EQ(output_of(cmd_copy_config, "copy-config config running"),
              "<rpc-reply>\n  <rpc-error>\n  </rpc-error>\n</rpc-reply>\n");
    EXPECT_EQ(session.config_tree.root, nullptr);
}

TEST_F(datastore_test, copy_config_keeps_the_changes_that_cannot_be_written)
{
    serve({ok, ok});
    tree_stage_config("/nix/c/x", "1", operation_set);
    tree_stage_config("/m/c/x", "1", operation_set);
    captured_log_take();
    EXPECT_EQ(output_of(cmd_copy_config, "copy-config config running"), "");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] source: config\n\n"},
                                              {15, "[DEBUG] target: running\n\n"},
                                              {11, "[ERROR] cmdtree to netconf error \r\n\n"},
                                              {11, "[ERROR] fill target fail.\r\n\n"}}));
    EXPECT_NE(session.config_tree.root, nullptr);
    EXPECT_EQ(session.output.slot[0], nullptr);
    // The request that failed has taken its message id; the next body is whole.
    tree_free(&session.config_tree);
    tree_stage_config("/m/c/y", "2", operation_set);
    output_of(cmd_copy_config, "copy-config config running");
    EXPECT_EQ(requests(), (std::vector<std::string>{copy_request(
                              1, "<running/>", config_source("<c xmlns=\"urn:m\"><y>2</y></c>"))}));
}

TEST_F(datastore_test, copy_config_of_a_large_body)
{
    serve({ok});
    std::string body;
    for (int i = 0; i < 300; i++) {
        std::string name = std::to_string(i);
        tree_stage_config(("/m/c/l[name=" + name + "\x01]/v").c_str(),
                          std::string(9000, 'v').c_str(), operation_set);
        body.insert(0, "<l><name>" + name + "/</name><v>" + std::string(9000, 'v') + "</v></l>");
    }
    output_of(cmd_copy_config, "copy-config config running");
    EXPECT_TRUE(
        requests()[0] ==
        copy_request(0, "<running/>", config_source("<c xmlns=\"urn:m\">" + body + "</c>")));
}

TEST_F(datastore_test, copy_config_without_a_daemon)
{
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(output_of(cmd_copy_config, "copy-config running startup"),
              "send copy-config message fail.\r\n");
    disconnect();
    connect().expect().hang_up();
    server->start();
    EXPECT_TRUE(refused(cmd_copy_config, "copy-config running startup"));
    disconnect();
    EXPECT_TRUE(refused(cmd_copy_config, "copy-config running startup"));
    EXPECT_EQ(session.message_id, 3U);
}

TEST_F(datastore_test, datastore_codes)
{
    EXPECT_EQ(datastore_code(nullptr), 5);
    EXPECT_EQ(datastore_code("candidate"), 0);
    EXPECT_EQ(datastore_code("running"), 1);
    EXPECT_EQ(datastore_code("startup"), 2);
    EXPECT_EQ(datastore_code("config"), 3);
    EXPECT_EQ(datastore_code("runnin"), 4);
    EXPECT_EQ(datastore_code(""), 4);
}

TEST_F(datastore_test, copy_config_with_urls)
{
    serve({ok, ok});
    const std::string url = "ftp://u:p@h/" + std::string(3000, 'f') + "?%s";
    EXPECT_EQ(printed_by([&] {
                  copy_config(url.c_str(), nullptr, "startup");
                  copy_config("running", nullptr, url.c_str());
              }),
              printed_ok + printed_ok);
    EXPECT_EQ(requests(), (std::vector<std::string>{
                              copy_request(0, "<startup/>", "<url>" + url + "</url>\r\n"),
                              copy_request(1, "<url>" + url + "</url>", "<running/>\r\n"),
                          }));
}

TEST_F(datastore_test, copy_config_with_a_configuration_text)
{
    serve({ok});
    std::string text = "<c xmlns='urn:m'>" + std::string(100000, 'x') + "%n</c>";
    text_buffer config;
    ASSERT_EQ(text_append(&config, text), 0);
    EXPECT_EQ(printed_by([&] { copy_config("config", &config, "startup"); }), printed_ok);
    EXPECT_EQ(config.data, nullptr);
    EXPECT_EQ(requests()[0], copy_request(0, "<startup/>", config_source(text)));
}

TEST_F(datastore_test, copy_config_with_a_target_that_is_none)
{
    captured_log_take();
    EXPECT_EQ(printed_by([] { copy_config("running", nullptr, "config"); }), "type is error");
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] fill target fail.\r\n\n"}}));
}

TEST_F(datastore_test, copy_config_without_words)
{
    EXPECT_EQ(printed_by([] {
                  copy_config(nullptr, nullptr, "running");
                  copy_config("running", nullptr, nullptr);
              }),
              "");
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] input is null.\r\n\n"},
                                              {11, "[ERROR] input is null.\r\n\n"}}));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_test, delete_config)
{
    session.message_id = 6;
    connect().answer(ok);
    server->start();
    EXPECT_EQ(output_of(cmd_delete_config, "delete-config"), "\r\n" + printed_ok);
    auto frames = server->finish();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].body, rpc_line(6) +
                                  "  <delete-config>\r\n    <target>\r\n      <startup/>\r\n"
                                  "    </target>\r\n  </delete-config>\r\n</rpc>\r\n");
    EXPECT_EQ(session.message_id, 7U);
}

TEST_F(datastore_test, delete_config_refusals_and_failures)
{
    EXPECT_TRUE(refused(cmd_delete_config, "delete-config startup"));
    EXPECT_EQ(session.message_id, 0U);
    EXPECT_EQ(output_of(cmd_delete_config, "delete-config"), "");
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(output_of(cmd_delete_config, "delete-config"), "");
    EXPECT_EQ(session.message_id, 2U);
}

TEST_F(datastore_test, save)
{
    session.message_id = 4294967295U; // shown signed, wraps to 0
    serve({ok});
    EXPECT_EQ(output_of(cmd_save, "save"), "\r\n" + printed_ok);
    EXPECT_EQ(requests(),
              std::vector<std::string>{
                  "<rpc xmlns =\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id =\"-1\">\r\n"
                  "  <copy-config>\r\n    <target>\r\n      <startup/>\r\n    </target>\r\n"
                  "    <error-option>rollback-on-error</error-option>\r\n"
                  "    <source>\r\n      <running/>\r\n    </source>\r\n"
                  "  </copy-config>\r\n</rpc>\r\n"});
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_test, save_refusals_and_failures)
{
    EXPECT_TRUE(refused(cmd_save, "save x"));
    EXPECT_EQ(session.message_id, 0U);
    EXPECT_TRUE(refused(cmd_save, "save"));
    EXPECT_EQ(session.message_id, 1U);
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(output_of(cmd_save, "save"), "The save command send message fail! ");
}

} // namespace
