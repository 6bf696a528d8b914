// Input of a terminal: bytes, pieces of lines, and the keys that sequences stand for.
//
// A signal that ends the program is let in while the thread waits for input, and only
// then: this is what the wait mask is for. Its handler may strike anywhere in that
// window, so nothing there allocates or writes: bytes come from read, and a stream
// gets its buffer when it is attached, not at its first use.
#include "tinyrl/terminal.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/select.h>
#include <unistd.h>

#include "bounded.h"

namespace
{

struct key_sequence {
    const char *text;
    terminal_key key;
};

constexpr key_sequence key_sequences[] = {
    {"[A", terminal_key_up},      {"[B", terminal_key_down},     {"[C", terminal_key_right},
    {"[D", terminal_key_left},    {"[H", terminal_key_home},     {"[1~", terminal_key_home},
    {"[F", terminal_key_end},     {"[4~", terminal_key_end},     {"[2~", terminal_key_insert},
    {"[3~", terminal_key_delete}, {"[5~", terminal_key_page_up}, {"[6~", terminal_key_page_down},
};

void open_window(const struct terminal *terminal, sigset_t *previous)
{
    if (terminal->wait_mask != nullptr)
        pthread_sigmask(SIG_SETMASK, terminal->wait_mask, previous);
}

void close_window(const struct terminal *terminal, const sigset_t *previous)
{
    if (terminal->wait_mask != nullptr)
        pthread_sigmask(SIG_SETMASK, previous, nullptr);
}

// Returns 0 when there is something to read, else one of enum terminal_input.
int wait_for_input(int descriptor, int seconds)
{
    if (descriptor < 0 || descriptor >= FD_SETSIZE)
        return terminal_input_error;
    timeval left = {seconds, 0};
    int ready = 0;
    do {
        fd_set descriptors;
        FD_ZERO(&descriptors);
        FD_SET(descriptor, &descriptors);
        ready = select(descriptor + 1, &descriptors, nullptr, nullptr, &left);
    } while (ready < 0 && (errno == EAGAIN || errno == EINTR));
    if (ready < 0)
        return terminal_input_error;
    return ready == 0 ? terminal_input_timeout : 0;
}

// Whether a read that failed may be tried again; waits until it makes sense.
bool wait_after_failure(int descriptor)
{
    if (errno == EAGAIN) {
        pollfd wanted = {descriptor, POLLIN, 0};
        poll(&wanted, 1, -1);
        return true;
    }
    return errno == EINTR;
}

int read_byte(int descriptor, int timeout)
{
    for (;;) {
        const int result = timeout > 0 ? wait_for_input(descriptor, timeout) : 0;
        if (result < 0)
            return result;
        unsigned char byte = 0;
        const ssize_t count = read(descriptor, &byte, 1);
        if (count == 1)
            return byte;
        if (count == 0)
            return terminal_input_end;
        if (!wait_after_failure(descriptor))
            return terminal_input_error;
    }
}

// Reads on at piece + used; returns the number of bytes then in the piece. The
// rest of the piece holds no zero byte, so the last one is that of fgets, also
// when the input itself holds some.
size_t read_more(FILE *input, char *piece, size_t size, size_t used)
{
    errno = 0;
    if (fgets(piece + used, static_cast<int>(size - used), input) == nullptr)
        return used;
    size_t length = size - 1;
    while (piece[length] != '\0')
        length--;
    return length;
}

} // namespace

terminal_key terminal_decode(const char *sequence)
{
    for (const key_sequence &known : key_sequences) {
        if (strcmp(known.text, sequence) == 0)
            return known.key;
    }
    return terminal_key_unknown;
}

terminal terminal_on(FILE *input, FILE *output)
{
    if (input != nullptr && isatty(fileno(input)) == 0)
        setvbuf(input, nullptr, _IOFBF, BUFSIZ);
    return {input, output, -1, nullptr, false, false};
}

bool terminal_line_is_ahead(const struct terminal *terminal)
{
    // Only the stream itself knows what it has read.
    const FILE *input = terminal->input;
    if (input == nullptr || input->_IO_read_ptr == input->_IO_read_end)
        return false;
    const auto length = static_cast<size_t>(input->_IO_read_end - input->_IO_read_ptr);
    return memchr(input->_IO_read_ptr, '\n', length) != nullptr;
}

bool terminal_input_ended(const struct terminal *terminal)
{
    return terminal->ended || (terminal->input != nullptr && feof(terminal->input) != 0);
}

bool terminal_input_failed(const struct terminal *terminal)
{
    return terminal->failed || (terminal->input != nullptr && ferror(terminal->input) != 0);
}

int terminal_get_char(struct terminal *terminal)
{
    if (terminal->input == nullptr)
        return terminal_input_error;
    sigset_t previous;
    const int descriptor = fileno(terminal->input);
    open_window(terminal, &previous);
    const int result = read_byte(descriptor, terminal->timeout);
    close_window(terminal, &previous);
    terminal->ended = terminal->ended || result == terminal_input_end;
    terminal->failed = terminal->failed || result == terminal_input_error;
    return result;
}

size_t terminal_read_piece(struct terminal *terminal, char *piece, size_t size)
{
    FILE *input = terminal->input;
    if (input == nullptr)
        return 0;
    const char filler = 1;
    memset_s(piece, size, filler, size);
    sigset_t previous;
    size_t used = 0;
    bool again = false;
    open_window(terminal, &previous);
    do {
        used = read_more(input, piece, size, used);
        const bool complete = used == size - 1 || (used > 0 && piece[used - 1] == '\n');
        again = !complete && ferror(input) != 0 && wait_after_failure(fileno(input));
        if (again)
            clearerr(input);
    } while (again);
    close_window(terminal, &previous);
    piece[used] = '\0';
    return used;
}
