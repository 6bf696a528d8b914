#include "tests/support/captured_output.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

captured_output::captured_output() : file(-1), original(-1)
{
    fflush(stdout);
    file = memfd_create("captured output", MFD_CLOEXEC);
    original = dup(STDOUT_FILENO);
    if (file < 0 || original < 0 || dup2(file, STDOUT_FILENO) < 0) {
        perror("captured_output");
        abort();
    }
}

captured_output::~captured_output()
{
    fflush(stdout);
    dup2(original, STDOUT_FILENO);
    close(original);
    close(file);
}

std::string captured_output::text() const
{
    fflush(stdout);
    off_t size = lseek(file, 0, SEEK_END);
    std::string content(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    ssize_t count = pread(file, content.data(), content.size(), 0);
    content.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return content;
}
