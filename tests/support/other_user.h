// Processes of another user. Only root can start them.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

inline constexpr uid_t other_user = 65534;

// Somebody else who listens at a path of a directory that is open to all.
struct other_listener {
    pid_t pid = -1;

    void start(const std::string &directory, const std::string &path)
    {
        ASSERT_EQ(chmod(directory.c_str(), 01777), 0);
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0)
            listen_as_other(path, ready[1]);
        close(ready[1]);
        char letter = 0;
        EXPECT_EQ(read(ready[0], &letter, 1), 1);
        close(ready[0]);
    }
    void stop()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            pid = -1;
        }
    }

  private:
    [[noreturn]] static void listen_as_other(const std::string &path, int ready)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        memcpy(address.sun_path, path.c_str(), path.size() + 1);
        int listener = socket(AF_UNIX, SOCK_STREAM, 0);
        if (setuid(other_user) == 0 &&
            bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
            chmod(path.c_str(), 0777) == 0 && listen(listener, 8) == 0 &&
            write(ready, "r", 1) == 1) {
            for (;;)
                pause();
        }
        _exit(1);
    }
};

// What a function answers in a process of the other user; -1 when that one fails.
template <typename Function>
int as_other_user(Function function)
{
    pid_t pid = fork();
    if (pid == 0)
        _exit(setuid(other_user) == 0 ? function() : 255);
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) != 255 ? WEXITSTATUS(status) : -1;
}
