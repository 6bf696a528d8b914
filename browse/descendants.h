// The children of a data node: from the schema, from the server, and staged.
//
// Names are masked (schema/masking.h).
#pragma once

#include <string_view>

#include "arena.h"
#include "schema/place.h"

struct descendant {
    descendant *next;
    char *name;
    schema_record *record; // at least node_record_minimum bytes
};

struct choice_entry;

// Nodes and choices stand in the reverse of the order in which they were found.
struct descendant_list {
    arena *memory; // of all in it
    descendant *nodes = nullptr;
    choice_entry *choices = nullptr;
};

// A list that owns everything in it, and in the lists of its cases.
struct descendant_set : descendant_list {
    arena own;

    descendant_set()
    {
        memory = &own;
    }
};

// A case of a choice, in the order of the database.
struct case_entry {
    case_entry *next;
    descendant_list children;
    bool active; // the server holds data of it
};

struct choice_entry {
    choice_entry *next;
    case_entry *cases;
};

// Puts a node with a copy of these bytes as its record at the head of the list; 0, or -1
// when memory runs out.
int descendants_add(descendant_list *set, std::string_view name, std::string_view record);

// The children of the node at a place, into an empty list: those of the schema; for a
// list without predicate its entries, staged ones and those on the server; nothing
// for other nodes. 0, or -1 (logged) when there is no such node, the server's answer
// is no use, or memory runs out. A list that the server cannot tell about still has
// its staged entries.
int descendants_of(const place &at, descendant_list *set);

// The children of a schema node. data_path is its data path, whose data on the
// server decide which cases are active. 0 or -1; a missing hash has none.
int schema_children(const char *schema_path, const char *data_path, descendant_list *set);

// The first active case of a choice, or null.
const case_entry *choice_active_case(const choice_entry *choice);

// Whether the list holds a node with this name. In a choice with an active
// case only that case counts, otherwise all of its cases.
bool descendants_reach(const descendant_list *set, const char *name);
