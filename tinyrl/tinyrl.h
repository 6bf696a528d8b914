// A line editor for terminals that reads piped input as well.
//
// Conventions: positions are byte indexes into the line. A key's handler answers
// whether it could do its work, and so does what a handler may end with, such as
// tinyrl_insert_text. The editor is used by one thread. Every function but
// tinyrl_new requires an editor; a null one is a programming error. The line exists
// only while a read is in progress: editing it at any other time is a programming
// error too. Programming errors that are checked print the broken condition to
// standard error and abort, after the terminal is back in the mode it had.
#pragma once

#include <signal.h>
#include <stddef.h>
#include <stdio.h>

struct history;
struct tinyrl;

// Does what a key, 0 to 255, stands for. Returns whether it could; the bell rings when
// it could not.
using tinyrl_key_handler = bool(tinyrl *editor, int key);

// Finds what the word from start to end of line may become: a heap array, ended
// by null, of heap strings, all of which the editor frees; null for nothing.
using tinyrl_completion_handler = char **(tinyrl *editor, const char *line, size_t start,
                                          size_t end);

// Called when no key came in time; returns whether that ends the read.
using tinyrl_timeout_handler = bool(tinyrl *editor);

// Called with every byte read from the terminal, before it is acted on.
using tinyrl_keypress_hook = void(tinyrl *editor, int key);

// Creates an editor that reads in and draws on out and remembers history_limit
// lines (0: any number). complete may be null; it serves only the Tab key's own
// handler. The streams stay the caller's and must outlive the editor. in must
// not have been read yet: it gets its buffer here. Null: no memory.
tinyrl *tinyrl_new(FILE *in, FILE *out, size_t history_limit, tinyrl_completion_handler *complete);

// Frees the editor; a terminal that a read in progress holds gets its mode back
// first. May be called from a signal handler that strikes while the editor waits
// for input, provided that the handler does not return.
void tinyrl_delete(tinyrl *editor);

// Binds handler (not null) to a key; returns whether key is one, 0 to 255. Byte 27
// always starts an escape sequence, whatever is bound to it.
bool tinyrl_bind_key(tinyrl *editor, int key, tinyrl_key_handler *handler);

// Reads a line, showing prompt, which must stay valid for the length of the
// read. Returns a heap copy, the caller's, without its line end; null with errno
// ENOENT at the end of the input (also: read error, time-out, no memory), and
// with errno ENOEXEC for a line of piped input that the Enter key's handler
// refused or that does not fit: no line is returned in part. context is what
// tinyrl_get_context returns meanwhile.
char *tinyrl_readline(tinyrl *editor, const char *prompt, void *context);

// The same with text, up to its first line end, in place of what the input
// would give; nothing is read.
char *tinyrl_readline_preset(tinyrl *editor, const char *prompt, void *context, const char *text);

// The context given to the read in progress; null outside a read.
void *tinyrl_get_context(const tinyrl *editor);

// The line being edited, valid until it is changed; null outside a read.
const char *tinyrl_get_line(const tinyrl *editor);

// Where the cursor stands: 0 to the length of the line.
size_t tinyrl_get_point(const tinyrl *editor);

// Inserts length bytes of text, none of them 0 and none of them the line's own,
// at the cursor, which then stands after them. Nothing is drawn. Returns whether they
// went in: without memory, or where the line would reach its maximum length, the
// bell rings.
bool tinyrl_insert_text(tinyrl *editor, const char *text, size_t length);

// Removes the bytes from start to end, both included; end may lie after the line.
// When end is before start, only the byte at end goes. Where start is at the line's
// end or after it, nothing goes. Nothing is drawn.
void tinyrl_delete_text(tinyrl *editor, size_t start, size_t end);

// Draws what differs from what was drawn last, and flushes.
void tinyrl_redisplay(tinyrl *editor);

// Forgets what was drawn and draws prompt and line where the terminal's cursor
// stands; to be called after other output.
void tinyrl_reset_line_state(tinyrl *editor);

// Writes a line feed to the output.
void tinyrl_crlf(tinyrl *editor);

// Writes formatted text to the output; returns the number of bytes, negative
// for an error.
int tinyrl_printf(tinyrl *editor, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Writes text with a '?' for each character that a terminal would obey or not
// show (terminal_text.h), then blanks up to width bytes in all.
void tinyrl_print_safe(tinyrl *editor, const char *text, size_t width);

// Rings the bell and flushes.
void tinyrl_ding(tinyrl *editor);

// How many bytes all candidates (at least one, ended by null) begin with.
size_t tinyrl_common_length(char *const *matches);

// Lists count candidates in columns, in their order, row by row, as
// tinyrl_print_safe shows them; longest is the length of the longest of them.
void tinyrl_display_matches(tinyrl *editor, char *const *matches, size_t count, size_t longest);

// Replaces what stands from start to the cursor by the longest common prefix of
// the candidates (ended by null; null: none). When that changes nothing and
// several remain, lists them. Returns whether that completes the word: there is a
// single candidate or, with allow_prefix, the prefix is itself one.
bool tinyrl_complete_matches(tinyrl *editor, size_t start, char *const *matches, bool allow_prefix);

// What was typed before. It belongs to the editor; it may be changed only
// between reads.
history *tinyrl_get_history(tinyrl *editor);

// What a program may change between reads.
struct tinyrl_settings {
    size_t max_line_length; // a line never reaches so many bytes; 0: any length
    bool utf8;              // the cursor moves by characters, and wide ones take two columns
    bool echo_shown;        // whether typed text is shown
    char echo_character;    // written for each byte of text that is not shown; 0: nothing is
    tinyrl_key_handler *default_handler;     // of the bytes below 32 without their own; null: none
    tinyrl_timeout_handler *timeout_handler; // null: the read ends
    tinyrl_keypress_hook *keypress_hook;     // null: none
};
tinyrl_settings *tinyrl_get_settings(tinyrl *editor);

// How many seconds to wait for a key; 0 or less: for ever.
void tinyrl_set_timeout(tinyrl *editor, int seconds);

// Whether the next read finds a whole line that was read ahead, and does not wait.
bool tinyrl_line_is_ahead(const tinyrl *editor);

// The thread's signal mask while the editor waits for input and at no other time (the
// caller's; null: the mask stays as it is). In that window the editor neither
// allocates nor writes.
void tinyrl_set_wait_mask(tinyrl *editor, const sigset_t *mask);
