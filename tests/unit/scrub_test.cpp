#include "scrub.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <unistd.h>
#include <vector>

#include "tests/support/vector_registers.h"

namespace
{

constexpr int mark = 0x5a;

// The registers between these calls are those that the calls before have left.

TEST(scrub_registers, there_are_registers_to_clear)
{
    vector_registers registers;
    registers_fill(mark);
    registers_save(&registers);
    EXPECT_GE(registers_count(registers, mark), least_registers_size);
}

TEST(scrub_registers, no_vector_register_keeps_anything)
{
    vector_registers registers;
    registers_fill(mark);
    scrub_registers();
    registers_save(&registers);
    EXPECT_EQ(registers_count(registers, mark), 0U);
}

TEST(scrub_stack, no_vector_register_keeps_anything)
{
    vector_registers registers;
    registers_fill(mark);
    scrub_stack();
    registers_save(&registers);
    EXPECT_EQ(registers_count(registers, mark), 0U);
}

constexpr size_t used_below = 40960;

// Leaves marks in a frame that is gone when it returns.
__attribute__((noinline, no_sanitize("address"))) void leave_marks()
{
    volatile char local[used_below];
    for (volatile char &byte : local)
        byte = mark;
}

// How many words of marks stand in the stack below this call: what no variable
// holds has to be read as a file.
size_t marks_below()
{
    std::vector<uint64_t> below(2 * used_below / sizeof(uint64_t));
    const size_t size = below.size() * sizeof(uint64_t);
    const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    const ssize_t got =
        pread(memory, below.data(), size, static_cast<off_t>((here & ~uintptr_t{7}) - size));
    close(memory);
    EXPECT_EQ(got, static_cast<ssize_t>(size));
    return static_cast<size_t>(std::count(below.begin(), below.end(), 0x5a5a5a5a5a5a5a5a));
}

TEST(scrub_stack, there_is_something_to_overwrite)
{
    leave_marks();
    EXPECT_GE(marks_below(), used_below / 2 / sizeof(uint64_t));
}

TEST(scrub_stack, no_frame_that_is_gone_keeps_anything)
{
    leave_marks();
    scrub_stack();
    EXPECT_EQ(marks_below(), 0U);
}

TEST(scrub_stack, the_caller_keeps_its_own)
{
    volatile char local[100];
    for (volatile char &byte : local)
        byte = mark;
    scrub_stack();
    for (const volatile char &byte : local)
        EXPECT_EQ(byte, mark);
}

} // namespace
