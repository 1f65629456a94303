#include "varnek/xml/Element.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

using varnek::xml::Element;
using varnek::xml::parse;
using varnek::xml::XmlError;

TEST(XmlElement, ReadsNamesAttributesTextAndLines) {
    const Element root = parse("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                               "<!DOCTYPE list SYSTEM \"list.dtd\">\n"
                               "<list of='a &amp; b'>\r\n"
                               "  <!-- skipped -->\n"
                               "  <x:item n=\"1\tz\"/>\n"
                               "  <item>&lt;&#65;&#x1F600;<![CDATA[&amp;<raw>]]> tail</item>\n"
                               "</list>\n");
    EXPECT_EQ(root.name, "list");
    EXPECT_EQ(root.line, 3U);
    ASSERT_NE(root.attribute("of"), nullptr);
    EXPECT_EQ(*root.attribute("of"), "a & b");
    EXPECT_EQ(root.attribute("missing"), nullptr);
    EXPECT_EQ(root.text, "");
    ASSERT_EQ(root.children.size(), 2U);
    EXPECT_EQ(root.children[0].name, "x:item");
    EXPECT_EQ(*root.children[0].attribute("n"), "1 z");
    EXPECT_EQ(root.children[0].line, 5U);
    EXPECT_EQ(root.children[1].text, "<A\xF0\x9F\x98\x80&amp;<raw> tail");
    EXPECT_EQ(root.children[1].line, 6U);
}

TEST(XmlElement, RefusesWhatIsNoPlainDocument) {
    std::string deep, deepEnd;
    for (unsigned i = 0; i <= varnek::xml::maxDepth; ++i)
        deep += "<a>", deepEnd += "</a>";
    const struct {
        std::string text;
        std::size_t line;
        const char* cause;
    } table[] = {
        {"", 1, "no root element"},
        {"<a>\n<b>\n</a>", 3, "Start-end tags mismatch"},
        {"<a", 1, ""},
        {"<a/>\n<b/>", 2, "a second root element"},
        {"<a/>text", 1, "text outside the root element"},
        {"<a>\n<b x='1' x='2'/></a>", 2, "the attribute \"x\" stands twice"},
        {"<a>&custom;</a>", 1, "an unknown entity or a single \"&\""},
        {"<a>\n<b x='fish & chips'/></a>", 2, "an unknown entity or a single \"&\""},
        {"<a>&#xD800;</a>", 1, "an unknown entity or a single \"&\""},
        {"<a>&#0;</a>", 1, "an unknown entity or a single \"&\""},
        {"<a>&#x110000;</a>", 1, "an unknown entity or a single \"&\""},
        {"<!DOCTYPE a [<!ENTITY e 'x'>]>\n<a>&e;</a>", 1, "a document type with declarations of its own"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a/>", 1, "an encoding other than UTF-8: iso-8859-1"},
        {"<a>\xE9</a>", 1, "the document is not UTF-8"},
        {std::string("<a>\n\0</a>", 9), 2, "a control character"},
        {deep + deepEnd, 1, "elements nested too deeply"},
        {"<a>" + std::string(varnek::xml::maxBytes, ' ') + "</a>", 1, "the document is too large"},
    };
    for (const auto& row : table) {
        const std::string shown = row.text.substr(0, 60);
        try {
            parse(row.text);
            ADD_FAILURE() << "accepted: " << shown;
        } catch (const XmlError& error) {
            EXPECT_EQ(error.line(), row.line) << shown;
            EXPECT_EQ(std::string(error.what()).find("line " + std::to_string(row.line) + ": " + row.cause),
                      0U)
                << error.what() << " for " << shown;
        }
    }
    EXPECT_EQ(parse(deep.substr(3) + deepEnd.substr(4)).name, "a") << "the limit itself is allowed";
}

} // namespace
