#include "link/notification.h"

#include "link/xpath.h"
#include "shell/log.h"

int is_notification(const char *message, size_t length)
{
    const xml_doc document = xml_parse(message, length);
    if (!document) {
        log_debug("[DEBUG] parse xml err.\n");
        return 0;
    }
    ns_entry *namespaces = nullptr;
    if (ns_add(&namespaces, "ntf", "urn:ietf:params:xml:ns:netconf:notification:1.0") != 0)
        return 0;
    const xpath_result found(xpath_eval(document.get(), "/ntf:notification", &namespaces));
    ns_free(&namespaces);
    return found ? 1 : 0;
}
