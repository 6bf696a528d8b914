// Nodes of command trees.
#include "cmdtree/node.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>

namespace
{

node_ptr make(const char *path)
{
    return node_create(path, nullptr, operation_structural);
}

std::string split(const char *path)
{
    node_ptr node = make(path);
    const last_component last = node_last_component(node.get());
    return std::string(last.name) + "|" + std::string(last.predicate);
}

TEST(node_create, copies_path_and_value)
{
    char path[] = "/m/c/x";
    char value[] = "5";
    node_ptr node = node_create(path, value, operation_set);
    path[1] = 'z';
    value[0] = '6';
    EXPECT_STREQ(node->path, "/m/c/x");
    EXPECT_STREQ(node->value, "5");
    EXPECT_EQ(node->operation, 1U);
    EXPECT_EQ(node->parent, nullptr);
    EXPECT_EQ(node->children, nullptr);
    EXPECT_EQ(node->values, nullptr);
    EXPECT_EQ(node->log_back_link, nullptr);
    EXPECT_EQ(node->back_link, nullptr);
}

TEST(node_create, without_a_value)
{
    node_ptr node = node_create("/m/c", nullptr, operation_delete);
    EXPECT_EQ(node->value, nullptr);
    EXPECT_EQ(node->operation, 2U);
    EXPECT_STREQ(node_create("/m", "", operation_set)->value, "");
}

TEST(node_last_component, name_and_predicate)
{
    EXPECT_EQ(split("/m/c/l[k1=a,k2=b]"), "l|k1=a,k2=b");
    EXPECT_EQ(split("/m/l[a]/o:n[b]"), "o:n|b");
    EXPECT_EQ(split("/m/l[]"), "l[]|");
    EXPECT_EQ(split("/m/l[a]b]"), "l|a");
    EXPECT_EQ(split("/m/l[a"), "l[a|");
    EXPECT_EQ(split("/m/l"), "l|");
    EXPECT_EQ(split("/m/l]a["), "l]a[|");
    EXPECT_EQ(split("/m/l[a]/x"), "x|");
    EXPECT_EQ(split("/m/l[x]"), "l|x");
    EXPECT_EQ(split("/"), "|");
}

TEST(node_link, first_and_last)
{
    node_ptr parent = make("/m");
    node_ptr a = make("/m/a");
    node_ptr b = make("/m/b");
    node_ptr c = make("/m/c");
    node_link_first(parent.get(), a.get());
    node_link_first(parent.get(), b.get());
    node_link_last(parent.get(), c.get());
    EXPECT_EQ(parent->children, b.get());
    EXPECT_EQ(b->next_sibling, a.get());
    EXPECT_EQ(a->next_sibling, c.get());
    EXPECT_EQ(c->next_sibling, nullptr);
    EXPECT_EQ(b->back_link, &c->next_sibling); // where the list ends
    EXPECT_EQ(a->back_link, &b->next_sibling);
    EXPECT_EQ(c->back_link, &a->next_sibling);
    EXPECT_EQ(c->next_sibling, nullptr);
    EXPECT_EQ(c->parent, parent.get());
    node_unlink(a.get());
    EXPECT_EQ(b->next_sibling, c.get());
    EXPECT_EQ(c->back_link, &b->next_sibling);
    node_unlink(c.get());
    EXPECT_EQ(b->next_sibling, nullptr);
    EXPECT_EQ(b->back_link, &b->next_sibling);
    node_link_last(parent.get(), a.get());
    EXPECT_EQ(b->next_sibling, a.get());
    node_unlink(b.get());
    EXPECT_EQ(parent->children, a.get());
    node_unlink(a.get());
    EXPECT_EQ(parent->children, nullptr);
    node_link_last(parent.get(), c.get());
    EXPECT_EQ(parent->children, c.get());
    node_unlink(c.get());
    node_unlink(c.get()); // in no list any more
}

TEST(node_link, values_stand_beside_the_children)
{
    node_ptr leaf_list = make("/m/ll");
    node_ptr child = make("/m/ll/x");
    node_ptr a = make("/m/ll");
    node_ptr b = make("/m/ll");
    node_link_first(leaf_list.get(), child.get());
    node_link_value(leaf_list.get(), a.get());
    node_link_value(leaf_list.get(), b.get());
    EXPECT_EQ(leaf_list->values, a.get());
    EXPECT_EQ(a->next_sibling, b.get());
    EXPECT_EQ(a->parent, leaf_list.get());
    node_unlink(a.get());
    EXPECT_EQ(leaf_list->values, b.get());
    EXPECT_EQ(b->back_link, &b->next_sibling);
    node_unlink(b.get());
    EXPECT_EQ(leaf_list->values, nullptr);
    EXPECT_EQ(leaf_list->children, child.get());
    node_unlink(child.get());
}

TEST(node_log, keeps_the_order)
{
    command_log log = {};
    node_ptr a = make("/a");
    node_ptr b = make("/b");
    node_ptr c = make("/c");
    node_log(&log, a.get());
    node_log(&log, b.get());
    node_log(&log, c.get());
    EXPECT_EQ(log.first, a.get());
    EXPECT_EQ(a->log_next, b.get());
    EXPECT_EQ(b->log_next, c.get());
    node_unlog(&log, b.get());
    EXPECT_EQ(a->log_next, c.get());
    node_unlog(&log, c.get());
    node_unlog(&log, c.get()); // in no log any more
    EXPECT_EQ(a->log_next, nullptr);
    node_ptr d = make("/d");
    node_log(&log, d.get());
    EXPECT_EQ(a->log_next, d.get());
    node_unlog(&log, a.get());
    EXPECT_EQ(log.first, d.get());
    node_unlog(&log, d.get());
    EXPECT_EQ(log.first, nullptr);
}

TEST(node_replace_value, takes_the_new_one_over)
{
    node_ptr node = node_create("/m/x", "old", operation_set);
    const char *old = node->value;
    node_replace_value(node.get(), text_copy("new"));
    EXPECT_STREQ(node->value, "new");
    EXPECT_EQ(memcmp(old, "\0\0\0", 4), 0); // wiped, in the node's block
    node_replace_value(node.get(), text_copy("newer"));
    EXPECT_STREQ(node->value, "newer");
    node_replace_value(node.get(), nullptr);
    EXPECT_EQ(node->value, nullptr);
    EXPECT_STREQ(node->path, "/m/x");
}

} // namespace
