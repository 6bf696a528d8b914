// What the gateway tells a shell unasked.
#ifndef VANDEL_GATEWAY_NOTICE_H
#define VANDEL_GATEWAY_NOTICE_H

#include <time.h>

#include "device/gateway/byte_buffer.h"

// Appends a notification that the session was closed at that time. reason is a
// short text in which XML needs no references. False: out of memory, or the
// reason is too long.
bool closed_notice_write(const char *reason, time_t when, byte_buffer *out);

#endif
