// tarnd-gateway: lets shells reach a NETCONF server.
#include <libxml/parser.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "device/gateway/gateway_options.h"
#include "device/gateway/report.h"
#include "device/gateway/supervisor.h"
#include "standard_descriptors.h"

int main(int count, char **arguments)
{
    if (standard_descriptors_open(STDIN_FILENO) != 0)
        return 1;
    // No other descriptor that was inherited reaches the commands.
    close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC);
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
