#include "tinyrl/terminal.h"

#include <atomic>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <string>
#include <thread>
#include <unistd.h>

#include "tests/support/tinyrl_session.h"

namespace
{

// What an operation writes.
template <class operation>
std::string written_by(operation act)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *output = open_memstream(&text, &size);
    const struct terminal terminal = terminal_on(nullptr, output);
    act(&terminal);
    fclose(output);
    std::string copy(text, size);
    free(text);
    return copy;
}

std::string written_control(const char *control)
{
    return written_by([control](auto *terminal) { terminal_control(terminal, control); });
}

// A pipe whose read end is a stream.
class piped_input
{
  public:
    piped_input()
    {
        int ends[2];
        if (pipe(ends) != 0)
            abort();
        writer = ends[1];
        stream = fdopen(ends[0], "r");
    }

    ~piped_input()
    {
        end();
        fclose(stream);
    }

    piped_input(const piped_input &) = delete;
    piped_input &operator=(const piped_input &) = delete;

    void put(const std::string &text) const
    {
        if (write(writer, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            abort();
    }

    void end()
    {
        if (writer >= 0) {
            close(writer);
            writer = -1;
        }
    }

    void do_not_block() const
    {
        fcntl(fileno(stream), F_SETFL, O_NONBLOCK);
    }

    FILE *stream;
    int writer;
};

// The next piece of at most 79 bytes; "(none)" when there is none.
std::string read_piece(struct terminal *terminal)
{
    char piece[80];
    size_t length = terminal_read_piece(terminal, piece, sizeof(piece));
    EXPECT_EQ('\0', piece[length]);
    return length > 0 ? std::string(piece, length) : "(none)";
}

std::atomic<int> signals_seen;

void note_signal(int /*number*/)
{
    signals_seen++;
}

bool is_blocked(int number)
{
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, number) == 1;
}

// SIGUSR1 blocked, and counted where it is delivered.
class blocked_signal
{
  public:
    blocked_signal()
    {
        struct sigaction action = {};
        sigset_t mask;
        signals_seen = 0;
        action.sa_handler = note_signal;
        sigaction(SIGUSR1, &action, &previous_action);
        sigemptyset(&mask);
        sigaddset(&mask, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &mask, &previous_mask);
    }

    ~blocked_signal()
    {
        pthread_sigmask(SIG_SETMASK, &previous_mask, nullptr);
        sigaction(SIGUSR1, &previous_action, nullptr);
    }

    blocked_signal(const blocked_signal &) = delete;
    blocked_signal &operator=(const blocked_signal &) = delete;

  private:
    struct sigaction previous_action = {};
    sigset_t previous_mask;
};

} // namespace

TEST(tinyrl_terminal, operations_write_their_sequences)
{
    EXPECT_EQ("\x07", written_by(terminal_ding));
    EXPECT_EQ("\x1b[0m", written_control(terminal_attribute_reset));
    EXPECT_EQ("\x1b[1m", written_control(terminal_attribute_bright));
    EXPECT_EQ("\x1b[2m", written_control(terminal_attribute_dim));
    EXPECT_EQ("\x1b[4m", written_control(terminal_attribute_underscore));
    EXPECT_EQ("\x1b[5m", written_control(terminal_attribute_blink));
    EXPECT_EQ("\x1b[7m", written_control(terminal_attribute_reverse));
    EXPECT_EQ("\x1b[8m", written_control(terminal_attribute_hidden));
    EXPECT_EQ("\x1b[2K", written_control(terminal_erase_line));
    EXPECT_EQ("\x1b[2J", written_control(terminal_clear_screen));
    EXPECT_EQ("\x1b"
              "7",
              written_control(terminal_cursor_save));
    EXPECT_EQ("\x1b"
              "8",
              written_control(terminal_cursor_restore));
    EXPECT_EQ("\x1b"
              "D",
              written_control(terminal_scroll_down));
    EXPECT_EQ("\x1bM", written_control(terminal_scroll_up));
    EXPECT_EQ("\x1b"
              "E",
              written_control(terminal_next_line));
    EXPECT_EQ("\x1b[H", written_control(terminal_cursor_home));
    EXPECT_EQ("\x1b[J", written_control(terminal_erase_down));
}

