// Which blanks are taken out of a server's messages, and which stay.
#include "device/gateway/blank_filter.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

const std::string malformed = "the server sent something that is not XML";
const std::string forbidden = "the server sent a character that XML forbids";
const std::string too_large = "a message of the server is too long";

struct filtered {
    std::string fault; // empty: none
    std::string text;
};

// Filters the message in pieces of size bytes, after a first one of first.
filtered filter_pieces(const std::string &message, size_t first, size_t size, size_t limit)
{
    blank_filter filter{};
    byte_buffer out{};
    size_t from = 0;
    size_t to = first;
    while (from < message.size()) {
        if (to > message.size())
            to = message.size();
        const char *fault =
            blank_filter_feed(&filter, message.data() + from, to - from, &out, limit);
        if (fault != nullptr)
            return {fault, ""};
        from = to;
        to += size;
    }
    const bool ends = blank_filter_end(&filter, &out) == 0;
    return {ends ? "" : malformed, out.size == 0 ? "" : std::string(out.data.get(), out.size)};
}

// Checks the message cut at every position, and byte by byte.
void expect_filtered(const std::string &message, const std::string &expected)
{
    for (size_t split = 0; split <= message.size(); split++) {
        const filtered result = filter_pieces(message, split, message.size(), 1 << 20);
        ASSERT_EQ(result.fault, "") << message << " at " << split;
        ASSERT_EQ(result.text, expected) << message << " at " << split;
    }
    const filtered result = filter_pieces(message, 1, 1, 1 << 20);
    ASSERT_EQ(result.fault, "") << message;
    ASSERT_EQ(result.text, expected) << message;
}

void expect_malformed(const std::string &message)
{
    for (size_t split = 0; split <= message.size(); split++)
        ASSERT_EQ(filter_pieces(message, split, message.size(), 1 << 20).fault, malformed)
            << message << " at " << split;
}

void expect_forbidden(const std::string &message)
{
    for (size_t split = 0; split <= message.size(); split++)
        ASSERT_EQ(filter_pieces(message, split, message.size(), 1 << 20).fault, forbidden)
            << message << " at " << split;
    ASSERT_EQ(filter_pieces(message, 1, 1, 1 << 20).fault, forbidden) << message;
}

} // namespace

TEST(gateway_blank_filter, blanks_between_elements_go)
{
    expect_filtered("<a>\n  <b/>\r\n\t<c></c>\n</a>", "<a><b/><c></c></a>");
    expect_filtered("<a> <b> <c> <d/> </c> </b> </a>", "<a><b><c><d/></c></b></a>");
    expect_filtered("<a><b>1</b> <b>2</b> </a>", "<a><b>1</b><b>2</b></a>");
}

TEST(gateway_blank_filter, blanks_around_the_root_go)
{
    expect_filtered(" \n<a/>\n ", "<a/>");
    expect_filtered("\n<a>x</a>\n", "<a>x</a>");
}

TEST(gateway_blank_filter, blanks_that_are_a_leaf_s_value_stay)
{
    expect_filtered("<a> </a>", "<a> </a>");
    expect_filtered("<r>\n<a>\n</a>\n<b>\t</b>\n</r>", "<r><a>\n</a><b>\t</b></r>");
}

TEST(gateway_blank_filter, real_text_keeps_its_blanks)
{
    expect_filtered("<a> x </a>", "<a> x </a>");
    expect_filtered("<r> <a>\n x\n</a> </r>", "<r><a>\n x\n</a></r>");
    expect_filtered("<a> &#32; </a>", "<a> &#32; </a>");
    expect_filtered("<a>\xC2\xA0 </a>", "<a>\xC2\xA0 </a>");
    expect_filtered("<a>x <b/> y</a>", "<a>x <b/> y</a>");
    expect_filtered("<a>]]></a>", "<a>]]></a>");
}

TEST(gateway_blank_filter, tags_pass_byte_for_byte)
{
    expect_filtered("<a  b = '1'\n\tc=\"2\" >x</a\n>", "<a  b = '1'\n\tc=\"2\" >x</a\n>");
    expect_filtered("<p:a xmlns:p=\"u\" />", "<p:a xmlns:p=\"u\" />");
    expect_filtered("<\xC3\xA4> <_/> <:b/> </\xC3\xA4>", "<\xC3\xA4><_/><:b/></\xC3\xA4>");
}

