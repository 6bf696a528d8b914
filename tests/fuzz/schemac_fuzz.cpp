// Arbitrary YANG texts through schemac, from files to the commands that store
// the schema.
//
// The texts are parted by lines of "---" and stand in a.yang, b.yang and
// c.yang; the first is asked for. What is written for a module that compiles has
// a target of its own, schema.
#include "device/schemac/compile.h"

#include <sys/stat.h>

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_stored.h"
#include "tests/fuzz/kept_context.h"
#include "tests/support/private_tmp.h"

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

using yang_texts = std::vector<std::string>;

yang_texts split_texts(const std::string &input)
{
    yang_texts texts;
    size_t at = 0;
    while (texts.size() < most_texts) {
        const size_t end = input.find("\n---\n", at);
        texts.push_back(input.substr(at, end - at));
        if (end == std::string::npos)
            break;
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

// Errors name what is wrong with a text; they would fill the log of a long run.
class quiet_errors
{
  public:
    quiet_errors() : original(stderr)
    {
        static FILE *const sink = fopen("/dev/null", "we");
        fuzz_require(sink != nullptr, "there is a sink");
        stderr = sink;
    }

    ~quiet_errors()
    {
        stderr = original;
    }

    quiet_errors(const quiet_errors &) = delete;
    quiet_errors &operator=(const quiet_errors &) = delete;

  private:
    FILE *original;
};

int ask_for_first(source_index *index, std::vector<module_request> *requests)
{
    const quiet_errors errors;
    schemac_options options = {};
    options.directories = {directory};
    options.modules = {names[0]};
    options.features.named = {{names[0], "*"}};
    return make_requests(&options, index, requests);
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
    write_texts(texts);
    source_index index;
    std::vector<module_request> requests;
    if (ask_for_first(&index, &requests) != 0)
        return 0;
    const compile_watch watch = {[](const std::string &, size_t, size_t) { return true; },
                                 [](const std::string &, size_t, size_t) {},
                                 [](const error_report &) {}};
    error_report error;
    const context_ptr context =
        compile_modules(&index, requests, feature_choice_named, &watch, &error);
    if (context)
        fuzz_stored_schema(context.get(), requests, "/");
    else
        report_text(error);
    return 0;
}
