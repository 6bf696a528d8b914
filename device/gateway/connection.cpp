#include "device/gateway/connection.h"

#include <algorithm>
#include <errno.h>
#include <new>
#include <string.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <utility>

#include "device/gateway/report.h"

namespace
{

// Bytes that one turn takes from a shell, so that it cannot keep the server waiting.
constexpr size_t shell_turn = 262144;

// Milliseconds that a server may keep silent after the hellos before it is
// nudged, and nudged again.
constexpr int64_t nudge_after = 200;
constexpr int64_t nudge_again_after = 1300;

// Milliseconds that a refused shell may take to ask and to read the answer.
constexpr int64_t refusal_grace = 2000;

constexpr char no_hello[] = "the server has not said hello in time (--hello-timeout)";
constexpr char no_answer[] = "the server has not answered in time (--request-timeout)";
constexpr char no_request[] = "the shell has asked nothing for too long (--idle-timeout)";

enum poll_index { poll_shell, poll_errors, poll_input, poll_output };

bool would_block()
{
    return errno == EAGAIN || errno == EINTR;
}

// Writes as much as goes. Returns whether that was anything.
bool write_out(outgoing *message, int target, bool *failed)
{
    bool progress = false;
    *failed = false;
    while (!outgoing_idle(message)) {
        const ssize_t size = writev(target, message->parts, outgoing_part_count);
        if (size < 0) {
            *failed = !would_block();
            break;
        }
        outgoing_advance(message, static_cast<size_t>(size));
        progress = true;
    }
    return progress;
}

void shell_is_gone(connection *link, int64_t now)
{
    if (link->session.deaf)
        return;
    link->session.deaf = true;
    outgoing_drop(&link->session.to_shell);
    link->give_up = now + transport_grace;
}

// Whether it is not the shell's turn: it waits for an answer. One that does not
// read what it gets waits for nothing.
bool shell_waits(const connection *link)
{
    return outgoing_idle(&link->session.to_shell) && relay_owes_answer(&link->session);
}

// What the shell has sent is taken only while there is a server to pass it to,
// or an answer that says why there is none.
size_t shell_want(const connection *link)
{
    const bool heard = link->session.refusal != nullptr || descriptor_open(&link->server.input);
    return heard && !link->shell_ended ? relay_shell_want(&link->session) : 0;
}

// Returns a reason to end, like the relay's functions.
const char *read_shell(connection *link, int64_t now)
{
    const connection_task *task = link->task;
    char bytes[65536];
    size_t taken = 0;
    for (size_t want = shell_want(link); want > 0 && taken < shell_turn; want = shell_want(link)) {
        const ssize_t size = read(link->shell.fd, bytes, want < sizeof bytes ? want : sizeof bytes);
        if (size < 0 && would_block())
            return nullptr;
        if (size <= 0) {
            link->shell_ended = true;
            if (size < 0)
                shell_is_gone(link, now);
            return frame_reader_idle(&link->session.request)
                       ? nullptr
                       : "the shell ended in the middle of a frame";
        }
        const size_t got = static_cast<size_t>(size);
        taken += got;
        if (shell_slots_hold(&task->slots, task->slot, relay_held(&link->session) + got) != 0)
            relay_no_room(&link->session, got);
        const char *reason = relay_shell_bytes(&link->session, bytes, got);
        if (reason != nullptr)
            return reason;
        if (shell_waits(link))
            link->idle_from = now;
    }
    return nullptr;
}

// A command that has ended says no more than what is in the pipe, even if
// something that it left behind holds the other end open.
void read_server(connection *link, int64_t now)
{
    if (link->server_ended || !relay_server_wanted(&link->session))
        return;
    const ssize_t got =
        read(link->server.output.fd, link->session.input, sizeof link->session.input);
    if (got > 0) {
        relay_server_bytes(&link->session, static_cast<size_t>(got));
        link->silent_from = now;
        link->quiet_from = now;
    } else if (got == 0 || !would_block() || link->server.pid == 0)
        link->server_ended = true;
}

// Whether the relay has room for more.
bool write_server(connection *link, int64_t now)
{
    outgoing *message = &link->session.to_server;
    if (outgoing_idle(message) || !descriptor_open(&link->server.input))
        return false;
    bool failed;
    const bool progress = write_out(message, link->server.input.fd, &failed);
    if (failed) {
        // What it still has to say may tell why.
        outgoing_drop(message);
        descriptor_close(&link->server.input);
        link->give_up = now + transport_grace;
        return false;
    }
    if (progress) {
        link->silent_from = now;
        link->quiet_from = now;
    }
    if (progress && link->give_up != 0)
        link->give_up = now + transport_grace;
    return outgoing_idle(message);
}

bool write_shell(connection *link, int64_t now)
{
    outgoing *message = &link->session.to_shell;
    if (outgoing_idle(message))
        return false;
    const bool is_wanted = !link->session.notifies || relay_owes_answer(&link->session);
    bool failed;
    if (write_out(message, link->shell.fd, &failed) && is_wanted)
        link->idle_from = now;
    if (failed)
        shell_is_gone(link, now);
    return failed || outgoing_idle(message);
}

const char *move_all(connection *link, int64_t now)
{
    bool again = true;
    while (again) {
        const char *reason = relay_advance(&link->session);
        if (reason != nullptr)
            return reason;
        const bool server_has_room = write_server(link, now);
        const bool shell_has_room = write_shell(link, now);
        again = server_has_room || shell_has_room;
    }
    return nullptr;
}

void nudge_server(connection *link, int64_t now)
{
    if (!descriptor_open(&link->server.input) || !relay_may_nudge(&link->session)) {
        link->nudge = 0;
    } else if (link->nudge == 0) {
        link->nudge = now + nudge_after;
    } else if (now >= link->nudge) {
        relay_nudge(&link->session);
        write_server(link, now);
        link->nudge = now + nudge_again_after;
    }
}

void refuse(connection *link, relay_phase phase, const char *reason, int64_t now)
{
    link->give_up = now + refusal_grace;
    relay_refuse(&link->session, phase, reason);
}

// Ends the command, and tells the shell why as far as it can be told now.
const char *end_service(connection *link, relay_phase phase, const char *reason, int64_t now)
{
    refuse(link, phase, reason, now);
    transport_end(&link->server, now, phase == relay_phase_refused);
    return move_all(link, now);
}

// A shell that asks a server that is not there gets an answer, and no broken connection.
const char *refuse_without_server(connection *link, int64_t now)
{
    refuse(link, relay_phase_refused, relay_server_ended(&link->session), now);
    return move_all(link, now);
}

// So many seconds of an option after a time; without them, never. A second session has no limits
// but that for the hello, and one that is refused has its own.
int64_t deadline_after(const connection *link, int64_t from, uint32_t seconds)
{
    const bool endless = seconds == 0 || link->is_second || link->session.refusal != nullptr;
    return endless ? INT64_MAX : from + int64_t{seconds} * 1000;
}

// When the server will have been silent for too long. What waits for the shell to read is no
// silence, and for hellos there is a limit of their own.
int64_t silence_deadline(const connection *link)
{
    if (!shell_waits(link) || relay_awaits_hello(&link->session))
        return INT64_MAX;
    return deadline_after(link, link->silent_from, link->task->options->request_timeout);
}

// When the server will have heard nothing for so long that it may end the session.
int64_t keepalive_deadline(const connection *link)
{
    if (relay_awaits_hello(&link->session))
        return INT64_MAX;
    return deadline_after(link, link->quiet_from, link->task->options->keepalive);
}

const char *keep_alive(connection *link, int64_t now)
{
    link->quiet_from = now;
    relay_keep_alive(&link->session);
    return move_all(link, now);
}

// When the shell will have been idle for too long.
int64_t idle_deadline(const connection *link)
{
    return shell_waits(link)
               ? INT64_MAX
               : deadline_after(link, link->idle_from, link->task->options->idle_timeout);
}

// Whether a shell that is refused knows it, or will not ask any more. A second session has none.
bool refusal_done(const connection *link, int64_t now)
{
    const relay *session = &link->session;
    const bool told =
        session->phase == relay_phase_told ? outgoing_idle(&session->to_shell) : link->shell_ended;
    return told || link->session.deaf || session->first != nullptr || now >= link->give_up;
}

// Why the connection is at its end; null while it is not.
const char *judge_end(const connection *link, int64_t now)
{
    if (link->session.refusal != nullptr)
        return refusal_done(link, now) ? link->session.refusal : nullptr;
    if (link->server_ended && outgoing_idle(&link->session.to_shell)) {
        const char *reason = relay_server_ended(&link->session);
        return reason != nullptr ? reason : "the server ended the session";
    }
    if (link->session.deaf && link->shell_ended && relay_requests_done(&link->session))
        return "the shell ended the session";
    if (link->give_up != 0 && now >= link->give_up)
        return link->session.deaf ? "the shell ended the session while the server was busy"
                                  : "the server takes no more requests";
    return nullptr;
}

// -1: it cannot be started, which is logged.
int start_command(connection *link)
{
    const connection_task *task = link->task;
    const int error = transport_start(&link->server, task->options->command);
    if (error == 0)
        return 0;
    report_shell(task->number, "cannot run %s: %s", report_clean(task->options->command[0]).text,
                 strerror(error));
    return -1;
}

// Tells of a failure that ended the session, not of one that its end caused.
void report_status(const connection *link, int status)
{
    if (!link->server_ended && (link->over || link->session.refusal != nullptr))
        return;
    if (WIFSIGNALED(status))
        report_shell(link->task->number, "the command was ended by signal %d", WTERMSIG(status));
    else if (WEXITSTATUS(status) != 0)
        report_shell(link->task->number, "the command ended with status %d", WEXITSTATUS(status));
    if (status != 0 && link->server.words.size > 0)
        report_shell(link->task->number, "the command said last: %s",
                     report_clean(link->server.words.text).text);
}

} // namespace

