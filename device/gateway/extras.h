// What the operator wants of all sessions beyond what their shells ask for. It is done where the
// server can do it.
#ifndef VANDEL_GATEWAY_EXTRAS_H
#define VANDEL_GATEWAY_EXTRAS_H

// All zero: nothing.
struct server_extras {
    bool lock; // running, while it is edited
};

#endif
