#include "xmlda/Failure.h"
#include "xmlda/soap/XmlReader.h"
#include "xmlda/soap/XmlWriter.h"
#include "xmlda/soap/namespaces.h"
#include "xmlda/soap/xml_indent.h"

#include <gtest/gtest.h>

#include <string>

namespace xmlda::testing {
namespace {

void expect_refusal(const std::string& document, const std::string& message) {
    try {
        parse_xml(document);
        FAIL() << "no failure for " << document.substr(0, 100);
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.get_status(), ExitStatus::UNEXPECTED_CONTENT);
        EXPECT_EQ(std::string(failure.what()), "the reply is not the XML it should be: " + message);
    }
}

std::string nest(int depth) {
    std::string begin;
    std::string end;
    for (int i = 0; i < depth; ++i) {
        begin += "<a>";
        end += "</a>";
    }
    return begin + end;
}

TEST(ParseXml, TextsAndAttributes) {
    const auto document =
        parse_xml("<a b='1 &lt; 2' c:d='3' xmlns:c='urn:c'>x<e>y</e>&#228;<![CDATA[<z>]]></a>");

    EXPECT_EQ(document->get_text(), "x\xC3\xA4<z>");
    EXPECT_EQ(document->find_attribute("b"), "1 < 2");
    EXPECT_EQ(document->find_attribute("d"), std::nullopt);
    EXPECT_EQ(document->find_child("e")->get_text(), "y");
    EXPECT_EQ(document->find_child("f"), nullptr);
}

TEST(ParseXml, NamesInValuesResolveByTheNearestDeclaration) {
    const auto document =
        parse_xml("<a xmlns='urn:1' xmlns:p='urn:2'><b xmlns:p='urn:3'><c xmlns=''/></b></a>");
    const XmlElement& c = *document->find_child("b")->find_child("c");

    EXPECT_EQ(document->get_namespace(), "urn:1");
    EXPECT_EQ(c.get_namespace(), "");
    EXPECT_EQ(c.resolve("p:n").namespace_uri, "urn:3");
    EXPECT_EQ(c.resolve("n").namespace_uri, "");
    EXPECT_EQ(document->resolve("p:n").namespace_uri, "urn:2");
    EXPECT_EQ(document->resolve("n").namespace_uri, "urn:1");
    EXPECT_EQ(document->resolve("q:n").namespace_uri, "");
    EXPECT_EQ(document->resolve("q:n").name, "n");
}

TEST(ParseXml, AttributesInTheProtocolsNamespace) {
    const auto document = parse_xml(std::string("<a xmlns:d='") + namespaces::XMLDA + "' d:ItemName='i'/>");

    EXPECT_EQ(document->find_attribute("ItemName"), "i");
}

TEST(ParseXml, OtherEncodings) {
    EXPECT_EQ(parse_xml("<?xml version='1.0' encoding='iso-8859-1'?><a>\xE4</a>")->get_text(), "\xC3\xA4");
}

TEST(ParseXml, RefusesWhatIsNotWellFormed) {
    expect_refusal("<a><b></a>", "mismatched tag in line 1");
    expect_refusal("Bad request", "syntax error in line 1");
    expect_refusal("", "no element found in line 1");
    expect_refusal("<a>\n<b/>\n", "no element found in line 3");
    expect_refusal("<a x:b='1'/>", "unbound prefix in line 1");
}

TEST(ParseXml, RefusesDocumentTypes) {
    expect_refusal("<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>", "a document type declaration in line 1");
}

TEST(ParseXml, RefusesDeepNesting) {
    EXPECT_NO_THROW(parse_xml(nest(100)));
    expect_refusal(nest(101), "elements nested too deep in line 1");
    expect_refusal(nest(100'000), "elements nested too deep in line 1");
}

TEST(XmlWriter, WritesAttributesAndTexts) {
    XmlWriter writer;
    writer.start("a").attribute("b", "<\"&\n\t\r>").start("c").end().element("d", "x\n<&>\r").end();

    EXPECT_EQ(writer.get(),
              "<a b=\"&lt;&quot;&amp;&#10;&#9;&#13;&gt;\"><c/><d>x&#10;&lt;&amp;&gt;&#13;</d></a>");
}

TEST(XmlWriter, WhatItWritesReadsBackUnchanged) {
    const std::string text = " \t\r\n<>&\"' \xC3\xA4 ]]> ";
    XmlWriter writer;
    writer.start("a").attribute("b", text).text(text).end();
    const auto document = parse_xml(writer.get());

    EXPECT_EQ(document->get_text(), text);
    EXPECT_EQ(document->find_attribute("b"), text);
}

TEST(IsXmlText, TakesWhatXmlCanCarry) {
    EXPECT_TRUE(is_xml_text("a\t\n\r\xC3\xA4\xF0\x9F\x94\xA5"));
    EXPECT_FALSE(is_xml_text(std::string("a\0b", 3)));
    EXPECT_FALSE(is_xml_text("\x1b[31m"));
    EXPECT_FALSE(is_xml_text("\xC3"));
    EXPECT_FALSE(is_xml_text("\xEF\xBF\xBF"));      // U+FFFF
    EXPECT_FALSE(is_xml_text("\xED\xA0\x80"));      // a surrogate
    EXPECT_FALSE(is_xml_text("\xF4\x90\x80\x80"));  // above U+10FFFF
    EXPECT_FALSE(is_xml_text("\xC0\x80"));          // two bytes where one would do
}

TEST(IndentXml, PutsEachElementOnALine) {
    EXPECT_EQ(indent_xml("<?xml version=\"1.0\"?><a><b>x</b><c/><d><e>1 &lt; 2</e></d><f></f></a>"),
              "<?xml version=\"1.0\"?>\n<a>\n  <b>x</b>\n  <c/>\n  <d>\n    <e>1 &lt; 2</e>\n  </d>\n  "
              "<f></f>\n</a>");
}

TEST(IndentXml, KeepsMixedContentAndComments) {
    EXPECT_EQ(indent_xml("<a><!-- <b> --><c>x<d/>y</c><![CDATA[<z>]]></a>"),
              "<a>\n  <!-- <b> -->\n  <c>x<d/>y</c><![CDATA[<z>]]></a>");
}

TEST(IndentXml, LeavesOtherTextsAlone) {
    EXPECT_EQ(indent_xml("Bad request"), "Bad request");
    EXPECT_EQ(indent_xml(""), "");
    EXPECT_EQ(indent_xml("<a"), "<a");
    EXPECT_EQ(indent_xml("</a></b>"), "</a>\n</b>");
}

}  // namespace
}  // namespace xmlda::testing
