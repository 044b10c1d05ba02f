#pragma once

#include "xml/reply/ReplyElement.h"

#include <Poco/DOM/Element.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace kx::information_model::opc {

/// Writes children of an element of a reply straight into it as markup, from front to back, without making
/// elements of them. For what a reply holds by the thousand: an element costs several times what its markup
/// does.
///
/// Lives no longer than the parent is open, and nothing else changes the parent meanwhile. A parent whose
/// writer is destroyed before it has ended what it began, as by an exception, cannot be appended any more.
///
/// Each function throws `ReplyLimitException` once the reply is too long, or all replies of the process are.
class ChildWriter {
public:
    /// @throws std::bad_cast     if the parent is not made by `create_element`
    /// @throws std::logic_error  if it has text or is appended
    explicit ChildWriter(Poco::XML::Element& parent);
    ChildWriter(const ChildWriter&) = delete;
    ChildWriter& operator=(const ChildWriter&) = delete;
    ~ChildWriter();

    /// Begins an element: a child of the parent, or of the element that was begun last and has not ended.
    void begin(std::string_view name);

    /// Gives it an attribute. Characters that XML cannot carry become U+FFFD.
    ///
    /// Requires: it has neither text nor children; attributes come in the order of their names, each once.
    void set_attribute(std::string_view name, std::string_view value);

    /// Appends text to it. Characters that XML cannot carry become U+FFFD.
    ///
    /// Requires: it has no children.
    void append_text(std::string_view text);

    /// Appends a child that has nothing but text.
    void append_text_element(std::string_view name, std::string_view text);

    /// Ends it. Its markup is in the parent when all have ended that were begun.
    /// @param name  as it was begun
    void end(std::string_view name);

private:
    static constexpr std::size_t BUFFER_SIZE = 512;

    void put(std::string_view text);

    /// The same for several texts. An item of a Read took 3 % more when each was asked alone whether it fits.
    template <class... Texts>
    void put(std::string_view first, const Texts&... texts);

    void end_start_tag();
    void flush();

    ReplyMemory& shared_;
    ReplyContent& content_;
    std::size_t open_elements_ = 0;
    bool is_start_tag_open_ = false;
    std::size_t size_ = 0;
    // Not initialised: that would cost more than most of what is written.
    std::array<char, BUFFER_SIZE> buffer_;
};

/// @name As the functions of reply_dom.h, for what writes to an element or to a writer
/// @{
inline void append_text(ChildWriter& writer, std::string_view text) {
    writer.append_text(text);
}
inline void append_text_element(ChildWriter& writer, std::string_view name, std::string_view text) {
    writer.append_text_element(name, text);
}
/// @}

}  // namespace kx::information_model::opc
