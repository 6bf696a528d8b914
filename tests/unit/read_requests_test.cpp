// The texts of get and get-config requests.
#include "browse/read_requests.h"

#include "tests/support/shell_world.h"

namespace
{

class read_requests_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    static std::string text(const text_buffer &request)
    {
        return request.data ? request.data.get() + frame_room.size() : "(none)";
    }

    static key_names *names(key_names *keys, const std::vector<std::string> &list)
    {
        for (const std::string &name : list)
            EXPECT_EQ(key_names_add(keys, name), 0);
        return keys;
    }
};

TEST_F(read_requests_test, get)
{
    EXPECT_EQ(text(build_get("/m/c")),
              "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">\r\n"
              "  <get>\r\n"
              "    <filter type=\"subtree\">\r\n"
              "<c xmlns=\"urn:m\"></c>"
              "    </filter>\r\n"
              "  </get>\r\n"
              "</rpc>\r\n");
}

TEST_F(read_requests_test, get_config_from_both_datastores)
{
    EXPECT_EQ(text(build_get_config("/m/c/x", read_source_running)),
              "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">\r\n"
              "  <get-config>\r\n"
              "    <source>\r\n"
              "      <running/>\r\n"
              "    </source>\r\n"
              "    <filter type=\"subtree\">\r\n"
              "<c xmlns=\"urn:m\"><x></x></c>"
              "    </filter>\r\n"
              "  </get-config>\r\n"
              "</rpc>\r\n");
    EXPECT_EQ(text(build_get_config("/m/c/x", read_source_startup)),
              get_config_request(1, "<c xmlns=\"urn:m\"><x></x></c>", "startup"));
}

TEST_F(read_requests_test, message_ids_increase_over_all_kinds)
{
    key_names keys;
    names(&keys, {"name"});
    session.message_id = 9;
    EXPECT_EQ(text(build_get("/m/c")).substr(0, rpc_line(9).size()), rpc_line(9));
    EXPECT_EQ(text(build_get_config("/m/c", read_source_running)).substr(0, rpc_line(10).size()),
              rpc_line(10));
    EXPECT_EQ(text(build_get_list_keys("/m/c/l", &keys)).substr(0, rpc_line(11).size()),
              rpc_line(11));
    EXPECT_EQ(session.message_id, 12U);
}

TEST_F(read_requests_test, list_keys)
{
    key_names keys;
    names(&keys, {"k2", "k1"});
    // The tree lists the newest child first.
    EXPECT_EQ(text(build_get_list_keys("/m/c/l2", &keys)),
              get_config_request(0, "<c xmlns=\"urn:m\"><l2><k1></k1><k2></k2></l2></c>"));
    key_names prefixed;
    names(&prefixed, {"k1", "o:k2"});
    EXPECT_EQ(text(build_get_list_keys("/m/c/l2", &prefixed)),
              get_config_request(1, "<c xmlns=\"urn:m\"><l2><k2 xmlns=\"urn:o\"></k2>"
                                    "<k1></k1></l2></c>"));
}

TEST_F(read_requests_test, key_values_are_content_matches)
{
    EXPECT_EQ(text(build_get("/m/c/l2[k1=a<b,k2='x\x03y']/v")),
              get_request(0, "<c xmlns=\"urn:m\"><l2><k1>a&lt;b</k1><k2>x y</k2><v></v></l2></c>"));
}

TEST_F(read_requests_test, masked_values_are_written_plain)
{
    EXPECT_EQ(text(build_get("/m/c/l[name=a\x01"
                             "b]")),
              get_request(0, "<c xmlns=\"urn:m\"><l><name>a/b</name></l></c>"));
}

TEST_F(read_requests_test, a_module_is_refused)
{
    EXPECT_EQ(printed_by([] { EXPECT_EQ(build_get("/m").data, nullptr); }),
              "please give a node in the module!\r\n");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] Failed to build /m's tree!\n"}}));
    EXPECT_EQ(session.message_id, 1U); // taken all the same
    key_names keys;
    names(&keys, {"k"});
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(build_get_list_keys("/m", &keys).data, nullptr); }),
              "please give a node in the module!\r\n");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] Failed to build list:/m's tree.\n"}}));
    EXPECT_EQ(session.message_id, 2U);
}

TEST_F(read_requests_test, what_is_no_element_has_no_filter)
{
    key_names keys;
    names(&keys, {"k"});
    EXPECT_EQ(printed_by([&] {
                  EXPECT_EQ(build_get("/m/c/l[name='a\x03"
                                      "b")
                                .data,
                            nullptr);
                  EXPECT_EQ(build_get_config("/m/c/l[]/v", read_source_startup).data, nullptr);
                  EXPECT_EQ(build_get_list_keys("/m/c/l[]/in", &keys).data, nullptr);
              }),
              "");
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] Failed to build /m/c/l[name='a b's tree!\n"},
                         {15, "[DEBUG] Failed to build /m/c/l[]/v's tree!\n"},
                         {15, "[DEBUG] Failed to build list:/m/c/l[]/in's tree.\n"}}));
    EXPECT_EQ(session.message_id, 3U); // taken all the same
}

TEST_F(read_requests_test, an_unknown_module_has_no_filter)
{
    EXPECT_EQ(build_get("/nix/c").data, nullptr);
    EXPECT_EQ(build_get("/m/c/nix:x").data, nullptr);
    EXPECT_EQ(session.message_id, 2U);
}

TEST_F(read_requests_test, a_request_of_4095_characters_is_the_longest)
{
    fake_redis_put_node("/m", "l", fake_list);
    std::string filter = "<l xmlns=\"urn:m\"><name>";
    size_t rest = get_request(0, filter + "</name></l>").size();
    std::string fits(4095 - rest, 'v');
    EXPECT_EQ(text(build_get(("/m/l[name=" + fits + "]").c_str())),
              get_request(0, filter + fits + "</name></l>"));
    captured_log_take();
    EXPECT_EQ(build_get(("/m/l[name=" + fits + "v]").c_str()).data, nullptr);
    EXPECT_EQ(session.message_id, 2U);
}

TEST_F(read_requests_test, a_filter_that_does_not_fit_is_told)
{
    EXPECT_EQ(build_get(("/m/c/l[name=" + std::string(5000, 'v') + "]").c_str()).data, nullptr);
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] buf is not enough!\n"}}));
}

} // namespace
