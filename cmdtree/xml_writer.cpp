// A tree is written in output order without recursion: on the way down each
// node's opening piece and its further values, on the way up its closing piece.
#include "cmdtree/xml_writer.h"

#include "base/log.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/tree.h"
#include "cmdtree/xml_element.h"

namespace
{

// Where pieces go.
struct piece_sink {
    element_writer writer;
    text_buffer *filter; // below `size` bytes; null for the pool
    size_t size;
};

int emit_made(piece_sink *sink)
{
    text_buffer *made = &sink->writer.piece;
    if (made->length == 0)
        return 0;
    const std::string_view piece(made->data.get(), made->length);
    const bool fits = sink->filter == nullptr || sink->filter->length + piece.size() < sink->size;
    int failed = -1;
    if (!fits)
        log_debug("[DEBUG] buf is not enough!\n");
    else
        failed = sink->filter == nullptr ? pool_append(piece) : text_append(sink->filter, piece);
    text_clear(made);
    return failed;
}

// Emits what element_open or element_close makes of a node.
int emit(piece_sink *sink, const cmd_node *node, decltype(element_open) make)
{
    if (!element_exists(node))
        return 0;
    return make(&sink->writer, node) != 0 ? -1 : emit_made(sink);
}

int emit_values(piece_sink *sink, const cmd_node *node)
{
    if (sink->writer.detail == element_as_filter)
        return 0;
    for (const cmd_node *entry = node->values; entry != nullptr; entry = entry->next_sibling) {
        if (emit(sink, entry, element_open) != 0 || emit(sink, entry, element_close) != 0)
            return -1;
    }
    return 0;
}

// Closes a node without children, and its ancestors that are complete with it;
// *node is what comes next, null at the end.
int leave(piece_sink *sink, const cmd_node *top, const cmd_node **node)
{
    for (;;) {
        if (emit(sink, *node, element_close) != 0)
            return -1;
        if (*node == top) {
            *node = nullptr;
            return 0;
        }
        if ((*node)->next_sibling != nullptr) {
            *node = (*node)->next_sibling;
            return 0;
        }
        *node = (*node)->parent;
    }
}

int write_tree(piece_sink *sink, const cmd_node *top)
{
    const cmd_node *node = top;
    while (node != nullptr) {
        if (emit(sink, node, element_open) != 0 || emit_values(sink, node) != 0)
            return -1;
        if (node->children != nullptr)
            node = node->children;
        else if (leave(sink, top, &node) != 0)
            return -1;
    }
    return 0;
}

} // namespace

int tree_to_xml(const cmd_node *node, path_scope scope)
{
    piece_sink sink = {{element_with_changes, scope, {}, {}}, nullptr, 0};
    const int result = write_tree(&sink, node);
    if (result != 0)
        pool_release();
    return result;
}

int tree_to_filter(const cmd_node *node, text_buffer *out, size_t size)
{
    piece_sink sink = {{element_as_filter, path_scope_configuration, {}, {}}, out, size};
    return write_tree(&sink, node);
}
