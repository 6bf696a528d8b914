// One input stream and one output stream seen as a terminal.
//
// Conventions: either stream may be null, which means "none"; streams belong to
// the caller. A terminal reads its input either byte by byte, straight from the
// descriptor, or in pieces, through the stream: never both. Output is written to
// the stream and stays there until it is flushed. terminal_printf and
// terminal_vprintf return what printf returns; 0 without an output.
#ifndef VANDEL_TINYRL_TERMINAL_H
#define VANDEL_TINYRL_TERMINAL_H

#include <signal.h>
#include <stddef.h>
#include <stdio.h>

struct terminal;

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

// Creates a terminal without time-out; null: no memory.
terminal *terminal_new(FILE *input, FILE *output);

// Frees the terminal; null is allowed.
void terminal_delete(struct terminal *terminal);

void terminal_set_input(struct terminal *terminal, FILE *input);
FILE *terminal_get_input(const struct terminal *terminal);
FILE *terminal_get_output(const struct terminal *terminal);

// How many seconds terminal_get_char waits; 0 or less: for ever.
void terminal_set_timeout(struct terminal *terminal, int seconds);

// The thread's signal mask for the time in which input is waited for and read
// (copied); null: no change. Nothing is allocated or written in that time.
void terminal_set_wait_mask(struct terminal *terminal, const sigset_t *mask);

// The next byte, 0 to 255, or one of enum terminal_input.
int terminal_get_char(struct terminal *terminal);

// Reads up to the end of a line, but at most size - 1 bytes, into piece and adds
// a zero byte. Returns the number of bytes, zero bytes in the input included;
// 0: nothing was left to read, or an error.
size_t terminal_read_piece(struct terminal *terminal, char *piece, size_t size);

// Whether a whole line has been read ahead, so that reading it does not wait.
bool terminal_line_is_ahead(const struct terminal *terminal);

// Whether the input has ended or failed, and whether the output has failed.
bool terminal_input_ended(const struct terminal *terminal);
bool terminal_input_failed(const struct terminal *terminal);
bool terminal_output_failed(const struct terminal *terminal);

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

void terminal_attribute_reset(const struct terminal *terminal);
void terminal_attribute_bright(const struct terminal *terminal);
void terminal_attribute_dim(const struct terminal *terminal);
void terminal_attribute_underscore(const struct terminal *terminal);
void terminal_attribute_blink(const struct terminal *terminal);
void terminal_attribute_reverse(const struct terminal *terminal);
void terminal_attribute_hidden(const struct terminal *terminal);
void terminal_erase_line(const struct terminal *terminal);
void terminal_erase_down(const struct terminal *terminal);
void terminal_erase(const struct terminal *terminal, int count);
void terminal_clear_screen(const struct terminal *terminal);
void terminal_cursor_save(const struct terminal *terminal);
void terminal_cursor_restore(const struct terminal *terminal);
void terminal_cursor_forward(const struct terminal *terminal, int count);
void terminal_cursor_back(const struct terminal *terminal, int count);
void terminal_cursor_up(const struct terminal *terminal, int count);
void terminal_cursor_down(const struct terminal *terminal, int count);
void terminal_cursor_home(const struct terminal *terminal);
void terminal_scroll_down(const struct terminal *terminal);
void terminal_scroll_up(const struct terminal *terminal);
void terminal_next_line(const struct terminal *terminal);

#endif
