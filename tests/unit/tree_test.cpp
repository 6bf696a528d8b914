// Staging changes in the command trees.
#include "cmdtree/tree.h"

#include "tests/support/tree_world.h"

namespace
{

class tree_test : public tree_world
{
};

TEST_F(tree_test, nothing_is_staged_at_first)
{
    EXPECT_EQ(config(), "(none)");
    EXPECT_EQ(log(), "");
    EXPECT_EQ(tree_find(&session.config_tree, "/m"), nullptr);
    EXPECT_EQ(tree_find_deepest(&session.config_tree, "/m"), nullptr);
    EXPECT_EQ(tree_find_staged(&session.config_tree, "/m"), nullptr);
    EXPECT_EQ(tree_first_entry(&session.config_tree, "/m/c/l"), nullptr);
    tree_free(&session.config_tree);
    tree_free_subtree(&session.config_tree, nullptr);
}

TEST_F(tree_test, ancestors_are_made)
{
    EXPECT_EQ(set("/m/c/sub/z", "1"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(0/m/c/sub(1/m/c/sub/z=1))))");
    EXPECT_EQ(log(), "1/m/c/sub/z=1");
    EXPECT_EQ(fake_redis_reads(), 0); // no look-up for a new path
}

TEST_F(tree_test, children_are_newest_first)
{
    set("/m/c/x", "1");
    set("/m/c/y", "2");
    set("/m/top", "3");
    set("/o/oc/leaf", "4");
    EXPECT_EQ(config(), "0/(0/o(0/o/oc(1/o/oc/leaf=4)) 0/m(1/m/top=3 0/m/c(1/m/c/y=2 1/m/c/x=1)))");
    EXPECT_EQ(log(), "1/m/c/x=1 1/m/c/y=2 1/m/top=3 1/o/oc/leaf=4");
}

TEST_F(tree_test, a_second_set_replaces_the_value_in_place)
{
    set("/m/c/x", "1");
    set("/m/c/y", "2");
    EXPECT_EQ(set("/m/c/x", "3"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/y=2 1/m/c/x=3)))");
    EXPECT_EQ(log(), "1/m/c/x=3 1/m/c/y=2");
    EXPECT_EQ(set("/m/c/x"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/y=2 1/m/c/x)))");
    EXPECT_EQ(set("/m/c/x", ""), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/y=2 1/m/c/x=)))");
}

TEST_F(tree_test, what_is_no_element_is_refused)
{
    set("/m/c/x", "1");
    command_tree filter = {};
    for (const char *path : {"/m/c/l[", "/m/c/l[]", "/m/c/l[]/v", "/m/c/l[=x]", "/m/c/l[name=a",
                             "/m/c/x[", "/m/c/", "/m/c//x", "/m/c/o:", "/m/c/l[name=a/b]"}) {
        EXPECT_EQ(set(path), -1) << path;
        EXPECT_EQ(set(path, "v"), -1) << path;
        EXPECT_EQ(remove(path), -1) << path;
        EXPECT_EQ(tree_stage_rpc(path, nullptr, operation_set), -1) << path;
        EXPECT_EQ(tree_add_structural(&filter, path), -1) << path;
    }
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/x=1)))");
    EXPECT_EQ(log(), "1/m/c/x=1");
    EXPECT_EQ(session.rpc_tree.root, nullptr);
    EXPECT_EQ(filter.root, nullptr);
}

TEST_F(tree_test, set_and_delete_turn_into_each_other)
{
    set("/m/c/x", "1");
    EXPECT_EQ(remove("/m/c/x"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(2/m/c/x)))");
    EXPECT_EQ(set("/m/c/x", "2"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/x=2)))");
    EXPECT_EQ(remove("/m/c/x"), 0);
    EXPECT_EQ(remove("/m/c/x"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(2/m/c/x)))");
    EXPECT_EQ(log(), "2/m/c/x");
}

TEST_F(tree_test, a_delete_of_a_set_drops_even_its_own_value)
{
    set("/m/c/x", "1");
    EXPECT_EQ(remove("/m/c/x", "2"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(2/m/c/x)))");
}

TEST_F(tree_test, a_delete_of_a_delete_changes_nothing)
{
    remove("/m/c/x", "kept");
    EXPECT_EQ(remove("/m/c/x", "other"), 0);
    EXPECT_EQ(remove("/m/c/x"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(2/m/c/x=kept)))");
}

