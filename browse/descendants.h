// The children of a data node: from the schema, from the server, and staged.
//
// A descendant set owns everything in it and is emptied at the end of its
// scope. Names are masked (schema/masking.h).
#pragma once

#include <string_view>

#include "arena.h"
#include "schema/place.h"

struct descendant {
    descendant *next;
    char *name;
    schema_record *record; // at least node_record_minimum bytes
};

struct case_entry;
struct choice_entry;

// Nodes and choices stand in the reverse of the order in which they were found.
struct descendant_set {
    descendant *nodes = nullptr;
    choice_entry *choices = nullptr;
    arena memory; // of the nodes

    descendant_set() = default;
    ~descendant_set();
    descendant_set(const descendant_set &) = delete;
    descendant_set &operator=(const descendant_set &) = delete;
};

// A case of a choice, in the order of the database.
struct case_entry {
    case_entry *next = nullptr;
    descendant_set children;
    bool active = false; // the server holds data of it
};

struct choice_entry {
    choice_entry *next = nullptr;
    case_entry *cases = nullptr;
};

// Puts a node with a copy of these bytes as its record at the head of the set; 0, or -1
// when memory runs out.
int descendants_add(descendant_set *set, std::string_view name, std::string_view record);

// The children of the node at a place, into an empty set: those of the schema; for a
// list without predicate its entries, staged ones and those on the server; nothing
// for other nodes. 0, or -1 (logged) when there is no such node, the server's answer
// is no use, or memory runs out. A list that the server cannot tell about still has
// its staged entries.
int descendants_of(const place &at, descendant_set *set);

// The children of a schema node. data_path is its data path, whose data on the
// server decide which cases are active. 0 or -1; a missing hash has none.
int schema_children(const char *schema_path, const char *data_path, descendant_set *set);

// The first active case of a choice, or null.
const case_entry *choice_active_case(const choice_entry *choice);

// Whether the set holds a node with this name. In a choice with an active
// case only that case counts, otherwise all of its cases.
bool descendants_reach(const descendant_set *set, const char *name);
