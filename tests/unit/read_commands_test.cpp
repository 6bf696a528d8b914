// The commands get and get-config.
#include "commands/commands.h"

#include "tests/support/profile_world.h"

namespace
{

std::string not_staged(const std::string &path)
{
    return path + " not exist in local configuration buffer \r\n";
}

class read_commands_test : public profile_world
{
  protected:
    static std::string get(const std::string &words)
    {
        captured_log_take();
        return output_of(cmd_get, "get" + words);
    }

    static std::string get_config(const std::string &words)
    {
        captured_log_take();
        return output_of(cmd_get_config, "get-config" + words);
    }

    static void stage(const char *path, const char *value)
    {
        ASSERT_EQ(tree_stage_config(path, value, operation_set), 0);
    }
};

TEST_F(read_commands_test, get_prints_the_reply)
{
    serve({data_reply("<c xmlns=\"urn:m\"><x>1</x></c>")});
    EXPECT_EQ(get(" /m/c/x"),
              "\r\n"
              "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"1\">\n"
              "  <data>\n"
              "    <c xmlns=\"urn:m\">\n"
              "      <x>\n"
              "        1\n"
              "      </x>\n"
              "    </c>\n"
              "  </data>\n"
              "</rpc-reply>\n");
    EXPECT_EQ(requests(),
              (std::vector<std::string>{get_request(0, "<c xmlns=\"urn:m\"><x></x></c>")}));
}

TEST_F(read_commands_test, get_takes_any_node)
{
    stand_at("/m");
    serve({"<a></a>", "<a></a>", "<a></a>"});
    EXPECT_EQ(get(" state"), "\r\n<a>\n</a>\n");
    EXPECT_EQ(get(" c/p2"), "\r\n<a>\n</a>\n");
    EXPECT_EQ(get(" c/l[name='a/b c']/v"), "\r\n<a>\n</a>\n");
    EXPECT_EQ(requests(),
              (std::vector<std::string>{
                  get_request(0, "<state xmlns=\"urn:m\"></state>"),
                  get_request(1, "<c xmlns=\"urn:m\"><p2></p2></c>"),
                  get_request(2, "<c xmlns=\"urn:m\"><l><name>a/b c</name><v></v></l></c>"),
              }));
}

TEST_F(read_commands_test, get_refusals)
{
    EXPECT_TRUE(refused(cmd_get, "get"));
    EXPECT_TRUE(refused(cmd_get, "get a b"));
    EXPECT_TRUE(refused(cmd_get, "get /m"));
    EXPECT_TRUE(refused(cmd_get, "get /m/nix['a b']"));
    EXPECT_TRUE(refused(cmd_get, "get /nix"));
    EXPECT_TRUE(refused(cmd_get, "get /.."));
    EXPECT_TRUE(refused(cmd_get, "get /"));
    stand_at("/m/c");
    EXPECT_TRUE(refused(cmd_get, "get .."));
    enter_rpc("/m/r");
    EXPECT_TRUE(refused(cmd_get, "get"));
    EXPECT_TRUE(refused(cmd_get, "get p"));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(read_commands_test, get_failures_print_nothing)
{
    EXPECT_EQ(get(" /m/c"), ""); // no connection
    EXPECT_EQ(get(" /m/c/l[name=" + std::string(5000, 'v') + "]"), "");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] buf is not enough!\n"},
                                              {11, "[ERROR] failed to build netconf get msg!\n"}}));
    connect().expect().hang_up();
    server->start();
    EXPECT_EQ(get(" /m/c"), "");
    disconnect();
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(get(" /m/c"), "");
}

TEST_F(read_commands_test, get_config_from_running_and_startup)
{
    serve({"<a></a>", "<a></a>"});
    EXPECT_EQ(get_config(" -r /m/c"), "\r\n<a>\n</a>\n");
    stand_at("/m/c");
    EXPECT_EQ(get_config(" -s l2[k1=1,k2='x y']"), "\r\n<a>\n</a>\n");
    EXPECT_EQ(requests(),
              (std::vector<std::string>{
                  get_config_request(0, "<c xmlns=\"urn:m\"></c>"),
                  get_config_request(1, "<c xmlns=\"urn:m\"><l2><k1>1</k1><k2>x y</k2></l2></c>",
                                     "startup"),
              }));
}

