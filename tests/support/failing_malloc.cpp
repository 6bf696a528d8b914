// Preloaded into a program: one of its allocations finds no memory.
//
//     FAILING_ALLOCATION=N    the N-th call of malloc, calloc or realloc gives null
//     ALLOCATIONS_TO=FILE     how many calls there were is written there at the end
//
// Calls count from the moment in which libraries are initialised, those of all
// threads together, and those that libraries make too. Those inside getpwuid and
// dlopen do not: where the C library looks for a user, or knows a symbol of C++, it
// ends the process by itself when there is no memory.
#include <atomic>
#include <dlfcn.h>
#include <errno.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
}

namespace
{

std::atomic<unsigned long> calls_made;
unsigned long failing_call; // 0: none
std::atomic<bool> ends_by_itself;

} // namespace

__attribute__((constructor)) static void start_counting()
{
    const char *number = getenv("FAILING_ALLOCATION");
    calls_made = 0;
    failing_call = number != nullptr ? strtoul(number, nullptr, 10) : 0;
}

__attribute__((destructor)) static void tell()
{
    const unsigned long calls = calls_made;
    const char *name = getenv("ALLOCATIONS_TO");
    FILE *file = name != nullptr ? fopen(name, "we") : nullptr;
    if (file != nullptr) {
        fprintf(file, "%lu\n", calls);
        fclose(file);
    }
}

namespace
{

bool fails()
{
    if (ends_by_itself || ++calls_made != failing_call)
        return false;
    errno = ENOMEM;
    return true;
}

} // namespace

extern "C" void *malloc(size_t size)
{
    return fails() ? nullptr : __libc_malloc(size);
}

extern "C" void *calloc(size_t count, size_t size)
{
    return fails() ? nullptr : __libc_calloc(count, size);
}

extern "C" void *realloc(void *block, size_t size)
{
    return fails() ? nullptr : __libc_realloc(block, size);
}

extern "C" passwd *getpwuid(uid_t user)
{
    using look_up = passwd *(uid_t);
    auto *real = reinterpret_cast<look_up *>(dlsym(RTLD_NEXT, "getpwuid"));
    ends_by_itself = true;
    passwd *found = real(user);
    ends_by_itself = false;
    return found;
}

extern "C" void *dlopen(const char *name, int flags) noexcept
{
    using load = void *(const char *, int);
    auto *real = reinterpret_cast<load *>(dlsym(RTLD_NEXT, "dlopen"));
    ends_by_itself = true;
    void *library = real(name, flags);
    ends_by_itself = false;
    return library;
}
