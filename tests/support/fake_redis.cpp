#include "tests/support/fake_redis.h"

#include <map>
#include <stdlib.h>
#include <string.h>
#include <utility>
#include <vector>

#include "redisapi.h"

namespace
{

using field_list = std::vector<std::pair<std::string, std::string>>;

struct fake_state {
    std::map<std::string, field_list> hashes;
    bool keeps_hashes = false;
    std::map<std::string, field_list> kept; // as they were before the first put
    std::map<std::string, fake_reply> answers;
    bool reachable = true;
    int reads_left = -1;
    int open_replies = 0;
    int open_connections = 0;
    int reads = 0;
    int database = -1;
    int unended_names = 0;
    std::vector<std::string> asked;
};

fake_state state;

redisReply *reply_create(int type)
{
    auto *reply = static_cast<redisReply *>(calloc(1, sizeof(redisReply)));
    if (reply == nullptr)
        abort();
    reply->type = type;
    return reply;
}

redisReply *reply_string(const std::string &text, int type = REDIS_REPLY_STRING)
{
    redisReply *reply = reply_create(type);
    reply->len = text.size();
    reply->str = static_cast<char *>(malloc(text.size() + 1));
    if (reply->str == nullptr)
        abort();
    memcpy(reply->str, text.c_str(), text.size() + 1);
    return reply;
}

redisReply *reply_array(const std::vector<redisReply *> &elements)
{
    redisReply *reply = reply_create(REDIS_REPLY_ARRAY);
    reply->elements = elements.size();
    reply->element = static_cast<redisReply **>(calloc(elements.size() + 1, sizeof(redisReply *)));
    if (reply->element == nullptr)
        abort();
    for (size_t i = 0; i < elements.size(); i++)
        reply->element[i] = elements[i];
    return reply;
}

void reply_destroy(redisReply *reply)
{
    for (size_t i = 0; reply->type == REDIS_REPLY_ARRAY && i < reply->elements; i++)
        reply_destroy(reply->element[i]);
    free(reply->element);
    free(reply->str);
    free(reply);
}

redisReply *reply_of_repeated_fields()
{
    std::vector<redisReply *> elements;
    for (int i = 0; i < 100; i++) {
        elements.push_back(reply_string(std::to_string(i % 99)));
        elements.push_back(reply_string("value"));
    }
    return reply_array(elements);
}

redisReply *reply_arranged(fake_reply kind)
{
    switch (kind) {
    case fake_reply_nil:
        return reply_create(REDIS_REPLY_NIL);
    case fake_reply_error:
        return reply_string("ERR arranged by the test", REDIS_REPLY_ERROR);
    case fake_reply_integer:
        return reply_create(REDIS_REPLY_INTEGER);
    case fake_reply_odd:
        return reply_array({reply_string("only a name")});
    case fake_reply_mixed:
        return reply_array({reply_string("name"), reply_create(REDIS_REPLY_NIL)});
    case fake_reply_empty_array:
        return reply_array({});
    case fake_reply_repeated:
        return reply_of_repeated_fields();
    case fake_reply_true:
    case fake_reply_null:
        break;
    }
    return nullptr;
}

std::string name_taken(const char *name, size_t length)
{
    state.unended_names += name[length] != '\0';
    return {name, length};
}

// Counts a read; true when the test arranged that it gets *reply.
bool read_is_arranged(const redisContext *connection, const std::string &hash, redisReply **reply)
{
    *reply = nullptr;
    state.reads++;
    if (connection == nullptr || state.reads_left == 0)
        return true;
    if (state.reads_left > 0)
        state.reads_left--;
    auto found = state.answers.find(hash);
    if (found == state.answers.end() || found->second == fake_reply_true)
        return false;
    *reply = reply_arranged(found->second);
    return true;
}

redisReply *handed_out(redisReply *reply)
{
    if (reply != nullptr)
        state.open_replies++;
    return reply;
}

// Looking must not make a hash: a fuzzer asks for millions that are not there.
const field_list &fields_of(const std::string &hash)
{
    static const field_list none;
    const auto found = state.hashes.find(hash);
    return found != state.hashes.end() ? found->second : none;
}

redisReply *find_field(const std::string &hash, const std::string &field)
{
    for (const auto &[name, value] : fields_of(hash)) {
        if (name == field)
            return reply_string(value);
    }
    return nullptr;
}

void append_number(std::string *record, size_t number)
{
    record->push_back(static_cast<char>(number & 0xff));
    record->push_back(static_cast<char>(number >> 8 & 0xff));
}

} // namespace

