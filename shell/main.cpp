// vandel: view and edit the configuration of a NETCONF device.
#include <stdio.h>
#include <sys/resource.h>
#include <unistd.h>

#include "link/listener.h"
#include "scrub.h"
#include "shell/arguments.h"
#include "shell/startup.h"
#include "standard_descriptors.h"

namespace
{

// A core would hold every password that is staged or typed. The process stays
// dumpable: otherwise its own user could not attach a debugger to it.
void forbid_cores()
{
    const struct rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

// Output leaves in large pieces, on a terminal as on a pipe: before each wait, and
// whenever this is full.
void buffer_output()
{
    static char buffer[65536]; // what a pipe holds
    setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
}

int run(int argc, char **argv)
{
    const heap_text line = take_arguments(argc - 1, argv + 1);
    if (vandel_init() != 0)
        return -1;
    return argc <= 1 ? run_interactive() : run_oneshot(line.get());
}

} // namespace

int main(int argc, char **argv)
{
    // Descriptor 0 is left: a daemon's socket that gets it counts as not connected.
    if (standard_descriptors_open(STDOUT_FILENO) != 0)
        return -1;
    forbid_cores();
    buffer_output();
    const int status = run(argc, argv);
    // What the end of a process calls is bound only then.
    scrub_stack();
    fflush(stdout); // a SIGPIPE of this strikes in the next line
    listener_park();
    return status;
}
