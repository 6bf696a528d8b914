// Diagnostics of the shell, written to the system log.
//
// The text of a message starts with its level in brackets and ends in a line
// feed; it stands whole where it is logged, so that a search finds the line.
#pragma once

// Opens the log: ident "RELKA-VDL", with the process id, facility LOG_USER.
void log_open();

// Priorities LOG_USER|LOG_ERR (11), LOG_USER|LOG_INFO (14), LOG_USER|LOG_DEBUG (15).
void log_error(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_info(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_debug(const char *format, ...) __attribute__((format(printf, 1, 2)));
