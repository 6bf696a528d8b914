#include "device/schemac/stored.h"

#include <algorithm>

namespace
{

// A walk calls itself for each level, and a database may go on without end. No model is
// nearly as deep.
constexpr auto deepest = 1000;

// The reply to a command that has been appended; null after the first failure.
database_reply take(stored_schema *schema)
{
    if (!schema->failure.empty())
        return nullptr;
    return database_take(schema->connection.get(), &schema->failure);
}

std::string text_of(const redisReply *reply)
{
    const bool is_text = reply != nullptr && reply->str != nullptr &&
                         (reply->type == REDIS_REPLY_STRING || reply->type == REDIS_REPLY_STATUS);
    return is_text ? std::string(reply->str, reply->len) : "";
}

// A large hash, and one with a long value, has lost its order.
bool keeps_order(const std::string &encoding)
{
    return encoding == "listpack" || encoding == "ziplist";
}

bool is_of_kind(const stored_place *place, node_kind kind)
{
    return !place->is_module && place->record.kind == kind;
}

bool is_data(node_kind kind)
{
    return kind != node_kind_choice && kind != node_kind_case;
}

uint64_t bytes_of(const hash_field &field)
{
    return field.name.size() + field.value.size();
}

stored_place make_child(const stored_place *parent, const hash_field &field,
                        const node_record &record)
{
    const bool is_data_node = is_data(record.kind);
    const size_t colon = field.name.find(':');
    const std::string around = is_data_node ? parent->data_module : parent->module;
    stored_place child = {};
    child.path = stored_children_key(parent) + "/" + field.name;
    child.module = colon == std::string::npos ? around : field.name.substr(0, colon);
    child.data_module = is_data_node ? child.module : parent->data_module;
    child.record = record;
    child.bytes = bytes_of(field);
    return child;
}

} // namespace

stored_hash stored_read(stored_schema *schema, const std::string &key)
{
    stored_hash hash = {};
    redisContext *connection = schema->connection.get();
    if (schema->failure.empty() && std::count(key.begin(), key.end(), '/') > deepest)
        schema->failure = "nodes are more than 1000 levels deep";
    if (!schema->failure.empty())
        return hash;
    if (redisAppendCommand(connection, "HGETALL %b", key.data(), key.size()) != REDIS_OK ||
        redisAppendCommand(connection, "OBJECT ENCODING %b", key.data(), key.size()) != REDIS_OK) {
        schema->failure = connection->errstr;
        return hash;
    }
    const database_reply fields = take(schema);
    hash.is_ordered = keeps_order(text_of(take(schema).get()));
    if (fields == nullptr || fields->type != REDIS_REPLY_ARRAY)
        return hash;
    for (size_t i = 0; i + 1 < fields->elements; i += 2)
        hash.fields.push_back({text_of(fields->element[i]), text_of(fields->element[i + 1])});
    if (!hash.is_ordered)
        std::sort(
            hash.fields.begin(), hash.fields.end(),
            [](const hash_field &one, const hash_field &other) { return one.name < other.name; });
    return hash;
}

std::map<std::string, std::string> stored_note(stored_schema *schema, const char *note)
{
    std::map<std::string, std::string> values;
    for (const hash_field &field : stored_read(schema, note).fields)
        values[field.name] = field.value;
    return values;
}

std::vector<stored_place> stored_modules(stored_schema *schema)
{
    std::vector<stored_place> modules;
    for (const hash_field &field : stored_read(schema, "/").fields) {
        stored_place module = {};
        module.path = "/" + field.name;
        module.module = module.data_module = field.name;
        module.is_module = true;
        module.name_space = module_record_namespace(field.value);
        module.bytes = bytes_of(field);
        modules.push_back(module);
    }
    std::sort(modules.begin(), modules.end(),
              [](const stored_place &one, const stored_place &other) {
                  return one.module < other.module;
              });
    return modules;
}

std::string stored_children_key(const stored_place *parent)
{
    return parent->path + (is_of_kind(parent, node_kind_list) ? "[]" : "");
}

std::vector<stored_place> stored_children(stored_schema *schema, const stored_place *parent)
{
    stored_hash hash = stored_read(schema, stored_children_key(parent));
    // Nodes are stored last first, but cases are not.
    if (hash.is_ordered && !is_of_kind(parent, node_kind_choice))
        std::reverse(hash.fields.begin(), hash.fields.end());
    std::vector<stored_place> children;
    for (const hash_field &field : hash.fields) {
        node_record record;
        if (node_record_read(field.value, &record) == 0)
            children.push_back(make_child(parent, field, record));
    }
    return children;
}

std::vector<std::string> stored_keys(stored_schema *schema, const stored_place *list)
{
    std::vector<std::string> keys;
    for (const hash_field &field : stored_read(schema, list->path).fields)
        keys.push_back(field.name);
    return keys;
}

std::string stored_name(const stored_place *place)
{
    return place->path.substr(place->path.rfind('/') + 1);
}
