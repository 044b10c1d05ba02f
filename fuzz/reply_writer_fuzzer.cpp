// Replies beside POCO's DOMWriter: an input tells how to build the same content twice, as a reply and of
// POCO's own nodes; what is written must be the same, and what another parser reads must be what was put in.

#include "InputReader.h"
#include "require.h"
#include "support/xml_characters.h"
#include "xml/reply/ChildWriter.h"
#include "xml/reply/reply_dom.h"

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
#include <stdexcept>
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

/// What becomes of a text, after checking that it has to.
std::string to_plain_text(const std::string& text) {
    const std::string valid = information_model::opc::testing::replace_slowly(text);
    require((valid == text) == is_taken_by_expat(to_element(text)), "what XML can carry stays", text);
    require(is_taken_by_expat(to_element(valid)), "XML can carry what was replaced", text);
    return valid;
}

/// Builds both documents.
class Builder {
public:
    explicit Builder(InputReader& input) : input_(input) {
        const std::string& name = take_name(input_);
        auto root = create_element(*reply, name);
        Poco::AutoPtr<Element> plain_root = plain->createElement(name);
        plain->appendChild(plain_root);
        fill(*root, *plain_root, 1);
        reply->appendChild(root);
    }

    Poco::AutoPtr<Poco::XML::Document> reply = create_reply_document();
    Poco::AutoPtr<Poco::XML::Document> plain = new Poco::XML::Document;

private:
    /// What an element has already, which decides what may still come.
    struct Content {
        bool text = false;
        bool children = false;
    };

    void fill(Element& element, Element& plain_element, std::size_t depth) {
        Content content;
        for (unsigned count = input_.take_byte() % 8; count > 0 && !input_.is_at_end(); --count) {
            add(element, plain_element, content, depth);
        }
    }

    void add(Element& element, Element& plain_element, Content& content, std::size_t depth) {
        switch (input_.take_byte() % 8) {
            case 0:
                add_text(element, plain_element, content);
                break;
            case 1:
                add_text_element(element, plain_element, content);
                break;
            case 2:
                add_to_closed(element, content);
                break;
            case 3:
                add_written_child(element, plain_element, content);
                break;
            case 4:
                add_child(element, plain_element, content, depth);
                break;
            default:
                add_attribute(element, plain_element);
        }
    }

    void add_attribute(Element& element, Element& plain_element) {
        const std::string& name = take_name(input_);
        const std::string value = input_.take_text();
        set_attribute(element, name, value);
        plain_element.setAttribute(name, to_plain_text(value));
    }

    /// Runs `action` if it is allowed, and otherwise checks that it refuses.
    template <class Action>
    bool attempt(bool is_allowed, Action action) {
        try {
            action();
        } catch (const std::logic_error&) {
            require(!is_allowed, "what is allowed is done");
            return false;
        }
        require(is_allowed, "what is not allowed is refused");
        return true;
    }

    void add_text(Element& element, Element& plain_element, Content& content) {
        const std::string value = input_.take_text();
        if (attempt(!content.children, [&] { append_text(element, value); })) {
            append_plain_text(plain_element, value);
            content.text = content.text || !value.empty();
        }
    }

    void add_text_element(Element& element, Element& plain_element, Content& content) {
        const std::string& name = take_name(input_);
        const std::string value = input_.take_text();
        if (attempt(!content.text, [&] { append_text_element(element, name, value); })) {
            append_plain_text(*append_plain_element(plain_element, name), value);
            content.children = true;
        }
    }

    /// What is appended does not change any more, nor what has text.
    void add_to_closed(Element& element, const Content& content) {
        auto parent = create_element(*reply, take_name(input_));
        auto child = create_element(*reply, take_name(input_));
        parent->appendChild(child);
        attempt(false, [&] { set_attribute(*child, "a", "b"); });
        attempt(false, [&] { append_text(*child, "text"); });
        attempt(false, [&] { element.appendChild(child); });
        if (content.text) {
            attempt(false, [&] { element.appendChild(parent); });
        }
    }

    void add_child(Element& element, Element& plain_element, Content& content, std::size_t depth) {
        if (!content.text && depth < MAXIMUM_DEPTH) {
            element.appendChild(create_child(plain_element, depth));
            content.children = true;
        }
    }

    /// A child that is written in place, and perhaps one in it.
    void add_written_child(Element& element, Element& plain_element, Content& content) {
        attempt(!content.text, [&] { const ChildWriter writer(element); });
        if (content.text) {
            return;
        }
        content.children = true;
        ChildWriter writer(element);
        const std::string& name = take_name(input_);
        const std::string attribute = input_.take_text();
        const std::string text = input_.take_text();
        auto plain_child = append_plain_element(plain_element, name);
        writer.begin(name);
        writer.set_attribute("a", attribute);
        writer.set_attribute("b", text);
        plain_child->setAttribute("a", to_plain_text(attribute));
        plain_child->setAttribute("b", to_plain_text(text));
        if (input_.take_byte() % 2 == 0) {
            writer.append_text(text);
            append_plain_text(*plain_child, text);
        } else {
            writer.begin("inner");
            writer.append_text_element(name, text);
            writer.end("inner");
            append_plain_text(*append_plain_element(*append_plain_element(*plain_child, "inner"), name),
                              text);
        }
        writer.end(name);
    }

    Poco::AutoPtr<Element> create_child(Element& plain_parent, std::size_t depth) {
        const std::string& name = take_name(input_);
        auto child = create_element(*reply, name);
        fill(*child, *append_plain_element(plain_parent, name), depth + 1);
        return child;
    }

    Poco::AutoPtr<Element> append_plain_element(Element& plain_parent, const std::string& name) {
        Poco::AutoPtr<Element> child = plain->createElement(name);
        plain_parent.appendChild(child);
        return child;
    }

    void append_plain_text(Element& plain_element, const std::string& value) {
        if (!value.empty()) {
            Poco::AutoPtr<Poco::XML::Text> text = plain->createTextNode(to_plain_text(value));
            plain_element.appendChild(text);
        }
    }

    InputReader& input_;
};

void check(InputReader input) {
    const Builder builder(input);
    std::ostringstream expected;
    expected << DECLARATION;
    Poco::XML::DOMWriter().writeNode(expected, builder.plain);
    const std::string written = get_reply_text(builder.reply).to_string();
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
