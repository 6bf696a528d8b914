// A libconf.so that tells on standard error what is asked of it. The answer of
// conf_dbg_enable is TRACED_DEBUG_RESULT; with TRACED_CONF_ERRNO set, connecting
// fails with that number, else TARND_SOCKET is connected to.
#include "conf_agent.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include "connect_tarnd.h"

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
    return connect_tarnd();
}

int conf_dbg_enable(int level, int flag)
{
    fprintf(stderr, "conf_dbg_enable(%d, %d)\n", level, flag);
    const char *result = getenv("TRACED_DEBUG_RESULT");
    return result != nullptr ? number_from(result) : 0;
}
