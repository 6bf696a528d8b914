// The session that brings a shell's notifications where the server serves no requests on one that
// has them.
//
// It is a connection (connection.h) without a shell, which is started when the first one's server
// is such a one, and again, after a pause, whenever it has ended before the first one.
#pragma once

#include <memory>
#include <stdint.h>

#include "device/gateway/connection.h"

// All zero: there is none yet.
struct second_session {
    std::unique_ptr<connection> link; // null, or the latest one, which may have ended
    bool hushed;                      // that there are no notifications now was logged
    int64_t started;
    int64_t pause;    // milliseconds from its end to the next one
    int64_t start_at; // when that is, once it has ended
};

// Starts one if it is time to, or does what the poll results and the time allow; call it after
// connection_serve() of the first. One that is not needed any more is ended.
void second_session_serve(second_session *second, connection *first,
                          const struct pollfd polls[connection_poll_count], int64_t now);

// Ends it, which is not logged.
void second_session_end(second_session *second, int64_t now, bool hurry);

// When second_session_serve() has to be called at the latest; INT64_MAX: whenever.
int64_t second_session_deadline(const second_session *second, const connection *first);
