// The command that carries one NETCONF session over its standard input and
// output.
//
// It runs in a session of its own: a signal reaches it together with what it
// started itself, Ctrl-C at the gateway's terminal reaches the gateway alone,
// and a program that would ask for a password fails instead of waiting for a
// terminal. What it says on its standard error goes to the gateway's, and its last words are kept.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string_view>
#include <sys/types.h>

#include "descriptor.h"

constexpr int64_t transport_grace = 2000; // milliseconds to end by itself, and then after SIGTERM

constexpr size_t last_words_size = 200;

// The last line of a text that comes in pieces and may never end. All zero: nothing was said.
struct last_words {
    char text[last_words_size]; // zero-terminated; what passes its size is left out
    size_t size;
    bool is_ended; // what comes next begins a line
};

// Takes the next piece. Lines without a word do not count.
void last_words_add(last_words *words, std::string_view piece);

// Value-initialised: not running. Times are in milliseconds of clock_milliseconds().
struct transport {
    pid_t pid;         // 0: not running, or ended and reaped
    descriptor input;  // the command reads this; not blocking
    descriptor output; // the command writes this; not blocking
    descriptor errors; // the command complains here; not blocking
    last_words words;  // what it said there
    int next_signal;   // what it gets at deadline; 0 while it is wanted
    int64_t deadline;
};

// Starts the command (a null-terminated vector, looked up in PATH). Returns 0,
// or the errno value that tells why it could not be started.
int transport_start(transport *command, char *const arguments[]);

// Takes what the command has said on its standard error.
void transport_hear(transport *command);

// Closes both pipes and lets the command end by itself, or after a while with
// SIGTERM, or after another while with SIGKILL. hurry: SIGTERM comes at once.
void transport_end(transport *command, int64_t now, bool hurry);

// Sends the signal that is due.
void transport_tick(transport *command, int64_t now);

// Ends the command with SIGKILL, now.
void transport_kill(transport *command);

// Whether the command has ended and is to be reaped. What it left behind gets SIGTERM.
bool transport_has_ended(const transport *command);

// Reaps the command, which has ended, and gives the status of waitpid(). Its last words are
// complete then.
int transport_reap(transport *command);
