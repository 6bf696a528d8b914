// The session record: the one process-wide state of the shell.
//
// Plain data, statically zero-initialised and without destructors: the
// notification listener is detached and may still run while main returns. Each
// group of fields is given its meaning by the part of the code that is named
// beside it. Everything but `lock`, `listen_fds` and `server_fd` is touched by
// the main thread only.
#pragma once

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/select.h>

struct cmd_node;
struct output_chunk;
struct listing_entry;
struct list_record;
struct command_reads;
struct known_entries;
struct tinyrl;
struct redisContext;

// Command nodes in the order in which they were staged. `tail` is the address
// of the link that ends the list, null for a log that was never used.
struct command_log {
    cmd_node *first;
    cmd_node **tail;
};

// Hash buckets of the nodes of one command tree (cmdtree/tree_index.h).
struct tree_index {
    cmd_node **buckets;
    size_t bucket_count;
    size_t node_count;
};

// One tree of staged changes (cmdtree/tree.h).
struct command_tree {
    cmd_node *root; // null when nothing is staged
    tree_index index;
    command_log log;
};

constexpr unsigned output_chunk_slots = 16;

// Serialised XML in chunks of growing size (cmdtree/chunk_pool.h).
struct chunk_pool {
    output_chunk *slot[output_chunk_slots];
    unsigned current;
};

// The listing that `ls` prints (base/columns.h).
struct listing_state {
    unsigned width; // 0 until COLUMNS has been read
    unsigned max_columns;
    listing_entry *entries;
    size_t count;
    size_t capacity;
};

struct session_record {
    uint32_t reserved0;
    char *rpc_path;           // owned, masked; null outside RPC mode (commands/rpc_mode.h)
    char *pwd;                // owned; the workspace (commands/workspace.h)
    uint32_t message_id;      // NETCONF message-id of the next request
    command_tree config_tree; // staged configuration
    command_tree rpc_tree;    // staged input of the current rpc
    chunk_pool output;
    listing_state listing;
    char *prompt; // owned
    int quit;     // non-zero ends the interactive loop before the next read
    int oneshot;  // 1 while one command is run from the arguments
    struct tinyrl *tinyrl;
    uint16_t send_seq;            // sequence of the next frame (link/exchange.h)
    fd_set listen_fds;            // the listener's descriptors (link/listener.h)
    pthread_mutex_t lock;         // the exchange lock (link/exchange_lock.h)
    int session_id;               // given by the daemon
    redisContext *redis;          // the schema database (schema/database.h)
    command_reads *reads;         // what the current command has read there; null for none
    known_entries *entries_known; // of a list on the server (browse/known_entries.h), or null
    list_record **entries; // head cell of the list entries added here (cmdtree/local_entries.h)
    void *entry_index;     // of these by list path, a tree of search.h
    int profile_refused;   // 1 once the log says what the profile is (profile/profile_file.h)
};

extern session_record session;

// The socket to the daemon; frames are sent only while it is greater than 0.
extern int server_fd;
