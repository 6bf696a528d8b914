#include "device/gateway/notice.h"

#include <string.h>

#include "bounded.h"

bool closed_notice_write(const char *reason, time_t when, byte_buffer *out)
{
    struct tm parts;
    char stamp[32];
    if ((gmtime_r(&when, &parts) == nullptr) ||
        strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        return false;
    char text[512];
    return sprintf_s(text, sizeof text,
                     "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">"
                     "<eventTime>%s</eventTime>"
                     "<session-closed xmlns=\"urn:vandel:tarnd-gateway\"><reason>%s</reason>"
                     "</session-closed></notification>",
                     stamp, reason) > 0 &&
           byte_buffer_append(out, text, strlen(text), sizeof text) == buffer_ok;
}
