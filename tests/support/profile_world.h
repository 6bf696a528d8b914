// A shell_world with a /tmp of its own and the sample schema, for what is staged
// in memory and in the profile.
#pragma once

#include "tests/support/files.h"
#include "tests/support/shell_world.h"

inline constexpr char profile_name[] = "/tmp/vandel.conf";

class profile_world : public shell_world
{
  protected:
    static void SetUpTestSuite()
    {
        private_tmp();
    }

    void SetUp() override
    {
        shell_world::SetUp();
        ::remove(profile_name);
        sample_schema();
    }

    static std::string profile()
    {
        return file_text(profile_name);
    }
};
