// The pretty-printer's layout, quirks included.
#include "link/xml_print.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>

#include "tests/support/captured_output.h"

namespace
{

std::string printed(const char *text)
{
    captured_output output;
    xml_print(text);
    return output.text();
}

std::string printed(const std::string &text)
{
    // On the heap to the byte, so that reading past the end is noticed.
    char *exact = strdup(text.c_str());
    std::string result = printed(exact);
    free(exact);
    return result;
}

TEST(xml_print, nothing_prints_nothing)
{
    EXPECT_EQ(printed(static_cast<const char *>(nullptr)), "");
    EXPECT_EQ(printed(""), "");
}

TEST(xml_print, nested_elements_and_text)
{
    EXPECT_EQ(printed("<a><b>1</b></a>"), "<a>\n"
                                          "  <b>\n"
                                          "    1\n"
                                          "  </b>\n"
                                          "</a>\n");
}

TEST(xml_print, self_closing_tags_deepen)
{
    EXPECT_EQ(printed("<a><b/><c/></a>"), "<a>\n"
                                          "  <b/>\n"
                                          "    <c/>\n"
                                          "    </a>\n");
}

TEST(xml_print, a_declaration_deepens_the_root)
{
    EXPECT_EQ(printed("<?xml version=\"1.0\"?><a></a>"), "<?xml version=\"1.0\"?>\n"
                                                         "  <a>\n"
                                                         "  </a>\n");
}

TEST(xml_print, a_comment_counts_as_opening)
{
    EXPECT_EQ(printed("<a><!-- x --><b></b></a>"), "<a>\n"
                                                   "  <!-- x -->\n"
                                                   "    <b>\n"
                                                   "    </b>\n"
                                                   "  </a>\n");
}

TEST(xml_print, siblings)
{
    EXPECT_EQ(printed("<a><b>1</b><c>2</c><d><e>3</e></d></a>"), "<a>\n"
                                                                 "  <b>\n"
                                                                 "    1\n"
                                                                 "  </b>\n"
                                                                 "  <c>\n"
                                                                 "    2\n"
                                                                 "  </c>\n"
                                                                 "  <d>\n"
                                                                 "    <e>\n"
                                                                 "      3\n"
                                                                 "    </e>\n"
                                                                 "  </d>\n"
                                                                 "</a>\n");
}

TEST(xml_print, entities_are_decoded_once)
{
    EXPECT_EQ(printed("<a>&lt;x&gt; &amp;lt; &quot;q&quot; it's&#9;t&#13;r&#10;n</a>"),
              "<a>\n"
              "  <x> &lt; \"q\" it's\tt\rr\nn\n"
              "</a>\n");
    EXPECT_EQ(printed("<a b=\"&quot;&gt;\">&apos;&#65;&#x9;&lt</a>"), "<a b=\"\">\">\n"
                                                                      "  &apos;&#65;&#x9;&lt\n"
                                                                      "</a>\n");
}

TEST(xml_print, an_entity_at_the_end_of_the_layout)
{
    EXPECT_EQ(printed("<a>&amp;</a>"), "<a>\n  &\n</a>\n");
    EXPECT_EQ(printed("<a>&am</a>"), "<a>\n  &am\n</a>\n");
    EXPECT_EQ(printed("&lt;>"), "<>\n");
    EXPECT_EQ(printed("&>"), "&>\n");
}

TEST(xml_print, a_text_is_no_format)
{
    EXPECT_EQ(printed("<a>%s%n%d</a>"), "<a>\n  %s%n%d\n</a>\n");
}

TEST(xml_print, only_blanks_are_skipped_between_tags)
{
    EXPECT_EQ(printed("<a>   <b>   1 2  </b> </a>"), "<a>\n"
                                                     "  <b>\n"
                                                     "    1 2  \n"
                                                     "  </b>\n"
                                                     "</a>\n");
    EXPECT_EQ(printed("<a>\r\n\t<b/></a>"), "<a>\n"
                                            "  \r\n\t\n"
                                            "  <b/>\n"
                                            "  </a>\n");
}

TEST(xml_print, text_after_the_last_tag_is_not_shown)
{
    EXPECT_EQ(printed("<a></a>tail"), "<a>\n</a>\n");
    EXPECT_EQ(printed("<a></a>\r\n"), "<a>\n</a>\n");
    EXPECT_EQ(printed("<a>text"), "<a>\n");
    EXPECT_EQ(printed("<a>text<b"), "<a>\n  text\n");
    EXPECT_EQ(printed("<a><b"), "<a>\n");
}

TEST(xml_print, text_without_a_tag_s_end_shows_nothing)
{
    EXPECT_EQ(printed("plain"), "");
    EXPECT_EQ(printed("<"), "");
    EXPECT_EQ(printed(" "), "");
}

TEST(xml_print, text_before_the_first_tag_belongs_to_it)
{
    EXPECT_EQ(printed("hello<a>x</a>"), "hello<a>\n"
                                        "  x\n"
                                        "</a>\n");
    EXPECT_EQ(printed(">"), ">\n");
    EXPECT_EQ(printed(">>"), ">\n");
    EXPECT_EQ(printed("><"), ">\n");
}

TEST(xml_print, the_first_mark_is_judged_by_the_second_character)
{
    // "h/" looks like a closing tag, "hi" does not.
    EXPECT_EQ(printed("h/x><a></a>"), "h/x>\n"
                                      "<a>\n"
                                      "</a>\n");
    EXPECT_EQ(printed("hix><a></a>"), "hix>\n"
                                      "  <a>\n"
                                      "  </a>\n");
}

TEST(xml_print, the_indentation_may_be_negative)
{
    EXPECT_EQ(printed("</a></b></c><d></d>"), "</a>\n"
                                              "</b>\n"
                                              "</c>\n"
                                              "<d>\n"
                                              "</d>\n");
    // At -4 the next level is still none, at -2 text gets none, at 0 two.
    EXPECT_EQ(printed("</a></b></c>x<d>y<e>z<f>t"), "</a>\n"
                                                    "</b>\n"
                                                    "</c>\n"
                                                    "x\n"
                                                    "<d>\n"
                                                    "y\n"
                                                    "<e>\n"
                                                    "z\n"
                                                    "<f>\n");
    EXPECT_EQ(printed("</a></b>x<c>y<d>z<e>"), "</a>\n"
                                               "</b>\n"
                                               "x\n"
                                               "<c>\n"
                                               "y\n"
                                               "<d>\n"
                                               "  z\n"
                                               "  <e>\n");
}

TEST(xml_print, a_bracket_inside_text_cuts_nothing)
{
    EXPECT_EQ(printed("<a>1>2</a>"), "<a>\n  1>2\n</a>\n");
}

TEST(xml_print, a_layout_far_larger_than_the_text)
{
    std::string text = "<a>";
    std::string expected = "<a>\n";
    for (size_t i = 0; i < 3000; i++) {
        text += "<b/>";
        expected += std::string(2 * (i + 1), ' ') + "<b/>\n";
    }
    expected += std::string(6000, ' ') + "</a>\n";
    EXPECT_EQ(printed(text + "</a>"), expected);
}

TEST(xml_print, a_large_text)
{
    std::string text = "<a>";
    std::string expected = "<a>\n";
    for (int i = 0; i < 200000; i++) {
        text += "<b>&lt;</b>";
        expected += "  <b>\n    <\n  </b>\n";
    }
    EXPECT_TRUE(printed(text + "</a>") == expected + "</a>\n");
    // Nothing but text, and nothing but opening brackets.
    EXPECT_EQ(printed("<a>" + std::string(1000000, 'x')), "<a>\n");
    EXPECT_EQ(printed(std::string(1000000, '<')), "");
}

TEST(xml_print, pieces_of_every_length)
{
    for (size_t length = 0; length < 40; length++) {
        const std::string text(length, 'x');
        EXPECT_EQ(printed("<" + text + ">" + text + "</a>&" + text + "<"),
                  "<" + text + ">\n" + (text.empty() ? "" : "  " + text + "\n") + "</a>\n  &" +
                      text + "\n");
        EXPECT_EQ(printed("<a>" + text + "&lt;" + text + "&gt</a>"),
                  "<a>\n  " + text + "<" + text + "&gt\n</a>\n");
    }
}

TEST(xml_print, every_byte_is_copied)
{
    // Those beside a mark in value, and those with the highest bit.
    for (int character = 1; character < 256; character++) {
        if (strchr("<>& ", character) != nullptr)
            continue;
        const std::string text(9, static_cast<char>(character));
        EXPECT_EQ(printed("<a>" + text + "</a>"), "<a>\n  " + text + "\n</a>\n");
        EXPECT_EQ(printed("<" + text + "><b>"),
                  "<" + text + ">\n" + (character == '/' ? "" : "  ") + "<b>\n");
    }
}

// What is laid out passes through a room of some size: no length may be a wrong one.
TEST(xml_print, a_piece_ends_anywhere_in_a_large_layout)
{
    for (const size_t size : {4096U, 16384U, 32768U, 65536U}) {
        for (size_t length = size - 90; length < size + 10; length++) {
            const std::string text(length, 'x');
            const std::string expected = "<a>\n  " + text + "&\n  <b>\n    y\n  </b>\n</a>\n";
            EXPECT_TRUE(printed("<a>" + text + "&amp;<b>y</b></a>") == expected) << length;
        }
    }
}

ssize_t count_write(void *counter, const char *, size_t size)
{
    ++*static_cast<size_t *>(counter);
    return static_cast<ssize_t>(size);
}

// A terminal's stream is handed over at each line.
TEST(xml_print, lines_leave_together)
{
    std::string text = "<a>";
    for (int i = 0; i < 20000; i++)
        text += "<b>1</b>";
    size_t writes = 0;
    FILE *terminal = fopencookie(&writes, "w", {nullptr, count_write, nullptr, nullptr});
    ASSERT_NE(terminal, nullptr);
    setvbuf(terminal, nullptr, _IOLBF, 1024);
    FILE *const original = stdout;
    stdout = terminal;
    xml_print(text.c_str());
    stdout = original;
    fclose(terminal);
    EXPECT_LT(writes, 100U); // of 60001 lines, 440 KB
}

TEST(indent_next, by_the_second_characters)
{
    EXPECT_EQ(indent_next("</a>", "</b>", 4), 2);
    EXPECT_EQ(indent_next("</a>", "<b>", 4), 4);
    EXPECT_EQ(indent_next("<a>", "<b>", 4), 6);
    EXPECT_EQ(indent_next("<a>", "</b>", 4), 4);
    EXPECT_EQ(indent_next("</a>", "</b>", 0), -2);
    EXPECT_EQ(indent_next("</a>", "</b>", -2), -4);
    EXPECT_EQ(indent_next("<", "<", -2), 0);
    EXPECT_EQ(indent_next("<a/>", "<!--", 0), 2);
    EXPECT_EQ(indent_next("", "<b>", 0), 2);
}

} // namespace
