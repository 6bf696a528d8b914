// The frames between a shell and the gateway.
#include "device/gateway/frame.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

using namespace std::string_literals;

namespace
{

std::string taken_text(frame_reader *reader)
{
    const byte_buffer body = frame_reader_take(reader);
    return {body.data.get(), body.size};
}

const std::string more = "more is to come";
const std::string complete = "a frame is complete";
const std::string is_empty = "a frame from the shell is empty";

// Feeds bytes up to the end of a frame; *used tells how many.
std::string feed(frame_reader *reader, const char *data, size_t size, size_t *used)
{
    *used = 0;
    while (frame_reader_want(reader) > 0) {
        const size_t step = std::min(frame_reader_want(reader), size - *used);
        if (step == 0)
            return more;
        const char *fault = frame_reader_feed(reader, data + *used, step);
        *used += step;
        if (fault != nullptr)
            return fault;
    }
    return complete;
}

// Feeds bytes in two pieces; the result is that of the last piece used.
std::string feed_split(frame_reader *reader, const std::string &bytes, size_t split)
{
    size_t used;
    const std::string first = feed(reader, bytes.data(), split, &used);
    if (first != more)
        return first;
    EXPECT_EQ(used, split);
    return feed(reader, bytes.data() + split, bytes.size() - split, &used);
}

} // namespace

TEST(gateway_frame, header_bytes)
{
    char header[12];
    frame_header_write(header, 0x01020304, 0xA1B2);
    EXPECT_EQ(std::string(header, 12), "\xFF\xBA\xDC\xFE\x04\x03\x02\x01\xB2\xA1\x00\x00"s);
    frame_header_write(header, 0, 0);
    EXPECT_EQ(std::string(header, 12), "\xFF\xBA\xDC\xFE\0\0\0\0\0\0\0\0"s);
}

TEST(gateway_frame, body_without_its_zero_byte_at_every_split)
{
    const std::string frame = "\xFF\xBA\xDC\xFE\x07\0\0\0\x05\0\0\0<rpc/>\0"s;
    for (size_t split = 0; split <= frame.size(); split++) {
        frame_reader reader{};
        ASSERT_EQ(feed_split(&reader, frame, split), complete) << split;
        EXPECT_EQ(taken_text(&reader), "<rpc/>");
        EXPECT_TRUE(frame_reader_idle(&reader));
    }
}

TEST(gateway_frame, body_that_ends_in_no_zero_byte_or_several)
{
    frame_reader reader{};
    ASSERT_EQ(feed_split(&reader, "\xFF\xBA\xDC\xFE\x03\0\0\0\0\0\0\0abc"s, 5), complete);
    EXPECT_EQ(taken_text(&reader), "abc");
    ASSERT_EQ(feed_split(&reader, "\xFF\xBA\xDC\xFE\x06\0\0\0\0\0\0\0a\0b\0\0\0"s, 5), complete);
    EXPECT_EQ(taken_text(&reader), "a\0b"s);
}

TEST(gateway_frame, a_frame_takes_no_byte_of_the_next)
{
    const std::string frame = "\xFF\xBA\xDC\xFE\x02\0\0\0\0\0\0\0xy"s;
    const std::string two = frame + frame;
    frame_reader reader{};
    size_t used;
    ASSERT_EQ(feed(&reader, two.data(), two.size(), &used), complete);
    EXPECT_EQ(used, 14U);
    ASSERT_EQ(feed(&reader, two.data() + 14, 14, &used), complete);
    EXPECT_EQ(used, 0U) << "the first body was not taken yet";
    EXPECT_EQ(taken_text(&reader), "xy");
    ASSERT_EQ(feed(&reader, two.data() + 14, 14, &used), complete);
    EXPECT_EQ(used, 14U);
    EXPECT_EQ(taken_text(&reader), "xy");
}

TEST(gateway_frame, wants_the_header_then_the_body)
{
    frame_reader reader{};
    size_t used;
    EXPECT_TRUE(frame_reader_idle(&reader));
    EXPECT_EQ(frame_reader_want(&reader), 12U);
    ASSERT_EQ(feed(&reader, "\xFF\xBA\xDC", 3, &used), more);
    EXPECT_FALSE(frame_reader_idle(&reader));
    EXPECT_EQ(frame_reader_want(&reader), 9U);
    ASSERT_EQ(feed(&reader, "\xFE\x05\0\0\0\0\0\0\0", 9, &used), more);
    EXPECT_EQ(frame_reader_want(&reader), 5U);
    ASSERT_EQ(feed(&reader, "abc", 3, &used), more);
    EXPECT_EQ(frame_reader_want(&reader), 2U);
    ASSERT_EQ(feed(&reader, "de", 2, &used), complete);
    EXPECT_EQ(frame_reader_want(&reader), 0U);
    EXPECT_EQ(taken_text(&reader), "abcde");
    EXPECT_EQ(frame_reader_want(&reader), 12U);
}

