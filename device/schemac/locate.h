// Finds the line that an error of the YANG compiler speaks of.
#pragma once

#include "device/schemac/source_index.h"

struct error_place {
    const yang_source *source;
    unsigned line;
};

// Path is where libyang saw the error: "Line number N.", which counts in the
// source that was being parsed (current), or a schema path such as
// /module:node/{uses='group'}/node, possibly within a sentence; it may be null.
// Searches the sources that were used. The place is the statement itself, or
// the innermost one around it that can be told; without any hint it is the
// first statement of current. Current may be null; so may then the source.
error_place locate_error(const source_index *index, const yang_source *current, const char *path);
