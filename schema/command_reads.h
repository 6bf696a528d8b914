// What the current command has read from the database, so that it reads nothing
// twice, and what it has found out with it.
//
// While a command_reads lives, the replies to its reads are kept: a hash that was
// read whole answers for each of its fields, also for those that it does not have.
// Its end forgets them, so a shell always works on the schema that is there. One that
// is opened while another lives joins it: lines that were read ahead together, and that
// nothing is waited for in between, may see the schema as of one moment. A read
// without a reply is not kept: whether nothing was there or the connection was lost
// cannot be told. Nor is one for which there is no memory.
//
// A database may go on without end, with a choice below every case. So a command that
// keeps as much as a reply may have, and 16 MiB, asks no more, and no hash is read that
// is more than 1000 levels deep: it counts as not there. So does one with a field that
// stands twice, which no redis sends: what is below it would be gone through twice, and
// below that four times, without another question.
#pragma once

#include <memory>
#include <stddef.h>
#include <string_view>

#include "redisapi.h"
#include "scrub.h"

// Frees a reply, unless it belongs to the command.
struct reply_deleter {
    bool is_kept = false;

    void operator()(redisReply *reply) const noexcept
    {
        if (is_kept)
            return;
        scrub_registers();
        redis_freereply(reply);
    }
};

using reply_ptr = std::unique_ptr<redisReply, reply_deleter>;

struct kept_reply;

constexpr size_t kept_reply_buckets = 256;
constexpr size_t found_path_slots = 32;
constexpr auto deepest_hash = 1000; // levels; no model is nearly as deep

// A path without the values of its keys, and its schema path (schema/schema_path.h).
struct found_path {
    char *path;
    char *schema_path;
};

// Opened where a command begins. One that joins another is not even cleared.
struct command_reads {
    kept_reply *bucket[kept_reply_buckets];
    found_path found[found_path_slots]; // in pairs, by the hash of their paths; the last ones found
    char *lists_all;  // schema path of a node whose children are all listed, or null
    size_t kept_size; // bytes of names, values and what holds them

    command_reads();
    ~command_reads();
    command_reads(const command_reads &) = delete;
    command_reads &operator=(const command_reads &) = delete;
};

// Forgets what was read so far, before a wait that ends the command.
void command_reads_forget();

// The text of a reply of type string; a view without data for any other and for null.
std::string_view reply_string(const redisReply *reply);

// A field's reply, a string; null when there is none.
reply_ptr read_field(std::string_view hash, std::string_view field);

// A whole hash, an array of names and values in turn; null when there is none.
reply_ptr read_hash(std::string_view hash);
