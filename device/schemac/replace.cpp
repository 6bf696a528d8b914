// All are compiled together. libyang stops at the first error; to name every
// broken module, they are then compiled in small groups, and those of a group that
// fails by themselves, in other children, so that one that breaks libyang hides no
// other.
#include "device/schemac/replace.h"

#include <algorithm>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

#include "device/schemac/progress.h"
#include "device/schemac/worker.h"

namespace
{

// Modules were stored, and others left out.
constexpr int status_partial = 2;
constexpr size_t tried_at_once = 32;

// An error, and the modules that fail because of it.
struct broken_cause {
    std::string error;
    std::vector<std::string> modules;
};

void print_line(const std::string &line)
{
    progress_clear();
    fprintf(stderr, "%s\n", line.c_str());
}

void print_new(const std::vector<std::string> &errors, std::vector<std::string> *printed)
{
    for (const std::string &error : errors) {
        if (std::find(printed->begin(), printed->end(), error) != printed->end())
            continue;
        print_line(error);
        printed->push_back(error);
    }
}

void add_cause(std::vector<broken_cause> *causes, const std::string &error,
               const std::string &module)
{
    for (broken_cause &known : *causes) {
        if (known.error == error) {
            known.modules.push_back(module);
            return;
        }
    }
    causes->push_back({error, {module}});
}

// Adds those of these requests that compile. Most do, so that it costs less to try all
// of them at once, and halves of what fails, than each in a child of its own.
void sort_range(const work *all, size_t first, size_t count, std::vector<module_request> *good,
                std::vector<broken_cause> *causes)
{
    const auto start = all->requests.begin() + static_cast<ptrdiff_t>(first);
    const auto end = start + static_cast<ptrdiff_t>(count);
    const work tried = {all->options, all->index, {start, end}, work_try, ""};
    const work_result result = worker_run(&tried);
    if (result.is_good) {
        good->insert(good->end(), start, end);
    } else if (count > 1) {
        sort_range(all, first, count / 2, good, causes);
        sort_range(all, first + count / 2, count - count / 2, good, causes);
    } else {
        for (const std::string &error : result.errors)
            add_cause(causes, error, start->name);
    }
}

// The requests that compile by themselves or with their neighbours. The causes of the
// rest are added.
std::vector<module_request> sort_out(const work *all, std::vector<broken_cause> *causes)
{
    std::vector<module_request> good;
    for (size_t i = 0; i < all->requests.size(); i += tried_at_once)
        sort_range(all, i, std::min(tried_at_once, all->requests.size() - i), &good, causes);
    return good;
}

// The requests that compile together with those before them.
std::vector<module_request> sort_out_together(const work *all, std::vector<broken_cause> *causes)
{
    work tried = {all->options, all->index, {}, work_try, ""};
    for (const module_request &request : all->requests) {
        tried.requests.push_back(request);
        const work_result result = worker_run(&tried);
        if (!result.is_good)
            tried.requests.pop_back();
        for (const std::string &error : result.errors)
            add_cause(causes, error, request.name);
    }
    return tried.requests;
}

// An error, and after it who failed because of it, where it is another's.
std::string cause_text(const broken_cause *cause)
{
    std::string needed;
    for (const std::string &module : cause->modules) {
        if (!cause->error.starts_with("schemac: " + module + ": "))
            needed.append(needed.empty() ? " (needed by " : ", ").append(module);
    }
    return cause->error + (needed.empty() ? "" : needed + ")");
}

// Stores what compiles of modules that do not compile all. Where modules fail
// only together, the later one in the list is left out.
work_result keep_going(const work *all)
{
    std::vector<broken_cause> causes;
    work kept = {all->options, all->index, sort_out(all, &causes), work_store, ""};
    work_result result = {};
    if (!kept.requests.empty())
        result = worker_run(&kept);
    if (!result.is_good && !result.module.empty()) {
        kept.requests = sort_out_together(&kept, &causes);
        result = worker_run(&kept);
    }
    for (const broken_cause &cause : causes)
        print_line(cause_text(&cause));
    return result;
}

// Says how many nodes features that are off have cost somebody who has said
// nothing of them. That takes compiling once more; when it fails, nothing is said.
void tell_left_out(const work *all, const std::string &partial_nodes)
{
    if (partial_nodes.empty() || all->options->features.is_told)
        return;
    const work counting = {all->options, all->index, all->requests, work_count, ""};
    const work_result result = worker_run(&counting);
    progress_clear();
    const uint64_t stored = strtoull(partial_nodes.c_str(), nullptr, 10);
    const uint64_t nodes =
        result.results.empty() ? 0 : strtoull(result.results[0].c_str(), nullptr, 10);
    if (result.is_good && nodes > stored)
        printf("schemac: %" PRIu64 " of %" PRIu64 " nodes left out, because features are off "
               "(--feature '*:*' turns them on)\n",
               nodes - stored, nodes);
}

void print_results(const work_result *result)
{
    progress_clear();
    for (const std::string &line : result->results)
        printf("%s\n", line.c_str());
    fflush(stdout); // before a child has a copy of it
}

} // namespace

int compile_and_store(const schemac_options *options, source_index *index,
                      const std::vector<module_request> &requests, const std::string &origin)
{
    const work all = {options, index, requests, work_store, origin};
    work_result result = worker_run(&all);
    for (const std::string &warning : result.warnings)
        print_line(warning);
    const bool is_whole = result.is_good;
    const bool is_compiling = !is_whole && !result.module.empty() && requests.size() > 1;
    std::vector<std::string> printed;
    if (is_compiling && options->keeps_going)
        result = keep_going(&all);
    print_new(result.errors, &printed);
    std::vector<broken_cause> causes;
    if (is_compiling && !options->keeps_going)
        sort_out(&all, &causes);
    for (const broken_cause &cause : causes)
        print_new({cause.error}, &printed);
    print_results(&result);
    if (!result.is_good)
        return 1;
    if (is_whole)
        tell_left_out(&all, result.partial_nodes);
    if (fflush(stdout) != 0)
        return 1;
    return is_whole ? 0 : status_partial;
}
