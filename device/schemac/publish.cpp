// Only what differs is written: what is no more is deleted first, then each hash is
// compared with the one that is there. The commands gather, and when all is known
// one transaction runs them. It holds up other clients, and its commands take memory
// in redis, half as much again as their bytes, so it has an upper bound, which is lower where
// redis holds little. What differs more goes in steps, each a
// transaction. The first removes the root and the digest of the origin, the last
// brings them: who begins at the root finds the old schema, none, or the new one,
// and the next run after one that was broken off stores what is missing.
//
// redis works on one step, or finds old hashes, while the next are made.
#include "device/schemac/publish.h"

#include <algorithm>
#include <charconv>
#include <deque>
#include <initializer_list>
#include <span>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <string_view>
#include <utility>

#include "device/schemac/database.h"
#include "device/schemac/digest.h"
#include "device/schemac/notes.h"

namespace
{

// Costs are bytes; a command takes redis as long as so many of them.
constexpr size_t command_cost = 256;
// These take redis some 30 ms and 10 ms on a machine of today.
constexpr size_t most_at_once = 4 << 20;
constexpr size_t most_in_step = 1 << 20;
constexpr size_t most_asked = 1 << 19;
// What redis holds is so many times as much as one of them; an empty one holds a megabyte.
constexpr size_t least_share = 4;
constexpr size_t least_held = 800000;
constexpr char root_key[] = "/";

// Commands that may be a transaction of their own.
struct change_step {
    std::string commands;
    size_t count;
};

struct asked_hash {
    std::string key;
    std::vector<hash_field> fields;
    size_t cost;
};

// The database while it is replaced. After a failure nothing more is done, so that
// only the end has to ask for it.
struct publisher {
    connection_ptr connection;
    std::string failure; // empty: none
    bool is_empty;       // there is nothing to compare with
    bool is_in_steps;
    size_t held;            // bytes that redis held at first
    size_t written;         // bytes that it has been given
    size_t ordered_entries; // redis keeps the order of so many fields, while none is
    size_t ordered_bytes;   // longer than this
    std::vector<uint64_t> kept;
    std::deque<asked_hash> asked; // for their old fields
    size_t asked_cost;
    std::vector<change_step> changes;
    size_t queued; // commands of a transaction that has been sent
};

// A key that is kept because it looks like a wanted one does no harm.
uint64_t digest_of(std::string_view key)
{
    return digest_add(digest_of_nothing, key);
}

void append_word(std::string *command, std::string_view word)
{
    char size[24];
    const auto digits = std::to_chars(size, size + sizeof size, word.size()).ptr - size;
    command->append("$")
        .append(size, static_cast<size_t>(digits))
        .append("\r\n")
        .append(word)
        .append("\r\n");
}

// A command of words and, after them, of names and values.
std::string command_of(std::initializer_list<std::string_view> words,
                       const std::vector<hash_field> &fields = {})
{
    std::string command = "*";
    command.append(std::to_string(words.size() + 2 * fields.size())).append("\r\n");
    for (const std::string_view word : words)
        append_word(&command, word);
    for (const hash_field &field : fields) {
        append_word(&command, field.name);
        append_word(&command, field.value);
    }
    return command;
}

size_t cost_of(const change_step &step)
{
    return step.commands.size() + step.count * command_cost;
}

// So much at once, or as little as redis's memory makes it.
size_t limited(const publisher *store, size_t most)
{
    return std::min(most, std::max({store->held, store->written, least_held}) / least_share);
}

// The step that the next change belongs to.
change_step *last_step(publisher *store)
{
    if (store->changes.empty() || cost_of(store->changes.back()) > limited(store, most_in_step))
        store->changes.push_back({});
    return &store->changes.back();
}

void add_change(publisher *store, const std::string &command)
{
    change_step *step = last_step(store);
    step->commands.append(command);
    step->count++;
}

void send(publisher *store, const std::string &commands)
{
    redisContext *connection = store->connection.get();
    database_check(connection,
                   redisAppendFormattedCommand(connection, commands.data(), commands.size()),
                   &store->failure);
}

// Has the next transaction refused when somebody else has changed these meanwhile.
void send_watch(publisher *store)
{
    send(store, command_of({"WATCH", root_key, note_origin}));
}

// Takes the replies to the transaction that has been sent, if any.
void take_transaction(publisher *store)
{
    const size_t queued = std::exchange(store->queued, 0);
    redisContext *connection = store->connection.get();
    if (queued == 0 || !store->failure.empty() ||
        database_expect(connection, "OK", 1, &store->failure) != 0 ||
        database_expect(connection, "QUEUED", queued, &store->failure) != 0)
        return;
    const database_reply reply = database_take(connection, &store->failure);
    if (reply == nullptr || database_expect(connection, "OK", 1, &store->failure) != 0)
        return;
    if (reply->type != REDIS_REPLY_ARRAY)
        store->failure = "the transaction was refused";
    for (size_t i = 0; i < reply->elements && store->failure.empty(); i++) {
        if (reply->element[i]->type == REDIS_REPLY_ERROR)
            store->failure.assign(reply->element[i]->str, reply->element[i]->len);
    }
}

// The next reply to what has been asked; null after a failure.
database_reply take(publisher *store)
{
    take_transaction(store);
    return store->failure.empty() ? database_next(store->connection.get(), &store->failure)
                                  : nullptr;
}

// Has redis begin with a transaction of these steps. Each writes to what is watched, so
// that of two programs that replace the schema only one goes on.
void send_transaction(publisher *store, std::span<const change_step> steps)
{
    take_transaction(store);
    if (!store->failure.empty())
        return;
    send(store, command_of({"MULTI"}));
    if (store->is_in_steps) {
        send(store, command_of({"HSET", note_origin, "step", ""}));
        store->queued++;
    }
    for (const change_step &step : steps) {
        send(store, step.commands);
        store->queued += step.count;
        store->written += step.commands.size();
    }
    send(store, command_of({"EXEC"}));
    send_watch(store);
    for (int is_sent = 0; is_sent == 0 && store->failure.empty();)
        database_check(store->connection.get(), redisBufferWrite(store->connection.get(), &is_sent),
                       &store->failure);
}

// Asks and waits. A word may be what the server has said.
database_reply ask(publisher *store, std::initializer_list<std::string_view> words)
{
    if (store->failure.empty())
        send(store, command_of(words));
    return take(store);
}

bool keeps_order(const publisher *store, const std::vector<hash_field> &fields)
{
    return fields.size() <= store->ordered_entries &&
           std::all_of(fields.begin(), fields.end(), [store](const hash_field &field) {
               return field.name.size() <= store->ordered_bytes &&
                      field.value.size() <= store->ordered_bytes;
           });
}

// Whether these fields are stored, in their order where redis keeps one.
bool is_stored(const publisher *store, const redisReply *reply,
               const std::vector<hash_field> &fields)
{
    using field_view = std::pair<std::string_view, std::string_view>;
    std::vector<field_view> stored;
    std::vector<field_view> wanted;
    for (size_t i = 0; i + 1 < reply->elements; i += 2)
        stored.push_back({{reply->element[i]->str, reply->element[i]->len},
                          {reply->element[i + 1]->str, reply->element[i + 1]->len}});
    wanted.reserve(fields.size());
    for (const hash_field &field : fields)
        wanted.push_back({field.name, field.value});
    if (stored == wanted || stored.size() != wanted.size() || keeps_order(store, fields))
        return stored == wanted;
    std::sort(stored.begin(), stored.end());
    std::sort(wanted.begin(), wanted.end());
    return stored == wanted;
}

// Compares the hash that was asked for first.
void compare(publisher *store)
{
    const database_reply reply = take(store);
    const asked_hash hash = std::move(store->asked.front());
    store->asked.pop_front();
    store->asked_cost -= hash.cost;
    if (reply == nullptr || is_stored(store, reply.get(), hash.fields))
        return;
    if (reply->type != REDIS_REPLY_ARRAY || reply->elements > 0)
        add_change(store, command_of({"DEL", hash.key}));
    add_change(store, command_of({"HSET", hash.key}, hash.fields));
}

void compare_until(publisher *store, size_t cost)
{
    while (store->asked_cost > cost)
        compare(store);
}

void ask_for(publisher *store, std::string key, std::vector<hash_field> fields)
{
    send(store, command_of({"HGETALL", key}));
    size_t cost = command_cost + key.size();
    for (const hash_field &field : fields)
        cost += field.name.size() + field.value.size();
    store->asked_cost += cost;
    store->asked.push_back({std::move(key), std::move(fields), cost});
    const size_t most = limited(store, most_asked);
    if (store->asked_cost > most)
        compare_until(store, most / 2);
}

// Sends what has gathered.
void send_changes(publisher *store)
{
    if (store->is_in_steps) {
        for (const change_step &step : store->changes)
            send_transaction(store, {&step, 1});
    } else {
        send_transaction(store, store->changes);
    }
    store->changes.clear();
}

// Sends what has gathered when it is too much to wait for the rest.
void send_many(publisher *store)
{
    size_t cost = 0;
    for (const change_step &step : store->changes)
        cost += cost_of(step);
    if (cost <= limited(store, store->is_in_steps ? most_in_step : most_at_once))
        return;
    compare_until(store, 0);
    if (!store->is_in_steps) {
        const std::string first = command_of({"DEL", root_key}) + command_of({"DEL", note_origin});
        store->changes.insert(store->changes.begin(), {first, 2});
        store->is_in_steps = true;
    }
    send_changes(store);
}

// Deletes what is not among the hashes that are kept.
void remove_others(publisher *store)
{
    std::string cursor = "0";
    do {
        const database_reply reply = ask(store, {"SCAN", cursor, "COUNT", "1000"});
        if (reply == nullptr)
            return;
        if (reply->elements != 2 || reply->element[0]->str == nullptr) {
            store->failure = "no keys from the server";
            return;
        }
        cursor = reply->element[0]->str;
        const redisReply *keys = reply->element[1];
        for (size_t i = 0; i < keys->elements; i++) {
            const std::string_view key(keys->element[i]->str, keys->element[i]->len);
            if (!std::binary_search(store->kept.begin(), store->kept.end(), digest_of(key)))
                add_change(store, command_of({"DEL", key}));
        }
        send_many(store);
    } while (cursor != "0" && store->failure.empty());
}

// Learns how much redis holds, where it tells.
void look_at_memory(publisher *store)
{
    constexpr std::string_view name = "used_memory:";
    const database_reply reply = ask(store, {"INFO", "memory"});
    if (reply == nullptr || reply->type == REDIS_REPLY_ERROR || reply->str == nullptr)
        return;
    const char *value = strstr(reply->str, name.data());
    if (value != nullptr)
        store->held = strtoul(value + name.size(), nullptr, 10);
}

// Learns what is there, of which nobody else may change anything from then on. Where redis does not
// tell up to which sizes it keeps the order of fields, all orders count.
void look(publisher *store)
{
    send_watch(store);
    database_expect(store->connection.get(), "OK", 1, &store->failure);
    const database_reply size = ask(store, {"DBSIZE"});
    store->is_empty = size != nullptr && size->type == REDIS_REPLY_INTEGER && size->integer == 0;
    look_at_memory(store);
    const database_reply limits = ask(store, {"CONFIG", "GET", "hash-max-*"});
    for (size_t i = 0; limits != nullptr && i + 1 < limits->elements; i += 2) {
        const std::string_view name(limits->element[i]->str, limits->element[i]->len);
        size_t *limit =
            name.ends_with("-entries") ? &store->ordered_entries : &store->ordered_bytes;
        if (limits->element[i + 1]->str != nullptr)
            *limit = strtoul(limits->element[i + 1]->str, nullptr, 10);
    }
}

// A hash of those that readers begin with takes no step: it belongs to the last.
void publish_hash(publisher *store, std::string key, std::vector<hash_field> fields)
{
    if (!store->failure.empty())
        return;
    if (key == root_key || key[0] != root_key[0]) {
        compare_until(store, 0);
        add_change(store, command_of({"DEL", key}));
        add_change(store, command_of({"HSET", key}, fields));
        return;
    }
    if (store->is_empty)
        add_change(store, command_of({"HSET", key}, fields));
    else
        ask_for(store, std::move(key), std::move(fields));
    send_many(store);
}

} // namespace

int publish_content(const redis_endpoint *endpoint, const content_teller &tell,
                    std::string *message)
{
    publisher store = {};
    store.ordered_entries = store.ordered_bytes = SIZE_MAX;
    store.connection = database_open(endpoint, message);
    if (store.connection == nullptr)
        return -1;
    look(&store);
    if (!store.is_empty) {
        tell(content_keys, [&store](const std::string &key, const std::vector<hash_field> &) {
            store.kept.push_back(digest_of(key));
        });
        std::sort(store.kept.begin(), store.kept.end());
        remove_others(&store);
    }
    tell(content_values, [&store](std::string key, std::vector<hash_field> fields) {
        publish_hash(&store, std::move(key), std::move(fields));
    });
    compare_until(&store, 0);
    send_changes(&store);
    take_transaction(&store);
    *message = store.failure;
    return store.failure.empty() ? 0 : -1;
}
