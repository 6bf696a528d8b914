#include "bounded.h"

#include <cwchar>
#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>
#include <string>
#include <vector>

// A buffer with marked bytes after the size that a function is told.
struct guarded_buffer {
    explicit guarded_buffer(size_t size) : bytes(size + 8, '#'), told(size) {}
    char *data()
    {
        return bytes.data();
    }
    std::string text() const
    {
        return std::string(bytes.data());
    }
    bool intact() const
    {
        for (size_t i = told; i < bytes.size(); i++) {
            if (bytes[i] != '#')
                return false;
        }
        return true;
    }
    std::vector<char> bytes;
    size_t told;
};

TEST(sprintf_s_test, writes_and_counts_what_fits_exactly)
{
    guarded_buffer buffer(6);
    EXPECT_EQ(sprintf_s(buffer.data(), 6, "%s-%d", "ab", 17), 5);
    EXPECT_EQ(buffer.text(), "ab-17");
    EXPECT_TRUE(buffer.intact());
}

TEST(sprintf_s_test, refuses_what_is_one_byte_too_long)
{
    guarded_buffer buffer(5);
    EXPECT_EQ(sprintf_s(buffer.data(), 5, "%s-%d", "ab", 17), -1);
    EXPECT_EQ(buffer.text(), "");
    EXPECT_TRUE(buffer.intact());
}

TEST(sprintf_s_test, empty_result_needs_room_for_its_end)
{
    guarded_buffer buffer(1);
    EXPECT_EQ(sprintf_s(buffer.data(), 1, "%s", ""), 0);
    EXPECT_EQ(buffer.text(), "");
    EXPECT_TRUE(buffer.intact());
}

TEST(sprintf_s_test, size_zero_writes_nothing)
{
    guarded_buffer buffer(0);
    EXPECT_LT(sprintf_s(buffer.data(), 0, "%s", ""), 0);
    EXPECT_TRUE(buffer.intact());
    EXPECT_LT(sprintf_s(nullptr, 10, "%s", "a"), 0);
}

TEST(sprintf_s_test, has_no_limit_of_its_own)
{
    std::string text(300000, 'x');
    guarded_buffer buffer(300001);
    EXPECT_EQ(sprintf_s(buffer.data(), 300001, "%s", text.c_str()), 300000);
    EXPECT_EQ(buffer.text(), text);
    EXPECT_TRUE(buffer.intact());
}

TEST(sprintf_s_test, a_format_that_fails_leaves_nothing_behind)
{
    guarded_buffer buffer(16);
    // No multibyte form exists for this character in the C locale.
    EXPECT_EQ(sprintf_s(buffer.data(), 16, "ab%lc", static_cast<wint_t>(0x20ac)), -1);
    EXPECT_EQ(buffer.text(), "");
    EXPECT_TRUE(buffer.intact());
}

TEST(strcpy_s_test, boundaries)
{
    guarded_buffer exact(4);
    EXPECT_EQ(strcpy_s(exact.data(), 4, "abc"), 0);
    EXPECT_EQ(exact.text(), "abc");
    EXPECT_TRUE(exact.intact());

    guarded_buffer one_short(3);
    EXPECT_LT(strcpy_s(one_short.data(), 3, "abc"), 0);
    EXPECT_EQ(one_short.text(), "");
    EXPECT_TRUE(one_short.intact());

    guarded_buffer none(0);
    EXPECT_LT(strcpy_s(none.data(), 0, ""), 0);
    EXPECT_TRUE(none.intact());

    guarded_buffer empty(1);
    EXPECT_EQ(strcpy_s(empty.data(), 1, ""), 0);
    EXPECT_EQ(empty.text(), "");
}

TEST(strcpy_s_test, nulls_fail_and_leave_an_empty_text)
{
    guarded_buffer buffer(4);
    EXPECT_LT(strcpy_s(buffer.data(), 4, nullptr), 0);
    EXPECT_EQ(buffer.text(), "");
    EXPECT_LT(strcpy_s(nullptr, 4, "abc"), 0);
}

TEST(strcpy_s_test, copies_a_tail_of_its_own_text)
{
    char text[] = "abcdef";
    EXPECT_EQ(strcpy_s(text, sizeof text, text + 2), 0);
    EXPECT_STREQ(text, "cdef");
}

