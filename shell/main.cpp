// vandel: view and edit the configuration of a NETCONF device.
#include "shell/startup.h"

int main(int argc, char **argv)
{
    if (vandel_init() != 0)
        return -1;
    return argc <= 1 ? run_interactive() : run_oneshot(argc - 1, argv + 1);
}
