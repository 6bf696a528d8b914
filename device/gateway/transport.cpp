#include "device/gateway/transport.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace
{

// So much is heard at a time; what is left behind may talk for ever.
constexpr int hearing_turns = 64;

struct pipe_ends {
    descriptor read;
    descriptor write;
};

int open_pipe(pipe_ends *ends)
{
    int numbers[2];
    if (pipe2(numbers, O_CLOEXEC) != 0)
        return -1;
    ends->read = descriptor(numbers[0]);
    ends->write = descriptor(numbers[1]);
    return 0;
}

int stop_blocking(const descriptor *end)
{
    return fcntl(end->number, F_SETFL, O_NONBLOCK);
}

// Passes it on unless that would take time, as the gateway's own lines.
void pass_errors(const char *bytes, size_t size)
{
    struct pollfd log = {STDERR_FILENO, POLLOUT, 0};
    if (poll(&log, 1, 0) == 1 && (log.revents & POLLOUT) != 0)
        (void)!write(STDERR_FILENO, bytes, size);
}

// The command starts with no signal blocked and none ignored.
int set_attributes(posix_spawnattr_t *attributes)
{
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (const int number : {SIGPIPE, SIGCHLD, SIGTERM, SIGINT, SIGQUIT, SIGHUP})
        sigaddset(&defaults, number);
    posix_spawnattr_setsigmask(attributes, &none);
    posix_spawnattr_setsigdefault(attributes, &defaults);
    return posix_spawnattr_setflags(attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                    POSIX_SPAWN_SETSID);
}

int spawn_with(pid_t *pid, char *const arguments[], const posix_spawn_file_actions_t *actions)
{
    posix_spawnattr_t attributes;
    int error = posix_spawnattr_init(&attributes);
    if (error != 0)
        return error;
    error = set_attributes(&attributes);
    if (error == 0)
        error = posix_spawnp(pid, arguments[0], actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    return error;
}

int spawn(pid_t *pid, char *const arguments[], int input, int output, int errors)
{
    posix_spawn_file_actions_t actions;
    int error = posix_spawn_file_actions_init(&actions);
    if (error != 0)
        return error;
    error = posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    if (error == 0)
        error = posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    if (error == 0)
        error = posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    if (error == 0)
        error = spawn_with(pid, arguments, &actions);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

} // namespace

int transport_start(transport *command, char *const arguments[])
{
    pipe_ends input;
    pipe_ends output;
    pipe_ends errors;
    if (open_pipe(&input) != 0 || open_pipe(&output) != 0 || open_pipe(&errors) != 0 ||
        stop_blocking(&input.write) != 0 || stop_blocking(&output.read) != 0 ||
        stop_blocking(&errors.read) != 0)
        return errno;
    pid_t pid;
    const int error =
        spawn(&pid, arguments, input.read.number, output.write.number, errors.write.number);
    if (error != 0)
        return error;
    command->pid = pid;
    command->input = std::move(input.write);
    command->output = std::move(output.read);
    command->errors = std::move(errors.read);
    return 0;
}

void transport_hear(transport *command)
{
    // Not above PIPE_BUF, which a pipe that polls writable takes.
    char bytes[2048];
    ssize_t size = 1;
    for (int turn = 0; turn < hearing_turns && size > 0; turn++) {
        size = read(command->errors.number, bytes, sizeof bytes);
        if (size > 0) {
            pass_errors(bytes, static_cast<size_t>(size));
            last_words_add(&command->words, {bytes, static_cast<size_t>(size)});
        }
    }
    if (size == 0)
        descriptor_close(&command->errors);
}

void transport_end(transport *command, int64_t now, bool hurry)
{
    descriptor_close(&command->input);
    descriptor_close(&command->output);
    if (command->next_signal == 0) {
        command->next_signal = SIGTERM;
        command->deadline = now + transport_grace;
    }
    if (hurry && command->next_signal == SIGTERM)
        command->deadline = now;
    transport_tick(command, now);
}

void transport_tick(transport *command, int64_t now)
{
    if (command->pid == 0 || command->next_signal == 0 || now < command->deadline)
        return;
    kill(-command->pid, command->next_signal);
    command->next_signal = SIGKILL;
    command->deadline = now + transport_grace;
}

void transport_kill(transport *command)
{
    if (command->pid != 0)
        kill(-command->pid, SIGKILL);
}

bool transport_has_ended(const transport *command)
{
    siginfo_t info{};
    // The process id names the group safely only as long as it is not reaped.
    if (command->pid == 0 ||
        waitid(P_PID, static_cast<id_t>(command->pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        info.si_pid == 0)
        return false;
    kill(-command->pid, SIGTERM);
    return true;
}

int transport_reap(transport *command)
{
    int status;
    if (waitpid(command->pid, &status, WNOHANG) != command->pid)
        status = 0;
    command->pid = 0;
    transport_hear(command);
    descriptor_close(&command->errors);
    return status;
}