TEST(strcpy_s_test, has_no_limit_of_its_own)
{
    std::string text(100000, 'y');
    guarded_buffer buffer(100001);
    EXPECT_EQ(strcpy_s(buffer.data(), 100001, text.c_str()), 0);
    EXPECT_EQ(buffer.text(), text);
    EXPECT_TRUE(buffer.intact());
}

TEST(strncpy_s_test, copies_at_most_count_characters)
{
    guarded_buffer buffer(4);
    EXPECT_EQ(strncpy_s(buffer.data(), 4, "abcdef", 3), 0);
    EXPECT_EQ(buffer.text(), "abc");
    EXPECT_TRUE(buffer.intact());
    EXPECT_EQ(strncpy_s(buffer.data(), 4, "ab", 100), 0);
    EXPECT_EQ(buffer.text(), "ab");
    EXPECT_EQ(strncpy_s(buffer.data(), 4, "ab", SIZE_MAX), 0);
    EXPECT_EQ(buffer.text(), "ab");
    EXPECT_EQ(strncpy_s(buffer.data(), 4, "ab", 0), 0);
    EXPECT_EQ(buffer.text(), "");
}

TEST(strncpy_s_test, needs_no_terminator_within_count)
{
    const char letters[3] = {'a', 'b', 'c'};
    guarded_buffer buffer(4);
    EXPECT_EQ(strncpy_s(buffer.data(), 4, letters, 3), 0);
    EXPECT_EQ(buffer.text(), "abc");
}

TEST(strncpy_s_test, refuses_instead_of_cutting)
{
    guarded_buffer buffer(4);
    EXPECT_LT(strncpy_s(buffer.data(), 4, "abcdef", 4), 0);
    EXPECT_EQ(buffer.text(), "");
    EXPECT_LT(strncpy_s(buffer.data(), 4, "abcdef", SIZE_MAX), 0);
    EXPECT_LT(strncpy_s(buffer.data(), 0, "", 0), 0);
    EXPECT_LT(strncpy_s(buffer.data(), 4, nullptr, 0), 0);
    EXPECT_LT(strncpy_s(nullptr, 4, "a", 1), 0);
    EXPECT_TRUE(buffer.intact());
}

TEST(strcat_s_test, boundaries)
{
    guarded_buffer buffer(6);
    ASSERT_EQ(strcpy_s(buffer.data(), 6, "ab"), 0);
    EXPECT_EQ(strcat_s(buffer.data(), 6, "cde"), 0);
    EXPECT_EQ(buffer.text(), "abcde");
    EXPECT_EQ(strcat_s(buffer.data(), 6, ""), 0);
    EXPECT_EQ(buffer.text(), "abcde");
    EXPECT_LT(strcat_s(buffer.data(), 6, "f"), 0);
    EXPECT_EQ(buffer.text(), "");
    EXPECT_TRUE(buffer.intact());
}

TEST(strcat_s_test, a_destination_without_end_is_a_failure)
{
    guarded_buffer buffer(4);
    EXPECT_LT(strcat_s(buffer.data(), 4, ""), 0);
    EXPECT_EQ(buffer.text(), "");
    EXPECT_TRUE(buffer.intact());
    EXPECT_LT(strcat_s(buffer.data(), 0, ""), 0);
    EXPECT_LT(strcat_s(buffer.data(), 4, nullptr), 0);
    EXPECT_LT(strcat_s(nullptr, 4, "a"), 0);
}

TEST(strcat_s_test, can_double_a_text)
{
    guarded_buffer buffer(7);
    ASSERT_EQ(strcpy_s(buffer.data(), 7, "abc"), 0);
    EXPECT_EQ(strcat_s(buffer.data(), 7, buffer.data()), 0);
    EXPECT_EQ(buffer.text(), "abcabc");
    EXPECT_TRUE(buffer.intact());
}

TEST(memcpy_s_test, copies_whole_or_not_at_all)
{
    guarded_buffer buffer(4);
    EXPECT_EQ(memcpy_s(buffer.data(), 4, "a\0bc", 4), 0);
    EXPECT_EQ(memcmp(buffer.data(), "a\0bc", 4), 0);
    EXPECT_LT(memcpy_s(buffer.data(), 4, "wxyz!", 5), 0);
    EXPECT_EQ(memcmp(buffer.data(), "a\0bc", 4), 0);
    EXPECT_EQ(memcpy_s(buffer.data(), 4, "w", 0), 0);
    EXPECT_EQ(memcpy_s(buffer.data(), 0, "w", 0), 0);
    EXPECT_LT(memcpy_s(buffer.data(), 0, "w", 1), 0);
    EXPECT_LT(memcpy_s(buffer.data(), 4, "w", SIZE_MAX), 0);
    EXPECT_EQ(memcmp(buffer.data(), "a\0bc", 4), 0);
    EXPECT_TRUE(buffer.intact());
}

