// A copy to running that the server may refuse, as an exchange of its own.
//
// The copy goes to the server as it is. When the answer is that the operation is
// not supported, the gateway reads what it needs, sends an edit-config in the
// copy's place (running_edit.h), and reads running again: the answer to the edit
// is the answer to the copy when running is now what was to be copied. If it is
// not, another edit is made of what is there now, and a third. The shell gets
//
// - the server's refusal, if anything fails before the first edit;
// - the server's error, if it refuses that edit: nothing has changed then;
// - an error of the gateway's own, if running has changed and is not known to be
//   the source at the end. So nobody takes it for restored.
//
// Another session that edits running meanwhile is seen in the same way.
#ifndef VANDEL_GATEWAY_COPY_EXCHANGE_H
#define VANDEL_GATEWAY_COPY_EXCHANGE_H

#include <memory>
#include <stdint.h>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/xml_head.h"

// All zero: idle. While it is not idle, no other request may be sent.
struct copy_exchange {
    uint8_t step;
    uint8_t edits;               // that the server has taken
    malloc_ptr<char> message_id; // the shell's
    byte_buffer request;         // the copy; where it is kept once it is sent
    byte_buffer refusal;         // the server's answer to it
    byte_buffer startup;         // the reply that holds startup, when that is the source
    byte_buffer edit;
    byte_buffer answer; // to the first edit
};

// True when no exchange is going on.
bool copy_exchange_idle(const copy_exchange *exchange);

// Begins with a request that is about to be sent, if it is a copy to running;
// when the exchange is not idle afterwards, the owner has to put the request
// into its field as soon as it is sent.
void copy_exchange_begin(copy_exchange *exchange, const byte_buffer *request);

// Takes a complete message of the server, of which head was read, while an
// exchange is going on. True: the message, which may have become another one, is
// to be passed to the shell. False: there is nothing to pass.
bool copy_exchange_take(copy_exchange *exchange, unsigned shell, const message_head *head,
                        byte_buffer *message);

// The next request of the exchange, if there is one to send now; the server must
// have got the last one. False: there is none. request stays empty when there is
// no memory for it.
bool copy_exchange_next(copy_exchange *exchange, byte_buffer *request);

#endif
