#include "server/DomSerializer.h"
#include "server/reply_dom.h"
#include "server/serialize.h"

#include <Poco/DOM/Comment.h>
#include <Poco/DOM/DOMWriter.h>
#include <Poco/DOM/Text.h>
#include <Poco/Exception.h>

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace kx::information_model::opc {
namespace {

using Poco::XML::Document;
using Poco::XML::Element;

std::string write_with_dom_writer(const Document& document) {
    std::ostringstream stream;
    stream << R"(<?xml version="1.0" encoding="utf-8"?>)";
    Poco::XML::DOMWriter().writeNode(stream, &document);
    return stream.str();
}

class Generator {
public:
    explicit Generator(unsigned seed) : random_(seed) {}

    Poco::AutoPtr<Document> create_document() {
        auto document = create_reply_document();
        auto root = create_element(*document, create_name());
        document->appendChild(root);
        fill(*root, 0);
        return document;
    }

private:
    std::size_t pick(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_); }

    std::string create_name() {
        static const std::vector<std::string> NAMES = {"a", "b", "Items", "soap:Body", "xsi:type", "xmlns",
                                                       "xmlns:q", "ab", "aB", "a-b", "a.b", "_", "\xC3\xA4"};
        return NAMES[pick(NAMES.size())];
    }

    std::string create_text() {
        static const std::vector<std::string> PIECES = {"<", ">", "&", "\"", "'", "\t", "\n", "\r", "]]>", " ", "x",
                                                        "plain text", "\x7F", "\xC3\xA4", "\xE2\x82\xAC",
                                                        "\xF0\x9F\x98\x80", "&amp;", "<![CDATA["};
        std::string text;
        for (std::size_t count = pick(6); count > 0; --count) {
            text += PIECES[pick(PIECES.size())];
        }
        return text;
    }

    void fill(Element& element, int depth) {
        for (std::size_t count = pick(5); count > 0; --count) {
            set_attribute(element, create_name(), create_text());
        }
        for (std::size_t count = depth < 6 ? pick(4) : 0; count > 0; --count) {
            if (pick(2) == 0) {
                append_text(element, create_text());
            } else {
                fill(*append_element(element, create_name()), depth + 1);
            }
        }
    }

    std::mt19937 random_;
};

TEST(DomSerializer, WritesWhatDomWriterWrites) {
    for (unsigned seed = 0; seed < 3000; ++seed) {
        const auto document = Generator(seed).create_document();
        std::string text = R"(<?xml version="1.0" encoding="utf-8"?>)";
        ASSERT_TRUE(DomSerializer(text).write(*document->documentElement())) << "seed " << seed;
        ASSERT_EQ(text, write_with_dom_writer(*document)) << "seed " << seed;
    }
}

TEST(DomSerializer, DoesNotCoverWhatRepliesDoNotHold) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    document->appendChild(root);
    std::string text;
    EXPECT_TRUE(DomSerializer(text).write(*root));

    Poco::AutoPtr<Poco::XML::Comment> comment = document->createComment("c");
    root->appendChild(comment);
    EXPECT_FALSE(DomSerializer(text).write(*root));
    root->removeChild(comment);

    Poco::AutoPtr<Element> qualified = document->createElementNS("urn:x", "q:child");
    root->appendChild(qualified);
    EXPECT_FALSE(DomSerializer(text).write(*root));
    root->removeChild(qualified);

    root->setAttributeNS("urn:x", "q:attribute", "v");
    EXPECT_FALSE(DomSerializer(text).write(*root));
}

TEST(DomSerializer, DoesNotCoverControlCharacters) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    document->appendChild(root);
    Poco::AutoPtr<Poco::XML::Text> control = document->createTextNode("\x01");
    root->appendChild(control);
    std::string text;
    EXPECT_FALSE(DomSerializer(text).write(*root));
}

TEST(Serialize, LeavesToDomWriterWhatIsNotCovered) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    document->appendChild(root);
    Poco::AutoPtr<Poco::XML::Comment> comment = document->createComment("c");
    root->appendChild(comment);
    EXPECT_EQ(serialize(document), R"(<?xml version="1.0" encoding="utf-8"?><root><!--c--></root>)");
    EXPECT_EQ(serialize(document), write_with_dom_writer(*document));
}

TEST(Serialize, WritesADocumentThatIsMoreThanItsRoot) {
    auto document = create_reply_document();
    Poco::AutoPtr<Poco::XML::Comment> comment = document->createComment("c");
    document->appendChild(comment);
    document->appendChild(create_element(*document, "root"));
    EXPECT_EQ(serialize(document), write_with_dom_writer(*document));
}

TEST(Serialize, RefusesNull) { EXPECT_THROW(serialize(nullptr), Poco::NullPointerException); }

}  // namespace
}  // namespace kx::information_model::opc
