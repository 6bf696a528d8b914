// Telling NETCONF notifications from replies.
#ifndef VANDEL_LINK_NOTIFICATION_H
#define VANDEL_LINK_NOTIFICATION_H

#include <stddef.h>

// 1 if the message (length bytes) is a NETCONF notification, else 0; what
// cannot be parsed is none.
int is_notification(const char *message, size_t length);

#endif
