// One request and its reply: the order that every command keeps.
//
// A request is begun, filled, sent and answered; nothing of it is held while its
// reply is awaited. Failures of the socket are logged (link/exchange.h); what the
// operator is told of them is the caller's.
#ifndef VANDEL_LINK_REQUEST_H
#define VANDEL_LINK_REQUEST_H

#include <stdint.h>
#include <string_view>

#include "base/text.h"
#include "format/namespaces.h"
#include "link/exchange.h"

// The first tag of most requests, up to the message id.
constexpr std::string_view rpc_head = "<rpc xmlns=\"" NETCONF_BASE_NAMESPACE "\" message-id=\"";

// The first tag of the next request, for which `head` stands before the message id.
// The id counts up also when memory runs out: the result is null then.
heap_text request_head(std::string_view head = rpc_head);

// Begins a request in an empty buffer: frame_room (link/exchange.h) and the first tag.
// 0, or -1 when memory runs out.
int request_begin(text_buffer *request);

enum request_result {
    request_answered,   // the reply is there
    request_unsent,     // the request could not be sent
    request_unanswered, // no reply came
};

// Sends a text as msg_send_text does and waits for the reply.
request_result request_exchange(heap_text request, reply_text *reply);

// The same for a buffer that request_begin began, as msg_send_buffer does; it is
// empty afterwards.
request_result request_exchange(text_buffer *request, reply_text *reply);

// Waits for the reply to what msg_send has sent.
request_result request_answer(reply_text *reply);

// Prints a reply below an empty line.
void reply_print(const reply_text &reply);

#endif
