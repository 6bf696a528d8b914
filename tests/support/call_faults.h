// Calls that fail: those of the system and of the platform, where a test says so.
//
// A program that includes this header is linked with --wrap for each function
// below. Only calls of the thread that armed the fault count.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "redisapi.h"

enum call_fault_kind {
    fault_error, // fails with the error number
    fault_short, // does half of what was asked
    fault_end,   // finds the end
    fault_type,  // a reply of the database has a wrong type
    fault_cut    // a reply of the database has lost most of its bytes
};

struct call_fault {
    const char *function;
    call_fault_kind kind;
    int error;
};

inline thread_local const call_fault *call_armed = nullptr;
inline thread_local long call_calls_left = 0;
inline thread_local bool call_failed = false;
inline thread_local int call_descriptor = -1; // the only one that reads fail on; -1: any

// Lets the call with this number (from 0) of the fault's function fail, once.
inline void call_arm(const call_fault *fault, long calls)
{
    call_armed = fault;
    call_calls_left = calls;
    call_failed = false;
}

// The fault that this call is to show; null for none.
inline const call_fault *call_fault_of(const char *function)
{
    if (call_armed == nullptr || strcmp(call_armed->function, function) != 0 ||
        call_calls_left-- > 0)
        return nullptr;
    const call_fault *fault = call_armed;
    call_armed = nullptr;
    call_failed = true;
    errno = fault->error;
    return fault;
}

// The result of a call that transfers bytes and is to fail.
template <class Transfer>
ssize_t call_transfer(const call_fault *fault, size_t size, Transfer transfer)
{
    switch (fault->kind) {
    case fault_short:
        return transfer(size / 2);
    case fault_end:
        return 0;
    default:
        return -1;
    }
}

extern "C" {
ssize_t __real_read(int fd, void *into, size_t size);
ssize_t __real_write(int fd, const void *from, size_t size);
int __real_open64(const char *path, int flags, ...);
int __real_fstat64(int fd, struct stat64 *status);
int __real_lstat64(const char *path, struct stat64 *status);
int __real_close(int fd);
ssize_t __real_pread64(int fd, void *into, size_t size, off64_t offset);
ssize_t __real_pwrite64(int fd, const void *from, size_t size, off64_t offset);
int __real_ftruncate64(int fd, off64_t size);
int __real_fchmod(int fd, mode_t mode);
int __real_unlink(const char *path);
int __real_access(const char *path, int mode);
redisReply *__real_redis_hash_get_bin_safe(redisContext *connection, const char *hash,
                                           size_t hash_length, const char *field,
                                           size_t field_length);
redisReply *__real_redis_hash_get_all_bin_safe(redisContext *connection, const char *hash,
                                               size_t hash_length);

ssize_t __wrap_read(int fd, void *into, size_t size)
{
    const bool counts = call_descriptor < 0 || call_descriptor == fd;
    const call_fault *fault = counts ? call_fault_of("read") : nullptr;
    return fault == nullptr ? __real_read(fd, into, size)
                            : call_transfer(fault, size, [&](size_t half) {
                                  return __real_read(fd, into, half);
                              });
}
// Half a frame is never answered: the connection ends with it.
ssize_t __wrap_write(int fd, const void *from, size_t size)
{
    const call_fault *fault = call_fault_of("write");
    if (fault == nullptr)
        return __real_write(fd, from, size);
    return call_transfer(fault, size, [&](size_t half) {
        const ssize_t written = __real_write(fd, from, half);
        shutdown(fd, SHUT_RDWR);
        return written;
    });
}
int __wrap_open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return call_fault_of("open") != nullptr ? -1 : __real_open64(path, flags, mode);
}
int __wrap_fstat64(int fd, struct stat64 *status)
{
    return call_fault_of("fstat") != nullptr ? -1 : __real_fstat64(fd, status);
}
int __wrap_lstat64(const char *path, struct stat64 *status)
{
    return call_fault_of("lstat") != nullptr ? -1 : __real_lstat64(path, status);
}
int __wrap_close(int fd)
{
    const int result = __real_close(fd);
    return call_fault_of("close") != nullptr ? -1 : result;
}
ssize_t __wrap_pread64(int fd, void *into, size_t size, off64_t offset)
{
    const call_fault *fault = call_fault_of("pread");
    return fault == nullptr ? __real_pread64(fd, into, size, offset)
                            : call_transfer(fault, size, [&](size_t half) {
                                  return __real_pread64(fd, into, half, offset);
                              });
}
ssize_t __wrap_pwrite64(int fd, const void *from, size_t size, off64_t offset)
{
    const call_fault *fault = call_fault_of("pwrite");
    return fault == nullptr ? __real_pwrite64(fd, from, size, offset)
                            : call_transfer(fault, size, [&](size_t half) {
                                  return __real_pwrite64(fd, from, half, offset);
                              });
}
int __wrap_ftruncate64(int fd, off64_t size)
{
    return call_fault_of("ftruncate") != nullptr ? -1 : __real_ftruncate64(fd, size);
}
int __wrap_fchmod(int fd, mode_t mode)
{
    return call_fault_of("fchmod") != nullptr ? -1 : __real_fchmod(fd, mode);
}
int __wrap_unlink(const char *path)
{
    return call_fault_of("unlink") != nullptr ? -1 : __real_unlink(path);
}
int __wrap_access(const char *path, int mode)
{
    return call_fault_of("access") != nullptr ? -1 : __real_access(path, mode);
}

// A reply as a database gives it that was filled wrongly.
inline redisReply *call_spoiled(const call_fault *fault, redisReply *reply)
{
    if (reply != nullptr && (fault->kind == fault_error || fault->kind == fault_end)) {
        redis_freereply(reply);
        return nullptr;
    }
    if (reply == nullptr)
        return nullptr;
    redisReply *last = reply->elements > 0 ? reply->element[reply->elements - 1] : reply;
    if (fault->kind == fault_type)
        last->type = REDIS_REPLY_INTEGER;
    else
        last->len = last->len < 7 ? 0 : 7;
    return reply;
}
redisReply *__wrap_redis_hash_get_bin_safe(redisContext *connection, const char *hash,
                                           size_t hash_length, const char *field,
                                           size_t field_length)
{
    redisReply *reply =
        __real_redis_hash_get_bin_safe(connection, hash, hash_length, field, field_length);
    const call_fault *fault = call_fault_of("redis");
    return fault != nullptr ? call_spoiled(fault, reply) : reply;
}
redisReply *__wrap_redis_hash_get_all_bin_safe(redisContext *connection, const char *hash,
                                               size_t hash_length)
{
    redisReply *reply = __real_redis_hash_get_all_bin_safe(connection, hash, hash_length);
    const call_fault *fault = call_fault_of("redis");
    return fault != nullptr ? call_spoiled(fault, reply) : reply;
}
}
