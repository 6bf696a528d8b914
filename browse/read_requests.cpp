#include "browse/read_requests.h"

#include <stdio.h>

#include "base/log.h"
#include "cmdtree/tree.h"
#include "cmdtree/xml_writer.h"
#include "link/request.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

constexpr size_t request_size = frame_room.size() + 4096;

// A throw-away tree that owns itself; nothing of it is staged.
struct filter_tree : command_tree {
    filter_tree() : command_tree{} {}
    ~filter_tree()
    {
        tree_free(this);
    }
    filter_tree(const filter_tree &) = delete;
    filter_tree &operator=(const filter_tree &) = delete;
};

// Fills an empty tree with the node at a path, and below it one for each key, if there are
// keys; 0 or -1. A path of one component is refused with a message to the operator.
int fill_filter(filter_tree *tree, const char *path, const key_names *keys)
{
    if (path_levels(path) < 2) {
        puts("please give a node in the module!\r");
        return -1;
    }
    if (tree_add_structural(tree, path) != 0)
        return -1;
    for (size_t i = 0; keys != nullptr && i < keys->count; i++) {
        const heap_text key_path = text_concat({path, "/", keys->name[i]});
        if (!key_path || tree_add_structural(tree, key_path.get()) != 0)
            return -1;
    }
    return 0;
}

// Begins a request in an empty buffer; a null datastore has none named. 0 or -1.
int begin_request(text_buffer *request, const char *operation, const char *datastore)
{
    if (text_reserve(request, {request_size - 1}) != 0)
        return -1;
    if (request_begin(request) != 0 || text_append_all(request, {"  <", operation, ">\r\n"}) != 0 ||
        (datastore != nullptr && text_append_all(request, {"    <source>\r\n"
                                                           "      <",
                                                           datastore,
                                                           "/>\r\n"
                                                           "    </source>\r\n"}) != 0))
        return -1;
    return text_append(request, "    <filter type=\"subtree\">\r\n");
}

// The request for what stands at a path, or for these keys of the entries of a list there.
text_buffer build(const char *path, const key_names *keys, const char *operation,
                  const char *datastore)
{
    text_buffer request;
    if (begin_request(&request, operation, datastore) != 0)
        return {};
    filter_tree filter;
    if (fill_filter(&filter, path, keys) != 0) {
        if (keys == nullptr)
            log_debug("[DEBUG] Failed to build %s's tree!\n", shown_text(path).get());
        else
            log_debug("[DEBUG] Failed to build list:%s's tree.\n", shown_text(path).get());
        return {};
    }
    if (tree_to_filter(filter.root, &request, request_size) != 0 ||
        text_append_all(&request, {"    </filter>\r\n  </", operation, ">\r\n</rpc>\r\n"}) != 0 ||
        request.length >= request_size)
        return {};
    return request;
}

} // namespace

text_buffer build_get(const char *path)
{
    return build(path, nullptr, "get", nullptr);
}

text_buffer build_get_config(const char *path, read_source source)
{
    return build(path, nullptr, "get-config",
                 source == read_source_running ? "running" : "startup");
}

text_buffer build_get_list_keys(const char *list_path, const key_names *keys)
{
    return build(list_path, keys, "get-config", "running");
}
