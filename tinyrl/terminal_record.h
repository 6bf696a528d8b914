// The terminal's record, shared by the files that implement it.
#ifndef VANDEL_TINYRL_TERMINAL_RECORD_H
#define VANDEL_TINYRL_TERMINAL_RECORD_H

#include <signal.h>
#include <stdio.h>

struct terminal {
    FILE *input;
    FILE *output;
    int timeout; // seconds; -1: none
    bool has_wait_mask;
    sigset_t wait_mask;
    bool ended;  // a byte was asked for and there was none
    bool failed; // reading a byte failed
};

#endif
