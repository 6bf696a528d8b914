#include "link/notification.h"

#include "base/log.h"
#include "format/namespaces.h"
#include "link/xml_root.h"

int is_notification(const char *message, size_t length)
{
    const xml_root_result root =
        xml_root_find(message, length, "notification", NETCONF_NOTIFICATION_NAMESPACE);
    if (root == xml_root_unreadable)
        log_debug("[DEBUG] parse xml err.\n");
    return root == xml_root_matches ? 1 : 0;
}
