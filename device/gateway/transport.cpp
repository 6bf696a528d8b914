#include "device/gateway/transport.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "device/gateway/report.h"

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
    return fcntl(end->fd, F_SETFL, O_NONBLOCK);
}

// The command starts with no signal blocked and none ignored. 0, or an errno value.
int spawn_with(pid_t *pid, char *const arguments[], const posix_spawn_file_actions_t *actions)
{
    posix_spawnattr_t attributes;
    int error = posix_spawnattr_init(&attributes);
    if (error != 0)
        return error;
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (const int number : {SIGPIPE, SIGCHLD, SIGTERM, SIGINT, SIGQUIT, SIGHUP})
        sigaddset(&defaults, number);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    error = posix_spawnp(pid, arguments[0], actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    return error;
}

// ends: of its standard input, output and error.
int spawn(pid_t *pid, char *const arguments[], std::initializer_list<int> ends)
{
    posix_spawn_file_actions_t actions;
    int error = posix_spawn_file_actions_init(&actions);
    if (error != 0)
        return error;
    int standard = STDIN_FILENO;
    for (const int end : ends)
        error = error != 0 ? error : posix_spawn_file_actions_adddup2(&actions, end, standard++);
    if (error == 0)
        error = spawn_with(pid, arguments, &actions);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

void add_byte(last_words *words, char byte)
{
    if (byte == '\n' || byte == '\r') {
        words->is_ended = true;
        return;
    }
    if (words->is_ended)
        words->size = 0;
    words->is_ended = false;
    if (words->size < last_words_size - 1)
        words->text[words->size++] = byte;
    words->text[words->size] = '\0';
}

} // namespace

void last_words_add(last_words *words, std::string_view piece)
{
    for (const char byte : piece)
        add_byte(words, byte);
}

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
    const int error = spawn(&pid, arguments, {input.read.fd, output.write.fd, errors.write.fd});
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
    char bytes[2048];
    ssize_t size = 1;
    for (int turn = 0; turn < hearing_turns && size > 0; turn++) {
        size = read(command->errors.fd, bytes, sizeof bytes);
        if (size > 0) {
            report_bytes(bytes, static_cast<size_t>(size));
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