TEST(memcpy_s_test, nulls_and_overlaps_fail)
{
    char bytes[] = "abcdefgh";
    EXPECT_LT(memcpy_s(nullptr, 4, bytes, 4), 0);
    EXPECT_LT(memcpy_s(bytes, 4, nullptr, 4), 0);
    EXPECT_LT(memcpy_s(bytes, 4, bytes + 3, 4), 0);
    EXPECT_LT(memcpy_s(bytes + 3, 4, bytes, 4), 0);
    EXPECT_STREQ(bytes, "abcdefgh");
    EXPECT_EQ(memcpy_s(bytes, 4, bytes + 4, 4), 0);
    EXPECT_STREQ(bytes, "efghefgh");
}

TEST(memcpy_s_test, has_no_limit_of_its_own)
{
    std::vector<char> source(1 << 20, 'z');
    std::vector<char> dest(1 << 20, 'a');
    EXPECT_EQ(memcpy_s(dest.data(), dest.size(), source.data(), source.size()), 0);
    EXPECT_EQ(dest, source);
}

TEST(memset_s_test, sets_whole_or_nothing)
{
    guarded_buffer buffer(4);
    EXPECT_EQ(memset_s(buffer.data(), 4, 'a', 4), 0);
    EXPECT_EQ(memcmp(buffer.data(), "aaaa", 4), 0);
    EXPECT_EQ(memset_s(buffer.data(), 4, 0, 2), 0);
    EXPECT_EQ(memcmp(buffer.data(), "\0\0aa", 4), 0);
    EXPECT_LT(memset_s(buffer.data(), 4, 'b', 5), 0);
    EXPECT_EQ(memcmp(buffer.data(), "\0\0aa", 4), 0);
    EXPECT_EQ(memset_s(buffer.data(), 0, 'b', 0), 0);
    EXPECT_LT(memset_s(buffer.data(), 0, 'b', 1), 0);
    EXPECT_LT(memset_s(nullptr, 4, 0, 4), 0);
    EXPECT_EQ(memcmp(buffer.data(), "\0\0aa", 4), 0);
    EXPECT_TRUE(buffer.intact());
}

TEST(memset_s_test, an_int_is_taken_as_a_byte)
{
    char bytes[2] = {'a', 'a'};
    EXPECT_EQ(memset_s(bytes, 2, 0x141, 2), 0);
    EXPECT_EQ(bytes[0], 'A');
    EXPECT_EQ(bytes[1], 'A');
}

TEST(strtok_s_test, walks_the_words)
{
    char text[] = "  one,two ,three";
    char *context = nullptr;
    EXPECT_STREQ(strtok_s(text, " ,", &context), "one");
    EXPECT_STREQ(strtok_s(nullptr, " ,", &context), "two");
    EXPECT_STREQ(strtok_s(nullptr, " ,", &context), "three");
    EXPECT_EQ(strtok_s(nullptr, " ,", &context), nullptr);
    EXPECT_EQ(strtok_s(nullptr, " ,", &context), nullptr);
}

TEST(strtok_s_test, delimiters_may_change_on_the_way)
{
    char text[] = "key=value rest";
    char *context = nullptr;
    EXPECT_STREQ(strtok_s(text, "=", &context), "key");
    EXPECT_STREQ(strtok_s(nullptr, " ", &context), "value");
    EXPECT_STREQ(strtok_s(nullptr, "", &context), "rest");
}

TEST(strtok_s_test, nothing_to_split)
{
    char empty[] = "";
    char blanks[] = "   ";
    char *context = nullptr;
    EXPECT_EQ(strtok_s(empty, " ", &context), nullptr);
    EXPECT_EQ(strtok_s(blanks, " ", &context), nullptr);
    context = nullptr;
    EXPECT_EQ(strtok_s(nullptr, " ", &context), nullptr);
    EXPECT_EQ(strtok_s(blanks, nullptr, &context), nullptr);
    EXPECT_EQ(strtok_s(blanks, " ", nullptr), nullptr);
}
