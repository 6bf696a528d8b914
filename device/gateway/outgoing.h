// One message on its way out: what frames it, its body, and how far it is sent.
//
// The parts stay apart so that framing a long body does not copy it.
#pragma once

#include <stddef.h>
#include <sys/uio.h>

#include "device/gateway/byte_buffer.h"

constexpr size_t outgoing_edge_size = 16;
constexpr int outgoing_part_count = 3;

// All zero: nothing to send. Owns the body.
struct outgoing {
    struct iovec parts[outgoing_part_count]; // what is left of head, body and tail
    char head[outgoing_edge_size];
    byte_buffer body;
    byte_buffer *keep; // gets the body when all is sent; null: it is released
    char tail[outgoing_edge_size];
};

// Loads a message into an idle record; body becomes empty. The edges are at
// most outgoing_edge_size bytes long.
void outgoing_load(outgoing *message, std::string_view head, byte_buffer *body,
                   std::string_view tail);

// Whether nothing is left to send.
bool outgoing_idle(const outgoing *message);

// Counts size more bytes as sent (no more than are left); the body is released,
// or kept where the owner has set keep after loading it, when the last one is.
void outgoing_advance(outgoing *message, size_t size);

// Forgets what is left to send.
void outgoing_drop(outgoing *message);
