// The command import-config: the data of a file into a datastore.
#include "commands/commands.h"

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/args.h"
#include "base/log.h"
#include "base/text.h"
#include "commands/copy_request.h"
#include "descriptor.h"

namespace
{

constexpr std::string_view data_open = "<data>";
constexpr std::string_view data_close = "</data>";

// Reads up to size bytes of a file into the room of a buffer; 0 or -1.
int read_file(int fd, size_t size, text_buffer *content)
{
    while (content->length < size) {
        const ssize_t got = read(fd, content->data.get() + content->length, size - content->length);
        if (got < 0)
            return -1;
        if (got == 0)
            return 0;
        content->length += static_cast<size_t>(got);
    }
    return 0;
}

// Reads the file into a buffer in which the request for it has room, too; 0 or -1
// with a message.
int load_file(const char *path, text_buffer *content)
{
    // No link and no FIFO: the handler has looked, but somebody may be quicker.
    const descriptor file(open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (file.fd < 0) {
        log_error("[ERROR] Opening input file failed.\r\n\n");
        return -1;
    }
    struct stat status = {};
    if (fstat(file.fd, &status) != 0) {
        log_error("[ERROR] Unable to get input file information.\n\n");
        return -1;
    }
    if (status.st_size == 0) {
        log_error("[ERROR] input file is EMPTY.\n\n");
        printf("warning:input file is EMPTY.");
        return -1;
    }
    const uint64_t told = static_cast<uint64_t>(status.st_size);
    const size_t size = told < SIZE_MAX ? static_cast<size_t>(told) : SIZE_MAX;
    if (text_reserve(content, {size, copy_config_room}) != 0) {
        log_error("[ERROR] data malloc fail.\n");
        return -1;
    }
    // Read, not mapped: a file that is cut short meanwhile must not end the shell.
    if (read_file(file.fd, size, content) == 0)
        return 0;
    log_error("[ERROR] mmap err.\n\n");
    return -1;
}

// Cuts the file down to what stands between the tags, up to a zero byte in it;
// 0 or -1 with a message.
int keep_data(text_buffer *content)
{
    std::string_view text(content->data.get(), content->length);
    const size_t open_tag = text.find(data_open);
    if (open_tag == std::string_view::npos) {
        puts("the file have no <data>.\r");
        return -1;
    }
    const size_t start = open_tag + data_open.size();
    text.remove_prefix(start);
    const size_t close_tag = text.rfind(data_close);
    if (close_tag == std::string_view::npos) {
        puts("the file have no </data>.\r");
        return -1;
    }
    text = text_slice(text, 0, close_tag);
    text_keep(content, start, text_slice(text, 0, text.find('\0')).size());
    return 0;
}

void import_config(const char *path, const char *target)
{
    text_buffer content;
    if (load_file(path, &content) == 0 && keep_data(&content) == 0)
        copy_config("config", &content, target);
}

} // namespace

int cmd_import_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 3) {
        puts("please input : import-config file target\r");
        return 0;
    }
    char *path = words.argv[1];
    args_restore(path);
    if (!is_stored_datastore(words.argv[2])) {
        puts("input target is error,should be running or startup.\r");
        return 0;
    }
    struct stat status = {};
    if (lstat(path, &status) != 0)
        puts("can't get file infomation.\r");
    else if (!S_ISREG(status.st_mode))
        puts("can't find the file \r");
    else
        import_config(path, words.argv[2]);
    return 0;
}
