// Works in a process of its own.
//
// YANG texts come from anywhere, and one can be written so that compiling it
// takes all the stack, the memory or the time there is, or finds a mistake of
// libyang's. So a child with limits does the work, and what becomes of it is an
// error like any other. Several may work at the same time.
#pragma once

#include <semaphore.h>
#include <sys/types.h>

#include "device/schemac/options.h"
#include "device/schemac/requests.h"

// What a child is to do with the compiled modules.
enum work_kind {
    work_store,
    work_try,   // nothing
    work_count, // with all features on, count the nodes
};

// Which requests are wanted, in memory that the child shares: it begins before all is known.
struct work_choices {
    sem_t known; // posted for each request in turn
    bool is_wanted[];
};

struct work {
    const schemac_options *options;
    source_index *index;
    std::vector<module_request> requests;
    work_kind kind;
    std::string origin;    // its digest; empty: none is stored
    work_choices *choices; // null: all are wanted
};

// What is known of a child. Errors are whole messages.
struct work_result {
    bool is_good;
    std::string module;  // that it worked at; empty: at none
    std::string culprit; // the module that is wrong; empty: that is not known
    std::string progress;
    std::vector<std::string> warnings;
    std::vector<std::string> errors;
    std::vector<std::string> results;
    std::string partial_nodes; // empty: no feature is off
};

// A child, which ends with this process.
struct worker {
    pid_t child; // -1: it could not be started
    int notes;   // where it says what it does
    std::string pending;
    work_result result; // to be believed when it has ended
};

// Limits the memory of this process, and of a program that it becomes, to twice that of a child:
// what redis says may have no end.
void worker_limit_parent();

// Starts a child. What it is to do need not outlive the call.
worker worker_start(const work *wanted);

// Waits until one of these has ended, and shows their progress; prints nothing else.
// Returns its position.
size_t worker_wait(std::vector<worker> *workers);

// Ends one whose result is not wanted any more.
void worker_stop(worker *stopped);

// Does the work in a child, to its end, as the two above do.
work_result worker_run(const work *wanted);