TEST(tinyrl_terminal, operations_write_their_counts)
{
    EXPECT_EQ("\x1b[1C",
              written_by([](auto *t) { terminal_control(t, 1, terminal_cursor_forward); }));
    EXPECT_EQ("\x1b[12D",
              written_by([](auto *t) { terminal_control(t, 12, terminal_cursor_back); }));
    EXPECT_EQ("\x1b[3A", written_by([](auto *t) { terminal_control(t, 3, terminal_cursor_up); }));
    EXPECT_EQ("\x1b[40B",
              written_by([](auto *t) { terminal_control(t, 40, terminal_cursor_down); }));
    EXPECT_EQ("\x1b[5P", written_by([](auto *t) { terminal_control(t, 5, terminal_erase); }));
}

TEST(tinyrl_terminal, printf_formats_and_counts)
{
    int count = 0;
    EXPECT_EQ("a-7%", written_by([&](auto *t) { count = terminal_printf(t, "%s-%d%%", "a", 7); }));
    EXPECT_EQ(4, count);
}

TEST(tinyrl_terminal, without_output_nothing_is_written)
{
    struct terminal terminal = terminal_on(nullptr, nullptr);
    EXPECT_EQ(0, terminal_printf(&terminal, "%s", "text"));
    terminal_write(&terminal, "text", 4);
    terminal_ding(&terminal);
    terminal_flush(&terminal);
    EXPECT_EQ(nullptr, terminal.output);
    EXPECT_EQ(80, terminal_get_width(&terminal));
    EXPECT_EQ(25, terminal_get_height(&terminal));
}

TEST(tinyrl_terminal, bell_is_flushed)
{
    piped_input pipe_ends;
    FILE *output = fdopen(pipe_ends.writer, "w");
    struct terminal terminal = terminal_on(pipe_ends.stream, output);
    terminal_printf(&terminal, "x");
    terminal_ding(&terminal);
    pipe_ends.do_not_block();
    EXPECT_EQ('x', terminal_get_char(&terminal));
    EXPECT_EQ(7, terminal_get_char(&terminal));
    fclose(output);
    pipe_ends.writer = -1;
}

TEST(tinyrl_terminal, output_failure_is_noticed)
{
    FILE *full = fopen("/dev/full", "w");
    struct terminal terminal = terminal_on(nullptr, full);
    EXPECT_EQ(0, ferror(terminal.output));
    terminal_ding(&terminal);
    EXPECT_NE(0, ferror(terminal.output));
    fclose(full);
}

TEST(tinyrl_terminal, decodes_the_keys_it_knows)
{
    EXPECT_EQ(1, terminal_decode("[A"));
    EXPECT_EQ(2, terminal_decode("[B"));
    EXPECT_EQ(4, terminal_decode("[C"));
    EXPECT_EQ(3, terminal_decode("[D"));
    EXPECT_EQ(5, terminal_decode("[H"));
    EXPECT_EQ(5, terminal_decode("[1~"));
    EXPECT_EQ(6, terminal_decode("[F"));
    EXPECT_EQ(6, terminal_decode("[4~"));
    EXPECT_EQ(7, terminal_decode("[2~"));
    EXPECT_EQ(8, terminal_decode("[3~"));
    EXPECT_EQ(9, terminal_decode("[5~"));
    EXPECT_EQ(10, terminal_decode("[6~"));
}

TEST(tinyrl_terminal, decodes_nothing_else)
{
    const char *unknown[] = {"",    "[",    "A",   "[a", "[AA", "[1",  "[7~",
                             "[1;", "[3~~", "[[A", "OA", "[Z",  "[0~", "\x1b[A"};
    for (const char *sequence : unknown)
        EXPECT_EQ(0, terminal_decode(sequence)) << sequence;
}

TEST(tinyrl_terminal, measures_the_window_of_the_output)
{
    pseudo_terminal window(132);
    FILE *output = fdopen(dup(window.slave), "w");
    struct terminal terminal = terminal_on(nullptr, output);
    EXPECT_EQ(132, terminal_get_width(&terminal));
    EXPECT_EQ(24, terminal_get_height(&terminal));
    struct winsize size = {};
    ioctl(window.slave, TIOCSWINSZ, &size);
    EXPECT_EQ(80, terminal_get_width(&terminal));
    EXPECT_EQ(25, terminal_get_height(&terminal));
    fclose(output);
}

TEST(tinyrl_terminal, a_pipe_is_80_by_25)
{
    piped_input pipe_ends;
    FILE *output = fdopen(dup(pipe_ends.writer), "w");
    struct terminal terminal = terminal_on(nullptr, output);
    EXPECT_EQ(80, terminal_get_width(&terminal));
    EXPECT_EQ(25, terminal_get_height(&terminal));
    fclose(output);
}

