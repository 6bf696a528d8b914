// Bounds-checked string and memory functions of the platform.
//
// Conventions: the size of a destination counts its terminating zero byte. A
// function that returns int returns 0 (sprintf_s: the number of characters
// written) for success and a negative value for failure; it never writes past
// the given size. What does not fit is a failure, never a cut: the destination
// of a failed string function is the empty string (where its size is not 0). A
// null pointer is a failure. There is no upper limit on any size.
#ifndef VANDEL_PLATFORM_BOUNDED_H
#define VANDEL_PLATFORM_BOUNDED_H

#include <stdarg.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Formats into dest; returns the number of characters written without the
// terminating zero, or -1 (the text does not fit, or the format fails).
int sprintf_s(char *dest, size_t size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
int vsprintf_s(char *dest, size_t size, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

// Copies the text src with its terminating zero.
int strcpy_s(char *dest, size_t size, const char *src);

// Copies at most count characters of src and terminates the copy.
int strncpy_s(char *dest, size_t size, const char *src, size_t count);

// Appends the text src to the text in dest; a dest that holds no terminating
// zero within size is a failure.
int strcat_s(char *dest, size_t size, const char *src);

// Copies count bytes; the regions must not overlap. Nothing is copied when
// count is greater than size.
int memcpy_s(void *dest, size_t size, const void *src, size_t count);

// Sets count bytes to value; a call that the compiler cannot remove, so that
// it also serves to wipe secrets. Nothing is set when count is greater than
// size.
int memset_s(void *dest, size_t size, int value, size_t count);

// Splits text (null: goes on where *context stands) at any byte of delimiters;
// returns the next word, which it terminates in place, or null.
char *strtok_s(char *text, const char *delimiters, char **context);

#ifdef __cplusplus
}
#endif

#endif