TEST_F(read_commands_test, get_config_refusals)
{
    testing::internal::CaptureStderr();
    for (const char *words : {"", " -r", " -s", " /m/c", " -x /m/c", " -rx /m/c", " - /m/c",
                              " -r a b", " -l a b", " /m/c -r", " r /m/c", " -- /m/c", " -? x"})
        EXPECT_TRUE(refused(cmd_get_config, std::string("get-config") + words));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(refused(cmd_get_config, "get-config -r /m"));
    EXPECT_TRUE(refused(cmd_get_config, "get-config -r /m/state"));
    EXPECT_TRUE(refused(cmd_get_config, "get-config -s /m/c/up"));
    EXPECT_TRUE(refused(cmd_get_config, "get-config -r /m/nix"));
    EXPECT_TRUE(refused(cmd_get_config, "get-config -s nix['[ ]']"));
    stand_at("/m/state");
    EXPECT_TRUE(refused(cmd_get_config, "get-config -r load"));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(read_commands_test, a_word_that_looks_like_an_option_is_a_path)
{
    fake_redis_put_module("-s", "urn:s");
    fake_redis_put_node("/-s", "x", fake_leaf);
    serve({"<a></a>"});
    EXPECT_EQ(get_config(" -r -s/x"), "\r\n<a>\n</a>\n");
}

TEST_F(read_commands_test, get_config_in_rpc_mode)
{
    enter_rpc("/m/r");
    EXPECT_TRUE(refused(cmd_get_config, "get-config -r /m/c"));
    EXPECT_TRUE(refused(cmd_get_config, "get-config -s /m/c"));
    EXPECT_TRUE(refused(cmd_get_config, "get-config -r"));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(read_commands_test, get_config_failures)
{
    EXPECT_EQ(get_config(" -r /m/c"), "recv error!\r\n"); // no connection
    EXPECT_EQ(get_config(" -r /m/c/l[name=" + std::string(5000, 'v') + "]"), "fail !!\r\n");
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(get_config(" -s /m/c"), "send error!\r\n");
}

TEST_F(read_commands_test, what_is_staged)
{
    EXPECT_EQ(get_config(" -l"), "");
    stage("/m/c/x", "1");
    stage("/m/c/y", "\"a <\x03>\"");
    stage("/m/c/l[name=a\x01"
          "b\x02"
          "c]/v",
          "'x\x0dy'");
    EXPECT_EQ(get_config(" -l"),
              "<c xmlns=\"urn:m\"><l><name>a/b:c</name><v>x=y</v></l><y>a < ></y><x>1</x></c>\n");
    EXPECT_EQ(session.output.slot[0], nullptr);
    EXPECT_NE(session.config_tree.root, nullptr);
    EXPECT_EQ(get_config(" -l /m/c/x"), "<x>1</x>\n");
    EXPECT_EQ(get_config(" -l /m/c/l[name=a/b:c]"), "<l><name>a/b:c</name><v>x=y</v></l>\n");
    stand_at("/m");
    EXPECT_EQ(get_config(" -l c/x"), "<x>1</x>\n");
    // A list is shown by the node that holds its entries.
    EXPECT_EQ(get_config(" -l c/l"),
              "<c xmlns=\"urn:m\"><l><name>a/b:c</name><v>x=y</v></l><y>a < ></y><x>1</x></c>\n");
}

TEST_F(read_commands_test, what_is_not_staged)
{
    EXPECT_EQ(get_config(" -l /m/c/x"), not_staged("/m/c/x"));
    stage("/m/c/x", "1");
    for (const char *path : {"/m/c/y", "l[k='a b']", "/..", "%n%s", "-r"})
        EXPECT_EQ(get_config(std::string(" -l ") + path), not_staged(path));
}

TEST_F(read_commands_test, staged_deletes)
{
    ASSERT_EQ(tree_stage_config("/m/c/x", nullptr, operation_delete), 0);
    EXPECT_EQ(get_config(" -l"), "<c xmlns=\"urn:m\"><x xc:operation=\"delete\"></x></c>\n");
}

TEST_F(read_commands_test, entities_in_staged_values_are_decoded)
{
    stage("/m/c/x", "&lt;\x01"
                    "&amp;\"q\"");
    // Written as entities, decoded once; the value's own entities stay.
    EXPECT_EQ(get_config(" -l /m/c/x"), "<x>&lt;/&amp;\"q\"</x>\n");
}

TEST_F(read_commands_test, the_staged_input_of_an_rpc)
{
    stage("/m/c/x", "1");
    enter_rpc("/m/r");
    EXPECT_EQ(get_config(" -l"), "");
    ASSERT_EQ(tree_stage_rpc("/m/r/p", "5", operation_set), 0);
    EXPECT_EQ(get_config(" -l"), "<r xmlns=\"urn:m\"><p>5</p></r>\n");
    EXPECT_EQ(get_config(" -l p"), "<p>5</p>\n");
    EXPECT_EQ(get_config(" -l /m/c/x"), not_staged("/m/c/x"));
}

TEST_F(read_commands_test, one_text_for_each_chunk)
{
    stage("/m/c/x", std::string(3000, 'x').c_str());
    stage("/m/c/y", std::string(3000, 'y').c_str());
    EXPECT_EQ(get_config(" -l"), "<c xmlns=\"urn:m\"><y>" + std::string(3000, 'y') + "</y>\n<x>" +
                                     std::string(3000, 'x') + "</x></c>\n");
}

TEST_F(read_commands_test, a_tree_that_cannot_be_written)
{
    stage("/nix/c/x", "1");
    EXPECT_EQ(get_config(" -l"), "");
    EXPECT_EQ(captured_log_take().back(),
              std::make_pair(11, std::string("[ERROR] cmdtree2netconf error \r\n\n")));
}

TEST_F(read_commands_test, one_shot)
{
    write_file(profile_name,
               "[pwd]\n/m/c\n\n[config]\nset /m/c/x 1\n\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    session.oneshot = 1;
    // What is staged is not shown.
    EXPECT_EQ(get_config(" -l").find('<'), std::string::npos);
    EXPECT_EQ(get_config(" -l x").find('<'), std::string::npos);
    EXPECT_EQ(session.message_id, 0U);
    serve({"<a></a>"});
    EXPECT_EQ(get_config(" -r x"), "\r\n<a>\n</a>\n"); // from the profile's workspace
}

} // namespace
