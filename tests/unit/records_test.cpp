// What is read in node and module records, whole and damaged.
#include "schema/records.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

std::string number(int value)
{
    return {static_cast<char>(value & 0xff), static_cast<char>(value >> 8 & 0xff)};
}

// A node record: flags, help offset, type offset, bound, string area.
record_ptr node(int flags, int help, int type, int bound, const std::string &area)
{
    std::string bytes = number(flags) + std::string(10, '\x55') + number(help) + number(type) +
                        std::string(2, '\x66') + number(bound) + area;
    return record_copy(bytes);
}

std::string module(const std::string &tail)
{
    return std::string(43, '\x77') + tail;
}

const std::string area("\0string\0Help text\0", 18);

TEST(record_kind, bits_6_to_10)
{
    for (unsigned kind = 0; kind < 32; kind++) {
        EXPECT_EQ(record_kind(node(static_cast<int>(kind << 6), 0, 0, 0, "").get()), kind);
        EXPECT_EQ(record_kind(node(static_cast<int>(kind << 6) | 0xf83f, 0, 0, 0, "").get()), kind);
    }
    const std::string bytes = number(4 << 6) + std::string(18, '\0');
    EXPECT_TRUE(is_record_of_kind(bytes, node_kind_list));
    EXPECT_FALSE(is_record_of_kind(bytes, node_kind_choice));
    EXPECT_FALSE(is_record_of_kind(bytes.substr(1), node_kind_list));
    EXPECT_FALSE(is_record_of_kind({}, node_kind_module));
}

TEST(record_is_config, bit_0)
{
    EXPECT_TRUE(record_is_config(node(1, 0, 0, 0, "").get()));
    EXPECT_TRUE(record_is_config(node(0xffff, 0, 0, 0, "").get()));
    EXPECT_FALSE(record_is_config(node(0, 0, 0, 0, "").get()));
    EXPECT_FALSE(record_is_config(node(0xfffe, 0, 0, 0, "").get()));
}

TEST(record_help, below_its_bound)
{
    EXPECT_EQ(record_help(node(0, 8, 1, 18, area).get()), "Help text");
    EXPECT_EQ(record_help(node(0, 8, 1, 9, area).get()), "Help text"); // 8 < 9
    EXPECT_EQ(record_help(node(0, 8, 1, 8, area).get()), "");
    EXPECT_EQ(record_help(node(0, 8, 1, 0, area).get()), "");
    EXPECT_EQ(record_help(node(0, 0, 1, 18, area).get()), "");
    EXPECT_EQ(record_help(node(0, 8, 1, -1, area).get()), ""); // signed
}

TEST(record_help, offsets_outside_the_record)
{
    EXPECT_EQ(record_help(node(0, -1, 1, 18, area).get()), "");
    EXPECT_EQ(record_help(node(0, -32768, 1, 32767, area).get()), "");
    EXPECT_EQ(record_help(node(0, 18, 1, 32767, area).get()), "");
    EXPECT_EQ(record_help(node(0, 32766, 1, 32767, area).get()), "");
    EXPECT_EQ(record_help(node(0, 1, 1, 32767, "").get()), "");
    EXPECT_EQ(record_help(node(0, 17, 1, 18, area).get()), "");
}

TEST(record_help, a_text_without_an_end_stops_with_the_record)
{
    EXPECT_EQ(record_help(node(0, 1, 0, 9, "xHelp").get()), "Help");
    EXPECT_EQ(record_help(node(0, 4, 0, 9, "xHelp").get()), "p");
    EXPECT_EQ(record_help(node(0, 5, 0, 9, "xHelp").get()), "");
}

TEST(record_type_name, at_its_offset)
{
    EXPECT_EQ(record_type_name(node(0, 8, 1, 18, area).get()), "string");
    EXPECT_EQ(record_type_name(node(0, 8, 0, 18, area).get()), "");
    EXPECT_EQ(record_type_name(node(0, 8, -1, 18, area).get()), "");
    EXPECT_EQ(record_type_name(node(0, 8, 18, 18, area).get()), "");
    EXPECT_EQ(record_type_name(node(0, 0, 0, 0, "").get()), "");
    EXPECT_EQ(record_type_name(node(0, 0, 0, 0, "uni").get()), "uni");
}

TEST(record_namespace, after_43_bytes)
{
    EXPECT_EQ(record_namespace(module(std::string("urn:m\0x", 7))), "urn:m");
    EXPECT_EQ(record_namespace(module("")), "");
    EXPECT_EQ(record_namespace(module(std::string(1, '\0'))), "");
    EXPECT_EQ(record_namespace(module("urn:unterminated")), "urn:unterminated");
}

TEST(record_of_kind, holds_nothing_else)
{
    const record_ptr record = record_copy(record_of_kind(node_kind_list));
    EXPECT_EQ(record->size, 20U);
    EXPECT_EQ(record_kind(record.get()), 4U);
    EXPECT_FALSE(record_is_config(record.get()));
    EXPECT_EQ(record_help(record.get()), "");
    EXPECT_EQ(record_type_name(record.get()), "");
}

} // namespace
