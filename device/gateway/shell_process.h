// The process that serves one shell.
#pragma once

#include "device/gateway/connection.h"

// Serves the shell, or tells it why not, until nothing is left to do, not even a process
// to wait for. SIGTERM ends its session, and its command at once when it comes again.
//
// signals gives SIGTERM and SIGCHLD, which are blocked.
void shell_process_run(const connection_task *task, descriptor shell, const descriptor *signals);
