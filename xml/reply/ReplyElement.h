#pragma once

#include "base/Rope.h"
#include "xml/reply/ReplyBudget.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/Node.h>
#include <Poco/XML/NamePool.h>

#include <cstddef>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Replies pass for a DOM of POCO's, but what they are made of is markup: a reply is written once, from the
/// inside out, and read by nobody.
namespace kx::information_model::opc {

/// A reply exceeds what this server makes for anybody.
class ReplyLimitException : public std::length_error {
public:
    using std::length_error::length_error;
};

/// Largest reply in bytes. The largest request that asks for each item once stays far below; but a small one
/// can ask for a large array again and again.
inline constexpr std::size_t MAXIMUM_REPLY_SIZE = std::size_t{256} * 1024 * 1024;

/// The markup of an element that is not complete.
class ReplyContent {
    friend class ChildWriter;
    friend class ReplyElement;

    // Has room for what elements usually have.
    ReplyContent() {
        attributes.reserve(256);
        sizes.reserve(8);
    }

    struct Attribute {
        std::size_t name_size;
        std::size_t size;  // of a blank, the name, and the value in quotes
    };

    std::string attributes;        // as they are written, sorted by name
    std::vector<Attribute> sizes;  // of each of them
    Rope text;                     // or children
    bool has_text = false;
    bool is_broken = false;  // a child has begun and not ended
};

/// What the elements of a reply share: the count of the bytes that they will take, and memory that one
/// element leaves to the next.
class ReplyMemory {
    friend class ChildWriter;
    friend class ReplyDocument;
    friend class ReplyElement;

    ReplyMemory();
    ~ReplyMemory();

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
    std::vector<std::unique_ptr<ReplyContent>> spare_contents_;
    std::vector<void*> spare_places_;  // each of an element
    std::string buffer_;               // for what is being escaped
};

/// The document of a reply: its text, as soon as the root element is appended.
///
/// What its elements share is a base class, since it must outlive the one that releases them.
class ReplyDocument final : private ReplyMemory, public Poco::XML::Document {
public:
    /// @param names  where the elements' names are kept; used by this thread alone
    explicit ReplyDocument(Poco::XML::NamePool& names);

    /// @param maximum_size  instead of `MAXIMUM_REPLY_SIZE`
    void limit(std::size_t maximum_size) noexcept { maximum_size_ = maximum_size; }

    /// At least the size of all that was made in it.
    std::size_t get_markup_size() const noexcept { return markup_size_; }

    /// Writes the document: the XML declaration and the element, which is closed.
    /// @param root  an open `ReplyElement` of this document
    /// @throws std::logic_error  if it is anything else, or not the first
    Poco::XML::Node* appendChild(Poco::XML::Node* root) override;

    /// @throws std::logic_error  if there is no root element
    const Rope& get_text() const;

    /// @throws std::logic_error  always: a reply is only appended to
    Poco::XML::Node* insertBefore(Poco::XML::Node* child, Poco::XML::Node* next) override;
    Poco::XML::Node* replaceChild(Poco::XML::Node* child, Poco::XML::Node* old) override;
    Poco::XML::Node* removeChild(Poco::XML::Node* child) override;

protected:
    ~ReplyDocument() override;

private:
    friend class ReplyElement;

    Rope text_;
};

/// An element of a reply. It is kept as the markup that it becomes: what is set or appended is escaped at
/// once, attributes lie in the order in which they are written. What is written is what a default
/// `Poco::XML::DOMWriter` writes of the DOM of the same content, byte for byte, in a fraction of its time.
///
/// An element is complete when it is appended: its parent takes its markup and closes it, and whatever
/// changes it later throws. So a list of a million items takes no more than their text and one item. POCO's
/// functions see its name, and neither attributes, texts nor children; those that would change it throw, or,
/// where they are not virtual, make it throw when it is appended.
///
/// Whatever makes a reply longer throws `ReplyLimitException` once it is too long, or all replies of the
/// process are.
class ReplyElement final : public Poco::XML::Element {
public:
    static void* operator new(std::size_t size, ReplyDocument& document);
    static void operator delete(void* place, ReplyDocument& document) noexcept;
    static void operator delete(ReplyElement* element, std::destroying_delete_t) noexcept;

    ReplyElement(ReplyDocument& document, const std::string& name);

    /// Sets an attribute, again if there is one. Characters that XML cannot carry become U+FFFD.
    /// @throws std::logic_error  if the element is closed, as all below
    void set_attribute(std::string_view name, std::string_view value);

    /// Appends text; characters that XML cannot carry become U+FFFD.
    /// @throws std::logic_error  if the element has children: it has either text or children
    void append_text(std::string_view text);

    /// Appends a child that has nothing but text, without making an element of it.
    /// @throws std::logic_error  if the element has text
    void append_text_child(std::string_view name, std::string_view text);

    /// Appends a child behind the others and closes it.
    /// @param child  an open `ReplyElement` of the same document
    /// @throws std::logic_error  if it is anything else, or the element has text
    Poco::XML::Node* appendChild(Poco::XML::Node* child) override;

    bool is_open() const noexcept { return content_ != nullptr; }

    /// Appends the markup and closes the element.
    void write(Rope& output);

    /// @throws std::logic_error  always: a reply is only appended to
    Poco::XML::Node* insertBefore(Poco::XML::Node* child, Poco::XML::Node* next) override;
    Poco::XML::Node* replaceChild(Poco::XML::Node* child, Poco::XML::Node* old) override;
    Poco::XML::Node* removeChild(Poco::XML::Node* child) override;

protected:
    ~ReplyElement() override;

    Poco::XML::Node* copyNode(bool deep, Poco::XML::Document* document) const override;

private:
    friend class ChildWriter;
    friend class ReplyDocument;

    ReplyContent& get_content() const;
    ReplyContent& get_content_for_children() const;
    void close() noexcept;

    ReplyMemory& shared_;
    std::unique_ptr<ReplyContent> content_;  // null if the element is closed
};

}  // namespace kx::information_model::opc
