// Standard descriptors that a caller left closed.
#pragma once

// Opens each standard descriptor from `first` on that is closed, on /dev/null, so
// that nothing which is opened later gets its number, and with it what is printed.
// Those before `first` stay as they are. 0, or -1 with errno set.
int standard_descriptors_open(int first);
