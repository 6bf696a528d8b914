// The process that serves one shell.
#ifndef VANDEL_GATEWAY_SHELL_PROCESS_H
#define VANDEL_GATEWAY_SHELL_PROCESS_H

#include "device/gateway/descriptor.h"
#include "device/gateway/gateway_options.h"
#include "device/gateway/shell_slots.h"

struct shell_task {
    unsigned number;     // the shell's, for the log
    const char *refusal; // why it is not served; null: it is
    const gateway_options *options;
    const shell_slots *slots;
    size_t slot; // this process's
    int signals; // a descriptor that gives SIGTERM and SIGCHLD, which are blocked
};

// Serves the shell, or tells it why not, until nothing is left to do, not even a process
// to wait for. SIGTERM ends its session, and its command at once when it comes again.
void shell_process_run(const shell_task *task, descriptor shell);

#endif
