// The YANG files that may be compiled.
#include "device/schemac/source_index.h"

#include <errno.h>
#include <fcntl.h>
#include <fts.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "device/schemac/yang_cursor.h"

namespace
{

// Far above any real module; keeps a mistaken --search from eating memory.
constexpr off_t largest_source = 64 << 20;

struct descriptor_guard {
    int descriptor;
    ~descriptor_guard()
    {
        close(descriptor);
    }
};

// Takes NAME and REVISION from the name of a file; false when it is none of ours.
bool split_file_name(std::string_view file, yang_source *source)
{
    constexpr std::string_view suffix = ".yang";
    if (file.size() <= suffix.size() || !file.ends_with(suffix))
        return false;
    file.remove_suffix(suffix.size());
    size_t mark = file.find('@');
    source->name = file.substr(0, mark);
    if (mark != std::string_view::npos)
        source->revision = file.substr(mark + 1);
    return true;
}

yang_source *append_source(source_index *index, const char *path)
{
    auto source = std::make_unique<yang_source>();
    const char *slash = strrchr(path, '/');
    if (!split_file_name(slash != nullptr ? slash + 1 : path, source.get()))
        return nullptr;
    source->path = path;
    index->sources.push_back(std::move(source));
    return index->sources.back().get();
}

int compare_names(const FTSENT **first, const FTSENT **second)
{
    return strcmp((*first)->fts_name, (*second)->fts_name);
}

// Fills source->text; an errno value, 0 for success.
int read_text(yang_source *source)
{
    // O_NONBLOCK: a pipe that calls itself a module must not keep us waiting.
    int descriptor = open(source->path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return errno;
    descriptor_guard guard{descriptor};
    struct stat status;
    if (fstat(descriptor, &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    if (status.st_size > largest_source)
        return EFBIG;
    source->text.resize(static_cast<size_t>(status.st_size));
    size_t filled = 0;
    while (filled < source->text.size()) {
        ssize_t got = read(descriptor, source->text.data() + filled, source->text.size() - filled);
        if (got < 0 && errno != EINTR)
            return errno;
        if (got == 0)
            source->text.resize(filled);
        filled += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return 0;
}

void note_top_statement(yang_source *source, const yang_statement &statement, std::string *newest)
{
    if (statement.keyword == "import" || statement.keyword == "include")
        source->dependencies.push_back(
            {statement.keyword == "include", statement.argument, "", statement.line});
    else if (statement.keyword == "belongs-to")
        source->belongs_to = statement.argument;
    else if (statement.keyword == "revision" && statement.argument > *newest)
        *newest = statement.argument;
}

// Notes what kind of source this is and what it depends on.
void read_header(yang_source *source)
{
    yang_cursor cursor = yang_open(source->text);
    yang_statement statement;
    std::string newest;
    bool in_dependency = false;
    source->line = 1;
    while (yang_next(&cursor, &statement)) {
        if (statement.depth == 0) {
            source->is_submodule = statement.keyword == "submodule";
            source->declared_name = statement.argument;
            source->line = statement.line;
        } else if (statement.depth == 1) {
            size_t known = source->dependencies.size();
            note_top_statement(source, statement, &newest);
            in_dependency = source->dependencies.size() > known;
        } else if (statement.depth == 2 && in_dependency && statement.keyword == "revision-date") {
            source->dependencies.back().revision = statement.argument;
        }
    }
    if (source->revision.empty())
        source->revision = newest;
}

void ensure_read(yang_source *source)
{
    if (source->state != source_state::unread)
        return;
    source->failure = read_text(source);
    source->state = source->failure == 0 ? source_state::readable : source_state::unreadable;
    if (source->failure == 0)
        read_header(source);
}

// True when source is a better answer than best, which may be null.
bool is_better(const yang_source *source, const yang_source *best)
{
    if (best == nullptr || source->is_pinned != best->is_pinned)
        return best == nullptr || source->is_pinned;
    return source->revision > best->revision;
}

} // namespace

int source_index_add_directory(source_index *index, const char *directory, bool is_deep)
{
    struct stat status;
    if (stat(directory, &status) != 0)
        return -1;
    if (!S_ISDIR(status.st_mode)) {
        errno = ENOTDIR;
        return -1;
    }
    std::string root(directory);
    char *const roots[] = {root.data(), nullptr};
    FTS *walk = fts_open(roots, FTS_PHYSICAL | FTS_COMFOLLOW | FTS_NOCHDIR, compare_names);
    if (walk == nullptr)
        return -1;
    while (FTSENT *entry = fts_read(walk)) {
        if (entry->fts_info == FTS_D && entry->fts_level > 0 && !is_deep)
            fts_set(walk, entry, FTS_SKIP);
        else if (entry->fts_info == FTS_F || entry->fts_info == FTS_SL)
            append_source(index, entry->fts_path);
    }
    fts_close(walk);
    index->directories.push_back(root);
    return 0;
}

yang_source *source_index_add_file(source_index *index, const char *path)
{
    yang_source *source = append_source(index, path);
    if (source == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    ensure_read(source);
    if (source->state == source_state::unreadable) {
        errno = source->failure;
        return nullptr;
    }
    source->is_pinned = true;
    source->name = source->declared_name;
    const char *slash = strrchr(path, '/');
    std::string directory = slash != nullptr ? std::string(path, slash) : ".";
    if (source_index_add_directory(index, directory.empty() ? "/" : directory.c_str(), false) != 0)
        return nullptr;
    return source;
}

yang_source *source_index_find(source_index *index, const std::string &name,
                               const std::string &revision)
{
    yang_source *best = nullptr;
    for (const std::unique_ptr<yang_source> &held : index->sources) {
        yang_source *source = held.get();
        if (source->name != name)
            continue;
        if (source->revision.empty())
            ensure_read(source);
        if ((revision.empty() || source->revision == revision) && is_better(source, best))
            best = source;
    }
    if (best != nullptr)
        ensure_read(best);
    return best;
}
