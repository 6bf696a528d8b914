// What the gateway itself says, most of it to a shell. Each appends to out: 0, or -1: out of
// memory.
#pragma once

#include <stdint.h>
#include <string_view>
#include <time.h>

#include "device/gateway/byte_buffer.h"

// A text or an attribute value, in which nothing is markup.
int escaped_write(std::string_view value, byte_buffer *out);

// The answer to a create-session request, with that request's message id (null: none).
int session_reply_write(const char *message_id, uint32_t session_id, byte_buffer *out);

// A reply that says that the operation with that message id is done.
int ok_reply_write(const char *message_id, byte_buffer *out);

// A reply that says that the operation with that message id (null: none) failed; message
// is escaped.
int failure_reply_write(const char *message_id, const char *message, byte_buffer *out);

// A request with that message id, to the server; operation is XML.
int request_write(const char *message_id, std::string_view operation, byte_buffer *out);

// An attribute with a blank in front; its name is what both make together.
int attribute_write(std::string_view prefix, std::string_view name, std::string_view value,
                    byte_buffer *out);

// A notification that the session was closed at that time. reason is a short text in which
// XML needs no references.
int closed_notice_write(const char *reason, time_t when, byte_buffer *out);
