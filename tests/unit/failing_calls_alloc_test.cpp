// Calls of the system and the library that hardly ever fail, and what is said
// when they do.
#include "tests/support/alloc_faults.h"

#include <errno.h>
#include <sys/stat.h>

#include "commands/commands.h"
#include "profile/profile.h"
#include "shell/arguments.h"
#include "shell/startup.h"
#include "tests/support/profile_world.h"

namespace
{

bool status_fails = false;

} // namespace

extern "C" {
int __real_fstat(int fd, struct stat *status);
int __wrap_fstat(int fd, struct stat *status)
{
    if (status_fails) {
        errno = EIO;
        return -1;
    }
    return __real_fstat(fd, status);
}

int __real_fstat64(int fd, struct stat64 *status);
int __wrap_fstat64(int fd, struct stat64 *status)
{
    if (status_fails) {
        errno = EIO;
        return -1;
    }
    return __real_fstat64(fd, status);
}
}

namespace
{

class failing_calls_alloc_test : public profile_world
{
  protected:
    void SetUp() override
    {
        profile_world::SetUp();
        remove("/tmp/data");
        captured_log_take();
    }

    // Runs something while no status can be read.
    static std::string without_status(const std::function<void()> &action)
    {
        captured_output output;
        status_fails = true;
        action();
        status_fails = false;
        return output.text();
    }

    // Runs something while there is no memory.
    static std::string without_memory(const std::function<void()> &action)
    {
        captured_output output;
        alloc_calls_left = 0;
        action();
        alloc_calls_left = -1;
        alloc_failed = false;
        return output.text();
    }

    static void expect_released()
    {
        EXPECT_EQ(session.pwd, nullptr);
        EXPECT_EQ(session.prompt, nullptr);
        EXPECT_EQ(session.redis, nullptr);
        EXPECT_EQ(session.tinyrl, nullptr);
    }
};

TEST_F(failing_calls_alloc_test, a_profile_without_a_status)
{
    write_file(profile_name, "[pwd]\n/m\n\n");
    int result = 0;
    EXPECT_EQ(without_status([&] { result = profile_load_start(); }), "");
    EXPECT_EQ(result, -1);
    EXPECT_STREQ(session.pwd, "/");
    EXPECT_EQ(captured_log_take(),
              (log_lines{{11, "[ERROR] VDL's profile </tmp/vandel.conf> is invalid.\n"}}));
}

TEST_F(failing_calls_alloc_test, one_command_with_such_a_profile)
{
    write_file(profile_name, "[pwd]\n/m\n\n");
    char line[] = "pwd";
    int result = 0;
    EXPECT_EQ(without_status([&] { result = run_oneshot(line); }), "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{11, "[ERROR] VDL's profile </tmp/vandel.conf> is invalid.\n"},
                         {15, "[DEBUG] config file error\n"}}));
    expect_released();
}

TEST_F(failing_calls_alloc_test, one_command_that_cannot_be_joined)
{
    char word[] = "pwd";
    char *words[] = {word};
    int result = 0;
    EXPECT_EQ(without_memory([&] { result = run_oneshot(take_arguments(1, words).get()); }), "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(std::string(word, sizeof word), std::string(sizeof word, '\0'));
    EXPECT_EQ(captured_log_take(), log_lines{});
    expect_released();
}

TEST_F(failing_calls_alloc_test, a_session_without_an_editor)
{
    int result = 0;
    EXPECT_EQ(without_memory([&] { result = run_interactive(); }), "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] tinyrl new error\n"}}));
    expect_released();
}

TEST_F(failing_calls_alloc_test, an_export_without_a_status)
{
    EXPECT_EQ(without_status([] { cmd_export_config("export-config running /tmp/data"); }), "");
    EXPECT_EQ(captured_log_take(),
              (log_lines{{11, "[ERROR] Unable to get input file information.\n\n"}}));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(failing_calls_alloc_test, an_import_without_a_status)
{
    write_file("/tmp/data", "<data>1</data>");
    EXPECT_EQ(without_status([] { cmd_import_config("import-config /tmp/data running"); }), "");
    EXPECT_EQ(captured_log_take(),
              (log_lines{{11, "[ERROR] Unable to get input file information.\n\n"}}));
    EXPECT_EQ(session.message_id, 0U);
}

} // namespace
