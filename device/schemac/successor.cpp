#include "device/schemac/successor.h"

#include <errno.h>
#include <limits.h>
#include <string.h>
#include <unistd.h>

#include "device/schemac/report.h"

namespace
{

// Where the programs stand, seen from the directory of this one: in the build tree, and where
// they are installed. What is outside a build tree may be somebody else's.
constexpr const char *places[] = {"/", "/" VANDEL_LIBEXEC "/"};

} // namespace

int become(const char *name, std::vector<std::string> words)
{
    char self[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", self, sizeof self - 1);
    if (size > 0) {
        self[size] = '\0';
        const std::string directory(self, strrchr(self, '/'));
        for (const char *place : places) {
            std::string program = directory + place + name;
            std::vector<char *> line = {program.data(), self};
            for (std::string &word : words)
                line.push_back(word.data());
            line.push_back(nullptr);
            execv(program.c_str(), line.data());
        }
    }
    report_error({name, 0, strerror(errno)});
    return 1;
}
