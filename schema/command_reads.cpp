#include "schema/command_reads.h"

#include <algorithm>
#include <bit>
#include <stdint.h>
#include <stdlib.h>

#include "base/hash.h"
#include "base/session.h"
#include "base/text.h"
#include "bounded.h"

// A reply. The names of its hash and its field stand after it, in its block.
struct kept_reply {
    kept_reply *next;
    redisReply *reply;
    size_t hash_length;
    size_t field_length;
};

namespace
{

constexpr size_t kept_size_limit = size_t{VANDEL_REDIS_REPLY_LIMIT} + (16 << 20);
constexpr size_t no_field = SIZE_MAX; // the length in the reply of a whole hash

size_t field_length(std::string_view field)
{
    return field.data() != nullptr ? field.size() : no_field;
}

bool is_reply_of(const kept_reply *kept, std::string_view hash, std::string_view field)
{
    const char *names = reinterpret_cast<const char *>(kept + 1);
    return kept->hash_length == hash.size() && kept->field_length == field_length(field) &&
           hash == std::string_view(names, hash.size()) &&
           field == std::string_view(names + hash.size(), field.size());
}

kept_reply **bucket_of(std::string_view hash, std::string_view field)
{
    const uint32_t value = hash_text(hash_text(hash_start, hash), field);
    return &session.reads->bucket[hash_bucket(value, kept_reply_buckets)];
}

redisReply *find_kept(std::string_view hash, std::string_view field)
{
    const kept_reply *kept = *bucket_of(hash, field);
    while (kept != nullptr && !is_reply_of(kept, hash, field))
        kept = kept->next;
    return kept != nullptr ? kept->reply : nullptr;
}

// The reply for a field among those of a whole hash, null when it has none.
redisReply *field_of(const redisReply *whole, std::string_view field)
{
    for (size_t i = 0; i + 1 < whole->elements; i += 2) {
        if (reply_string(whole->element[i]) == field)
            return whole->element[i + 1];
    }
    return nullptr;
}

// Takes from what is kept; false when it has to be asked for.
bool is_known(std::string_view hash, std::string_view field, redisReply **reply)
{
    if (session.reads == nullptr)
        return false;
    *reply = find_kept(hash, field);
    const redisReply *whole =
        *reply == nullptr && field.data() != nullptr ? find_kept(hash, {}) : nullptr;
    if (whole != nullptr)
        *reply = field_of(whole, field);
    return *reply != nullptr || whole != nullptr;
}

reply_ptr lent(redisReply *reply)
{
    return {reply, {.is_kept = true}};
}

size_t reply_size(const redisReply *reply)
{
    if (reply == nullptr)
        return 0;
    size_t size = sizeof *reply + reply_string(reply).size();
    for (size_t i = 0; reply->type == REDIS_REPLY_ARRAY && i < reply->elements; i++)
        size += reply_size(reply->element[i]);
    return size;
}

// Hands a reply over to the command, as far as there is one and memory for it.
reply_ptr keep(std::string_view hash, std::string_view field, reply_ptr reply)
{
    size_t size = 0;
    if (session.reads == nullptr || !size_add(sizeof(kept_reply), hash.size(), &size) ||
        !size_add(size, field.size(), &size))
        return reply;
    kept_reply *kept = static_cast<kept_reply *>(malloc(size));
    if (kept == nullptr)
        return reply;
    session.reads->kept_size += size + reply_size(reply.get());
    kept_reply **bucket = bucket_of(hash, field);
    *kept = {*bucket, reply.release(), hash.size(), field_length(field)};
    *bucket = kept;
    char *names = reinterpret_cast<char *>(kept + 1);
    memcpy_s(names, hash.size(), hash.data(), hash.size());
    memcpy_s(names + hash.size(), field.size(), field.data(), field.size());
    return lent(kept->reply);
}

// A name as the library gets it: a zero byte follows it, as far as there is memory for a
// copy, also where it is a part of a path. Its length is told all the same.
struct library_name {
    std::string_view name;
    heap_text copy;

