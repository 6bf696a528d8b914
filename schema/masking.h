// Masking: bytes that stand for path punctuation inside values.
//
// Two sets, each one byte for one byte, so that masking never moves text:
//
//     inside quotes          blank 3   [ 11   ] 12   = 13   , 14   (base/args.h)
//     inside key predicates  /  1      :  2
//
// The workspace, the prompt, the profile and all output hold plain text; every
// algorithm that cuts at one of these characters works on masked text. Masking
// masked text changes nothing.
#pragma once

#include "base/text.h"

// Puts both sets of codes into a path.
void mask_path(char *path);

// Masks "/" and ":" inside each predicate value of a path: from its "=" to
// the next "," or "]"; a value without such an end is left alone.
void mask_keys(char *path);

// Turns the bytes 1 and 2 back into "/" and ":".
void unmask_keys(char *text);

// Turns every code of both sets back.
void unmask_all(char *text);

// A masked, or a wholly unmasked copy of text; null for null or when memory
// runs out.
heap_text masked_copy(const char *path);
heap_text unmasked_copy(const char *text);

// A masked text as messages show it: unmasked, empty for null and when memory
// runs out.
struct shown_text {
    explicit shown_text(const char *masked);

    const char *get() const
    {
        return text ? text.get() : "";
    }

  private:
    heap_text text;
};

// A key value read from the server, quoted where it holds a character that
// would cut a path, and masked; null when memory runs out.
heap_text quote_value(const char *value);

// Masks the blanks inside the quoted sections of a command line.
void mask_quoted_blanks(char *line);

// Makes a masked value, in place, what is written to the server: codes of both sets
// restored, then each quoted section that holds a blank, "[", "]", "=" or "," without
// its quotes.
void make_plain(char *masked);
