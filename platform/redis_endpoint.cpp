/* Where a redis server is. */
#include "platform/redis_endpoint.h"

#include "bounded.h"

#include <cstring>
#include <sys/un.h>

static const timeval patience = {redis_patience_ms / 1000, redis_patience_ms % 1000 * 1000L};

/* Reads a decimal port number, digits only; 0 when it is none. */
static int parse_port(const char *text)
{
    int port = 0;
    for (; *text >= '0' && *text <= '9' && port <= 65535; text++) {
        port = port * 10 + (*text - '0');
    }
    return *text == '\0' && port <= 65535 ? port : 0;
}

/* Copies the host between start and end, without the brackets of an address. */
static int parse_host(const char *start, const char *end, redis_endpoint *endpoint)
{
    if (*start == '[') {
        if (end - start < 2 || end[-1] != ']') {
            return -1;
        }
        start++;
        end--;
    }
    if (start == end) {
        return -1;
    }
    return strncpy_s(endpoint->host, sizeof endpoint->host, start,
                     static_cast<size_t>(end - start));
}

int redis_endpoint_parse(const char *text, redis_endpoint *endpoint)
{
    if (text == nullptr || text[0] == '\0') {
        text = "127.0.0.1:6379";
    }
    if (strchr(text, '/') != nullptr) {
        /* hiredis would cut a longer path and connect to another socket. */
        endpoint->port = 0;
        return strcpy_s(endpoint->host, sizeof sockaddr_un::sun_path, text);
    }
    const char *colon = strrchr(text, ':');
    if (colon == nullptr) {
        return -1;
    }
    endpoint->port = parse_port(colon + 1);
    if (endpoint->port == 0) {
        return -1;
    }
    return parse_host(text, colon, endpoint);
}

redisContext *redis_endpoint_connect(const redis_endpoint *endpoint)
{
    redisContext *connection =
        endpoint->port == 0 ? redisConnectUnixWithTimeout(endpoint->host, patience)
                            : redisConnectWithTimeout(endpoint->host, endpoint->port, patience);
    if (connection != nullptr && connection->err == 0) {
        redisSetTimeout(connection, patience);
    }
    return connection;
}

int redis_endpoint_reconnect(redisContext *connection)
{
    if (redisReconnect(connection) != REDIS_OK) {
        return REDIS_ERR;
    }
    return redisSetTimeout(connection, patience);
}