TEST(tinyrl_terminal, reads_bytes_unsigned_until_the_end)
{
    piped_input pipe_ends;
    struct terminal terminal = terminal_on(pipe_ends.stream, nullptr);
    EXPECT_EQ(pipe_ends.stream, terminal.input);
    pipe_ends.put(std::string("a\0\xff\x80", 4));
    pipe_ends.end();
    EXPECT_EQ('a', terminal_get_char(&terminal));
    EXPECT_EQ(0, terminal_get_char(&terminal));
    EXPECT_EQ(255, terminal_get_char(&terminal));
    EXPECT_EQ(128, terminal_get_char(&terminal));
    EXPECT_FALSE(terminal_input_ended(&terminal));
    EXPECT_EQ(-1, terminal_get_char(&terminal));
    EXPECT_EQ(-1, terminal_get_char(&terminal));
    EXPECT_TRUE(terminal_input_ended(&terminal));
    EXPECT_FALSE(terminal_input_failed(&terminal));
}

TEST(tinyrl_terminal, reading_without_input_is_an_error)
{
    struct terminal terminal = terminal_on(nullptr, nullptr);
    char piece[80] = "old";
    EXPECT_EQ(-3, terminal_get_char(&terminal));
    EXPECT_EQ(0U, terminal_read_piece(&terminal, piece, sizeof(piece)));
}

TEST(tinyrl_terminal, reading_what_cannot_be_read_is_an_error)
{
    FILE *directory = fopen("/", "r");
    struct terminal terminal = terminal_on(directory, nullptr);
    EXPECT_EQ(-3, terminal_get_char(&terminal));
    EXPECT_TRUE(terminal_input_failed(&terminal));
    EXPECT_FALSE(terminal_input_ended(&terminal));
    fclose(directory);
}

TEST(tinyrl_terminal, time_out_passes_when_nothing_comes)
{
    piped_input pipe_ends;
    struct terminal terminal = terminal_on(pipe_ends.stream, nullptr);
    terminal.timeout = 1;
    EXPECT_EQ(-2, terminal_get_char(&terminal));
    pipe_ends.put("x");
    EXPECT_EQ('x', terminal_get_char(&terminal));
    pipe_ends.end();
    EXPECT_EQ(-1, terminal_get_char(&terminal));
}

TEST(tinyrl_terminal, a_descriptor_too_great_for_a_time_out_is_an_error)
{
    piped_input pipe_ends;
    int great = fcntl(fileno(pipe_ends.stream), F_DUPFD, 1024);
    if (great < 0)
        GTEST_SKIP() << "so many descriptors are not allowed here";
    FILE *input = fdopen(great, "r");
    struct terminal terminal = terminal_on(input, nullptr);
    pipe_ends.put("xy");
    EXPECT_EQ('x', terminal_get_char(&terminal));
    terminal.timeout = 1;
    EXPECT_EQ(-3, terminal_get_char(&terminal));
    fclose(input);
}

TEST(tinyrl_terminal, waits_where_the_descriptor_does_not)
{
    piped_input pipe_ends;
    struct terminal terminal = terminal_on(pipe_ends.stream, nullptr);
    pipe_ends.do_not_block();
    std::thread typist([&] {
        usleep(100000);
        pipe_ends.put("x");
    });
    EXPECT_EQ('x', terminal_get_char(&terminal));
    typist.join();
}

TEST(tinyrl_terminal, pieces_end_with_the_line_or_are_full)
{
    piped_input pipe_ends;
    struct terminal terminal = terminal_on(pipe_ends.stream, nullptr);
    pipe_ends.put("ab\n\n" + std::string(100, 'x') + "\n" + std::string(78, 'y') + "\nz");
    pipe_ends.end();
    EXPECT_EQ("ab\n", read_piece(&terminal));
    EXPECT_EQ("\n", read_piece(&terminal));
    EXPECT_EQ(std::string(79, 'x'), read_piece(&terminal));
    EXPECT_EQ(std::string(21, 'x') + "\n", read_piece(&terminal));
    EXPECT_EQ(std::string(78, 'y') + "\n", read_piece(&terminal));
    EXPECT_FALSE(terminal_input_ended(&terminal));
    EXPECT_EQ("z", read_piece(&terminal));
    EXPECT_TRUE(terminal_input_ended(&terminal));
    EXPECT_EQ("(none)", read_piece(&terminal));
    EXPECT_EQ("(none)", read_piece(&terminal));
}

