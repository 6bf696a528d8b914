/* A shell's copy-config, put in words that the server understands.
 *
 * A shell asks for two things that servers refuse. It gives a copy-config an
 * error-option, which the protocol knows for edit-config only: that element is
 * dropped. And it copies a configuration, or the startup datastore, to running:
 * a server may announce a writable running datastore and support no copy to it
 * all the same (netconfd is one). Then the same comes of an edit-config with the
 * default operation replace, which replaces each node at the top of the
 * configuration, and removes those nodes at the top of running that the
 * configuration lacks, for what an edit does not name it leaves alone.
 *
 * What no such edit is made of: a copy with anything else in it than a target
 * and a source, or with attributes on its source; a configuration or a running
 * datastore with a list of several entries at its top (which ones to remove
 * could only be told by the list's keys). */
#ifndef VANDEL_GATEWAY_COPY_REQUEST_H
#define VANDEL_GATEWAY_COPY_REQUEST_H

#include <string_view>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/xml_scan.h"

/* A copy-config to running and its parts. The elements point to one another: it
 * is filled where it stands and not copied. */
struct running_copy {
    bool from_startup; /* the source is the startup datastore; else config is */
    xml_element rpc;
    xml_element copy;
    xml_element source;
    xml_element config;
    size_t config_end; /* where config's content ends */
    size_t copy_end;   /* behind copy's end tag */
};

/* Drops every error-option from a copy-config; what cannot be read as one stays
 * as it is. No byte is moved twice. */
void copy_request_clean(byte_buffer *request);

/* True when the request is a copy-config to running from a configuration of its
 * own or from startup. */
bool running_copy_read(std::string_view request, running_copy *copy);

/* Writes the edit-config that does what the copy-config would do, with its
 * message id. The replies are those to a get-config of startup (empty unless
 * the copy is from startup) and of running. Null on success; otherwise what is
 * in the way, a static text. */
const char *running_copy_to_edit(std::string_view request, std::string_view startup_reply,
                                 std::string_view running_reply, byte_buffer *edit);

#endif
