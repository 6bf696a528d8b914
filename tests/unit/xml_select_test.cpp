// The elements at a path, found without a document, are those that the document has.
#include "tests/support/selected.h"

#include <random>

#include "tests/support/shell_world.h"

namespace
{

const std::string root = "<a xmlns=\"urn:n\">";
const std::string entry = "<b xmlns=\"urn:m\"><k>1</k><x>y</x></b>";

// Texts that need no document, and what is selected.
const std::vector<std::pair<std::string, std::string>> &told_samples()
{
    static const std::vector<std::pair<std::string, std::string>> samples = {
        {root + "</a>", ""},
        {root + entry + entry + "</a>" + std::string(1, '\0'), "{k=1;x=y;}{k=1;x=y;}"},
        {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + root + " " + entry + "\n</a>\n",
         "{k=1;x=y;}"},
        {"<n:a xmlns:n='urn:n' xmlns:o=\"urn:m\"><o:b></o:b><n:b/><o:b q=\"/>\" /></n:a>", "{}{}"},
        {root + "<c>" + entry + "</c><b/>x&amp;<b xmlns=\"urn:m\"><k p:q='1'/><k></k></b></a>",
         "{k=;k=;}"},
        {"<a xmlns=\"urn:n\" xmlns:m=\"urn:m\"><c xmlns:m=\"urn:o\"/><m:b xmlns:m=\"urn:o\"/>"
         "<c xmlns:m=\"urn:o\"><m:b/></c><m:b/></a>",
         "{}"},
        {"<a xmlns=\"urn:n\" xmlns:m=\"urn:m\"><m:b><k>1 2 "
         "\t\xc3\xa4]'\"></k><l><m:b/></l></m:b></a>",
         "?"},
        {"<a xmlns=\"urn:n\" xmlns:m=\"urn:m\"><m:b xmlns=\"\"><k>1 2 "
         "\t\xc3\xa4]'\"></k></m:b></a>",
         "{k=1 2 \t\xc3\xa4]'\">;}"},
        {"<a xmlns=\"urn:m\">" + entry + "</a>", ""},
        {"<a>" + entry + "</a>", ""},
    };
    return samples;
}

// Texts of which a document has to tell the rest.
const std::vector<std::string> &other_samples()
{
    static const std::vector<std::string> texts = {
        "",
        root + entry,
        root + entry + "<!-- c --></a>",
        root + entry + "<b xmlns=\"urn:m\"><k>a&amp;b</k></b>" + entry + "</a>",
        root + entry + "<b xmlns=\"urn:m\"><k> </k><k> a</k><k>\r\n</k></b></a>",
        root + entry + "<b xmlns=\"urn:m\"> <k>1</k>\n</b></a>",
        root + entry + "<b xmlns=\"urn:m\">1<k>1<l>2</l></k></b></a>",
        root + entry + "<b xmlns=\"urn:m\"><p:k>1</p:k></b></a>",
        root + entry + "<p:b/></a>",
        root + entry + "<b xmlns=\" urn:m\"/><b xmlns=\"urn:m\n\"/></a>",
        root + entry + "<p:b xmlns:p=\"\"/></a>",
        root + entry + "<xml:b xmlns:xml=\"urn:m\"/></a>",
        root + entry + "<p:b xmlns:p=\"http://www.w3.org/XML/1998/namespace\"/></a>",
        root + entry + "<b xmlns=\"urn:m\">" + std::string(17 * 4, ' ').replace(0, 4, "<k/>") +
            "</b></a>",
    };
    return texts;
}

class xml_select_test : public shell_world
{
  protected:
    static void compare(const std::string &text)
    {
        const std::string got = selected(text);
        const std::string wanted = selected_in_document(text);
        ASSERT_PRED2(selected_rightly, got, wanted) << text;
    }
};

TEST_F(xml_select_test, what_is_plain_needs_no_document)
{
    for (const auto &[text, wanted] : told_samples()) {
        EXPECT_EQ(selected(text), wanted) << text;
        compare(text);
    }
}

TEST_F(xml_select_test, what_is_odd_is_left_to_a_document_from_there_on)
{
    for (const std::string &text : other_samples()) {
        const std::string got = selected(text);
        EXPECT_TRUE(got == "?" || got == "{k=1;x=y;}?") << got << text;
        compare(text);
    }
}

TEST_F(xml_select_test, more_than_there_is_room_for)
{
    std::string leaves;
    std::string declarations;
    for (size_t i = 0; i < select_limit; i++) {
        leaves += "<k/>";
        declarations += " xmlns:p" + std::to_string(i) + "=\"urn:n\"";
    }
    const auto with = [](const std::string &attributes, const std::string &content) {
        return "<p0:a" + attributes + "><b xmlns=\"urn:m\">" + content + "</b></p0:a>";
    };
    const std::string most = with(declarations.substr(0, declarations.rfind(' ')), leaves);
    EXPECT_EQ(selected(most), selected_in_document(most));
    EXPECT_EQ(selected(with(declarations, leaves)), "?");
    EXPECT_EQ(selected(with(" xmlns:p0=\"urn:n\"", leaves + "<k/>")), "?");
}

TEST_F(xml_select_test, a_path_that_asks_for_more_than_names)
{
    const std::string text = root + entry + "</a>";
    EXPECT_EQ(selected(text, "/n:a/m:b[m:k='1']"), "?");
    std::string path;
    for (size_t i = 0; i < select_limit; i++)
        path += "/n:a";
    EXPECT_EQ(selected(text, path.c_str()), "");
    EXPECT_EQ(selected(text, (path + "/n:a").c_str()), "?");
    EXPECT_EQ(
        selected("<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><k/></rpc-reply>",
                 "/base10:rpc-reply"),
        "{k=;}");
}

TEST_F(xml_select_test, samples_with_any_byte_changed)
{
    for (const auto &sample : told_samples()) {
        const std::string &text = sample.first;
        for (size_t at = 0; at < text.size(); at++) {
            compare(text.substr(0, at) + text.substr(at + 1));
            for (const char byte : std::string("<>/&;\"'= abkmnx:!]?\0\r\n\xc3", 24)) {
                std::string changed = text;
                changed[at] = byte;
                compare(changed);
                compare(text.substr(0, at) + byte + text.substr(at));
            }
        }
    }
}

TEST_F(xml_select_test, pieces_in_any_order)
{
    const std::vector<std::string> pieces = {"<b xmlns=\"urn:m\">",
                                             "<b>",
                                             "</b>",
                                             "<m:b>",
                                             "</m:b>",
                                             "<m:b xmlns:m=\"urn:m\">",
                                             "<k>",
                                             "</k>",
                                             "<k/>",
                                             "1",
                                             " ",
                                             "\n",
                                             "<m:k>",
                                             "</m:k>",
                                             "<c xmlns:m=\"urn:m\">",
                                             "</c>",
                                             entry,
                                             "&lt;",
                                             "\xc3\xa4",
                                             "<b xmlns=\"\"/>",
                                             "\r"};
    std::mt19937 random(1);
    for (int turn = 0; turn < 100000; turn++) {
        std::string text = turn % 2 == 0 ? root : "<a xmlns=\"urn:n\" xmlns:m=\"urn:m\">";
        for (size_t count = random() % 8; count > 0; count--)
            text += pieces[random() % pieces.size()];
        compare(text + "</a>");
    }
}

} // namespace
