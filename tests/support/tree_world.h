// A shell_world for the command trees: staging, and what is staged as text.
#pragma once

#include "cmdtree/node.h"
#include "cmdtree/tree.h"
#include "tests/support/shell_world.h"

class tree_world : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    static int set(const std::string &path, const char *value = nullptr)
    {
        return tree_stage_config(path.c_str(), value, operation_set);
    }

    static int remove(const std::string &path, const char *value = nullptr)
    {
        return tree_stage_config(path.c_str(), value, operation_delete);
    }

    // A node as 1/m/c/x=5, its further values in braces and its children in
    // parentheses; checks every link.
    static std::string shown(const cmd_node *node)
    {
        std::string text = std::to_string(node->operation) + node->path;
        if (node->value != nullptr)
            text += std::string("=") + node->value;
        text += shown_list(node, node->values, "{", "}");
        return text + shown_list(node, node->children, "(", ")");
    }

    static std::string shown_list(const cmd_node *owner, const cmd_node *first, const char *open,
                                  const char *close)
    {
        std::string text;
        cmd_node *const *end = nullptr;
        for (const cmd_node *node = first; node != nullptr; node = node->next_sibling) {
            EXPECT_EQ(node->parent, owner);
            if (node != first) {
                EXPECT_EQ(node->back_link, end);
            }
            end = &node->next_sibling;
            text += (text.empty() ? "" : " ") + shown(node);
        }
        if (first != nullptr) {
            EXPECT_EQ(first->back_link, end);
        }
        return text.empty() ? "" : open + text + close;
    }

    static std::string config()
    {
        return session.config_tree.root != nullptr ? shown(session.config_tree.root) : "(none)";
    }

    static std::string log_of(const command_tree &tree)
    {
        std::string text;
        cmd_node *const *link = &tree.log.first;
        for (const cmd_node *node = tree.log.first; node != nullptr; node = node->log_next) {
            EXPECT_EQ(node->log_back_link, link);
            EXPECT_NE(node->operation, 0U);
            link = &node->log_next;
            text += (text.empty() ? "" : " ") + std::to_string(node->operation) + node->path +
                    (node->value != nullptr ? std::string("=") + node->value : "");
        }
        return text;
    }

    static std::string log()
    {
        return log_of(session.config_tree);
    }
};
