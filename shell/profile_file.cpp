#include "shell/profile_file.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bounded.h"

namespace
{

int write_all(int fd, std::string_view text, off_t offset)
{
    while (!text.empty()) {
        const ssize_t written = pwrite(fd, text.data(), text.size(), offset);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return -1;
        text.remove_prefix(static_cast<size_t>(written));
        offset += written;
    }
    return 0;
}

// Whether an open file may be the profile; 0, or what is against it. Anybody may
// put a file into /tmp: what another user owns, or reaches under another name,
// must neither tell this one what is staged nor learn it.
int judge_file(int fd)
{
    struct stat status = {};
    if (fstat(fd, &status) != 0)
        return 0; // whoever needs the status asks again and reports that there is none
    if (!S_ISREG(status.st_mode))
        return EINVAL;
    if (status.st_uid != geteuid())
        return EACCES;
    return status.st_nlink > 1 ? EMLINK : 0;
}

} // namespace

open_file::~open_file()
{
    if (fd >= 0)
        close(fd);
}

int profile_open(int access)
{
    // O_NONBLOCK: a FIFO in the profile's place must not hold the shell up.
    const int fd = open(profile_name, access | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600);
    if (fd < 0)
        return -1;
    const int objection = judge_file(fd);
    if (objection == 0)
        return fd;
    close(fd);
    errno = objection;
    return -1;
}

int profile_read(int fd, text_buffer *content)
{
    secret_piece piece;
    off_t offset = 0;
    for (;;) {
        const ssize_t got = pread(fd, piece.bytes, sizeof piece.bytes, offset);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got == 0 ? 0 : -1;
        if (text_append(content, {piece.bytes, static_cast<size_t>(got)}) != 0)
            return -1;
        offset += got;
    }
}

int profile_write(int fd, std::string_view text, off_t offset)
{
    struct stat status = {};
    if (fstat(fd, &status) != 0)
        return -1;
    const size_t inside =
        status.st_size > offset ? static_cast<size_t>(status.st_size - offset) : 0;
    if (text.size() > inside) {
        const off_t end = offset + static_cast<off_t>(inside);
        if (write_all(fd, text.substr(inside), end) != 0) {
            // Should this fail, there are bytes behind the end marker.
            (void)!ftruncate(fd, status.st_size);
            return -1;
        }
        text = text.substr(0, inside);
    }
    return write_all(fd, text, offset);
}
