// A line editor on a pseudo-terminal inside the test's own process.
//
// Keys are put into the terminal before the read starts; what the editor writes
// is collected key by key.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include "tinyrl/history.h"
#include "tinyrl/tinyrl.h"

// Both ends of a pseudo-terminal that passes every byte on as it is.
class pseudo_terminal
{
  public:
    explicit pseudo_terminal(int columns)
    {
        master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        grantpt(master);
        unlockpt(master);
        slave = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        struct termios settings = {};
        tcgetattr(slave, &settings);
        cfmakeraw(&settings);
        tcsetattr(slave, TCSANOW, &settings);
        set_columns(columns);
    }

    ~pseudo_terminal()
    {
        close(slave);
        close(master);
    }

    pseudo_terminal(const pseudo_terminal &) = delete;
    pseudo_terminal &operator=(const pseudo_terminal &) = delete;

    void set_columns(int columns) const
    {
        struct winsize size = {};
        size.ws_row = 24;
        size.ws_col = static_cast<unsigned short>(columns);
        ioctl(slave, TIOCSWINSZ, &size);
    }

    // What has been written to the slave since the last call.
    std::string take() const
    {
        std::string text;
        char bytes[4096];
        struct pollfd wanted = {master, POLLIN, 0};
        while (poll(&wanted, 1, 0) > 0 && (wanted.revents & POLLIN) != 0) {
            ssize_t count = read(master, bytes, sizeof(bytes));
            if (count <= 0)
                break;
            text.append(bytes, static_cast<size_t>(count));
        }
        return text;
    }

    void type(const std::string &keys) const
    {
        if (write(master, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
            abort();
    }

    int master;
    int slave;
};

class tinyrl_session
{
  public:
    // columns: the width of the output; 0: the output is no terminal.
    explicit tinyrl_session(int columns = 0, size_t history_limit = 10)
        : keyboard(80), screen(columns), has_screen(columns > 0)
    {
        input = fdopen(dup(keyboard.slave), "r");
        output =
            has_screen ? fdopen(dup(screen.slave), "w") : open_memstream(&written, &written_size);
        editor = tinyrl_new(input, output, history_limit, complete_with());
        tinyrl_get_settings(editor)->keypress_hook = note_key;
        tinyrl_set_timeout(editor, 1);
        current() = this;
    }

    ~tinyrl_session()
    {
        tinyrl_delete(editor);
        fclose(input);
        fclose(output);
        free(written);
        current() = nullptr;
    }

    tinyrl_session(const tinyrl_session &) = delete;
    tinyrl_session &operator=(const tinyrl_session &) = delete;

    // Reads a line while keys are struck; they should end the read, which
    // otherwise ends a second after the last of them. "(none)" for no line.
    std::string read(const std::string &keys, const char *prompt = "> ")
    {
        drawn.clear();
        keyboard.type(keys);
        errno = 0;
        char *line = tinyrl_readline(editor, prompt, nullptr);
        error = errno;
        fflush(output);
        drawn.push_back(take());
        std::string result = line != nullptr ? line : "(none)";
        free(line);
        return result;
    }

    // All that the last read wrote.
    std::string all_drawn() const
    {
        std::string all;
        for (const std::string &part : drawn)
            all += part;
        return all;
    }

    // What the last read wrote in answer to its last count bytes.
    std::string drawn_last(size_t count) const
    {
        std::string all;
        for (size_t i = drawn.size() - count; i < drawn.size(); i++)
            all += drawn[i];
        return all;
    }

    // What has been written since the last call.
    std::string take()
    {
        if (has_screen)
            return screen.take();
        std::string text(written + taken, written_size - taken);
        taken = written_size;
        return text;
    }

    void remember(const char *line) const
    {
        history_add(tinyrl_get_history(editor), line);
    }

    // The completion function that new sessions give their editor.
    static tinyrl_completion_handler *&complete_with()
    {
        static tinyrl_completion_handler *handler = nullptr;
        return handler;
    }

    struct tinyrl *editor = nullptr;
    FILE *input = nullptr;
    FILE *output = nullptr;
    pseudo_terminal keyboard;
    pseudo_terminal screen;
    std::vector<std::string> drawn; // before the first key, then after each byte
    int error = 0;

  private:
    static tinyrl_session *&current()
    {
        static tinyrl_session *running = nullptr;
        return running;
    }

    static void note_key(struct tinyrl * /*editor*/, int /*key*/)
    {
        current()->drawn.push_back(current()->take());
    }

    bool has_screen;
    char *written = nullptr;
    size_t written_size = 0;
    size_t taken = 0;
};
