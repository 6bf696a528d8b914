// Finding what is staged, and the index that finds it.
#include "cmdtree/tree_index.h"

#include "tests/support/tree_world.h"

namespace
{

class tree_index_test : public tree_world
{
};

TEST_F(tree_index_test, finding_the_deepest_node)
{
    set("/m/c/l[name=1]/v", "a");
    set("/m/c/x", "b");
    auto deepest = [](const char *path) {
        return std::string(tree_find_deepest(&session.config_tree, path)->path);
    };
    EXPECT_EQ(deepest("/m/c/x"), "/m/c/x");
    EXPECT_EQ(deepest("/m/c/x/y"), "/m/c/x");
    EXPECT_EQ(deepest("/m/c/xy"), "/m/c");
    EXPECT_EQ(deepest("/m/cx"), "/m");
    EXPECT_EQ(deepest("/m/c[k=1]"), "/m");
    EXPECT_EQ(deepest("/m/c/l"), "/m/c");
    EXPECT_EQ(deepest("/m/c/l[name=1]"), "/m/c/l[name=1]");
    EXPECT_EQ(deepest("/m/c/l[name=2]/v"), "/m/c");
    EXPECT_EQ(deepest("/nix/c"), "/");
    EXPECT_EQ(deepest("/"), "/");
    EXPECT_EQ(deepest(""), "/");
}

TEST_F(tree_index_test, a_leaf_list_entry_is_no_node)
{
    set("/m/c/ll", "a");
    set("/m/c/ll", "b");
    EXPECT_STREQ(tree_find(&session.config_tree, "/m/c/ll")->value, "a");
}

TEST_F(tree_index_test, finding_what_is_staged)
{
    set("/m/c/l[name=1]/v", "a");
    set("/m/c/l2[k1=1,k2=2]");
    auto staged = [](const char *path) {
        cmd_node *node = tree_find_staged(&session.config_tree, path);
        return node != nullptr ? std::string(node->path) : "(none)";
    };
    EXPECT_EQ(staged("/m/c/l[name=1]/v"), "/m/c/l[name=1]/v");
    EXPECT_EQ(staged("/m/c/l"), "/m/c");
    EXPECT_EQ(staged("/m/c/l2"), "/m/c");
    EXPECT_EQ(staged("/m/c"), "/m/c");
    EXPECT_EQ(staged("/m"), "/m");
    EXPECT_EQ(staged("/"), "/");
    EXPECT_EQ(staged("/m/c/x"), "(none)");
    EXPECT_EQ(staged("/m/c/l3"), "(none)");
    EXPECT_EQ(staged("/m/c/l[name=2]"), "(none)");
    EXPECT_EQ(staged("/m/c/l[name=1]/in"), "(none)");
    EXPECT_EQ(staged("/m/"), "(none)");
}

TEST_F(tree_index_test, the_entries_of_a_list)
{
    set("/m/c/l[name=1]");
    set("/m/c/l2[k1=1,k2=2]");
    set("/m/c/l[name=2]/v", "b");
    set("/m/c/lx", "c");
    remove("/m/c/l[name=3]");
    std::string found;
    for (cmd_node *node = tree_first_entry(&session.config_tree, "/m/c/l"); node != nullptr;
         node = tree_next_entry(node, "/m/c/l"))
        found += std::string(node->path) + ";";
    EXPECT_EQ(found, "/m/c/l[name=3];/m/c/l[name=2];/m/c/l[name=1];");
    EXPECT_EQ(tree_first_entry(&session.config_tree, "/m/nix"), nullptr);
    EXPECT_EQ(tree_first_entry(&session.config_tree, "/m/c/l[name=2]/in"), nullptr);
}

TEST_F(tree_index_test, many_entries)
{
    for (int i = 0; i < 20000; i++) {
        std::string entry = "/m/c/l[name=" + std::to_string(i) + "]/v";
        ASSERT_EQ(set(entry, "1"), 0);
        ASSERT_EQ(set("/m/c/ll", std::to_string(i).c_str()), 0);
    }
    for (int i = 0; i < 20000; i++)
        ASSERT_EQ(remove("/m/c/ll", std::to_string(i).c_str()), 0);
    EXPECT_NE(tree_find(&session.config_tree, "/m/c/l[name=12345]/v"), nullptr);
    EXPECT_EQ(remove("/m/c"), 0);
    EXPECT_EQ(config(), "0/(0/m(2/m/c))");
    EXPECT_EQ(log(), "2/m/c");
    EXPECT_EQ(session.config_tree.index.node_count, 2U);
}

TEST_F(tree_index_test, without_buckets)
{
    tree_index index = {};
    EXPECT_EQ(tree_index_deepest(&index, "/m"), nullptr);
    EXPECT_EQ(tree_index_entry(&index, "/m", "v"), nullptr);
    node_ptr node = node_create("/m", nullptr, operation_set);
    tree_index_remove(&index, node.get());
    tree_index_clear(&index);
}

TEST_F(tree_index_test, adds_finds_and_removes)
{
    tree_index index = {};
    ASSERT_EQ(tree_index_prepare(&index), 0);
    std::vector<node_ptr> nodes;
    for (int i = 0; i < 1000; i++) {
        nodes.push_back(node_create("/n" + std::to_string(i), nullptr, operation_set));
        tree_index_add_node(&index, nodes.back().get());
    }
    EXPECT_EQ(index.node_count, 1000U);
    EXPECT_EQ(tree_index_deepest(&index, "/n77/x/y"), nodes[77].get());
    tree_index_remove(&index, nodes[77].get());
    tree_index_remove(&index, nodes[77].get()); // not in it any more
    EXPECT_EQ(index.node_count, 999U);
    EXPECT_EQ(tree_index_deepest(&index, "/n77/x/y"), nullptr);
    EXPECT_EQ(tree_index_deepest(&index, "/n78"), nodes[78].get());
    tree_index_clear(&index);
    EXPECT_EQ(index.node_count, 0U);
    EXPECT_EQ(index.buckets, nullptr);
}

} // namespace
