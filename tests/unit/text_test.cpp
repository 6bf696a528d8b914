// Owned texts and the allocations that grow.
#include "base/text.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>
#include <string>

#include "tests/support/vector_registers.h"

extern "C" const char *__asan_default_options(void)
{
    return "allocator_may_return_null=1";
}

namespace
{

TEST(text_copy, copies_the_view_and_ends_it)
{
    heap_text copy = text_copy(std::string_view("abcdef", 3));
    EXPECT_STREQ(copy.get(), "abc");
    EXPECT_STREQ(text_copy("").get(), "");
    EXPECT_STREQ(text_copy(std::string_view()).get(), "");
}

TEST(text_concat, puts_the_pieces_one_after_the_other)
{
    EXPECT_STREQ(text_concat({"a", "", "bc", "d"}).get(), "abcd");
    EXPECT_STREQ(text_concat({}).get(), "");
    EXPECT_STREQ(text_concat({"", std::string_view()}).get(), "");
}

TEST(text_replace, takes_the_place_of_the_old_text)
{
    char *slot = nullptr;
    text_replace(&slot, text_copy("one"));
    EXPECT_STREQ(slot, "one");
    text_replace(&slot, text_copy("two"));
    EXPECT_STREQ(slot, "two");
    text_replace(&slot, nullptr);
    EXPECT_EQ(slot, nullptr);
}

TEST(text_wipe, overwrites_up_to_the_end)
{
    char text[] = "secret\0kept";
    text_wipe(text);
    EXPECT_EQ(std::string(text, sizeof text), std::string("\0\0\0\0\0\0\0kept\0", 12));
    text_wipe(nullptr);
}

TEST(text_wipe, leaves_nothing_in_registers)
{
    char text[65] = "";
    vector_registers registers;
    memset(text, 'x', 64);
    registers_fill('x');
    text_wipe(text);
    registers_save(&registers);
    EXPECT_EQ(registers_count(registers, 'x'), 0U);
}

TEST(size_add, tells_a_sum_that_wraps)
{
    size_t sum = 7;
    EXPECT_TRUE(size_add(SIZE_MAX - 1, 1, &sum));
    EXPECT_EQ(sum, SIZE_MAX);
    EXPECT_FALSE(size_add(SIZE_MAX, 1, &sum));
    EXPECT_FALSE(size_add(SIZE_MAX, SIZE_MAX, &sum));
    EXPECT_TRUE(size_add(0, 0, &sum));
    EXPECT_EQ(sum, 0U);
}

TEST(text_slice, is_what_there_is_of_the_place)
{
    EXPECT_EQ(text_slice("abcd", 1, 2), "bc");
    EXPECT_EQ(text_slice("abcd", 1), "bcd");
    EXPECT_EQ(text_slice("abcd", 3, 2), "d");
    EXPECT_EQ(text_slice("abcd", 3, SIZE_MAX), "d");
    EXPECT_EQ(text_slice("abcd", 4), "");
    EXPECT_EQ(text_slice("abcd", 5, 1), "");
    EXPECT_EQ(text_slice("abcd", SIZE_MAX, SIZE_MAX), "");
    EXPECT_EQ(text_slice({}, 0, 1), "");
}

TEST(text_starts_with, compares_whole_prefixes)
{
    EXPECT_TRUE(text_starts_with("/m/c", "/m"));
    EXPECT_TRUE(text_starts_with("/m", "/m"));
    EXPECT_TRUE(text_starts_with("/m", ""));
    EXPECT_FALSE(text_starts_with("/", "/m"));
    EXPECT_FALSE(text_starts_with("/n/c", "/m"));
}

TEST(mem_grow, null_stays_null)
{
    EXPECT_EQ(mem_grow(nullptr, 0, 100), nullptr);
}

TEST(mem_grow, a_block_in_use_up_to_its_size_stays_the_same)
{
    void *block = malloc(8);
    EXPECT_EQ(mem_grow(block, 8, 8), block);
    EXPECT_EQ(mem_grow(block, 8, 7), block);
    EXPECT_EQ(mem_grow(block, 8, 0), block);
    free(block);
}

TEST(mem_grow, the_new_bytes_are_zero)
{
    const std::string before = "abcd";
    auto *block = static_cast<char *>(malloc(before.size()));
    before.copy(block, before.size());
    auto *grown = static_cast<char *>(mem_grow(block, 4, 12));
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(std::string(grown, 12), std::string("abcd\0\0\0\0\0\0\0\0", 12));
    free(grown);
}

TEST(mem_grow, without_memory_the_old_block_is_gone)
{
    EXPECT_EQ(mem_grow(malloc(4), 4, SIZE_MAX / 2 + 1), nullptr); // more than any object
}

TEST(text_append, grows_at_the_end)
{
    text_buffer buffer;
    std::string expected;
    for (int i = 0; i < 5000; i++) {
        std::string piece = std::to_string(i) + ";";
        ASSERT_EQ(text_append(&buffer, piece), 0);
        expected += piece;
    }
    ASSERT_EQ(text_append(&buffer, ""), 0);
    EXPECT_EQ(buffer.length, expected.size());
    EXPECT_EQ(buffer.data.get(), expected);
}

TEST(text_clear, leaves_nothing_of_a_longer_text)
{
    text_buffer buffer;
    text_clear(&buffer);
    EXPECT_EQ(buffer.data, nullptr);
    ASSERT_EQ(text_append(&buffer, "a secret"), 0);
    text_clear(&buffer);
    EXPECT_EQ(buffer.length, 0U);
    ASSERT_EQ(text_append(&buffer, "ab"), 0);
    EXPECT_EQ(std::string(buffer.data.get(), 9), std::string("ab\0\0\0\0\0\0\0", 9));
}

TEST(text_append, keeps_zero_bytes)
{
    text_buffer buffer;
    ASSERT_EQ(text_append(&buffer, std::string_view("a\0b", 3)), 0);
    ASSERT_EQ(text_append(&buffer, "c"), 0);
    EXPECT_EQ(std::string(buffer.data.get(), buffer.length + 1), std::string("a\0bc\0", 5));
}

TEST(text_reserve, makes_room_that_appending_fits_into)
{
    text_buffer buffer;
    ASSERT_EQ(text_append(&buffer, "ab"), 0);
    ASSERT_EQ(text_reserve(&buffer, {100, 200}), 0);
    char *before = buffer.data.get();
    ASSERT_EQ(text_append(&buffer, std::string(300, 'x')), 0);
    EXPECT_EQ(buffer.data.get(), before);
    EXPECT_EQ(buffer.length, 302U);
    EXPECT_EQ(buffer.capacity, 303U);
}

TEST(text_prepend, puts_a_piece_in_front)
{
    text_buffer buffer;
    ASSERT_EQ(text_prepend(&buffer, "c"), 0);
    ASSERT_EQ(text_reserve(&buffer, {2}), 0);
    const char *before = buffer.data.get();
    ASSERT_EQ(text_prepend(&buffer, "ab"), 0);
    EXPECT_EQ(buffer.data.get(), before);
    EXPECT_STREQ(buffer.data.get(), "abc");
    ASSERT_EQ(text_prepend(&buffer, std::string(1000, 'x')), 0);
    EXPECT_EQ(buffer.data.get(), std::string(1000, 'x') + "abc");
    EXPECT_EQ(buffer.length, 1003U);
}

TEST(text_keep, wipes_the_rest)
{
    text_buffer buffer;
    ASSERT_EQ(text_append(&buffer, std::string_view("head\0text and tail", 18)), 0);
    text_keep(&buffer, 5, 4);
    EXPECT_EQ(buffer.length, 4U);
    EXPECT_EQ(std::string(buffer.data.get(), 19), "text" + std::string(15, '\0'));
    text_keep(&buffer, 4, 0);
    EXPECT_EQ(std::string(buffer.data.get(), 5), std::string(5, '\0'));
}

TEST(text_reserve, a_sum_that_wraps_is_refused)
{
    text_buffer buffer;
    ASSERT_EQ(text_append(&buffer, "ab"), 0);
    EXPECT_EQ(text_reserve(&buffer, {SIZE_MAX, 2}), -1);
    EXPECT_EQ(buffer.length, 0U);
    EXPECT_EQ(text_reserve(&buffer, {SIZE_MAX}), -1);
    EXPECT_EQ(text_reserve(&buffer, {SIZE_MAX - 1}), -1);
    ASSERT_EQ(text_append(&buffer, "cd"), 0);
    EXPECT_STREQ(buffer.data.get(), "cd");
}

TEST(text_buffer, is_empty_once_its_text_is_handed_over)
{
    text_buffer first;
    ASSERT_EQ(text_append(&first, std::string_view("a\0b", 3)), 0);
    text_buffer second;
    ASSERT_EQ(text_append(&second, "old"), 0);
    second = std::move(first);
    EXPECT_EQ(std::string_view(second.data.get(), second.length), std::string_view("a\0b", 3));
    EXPECT_EQ(first.data, nullptr);
    ASSERT_EQ(text_append(&first, "new"), 0);
    EXPECT_STREQ(first.data.get(), "new");
}

} // namespace