TEST(gateway_blank_filter, attribute_values_may_hold_markup)
{
    expect_filtered("<a b=\"x>y\"> <c d='/>'> </c> </a>", "<a b=\"x>y\"><c d='/>'> </c></a>");
    expect_filtered("<a b=\"'\" c='\"'> <d/> </a>", "<a b=\"'\" c='\"'><d/></a>");
    expect_filtered("<a b=\" > <c/> \"/>", "<a b=\" > <c/> \"/>");
    expect_filtered("<a b='/'> <c/> </a>", "<a b='/'><c/></a>");
}

TEST(gateway_blank_filter, comments_pass_and_blanks_around_them_go)
{
    expect_filtered("<a> <!-- x > <y> --> <b/> <!----> </a>", "<a><!-- x > <y> --><b/><!----></a>");
    expect_filtered("<a><b/><!-- - -- ---></a>", "<a><b/><!-- - -- ---></a>");
    expect_filtered("<!-- 1 --> <a/> <!-- 2 -->\n<!-- 3 -->", "<!-- 1 --><a/><!-- 2 --><!-- 3 -->");
}

TEST(gateway_blank_filter, comments_in_a_leaf_leave_its_value_alone)
{
    expect_filtered("<a> <!-- x --> </a>", "<a> <!-- x --> </a>");
    expect_filtered("<a> <!-- x --> y</a>", "<a> <!-- x --> y</a>");
    expect_filtered("<a>y <!-- x --> </a>", "<a>y <!-- x --> </a>");
}

TEST(gateway_blank_filter, instructions_pass_and_blanks_around_them_go)
{
    expect_filtered("<a> <?x > ? <y> ?> <b/> <?y ?\?> </a>", "<a><?x > ? <y> ?><b/><?y ?\?></a>");
    expect_filtered("<a> <?x?> </a>", "<a> <?x?> </a>");
    expect_filtered("<?xml-stylesheet a?> <a/>", "<?xml-stylesheet a?><a/>");
}

TEST(gateway_blank_filter, comments_and_instructions_mixed)
{
    expect_filtered("<a> <!--?>--> <?-->?> <!--<b>--> <b/> </a>",
                    "<a><!--?>--><?-->?><!--<b>--><b/></a>");
}

TEST(gateway_blank_filter, cdata_is_text)
{
    expect_filtered("<a> <![CDATA[x]]> </a>", "<a> <![CDATA[x]]> </a>");
    expect_filtered("<a><![CDATA[ ]]></a>", "<a><![CDATA[ ]]></a>");
    expect_filtered("<a><![CDATA[</a> <b>]] ]]]]></a>", "<a><![CDATA[</a> <b>]] ]]]]></a>");
    expect_filtered("<r> <a> <![CDATA[]]> </a> </r>", "<r><a> <![CDATA[]]> </a></r>");
}

TEST(gateway_blank_filter, the_declaration_and_the_order_mark_go)
{
    expect_filtered("<?xml version=\"1.0\" encoding=\"UTF-8\"?><a/>", "<a/>");
    expect_filtered("<?xml version='1.0'?>\n\n<a/>\n", "<a/>");
    expect_filtered("\n<?xml version='1.0'?>\n<!-- c --> <a/>", "<!-- c --><a/>");
    expect_filtered("\xEF\xBB\xBF<?xml version='1.0'?><a/>", "<a/>");
    expect_filtered("\xEF\xBB\xBF<a>\xEF\xBB\xBF</a>", "<a>\xEF\xBB\xBF</a>");
}

TEST(gateway_blank_filter, what_is_no_single_element_is_malformed)
{
    expect_malformed("");
    expect_malformed(" \n");
    expect_malformed("hello");
    expect_malformed("x<a/>");
    expect_malformed("<a/>x");
    expect_malformed("<a/><b/>");
    expect_malformed("<a>");
    expect_malformed("<a><b></a>");
    expect_malformed("</a>");
    expect_malformed("<a></a></a>");
    expect_malformed("<!-- only -->");
    expect_malformed("\xEF\xBB<a/>");
    expect_malformed("\xEF\xBB\xBF\xEF\xBB\xBF<a/>");
    expect_malformed(std::string("<a/>\0", 5));
}

