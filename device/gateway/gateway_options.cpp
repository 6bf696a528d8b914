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

// 0 for what is no number from 1 to most.
uint32_t read_number(const char *text, uint32_t most)
{
    uint64_t number = 0;
    for (; *text >= '0' && *text <= '9' && number <= most; text++)
        number = number * 10 + static_cast<uint64_t>(*text - '0');
    return *text != '\0' || number > most ? 0 : static_cast<uint32_t>(number);
}

// Takes the argument if it is an option without a value.
bool read_switch(const char *argument, gateway_options *options)
{
    const struct {
        const char *name;
        bool *field;
        bool value;
    } switches[] = {{"--no-subscribe", &options->subscribe, false},
                    {"--lock", &options->extras.lock, true},
                    {"--startup-is-running", &options->extras.startup_is_running, true},
                    {"--help", &options->help, true},
                    {"--version", &options->version, true}};
    for (const auto &each : switches) {
        if (strcmp(argument, each.name) == 0) {
            *each.field = each.value;
            return true;
        }
    }
    return false;
}

// Takes the argument if it is an option with a text.
bool read_text(char *const arguments[], int *at, gateway_options *options)
{
    const struct {
        const char *name;
        const char **field;
    } texts[] = {{"--listen", &options->socket_path},
                 {"--stream", &options->wish.stream},
                 {"--filter", &options->wish.filter}};
    for (const auto &each : texts) {
        if (const char *value = option_value(arguments, at, each.name)) {
            *each.field = value;
            return true;
        }
    }
    return false;
}

// Takes an option with a number, which may not be 0, or a name; what is wrong, or null.
const char *read_value(char *const arguments[], int *at, gateway_options *options)
{
    const struct {
        const char *name;
        uint32_t *field;
        uint32_t most;
        const char *refusal;
    } numbers[] = {
        {"--max-shells", &options->max_shells, 10000,
         "--max-shells takes a number from 1 to 10000"},
        {"--max-buffered", &options->max_buffered, UINT32_MAX,
         "--max-buffered takes a number from 1 to 4294967295"},
        {"--hello-timeout", &options->hello_timeout, 86400,
         "--hello-timeout takes a number from 1 to 86400"},
        {"--keepalive", &options->keepalive, 86400, "--keepalive takes a number from 1 to 86400"},
        {"--request-timeout", &options->request_timeout, 86400,
         "--request-timeout takes a number from 1 to 86400"},
        {"--idle-timeout", &options->idle_timeout, 86400,
         "--idle-timeout takes a number from 1 to 86400"},
        {"--confirmed-commit", &options->extras.confirmed_commit, 86400,
         "--confirmed-commit takes a number from 1 to 86400"}};
    for (const auto &each : numbers) {
        if (const char *value = option_value(arguments, at, each.name)) {
            *each.field = read_number(value, each.most);
            return *each.field == 0 ? each.refusal : nullptr;
        }
    }
    const char *mode = option_value(arguments, at, "--with-defaults");
    if (mode == nullptr)
        return "unknown option";
    options->extras.defaults = defaults_mode_find(mode);
    return options->extras.defaults == nullptr
               ? "--with-defaults takes report-all, report-all-tagged, trim or explicit"
               : nullptr;
}

// Reads the options in front of the command; *at moves after them. What is wrong, or null.
const char *read_options(int count, char *const arguments[], int *at, gateway_options *options)
{
    const char *reason = nullptr;
    for (; *at < count && arguments[*at][0] == '-' && strcmp(arguments[*at], "--") != 0; ++*at) {
        if (!read_switch(arguments[*at], options) && !read_text(arguments, at, options))
            reason = read_value(arguments, at, options);
        if (reason != nullptr)
            break;
    }
    return reason;
}

} // namespace

const char *gateway_options_read(int count, char *const arguments[], gateway_options *options,
                                 const char **culprit)
{
    *options = {};
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
