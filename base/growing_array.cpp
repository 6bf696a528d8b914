#include "base/growing_array.h"

#include <stdlib.h>

namespace
{

constexpr size_t first_capacity = 2; // most lists have one key

} // namespace

void *array_make_room(void *array, size_t count, size_t *capacity, size_t entry_size)
{
    if (count + 1 < *capacity)
        return array;
    size_t wanted = first_capacity;
    size_t size = 0;
    if (*capacity > 0 && __builtin_mul_overflow(*capacity, size_t{2}, &wanted))
        return nullptr;
    if (__builtin_mul_overflow(wanted, entry_size, &size))
        return nullptr;
    void *grown = realloc(array, size);
    if (grown != nullptr)
        *capacity = wanted;
    return grown;
}
