// What is printed to standard output, kept in memory.
//
// The stream itself is replaced, so that an input costs no system call. What is
// written to descriptor 1 past the stream is not seen; tests/support has
// captured_output for that.
#pragma once

#include <stdio.h>
#include <string>

#include "tests/fuzz/fuzz_check.h"

// While one lives, printing goes into it; only one may live at a time.
class fuzz_output
{
  public:
    fuzz_output() : original(stdout)
    {
        fflush(stdout);
        rewind(kept().stream);
        stdout = kept().stream;
    }

    ~fuzz_output()
    {
        fflush(stdout);
        stdout = original;
    }

    fuzz_output(const fuzz_output &) = delete;
    fuzz_output &operator=(const fuzz_output &) = delete;

    // Everything printed since the beginning, zero bytes included.
    std::string text() const
    {
        fflush(kept().stream);
        return {kept().bytes, kept().size};
    }

  private:
    struct memory {
        char *bytes = nullptr;
        size_t size = 0;
        FILE *stream = open_memstream(&bytes, &size);

        memory()
        {
            fuzz_require(stream != nullptr, "there is a stream in memory");
        }
    };

    static memory &kept()
    {
        static memory the_only;
        return the_only;
    }

    FILE *original;
};
