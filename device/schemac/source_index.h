// The YANG files that may be compiled: found in directories, read on demand.
//
// A source belongs to its index and stays where it is until the index ends.
// Nothing here prints; failures say what happened in errno or in their result.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

// One import or include statement.
struct yang_dependency {
    bool is_include;
    std::string name;
    std::string revision; // empty: any
    unsigned line;
    size_t start; // of the statement in the text
    size_t end;   // after it; 0 when the text ends first
};

enum class source_state { unread, readable, unreadable };

struct yang_source {
    std::string path;
    std::string name;           // what it is looked up by: from the file name, or of a named file
                                // from its text
    std::string named_revision; // from the file name; may be empty
    std::string revision;       // of the text once that is read, until then as named
    bool is_pinned;             // named as a file: preferred to any other of its name
    bool is_used;               // given to the compiler in this run
    source_state state;
    int failure; // errno value of an unreadable source

    // Once it has been read:
    std::string text;
    std::string declared_name;
    bool is_submodule;
    bool is_version_1_1;
    bool has_instances;     // of extensions
    std::string belongs_to; // of a submodule
    unsigned line;          // of its module statement
    std::vector<yang_dependency> dependencies;
};

struct source_index {
    std::vector<std::string> directories; // as they were given, for messages
    std::vector<std::unique_ptr<yang_source>> sources;
    std::unordered_map<std::string, std::vector<yang_source *>> by_name;
    size_t size = 0; // of what has been read; when it is 512 MiB, nothing more is
};

// Adds the files NAME.yang and NAME@REVISION.yang of a directory, and of those
// below it when told so; symbolic links to directories are not followed. 0, or
// -1 with errno set.
int source_index_add_directory(source_index *index, const char *directory, bool is_deep);

// Adds one file, which is preferred to others of its name, and the directory
// that it stands in. Null with errno set when it cannot be read.
yang_source *source_index_add_file(source_index *index, const char *path);

// The paths of the files that a directory holds, which has been added under
// this name, in the order of their names.
std::vector<std::string> source_index_paths_in(const source_index *index,
                                               const std::string &directory);

// Finds the module or submodule of this name: of this revision, by its text or
// by its file name, or the newest when revision is empty; of several the one
// found first. The source has been read unless that failed. Null when there is
// none.
yang_source *source_index_find(source_index *index, const std::string &name,
                               const std::string &revision);

// The module that a source is, or belongs to, once it has been read.
inline const std::string &module_of(const yang_source *source)
{
    return source->is_submodule ? source->belongs_to : source->declared_name;
}
