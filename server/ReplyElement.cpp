#include "server/ReplyElement.h"

#include "server/ReplyWriter.h"
#include "server/markup.h"
#include "server/xml_text.h"

#include <algorithm>
#include <new>
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

/// Calls `use` with the markup of a text, which lives no longer than the call.
template <class Use>
void use_text_markup(std::string_view text, Use use) {
    if (is_plain_markup(text)) {
        use(text);
    } else {
        use(std::string_view(to_markup(text, append_escaped_text)));
    }
}

}  // namespace

ReplyDocument::~ReplyDocument() = default;

Poco::AutoPtr<ReplyElement> ReplyElement::create(ReplyDocument& document, const std::string& name) {
    std::pmr::memory_resource& memory =
        document.open_lists_ == 0 ? document.get_memory() : document.get_passing_memory();
    return new (memory) ReplyElement(document, memory, name);
}

ReplyElement::ReplyElement(ReplyDocument& document, std::pmr::memory_resource& memory,
                           const std::string& name)
    : ArenaElement(document, std::string(), std::string(), name), shared_(document), memory_(memory) {
    shared_.count(2 * name.size() + TAGS_SIZE);
    shared_.passing_elements_ += is_passing() ? 1 : 0;
}

ReplyElement::~ReplyElement() {
    shared_.passing_elements_ -= is_passing() ? 1 : 0;
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
    shared_.count(size);
    void* const place = memory_.allocate(sizeof(Attribute) + size, alignof(Attribute));
    char* const markup = static_cast<char*>(place) + sizeof(Attribute);
    char* end = markup;
    *end++ = ' ';
    const std::string_view own_name(end, name.size());
    end = append(end, name);
    *end++ = '=';
    *end++ = '"';
    end = append(end, escaped_value);
    *end++ = '"';

    Attribute** position = &first_attribute_;
    while (*position != nullptr && (*position)->name < name) {
        position = &(*position)->next;
    }
    if (*position != nullptr && (*position)->name == name) {
        (*position)->markup = {markup, size};
        return;
    }
    *position = new (place) Attribute{own_name, {markup, size}, *position};
}

void ReplyElement::append_text(std::string_view text) {
    require(firstChild() == nullptr && list_ == nullptr);
    use_text_markup(text, [this](std::string_view markup) {
        shared_.count(markup.size());
        auto* const place = static_cast<char*>(memory_.allocate(text_.size() + markup.size(), 1));
        append(append(place, text_), markup);
        text_ = {place, text_.size() + markup.size()};
    });
}

void ReplyElement::append_text_child(std::string_view name, std::string_view text) {
    require(text_.empty() && firstChild() == nullptr);
    std::string& output = get_list().get_end();
    const std::size_t start = output.size();
    output.append(1, '<').append(name);
    if (text.empty()) {
        output += "/>";
    } else {
        output += '>';
        use_text_markup(text, [&](std::string_view markup) { output += markup; });
        output.append("</").append(name).append(1, '>');
    }
    shared_.count(output.size() - start);
}

Poco::XML::Node* ReplyElement::appendChild(Poco::XML::Node* child) {
    if (!is_open_list_) {
        return ArenaElement::appendChild(child);
    }
    ReplyWriter(get_list()).write(static_cast<const ReplyElement&>(*child));
    return child;
}

void ReplyElement::open_list() {
    require(text_.empty() && firstChild() == nullptr && !is_open_list_);
    ++shared_.open_lists_;
    is_open_list_ = true;
}

void ReplyElement::close_list() noexcept {
    --shared_.open_lists_;
    is_open_list_ = false;
}

bool ReplyElement::is_empty() const noexcept {
    return text_.empty() && (list_ == nullptr || list_->is_empty()) && firstChild() == nullptr;
}

void ReplyElement::write_attributes(std::string& output) const {
    for (const Attribute* attribute = first_attribute_; attribute != nullptr; attribute = attribute->next) {
        output += attribute->markup;
    }
}

void ReplyElement::write_content(MarkupRope& output) const {
    if (!text_.empty()) {
        output.append(text_);
    }
    if (list_ != nullptr) {
        output.append(*list_);
    }
}

MarkupRope& ReplyElement::get_list() {
    if (list_ == nullptr) {
        list_ = std::make_unique<MarkupRope>();
    }
    return *list_;
}

void ReplyElement::require(bool condition) const {
    if (!condition) {
        throw std::logic_error("An element of a reply has either text or children, those of a list first.");
    }
}

}  // namespace kx::information_model::opc
