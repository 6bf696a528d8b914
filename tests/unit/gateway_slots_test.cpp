// What several processes may hold together.
#include "device/gateway/shell_slots.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

TEST(gateway_slots, all_together_hold_no_more_than_they_may)
{
    shell_slots slots{};
    ASSERT_EQ(shell_slots_open(&slots, 3, 1000), 0);
    EXPECT_EQ(shell_slots_hold(&slots, 0, 600), 0);
    EXPECT_EQ(shell_slots_hold(&slots, 1, 401), -1);
    EXPECT_EQ(slots.list[1].held, 0U) << "nothing is changed";
    EXPECT_EQ(shell_slots_hold(&slots, 1, 400), 0);
    EXPECT_EQ(shell_slots_hold(&slots, 1, 400), 0) << "what it holds already counts once";
    EXPECT_EQ(shell_slots_hold(&slots, 2, 1), -1);
    shell_slots_set(&slots, 0, 599);
    EXPECT_EQ(shell_slots_hold(&slots, 2, 1), 0);
    EXPECT_EQ(shell_slots_hold(&slots, 2, SIZE_MAX), -1);
}

TEST(gateway_slots, what_another_process_holds_is_seen)
{
    shell_slots slots{};
    ASSERT_EQ(shell_slots_open(&slots, 2, 1000), 0);
    const pid_t process = fork();
    if (process == 0)
        _exit(shell_slots_hold(&slots, 1, 700) == 0 ? 0 : 1);
    int status;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(shell_slots_hold(&slots, 0, 301), -1);
    EXPECT_EQ(shell_slots_hold(&slots, 0, 300), 0);
}

TEST(gateway_slots, a_process_alone_holds_anything)
{
    const shell_slots slots{};
    EXPECT_EQ(shell_slots_hold(&slots, 0, SIZE_MAX), 0);
}
