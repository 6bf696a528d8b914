#include "device/schemac/replace.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

#include "device/schemac/progress.h"
#include "device/schemac/report.h"
#include "device/schemac/sort_out.h"

namespace
{

// Modules were stored, and others left out.
constexpr int status_partial = 2;

void print_line(const std::string &line)
{
    progress_clear();
    fprintf(stderr, "%s\n", line.c_str());
}

void print_lines(const std::vector<std::string> &lines)
{
    for (const std::string &line : lines)
        print_line(line);
}

// An error, and after it who failed because of it, where it is another's.
std::string cause_text(const broken_cause *cause)
{
    std::string needed;
    for (const std::string &module : cause->modules) {
        const std::string name = report_part(module);
        if (!cause->error.starts_with("schemac: " + name + ": "))
            needed.append(needed.empty() ? " (needed by " : ", ").append(name);
    }
    return cause->error + (needed.empty() ? "" : needed + ")");
}

// Says how many nodes features that are off have cost somebody who has said
// nothing of them. That takes compiling once more; when it fails, nothing is said.
void tell_left_out(const work *all, const std::string &partial_nodes)
{
    if (partial_nodes.empty() || all->options->features.is_told)
        return;
    const work counting = {all->options, all->index, all->requests, work_count, "", nullptr};
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

// Both return the exit status.
int store_all(const work *all)
{
    const work_result result = worker_run(all);
    print_lines(result.warnings);
    print_lines(result.errors);
    if (!result.is_good) {
        for (const broken_cause &cause : sort_out(all, &result).causes) {
            if (cause.error != result.errors[0])
                print_line(cause.error);
        }
        return 1;
    }
    print_results(&result);
    tell_left_out(all, result.partial_nodes);
    return fflush(stdout) == 0 ? 0 : 1;
}

int store_what_compiles(const work *all)
{
    sorted_requests sorted = sort_out(all, nullptr);
    work_result result = sorted.whole;
    print_lines(result.warnings);
    if (sorted.is_sorted)
        result = store_good(all, &sorted);
    for (const broken_cause &cause : sorted.causes)
        print_line(cause_text(&cause));
    print_lines(result.errors);
    print_results(&result);
    if (!result.is_good)
        return 1;
    if (!sorted.is_sorted)
        tell_left_out(all, result.partial_nodes);
    return fflush(stdout) != 0 ? 1 : sorted.is_sorted ? status_partial : 0;
}

} // namespace

int compile_and_store(const schemac_options *options, source_index *index,
                      const std::vector<module_request> &requests, const std::string &origin)
{
    const work all = {options, index, requests, work_store, origin, nullptr};
    return options->keeps_going ? store_what_compiles(&all) : store_all(&all);
}
