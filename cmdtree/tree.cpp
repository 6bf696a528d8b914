// Staging. A new change either gets a node of its own, with the structural
// ancestors that are missing, or is merged into the node that its path has
// already. Everything that can fail happens before the first link is set.
#include "cmdtree/tree.h"

#include <stdlib.h>
#include <string.h>

#include "base/log.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/element_name.h"
#include "cmdtree/node.h"
#include "cmdtree/tree_index.h"
#include "schema/path.h"
#include "schema/place.h"

namespace
{

enum insert_result {
    insert_failed = -1,
    insert_linked = 0,
    insert_merged = 1, // the new node is no longer needed
};

// Frees a node that is out of its tree, with its values and all descendants,
// without recursion: always a leaf of what is left.
void free_subtree(tree_index *index, cmd_node *top)
{
    cmd_node *node = top;
    while (node != nullptr) {
        if (node->values.first != nullptr) {
            node = node->values.first;
            continue;
        }
        if (node->children.first != nullptr) {
            node = node->children.first;
            continue;
        }
        cmd_node *parent = node == top ? nullptr : node->parent;
        if (index != nullptr)
            tree_index_remove(index, node);
        node_unlink(node);
        node_free(node);
        node = parent;
    }
}

// The structural ancestors of path that are missing below a node of the given
// path length, as a chain from the top one down; 0 or -1.
int make_ancestors(const char *path, size_t from, cmd_node **top, cmd_node **bottom)
{
    *top = nullptr;
    *bottom = nullptr;
    for (const char *slash = strchr(path + from, '/'); slash != nullptr;
         slash = strchr(slash + 1, '/')) {
        node_ptr node =
            node_create({path, static_cast<size_t>(slash - path)}, nullptr, operation_structural);
        if (!node) {
            free_subtree(nullptr, *top);
            return -1;
        }
        cmd_node *link = node.release();
        if (*top == nullptr)
            *top = link;
        else
            node_link_first(*bottom, &(*bottom)->children, link);
        *bottom = link;
    }
    return 0;
}

// Links node below ancestor with the structural nodes between them; 0, or -1
// and nothing has changed.
int build_skeleton(command_tree *tree, cmd_node *ancestor, cmd_node *node)
{
    const size_t ancestor_length = strlen(ancestor->path);
    // The root's path is the "/" that begins every other path.
    const size_t from = ancestor_length == 1 ? 1 : ancestor_length + 1;
    cmd_node *top = nullptr;
    cmd_node *bottom = nullptr;
    if (tree_index_prepare(&tree->index) != 0 ||
        make_ancestors(node->path, from, &top, &bottom) != 0)
        return -1;
    cmd_node *parent = bottom != nullptr ? bottom : ancestor;
    node_link_first(parent, &parent->children, node);
    if (top != nullptr)
        node_link_first(ancestor, &ancestor->children, top);
    for (cmd_node *added = node; added != ancestor; added = added->parent)
        tree_index_add_node(&tree->index, added);
    return 0;
}

insert_result append_value(command_tree *tree, cmd_node *leaf_list, cmd_node *node)
{
    node_link_last(leaf_list, &leaf_list->values, node);
    if (node->value != nullptr)
        tree_index_add_entry(&tree->index, node);
    return insert_linked;
}

insert_result merge_leaf_list(command_tree *tree, cmd_node *leaf_list, cmd_node *node)
{
    if (node->value == nullptr) {
        if (node->operation == operation_set) {
            log_debug("[DEBUG] set leaf-list without assigned value\n");
            return insert_failed;
        }
        while (leaf_list->values.first != nullptr)
            free_subtree(&tree->index, leaf_list->values.first);
        return append_value(tree, leaf_list, node);
    }
    cmd_node *entry = tree_index_entry(&tree->index, leaf_list->path, node->value);
    if (entry == nullptr)
        return append_value(tree, leaf_list, node);
    entry->operation = node->operation;
    return insert_merged;
}

// Puts a delete in the place of a structural node: what is staged below it is
// dropped.
insert_result replace_structural(command_tree *tree, cmd_node *structural, cmd_node *node)
{
    cmd_node *parent = structural->parent;
    if (parent == nullptr)
        return insert_failed;
    free_subtree(&tree->index, structural);
    node_link_last(parent, &parent->children, node);
    tree_index_add_node(&tree->index, node);
    return insert_linked;
}

insert_result merge(command_tree *tree, cmd_node *present, cmd_node *node,
                    const schema_record *record)
{
    if (record != nullptr && record_kind(record) == node_kind_leaf_list)
        return merge_leaf_list(tree, present, node);
    if (node->operation == operation_delete) {
        if (present->operation == operation_structural)
            return replace_structural(tree, present, node);
        if (present->operation == operation_set)
            node_replace_value(present, nullptr);
        present->operation = operation_delete;
        return insert_merged;
    }
    if (present->operation == operation_structural)
        node_log(&tree->log, present);
    present->operation = operation_set;
    node_replace_value(present, node->value);
    node->value = nullptr;
    return insert_merged;
}

// Merges a node into the one of its path.
insert_result merge_looked_up(command_tree *tree, cmd_node *present, cmd_node *node)
{
    const bool is_input = tree == &session.rpc_tree;
    const place at = place_at(node->path, is_input ? path_scope_session : path_scope_configuration);
    return place_is_known(at) ? merge(tree, present, node, at.record.get()) : insert_failed;
}

insert_result insert_node(command_tree *tree, cmd_node *node, const schema_record *record)
{
    cmd_node *deepest = tree_find_deepest(tree, node->path);
    if (strlen(deepest->path) < strlen(node->path))
        return build_skeleton(tree, deepest, node) == 0 ? insert_linked : insert_failed;
    return record != nullptr ? merge(tree, deepest, node, record)
                             : merge_looked_up(tree, deepest, node);
}

int ensure_root(command_tree *tree)
{
    if (tree->root == nullptr)
        tree->root = node_create("/", nullptr, operation_structural).release();
    return tree->root != nullptr ? 0 : -1;
}

bool is_change(cmd_operation operation)
{
    return operation == operation_set || operation == operation_delete;
}

bool is_entry_of(const cmd_node *node, const char *list_path)
{
    const size_t length = strlen(list_path);
    return strncmp(node->path, list_path, length) == 0 && node->path[length] == '[';
}

cmd_node *first_entry_from(cmd_node *node, const char *list_path)
{
    while (node != nullptr && !is_entry_of(node, list_path))
        node = node->next_sibling;
    return node;
}

} // namespace

