#include "device/schemac/source_index.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <fts.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor.h"
#include "device/schemac/yang_cursor.h"

namespace
{

// Far above any real module; keeps a mistaken --search from eating memory.
constexpr off_t largest_source = 64 << 20;
constexpr size_t largest_index = size_t{512} << 20; // with what is noted of the texts

// What an import counts for, on any machine.
constexpr size_t dependency_size = 96;
static_assert(sizeof(yang_dependency) <= dependency_size);

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
        source->named_revision = file.substr(mark + 1);
    source->revision = source->named_revision;
    return true;
}

yang_source *append_source(source_index *index, const char *path)
{
    auto source = std::make_unique<yang_source>();
    const char *slash = strrchr(path, '/');
    if (!split_file_name(slash != nullptr ? slash + 1 : path, source.get()))
        return nullptr;
    source->path = path;
    index->by_name[source->name].push_back(source.get());
    index->sources.push_back(std::move(source));
    return index->sources.back().get();
}

int compare_names(const FTSENT **first, const FTSENT **second)
{
    return strcmp((*first)->fts_name, (*second)->fts_name);
}

// Shortens a text to what a file has for it; an errno value, 0 for success.
int read_up_to_size(int file, std::string *text)
{
    size_t length = 0;
    ssize_t got = 1;
    while (got > 0 && length < text->size()) {
        got = read(file, text->data() + length, text->size() - length);
        length += got > 0 ? static_cast<size_t>(got) : 0;
    }
    text->resize(length);
    return got < 0 ? errno : 0;
}

// Fills source->text, of which there may be `most` bytes; an errno value, 0 for success.
int read_text(yang_source *source, size_t most)
{
    struct stat status;
    if (stat(source->path.c_str(), &status) != 0)
        return errno;
    // A pipe that calls itself a module must not keep us waiting.
    if (!S_ISREG(status.st_mode))
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    if (status.st_size > largest_source || static_cast<size_t>(status.st_size) > most)
        return EFBIG;
    source->text.resize(static_cast<size_t>(status.st_size));
    // Nor must one that has taken its place since.
    const descriptor file(open(source->path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return file.fd < 0 ? errno : read_up_to_size(file.fd, &source->text);
}

// Reads an import or include to its end.
void read_dependency(yang_source *source, yang_cursor *cursor, const yang_statement &statement)
{
    const char *text = source->text.data();
    yang_dependency dependency = {statement.keyword == "include",
                                  statement.argument,
                                  "",
                                  statement.line,
                                  static_cast<size_t>(statement.keyword.data() - text),
                                  0};
    yang_statement inner;
    while (yang_next_within(cursor, statement.depth, &inner)) {
        if (inner.keyword == "revision-date")
            dependency.revision = inner.argument;
    }
    if (cursor->depth == statement.depth)
        dependency.end = static_cast<size_t>(cursor->rest.data() - text);
    source->dependencies.push_back(dependency);
}

void read_top_statement(yang_source *source, yang_cursor *cursor, const yang_statement &statement)
{
    if (statement.keyword == "import" || statement.keyword == "include")
        read_dependency(source, cursor, statement);
    else if (statement.keyword == "belongs-to")
        source->belongs_to = statement.argument;
    else if (statement.keyword == "yang-version")
        source->is_version_1_1 = statement.argument == "1.1";
    else if (statement.keyword == "revision" && statement.argument > source->revision)
        source->revision = statement.argument; // the newest
}

// Notes what kind of source this is and what it depends on.
void read_header(yang_source *source)
{
    yang_cursor cursor = yang_open(source->text);
    yang_statement statement;
    source->line = 1;
    source->revision.clear();
    if (!yang_next(&cursor, &statement))
        return;
    source->is_submodule = statement.keyword == "submodule";
    source->declared_name = statement.argument;
    source->line = statement.line;
    while (yang_next_within(&cursor, 0, &statement)) {
        source->has_instances |= statement.keyword.find(':') != std::string_view::npos;
        if (statement.depth == 1)
            read_top_statement(source, &cursor, statement);
    }
}

void ensure_read(source_index *index, yang_source *source)
{
    if (source->state != source_state::unread)
        return;
    source->failure = read_text(source, largest_index - std::min(index->size, largest_index));
    source->state = source->failure == 0 ? source_state::readable : source_state::unreadable;
    if (source->failure == 0)
        read_header(source);
    // An import of seven letters takes more than ten times as much here.
    source->dependencies.shrink_to_fit();
    index->size += source->text.size() + source->dependencies.size() * dependency_size;
}

// Whether source is a better answer than best, which may be null.
bool is_better(const yang_source *source, const yang_source *best)
{
    if (best == nullptr || source->is_pinned != best->is_pinned)
        return best == nullptr || source->is_pinned;
    return source->revision > best->revision;
}

std::string directory_of(const std::string &path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The source of a file in a directory that has been added, or a new one for it;
// null when it is none of ours.
yang_source *source_of(source_index *index, const std::string &path)
{
    const size_t slash = path.rfind('/');
    const std::string found_path = slash == std::string::npos ? "./" + path : path;
    yang_source wanted = {};
    if (!split_file_name(found_path.substr(found_path.rfind('/') + 1), &wanted))
        return nullptr;
    for (yang_source *source : index->by_name[wanted.name]) {
        if (source->path == found_path)
            return source;
    }
    return append_source(index, path.c_str());
}

// Has a source looked up by the name in its text.
void look_up_by_text(source_index *index, yang_source *source)
{
    if (source->declared_name.empty() || source->declared_name == source->name)
        return;
    std::erase(index->by_name[source->name], source);
    source->name = source->declared_name;
    index->by_name[source->name].push_back(source);
}

// The best of these sources, as far as is known without reading more of them;
// null when none has the revision.
yang_source *choose(source_index *index, const std::vector<yang_source *> &sources,
                    const std::string &revision)
{
    yang_source *best = nullptr;
    for (yang_source *source : sources) {
        if (source->revision.empty())
            ensure_read(index, source);
        const bool fits =
            revision.empty() || source->revision == revision || source->named_revision == revision;
        if (fits && is_better(source, best))
            best = source;
    }
    return best;
}

} // namespace

int source_index_add_directory(source_index *index, const char *directory, bool is_deep)
{
    const std::vector<std::string> &known = index->directories;
    if (std::find(known.begin(), known.end(), directory) != known.end())
        return 0;
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
    if (source_index_add_directory(index, directory_of(path).c_str(), false) != 0)
        return nullptr;
    yang_source *source = source_of(index, path);
    if (source == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    ensure_read(index, source);
    if (source->state == source_state::unreadable) {
        errno = source->failure;
        return nullptr;
    }
    source->is_pinned = true;
    look_up_by_text(index, source);
    return source;
}

std::vector<std::string> source_index_paths_in(const source_index *index,
                                               const std::string &directory)
{
    std::vector<std::string> paths;
    for (const std::unique_ptr<yang_source> &source : index->sources) {
        if (directory_of(source->path) == directory)
            paths.push_back(source->path);
    }
    return paths;
}

yang_source *source_index_find(source_index *index, const std::string &name,
                               const std::string &revision)
{
    const auto named = index->by_name.find(name);
    if (named == index->by_name.end())
        return nullptr;
    // Reading a source may show that it has another revision than its file name says.
    yang_source *best = choose(index, named->second, revision);
    while (best != nullptr && best->state == source_state::unread) {
        ensure_read(index, best);
        best = choose(index, named->second, revision);
    }
    return best;
}
