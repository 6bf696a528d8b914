#include "link/xpath.h"

#include <limits.h>
#include <string.h>

#include "base/log.h"
#include "format/namespaces.h"
#include "scrub.h"

namespace
{

const char base_prefix[] = "base10";
const char base_namespace[] = NETCONF_BASE_NAMESPACE;

using xpath_context =
    std::unique_ptr<xmlXPathContext, xml_deleter<&xml_functions::xpath_free_context>>;

const xmlChar *xml_text(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

int register_namespaces(xmlXPathContext *context, const ns_entry *entry)
{
    if (libxml2.xpath_register_ns(context, xml_text(base_prefix), xml_text(base_namespace)) != 0)
        return -1;
    for (; entry != nullptr; entry = entry->next) {
        if (libxml2.xpath_register_ns(context, xml_text(entry->prefix), xml_text(entry->uri)) != 0)
            return -1;
    }
    return 0;
}

} // namespace

xml_doc xml_parse(const char *text, size_t length)
{
    if (length > INT_MAX || xml_ready() != 0)
        return nullptr;
    xml_memory_watch();
    scrub_registers();
    xml_doc document(
        libxml2.read_memory(text, static_cast<int>(length), nullptr, "utf-8", XML_PARSE_NOBLANKS));
    return xml_memory_ran_out() ? nullptr : std::move(document);
}

int ns_add(ns_list *list, const char *prefix, const char *uri)
{
    for (const ns_entry *entry = list->first; entry != nullptr; entry = entry->next) {
        if (strcmp(entry->prefix, prefix) == 0)
            return 0;
    }
    auto *entry = static_cast<ns_entry *>(arena_room(&list->memory, sizeof(ns_entry)));
    if (entry == nullptr)
        return -1;
    *entry = {list->first, arena_concat(&list->memory, {prefix}),
              arena_concat(&list->memory, {uri})};
    if (entry->prefix == nullptr || entry->uri == nullptr)
        return -1;
    list->first = entry;
    return 0;
}

xpath_result xpath_eval(xmlDoc *document, const char *expression, const ns_list &namespaces)
{
    xml_memory_watch();
    scrub_registers();
    const xpath_context context(libxml2.xpath_new_context(document));
    if (!context)
        return nullptr;
    if (register_namespaces(context.get(), namespaces.first) != 0) {
        log_debug("[DEBUG] Registering base namespace for the message xpath context failed.\n");
        return nullptr;
    }
    xpath_result result(libxml2.xpath_eval_expression(xml_text(expression), context.get()));
    if (!result || xml_memory_ran_out() || result->nodesetval == nullptr ||
        result->nodesetval->nodeNr == 0 || result->nodesetval->nodeTab == nullptr)
        return nullptr;
    return result;
}

xml_content xml_node_content(const xmlNode *node)
{
    xml_memory_watch();
    scrub_registers();
    xml_content text(libxml2.node_get_content(node));
    return xml_memory_ran_out() ? nullptr : std::move(text);
}
