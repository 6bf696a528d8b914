// One shell's NETCONF session, without any input or output of its own.
//
// The owner moves bytes: from the shell in, from the server in, to the server
// out, to the shell out; the relay turns the ones into the others. At most one
// message per direction is held. The owner reads from a side only when the
// relay asks for it, so a side that does not read stops the other one.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "device/gateway/adapters/adapter.h"
#include "device/gateway/blank_filter.h"
#include "device/gateway/byte_buffer.h"
#include "device/gateway/extras.h"
#include "device/gateway/frame.h"
#include "device/gateway/framing.h"
#include "device/gateway/hello.h"
#include "device/gateway/outgoing.h"
#include "device/gateway/subscription.h"
#include "device/gateway/xml_head.h"

constexpr size_t relay_input_size = 65536;

// How far a session is. The last three are for a shell that is not served.
enum relay_phase : uint8_t {
    relay_phase_start,       // our hello is to be sent
    relay_phase_hello,       // the server's is awaited
    relay_phase_subscribe,   // the subscription is to be sent
    relay_phase_subscribing, // its answer is awaited, and requests pass
    relay_phase_requests,
    relay_phase_refused,   // the next request is to be answered with the reason
    relay_phase_dismissed, // the reason is to be told without waiting for one
    relay_phase_told,      // that is on its way or out
};

// Whether the server has ever said something after the hellos.
enum relay_silence : uint8_t {
    relay_silence_unasked, // it had no reason to
    relay_silence_asked,   // it was spoken to ...
    relay_silence_over,    // ... and something came back
};

// Value-initialise, then set number, subscribe, wish and extras, and first for a second
// session. A function that returns a reason returns null while all is well; otherwise a static
// text that tells why the session must end, after which only its memory may be released.
struct relay {
    unsigned number;        // the shell's, for the log
    relay *first;           // null, or whose shell gets this one's notifications, and nothing else
    bool hushed;            // the second session's trouble was logged, and is not over
    bool drops;             // that it has dropped a message was logged
    bool subscribe;         // ask for notifications if the server has them ...
    subscription_wish wish; // ... for these
    server_extras extras;   // what else is wanted of the server
    bool deaf;              // the shell is gone: drop what would go to it
    bool notifies;          // what is on its way to the shell, or was last, is a notification
    relay_phase phase;
    relay_silence silence;
    uint8_t nudges;        // bytes of the next chunk header that are out already
    bool request_complete; // request holds a whole frame ...
    message_head head;     // ... with this head
    const char *refusal;   // why no request is served any more; null while they are
    size_t unanswered;     // requests that the server has got and not replied to
    server_hello hello;    // what the server said
    uint16_t sequence;     // of the next frame to the shell
    frame_reader request;
    framing_decoder decoder;
    blank_filter filter;
    byte_buffer message; // what came of the server's current message
    exchange taken_over; // a request that may take several
    subscription_flood flood;
    outgoing to_server;
    outgoing to_shell;
    size_t input_from;
    size_t input_to;
    char input[relay_input_size]; // bytes of the server, from..to not yet decoded
};

// Moves everything as far as it goes without new bytes; call at the beginning
// and after each change of what is incoming or outgoing. Returns a reason.
const char *relay_advance(relay *session);

// From now on there is no server, for that reason, a static text, and nothing more is taken.
// Phase relay_phase_refused: the request that waits for its answer, or else the next one that is
// complete, is answered with an error that gives the reason. Phase relay_phase_dismissed: it is
// told at once, as a notification. Call relay_advance() after it.
void relay_refuse(relay *session, relay_phase phase, const char *reason);

// Whether notifications need a second session, because the server serves no requests on one that
// has them.
bool relay_needs_second(const relay *session);

// Whether the server's hello has not come, and may still come.
bool relay_awaits_hello(const relay *session);

// True while the shell waits for an answer, as far as the gateway knows.
bool relay_owes_answer(const relay *session);

// How many bytes of the shell the relay takes now; 0: none.
size_t relay_shell_want(const relay *session);

// How many bytes of requests the relay holds, sent in part or not at all.
size_t relay_held(const relay *session);

// Tells that there is no room for size more bytes of the current request. If it
// is a large one, what is held of it is released, it is read to its end, and is
// answered with an error.
void relay_no_room(relay *session, size_t size);

// Takes bytes of the shell, no more than wanted. Returns a reason.
const char *relay_shell_bytes(relay *session, const char *data, size_t size);

// Whether the relay takes bytes of the server now: they are to be put into
// input, from its beginning.
bool relay_server_wanted(const relay *session);

// Tells that size bytes were put there.
void relay_server_bytes(relay *session, size_t size);

// The server sends no more and all that it sent was advanced. Returns what is
// missing, or null when it ended between two messages.
const char *relay_server_ended(const relay *session);

// True while the server has said nothing since the hellos although it was
// spoken to, and can be nudged.
bool relay_may_nudge(const relay *session);

// Sends one byte of the next message ahead of it. Some servers (netconfd for
// one) leave what they read together with the hello lying until more arrives;
// the chunk header that comes next always begins with "\n#", so these two bytes
// may go early without changing what is said.
void relay_nudge(relay *session);

// Has something asked of the server, unless something is asked already. Call relay_advance() after
// it.
void relay_keep_alive(relay *session);

// Whether no request is on its way and none has begun.
bool relay_requests_done(const relay *session);
