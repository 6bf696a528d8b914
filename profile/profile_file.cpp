#include "profile/profile_file.h"

#include <errno.h>
#include <stdint.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/log.h"
#include "base/session.h"

namespace
{

constexpr int not_private = EPERM; // the objection to what others may write

// A piece of the file, of which every byte is wiped in the end: it may be a secret.
struct file_piece {
    char bytes[32768];

    file_piece() {} // not even cleared
    ~file_piece()
    {
        block_wipe(bytes, sizeof bytes);
    }
};

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

// Whether the first two bytes of a text, or its only one, stand anywhere in a piece: told
// many bytes at once, where memmem takes them one by one.
bool may_hold(std::string_view piece, std::string_view text)
{
    if (text.size() < 2)
        return true;
    unsigned char found = 0;
    for (size_t i = 1; i < piece.size(); i++)
        found |= static_cast<unsigned char>((piece[i - 1] == text[0]) & (piece[i] == text[1]));
    return found != 0;
}

// Whether a file may have this size under the limit of the process. One that goes
// past it is not refused, but cut off there.
bool may_have(off_t size)
{
    struct rlimit limit = {};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || static_cast<rlim_t>(size) <= limit.rlim_cur;
}

int refuse(int error, const char *what)
{
    if (session.profile_refused == 0)
        log_error("[ERROR] VDL's profile <%s> %s.\n", profile_name, what);
    session.profile_refused = 1;
    return error;
}

// Whether a file may be the profile; 0, or what is against it, which is logged
// once. Anybody may put a file into /tmp: what another user owns, or reaches under
// another name, must neither tell this one what is staged nor learn it. Nor what
// others may write: whoever moves such a file of root's here has root commit it.
int judge_file(const struct stat &status)
{
    if (S_ISLNK(status.st_mode))
        return refuse(ELOOP, "is a symbolic link");
    if (!S_ISREG(status.st_mode))
        return refuse(EINVAL, "is not a regular file");
    if (status.st_uid != geteuid())
        return refuse(EACCES, "belongs to another user");
    if (status.st_nlink > 1)
        return refuse(EMLINK, "has a second name");
    const bool is_private = (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
    return is_private ? 0 : refuse(not_private, "may be written by others");
}

// Has it logged why the profile could not be opened, when it is the file's fault.
void judge_unopened()
{
    const int cause = errno;
    struct stat status = {};
    if (lstat(profile_name, &status) == 0)
        judge_file(status);
    errno = cause;
}

// Opens what stands in the profile's place, as far as it is the profile.
int open_profile(int access)
{
    // O_NONBLOCK: a FIFO in the profile's place must not hold the shell up.
    descriptor file(open(profile_name, access | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0600));
    if (file.fd < 0) {
        judge_unopened();
        return -1;
    }
    struct stat status = {};
    // Without a status, whoever needs it asks again and reports that there is none.
    const int objection = fstat(file.fd, &status) == 0 ? judge_file(status) : 0;
    if (objection == 0)
        return file.release();
    errno = objection;
    return -1;
}

} // namespace

int profile_open(int access)
{
    const int fd = open_profile(access);
    if (fd >= 0 || errno != not_private || (access & O_CREAT) == 0)
        return fd;
    // Whoever could write to the file may have it open still: another mode would
    // not keep him from adding lines to it.
    return unlink(profile_name) == 0 ? open_profile(access) : -1;
}

int profile_find(int fd, std::string_view text, off_t from, off_t *at)
{
    file_piece piece;
    for (;;) {
        const ssize_t got = pread(fd, piece.bytes, sizeof piece.bytes, from);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return -1;
        const size_t length = static_cast<size_t>(got);
        if (length < text.size())
            return 0;
        const void *found = may_hold({piece.bytes, length}, text)
                                ? memmem(piece.bytes, length, text.data(), text.size())
                                : nullptr;
        if (found != nullptr) {
            *at = from + (static_cast<const char *>(found) - piece.bytes);
            return 1;
        }
        from += static_cast<off_t>(length - (text.size() - 1));
    }
}

int profile_read(int fd, off_t from, off_t to, text_buffer *content)
{
    struct stat status = {};
    if (fstat(fd, &status) != 0)
        return -1;
    to = to < status.st_size ? to : status.st_size;
    while (from < to) {
        const off_t left = to - from;
        const size_t room = left < PTRDIFF_MAX ? static_cast<size_t>(left) : PTRDIFF_MAX;
        if (text_reserve(content, {room}) != 0)
            return -1;
        char *end = content->data.get() + content->length;
        const ssize_t got = pread(fd, end, room, from);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got == 0 ? 0 : -1;
        content->length += static_cast<size_t>(got);
        content->data.get()[content->length] = '\0';
        from += got;
    }
    return 0;
}

int profile_write(int fd, std::string_view text, off_t offset)
{
    struct stat status = {};
    if (fstat(fd, &status) != 0 || !may_have(offset + static_cast<off_t>(text.size())))
        return -1;
    const size_t inside =
        status.st_size > offset ? static_cast<size_t>(status.st_size - offset) : 0;
    if (text.size() > inside) {
        const off_t end = offset + static_cast<off_t>(inside);
        if (write_all(fd, text_slice(text, inside), end) != 0) {
            // Should this fail, there are bytes after the end marker.
            (void)!ftruncate(fd, status.st_size);
            return -1;
        }
        text = text_slice(text, 0, inside);
    }
    return write_all(fd, text, offset);
}
