#include "profile/profile.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/log.h"
#include "base/session.h"
#include "base/text.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "profile/profile_file.h"
#include "profile/profile_line.h"
#include "schema/masking.h"

namespace
{

constexpr size_t max_line_length = 1000;

const char *const sections[] = {"[pwd]", "[config]", "[rpc]", "[rpc_para]"};

bool is_section(const char *name)
{
    for (const char *section : sections) {
        if (strcmp(section, name) == 0)
            return true;
    }
    return false;
}

void log_open_failure()
{
    log_debug("[DEBUG] open %s failed! errno:%d\n", profile_name, errno);
}

// A file that could not be filled would keep the next command from starting.
void remove_if_empty(int fd)
{
    struct stat status = {};
    if (fstat(fd, &status) == 0 && status.st_size == 0)
        unlink(profile_name);
}

// Writes the whole file anew. Cut last: on a full disk others may be quicker to take what a cut
// gives back, and the file would be lost with all its lines, and its name to them.
int write_file(const text_buffer &content)
{
    const descriptor file(profile_open(O_WRONLY | O_CREAT));
    if (file.fd < 0) {
        log_open_failure();
        return -1;
    }
    if (fchmod(file.fd, S_IRUSR | S_IWUSR) == 0 &&
        profile_write(file.fd, {content.data.get(), content.length}, 0) == 0 &&
        ftruncate(file.fd, static_cast<off_t>(content.length)) == 0)
        return 0;
    remove_if_empty(file.fd);
    return -1;
}

// A masked text as a line holds it: unmasked. With its codes when these are not
// what a reader would put in their place: then they stood in the file before.
heap_text line_text(const char *masked)
{
    heap_text plain = unmasked_copy(masked);
    const heap_text again = masked_copy(plain.get());
    if (!plain || !again)
        return nullptr;
    return strcmp(again.get(), masked) == 0 ? std::move(plain) : text_copy(masked);
}

int append_command(text_buffer *out, const cmd_node *node)
{
    const heap_text path = line_text(node->path);
    const char *word = node->operation == operation_delete ? "delete " : "set ";
    if (!path || text_append_all(out, {word, path.get()}) != 0)
        return -1;
    if (node->value != nullptr && text_append_all(out, {" ", node->value}) != 0)
        return -1;
    return text_append(out, "\n");
}

int append_commands(text_buffer *out, const command_log *log)
{
    for (const cmd_node *node = log->first; node != nullptr; node = node->log_next) {
        if (append_command(out, node) != 0)
            return -1;
    }
    return 0;
}

int append_entries(text_buffer *out)
{
    const list_record *record = session.entries != nullptr ? *session.entries : nullptr;
    for (; record != nullptr; record = record->next) {
        const heap_text path = line_text(record->path);
        for (const list_entry *entry = record->entries; entry != nullptr; entry = entry->next) {
            const heap_text key = line_text(entry->key);
            if (!path || !key ||
                text_append_all(out, {"add ", path.get(), " ", key.get(), "\n"}) != 0)
                return -1;
        }
    }
    return 0;
}

// The file's section value into an empty buffer: the line after the header; 0, also
// when there is none, or -1.
int read_value(int fd, std::string_view section, text_buffer *value)
{
    off_t start = 0;
    off_t end = 0;
    int found = profile_find(fd, section, 0, &start);
    start += static_cast<off_t>(section.size());
    if (found == 1)
        found = profile_find(fd, "\n", start, &end);
    if (found == 1 && end != start) // no header
        return 0;
    start++;
    if (found == 1)
        found = profile_find(fd, "\n", start, &end);
    return found == 1 ? profile_read(fd, start, end, value) : found;
}

// The rpc's path as it is written, empty for none; null when memory runs out.
heap_text plain_rpc_path()
{
    return unmasked_copy(session.rpc_path != nullptr ? session.rpc_path : "");
}

} // namespace

int profile_write_fresh()
{
    const heap_text rpc = plain_rpc_path();
    text_buffer content;
    if (!rpc ||
        text_append_all(&content, {"[pwd]\n", session.pwd, "\n\n", "[config]\n\n\n", "[rpc]\n",
                                   rpc.get(), "\n\n", "[rpc_para]\n\n\n", "%%%\n"}) != 0)
        return -1;
    return write_file(content);
}

int profile_write_back()
{
    const heap_text rpc = plain_rpc_path();
    text_buffer content;
    if (!rpc || text_append_all(&content, {"[pwd]\n", session.pwd, "\n\n", "[config]\n"}) != 0 ||
        append_commands(&content, &session.config_tree.log) != 0 || append_entries(&content) != 0 ||
        text_append_all(&content, {"\n", "[rpc]\n", rpc.get(), *rpc != '\0' ? "\n" : "", "\n",
                                   "[rpc_para]\n"}) != 0 ||
        append_commands(&content, &session.rpc_tree.log) != 0 ||
        text_append_all(&content, {"\n", "%%%\n"}) != 0)
        return -1;
    return write_file(content);
}

int profile_put_line(const char *section, const char *line, profile_mode mode)
{
    if (strlen(line) > max_line_length) {
        log_error("[ERROR] command is too 1000 byts\n");
        return -1;
    }
    if (!is_section(section)) {
        log_error("[ERROR] invalid domain:%s\n", section);
        return -1;
    }
    if (access(profile_name, F_OK) != 0 && errno == ENOENT && profile_write_fresh() != 0)
        return -1;
    const descriptor file(profile_open(O_RDWR));
    if (file.fd < 0) {
        log_open_failure();
        return -1;
    }
    off_t header = 0;
    off_t end = 0;
    if (profile_find(file.fd, section, 0, &header) != 1 ||
        profile_find(file.fd, "\n\n", header, &end) != 1)
        return -1;
    const off_t place =
        mode == profile_append ? end + 1 : header + static_cast<off_t>(strlen(section)) + 1;
    text_buffer written;
    if (text_append_all(&written, {line, "\n"}) != 0 ||
        profile_read(file.fd, end + 1, profile_end, &written) != 0)
        return -1;
    return profile_write(file.fd, {written.data.get(), written.length}, place);
}

int profile_load_start()
{
    const descriptor file(profile_open(O_RDONLY));
    if (file.fd < 0)
        return 0;
    struct stat status = {};
    if (fstat(file.fd, &status) != 0 || status.st_size == 0) {
        log_error("[ERROR] VDL's profile <%s> is invalid.\n", profile_name);
        return -1;
    }
    text_buffer pwd;
    text_buffer rpc;
    if (read_value(file.fd, "[pwd]", &pwd) != 0 || read_value(file.fd, "[rpc]", &rpc) != 0) {
        log_error("[ERROR] Mapping file %s to memory failed(%s).\n", profile_name, strerror(errno));
        return -1;
    }
    const bool are_taken = profile_take_path(&session.pwd, pwd.data.get()) == 0 &&
                           profile_take_path(&session.rpc_path, rpc.data.get()) == 0;
    if (are_taken && session.rpc_path != nullptr)
        mask_path(session.rpc_path);
    return are_taken ? 0 : -1;
}
