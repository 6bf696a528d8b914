#include "schema/database.h"

#include "base/session.h"
#include "schema/path.h"
#include "scrub.h"

namespace
{

constexpr int schema_database_number = 4;

std::string_view without_predicate(std::string_view name)
{
    return text_slice(name, 0, name.find('['));
}

// A schema path as the hash and the field that hold its record.
struct field_address {
    std::string_view hash;
    std::string_view field;
};

field_address address_of(std::string_view schema_path)
{
    const size_t slash = schema_path.rfind('/');
    if (slash == std::string_view::npos)
        return {};
    const std::string_view field = text_slice(schema_path, slash + 1);
    return {slash == 0 ? "/" : text_slice(schema_path, 0, slash), field};
}

} // namespace

int schema_connect()
{
    session.redis = redis_connect();
    scrub_registers(); // of the database's password
    redis_select(session.redis, schema_database_number);
    return session.redis != nullptr ? 0 : -1;
}

hash_fields schema_hash(std::string_view hash)
{
    hash_fields fields = {read_hash(hash)};
    if (fields.reply)
        fields.count = fields.reply->elements / 2;
    return fields;
}

std::string_view hash_field_name(const hash_fields &fields, size_t index)
{
    return reply_string(fields.reply->element[2 * index]);
}

std::string_view hash_field_value(const hash_fields &fields, size_t index)
{
    return reply_string(fields.reply->element[2 * index + 1]);
}

record_ptr node_record(std::string_view schema_path)
{
    const field_address address = address_of(schema_path);
    if (address.hash.empty() || address.hash == "/")
        return nullptr;
    const reply_ptr reply = read_field(address.hash, without_predicate(address.field));
    const std::string_view value = reply_string(reply.get());
    return value.size() >= node_record_minimum ? record_copy(value) : nullptr;
}

bool module_is_known(std::string_view module)
{
    return reply_string(read_field("/", module).get()).size() >= module_record_minimum;
}

heap_text module_namespace(std::string_view module)
{
    const reply_ptr reply = read_field("/", module);
    const std::string_view value = reply_string(reply.get());
    return value.size() >= module_record_minimum ? text_copy(record_namespace(value)) : nullptr;
}

heap_text path_namespace(const char *path)
{
    return module_namespace(path_module(path));
}

bool schema_has_field(std::string_view hash, std::string_view field)
{
    return read_field(hash, without_predicate(field)) != nullptr;
}

bool schema_path_exists(std::string_view schema_path)
{
    if (schema_path == "/")
        return true;
    const field_address address = address_of(schema_path);
    return !address.hash.empty() && schema_has_field(address.hash, address.field);
}

heap_text rpc_input_name(std::string_view rpc_schema_path)
{
    const hash_fields fields = schema_hash(rpc_schema_path);
    for (size_t i = 0; i < fields.count; i++) {
        const std::string_view name = hash_field_name(fields, i);
        if (is_record_of_kind(hash_field_value(fields, i), node_kind_input) && is_path_step(name))
            return text_copy(name);
    }
    return nullptr;
}