TEST(gateway_blank_filter, broken_markup_is_malformed)
{
    expect_malformed("<a");
    expect_malformed("<a b='");
    expect_malformed("<a><</a>");
    expect_malformed("<a>< b/></a>");
    expect_malformed("<a <b/>></a>");
    expect_malformed("<a></a <b>");
    expect_malformed("<a><1/></a>");
    expect_malformed("<>x</>");
    expect_malformed("<a><!- x --></a>");
    expect_malformed("<a><!-x --></a>");
    expect_malformed("<a><!--></a>");
    expect_malformed("<a><![CDATE[x]]></a>");
    expect_malformed("<a><![CDATA[x]></a>");
    expect_malformed("<![CDATA[x]]><a/>");
    expect_malformed("<a><?x></a>");
    expect_malformed("<!DOCTYPE a [<!ENTITY b \"c\">]><a/>");
    expect_malformed("<a><!ELEMENT b></a>");
}

TEST(gateway_blank_filter, controls_that_xml_allows_become_references)
{
    expect_filtered("<a>k3\xC2\x9B\x32J</a>", "<a>k3&#x9B;2J</a>");
    expect_filtered("<a b='\x7F' c=\"\xC2\x80\">\xC2\x9F</a>",
                    "<a b='&#x7F;' c=\"&#x80;\">&#x9F;</a>");
    expect_filtered("<a> \xC2\x85 </a>", "<a> &#x85; </a>");
    expect_filtered("<r> <a>x</a>\xC2\x85<b/> </r>", "<r><a>x</a>&#x85;<b/></r>");
    expect_filtered("<a>~\xC2\xA0\xC3\x9B\xE2\x80\x9B\xF0\x9F\x98\x80</a>",
                    "<a>~\xC2\xA0\xC3\x9B\xE2\x80\x9B\xF0\x9F\x98\x80</a>");
}

TEST(gateway_blank_filter, controls_where_references_have_no_meaning)
{
    expect_filtered("<a><![CDATA[<\xC2\x9B&]]></a>", "<a><![CDATA[<]]>&#x9B;<![CDATA[&]]></a>");
    expect_filtered("<a><![CDATA[]]\x7F>]\xC2\x9B]]></a>",
                    "<a><![CDATA[]]]]>&#x7F;<![CDATA[>]]]>&#x9B;<![CDATA[]]></a>");
    expect_filtered("<a> <!-- \xC2\x9B --> <?x \x7F?> <b/></a>",
                    "<a><!-- &#x9B; --><?x &#x7F;?><b/></a>");
}

TEST(gateway_blank_filter, what_xml_forbids_ends_the_message)
{
    for (const char *odd :
         {"\v", "\x1B", "\x01", "\x9B", "\xC3", "\xC0\x9B", "\xE0\x82\x9B", "\xED\xA0\x80",
          "\xEF\xBF\xBE", "\xEF\xBF\xBF", "\xF4\x90\x80\x80", "\xF8\x88\x80", "\xE2\x82"}) {
        const std::string text = odd;
        expect_forbidden("<a>" + text + "</a>");
        expect_forbidden("<a>" + std::string(40, 'x') + text + "</a>");
        expect_forbidden("<a b='" + text + "'/>");
        expect_forbidden("<a b='1'" + text + "/>");
        expect_forbidden("<a></a" + text + ">");
        expect_forbidden("<a><![CDATA[" + text + "]]></a>");
        expect_forbidden("<a><!--" + text + "--></a>");
        expect_forbidden("<a><?x" + text + "?></a>");
    }
    expect_forbidden(std::string("<a>\0</a>", 8));
    expect_forbidden("<a></a\x01<");
}

TEST(gateway_blank_filter, what_is_no_character_is_told_alike_however_it_is_cut)
{
    for (const std::string begun : {"<?z ", "<!--", "<a><![CDATA[", "<a>", "<a b='", "<a"}) {
        for (const std::string rest : {"?\x8C", "-", "]", "<", "'"})
            expect_forbidden(begun + "\xF1" + rest);
    }
}

TEST(gateway_blank_filter, names_hold_no_controls)
{
    expect_forbidden("<a\xC2\x9B/>");
    expect_forbidden("<\xC2\x9B/>");
    expect_forbidden("<a></a\x7F>");
}

