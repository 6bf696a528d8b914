#include "device/gateway/gateway_options.h"

#include <string.h>

const char gateway_help[] =
    "usage: tarnd-gateway --listen SOCKET [OPTION]... -- COMMAND [ARGUMENT]...\n"
    "\n"
    "Lets shells reach a NETCONF server. For each shell that connects to SOCKET, a\n"
    "Unix stream socket, COMMAND is started; it has to speak NETCONF on its standard\n"
    "input and output, as \"ssh -s ROUTER netconf\" or \"netconf-subsystem\" do. It\n"
    "cannot ask for a password: it has no terminal.\n"
    "\n"
    "  --listen SOCKET  where shells connect; created with mode 0600, removed at the\n"
    "                   end\n"
    "  --no-subscribe   do not ask the server for notifications\n"
    "  --stream NAME    ask for the notifications of this stream only\n"
    "  --filter FILTER  ask for the notifications that an XPath selects, or a subtree,\n"
    "                   which begins with \"<\"\n"
    "  --confirmed-commit SECONDS\n"
    "                   have the server undo a change of running by which the gateway\n"
    "                   is cut off from it, after so long\n"
    "  --lock           lock running while it is edited\n"
    "  --with-defaults MODE\n"
    "                   read data with defaults as report-all, report-all-tagged, trim\n"
    "                   or explicit says\n"
    "  --startup-is-running\n"
    "                   save nothing, and read running for startup, where a server has\n"
    "                   no startup\n"
    "  --max-shells N   serve N shells at a time (32); the others are told and closed\n"
    "  --max-buffered BYTES\n"
    "                   hold so much of all shells' requests together (536870912)\n"
    "  --hello-timeout SECONDS\n"
    "                   how long the server may take to say hello (60)\n"
    "  --keepalive SECONDS\n"
    "                   ask the server for nothing when nothing was said for so long\n"
    "  --request-timeout SECONDS\n"
    "                   end a session whose server says nothing to a request for so\n"
    "                   long; without this option none is\n"
    "  --idle-timeout SECONDS\n"
    "                   close a shell that asks nothing for so long; without this\n"
    "                   option none is\n"
    "  --help           print this text\n"
    "  --version        print the version\n"
    "\n"
    "SIGTERM or SIGINT ends the gateway and all its sessions.\n";

