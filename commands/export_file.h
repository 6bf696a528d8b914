// The file that export-config writes.
//
// The directory may be one that others write, too: what stands at the path can
// change between any two looks at it. So nothing is followed, a file is made
// only under a name that is free, and one that is there is looked at once it is
// open and before it is changed.
#pragma once

#include <string_view>

// Makes sure that the path can be written, and removes the file or the symbolic
// link that stands there, as far as it can be removed. 0, or -1 with a message,
// and then the path is as it was.
int export_file_clear(const char *path);

// Writes a whole file, in place of a regular file with this one name that has
// come there meanwhile or could not be removed. 0 or -1 (logged), and then
// nothing of the text is left.
int export_file_write(const char *path, std::string_view text);
