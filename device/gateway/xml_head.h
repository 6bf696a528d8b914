// What the gateway has to know of the messages it relays.
//
// Only the beginning of a message is looked at, namespaces respected, so the
// cost does not depend on its size.
#pragma once

#include <stddef.h>
#include <string_view>

#include "device/gateway/report.h"
#include "heap.h"

enum message_kind {
    message_other,          // also what cannot be read
    message_create_session, // a shell's private request, answered by the gateway
    message_rpc_reply,
    message_notification,
};

constexpr size_t message_operation_size = 32;

// message_id: zero-terminated text, null when the root element has none.
struct message_head {
    message_kind kind;
    malloc_ptr<char> message_id;
    char operation[message_operation_size]; // of a request: its name, if the protocol's base
                                            // has it and it is no longer; otherwise empty
    bool is_error;                          // a reply whose first child element is an rpc-error
};

// Reads the head of a message. One that cannot be read as far as needed is a message_other.
message_head message_head_read(std::string_view message);

// Whether it is a request for that operation of the protocol's base.
bool message_asks(const message_head *head, std::string_view operation);

// The error-message of an error reply, or else its error-tag, safe to print; empty when there is
// none.
report_text error_text_read(std::string_view reply);

// Whether an element of that name and value is among the errors of an error reply.
bool error_has(std::string_view reply, std::string_view name, std::string_view value);

// Whether an error reply warns only: the operation was carried out.
bool error_is_warning(std::string_view reply);
