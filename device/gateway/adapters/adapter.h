// What a server cannot do, or does in another way, and what is done about it.
//
// Each request of a shell is offered to the adapters that apply to the server, in the order
// of the table in adapters.cpp. An adapter
//
// - leaves it, when its head says that it is of no interest. Only heads are read until an
//   adapter wants more: a body of 100 MB that none wants is neither read nor copied;
// - rewrites it, and the next adapter sees what it has become;
// - takes it over: it asks the server what it likes, one request after the other, gets the
//   answer to each, and gives the shell one answer in the end. No other request goes
//   out meanwhile, and no other adapter sees the request. Messages that answer something else
//   pass.
//
// It may also write anew a message of the server that is on its way to the shell. What it does is
// said once in the log of a session: when the hello is read, or when it is first done.
//
// A new one is a file in this folder with an `adapter` record, declared at the end of this
// header and put into the table, those that rewrite before those that take over; and a
// unit test that runs it in a relay (tests/unit/gateway_copy_to_running_test.cpp is an
// example). What it has to know of the server is a field of server_hello (hello.h). It reads
// a request with xml_walk.h, and says in the manual page what it changes.
#pragma once

#include <stdint.h>
#include <string_view>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/hello.h"
#include "device/gateway/xml_head.h"

struct adapter;

// A request that an adapter has taken over. All zero: there is none.
struct exchange {
    const adapter *owner;
    unsigned shell;              // its number, for the log
    uint16_t told;               // which adapters have said what they do: bits by their places
    const server_hello *server;  // what it said
    server_modules *learned;     // what it is asked to tell
    malloc_ptr<char> message_id; // of the shell's request, which has one
    const char *awaited;         // the id that an answer has; null: message_id
    byte_buffer next;            // what is to be sent now ...
    bool asks;                   // ... if there is something
    bool keeps_next;             // it comes back when it is sent ...
    byte_buffer request;         // ... in here
    // The adapter's own:
    uint8_t step;
    uint8_t rounds;
    byte_buffer refusal; // what the server has answered to the shell's request
    byte_buffer source;  // what was read to work with
    byte_buffer answer;  // what the shell is to get if all goes well
};

enum adapter_verdict {
    adapter_leaves,   // the request goes on as it is, or as the log need not tell
    adapter_rewrites, // the request goes on as it has become
    adapter_takes,    // what is to be sent first was told with exchange_ask...()
};

enum adapter_outcome {
    adapter_asks, // another request was told with exchange_ask...(), or no memory is left for it
    adapter_ends, // the message, whatever it has become, is the answer to the shell
};

struct adapter {
    // True for the servers that need it, or of which it is wanted. Null: all do.
    bool (*applies)(const server_hello *hello) = nullptr;
    // What is logged of it when it applies, a static text or null: nothing. Null: never anything.
    const char *(*notice)(const server_hello *hello) = nullptr;
    // What is logged, when nothing was then, when it first rewrites or takes over something. Null:
    // nothing.
    const char *first = nullptr;
    // Sees a request. It may take over one that has a message id. Null: none is of interest.
    adapter_verdict (*request)(exchange *exchange, const message_head *head,
                               byte_buffer *request) = nullptr;
    // Sees the answer to what it has asked. Null: it never takes over.
    adapter_outcome (*reply)(exchange *exchange, const message_head *head,
                             byte_buffer *message) = nullptr;
    // Sees a message that the shell will get. True: it has written it anew, or emptied it. Null:
    // none is of interest.
    bool (*message)(const server_hello *hello, const message_head *head,
                    byte_buffer *message) = nullptr;
};

// Logs which adapters a server needs that is known now.
void adapters_report(exchange *exchange, const server_hello *hello);

// Asks the server next: an operation, which is XML, in a request with that id, a static text or
// the shell's message id.
void exchange_ask(exchange *exchange, const char *id, std::string_view operation);

// The same with a request that has the shell's message id; it becomes empty. keeps: it comes back
// into exchange->request when it is sent.
void exchange_ask_body(exchange *exchange, byte_buffer *request, bool keeps);

// Begins an exchange of the gateway's own, while there is none.
void exchange_keep_alive(exchange *exchange);

// The same, to learn the server's modules.
void exchange_read_library(exchange *exchange, server_hello *hello);

// Whether no request is taken over.
bool exchange_idle(const exchange *exchange);

// Offers a request, of which head was read, to the adapters that apply. Afterwards it is to be
// sent, or exchange is not idle; then head has given up its message id.
void adapters_offer(exchange *exchange, const server_hello *hello, message_head *head,
                    byte_buffer *request);

// Takes a complete message of the server, of which head was read, while a request is
// taken over. True: the message, which may have become another one, is to be passed to the
// shell, unless it is empty. False: there is nothing to pass.
bool adapters_take(exchange *exchange, const message_head *head, byte_buffer *message);

// Shows a message that is to be passed to the shell, unless it is empty afterwards, and of which
// head was read, to the adapters that apply.
void adapters_pass(exchange *exchange, const server_hello *hello, const message_head *head,
                   byte_buffer *message);

// The element with which a request asks for defaults as they are wanted; empty: there is none, or
// the server does not know it.
const char *defaults_asked(const server_hello *hello);

extern const adapter copy_option_adapter;
extern const adapter edit_option_adapter;
extern const adapter empty_element_adapter;
extern const adapter module_prefixes_adapter;
extern const adapter with_defaults_adapter;
extern const adapter plain_data_adapter;
extern const adapter candidate_adapter;
extern const adapter unconfirmed_adapter;
extern const adapter lock_adapter;
extern const adapter copy_to_running_adapter;
extern const adapter startup_adapter;
extern const adapter session_start_adapter;
