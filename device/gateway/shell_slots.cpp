// What is said is said before the others are asked, so that of two processes at
// least one sees the other.
#include "device/gateway/shell_slots.h"

#include <sys/mman.h>

int shell_slots_open(shell_slots *slots, size_t count, uint32_t most)
{
    void *block = mmap(nullptr, count * sizeof(shell_slot), PROT_READ | PROT_WRITE,
                       MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED)
        return -1;
    *slots = {static_cast<shell_slot *>(block), count, most};
    return 0;
}

namespace
{

uint32_t bounded(size_t held)
{
    return held < UINT32_MAX ? static_cast<uint32_t>(held) : UINT32_MAX;
}

} // namespace

int shell_slots_hold(const shell_slots *slots, size_t at, size_t held)
{
    if (slots->list == nullptr)
        return 0;
    const uint32_t before = slots->list[at].held.exchange(bounded(held));
    uint64_t sum = 0;
    for (size_t each = 0; each < slots->count; each++)
        sum += slots->list[each].held;
    if (sum <= slots->most)
        return 0;
    slots->list[at].held = before;
    return -1;
}

void shell_slots_set(const shell_slots *slots, size_t at, size_t held)
{
    if (slots->list != nullptr)
        slots->list[at].held = bounded(held);
}

void shell_slots_tell(const shell_slots *slots, size_t at, size_t session, int32_t command)
{
    if (slots->list != nullptr)
        slots->list[at].commands[session] = command;
}
