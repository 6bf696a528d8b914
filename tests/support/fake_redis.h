// The schema database, played by a map in memory.
//
// It knows one connection and one set of hashes, whose fields keep the order in
// which they were put. Replies are built by hand as the true library builds
// them; what a test leaves unreleased can be counted.
#pragma once

#include <stdint.h>
#include <string>
#include <vector>

// Kinds of schema nodes, as records store them.
enum fake_kind {
    fake_module,
    fake_container,
    fake_leaf,
    fake_leaf_list,
    fake_list,
    fake_choice,
    fake_case,
    fake_rpc,
    fake_input
};

// Forgets every hash, every arranged failure and every count.
void fake_redis_reset();

// Puts a field into a hash; a field that is there already keeps its place.
void fake_redis_put(const std::string &hash, const std::string &field, const std::string &value);

// From now on hashes that a put changes are kept as they were; undoing puts them
// back, and what is put after that is kept again. A reset forgets them.
void fake_redis_keep_hashes();
void fake_redis_undo_puts();

// Removes a hash.
void fake_redis_remove(const std::string &hash);

// Builds a node record; an empty text is left out of the record.
std::string fake_node_record(int kind, bool config = true, const std::string &type_name = "",
                             const std::string &help = "");

// Puts a node record; short for put of fake_node_record.
void fake_redis_put_node(const std::string &parent, const std::string &name, int kind,
                         bool config = true, const std::string &type_name = "",
                         const std::string &help = "");

// Puts a module record (43 zero bytes, the namespace, a zero byte) into "/".
void fake_redis_put_module(const std::string &name, const std::string &name_space);

// What a call gets instead of its answer.
enum fake_reply {
    fake_reply_true,        // the answer
    fake_reply_null,        // a null pointer: lost connection, or nothing there
    fake_reply_nil,         // a reply of type nil
    fake_reply_error,       // a reply of type error
    fake_reply_integer,     // a reply of another type
    fake_reply_odd,         // an array with an odd count of elements
    fake_reply_mixed,       // an array with an element that is no string
    fake_reply_empty_array, // an array without elements
    fake_reply_repeated     // an array of 100 fields, of which one stands twice
};

// From now on reads of this hash get that reply, whatever the field.
void fake_redis_answer(const std::string &hash, fake_reply reply);

// After so many further reads, every read returns null (-1: never).
void fake_redis_fail_after(int reads);

// Whether redis_connect succeeds (it does after a reset).
void fake_redis_set_reachable(bool reachable);

// Counts since the reset: replies not yet released, connections not yet
// released, reads, and the database selected last (-1: none).
int fake_redis_open_replies();
int fake_redis_open_connections();
int fake_redis_reads();
int fake_redis_database();

// Names that were asked for and that no zero byte followed.
int fake_redis_unended_names();

// What has been asked for since the last call: "HGET hash field", "HGETALL hash".
std::vector<std::string> fake_redis_take_asked();
