// A libredisapi.so as another device may have it: there is no redis. The schema is
// a file, /tmp/schema.flat, with a line for each field: the hash, the field and the
// record in hexadecimal digits, with a tab between them. The file is read through
// at each call. A call of another thread than the main one ends the shell.
#include "redisapi.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string_view>
#include <unistd.h>

namespace
{

constexpr int schema_number = 4;

// The connection, which the shell takes for another kind of record: it looks at
// nothing in it.
struct flat_file {
    FILE *stream;
    char *line; // of getline
    size_t room;
    int database;
};

struct flat_field {
    std::string_view hash;
    std::string_view name;
    std::string_view digits;
};

flat_file *file_of(redisContext *connection)
{
    if (gettid() != getpid())
        abort();
    return reinterpret_cast<flat_file *>(connection);
}

// Everything up to the next tab, or the line's end, which is cut off the rest.
std::string_view next_part(std::string_view *rest)
{
    const size_t end = rest->find_first_of("\t\n");
    const std::string_view part(rest->data(), end != std::string_view::npos ? end : rest->size());
    rest->remove_prefix(end != std::string_view::npos ? end + 1 : rest->size());
    return part;
}

// The next field of any hash; false at the end of the file.
bool read_field(flat_file *file, flat_field *field)
{
    const ssize_t length = getline(&file->line, &file->room, file->stream);
    if (length < 0)
        return false;
    std::string_view rest(file->line, static_cast<size_t>(length));
    field->hash = next_part(&rest);
    field->name = next_part(&rest);
    field->digits = next_part(&rest);
    return true;
}

// A string of `length` bytes and a zero byte after them; null without memory.
redisReply *string_reply(size_t length)
{
    auto *reply = static_cast<redisReply *>(calloc(1, sizeof(redisReply)));
    if (reply == nullptr)
        return nullptr;
    reply->type = REDIS_REPLY_STRING;
    reply->len = length;
    reply->str = static_cast<char *>(calloc(length + 1, 1));
    if (reply->str == nullptr) {
        free(reply);
        return nullptr;
    }
    return reply;
}

redisReply *text_reply(std::string_view text)
{
    redisReply *reply = string_reply(text.size());
    if (reply != nullptr)
        memcpy(reply->str, text.data(), text.size());
    return reply;
}

unsigned digit_value(char digit)
{
    return static_cast<unsigned>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
}

redisReply *record_reply(std::string_view digits)
{
    redisReply *reply = string_reply(digits.size() / 2);
    for (size_t i = 0; reply != nullptr && i < digits.size() / 2; i++)
        reply->str[i] =
            static_cast<char>(digit_value(digits[2 * i]) << 4 | digit_value(digits[2 * i + 1]));
    return reply;
}

// Adds an element, which becomes the reply's; 0, or -1 without memory.
int add_element(redisReply *reply, redisReply *element)
{
    auto **grown = static_cast<redisReply **>(
        realloc(reply->element, (reply->elements + 1) * sizeof *reply->element));
    if (grown != nullptr)
        reply->element = grown;
    if (grown == nullptr || element == nullptr) {
        redis_freereply(element);
        return -1;
    }
    reply->element[reply->elements] = element;
    reply->elements++;
    return 0;
}

} // namespace

redisContext *redis_connect()
{
    flat_file *file = file_of(static_cast<redisContext *>(calloc(1, sizeof(flat_file))));
    if (file == nullptr)
        return nullptr;
    file->stream = fopen("/tmp/schema.flat", "re");
    if (file->stream == nullptr) {
        free(file);
        return nullptr;
    }
    return reinterpret_cast<redisContext *>(file);
}

int redis_select(redisContext *connection, int database)
{
    if (connection == nullptr)
        return -1;
    file_of(connection)->database = database;
    return database == schema_number ? 0 : -1;
}

redisReply *redis_hash_get_bin_safe(redisContext *connection, const char *hash, size_t hash_length,
                                    const char *field, size_t field_length)
{
    flat_file *file = file_of(connection);
    if (file == nullptr || file->database != schema_number)
        return nullptr;
    const std::string_view wanted_hash(hash, hash_length);
    const std::string_view wanted_name(field, field_length);
    rewind(file->stream);
    flat_field found;
    while (read_field(file, &found)) {
        if (found.hash == wanted_hash && found.name == wanted_name)
            return record_reply(found.digits);
    }
    return nullptr;
}

redisReply *redis_hash_get_all_bin_safe(redisContext *connection, const char *hash,
                                        size_t hash_length)
{
    flat_file *file = file_of(connection);
    auto *reply = static_cast<redisReply *>(calloc(1, sizeof(redisReply)));
    if (file == nullptr || file->database != schema_number || reply == nullptr) {
        free(reply);
        return nullptr;
    }
    reply->type = REDIS_REPLY_ARRAY;
    const std::string_view wanted(hash, hash_length);
    rewind(file->stream);
    flat_field found;
    bool is_whole = true;
    while (is_whole && read_field(file, &found)) {
        if (found.hash == wanted)
            is_whole = add_element(reply, text_reply(found.name)) == 0 &&
                       add_element(reply, record_reply(found.digits)) == 0;
    }
    if (is_whole && reply->elements > 0)
        return reply;
    redis_freereply(reply);
    return nullptr;
}

void redis_freereply(redisReply *reply)
{
    if (reply == nullptr)
        return;
    for (size_t i = 0; i < reply->elements; i++)
        redis_freereply(reply->element[i]);
    free(reply->element);
    free(reply->str);
    free(reply);
}

void redis_freeconn(redisContext *connection)
{
    flat_file *file = file_of(connection);
    if (file == nullptr)
        return;
    fclose(file->stream);
    free(file->line);
    free(file);
}