TEST_F(tree_test, a_delete_takes_the_place_of_what_is_staged_below)
{
    set("/m/c/x", "1");
    set("/m/c/sub/z", "2");
    set("/m/c/y", "3");
    EXPECT_EQ(remove("/m/c/sub"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/y=3 1/m/c/x=1 2/m/c/sub)))");
    EXPECT_EQ(log(), "1/m/c/x=1 1/m/c/y=3 2/m/c/sub");
    EXPECT_EQ(remove("/m/c"), 0);
    EXPECT_EQ(config(), "0/(0/m(2/m/c))");
    EXPECT_EQ(log(), "2/m/c");
}

TEST_F(tree_test, a_delete_of_a_whole_module)
{
    set("/m/c/x", "1");
    set("/o/oc/leaf", "2");
    EXPECT_EQ(remove("/m"), 0);
    EXPECT_EQ(config(), "0/(0/o(0/o/oc(1/o/oc/leaf=2)) 2/m)");
}

TEST_F(tree_test, changes_may_follow_below_a_delete)
{
    remove("/m/c/l[name=a]");
    EXPECT_EQ(set("/m/c/l[name=a]/v", "1"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(2/m/c/l[name=a](1/m/c/l[name=a]/v=1))))");
    EXPECT_EQ(log(), "2/m/c/l[name=a] 1/m/c/l[name=a]/v=1");
}

TEST_F(tree_test, a_structural_node_that_becomes_a_set_enters_the_log_then)
{
    set("/m/c/l[name=a]/v", "1");
    set("/m/c/x", "2");
    EXPECT_EQ(set("/m/c/l[name=a]"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/x=2 1/m/c/l[name=a](1/m/c/l[name=a]/v=1))))");
    EXPECT_EQ(log(), "1/m/c/l[name=a]/v=1 1/m/c/x=2 1/m/c/l[name=a]");
}

TEST_F(tree_test, children_of_a_set_that_becomes_a_delete_stay)
{
    set("/m/c/l[name=a]");
    set("/m/c/l[name=a]/v", "1");
    EXPECT_EQ(remove("/m/c/l[name=a]"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(2/m/c/l[name=a](1/m/c/l[name=a]/v=1))))");
}

TEST_F(tree_test, entries_are_nodes_of_their_own)
{
    set("/m/c/l[name=1]/v", "a");
    set("/m/c/l[name=2]/v", "b");
    EXPECT_EQ(config(), "0/(0/m(0/m/c(0/m/c/l[name=2](1/m/c/l[name=2]/v=b) "
                        "0/m/c/l[name=1](1/m/c/l[name=1]/v=a))))");
}

TEST_F(tree_test, leaf_list_values)
{
    set("/m/c/ll", "a");
    set("/m/c/ll", "b");
    set("/m/c/ll", "c");
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll=a{1/m/c/ll=b 1/m/c/ll=c})))");
    EXPECT_EQ(log(), "1/m/c/ll=a 1/m/c/ll=b 1/m/c/ll=c");
    EXPECT_EQ(remove("/m/c/ll", "b"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll=a{2/m/c/ll=b 1/m/c/ll=c})))");
    EXPECT_EQ(set("/m/c/ll", "b"), 0);
    EXPECT_EQ(set("/m/c/ll", "c"), 0);
    EXPECT_EQ(remove("/m/c/ll", "d"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll=a{1/m/c/ll=b 1/m/c/ll=c 2/m/c/ll=d})))");
    EXPECT_EQ(remove("/m/c/ll"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll=a{2/m/c/ll})))");
    EXPECT_EQ(log(), "1/m/c/ll=a 2/m/c/ll");
    EXPECT_EQ(set("/m/c/ll", "b"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll=a{2/m/c/ll 1/m/c/ll=b})))");
}

TEST_F(tree_test, the_first_value_of_a_leaf_list_is_not_compared)
{
    set("/m/c/ll", "a");
    EXPECT_EQ(set("/m/c/ll", "a"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll=a{1/m/c/ll=a})))");
    EXPECT_EQ(set("/m/c/ll", "a"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll=a{1/m/c/ll=a})))");
}

