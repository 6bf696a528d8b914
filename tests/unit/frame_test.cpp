// The frame's header.
#include "format/frame.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

std::string header_of(uint32_t length, uint16_t sequence)
{
    std::string header(12, 'x');
    frame_header_write(header.data(), length, sequence);
    return header;
}

TEST(frame, the_header_s_bytes)
{
    EXPECT_EQ(header_of(7, 0), std::string("\xff\xba\xdc\xfe\x07\0\0\0\0\0\0\0", 12));
    EXPECT_EQ(header_of(0x12345678, 0xabcd),
              std::string("\xff\xba\xdc\xfe\x78\x56\x34\x12\xcd\xab\0\0", 12));
}

TEST(frame, the_body_length_is_unsigned)
{
    const uint8_t header[12] = {0, 0, 0, 0, 0xff, 0xff, 0xff, 0xff, 9, 9, 9, 9};
    EXPECT_EQ(frame_header_read(header).length, 0xffffffffU);
    const uint8_t other[12] = {1, 2, 3, 4, 0, 0, 0, 0x10, 5, 6, 7, 8};
    EXPECT_EQ(frame_header_read(other).length, 0x10000000U);
}

} // namespace