TEST(tinyrl_terminal, pieces_may_hold_zero_bytes)
{
    piped_input pipe_ends;
    struct terminal terminal = terminal_on(pipe_ends.stream, nullptr);
    std::string text("\0a\0\0b\n", 6);
    std::string full = std::string(40, '\0') + std::string(39, '\x01');
    pipe_ends.put(text + full + std::string(2, '\0'));
    pipe_ends.end();
    EXPECT_EQ(text, read_piece(&terminal));
    EXPECT_EQ(full, read_piece(&terminal));
    EXPECT_EQ(std::string(2, '\0'), read_piece(&terminal));
    EXPECT_EQ("(none)", read_piece(&terminal));
}

TEST(tinyrl_terminal, a_piece_is_whole_where_the_descriptor_does_not_wait)
{
    piped_input pipe_ends;
    struct terminal terminal = terminal_on(pipe_ends.stream, nullptr);
    pipe_ends.do_not_block();
    std::thread typist([&] {
        for (const char *part : {"ab", "cd", "e\nf", "g\n"}) {
            usleep(30000);
            pipe_ends.put(part);
        }
    });
    EXPECT_EQ("abcde\n", read_piece(&terminal));
    EXPECT_EQ("fg\n", read_piece(&terminal));
    typist.join();
}

TEST(tinyrl_terminal, a_stream_has_its_buffer_before_it_is_read)
{
    piped_input pipe_ends;
    EXPECT_EQ(0U, __fbufsize(pipe_ends.stream));
    (void)terminal_on(pipe_ends.stream, nullptr);
    EXPECT_GT(__fbufsize(pipe_ends.stream), 0U);
    EXPECT_EQ(0, __flbf(pipe_ends.stream));
}

TEST(tinyrl_terminal, signals_are_delivered_while_a_byte_is_read)
{
    blocked_signal blocked;
    piped_input pipe_ends;
    struct terminal terminal = terminal_on(pipe_ends.stream, nullptr);
    sigset_t mask;
    sigemptyset(&mask);
    terminal.wait_mask = &mask;
    pipe_ends.put("abc");
    pthread_kill(pthread_self(), SIGUSR1);
    EXPECT_EQ(0, signals_seen);
    EXPECT_EQ('a', terminal_get_char(&terminal));
    EXPECT_EQ(1, signals_seen);
    EXPECT_TRUE(is_blocked(SIGUSR1));
    terminal.wait_mask = nullptr;
    pthread_kill(pthread_self(), SIGUSR1);
    EXPECT_EQ('b', terminal_get_char(&terminal));
    EXPECT_EQ(1, signals_seen);
}

TEST(tinyrl_terminal, signals_are_delivered_while_a_piece_is_read)
{
    blocked_signal blocked;
    piped_input pipe_ends;
    struct terminal terminal = terminal_on(pipe_ends.stream, nullptr);
    sigset_t mask;
    sigemptyset(&mask);
    terminal.wait_mask = &mask;
    pipe_ends.put("a\n");
    pthread_kill(pthread_self(), SIGUSR1);
    EXPECT_EQ("a\n", read_piece(&terminal));
    EXPECT_EQ(1, signals_seen);
    EXPECT_TRUE(is_blocked(SIGUSR1));
    pipe_ends.end();
    pthread_kill(pthread_self(), SIGUSR1);
    EXPECT_EQ("(none)", read_piece(&terminal));
    EXPECT_EQ(2, signals_seen);
    EXPECT_TRUE(is_blocked(SIGUSR1));
}

TEST(tinyrl_terminal, a_signal_that_returns_does_not_end_a_wait)
{
    blocked_signal blocked;
    piped_input bytes;
    piped_input lines;
    struct terminal keys = terminal_on(bytes.stream, nullptr);
    struct terminal pieces = terminal_on(lines.stream, nullptr);
    sigset_t mask;
    sigemptyset(&mask);
    keys.wait_mask = &mask;
    pieces.wait_mask = &mask;
    pthread_t reader = pthread_self();
    std::thread typist([&] {
        usleep(100000);
        pthread_kill(reader, SIGUSR1);
        usleep(100000);
        bytes.put("x");
        usleep(100000);
        pthread_kill(reader, SIGUSR1);
        usleep(100000);
        lines.put("z\n");
        usleep(100000);
        pthread_kill(reader, SIGUSR1);
        usleep(100000);
        bytes.put("y");
    });
    EXPECT_EQ('x', terminal_get_char(&keys));
    EXPECT_EQ(1, signals_seen);
    EXPECT_EQ("z\n", read_piece(&pieces));
    EXPECT_EQ(2, signals_seen);
    keys.timeout = 60;
    EXPECT_EQ('y', terminal_get_char(&keys));
    EXPECT_EQ(3, signals_seen);
    typist.join();
}
