#include "browse/server_read.h"

#include <string.h>

#include "base/log.h"
#include "base/text.h"
#include "browse/descendants.h"
#include "browse/read_requests.h"
#include "link/request.h"
#include "link/xpath.h"
#include "schema/data_xpath.h"
#include "schema/key_set.h"
#include "schema/masking.h"
#include "schema/path.h"
#include "schema/place.h"

namespace
{

// A node set points into its document, which is freed after it.
struct query_result {
    xml_doc document;
    xpath_result nodes;
};

// Sends a request and parses the reply; null without one.
xml_doc exchange_document(text_buffer request)
{
    if (!request.data) {
        log_debug("[DEBUG] Build get msg error\n");
        return nullptr;
    }
    unmask_keys(request.data.get());
    reply_text reply;
    const request_result result = request_exchange(&request, &reply);
    if (result == request_unsent) {
        log_debug("[DEBUG] send get msg error\n");
        return nullptr;
    }
    if (result == request_unanswered || reply.length == 0) {
        log_debug("[DEBUG] recv get msg reply error\n");
        return nullptr;
    }
    xml_doc document = xml_parse(reply.text.get(), reply.length);
    if (!document)
        log_debug("[DEBUG] Receive a invalid xml document.\n");
    return document;
}

// The nodes at a path in the reply to a request; null for none.
query_result query(text_buffer request, const char *path)
{
    query_result result = {exchange_document(std::move(request)), nullptr};
    if (!result.document)
        return result;
    ns_list namespaces;
    const heap_text steps = data_xpath(path, &namespaces);
    const heap_text expression =
        steps ? text_concat({"/base10:rpc-reply/base10:data", steps.get()}) : nullptr;
    if (expression)
        result.nodes = xpath_eval(result.document.get(), expression.get(), namespaces);
    else if (steps)
        log_debug("[DEBUG] Out of memory!\n");
    return result;
}

int add_key(key_value_set *set, const xmlNode *element)
{
    const xml_content content = xml_node_content(element);
    if (!content)
        return -1;
    const heap_text value = quote_value(reinterpret_cast<const char *>(content.get()));
    if (!value)
        return -1;
    return key_values_add(set, reinterpret_cast<const char *>(element->name), value.get());
}

// The name of the entry that an element of the reply stands for; null when its
// keys are not the list's.
heap_text read_entry_name(const char *list_name, const xmlNode *entry, key_names *keys)
{
    key_value_set set(keys->count);
    for (const xmlNode *child = entry->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && add_key(&set, child) != 0)
            return nullptr;
    }
    return entry_name(list_name, &set, keys);
}

// Gives each entry's name to take(name), which returns 0 or -1; 0 or -1.
template <class Take>
int read_entries(const char *list_path, const xmlNodeSet *nodes, key_names *keys, Take take)
{
    for (int i = 0; i < nodes->nodeNr; i++) {
        const heap_text name =
            read_entry_name(path_last_component(list_path), nodes->nodeTab[i], keys);
        if (!name || take(name.get()) != 0)
            return -1;
    }
    return 0;
}

// Asks for the entries of a list; as read_entries.
template <class Take>
int ask_entries(const place &list, Take take)
{
    const char *list_path = list.path.get();
    if (list_path == nullptr) {
        log_debug("[DEBUG] listpath is null\n");
        return -1;
    }
    key_names keys;
    // Without keys its entries have no names; they are not asked for.
    if (list_keys(list, &keys) != 0 || keys.count == 0) {
        log_debug("[DEBUG] failed to get list[%s] key\n", shown_text(list_path).get());
        return -1;
    }
    const query_result result = query(build_get_list_keys(list_path, &keys), list_path);
    if (!result.nodes) {
        log_debug("[DEBUG] netserver didn't configure list\n");
        return 0;
    }
    return read_entries(list_path, result.nodes->nodesetval, &keys, take);
}

} // namespace

bool server_has_data(const char *path)
{
    return query(build_get_config(path, read_source_running), path).nodes != nullptr;
}

bool server_has_entry(const place &list, const char *name)
{
    bool is_there = false;
    const int result = ask_entries(list, [&](const char *entry) {
        is_there = is_there || strcmp(entry, name) == 0;
        return 0;
    });
    return result == 0 && is_there;
}

int server_list_entries(const place &list, descendant_set *entries)
{
    return ask_entries(list, [entries](const char *name) {
        if (descendants_add(entries, name, record_of_kind(node_kind_list)) == 0)
            return 0;
        log_debug("[DEBUG] Out of memory!\n");
        return -1;
    });
}
