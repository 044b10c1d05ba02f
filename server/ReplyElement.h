#pragma once

#include "server/arena_dom.h"

#include <Poco/XML/NamePool.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// The document of a reply: counts the bytes that its elements will take, so that they are written into
/// memory that was reserved once.
class ReplyDocument final : public ArenaDocument {
public:
    using ArenaDocument::ArenaDocument;

    std::size_t get_markup_size() const noexcept { return markup_size_; }

protected:
    ~ReplyDocument() override;

private:
    friend class ReplyElement;
    std::size_t markup_size_ = 0;
};

/// An element of a reply. Its attributes and its text are kept as the markup that they become, escaped and
/// in the order in which they are written: a reply is written once and read by nobody, and nodes of their
/// own would cost more than all else that a service does. POCO's functions therefore see its name and its
/// child elements, but neither attributes nor text; to look at them, write the element.
class ReplyElement final : public ArenaElement {
public:
    ReplyElement(ReplyDocument& document, const std::string& name);

    /// Sets an attribute. Characters that XML cannot carry become U+FFFD.
    void set_attribute(std::string_view name, std::string_view value);

    /// Appends text; characters that XML cannot carry become U+FFFD.
    /// @throws std::logic_error  if the element has children: it has either text or children
    void append_text(std::string_view text);

    /// The markup of the text.
    std::string_view get_text() const noexcept { return text_; }

    /// Appends the markup of all attributes, sorted by name, each with a blank in front.
    void write_attributes(std::string& output) const;

protected:
    ~ReplyElement() override;

private:
    struct Attribute {
        std::string_view name;
        std::string_view markup;  // a blank, the name, and the value in quotes
        Attribute* next;
    };

    ReplyDocument& get_reply_document() const noexcept { return static_cast<ReplyDocument&>(get_document()); }
    char* allocate(std::size_t size) const;
    void set_markup(std::string_view name, std::string_view escaped_value);

    Attribute* first_attribute_ = nullptr;  // sorted by name
    std::string_view text_;
};

}  // namespace kx::information_model::opc
