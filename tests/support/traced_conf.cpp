// A libconf.so that tells on standard error what is asked of it. The answer of
// conf_dbg_enable is TRACED_DEBUG_RESULT; with TRACED_CONF_ERRNO set, connecting
// fails with that number, else TARND_SOCKET is connected to.
#include "conf_agent.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace
{

int number_from(const char *text)
{
    return static_cast<int>(strtol(text, nullptr, 10));
}

} // namespace

int conf_agent_init()
{
    fprintf(stderr, "conf_agent_init()\n");
    const char *refusal = getenv("TRACED_CONF_ERRNO");
    if (refusal != nullptr) {
        errno = number_from(refusal);
        return -1;
    }
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", getenv("TARND_SOCKET"));
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    return connect(fd, reinterpret_cast<struct sockaddr *>(&address), sizeof address) == 0 ? fd
                                                                                           : -1;
}

int conf_dbg_enable(int level, int flag)
{
    fprintf(stderr, "conf_dbg_enable(%d, %d)\n", level, flag);
    const char *result = getenv("TRACED_DEBUG_RESULT");
    return result != nullptr ? number_from(result) : 0;
}
