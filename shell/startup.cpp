#include "shell/startup.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "base/command.h"
#include "base/log.h"
#include "base/session.h"
#include "base/signals.h"
#include "base/text.h"
#include "browse/known_entries.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "complete/completion.h"
#include "conf_agent.h"
#include "link/exchange_lock.h"
#include "link/listener.h"
#include "link/server_session.h"
#include "profile/profile.h"
#include "redisapi.h"
#include "schema/command_reads.h"
#include "schema/database.h"
#include "scrub.h"
#include "shell/command_table.h"
#include "shell/dispatch.h"
#include "tinyrl/history.h"
#include "tinyrl/raw_mode.h"
#include "tinyrl/tinyrl.h"

namespace
{

constexpr size_t history_limit = 10;
constexpr size_t kept_at_once = 64 << 10; // bytes of the schema, from line to line

void free_session_text(char **text)
{
    free(*text);
    *text = nullptr;
}

void close_database()
{
    scrub_registers();
    redis_freeconn(session.redis);
    session.redis = nullptr;
}

void release_session()
{
    free_session_text(&session.pwd);
    free_session_text(&session.prompt);
    close_database();
}

// The session as a signal finds it: at the prompt the editor is there, too.
void release_at_signal()
{
    free_session_text(&session.pwd);
    if (session.oneshot != 0)
        free_session_text(&session.prompt);
    if (session.tinyrl != nullptr)
        tinyrl_delete(session.tinyrl);
    if (session.redis != nullptr) {
        scrub_registers();
        redis_freeconn(session.redis);
    }
    local_entries_forget(nullptr, nullptr);
}

// Where the daemon's socket stands on descriptor 0 there is no standard input, and
// what the daemon sends is no line. Null when the system gives no stream.
FILE *input_stream()
{
    return server_fd == STDIN_FILENO ? fopen("/dev/null", "re") : stdin;
}

// At its end, piped input gives no line at each call from then on.
void pause_after_end_of_input()
{
    const struct timespec tenth = {0, 100000000};
    const signal_window window;
    nanosleep(&tenth, nullptr);
}

// Lets a signal strike that arrived while it was deferred, or that the last
// output raises, so that it is not answered with success.
void take_deferred_signal()
{
    fflush(stdout);
    const signal_window window;
}

// Reads a line and runs it; false when it says to leave. A function of its own,
// so that nothing of the line is left above what run_lines overwrites.
[[gnu::noinline]] bool run_line()
{
    char *const read = tinyrl_readline(session.tinyrl, session.prompt, nullptr);
    if (read == nullptr) {
        pause_after_end_of_input();
        return true;
    }
    const secret_block line(read, strlen(read)); // in its whole length: a command may cut it
    if (line.size == 0)
        return true;
    const dispatch_result result = dispatch(line.data);
    known_entries_rest();
    if (result == dispatch_leave)
        return false;
    if (result != dispatch_nothing)
        history_add(tinyrl_get_history(session.tinyrl), line.data);
    return true;
}

// Runs the lines that are there already, and whose output goes together, as of one
// moment; false when one says to leave. What took time, or much memory, ends the moment.
bool run_lines_ahead()
{
    const command_reads reads;
    bool goes_on = true;
    while (goes_on && session.quit == 0 && tinyrl_line_is_ahead(session.tinyrl)) {
        const uint16_t sent = session.send_seq;
        goes_on = run_line();
        scrub_stack();
        if (session.send_seq != sent || reads.kept_size > kept_at_once)
            command_reads_forget();
    }
    return goes_on;
}

// Runs lines until one says to leave.
void run_lines()
{
    known_entries entries;
    bool goes_on = true;
    while (goes_on && session.quit == 0) {
        goes_on = run_line();
        scrub_stack();
        goes_on = goes_on && run_lines_ahead();
    }
}

int prepare_session()
{
    session.pwd = strdup("/");
    if (session.pwd == nullptr)
        return -1;
    session.prompt = strdup("/$ ");
    return session.prompt != nullptr ? 0 : -1;
}

int connect_session()
{
    const int result = server_connect();
    signal_defer();
    if (result != 0) {
        puts("failed to connect ncserver!\r");
        return -1;
    }
    tree_init();
    return schema_connect();
}

} // namespace

int vandel_init()
{
    signal_init({listener_park_soon, release_at_signal, raw_mode_rescue});
    command_rows_use(command_table);
    lock_init();
    log_open();
    if (conf_dbg_enable(7, 0) != 0)
        return -1;
    if (prepare_session() == 0 && connect_session() == 0)
        return 0;
    free_session_text(&session.pwd);
    free_session_text(&session.prompt);
    return -1;
}

int run_oneshot(char *line)
{
    session.oneshot = 1;
    if (profile_load_start() != 0) {
        log_debug("[DEBUG] config file error\n");
        release_session();
        return -1;
    }
    if (line == nullptr) {
        release_session();
        return -1;
    }
    dispatch(line);
    take_deferred_signal();
    local_entries_forget(nullptr, nullptr);
    release_session();
    return 0;
}

int run_interactive()
{
    FILE *input = input_stream();
    if (input != nullptr)
        session.tinyrl = tinyrl_new(input, stdout, history_limit, nullptr);
    if (session.tinyrl == nullptr) {
        log_error("[ERROR] tinyrl new error\n");
        release_session();
        return -1;
    }
    tinyrl_set_wait_mask(session.tinyrl, signal_wait_mask());
    tinyrl_bind_key(session.tinyrl, completion_tab, completion_tab_key);
    tinyrl_bind_key(session.tinyrl, completion_question_mark, completion_help_key);
    run_lines();
    take_deferred_signal();
    local_entries_forget(nullptr, nullptr);
    struct tinyrl *editor = session.tinyrl;
    session.tinyrl = nullptr;
    tinyrl_delete(editor);
    free_session_text(&session.pwd); // the prompt stays until the process ends
    close_database();
    return 0;
}
