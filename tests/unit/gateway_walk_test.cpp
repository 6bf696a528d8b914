// The walk through a text's elements, where they stand, and where it ends early.
#include "device/gateway/xml_walk.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

using namespace std::string_literals;

namespace
{

// Writes what the walk meets: "uri|local" of each element, its children in brackets,
// and its texts in quotes.
struct outline {
    std::string text;
    std::string found;
    std::string last = ""; // the element after which the walk is to end
    xml_step at_last = xml_step_end;
    unsigned elements = 0;
    std::unique_ptr<xml_walk> walk = std::make_unique<xml_walk>();

    explicit outline(const std::string &message) : text(message) {}

    static xml_step start(void *context, const xml_walk *walk)
    {
        auto *self = static_cast<outline *>(context);
        const xml_element *element = &walk->open[walk->depth - 1];
        self->elements++;
        self->found += std::string(element->uri) + "|" + std::string(element->local) + "(";
        const std::string tag = self->text.substr(element->from, element->content - element->from);
        const std::string name = std::string(element->prefix) + std::string(element->local);
        EXPECT_EQ(tag.substr(0, 1 + name.size()), "<" + name);
        EXPECT_EQ(tag.substr(1 + name.size(), element->attributes.size()), element->attributes);
        const std::string rest = tag.substr(1 + name.size() + element->attributes.size());
        EXPECT_TRUE(rest == ">" || rest == "/>") << rest;
        return xml_step_on;
    }

    static xml_step take_text(void *context, const xml_walk *, std::string_view piece)
    {
        static_cast<outline *>(context)->found += std::string(piece);
        return xml_step_on;
    }

    static xml_step end(void *context, const xml_walk *walk)
    {
        auto *self = static_cast<outline *>(context);
        const xml_element *element = &walk->open[walk->depth - 1];
        self->found += ")";
        EXPECT_EQ(self->text[element->end - 1], '>');
        EXPECT_GE(element->end, element->content);
        return element->local == self->last ? self->at_last : xml_step_on;
    }

    // 0 or -1, like the walk.
    int run()
    {
        static const xml_events events = {start, take_text, end};
        return xml_walk_run(walk.get(), text, &events, this);
    }
};

std::string outline_of(const std::string &text)
{
    outline made(text);
    return made.run() == 0 ? made.found : "failed";
}

// What a walk returns on which nobody looks.
int run_quietly(const std::string &text)
{
    static const xml_events events = {nullptr, nullptr,
                                      [](void *, const xml_walk *) { return xml_step_on; }};
    const auto walk = std::make_unique<xml_walk>();
    return xml_walk_run(walk.get(), text, &events, nullptr);
}

// So many namespaces, ten to an element.
std::string nested_spaces(int count)
{
    std::string start;
    std::string end;
    for (int at = 0; at < count; at++) {
        const std::string space = " xmlns:n" + std::to_string(at) + "='u'";
        start += at % 10 == 0 ? (at > 0 ? ">" : "") + std::string("<a") + space : space;
        if (at % 10 == 0)
            end += "</a>";
    }
    return start + ">" + end;
}

// So many times a text, with another number in the place of each '%'.
std::string numbered(int count, const std::string &text)
{
    std::string made;
    for (int at = 0; at < count; at++) {
        for (const char byte : text)
            made += byte == '%' ? std::to_string(at) : std::string(1, byte);
    }
    return made;
}

std::string nested(int depth)
{
    std::string text;
    for (int at = 0; at < depth; at++)
        text = "<a>" + text + "</a>";
    return text;
}

} // namespace

TEST(gateway_walk, elements_and_their_namespaces)
{
    EXPECT_EQ(outline_of("<a/>"), "|a()");
    EXPECT_EQ(outline_of("<?xml version='1.0'?>\n<!-- <b> --><a >x<b/>y<c></c></a >"),
              "|a(x|b()y|c())");
    EXPECT_EQ(outline_of("<a xmlns='u'><b/><c xmlns=''><d/></c><e xmlns = \"v\" ><f/></e></a>"),
              "u|a(u|b()|c(|d())v|e(v|f()))");
    EXPECT_EQ(outline_of("<p:a xmlns:p=\"u\" xmlns='v'\r\n\txmlns:pp='w'><b/><pp:c/><p:d/></p:a>"),
              "u|a(v|b()w|c()u|d())");
    EXPECT_EQ(outline_of("<p:a xmlns:p='u'><p:b xmlns:p='v'><p:c/></p:b><p:d/></p:a>"),
              "u|a(v|b(v|c())u|d())");
}

