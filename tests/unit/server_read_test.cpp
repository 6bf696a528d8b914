// Asking the server whether data exist, and for a list's entries.
#include "browse/server_read.h"

#include "browse/descendants.h"
#include "browse/known_entries.h"
#include "tests/support/shell_world.h"

namespace
{

const std::pair<int, std::string> sent = {14, "[INFO] Send a message to tarnd.\n"};
const std::pair<int, std::string> received = {14, "[INFO] Recv a message from tarnd.\n"};

class server_read_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    bool has_data(const char *path)
    {
        captured_log_take();
        bool result = false;
        EXPECT_EQ(printed_by([&] { result = server_has_data(path); }), "");
        return result;
    }

    int entries(const char *list_path)
    {
        descendant_set set;
        captured_log_take();
        int result = server_list_entries(place_at(list_path, path_scope_session), &set);
        return result;
    }

    // Whether an entry is there, told by a plain reply and by one that takes a document.
    void compare_entry(const std::string &data, const std::string &name, bool is_there)
    {
        for (const char *end : {"", "<!-- -->", "<l2><k2>&amp;</k2><k1>1</k1></l2>"}) {
            const std::string reply = data_reply("<c xmlns=\"urn:m\">" + data + end + "</c>");
            serve({reply});
            EXPECT_EQ(server_has_entry(place_at("/m/c/l2", path_scope_session), name.c_str()),
                      is_there)
                << name << reply;
        }
    }
};

TEST_F(server_read_test, data_at_the_path)
{
    serve({data_reply("<c xmlns=\"urn:m\"><x>1</x></c>")});
    EXPECT_TRUE(has_data("/m/c/x"));
    EXPECT_EQ(captured_log_take(), (log_lines{sent, received}));
    EXPECT_EQ(requests(),
              (std::vector<std::string>{get_config_request(0, "<c xmlns=\"urn:m\"><x></x></c>")}));
}

TEST_F(server_read_test, data_elsewhere)
{
    for (const char *data :
         {"", "<c xmlns=\"urn:m\"/>", "<c xmlns=\"urn:m\"><y/></c>", "<c><x/></c>",
          "<c xmlns=\"urn:m\"><x xmlns=\"urn:o\"/></c>", "<x xmlns=\"urn:m\"/>"}) {
        serve({data_reply(data)});
        EXPECT_FALSE(has_data("/m/c/x")) << data;
    }
    serve({"<rpc-reply xmlns=\"urn:x\"><data><c xmlns=\"urn:m\"><x/></c></data></rpc-reply>"});
    EXPECT_FALSE(has_data("/m/c/x"));
}

TEST_F(server_read_test, an_empty_leaf_is_data)
{
    serve({data_reply("<c xmlns=\"urn:m\"><x/></c>")});
    EXPECT_TRUE(has_data("/m/c/x"));
}

TEST_F(server_read_test, data_in_a_list_entry)
{
    const std::string data = "<c xmlns=\"urn:m\"><l><name>a/b:c</name><v>1</v></l>"
                             "<l><name>x y</name></l><l><name>it's \"q\"</name><v>2</v></l></c>";
    serve({data_reply(data), data_reply(data), data_reply(data)});
    EXPECT_TRUE(has_data("/m/c/l[name=a\x01"
                         "b\x02"
                         "c]/v"));
    EXPECT_TRUE(has_data("/m/c/l[name='x\x03y']"));
    EXPECT_FALSE(has_data("/m/c/l[name='x\x03y']/v"));
    EXPECT_EQ(requests(),
              (std::vector<std::string>{
                  get_config_request(0, "<c xmlns=\"urn:m\"><l><name>a/b:c</name>"
                                        "<v></v></l></c>"),
                  get_config_request(1, "<c xmlns=\"urn:m\"><l><name>x y</name></l></c>"),
                  get_config_request(2, "<c xmlns=\"urn:m\"><l><name>x y</name>"
                                        "<v></v></l></c>"),
              }));
}

TEST_F(server_read_test, data_of_another_module)
{
    serve({data_reply("<c xmlns=\"urn:m\"><box xmlns=\"urn:o\"><lid>1</lid></box></c>")});
    EXPECT_TRUE(has_data("/m/c/o:box/lid"));
    EXPECT_EQ(
        requests()[0],
        get_config_request(0, "<c xmlns=\"urn:m\"><box xmlns=\"urn:o\"><lid></lid></box></c>"));
}