std::unique_ptr<connection> connection_start(descriptor shell, const connection_task *task,
                                             int64_t now)
{
    std::unique_ptr<connection> link(new (std::nothrow) connection{});
    if (link == nullptr) {
        report_shell(task->number, "closed: out of memory");
        return nullptr;
    }
    link->task = task;
    link->shell = std::move(shell);
    link->session.number = task->number;
    const char *refusal = task->refusal;
    if (refusal == nullptr && start_command(link.get()) != 0)
        refusal = "there is no server: its command cannot be run";
    if (refusal != nullptr) {
        refuse(link.get(), relay_phase_refused, refusal, now);
        return link;
    }
    connection_publish(link.get());
    link->session.subscribe = task->options->subscribe;
    link->session.wish = task->options->wish;
    link->session.extras = task->options->extras;
    link->idle_from = link->silent_from = link->quiet_from = now;
    link->hello_by = now + int64_t{task->options->hello_timeout} * 1000;
    report_shell(task->number, "connected");
    return link;
}

void connection_publish(const connection *link)
{
    const connection_task *task = link->task;
    if (!link->is_second)
        shell_slots_set(&task->slots, task->slot, relay_held(&link->session));
    shell_slots_tell(&task->slots, task->slot, link->is_second, link->server.pid);
}

