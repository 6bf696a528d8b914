// What the processes of a gateway know of one another: how much of requests each holds,
// and which command it has started.
//
// The slots stand in memory that all of them share. A process writes only its own slot; the
// listening one clears a slot when its process has ended, however it did.
#pragma once

#include <atomic>
#include <stddef.h>
#include <stdint.h>

struct shell_slot {
    std::atomic<uint32_t> held; // bytes of requests
    // The process ids of both sessions' commands, which are their groups', too; 0: none.
    std::atomic<int32_t> commands[2];
};
static_assert(std::atomic<uint32_t>::is_always_lock_free, "slots are shared by processes");

// All zero: no other process, which may hold as much as it likes.
struct shell_slots {
    shell_slot *list;
    size_t count;
    uint32_t most; // bytes that all may hold together
};

// Makes count slots, which stay until the process ends. 0, or -1 with errno.
int shell_slots_open(shell_slots *slots, size_t count, uint32_t most);

// Says that the slot's process holds so much, unless all then held more than they may. 0, or
// -1: they would, and nothing is changed. Of two processes that take the last room at the same
// time both may be told so.
int shell_slots_hold(const shell_slots *slots, size_t at, size_t held);

// Says that it holds so much, which is no more than before or always allowed.
void shell_slots_set(const shell_slots *slots, size_t at, size_t held);

// Says which command a session of it, 0 or 1, has.
void shell_slots_tell(const shell_slots *slots, size_t at, size_t session, int32_t command);
