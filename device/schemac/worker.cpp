// Runs the compiler in a process of its own.
//
// Parent and child share one page, in which the child notes what it is working
// at and the result, and a pipe that the child never writes to: its end is the
// end of the child.
#include "device/schemac/worker.h"

#include <atomic>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bounded.h"
#include "device/schemac/compile.h"
#include "device/schemac/progress.h"
#include "device/schemac/report.h"
#include "device/schemac/source_index.h"

namespace
{

constexpr rlim_t processor_seconds = 120;
constexpr rlim_t memory_bytes = sizeof(void *) > 4 ? rlim_t{2} << 30 : rlim_t{1} << 30;
constexpr int progress_interval_ms = 200;

struct worker_page {
    char module[256];
    std::atomic<uint32_t> nodes; // written so far; 0 while compiling
    schema_counts counts;
    bool is_complete;
};

worker_page *page;

void note_module(const char *module)
{
    if (strncpy_s(page->module, sizeof page->module, module, sizeof page->module - 1) != 0)
        page->module[0] = '\0';
}

void note_nodes(uint64_t nodes)
{
    page->nodes.store(static_cast<uint32_t>(nodes), std::memory_order_relaxed);
}

// The address space that is in use; 0 when it cannot be told.
rlim_t address_space()
{
    char text[64] = ""; // the first number is the count of pages
    FILE *file = fopen("/proc/self/statm", "re");
    if (file == nullptr)
        return 0;
    const char *line = fgets(text, sizeof text, file);
    fclose(file);
    rlim_t pages = line != nullptr ? strtoull(line, nullptr, 10) : 0;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

void limit(__rlimit_resource resource, rlim_t most)
{
    rlimit limits;
    if (getrlimit(resource, &limits) == 0 && most < limits.rlim_cur) {
        limits.rlim_cur = most;
        setrlimit(resource, &limits);
    }
}

// What is in use already is not counted: a sanitizer maps a lot in advance.
void limit_resources()
{
    limit(RLIMIT_CPU, processor_seconds);
    limit(RLIMIT_AS, address_space() + memory_bytes);
    limit(RLIMIT_FSIZE, memory_bytes);
    limit(RLIMIT_CORE, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

bool open_directory(source_index *index, const char *directory, bool is_deep)
{
    if (source_index_add_directory(index, directory, is_deep) != 0) {
        report_error({directory, 0, strerror(errno)});
        return false;
    }
    return true;
}

bool open_directories(const schemac_options *options, source_index *index)
{
    if (options->directories.empty())
        return open_directory(index, ".", false);
    for (const char *directory : options->directories) {
        if (!open_directory(index, directory, true))
            return false;
    }
    return true;
}

module_request *find_request(std::vector<module_request> *requests, const std::string &name)
{
    for (module_request &request : *requests) {
        if (request.name == name)
            return &request;
    }
    return nullptr;
}

// NAME, NAME@REVISION, or the path of a file.
bool add_request(source_index *index, const char *word, std::vector<module_request> *requests)
{
    module_request request;
    std::string_view text = word;
    if (text.find('/') != std::string_view::npos || text.ends_with(".yang")) {
        const yang_source *source = source_index_add_file(index, word);
        if (source == nullptr) {
            report_error({word, 0, errno == EINVAL ? "not a .yang file" : strerror(errno)});
            return false;
        }
        request.name = source->name;
        request.revision = source->revision;
    } else {
        size_t mark = text.find('@');
        request.name = text.substr(0, mark);
        request.revision = mark == std::string_view::npos ? "" : text.substr(mark + 1);
    }
    if (find_request(requests, request.name) == nullptr)
        requests->push_back(request);
    return true;
}

// A module that only --feature names is compiled like the others.
bool make_requests(const schemac_options *options, source_index *index,
                   std::vector<module_request> *requests)
{
    for (const char *word : options->modules) {
        if (!add_request(index, word, requests))
            return false;
    }
    for (const feature_option &feature : options->features) {
        module_request *request = find_request(requests, feature.module);
        if (request == nullptr) {
            requests->push_back({feature.module, "", {}});
            request = &requests->back();
        }
        request->features.push_back(feature.feature);
    }
    return true;
}

// The child: its exit status.
int work(const schemac_options *options, int spool_descriptor)
{
    limit_resources();
    source_index index;
    std::vector<module_request> requests;
    if (!open_directories(options, &index) || !make_requests(options, &index, &requests))
        return 1;
    context_ptr context = compile_modules(&index, &requests, note_module);
    if (context == nullptr)
        return 1;
    note_module("");
    spool output = {fdopen(dup(spool_descriptor), "w"), 0};
    if (output.file == nullptr) {
        report_error({"spool", 0, strerror(errno)});
        return 1;
    }
    page->counts = write_schema(context.get(), requests, &output, note_nodes);
    if (spool_finish(&output) != 0) {
        report_error({"spool", 0, strerror(errno)});
        fclose(output.file);
        return 1;
    }
    fclose(output.file);
    page->is_complete = true;
    return 0;
}

void show_progress()
{
    if (!progress_is_due())
        return;
    uint32_t nodes = page->nodes.load(std::memory_order_relaxed);
    if (nodes > 0) {
        progress_show(std::to_string(nodes) + " nodes");
    } else if (page->module[0] != '\0') {
        char module[sizeof page->module];
        strncpy_s(module, sizeof module, page->module, sizeof module - 1);
        progress_show(std::string("compiling ") + module);
    } else {
        progress_show("looking for modules");
    }
}

// Waits for the end of the child; its status as of waitpid.
int watch_child(pid_t child, int pipe_end)
{
    pollfd waited = {pipe_end, POLLIN, 0};
    while (poll(&waited, 1, progress_interval_ms) == 0)
        show_progress();
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    progress_clear();
    return status;
}

void report_death(int status)
{
    int number = WTERMSIG(status);
    std::string cause = "the compiler died of signal " + std::to_string(number);
    if (number == SIGXCPU)
        cause = "compiling takes more than " + std::to_string(processor_seconds) + " seconds";
    else if (number == SIGABRT || number == SIGKILL)
        cause = "the compiler gave up, probably for lack of memory";
    page->module[sizeof page->module - 1] = '\0';
    report_error({page->module[0] != '\0' ? page->module : "schema", 0, cause});
}

} // namespace

int run_worker(const schemac_options *options, int spool_descriptor, schema_counts *counts)
{
    void *memory = mmap(nullptr, sizeof(worker_page), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    int ends[2];
    if (memory == MAP_FAILED || pipe2(ends, O_CLOEXEC) != 0) {
        report_error({"worker", 0, strerror(errno)});
        return -1;
    }
    page = new (memory) worker_page{};
    pid_t child = fork();
    if (child < 0) {
        report_error({"worker", 0, strerror(errno)});
        return -1;
    }
    if (child == 0) {
        close(ends[0]);
        int status = work(options, spool_descriptor);
        fflush(nullptr);
        _exit(status);
    }
    close(ends[1]);
    int status = watch_child(child, ends[0]);
    close(ends[0]);
    if (!WIFEXITED(status)) {
        report_death(status);
        return -1;
    }
    if (WEXITSTATUS(status) != 0 || !page->is_complete)
        return -1;
    *counts = page->counts;
    return 0;
}
