// The order of things: the gateway's hello goes out at once; requests wait until
// the server's hello has come, which also settles the framing; then the
// subscription, so that its answer is the first one to come back; then the
// shell's requests, one by one. Replies are not matched with requests, because
// a server answers in order; only the answer to the subscription is picked out,
// by a message id that is no number and therefore never one of a shell's, and
// while an adapter has taken a request over (adapters/adapter.h) no other one goes
// out.
//
// A second session asks for notifications only. Its messages take turns with the first one's: each
// is read only while nothing is on its way to the shell.
#include "device/gateway/relay.h"

#include <utility>

#include "device/gateway/answers.h"
#include "device/gateway/report.h"
#include "format/namespaces.h"

namespace
{

// Requests of so many bytes are taken whatever is held: nobody can keep the
// others from all that they do by holding much.
constexpr size_t always_taken = 65536;

constexpr char no_room[] = "the gateway has no room for the request now (--max-buffered)";

// How a chunk header begins, for nudges.
constexpr std::string_view header_beginning = "\n#";

bool is_chunked(const relay *session)
{
    return session->decoder.chunked;
}

// The hellos are exchanged, and the shell is served.
bool is_open(const relay *session)
{
    return session->phase >= relay_phase_subscribe && session->phase <= relay_phase_requests;
}

// Whether a message may end: it has a place to go to.
bool has_place(const relay *session)
{
    const relay *shown = session->first != nullptr ? session->first : session;
    return relay_awaits_hello(session) || outgoing_idle(&shown->to_shell);
}

// Frames body for the server; body becomes empty.
const char *send_to_server(relay *session, byte_buffer *body)
{
    if (is_open(session) && session->silence == relay_silence_unasked)
        session->silence = relay_silence_asked;
    if (is_chunked(session)) {
        char header[framing_header_size];
        framing_chunk_header(static_cast<uint32_t>(body->size), header);
        outgoing_load(&session->to_server, header, body, framing_chunk_trailer);
        outgoing_advance(&session->to_server, session->nudges);
        session->nudges = 0;
        return nullptr;
    }
    if (byte_buffer_view(body).find(framing_mark) != std::string_view::npos)
        return "a request holds the end-of-message mark";
    outgoing_load(&session->to_server, "", body, framing_mark);
    return nullptr;
}

// Frames body for the shell; body becomes empty.
void send_to_shell(relay *session, byte_buffer *body)
{
    if (session->deaf) {
        byte_buffer_clear(body);
        return;
    }
    char header[frame_header_size];
    frame_header_write(header, static_cast<uint32_t>(body->size), session->sequence++);
    outgoing_load(&session->to_shell, {header, sizeof header}, body, "");
    session->notifies = false;
}

// Ends the current request, which gets an answer of the gateway's own.
const char *answer(relay *session, int result, byte_buffer *reply)
{
    frame_reader_take(&session->request);
    if (result != 0)
        return "out of memory";
    send_to_shell(session, reply);
    return nullptr;
}

const char *answer_create_session(relay *session)
{
    byte_buffer reply{};
    const int result =
        session_reply_write(session->head.message_id.get(), session->hello.session_id, &reply);
    return answer(session, result, &reply);
}

const char *answer_with_failure(relay *session, const char *message)
{
    byte_buffer reply{};
    const int result = failure_reply_write(session->head.message_id.get(), message, &reply);
    return answer(session, result, &reply);
}

// Sends what a request that is taken over asks for.
const char *send_asked(relay *session)
{
    exchange *taken = &session->taken_over;
    taken->asks = false;
    if (taken->next.size == 0)
        return "out of memory";
    const char *reason = send_to_server(session, &taken->next);
    session->to_server.keep = taken->keeps_next ? &taken->request : nullptr;
    return reason;
}

bool is_ours(const relay *session)
{
    return session->head.kind == message_create_session || session->request.discards;
}

const char *pass_request(relay *session)
{
    session->request_complete = false;
    if (session->request.discards)
        return answer_with_failure(session, no_room);
    if (session->head.kind == message_create_session)
        return answer_create_session(session);
    byte_buffer request = frame_reader_take(&session->request);
    session->unanswered++;
    adapters_offer(&session->taken_over, &session->hello, &session->head, &request);
    return exchange_idle(&session->taken_over) ? send_to_server(session, &request)
                                               : send_asked(session);
}

// An edit may name modules that the hello has not told of.
bool needs_library(const relay *session)
{
    return session->hello.yang_library && !session->request.discards &&
           message_asks(&session->head, "edit-config");
}

// Once; the request waits.
const char *read_library(relay *session)
{
    session->hello.yang_library = false;
    exchange_read_library(&session->taken_over, &session->hello);
    return send_asked(session);
}

// Sends the gateway's hello, or the subscription.
const char *send_beginning(relay *session)
{
    byte_buffer body{};
    const bool is_start = session->phase == relay_phase_start;
    const int result = is_start
                           ? byte_buffer_add(&body, {hello_text})
                           : subscription_write(&session->wish, &session->hello.modules, &body);
    session->phase = is_start ? relay_phase_hello : relay_phase_subscribing;
    return result == 0 ? send_to_server(session, &body) : "out of memory";
}

// Starts the next message to the server, if there is one to start.
const char *advance_requests(relay *session, bool *moved)
{
    *moved = true;
    if (session->phase == relay_phase_start || session->phase == relay_phase_subscribe)
        return send_beginning(session);
    const bool waits_for_shell = is_ours(session) && !outgoing_idle(&session->to_shell);
    if (!exchange_idle(&session->taken_over)) {
        if (session->taken_over.asks)
            return send_asked(session);
    } else if (is_open(session) && session->request_complete && !waits_for_shell)
        return needs_library(session) ? read_library(session) : pass_request(session);
    *moved = false;
    return nullptr;
}

const char *take_hello(relay *session)
{
    server_hello *hello = &session->hello;
    const char *reason = server_hello_read(byte_buffer_view(&session->message), hello);
    byte_buffer_clear(&session->message);
    if (reason != nullptr)
        return reason;
    hello->wanted = session->extras;
    session->phase = relay_phase_requests;
    const bool needs_second = relay_needs_second(session);
    const bool subscribes = session->subscribe && hello->notifications && !needs_second;
    if (subscribes || session->first != nullptr)
        session->phase = relay_phase_subscribe;
    session->decoder.chunked = hello->base_1_1;
    if (!session->hushed)
        report_shell(session->number, "session %u, NETCONF %s",
                     static_cast<unsigned>(hello->session_id), hello->base_1_1 ? "1.1" : "1.0");
    session->taken_over.shell = session->number;
    if (session->first == nullptr)
        adapters_report(&session->taken_over, hello);
    if (needs_second)
        report_shell(session->number, "notifications take a second session (no interleave "
                                      "capability)");
    return nullptr;
}

// Logs a refusal, which is no reason to end a session that works without.
const char *take_subscription_answer(relay *session, const message_head *head)
{
    session->phase = relay_phase_requests;
    if (head->is_error && !session->hushed) {
        const report_text error = error_text_read(byte_buffer_view(&session->message));
        report_shell(session->number, "the server refused the subscription: %s",
                     error.text[0] != '\0' ? error.text : "it gives no reason");
    }
    byte_buffer_clear(&session->message);
    if (head->is_error && session->first != nullptr)
        return "the server refused the subscription";
    if (session->hushed)
        report_shell(session->number, "notifications come again");
    session->hushed = false;
    return nullptr;
}

// Whether a reply may answer what was asked last: that has wholly gone out, but for an error, with
// which a server may stop reading it. A nudge, which goes out after it, has no body.
bool may_answer(const relay *session, const message_head *head)
{
    return !session->taken_over.asks && (head->is_error || session->to_server.body.size == 0);
}

// False: the message is none for the shell. A reply to what the server has not got is passed
// like any other message that answers something else.
bool take_reply(relay *session, const message_head *head)
{
    if (exchange_idle(&session->taken_over) || !may_answer(session, head))
        return true;
    const bool passes = adapters_take(&session->taken_over, head, &session->message);
    if (exchange_idle(&session->taken_over))
        session->to_server.keep = nullptr;
    return passes && session->message.size > 0;
}

// Counts a message that is no reply.
void count_notification(relay *session)
{
    if (subscription_floods(&session->flood, time(nullptr)))
        report_shell(session->number, "notifications come in a flood; see --filter, --stream and "
                                      "--no-subscribe");
}

// Whether a second session may pass such a message on.
bool is_passed(relay *session, const message_head *head)
{
    const bool passes = session->first == nullptr || head->kind == message_notification;
    if (!passes && !session->drops)
        report_shell(session->number, "what comes among the notifications and is none is dropped");
    session->drops |= !passes;
    return passes;
}

// Passes a message on, unless it is the answer to a request of the gateway's own.
const char *take_open_message(relay *session)
{
    const message_head head = message_head_read(byte_buffer_view(&session->message));
    if (session->phase == relay_phase_subscribing && subscription_is_answered(&head))
        return take_subscription_answer(session, &head);
    if (!take_reply(session, &head))
        return nullptr;
    if (!is_passed(session, &head)) {
        byte_buffer_clear(&session->message);
        return nullptr;
    }
    if (head.kind != message_rpc_reply)
        count_notification(session);
    else if (session->unanswered > 0)
        session->unanswered--;
    adapters_pass(&session->taken_over, &session->hello, &head, &session->message);
    if (session->message.size == 0)
        return nullptr;
    relay *shown = session->first != nullptr ? session->first : session;
    send_to_shell(shown, &session->message);
    shown->notifies = head.kind == message_notification;
    return nullptr;
}

// The server's current message is complete.
const char *take_message(relay *session)
{
    if (blank_filter_end(&session->filter, &session->message) != 0)
        return "the server sent a message that is no complete XML document";
    if (!is_open(session))
        return take_hello(session);
    return take_open_message(session);
}

const char *take_message_part(relay *session, const char *data, size_t size)
{
    const size_t limit = is_open(session) ? frame_body_limit : hello_size_limit;
    return blank_filter_feed(&session->filter, data, size, &session->message, limit);
}

// Decodes the server's bytes up to the end of one message.
const char *advance_messages(relay *session, bool *moved)
{
    *moved = false;
    while (session->input_from < session->input_to) {
        const framing_step step =
            framing_decode(&session->decoder, session->input + session->input_from,
                           session->input_to - session->input_from);
        session->input_from += step.used;
        if (step.event == framing_bad)
            return "the server broke the chunked framing";
        if (step.event == framing_end) {
            *moved = true;
            return take_message(session);
        }
        if (step.event != framing_data)
            continue;
        const char *reason = take_message_part(session, step.data, step.size);
        if (reason != nullptr)
            return reason;
    }
    return nullptr;
}

const char *send_closed_notice(relay *session)
{
    byte_buffer notice{};
    if (closed_notice_write(session->refusal, time(nullptr), &notice) != 0)
        return "out of memory";
    send_to_shell(session, &notice);
    return nullptr;
}

// The request stays complete, so that no other one is taken.
const char *advance_refusal(relay *session)
{
    const relay_phase phase = session->phase;
    const bool is_due = phase == relay_phase_dismissed ||
                        (phase == relay_phase_refused && session->request_complete);
    if (!is_due || !outgoing_idle(&session->to_shell))
        return nullptr;
    session->phase = relay_phase_told;
    return phase == relay_phase_dismissed ? send_closed_notice(session)
                                          : answer_with_failure(session, session->refusal);
}

} // namespace