TEST(gateway_frame, the_longest_body_is_256_mib)
{
    frame_reader reader{};
    size_t used;
    ASSERT_EQ(feed(&reader, "\xFF\xBA\xDC\xFE\0\0\0\x10\0\0\0\0", 12, &used), more);
    EXPECT_EQ(frame_reader_want(&reader), 268435456U);
    EXPECT_EQ(reader.body.capacity, 0U) << "memory is taken for what arrives";
}

TEST(gateway_frame, a_length_is_believed_when_a_mebibyte_has_come)
{
    frame_reader reader{};
    size_t used;
    const std::string piece(1 << 19, 'a');
    ASSERT_EQ(feed(&reader, "\xFF\xBA\xDC\xFE\0\0\x50\0\0\0\0\0", 12, &used), more);
    for (int pieces = 0; pieces < 2; pieces++) {
        ASSERT_EQ(feed(&reader, piece.data(), piece.size(), &used), more);
        EXPECT_EQ(reader.body.capacity, size_t{1} << (19 + pieces));
    }
    ASSERT_EQ(feed(&reader, piece.data(), piece.size(), &used), more);
    EXPECT_EQ(reader.body.capacity, size_t{5} << 20);
    EXPECT_EQ(std::string(reader.body.data.get(), reader.body.size), piece + piece + piece);
}

TEST(gateway_frame, of_a_discarded_body_the_beginning_is_kept)
{
    const std::string header = "\xFF\xBA\xDC\xFE\x20\xA1\x07\0\0\0\0\0"s;
    const std::string body = std::string(4000, 'a') + std::string(496000, 'b');
    const std::string next = "\xFF\xBA\xDC\xFE\x02\0\0\0\0\0\0\0xy"s;
    for (const size_t split : {0, 12, 13, 4107, 4108, 4109, 100000, 500011}) {
        frame_reader reader{};
        size_t used;
        const std::string frame = header + body;
        ASSERT_EQ(feed(&reader, frame.data(), split, &used), more);
        frame_reader_discard(&reader);
        EXPECT_LE(reader.body.capacity, 4096U) << split;
        ASSERT_EQ(feed(&reader, frame.data() + split, frame.size() - split, &used), complete);
        EXPECT_EQ(used, frame.size() - split);
        EXPECT_LE(reader.body.capacity, 4096U) << split;
        EXPECT_EQ(taken_text(&reader), std::string(4000, 'a') + std::string(96, 'b')) << split;
        ASSERT_EQ(feed_split(&reader, next, 5), complete);
        EXPECT_EQ(taken_text(&reader), "xy");
    }
}

TEST(gateway_frame, bad_headers_at_every_split)
{
    const std::string magic = "a frame from the shell has a wrong magic number";
    const std::string length = "a frame from the shell is longer than 256 MiB";
    const std::string reserved = "a frame from the shell has a reserved field that is not zero";
    const struct {
        std::string header;
        std::string fault;
    } cases[] = {
        {"\xFF\xBA\xDC\xFF\x01\0\0\0\0\0\0\0"s, magic},
        {"\xFE\xDC\xBA\xFF\x01\0\0\0\0\0\0\0"s, magic},
        {"GET / HTTP/1"s, magic},
        {"\xFF\xBA\xDC\xFE\x01\0\0\x10\0\0\0\0"s, length},
        {"\xFF\xBA\xDC\xFE\xFF\xFF\xFF\xFF\0\0\0\0"s, length},
        {"\xFF\xBA\xDC\xFE\x01\0\0\0\0\0\x01\0"s, reserved},
        {"\xFF\xBA\xDC\xFE\x01\0\0\0\0\0\0\x80"s, reserved},
        {"\xFF\xBA\xDC\xFE\0\0\0\0\0\0\0\0"s, is_empty},
    };
    for (const auto &bad : cases) {
        for (size_t split = 0; split <= 12; split++) {
            frame_reader reader{};
            EXPECT_EQ(feed_split(&reader, bad.header, split), bad.fault) << split;
        }
    }
}

TEST(gateway_frame, a_body_of_zero_bytes_is_empty)
{
    frame_reader reader{};
    EXPECT_EQ(feed_split(&reader, "\xFF\xBA\xDC\xFE\x02\0\0\0\0\0\0\0\0\0"s, 13), is_empty);
}
