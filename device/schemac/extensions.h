// Keeps libyang from what it cannot do with extensions.
#pragma once

#include "device/schemac/locate.h"

// Changes the text of a module or submodule so that libyang finds definitions in its
// submodules, and meets no instance where it would crash. Nothing that is stored
// changes, and all stays in the line where it was. Once for each text is enough.
void extensions_adapt(yang_source *source);

// Finds the instance that an error of libyang speaks of, for which it tells no line:
// among the parts of the module that current belongs to, then elsewhere. The source
// is null where the error is of another kind.
error_place extensions_locate(const source_index *index, const yang_source *current,
                              const char *message);
