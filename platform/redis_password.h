// The password of a redis server, which stands in a file.
#pragma once

#include <hiredis/hiredis.h>

inline constexpr int redis_password_limit = 512;

// Reads the password from the file at path, sends it, and leaves none of it in
// memory. The file holds the password, 1 to 512 bytes, and at most one line end
// after it. It is root's or the effective user's; a group may read it, because
// root's could serve no user otherwise, but nobody else may, nor the group write.
// Null, or why not: a static text or one of strerror().
const char *redis_authenticate(redisContext *connection, const char *path);
