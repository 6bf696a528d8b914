#include "device/schemac/sort_out.h"

#include <algorithm>
#include <deque>
#include <numeric>
#include <sys/mman.h>
#include <unordered_set>

#include "device/schemac/compile.h"

namespace
{

constexpr size_t tried_at_once = 64;
constexpr size_t parts_of_unknown = 8;
constexpr size_t most_workers = 4; // each may take much memory

using request_group = std::vector<size_t>; // requests by their positions

struct search {
    const work *all;
    work_result whole; // of all requests together
    bool is_needed;    // because that failed
    bool is_begun;     // groups have been or are tried
    std::deque<request_group> waiting;
    std::vector<worker> workers;
    std::vector<request_group> tried; // by the workers
    // Of each request by itself, when it is known.
    std::vector<std::optional<std::vector<std::string>>> errors;
    work_choices *choices; // null: nothing is stored yet
    size_t told;           // so many of them
    std::optional<work_result> stored;
};

bool is_whole(const search *running, const request_group &group)
{
    return group.size() == running->all->requests.size();
}

request_group everything(const search *running)
{
    request_group all(running->all->requests.size());
    std::iota(all.begin(), all.end(), 0);
    return all;
}

void start_waiting(search *running)
{
    const size_t most = most_workers + (running->choices != nullptr);
    while (!running->waiting.empty() && running->workers.size() < most) {
        const request_group &group = running->waiting.front();
        work tried = {running->all->options, running->all->index, {}, work_try, "", nullptr};
        for (const size_t request : group)
            tried.requests.push_back(running->all->requests[request]);
        worker started = worker_start(is_whole(running, group) ? running->all : &tried);
        if (started.child < 0 && !running->workers.empty()) {
            if (running->workers.size() > 1 || !running->tried[0].empty())
                return; // there may be room when another has ended
            // What stores would wait for this one, which gets its room.
            worker_stop(&running->workers[0]);
            running->workers.clear();
            running->tried.clear();
            continue;
        }
        running->workers.push_back(std::move(started));
        running->tried.push_back(group);
        running->waiting.pop_front();
    }
}

// Starts to read what is good while the rest is tried, unless its order hangs on the rest. The
// group that stands for it is empty.
void start_storing(search *running)
{
    work good = *running->all;
    if (compile_may_reorder(good.index, good.requests))
        return;
    void *shared = mmap(nullptr, sizeof(work_choices) + good.requests.size(),
                        PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        return;
    running->choices = good.choices = static_cast<work_choices *>(shared);
    sem_init(&good.choices->known, 1, 0);
    good.origin.clear();
    worker started = worker_start(&good);
    if (started.child < 0)
        return;
    running->workers.push_back(std::move(started));
    running->tried.push_back({});
}

void tell_choices(search *running)
{
    while (running->told < running->errors.size() && running->errors[running->told].has_value()) {
        running->choices->is_wanted[running->told] = running->errors[running->told]->empty();
        running->told++;
        sem_post(&running->choices->known);
    }
}

// Whether a request is for this module, or imports or includes it, directly or not.
bool needs(source_index *index, const module_request &request, const std::string &module)
{
    std::vector<std::string> names = {request.name};
    std::unordered_set<std::string> known = {request.name};
    for (size_t i = 0; i < names.size(); i++) {
        if (names[i] == module)
            return true;
        const yang_source *source =
            source_index_find(index, names[i], i == 0 ? request.revision : "");
        for (size_t k = 0; source != nullptr && k < source->dependencies.size(); k++) {
            const std::string &name = source->dependencies[k].name;
            if (known.insert(name).second)
                names.push_back(name);
        }
    }
    return false;
}

void try_all_in_groups(search *running)
{
    running->is_begun = true;
    for (size_t i = 0; i < running->all->requests.size(); i++) {
        if (i % tried_at_once == 0)
            running->waiting.push_back({});
        running->waiting.back().push_back(i);
    }
}

// Has parts of a group tried that fails because of this module: without those that
// need it the rest is probably good; without it, too, where all need it. Where the module
// is not known, which a compiler that died cannot tell, there are many parts: each step
// towards it costs another death.
void try_parts(search *running, const request_group &group, const std::string &culprit)
{
    const std::vector<module_request> &requests = running->all->requests;
    std::vector<request_group> parts(2);
    for (const size_t request : group)
        parts[needs(running->all->index, requests[request], culprit)].push_back(request);
    if (parts[0].empty()) {
        parts[1].clear();
        for (const size_t request : group)
            parts[requests[request].name == culprit].push_back(request);
    }
    if (parts[0].empty() || parts[1].empty()) {
        parts.assign(std::min(group.size(), parts_of_unknown), {});
        for (size_t i = 0; i < group.size(); i++)
            parts[i * parts.size() / group.size()].push_back(group[i]);
    }
    running->waiting.insert(running->waiting.begin(), parts.begin(), parts.end());
}

void take_failure(search *running, const request_group &group, const work_result &result)
{
    if (group.size() == 1)
        running->errors[group[0]] = result.errors;
    else if (group.size() > tried_at_once)
        try_all_in_groups(running);
    else
        try_parts(running, group, result.culprit);
}

void stop_all(search *running)
{
    for (worker &one : running->workers)
        worker_stop(&one);
    running->workers.clear();
    running->waiting.clear();
}

// Takes the result of all requests together, which the others' may depend on.
void take_whole(search *running, const work_result &result)
{
    const size_t count = running->all->requests.size();
    running->whole = result;
    running->is_needed = !result.is_good && !result.module.empty() && count > 1;
    if (!running->is_needed)
        stop_all(running);
    else if (!running->is_begun)
        take_failure(running, everything(running), result);
}

// Takes the result of the next worker that ends.
void take_next(search *running)
{
    const size_t ended = worker_wait(&running->workers);
    const auto place = static_cast<ptrdiff_t>(ended);
    const request_group group = std::move(running->tried[ended]);
    const work_result result = std::move(running->workers[ended].result);
    running->tried.erase(running->tried.begin() + place);
    running->workers.erase(running->workers.begin() + place);
    if (is_whole(running, group))
        take_whole(running, result);
    else if (group.empty())
        running->stored = result;
    else if (!result.is_good)
        take_failure(running, group, result);
    else
        for (const size_t request : group)
            running->errors[request].emplace();
    if (is_whole(running, group) && running->is_needed)
        start_storing(running);
    if (running->choices != nullptr)
        tell_choices(running);
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

// Finds the first request that fails together with those before it, and leaves it out.
void leave_one_out(work *kept, work_result failed, std::vector<broken_cause> *causes)
{
    const std::vector<module_request> all = kept->requests;
    work tried = *kept;
    tried.kind = work_try;
    size_t good = 0; // so many of the first compile
    size_t bad = all.size();
    while (bad - good > 1) {
        // The module that the error names is probably the one.
        const auto named = std::find_if(all.begin(), all.end(), [&](const module_request &one) {
            return one.name == failed.culprit;
        });
        const auto before = static_cast<size_t>(named - all.begin());
        size_t middle = before == good ? good + 1 : before;
        if (middle <= good || middle >= bad)
            middle = good + (bad - good) / 2;
        tried.requests.assign(all.begin(), all.begin() + static_cast<ptrdiff_t>(middle));
        const work_result result = worker_run(&tried);
        (result.is_good ? good : bad) = middle;
        if (!result.is_good)
            failed = result;
    }
    kept->requests.erase(kept->requests.begin() + static_cast<ptrdiff_t>(good));
    for (const std::string &error : failed.errors)
        add_cause(causes, error, all[good].name);
}

} // namespace

sorted_requests sort_out(const work *all, const work_result *whole)
{
    const size_t count = all->requests.size();
    if (count > 1)
        compile_prepare(); // once for all groups
    search running = {all, {}, false, false, {}, {}, {}, {}, nullptr, 0, {}};
    running.errors.resize(count);
    if (whole == nullptr) {
        running.waiting.push_back(everything(&running));
        if (count > tried_at_once)
            try_all_in_groups(&running);
    } else {
        take_whole(&running, *whole);
    }
    while (!running.waiting.empty() || !running.workers.empty()) {
        start_waiting(&running);
        take_next(&running);
    }
    if (running.choices != nullptr)
        munmap(running.choices, sizeof(work_choices) + count);
    sorted_requests sorted = {running.whole, running.is_needed, {}, {}, running.stored};
    for (size_t i = 0; running.is_needed && i < count; i++) {
        if (running.errors[i]->empty())
            sorted.good.push_back(all->requests[i]);
        for (const std::string &error : *running.errors[i])
            add_cause(&sorted.causes, error, all->requests[i].name);
    }
    return sorted;
}

work_result store_good(const work *all, sorted_requests *sorted)
{
    work kept = *all;
    kept.origin.clear();
    kept.requests = sorted->good;
    while (!kept.requests.empty()) {
        work_result result = sorted->stored.has_value() ? *sorted->stored : worker_run(&kept);
        sorted->stored.reset();
        if (result.is_good || result.module.empty())
            return result;
        leave_one_out(&kept, result, &sorted->causes);
    }
    return {};
}
