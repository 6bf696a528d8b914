// Finds the modules that do not compile.
//
// libyang stops at the first error, and what has gone wrong cannot be taken out of
// its context again. So small groups of modules are compiled in children of their
// own, several at the same time, and a group that fails is split until each broken
// module has shown its errors by itself.
#pragma once

#include <optional>

#include "device/schemac/worker.h"

// An error, and the modules that fail because of it.
struct broken_cause {
    std::string error;
    std::vector<std::string> modules;
};

struct sorted_requests {
    work_result whole; // of all requests together
    bool is_sorted;    // that failed, and the rest says because of what
    std::vector<module_request> good;
    std::vector<broken_cause> causes;
    std::optional<work_result> stored; // what became of the good ones, where they were tried
};

// Finds out which requests compile by themselves or with others, when all of them do not
// together. The result of that is given, or null: then that is done, too, meanwhile, and
// the work with those that compile.
sorted_requests sort_out(const work *all, const work_result *whole);

// Does the work with those that are good, and of those that fail only together leaves
// out the later ones, whose causes are added.
work_result store_good(const work *all, sorted_requests *sorted);
