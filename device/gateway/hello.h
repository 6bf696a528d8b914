// The hello messages that open a NETCONF session.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "device/gateway/extras.h"
#include "device/gateway/server_modules.h"

constexpr size_t hello_size_limit = size_t{16} << 20; // bytes; thousands of modules fit

// What the gateway says; without its end-of-message mark.
extern const char hello_text[];

// What the server said, and what is wanted of it.
struct server_hello {
    uint32_t session_id; // greater than 0
    bool base_1_0;
    bool base_1_1;
    bool notifications;
    bool interleave; // requests are served while a subscription lives
    bool writable_running;
    bool rollback_on_error; // an edit happens as a whole or not at all
    bool candidate;
    bool confirmed_commit;
    bool startup;
    bool yang_library;      // it tells more modules when it is asked ...
    bool module_sets;       // ... for them as the library's second revision has them
    uint8_t defaults_modes; // the ways in which it can report defaults: their bits
    server_modules modules; // those that it names with their namespaces
    server_extras wanted;   // for the owner to fill in; reading a hello empties it
};

// Reads the server's hello. Null on success; otherwise what is wrong with it, a
// static text.
const char *server_hello_read(std::string_view text, server_hello *hello);
