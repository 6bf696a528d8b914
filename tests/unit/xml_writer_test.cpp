// Command trees as XML: configuration bodies and subtree filters.
#include "cmdtree/xml_writer.h"

#include <chrono>

#include "cmdtree/xml_element.h"
#include "tests/support/shell_world.h"

namespace
{

class xml_writer_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    static void set(const std::string &path, const char *value = nullptr)
    {
        ASSERT_EQ(tree_stage_config(path.c_str(), value, operation_set), 0);
    }

    static void remove(const std::string &path, const char *value = nullptr)
    {
        ASSERT_EQ(tree_stage_config(path.c_str(), value, operation_delete), 0);
    }

    static std::string pool_text()
    {
        std::string text;
        for (unsigned slot = 0; slot < output_chunk_slots; slot++)
            text += pool_chunk_text(slot);
        return text;
    }

    // The body of what is staged, which is dropped then.
    static std::string body(path_scope scope = path_scope_configuration)
    {
        int result = tree_to_xml(session.config_tree.root, scope);
        std::string text = result == 0 ? pool_text() : "(failed)";
        if (result != 0) {
            EXPECT_EQ(session.output.slot[0], nullptr);
        }
        pool_release();
        tree_free(&session.config_tree);
        return text;
    }

    // What a set of this value at this path is written as, inside c.
    static std::string inside_c(const std::string &path, const char *value = nullptr)
    {
        set(path, value);
        std::string text = body();
        const std::string open = "<c xmlns=\"urn:m\">";
        const std::string close = "</c>";
        if (text.size() < open.size() + close.size() || text.substr(0, open.size()) != open)
            return text;
        EXPECT_EQ(text.substr(text.size() - close.size()), close);
        return text.substr(open.size(), text.size() - open.size() - close.size());
    }

    static std::string filter(const char *path, size_t size = 4096)
    {
        command_tree tree = {};
        text_buffer text;
        EXPECT_EQ(tree_add_structural(&tree, path), 0);
        const int failed = tree_to_filter(tree.root, &text, size);
        tree_free(&tree);
        EXPECT_EQ(session.config_tree.log.first, nullptr);
        return failed != 0 ? "(failed)" : text.data.get();
    }
};

TEST_F(xml_writer_test, a_leaf_in_a_container)
{
    set("/m/c/x", "a<b");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><x>a&lt;b</x></c>");
}

TEST_F(xml_writer_test, a_leaf_right_below_the_module)
{
    set("/m/top", "5");
    EXPECT_EQ(body(), "<top xmlns=\"urn:m\">5</top>");
}

TEST_F(xml_writer_test, nothing_staged_is_nothing_written)
{
    EXPECT_EQ(tree_add_structural(&session.config_tree, "/m"), 0);
    EXPECT_EQ(body(), "");
}

TEST_F(xml_writer_test, several_modules)
{
    set("/m/c/x", "1");
    set("/o/oc/leaf", "2");
    set("/m/top", "3");
    EXPECT_EQ(body(), "<oc xmlns=\"urn:o\"><leaf>2</leaf></oc>"
                      "<top xmlns=\"urn:m\">3</top><c xmlns=\"urn:m\"><x>1</x></c>");
}

TEST_F(xml_writer_test, a_set_without_a_value)
{
    EXPECT_EQ(inside_c("/m/c/x"), "<x></x>");
    EXPECT_EQ(inside_c("/m/c/x", ""), "<x></x>");
}

TEST_F(xml_writer_test, deletes)
{
    remove("/m/c/x");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><x xc:operation=\"delete\"></x></c>");
    remove("/m/c/ll", "a<");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><ll xc:operation=\"delete\">a&lt;</ll></c>");
    remove("/m/c");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\" xc:operation=\"delete\"></c>");
    remove("/m/c/o:box");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><box xmlns=\"urn:o\" xc:operation=\"delete\"></box></c>");
    remove("/m/c/l[name=a]");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><l xc:operation=\"delete\"><name>a</name></l></c>");
}

