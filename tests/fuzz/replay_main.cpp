// Runs a fuzz target over the files of its corpus, each twice in one process, as
// a test: what was found once stays found, and nothing that an input leaves
// behind may change what the next one meets.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <utility>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int *count, char ***words);

namespace
{

// What tests of leaks and of sizes expect of the sanitizer.
extern "C" __attribute__((used, visibility("default"))) const char *__asan_default_options()
{
    return "allocator_may_return_null=1:detect_stack_use_after_return=1";
}

using corpus_file = std::pair<std::string, std::string>; // name, content

// The files of a directory, or one file, in the order of their names.
std::vector<corpus_file> read_files(const std::string &where)
{
    std::vector<std::filesystem::path> paths;
    if (std::filesystem::is_directory(where)) {
        for (const auto &entry : std::filesystem::directory_iterator(where))
            paths.push_back(entry.path());
    } else {
        paths.emplace_back(where);
    }
    std::sort(paths.begin(), paths.end());
    std::vector<corpus_file> files;
    for (const auto &path : paths) {
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            perror(path.c_str());
            exit(1);
        }
        files.emplace_back(path.filename(), std::string(std::istreambuf_iterator<char>(file), {}));
    }
    return files;
}

// In a block of its exact size, so that the sanitizer sees a byte read beyond it.
void run(const std::string &content)
{
    auto *block = static_cast<uint8_t *>(malloc(content.size()));
    if (!content.empty())
        memcpy(block, content.data(), content.size());
    LLVMFuzzerTestOneInput(block, content.size());
    free(block);
}

} // namespace

int main(int count, char **words)
{
    std::vector<corpus_file> files;
    for (int i = 1; i < count; i++) {
        const std::vector<corpus_file> more = read_files(words[i]);
        files.insert(files.end(), more.begin(), more.end());
    }
    if (files.empty()) {
        fprintf(stderr, "no inputs\n");
        return 1;
    }
    if (LLVMFuzzerInitialize != nullptr)
        LLVMFuzzerInitialize(&count, &words);
    for (int round = 1; round <= 2; round++) {
        for (const auto &[name, content] : files) {
            fprintf(stderr, "%d: %s\n", round, name.c_str());
            run(content);
        }
    }
    fprintf(stderr, "%zu inputs replayed twice\n", files.size());
    return 0;
}
