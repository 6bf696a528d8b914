// The reserve is a stack of blocks that only grows, until the last block in use
// is given back and it is empty again. Operations on small documents fit. One
// that does not sees the allocation fail after all, as does every further one,
// which is the case that libxml2 handles best.
#include "link/xml_memory.h"

#include <malloc.h>
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "bounded.h"
#include "link/xml_library.h"

namespace
{

constexpr size_t reserve_size = 131072;
constexpr size_t alignment = alignof(max_align_t);

// Stands before each block of the reserve.
struct alignas(max_align_t) block_header {
    size_t size;
};

struct reserve_state {
    pthread_mutex_t mutex; // both threads use libxml2
    size_t used;
    size_t blocks;
    alignas(max_align_t) unsigned char bytes[reserve_size];
};

reserve_state reserve = {PTHREAD_MUTEX_INITIALIZER, 0, 0, {}};
thread_local bool ran_out;

bool is_lent(const void *block)
{
    const uintptr_t at = reinterpret_cast<uintptr_t>(block);
    const uintptr_t start = reinterpret_cast<uintptr_t>(reserve.bytes);
    return at >= start && at < start + reserve_size;
}

size_t lent_size(const void *block)
{
    return (static_cast<const block_header *>(block) - 1)->size;
}

void *lend(size_t size)
{
    ran_out = true;
    if (size > reserve_size)
        return nullptr;
    const size_t rounded = (size + alignment - 1) / alignment * alignment;
    const size_t needed = sizeof(block_header) + rounded;
    void *block = nullptr;
    pthread_mutex_lock(&reserve.mutex);
    if (needed <= reserve_size - reserve.used) {
        auto *header = reinterpret_cast<block_header *>(reserve.bytes + reserve.used);
        header->size = size;
        block = header + 1;
        reserve.used += needed;
        reserve.blocks++;
    }
    pthread_mutex_unlock(&reserve.mutex);
    return block;
}

void take_back()
{
    pthread_mutex_lock(&reserve.mutex);
    reserve.blocks--;
    if (reserve.blocks == 0)
        reserve.used = 0;
    pthread_mutex_unlock(&reserve.mutex);
}

void *allocate(size_t size)
{
    void *block = malloc(size);
    return block != nullptr ? block : lend(size);
}

void *reallocate(void *block, size_t size)
{
    if (block == nullptr)
        return allocate(size);
    void *grown = is_lent(block) ? nullptr : realloc(block, size);
    if (grown != nullptr)
        return grown;
    const size_t used = is_lent(block) ? lent_size(block) : malloc_usable_size(block);
    void *moved = lend(size);
    if (moved != nullptr) {
        memcpy_s(moved, size, block, used < size ? used : size);
        xml_memory_release(block);
    }
    return moved;
}

char *duplicate(const char *text)
{
    const size_t size = strlen(text) + 1;
    char *copy = static_cast<char *>(allocate(size));
    if (copy != nullptr)
        memcpy_s(copy, size, text, size);
    return copy;
}

} // namespace

void xml_memory_release(void *block)
{
    if (is_lent(block))
        take_back();
    else
        free(block);
}

void xml_memory_init()
{
    libxml2.mem_setup(xml_memory_release, allocate, reallocate, duplicate);
}

void xml_memory_watch()
{
    ran_out = false;
}

bool xml_memory_ran_out()
{
    return ran_out;
}
