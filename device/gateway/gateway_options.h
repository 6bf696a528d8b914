// The command line of tarnd-gateway.
#pragma once

#include <stdint.h>

#include "device/gateway/extras.h"
#include "device/gateway/subscription.h"

struct gateway_options {
    const char *socket_path;
    bool subscribe = true;
    subscription_wish wish;   // when it does
    server_extras extras;     // of every session
    bool help;                // nothing else matters then
    bool version;             // the same; help comes first
    uint32_t max_shells = 32; // that are served at a time
    uint32_t max_buffered = uint32_t{512}
                            << 20; // bytes of requests that are held for all shells together
    uint32_t idle_timeout;         // seconds that a shell may ask nothing; 0: as long as it likes
    uint32_t hello_timeout = 60;   // seconds that a server may take to say hello
    uint32_t request_timeout;      // seconds that it may keep silent to a request; 0: for ever
    uint32_t keepalive;   // seconds without a word after which the server is asked; 0: never
    char *const *command; // null-terminated; points into the arguments
};

// Reads the arguments (arguments[count] is null). Null on success; otherwise
// what is wrong, a static text, with *culprit the argument or null.
const char *gateway_options_read(int count, char *const arguments[], gateway_options *options,
                                 const char **culprit);

// The text of --help; its first line is what a mistake is answered with.
extern const char gateway_help[];
