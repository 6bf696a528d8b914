// libyang asks for nothing but what stands in import and include statements, so
// following these finds every text that it may read, without compiling. Where
// modules are looked for is no part of the digest: what is found there is.
#include "device/schemac/origin.h"

#include <unordered_set>

#include "device/schemac/database.h"
#include "device/schemac/digest.h"
#include "device/schemac/notes.h"

namespace
{

constexpr char digest_field[] = "digest";

// Each text with its length, so that no two lists of texts look the same.
void add_text(uint64_t *digest, const std::string &text)
{
    *digest = digest_add(digest_add(*digest, std::to_string(text.size()) + ":"), text);
}

// A list of texts, with their number.
template <class texts>
void add_texts(uint64_t *digest, const texts &all)
{
    add_text(digest, std::to_string(all.size()));
    for (const auto &text : all)
        add_text(digest, text);
}

// The sources that these modules need, each once, they themselves first.
void add_sources(uint64_t *digest, source_index *index, std::vector<module_request> wanted)
{
    std::unordered_set<const yang_source *> seen;
    for (size_t i = 0; i < wanted.size(); i++) {
        const std::string name = wanted[i].name; // the list grows
        const yang_source *source = source_index_find(index, name, wanted[i].revision);
        if (source == nullptr || !seen.insert(source).second)
            continue;
        add_text(digest, name);
        add_text(digest, source->text);
        for (const yang_dependency &one : source->dependencies)
            wanted.push_back({one.name, one.revision, {}});
    }
}

} // namespace

std::string origin_digest(const schemac_options *options, source_index *index,
                          const std::vector<module_request> &requests, const char *version)
{
    uint64_t digest = digest_of_nothing;
    add_text(&digest, version);
    add_text(&digest, options->features.is_all ? "all features" : "");
    add_texts(&digest, options->modules);
    for (const module_request &request : requests) {
        add_text(&digest, request.name);
        add_text(&digest, request.revision);
        add_texts(&digest, request.features);
    }
    add_sources(&digest, index, requests);
    return std::to_string(digest);
}

bool origin_is_stored(const redis_endpoint *endpoint, const std::string &digest)
{
    std::string cause;
    const connection_ptr connection = database_open(endpoint, &cause);
    if (connection == nullptr ||
        redisAppendCommand(connection.get(), "HGET %s %s", note_origin, digest_field) != REDIS_OK)
        return false;
    const database_reply reply = database_take(connection.get(), &cause);
    return reply != nullptr && reply->type == REDIS_REPLY_STRING &&
           std::string(reply->str, reply->len) == digest;
}

void origin_tell(const std::string &digest, const hash_sink &sink)
{
    content_hash note = {note_origin, 0, ""};
    content_add_field(&note, digest_field, digest);
    sink(note);
}
