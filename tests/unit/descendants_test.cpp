// Children of nodes: from the schema, from the server, and staged ones.
#include "browse/descendants.h"

#include "tests/support/shell_world.h"

namespace
{

const std::pair<int, std::string> sent = {14, "[INFO] Send a message to tarnd.\n"};
const std::pair<int, std::string> received = {14, "[INFO] Recv a message from tarnd.\n"};

std::string entries_reply(const std::string &entries)
{
    return data_reply("<c xmlns=\"urn:m\">" + entries + "</c>");
}

class descendants_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    // Nodes as name:kind, choices as {case[+]: nodes}.
    static std::string shown(const descendant_list *set)
    {
        std::string text;
        for (const descendant *node = set->nodes; node != nullptr; node = node->next) {
            EXPECT_GE(node->record->size, 20U);
            text += std::string(node->name) + ":" + std::to_string(record_kind(node->record)) + " ";
        }
        for (const choice_entry *choice = set->choices; choice != nullptr; choice = choice->next) {
            text += "{";
            for (const case_entry *entry = choice->cases; entry != nullptr; entry = entry->next) {
                text +=
                    std::string(entry->active ? "+" : "-") + "(" + shown(&entry->children) + ")";
            }
            text += "} ";
        }
        return text;
    }

    std::string children(const char *path)
    {
        descendant_set set;
        captured_log_take();
        result = descendants_of(place_at(path, path_scope_session), &set);
        return shown(&set);
    }

    static std::string choice_of(const std::string &text)
    {
        return text.substr(text.find('{'));
    }

    int result = 99;
};

TEST_F(descendants_test, the_root_lists_modules)
{
    fake_redis_put("/", "short", "x");
    EXPECT_EQ(children("/"), "short:0 o:0 m:0 ");
    EXPECT_EQ(result, 0);
    descendant_set set;
    ASSERT_EQ(descendants_of(place_at("/", path_scope_session), &set), 0);
    EXPECT_EQ(set.nodes->record->size, 20U);
    EXPECT_EQ(record_help(set.nodes->record), "");
    EXPECT_FALSE(record_is_config(set.nodes->record));
}

TEST_F(descendants_test, nodes_come_in_reverse_order)
{
    EXPECT_EQ(children("/m"), "bare:7 r:7 state:1 top:2 c:1 ");
    EXPECT_EQ(children("/m/c/l[name=a]"), "in:4 v:2 name:2 ");
    EXPECT_EQ(children("/m/c/o:box"), "lid:2 ");
    EXPECT_EQ(result, 0);
}

TEST_F(descendants_test, records_are_copied_whole)
{
    fake_redis_put_node("/m/c/sub", "z", fake_leaf, true, "string", "A help text.");
    descendant_set set;
    ASSERT_EQ(descendants_of(place_at("/m/c/sub", path_scope_session), &set), 0);
    EXPECT_EQ(record_help(set.nodes->record), "A help text.");
    EXPECT_EQ(record_type_name(set.nodes->record), "string");
}

