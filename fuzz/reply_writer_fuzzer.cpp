// Replies beside POCO's DOMWriter: an input tells how to build the same content twice, as a reply and of
// POCO's own nodes; what is written must be the same, and what another parser reads must be what was put in.

#include "InputReader.h"
#include "require.h"
#include "server/reply_dom.h"
#include "server/serialize.h"
#include "server/xml_text.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMWriter.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/Text.h>

#include <expat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

namespace kx::fuzz {

namespace {

using namespace information_model::opc;
using Poco::XML::Element;

const std::string DECLARATION = R"(<?xml version="1.0" encoding="utf-8"?>)";
constexpr std::size_t MAXIMUM_DEPTH = 64;

const std::string& take_name(InputReader& input) {
    static const std::array<std::string, 16> NAMES{"a",        "b",
                                                   "Items",    "soap:Body",
                                                   "xsi:type", "xmlns",
                                                   "xmlns:q",  "ab",
                                                   "aB",       "a-b",
                                                   "a.b",      "_",
                                                   "\xC3\xA4", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa",
                                                   "aa",       "xml:lang"};
    return NAMES[input.take_byte() % NAMES.size()];
}

bool is_taken_by_expat(const std::string& xml) {
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate("UTF-8"), XML_ParserFree);
    return XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), 1) == XML_STATUS_OK;
}

std::string to_element(const std::string& text) {
    std::string xml = "<a>";
    for (const char character : text) {
        switch (character) {
            case '<':
                xml += "&lt;";
                break;
            case '&':
                xml += "&amp;";
                break;
            case '>':
                xml += "&gt;";
                break;
            default:
                xml += character;
        }
    }
    return xml + "</a>";
}

/// What becomes of a text, after checking it.
std::string to_plain_text(const std::string& text) {
    const std::string valid = to_valid_xml_text(text);
    require(is_valid_xml_text(text) == is_taken_by_expat(to_element(text)), "XML can carry it, or not", text);
    require(is_valid_xml_text(text) == (valid == text), "only what XML cannot carry is replaced", text);
    require(is_taken_by_expat(to_element(valid)), "XML can carry what was replaced", text);
    require(to_valid_xml_text(valid) == valid, "nothing is replaced twice", text);
    return valid;
}

/// Builds both documents.
class Builder {
public:
    explicit Builder(InputReader& input) : input_(input) {
        const std::string& name = take_name(input_);
        auto root = create_element(*reply, name);
        Poco::AutoPtr<Element> plain_root = plain->createElement(name);
        reply->appendChild(root);
        plain->appendChild(plain_root);
        fill(*root, *plain_root, 1);
    }

    Poco::AutoPtr<Poco::XML::Document> reply = create_reply_document();
    Poco::AutoPtr<Poco::XML::Document> plain = new Poco::XML::Document;

private:
    void fill(Element& element, Element& plain_element, std::size_t depth) {
        for (unsigned count = input_.take_byte() % 8; count > 0; --count) {
            const std::string& name = take_name(input_);
            const std::string value = input_.take_text();
            set_attribute(element, name, value);
            plain_element.setAttribute(name, to_plain_text(value));
        }
        if (input_.take_byte() % 2 == 0) {
            add_texts(element, plain_element);
        } else {
            add_children(element, plain_element, depth);
        }
    }

    void add_texts(Element& element, Element& plain_element) {
        for (unsigned count = input_.take_byte() % 4; count > 0; --count) {
            const std::string value = input_.take_text();
            append_text(element, value);
            Poco::AutoPtr<Poco::XML::Text> text = plain->createTextNode(to_plain_text(value));
            plain_element.appendChild(text);
        }
    }

    void add_children(Element& element, Element& plain_element, std::size_t depth) {
        unsigned count = depth < MAXIMUM_DEPTH ? input_.take_byte() % 8 : 0;
        for (; count > 0 && !input_.is_at_end(); --count) {
            const std::string& name = take_name(input_);
            Poco::AutoPtr<Element> plain_child = plain->createElement(name);
            plain_element.appendChild(plain_child);
            fill(*append_element(element, name), *plain_child, depth + 1);
        }
    }

    InputReader& input_;
};

void check(InputReader input) {
    const Builder builder(input);
    std::ostringstream expected;
    expected << DECLARATION;
    Poco::XML::DOMWriter().writeNode(expected, builder.plain);
    const std::string written = serialize(builder.reply);
    require(written == expected.str(), "a reply is written as DOMWriter writes it",
            written + "\n" + expected.str());
    require(is_taken_by_expat(written), "a reply is well-formed", written);
}

}  // namespace

}  // namespace kx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kx::fuzz::check(kx::fuzz::InputReader({reinterpret_cast<const char*>(data), size}));
    return 0;
}
