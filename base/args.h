// Argument vectors: a command line split into words at blanks.
//
// Text between quotes stays one word: while a line is split, the characters
// that would cut it or be taken for a list-key predicate stand as codes (one
// byte each), and the handler turns them back on the words that it uses:
//
//     blank 3    [ 11    ] 12    = 13    , 14
#pragma once

struct args {
    char **argv;  // owned words; the slot after the last word holds null
    int argc;     // number of words
    int capacity; // number of slots in argv
};

// Sets all fields to zero; null is ignored.
void args_init(args *vector);

// Formats a text and appends its words. When it fails the vector is emptied
// and the reason is on standard error.
void addargs(args *vector, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Wipes and frees every word, frees the array, and initialises the vector.
void args_free(args *vector);

// Makes room for one more word and its terminating null; 0 or -1.
int args_grow(args *vector);

// Puts the codes in place of the protected characters inside each quoted
// region; an unclosed quote ends the scan. Doing it twice changes nothing.
void args_protect(char *text);

// Puts the codes in place of the protected characters of a span.
void args_protect_span(char *from, const char *to);

// Turns every code back into its character; null is ignored.
void args_restore(char *text);

// A vector of the words of line that frees itself at the end of its scope.
struct arg_words : args {
    explicit arg_words(const char *line);
    ~arg_words();
    arg_words(const arg_words &) = delete;
    arg_words &operator=(const arg_words &) = delete;
};
