#include "device/gateway/last_words.h"

namespace
{

bool ends_line(char byte)
{
    return byte == '\n' || byte == '\r';
}

void add_byte(last_words *words, char byte)
{
    if (ends_line(byte)) {
        words->is_ended = true;
        return;
    }
    if (words->is_ended) {
        words->is_ended = false;
        words->size = 0;
    }
    if (words->size < last_words_size - 1)
        words->text[words->size++] = byte;
    words->text[words->size] = '\0';
}

} // namespace

void last_words_add(last_words *words, std::string_view piece)
{
    for (const char byte : piece)
        add_byte(words, byte);
}
