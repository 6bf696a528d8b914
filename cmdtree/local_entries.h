// The list entries that were added here and are not yet committed.
//
// An index by list path beside the command tree: it keeps an entry from being
// staged twice and is what the profile writes as "add" lines. Paths and keys
// are masked (schema/masking.h) and compared whole. Newest records and entries
// come first; beside the links stand indexes, so that finding one does not walk them.
// The store owns copies of all texts.
#pragma once

struct list_entry {
    list_entry *next;
    list_entry **pprev; // address of the link that points at this entry
    char key[];
};

struct list_record {
    list_record *next;
    list_record **pprev; // address of the link that points at this record
    list_entry *entries;
    void *index; // of the entries by key, a tree of search.h
    char path[]; // of the list, without predicate
};

// 1 when the entry with this key is stored under the list, else 0.
int local_entries_has(const char *list_path, const char *key);

// Stores an entry; 0 (also when it is there already), or -1 when memory runs
// out.
int local_entries_add(const char *list_path, const char *key);

// Forgets entries. With a path those of the lists at or below it, without one
// all, and the store itself; with a key at most one entry, the first in store
// order. The record of a list that lost its last entry this way stays.
void local_entries_forget(const char *path, const char *key);

// Forgets those that a deleted path stands for: the entry itself when the path's last
// predicate names one, all below the path when it holds no predicate.
void local_entries_forget_deleted(const char *path);
