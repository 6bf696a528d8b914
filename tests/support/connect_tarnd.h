// What every libconf.so of the tests does in the end.
#pragma once

#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>

// A socket that is connected to TARND_SOCKET, the caller's to close; -1 when nobody
// listens there.
inline int connect_tarnd()
{
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", getenv("TARND_SOCKET"));
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    return connect(fd, reinterpret_cast<struct sockaddr *>(&address), sizeof address) == 0 ? fd
                                                                                           : -1;
}
