// Every command in both modes with each of its system calls and each of its
// lookups in the schema database failing in turn.
#include "tests/support/call_faults.h"

#include <stdio.h>

#include "tests/support/command_scenarios.h"

namespace
{

const call_fault system_faults[] = {
    {"read", fault_error, EIO},      {"read", fault_error, EINTR},   {"read", fault_short, 0},
    {"read", fault_end, 0},          {"write", fault_error, EIO},    {"write", fault_error, EINTR},
    {"write", fault_short, 0},       {"open", fault_error, EMFILE},  {"open", fault_error, ENOSPC},
    {"fstat", fault_error, EIO},     {"lstat", fault_error, EIO},    {"close", fault_error, ENOSPC},
    {"pread", fault_error, EIO},     {"pread", fault_error, EINTR},  {"pread", fault_short, 0},
    {"pwrite", fault_error, ENOSPC}, {"pwrite", fault_error, EINTR}, {"pwrite", fault_short, 0},
    {"ftruncate", fault_error, EIO}, {"fchmod", fault_error, EPERM}, {"unlink", fault_error, EPERM},
    {"access", fault_error, EACCES},
};

const call_fault lookup_faults[] = {
    {"redis", fault_error, 0},
    {"redis", fault_type, 0},
    {"redis", fault_cut, 0},
};

class command_faults_test : public command_sweep
{
  protected:
    static void TearDownTestSuite()
    {
        printf("swept: %d scenarios, %ld failure points of calls\n", scenario_count, point_count);
    }

    void sweep_all(const std::vector<scenario> &all)
    {
        for (const scenario &one : all) {
            SCOPED_TRACE(one.name);
            if (one.loses_tree && __lsan_disable != nullptr)
                __lsan_disable();
            testing::internal::CaptureStderr();
            learn(one);
            scenario_count++;
            for (const call_fault &fault : system_faults)
                fail_each(one, fault, true);
            for (const call_fault &fault : lookup_faults)
                fail_each(one, fault, false);
            testing::internal::GetCapturedStderr();
            if (one.loses_tree && __lsan_enable != nullptr)
                __lsan_enable();
        }
    }

    // What a failed lookup is taken for is a missing record, so the command
    // may print, send and refuse what it does without that record.
    void fail_each(const scenario &what, const call_fault &fault, bool is_exact)
    {
        const bool breaks =
            strcmp(fault.function, "read") == 0 || strcmp(fault.function, "write") == 0;
        for (long calls = 0;; calls++) {
            const outcome did = run(
                what, [&] { call_arm(&fault, calls); }, [] { call_armed = nullptr; }, breaks);
            if (!call_failed)
                return;
            point_count++;
            SCOPED_TRACE(std::string(fault.function) + " " + std::to_string(calls + 1) +
                         ", fault " + std::to_string(fault.kind) + ": " + strerror(fault.error));
            const std::string wrong = complaint(what, did, is_exact);
            ASSERT_TRUE(wrong.empty()) << wrong;
        }
    }

    inline static int scenario_count = 0;
    inline static long point_count = 0;
};

} // namespace

TEST_F(command_faults_test, navigating)
{
    sweep_all(scenarios::navigating());
}

TEST_F(command_faults_test, looking)
{
    sweep_all(scenarios::looking());
}

TEST_F(command_faults_test, reading)
{
    sweep_all(scenarios::reading());
}

TEST_F(command_faults_test, editing)
{
    sweep_all(scenarios::editing());
}

TEST_F(command_faults_test, adding)
{
    sweep_all(scenarios::adding());
}

TEST_F(command_faults_test, committing)
{
    sweep_all(scenarios::committing());
}

TEST_F(command_faults_test, entering)
{
    sweep_all(scenarios::entering());
}

TEST_F(command_faults_test, copying)
{
    sweep_all(scenarios::copying());
}

TEST_F(command_faults_test, moving_files)
{
    sweep_all(scenarios::moving_files());
}
