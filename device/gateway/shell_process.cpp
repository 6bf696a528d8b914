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

void publish(const shell_process *self)
{
    connection_publish(self->link.get());
    if (self->second.link != nullptr)
        connection_publish(self->second.link.get());
}

void stop(shell_process *self, int64_t now)
{
    if (self->stop_by != 0) {
        transport_kill(&self->link->server);
        second_session_kill(&self->second);
        return;
    }
    self->stop_by = now + stop_limit;
    connection_end(self->link.get(), "the gateway stops", now, true);
    second_session_end(&self->second, now, true);
}

// Ctrl-C reaches this process, too, but it is the listening one that ends the others.
void take_signals(shell_process *self, int64_t now)
{
    struct signalfd_siginfo info;
    while (read(self->signals, &info, sizeof info) == ssize_t{sizeof info}) {
        if (info.ssi_signo == SIGTERM)
            stop(self, now);
    }
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
    return !connection_finished(self->link.get()) || second_session_command(&self->second) != 0;
}

// -1: polling itself fails.
int run_turn(shell_process *self)
{
    struct pollfd polls[poll_count] = {};
    struct pollfd *second_polls = polls + 1 + connection_poll_count;
    polls[0] = {self->signals, POLLIN, 0};
    connection_poll(self->link.get(), polls + 1);
    second_session_poll(&self->second, second_polls);
    const int time = clock_poll_time(deadline_of(self), clock_milliseconds());
    if (poll(polls, poll_count, time) < 0 && errno != EINTR && errno != ENOMEM)
        return -1;
    const int64_t now = clock_milliseconds();
    if (polls[0].revents != 0) {
        take_signals(self, now);
        connection_reap(self->link.get());
        second_session_reap(&self->second);
    }
    connection_serve(self->link.get(), polls + 1, now);
    second_session_serve(&self->second, self->link.get(), second_polls, now);
    return 0;
}

} // namespace

void shell_process_run(const connection_task *task, descriptor shell, const descriptor *signals)
{
    const int64_t now = clock_milliseconds();
    shell_process self{connection_start(std::move(shell), task, now), {}, signals->number, 0};
    if (self.link == nullptr)
        return;
    const struct pollfd nothing[connection_poll_count] = {};
    connection_serve(self.link.get(), nothing, now);
    while (is_busy(&self) && (self.stop_by == 0 || clock_milliseconds() < self.stop_by)) {
        publish(&self);
        if (run_turn(&self) != 0) {
            report("cannot poll: %s", strerror(errno));
            connection_end(self.link.get(), "the gateway stops", clock_milliseconds(), true);
            second_session_end(&self.second, clock_milliseconds(), true);
            return;
        }
    }
    publish(&self);
}