TEST_F(tree_test, a_leaf_list_needs_a_value_the_second_time)
{
    EXPECT_EQ(set("/m/c/ll"), 0);
    captured_log_take();
    EXPECT_EQ(set("/m/c/ll"), -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] set leaf-list without assigned value\n"}}));
    EXPECT_EQ(set("/m/c/ll", ""), 0);
    EXPECT_EQ(set("/m/c/ll", ""), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll{1/m/c/ll=})))");
}

TEST_F(tree_test, a_leaf_list_whose_first_change_is_a_delete)
{
    EXPECT_EQ(remove("/m/c/ll", "a"), 0);
    EXPECT_EQ(set("/m/c/ll", "a"), 0);
    EXPECT_EQ(remove("/m/c/ll"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(2/m/c/ll=a{2/m/c/ll})))");
}

TEST_F(tree_test, values_are_compared_by_bytes)
{
    set("/m/c/ll", "x");
    set("/m/c/ll", "a");
    set("/m/c/ll", "A");
    set("/m/c/ll", "'a'");
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/ll=x{1/m/c/ll=a 1/m/c/ll=A 1/m/c/ll='a'})))");
}

TEST_F(tree_test, a_leaf_list_is_known_by_its_data_path)
{
    fake_redis_put_node("/m/c/ch/ca", "cll", fake_leaf_list);
    set("/m/c/cll", "a");
    set("/m/c/cll", "b");
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/cll=a{1/m/c/cll=b})))");
}

TEST_F(tree_test, staged_paths_are_configuration_in_rpc_mode_too)
{
    fake_redis_put_node("/m/r", "odd", fake_leaf_list);
    enter_rpc("/m/r");
    EXPECT_EQ(set("/m/c/ll", "a"), 0);
    EXPECT_EQ(set("/m/c/ll", "b"), 0);
    EXPECT_EQ(set("/m/r/odd", "a"), 0);
    EXPECT_EQ(set("/m/r/odd", "b"), 0);
    EXPECT_EQ(config(), "0/(0/m(0/m/r(1/m/r/odd=a{1/m/r/odd=b}) 0/m/c(1/m/c/ll=a{1/m/c/ll=b})))");
}

TEST_F(tree_test, a_path_without_a_record_cannot_be_staged_twice)
{
    EXPECT_EQ(set("/nix/a", "1"), 0);
    EXPECT_EQ(set("/nix/a", "2"), -1);
    EXPECT_EQ(remove("/nix/a"), -1);
    EXPECT_EQ(config(), "0/(0/nix(1/nix/a=1))");
    EXPECT_EQ(log(), "1/nix/a=1");
    EXPECT_EQ(set("/m/c/x", "1"), 0);
    fake_redis_fail_after(0);
    EXPECT_EQ(set("/m/c/x", "2"), -1);
    EXPECT_EQ(log(), "1/nix/a=1 1/m/c/x=1");
}

TEST_F(tree_test, refused_arguments)
{
    EXPECT_EQ(tree_stage_config(nullptr, "1", operation_set), 0);
    EXPECT_EQ(tree_stage_config(nullptr, nullptr, operation_structural), 0);
    EXPECT_EQ(set("m/c/x", "1"), -1);
    EXPECT_EQ(set("", "1"), -1);
    EXPECT_EQ(tree_stage_config("/m/c/x", "1", operation_structural), -1);
    EXPECT_EQ(tree_stage_config("/m/c/x", "1", static_cast<cmd_operation>(3)), -1);
    EXPECT_EQ(set("/", "1"), -1);
    EXPECT_EQ(remove("/"), -1);
    EXPECT_EQ(config(), "(none)");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(tree_test, the_root_cannot_be_deleted)
{
    set("/m/c/x", "1");
    EXPECT_EQ(remove("/"), -1);
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/x=1)))");
}

