#include "support/reply_text.h"
#include "xml/reply/ReplyElement.h"
#include "xml/reply/reply_dom.h"

#include <Poco/DOM/DOMWriter.h>
#include <Poco/DOM/Text.h>

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace kx::information_model::opc {
namespace {

using Poco::XML::Document;
using Poco::XML::Element;
using testing::to_text;

const std::string DECLARATION = R"(<?xml version="1.0" encoding="utf-8"?>)";

std::string write_with_dom_writer(const Document& document) {
    std::ostringstream stream;
    stream << DECLARATION;
    Poco::XML::DOMWriter().writeNode(stream, &document);
    return stream.str();
}

/// Builds the same content twice: as a reply, and of POCO's own nodes.
class Generator {
public:
    explicit Generator(unsigned seed) : random_(seed) {
        const std::string name = create_name();
        auto root = create_element(*reply, name);
        Poco::AutoPtr<Element> plain_root = plain->createElement(name);
        plain->appendChild(plain_root);
        fill(*root, *plain_root, 0);
        reply->appendChild(root);
    }

    Poco::AutoPtr<Document> reply = create_reply_document();
    Poco::AutoPtr<Document> plain = new Document;

private:
    std::size_t pick(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
    }

    std::string create_name() {
        static const std::vector<std::string> NAMES = {
            "a",  "b",   "Items", "soap:Body", "xsi:type", "xmlns", "xmlns:q", "ab",
            "aB", "a-b", "a.b",   "_",         "\xC3\xA4", "a:",    "aa"};
        return NAMES[pick(NAMES.size())];
    }

    std::string create_text() {
        static const std::vector<std::string> PIECES = {"<",
                                                        ">",
                                                        "&",
                                                        "\"",
                                                        "'",
                                                        "\t",
                                                        "\n",
                                                        "\r",
                                                        "]]>",
                                                        " ",
                                                        "x",
                                                        "a long plain text",
                                                        "\x7F",
                                                        "\xC3\xA4",
                                                        "\xE2\x82\xAC",
                                                        "\xF0\x9F\x98\x80",
                                                        "&amp;",
                                                        "<![CDATA[",
                                                        "1234567"};
        std::string text;
        for (std::size_t count = pick(6); count > 0; --count) {
            text += PIECES[pick(PIECES.size())];
        }
        return text;
    }

    void fill(Element& element, Element& plain_element, int depth) {
        for (std::size_t count = pick(6); count > 0; --count) {
            const std::string name = create_name();
            const std::string value = create_text();
            set_attribute(element, name, value);
            plain_element.setAttribute(name, value);
        }
        if (pick(2) == 0) {
            for (std::size_t count = pick(3); count > 0; --count) {
                const std::string text = create_text();
                append_text(element, text);
                Poco::AutoPtr<Poco::XML::Text> node = plain->createTextNode(text);
                plain_element.appendChild(node);
            }
            return;
        }
        for (std::size_t count = depth < 6 ? pick(6) : 0; count > 0; --count) {
            if (pick(3) == 0) {
                append_text_children(element, plain_element);
            }
            element.appendChild(create_child(*reply, plain_element, depth));
        }
    }

    Poco::AutoPtr<Element> create_child(const Document& document, Element& plain_parent, int depth) {
        const std::string name = create_name();
        Poco::AutoPtr<Element> plain_child = plain->createElement(name);
        plain_parent.appendChild(plain_child);
        auto child = create_element(document, name);
        fill(*child, *plain_child, depth + 1);
        return child;
    }

    void append_text_children(Element& element, Element& plain_element) {
        for (std::size_t count = pick(4); count > 0; --count) {
            const std::string name = create_name();
            const std::string text = create_text();
            append_text_element(element, name, text);
            Poco::AutoPtr<Element> plain_child = plain->createElement(name);
            plain_element.appendChild(plain_child);
            if (!text.empty()) {
                Poco::AutoPtr<Poco::XML::Text> node = plain->createTextNode(text);
                plain_child->appendChild(node);
            }
        }
    }

    std::mt19937 random_;
};

TEST(ReplyText, IsWhatDomWriterWrites) {
    for (unsigned seed = 0; seed < 5000; ++seed) {
        const Generator generator(seed);
        const std::string text = to_text(generator.reply);
        ASSERT_EQ(text, write_with_dom_writer(*generator.plain)) << "seed " << seed;
        const auto& reply = static_cast<const ReplyDocument&>(*generator.reply);
        ASSERT_GE(DECLARATION.size() + reply.get_markup_size(), text.size()) << "seed " << seed;
    }
}

TEST(ReplyText, HoldsEachCharacterAsDomWriterWritesIt) {
    for (unsigned byte = 0x20; byte < 0x100; ++byte) {
        const std::string character = byte < 0x80 ? std::string(1, static_cast<char>(byte))
                                                  : std::string{static_cast<char>(0xC0 | (byte >> 6U)),
                                                                static_cast<char>(0x80 | (byte & 0x3FU))};
        auto reply = create_reply_document();
        auto root = create_element(*reply, "r");
        set_attribute(*root, "a", character);
        append_text(*root, character);
        reply->appendChild(root);
        Poco::AutoPtr<Document> plain = new Document;
        Poco::AutoPtr<Element> plain_root = plain->createElement("r");
        plain->appendChild(plain_root);
        plain_root->setAttribute("a", character);
        Poco::AutoPtr<Poco::XML::Text> text = plain->createTextNode(character);
        plain_root->appendChild(text);
        EXPECT_EQ(to_text(reply), write_with_dom_writer(*plain)) << byte;
    }
}

}  // namespace
}  // namespace kx::information_model::opc
