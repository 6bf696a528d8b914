// The schema as schemac stores it, every record checked for what no reader may meet.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "device/schemac/schema_writer.h"
#include "device/schemac/text_tools.h"
#include "tests/fuzz/fuzz_check.h"

// Hashes by their paths; name and record of each child, in the order of storing.
using fuzz_fields = std::vector<std::pair<std::string, std::string>>;
using fuzz_hashes = std::map<std::string, fuzz_fields>;

inline int fuzz_number_at(const std::string &record, size_t at)
{
    return static_cast<int16_t>(static_cast<unsigned char>(record[at]) |
                                static_cast<unsigned>(static_cast<unsigned char>(record[at + 1]))
                                    << 8);
}

// The text that begins at an offset of a node record's string area.
inline std::string fuzz_stored_text(const std::string &record, int offset)
{
    const auto start = static_cast<size_t>(offset) + 20;
    fuzz_require(offset >= 0 && start < record.size(), "a text begins in the record");
    fuzz_require(record.find('\0', start) != std::string::npos, "a text ends in the record");
    std::string text = record.c_str() + start;
    fuzz_require_equal(printable_text(text), text, "a text can be shown");
    return text;
}

inline std::string fuzz_stored_help(const std::string &record)
{
    return fuzz_stored_text(record, fuzz_number_at(record, 12));
}

inline std::string fuzz_stored_type(const std::string &record)
{
    return fuzz_stored_text(record, fuzz_number_at(record, 14));
}

inline void fuzz_check_record(const std::string &record)
{
    fuzz_require(record.size() > 20, "a node record has a string area");
    const unsigned flags = static_cast<unsigned>(fuzz_number_at(record, 0));
    fuzz_require((flags >> 6 & 31) >= 1 && (flags >> 6 & 31) <= 8, "the kind is a node's");
    fuzz_require(static_cast<size_t>(fuzz_number_at(record, 18)) == record.size() - 20,
                 "the bound is the size of the string area");
    fuzz_stored_help(record);
    fuzz_stored_type(record);
}

inline void fuzz_take_hash(const content_hash &hash, const std::string &top, fuzz_hashes *hashes)
{
    const std::string &key = hash.key;
    const auto fields = content_fields(hash.words);
    fuzz_require(hash.count > 0 && fields.size() == hash.count, "a hash has a field");
    fuzz_require(key[0] == '/' && key.find('\0') == std::string::npos, "under a path");
    if (key.compare(0, top.size(), top) != 0)
        return;
    for (const auto &field : fields) {
        const std::string name(field.first);
        const std::string record(field.second);
        fuzz_require(!name.empty() && name.find_first_of("/[] ") == std::string::npos,
                     "a child has a name");
        if (key == "/")
            fuzz_require(record.size() > 43 && record.back() == '\0', "a module has a namespace");
        else
            fuzz_check_record(record);
        (*hashes)[key].emplace_back(name, record);
    }
}

// What is stored for a context, the hashes whose path begins with `top`.
inline fuzz_hashes fuzz_stored_schema(const ly_ctx *context,
                                      const std::vector<module_request> &requests,
                                      const std::string &top)
{
    fuzz_hashes hashes;
    std::vector<std::string> keys;
    write_schema(
        context, requests, content_keys,
        [&](const content_hash &hash) { keys.push_back(hash.key); }, [](const write_progress &) {});
    size_t count = 0;
    write_schema(
        context, requests, content_values,
        [&](const content_hash &hash) {
            fuzz_require(count < keys.size() && keys[count++] == hash.key,
                         "the keys are those told");
            fuzz_take_hash(hash, top, &hashes);
        },
        [](const write_progress &) {});
    fuzz_require(count == keys.size(), "all keys come");
    return hashes;
}
