// Reads lines with the line editor and reports each of them: the program that
// tests run in a pseudo-terminal.
//
// --report FD   write to FD, line by line: "key NUMBER" for each byte read,
//               "line HEX" for each line, "none ERRNO" for a read without one;
//               without it the last two go to standard output
// --gate FD     wait for a byte on FD before each read but the first; exit with
//               status 0 at its end
// --prompt TEXT --history LIMIT --utf8 --maximum BYTES --timeout SECONDS
// --hidden      do not show what is typed; --stars shows asterisks
// --patient     a time-out does not end the read
// --words LIST  Tab completes the blank-separated words of LIST
// --mask        SIGTERM is deliverable only while the editor waits
//
// Lines that are not empty are remembered. The line "quit" and a read without a
// line end the program. Ctrl-T exits with status 3 inside the read; Ctrl-X breaks
// a rule of the editor's interface.
#include <errno.h>
#include <getopt.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "tinyrl/history.h"
#include "tinyrl/tinyrl.h"

namespace
{

struct settings {
    int report = -1;
    int gate = -1;
    std::string prompt = "/$ ";
    size_t history = 10;
    bool utf8 = false;
    bool hidden = false;
    bool stars = false;
    bool patient = false;
    bool mask = false;
    size_t maximum = 0;
    int timeout = -1;
    std::vector<std::string> words;
};

settings chosen;
struct tinyrl *editor = nullptr;

void report(const std::string &text)
{
    if (chosen.report < 0) {
        printf("%s\n", text.c_str());
        fflush(stdout);
        return;
    }
    std::string line = text + "\n";
    if (write(chosen.report, line.data(), line.size()) < 0)
        _exit(4);
}

void report_key(struct tinyrl * /*editor*/, int key)
{
    report("key " + std::to_string(key));
}

bool keep_waiting(struct tinyrl * /*editor*/)
{
    return false;
}

bool complete_word(struct tinyrl *asking, int /*key*/)
{
    std::string line = tinyrl_get_line(asking);
    size_t point = tinyrl_get_point(asking);
    size_t start = line.rfind(' ', point > 0 ? point - 1 : 0);
    start = start == std::string::npos || start >= point ? 0 : start + 1;
    std::string typed = line.substr(start, point - start);
    std::vector<char *> matches;
    for (std::string &word : chosen.words) {
        if (word.compare(0, typed.size(), typed) == 0)
            matches.push_back(word.data());
    }
    matches.push_back(nullptr);
    tinyrl_complete_matches(asking, start, matches.data(), false);
    return matches.size() > 1;
}

bool exit_inside_read(struct tinyrl * /*editor*/, int /*key*/)
{
    exit(3);
}

bool break_rule(struct tinyrl *asking, int /*key*/)
{
    tinyrl_display_matches(asking, nullptr, 0, 0);
    return true;
}

void end_by_signal(int /*number*/)
{
    tinyrl_delete(editor);
    _exit(1);
}

std::vector<std::string> split(const char *text)
{
    std::vector<std::string> words;
    std::string word;
    for (; *text != '\0'; text++) {
        if (*text != ' ') {
            word += *text;
        } else if (!word.empty()) {
            words.push_back(word);
            word.clear();
        }
    }
    if (!word.empty())
        words.push_back(word);
    return words;
}

void read_number_option(int option, const char *text)
{
    long value = strtol(text, nullptr, 10);
    switch (option) {
    case 'r':
        chosen.report = static_cast<int>(value);
        break;
    case 'g':
        chosen.gate = static_cast<int>(value);
        break;
    case 'h':
        chosen.history = static_cast<size_t>(value);
        break;
    case 'm':
        chosen.maximum = static_cast<size_t>(value);
        break;
    default:
        chosen.timeout = static_cast<int>(value);
    }
}

bool read_option(int option)
{
    switch (option) {
    case 'p':
        chosen.prompt = optarg;
        return true;
    case 'w':
        chosen.words = split(optarg);
        return true;
    case 'u':
        chosen.utf8 = true;
        return true;
    case 'H':
        chosen.hidden = true;
        return true;
    case 's':
        chosen.stars = true;
        return true;
    case 'P':
        chosen.patient = true;
        return true;
    case 'M':
        chosen.mask = true;
        return true;
    case '?':
        return false;
    default:
        read_number_option(option, optarg);
        return true;
    }
}

bool read_options(int argc, char **argv)
{
    static const struct option options[] = {
        {"report", required_argument, nullptr, 'r'},
        {"gate", required_argument, nullptr, 'g'},
        {"prompt", required_argument, nullptr, 'p'},
        {"history", required_argument, nullptr, 'h'},
        {"maximum", required_argument, nullptr, 'm'},
        {"timeout", required_argument, nullptr, 't'},
        {"words", required_argument, nullptr, 'w'},
        {"utf8", no_argument, nullptr, 'u'},
        {"hidden", no_argument, nullptr, 'H'},
        {"stars", no_argument, nullptr, 's'},
        {"patient", no_argument, nullptr, 'P'},
        {"mask", no_argument, nullptr, 'M'},
        {nullptr, 0, nullptr, 0},
    };
    int option = 0;
    while ((option = getopt_long(argc, argv, "", options, nullptr)) != -1) {
        if (!read_option(option))
            return false;
    }
    return optind == argc;
}

void set_up_signals()
{
    struct sigaction action = {};
    static sigset_t open;
    sigset_t mask;
    action.sa_handler = end_by_signal;
    sigfillset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigemptyset(&open);
    tinyrl_set_wait_mask(editor, &open);
    sigemptyset(&mask);
    sigaddset(&mask, SIGTERM);
    sigprocmask(SIG_BLOCK, &mask, nullptr);
}

void set_up_editor()
{
    tinyrl_bind_key(editor, 20, exit_inside_read);
    tinyrl_bind_key(editor, 24, break_rule);
    tinyrl_get_settings(editor)->utf8 = chosen.utf8;
    tinyrl_get_settings(editor)->max_line_length = chosen.maximum;
    tinyrl_set_timeout(editor, chosen.timeout);
    if (chosen.report >= 0)
        tinyrl_get_settings(editor)->keypress_hook = report_key;
    tinyrl_get_settings(editor)->echo_shown = !chosen.hidden && !chosen.stars;
    tinyrl_get_settings(editor)->echo_character = chosen.stars ? '*' : '\0';
    if (chosen.patient)
        tinyrl_get_settings(editor)->timeout_handler = keep_waiting;
    if (!chosen.words.empty())
        tinyrl_bind_key(editor, 9, complete_word);
    if (chosen.mask)
        set_up_signals();
}

std::string as_hex(const std::string &text)
{
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    for (char byte : text) {
        unsigned value = static_cast<unsigned char>(byte);
        hex += digits[value >> 4];
        hex += digits[value & 15];
    }
    return hex;
}

// False at the end of the gate.
bool pass_gate()
{
    char byte = 0;
    return chosen.gate < 0 || read(chosen.gate, &byte, 1) == 1;
}

// Returns whether another read is to follow.
bool read_one_line()
{
    char *line = tinyrl_readline(editor, chosen.prompt.c_str(), nullptr);
    if (line == nullptr) {
        report("none " + std::to_string(errno));
        return false;
    }
    std::string text = line;
    free(line);
    report("line " + as_hex(text));
    if (!text.empty())
        history_add(tinyrl_get_history(editor), text.c_str());
    return text != "quit";
}

} // namespace

int main(int argc, char **argv)
{
    if (!read_options(argc, argv))
        return 2;
    editor = tinyrl_new(stdin, stdout, chosen.history, nullptr);
    if (editor == nullptr)
        return 2;
    set_up_editor();
    while (read_one_line() && pass_gate()) {
    }
    tinyrl_delete(editor);
    return 0;
}
