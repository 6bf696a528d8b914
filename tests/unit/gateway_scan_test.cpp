// The walk through a text's elements.
#include "device/gateway/xml_scan.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

// Writes what is below an element: "uri|local(from-end child child)".
std::string outline(xml_scan *scan, const xml_element *element)
{
    std::string text(element->uri);
    text += "|";
    text += element->local;
    xml_element child;
    std::string children;
    while (xml_scan_child(scan, element, &child))
        children += " " + outline(scan, &child);
    return children.empty() ? text : text + "(" + children.substr(1) + ")";
}

std::string outline(const std::string &text)
{
    xml_scan scan{text, 0, false};
    xml_element root;
    if (!xml_scan_root(&scan, &root))
        return "none";
    std::string found = outline(&scan, &root);
    if (scan.failed)
        return "failed";
    EXPECT_EQ(text.substr(0, scan.at).back(), '>');
    return found;
}

} // namespace

TEST(gateway_scan, elements_and_their_namespaces)
{
    EXPECT_EQ(outline("<a/>"), "|a");
    EXPECT_EQ(outline("<?xml version='1.0'?>\n<!-- <b> --><a >x<b/>y<c></c></a >"), "|a(|b |c)");
    EXPECT_EQ(outline("<a xmlns='u'><b/><c xmlns=''><d/></c><e xmlns = \"v\" ><f/></e></a>"),
              "u|a(u|b |c(|d) v|e(v|f))");
    EXPECT_EQ(outline("<p:a xmlns:p=\"u\" xmlns='v'\r\n\txmlns:pp='w'><b/><pp:c/><p:d/></p:a>"),
              "u|a(v|b w|c u|d)");
    EXPECT_EQ(outline("<p:a xmlns:p='u'><p:b xmlns:p='v'><p:c/></p:b><p:d/></p:a>"),
              "u|a(v|b(v|c) u|d)");
}

TEST(gateway_scan, what_is_no_tag)
{
    EXPECT_EQ(outline("<a><!-- </a> <x> --><b/></a>"), "|a(|b)");
    EXPECT_EQ(outline("<a><!--> <x/> --><b/></a>"), "|a(|b)");
    EXPECT_EQ(outline("<a><![CDATA[ </a> <x> ]] ]]]><b/></a>"), "|a(|b)");
    EXPECT_EQ(outline("<a><?x <y> ?><b/></a>"), "|a(|b)");
    EXPECT_EQ(outline("<a x='>' y=\"/>'<z>\"><b z='/'/></a>"), "|a(|b)");
}

TEST(gateway_scan, what_it_cannot_follow)
{
    for (const char *text : {"<a><b></a>",
                             "<a><b></a></b>",
                             "<p:a xmlns:p='u'></a>",
                             "<a></p:a>",
                             "<a></ab>",
                             "<a></ a>",
                             "<a>",
                             "<a",
                             "<a x='",
                             "<a x='>",
                             "<a><!-- </a>",
                             "<a><![CDATA[</a>",
                             "<a><?x</a>",
                             "<!DOCTYPE a><a/>",
                             "<a><!ELEMENT b></a>",
                             "<p:a/>",
                             "<a><p:b/></a>",
                             "<a xmlns='u&amp;v'/>",
                             "<a xmlns='u\"v'/>",
                             "<a xmlns='u<v'/>",
                             "<a xmlns='u\tv'/>",
                             "<a xmlns='u\rv'/>",
                             "<a xmlns='u\nv'/>",
                             "<a><b",
                             "<a><b></b",
                             "<a></a x='",
                             "<a>< b/></a>",
                             "<>",
                             "< >"})
        EXPECT_TRUE(outline(text) == "failed" || outline(text) == "none") << text;
    EXPECT_EQ(outline(""), "none");
    EXPECT_EQ(outline("text"), "none");
    EXPECT_EQ(outline("</a>"), "none");
}

TEST(gateway_scan, attributes_up_to_a_limit)
{
    const std::string rest(4096 - strlen(" xmlns='u'"), ' ');
    EXPECT_EQ(outline("<a xmlns='u'" + rest + "/>"), "u|a");
    EXPECT_EQ(outline("<a xmlns='u' " + rest + "/>"), "none");
}

TEST(gateway_scan, skips_what_is_not_looked_at)
{
    const std::string text = "<a>1<b>2<c>3<b/></c><![CDATA[</b>]]>4</b>5<d/>6</a>7";
    xml_scan scan{text, 0, false};
    xml_element root;
    xml_element child;
    ASSERT_TRUE(xml_scan_root(&scan, &root));
    ASSERT_TRUE(xml_scan_child(&scan, &root, &child));
    EXPECT_EQ(child.local, "b");
    EXPECT_EQ(child.parent, &root);
    EXPECT_EQ(text.substr(child.from, child.content - child.from), "<b>");
    EXPECT_EQ(text.substr(xml_scan_skip(&scan, &child), 5), "</b>5");
    EXPECT_EQ(text.substr(scan.at, 2), "5<");
    ASSERT_TRUE(xml_scan_child(&scan, &root, &child));
    EXPECT_TRUE(child.is_empty);
    EXPECT_EQ(text.substr(xml_scan_skip(&scan, &child), 2), "6<");
    EXPECT_EQ(text.substr(xml_scan_skip(&scan, &root), 5), "</a>7");
    EXPECT_EQ(text.substr(scan.at), "7");
    EXPECT_FALSE(scan.failed);
}

TEST(gateway_scan, after_a_failure_nothing_is_found)
{
    xml_scan scan{"<a><p:b/><c/></a>", 0, false};
    xml_element root;
    xml_element child;
    ASSERT_TRUE(xml_scan_root(&scan, &root));
    EXPECT_FALSE(xml_scan_child(&scan, &root, &child));
    EXPECT_TRUE(scan.failed);
    EXPECT_FALSE(xml_scan_child(&scan, &root, &child));
}

TEST(gateway_scan, attributes_one_by_one)
{
    std::string_view rest = " a='1'\tb = \"2'\" c=''d=\"4\" e";
    std::string found;
    xml_attribute attribute;
    while (xml_attribute_next(&rest, &attribute)) {
        found += attribute.name;
        found += attribute.quote;
        found += attribute.value;
        found += ";";
    }
    EXPECT_EQ(found, "a'1;b\"2';c';d\"4;");
    for (std::string_view bad : {"", " ", "a", "a=", "a=1", "a='", "a=\"1'", "='1'"})
        EXPECT_FALSE(xml_attribute_next(&bad, &attribute)) << bad;
}