void connection_poll(const connection *link, struct pollfd polls[connection_poll_count])
{
    for (size_t at = 0; at < connection_poll_count; at++)
        polls[at] = {-1, 0, 0};
    if (link->over)
        return;
    if (shell_want(link) > 0)
        polls[poll_shell].events |= POLLIN;
    if (!outgoing_idle(&link->session.to_shell))
        polls[poll_shell].events |= POLLOUT;
    // Without events it still tells when the shell goes away, but then it would
    // tell so again and again.
    if (!link->session.deaf || polls[poll_shell].events != 0)
        polls[poll_shell].fd = link->shell.fd;
    if (descriptor_open(&link->server.errors))
        polls[poll_errors] = {link->server.errors.fd, POLLIN, 0};
    if (!outgoing_idle(&link->session.to_server))
        polls[poll_input] = {link->server.input.fd, POLLOUT, 0};
    if (!link->server_ended && relay_server_wanted(&link->session))
        polls[poll_output] = {link->server.output.fd, POLLIN, 0};
}

void connection_serve(connection *link, const struct pollfd polls[connection_poll_count],
                      int64_t now)
{
    transport_tick(&link->server, now);
    if (link->over)
        return;
    if (polls[poll_errors].revents != 0)
        transport_hear(&link->server);
    // Not shell_waits(): a notification of the second session has just begun its way.
    if (relay_owes_answer(&link->session) && !link->shell_stalls)
        link->idle_from = now;
    else
        link->silent_from = now;
    if ((polls[poll_shell].revents & (POLLHUP | POLLERR)) != 0)
        shell_is_gone(link, now);
    const char *reason = nullptr;
    if ((polls[poll_shell].revents & (POLLIN | POLLHUP | POLLERR)) != 0)
        reason = read_shell(link, now);
    if (reason == nullptr && (polls[poll_output].revents != 0 || link->server.pid == 0))
        read_server(link, now);
    if (reason == nullptr)
        reason = move_all(link, now);
    link->shell_stalls = !outgoing_idle(&link->session.to_shell);
    if (reason == nullptr && relay_awaits_hello(&link->session) && link->server_ended)
        reason = refuse_without_server(link, now);
    if (reason == nullptr && relay_awaits_hello(&link->session) && now >= link->hello_by)
        reason = end_service(link, relay_phase_refused, no_hello, now);
    if (reason == nullptr && now >= keepalive_deadline(link))
        reason = keep_alive(link, now);
    if (reason == nullptr && now >= silence_deadline(link))
        reason = end_service(link, relay_phase_refused, no_answer, now);
    if (reason == nullptr && now >= idle_deadline(link))
        reason = end_service(link, relay_phase_dismissed, no_request, now);
    if (reason == nullptr)
        nudge_server(link, now);
    if (reason == nullptr && link->shell_ended && relay_requests_done(&link->session))
        descriptor_close(&link->server.input);
    if (reason == nullptr)
        reason = judge_end(link, now);
    if (reason != nullptr)
        connection_end(link, reason, now, false);
}

