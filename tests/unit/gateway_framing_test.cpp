// Where the server's messages end, in both framings, however the stream is cut.
#include "device/gateway/framing.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace
{

struct decoded {
    std::vector<std::string> messages; // complete ones
    std::string rest;                  // what came of the next one
    bool bad;
};

// Decodes pieces of size bytes each, after a first one of first bytes.
decoded decode_pieces(bool chunked, const std::string &stream, size_t first, size_t size)
{
    framing_decoder decoder{};
    decoder.chunked = chunked;
    decoded result{{}, "", false};
    size_t from = 0;
    size_t to = first;
    while (from < stream.size()) {
        if (to > stream.size())
            to = stream.size();
        const framing_step step = framing_decode(&decoder, stream.data() + from, to - from);
        EXPECT_LE(step.used, to - from);
        from += step.used;
        if (step.event == framing_bad) {
            result.bad = true;
            break;
        }
        if (step.event == framing_data)
            result.rest.append(step.data, step.size);
        if (step.event == framing_end) {
            result.messages.push_back(result.rest);
            result.rest.clear();
        }
        if (step.event == framing_more) {
            EXPECT_EQ(from, to);
            to += size;
        }
    }
    return result;
}

// Checks the stream cut at every position, and in pieces of every small size.
void expect_messages(bool chunked, const std::string &stream,
                     const std::vector<std::string> &messages, const std::string &rest)
{
    for (size_t split = 0; split <= stream.size(); split++) {
        const decoded result = decode_pieces(chunked, stream, split, stream.size());
        EXPECT_FALSE(result.bad) << split;
        EXPECT_EQ(result.messages, messages) << split;
        EXPECT_EQ(result.rest, rest) << split;
    }
    for (size_t size = 1; size < 8; size++) {
        const decoded result = decode_pieces(chunked, stream, size, size);
        EXPECT_FALSE(result.bad) << size;
        EXPECT_EQ(result.messages, messages) << size;
        EXPECT_EQ(result.rest, rest) << size;
    }
}

void expect_bad(const std::string &stream, const std::vector<std::string> &messages = {})
{
    for (size_t split = 0; split <= stream.size(); split++) {
        const decoded result = decode_pieces(true, stream, split, stream.size());
        EXPECT_TRUE(result.bad) << stream << " at " << split;
        EXPECT_EQ(result.messages, messages) << stream << " at " << split;
    }
}

} // namespace

TEST(gateway_framing, marked_messages)
{
    expect_messages(false, "<a/>]]>]]>", {"<a/>"}, "");
    expect_messages(false, "<a/>]]>]]>\n<b/>]]>]]><c", {"<a/>", "\n<b/>"}, "<c");
    expect_messages(false, "]]>]]>]]>]]>", {"", ""}, "");
}

TEST(gateway_framing, text_that_looks_like_the_mark)
{
    expect_messages(false, "a]b]]c]]>d]]>]e]]>]]f]]>]]>", {"a]b]]c]]>d]]>]e]]>]]f"}, "");
    expect_messages(false, "]]]>]]>", {"]"}, "");
    expect_messages(false, "]]>]]]>]]>", {"]]>]"}, "");
    expect_messages(false, "]]>]]]]>]]>", {"]]>]]"}, "");
    expect_messages(false, "]]>]>]]>]]>", {"]]>]>"}, "");
    expect_messages(false, "]]>]]]]]>]>]]>]]>", {"]]>]]]]]>]>"}, "");
}

TEST(gateway_framing, marked_messages_agree_with_a_plain_search)
{
    std::mt19937 random(1);
    for (int round = 0; round < 2000; round++) {
        std::string stream;
        for (size_t size = random() % 40; size > 0; size--)
            stream += "]]>a"[random() % 4];
        std::vector<std::string> messages;
        std::string rest = stream + "]]>]]>";
        for (size_t end = rest.find("]]>]]>"); end != std::string::npos;
             end = rest.find("]]>]]>")) {
            messages.push_back(rest.substr(0, end));
            rest = rest.substr(end + 6);
        }
        const decoded result =
            decode_pieces(false, stream + "]]>]]>", random() % 40, 1 + random() % 7);
        ASSERT_EQ(result.messages, messages) << stream;
        // What can still be the beginning of a mark is held back.
        ASSERT_EQ(rest.substr(0, result.rest.size()), result.rest) << stream;
        ASSERT_LT(rest.size() - result.rest.size(), 6U) << stream;
    }
}

TEST(gateway_framing, chunked_messages)
{
    expect_messages(true, "\n#4\n<a/>\n##\n", {"<a/>"}, "");
    expect_messages(true, "\n#1\n<\n#10\nabcdefghi/\n#1\n>\n##\n\n#2\n\n#\n##\n\n#3\nxy",
                    {"<abcdefghi/>", "\n#"}, "xy");
    expect_messages(true, "\n#6\n]]>]]>\n##\n", {"]]>]]>"}, "");
}

TEST(gateway_framing, line_feeds_between_chunked_messages_are_overlooked)
{
    expect_messages(true, "\n\n\n#1\na\n##\n\n\n#1\nb\n##\n\n", {"a", "b"}, "");
}

TEST(gateway_framing, chunks_of_every_size)
{
    const std::string text = "<rpc-reply xmlns=\"urn:x\"><data>]]>]]>\n##\n</data></rpc-reply>";
    for (size_t size = 1; size <= text.size(); size++) {
        std::string stream;
        for (size_t at = 0; at < text.size(); at += size) {
            const std::string chunk = text.substr(at, size);
            stream += "\n#" + std::to_string(chunk.size()) + "\n" + chunk;
        }
        stream += "\n##\n";
        expect_messages(true, stream, {text}, "");
    }
}

TEST(gateway_framing, bad_chunks)
{
    expect_bad("<rpc-reply/>");
    expect_bad("#4\n<a/>\n##\n");
    expect_bad("\n4\n<a/>\n##\n");
    expect_bad("\n#0\n\n##\n");
    expect_bad("\n#04\n<a/>\n##\n");
    expect_bad("\n#-4\n<a/>\n##\n");
    expect_bad("\n# 4\n<a/>\n##\n");
    expect_bad("\n#\n<a/>\n##\n");
    expect_bad("\n#4 \n<a/>\n##\n");
    expect_bad("\n#4\r\n<a/>\n##\n");
    expect_bad("\n#3\n<a/>\n##\n");
    expect_bad("\n#5\n<a/>\n##\n");
    expect_bad("\n##\n");
    expect_bad("\n###\n");
    expect_bad("\n#4\n<a/>\n##4\n");
    expect_bad("\n#4\n<a/>\n\n##\n");
    expect_bad("\n#4\n<a/>\n#0\n");
    expect_bad("\n#4\n<a/>\n##\nX", {"<a/>"});
    expect_bad("\n#4\n<a/>\n##\n\n##\n", {"<a/>"});
}

TEST(gateway_framing, the_largest_chunk_size_is_that_of_32_bits)
{
    expect_messages(true, "\n#4294967295\nabc", {}, "abc");
    expect_bad("\n#4294967296\nabc");
    expect_bad("\n#99999999999999999999\nabc");
}

TEST(gateway_framing, what_is_sent_around_a_message)
{
    char header[framing_header_size];
    framing_chunk_header(1, header);
    EXPECT_STREQ(header, "\n#1\n");
    framing_chunk_header(4294967295U, header);
    EXPECT_STREQ(header, "\n#4294967295\n");
    EXPECT_EQ(framing_chunk_trailer, "\n##\n");
    EXPECT_EQ(framing_mark, "]]>]]>");
}
