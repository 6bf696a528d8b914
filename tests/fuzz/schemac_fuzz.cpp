// Arbitrary YANG texts through schemac, from files to the commands that store
// the schema.
//
// The texts are parted by lines of "---" and stand in a.yang, b.yang and
// c.yang; the first is asked for. What libyang itself cannot bear (it then dies
// or does not come to an end, in a process of its own) is left out: the
// compiler shields itself in the same way.
#include "device/schemac/compile.h"
#include "device/schemac/schema_writer.h"
#include "device/schemac/text_tools.h"

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/private_tmp.h"

#include <algorithm>
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

// libyang forgets some memory when it refuses a text.
extern "C" __attribute__((used, visibility("default"))) const char *__lsan_default_suppressions();
const char *__lsan_default_suppressions()
{
    return "leak:libyang.so\n";
}

namespace
{

const char directory[] = "/tmp/yang";
const char *const names[] = {"a", "b", "c"};
constexpr size_t most_texts = sizeof names / sizeof names[0];
constexpr rlim_t most_seconds = 2;

using yang_texts = std::vector<std::string>;

yang_texts split_texts(const std::string &input)
{
    yang_texts texts;
    size_t at = 0;
    while (texts.size() < most_texts) {
        const size_t end = input.find("\n---\n", at);
        texts.push_back(input.substr(at, end - at));
        if (end == std::string::npos) {
            break;
        }
        at = end + 5;
    }
    return texts;
}

std::string path_of(size_t number)
{
    return std::string(directory) + "/" + names[number] + ".yang";
}

void write_texts(const yang_texts &texts)
{
    for (size_t i = 0; i < most_texts; i++) {
        remove(path_of(i).c_str());
        if (i < texts.size()) {
            FILE *file = fopen(path_of(i).c_str(), "we");
            fuzz_require(file != nullptr, "a text can be written");
            fwrite(texts[i].data(), 1, texts[i].size(), file);
            fclose(file);
        }
    }
}

// libyang alone.

LY_ERR serve_text(const char *module, const char * /*revision*/, const char *submodule,
                  const char * /*submodule_revision*/, void *user_data, LYS_INFORMAT *format,
                  const char **text, ly_module_imp_data_free_clb *free_text)
{
    const auto *texts = static_cast<const yang_texts *>(user_data);
    for (size_t i = 0; i < texts->size(); i++) {
        if (strcmp(names[i], submodule != nullptr ? submodule : module) == 0) {
            *format = LYS_IN_YANG;
            *text = (*texts)[i].c_str();
            *free_text = nullptr;
            return LY_SUCCESS;
        }
    }
    return LY_ENOTFOUND;
}

void ignore_message(LY_LOG_LEVEL /*level*/, const char * /*message*/, const char * /*path*/) {}

void compile_plainly(yang_texts *texts)
{
    ly_ctx *context = nullptr;
    ly_set_log_clb(ignore_message, 1);
    if (ly_ctx_new(nullptr,
                   LY_CTX_REF_IMPLEMENTED | LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIRS |
                       LY_CTX_SET_PRIV_PARSED | LY_CTX_EXPLICIT_COMPILE,
                   &context) == LY_SUCCESS) {
        ly_ctx_set_module_imp_clb(context, serve_text, texts);
        ly_ctx_load_module(context, names[0], nullptr, nullptr);
        ly_ctx_compile(context);
        ly_ctx_destroy(context);
    }
}

bool libyang_bears(yang_texts texts)
{
    const pid_t child = fork();
    fuzz_require(child >= 0, "there is a process for libyang");
    if (child == 0) {
        const rlimit seconds = {most_seconds, most_seconds};
        const rlimit core = {0, 0};
        setrlimit(RLIMIT_CPU, &seconds);
        setrlimit(RLIMIT_CORE, &core);
        for (const int number : {SIGSEGV, SIGBUS, SIGABRT, SIGILL, SIGFPE, SIGALRM}) {
            signal(number, SIG_DFL);
        }
        close(STDERR_FILENO);
        compile_plainly(&texts);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// What is stored.

// Takes "$LENGTH\r\n" and so many bytes off the front of the command.
std::string take_word(std::string *command)
{
    fuzz_require(!command->empty() && command->front() == '$', "a word has a length");
    const size_t length = strtoul(command->c_str() + 1, nullptr, 10);
    const size_t start = command->find("\r\n") + 2;
    fuzz_require(start + length + 2 <= command->size(), "a word is whole");
    const std::string word = command->substr(start, length);
    command->erase(0, start + length + 2);
    return word;
}

int number_at(const std::string &record, size_t at)
{
    return static_cast<int16_t>(static_cast<unsigned char>(record[at]) |
                                static_cast<unsigned>(static_cast<unsigned char>(record[at + 1]))
                                    << 8);
}

void check_text(const std::string &record, int offset)
{
    const auto start = static_cast<size_t>(offset) + 20;
    fuzz_require(offset >= 0 && start < record.size(), "a text begins in the record");
    fuzz_require(record.find('\0', start) != std::string::npos, "a text ends in the record");
    const std::string text = record.c_str() + start;
    fuzz_require_equal(printable_text(text), text, "a text can be shown");
}

void check_record(const std::string &record)
{
    fuzz_require(record.size() > 20, "a node record has a string area");
    const unsigned flags = static_cast<unsigned>(number_at(record, 0));
    fuzz_require((flags >> 6 & 31) >= 1 && (flags >> 6 & 31) <= 8, "the kind is a node's");
    fuzz_require(static_cast<size_t>(number_at(record, 18)) == record.size() - 20,
                 "the bound is the size of the string area");
    check_text(record, number_at(record, 12));
    check_text(record, number_at(record, 14));
}

void check_hash(std::string command)
{
    command.erase(0, command.find("\r\n") + 2);
    fuzz_require(take_word(&command) == "HSET", "a hash is stored");
    const std::string key = take_word(&command);
    fuzz_require(key[0] == '/' && key.find('\0') == std::string::npos, "under a path");
    while (!command.empty()) {
        const std::string name = take_word(&command);
        const std::string record = take_word(&command);
        fuzz_require(!name.empty() && name.find_first_of("/[] ") == std::string::npos,
                     "a child has a name");
        if (key == "/") {
            fuzz_require(record.size() > 43 && record.back() == '\0', "a module has a namespace");
        } else {
            check_record(record);
        }
    }
}

void check_schema(const ly_ctx *context, const std::vector<module_request> &requests)
{
    char *bytes = nullptr;
    size_t size = 0;
    spool output = {open_memstream(&bytes, &size), 0};
    fuzz_require(output.file != nullptr, "there is a spool");
    write_schema(context, requests, &output, [](uint64_t) {});
    fuzz_require(spool_finish(&output) == 0, "the spool is written");
    fclose(output.file);
    spool_reader reader = {bytes, bytes + size};
    const char *command = nullptr;
    size_t length = 0;
    while (spool_next(&reader, &command, &length)) {
        check_hash(std::string(command, length));
    }
    fuzz_require(reader.at == reader.end, "the spool is read to its end");
    free(bytes);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*words*/)
{
    private_tmp();
    mkdir(directory, 0700);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const yang_texts texts = split_texts(fuzz_input(data, size).rest());
    if (!libyang_bears(texts)) {
        return -1;
    }
    write_texts(texts);
    source_index index;
    std::vector<module_request> requests = {{names[0], "", {"*"}}};
    fuzz_require(source_index_add_directory(&index, directory, true) == 0, "there are texts");
    const context_ptr context = compile_modules(&index, &requests, [](const char *) {});
    if (context) {
        check_schema(context.get(), requests);
    }
    return 0;
}