void relay_refuse(relay *session, relay_phase phase, const char *reason)
{
    exchange *taken = &session->taken_over;
    if (taken->message_id != nullptr)
        session->head.message_id = std::move(taken->message_id);
    if (phase == relay_phase_refused)
        session->request_complete = relay_owes_answer(session);
    session->phase = phase;
    session->refusal = reason;
    session->input_from = session->input_to;
    outgoing_drop(&session->to_server);
    frame_reader_discard(&session->request);
}

bool relay_needs_second(const relay *session)
{
    const server_hello *hello = &session->hello;
    return is_open(session) && session->subscribe && !session->deaf && session->first == nullptr &&
           hello->notifications && !hello->interleave;
}

bool relay_awaits_hello(const relay *session)
{
    return session->phase <= relay_phase_hello;
}

bool relay_owes_answer(const relay *session)
{
    return session->request_complete || session->unanswered > 0;
}

const char *relay_advance(relay *session)
{
    if (session->refusal != nullptr)
        return advance_refusal(session);
    bool requests_moved = true;
    bool messages_moved = true;
    while (requests_moved || messages_moved) {
        requests_moved = false;
        messages_moved = false;
        const char *reason = nullptr;
        if (outgoing_idle(&session->to_server))
            reason = advance_requests(session, &requests_moved);
        if (reason == nullptr && has_place(session))
            reason = advance_messages(session, &messages_moved);
        if (reason != nullptr)
            return reason;
    }
    return nullptr;
}

