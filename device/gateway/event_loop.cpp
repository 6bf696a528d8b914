// Every turn of the loop polls the signals, the listening socket and three
// descriptors per connection, serves the connections that have something to do,
// and lets go of those that are finished. Nothing blocks but the poll itself.
#include "device/gateway/event_loop.h"

#include <errno.h>
#include <limits.h>
#include <memory>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/signalfd.h>
#include <utility>

#include "device/gateway/connection.h"
#include "device/gateway/listener.h"
#include "device/gateway/report.h"

namespace
{

// How long no shell is accepted after the system had no resources for one:
// the waiting shell would make the poll return at once, again and again.
constexpr int64_t accept_pause = 500;

// How many shells one turn accepts.
constexpr int accept_turn = 16;

// How many shells beyond the limit are waited for, to tell them.
constexpr size_t refused_most = 32;

constexpr char refused_too_many[] = "the gateway serves no more shells (--max-shells)";

// After this a stopping gateway waits for no process any more, not even for
// one that SIGKILL does not end.
constexpr int64_t stop_limit = 3 * transport_grace;

enum poll_index : size_t { poll_signals, poll_listener, poll_connections };

struct gateway {
    const gateway_options *options;
    listener server;
    descriptor signals;
    std::unique_ptr<connection> first;
    size_t count; // connections
    malloc_ptr<struct pollfd> polls;
    size_t poll_capacity;
    unsigned last_number; // the latest shell's
    int64_t accept_from;  // 0: now
    int64_t stop_by;      // 0: not stopping
};

// Signals come through a descriptor, so that they are handled in turn.
bool open_signals(gateway *self)
{
    signal(SIGPIPE, SIG_IGN);
    signal(SIGCHLD, SIG_DFL);
    sigset_t handled;
    sigemptyset(&handled);
    sigaddset(&handled, SIGTERM);
    sigaddset(&handled, SIGINT);
    sigaddset(&handled, SIGCHLD);
    struct sigaction hangup;
    if (sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler != SIG_IGN)
        sigaddset(&handled, SIGHUP);
    if (sigprocmask(SIG_BLOCK, &handled, nullptr) != 0)
        return false;
    self->signals = descriptor(signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK));
    return descriptor_open(&self->signals);
}

bool reserve_polls(gateway *self, size_t connections)
{
    const size_t needed = poll_connections + connections * connection_poll_count;
    if (needed <= self->poll_capacity)
        return true;
    void *block = reallocarray(self->polls.get(), needed * 2, sizeof(struct pollfd));
    if (block == nullptr)
        return false;
    (void)self->polls.release();
    self->polls.reset(static_cast<struct pollfd *>(block));
    self->poll_capacity = needed * 2;
    return true;
}

// A shell that has left counts until its command has ended, too.
size_t served_count(const gateway *self)
{
    size_t count = 0;
    for (const connection *link = self->first.get(); link != nullptr; link = link->next.get())
        count += link->unserved ? 0 : 1;
    return count;
}

// Null: the shell is closed, and the log says why.
std::unique_ptr<connection> meet_shell(gateway *self, descriptor shell, unsigned number,
                                       int64_t now)
{
    if (!reserve_polls(self, self->count + 1)) {
        report_shell(number, "closed: out of memory");
        return nullptr;
    }
    const size_t served = served_count(self);
    if (served < self->options->max_shells)
        return connection_start(std::move(shell), number, self->options, now);
    if (self->count - served < refused_most)
        return connection_refuse(std::move(shell), number, refused_too_many, now);
    report_shell(number, "closed: %s", refused_too_many);
    return nullptr;
}

void add_shell(gateway *self, descriptor shell, int64_t now)
{
    std::unique_ptr<connection> link = meet_shell(self, std::move(shell), ++self->last_number, now);
    if (link == nullptr)
        return;
    const struct pollfd nothing[connection_poll_count] = {};
    connection_serve(link.get(), nothing, now);
    link->next = std::move(self->first);
    self->first = std::move(link);
    self->count++;
}

void accept_shells(gateway *self, int64_t now)
{
    for (int turn = 0; turn < accept_turn; turn++) {
        descriptor shell = listener_accept(&self->server);
        if (descriptor_open(&shell)) {
            add_shell(self, std::move(shell), now);
            continue;
        }
        if (errno == ECONNABORTED || errno == EINTR)
            continue;
        if (errno != EAGAIN) {
            report("cannot accept a shell now: %s", strerror(errno));
            self->accept_from = now + accept_pause;
        }
        return;
    }
}

bool accepts_now(const gateway *self)
{
    return self->stop_by == 0 && self->accept_from == 0;
}

int64_t earliest_deadline(const gateway *self)
{
    int64_t earliest = INT64_MAX;
    if (self->stop_by != 0)
        earliest = self->stop_by;
    else if (self->accept_from != 0)
        earliest = self->accept_from;
    for (const connection *link = self->first.get(); link != nullptr; link = link->next.get()) {
        const int64_t deadline = connection_deadline(link);
        if (deadline < earliest)
            earliest = deadline;
    }
    return earliest;
}

