// Has a module include all its submodules itself.
#pragma once

#include "device/schemac/source_index.h"

// Changes the texts of a module and its submodules, so that the module includes
// each of them and none includes another. All stays in the line where it was.
// What cannot be found is left to the compiler to report, and so are submodules
// that a module of YANG 1.1 fails to include.
void includes_lift(source_index *index, yang_source *module);
