// Words of a line for which there is no memory, or as little as they need.
#include <stdio.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "base/args.h"
#include "shell/arguments.h"
#include "tests/support/alloc_faults.h"
#include "tests/support/captured_output.h"

namespace
{

TEST(args_alloc, a_complaint_follows_what_was_printed)
{
    const captured_output both;
    const int before = dup(STDERR_FILENO);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    printf("first, ");
    alloc_calls_left = 0;
    const arg_words vector("set");
    alloc_calls_left = -1;
    dup2(before, STDERR_FILENO);
    close(before);
    EXPECT_EQ(both.text(), "first, addargs - vasprintf: Cannot allocate memory\n");
}

TEST(args_alloc, a_line_without_memory_empties_a_vector_and_leaves_its_array)
{
    args vector = {};
    addargs(&vector, "%s", "set 1");
    ASSERT_EQ(vector.argc, 2);
    alloc_calls_left = 0;
    addargs(&vector, "%s", "2");
    alloc_calls_left = -1;
    EXPECT_EQ(vector.argc, 0);
    ASSERT_NE(vector.argv, nullptr);
    EXPECT_STREQ(vector.argv[0], "set");
    EXPECT_EQ(vector.capacity, 8);
    vector.argc = 2;
    args_free(&vector);
}

// What joins and splits words must not begin anew with each of them.
TEST(args_alloc, many_words_cost_no_more_than_each)
{
    constexpr int count = 10000;
    std::string words;
    for (int i = 0; i < count; i++)
        words += std::string("word") + '\0';
    std::vector<char *> starts;
    for (size_t i = 0; i < count; i++)
        starts.push_back(&words[5 * i]);
    alloc_failed = false;
    alloc_calls_left = 30;
    const heap_text line = take_arguments(count, starts.data());
    alloc_calls_left = count + 30;
    const arg_words vector(line ? line.get() : "");
    alloc_calls_left = -1;
    EXPECT_FALSE(alloc_failed);
    EXPECT_EQ(vector.argc, count);
}

} // namespace