int poll_time(int64_t deadline, int64_t now)
{
    if (deadline == INT64_MAX)
        return -1;
    const int64_t rest = deadline - now;
    if (rest < 0)
        return 0;
    return rest > INT_MAX ? INT_MAX : static_cast<int>(rest);
}

// Waits for something to do; false when polling itself fails. Entries that are
// not needed are left out: poll() refuses more of them than the process may have
// descriptors.
bool wait_for_events(gateway *self)
{
    struct pollfd *polls = self->polls.get();
    polls[poll_signals] = {self->signals.number, POLLIN, 0};
    polls[poll_listener] = {accepts_now(self) ? self->server.socket.number : -1, POLLIN, 0};
    size_t at = poll_connections;
    for (connection *link = self->first.get(); link != nullptr; link = link->next.get()) {
        at += connection_poll(link, polls + at);
    }
    const int time = poll_time(earliest_deadline(self), clock_now());
    return poll(polls, at, time) >= 0 || errno == EINTR || errno == ENOMEM;
}

void stop(gateway *self, int64_t now)
{
    if (self->stop_by != 0) {
        for (connection *link = self->first.get(); link != nullptr; link = link->next.get())
            transport_kill(&link->server);
        return;
    }
    report("stopping");
    self->stop_by = now + stop_limit;
    listener_close(&self->server);
    for (connection *link = self->first.get(); link != nullptr; link = link->next.get())
        connection_end(link, "the gateway stops", now, true);
}

// Asks for every command: signals of several may have become one.
void take_signals(gateway *self, int64_t now)
{
    struct signalfd_siginfo info;
    while (read(self->signals.number, &info, sizeof info) == ssize_t{sizeof info}) {
        if (info.ssi_signo != SIGCHLD)
            stop(self, now);
    }
}

bool has_events(const struct pollfd polls[connection_poll_count])
{
    for (size_t at = 0; at < connection_poll_count; at++) {
        if (polls[at].revents != 0)
            return true;
    }
    return false;
}

size_t held_by_all(const gateway *self)
{
    size_t held = 0;
    for (const connection *link = self->first.get(); link != nullptr; link = link->next.get())
        held += relay_held(&link->session);
    return held;
}

// Serves one connection, which gets the room that the others leave of what all
// may hold. *held is what all hold.
void serve_within(const gateway *self, connection *link,
                  const struct pollfd polls[connection_poll_count], int64_t now, size_t *held)
{
    const size_t others = *held - relay_held(&link->session);
    const size_t most = self->options->max_buffered;
    link->room = others < most ? most - others : 0;
    connection_serve(link, polls, now);
    *held = others + relay_held(&link->session);
}

void serve_connections(gateway *self, bool reap, int64_t now)
{
    const struct pollfd *polls = self->polls.get() + poll_connections;
    size_t held = held_by_all(self);
    for (connection *link = self->first.get(); link != nullptr; link = link->next.get()) {
        const bool reaped = reap && connection_reap(link);
        struct pollfd own[connection_poll_count] = {};
        for (size_t at = 0; at < link->polled; at++)
            own[at] = *polls++;
        if (reaped || has_events(own) || now >= connection_deadline(link))
            serve_within(self, link, own, now, &held);
    }
}

void drop_finished(gateway *self)
{
    std::unique_ptr<connection> *place = &self->first;
    while (*place != nullptr) {
        if (!connection_finished(place->get())) {
            place = &(*place)->next;
            continue;
        }
        std::unique_ptr<connection> next = std::move((*place)->next);
        *place = std::move(next);
        self->count--;
        self->accept_from = 0;
    }
}

bool run_turn(gateway *self)
{
    if (!wait_for_events(self))
        return false;
    const int64_t now = clock_now();
    const bool signalled = self->polls.get()[poll_signals].revents != 0;
    const bool shell_waits = self->polls.get()[poll_listener].revents != 0;
    if (signalled)
        take_signals(self, now);
    serve_connections(self, signalled, now);
    drop_finished(self);
    if (self->accept_from != 0 && now >= self->accept_from)
        self->accept_from = 0;
    if (shell_waits && accepts_now(self))
        accept_shells(self, now);
    return true;
}

} // namespace

int gateway_run(const gateway_options *options)
{
    gateway self{};
    self.options = options;
    if (!reserve_polls(&self, 1) || !open_signals(&self)) {
        report("cannot start: %s", strerror(errno));
        return 1;
    }
    const char *reason = listener_open(&self.server, options->socket_path);
    if (reason != nullptr) {
        report("cannot listen on %s: %s", report_clean(options->socket_path).text, reason);
        return 1;
    }
    report("listening on %s", report_clean(options->socket_path).text);
    while (self.stop_by == 0 || (self.first && clock_now() < self.stop_by)) {
        if (!run_turn(&self)) {
            report("cannot poll: %s", strerror(errno));
            listener_close(&self.server);
            return 1;
        }
    }
    return 0;
}
