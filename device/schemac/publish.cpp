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
#include <deque>
#include <errno.h>
#include <initializer_list>
#include <span>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <string_view>
#include <unistd.h>
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
    content_hash hash;
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

// A command of words and, after them, of the fields of a hash, if any.
void append_command(std::string *commands, std::initializer_list<std::string_view> words,
                    const content_hash *hash = nullptr)
{
    const size_t count = words.size() + (hash != nullptr ? 2 * hash->count : 0);
    commands->append("*").append(std::to_string(count)).append("\r\n");
    for (const std::string_view word : words)
        content_append_word(commands, word);
    if (hash != nullptr)
        commands->append(hash->words);
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

void add_change(publisher *store, std::initializer_list<std::string_view> words,
                const content_hash *hash = nullptr)
{
    change_step *step = last_step(store);
    append_command(&step->commands, words, hash);
    step->count++;
}

void send(publisher *store, std::initializer_list<std::string_view> words)
{
    std::string command;
    append_command(&command, words);
    database_check(
        store->connection.get(),
        redisAppendFormattedCommand(store->connection.get(), command.data(), command.size()),
        &store->failure);
}

// Sends what waits and, after it, what is too much for hiredis to have a copy.
void send_now(publisher *store, std::string_view commands)
{
    for (int is_sent = 0; is_sent == 0 && store->failure.empty();)
        database_check(store->connection.get(), redisBufferWrite(store->connection.get(), &is_sent),
                       &store->failure);
    while (!commands.empty() && store->failure.empty()) {
        const ssize_t count = write(store->connection->fd, commands.data(), commands.size());
        if (count < 0 && errno != EINTR)
            store->failure = strerror(errno);
        commands.remove_prefix(count > 0 ? static_cast<size_t>(count) : 0);
    }
}

// Has the next transaction refused when somebody else has changed these meanwhile.
void send_watch(publisher *store)
{
    send(store, {"WATCH", root_key, note_origin});
}

// hiredis makes of a reply what such functions make of it, and where there is none its type.
void *keep_error(const redisReadTask *task, char *text, size_t size)
{
    auto *failure = static_cast<std::string *>(task->privdata);
    if (task->type == REDIS_REPLY_ERROR && failure->empty())
        failure->assign(text, size);
    return reinterpret_cast<void *>(static_cast<intptr_t>(task->type));
}

redisReplyObjectFunctions only_errors = {keep_error, nullptr, nullptr, nullptr, nullptr};

// The type of the next reply; 0 after a failure.
intptr_t take_type(publisher *store)
{
    void *type = nullptr;
    if (store->failure.empty() && redisGetReply(store->connection.get(), &type) != REDIS_OK)
        store->failure = std::string("connection lost: ") + store->connection->errstr;
    return reinterpret_cast<intptr_t>(type);
}

void take_status(publisher *store, const char *otherwise)
{
    if (take_type(store) != REDIS_REPLY_STATUS && store->failure.empty())
        store->failure = otherwise;
}

// Takes the replies to the transaction that has been sent, if any. They are too many for each to
// become an object.
void take_transaction(publisher *store)
{
    if (store->queued == 0)
        return;
    redisReader *reader = store->connection->reader;
    redisReplyObjectFunctions *const usual = std::exchange(reader->fn, &only_errors);
    reader->privdata = &store->failure;
    take_status(store, "no OK from the server");
    for (size_t count = std::exchange(store->queued, 0); count > 0; count--)
        take_status(store, "no QUEUED from the server");
    const bool is_run = take_type(store) == REDIS_REPLY_ARRAY;
    take_status(store, "no OK from the server");
    if (!is_run && store->failure.empty())
        store->failure = "the transaction was refused";
    if (reader->reply == nullptr) // otherwise the rest of it did not come: there is no object
        reader->fn = usual;
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
    send(store, {"MULTI"});
    if (store->is_in_steps) {
        send(store, {"HSET", note_origin, "step", ""});
        store->queued++;
    }
    for (const change_step &step : steps) {
        send_now(store, step.commands);
        store->queued += step.count;
        store->written += step.commands.size();
    }
    send(store, {"EXEC"});
    send_watch(store);
    send_now(store, "");
}

// Asks and waits. A word may be what the server has said.
database_reply ask(publisher *store, std::initializer_list<std::string_view> words)
{
    if (store->failure.empty())
        send(store, words);
    return take(store);
}

// Whether these fields are stored, in their order where redis keeps one.
bool is_stored(const publisher *store, const redisReply *reply, const content_hash *hash)
{
    std::string words;
    for (size_t i = 0; i < reply->elements; i++)
        content_append_word(&words, {reply->element[i]->str, reply->element[i]->len});
    if (words == hash->words)
        return true;
    if (reply->elements != 2 * hash->count || words.size() != hash->words.size())
        return false;
    auto stored = content_fields(words);
    auto wanted = content_fields(hash->words);
    if (hash->count <= store->ordered_entries &&
        std::all_of(wanted.begin(), wanted.end(), [store](const auto &field) {
            return std::max(field.first.size(), field.second.size()) <= store->ordered_bytes;
        }))
        return false;
    std::sort(stored.begin(), stored.end());
    std::sort(wanted.begin(), wanted.end());
    return stored == wanted;
}

// Compares the hash that was asked for first.
void compare(publisher *store)
{
    const database_reply reply = take(store);
    const asked_hash asked = std::move(store->asked.front());
    const content_hash *hash = &asked.hash;
    store->asked.pop_front();
    store->asked_cost -= asked.cost;
    if (reply == nullptr || is_stored(store, reply.get(), hash))
        return;
    if (reply->type != REDIS_REPLY_ARRAY || reply->elements > 0)
        add_change(store, {"DEL", hash->key});
    add_change(store, {"HSET", hash->key}, hash);
}

void compare_until(publisher *store, size_t cost)
{
    while (store->asked_cost > cost)
        compare(store);
}

void ask_for(publisher *store, const content_hash &hash)
{
    send(store, {"HGETALL", hash.key});
    const size_t cost = command_cost + hash.key.size() + hash.words.size();
    store->asked_cost += cost;
    store->asked.push_back({hash, cost});
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
    store->changes.resize(1); // its room is used again
    store->changes[0].commands.clear();
    store->changes[0].count = 0;
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
        std::string first;
        append_command(&first, {"DEL", root_key});
        append_command(&first, {"DEL", note_origin});
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
                add_change(store, {"DEL", key});
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
    database_expect(store->connection.get(), "OK", &store->failure);
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
void publish_hash(publisher *store, const content_hash &hash)
{
    const std::string &key = hash.key;
    if (!store->failure.empty())
        return;
    if (key == root_key || key[0] != root_key[0]) {
        compare_until(store, 0);
        add_change(store, {"DEL", key});
        add_change(store, {"HSET", key}, &hash);
        return;
    }
    if (store->is_empty)
        add_change(store, {"HSET", key}, &hash);
    else
        ask_for(store, hash);
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
        tell(content_keys,
             [&store](const content_hash &hash) { store.kept.push_back(digest_of(hash.key)); });
        std::sort(store.kept.begin(), store.kept.end());
        remove_others(&store);
    }
    tell(content_values, [&store](const content_hash &hash) { publish_hash(&store, hash); });
    compare_until(&store, 0);
    send_changes(&store);
    take_transaction(&store);
    *message = store.failure;
    return store.failure.empty() ? 0 : -1;
}
