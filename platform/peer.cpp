#include "platform/peer.h"

#include <sys/socket.h>
#include <unistd.h>

bool peer_is_trusted(int descriptor)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return false;
    return peer.uid == 0 || peer.uid == geteuid();
}
