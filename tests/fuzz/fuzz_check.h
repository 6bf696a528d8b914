// Promises that no sanitizer watches over.
//
// A target states them; one that is broken ends the process, which is how a
// finding is told from a run that went well.
#pragma once

#include <stdio.h>
#include <stdlib.h>
#include <string>

inline void fuzz_require(bool holds, const char *promise)
{
    if (!holds) {
        fprintf(stderr, "broken promise: %s\n", promise);
        abort();
    }
}

// Bytes as they can be read in a report.
inline std::string fuzz_shown(const std::string &bytes)
{
    std::string text;
    for (const char byte : bytes) {
        char piece[8];
        const bool plain = byte >= ' ' && byte <= '~' && byte != '\\';
        snprintf(piece, sizeof piece, plain ? "%c" : "\\x%02x", static_cast<unsigned char>(byte));
        text += piece;
    }
    return text;
}

inline void fuzz_require_equal(const std::string &got, const std::string &wanted,
                               const char *promise)
{
    if (got != wanted) {
        fprintf(stderr, "got    \"%s\"\nwanted \"%s\"\n", fuzz_shown(got).c_str(),
                fuzz_shown(wanted).c_str());
    }
    fuzz_require(got == wanted, promise);
}
