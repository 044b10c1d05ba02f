#include "xml/reply/ReplyElement.h"

#include "xml/reply/markup.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

namespace kx::information_model::opc {

namespace {

// "<name></name>"
constexpr std::size_t TAGS_SIZE = 5;

// More elements are seldom under way at a time.
constexpr std::size_t MAXIMUM_SPARES = 8;

const std::string DECLARATION = R"(<?xml version="1.0" encoding="utf-8"?>)";

char* append(char* end, std::string_view text) {
    return std::copy(text.begin(), text.end(), end);
}

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::logic_error(what);
    }
}

[[noreturn]] void refuse_change() {
    throw std::logic_error("A reply is only appended to.");
}

/// @throws std::logic_error  if it is no open element of `document`
ReplyElement& as_open_element(Poco::XML::Node* node, const Poco::XML::Document* document) {
    require(node != nullptr && typeid(*node) == typeid(ReplyElement), "A reply has elements of its own.");
    auto& element = static_cast<ReplyElement&>(*node);
    require(element.ownerDocument() == document, "An element belongs to one reply.");
    require(element.is_open(), "An element of a reply is appended once.");
    return element;
}

}  // namespace

ReplyDocument::ReplyDocument(Poco::XML::NamePool& names) : Document(&names) {
    suspendEvents();
}

ReplyDocument::~ReplyDocument() = default;

Poco::XML::Node* ReplyDocument::appendChild(Poco::XML::Node* root) {
    require(text_.is_empty(), "A reply has one root element.");
    ReplyElement& element = as_open_element(root, this);
    text_.append(DECLARATION);
    element.write(text_);
    return Document::insertBefore(root, nullptr);
}

const Rope& ReplyDocument::get_text() const {
    require(!text_.is_empty(), "A reply has a root element.");
    return text_;
}

Poco::XML::Node* ReplyDocument::insertBefore(Poco::XML::Node* /*child*/, Poco::XML::Node* /*next*/) {
    refuse_change();
}

Poco::XML::Node* ReplyDocument::replaceChild(Poco::XML::Node* /*child*/, Poco::XML::Node* /*old*/) {
    refuse_change();
}

Poco::XML::Node* ReplyDocument::removeChild(Poco::XML::Node* /*child*/) {
    refuse_change();
}

ReplyMemory::ReplyMemory() {
    spare_contents_.reserve(MAXIMUM_SPARES);
    spare_places_.reserve(MAXIMUM_SPARES);
}

ReplyMemory::~ReplyMemory() {
    for (void* const place : spare_places_) {
        ::operator delete(place);
    }
}

void* ReplyElement::operator new(std::size_t size, ReplyDocument& document) {
    auto& spare = document.spare_places_;
    if (spare.empty()) {
        return ::operator new(size);
    }
    void* const place = spare.back();
    spare.pop_back();
    return place;
}

void ReplyElement::operator delete(void* place, ReplyDocument& /*document*/) noexcept {
    ::operator delete(place);
}

void ReplyElement::operator delete(ReplyElement* element, std::destroying_delete_t /*tag*/) noexcept {
    auto& spare = element->shared_.spare_places_;
    element->~ReplyElement();
    if (spare.size() == MAXIMUM_SPARES) {
        ::operator delete(static_cast<void*>(element));
    } else {
        spare.push_back(element);
    }
}

ReplyElement::ReplyElement(ReplyDocument& document, const std::string& name)
    : Element(&document, std::string(), std::string(), name), shared_(document) {
    shared_.count(2 * name.size() + TAGS_SIZE);
    auto& spare = shared_.spare_contents_;
    if (spare.empty()) {
        content_.reset(new ReplyContent);
    } else {
        content_ = std::move(spare.back());
        spare.pop_back();
    }
}

ReplyElement::~ReplyElement() = default;

