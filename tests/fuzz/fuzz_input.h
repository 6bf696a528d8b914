// A fuzzer's bytes, taken apart from the front.
//
// Most targets read lines, so that their inputs are texts that one can read and
// write by hand. Taking from an empty input gives empty texts and zeros.
#pragma once

#include <memory>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

class fuzz_input
{
  public:
    fuzz_input(const uint8_t *data, size_t size)
        : rest_of_it(reinterpret_cast<const char *>(data), size)
    {
    }

    bool empty() const
    {
        return rest_of_it.empty();
    }

    // Everything that was not yet taken.
    std::string rest()
    {
        return take(rest_of_it.size());
    }

    std::string take(size_t size)
    {
        std::string taken = rest_of_it.substr(0, size);
        rest_of_it.erase(0, taken.size());
        return taken;
    }

    unsigned byte()
    {
        const std::string taken = take(1);
        return taken.empty() ? 0 : static_cast<unsigned char>(taken[0]);
    }

    // Up to the next line feed, which goes too.
    std::string line()
    {
        std::string taken = take(rest_of_it.find('\n'));
        take(1);
        return taken;
    }

    // A line, or the rest, up to its first zero byte: a C text.
    std::string text_line()
    {
        return line().c_str();
    }

    std::string text_rest()
    {
        return rest().c_str();
    }

  private:
    std::string rest_of_it;
};

struct fuzz_free {
    void operator()(char *block) const
    {
        free(block);
    }
};

using fuzz_block = std::unique_ptr<char, fuzz_free>;

// A copy in a block of its exact size, so that a byte read beyond it is noticed.
inline fuzz_block fuzz_text(const std::string &text)
{
    fuzz_block block(static_cast<char *>(malloc(text.size() + 1)));
    memcpy(block.get(), text.c_str(), text.size() + 1);
    return block;
}

// The same without a terminating zero byte.
inline fuzz_block fuzz_bytes(const std::string &bytes)
{
    fuzz_block block(static_cast<char *>(malloc(bytes.size() + 1)));
    if (!bytes.empty()) {
        block.reset(static_cast<char *>(malloc(bytes.size())));
        bytes.copy(block.get(), bytes.size());
    }
    return block;
}