    explicit library_name(std::string_view text) : name(text), copy(text_copy(text)) {}

    const char *get() const
    {
        return copy ? copy.get() : name.data();
    }
};

// Whether there is a database to ask, and the command may ask it.
bool may_ask()
{
    return session.redis != nullptr &&
           (session.reads == nullptr || session.reads->kept_size < kept_size_limit);
}

// Whether no field stands twice. Where there is no memory to look, none does: going
// through more needs memory, too.
bool has_each_field_once(const redisReply *whole)
{
    if (whole->elements < 4)
        return true;
    const size_t slots = std::bit_ceil(whole->elements);
    const malloc_ptr<uint32_t> taken(static_cast<uint32_t *>(calloc(slots, sizeof(uint32_t))));
    for (size_t i = 1; taken && i < whole->elements; i += 2) {
        const std::string_view name = reply_string(whole->element[i - 1]);
        uint32_t *slot = taken.get() + hash_bucket(hash_text(hash_start, name), slots);
        for (; *slot != 0; slot = slot + 1 < taken.get() + slots ? slot + 1 : taken.get()) {
            if (reply_string(whole->element[*slot - 1]) == name)
                return false;
        }
        *slot = static_cast<uint32_t>(i);
    }
    return true;
}

// An empty array is how redis answers for a hash that is missing.
bool is_hash(const redisReply *reply)
{
    return reply != nullptr && reply->type == REDIS_REPLY_ARRAY && reply->elements != 0 &&
           reply->element != nullptr && has_each_field_once(reply);
}

} // namespace

command_reads::command_reads()
{
    if (session.reads != nullptr)
        return;
    memset_s(this, sizeof *this, 0, sizeof *this);
    session.reads = this;
}

command_reads::~command_reads()
{
    if (session.reads != this)
        return;
    command_reads_forget();
    session.reads = nullptr;
}

void command_reads_forget()
{
    if (session.reads == nullptr)
        return;
    for (kept_reply *&first : session.reads->bucket) {
        while (first != nullptr) {
            kept_reply *kept = first;
            first = kept->next;
            reply_deleter{}(kept->reply);
            free(kept);
        }
    }
    for (found_path &one : session.reads->found) {
        text_replace(&one.path, nullptr);
        text_replace(&one.schema_path, nullptr);
    }
    text_replace(&session.reads->lists_all, nullptr);
    session.reads->kept_size = 0;
}

std::string_view reply_string(const redisReply *reply)
{
    if (reply == nullptr || reply->type != REDIS_REPLY_STRING || reply->str == nullptr)
        return {};
    return {reply->str, reply->len};
}

reply_ptr read_field(std::string_view hash, std::string_view field)
{
    redisReply *found = nullptr;
    if (field.data() == nullptr)
        return nullptr;
    if (is_known(hash, field, &found))
        return reply_string(found).data() != nullptr ? lent(found) : nullptr;
    if (!may_ask())
        return nullptr;
    const library_name hash_name(hash);
    const library_name field_name(field);
    scrub_registers();
    reply_ptr reply(redis_hash_get_bin_safe(session.redis, hash_name.get(), hash.size(),
                                            field_name.get(), field.size()));
    if (reply_string(reply.get()).data() == nullptr)
        return nullptr;
    return keep(hash, field, std::move(reply));
}

reply_ptr read_hash(std::string_view hash)
{
    redisReply *found = nullptr;
    if (is_known(hash, {}, &found))
        return lent(found);
    if (!may_ask() || std::count(hash.begin(), hash.end(), '/') > deepest_hash)
        return nullptr;
    const library_name hash_name(hash);
    scrub_registers();
    reply_ptr reply(redis_hash_get_all_bin_safe(session.redis, hash_name.get(), hash.size()));
    return is_hash(reply.get()) ? keep(hash, {}, std::move(reply)) : nullptr;
}
