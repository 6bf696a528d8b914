// Staging. A new change either gets a node of its own, with the structural
// ancestors that are missing, or is merged into the node that its path has
// already. Everything that can fail happens before the first link is set.
#include "cmdtree/tree.h"

#include <string.h>

#include "base/log.h"
#include "cmdtree/element_name.h"
#include "cmdtree/node.h"
#include "cmdtree/tree_index.h"
#include "schema/place.h"

namespace
{

struct change {
    const char *path;
    const char *value; // null for none
    cmd_operation operation;
};

// Links node below ancestor with the structural nodes between them; 0, or -1
// and the tree has not changed.
int build_skeleton(command_tree *tree, cmd_node *ancestor, node_ptr made)
{
    if (tree_index_prepare(&tree->index) != 0)
        return -1;
    cmd_node *node = made.release();
    cmd_node *top = node;
    const std::string_view path = node->path;
    const size_t ancestor_length = strlen(ancestor->path);
    // The root's path is the "/" that begins every other path.
    const size_t from = ancestor_length == 1 ? 1 : ancestor_length + 1;
    for (size_t slash = path.rfind('/'); slash >= from; slash = path.rfind('/', slash - 1)) {
        cmd_node *parent =
            node_create(text_slice(path, 0, slash), nullptr, operation_structural).release();
        if (parent == nullptr) {
            tree_free_subtree(tree, top);
            return -1;
        }
        node_link_first(parent, top);
        top = parent;
    }
    node_link_first(ancestor, top);
    for (cmd_node *added = node; added != ancestor; added = added->parent)
        tree_index_add_node(&tree->index, added);
    return 0;
}

int refuse_for_memory(const command_tree *tree)
{
    if (tree == &session.rpc_tree)
        log_debug("[DEBUG] failed to create a local cmd\n");
    return -1;
}

int add_node(command_tree *tree, cmd_node *ancestor, const change &what)
{
    cmd_node *node = node_create(what.path, what.value, what.operation).release();
    if (node == nullptr)
        return refuse_for_memory(tree);
    if (build_skeleton(tree, ancestor, node_ptr(node)) != 0)
        return -1;
    node_log(&tree->log, node);
    return 0;
}

int merge_leaf_list(command_tree *tree, cmd_node *leaf_list, const change &what)
{
    cmd_node *entry =
        what.value != nullptr ? tree_index_entry(&tree->index, what.path, what.value) : nullptr;
    if (entry != nullptr) {
        entry->operation = what.operation;
        return 0;
    }
    if (what.value == nullptr && what.operation == operation_set) {
        log_debug("[DEBUG] set leaf-list without assigned value\n");
        return -1;
    }
    cmd_node *node = node_create(what.path, what.value, what.operation).release();
    if (node == nullptr)
        return refuse_for_memory(tree);
    while (what.value == nullptr && leaf_list->values != nullptr)
        tree_free_subtree(tree, leaf_list->values);
    node_link_value(leaf_list, node);
    if (what.value != nullptr)
        tree_index_add_entry(&tree->index, node);
    node_log(&tree->log, node);
    return 0;
}

// Puts a delete in the place of a structural node: what is staged below it is
// dropped.
int replace_structural(command_tree *tree, cmd_node *structural, const change &what)
{
    cmd_node *parent = structural->parent;
    if (parent == nullptr)
        return -1;
    cmd_node *node = node_create(what.path, what.value, what.operation).release();
    if (node == nullptr)
        return refuse_for_memory(tree);
    tree_free_subtree(tree, structural);
    node_link_last(parent, node);
    tree_index_add_node(&tree->index, node);
    node_log(&tree->log, node);
    return 0;
}

int merge(command_tree *tree, cmd_node *present, const change &what, const schema_record *record)
{
    if (record != nullptr && record_kind(record) == node_kind_leaf_list)
        return merge_leaf_list(tree, present, what);
    if (what.operation == operation_delete) {
        if (present->operation == operation_structural)
            return replace_structural(tree, present, what);
        if (present->operation == operation_set)
            node_replace_value(present, nullptr);
        present->operation = operation_delete;
        return 0;
    }
    heap_text value = what.value != nullptr ? text_copy(what.value) : nullptr;
    if (what.value != nullptr && !value)
        return refuse_for_memory(tree);
    if (present->operation == operation_structural)
        node_log(&tree->log, present);
    present->operation = operation_set;
    node_replace_value(present, std::move(value));
    return 0;
}

// Merges a change into the node of its path.
int merge_looked_up(command_tree *tree, cmd_node *present, const change &what)
{
    const bool is_input = tree == &session.rpc_tree;
    const place at = place_at(what.path, is_input ? path_scope_session : path_scope_configuration);
    return place_is_known(at) ? merge(tree, present, what, at.record.get()) : -1;
}

int insert(command_tree *tree, const change &what, const schema_record *record)
{
    cmd_node *deepest = tree_find_deepest(tree, what.path);
    if (strlen(deepest->path) < strlen(what.path))
        return add_node(tree, deepest, what);
    return record != nullptr ? merge(tree, deepest, what, record)
                             : merge_looked_up(tree, deepest, what);
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
    if (*path != '/' || !is_change(operation) || !path_names_elements(path) ||
        ensure_root(tree) != 0)
        return -1;
    const int result = insert(tree, {path, value, operation}, record);
    // A root without children is left when the first change was refused.
    if (result != 0 && tree->root->children == nullptr)
        tree_free(tree);
    return result;
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
    return first_entry_from(deepest->children, path) != nullptr ? deepest : nullptr;
}

cmd_node *tree_first_entry(const command_tree *tree, const char *list_path)
{
    // The list itself has a node only when it was deleted as a whole.
    const cmd_node *parent = tree_find_deepest(tree, list_path);
    if (parent != nullptr && strcmp(parent->path, list_path) == 0)
        parent = parent->parent;
    return parent != nullptr ? first_entry_from(parent->children, list_path) : nullptr;
}

cmd_node *tree_next_entry(const cmd_node *entry, const char *list_path)
{
    return first_entry_from(entry->next_sibling, list_path);
}

int tree_add_structural(command_tree *tree, const char *path)
{
    if (!path_names_elements(path) || ensure_root(tree) != 0)
        return -1;
    cmd_node *deepest = tree_find_deepest(tree, path);
    if (strcmp(deepest->path, path) == 0)
        return 0;
    node_ptr node = node_create(path, nullptr, operation_structural);
    return node ? build_skeleton(tree, deepest, std::move(node)) : -1;
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
    tree_free_subtree(tree, tree_detach(tree));
}

// Without recursion: always a leaf of what is left.
void tree_free_subtree(command_tree *tree, cmd_node *top)
{
    cmd_node *node = top;
    while (node != nullptr) {
        cmd_node *below = node->values != nullptr ? node->values : node->children;
        if (below != nullptr) {
            node = below;
            continue;
        }
        cmd_node *parent = node == top ? nullptr : node->parent;
        tree_index_remove(&tree->index, node);
        node_unlog(&tree->log, node);
        node_unlink(node);
        node_free(node);
        node = parent;
    }
}
