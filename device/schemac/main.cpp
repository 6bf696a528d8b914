// schemac: compiles YANG modules into the schema database of the shell.
#include <errno.h>
#include <inttypes.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "device/schemac/options.h"
#include "device/schemac/progress.h"
#include "device/schemac/publish.h"
#include "device/schemac/report.h"
#include "device/schemac/worker.h"

namespace
{

void show_sent(size_t done, size_t total)
{
    if (progress_is_due())
        progress_show("storing " + std::to_string(done / 1024) + " of " +
                      std::to_string(total / 1024) + " KiB");
}

// Sends the finished spool; 0, or -1 after the cause has been printed.
int publish(const schemac_options *options, int descriptor)
{
    struct stat status;
    if (fstat(descriptor, &status) != 0) {
        report_error({"spool", 0, strerror(errno)});
        return -1;
    }
    auto size = static_cast<size_t>(status.st_size);
    void *memory = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) {
        report_error({"spool", 0, strerror(errno)});
        return -1;
    }
    const auto *start = static_cast<const char *>(memory);
    std::string cause;
    int result = publish_spool(&options->endpoint, {start, start + size}, show_sent, &cause);
    munmap(memory, size);
    progress_clear();
    if (result != 0)
        report_error({"redis at " + options->where, 0, cause});
    return result;
}

} // namespace

int main(int count, char **words)
{
    schemac_options options = {};
    if (options_parse(count, words, &options) != 0)
        return 1;
    if (options.wants_help) {
        fputs(options_help, stdout);
        return 0;
    }
    signal(SIGPIPE, SIG_IGN); // a redis that goes away is an error, not the end
    progress_start();
    int descriptor = spool_create();
    if (descriptor < 0) {
        report_error({"spool", 0, strerror(errno)});
        return 1;
    }
    schema_counts counts;
    if (run_worker(&options, descriptor, &counts) != 0 || publish(&options, descriptor) != 0)
        return 1;
    printf("schemac: %" PRIu64 " modules, %" PRIu64 " nodes, %" PRIu64 " bytes\n", counts.modules,
           counts.nodes, counts.bytes);
    return fflush(stdout) == 0 ? 0 : 1;
}
