// Requests and replies over the daemon's socket (frames: format/frame.h).
//
// The order of a request is fixed: msg_send; if that returned 0,
// msg_wait_reply; if that returned 0, use the reply and free it. Between the
// two the caller holds the exchange lock, so that the listener cannot read the
// reply. Failures are logged; those of the lock are printed.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string_view>

#include "base/text.h"
#include "format/frame.h"

// What a body begins with while it is written in the place of its frame: the
// header overwrites it. It holds no zero byte, so that the text is one text.
constexpr std::string_view frame_room = "(the header)";
static_assert(frame_room.size() == frame_header_size);

// The body of a frame: `length` bytes, zero-terminated; null for none.
struct reply_text {
    malloc_ptr<char> text;
    uint32_t length = 0;
    bool is_plain = false; // known to be (link/xml_plain.h)
    bool is_known = false; // the same as the one before it
    malloc_ptr<char> room; // for the next one, in place of a block of its own
    size_t room_size = 0;
};

// Whether the zero byte after a text travels with it.
enum frame_ending {
    frame_ends_in_zero,
    frame_ends_in_text,
};

// Sends a text as one frame, from where it is: it begins with frame_room, which the
// header takes the place of. 0 or -1; a text too long for a frame is refused. The buffer
// is empty and wiped afterwards, sent or not: nothing of a request is held while its
// reply is awaited. On 0 the exchange lock is held, except that a session without a
// connected socket sends nothing, takes no lock and still returns 0.
int msg_send(text_buffer *text, frame_ending ending = frame_ends_in_zero);

// Reads one frame, into *message's room if it fits. 0, or -1 without a body. Takes no lock.
int msg_recv(reply_text *message);

// Reads frames until one is not a notification, printing the notifications,
// and gives the lock back in every case. Results as msg_recv; looks whether the reply
// is plain, which nobody needs to do again. It is known when *reply held a plain one of
// which it differs in the digits of the message id at most: so it is plain, too, and has
// the block of that one as its room.
int msg_wait_reply(reply_text *reply);