TEST(gateway_blank_filter, half_a_character_is_no_end)
{
    expect_malformed("<a>\xE2\x82");
    expect_malformed("<a b='\xC2");
}

TEST(gateway_blank_filter, the_limit_counts_what_is_kept)
{
    EXPECT_EQ(filter_pieces("<a>12345</a>", 3, 1, 12).fault, "");
    EXPECT_EQ(filter_pieces("<a>12345</a>", 3, 1, 11).fault, too_large);
    EXPECT_EQ(filter_pieces("<a> <b/> <b/> <b/> </a>", 3, 1, 19).text, "<a><b/><b/><b/></a>");
    EXPECT_EQ(filter_pieces("<a>" + std::string(100, ' '), 3, 1, 50).fault, too_large);
}

TEST(gateway_blank_filter, is_ready_again_after_a_message)
{
    blank_filter filter{};
    byte_buffer out{};
    EXPECT_TRUE(blank_filter_idle(&filter));
    ASSERT_EQ(blank_filter_feed(&filter, "\n", 1, &out, 100), nullptr);
    EXPECT_TRUE(blank_filter_idle(&filter));
    ASSERT_EQ(blank_filter_feed(&filter, "<a> ", 4, &out, 100), nullptr);
    EXPECT_FALSE(blank_filter_idle(&filter));
    ASSERT_EQ(blank_filter_feed(&filter, "</a>", 4, &out, 100), nullptr);
    EXPECT_FALSE(blank_filter_idle(&filter));
    ASSERT_EQ(blank_filter_end(&filter, &out), 0);
    EXPECT_TRUE(blank_filter_idle(&filter));
    EXPECT_EQ(std::string(out.data.get(), out.size), "<a> </a>");
    byte_buffer_clear(&out);
    ASSERT_EQ(blank_filter_feed(&filter, " <b/>", 5, &out, 100), nullptr);
    ASSERT_EQ(blank_filter_end(&filter, &out), 0);
    EXPECT_EQ(std::string(out.data.get(), out.size), "<b/>");
}

TEST(gateway_blank_filter, many_comments_in_one_interval)
{
    std::string message = "<a>";
    std::string expected = "<a>";
    for (int at = 0; at < 100000; at++) {
        message += " <!--" + std::to_string(at) + "-->";
        expected += "<!--" + std::to_string(at) + "-->";
    }
    message += " <b/> </a>";
    expected += "<b/></a>";
    const filtered result = filter_pieces(message, 1000, 1000, 1 << 24);
    EXPECT_EQ(result.fault, "");
    EXPECT_TRUE(result.text == expected);
}

TEST(gateway_blank_filter, a_raw_carriage_return_is_a_line_end)
{
    expect_filtered("<a>1\r\n2\r3\r\r\n4\n\r5\r</a>", "<a>1\n2\n3\n\n4\n\n5\n</a>");
    expect_filtered("<r><a>\r\n</a><a>\r</a></r>", "<r><a>\n</a><a>\n</a></r>");
    expect_filtered("<a\r\nb='1\r\n2\r'\r/>", "<a\nb='1\n2\n'\n/>");
    expect_filtered("<a><!--\r--><?x \r\n?><![CDATA[\r\n]]></a>",
                    "<a><!--\n--><?x \n?><![CDATA[\n]]></a>");
}

TEST(gateway_blank_filter, a_reference_to_a_carriage_return_is_one_that_shells_print)
{
    expect_filtered("<a>1&#13;2&#xD;3&#xd;4&#0013;5&#x0d;</a>",
                    "<a>1&#xD;2&#xD;3&#xD;4&#xD;5&#xD;</a>");
    expect_filtered("<a b='&#13;' c=\"&#013;\"/>", "<a b='&#xD;' c=\"&#xD;\"/>");
    expect_filtered("<a>&#9;&#10;&#xA;&lt;&amp;#13;;&#130;&#x13;&#113;&#xDD;&13;#13;</a>",
                    "<a>&#9;&#10;&#xA;&lt;&amp;#13;;&#130;&#x13;&#113;&#xDD;&13;#13;</a>");
    expect_filtered("<a><!--&#13;--><?x &#13;?><![CDATA[&#13;]]>13;</a>",
                    "<a><!--&#13;--><?x &#13;?><![CDATA[&#13;]]>13;</a>");
}
