// Memory that runs out: the product's allocations fail where a test says so.
//
// A program that includes this header is linked with --wrap for each function
// below. Only calls of the thread that armed the fault count, and none made
// for the played platform or the log. Those that
// libxml2 makes count apart: their number differs from run to run, because its hash
// tables are seeded at random.
#pragma once

#include <atomic>
#include <errno.h>
#include <libxml/parser.h>
#include <libxml/xpathInternals.h>
#include <malloc.h>
#include <stdarg.h>
#include <stddef.h>
#include <string.h>

struct redisReply;
struct redisContext;

inline thread_local long alloc_calls_left = -1;        // -1: none fails
inline thread_local bool alloc_fails_once = false;     // and those after it succeed
inline thread_local bool alloc_counts_libxml2 = false; // in place of all others
inline thread_local int alloc_in_libxml2 = 0;
inline thread_local int alloc_suspended = 0;
inline thread_local bool alloc_failed = false;
inline std::atomic<long> alloc_blocks = 0; // in use, as far as this program allocated them
inline std::atomic<long> alloc_bytes = 0;  // in them
inline std::atomic<long> alloc_most_bytes = 0;

inline bool alloc_fails()
{
    if (alloc_calls_left < 0 || alloc_suspended != 0)
        return false;
    if (alloc_calls_left > 0) {
        alloc_calls_left -= alloc_counts_libxml2 == (alloc_in_libxml2 != 0) ? 1 : 0;
        return false;
    }
    if (!alloc_failed && alloc_counts_libxml2 != (alloc_in_libxml2 != 0))
        return false;
    alloc_failed = true;
    alloc_calls_left = alloc_fails_once ? -1 : 0;
    errno = ENOMEM;
    return true;
}

inline long alloc_size(void *block)
{
    return static_cast<long>(malloc_usable_size(block));
}

inline void alloc_count_bytes(long change)
{
    alloc_bytes += change;
    if (alloc_bytes > alloc_most_bytes)
        alloc_most_bytes = alloc_bytes.load();
}

template <class T>
T *alloc_counted(T *block)
{
    alloc_blocks += block != nullptr ? 1 : 0;
    alloc_count_bytes(alloc_size(block));
    return block;
}

// A function of libxml2, with the allocations that it makes counted as libxml2's.
template <auto *function>
struct alloc_in;
template <class Result, class... Arguments, Result (*function)(Arguments...)>
struct alloc_in<function> {
    static Result call(Arguments... arguments)
    {
        alloc_in_libxml2++;
        Result result = function(arguments...);
        alloc_in_libxml2--;
        return result;
    }
};

struct alloc_watched_function {
    const char *name;
    void (*stand_in)();
};

template <auto *function>
alloc_watched_function alloc_watch(const char *name)
{
    return {name, reinterpret_cast<void (*)()>(alloc_in<function>::call)};
}

inline const alloc_watched_function alloc_watched[] = {
    alloc_watch<xmlReadMemory>("xmlReadMemory"),
    alloc_watch<xmlNewParserCtxt>("xmlNewParserCtxt"),
    alloc_watch<xmlCtxtReadMemory>("xmlCtxtReadMemory"),
    alloc_watch<xmlXPathNewContext>("xmlXPathNewContext"),
    alloc_watch<xmlXPathRegisterNs>("xmlXPathRegisterNs"),
    alloc_watch<xmlXPathEvalExpression>("xmlXPathEvalExpression"),
    alloc_watch<xmlNodeGetContent>("xmlNodeGetContent"),
};

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
char *__real_strdup(const char *text);
char *__real_strndup(const char *text, size_t size);
int __real_vasprintf(char **text, const char *format, va_list arguments);
int __real___vasprintf_chk(char **text, int flag, const char *format, va_list arguments);
void __real_vsyslog(int priority, const char *format, va_list arguments);
void __real___vsyslog_chk(int priority, int flag, const char *format, va_list arguments);
redisReply *__real_redis_hash_get_bin_safe(redisContext *connection, const char *hash,
                                           size_t hash_length, const char *field,
                                           size_t field_length);
