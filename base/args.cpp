#include "base/args.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/text.h"
#include "bounded.h"

namespace
{

// Says why memory ran out, after what was printed before.
void complain(const char *what)
{
    const int cause = errno;
    fflush(stdout);
    errno = cause;
    perror(what);
}

constexpr int slots_per_step = 8; // a power of two

struct protected_character {
    char character;
    char code;
};

constexpr protected_character protected_characters[] = {
    {' ', 3}, {'[', 11}, {']', 12}, {'=', 13}, {',', 14},
};

int append_word(args *vector, const char *word)
{
    if (args_grow(vector) != 0)
        return -1;
    const size_t size = strlen(word) + 1;
    char *copy = static_cast<char *>(malloc(size));
    if (copy == nullptr) {
        complain("Fatal error while allocating memory");
        return -1;
    }
    strcpy_s(copy, size, word);
    vector->argv[vector->argc] = copy;
    vector->argc++;
    vector->argv[vector->argc] = nullptr;
    return 0;
}

// The block of a vector has room for the next power of two of steps, so that words
// are added in linear time while the capacity grows step by step.
bool fills_block(int capacity)
{
    return (capacity & (capacity - 1)) == 0;
}

// Makes the block, which is full, twice as large; 0 or -1.
int double_block(args *vector)
{
    const size_t count = static_cast<size_t>(vector->capacity);
    // Not mem_grow: it gives the old array up when it fails, and the words with it.
    char **grown = static_cast<char **>(calloc(2 * count, sizeof(char *)));
    if (grown == nullptr)
        return -1;
    memcpy_s(grown, count * sizeof(char *), vector->argv, count * sizeof(char *));
    free(vector->argv);
    vector->argv = grown;
    return 0;
}

// What the format makes of the arguments; no block, with errno set, when there is no
// room for it. This does what vasprintf does, which leaves what it formats in blocks
// that it frees, and what the operator types may be a password. A line as it stands is
// only copied.
secret_block format_line(const char *format, va_list arguments)
{
    if (strcmp(format, "%s") == 0) {
        const std::string_view line = va_arg(arguments, const char *);
        return {text_copy(line).release(), line.size() + 1};
    }
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0)
        return {nullptr, 0};
    const size_t size = static_cast<size_t>(length) + 1;
    char *line = static_cast<char *>(calloc(1, size));
    if (line != nullptr)
        vsnprintf(line, size, format, arguments);
    return {line, size};
}

void split_line(args *vector, char *line)
{
    char *rest = nullptr;
    for (char *word = strtok_s(line, " ", &rest); word != nullptr;
         word = strtok_s(nullptr, " ", &rest)) {
        if (append_word(vector, word) != 0) {
            args_free(vector);
            return;
        }
    }
}

} // namespace

void args_init(args *vector)
{
    if (vector != nullptr)
        *vector = args{};
}

void addargs(args *vector, const char *format, ...)
{
    if (vector == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    const secret_block line = format_line(format, arguments);
    va_end(arguments);
    if (line.data == nullptr) {
        complain("addargs - vasprintf");
        vector->argc = 0;
        return;
    }
    char *text = line.data;
    for (char *at = strpbrk(text, "\n\t"); at != nullptr; at = strpbrk(at, "\n\t"))
        *at = ' ';
    args_protect(text);
    split_line(vector, text);
}

void args_free(args *vector)
{
    if (vector == nullptr)
        return;
    if (vector->argv != nullptr) {
        for (int i = 0; i < vector->argc; i++)
            text_free(vector->argv[i]);
        free(vector->argv);
    }
    args_init(vector);
}

int args_grow(args *vector)
{
    if (vector->argv == nullptr) {
        vector->argv = static_cast<char **>(calloc(slots_per_step, sizeof(char *)));
        if (vector->argv == nullptr) {
            complain("Fatal error while allocating memory");
            return -1;
        }
        vector->capacity = slots_per_step;
        vector->argc = 0;
        return 0;
    }
    if (vector->argc + 2 < vector->capacity)
        return 0;
    if (fills_block(vector->capacity) && double_block(vector) != 0)
        return -1;
    vector->capacity += slots_per_step;
    return 0;
}

void args_protect(char *text)
{
    for (char *open = strpbrk(text, "\"'"); open != nullptr; open = strpbrk(open, "\"'")) {
        char *close = strchr(open + 1, *open);
        if (close == nullptr)
            return;
        args_protect_span(open + 1, close);
        open = close + 1;
    }
}

void args_protect_span(char *from, const char *to)
{
    for (; from < to; from++) {
        for (const protected_character &entry : protected_characters) {
            if (*from == entry.character) {
                *from = entry.code;
                break;
            }
        }
    }
}

void args_restore(char *text)
{
    if (text == nullptr)
        return;
    for (char *at = text; *at != '\0'; at++) {
        for (const protected_character &entry : protected_characters) {
            if (*at == entry.code) {
                *at = entry.character;
                break;
            }
        }
    }
}

arg_words::arg_words(const char *line) : args{}
{
    addargs(this, "%s", line);
}

arg_words::~arg_words()
{
    args_free(this);
}
