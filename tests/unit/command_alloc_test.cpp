// Every command in both modes with each of its allocations failing in turn,
// those of libxml2 among them.
#include "tests/support/alloc_faults.h"

#include <stdio.h>

#include "tests/support/command_scenarios.h"

namespace
{

class command_alloc_test : public command_sweep
{
  protected:
    static void TearDownTestSuite()
    {
        printf("swept: %d scenarios, %ld failure points of allocations\n", scenario_count,
               point_count);
    }

    void sweep_all(const std::vector<scenario> &all)
    {
        for (const scenario &one : all) {
            SCOPED_TRACE(one.name);
            if (one.loses_tree && __lsan_disable != nullptr)
                __lsan_disable();
            sweep(one);
            if (one.loses_tree && __lsan_enable != nullptr)
                __lsan_enable();
        }
    }

    void sweep(const scenario &what)
    {
        testing::internal::CaptureStderr();
        learn(what);
        scenario_count++;
        const long points_before = point_count;
        for (const bool in_libxml2 : {false, true}) {
            alloc_counts_libxml2 = in_libxml2;
            fail_each(what, true);
            fail_each(what, false);
        }
        alloc_counts_libxml2 = false;
        EXPECT_GT(point_count, points_before);
        testing::internal::GetCapturedStderr();
    }

    // Lets the first allocation fail, then the second and so on, alone or with
    // all after it.
    void fail_each(const scenario &what, bool alone)
    {
        const long blocks = blocks_in_use();
        for (long calls = 0;; calls++) {
            alloc_failed = false;
            alloc_fails_once = alone;
            const outcome did = run(
                what, [&] { alloc_calls_left = calls; }, [] { alloc_calls_left = -1; });
            if (!alloc_failed)
                return;
            point_count++;
            SCOPED_TRACE("allocation " + std::to_string(calls + 1) + (alone ? "" : " and on"));
            const std::string wrong = complaint(what, did);
            ASSERT_TRUE(wrong.empty()) << wrong;
            if (!what.loses_tree) {
                ASSERT_EQ(blocks_in_use(), blocks);
            }
        }
    }

    // What is in use once everything of a run has been put away.
    long blocks_in_use()
    {
        TearDown();
        xmlResetLastError();
        const long blocks = alloc_blocks;
        SetUp();
        return blocks;
    }

    inline static int scenario_count = 0;
    inline static long point_count = 0;
};

} // namespace

TEST_F(command_alloc_test, navigating)
{
    sweep_all(scenarios::navigating());
}

TEST_F(command_alloc_test, looking)
{
    sweep_all(scenarios::looking());
}

TEST_F(command_alloc_test, reading)
{
    sweep_all(scenarios::reading());
}

TEST_F(command_alloc_test, editing)
{
    sweep_all(scenarios::editing());
}

TEST_F(command_alloc_test, adding)
{
    sweep_all(scenarios::adding());
}

TEST_F(command_alloc_test, committing)
{
    sweep_all(scenarios::committing());
}

TEST_F(command_alloc_test, entering)
{
    sweep_all(scenarios::entering());
}

TEST_F(command_alloc_test, copying)
{
    sweep_all(scenarios::copying());
}

TEST_F(command_alloc_test, moving_files)
{
    sweep_all(scenarios::moving_files());
}
