// What the schema database is to hold: the redis commands that fill it.
#include "device/schemac/content.h"

namespace
{

void append_word(std::string *command, const std::string &word)
{
    command->append("$").append(std::to_string(word.size())).append("\r\n");
    command->append(word).append("\r\n");
}

std::string make_command(const std::string &key, const std::vector<hash_field> &fields)
{
    std::string command = "*";
    command.append(std::to_string(2 + 2 * fields.size())).append("\r\n");
    append_word(&command, "HSET");
    append_word(&command, key);
    for (const hash_field &field : fields) {
        append_word(&command, field.name);
        append_word(&command, field.value);
    }
    return command;
}

} // namespace

void content_add_hash(schema_content *content, const std::string &key,
                      const std::vector<hash_field> &fields)
{
    content->bytes += key.size();
    for (const hash_field &field : fields)
        content->bytes += field.name.size() + field.value.size();
    content->commands.push_back(make_command(key, fields));
}

void content_add_note(schema_content *content, const std::string &key,
                      const std::vector<hash_field> &fields)
{
    if (!fields.empty())
        content->commands.push_back(make_command(key, fields));
}
