// A server whose running datastore cannot be written: all goes through its candidate. So it does
// where running can be written and commits are to be confirmed, which needs a candidate.
//
// An edit of running, or a copy to it, becomes several requests, each sent when the one before it
// is answered. They carry the message id of the shell's request, so that any of their replies can
// be its answer: the first error, or the reply to the commit. A copy from the candidate is a
// commit.
//
// After a copy running is read and compared with what was copied, before the candidate is unlocked:
// netconfd, for one, may commit something else and say "ok".
//
// The candidate is discarded only after it was locked: what another session has put there
// and not committed keeps the server from locking it, and the shell is told so. Where others can
// write running, too, that is locked around it all: a commit would undo what they write meanwhile.
//
// A commit that is to be confirmed gets its second commit as soon as it is answered. An answer that
// does not come, because the change has cut the server off, leaves it to undo the change.
#include "bounded.h"
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/adapters/copied.h"
#include "device/gateway/datastores.h"
#include "device/gateway/report.h"
#include "device/gateway/running_copy.h"

namespace
{

// What is awaited.
enum candidate_step : uint8_t {
    candidate_step_lock_running,
    candidate_step_lock,
    candidate_step_discard,
    candidate_step_change, // the shell's request
    candidate_step_commit,
    candidate_step_confirm,
    candidate_step_startup, // what was copied ...
    candidate_step_running, // ... and what came of it
    candidate_step_undo,
    candidate_step_unlock,
    candidate_step_unlock_running,
    candidate_step_end,
};

struct candidate_turn {
    const char *operation; // null: another request
    candidate_step after_success;
    candidate_step after_error;
};

constexpr char commit_operation[] = "<commit/>";
constexpr char discard_operation[] = "<discard-changes/>";

constexpr candidate_turn turns[] = {
    {"<lock><target><running/></target></lock>", candidate_step_lock, candidate_step_end},
    {"<lock><target><candidate/></target></lock>", candidate_step_discard,
     candidate_step_unlock_running},
    {discard_operation, candidate_step_change, candidate_step_unlock},
    {nullptr, candidate_step_commit, candidate_step_undo},
    {nullptr, candidate_step_confirm, candidate_step_undo},
    {commit_operation, candidate_step_startup, candidate_step_undo},
    {nullptr, candidate_step_running, candidate_step_unlock},
    {nullptr, candidate_step_unlock, candidate_step_unlock},
    {discard_operation, candidate_step_unlock, candidate_step_unlock},
    {"<unlock><target><candidate/></target></unlock>", candidate_step_unlock_running,
     candidate_step_unlock_running},
    {"<unlock><target><running/></target></unlock>", candidate_step_end, candidate_step_end},
};
static_assert(sizeof turns / sizeof turns[0] == candidate_step_end);

// What is asked for, in exchange->rounds.
enum candidate_request : uint8_t {
    candidate_request_edit,    // or a copy that cannot be compared with what came of it
    candidate_request_copy,    // one that can
    candidate_request_publish, // a copy of the candidate as it is
};

bool confirms(const server_hello *hello)
{
    return hello->wanted.confirmed_commit != 0 && hello->confirmed_commit && hello->candidate;
}

bool applies(const server_hello *hello)
{
    return hello->candidate && (!hello->writable_running || confirms(hello));
}

const char *notice(const server_hello *hello)
{
    return hello->writable_running
               ? "what goes to running is committed from the candidate (--confirmed-commit)"
               : "what goes to running is committed from the candidate (no writable-running "
                 "capability)";
}

bool lacks_confirmation(const server_hello *hello)
{
    return hello->wanted.confirmed_commit != 0 && !confirms(hello);
}

const char *confirmation_notice(const server_hello *)
{
    return "commits are not confirmed (no candidate or confirmed-commit capability); see "
           "--confirmed-commit";
}

bool is_compared(const exchange *exchange)
{
    return exchange->rounds == candidate_request_copy;
}

void ask_commit(exchange *exchange, const char *message_id)
{
    char operation[128];
    sprintf_s(operation, sizeof operation,
              "<commit><confirmed/><confirm-timeout>%u</confirm-timeout></commit>",
              static_cast<unsigned>(exchange->server->wanted.confirmed_commit));
    exchange_ask(exchange, message_id, confirms(exchange->server) ? operation : commit_operation);
}

// Sends the request that the step waits for.
void ask(exchange *exchange, const char *message_id, candidate_step step)
{
    exchange->step = step;
    if (step == candidate_step_change)
        exchange_ask_body(exchange, &exchange->request, is_compared(exchange));
    else if (step == candidate_step_commit)
        ask_commit(exchange, message_id);
    else if (step == candidate_step_startup)
        copied_ask_startup(exchange);
    else if (step == candidate_step_running)
        copied_ask_running(exchange);
    else
        exchange_ask(exchange, message_id, turns[step].operation);
}

adapter_verdict take_request(exchange *exchange, const message_head *head, byte_buffer *request)
{
    const bool is_copy = message_asks(head, "copy-config");
    if ((!is_copy && !message_asks(head, "edit-config")) || head->message_id == nullptr)
        return adapter_leaves;
    const request_datastores named = request_datastores_read(byte_buffer_view(request));
    if (named.target.local != "running")
        return adapter_leaves;
    if (is_copy && named.source.local == "candidate") {
        exchange->rounds = candidate_request_publish;
        ask(exchange, head->message_id.get(), candidate_step_commit);
        return adapter_takes;
    }
    running_copy copy;
    const bool compares = is_copy && running_copy_read(byte_buffer_view(request), &copy);
    if (datastore_replace(request, &named.target, "candidate") != 0)
        return adapter_leaves;
    exchange->rounds = compares ? candidate_request_copy : candidate_request_edit;
    exchange->request = byte_buffer_take(request);
    ask(exchange, head->message_id.get(),
        exchange->server->writable_running ? candidate_step_lock_running : candidate_step_lock);
    return adapter_takes;
}

// What is to be read after the commit, first of all.
candidate_step begin_comparison(exchange *exchange)
{
    const request_datastores named = request_datastores_read(byte_buffer_view(&exchange->request));
    const bool is_startup = named.source.local == "startup";
    datastore_replace(&exchange->request, &named.target, "running");
    return is_startup ? candidate_step_startup : candidate_step_running;
}

// The step that is done in the place of one that this server or request does not need.
candidate_step needed(exchange *exchange, candidate_step step)
{
    if (step == candidate_step_confirm && confirms(exchange->server))
        return step;
    if (exchange->rounds == candidate_request_publish)
        return candidate_step_end;
    if (step == candidate_step_confirm || step == candidate_step_startup)
        return is_compared(exchange) ? begin_comparison(exchange) : candidate_step_unlock;
    if (step == candidate_step_unlock_running && !exchange->server->writable_running)
        return candidate_step_end;
    return step;
}

// Why running is not known to be what was copied; the empty text when it is, or not yet.
report_text judge_copy(exchange *exchange, bool fails, byte_buffer *message)
{
    const bool is_startup = exchange->step == candidate_step_startup;
    if (fails)
        return report_clean(is_startup ? "startup cannot be read" : "running cannot be read");
    if (!is_startup)
        return copied_fault(exchange, message);
    exchange->source = byte_buffer_take(message);
    return {};
}

adapter_outcome take_reply(exchange *exchange, const message_head *head, byte_buffer *message)
{
    const auto step = static_cast<candidate_step>(exchange->step);
    const bool fails = head->is_error && !error_is_warning(byte_buffer_view(message));
    if (fails && step >= candidate_step_undo)
        report_shell(exchange->shell, step == candidate_step_unlock_running
                                          ? "the server does not let go of running"
                                          : "the server does not let go of the candidate");
    const bool is_answer = step == candidate_step_commit || (fails && step < candidate_step_undo);
    if (is_answer && (exchange->answer.size == 0 || step == candidate_step_confirm))
        exchange->answer = byte_buffer_take(message);
    if (step == candidate_step_startup || step == candidate_step_running) {
        const report_text fault = judge_copy(exchange, fails, message);
        // Without memory nothing is left to answer, which ends the session.
        if (fault.text[0] != '\0')
            exchange->answer = copied_failure(exchange, fault.text);
    }
    byte_buffer_clear(message);
    const candidate_step next =
        needed(exchange, fails ? turns[step].after_error : turns[step].after_success);
    if (next == candidate_step_end) {
        *message = byte_buffer_take(&exchange->answer);
        if (message->size == 0)
            exchange_ask_body(exchange, message, false);
        return message->size == 0 ? adapter_asks : adapter_ends;
    }
    ask(exchange, exchange->message_id.get(), next);
    return adapter_asks;
}

} // namespace

const adapter candidate_adapter = {
    .applies = applies, .notice = notice, .request = take_request, .reply = take_reply};
const adapter unconfirmed_adapter = {.applies = lacks_confirmation, .notice = confirmation_notice};
