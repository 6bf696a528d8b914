// Replies to one request after the other, read into the same place.
#include "link/exchange.h"

#include "tests/support/shell_world.h"

namespace
{

using known_reply_test = shell_world;

TEST_F(known_reply_test, a_plain_reply_that_came_before_is_known)
{
    const auto is_known = [this](const std::string &before, const std::string &now) {
        serve({before, now});
        reply_text reply;
        for (int i = 0; i < 2; i++) {
            EXPECT_EQ(send_text("<rpc/>"), 0);
            EXPECT_EQ(msg_wait_reply(&reply), 0);
            EXPECT_FALSE(reply.is_known && i == 0);
            EXPECT_FALSE(reply.is_known && !reply.is_plain);
        }
        EXPECT_EQ(std::string(reply.text.get(), reply.length), now);
        return reply.is_known;
    };
    EXPECT_TRUE(is_known("<a/>", "<a/>"));
    EXPECT_TRUE(is_known("<a message-id=\"9\"><b/></a>", "<a message-id=\"10\"><b/></a>"));
    EXPECT_TRUE(is_known("<?xml version=\"1.0\" encoding=\"UTF-8\"?><a message-id=\"9\"/>",
                         "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a message-id=\"\"/>"));
    EXPECT_FALSE(is_known("<a message-id=\"1\"/>", "<a message-id=\"x\"/>"));
    EXPECT_FALSE(is_known("<a message-id=\"1\"/>", "<a message-id=\"2"));
    EXPECT_FALSE(is_known("<a message-id=\"1\"/>", "<a Message-id=\"1\"/>"));
    EXPECT_FALSE(is_known("<a message-id=\"1\">b</a>", "<a message-id=\"1\">c</a>"));
    EXPECT_FALSE(is_known("<a x-message-id=\"1\"/>", "<a x-message-id=\"2\"/>"));
    EXPECT_FALSE(is_known("<a> message-id=\"1\"</a>", "<a> message-id=\"2\"</a>"));
    EXPECT_FALSE(is_known("<a/>", "<a/> "));
    EXPECT_FALSE(is_known("<a/>", ""));
    EXPECT_FALSE(is_known("", ""));
    EXPECT_FALSE(is_known("<!-- --><a/>", "<!-- --><a/>")); // not plain
}

TEST_F(known_reply_test, the_blocks_of_replies_that_are_known_take_turns)
{
    const std::vector<std::string> replies = {"<a message-id=\"9\"/>", "<a message-id=\"10\"/>",
                                              "<a message-id=\"11\"/>", "<a message-id=\"12\"/>",
                                              "<b/>"};
    serve(replies);
    reply_text reply;
    std::vector<const char *> blocks;
    for (const std::string &text : replies) {
        EXPECT_EQ(send_text("<rpc/>"), 0);
        EXPECT_EQ(msg_wait_reply(&reply), 0);
        EXPECT_STREQ(reply.text.get(), text.c_str());
        blocks.push_back(reply.text.get());
    }
    EXPECT_EQ(blocks[3], blocks[1]);
    EXPECT_EQ(blocks[4], blocks[2]);
    EXPECT_EQ(reply.room, nullptr);
}

} // namespace
