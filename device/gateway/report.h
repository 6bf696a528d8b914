// The gateway's log: one line per event, on standard error.
//
// A line is written in one call, and dropped rather than waited for when
// standard error does not take it: a log that nobody reads must not stop the
// sessions. Texts of a server, a shell or the command line go through
// report_clean() first.
#pragma once

#include <stddef.h>

constexpr size_t report_text_size = 512;

// A text that is safe to print: one line, printable ASCII, cut to fit.
struct report_text {
    char text[report_text_size];
};

// Writes size bytes, no more than 2048, unless that would take time.
void report_bytes(const char *bytes, size_t size);

// Makes text (null counts as empty) safe to print.
report_text report_clean(const char *text);

// Writes "tarnd-gateway: " and the message.
void report(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Writes "tarnd-gateway: shell NUMBER: " and the message.
void report_shell(unsigned number, const char *format, ...) __attribute__((format(printf, 2, 3)));
