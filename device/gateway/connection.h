// One shell, its relay and the command that reaches the server: the input and
// output around a relay.
#pragma once

#include <memory>
#include <poll.h>
#include <stdint.h>

#include "descriptor.h"
#include "device/gateway/gateway_options.h"
#include "device/gateway/relay.h"
#include "device/gateway/shell_slots.h"
#include "device/gateway/transport.h"

constexpr size_t connection_poll_count = 4;

// What is to be done with a shell.
struct connection_task {
    unsigned number;     // for the log
    const char *refusal; // why it is not served, a static text; null: it is
    const gateway_options *options;
    shell_slots slots;
    size_t slot; // its process's
};

struct connection {
    const connection_task *task;
    descriptor shell;
    transport server;
    relay session;
    bool is_second;      // it brings notifications for another one, and has no shell
    bool shell_ended;    // it sends no more, but may still read
    bool shell_stalls;   // it has not read all that was for it
    bool server_ended;   // its output is at the end
    bool over;           // only the command is still to be waited for
    int64_t give_up;     // when to stop waiting for the server to take or say more; 0: never
    int64_t idle_from;   // when the shell last asked, read what it wants, or waited for it
    int64_t silent_from; // when the server last took or said something, or no request waited
    int64_t quiet_from;  // when the server last took or said something
    int64_t hello_by;    // when the server must have said hello
    int64_t nudge;       // when the server is to be nudged; 0: it is not
};

// Takes over the shell's descriptor and starts the options' command. Or, when it is not to be
// served: its first request is answered with the refusal, and then, or after a while without
// one, it is closed; so it is when the command cannot be started. Null: no memory, which is logged.
// task has to stay.
std::unique_ptr<connection> connection_start(descriptor shell, const connection_task *task,
                                             int64_t now);

// Tells the other processes how much of requests it holds, and which command it has.
void connection_publish(const connection *link);

// Fills in what to poll for.
void connection_poll(const connection *link, struct pollfd polls[connection_poll_count]);

// Does what the poll results and the time allow; call it also when
// the command was reaped.
void connection_serve(connection *link, const struct pollfd polls[connection_poll_count],
                      int64_t now);

// Reaps the command if it has ended.
void connection_reap(connection *link);

// Closes the shell's socket, logs the reason, unless the session is hushed, and ends the command.
void connection_end(connection *link, const char *reason, int64_t now, bool hurry);

// When connection_serve() has to be called at the latest; INT64_MAX: whenever.
int64_t connection_deadline(const connection *link);

// Whether nothing is left to do, not even a process to wait for.
bool connection_finished(const connection *link);