TEST(gateway_walk, what_is_no_tag)
{
    EXPECT_EQ(outline_of("<a><!-- </a> <x> --><b/></a>"), "|a(|b())");
    EXPECT_EQ(outline_of("<a><![CDATA[</a><x>]]]><b/></a>"), "|a(</a><x>]|b())");
    EXPECT_EQ(outline_of("<a><?x <y> ?><b/></a>"), "|a(|b())");
    EXPECT_EQ(outline_of("<a x='>' y=\"/>'\"><b z='/'/></a>"), "|a(|b())");
    EXPECT_EQ(outline_of("<a>&lt;&#65;</a>"), "|a(<A)");
}

TEST(gateway_walk, what_it_cannot_follow)
{
    for (const char *text : {"",
                             "text",
                             "</a>",
                             "<a><b></a>",
                             "<a><b></a></b>",
                             "<p:a xmlns:p='u'></a>",
                             "<a></ab>",
                             "<a>",
                             "<a",
                             "<a x='",
                             "<a><!-- </a>",
                             "<!DOCTYPE a><a/>",
                             "<p:a/>",
                             "<a xmlns:p=''/>",
                             "<a><p:b/></a>",
                             "<a><b",
                             "<a></a x='",
                             "<a>< b/></a>",
                             "<>",
                             "<a/><b/>",
                             "<a>&what;</a>",
                             "<a x='<'/>"})
        EXPECT_EQ(outline_of(text), "failed") << text;
}

TEST(gateway_walk, a_text_may_be_cut_anywhere)
{
    for (size_t size = 0; size < 100; size++) {
        const std::string blanks(size, ' ');
        EXPECT_EQ(outline_of("<a>" + blanks + "<!--" + std::string(4040, '.') +
                             "--><b x='>/>'>&#65;</b></a>"),
                  "|a(" + blanks + "|b(A))");
    }
    EXPECT_EQ(outline_of("<a><![CDATA[" + std::string(100000, 'x') + "]]></a>"),
              "|a(" + std::string(100000, 'x') + ")");
}

TEST(gateway_walk, ends_when_all_is_known)
{
    outline known("<a><b/><c/><d></a>");
    known.last = "b";
    EXPECT_EQ(known.run(), 0);
    EXPECT_EQ(known.found, "|a(|b()");
    outline unusable("<a><b/><c/></a>");
    unusable.last = "b";
    unusable.at_last = xml_step_fail;
    EXPECT_EQ(unusable.run(), -1);
    EXPECT_EQ(unusable.elements, 2U);
}

TEST(gateway_walk, at_most_256_namespaces_are_declared_at_a_place)
{
    EXPECT_NE(outline_of(nested_spaces(256)), "failed");
    EXPECT_EQ(outline_of(nested_spaces(257)), "failed");
    EXPECT_NE(outline_of("<r>" + nested_spaces(200) + nested_spaces(200) + "</r>"), "failed")
        << "those of another place do not count";
}

TEST(gateway_walk, elements_stand_in_one_another_up_to_a_limit)
{
    EXPECT_NE(outline_of(nested(264)), "failed");
    EXPECT_EQ(outline_of(nested(265)), "failed");
}

TEST(gateway_walk, attributes_up_to_a_limit)
{
    const std::string rest(4096 - strlen(" x='u'"), ' ');
    EXPECT_EQ(outline_of("<a x='u'" + rest + "/>"), "|a()");
    EXPECT_EQ(outline_of("<a x='u' " + rest + "/>"), "failed");
}

TEST(gateway_walk, a_tag_of_many_attributes_is_not_gone_into)
{
    std::string attributes;
    for (int at = 0; at < 100000; at++)
        attributes += " x" + std::to_string(at) + "=''";
    std::string letters;
    for (int count = 0; count < 300; count++)
        letters += "\xC3\xA9";
    for (const std::string &before :
         {std::string("<r>"), "<r>" + letters, "<r/>"s, "<r> "s, "<r>x"s, "<r>&#65;"s, "<r>&lt;"s,
          "<r><!-- -->"s, "<r><?x ?>"s, "<r><![CDATA[x]]>"s, "<?xml version='1.0'?>"s,
          "<?xml version='1.0'?> "s, "<r><b/>"s}) {
        outline made(before + "<a" + attributes + "/></r>");
        EXPECT_EQ(made.run(), -1);
        EXPECT_LT(made.walk->given, 16384U) << "no more than the beginning is read: " << before;
    }
}

