// The child writes lines to a pipe: what it works at, what is wrong, and the
// result. The end of the pipe is the end of the child.
#include "device/schemac/worker.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "device/schemac/compile.h"
#include "device/schemac/features.h"
#include "device/schemac/notes.h"
#include "device/schemac/origin.h"
#include "device/schemac/progress.h"
#include "device/schemac/publish.h"
#include "device/schemac/schema_writer.h"
#include "device/schemac/text_tools.h"

namespace
{

constexpr rlim_t processor_seconds = 120;
constexpr rlim_t memory_bytes = sizeof(void *) > 4 ? rlim_t{2} << 30 : rlim_t{1} << 30;
constexpr int progress_interval_ms = 200;
constexpr uint64_t nodes_per_note = 1000;
constexpr size_t longest_note = 1 << 14; // more than what is shown; a name may be of megabytes

// What the first byte of a line says about the rest.
constexpr char note_progress = 'p'; // what an operator is to see
constexpr char note_module = 'm';   // the same; after a colon the module that is worked at, if any
constexpr char note_culprit = 'c';  // the module that is wrong
constexpr char note_warning = 'w';
constexpr char note_error = 'e';
constexpr char note_result = 'r';
constexpr char note_partial = 'f'; // features are off; how many nodes there are without them

// The child's end of the pipe; libyang's callbacks have no argument for it.
int notes = -1;
const work *doing; // by the child, likewise

// What redis is given takes memory, too, and may be a thousand times what was read.
rlim_t most_stored;

void note(char kind, const std::string &text)
{
    const std::string line = kind + printable_text(text.substr(0, longest_note)) + "\n";
    size_t written = 0;
    while (written < line.size()) {
        const ssize_t count = write(notes, line.data() + written, line.size() - written);
        if (count < 0)
            return; // nobody listens any more
        written += static_cast<size_t>(count);
    }
}

// "reading 3 of 12: ietf-ip"
void note_step(char kind, const char *step, size_t number, size_t count, const std::string &what)
{
    note(kind, std::string(step) + " " + std::to_string(number) + " of " + std::to_string(count) +
                   ": " + what);
}

// Where there are choices, waits for the next; others that are asked for later are needed.
bool note_reading(const std::string &module, size_t number, size_t count)
{
    static size_t asked;
    if (doing->choices != nullptr && asked < doing->requests.size()) {
        while (sem_wait(&doing->choices->known) != 0)
            continue;
        if (!doing->choices->is_wanted[asked++])
            return false;
    }
    note_step(note_module, "reading", number, count, module);
    return true;
}

void note_compiling(const std::string &module, size_t number, size_t count)
{
    note_step(note_progress, "compiling", number, count, module);
}

void note_oddity(const error_report &report)
{
    note(note_warning, report_text(report));
}

void note_storing(const write_progress &progress)
{
    if (progress.bytes > most_stored) {
        note(note_error, report_text({progress.module, 0,
                                      "the schema takes more than " +
                                          std::to_string(most_stored >> 20) + " MiB"}));
        _exit(1);
    }
    if (progress.nodes % nodes_per_note == 0)
        note_step(note_progress, "storing", progress.number, progress.count,
                  std::string(progress.module) + ", " + std::to_string(progress.nodes) + " nodes");
}

// The lower of this limit and the one that holds already.
rlim_t lower_limit(__rlimit_resource resource, rlim_t most)
{
    rlimit limits;
    return getrlimit(resource, &limits) == 0 && limits.rlim_cur < most ? limits.rlim_cur : most;
}

void limit(__rlimit_resource resource, rlim_t most)
{
    rlimit limits;
    if (getrlimit(resource, &limits) == 0) {
        limits.rlim_cur = lower_limit(resource, most);
        setrlimit(resource, &limits);
    }
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
    const rlim_t pages = line != nullptr ? strtoull(line, nullptr, 10) : 0;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

// What is in use already is not counted: a sanitizer maps a lot in advance.
void limit_memory(rlim_t most)
{
    limit(RLIMIT_AS, address_space() + most);
}

void limit_resources()
{
    most_stored = lower_limit(RLIMIT_AS, memory_bytes) / 2;
    limit(RLIMIT_CPU, processor_seconds);
    limit_memory(memory_bytes);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

// Stores the compiled modules; 0, or -1 after the error has been noted.
int store(const work *wanted, const ly_ctx *context)
{
    std::vector<module_request> requests = wanted->requests;
    size_t place = 0;
    if (wanted->choices != nullptr)
        std::erase_if(requests,
                      [&](const module_request &) { return !wanted->choices->is_wanted[place++]; });
    if (requests.empty())
        return -1;
    note(note_module, "comparing with what is stored");
    schema_counts counts = {};
    const content_teller tell = [&](content_depth depth, const hash_sink &sink) {
        counts = write_schema(context, requests, depth, sink, note_storing);
        notes_tell(context, sink);
        if (!wanted->origin.empty())
            origin_tell(wanted->origin, sink);
    };
    std::string cause;
    if (publish_content(&wanted->options->endpoint, tell, &cause) != 0) {
        note(note_error, report_text({"redis at " + wanted->options->where, 0, cause}));
        return -1;
    }
    note(note_result, "schemac: " + std::to_string(counts.modules) + " modules, " +
                          std::to_string(counts.nodes) + " nodes, " + std::to_string(counts.bytes) +
                          " bytes");
    if (counts.empty_modules > 0)
        note(note_result, "schemac: " + std::to_string(counts.empty_modules) +
                              " modules left out, because they have no nodes");
    if (features_any_off(context))
        note(note_partial, std::to_string(counts.nodes));
    return 0;
}

void count(const work *wanted, const ly_ctx *context)
{
    const hash_sink nowhere = [](const content_hash &) {};
    const schema_counts counts =
        write_schema(context, wanted->requests, content_keys, nowhere, note_storing);
    note(note_result, std::to_string(counts.nodes));
}

// The child's work; 0, or -1 after the error has been noted.
int do_work(const work *wanted)
{
    doing = wanted;
    limit_resources();
    error_report error;
    const compile_watch watch = {note_reading, note_compiling, note_oddity};
    const bool is_all = wanted->kind == work_count || wanted->options->features.is_all;
    // It ends with the process: libyang can crash where it frees types.
    const ly_ctx *context =
        compile_modules(wanted->index, wanted->requests,
                        is_all ? feature_choice_all : feature_choice_named, &watch, &error)
            .release();
    if (context == nullptr) {
        note(note_culprit, error.module);
        note(note_error, report_text(error));
        return -1;
    }
    if (wanted->kind == work_store)
        return store(wanted, context);
    if (wanted->kind == work_count)
        count(wanted, context);
    return 0;
}

void take_line(const std::string &line, work_result *result)
{
    const std::string text = line.substr(1);
    const size_t colon = text.find(": ");
    if (line[0] == note_module)
        result->module = colon != std::string::npos ? text.substr(colon + 2) : "";
    if (line[0] == note_module || line[0] == note_progress)
        result->progress = text;
    else if (line[0] == note_culprit)
        result->culprit = text;
    else if (line[0] == note_warning)
        result->warnings.push_back(text);
    else if (line[0] == note_error)
        result->errors.push_back(text);
    else if (line[0] == note_partial)
        result->partial_nodes = text;
    else
        result->results.push_back(text);
}

// Takes the whole lines off the front of what has been read.
void take_lines(worker *child)
{
    std::string *pending = &child->pending;
    for (size_t end; (end = pending->find('\n')) != std::string::npos;) {
        take_line(pending->substr(0, end), &child->result);
        pending->erase(0, end + 1);
    }
}

// Reads what the child notes; whether that was all.
bool read_notes(worker *child)
{
    char bytes[4096];
    const ssize_t count = read(child->notes, bytes, sizeof bytes);
    child->pending.append(bytes, count > 0 ? static_cast<size_t>(count) : 0);
    take_lines(child);
    return count == 0 || (count < 0 && errno != EINTR);
}

std::string death_text(int status)
{
    const int number = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    if (number == SIGXCPU)
        return "compiling takes more than " +
               std::to_string(lower_limit(RLIMIT_CPU, processor_seconds)) + " seconds";
    if (number == SIGABRT || number == SIGKILL)
        return "the compiler gave up, probably for lack of memory";
    return "the compiler died of signal " + std::to_string(number) +
           "; leave the module out, or change it";
}

int wait_for(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    return status;
}

void take_end(worker *ended)
{
    work_result *result = &ended->result;
    close(ended->notes);
    const int status = wait_for(ended->child);
    result->is_good = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (result->is_good || !result->errors.empty())
        return;
    const std::string where = result->module.empty() ? "schema" : result->module;
    result->errors.push_back(report_text({where, 0, death_text(status)}));
}

} // namespace

void worker_limit_parent()
{
    limit_memory(2 * memory_bytes);
}

worker worker_start(const work *wanted)
{
    worker started = {-1, -1, "", {false, "", "", "looking for modules", {}, {}, {}, ""}};
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) == 0)
        started.child = fork();
    if (started.child == 0) {
        notes = ends[1];
        const int status = do_work(wanted);
        fflush(nullptr);
        _exit(status == 0 ? 0 : 1);
    }
    if (started.child < 0) {
        started.result.errors.push_back(report_text({"worker", 0, strerror(errno)}));
        close(ends[0]);
    } else {
        started.notes = ends[0];
    }
    close(ends[1]);
    return started;
}

size_t worker_wait(std::vector<worker> *workers)
{
    for (;;) {
        std::vector<pollfd> waited;
        for (size_t i = 0; i < workers->size(); i++) {
            if ((*workers)[i].child < 0)
                return i;
            waited.push_back({(*workers)[i].notes, POLLIN, 0});
        }
        const int ready = poll(waited.data(), waited.size(), progress_interval_ms);
        for (size_t i = 0; ready > 0 && i < waited.size(); i++) {
            worker *child = &(*workers)[i];
            if (waited[i].revents != 0 && read_notes(child)) {
                take_end(child);
                return i;
            }
        }
        progress_show(workers->front().result.progress);
    }
}

void worker_stop(worker *stopped)
{
    if (stopped->child < 0)
        return;
    close(stopped->notes);
    kill(stopped->child, SIGKILL);
    wait_for(stopped->child);
}

work_result worker_run(const work *wanted)
{
    std::vector<worker> one = {worker_start(wanted)};
    worker_wait(&one);
    return one[0].result;
}
