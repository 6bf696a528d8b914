// A shell's copy-config: what the server may not understand in it.
//
// A shell asks for two things that servers refuse. It gives a copy-config an
// error-option, which the protocol knows for edit-config only: that element is
// dropped. And it copies a configuration, or the startup datastore, to running:
// a server may announce a writable running datastore and support no copy to it
// all the same (netconfd is one). Then an edit takes the copy's place
// (running_edit.h), if the copy is one that can be told as an edit: with nothing
// in it but a target and a source, and no attributes on its source.
#ifndef VANDEL_GATEWAY_COPY_REQUEST_H
#define VANDEL_GATEWAY_COPY_REQUEST_H

#include <string_view>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/configuration.h"

// The parts of a copy-config to running.
struct running_copy {
    bool from_startup; // the source is the startup datastore; else config is
    xml_element copy;  // its namespace is known to be the base one, and not kept
    size_t copy_end;   // after copy's end tag
};

// Drops every error-option, up to 16 of them, from a copy-config; what cannot be read as one
// stays as it is. No byte is moved twice.
void copy_request_clean(byte_buffer *request);

// True when the request is a copy-config to running from a configuration of its
// own or from startup.
bool running_copy_read(std::string_view request, running_copy *copy);

// The same, and reads the configuration that is copied, if it is not startup. Null on success;
// otherwise what is in the way, a static text.
const char *running_copy_read_all(std::string_view request, running_copy *copy,
                                  configuration *config);

#endif