TEST(gateway_walk, names_up_to_a_limit)
{
    EXPECT_EQ(run_quietly("<r>" + numbered(65000, "<n%/>") + "</r>"), 0);
    EXPECT_EQ(run_quietly("<r>" + numbered(100000, "<n/>%") + "</r>"), 0);
    for (const char *named :
         {"<n%/>", "<n x%=''/>", "<p%:n xmlns:p%='u'/>", "<n xmlns='u%'/>", "<?n% ?>"})
        EXPECT_EQ(run_quietly("<r>" + numbered(100000, named) + "</r>"), -1) << named;
    EXPECT_EQ(run_quietly("<r/>" + numbered(100000, "<?n% ?>")), -1);
}

TEST(gateway_walk, long_texts_are_no_tags)
{
    for (const char *text : {"<a>%</a>", "<a><!--%--></a>", "<a><![CDATA[%]]></a>",
                             "<a><?x %?></a>", "<!--%--><a/>", "<?xml version='1.0'?>%<a/>"}) {
        std::string long_text = text;
        const std::string filler(100000, *text == '<' && text[1] == '?' ? ' ' : 'x');
        long_text.replace(long_text.find('%'), 1, filler);
        EXPECT_NE(outline_of(long_text), "failed") << text;
    }
}

TEST(gateway_walk, one_that_is_used_again_knows_nothing_of_the_text_before)
{
    std::string many = "<p:a xmlns:p='u' xmlns='v'>";
    for (int at = 0; at < 11000; at++)
        many += "<n" + std::to_string(at) + "/>";
    for (const std::string &before :
         {std::string("<p:a xmlns:p='u' xmlns='v'><p:b/>"),
          std::string("<a xmlns='u'><b xmlns:p='"),
          std::string("<!DOCTYPE a [<!ATTLIST a x CDATA 'y'><!ENTITY e 'f'>]><a/>"),
          many + "<b/></p:a>"}) {
        outline made(before);
        made.last = "b";
        made.run();
        made.found = "";
        made.text = "<a>1<b/></a>";
        made.last = "";
        EXPECT_EQ(made.run(), 0) << before.substr(0, 100);
        EXPECT_EQ(made.found, "|a(1|b())");
        for (const char *text : {"<p:a/>", "<a>&e;</a>"}) {
            made.text = text;
            EXPECT_EQ(made.run(), -1) << text;
        }
    }
}

TEST(gateway_walk, one_that_is_used_again_does_not_keep_all_names)
{
    outline made("<a><?" + std::string(1000000, 'n') + " ?></a>");
    EXPECT_EQ(made.run(), 0);
    made.text = "<a/>";
    EXPECT_EQ(made.run(), 0);
    EXPECT_LT(xmlDictGetUsage(made.walk->parser->dict), 100000U);
}

TEST(gateway_walk, a_reading_may_stand_in_another)
{
    static const xml_events inner = {nullptr, nullptr, [](void *context, const xml_walk *walk) {
                                         *static_cast<std::string *>(context) +=
                                             walk->open[walk->depth - 1].local;
                                         return xml_step_on;
                                     }};
    static const xml_events outer = {nullptr, nullptr, [](void *context, const xml_walk *walk) {
                                         EXPECT_EQ(xml_read("<x><y/></x>", &inner, context), 0);
                                         *static_cast<std::string *>(context) +=
                                             walk->open[walk->depth - 1].local;
                                         return xml_step_on;
                                     }};
    std::string found;
    EXPECT_EQ(xml_read("<a><b/></a>", &outer, &found), 0);
    EXPECT_EQ(found, "yxbyxa");
}

TEST(gateway_walk, attributes_one_by_one)
{
    std::string_view rest = " a='1'\tb = \"2'\" c=''d=\"4\" ";
    std::string found;
    xml_attribute attribute;
    while (xml_attribute_next(&rest, &attribute)) {
        found += attribute.name;
        found += attribute.quoted;
        found += attribute.value;
        found += ";";
    }
    EXPECT_EQ(found, "a'1'1;b\"2'\"2';c'';d\"4\"4;");
}
