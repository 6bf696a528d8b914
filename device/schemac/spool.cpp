// A file of redis commands that waits to be sent.
#include "device/schemac/spool.h"

#include <errno.h>
#include <hiredis/hiredis.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

int spool_create(void)
{
    return memfd_create("schemac", MFD_CLOEXEC);
}

void spool_add_hash(spool *output, const std::string &key, const std::vector<hash_field> &fields)
{
    std::vector<const char *> words = {"HSET", key.data()};
    std::vector<size_t> lengths = {4, key.size()};
    output->stored_bytes += key.size();
    for (const hash_field &field : fields) {
        words.insert(words.end(), {field.name.data(), field.value.data()});
        lengths.insert(lengths.end(), {field.name.size(), field.value.size()});
        output->stored_bytes += field.name.size() + field.value.size();
    }
    char *command = nullptr;
    int length = redisFormatCommandArgv(&command, static_cast<int>(words.size()), words.data(),
                                        lengths.data());
    if (length < 0) {
        abort(); // no memory: the one who watches this process reports it
    }
    auto prefix = static_cast<uint32_t>(length);
    fwrite(&prefix, sizeof prefix, 1, output->file);
    fwrite(command, 1, prefix, output->file);
    redisFreeCommand(command);
}

int spool_finish(spool *output)
{
    if (fflush(output->file) != 0)
        return -1;
    if (ferror(output->file) != 0) {
        errno = EIO;
        return -1;
    }
    return 0;
}

bool spool_next(spool_reader *reader, const char **command, size_t *length)
{
    uint32_t prefix;
    if (static_cast<size_t>(reader->end - reader->at) < sizeof prefix)
        return false;
    memcpy(&prefix, reader->at, sizeof prefix);
    reader->at += sizeof prefix;
    if (static_cast<size_t>(reader->end - reader->at) < prefix)
        return false;
    *command = reader->at;
    *length = prefix;
    reader->at += prefix;
    return true;
}
