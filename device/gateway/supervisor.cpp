// The listening process reads nothing that a shell or a server sends. It accepts, and
// leaves each shell to a process of its own (shell_process.h), so that a crash, a hang or
// work stays with one operator. It ends them, and they end when it is gone: the kernel
// sends them SIGTERM then. What one leaves behind becomes this process's child, so that the id
// of a command that is to be ended can be no other process's.
#include "device/gateway/supervisor.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "device/gateway/clock.h"
#include "device/gateway/listener.h"
#include "device/gateway/report.h"
#include "device/gateway/shell_process.h"
#include "heap.h"

namespace
{

// How long no shell is accepted after the system had no resources for one:
// the waiting shell would make the poll return at once, again and again.
constexpr int64_t accept_pause = 500;

// How many shells one turn accepts.
constexpr int accept_turn = 16;

// So many processes that have ended are asked for in one turn.
constexpr unsigned reaped_in_a_turn = 64;

// How many shells beyond the limit are waited for, to tell them.
constexpr size_t refused_most = 32;

constexpr char refused_too_many[] = "the gateway serves no more shells (--max-shells)";

// A process ends within six seconds, whatever its command does. One that has not is killed.
constexpr int64_t stop_limit = 7000;

enum poll_index { poll_signals, poll_listener, poll_count };

// The process of a shell.
struct shell_child {
    pid_t process;   // 0: there is none
    unsigned number; // the shell's
    bool is_refused; // it only tells the shell so
};

struct gateway {
    const gateway_options *options;
    listener server;
    descriptor signals;
    shell_slots slots;
    malloc_ptr<shell_child> children; // one for each slot
    unsigned last_number;             // the latest shell's
    int64_t accept_from;              // 0: now
    int64_t stop_by;                  // 0: not stopping
};

// Signals come through a descriptor, so that they are handled in turn. -1, with errno: they
// cannot be had.
int open_signals(gateway *self)
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
        return -1;
    self->signals = descriptor(signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK));
    return descriptor_open(&self->signals) ? 0 : -1;
}

int open_slots(gateway *self)
{
    const size_t count = self->options->max_shells + refused_most;
    self->children.reset(static_cast<shell_child *>(calloc(count, sizeof(shell_child))));
    if (self->children == nullptr)
        return -1;
    return shell_slots_open(&self->slots, count, self->options->max_buffered);
}

size_t child_count(const gateway *self, bool is_refused)
{
    size_t count = 0;
    for (size_t at = 0; at < self->slots.count; at++) {
        const shell_child *child = self->children.get() + at;
        count += child->process != 0 && child->is_refused == is_refused ? 1 : 0;
    }
    return count;
}

size_t free_slot(const gateway *self)
{
    size_t at = 0;
    while (self->children.get()[at].process != 0)
        at++;
    return at;
}

void start_child(gateway *self, descriptor shell, unsigned number, const char *refusal)
{
    const connection_task task = {number, refusal, self->options, self->slots, free_slot(self)};
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process == 0) {
        descriptor_close(&self->server.socket);
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() == parent)
            shell_process_run(&task, std::move(shell), &self->signals);
        exit(0);
    }
    if (process < 0)
        report_shell(number, "closed: cannot start a process: %s", strerror(errno));
    else
        self->children.get()[task.slot] = {process, number, refusal != nullptr};
}

void meet_shell(gateway *self, descriptor shell)
{
    const unsigned number = ++self->last_number;
    if (child_count(self, false) < self->options->max_shells)
        start_child(self, std::move(shell), number, nullptr);
    else if (child_count(self, true) < refused_most)
        start_child(self, std::move(shell), number, refused_too_many);
    else
        report_shell(number, "closed: %s", refused_too_many);
}

