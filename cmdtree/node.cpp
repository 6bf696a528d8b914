#include "cmdtree/node.h"

#include <stdlib.h>
#include <string.h>

#include "base/text.h"
#include "bounded.h"
#include "schema/path.h"

namespace
{

// Where a node is linked, its back link must be given the list's own link.
void link_at(cmd_node *parent, node_list *list, cmd_node **link, cmd_node *node)
{
    node->parent = parent;
    node->list = list;
    node->back_link = link;
    node->next_sibling = *link;
    if (*link != nullptr)
        (*link)->back_link = &node->next_sibling;
    else
        list->tail = &node->next_sibling;
    *link = node;
}

} // namespace

void node_free(cmd_node *node)
{
    text_free(node->value);
    free(node); // and its path with it
}

node_ptr node_create(std::string_view path, const char *value, cmd_operation operation)
{
    size_t size = 0;
    if (!size_add(sizeof(cmd_node) + 1, path.size(), &size))
        return nullptr;
    // One block for node and path: a large tree is bound by memory traffic.
    node_ptr node(static_cast<cmd_node *>(calloc(1, size)));
    if (!node)
        return nullptr;
    node->path = reinterpret_cast<char *>(node.get() + 1);
    memcpy_s(node->path, path.size(), path.data(), path.size());
    node->operation = operation;
    node->children.tail = &node->children.first;
    node->values.tail = &node->values.first;
    if (value != nullptr)
        node->value = text_copy(value).release();
    return value == nullptr || node->value != nullptr ? std::move(node) : nullptr;
}

void node_link_first(cmd_node *parent, node_list *list, cmd_node *node)
{
    link_at(parent, list, &list->first, node);
}

void node_link_last(cmd_node *parent, node_list *list, cmd_node *node)
{
    link_at(parent, list, list->tail, node);
}

void node_log(command_log *log, cmd_node *node)
{
    if (log->tail == nullptr)
        log->tail = &log->first;
    node->log = log;
    node->log_back_link = log->tail;
    *log->tail = node;
    log->tail = &node->log_next;
}

void node_unlink(cmd_node *node)
{
    if (node->list != nullptr) {
        *node->back_link = node->next_sibling;
        if (node->next_sibling != nullptr)
            node->next_sibling->back_link = node->back_link;
        else
            node->list->tail = node->back_link;
        node->list = nullptr;
    }
    if (node->log != nullptr) {
        *node->log_back_link = node->log_next;
        if (node->log_next != nullptr)
            node->log_next->log_back_link = node->log_back_link;
        else
            node->log->tail = node->log_back_link;
        node->log = nullptr;
    }
}

void node_replace_value(cmd_node *node, char *value)
{
    text_free(node->value);
    node->value = value;
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
