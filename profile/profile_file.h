// The bytes of the profile file.
#pragma once

#include <fcntl.h>
#include <limits>
#include <string_view>
#include <sys/types.h>

#include "base/text.h"
#include "descriptor.h"

constexpr off_t profile_end = std::numeric_limits<off_t>::max(); // where its last byte is passed
constexpr char profile_name[] = "/tmp/vandel.conf";

// Opens the profile with access O_RDONLY, O_RDWR or O_WRONLY, O_CREAT added to
// create it. Returns a descriptor of a regular file, or -1 with errno set: also
// for a symbolic link, another user's file, a file with a second name, and one that
// its group or others may write, in whose place O_CREAT puts a new one. What it is
// that is not taken for the profile is logged once in a process.
int profile_open(int access);

// Looks for a text from an offset on, without memory for the file: 1 and where it
// stands first, 0 when it is not there, -1 when the file cannot be read.
int profile_find(int fd, std::string_view text, off_t from, off_t *at);

// Appends what stands from one offset to another, as far as the file reaches; 0 or -1.
int profile_read(int fd, off_t from, off_t to, text_buffer *content);

// Writes all of a text at an offset; 0 or -1. What lies beyond the file's end
// goes first: when there is no room for it, the file stays as it was. So it does
// when the limit on the size of files stands against any of it.
int profile_write(int fd, std::string_view text, off_t offset);
