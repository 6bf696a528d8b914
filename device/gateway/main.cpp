// tarnd-gateway: lets shells reach a NETCONF server.
#include <fcntl.h>
#include <libxml/parser.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "device/gateway/gateway_options.h"
#include "device/gateway/report.h"
#include "device/gateway/supervisor.h"

namespace
{

// The three standard descriptors exist, and no other one that was inherited
// reaches the commands.
int settle_descriptors()
{
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; number++) {
        if (fcntl(number, F_GETFD) < 0 && open("/dev/null", O_RDWR) != number)
            return -1;
    }
    close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC);
    return 0;
}

} // namespace

int main(int count, char **arguments)
{
    if (settle_descriptors() != 0)
        return 1;
    gateway_options options;
    const char *culprit;
    const char *reason = gateway_options_read(count, arguments, &options, &culprit);
    if (reason != nullptr) {
        report("%s%s%s", reason, culprit != nullptr ? ": " : "", report_clean(culprit).text);
        fwrite(gateway_help, 1, strcspn(gateway_help, "\n") + 1, stderr);
        return 1;
    }
    if (options.help) {
        fputs(gateway_help, stdout);
        return 0;
    }
    if (options.version) {
        puts("tarnd-gateway " VANDEL_VERSION);
        return 0;
    }
    xmlInitParser();
    return gateway_run(&options);
}
