// What the schema database is to hold: the redis commands that fill it.
#include "device/schemac/content.h"

namespace
{

void append_word(std::string *command, const std::string &word)
{
    command->append("$").append(std::to_string(word.size())).append("\r\n");
    command->append(word).append("\r\n");
}

} // namespace

void content_add_hash(schema_content *content, const std::string &key,
                      const std::vector<hash_field> &fields)
{
    std::string command = "*";
    command.append(std::to_string(2 + 2 * fields.size())).append("\r\n");
    append_word(&command, "HSET");
    append_word(&command, key);
    content->bytes += key.size();
    for (const hash_field &field : fields) {
        append_word(&command, field.name);
        append_word(&command, field.value);
        content->bytes += field.name.size() + field.value.size();
    }
    content->commands.push_back(std::move(command));
}
