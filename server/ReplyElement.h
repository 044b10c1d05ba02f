#pragma once

#include "server/MarkupRope.h"
#include "server/ReplyBudget.h"
#include "server/arena_dom.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Node.h>
#include <Poco/XML/NamePool.h>

#include <array>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// A reply exceeds what this server makes for anybody.
class ReplyLimitException : public std::length_error {
public:
    using std::length_error::length_error;
};

/// Largest reply in bytes. The largest request that asks for each item once stays far below; but a small one
/// can ask for a large array again and again.
inline constexpr std::size_t MAXIMUM_REPLY_SIZE = std::size_t{256} * 1024 * 1024;

/// What the elements of a reply share: the count of the bytes that they will take, and memory for those that
/// pass through a list.
class ReplyMemory {
    friend class ReplyDocument;
    friend class ReplyElement;

    /// The memory for an element that passes through a list: used again as soon as all that were made in it
    /// are gone.
    std::pmr::memory_resource& get_passing_memory() noexcept {
        if (passing_elements_ == 0) {
            passing_memory_.release();
        }
        return passing_memory_;
    }

    /// @throws ReplyLimitException
    void count(std::size_t size) {
        markup_size_ += size;
        if (markup_size_ > maximum_size_) {
            throw ReplyLimitException("the reply is too large");
        }
        if (!share_.grow_to(markup_size_)) {
            throw ReplyLimitException("too many large replies are being made or sent");
        }
    }

    std::size_t maximum_size_ = MAXIMUM_REPLY_SIZE;
    std::size_t markup_size_ = 0;
    ReplyShare share_;
    std::size_t open_lists_ = 0;
    std::size_t passing_elements_ = 0;  // in `passing_memory_`
    std::array<std::byte, 2048> passing_buffer_;
    std::pmr::monotonic_buffer_resource passing_memory_{passing_buffer_.data(), passing_buffer_.size()};
};

/// The document of a reply. What its elements share is a base class, since it must outlive the one that
/// releases them.
class ReplyDocument final : private ReplyMemory, public ArenaDocument {
public:
    using ArenaDocument::ArenaDocument;

    /// @param maximum_size  instead of `MAXIMUM_REPLY_SIZE`
    void limit(std::size_t maximum_size) noexcept { maximum_size_ = maximum_size; }

    std::size_t get_markup_size() const noexcept { return markup_size_; }

    /// Hands over what the reply holds of the budget of all replies. It is to be kept until it is sent.
    ReplyShare take_share() noexcept { return std::move(share_); }

protected:
    ~ReplyDocument() override;

private:
    friend class ReplyElement;
};

/// An element of a reply. Its attributes and its text are kept as the markup that they become, escaped and
/// in the order in which they are written: a reply is written once and read by nobody, and nodes of their
/// own would cost more than all else that a service does. POCO's functions therefore see its name and those
/// of its children that are no text and passed through no list, but neither attributes nor text; to look at
/// them, write the element.
///
/// Whatever makes a reply longer throws `ReplyLimitException` once it is too long, or all replies of the
/// process are.
class ReplyElement final : public ArenaElement {
public:
    static Poco::AutoPtr<ReplyElement> create(ReplyDocument& document, const std::string& name);

    /// Sets an attribute. Characters that XML cannot carry become U+FFFD.
    void set_attribute(std::string_view name, std::string_view value);

    /// Appends text; characters that XML cannot carry become U+FFFD.
    /// @throws std::logic_error  if the element has children: it has either text or children
    void append_text(std::string_view text);

    /// Appends a child that has nothing but text, without making an element of it.
    /// @throws std::logic_error  if the element has text, or children that were appended otherwise
    void append_text_child(std::string_view name, std::string_view text);

    /// Appends a child. If the list is open, the child is written and no longer needed: it has to be
    /// complete.
    Poco::XML::Node* appendChild(Poco::XML::Node* child) override;

    /// What `ListBuilder` does.
    /// @throws std::logic_error  if the element has text or children that passed through no list
    void open_list();
    void close_list() noexcept;

    bool is_open_list() const noexcept { return is_open_list_; }

    /// Whether it is written as an empty-element tag.
    bool is_empty() const noexcept;

    /// Appends the markup of all attributes, sorted by name, each with a blank in front.
    void write_attributes(std::string& output) const;

    /// Appends the markup of the text, or of the children that are there as markup; other children follow.
    void write_content(MarkupRope& output) const;

protected:
    ~ReplyElement() override;

private:
    struct Attribute {
        std::string_view name;
        std::string_view markup;  // a blank, the name, and the value in quotes
        Attribute* next;
    };

    ReplyElement(ReplyDocument& document, std::pmr::memory_resource& memory, const std::string& name);

    bool is_passing() const noexcept { return &memory_ == &shared_.passing_memory_; }
    void set_markup(std::string_view name, std::string_view escaped_value);
    MarkupRope& get_list();
    void require(bool condition) const;

    ReplyMemory& shared_;
    std::pmr::memory_resource& memory_;
    Attribute* first_attribute_ = nullptr;  // sorted by name
    std::string_view text_;
    std::unique_ptr<MarkupRope> list_;  // children that are there as markup
    bool is_open_list_ = false;
};

}  // namespace kx::information_model::opc