TEST_F(xml_writer_test, a_delete_with_staged_children)
{
    remove("/m/c/l[name=a]");
    set("/m/c/l[name=a]/v", "1");
    EXPECT_EQ(body(),
              "<c xmlns=\"urn:m\"><l xc:operation=\"delete\"><name>a</name><v>1</v></l></c>");
}

TEST_F(xml_writer_test, leaf_lists)
{
    set("/m/c/ll", "a");
    set("/m/c/ll", "b");
    set("/m/c/ll", "c");
    remove("/m/c/ll", "b");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><ll>a</ll><ll xc:operation=\"delete\">b</ll>"
                      "<ll>c</ll></c>");
}

TEST_F(xml_writer_test, a_first_value_that_is_none_holds_the_others)
{
    remove("/m/c/ll");
    set("/m/c/ll", "b");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><ll xc:operation=\"delete\"><ll>b</ll></ll></c>");
}

TEST_F(xml_writer_test, keys_come_right_after_the_opening_tag)
{
    set("/m/c/l[name=a]/v", "1");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><l><name>a</name><v>1</v></l></c>");
    set("/m/c/l2[k1=x,k2=y]");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><l2><k1>x</k1><k2>y</k2></l2></c>");
    set("/m/c/l[name=a]/in[k=b]/w", "2");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><l><name>a</name><in><k>b</k><w>2</w></in></l></c>");
}

TEST_F(xml_writer_test, key_values_are_restored_unquoted_and_escaped)
{
    EXPECT_EQ(inside_c("/m/c/l[name='a\x03"
                       "b\x0e<']/v",
                       "1"),
              "<l><name>a b,&lt;</name><v>1</v></l>");
    EXPECT_EQ(inside_c("/m/c/l[name='plain']"), "<l><name>'plain'</name></l>");
    EXPECT_EQ(inside_c("/m/c/l[name=1\x01"
                       "2\x02"
                       "3]"),
              "<l><name>1/2:3</name></l>");
    EXPECT_EQ(inside_c("/m/c/l2[k1='\x0b\x0e\x0c',k2='\x0d']"), "<l2><k1>[,]</k1><k2>=</k2></l2>");
}

TEST_F(xml_writer_test, values_are_restored_unquoted_and_escaped)
{
    EXPECT_EQ(inside_c("/m/c/x", "\"a\x03"
                                 "b\""),
              "<x>a b</x>");
    EXPECT_EQ(inside_c("/m/c/x", "'a\x0b\x0c\x0d\x0e'"), "<x>a[]=,</x>");
    EXPECT_EQ(inside_c("/m/c/x", "\"ab\""), "<x>&quot;ab&quot;</x>");
    EXPECT_EQ(inside_c("/m/c/x", "it's"), "<x>it's</x>");
    EXPECT_EQ(inside_c("/m/c/x", "say\"x\""), "<x>say&quot;x&quot;</x>");
    EXPECT_EQ(inside_c("/m/c/x", "1&2>\t\r\n"), "<x>1&amp;2&gt;&#9;=&#10;</x>"); // 13 is a code
    EXPECT_EQ(inside_c("/m/c/x", "/a:b/"), "<x>/a:b/</x>");
    EXPECT_EQ(inside_c("/m/c/x", "%n%s"), "<x>%n%s</x>");
    EXPECT_EQ(inside_c("/m/c/x", "\xc3\xa4\xff"), "<x>\xc3\xa4\xff</x>");
}

TEST_F(xml_writer_test, the_staged_node_is_left_alone)
{
    set("/m/c/l[name='a\x03"
        "b']/v",
        "'c\x03"
        "d'");
    ASSERT_EQ(tree_to_xml(session.config_tree.root, path_scope_configuration), 0);
    pool_release();
    const cmd_node *node = tree_find(&session.config_tree, "/m/c/l[name='a\x03"
                                                           "b']/v");
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->value, "'c\x03"
                              "d'");
}

