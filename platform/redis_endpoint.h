// Where a redis server is: the text that names it, and a connection to it.
//
// Shared by the schema library and the schema compiler, so that both read the
// text in the same way.
#pragma once

#include <hiredis/hiredis.h>

struct redis_endpoint {
    char host[256];          // a host, or the path of a Unix socket
    int port;                // 0: host is a path
    char password_file[256]; // empty: the server wants no password
};

// Reads "HOST:PORT" (the last ':' counts; an IPv6 address may stand in
// brackets) or, when the text contains a '/', the path of a Unix socket. Null
// and the empty text mean 127.0.0.1:6379. After any of them may stand
// ",passwordfile=PATH". Returns 0, or -1 for any other text.
int redis_endpoint_parse(const char *text, redis_endpoint *endpoint);

// Connects within the time-out and bounds each later read and write by it as
// well. On a Unix socket the server has to be root's or the effective user's.
// The password, if there is a file with one, is the first that is sent.
// Returns a connection, which may carry an error (err is not 0), or null when
// memory is exhausted; the caller gives it to redisFree.
redisContext *redis_endpoint_connect(const redis_endpoint *endpoint);

// Connects a lost connection anew, as it was made to this endpoint; 0 or -1. The
// password file is read again.
int redis_endpoint_reconnect(redisContext *connection, const redis_endpoint *endpoint);