TEST_F(descendants_test, a_missing_hash_is_an_empty_set)
{
    fake_redis_put_node("/m", "hollow", fake_container);
    EXPECT_EQ(children("/m/hollow"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] Failed to get entrys with key:/m/hollow from DB\n"}}));
    EXPECT_EQ(children("/nix"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] Failed to get entrys with key:/nix from DB\n"}}));
    // What redis itself answers for it.
    fake_redis_answer("/nix", fake_reply_empty_array);
    EXPECT_EQ(children("/nix"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] Failed to get entrys with key:/nix from DB\n"}}));
}

TEST_F(descendants_test, a_short_record_is_skipped)
{
    fake_redis_put("/m/c/sub", "short", std::string(19, '\0'));
    fake_redis_put("/m/c/sub", "bare", std::string(20, '\0'));
    EXPECT_EQ(children("/m/c/sub"), "bare:0 z:2 ");
}

TEST_F(descendants_test, kinds_without_children)
{
    EXPECT_EQ(children("/m/c/x"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(children("/m/c/ll"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(children("/m/r"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(children("/m/r/input"), ""); // the rpc has not been entered
    EXPECT_EQ(result, 0);
    for (int kind : {9, 11, 12, 31}) {
        fake_redis_put_node("/m", "odd", kind);
        fake_redis_put_node("/m/odd", "inside", fake_leaf);
        EXPECT_EQ(children("/m/odd"), "") << kind;
        EXPECT_EQ(result, 0);
    }
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(descendants_test, kinds_0_and_10_are_browsed)
{
    for (int kind : {0, 10}) {
        fake_redis_put_node("/m", "odd", kind);
        fake_redis_put_node("/m/odd", "inside", fake_leaf);
        EXPECT_EQ(children("/m/odd"), "inside:2 ");
    }
}

TEST_F(descendants_test, a_path_that_leads_nowhere_fails)
{
    EXPECT_EQ(children("/m/nix"), "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] error: invalid path /m/nix\r\n\n"},
                                              {11, "[ERROR] error parameter: /m/nix\r\n\n"}}));
}

TEST_F(descendants_test, an_absent_record_fails)
{
    fake_redis_put("/m", "short", std::string(19, '\0'));
    EXPECT_EQ(children("/m/short"), "");
    EXPECT_EQ(result, -1);
}

TEST_F(descendants_test, in_rpc_mode_the_input_is_browsed)
{
    enter_rpc("/m/r");
    EXPECT_EQ(children("/m/r"), "pl:4 pc:1 p:2 ");
    EXPECT_EQ(children("/m/r/pc"), "q:2 ");
    EXPECT_EQ(children("/m/r/pl[n=1]"), "d:2 n:2 ");
    EXPECT_EQ(children("/m/r/pl"), "");
    EXPECT_EQ(result, 0);
}

TEST_F(descendants_test, no_case_is_judged_in_rpc_mode)
{
    fake_redis_put_node("/m/r/input", "when", fake_choice);
    fake_redis_put_node("/m/r/input/when", "now", fake_case);
    fake_redis_put_node("/m/r/input/when", "later", fake_case);
    fake_redis_put_node("/m/r/input/when/now", "at", fake_leaf);
    fake_redis_put_node("/m/r/input/when/later", "time", fake_leaf);
    enter_rpc("/m/r");
    connect();
    EXPECT_EQ(children("/m/r"), "pl:4 pc:1 p:2 {-(at:2 )-(time:2 )} ");
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_EQ(session.message_id, 0U);
}

std::string filter(const std::string &node)
{
    return "<c xmlns=\"urn:m\"><" + node + "></" + node + "></c>";
}

TEST_F(descendants_test, the_case_with_data_is_active)
{
    // Nodes are asked for in list order; the first hit ends a case's search.
    serve({data_reply(""),                                  // a2 of ca
           data_reply("<c xmlns=\"urn:m\"><a1>1</a1></c>"), // a1 of ca
           data_reply(""),                                  // p1 of n1
           data_reply(""),                                  // p2 of n2
           data_reply(""),                                  // b1 of cb
           data_reply("")});                                // p1 again: judged with cb
    EXPECT_EQ(children("/m/c"), "o:box:1 l2:4 l:4 sub:1 ll:3 up:2 un:2 id:2 y:2 x:2 "
                                "{+(a2:1 a1:2 )-(b1:2 {-(p1:2 )-(p2:2 )} )} ");
    EXPECT_EQ(result, 0);
    const std::pair<int, std::string> inactive = {
        15, "[DEBUG] failed to get acitve case branch. \r\n\n"};
    EXPECT_EQ(captured_log_take(),
              (log_lines{sent, received, sent, received,           // ca
                         sent, received, inactive,                 // n1
                         sent, received, inactive,                 // n2
                         sent, received, sent, received, inactive, // b1, p1: n1
                         inactive}));                              // cb
    EXPECT_EQ(requests(), (std::vector<std::string>{
                              get_config_request(0, filter("a2")),
                              get_config_request(1, filter("a1")),
                              get_config_request(2, filter("p1")),
                              get_config_request(3, filter("p2")),
                              get_config_request(4, filter("b1")),
                              get_config_request(5, filter("p1")),
                          }));
}

TEST_F(descendants_test, a_nested_case_with_data_makes_the_outer_one_active)
{
    const std::string none = data_reply("");
    const std::string p1 = data_reply("<c xmlns=\"urn:m\"><p1>1</p1></c>");
    serve({none, none, p1, none, none, p1});
    EXPECT_EQ(choice_of(children("/m/c")), "{-(a2:1 a1:2 )+(b1:2 {+(p1:2 )-(p2:2 )} )} ");
}

TEST_F(descendants_test, only_the_first_nested_case_is_asked_for)
{
    const std::string none = data_reply("");
    const std::string p2 = data_reply("<c xmlns=\"urn:m\"><p2>1</p2></c>");
    serve({none, none, none, p2, none, none});
    EXPECT_EQ(choice_of(children("/m/c")), "{-(a2:1 a1:2 )-(b1:2 {-(p1:2 )+(p2:2 )} )} ");
}

TEST_F(descendants_test, several_cases_may_be_active)
{
    const std::string both = data_reply("<c xmlns=\"urn:m\"><a2/><b1/><p1/><p2/></c>");
    serve({both, both, both, both});
    descendant_set set;
    ASSERT_EQ(descendants_of(place_at("/m/c", path_scope_session), &set), 0);
    EXPECT_EQ(choice_of(shown(&set)), "{+(a2:1 a1:2 )+(b1:2 {+(p1:2 )+(p2:2 )} )} ");
    EXPECT_EQ(choice_active_case(set.choices), set.choices->cases);
}

TEST_F(descendants_test, a_server_that_is_gone_makes_no_case_active)
{
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(choice_of(children("/m/c")), "{-(a2:1 a1:2 )-(b1:2 {-(p1:2 )-(p2:2 )} )} ");
    EXPECT_EQ(result, 0);
}

TEST_F(descendants_test, a_choice_whose_cases_cannot_be_read_fails)
{
    fake_redis_put_node("/m/c/sub", "hollow", fake_choice);
    EXPECT_EQ(children("/m/c/sub").substr(0, 1), "z");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] Failed to get /m/c/sub:/m/c/sub's  branch\n"},
                         {11, "[ERROR] error:get descendant by schema \r\n \n"}}));
}

TEST_F(descendants_test, the_branch_message_names_data_path_and_schema_path)
{
    fake_redis_put_node("/m/c/ch/ca/a2", "hollow", fake_choice);
    children("/m/c/a2");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(captured_log_take().at(0),
              std::make_pair(15, std::string("[DEBUG] Failed to get /m/c/a2:/m/c/ch/ca/a2's  "
                                             "branch\n")));
}

TEST_F(descendants_test, staged_and_server_entries)
{
    ASSERT_EQ(tree_stage_config("/m/c/l[name=s1]", nullptr, operation_set), 0);
    ASSERT_EQ(tree_stage_config("/m/c/l[name=s2]/v", "1", operation_set), 0);
    ASSERT_EQ(tree_stage_config("/m/c/l2[k1=1,k2=2]", nullptr, operation_set), 0);
    serve({entries_reply("<l><name>a</name></l><l><name>b</name></l>")});
    // Each kind is put at the head: first the staged ones, in output order.
    EXPECT_EQ(children("/m/c/l"), "l[name=b]:4 l[name=a]:4 l[name=s1]:4 l[name=s2]:4 ");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(requests(), (std::vector<std::string>{get_config_request(
                              0, "<c xmlns=\"urn:m\"><l><name></name></l></c>")}));
}

TEST_F(descendants_test, an_entry_staged_and_on_the_server_is_listed_once)
{
    ASSERT_EQ(tree_stage_config("/m/c/l[name=a]/v", "1", operation_set), 0);
    ASSERT_EQ(tree_stage_config("/m/c/l[name=p\x01q]/v", "1", operation_set), 0);
    serve({entries_reply("<l><name>a</name></l><l><name>p/q</name></l><l><name>b</name></l>")});
    EXPECT_EQ(children("/m/c/l"), "l[name=b]:4 l[name=a]:4 l[name=p\x01q]:4 ");
}

TEST_F(descendants_test, an_entry_staged_for_deletion_is_the_server_s)
{
    ASSERT_EQ(tree_stage_config("/m/c/l[name=a]", nullptr, operation_delete), 0);
    ASSERT_EQ(tree_stage_config("/m/c/l[name=gone]", nullptr, operation_delete), 0);
    serve({entries_reply("<l><name>a</name></l>")});
    EXPECT_EQ(children("/m/c/l"), "l[name=a]:4 ");
}

TEST_F(descendants_test, keys_of_server_entries_are_sorted_quoted_and_masked)
{
    serve({entries_reply("<l2><k2>b c</k2><k1>a/b</k1></l2>"
                         "<l2><k1>x:y</k1><k2>[1]</k2></l2>"
                         "<l2><k1>&lt;&amp;</k1><k2></k2></l2>")});
    EXPECT_EQ(children("/m/c/l2"), "l2[k1=<&,k2=]:4 "
                                   "l2[k1=x\x02y,k2=\"\x0b"
                                   "1\x0c\"]:4 "
                                   "l2[k1=a\x01"
                                   "b,k2=\"b\x03"
                                   "c\"]:4 ");
    EXPECT_EQ(requests(), (std::vector<std::string>{get_config_request(
                              0, "<c xmlns=\"urn:m\"><l2><k1></k1><k2></k2></l2></c>")}));
}

TEST_F(descendants_test, a_nested_list_is_asked_for_in_its_entry)
{
    serve({entries_reply("<l><name>a/b c</name><in><k>1</k></in></l>"
                         "<l><name>zz</name><in><k>2</k></in></l>")});
    EXPECT_EQ(children("/m/c/l[name='a\x01"
                       "b\x03"
                       "c']/in"),
              "in[k=1]:4 ");
    EXPECT_EQ(requests(),
              (std::vector<std::string>{get_config_request(
                  0, "<c xmlns=\"urn:m\"><l><name>a/b c</name><in><k></k></in></l></c>")}));
}

TEST_F(descendants_test, a_server_without_entries_is_no_failure)
{
    serve({data_reply("")});
    EXPECT_EQ(children("/m/c/l"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(captured_log_take(),
              (log_lines{sent, received, {15, "[DEBUG] netserver didn't configure list\n"}}));
}

TEST_F(descendants_test, a_bad_server_entry_leaves_the_staged_ones)
{
    const char *bad[] = {"<l2><k1>1</k1></l2>",                   // lacks a key
                         "<l2><k1>1</k1><k2>2</k2><v>3</v></l2>", // carries more
                         "<l2><k1>1</k1><v>2</v></l2>",           // another leaf
                         "<l2><k1>1</k1><k1>2</k1></l2>",         // a key twice
                         "<l2/>"};
    ASSERT_EQ(tree_stage_config("/m/c/l2[k1=s,k2=s]", nullptr, operation_set), 0);
    for (const char *entry : bad) {
        serve({entries_reply(std::string("<l2><k1>1</k1><k2>2</k2></l2>") + entry)});
        EXPECT_EQ(children("/m/c/l2"), "l2[k1=s,k2=s]:4 ") << entry;
        EXPECT_EQ(result, 0);
        EXPECT_EQ(captured_log_take().back(),
                  std::make_pair(15, std::string("[DEBUG] error:get nclist \r\n \n")));
    }
}

TEST_F(descendants_test, too_many_keys_are_told)
{
    serve({entries_reply("<l><name>a</name><v>1</v></l>")});
    EXPECT_EQ(children("/m/c/l"), "");
    EXPECT_EQ(captured_log_take(), (log_lines{sent,
                                              received,
                                              {15, "[DEBUG] kvs is full\n"},
                                              {15, "[DEBUG] error:get nclist \r\n \n"}}));
}

TEST_F(descendants_test, comments_and_blanks_in_an_entry_are_no_keys)
{
    serve({entries_reply("\n <l>\n <!-- x -->  <name>a</name>\n</l>\n")});
    EXPECT_EQ(children("/m/c/l"), "l[name=a]:4 ");
}

TEST_F(descendants_test, a_list_without_keys)
{
    fake_redis_put_node("/m", "keyless", fake_list);
    serve({data_reply("<keyless xmlns=\"urn:m\"><v>1</v></keyless>")});
    captured_log_take();
    EXPECT_EQ(children("/m/keyless"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(session.message_id, 0U);
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] Failed to get /m/keyless from db\n"},
                                              {15, "[DEBUG] failed to get list[/m/keyless] key\n"},
                                              {15, "[DEBUG] error:get nclist \r\n \n"}}));
}

TEST_F(descendants_test, in_rpc_mode_only_staged_entries_are_listed)
{
    enter_rpc("/m/r");
    connect();
    ASSERT_EQ(tree_stage_rpc("/m/r/pl[n=1]", nullptr, operation_set), 0);
    ASSERT_EQ(tree_stage_rpc("/m/r/pl[n=2]/d", "1", operation_set), 0);
    ASSERT_EQ(tree_stage_config("/m/c/l[name=c]", nullptr, operation_set), 0);
    EXPECT_EQ(children("/m/r/pl"), "pl[n=1]:4 pl[n=2]:4 ");
    EXPECT_EQ(children("/m/c/l"), "");
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(descendants_test, reaching_a_name)
{
    const std::string none = data_reply("");
    serve({none, none, none, none, none, none});
    descendant_set set;
    ASSERT_EQ(descendants_of(place_at("/m/c", path_scope_session), &set), 0);
    for (const char *name : {"x", "l", "o:box", "a1", "b1", "p1", "p2"})
        EXPECT_TRUE(descendants_reach(&set, name)) << name;
    for (const char *name : {"", "nix", "ch", "ca", "box", "l[name=1]"})
        EXPECT_FALSE(descendants_reach(&set, name)) << name;
    // With an active case its answer is final for the choice.
    set.choices->cases->next->active = true;
    EXPECT_FALSE(descendants_reach(&set, "a1"));
    EXPECT_TRUE(descendants_reach(&set, "b1"));
    EXPECT_TRUE(descendants_reach(&set, "p2"));
    set.choices->cases->next->children.choices->cases->active = true;
    EXPECT_FALSE(descendants_reach(&set, "p2"));
    EXPECT_TRUE(descendants_reach(&set, "x"));
    // So it is inside a case that is not active itself.
    set.choices->cases->next->active = false;
    EXPECT_TRUE(descendants_reach(&set, "a1"));
    EXPECT_TRUE(descendants_reach(&set, "p1"));
    EXPECT_FALSE(descendants_reach(&set, "p2"));
}

TEST_F(descendants_test, an_active_case_of_one_choice_does_not_hide_another_choice)
{
    fake_redis_put_node("/m/c/sub", "one", fake_choice);
    fake_redis_put_node("/m/c/sub/one", "c1", fake_case);
    fake_redis_put_node("/m/c/sub/one/c1", "e1", fake_leaf);
    fake_redis_put_node("/m/c/sub", "two", fake_choice);
    fake_redis_put_node("/m/c/sub/two", "c2", fake_case);
    fake_redis_put_node("/m/c/sub/two/c2", "e2", fake_leaf);
    const std::string both = data_reply("<c xmlns=\"urn:m\"><sub><e1/><e2/></sub></c>");
    serve({both, both});
    descendant_set set;
    ASSERT_EQ(descendants_of(place_at("/m/c/sub", path_scope_session), &set), 0);
    EXPECT_EQ(shown(&set), "z:2 {+(e2:2 )} {+(e1:2 )} ");
    EXPECT_TRUE(descendants_reach(&set, "e1"));
    EXPECT_TRUE(descendants_reach(&set, "e2"));
}

TEST_F(descendants_test, the_database_goes_away_midway)
{
    for (int reads = 0; reads < 12; reads++) {
        fake_redis_fail_after(reads);
        children("/m/c/a2");
        fake_redis_fail_after(reads);
        children("/m/c");
        fake_redis_fail_after(reads);
        children("/m/c/l");
    }
}

} // namespace
