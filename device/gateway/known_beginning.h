// How a message begins that libxml2 has read, up to where all was known that was asked of it. What
// it said then holds for each message that begins in the same bytes, but for the digits of its id:
// most of a session's do, and reading one again takes longer than all else that is done to it.
#pragma once

#include <stddef.h>
#include <string_view>

// All zero: nothing is known.
struct known_beginning {
    char bytes[512];
    size_t size;
    size_t id_from; // where the root's message-id stands ...
    size_t id_size; // ... if it has one
};

// Notes a beginning of well-formed XML that holds the root's start tag. One that is long, or with
// an id that is no number, makes nothing known.
void known_beginning_keep(known_beginning *known, std::string_view beginning);

// Whether a text begins so. Its id, if it has one, is as long and stands where the known one does.
bool known_beginning_is(const known_beginning *known, std::string_view text);
