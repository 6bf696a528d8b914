// The subscription to a server's notifications, and what of them the shell is spared.
#pragma once

#include <stdint.h>
#include <string_view>
#include <time.h>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/server_modules.h"
#include "device/gateway/xml_head.h"

// What is asked for; null: nothing special.
struct subscription_wish {
    const char *stream;
    const char *filter; // a subtree, if it begins with '<', or an XPath
};

// Appends the request. Names of the modules that are prefixes in an XPath are declared. 0, or
// -1: out of memory.
int subscription_write(const subscription_wish *wish, const server_modules *modules,
                       byte_buffer *out);

// Whether a message of that head answers it.
bool subscription_is_answered(const message_head *head);

// Whether a message tells that the session of that number has begun.
bool subscription_tells_start(std::string_view message, uint32_t session_id);

// Counts notifications. All zero: none so far.
struct subscription_flood {
    time_t period;
    unsigned count;
    bool is_told;
};

// Counts one. True, once: so many have come in a short time that an operator will be at a loss.
bool subscription_floods(subscription_flood *flood, time_t now);