TEST_F(server_read_test, failures_are_told_to_the_log)
{
    EXPECT_FALSE(has_data("/nix/c"));
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] Build get msg error\n"}}));
    EXPECT_EQ(session.message_id, 1U);

    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_FALSE(has_data("/m/c"));
    EXPECT_EQ(captured_log_take(), (log_lines{sent,
                                              {11, "[ERROR] Send message failed(Broken pipe).\n"},
                                              {15, "[DEBUG] send get msg error\n"}}));
    disconnect();
    connect().expect().hang_up();
    server->start();
    EXPECT_FALSE(has_data("/m/c"));
    EXPECT_EQ(captured_log_take(), (log_lines{sent, {15, "[DEBUG] recv get msg reply error\n"}}));
}

TEST_F(server_read_test, empty_and_broken_replies)
{
    serve({""});
    EXPECT_FALSE(has_data("/m/c"));
    EXPECT_EQ(captured_log_take(), (log_lines{sent,
                                              received,
                                              {15, "[DEBUG] parse xml err.\n"},
                                              {15, "[DEBUG] recv get msg reply error\n"}}));
    for (const char *reply : {"garbage", "<a>", "<a></b>"}) {
        serve({reply});
        EXPECT_FALSE(has_data("/m/c"));
        EXPECT_EQ(captured_log_take(),
                  (log_lines{sent,
                             received,
                             {15, "[DEBUG] parse xml err.\n"},
                             {15, "[DEBUG] Receive a invalid xml document.\n"}}));
    }
}

TEST_F(server_read_test, a_module_cannot_be_asked_for)
{
    EXPECT_EQ(printed_by([] { EXPECT_FALSE(server_has_data("/m")); }),
              "please give a node in the module!\r\n");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] Failed to build /m's tree!\n"},
                                              {15, "[DEBUG] Build get msg error\n"}}));
}