void fake_redis_reset()
{
    state = fake_state();
}

void fake_redis_keep_hashes()
{
    state.keeps_hashes = true;
    state.kept.clear();
}

void fake_redis_undo_puts()
{
    for (const auto &[hash, fields] : state.kept)
        state.hashes[hash] = fields;
    state.kept.clear();
}

void fake_redis_put(const std::string &hash, const std::string &field, const std::string &value)
{
    if (state.keeps_hashes && state.kept.count(hash) == 0)
        state.kept.emplace(hash, fields_of(hash));
    for (auto &[name, old] : state.hashes[hash]) {
        if (name == field) {
            old = value;
            return;
        }
    }
    state.hashes[hash].emplace_back(field, value);
}

void fake_redis_remove(const std::string &hash)
{
    state.hashes.erase(hash);
}

std::string fake_node_record(int kind, bool config, const std::string &type_name,
                             const std::string &help)
{
    std::string strings(1, '\0');
    size_t type_offset = 0;
    size_t help_offset = 0;
    if (!type_name.empty()) {
        type_offset = strings.size();
        strings.append(type_name).push_back('\0');
    }
    if (!help.empty()) {
        help_offset = strings.size();
        strings.append(help).push_back('\0');
    }
    std::string record;
    append_number(&record, static_cast<size_t>(kind) << 6 | (config ? 1 : 0));
    record.append(10, '\0');
    append_number(&record, help_offset);
    append_number(&record, type_offset);
    record.append(2, '\0');
    append_number(&record, strings.size());
    return record + strings;
}

void fake_redis_put_node(const std::string &parent, const std::string &name, int kind, bool config,
                         const std::string &type_name, const std::string &help)
{
    fake_redis_put(parent, name, fake_node_record(kind, config, type_name, help));
}

void fake_redis_put_module(const std::string &name, const std::string &name_space)
{
    std::string record(43, '\0');
    record.append(name_space).push_back('\0');
    fake_redis_put("/", name, record);
}

void fake_redis_answer(const std::string &hash, fake_reply reply)
{
    state.answers[hash] = reply;
}

void fake_redis_fail_after(int reads)
{
    state.reads_left = reads;
}

void fake_redis_set_reachable(bool reachable)
{
    state.reachable = reachable;
}

int fake_redis_open_replies()
{
    return state.open_replies;
}

int fake_redis_open_connections()
{
    return state.open_connections;
}

int fake_redis_reads()
{
    return state.reads;
}

int fake_redis_database()
{
    return state.database;
}

int fake_redis_unended_names()
{
    return state.unended_names;
}

std::vector<std::string> fake_redis_take_asked()
{
    return std::exchange(state.asked, {});
}

redisContext *redis_connect(void)
{
    if (!state.reachable)
        return nullptr;
    auto *connection = static_cast<redisContext *>(calloc(1, sizeof(redisContext)));
    if (connection != nullptr)
        state.open_connections++;
    return connection;
}

int redis_select(redisContext *connection, int database)
{
    state.database = database;
    return connection != nullptr ? 0 : -1;
}

redisReply *redis_hash_get_bin_safe(redisContext *connection, const char *hash, size_t hash_length,
                                    const char *field, size_t field_length)
{
    const std::string name = name_taken(hash, hash_length);
    const std::string field_name = name_taken(field, field_length);
    redisReply *reply;
    state.asked.push_back("HGET " + name + " " + field_name);
    if (!read_is_arranged(connection, name, &reply))
        reply = find_field(name, field_name);
    return handed_out(reply);
}

redisReply *redis_hash_get_all_bin_safe(redisContext *connection, const char *hash,
                                        size_t hash_length)
{
    const std::string name = name_taken(hash, hash_length);
    redisReply *reply;
    state.asked.push_back("HGETALL " + name);
    if (!read_is_arranged(connection, name, &reply)) {
        std::vector<redisReply *> elements;
        for (const auto &[field, value] : fields_of(name)) {
            elements.push_back(reply_string(field));
            elements.push_back(reply_string(value));
        }
        reply = elements.empty() ? nullptr : reply_array(elements);
    }
    return handed_out(reply);
}

void redis_freereply(redisReply *reply)
{
    if (reply != nullptr) {
        state.open_replies--;
        reply_destroy(reply);
    }
}

void redis_freeconn(redisContext *connection)
{
    if (connection != nullptr) {
        state.open_connections--;
        free(connection);
    }
}
