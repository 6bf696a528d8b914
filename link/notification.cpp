#include "link/notification.h"

#include "link/xml_root.h"
#include "shell/log.h"

int is_notification(const char *message, size_t length)
{
    const xml_root_result root = xml_root_find(message, length, "notification",
                                               "urn:ietf:params:xml:ns:netconf:notification:1.0");
    if (root == xml_root_unreadable)
        log_debug("[DEBUG] parse xml err.\n");
    return root == xml_root_matches ? 1 : 0;
}
