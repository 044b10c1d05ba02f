#include "server/ReplyElement.h"

#include "server/markup.h"
#include "server/xml_text.h"

#include <algorithm>
#include <stdexcept>

namespace kx::information_model::opc {

namespace {

// "<name></name>"
constexpr std::size_t TAGS_SIZE = 5;

char* append(char* end, std::string_view text) {
    return std::copy(text.begin(), text.end(), end);
}

/// The markup of what is not plain, with what XML cannot carry replaced.
template <class AppendEscaped>
std::string to_markup(std::string_view text, AppendEscaped append_escaped) {
    std::string markup;
    append_escaped(markup, is_valid_xml_text(text) ? std::string(text) : to_valid_xml_text(text));
    return markup;
}

}  // namespace

ReplyDocument::~ReplyDocument() = default;

ReplyElement::ReplyElement(ReplyDocument& document, const std::string& name)
    : ArenaElement(document, std::string(), std::string(), name) {
    document.markup_size_ += 2 * name.size() + TAGS_SIZE;
}

ReplyElement::~ReplyElement() = default;

char* ReplyElement::allocate(std::size_t size) const {
    ReplyDocument& document = get_reply_document();
    document.markup_size_ += size;
    return static_cast<char*>(document.get_memory().allocate(size, 1));
}

void ReplyElement::set_attribute(std::string_view name, std::string_view value) {
    if (is_plain_markup(value)) {
        set_markup(name, value);
    } else {
        set_markup(name, to_markup(value, append_escaped_attribute));
    }
}

void ReplyElement::set_markup(std::string_view name, std::string_view escaped_value) {
    const std::size_t size = name.size() + escaped_value.size() + 4;
    char* const markup = allocate(size);
    char* end = markup;
    *end++ = ' ';
    const std::string_view own_name(end, name.size());
    end = append(end, name);
    *end++ = '=';
    *end++ = '"';
    end = append(end, escaped_value);
    *end++ = '"';

    Attribute** place = &first_attribute_;
    while (*place != nullptr && (*place)->name < name) {
        place = &(*place)->next;
    }
    if (*place != nullptr && (*place)->name == name) {
        (*place)->markup = {markup, size};
        return;
    }
    void* const memory = get_document().get_memory().allocate(sizeof(Attribute), alignof(Attribute));
    *place = new (memory) Attribute{own_name, {markup, size}, *place};
}

void ReplyElement::append_text(std::string_view text) {
    if (firstChild() != nullptr) {
        throw std::logic_error("An element of a reply has either text or children.");
    }
    std::string escaped;
    if (!is_plain_markup(text)) {
        escaped = to_markup(text, append_escaped_text);
        text = escaped;
    }
    char* const markup = allocate(text_.size() + text.size());
    append(append(markup, text_), text);
    text_ = {markup, text_.size() + text.size()};
}

void ReplyElement::write_attributes(std::string& output) const {
    for (const Attribute* attribute = first_attribute_; attribute != nullptr; attribute = attribute->next) {
        output += attribute->markup;
    }
}

}  // namespace kx::information_model::opc
