// Connection to the configuration daemon: the host version.
//
// The daemon of a host is whatever listens on a Unix stream socket; on a
// development machine that is the gateway to a NETCONF server. In a directory that several
// users share it may be somebody else, who gets nothing.
#include "conf_agent.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include "bounded.h"
#include "descriptor.h"
#include "platform/peer.h"

namespace
{

const char *const default_socket = "/run/tarnd.sock";

// How long somebody who listens, and may be anybody still, has to accept.
constexpr timeval patience = {30, 0};

int limit_sending(int descriptor, timeval limit)
{
    return setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

// Connects, however often a signal interrupts; 0 or -1 with errno set.
int connect_patiently(int descriptor, const sockaddr_un *address)
{
    while (connect(descriptor, reinterpret_cast<const sockaddr *>(address), sizeof *address) != 0) {
        if (errno == EISCONN)
            return 0;
        if (errno != EINTR)
            return -1;
    }
    return 0;
}

// Connects to a daemon of root or of the user; 0 or -1 with errno set.
int connect_to_trusted(int descriptor, const sockaddr_un *address)
{
    if (limit_sending(descriptor, patience) != 0 || connect_patiently(descriptor, address) != 0 ||
        limit_sending(descriptor, {}) != 0)
        return -1;
    if (!peer_is_trusted(descriptor)) {
        errno = EACCES;
        return -1;
    }
    return 0;
}

} // namespace

int conf_agent_init(void)
{
    const char *path = getenv("TARND_SOCKET");
    if (path == nullptr || path[0] == '\0')
        path = default_socket;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (strcpy_s(address.sun_path, sizeof address.sun_path, path) != 0) {
        errno = ENAMETOOLONG;
        return -1;
    }
    descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connection.fd < 0 || connect_to_trusted(connection.fd, &address) != 0)
        return -1;
    return connection.release();
}

int conf_dbg_enable(int /*level*/, int /*flag*/)
{
    return 0;
}
