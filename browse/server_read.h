// What the shell asks the server for its own use: whether data exist, and which
// entries a list has.
//
// Paths are masked. Failures are logged, never shown to the operator.
#pragma once

struct descendant_list;
struct place;

// Whether the running datastore holds data at the path.
bool server_has_data(const char *path);

// Whether a list has an entry of this name in the running datastore, and all of its
// entries there can be told.
bool server_has_entry(const place &list, const char *name);

// The entries of a list in the running datastore, into an empty list, as nodes
// of kind list. 0, or -1 when they cannot be told, and then the list is of no
// use. A server without entries is success.
int server_list_entries(const place &list, descendant_list *entries);
