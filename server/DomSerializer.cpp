#include "server/DomSerializer.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/NamedNodeMap.h>
#include <Poco/DOM/Text.h>

#include <algorithm>
#include <array>

namespace kx::information_model::opc {

namespace {

/// What stands for each byte. An empty text: the byte itself. `NOT_COVERED`: no text at all.
using Escapes = std::array<std::string_view, 256>;

constexpr std::string_view NOT_COVERED = "?";

constexpr Escapes create_escapes() {
    Escapes escapes{};
    for (std::size_t byte = 0; byte < 0x20; ++byte) {
        escapes[byte] = NOT_COVERED;
    }
    escapes['\t'] = escapes['\n'] = escapes['\r'] = {};
    escapes['<'] = "&lt;";
    escapes['>'] = "&gt;";
    escapes['&'] = "&amp;";
    escapes['"'] = "&quot;";
    return escapes;
}

constexpr Escapes create_attribute_escapes() {
    Escapes escapes = create_escapes();
    escapes['\t'] = "&#x9;";
    escapes['\n'] = "&#xA;";
    escapes['\r'] = "&#xD;";
    return escapes;
}

constexpr Escapes TEXT_ESCAPES = create_escapes();
constexpr Escapes ATTRIBUTE_ESCAPES = create_attribute_escapes();

}  // namespace

bool DomSerializer::write(const Poco::XML::Element& root) {
    const Poco::XML::Node* node = &root;
    while (true) {
        const Poco::XML::Node* next = nullptr;
        if (node->nodeType() == Poco::XML::Node::ELEMENT_NODE) {
            const auto& element = static_cast<const Poco::XML::Element&>(*node);
            if (!write_start(element)) {
                return false;
            }
            next = element.firstChild();
            if (next == nullptr) {
                write_end(element);
            }
        } else if (node->nodeType() != Poco::XML::Node::TEXT_NODE || !write_text(node->getNodeValue())) {
            return false;
        }
        while (next == nullptr) {
            if (node == &root) {
                return true;
            }
            next = node->nextSibling();
            if (next == nullptr) {
                node = node->parentNode();
                write_end(static_cast<const Poco::XML::Element&>(*node));
            }
        }
        node = next;
    }
}

bool DomSerializer::write_start(const Poco::XML::Element& element) {
    if (!element.namespaceURI().empty()) {
        return false;
    }
    if (start_tag_is_open_) {
        output_ += '>';
    }
    output_ += '<';
    output_ += element.tagName();
    start_tag_is_open_ = true;
    return !element.hasAttributes() || write_attributes(element);
}

bool DomSerializer::write_attributes(const Poco::XML::Element& element) {
    attributes_.clear();
    const Poco::AutoPtr<Poco::XML::NamedNodeMap> map = element.attributes();
    for (const Poco::XML::Node* node = map->item(0); node != nullptr; node = node->nextSibling()) {
        attributes_.push_back(static_cast<const Poco::XML::Attr*>(node));
    }
    std::sort(attributes_.begin(), attributes_.end(),
              [](const auto* left, const auto* right) { return left->name() < right->name(); });
    for (const Poco::XML::Attr* attribute : attributes_) {
        if (!attribute->namespaceURI().empty()) {
            return false;
        }
        output_ += ' ';
        output_ += attribute->name();
        output_ += "=\"";
        if (!write_escaped(attribute->value(), ATTRIBUTE_ESCAPES)) {
            return false;
        }
        output_ += '"';
    }
    return true;
}

void DomSerializer::write_end(const Poco::XML::Element& element) {
    if (start_tag_is_open_) {
        output_ += "/>";
        start_tag_is_open_ = false;
        return;
    }
    output_ += "</";
    output_ += element.tagName();
    output_ += '>';
}

bool DomSerializer::write_text(const std::string& text) {
    if (text.empty()) {
        return true;
    }
    if (start_tag_is_open_) {
        output_ += '>';
        start_tag_is_open_ = false;
    }
    return write_escaped(text, TEXT_ESCAPES);
}

template <class Escapes>
bool DomSerializer::write_escaped(std::string_view text, const Escapes& escapes) {
    std::size_t start = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        const std::string_view escape = escapes[static_cast<unsigned char>(text[position])];
        if (escape.empty()) {
            continue;
        }
        if (escape == NOT_COVERED) {
            return false;
        }
        output_.append(text, start, position - start);
        output_.append(escape);
        start = position + 1;
    }
    output_.append(text, start);
    return true;
}

}  // namespace kx::information_model::opc
