// schemac: compiles YANG modules into the schema database of the shell.
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "device/schemac/database.h"
#include "device/schemac/options.h"
#include "device/schemac/origin.h"
#include "device/schemac/progress.h"
#include "device/schemac/replace.h"
#include "device/schemac/report.h"
#include "device/schemac/requests.h"
#include "device/schemac/successor.h"
#include "device/schemac/worker.h"
#include "standard_descriptors.h"

namespace
{

// Shows what the database holds, by a program that takes over the connection to it.
int show_database(const schemac_options *options)
{
    std::string cause;
    const connection_ptr connection = database_open(&options->endpoint, &cause);
    if (connection == nullptr) {
        report_error({"redis at " + options->where, 0, cause});
        return 1;
    }
    std::vector<std::string> words = {std::to_string(connection->fd), options->where};
    if (options->shown_path == nullptr)
        words.emplace_back("list");
    else
        words.insert(words.end(), {options->wants_tree ? "tree" : "node", options->shown_path});
    return become("schemac-show", words);
}

} // namespace

int main(int count, char **words)
{
    if (standard_descriptors_open(STDIN_FILENO) != 0)
        return 1;
    if (count > 1 && strcmp(words[1], "--from") == 0)
        return become("schemac-from", {words + 2, words + count});
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
    worker_limit_parent();
    if (options.wants_list || options.shown_path != nullptr)
        return show_database(&options);
    progress_start();
    source_index index;
    std::vector<module_request> requests;
    if (make_requests(&options, &index, &requests) != 0)
        return 1;
    const std::string origin = origin_digest(&options, &index, requests, VANDEL_VERSION);
    if (!options.is_forced && origin_is_stored(&options.endpoint, origin)) {
        puts("schemac: nothing has changed since the schema was stored (--force does it again)");
        return fflush(stdout) == 0 ? 0 : 1;
    }
    return compile_and_store(&options, &index, requests, origin);
}
