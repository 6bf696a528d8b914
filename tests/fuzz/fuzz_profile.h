// The profile file, in a /tmp of the target's own.
#pragma once

#include <stdio.h>
#include <string>

#include "tests/fuzz/fuzz_check.h"
#include "tests/support/private_tmp.h"

inline const char fuzz_profile_name[] = "/tmp/vandel.conf";

inline void fuzz_profile_write(const std::string &content)
{
    FILE *file = fopen(fuzz_profile_name, "we");
    fuzz_require(file != nullptr, "the profile can be made");
    fwrite(content.data(), 1, content.size(), file);
    fuzz_require(fclose(file) == 0, "and written");
}

inline std::string fuzz_profile_read()
{
    std::string content;
    char piece[4096];
    FILE *file = fopen(fuzz_profile_name, "re");
    fuzz_require(file != nullptr, "there is a profile");
    for (size_t got = 1; got > 0;) {
        got = fread(piece, 1, sizeof piece, file);
        content.append(piece, got);
    }
    fclose(file);
    return content;
}
