// What the operator wants of all sessions beyond what their shells ask for. It is done where the
// server can do it.
#pragma once

#include <stdint.h>
#include <string_view>

// A way to report values that nobody has set.
struct defaults_mode {
    std::string_view name;
    uint8_t bit;         // in a set of modes
    const char *element; // asks for it, in a request
};

struct server_extras {
    // Seconds after which the server undoes a commit that is not confirmed; 0: none is to be.
    uint32_t confirmed_commit = 0;
    const defaults_mode *defaults = nullptr; // how data are to be read; null: as the server likes
    bool lock = false;                       // running, while it is edited
    bool startup_is_running = false;         // what is committed stays where there is no startup
};

// Null: there is none of that name.
const defaults_mode *defaults_mode_find(std::string_view name);