void connection_reap(connection *link)
{
    if (!transport_has_ended(&link->server))
        return;
    // The id may be another process's as soon as the command is reaped.
    shell_slots_tell(&link->task->slots, link->task->slot, link->is_second, 0);
    const int status = transport_reap(&link->server);
    if (!link->is_second)
        report_status(link, status);
}

void connection_end(connection *link, const char *reason, int64_t now, bool hurry)
{
    if (!link->over && !link->session.hushed)
        report_shell(link->task->number,
                     link->is_second ? "notifications do not come now: %s" : "closed: %s", reason);
    link->over = true;
    link->session = {};
    descriptor_close(&link->shell);
    transport_end(&link->server, now, hurry);
}

int64_t connection_deadline(const connection *link)
{
    if (link->over)
        return link->server.pid == 0 ? INT64_MAX : link->server.deadline;
    // What the command left in its pipe is to be read without waiting.
    if (link->server.pid == 0 && !link->server_ended && relay_server_wanted(&link->session))
        return 0;
    const bool is_ending = link->server.pid != 0 && link->server.next_signal != 0;
    return std::min({idle_deadline(link), silence_deadline(link), keepalive_deadline(link),
                     link->give_up != 0 ? link->give_up : INT64_MAX,
                     link->nudge != 0 ? link->nudge : INT64_MAX,
                     relay_awaits_hello(&link->session) ? link->hello_by : INT64_MAX,
                     is_ending ? link->server.deadline : INT64_MAX});
}

bool connection_finished(const connection *link)
{
    return link->over && link->server.pid == 0;
}
