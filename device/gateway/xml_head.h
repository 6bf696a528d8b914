// What the gateway has to know of the messages it relays.
//
// Only the beginning of a message is looked at, namespaces respected, so the
// cost does not depend on its size.
#pragma once

#include <stddef.h>
#include <string_view>

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

// Reads the head of a message of size bytes (no zero byte needed after it).
// A message that cannot be read as far as needed is a message_other.
message_head message_head_read(const char *text, size_t size);

// Copies the error-message of an error reply, or else its error-tag, into dest
// as zero-terminated text, cut to fit; the empty text when there is none.
void error_text_read(const char *text, size_t size, char *dest, size_t dest_size);

// Whether an error of that tag is among those of an error reply.
bool error_tag_is(const char *text, size_t size, const char *tag);

// Whether an error reply warns only: the operation was carried out.
bool error_is_warning(std::string_view reply);