void tree_init()
{
    session.output = chunk_pool{};
    session.config_tree.log = command_log{};
    session.rpc_tree.log = command_log{};
}

command_tree *staged_tree()
{
    return session.rpc_path != nullptr ? &session.rpc_tree : &session.config_tree;
}

int tree_stage(command_tree *tree, const char *path, const schema_record *record, const char *value,
               cmd_operation operation)
{
    if (*path != '/' || !is_change(operation))
        return -1;
    node_ptr node = node_create(path, value, operation);
    if (!node && tree == &session.rpc_tree)
        log_debug("[DEBUG] failed to create a local cmd\n");
    if (!node || !path_names_elements(path) || ensure_root(tree) != 0)
        return -1;
    const insert_result result = insert_node(tree, node.get(), record);
    if (result == insert_linked)
        node_log(&tree->log, node.release());
    // A root without children is left when the first change was refused.
    else if (result == insert_failed && tree->root->children.first == nullptr)
        tree_free(tree);
    return result == insert_failed ? -1 : 0;
}

int tree_stage_config(const char *path, const char *value, cmd_operation operation)
{
    if (path == nullptr)
        return 0;
    return tree_stage(&session.config_tree, path, nullptr, value, operation);
}

int tree_stage_rpc(const char *path, const char *value, cmd_operation operation)
{
    if (path == nullptr || operation != operation_set) {
        log_debug("[DEBUG] invalid input parameters\n");
        return 0;
    }
    return tree_stage(&session.rpc_tree, path, nullptr, value, operation);
}

cmd_node *tree_find_deepest(const command_tree *tree, const char *path)
{
    cmd_node *deepest = tree_index_deepest(&tree->index, path);
    return deepest != nullptr ? deepest : tree->root;
}

cmd_node *tree_find(const command_tree *tree, const char *path)
{
    cmd_node *deepest = tree_find_deepest(tree, path);
    return deepest != nullptr && strcmp(deepest->path, path) == 0 ? deepest : nullptr;
}

cmd_node *tree_find_staged(const command_tree *tree, const char *path)
{
    cmd_node *deepest = tree_find_deepest(tree, path);
    if (deepest == nullptr || strcmp(deepest->path, path) == 0)
        return deepest;
    return first_entry_from(deepest->children.first, path) != nullptr ? deepest : nullptr;
}

cmd_node *tree_first_entry(const command_tree *tree, const char *list_path)
{
    // The list itself has a node only when it was deleted as a whole.
    const cmd_node *parent = tree_find_deepest(tree, list_path);
    if (parent != nullptr && strcmp(parent->path, list_path) == 0)
        parent = parent->parent;
    return parent != nullptr ? first_entry_from(parent->children.first, list_path) : nullptr;
}

cmd_node *tree_next_entry(const cmd_node *entry, const char *list_path)
{
    return first_entry_from(entry->next_sibling, list_path);
}

int tree_add_structural(command_tree *tree, const char *path)
{
    if (!path_names_elements(path))
        return -1;
    node_ptr node = node_create(path, nullptr, operation_structural);
    if (!node || ensure_root(tree) != 0)
        return -1;
    cmd_node *deepest = tree_find_deepest(tree, path);
    if (strcmp(deepest->path, path) == 0)
        return 0;
    if (build_skeleton(tree, deepest, node.get()) != 0)
        return -1;
    (void)node.release();
    return 0;
}

cmd_node *tree_detach(command_tree *tree)
{
    cmd_node *root = tree->root;
    tree_index_clear(&tree->index);
    tree->root = nullptr;
    return root;
}

void tree_free(command_tree *tree)
{
    tree_free_node(tree_detach(tree));
}

void tree_free_node(cmd_node *root)
{
    free_subtree(nullptr, root);
}
