#include "support/dom_description.h"
#include "xml/request/RequestParser.h"
#include "xml/request/request_dom.h"

#include <Poco/DOM/Element.h>
#include <Poco/Exception.h>
#include <Poco/XML/XMLException.h>

#include <dlfcn.h>
#include <expat.h>

#include <gtest/gtest.h>

#include <time.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <string>
#include <vector>

namespace {

std::atomic<int> expat_calls{0};

}  // namespace

// Stands in front of expat's own function in this program.
extern "C" XML_Status XML_ParseBuffer(XML_Parser parser, int length, int is_final) {
    using Function = XML_Status (*)(XML_Parser, int, int);
    static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "XML_ParseBuffer"));
    ++expat_calls;
    return next(parser, length, is_final);
}

namespace kx::information_model::opc {
namespace {

using testing::describe;
using testing::parse_with_dom_parser;

// The description of what `parse` makes of `xml`, or "refused".
template <class Parse>
std::string try_parse(Parse parse, const std::string& xml) {
    try {
        const Poco::AutoPtr<Poco::XML::Document> document = parse(xml);
        return describe(*document);
    } catch (const std::exception&) {
        return "refused";
    }
}

std::string describe_with_dom_parser(const std::string& xml) {
    return try_parse(parse_with_dom_parser, xml);
}

std::string describe_with_parse_request(const std::string& xml) {
    return try_parse([](const std::string& text) { return parse_request(text); }, xml);
}

// From UTF-8, for code points up to U+FFFF.
std::string to_utf16(const std::string& text, bool little_endian) {
    std::string result;
    const auto add = [&](unsigned code_unit) {
        const auto high = static_cast<char>(code_unit >> 8U);
        const auto low = static_cast<char>(code_unit & 0xFFU);
        result += little_endian ? low : high;
        result += little_endian ? high : low;
    };
    for (std::size_t index = 0; index < text.size();) {
        const auto lead = static_cast<unsigned char>(text[index]);
        const auto next = [&](std::size_t offset) {
            return static_cast<unsigned char>(text.at(index + offset)) & 0x3FU;
        };
        if (lead < 0x80) {
            add(lead);
            index += 1;
        } else if (lead < 0xE0) {
            add((lead & 0x1FU) << 6U | next(1));
            index += 2;
        } else {
            add((lead & 0x0FU) << 12U | next(1) << 6U | next(2));
            index += 3;
        }
    }
    return result;
}

std::string to_utf16_le(const std::string& text) {
    return to_utf16(text, true);
}
std::string to_utf16_be(const std::string& text) {
    return to_utf16(text, false);
}

const std::vector<std::string>& get_contents() {
    static const std::vector<std::string> CONTENTS = {
        "<a/>",
        "<a></a>",
        "<a>text</a>",
        "<a> <b/>\n\t<c/> </a>",
        "<a x='1' y=\"2\"/>",
        "<a x='&lt;&gt;&amp;&apos;&quot;&#10;&#x41;&#xE9;'/>",
        "<a>&lt;&gt;&amp;&apos;&quot;&#10;&#13;&#x20AC;</a>",
        "<a x='a\tb\nc\r\nd\re'/>",
        "<a x='&#9;&#10;&#13;'/>",
        "<a>a\tb\nc\r\nd\re</a>",
        "<a>one<![CDATA[<two>&amp;]]>three<![CDATA[]]><![CDATA[x]]><![CDATA[y]]></a>",
        "<a>one<!-- two -->three<!----><!--> --></a>",
        "<a>one<?two three?>four<?five?></a>",
        "<!--before--><?before it?><a/><!--after--><?after it?>",
        "<a xmlns='urn:default'><b/><c xmlns=''/><d xmlns='urn:other'/></a>",
        "<p:a xmlns:p='urn:p' p:x='1' x='2'><p:b/><q:c xmlns:q='urn:q' q:x='3'/></p:a>",
        "<a xmlns='urn:default' xmlns:p='urn:default' p:x='1' x='2'/>",
        "<a xml:lang='de' xml:space='preserve'> </a>",
        "<a><b><c><d>deep</d></c></b></a>",
        "<a xmlns:p='urn:p'><p:b xmlns:p='urn:q'><p:c/></p:b><p:d/></a>",
        "<a>\xC3\xA4\xC3\xB6</a>",
        "<\xC3\xA4 \xC3\xB6='\xC3\xBC'/>",
        // What is not well-formed.
        "",
        " ",
        "text",
        "<a>",
        "<a></b>",
        "<a/><b/>",
        "<a x='1' x='2'/>",
        "<a xmlns:p='urn:p' xmlns:q='urn:p' p:x='1' q:x='2'/>",
        "<a><b></a></b>",
        "<p:a/>",
        "<a p:x='1'/>",
        "<a>&undefined;</a>",
        "<a>&#0;</a>",
        "<a>\x01</a>",
        "<a>]]></a>",
        "<a x='<'/>",
        "<a x=1/>",
        "<a><!-- -- --></a>",
        "<a/>trailing",
        "<a xmlns:p=''/>",
        "<?xml version='1.0'?><?xml version='1.0'?><a/>",
    };
    return CONTENTS;
}

TEST(ParseRequest, FindsWhatDomParserFindsFromUtf8) {
    for (const std::string& content : get_contents()) {
        for (const std::string& start :
             {std::string(), std::string("\xEF\xBB\xBF"), std::string("<?xml version='1.0'?>"),
              std::string("<?xml version='1.0' encoding='utf-8' standalone='yes'?>\n"),
              std::string("\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8'?>")}) {
            const std::string xml = start + content;
            EXPECT_EQ(describe_with_parse_request(xml), describe_with_dom_parser(xml)) << xml;
        }
    }
}

TEST(ParseRequest, FindsWhatDomParserFindsFromUtf16) {
    for (const std::string& content : get_contents()) {
        for (const std::string start :
             {"", "<?xml version='1.0'?>", "<?xml version='1.0' encoding='UTF-16'?>"}) {
            const std::string utf8 = start + content;
            for (const std::string& xml : {"\xFF\xFE" + to_utf16_le(utf8), "\xFE\xFF" + to_utf16_be(utf8),
                                           to_utf16_le(utf8), to_utf16_be(utf8)}) {
                EXPECT_EQ(describe_with_parse_request(xml), describe_with_dom_parser(xml)) << utf8;
            }
        }
    }
}

TEST(ParseRequest, ReadsUtf16AsTheSameTextInUtf8) {
    const std::string content = "<a x='\xC3\xA4\xE2\x82\xAC'>text<b/></a>";
    const std::string expected = describe_with_parse_request(content);
    EXPECT_NE(expected, "refused");
    EXPECT_EQ(describe_with_parse_request("\xFF\xFE" + to_utf16_le(content)), expected);
    EXPECT_EQ(describe_with_parse_request("\xFE\xFF" + to_utf16_be(content)), expected);
}

TEST(ParseRequest, FindsWhatDomParserFindsFromNamedEncodings) {
    for (const std::string encoding :
         {"ISO-8859-1", "iso-8859-1", "US-ASCII", "ISO-8859-2", "ISO-8859-15", "Latin-9", "windows-1250",
          "windows-1252", "CP1252", "UTF-8", "UTF-16", "UTF-32", "Shift_JIS", "unknown", ""}) {
        for (const std::string content : {"<a>plain</a>", "<a x='\xE4'>\xE4\xA4\x80\x9F</a>", "<\xE4/>"}) {
            const std::string xml = "<?xml version='1.0' encoding='" + encoding + "'?>" + content;
            EXPECT_EQ(describe_with_parse_request(xml), describe_with_dom_parser(xml)) << xml;
        }
    }
}

std::string get_root_text(const std::string& xml) {
    return parse_request(xml)->documentElement()->innerText();
}

TEST(ParseRequest, ConvertsNamedEncodingsToUtf8) {
    EXPECT_EQ(get_root_text("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>"), "\xC3\xA4");
    EXPECT_EQ(get_root_text("<?xml version='1.0' encoding='windows-1252'?><a>\x80</a>"), "\xE2\x82\xAC");
    EXPECT_EQ(get_root_text("<?xml version='1.0' encoding='ISO-8859-15'?><a>\xA4</a>"), "\xE2\x82\xAC");
    EXPECT_EQ(get_root_text("<?xml version='1.0' encoding='US-ASCII'?><a>a</a>"), "a");
    EXPECT_THROW(get_root_text("<?xml version='1.0' encoding='US-ASCII'?><a>\xE4</a>"),
                 Poco::XML::XMLException);
}

TEST(ParseRequest, FindsWhatDomParserFindsFromDamagedTexts) {
    std::mt19937 random(1);
    int parsed = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string xml = get_contents()[random() % get_contents().size()];
        for (auto count = random() % 4; count > 0 && !xml.empty(); --count) {
            const std::size_t position = random() % xml.size();
            switch (random() % 3) {
                case 0:
                    xml[position] = static_cast<char>(random() & 0xFFU);
                    break;
                case 1:
                    xml.erase(position, 1 + random() % 3);
                    break;
                default:
                    xml.insert(position, xml.substr(random() % xml.size(), 1 + random() % 8));
            }
        }
        const std::string expected = describe_with_dom_parser(xml);
        ASSERT_EQ(describe_with_parse_request(xml), expected) << xml;
        parsed += expected == "refused" ? 0 : 1;
    }
    EXPECT_GT(parsed, 2000);
}

TEST(ParseRequest, ThrowsXmlExceptionOnWhatIsNotWellFormed) {
    for (const std::string xml : {"", "text", "<a>", "<a></b>", "<p:a/>", "<a>&undefined;</a>"}) {
        EXPECT_THROW(parse_request(xml), Poco::XML::XMLException) << xml;
    }
}

std::string nest(std::size_t depth, const std::string& attributes = {}) {
    std::string xml;
    for (std::size_t level = 0; level < depth; ++level) {
        xml += "<a" + attributes + ">";
    }
    for (std::size_t level = 0; level < depth; ++level) {
        xml += "</a>";
    }
    return xml;
}

TEST(ParseRequest, TakesElementsNestedToTheLimit) {
    EXPECT_EQ(MAXIMUM_DEPTH, 128U);
    EXPECT_EQ(describe_with_parse_request(nest(128)), describe_with_dom_parser(nest(128)));
    EXPECT_NO_THROW(parse_request("<r>" + nest(127) + nest(127) + "</r>"));
}

TEST(ParseRequest, RefusesElementsNestedDeeper) {
    EXPECT_THROW(parse_request(nest(129)), RequestLimitException);
    EXPECT_THROW(parse_request(nest(100000)), RequestLimitException);
    EXPECT_THROW(parse_request(nest(100000, " xmlns:p='urn:p' p:x='1'")), RequestLimitException);
    std::string unfinished;
    for (int level = 0; level < 100000; ++level) {
        unfinished += "<a>";
    }
    EXPECT_THROW(parse_request(unfinished), RequestLimitException);
}

TEST(ParseRequest, TakesElementsToTheLimit) {
    EXPECT_EQ(MAXIMUM_ELEMENT_COUNT, 8388608U);
    const std::string xml = "<?p?><a x='1' y='2'>text<b/>text<!--c-->te<![CDATA[section]]>xt<b/></a><!--c-->";
    EXPECT_NO_THROW(parse_request(xml, 3));
    for (std::size_t limit = 0; limit < 3; ++limit) {
        EXPECT_THROW(parse_request(xml, limit), RequestLimitException) << limit;
    }
}

const std::vector<std::string>& get_document_types() {
    static const std::vector<std::string> DOCUMENT_TYPES = {
        "<!DOCTYPE a>",
        "<!DOCTYPE a []>",
        "<!DOCTYPE a SYSTEM 'file:///etc/passwd'>",
        "<!DOCTYPE a PUBLIC 'p' 's'>",
        "<!DOCTYPE a [<!ENTITY x 'y'>]>",
        "<!DOCTYPE a [<!ENTITY % x SYSTEM 'http://127.0.0.1:1/'> %x;]>",
        "<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a x CDATA 'default'>]>",
    };
    return DOCUMENT_TYPES;
}

// Each has been a way past a check that looked for the declaration in the text.
TEST(ParseRequest, RefusesDocumentTypes) {
    for (const std::string& document_type : get_document_types()) {
        for (const std::string start :
             {"", "\n", " ", "<?xml version='1.0'?>", "<!---->", "<!--> -->", "<!---> -->", "<?p?>",
              "<?p ?>>?>", "<?xml version='1.0'?>\n<!-- <a> -->"}) {
            const std::string utf8 = start + document_type + "<a/>";
            for (const std::string& xml : {utf8, "\xEF\xBB\xBF" + utf8, to_utf16_le(utf8), to_utf16_be(utf8),
                                           "\xFF\xFE" + to_utf16_le(utf8), "\xFE\xFF" + to_utf16_be(utf8)}) {
                if (describe_with_dom_parser(xml) != "refused") {
                    EXPECT_THROW(parse_request(xml), RequestLimitException) << utf8;
                }
            }
        }
    }
}

TEST(ParseRequest, ExpandsNoEntityOfADocumentType) {
    std::string entities = "<!ENTITY e0 'x'>";
    for (int number = 1; number < 24000; ++number) {
        entities += "<!ENTITY e" + std::to_string(number) + " '&e" + std::to_string(number - 1) + ";'>";
    }
    EXPECT_THROW(parse_request("<!DOCTYPE a [" + entities + "]><a>&e23999;</a>"), RequestLimitException);

    std::string powers = "<!ENTITY e0 'xxxxxxxxxx'>";
    for (int number = 1; number < 60; ++number) {
        const std::string reference = "&e" + std::to_string(number - 1) + ";";
        powers += "<!ENTITY e" + std::to_string(number) + " '" + reference + reference + "'>";
    }
    EXPECT_THROW(parse_request("<!DOCTYPE a [" + powers + "]><a>&e59;</a>"), RequestLimitException);
}

std::string create_names(int count) {
    std::string xml = "<a>";
    for (int number = 0; number < count; ++number) {
        xml += "<n" + std::to_string(number) + " a" + std::to_string(number) + "='1'/>";
    }
    return xml + "</a>";
}

TEST(ParseRequest, TakesMoreNamesThanRequestsHave) {
    EXPECT_EQ(describe_with_parse_request(create_names(50)), describe_with_dom_parser(create_names(50)));
}

TEST(ParseRequest, RefusesMoreNamesThanThePoolHolds) {
    EXPECT_THROW(parse_request(create_names(1000)), Poco::PoolOverflowException);
}

// Expat begins a token again with each piece that it gets, so pieces would make a large one cost its square.
TEST(ParseRequest, GivesExpatTheWholeBodyAtOnce) {
    const std::string xml = "<a x='" + std::string(std::size_t{1} << 20U, 'x') + "'/>";
    const int before = expat_calls;
    parse_request(xml);
    EXPECT_EQ(expat_calls - before, 1);
}

TEST(ParseRequest, FreesATextThatNobodyNeeds) {
    std::string text = "<a>" + std::string(100'000, 'x') + "</a>";
    const std::string content = parse_and_free_request(text)->documentElement()->innerText();
    EXPECT_EQ(content, std::string(100'000, 'x'));
    EXPECT_EQ(text, "");
    EXPECT_EQ(text.capacity(), std::string().capacity());
}

TEST(ParseRequest, FindsTheSameInATextThatItFrees) {
    const auto parse_copy = [](std::string text) { return parse_and_free_request(text); };
    for (const std::string xml :
         {"", "<a", "<a>", "<a/>", "<!DOCTYPE a><a/>", "<p:a xmlns:p='urn:p' x='1'>y</p:a>"}) {
        EXPECT_EQ(try_parse(parse_copy, xml), describe_with_parse_request(xml)) << xml;
    }
}

TEST(ParseRequest, TakesLargeTokens) {
    const std::string large(std::size_t{8} << 20U, 'x');
    const auto document = parse_request("<a x='" + large + "'/>");
    EXPECT_EQ(find_attribute_text(*document->documentElement(), "", "x"), large);
    EXPECT_EQ(parse_request("<a><![CDATA[" + large + "]]></a>")->documentElement()->innerText(), large);
    EXPECT_EQ(parse_request("<a><!--" + large + "-->x</a>")->documentElement()->innerText(), "x");
}

TEST(ParseRequest, MakesElementsOnly) {
    const auto document = parse_request("<?p?><!--c--><a>x<!--c--><b/>y<?p?><![CDATA[z]]></a><!--c-->");
    const auto* const root = document->documentElement();
    EXPECT_EQ(document->firstChild(), root);
    EXPECT_EQ(root->nextSibling(), nullptr);
    EXPECT_EQ(root->firstChild()->nodeName(), "b");
    EXPECT_EQ(root->firstChild()->nextSibling(), nullptr);
    EXPECT_EQ(root->innerText(), "xyz");
}

std::string repeat(const std::string& text, std::size_t count) {
    std::string texts;
    for (; count > 0; --count) {
        texts += text;
    }
    return texts;
}

/// An element whose prefix "p" means a namespace with a name of `size` letters.
std::string create_namespace(std::size_t size, const std::string& attributes, const std::string& content) {
    return "<a xmlns:p='" + std::string(size, 'n') + "'" + attributes + ">" + content + "</a>";
}

// Expat copies the name for each attribute, a handler of ours for each element.
TEST(ParseRequest, RefusesLongNamesOfNamespaces) {
    EXPECT_EQ(MAXIMUM_NAMESPACE_SIZE, 1024U);
    const std::string longest = create_namespace(1024, " p:x='1'", "<p:b/>");
    EXPECT_EQ(describe_with_parse_request(longest), describe_with_dom_parser(longest));
    EXPECT_THROW(parse_request(create_namespace(1025, "", "")), RequestLimitException);
    EXPECT_THROW(parse_request("<a xmlns='" + std::string(1025, 'n') + "'/>"), RequestLimitException);
    EXPECT_THROW(parse_request(create_namespace(500'000, "", repeat("<p:b/>", 80'000))),
                 RequestLimitException);
    EXPECT_THROW(parse_request(create_namespace(500'000, "", repeat("<b p:c=''/>", 40'000))),
                 RequestLimitException);
}

// A quarter of a name for each attribute is enough to make expat take many times the text, before it calls
// the element's handler.
TEST(ParseRequest, RefusesWhatExpatTakesMuchMemoryFor) {
    std::string attributes;
    for (int number = 0; number < 15'000; ++number) {
        attributes += " p:a" + std::to_string(number) + "=''";
    }
    EXPECT_THROW(parse_request(create_namespace(150'000, attributes, "")), RequestLimitException);
    try {
        parse_request(create_namespace(1000, attributes, ""));
        FAIL() << "accepted";
    } catch (const RequestLimitException& error) {
        EXPECT_STREQ(error.what(), "parsing takes too much memory");
    }
}

/// Processor time of this thread, in seconds.
template <class Action>
double measure(Action action) {
    const auto get_time = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double start = get_time();
    action();
    return get_time() - start;
}

/// Eight times the text may take twenty times the time, if it takes any to speak of.
template <class Create>
void expect_linear(Create create) {
    const std::string small = create(10'000);
    const std::string large = create(80'000);
    const double time = measure([&] { parse_request(small); });
    EXPECT_LT(measure([&] { parse_request(large); }), std::max(20 * time, 0.05));
}

TEST(ParseRequest, TakesTimeInProportionToTheText) {
    expect_linear([](std::size_t count) { return create_namespace(1024, "", repeat("<p:b/>", count)); });
    expect_linear([](std::size_t count) { return create_namespace(1024, "", repeat("<b p:c=''/>", count)); });
    expect_linear(
        [](std::size_t count) { return create_namespace(10, "", repeat("<p:b xmlns:p='q'/>", count)); });
    expect_linear(
        [](std::size_t count) { return "<a>" + repeat("<!----><?p?><![CDATA[x]]>", count) + "</a>"; });
    expect_linear([](std::size_t count) { return repeat("<!---->", count) + "<a/>"; });
    expect_linear([](std::size_t count) { return "<a/>" + repeat("<?p?>", count); });
    expect_linear([](std::size_t count) { return "<a>" + repeat("&lt;\r\n", count) + "</a>"; });
}

}  // namespace
}  // namespace kx::information_model::opc
