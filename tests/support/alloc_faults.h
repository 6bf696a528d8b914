// Memory that runs out: the product's allocations fail where a test says so.
//
// A program that includes this header is linked with --wrap for each function
// below. Only calls of the thread that armed the fault count, and none made
// for the played platform or the log.
#ifndef VANDEL_TESTS_ALLOC_FAULTS_H
#define VANDEL_TESTS_ALLOC_FAULTS_H

#include <cerrno>
#include <cstdarg>
#include <cstddef>

struct redisReply;
struct redisContext;

inline thread_local long alloc_calls_left = -1; // -1: none fails
inline thread_local int alloc_suspended = 0;
inline thread_local bool alloc_failed = false;

inline bool alloc_fails()
{
    if (alloc_calls_left < 0 || alloc_suspended != 0) {
        return false;
    }
    if (alloc_calls_left > 0) {
        alloc_calls_left--;
        return false;
    }
    alloc_failed = true;
    errno = ENOMEM;
    return true;
}

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
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
    return alloc_fails() ? nullptr : __real_malloc(size);
}
void *__wrap_calloc(size_t count, size_t size)
{
    return alloc_fails() ? nullptr : __real_calloc(count, size);
}
void *__wrap_realloc(void *block, size_t size)
{
    return alloc_fails() ? nullptr : __real_realloc(block, size);
}
char *__wrap_strdup(const char *text)
{
    return alloc_fails() ? nullptr : __real_strdup(text);
}
char *__wrap_strndup(const char *text, size_t size)
{
    return alloc_fails() ? nullptr : __real_strndup(text, size);
}
int __wrap_vasprintf(char **text, const char *format, va_list arguments)
{
    return alloc_fails() ? -1 : __real_vasprintf(text, format, arguments);
}
// The next one, and the one after vsyslog, are what a fortified build calls.
int __wrap___vasprintf_chk(char **text, int flag, const char *format, va_list arguments)
{
    return alloc_fails() ? -1 : __real___vasprintf_chk(text, flag, format, arguments);
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
        if (!failed) {
            return failures;
        }
        failures++;
    }
}

#endif