TEST_F(tree_test, the_rpc_tree_takes_sets_only)
{
    enter_rpc("/m/r");
    const log_lines invalid = {{15, "[DEBUG] invalid input parameters\n"}};
    EXPECT_EQ(tree_stage_rpc("/m/r/p", nullptr, operation_delete), 0);
    EXPECT_EQ(captured_log_take(), invalid);
    EXPECT_EQ(tree_stage_rpc("/m/r/p", "1", operation_structural), 0);
    EXPECT_EQ(captured_log_take(), invalid);
    EXPECT_EQ(tree_stage_rpc(nullptr, "1", operation_set), 0);
    EXPECT_EQ(captured_log_take(), invalid);
    EXPECT_EQ(session.rpc_tree.root, nullptr);
    EXPECT_EQ(tree_stage_rpc("m", "1", operation_set), -1);
    EXPECT_EQ(tree_stage_rpc("/m/r/p", "1", operation_set), 0);
    EXPECT_EQ(tree_stage_rpc("/m/r/pc/q", "2", operation_set), 0);
    EXPECT_EQ(tree_stage_rpc("/m/r/p", "3", operation_set), 0);
    EXPECT_EQ(shown(session.rpc_tree.root), "0/(0/m(0/m/r(0/m/r/pc(1/m/r/pc/q=2) 1/m/r/p=3)))");
    EXPECT_EQ(log_of(session.rpc_tree), "1/m/r/p=3 1/m/r/pc/q=2");
    EXPECT_EQ(config(), "(none)");
    EXPECT_EQ(log(), "");
}

TEST_F(tree_test, freeing_and_starting_again)
{
    set("/m/c/x", "1");
    set("/m/c/ll", "a");
    set("/m/c/ll", "b");
    tree_free(&session.config_tree);
    EXPECT_EQ(config(), "(none)");
    EXPECT_EQ(log(), "");
    set("/m/c/y", "1");
    EXPECT_EQ(config(), "0/(0/m(0/m/c(1/m/c/y=1)))");
    EXPECT_EQ(log(), "1/m/c/y=1");
}

TEST_F(tree_test, detaching)
{
    set("/m/c/x", "1");
    cmd_node *root = tree_detach(&session.config_tree);
    EXPECT_EQ(config(), "(none)");
    EXPECT_EQ(tree_find(&session.config_tree, "/m/c/x"), nullptr);
    EXPECT_EQ(shown(root), "0/(0/m(0/m/c(1/m/c/x=1)))");
    EXPECT_EQ(log(), "1/m/c/x=1"); // its nodes leave the log when they are freed
    set("/m/c/y", "2");
    EXPECT_EQ(log(), "1/m/c/x=1 1/m/c/y=2");
    tree_free_subtree(&session.config_tree, root);
    EXPECT_EQ(log(), "1/m/c/y=2");
}

TEST_F(tree_test, structural_nodes)
{
    command_tree tree = {};
    EXPECT_EQ(tree_add_structural(&tree, "/m/c"), 0);
    EXPECT_EQ(tree_add_structural(&tree, "/m/c/x"), 0);
    EXPECT_EQ(tree_add_structural(&tree, "/m/c/x"), 0);
    EXPECT_EQ(tree_add_structural(&tree, "/m/c/y"), 0);
    EXPECT_EQ(shown(tree.root), "0/(0/m(0/m/c(0/m/c/y 0/m/c/x)))");
    EXPECT_EQ(tree.log.first, nullptr);
    tree_free(&tree);
    EXPECT_EQ(tree.root, nullptr);
}

TEST_F(tree_test, init_clears_pool_and_logs)
{
    set("/m/c/x", "1");
    cmd_node *root = tree_detach(&session.config_tree);
    tree_free_subtree(&session.config_tree, root);
    tree_init();
    EXPECT_EQ(session.config_tree.log.first, nullptr);
    EXPECT_EQ(session.output.slot[0], nullptr);
    EXPECT_EQ(session.output.current, 0U);
}

TEST_F(tree_test, odd_paths_do_no_harm)
{
    for (const char *path : {"//", "/m//c", "/m/", "/m/c/l[", "/m/c/]", "/[", "/m/c/l[a/b]",
                             "/m/c/l[name=a]]", "/:", "/m/c/o:", "/\x01\x02"}) {
        set(path, "v");
        set(path, "w");
        remove(path);
        tree_find_staged(&session.config_tree, path);
    }
    shown(session.config_tree.root);
}

TEST_F(tree_test, a_deep_tree_is_freed_without_recursion)
{
    std::string path;
    for (int i = 0; i < 5000; i++)
        path += "/a";
    EXPECT_EQ(set(path, "v"), 0);
    tree_free(&session.config_tree);
}

} // namespace