void accept_shells(gateway *self, int64_t now)
{
    for (int turn = 0; turn < accept_turn; turn++) {
        descriptor shell = listener_accept(&self->server);
        if (descriptor_open(&shell)) {
            meet_shell(self, std::move(shell));
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

void signal_all(const gateway *self, int number)
{
    for (size_t at = 0; at < self->slots.count; at++) {
        if (self->children.get()[at].process != 0)
            kill(self->children.get()[at].process, number);
    }
}

// Ends the commands that a process has left behind. One that it ended in order it has
// struck out.
void end_commands(gateway *self, size_t at)
{
    for (std::atomic<int32_t> &command : self->slots.list[at].commands) {
        if (command > 1)
            kill(-command, SIGKILL);
        command = 0;
    }
    shell_slots_set(&self->slots, at, 0);
}

void take_end(gateway *self, size_t at, const siginfo_t *end)
{
    shell_child *child = self->children.get() + at;
    if (end->si_code != CLD_EXITED)
        report_shell(child->number, "closed: its process was ended by signal %d", end->si_status);
    else if (end->si_status != 0)
        report_shell(child->number, "closed: its process ended with status %d", end->si_status);
    end_commands(self, at);
    *child = {};
    self->accept_from = 0;
}

// Asks for every child, which may be what a shell's process has left behind: signals of several
// may have become one. Of very many some are left to the next turn, so that nobody who makes
// ever more of them keeps the gateway from all else.
void reap(gateway *self)
{
    siginfo_t end{};
    unsigned left = reaped_in_a_turn;
    while (waitid(P_ALL, 0, &end, WEXITED | WNOHANG | WNOWAIT) == 0 && end.si_pid != 0) {
        if (left-- == 0) {
            raise(SIGCHLD);
            return;
        }
        for (size_t at = 0; at < self->slots.count; at++) {
            const std::atomic<int32_t> *commands = self->slots.list[at].commands;
            if (commands[0] == end.si_pid || commands[1] == end.si_pid)
                end_commands(self, at);
            if (self->children.get()[at].process == end.si_pid)
                take_end(self, at, &end);
        }
        waitpid(end.si_pid, nullptr, 0);
        end = {};
    }
}

void stop(gateway *self, int64_t now)
{
    if (self->stop_by == 0) {
        report("stopping");
        self->stop_by = now + stop_limit;
        listener_close(&self->server);
    }
    signal_all(self, SIGTERM);
}

void take_signals(gateway *self, int64_t now)
{
    struct signalfd_siginfo info;
    while (read(self->signals.fd, &info, sizeof info) == ssize_t{sizeof info}) {
        if (info.ssi_signo != SIGCHLD)
            stop(self, now);
    }
    reap(self);
}

bool accepts_now(const gateway *self)
{
    return self->stop_by == 0 && self->accept_from == 0;
}

int64_t deadline_of(const gateway *self)
{
    if (self->stop_by != 0)
        return self->stop_by;
    return self->accept_from != 0 ? self->accept_from : INT64_MAX;
}

// -1: polling itself fails.
int run_turn(gateway *self)
{
    struct pollfd polls[poll_count] = {};
    polls[poll_signals] = {self->signals.fd, POLLIN, 0};
    polls[poll_listener] = {accepts_now(self) ? self->server.socket.fd : -1, POLLIN, 0};
    if (clock_poll(polls, poll_count, deadline_of(self)) != 0)
        return -1;
    const int64_t now = clock_milliseconds();
    if (polls[poll_signals].revents != 0)
        take_signals(self, now);
    if (self->accept_from != 0 && now >= self->accept_from)
        self->accept_from = 0;
    if (polls[poll_listener].revents != 0 && accepts_now(self))
        accept_shells(self, now);
    return 0;
}

void await(pid_t child)
{
    if (child > 1)
        waitpid(child, nullptr, 0);
}

// Ends what has not ended in time. A process that is gone strikes out no command any more, and
// has left it to this one.
void kill_all(gateway *self)
{
    signal_all(self, SIGKILL);
    for (size_t at = 0; at < self->slots.count; at++) {
        await(self->children.get()[at].process);
        const std::atomic<int32_t> *told = self->slots.list[at].commands;
        const pid_t commands[] = {told[0], told[1]};
        end_commands(self, at);
        for (const pid_t command : commands)
            await(command);
    }
}

int serve(gateway *self)
{
    while (self->stop_by == 0 || (child_count(self, false) + child_count(self, true) > 0 &&
                                  clock_milliseconds() < self->stop_by)) {
        if (run_turn(self) != 0) {
            report("cannot poll: %s", strerror(errno));
            listener_close(&self->server);
            return 1;
        }
    }
    return 0;
}

} // namespace

int gateway_run(const gateway_options *options)
{
    gateway self{};
    self.options = options;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    if (open_slots(&self) != 0 || open_signals(&self) != 0) {
        report("cannot start: %s", strerror(errno));
        return 1;
    }
    const char *reason = listener_open(&self.server, options->socket_path);
    if (reason != nullptr) {
        report("cannot listen on %s: %s", report_clean(options->socket_path).text, reason);
        return 1;
    }
    report("listening on %s", report_clean(options->socket_path).text);
    const int status = serve(&self);
    kill_all(&self);
    return status;
}