TEST_F(server_read_test, notifications_before_the_reply)
{
    connect()
        .expect()
        .push("<notification "
              "xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"></notification>")
        .push(data_reply("<c xmlns=\"urn:m\"/>"));
    server->start();
    EXPECT_EQ(printed_by([] { EXPECT_TRUE(server_has_data("/m/c")); }),
              "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">\n"
              "</notification>\n");
}

TEST_F(server_read_test, entries_of_no_list)
{
    EXPECT_EQ(entries(nullptr), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] listpath is null\n"}}));
    EXPECT_EQ(entries("/m/nix"), -1);
    EXPECT_EQ(captured_log_take().back(),
              std::make_pair(15, std::string("[DEBUG] failed to get list[/m/nix] key\n")));
}

TEST_F(server_read_test, entries_from_a_server_that_fails)
{
    connect().expect().hang_up();
    server->start();
    EXPECT_EQ(entries("/m/c/l"), 0);
    EXPECT_EQ(captured_log_take(), (log_lines{sent,
                                              {15, "[DEBUG] recv get msg reply error\n"},
                                              {15, "[DEBUG] netserver didn't configure list\n"}}));
}

TEST_F(server_read_test, an_entry_is_there_when_all_of_its_name_is)
{
    const std::string data = "<l2><k1>a</k1><k2>b</k2></l2><l2><k2>k1=a</k2><k1>k2</k1></l2>"
                             "<l2><k1>x/y:z</k1><k2>p q</k2></l2><l2><k1/><k2>\"</k2></l2>";
    for (const char *name : {"l2[k1=a,k2=b]", "l2[k1=k2,k2=\"k1\ra\"]",
                             "l2[k1=x\001y\002z,k2=\"p\003q\"]", "l2[k1=,k2=\"]"})
        compare_entry(data, name, true);
    for (const char *name :
         {"l2[k1=a,k2=c]", "l2[k1=b,k2=a]", "l2[k1=a,k2=bb]", "l2[k1=aa,k2=b]", "l2[k2=b,k1=a]",
          "l2[k1=k2,k2=k1=a]", "l2[k1=x\001y\002z,k2='p\003q']", "l2[k1=x/y:z,k2=\"p\003q\"]",
          "l2[k1=,k2=]", "l2[k1=\"a\",k2=b]", "l2", ""})
        compare_entry(data, name, false);
}

TEST_F(server_read_test, an_entry_is_not_there_when_another_cannot_be_told)
{
    const std::string entry = "<l2><k1>a</k1><k2>b</k2></l2>";
    for (const char *odd :
         {"<l2/>", "<l2><k1>1</k1></l2>", "<l2><k1>1</k1><k1>1</k1></l2>",
          "<l2><k1>1</k1><k2>1</k2><k2>1</k2></l2>", "<l2><k1>1</k1><x>1</x></l2>"}) {
        compare_entry(std::string(odd) + entry, "l2[k1=a,k2=b]", false);
        compare_entry(entry + odd, "l2[k1=a,k2=b]", false);
    }
}

// The same as by looking through each reply, told and logged.
TEST_F(server_read_test, entries_that_are_asked_for_in_a_row)
{
    struct question {
        const char *list;
        std::string entries;
        const char *name;
    };
    const std::string a = "<l2><k1>a</k1><k2>b</k2></l2>";
    const std::string b = "<l2><k1>p q</k1><k2>x/y</k2></l2>";
    std::vector<question> questions;
    for (const std::string &entries :
         {a + b, std::string(), a + "<l2><k1>a</k1></l2>", a + "<!-- -->",
          a + "<l2><k1>&amp;</k1><k2>b</k2></l2>", b, a + "<l2", b + a}) {
        for (int turn = 0; turn < 3; turn++) {
            for (const char *name :
                 {"l2[k1=a,k2=b]", "l2[k1=a,k2=c]", "l2[k1=a,k2=b", "l2[k1=\"p\003q\",k2=x\001y]"})
                questions.push_back({"/m/c/l2", entries, name});
            questions.push_back({"/m/c/l", "<l><name>a</name></l>", "l[name=b]"});
            questions.push_back({"/m/c/l", "", "l[name=a]"});
        }
        questions.push_back({"/m/c/l2", entries, "l2[k1=a,k2=b]"});
        questions.push_back({"/m/c/l2", entries, "l2[k1=a,k2=b]"});
        questions.push_back({"/m/c/l2", entries, "l2[k1=a,k2=d]"});
    }
    std::vector<std::string> replies;
    for (const question &each : questions)
        replies.push_back(data_reply("<c xmlns=\"urn:m\">" + each.entries + "</c>"));
    const auto answers = [&] {
        serve(replies);
        captured_log_take();
        std::vector<std::pair<bool, log_lines>> all;
        for (const question &each : questions) {
            const bool is_there =
                server_has_entry(place_at(each.list, path_scope_session), each.name);
            all.emplace_back(is_there, captured_log_take());
        }
        return all;
    };
    const auto wanted = answers();
    known_entries known;
    EXPECT_EQ(answers(), wanted);
}

TEST_F(server_read_test, names_are_known_once_the_same_answer_came_twice)
{
    known_entries known;
    const std::string entries = "<c xmlns=\"urn:m\"><l><name>a</name></l><l><name>b</name></l></c>";
    const auto ask = [&known](const char *name) {
        const bool is_there = server_has_entry(place_at("/m/c/l", path_scope_session), name);
        known_entries_rest();
        return std::make_pair(is_there, known.count);
    };
    serve(std::vector<std::string>(5, data_reply(entries)));
    EXPECT_EQ(ask("l[name=c]"), std::make_pair(false, size_t{0}));
    EXPECT_EQ(ask("l[name=c]"), std::make_pair(false, size_t{2}));
    EXPECT_EQ(ask("l[name=b]"), std::make_pair(true, size_t{2}));
    EXPECT_EQ(ask("l[name=c]"), std::make_pair(false, size_t{2}));
    known_entries_rest(); // of a command that asked for none
    EXPECT_EQ(known.answer.text, nullptr);
    EXPECT_EQ(ask("l[name=b]"), std::make_pair(true, size_t{0}));
    serve({data_reply(entries), data_reply("<c xmlns=\"urn:m\"><l><name>c</name></l></c>")});
    EXPECT_EQ(ask("l[name=b]"), std::make_pair(true, size_t{2}));
    EXPECT_EQ(ask("l[name=c]"), std::make_pair(true, size_t{0}));
}

TEST_F(server_read_test, entries_before_one_that_takes_a_document_come_once)
{
    serve({data_reply("<c xmlns=\"urn:m\"><l><name>1</name></l><l><name>2</name></l>"
                      "<l><name>&lt;</name></l><l><name>4</name></l></c>")});
    descendant_set set;
    ASSERT_EQ(server_list_entries(place_at("/m/c/l", path_scope_session), &set), 0);
    std::string names;
    for (const descendant *node = set.nodes; node != nullptr; node = node->next)
        names += node->name;
    EXPECT_EQ(names, "l[name=4]l[name=<]l[name=2]l[name=1]");
}

TEST_F(server_read_test, thousands_of_entries)
{
    std::string data;
    for (int i = 0; i < 10000; i++)
        data += "<l><name>" + std::to_string(i) + "</name></l>";
    serve({data_reply("<c xmlns=\"urn:m\">" + data + "</c>")});
    descendant_set set;
    ASSERT_EQ(server_list_entries(place_at("/m/c/l", path_scope_session), &set), 0);
    int count = 0;
    for (const descendant *node = set.nodes; node != nullptr; node = node->next)
        count++;
    EXPECT_EQ(count, 10000);
    EXPECT_STREQ(set.nodes->name, "l[name=9999]");
}

} // namespace
