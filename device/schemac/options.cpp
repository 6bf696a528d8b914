#include "device/schemac/options.h"

#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>

#include "device/schemac/report.h"

namespace
{

int complain(const char *what, const char *word)
{
    fprintf(stderr, "schemac: %s%s\nTry 'schemac --help'.\n", what, report_part(word).c_str());
    return -1;
}

int add_feature(schemac_options *options, const char *text)
{
    if (feature_options_add(&options->features, text) == 0)
        return 0;
    return complain("--feature needs MODULE:FEATURE, not ", text);
}

constexpr option option_names[] = {
    {"search", required_argument, nullptr, 's'},  {"redis", required_argument, nullptr, 'r'},
    {"feature", required_argument, nullptr, 'f'}, {"feature-file", required_argument, nullptr, 'F'},
    {"force", no_argument, nullptr, 'o'},         {"keep-going", no_argument, nullptr, 'k'},
    {"list", no_argument, nullptr, 'l'},          {"show", required_argument, nullptr, 'p'},
    {"tree", no_argument, nullptr, 't'},          {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},       {nullptr, 0, nullptr, 0}};

constexpr struct {
    int letter;
    bool schemac_options::*field;
} switches[] = {{'o', &schemac_options::is_forced},  {'k', &schemac_options::keeps_going},
                {'l', &schemac_options::wants_list}, {'t', &schemac_options::wants_tree},
                {'h', &schemac_options::wants_help}, {'v', &schemac_options::wants_version}};

// Takes the option with this letter; 0, or -1 after the mistake has been named.
int take_option(schemac_options *options, int letter)
{
    if (letter == 'f')
        return add_feature(options, optarg);
    if (letter == 'F')
        return feature_options_add_file(&options->features, optarg);
    if (letter == 's')
        options->directories.push_back(optarg);
    if (letter == 'p')
        options->shown_path = optarg;
    for (const auto &each : switches) {
        if (each.letter == letter)
            options->*each.field = true;
    }
    return 0;
}

// What goes with what, when it is known what is wanted.
int check_words(const schemac_options *options)
{
    const bool is_show = options->shown_path != nullptr;
    if (options->wants_tree && !is_show)
        return complain("--tree needs --show", "");
    if (options->wants_list && is_show)
        return complain("--list and --show are two things", "");
    if (!options->wants_list && !is_show)
        return options->modules.empty() ? complain("no module named", "") : 0;
    return options->modules.empty() ? 0 : complain("unexpected ", options->modules[0]);
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
    "       schemac --from [--cache DIR] [--search DIR]... [--redis WHERE] -- COMMAND...\n"
    "       schemac [--redis WHERE] --list\n"
    "       schemac [--redis WHERE] --show PATH [--tree]\n"
    "\n"
    "Compiles YANG modules, with all that they import, and replaces the schema in\n"
    "redis database 4 by them: what differs is written, and nothing else.\n"
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
    "  --force                   store the schema also when nothing has changed\n"
    "  --keep-going              store what can be compiled, and name the rest\n"
    "  --from                    compile what the NETCONF server has to which COMMAND leads;\n"
    "                            its texts come from it, from a cache, and from --search\n"
    "  --cache DIR               keep those texts in DIR; otherwise below vandel in\n"
    "                            $XDG_CACHE_HOME or ~/.cache, each command apart\n"
    "  --timeout SECONDS         with --from: how long each answer may take (60)\n"
    "  --list                    show the modules in the database: revisions, nodes,\n"
    "                            bytes, features\n"
    "  --show PATH               show a node in the database and its children\n"
    "  --tree                    with --show: draw all that is below the node\n"
    "  --help                    show this text\n"
    "  --version                 show the version\n"
    "\n"
    "On success prints the numbers of modules, nodes and bytes stored. On failure names\n"
    "module, line and cause, leaves the database as it was, and exits with status 1.\n";

int options_parse(int count, char **words, schemac_options *options)
{
    const char *where = nullptr;
    opterr = 0;
    for (int letter; (letter = getopt_long(count, words, ":h", option_names, nullptr)) != -1;) {
        if (letter == ':')
            return complain("argument missing after ", words[optind - 1]);
        if (letter == '?')
            return complain("unknown option ", words[optind - 1]);
        if (letter == 'r')
            where = optarg;
        else if (take_option(options, letter) != 0)
            return -1;
        if (options->wants_help || options->wants_version)
            return 0;
    }
    options->modules.assign(words + optind, words + count);
    if (check_words(options) != 0)
        return -1;
    return read_where(options, where);
}
