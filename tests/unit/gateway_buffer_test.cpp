// The growing buffer, and messages on their way out.
#include <gtest/gtest.h>
#include <string>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/outgoing.h"

// Under AddressSanitizer, too, an allocation that cannot be had gives null.
// NOLINTBEGIN(readability-identifier-naming)
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options()
// NOLINTEND(readability-identifier-naming)
{
    return "allocator_may_return_null=1";
}

namespace
{

byte_buffer buffer_of(const std::string &text)
{
    byte_buffer buffer{};
    EXPECT_EQ(byte_buffer_append(&buffer, text.data(), text.size(), 1 << 20), buffer_ok);
    return buffer;
}

std::string left_of(const outgoing *message)
{
    std::string text;
    for (const struct iovec &part : message->parts) {
        if (part.iov_len > 0)
            text.append(static_cast<const char *>(part.iov_base), part.iov_len);
    }
    return text;
}

} // namespace

TEST(gateway_buffer, appends_up_to_its_limit)
{
    byte_buffer buffer{};
    EXPECT_EQ(byte_buffer_append(&buffer, nullptr, 0, 0), buffer_ok);
    EXPECT_EQ(byte_buffer_append(&buffer, "abc", 3, 5), buffer_ok);
    EXPECT_EQ(byte_buffer_append(&buffer, "def", 3, 5), buffer_full);
    EXPECT_EQ(byte_buffer_append(&buffer, "d", SIZE_MAX, 5), buffer_full);
    EXPECT_EQ(byte_buffer_append(&buffer, "de", 2, 5), buffer_ok);
    EXPECT_EQ(std::string(buffer.data.get(), buffer.size), "abcde");
    EXPECT_EQ(byte_buffer_append(&buffer, "f", 1, 5), buffer_full);
    EXPECT_EQ(byte_buffer_append(&buffer, "f", 1, 3), buffer_full);
}

TEST(gateway_buffer, grows_geometrically_but_not_past_the_limit)
{
    byte_buffer buffer{};
    const std::string piece(1000, 'x');
    size_t growths = 0;
    for (int at = 0; at < 1000; at++) {
        const size_t before = buffer.capacity;
        ASSERT_EQ(byte_buffer_append(&buffer, piece.data(), piece.size(), 1000000), buffer_ok);
        growths += buffer.capacity != before ? 1 : 0;
        ASSERT_LE(buffer.capacity, 1000000U);
    }
    EXPECT_EQ(buffer.size, 1000000U);
    EXPECT_LT(growths, 12U);
}

TEST(gateway_buffer, an_impossible_allocation_is_told)
{
    byte_buffer buffer = buffer_of("kept");
    char byte = 'x';
    EXPECT_EQ(byte_buffer_append(&buffer, &byte, SIZE_MAX / 2, SIZE_MAX), buffer_no_memory);
    EXPECT_EQ(std::string(buffer.data.get(), buffer.size), "kept");
}

TEST(gateway_buffer, clearing_releases_a_large_block_only)
{
    byte_buffer small = buffer_of("text");
    byte_buffer_clear(&small);
    EXPECT_EQ(small.size, 0U);
    EXPECT_GT(small.capacity, 0U);
    byte_buffer large = buffer_of(std::string(100000, 'x'));
    byte_buffer_clear(&large);
    EXPECT_EQ(large.size, 0U);
    EXPECT_EQ(large.capacity, 0U);
    EXPECT_EQ(large.data.get(), nullptr);
}

TEST(gateway_buffer, a_taken_buffer_is_empty)
{
    byte_buffer buffer = buffer_of("text");
    const byte_buffer taken = byte_buffer_take(&buffer);
    EXPECT_EQ(std::string(taken.data.get(), taken.size), "text");
    EXPECT_EQ(buffer.size, 0U);
    EXPECT_EQ(buffer.capacity, 0U);
    EXPECT_EQ(buffer.data.get(), nullptr);
}

TEST(gateway_outgoing, is_idle_before_and_after)
{
    outgoing message{};
    EXPECT_TRUE(outgoing_idle(&message));
    EXPECT_EQ(left_of(&message), "");
    byte_buffer body = buffer_of("body");
    outgoing_load(&message, "<", &body, ">>");
    EXPECT_FALSE(outgoing_idle(&message));
    EXPECT_EQ(body.size, 0U);
    outgoing_advance(&message, 7);
    EXPECT_TRUE(outgoing_idle(&message));
}

TEST(gateway_outgoing, tells_what_is_left_at_every_position)
{
    const std::string whole = "head:body:tail";
    for (size_t sent = 0; sent < whole.size(); sent++) {
        outgoing message{};
        byte_buffer body = buffer_of("body");
        outgoing_load(&message, "head:", &body, ":tail");
        outgoing_advance(&message, sent);
        EXPECT_EQ(left_of(&message), whole.substr(sent)) << sent;
    }
}

TEST(gateway_outgoing, parts_may_be_missing)
{
    outgoing message{};
    byte_buffer body = buffer_of("body");
    outgoing_load(&message, "", &body, "");
    outgoing_advance(&message, 1);
    EXPECT_EQ(left_of(&message), "ody");
    outgoing_drop(&message);
    EXPECT_TRUE(outgoing_idle(&message));
    EXPECT_EQ(left_of(&message), "");
}

TEST(gateway_buffer, a_part_is_replaced)
{
    const struct {
        size_t from;
        size_t end;
        std::string text;
        std::string result;
    } cases[] = {{1, 3, "xy", "axyd"},    {1, 3, "", "ad"},     {0, 4, "x", "x"},
                 {1, 2, "xyz", "axyzcd"}, {4, 4, "x", "abcdx"}, {0, 0, "xyz", "xyzabcd"}};
    for (const auto &each : cases) {
        byte_buffer buffer{};
        byte_buffer_append(&buffer, "abcd", 4, 100);
        EXPECT_EQ(byte_buffer_replace(&buffer, each.from, each.end, each.text), 0);
        EXPECT_EQ(byte_buffer_view(&buffer), each.result);
    }
}