size_t relay_shell_want(const relay *session)
{
    return session->request_complete ? 0 : frame_reader_want(&session->request);
}

size_t relay_held(const relay *session)
{
    return session->request.body.size + session->to_server.body.size +
           session->taken_over.request.size;
}

void relay_no_room(relay *session, size_t size)
{
    if (session->request.discards || session->request.body.size + size <= always_taken)
        return;
    report_shell(session->number, "a request is refused: %s", no_room);
    frame_reader_discard(&session->request);
}

const char *relay_shell_bytes(relay *session, const char *data, size_t size)
{
    const char *reason = frame_reader_feed(&session->request, data, size);
    if (reason != nullptr || frame_reader_want(&session->request) > 0)
        return reason;
    session->head = message_head_read(byte_buffer_view(&session->request.body));
    session->request_complete = true;
    return nullptr;
}

bool relay_server_wanted(const relay *session)
{
    return session->refusal == nullptr && session->input_from == session->input_to &&
           has_place(session);
}

void relay_server_bytes(relay *session, size_t size)
{
    session->input_from = 0;
    session->input_to = size;
    if (is_open(session))
        session->silence = relay_silence_over;
}

const char *relay_server_ended(const relay *session)
{
    if (relay_awaits_hello(session))
        return "the server ended before its hello";
    if (!blank_filter_idle(&session->filter))
        return "the server ended in the middle of a message";
    return nullptr;
}

bool relay_may_nudge(const relay *session)
{
    return is_chunked(session) && session->silence == relay_silence_asked &&
           session->nudges < header_beginning.size() && outgoing_idle(&session->to_server);
}

void relay_nudge(relay *session)
{
    byte_buffer nothing{};
    outgoing_load(&session->to_server, header_beginning.substr(session->nudges, 1), &nothing, "");
    session->nudges++;
}

void relay_keep_alive(relay *session)
{
    if (is_open(session) && outgoing_idle(&session->to_server) &&
        exchange_idle(&session->taken_over) && !relay_owes_answer(session))
        exchange_keep_alive(&session->taken_over);
}

bool relay_requests_done(const relay *session)
{
    return frame_reader_idle(&session->request) && outgoing_idle(&session->to_server) &&
           exchange_idle(&session->taken_over);
}