namespace
{

// The value of an option given as "--name VALUE" or "--name=VALUE"; null when
// it is not that option. *at moves to the last argument used.
const char *option_value(char *const arguments[], int *at, const char *name)
{
    const size_t size = strlen(name);
    const char *argument = arguments[*at];
    if (strncmp(argument, name, size) != 0)
        return nullptr;
    if (argument[size] == '=')
        return argument + size + 1;
    if (argument[size] != '\0')
        return nullptr;
    if (arguments[*at + 1] == nullptr)
        return "";
    ++*at;
    return arguments[*at];
}

// An option with a decimal number, which may not be 0.
struct number_option {
    const char *name;
    uint32_t gateway_options::*field;
    uint32_t most;
    const char *refusal;
};

const number_option number_options[] = {
    {"--max-shells", &gateway_options::max_shells, 10000,
     "--max-shells takes a number from 1 to 10000"},
    {"--max-buffered", &gateway_options::max_buffered, UINT32_MAX,
     "--max-buffered takes a number from 1 to 4294967295"},
    {"--hello-timeout", &gateway_options::hello_timeout, 86400,
     "--hello-timeout takes a number from 1 to 86400"},
    {"--keepalive", &gateway_options::keepalive, 86400,
     "--keepalive takes a number from 1 to 86400"},
    {"--request-timeout", &gateway_options::request_timeout, 86400,
     "--request-timeout takes a number from 1 to 86400"},
    {"--idle-timeout", &gateway_options::idle_timeout, 86400,
     "--idle-timeout takes a number from 1 to 86400"},
};

// 0 for what is no number from 1 to most.
uint32_t read_number(const char *text, uint32_t most)
{
    uint64_t number = 0;
    for (; *text >= '0' && *text <= '9' && number <= most; text++)
        number = number * 10 + static_cast<uint64_t>(*text - '0');
    return *text != '\0' || number > most ? 0 : static_cast<uint32_t>(number);
}

// Takes an option with a number; what is wrong, or null.
const char *read_number_option(char *const arguments[], int *at, gateway_options *options)
{
    for (const number_option &option : number_options) {
        const char *value = option_value(arguments, at, option.name);
        if (value == nullptr)
            continue;
        options->*option.field = read_number(value, option.most);
        return options->*option.field == 0 ? option.refusal : nullptr;
    }
    return "unknown option";
}

// What is wrong, or null; so the next one.
const char *read_confirmed_commit(const char *seconds, server_extras *extras)
{
    extras->confirmed_commit = read_number(seconds, 86400);
    return extras->confirmed_commit == 0 ? "--confirmed-commit takes a number from 1 to 86400"
                                         : nullptr;
}

const char *read_mode(const char *name, server_extras *extras)
{
    extras->defaults = defaults_mode_find(name);
    return extras->defaults == nullptr
               ? "--with-defaults takes report-all, report-all-tagged, trim or explicit"
               : nullptr;
}

// Takes the argument if it is an option with a text.
bool read_text_option(char *const arguments[], int *at, gateway_options *options)
{
    const struct {
        const char *name;
        const char **value;
    } texts[] = {{"--listen", &options->socket_path},
                 {"--stream", &options->wish.stream},
                 {"--filter", &options->wish.filter}};
    for (const auto &text : texts) {
        const char *value = option_value(arguments, at, text.name);
        if (value == nullptr)
            continue;
        *text.value = value;
        return true;
    }
    return false;
}

// Reads the options in front of the command; *at moves after them.
const char *read_options(int count, char *const arguments[], int *at, gateway_options *options)
{
    const char *reason = nullptr;
    for (; *at < count && arguments[*at][0] == '-' && strcmp(arguments[*at], "--") != 0; ++*at) {
        if (strcmp(arguments[*at], "--no-subscribe") == 0)
            options->subscribe = false;
        else if (strcmp(arguments[*at], "--lock") == 0)
            options->extras.lock = true;
        else if (strcmp(arguments[*at], "--startup-is-running") == 0)
            options->extras.startup_is_running = true;
        else if (const char *seconds = option_value(arguments, at, "--confirmed-commit"))
            reason = read_confirmed_commit(seconds, &options->extras);
        else if (const char *mode = option_value(arguments, at, "--with-defaults"))
            reason = read_mode(mode, &options->extras);
        else if (strcmp(arguments[*at], "--help") == 0)
            options->help = true;
        else if (strcmp(arguments[*at], "--version") == 0)
            options->version = true;
        else if (!read_text_option(arguments, at, options))
            reason = read_number_option(arguments, at, options);
        if (reason != nullptr)
            return reason;
    }
    return nullptr;
}

} // namespace

const char *gateway_options_read(int count, char *const arguments[], gateway_options *options,
                                 const char **culprit)
{
    *options = {};
    options->subscribe = true;
    options->max_shells = 32;
    options->max_buffered = uint32_t{512} << 20;
    options->hello_timeout = 60;
    *culprit = nullptr;
    int at = 1;
    const char *reason = read_options(count, arguments, &at, options);
    if (reason != nullptr) {
        *culprit = arguments[at];
        return reason;
    }
    if (options->help || options->version)
        return nullptr;
    if (options->socket_path == nullptr || options->socket_path[0] == '\0')
        return "--listen SOCKET is missing";
    if (at < count && strcmp(arguments[at], "--") != 0) {
        *culprit = arguments[at];
        return "a \"--\" has to stand in front of the command";
    }
    if (at + 1 >= count || arguments[at + 1][0] == '\0')
        return "the command is missing";
    options->command = arguments + at + 1;
    return nullptr;
}
