// The Unix stream socket on which shells connect.
#pragma once

#include <sys/stat.h>
#include <sys/un.h>

#include "descriptor.h"

struct listener {
    descriptor socket;
    struct sockaddr_un address;
    struct stat made; // identifies the file that we created
};

// Creates the socket with mode 0600 and listens. A socket that a gateway of the
// same user left behind is replaced; one that answers, one of another user and
// anything that is no socket is left alone. Null on success; otherwise why not,
// a static text or one of strerror().
const char *listener_open(listener *server, const char *path);

// Takes a waiting shell; not blocking. Returns its descriptor, or none with
// errno.
descriptor listener_accept(const listener *server);

// Closes the socket and removes its file if it is still ours.
void listener_close(listener *server);
