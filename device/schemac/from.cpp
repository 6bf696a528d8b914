#include "device/schemac/from.h"

#include <errno.h>
#include <limits.h>
#include <string.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "device/schemac/report.h"

namespace
{

// Where the program stands, seen from the directory of this one: where it is installed,
// and in the build tree.
constexpr const char *places[] = {"/" VANDEL_LIBEXEC "/schemac-from", "/schemac-from"};

} // namespace

int from_server(char **words)
{
    char self[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", self, sizeof self - 1);
    if (size > 0) {
        self[size] = '\0';
        const std::string directory(self, strrchr(self, '/'));
        for (const char *place : places) {
            std::string program = directory + place;
            std::vector<char *> line = {program.data(), self};
            for (char **word = words; line.back() != nullptr; word++)
                line.push_back(*word);
            execv(program.c_str(), line.data());
        }
    }
    report_error({"schemac-from", 0, strerror(errno)});
    return 1;
}
