// One request and its reply: the order that every command keeps.
//
// A request is begun, filled, sent and answered; nothing of it is held while its
// reply is awaited. Failures of the socket are logged (link/exchange.h); what the
// operator is told of them is the caller's.
#pragma once

#include <string_view>

#include "base/text.h"
#include "format/namespaces.h"
#include "link/exchange.h"

// The first tag of most requests, up to the message id.
constexpr std::string_view rpc_head = "<rpc xmlns=\"" NETCONF_BASE_NAMESPACE "\" message-id=\"";

// Begins the next request in an empty buffer: frame_room (link/exchange.h) and the first
// tag, in which `head` stands before the message id. 0, or -1 when memory runs out; the
// id counts up all the same.
int request_begin(text_buffer *request, std::string_view head = rpc_head);

enum request_result {
    request_answered,   // the reply is there
    request_unsent,     // the request could not be sent
    request_unanswered, // no reply came
};

// Sends a request as msg_send does, which empties it, and waits for the reply.
request_result request_exchange(text_buffer *request, reply_text *reply,
                                frame_ending ending = frame_ends_in_zero);

// Prints a reply below an empty line.
void reply_print(const reply_text &reply);
