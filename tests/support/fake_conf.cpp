#include "tests/support/fake_conf.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include "conf_agent.h"

namespace
{

struct fake_state {
    int shell_end = -1;
    int cause = ENOENT;
    int debug_result = 0;
    int debug_level = -1;
    int debug_flag = -1;
    int calls = 0;
};

fake_state state;

void drop_shell_end()
{
    if (state.shell_end >= 0) {
        close(state.shell_end);
        state.shell_end = -1;
    }
}

} // namespace

void fake_conf_reset()
{
    drop_shell_end();
    state = fake_state();
}

int fake_conf_listen()
{
    drop_shell_end();
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        perror("fake_conf: socketpair");
        abort();
    }
    state.shell_end = ends[0];
    return ends[1];
}

void fake_conf_refuse(int cause)
{
    drop_shell_end();
    state.cause = cause;
}

void fake_conf_set_debug_result(int result)
{
    state.debug_result = result;
}

int fake_conf_debug_level()
{
    return state.debug_level;
}

int fake_conf_debug_flag()
{
    return state.debug_flag;
}

int fake_conf_calls()
{
    return state.calls;
}

int conf_agent_init(void)
{
    state.calls++;
    if (state.shell_end < 0) {
        errno = state.cause;
        return -1;
    }
    int handed_out = state.shell_end;
    state.shell_end = -1;
    return handed_out;
}

int conf_dbg_enable(int level, int flag)
{
    state.debug_level = level;
    state.debug_flag = flag;
    return state.debug_result;
}