void ReplyElement::set_attribute(std::string_view name, std::string_view value) {
    ReplyContent& content = get_content();
    const std::string_view escaped = escape_attribute(value, shared_.buffer_);
    const ReplyContent::Attribute attribute{name.size(), name.size() + escaped.size() + 4};
    shared_.count(attribute.size);

    std::string& markup = content.attributes;
    std::size_t start = 0;
    auto place = content.sizes.begin();
    const auto compare = [&] { return name.compare({markup.data() + start + 1, place->name_size}); };
    while (place != content.sizes.end() && compare() > 0) {
        start += place->size;
        ++place;
    }
    if (place != content.sizes.end() && compare() == 0) {
        markup.replace(start, place->size, attribute.size, ' ');
        *place = attribute;
    } else {
        content.sizes.insert(place, attribute);
        markup.insert(start, attribute.size, ' ');
    }
    char* end = append(markup.data() + start + 1, name);
    end = append(end, "=\"");
    end = append(end, escaped);
    *end = '"';
}

void ReplyElement::append_text(std::string_view text) {
    ReplyContent& content = get_content();
    require(content.has_text || content.text.is_empty(),
            "An element of a reply has either text or children.");
    if (text.empty()) {
        return;
    }
    const std::string_view escaped = escape_text(text, shared_.buffer_);
    shared_.count(escaped.size());
    content.text.append(escaped);
    content.has_text = true;
}

void ReplyElement::append_text_child(std::string_view name, std::string_view text) {
    ReplyContent& content = get_content_for_children();
    std::string& output = content.text.get_end();
    const std::size_t start = output.size();
    output.append(1, '<').append(name);
    if (text.empty()) {
        output += "/>";
    } else {
        output += '>';
        output += escape_text(text, shared_.buffer_);
        output.append("</").append(name).append(1, '>');
    }
    shared_.count(output.size() - start);
}

Poco::XML::Node* ReplyElement::appendChild(Poco::XML::Node* child) {
    ReplyContent& content = get_content_for_children();
    require(child != this, "An element of a reply cannot be its own child.");
    as_open_element(child, ownerDocument()).write(content.text);
    return child;
}

void ReplyElement::write(Rope& output) {
    ReplyContent& content = get_content();
    require(!Element::hasAttributes() && firstChild() == nullptr,
            "An element of a reply gets its attributes by set_attribute.");
    require(!content.is_broken, "An element of a reply holds a child that has not ended.");
    const std::string& name = tagName();
    std::string& start = output.get_end();
    start.append(1, '<').append(name).append(content.attributes);
    if (content.text.is_empty()) {
        start += "/>";
    } else {
        start += '>';
        output.append(std::move(content.text));
        output.get_end().append("</").append(name).append(1, '>');
    }
    close();
}

Poco::XML::Node* ReplyElement::insertBefore(Poco::XML::Node* /*child*/, Poco::XML::Node* /*next*/) {
    refuse_change();
}

Poco::XML::Node* ReplyElement::replaceChild(Poco::XML::Node* /*child*/, Poco::XML::Node* /*old*/) {
    refuse_change();
}

Poco::XML::Node* ReplyElement::removeChild(Poco::XML::Node* /*child*/) {
    refuse_change();
}

Poco::XML::Node* ReplyElement::copyNode(bool /*deep*/, Poco::XML::Document* /*document*/) const {
    throw std::logic_error("An element of a reply cannot be copied.");
}

ReplyContent& ReplyElement::get_content_for_children() const {
    ReplyContent& content = get_content();
    require(!content.has_text, "An element of a reply has either text or children.");
    return content;
}

ReplyContent& ReplyElement::get_content() const {
    require(is_open(), "An element of a reply is complete when it is appended.");
    return *content_;
}

void ReplyElement::close() noexcept {
    auto& spare = shared_.spare_contents_;
    if (spare.size() == MAXIMUM_SPARES) {
        content_.reset();
        return;
    }
    content_->attributes.clear();
    content_->sizes.clear();
    content_->text.clear();
    content_->has_text = false;
    content_->is_broken = false;
    spare.push_back(std::move(content_));
}

}  // namespace kx::information_model::opc
