// One input stream and one output stream seen as a terminal.
//
// Conventions: either stream may be null, which means "none"; streams belong to
// the caller. A terminal reads its input either byte by byte, straight from the
// descriptor, or in pieces, through the stream: never both. Output is written to
// the stream and stays there until it is flushed. terminal_printf and
// terminal_vprintf return what printf returns; 0 without an output.
#pragma once

#include <signal.h>
#include <stddef.h>
#include <stdio.h>

struct terminal {
    FILE *input;
    FILE *output;
    int timeout;               // seconds that terminal_get_char waits; 0 or less: for ever
    const sigset_t *wait_mask; // the thread's while input is waited for and read; null: no change
    bool ended;                // a byte was asked for and there was none
    bool failed;               // reading a byte failed
};

// What terminal_get_char returns beside bytes.
enum terminal_input {
    terminal_input_end = -1,
    terminal_input_timeout = -2,
    terminal_input_error = -3,
};

// The keys that send escape sequences.
enum terminal_key {
    terminal_key_unknown,
    terminal_key_up,
    terminal_key_down,
    terminal_key_left,
    terminal_key_right,
    terminal_key_home,
    terminal_key_end,
    terminal_key_insert,
    terminal_key_delete,
    terminal_key_page_up,
    terminal_key_page_down,
};

// A terminal without time-out and mask. The input must not have been read yet: it
// gets its buffer here.
terminal terminal_on(FILE *input, FILE *output);

// The next byte, 0 to 255, or one of enum terminal_input.
int terminal_get_char(struct terminal *terminal);

// Reads up to the end of a line, but at most size - 1 bytes, into piece and adds
// a zero byte. Returns the number of bytes, zero bytes in the input included;
// 0: nothing was left to read, or an error.
size_t terminal_read_piece(struct terminal *terminal, char *piece, size_t size);

// Whether a whole line has been read ahead, so that reading it does not wait.
bool terminal_line_is_ahead(const struct terminal *terminal);

// Whether the input has ended or failed.
bool terminal_input_ended(const struct terminal *terminal);
bool terminal_input_failed(const struct terminal *terminal);

// The key whose sequence, without the escape byte, is exactly this text.
terminal_key terminal_decode(const char *sequence);

// Columns and rows of the output's window; 80 and 25 when they are not known.
int terminal_get_width(const struct terminal *terminal);
int terminal_get_height(const struct terminal *terminal);

int terminal_printf(const struct terminal *terminal, const char *format, ...)
    __attribute__((format(printf, 2, 3)));
int terminal_vprintf(const struct terminal *terminal, const char *format, va_list arguments)
    __attribute__((format(printf, 2, 0)));
void terminal_write(const struct terminal *terminal, const char *text, size_t length);

// Hands on what was written, unless the next line is there already: then it goes with
// what that one shows.
void terminal_flush(const struct terminal *terminal);

// Rings the bell and flushes.
void terminal_ding(const struct terminal *terminal);

// What a terminal obeys: the text after the escape byte.
inline constexpr char terminal_attribute_reset[] = "[0m";
inline constexpr char terminal_attribute_bright[] = "[1m";
inline constexpr char terminal_attribute_dim[] = "[2m";
inline constexpr char terminal_attribute_underscore[] = "[4m";
inline constexpr char terminal_attribute_blink[] = "[5m";
inline constexpr char terminal_attribute_reverse[] = "[7m";
inline constexpr char terminal_attribute_hidden[] = "[8m";
inline constexpr char terminal_erase_line[] = "[2K";
inline constexpr char terminal_erase_down[] = "[J";
inline constexpr char terminal_clear_screen[] = "[2J";
inline constexpr char terminal_cursor_save[] = "7";
inline constexpr char terminal_cursor_restore[] = "8";
inline constexpr char terminal_cursor_home[] = "[H";
inline constexpr char terminal_scroll_down[] = "D";
inline constexpr char terminal_scroll_up[] = "M";
inline constexpr char terminal_next_line[] = "E";

// The same of what takes a count: the byte after that.
inline constexpr char terminal_erase = 'P';
inline constexpr char terminal_cursor_forward = 'C';
inline constexpr char terminal_cursor_back = 'D';
inline constexpr char terminal_cursor_up = 'A';
inline constexpr char terminal_cursor_down = 'B';

void terminal_control(const struct terminal *terminal, const char *control);
void terminal_control(const struct terminal *terminal, int count, char control);
