// schemac: compiles YANG modules into the schema database of the shell.
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include "device/schemac/inspect.h"
#include "device/schemac/options.h"
#include "device/schemac/progress.h"
#include "device/schemac/requests.h"
#include "device/schemac/worker.h"
#include "standard_descriptors.h"

int main(int count, char **words)
{
    if (standard_descriptors_open(STDIN_FILENO) != 0)
        return 1;
    schemac_options options = {};
    if (options_parse(count, words, &options) != 0)
        return 1;
    if (options.wants_help) {
        fputs(options_help, stdout);
        return 0;
    }
    if (options.wants_version) {
        puts("schemac " VANDEL_VERSION);
        return 0;
    }
    signal(SIGPIPE, SIG_IGN); // a redis that goes away is an error, not the end
    if (options.wants_list)
        return inspect_list(&options);
    if (options.shown_path != nullptr)
        return inspect_show(&options);
    progress_start();
    source_index index;
    std::vector<module_request> requests;
    if (make_requests(&options, &index, &requests) != 0)
        return 1;
    return compile_and_store(&options, &index, requests);
}
