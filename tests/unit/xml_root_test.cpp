// The root of a message, found without a document, is the one that the document has.
#include "link/xml_root.h"

#include <array>
#include <random>

#include "link/xml_plain.h"
#include "tests/support/shell_world.h"

namespace
{

constexpr char name_space[] = "urn:n";
const std::string root = "<a xmlns=\"urn:n\">";

// What the document says.
xml_root_result document_says(const std::string &text, const char *wanted = "/n:a")
{
    const xml_doc document = xml_parse(text.data(), text.size());
    if (!document)
        return xml_root_unreadable;
    ns_list namespaces;
    EXPECT_EQ(ns_add(&namespaces, "n", name_space), 0);
    const xpath_result found(xpath_eval(document.get(), wanted, namespaces));
    return found ? xml_root_matches : xml_root_differs;
}

xml_root_result told(const std::string &text)
{
    return xml_root_find(text.data(), text.size(), "a", name_space);
}

const std::vector<std::string> &samples()
{
    static const std::vector<std::string> texts = {
        root + "<b>text &amp; &#9;</b><c/></a>",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<n:a xmlns:n=\"urn:n\"><a/></n:a>\n",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a xmlns=\"urn:n\">\xc3\xa4</a>",
        "<?xml version=\"1.1\"?><!-- c --><?p i?><a xmlns=\"urn:n\"/><!-- c --><?p i?>",
        "<!DOCTYPE a [<!ENTITY e \"<b>x</b>\"><!ENTITY f \"&e;&e;\">]>" + root + "&e;&f;</a>",
        "<!DOCTYPE a [<!ENTITY e \"</a>\">]>" + root + "&e;</a>",
        "<!DOCTYPE a [<!ATTLIST a xmlns CDATA #FIXED \"urn:n\">]><a><b/></a>",
        "<!DOCTYPE a SYSTEM \"nowhere.dtd\">" + root + "&unknown;</a>",
        "<!DOCTYPE a [<!ENTITY % p \"<!ENTITY e 'x'>\">%p;]>" + root + "&e;</a>",
        "<!DOCTYPE a [<!ENTITY e \"<b/>\"><!ENTITY f \"&e;&e;\"><!ENTITY g \"&f;&f;\">"
        "<!ENTITY h \"&g;&g;\">]>" +
            root + "&h;</a>",
        root + "<![CDATA[</a>]]></a>",
        root + "  <b>  </b>\r\n\t</a>",
        "<m:a xmlns:n=\"urn:n\"/>",
        "<a xmlns=\"urn:n\" b=\"1\" b=\"2\"/>",
        "<b xmlns=\"urn:n\"><a/></b>",
        "<a xmlns=\"urn:m\"/>",
        "<a xmlns=\"\"/>",
        "<a:a xmlns:a=\"urn:n\" a:b=\"&lt;\"/>",
        "\xef\xbb\xbf" + root + "</a>",
        std::string("\xff\xfe<\0a\0/\0>\0", 10),
        root + std::string(1, '\0') + "</a>",
        root + "</a>" + std::string(1, '\0'),
        root + "\x01</a>",
        root + "\xc3</a>",
        root + "]]></a>",
        "<a xmlns=\"urn:n\" b=\"<\"/>",
        " " + root + "</a>",
        "x" + root + "</a>",
        root + "</a><a/>",
    };
    return texts;
}

std::string many(size_t count, const std::string &text)
{
    std::string result;
    for (size_t i = 0; i < count; i++)
        result += text;
    return result;
}

class xml_root_test : public shell_world
{
};

TEST_F(xml_root_test, samples_have_all_three_answers)
{
    std::array<int, 3> counts = {};
    for (const std::string &text : samples()) {
        EXPECT_EQ(told(text), document_says(text)) << text;
        counts.at(told(text))++;
    }
    EXPECT_GT(counts[xml_root_matches], 8);
    EXPECT_GT(counts[xml_root_differs], 3);
    EXPECT_GT(counts[xml_root_unreadable], 5);
}

TEST_F(xml_root_test, each_sample_cut_anywhere)
{
    for (const std::string &text : samples()) {
        for (size_t length = 0; length < text.size(); length++) {
            const std::string piece = text.substr(0, length);
            EXPECT_EQ(told(piece), document_says(piece)) << piece;
        }
    }
}

// A text without its root in it is read in another way, if it is an ordinary one.
void compare_for_both_roots(const std::string &text)
{
    ASSERT_EQ(told(text), document_says(text)) << text;
    ASSERT_EQ(xml_root_find(text.data(), text.size(), "z", name_space), document_says(text, "/n:z"))
        << text;
}

const std::vector<std::string> &ordinary_samples()
{
    static const std::vector<std::string> texts = {
        "<b/>",
        "<b:c xmlns:b=\"urn:n\"><b:a/></b:c >\n",
        "<b c='1' "
        "d=\"2\"\t>\xc3\xa4\xe2\x82\xac]<c></c>&lt;&gt;&amp;&quot;&apos;&#9;&#10;&#13;</b>",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<b><c-1._2 ><a/></c-1._2></b>" +
            std::string(1, '\0'),
        "<b>]]&gt; ] ]</b>",
        "<b x:y=\"'\" x:z='\"'/>",
        "<b>\xf0\x9f\x92\xa1\xe0\xa4\x85\xed\x95\x9c\xef\xbf\xbd\xf4\x8f\xbf\xbf</b>",
    };
    return texts;
}

TEST_F(xml_root_test, ordinary_texts_without_the_root)
{
    for (const std::string &text : ordinary_samples()) {
        compare_for_both_roots(text);
        EXPECT_EQ(told(text), xml_root_differs) << text;
        for (size_t length = 0; length < text.size(); length++)
            compare_for_both_roots(text.substr(0, length));
        for (size_t at = 0; at < text.size(); at++) {
            for (int byte = 0; byte < 256; byte++) {
                std::string changed = text;
                changed[at] = static_cast<char>(byte);
                compare_for_both_roots(changed);
                compare_for_both_roots(text.substr(0, at) + static_cast<char>(byte) +
                                       text.substr(at));
            }
            compare_for_both_roots(text.substr(0, at) + text.substr(at + 1));
        }
    }
}

TEST_F(xml_root_test, many_attributes_and_deep_elements_without_the_root)
{
    for (const size_t count : {14U, 15U, 16U, 17U, 127U, 128U, 129U, 254U, 255U, 256U, 257U}) {
        std::string attributes;
        for (size_t i = 0; i < count; i++)
            attributes += " x" + std::to_string(i) + "=\"\"";
        compare_for_both_roots("<b" + attributes + "/>");
        compare_for_both_roots("<b" + attributes + " x0=\"\"/>");
        compare_for_both_roots(many(count, "<b>") + many(count, "</b>"));
        compare_for_both_roots(many(count, "<b>") + "<b/>" + many(count, "</b>"));
    }
}

TEST_F(xml_root_test, samples_with_bytes_changed_and_joined)
{
    std::mt19937 random(1);
    const auto below = [&random](size_t limit) { return random() % limit; };
    const std::string bytes("<>/&;\"'= ax!-[]?#\0\t\n\xc3\xa4", 22);
    for (int turn = 0; turn < 20000; turn++) {
        std::string text = samples()[below(samples().size())];
        if (turn % 4 == 0)
            text += samples()[below(samples().size())];
        for (size_t changes = 1 + below(3); changes > 0; changes--) {
            const size_t at = below(text.size());
            if (turn % 3 == 0)
                text.erase(at, 1 + below(4));
            else
                text[at] = bytes[below(bytes.size())];
            if (text.empty())
                break;
        }
        compare_for_both_roots(text);
    }
}

TEST_F(xml_root_test, elements_as_deep_as_the_parser_goes)
{
    for (const size_t depth : {100U, 254U, 255U, 256U, 257U, 258U, 259U, 300U}) {
        std::string text = root;
        for (size_t i = 1; i < depth; i++)
            text += "<b>";
        for (size_t i = 1; i < depth; i++)
            text += "</b>";
        text += "</a>";
        EXPECT_EQ(told(text), document_says(text)) << depth;
    }
}

TEST_F(xml_root_test, an_entity_full_of_elements)
{
    for (const size_t depth : {10U, 300U}) {
        const std::string text = "<!DOCTYPE a [<!ENTITY e \"" + many(depth, "<b>") +
                                 many(depth, "</b>") + "\">]>" + root + many(5000, "&e;") + "</a>";
        EXPECT_EQ(told(text), document_says(text)) << depth;
    }
}

TEST_F(xml_root_test, long_names_values_and_texts)
{
    for (const size_t length : {49999U, 50001U, 999990U, 1000010U, 9999999U, 10000001U}) {
        const std::string filler(length, 'x');
        for (const std::string &text :
             {root + filler + "</a>", root + filler + "&amp;" + filler + "</a>",
              root + many(length, "\xc3\xa4") + "</a>", root + "<" + filler + "/></a>",
              "<a xmlns=\"urn:n\" b=\"" + filler + "\"/>", root + "<!--" + filler + "--></a>",
              root + "<![CDATA[" + filler + "]]></a>", root + "<?p " + filler + "?></a>",
              "<b>" + filler + "</b>", "<b c='" + filler + "'/>", "<" + filler + "/>"})
            EXPECT_EQ(told(text), document_says(text)) << length << text.substr(0, 30);
    }
}

// Texts near the length from which the parser takes no more pieces: what makes a piece of
// its own stands at the start, in the middle and at the end.
TEST_F(xml_root_test, long_texts_in_pieces)
{
    for (const size_t length : {9999998U, 10000002U}) {
        const std::string filler(length / 2, 'x');
        for (const std::string mark : {"\n", "]", "\r\n", "  \r\n", "&lt;", "\xc3\xa4", "<b/>"}) {
            for (const std::string &text :
                 {mark + filler + filler, filler + mark + filler, filler + filler + mark}) {
                const std::string document = "<b>" + text + many(150, "<c/>") + "</b>";
                EXPECT_EQ(told(document), document_says(document)) << length << mark;
                const bool is_plain = xml_is_plain(document.data(), document.size(), "a");
                EXPECT_TRUE(!is_plain || document_says(document, "/b/c[150]") == xml_root_matches)
                    << "the parser reads all of it: " << length << mark;
            }
        }
    }
}

// Of more than ten million bytes the parser refuses a step, from tag to text or back, that
// comes near the end from far away.
TEST_F(xml_root_test, the_end_of_a_long_text)
{
    for (const size_t length : {9999400U, 10000020U}) {
        const std::string before = "<b>" + many(9999, "<c>" + std::string(993, 'x') + "</c>") +
                                   "<c>" + std::string(length - 9999010, 'x') + "</c>";
        for (const size_t left : {size_t{4}, size_t{245}, size_t{255}}) {
            const std::string after = std::string(left - 4, ' ') + "</b>";
            for (const size_t step : {480 - left, 510 - left, size_t{1000}}) {
                if (length < 10000000 && step < 1000)
                    continue; // it is far from the limit
                for (const std::string &text : {std::string(step, 'x') + "<c/>" + after,
                                                "<c d='" + std::string(step, 'x') + "'/>" + after,
                                                "x&lt;" + std::string(step, ']') + "<c/>" + after,
                                                "</b>" + std::string(step, ' ')})
                    EXPECT_EQ(told(before + text), document_says(before + text))
                        << length << " " << left << " " << text;
            }
        }
    }
}

// The marks at each place of eight bytes, and no mark.
TEST_F(xml_root_test, texts_are_plain_whatever_stands_at_which_place)
{
    const auto is_plain = [](const std::string &text) {
        const std::string document = "<b>" + text + "</b>";
        return xml_is_plain(document.data(), document.size(), "a");
    };
    const std::string printable = "0123456789abcdef~ ";
    for (size_t place = 0; place < printable.size(); place++) {
        const auto with = [&](const std::string &mark) {
            return printable.substr(0, place) + mark + printable.substr(place);
        };
        for (const char *mark : {"\t", "\r\n", "&lt;", "]", "\xc3\xa4", "\xee\x80\x80",
                                 "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
            EXPECT_TRUE(is_plain(with(mark))) << with(mark);
        for (const char *mark : {"\x1f", "\x7f", "\xff", "&x;", "]]>", "\xef\xbf\xbe",
                                 "\xef\xbf\xbf", "\xed\xa0\x80", "\xf4\x90\x80\x80"})
            EXPECT_FALSE(is_plain(with(mark))) << with(mark);
    }
}

TEST_F(xml_root_test, a_text_longer_than_the_parser_counts_is_not_read)
{
    EXPECT_EQ(xml_root_find("<a/>", size_t{1} << 31, "a", name_space), xml_root_unreadable);
}

} // namespace
