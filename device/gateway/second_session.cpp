#include "device/gateway/second_session.h"

#include <algorithm>
#include <new>

namespace
{

// Milliseconds. Each pause is twice as long as the one before, unless the session has lasted for
// longer than the longest.
constexpr int64_t pause_least = 1000;
constexpr int64_t pause_most = 60000;

bool is_finished(const second_session *second)
{
    return second->link == nullptr || connection_finished(second->link.get());
}

// Has another one started after a pause.
void schedule(second_session *second, int64_t now)
{
    const bool has_lasted = now - second->started > pause_most;
    second->pause =
        has_lasted ? pause_least : std::clamp(2 * second->pause, pause_least, pause_most);
    second->start_at = now + second->pause;
    second->hushed = true;
}

void start(second_session *second, connection *first, int64_t now)
{
    const connection_task *task = first->task;
    second->started = now;
    second->link.reset(new (std::nothrow) connection{});
    connection *link = second->link.get();
    if (link == nullptr) {
        schedule(second, now);
        return;
    }
    link->task = task;
    link->is_second = true;
    link->session.number = task->number;
    link->session.first = &first->session;
    link->session.hushed = second->hushed;
    link->session.wish = task->options->wish;
    link->hello_by = now + int64_t{task->options->hello_timeout} * 1000;
    if (transport_start(&link->server, task->options->command) != 0) {
        connection_end(link, "there is no server: its command cannot be run", now, false);
        schedule(second, now);
    }
}

} // namespace

void second_session_serve(second_session *second, connection *first,
                          const struct pollfd polls[connection_poll_count], int64_t now)
{
    const bool is_needed = relay_needs_second(&first->session);
    if (is_needed && is_finished(second) && now >= second->start_at)
        start(second, first, now);
    if (is_finished(second))
        return;
    connection *link = second->link.get();
    if (!is_needed)
        second_session_end(second, now, false);
    const bool was_over = link->over;
    connection_serve(link, polls, now);
    if (link->session.phase == relay_phase_requests)
        second->hushed = false;
    if (link->over && !was_over)
        schedule(second, now);
}

void second_session_end(second_session *second, int64_t now, bool hurry)
{
    if (second->link == nullptr)
        return;
    second->link->session.hushed = true;
    connection_end(second->link.get(), "it is not needed", now, hurry);
}

int64_t second_session_deadline(const second_session *second, const connection *first)
{
    if (!is_finished(second))
        return connection_deadline(second->link.get());
    return relay_needs_second(&first->session) ? second->start_at : INT64_MAX;
}