TEST_F(xml_writer_test, identities_declare_their_prefix)
{
    EXPECT_EQ(inside_c("/m/c/id", "o:id1"), "<id xmlns:o=\"urn:o\">o:id1</id>");
    EXPECT_EQ(inside_c("/m/c/un", "o:id1"), "<un xmlns:o=\"urn:o\">o:id1</un>");
    EXPECT_EQ(inside_c("/m/c/x", "o:id1"), "<x>o:id1</x>");
    EXPECT_EQ(inside_c("/m/c/id", "nix:id1"), "<id>nix:id1</id>");
    EXPECT_EQ(inside_c("/m/c/id", "id1"), "<id>id1</id>");
    EXPECT_EQ(inside_c("/m/c/id", "o:a:b"), "<id xmlns:o=\"urn:o\">o:a:b</id>");
    EXPECT_EQ(inside_c("/m/c/id", ":x"), "<id>:x</id>");
}

TEST_F(xml_writer_test, only_sets_declare_prefixes)
{
    remove("/m/c/id", "o:id1");
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><id xc:operation=\"delete\">o:id1</id></c>");
}

TEST_F(xml_writer_test, a_declaration_stands_after_the_namespace)
{
    fake_redis_put_node("/m", "kind", fake_leaf, true, "identityref");
    set("/m/kind", "o:id1");
    EXPECT_EQ(body(), "<kind xmlns=\"urn:m\" xmlns:o=\"urn:o\">o:id1</kind>");
}

TEST_F(xml_writer_test, a_value_with_a_colon_needs_its_record)
{
    set("/m/c/nix", "a:b");
    captured_log_take();
    EXPECT_EQ(body(), "(failed)");
    EXPECT_EQ(captured_log_take().back(),
              std::make_pair(15, std::string("[DEBUG] Failed to get /m/c/nix from db\n")));
    EXPECT_EQ(inside_c("/m/c/nix", "ab"), "<nix>ab</nix>");
}

TEST_F(xml_writer_test, nodes_of_another_module)
{
    EXPECT_EQ(inside_c("/m/c/o:box/lid", "1"), "<box xmlns=\"urn:o\"><lid>1</lid></box>");
    set("/m/o:thing", "1");
    EXPECT_EQ(body(), "<thing xmlns=\"urn:o\">1</thing>");
    fake_redis_put_node("/m/c", "o:kind", fake_leaf, true, "identityref");
    EXPECT_EQ(inside_c("/m/c/o:kind", "m:id"), "<kind xmlns=\"urn:o\">m:id</kind>");
    fake_redis_put_node("/m/c", "o:ol", fake_list);
    EXPECT_EQ(inside_c("/m/c/o:ol[k=1]/v", "2"), "<ol xmlns=\"urn:o\"><k>1</k><v>2</v></ol>");
    EXPECT_EQ(inside_c("/m/c/l[o:k=1]"), "<l><k xmlns=\"urn:o\">1</k></l>");
}

TEST_F(xml_writer_test, an_unknown_module_fails)
{
    set("/m/c/nix:box/x", "1");
    captured_log_take();
    EXPECT_EQ(body(), "(failed)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] augment node:box error\n"}}));
    set("/nix/c/x", "1");
    EXPECT_EQ(body(), "(failed)");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(xml_writer_test, namespaces_are_escaped)
{
    fake_redis_put_module("q", "urn:q?a&b<c\"");
    set("/q/x", "1");
    EXPECT_EQ(body(), "<x xmlns=\"urn:q?a&amp;b&lt;c&quot;\">1</x>");
    EXPECT_EQ(inside_c("/m/c/id", "q:i"), "<id xmlns:q=\"urn:q?a&amp;b&lt;c&quot;\">q:i</id>");
    EXPECT_EQ(inside_c("/m/c/q:box"), "<box xmlns=\"urn:q?a&amp;b&lt;c&quot;\"></box>");
}

