// Every turn polls the signals and the connection's descriptors, and does what they
// and the time allow. Nothing blocks but the poll itself.
#include "device/gateway/shell_process.h"

#include <algorithm>
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

#include "device/gateway/clock.h"
#include "device/gateway/connection.h"
#include "device/gateway/report.h"
#include "device/gateway/second_session.h"

namespace
{

// After this an ending process waits for its command no more, not even for one that
// SIGKILL does not end.
constexpr int64_t stop_limit = 3 * transport_grace;

constexpr size_t poll_count = 1 + 2 * connection_poll_count; // the signals and two sessions

struct shell_process {
    std::unique_ptr<connection> link;
    second_session second;
    int signals;
    int64_t stop_by; // 0: not stopping
};

// Of one session, or of both.
template <class Action>
void for_each_session(const shell_process *self, Action act)
{
    for (connection *each : {self->link.get(), self->second.link.get()}) {
        if (each != nullptr)
            act(each);
    }
}

void end(shell_process *self, int64_t now)
{
    connection_end(self->link.get(), "the gateway stops", now, true);
    second_session_end(&self->second, now, true);
}

void stop(shell_process *self, int64_t now)
{
    if (self->stop_by == 0) {
        self->stop_by = now + stop_limit;
        end(self, now);
    } else
        for_each_session(self, [](connection *each) { transport_kill(&each->server); });
}

// Ctrl-C reaches this process, too, but it is the listening one that ends the others.
void take_signals(shell_process *self, int64_t now)
{
    struct signalfd_siginfo info;
    while (read(self->signals, &info, sizeof info) == ssize_t{sizeof info}) {
        if (info.ssi_signo == SIGTERM)
            stop(self, now);
    }
    for_each_session(self, connection_reap);
}

int64_t deadline_of(const shell_process *self)
{
    return std::min({connection_deadline(self->link.get()),
                     second_session_deadline(&self->second, self->link.get()),
                     self->stop_by != 0 ? self->stop_by : INT64_MAX});
}

// Whether a session, or what is left of one, is still to be waited for.
bool is_busy(const shell_process *self)
{
    const connection *second = self->second.link.get();
    return !connection_finished(self->link.get()) || (second != nullptr && second->server.pid != 0);
}

// -1: polling itself fails.
int run_turn(shell_process *self)
{
    struct pollfd polls[poll_count] = {};
    size_t count = 0;
    polls[count++] = {self->signals, POLLIN, 0};
    for_each_session(self, [&polls, &count](const connection *each) {
        connection_poll(each, polls + count);
        count += connection_poll_count;
    });
    if (clock_poll(polls, count, deadline_of(self)) != 0)
        return -1;
    const int64_t now = clock_milliseconds();
    if (polls[0].revents != 0)
        take_signals(self, now);
    connection_serve(self->link.get(), polls + 1, now);
    second_session_serve(&self->second, self->link.get(), polls + 1 + connection_poll_count, now);
    return 0;
}

} // namespace

void shell_process_run(const connection_task *task, descriptor shell, const descriptor *signals)
{
    const int64_t now = clock_milliseconds();
    shell_process self{connection_start(std::move(shell), task, now), {}, signals->fd, 0};
    if (self.link == nullptr)
        return;
    const struct pollfd nothing[connection_poll_count] = {};
    connection_serve(self.link.get(), nothing, now);
    while (is_busy(&self) && (self.stop_by == 0 || clock_milliseconds() < self.stop_by)) {
        for_each_session(&self, connection_publish);
        if (run_turn(&self) != 0) {
            report("cannot poll: %s", strerror(errno));
            end(&self, clock_milliseconds());
            return;
        }
    }
    for_each_session(&self, connection_publish);
}
