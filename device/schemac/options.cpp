// The command line of the schema compiler.
#include "device/schemac/options.h"

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>

namespace
{

int complain(const char *what, const char *word)
{
    fprintf(stderr, "schemac: %s%s\nTry 'schemac --help'.\n", what, word);
    return -1;
}

int add_feature(schemac_options *options, const char *text)
{
    if (feature_options_add(&options->features, text) == 0)
        return 0;
    return complain("--feature needs MODULE:FEATURE, not ", text);
}

int read_where(schemac_options *options, const char *where)
{
    if (where == nullptr)
        where = getenv("SCHEMA_REDIS");
    else if (where[0] == '\0')
        return complain("--redis needs HOST:PORT or a path", "");
    options->where = where != nullptr && where[0] != '\0' ? where : "127.0.0.1:6379";
    if (redis_endpoint_parse(where, &options->endpoint) != 0)
        return complain("no HOST:PORT or path: ", options->where.c_str());
    return 0;
}

} // namespace

const char options_help[] =
    "Usage: schemac [--search DIR]... [--redis WHERE] [--feature MODULE:FEATURE]... MODULE...\n"
    "\n"
    "Compiles YANG modules, with all that they import, and replaces the schema in\n"
    "redis database 4 by them in one transaction.\n"
    "\n"
    "  MODULE                    a module by its name (the newest revision is taken), by\n"
    "                            NAME@REVISION, or as the path of a .yang file, or all\n"
    "                            modules of a directory; modules that augment or deviate\n"
    "                            others must be named\n"
    "  --search DIR              look for modules in DIR and below; without this option\n"
    "                            in the current directory, but not below it\n"
    "  --redis WHERE             the server, as HOST:PORT or the path of a Unix socket;\n"
    "                            otherwise $SCHEMA_REDIS, otherwise 127.0.0.1:6379\n"
    "  --feature MODULE:FEATURE  enable a feature, with MODULE:* all of the module, with\n"
    "                            '*:*' all of all modules; all others are disabled\n"
    "  --feature-file FILE       enable those in a file, one MODULE:FEATURE a line; what\n"
    "                            follows a # is a comment\n"
    "  --help                    show this text\n"
    "  --version                 show the version\n"
    "\n"
    "On success prints the numbers of modules, nodes and bytes stored. On failure names\n"
    "module, line and cause, leaves the database as it was, and exits with status 1.\n";

int options_parse(int count, char **words, schemac_options *options)
{
    static const option names[] = {{"search", required_argument, nullptr, 's'},
                                   {"redis", required_argument, nullptr, 'r'},
                                   {"feature", required_argument, nullptr, 'f'},
                                   {"feature-file", required_argument, nullptr, 'F'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {"version", no_argument, nullptr, 'v'},
                                   {nullptr, 0, nullptr, 0}};
    const char *where = nullptr;
    opterr = 0;
    for (int letter; (letter = getopt_long(count, words, ":h", names, nullptr)) != -1;) {
        if (letter == 's') {
            options->directories.push_back(optarg);
        } else if (letter == 'r') {
            where = optarg;
        } else if (letter == 'F') {
            if (feature_options_add_file(&options->features, optarg) != 0)
                return -1;
        } else if (letter == 'h') {
            options->wants_help = true;
            return 0;
        } else if (letter == 'v') {
            options->wants_version = true;
            return 0;
        } else if (letter != 'f') {
            return complain(letter == ':' ? "argument missing after " : "unknown option ",
                            words[optind - 1]);
        } else if (add_feature(options, optarg) != 0) {
            return -1;
        }
    }
    options->modules.assign(words + optind, words + count);
    if (options->modules.empty())
        return complain("no module named", "");
    return read_where(options, where);
}