TEST_F(xml_writer_test, an_identity_as_a_key)
{
    // Key values of edit commands are masked and written plainly; others
    // declare their prefix as the key leaf would.
    fake_redis_put("/m/c/l2", "k1", fake_node_record(fake_leaf, true, "identityref"));
    EXPECT_EQ(inside_c("/m/c/l2[k1=o\x02"
                       "i,k2=b]"),
              "<l2><k1>o:i</k1><k2>b</k2></l2>");
    EXPECT_EQ(inside_c("/m/c/l2[k1=o:i,k2=b]"),
              "<l2><k1 xmlns:o=\"urn:o\">o:i</k1><k2>b</k2></l2>");
    EXPECT_EQ(inside_c("/m/c/l2[k2=b,k1=o:i]"),
              "<l2><k2>b</k2><k1 xmlns:o=\"urn:o\">o:i</k1></l2>");
    EXPECT_EQ(inside_c("/m/c/l2[k1=nix:i,k2=a:b]"), "<l2><k1>nix:i</k1><k2>a:b</k2></l2>");
    set("/m/c/l2[kx=a:b]");
    captured_log_take();
    EXPECT_EQ(body(), "(failed)");
    EXPECT_EQ(captured_log_take().back(),
              std::make_pair(15, std::string("[DEBUG] Failed to get /m/c/l2/kx from db\n")));
}

TEST_F(xml_writer_test, predicates_without_a_value)
{
    EXPECT_EQ(inside_c("/m/c/l[name]"), "<l><name></name></l>");
    EXPECT_EQ(inside_c("/m/c/l[name=]"), "<l><name></name></l>");
    EXPECT_EQ(inside_c("/m/c/l2[k1,k2=b]"), "<l2><k1></k1><k2>b</k2></l2>");
    EXPECT_EQ(inside_c("/m/c/l2[k1=a,]"), "<l2><k1>a</k1></l2>");
    EXPECT_EQ(inside_c("/m/c/l[name=a=b]"), "<l><name>a=b</name></l>");
    EXPECT_EQ(filter("/m/c/l[name]/v"), "<c xmlns=\"urn:m\"><l><name></name><v></v></l></c>");
}

TEST_F(xml_writer_test, the_input_of_an_rpc)
{
    fake_redis_put_node("/m/r/input", "kind", fake_leaf, true, "identityref");
    enter_rpc("/m/r");
    ASSERT_EQ(tree_stage_rpc("/m/r/p", "1", operation_set), 0);
    ASSERT_EQ(tree_stage_rpc("/m/r/kind", "o:i", operation_set), 0);
    ASSERT_EQ(tree_to_xml(session.rpc_tree.root, path_scope_session), 0);
    EXPECT_EQ(pool_text(), "<r xmlns=\"urn:m\"><kind xmlns:o=\"urn:o\">o:i</kind><p>1</p></r>");
}

TEST_F(xml_writer_test, configuration_below_an_rpc_s_name_is_looked_up_as_such)
{
    enter_rpc("/m/c"); // whatever it is
    EXPECT_EQ(inside_c("/m/c/id", "o:id1"), "<id xmlns:o=\"urn:o\">o:id1</id>");
}

TEST_F(xml_writer_test, a_subtree_alone)
{
    set("/m/c/l[name=a]/v", "1");
    set("/m/c/x", "2");
    const cmd_node *node = tree_find(&session.config_tree, "/m/c/l[name=a]");
    ASSERT_EQ(tree_to_xml(node, path_scope_configuration), 0);
    EXPECT_EQ(pool_text(), "<l><name>a</name><v>1</v></l>");
}

TEST_F(xml_writer_test, a_large_value_has_a_chunk_of_its_own)
{
    set("/m/c/x", std::string(5000, 'v').c_str());
    ASSERT_EQ(tree_to_xml(session.config_tree.root, path_scope_configuration), 0);
    EXPECT_EQ(pool_chunk_text(0), "<c xmlns=\"urn:m\">");
    // Slot 1 holds 8192 bytes, enough for it.
    EXPECT_EQ(pool_chunk_text(1), "<x>" + std::string(5000, 'v') + "</x></c>");
    pool_release();
    set("/m/c/x", std::string(50000, 'v').c_str());
    ASSERT_EQ(tree_to_xml(session.config_tree.root, path_scope_configuration), 0);
    EXPECT_EQ(session.output.slot[1]->capacity, 50008U);
    EXPECT_EQ(session.output.slot[1]->remaining, 1U);
    EXPECT_EQ(pool_chunk_text(2), "</c>");
}

