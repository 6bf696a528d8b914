#include "link/xpath.h"

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/threads.h>
#include <libxml/xmlerror.h>
#include <libxml/xpathInternals.h>
#include <limits.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include "base/log.h"
#include "format/namespaces.h"
#include "link/xml_memory.h"
#include "scrub.h"

namespace
{

constexpr size_t thread_state_size = 8192; // more than libxml2 takes for a thread
const char base_prefix[] = "base10";
const char base_namespace[] = NETCONF_BASE_NAMESPACE;

using xpath_context = std::unique_ptr<xmlXPathContext, xml_deleter<xmlXPathFreeContext>>;

void discard_message(void *, const char *, ...) {}

void discard_error(void *, xmlError *) {}

void set_up_once()
{
    xmlInitParser();
    xmlThrDefSetGenericErrorFunc(nullptr, discard_message); // for threads to come
}

void set_up()
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, set_up_once);
}

const xmlChar *xml_text(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

int register_namespaces(xmlXPathContext *context, const ns_entry *entry)
{
    if (xmlXPathRegisterNs(context, xml_text(base_prefix), xml_text(base_namespace)) != 0)
        return -1;
    for (; entry != nullptr; entry = entry->next) {
        if (xmlXPathRegisterNs(context, xml_text(entry->prefix), xml_text(entry->uri)) != 0)
            return -1;
    }
    return 0;
}

} // namespace

void xml_init()
{
    xml_memory_init();
    (void)xmlIsMainThread(); // the first that asks is
}

void xml_ready()
{
    static thread_local bool is_silent;
    if (is_silent)
        return;
    scrub_registers();
    set_up();
    // libxml2 keeps these per thread.
    xmlSetGenericErrorFunc(nullptr, discard_message);
    xmlSetStructuredErrorFunc(nullptr, discard_error);
    is_silent = true;
}

int xml_thread_init()
{
    // For as long as it finds none, libxml2 tries again, by recursion, in order
    // to say so.
    void *volatile probe = malloc(thread_state_size);
    if (probe == nullptr)
        return -1;
    free(probe);
    set_up();
    if (xmlGetGlobalState() == nullptr)
        return -1;
    xml_ready();
    return 0;
}

xml_doc xml_parse(const char *text, size_t length)
{
    if (length > INT_MAX)
        return nullptr;
    xml_ready();
    xml_memory_watch();
    scrub_registers();
    xml_doc document(
        xmlReadMemory(text, static_cast<int>(length), nullptr, "utf-8", XML_PARSE_NOBLANKS));
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
    const xpath_context context(xmlXPathNewContext(document));
    if (!context)
        return nullptr;
    if (register_namespaces(context.get(), namespaces.first) != 0) {
        log_debug("[DEBUG] Registering base namespace for the message xpath context failed.\n");
        return nullptr;
    }
    xpath_result result(xmlXPathEvalExpression(xml_text(expression), context.get()));
    if (!result || xml_memory_ran_out() || result->nodesetval == nullptr ||
        result->nodesetval->nodeNr == 0 || result->nodesetval->nodeTab == nullptr)
        return nullptr;
    return result;
}

xml_content xml_node_content(const xmlNode *node)
{
    xml_memory_watch();
    scrub_registers();
    xml_content text(xmlNodeGetContent(node));
    return xml_memory_ran_out() ? nullptr : std::move(text);
}
