// A shell_world with a /tmp of its own and the sample schema, for what is staged
// in memory and in the profile.
#ifndef VANDEL_TESTS_PROFILE_WORLD_H
#define VANDEL_TESTS_PROFILE_WORLD_H

#include <fstream>

#include "tests/support/shell_world.h"

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
        ::remove("/tmp/vandel.conf");
        sample_schema();
    }

    static std::string profile()
    {
        std::ifstream file("/tmp/vandel.conf", std::ios::binary);
        if (!file.good())
            return "(no file)";
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
};

#endif
