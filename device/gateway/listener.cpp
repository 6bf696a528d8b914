#include "device/gateway/listener.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>

#include "bounded.h"

namespace
{

constexpr int backlog = 128;

descriptor open_socket()
{
    return descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

const struct sockaddr *generic(const struct sockaddr_un *address)
{
    return reinterpret_cast<const struct sockaddr *>(address);
}

// Nobody listens there any more.
bool is_abandoned(const struct sockaddr_un *address)
{
    const descriptor probe = open_socket();
    return descriptor_open(&probe) && connect(probe.fd, generic(address), sizeof *address) != 0 &&
           errno == ECONNREFUSED;
}

// Removes what a gateway left behind; null when the path is free then.
const char *free_path(const struct sockaddr_un *address)
{
    struct stat found;
    if (lstat(address->sun_path, &found) != 0)
        return errno == ENOENT ? nullptr : strerror(errno);
    if (!S_ISSOCK(found.st_mode))
        return "the file exists and is no socket";
    if (found.st_uid != geteuid())
        return "the socket belongs to another user";
    if (!is_abandoned(address))
        return "another program listens there";
    return unlink(address->sun_path) == 0 ? nullptr : strerror(errno);
}

int bind_private(const descriptor *socket, const struct sockaddr_un *address)
{
    const mode_t mask = umask(0177);
    const int result = bind(socket->fd, generic(address), sizeof *address);
    const int error = errno;
    umask(mask);
    errno = error;
    return result;
}

} // namespace

const char *listener_open(listener *server, const char *path)
{
    server->address = {};
    server->address.sun_family = AF_UNIX;
    if (strcpy_s(server->address.sun_path, sizeof server->address.sun_path, path) != 0)
        return "the path is too long for a socket";
    const char *reason = free_path(&server->address);
    if (reason != nullptr)
        return reason;
    server->socket = open_socket();
    if (!descriptor_open(&server->socket) || bind_private(&server->socket, &server->address) != 0 ||
        listen(server->socket.fd, backlog) != 0 ||
        lstat(server->address.sun_path, &server->made) != 0)
        return strerror(errno);
    return nullptr;
}

descriptor listener_accept(const listener *server)
{
    return descriptor(accept4(server->socket.fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

void listener_close(listener *server)
{
    if (!descriptor_open(&server->socket))
        return;
    struct stat found;
    if (lstat(server->address.sun_path, &found) == 0 && found.st_ino == server->made.st_ino &&
        found.st_dev == server->made.st_dev)
        unlink(server->address.sun_path);
    descriptor_close(&server->socket);
}