redisReply *__real_redis_hash_get_all_bin_safe(redisContext *connection, const char *hash,
                                               size_t hash_length);

void *__wrap_malloc(size_t size)
{
    return alloc_fails() ? nullptr : alloc_counted(__real_malloc(size));
}
void *__wrap_calloc(size_t count, size_t size)
{
    return alloc_fails() ? nullptr : alloc_counted(__real_calloc(count, size));
}
void *__wrap_realloc(void *block, size_t size)
{
    if (alloc_fails())
        return nullptr;
    const long old_size = alloc_size(block);
    void *grown = __real_realloc(block, size);
    if (block == nullptr)
        return alloc_counted(grown);
    alloc_count_bytes(grown != nullptr ? alloc_size(grown) - old_size : 0);
    return grown;
}
void __wrap_free(void *block)
{
    alloc_blocks -= block != nullptr ? 1 : 0;
    alloc_count_bytes(-alloc_size(block));
    __real_free(block);
}
char *__wrap_strdup(const char *text)
{
    return alloc_fails() ? nullptr : alloc_counted(__real_strdup(text));
}
char *__wrap_strndup(const char *text, size_t size)
{
    return alloc_fails() ? nullptr : alloc_counted(__real_strndup(text, size));
}
int __wrap_vasprintf(char **text, const char *format, va_list arguments)
{
    int length = alloc_fails() ? -1 : __real_vasprintf(text, format, arguments);
    alloc_counted(length >= 0 ? *text : nullptr);
    return length;
}
// The next one, and the one after vsyslog, are what a fortified build calls.
int __wrap___vasprintf_chk(char **text, int flag, const char *format, va_list arguments)
{
    int length = alloc_fails() ? -1 : __real___vasprintf_chk(text, flag, format, arguments);
    alloc_counted(length >= 0 ? *text : nullptr);
    return length;
}
void __wrap_vsyslog(int priority, const char *format, va_list arguments)
{
    alloc_suspended++;
    __real_vsyslog(priority, format, arguments);
    alloc_suspended--;
}
void __wrap___vsyslog_chk(int priority, int flag, const char *format, va_list arguments)
{
    alloc_suspended++;
    __real___vsyslog_chk(priority, flag, format, arguments);
    alloc_suspended--;
}
void *__real_dlsym(void *from, const char *name);
void *__wrap_dlsym(void *from, const char *name)
{
    for (const alloc_watched_function &watched : alloc_watched) {
        if (strcmp(watched.name, name) == 0)
            return reinterpret_cast<void *>(watched.stand_in);
    }
    return __real_dlsym(from, name);
}
redisReply *__wrap_redis_hash_get_bin_safe(redisContext *connection, const char *hash,
                                           size_t hash_length, const char *field,
                                           size_t field_length)
{
    alloc_suspended++;
    redisReply *reply =
        __real_redis_hash_get_bin_safe(connection, hash, hash_length, field, field_length);
    alloc_suspended--;
    return reply;
}
redisReply *__wrap_redis_hash_get_all_bin_safe(redisContext *connection, const char *hash,
                                               size_t hash_length)
{
    alloc_suspended++;
    redisReply *reply = __real_redis_hash_get_all_bin_safe(connection, hash, hash_length);
    alloc_suspended--;
    return reply;
}
}

// Lets an action run with its first allocation failing, then its second, and so
// on until it makes none that fails; returns how many failed. `before` puts
// things in order for each run, `after` looks at what is left.
template <class Before, class Action, class After>
long with_each_allocation_failing(Before before, Action action, After after)
{
    long failures = 0;
    for (long calls = 0;; calls++) {
        before();
        alloc_failed = false;
        alloc_calls_left = calls;
        action();
        alloc_calls_left = -1;
        bool failed = alloc_failed;
        after(failed);
        if (!failed)
            return failures;
        failures++;
    }
}
