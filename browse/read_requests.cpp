#include "browse/read_requests.h"

#include <stdlib.h>
#include <string.h>

#include "base/log.h"
#include "bounded.h"
#include "cmdtree/filter_tree.h"
#include "cmdtree/xml_writer.h"
#include "link/request.h"
#include "schema/masking.h"

namespace
{

constexpr size_t request_size = 4096;

const char get_head[] = "  <get>\r\n"
                        "    <filter type=\"subtree\">\r\n";
const char get_tail[] = "    </filter>\r\n"
                        "  </get>\r\n"
                        "</rpc>\r\n";

const char running_head[] = "  <get-config>\r\n"
                            "    <source>\r\n"
                            "      <running/>\r\n"
                            "    </source>\r\n"
                            "    <filter type=\"subtree\">\r\n";
const char startup_head[] = "  <get-config>\r\n"
                            "    <source>\r\n"
                            "      <startup/>\r\n"
                            "    </source>\r\n"
                            "    <filter type=\"subtree\">\r\n";
const char get_config_tail[] = "    </filter>\r\n"
                               "  </get-config>\r\n"
                               "</rpc>\r\n";

// The first lines of a request, with the next message id.
heap_text begin_request(const char *head)
{
    heap_text request(static_cast<char *>(calloc(1, request_size)));
    if (!request)
        return nullptr;
    const heap_text first = request_head();
    if (!first || strcat_s(request.get(), request_size, first.get()) != 0 ||
        strcat_s(request.get(), request_size, head) != 0)
        return nullptr;
    return request;
}

heap_text finish_request(heap_text request, const filter_tree *filter, const char *tail)
{
    if (tree_to_filter(filter->root, request.get(), request_size) != 0 ||
        strcat_s(request.get(), request_size, tail) != 0)
        return nullptr;
    return request;
}

heap_text build_for_path(const char *path, const char *head, const char *tail)
{
    heap_text request = begin_request(head);
    if (!request)
        return nullptr;
    filter_tree filter;
    if (filter_tree_for_path(&filter, path) != 0) {
        log_debug("[DEBUG] Failed to build %s's tree!\n", shown_text(path).get());
        return nullptr;
    }
    return finish_request(std::move(request), &filter, tail);
}

} // namespace

heap_text build_get(const char *path)
{
    return build_for_path(path, get_head, get_tail);
}

heap_text build_get_config(const char *path, read_source source)
{
    const char *head = source == read_source_running ? running_head : startup_head;
    return build_for_path(path, head, get_config_tail);
}

heap_text build_get_list_keys(const char *list_path, const key_names *keys)
{
    heap_text request = begin_request(running_head);
    if (!request)
        return nullptr;
    filter_tree filter;
    if (filter_tree_for_keys(&filter, list_path, keys) != 0) {
        log_debug("[DEBUG] Failed to build list:%s's tree.\n", shown_text(list_path).get());
        return nullptr;
    }
    return finish_request(std::move(request), &filter, get_config_tail);
}
