// The memory of libxml2, whose allocations seem never to fail.
//
// libxml2 does not survive every allocation that fails: here it frees a block
// twice, there it loses some, and it may hand out half a document. So when the
// heap has nothing left, a reserve lends what the operation under way still
// needs, and the caller, who is told, discards its result.
#pragma once

// Makes libxml2 allocate here; called before anything else of it is used.
void xml_memory_init();

// Gives a block of it back; null is none.
void xml_memory_release(void *block);

// Watches the calling thread's allocations for libxml2 from here on.
void xml_memory_watch();

// Whether the heap had nothing for one of them since then.
bool xml_memory_ran_out();