TEST_F(xml_writer_test, more_than_16_chunks_fail)
{
    // A pool whose 16 chunks are full.
    for (output_chunk *&slot : session.output.slot) {
        slot = static_cast<output_chunk *>(malloc(sizeof(output_chunk)));
        *slot = {1, 1, static_cast<char *>(calloc(1, 1))};
    }
    session.output.current = 15;
    set("/m/c/x", "1");
    EXPECT_NE(tree_to_xml(session.config_tree.root, path_scope_configuration), 0);
    EXPECT_EQ(session.output.slot[0], nullptr);
    EXPECT_EQ(session.output.slot[15], nullptr);
    EXPECT_EQ(session.output.current, 0U);
    EXPECT_EQ(body(), "<c xmlns=\"urn:m\"><x>1</x></c>");
}

TEST_F(xml_writer_test, a_failure_leaves_an_empty_pool)
{
    set("/nix/c/x", "1");
    set("/m/c/x", "1");
    EXPECT_NE(tree_to_xml(session.config_tree.root, path_scope_configuration), 0);
    EXPECT_EQ(session.output.slot[0], nullptr);
    EXPECT_EQ(session.output.current, 0U);
    tree_free(&session.config_tree);
    EXPECT_EQ(inside_c("/m/c/y", "2"), "<y>2</y>");
}

TEST_F(xml_writer_test, filters)
{
    EXPECT_EQ(filter("/m/c"), "<c xmlns=\"urn:m\"></c>");
    EXPECT_EQ(filter("/m/c/sub/z"), "<c xmlns=\"urn:m\"><sub><z></z></sub></c>");
    EXPECT_EQ(filter("/m/c/o:box/lid"),
              "<c xmlns=\"urn:m\"><box xmlns=\"urn:o\"><lid></lid></box></c>");
    EXPECT_EQ(filter("/m/c/l2[k1=a<,k2='b\x03"
                     "c']/v"),
              "<c xmlns=\"urn:m\"><l2><k1>a&lt;</k1><k2>b c</k2><v></v></l2></c>");
}

TEST_F(xml_writer_test, a_filter_shows_neither_values_nor_operations)
{
    set("/m/c/ll", "a");
    set("/m/c/ll", "b");
    remove("/m/c/x");
    set("/m/c/id", "o:i");
    text_buffer text;
    text_append(&text, "head");
    ASSERT_EQ(tree_to_filter(session.config_tree.root, &text, 200), 0);
    EXPECT_STREQ(text.data.get(), "head<c xmlns=\"urn:m\"><id></id><x></x><ll></ll></c>");
}

TEST_F(xml_writer_test, a_filter_that_just_fits)
{
    const std::string text = "<c xmlns=\"urn:m\"><x></x></c>";
    EXPECT_EQ(filter("/m/c/x", text.size() + 1), text);
    captured_log_take();
    for (size_t size = 1; size <= text.size(); size++) {
        EXPECT_EQ(filter("/m/c/x", size), "(failed)") << size;
        EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] buf is not enough!\n"}}));
    }
}

TEST_F(xml_writer_test, modules_and_the_root_are_no_elements)
{
    set("/m/c/x", "1");
    EXPECT_FALSE(element_exists(session.config_tree.root));
    EXPECT_FALSE(element_exists(tree_find(&session.config_tree, "/m")));
    EXPECT_TRUE(element_exists(tree_find(&session.config_tree, "/m/c")));
}

TEST_F(xml_writer_test, a_hundred_thousand_elements_in_linear_time)
{
    auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 100000; i++)
        set("/m/c/n" + std::to_string(i), "v");
    std::string text = body();
    EXPECT_EQ(text.substr(0, 40), "<c xmlns=\"urn:m\"><n99999>v</n99999><n999");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

} // namespace
