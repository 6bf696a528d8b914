#include "cmdtree/node.h"

#include <stdlib.h>
#include <string.h>

#include "base/text.h"
#include "bounded.h"
#include "schema/path.h"

namespace
{

void link_last(cmd_node **first, cmd_node *node)
{
    node->back_link = *first != nullptr ? (*first)->back_link : first;
    *node->back_link = node;
    (*first)->back_link = &node->next_sibling;
}

} // namespace

void node_free(cmd_node *node)
{
    node_replace_value(node, nullptr);
    free(node); // and its path with it
}

node_ptr node_create(std::string_view path, const char *value, cmd_operation operation)
{
    const size_t value_size = value != nullptr ? strlen(value) + 1 : 0;
    size_t size = 0;
    if (!size_add(sizeof(cmd_node) + 1, path.size(), &size) || !size_add(size, value_size, &size))
        return nullptr;
    node_ptr node(static_cast<cmd_node *>(calloc(1, size)));
    if (!node)
        return nullptr;
    node->operation = operation;
    memcpy_s(node->path, path.size(), path.data(), path.size());
    if (value != nullptr) {
        node->value = node->path + path.size() + 1;
        memcpy_s(node->value, value_size, value, value_size);
    }
    return node;
}

void node_link_first(cmd_node *parent, cmd_node *node)
{
    cmd_node *next = parent->children;
    node->parent = parent;
    node->next_sibling = next;
    node->back_link = next != nullptr ? next->back_link : &node->next_sibling;
    if (next != nullptr)
        next->back_link = &node->next_sibling;
    parent->children = node;
}

void node_link_last(cmd_node *parent, cmd_node *node)
{
    node->parent = parent;
    link_last(&parent->children, node);
}

void node_link_value(cmd_node *leaf_list, cmd_node *node)
{
    node->parent = leaf_list;
    node->is_value_entry = true;
    link_last(&leaf_list->values, node);
}

void node_unlink(cmd_node *node)
{
    if (node->back_link == nullptr)
        return;
    cmd_node **first = node->is_value_entry ? &node->parent->values : &node->parent->children;
    *(node == *first ? first : node->back_link) = node->next_sibling;
    cmd_node *heir = node->next_sibling != nullptr ? node->next_sibling : *first;
    if (heir != nullptr)
        heir->back_link = node->back_link;
    node->back_link = nullptr;
    node->next_sibling = nullptr;
}

void node_log(command_log *log, cmd_node *node)
{
    if (log->tail == nullptr)
        log->tail = &log->first;
    node->log_back_link = log->tail;
    *log->tail = node;
    log->tail = &node->log_next;
}

void node_unlog(command_log *log, cmd_node *node)
{
    if (node->log_back_link == nullptr)
        return;
    *node->log_back_link = node->log_next;
    if (node->log_next != nullptr)
        node->log_next->log_back_link = node->log_back_link;
    else
        log->tail = node->log_back_link;
    node->log_back_link = nullptr;
}

void node_replace_value(cmd_node *node, heap_text value)
{
    text_wipe(node->value);
    if (node->value_is_apart)
        free(node->value);
    node->value = value.release();
    node->value_is_apart = true;
}

last_component node_last_component(const cmd_node *node)
{
    const std::string_view last = path_last_component(node->path);
    const size_t open = last.find('[');
    const size_t close = open == std::string_view::npos ? open : last.find(']', open);
    if (close == std::string_view::npos || close == open + 1)
        return {last, {}};
    return {text_slice(last, 0, open), text_slice(last, open + 1, close - open - 1)};
}
