// vandel: view and edit the configuration of a NETCONF device.
#include <stdio.h>

#include "link/listener.h"
#include "shell/scrub.h"
#include "shell/startup.h"

static int run(int argc, char **argv)
{
    if (vandel_init() != 0)
        return -1;
    return argc <= 1 ? run_interactive() : run_oneshot(argc - 1, argv + 1);
}

int main(int argc, char **argv)
{
    const int status = run(argc, argv);
    // What the end of a process calls is bound only then.
    scrub_stack();
    fflush(stdout); // a SIGPIPE of this strikes in the next line
    listener_park();
    return status;
}
