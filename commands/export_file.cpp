#include "commands/export_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/log.h"
#include "descriptor.h"

namespace
{

// O_NONBLOCK: a FIFO must not hold the shell up.
constexpr int write_flags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

constexpr int replace_limit = 100; // somebody who puts files there all the time is refused

// Opens what stands at the path, or makes a file there when the name is free; a
// descriptor or -1.
int open_or_make(const char *path, bool *is_new)
{
    const int fd = open(path, write_flags);
    *is_new = fd < 0 && errno == ENOENT;
    return *is_new ? open(path, write_flags | O_CREAT | O_EXCL, S_IRWXU) : fd;
}

int refuse_unopened()
{
    printf("Opening output file failed.");
    return -1;
}

int require_regular(const struct stat &status)
{
    if (S_ISREG(status.st_mode))
        return 0;
    log_error("[ERROR] export path is not a file.\r\n\n");
    return -1;
}

// Whether a link may be replaced: it has to lead to nothing, or to a file that
// could be written. That is asked, not tried: opening a device has effects.
int judge_link(const char *path)
{
    struct stat status = {};
    if (stat(path, &status) != 0)
        return errno == ENOENT ? 0 : refuse_unopened();
    if (S_ISDIR(status.st_mode) || faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) != 0)
        return refuse_unopened();
    return require_regular(status);
}

// Whether what stands at the path, or is made there, is a file that can be
// written.
int judge_file(const char *path)
{
    bool is_new = false;
    const descriptor file(open_or_make(path, &is_new));
    if (file.fd < 0)
        return refuse_unopened();
    struct stat status = {};
    if (fstat(file.fd, &status) == 0)
        return require_regular(status);
    log_error("[ERROR] Unable to get input file information.\n\n");
    if (is_new)
        unlink(path);
    return -1;
}

// Another name of a file may be one that is not for this operator to write.
bool is_plain_file(const struct stat &status)
{
    return S_ISREG(status.st_mode) && status.st_nlink <= 1;
}

// Removes what stands at the path, when it is a file; 0, or -1 with errno set: EEXIST
// for what is none.
int remove_file(const char *path)
{
    struct stat status = {};
    if (lstat(path, &status) != 0)
        return -1;
    if (is_plain_file(status))
        return unlink(path);
    errno = EEXIST;
    return -1;
}

// Whether an open file has the path for its only name. Looked at by the path, too: a
// second name that was opened and then removed would leave the file a single one.
bool is_named_only(int fd, const char *path)
{
    struct stat opened = {};
    struct stat named = {};
    return fstat(fd, &opened) == 0 && lstat(path, &named) == 0 && is_plain_file(named) &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Opens and empties a file that cannot be removed; a descriptor or -1. Its owner does
// not matter, because some file systems give every file the same one.
int open_existing(const char *path)
{
    descriptor file(open(path, write_flags));
    if (file.fd >= 0 && is_named_only(file.fd, path) && ftruncate(file.fd, 0) == 0)
        return file.release();
    return -1;
}

// Opens the file that is to be written, empty; a descriptor or -1. One that stands
// there is replaced where it can be, so that nobody else holds it open, however
// often somebody puts one there. Else it is written over, but only where the system lets
// nobody remove it: whoever can might have it be another's file for the moment in which
// its names are counted.
int open_export(const char *path)
{
    const mode_t mode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    for (int i = 0; i < replace_limit; i++) {
        const int fd = open(path, write_flags | O_CREAT | O_EXCL, mode);
        if (fd >= 0)
            return fd;
        const bool is_removed = errno == EEXIST && (remove_file(path) == 0 || errno == ENOENT);
        if (!is_removed)
            return errno != EEXIST && errno != EISDIR ? open_existing(path) : -1;
    }
    return -1;
}

int write_all(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return -1;
        text.remove_prefix(static_cast<size_t>(written));
    }
    return 0;
}

} // namespace

int export_file_clear(const char *path)
{
    struct stat status = {};
    const bool is_link = lstat(path, &status) == 0 && S_ISLNK(status.st_mode);
    if ((is_link ? judge_link(path) : judge_file(path)) != 0)
        return -1;
    unlink(path);
    return 0;
}

int export_file_write(const char *path, std::string_view text)
{
    const int fd = open_export(path);
    if (fd < 0) {
        log_error("[ERROR] Opening output file failed.\n\n");
        return -1;
    }
    const bool is_written = write_all(fd, text) == 0;
    if (!is_written)
        (void)!ftruncate(fd, 0); // the file may be one that cannot be removed
    if (close(fd) == 0 && is_written)
        return 0;
    log_error("[ERROR] write file fail.\n\n");
    unlink(path);
    return -1;
}
