#include "heap.h"

#include <string.h>

#include "bounded.h"
#include "scrub.h"

void block_wipe(void *block, size_t size)
{
    if (block == nullptr)
        return;
    memset_s(block, size, 0, size);
    scrub_registers();
}

void text_wipe(char *text)
{
    if (text != nullptr)
        block_wipe(text, strlen(text));
}

void block_free(void *block, size_t size)
{
    block_wipe(block, size);
    free(block);
}

void text_free(char *text)
{
    text_wipe(text);
    free(text);
}
