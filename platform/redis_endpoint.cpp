#include "platform/redis_endpoint.h"

#include <stdlib.h>
#include <string.h>
#include <sys/un.h>

#include "bounded.h"
#include "platform/peer.h"
#include "platform/redis_exchange.h"
#include "platform/redis_password.h"

namespace
{

constexpr timeval patience = {redis_patience_ms / 1000, redis_patience_ms % 1000 * 1000L};

// Reads a decimal port number, digits only; 0 when it is none.
int parse_port(const char *text)
{
    int port = 0;
    for (; *text >= '0' && *text <= '9' && port <= 65535; text++)
        port = port * 10 + (*text - '0');
    return *text == '\0' && port <= 65535 ? port : 0;
}

// Copies the host between start and end, without the brackets of an address.
int parse_host(const char *start, const char *end, redis_endpoint *endpoint)
{
    if (*start == '[') {
        if (end - start < 2 || end[-1] != ']')
            return -1;
        start++;
        end--;
    }
    if (start == end)
        return -1;
    return strncpy_s(endpoint->host, sizeof endpoint->host, start,
                     static_cast<size_t>(end - start));
}

int parse_place(const char *text, redis_endpoint *endpoint)
{
    if (text == nullptr || text[0] == '\0')
        text = "127.0.0.1:6379";
    if (strchr(text, '/') != nullptr) {
        // hiredis would cut a longer path and connect to another socket.
        endpoint->port = 0;
        return strcpy_s(endpoint->host, sizeof sockaddr_un::sun_path, text);
    }
    const char *colon = strrchr(text, ':');
    if (colon == nullptr)
        return -1;
    endpoint->port = parse_port(colon + 1);
    if (endpoint->port == 0)
        return -1;
    return parse_host(text, colon, endpoint);
}

// A connection that is still to be made. It holds already what hiredis would
// allocate while it connects, and use without looking whether there was memory.
redisContext *new_connection(const redis_endpoint *endpoint)
{
    redisContext *connection = redisConnectFd(-1);
    if (connection == nullptr)
        return nullptr;
    char *host = strdup(endpoint->host);
    auto *timeout = static_cast<timeval *>(malloc(sizeof(timeval)));
    connection->timeout = timeout;
    if (endpoint->port == 0) {
        connection->connection_type = REDIS_CONN_UNIX;
        connection->unix_sock.path = host;
    } else {
        connection->connection_type = REDIS_CONN_TCP;
        connection->tcp.host = host;
        connection->tcp.port = endpoint->port;
    }
    if (host == nullptr || timeout == nullptr) {
        redisFree(connection);
        return nullptr;
    }
    *timeout = patience;
    return connection;
}

int refuse(redisContext *connection, const char *what, const char *cause)
{
    connection->err = REDIS_ERR_OTHER;
    (void)sprintf_s(connection->errstr, sizeof connection->errstr, "%s%s", what, cause);
    return -1;
}

} // namespace

int redis_endpoint_parse(const char *text, redis_endpoint *endpoint)
{
    static const char option[] = ",passwordfile=";
    endpoint->password_file[0] = '\0';
    const char *end = text != nullptr ? strstr(text, option) : nullptr;
    if (end == nullptr)
        return parse_place(text, endpoint);
    char place[sizeof endpoint->host + sizeof "[]:65535"];
    const char *path = end + strlen(option);
    if (*path == '\0' ||
        strncpy_s(place, sizeof place, text, static_cast<size_t>(end - text)) != 0 ||
        strcpy_s(endpoint->password_file, sizeof endpoint->password_file, path) != 0)
        return -1;
    return parse_place(place, endpoint);
}

redisContext *redis_endpoint_connect(const redis_endpoint *endpoint)
{
    redisContext *connection = new_connection(endpoint);
    if (connection != nullptr)
        (void)redis_endpoint_reconnect(connection, endpoint); // err tells
    return connection;
}

int redis_endpoint_reconnect(redisContext *connection, const redis_endpoint *endpoint)
{
    const int connected = redisReconnect(connection);
    if (connection->obuf == nullptr || connection->reader == nullptr) {
        connection->err = REDIS_ERR_OOM; // what hiredis does not look at
        return -1;
    }
    if (connected != REDIS_OK)
        return -1;
    if (connection->connection_type == REDIS_CONN_UNIX && !peer_is_trusted(connection->fd))
        return refuse(connection, "", "the server is another user's");
    // A reader that gives a large buffer back expects another one to be there.
    connection->reader->maxbuf = 0;
    if (redisSetTimeout(connection, patience) != REDIS_OK)
        return -1;
    if (endpoint->password_file[0] == '\0')
        return 0;
    const char *cause = redis_authenticate(connection, endpoint->password_file);
    return cause == nullptr ? 0 : refuse(connection, "password file: ", cause);
}
