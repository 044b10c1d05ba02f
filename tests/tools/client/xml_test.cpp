#include "client/errors.h"
#include "client/namespaces.h"
#include "client/xml/XmlDocument.h"
#include "client/xml/XmlWriter.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory_resource>
#include <new>
#include <string>
#include <vector>

namespace xmlda::testing {
namespace {

void expect_refusal(const std::string& document, const std::string& message,
                    Encodings encodings = Encodings::ALL) {
    try {
        XmlDocument parsed(document, encodings);
        FAIL() << "no failure for " << document.substr(0, 100);
    } catch (const UnexpectedMessage& error) {
        EXPECT_EQ(std::string(error.what()), "malformed XML: " + message);
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
    const XmlDocument document("<a b='1 &lt; 2' c:d='3' xmlns:c='urn:c'>x<e>y</e>&#228;<![CDATA[<z>]]></a>");

    EXPECT_EQ(document.get_root().get_text(), "x\xC3\xA4<z>");
    EXPECT_EQ(document.get_root().find_attribute("b"), "1 < 2");
    EXPECT_EQ(document.get_root().find_attribute("d"), std::nullopt);
    EXPECT_EQ(document.get_root().find_child("e")->get_text(), "y");
    EXPECT_EQ(document.get_root().find_child("f"), std::nullopt);
}

TEST(ParseXml, TextsAroundOtherThingsAreOne) {
    const XmlDocument document("<?p x?><a> 1<!-- 2 -->3<b>4</b>&amp;<c/><?p 5?>&lt;\n</a><!-- 6 -->");

    EXPECT_EQ(document.get_root().get_text(), " 13&<\n");
    EXPECT_EQ(document.get_root().get_children().count(), 2U);
}

TEST(ParseXml, ChildrenByName) {
    const XmlDocument document("<a> <b/><c><b>inside</b></c> <d:b xmlns:d='urn:d'>2</d:b></a>");
    std::vector<std::string> texts;
    for (const XmlElement& child : document.get_root().find_children("b")) {
        texts.push_back(child.get_text());
    }

    EXPECT_EQ(texts, (std::vector<std::string>{"", "2"}));
    EXPECT_EQ(document.get_root().get_children().count(), 3U);
    EXPECT_EQ(document.get_root().get_children().front().get_name(), "b");
    EXPECT_TRUE(document.get_root().find_children("e").empty());
    EXPECT_TRUE(document.get_root().find_children("b").front().get_children().empty());
}

TEST(ParseXml, AnAttributeWithoutNamespaceCountsFirst) {
    const XmlDocument document(std::string("<a xmlns:d='") + namespaces::XMLDA + "' d:b='1' b='2'/>");

    EXPECT_EQ(document.get_root().find_attribute("b"), "2");
}

TEST(ParseXml, NamesInValuesResolveByTheNearestDeclaration) {
    const XmlDocument document("<a xmlns='urn:1' xmlns:p='urn:2'><b xmlns:p='urn:3'><c xmlns=''/></b></a>");
    const XmlElement c = *document.get_root().find_child("b")->find_child("c");

    EXPECT_EQ(document.get_root().get_namespace(), "urn:1");
    EXPECT_EQ(c.get_namespace(), "");
    EXPECT_EQ(c.resolve("p:n").namespace_uri, "urn:3");
    EXPECT_EQ(c.resolve("n").namespace_uri, "");
    EXPECT_EQ(document.get_root().resolve("p:n").namespace_uri, "urn:2");
    EXPECT_EQ(document.get_root().resolve("n").namespace_uri, "urn:1");
    EXPECT_EQ(document.get_root().resolve("q:n").namespace_uri, "");
    EXPECT_EQ(document.get_root().resolve("q:n").name, "n");
}

TEST(ParseXml, AttributesInTheProtocolsNamespace) {
    const XmlDocument document(std::string("<a xmlns:d='") + namespaces::XMLDA + "' d:ItemName='i'/>");

    EXPECT_EQ(document.get_root().find_attribute("ItemName"), "i");
}

TEST(ParseXml, OtherEncodings) {
    const XmlDocument document("<?xml version='1.0' encoding='iso-8859-1'?><a>\xE4</a>");

    EXPECT_EQ(document.get_root().get_text(), "\xC3\xA4");
}

TEST(ParseXml, EncodingsInWhichSignsAreOtherBytes) {
    const std::string utf_7 = "<?xml version='1.0' encoding='UTF-7'?>+ADw-a/+AD4-";
    // The same, of IBM037.
    const std::string ebcdic =
        "\x4C\x6F\xA7\x94\x93\x40\xA5\x85\x99\xA2\x89\x96\x95\x7E\x7F\xF1\x4B\xF0\x7F\x40\x85\x95\x83\x96"
        "\x84\x89\x95\x87\x7E\x7F\xC9\xC2\xD4\xF0\xF3\xF7\x7F\x6F\x6E\x4C\x81\x61\x6E";
    for (const std::string& document : {utf_7, ebcdic}) {
        EXPECT_EQ(XmlDocument(document).get_root().get_name(), "a");
        expect_refusal(document, "an encoding in which '<' may be another byte than in ASCII in line 1",
                       Encodings::WITH_ASCII);
    }
}

TEST(ParseXml, EncodingsWithAscii) {
    for (const char* const encoding : {"utf-8", "US-ASCII", "iso-8859-15", "windows-1252", "cp1252", "koi8-r",
                                       "gb2312", "GBK", "gb18030", "big5", "euc-kr", "Shift_JIS"}) {
        const std::string document = "<?xml version='1.0' encoding='" + std::string(encoding) + "'?><a>b</a>";
        EXPECT_EQ(XmlDocument(document, Encodings::WITH_ASCII).get_root().get_text(), "b") << encoding;
    }
    const std::u16string wide = u"\uFEFF<a>\u00E4</a>";
    const XmlDocument utf_16({reinterpret_cast<const char*>(wide.data()), 2 * wide.size()},
                             Encodings::WITH_ASCII);
    EXPECT_EQ(utf_16.get_root().get_text(), "\xC3\xA4");
}

TEST(ParseXml, RefusesManyNamespacesAtOnePlace) {
    const auto declare = [](int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += " xmlns:p" + std::to_string(i) + "='u'";
        }
        return text;
    };
    const std::string half = declare(128);
    std::string siblings;
    for (int i = 0; i < 10; ++i) {
        siblings += "<b" + half + "/>";
    }
    EXPECT_NO_THROW(XmlDocument("<a" + half + ">" + siblings + "</a>"));
    expect_refusal("<a" + declare(257) + "/>", "too many namespaces in line 1");
    expect_refusal("<a" + half + ">\n<b" + half + ">\n<c xmlns='u'/></b></a>",
                   "too many namespaces in line 3");
}

/// Gives memory so many times, and then no more.
class ScarceMemory : public std::pmr::memory_resource {
public:
    explicit ScarceMemory(int allocations)
        : left_(allocations), original_(std::pmr::set_default_resource(this)) {}
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;
    ~ScarceMemory() override { std::pmr::set_default_resource(original_); }

private:
    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
        if (left_-- <= 0) {
            throw std::bad_alloc();
        }
        return original_->allocate(bytes, alignment);
    }
    void do_deallocate(void* memory, std::size_t bytes, std::size_t alignment) override {
        original_->deallocate(memory, bytes, alignment);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

    int left_;
    memory_resource* original_;
};

TEST(ParseXml, IsWholeOrFailsWhenMemoryIsShort) {
    std::string text = "<a>";
    for (int i = 0; i < 1000; ++i) {
        text += "<b c='1'>d</b>";
    }
    text += "</a>";
    int failures = 0;
    bool is_parsed = false;
    while (!is_parsed) {
        const ScarceMemory memory(failures);
        try {
            const XmlDocument document(text);
            EXPECT_EQ(document.get_root().get_children().count(), 1000U);
            is_parsed = true;
        } catch (const std::bad_alloc&) {
            ++failures;
        }
    }
    EXPECT_GE(failures, 3);
}

TEST(ParseXml, LongTexts) {
    const std::string text(12'000'000, 'x');
    const XmlDocument document("<a b='" + text + "'>" + text + "</a>");

    EXPECT_EQ(document.get_root().get_text(), text);
    EXPECT_EQ(document.get_root().find_attribute("b"), text);
}

TEST(ParseXml, ElementsOutliveAMoveOfTheirDocument) {
    XmlDocument document("<a><b>x</b></a>");
    const XmlElement child = *document.get_root().find_child("b");
    const XmlDocument moved = std::move(document);

    EXPECT_EQ(child.get_text(), "x");
    EXPECT_EQ(moved.get_root().find_child("b")->get_text(), "x");
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
    expect_refusal("<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>", "a document type declaration in line 1");
    expect_refusal("<a>&e;</a>", "Entity 'e' not defined in line 1");
}

TEST(ParseXml, RefusesDeepNesting) {
    EXPECT_NO_THROW(XmlDocument(nest(100)));
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
    const XmlDocument document(writer.get());

    EXPECT_EQ(document.get_root().get_text(), text);
    EXPECT_EQ(document.get_root().find_attribute("b"), text);
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

}  // namespace
}  // namespace xmlda::testing
