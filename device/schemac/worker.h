// Works in a process of its own.
//
// YANG texts come from anywhere, and one can be written so that compiling it
// takes all the stack, the memory or the time there is, or finds a mistake of
// libyang's. So a child with limits does the work, and what becomes of it is an
// error like any other.
#ifndef VANDEL_SCHEMAC_WORKER_H
#define VANDEL_SCHEMAC_WORKER_H

#include "device/schemac/options.h"
#include "device/schemac/requests.h"

// What a child is to do with the compiled modules.
enum work_kind {
    work_store,
    work_try,   // nothing
    work_count, // with all features on, count the nodes
};

struct work {
    const schemac_options *options;
    source_index *index;
    std::vector<module_request> requests;
    work_kind kind;
    std::string origin; // its digest; empty: none is stored
};

// What is known of a child. Errors are whole messages.
struct work_result {
    bool is_good;
    std::string module; // that it worked at; empty: at none
    std::string progress;
    std::vector<std::string> warnings;
    std::vector<std::string> errors;
    std::vector<std::string> results;
    std::string partial_nodes; // empty: no feature is off
};

// Does the work in a child, to its end, and shows its progress. Prints nothing
// else.
work_result worker_run(const work *wanted);

#endif
