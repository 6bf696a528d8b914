// Blocks that live and go together.
#include "arena.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string>
#include <vector>

namespace
{

TEST(arena_concat, puts_the_pieces_one_after_the_other)
{
    arena arena;
    EXPECT_STREQ(arena_concat(&arena, {"a", "", "bc", std::string_view()}), "abc");
    EXPECT_STREQ(arena_concat(&arena, {}), "");
}

TEST(arena_concat, blocks_are_aligned_and_stay)
{
    arena arena;
    std::vector<std::pair<const char *, std::string>> blocks;
    for (size_t length = 0; length < 3000; length++) {
        const std::string text(length % 700, static_cast<char>('a' + length % 26));
        blocks.emplace_back(arena_concat(&arena, {text}), text);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(blocks.back().first) % alignof(void *), 0U);
    }
    const std::string large(1000000, 'x');
    blocks.emplace_back(arena_concat(&arena, {large}), large);
    for (const auto &[block, text] : blocks)
        EXPECT_EQ(block, text);
}

TEST(arena_concat, refuses_a_sum_that_wraps)
{
    arena arena;
    const std::string_view half("", SIZE_MAX / 2);
    EXPECT_EQ(arena_concat(&arena, {half, half}), nullptr);
    EXPECT_EQ(arena_concat(&arena, {{"", SIZE_MAX - sizeof(size_t)}}), nullptr);
    EXPECT_STREQ(arena_concat(&arena, {"text"}), "text");
}

TEST(arena_clear, leaves_an_arena_as_new)
{
    arena arena;
    arena_concat(&arena, {"x"});
    arena_clear(&arena);
    EXPECT_EQ(arena.newest, nullptr);
    EXPECT_STREQ(arena_concat(&arena, {"y"}), "y");
}

} // namespace
