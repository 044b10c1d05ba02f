#pragma once

#include "base/Arena.h"
#include "xml/XmlName.h"
#include "xml/request/NameTable.h"

#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NamedNodeMap.h>
#include <Poco/DOM/Node.h>
#include <Poco/DOM/NodeAppender.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// Requests as documents of POCO's, with what services look at: elements, their attributes and their texts.
/// What building them costs differs from POCO's own:
///
/// - The nodes lie in memory of the document's, which is given back all at once.
/// - Appending takes constant time, where POCO walks over all that is there already.
/// - There is one kind of node. All text stands in one piece in the document, and each element knows which
///   part of it is its own; comments and processing instructions are nowhere.
/// - Attributes are a name and a text. A node of POCO's takes several times the memory and the time, and a
///   service asks each for its text, once.
///
/// A document and its nodes are used by one thread, and no node outlives its document.
namespace kx::information_model::opc {

/// What the nodes of a request refer to: a base class, since it must outlive the one that releases them.
class RequestMemory {
protected:
    explicit RequestMemory(std::shared_ptr<NameTable> names);
    ~RequestMemory();

    std::shared_ptr<NameTable> names_;
    Arena memory_;
    std::string text_;
};

class RequestDocument final : private RequestMemory, public Poco::XML::Document {
public:
    explicit RequestDocument(std::shared_ptr<NameTable> names);

    NameTable& get_names() noexcept { return *names_; }
    std::pmr::memory_resource& get_memory() noexcept { return memory_; }

    /// The texts of all elements, in their order. Requests in good faith hold few.
    const std::string& get_text() const noexcept { return text_; }

    /// @throws RequestLimitException  if all texts together are longer than 4 GiB
    void append_text(std::string_view text);

protected:
    ~RequestDocument() override;
};

/// An element of a request, without those of POCO's functions that are not virtual: `tagName` is the same for
/// all, and those for attributes find nothing before somebody asks for `attributes()`.
class RequestElement final : public Poco::XML::Element {
public:
    static void* operator new(std::size_t size, std::pmr::memory_resource& memory) {
        return memory.allocate(size);
    }
    static void operator delete(void* /*element*/, std::pmr::memory_resource& /*memory*/) noexcept {}
    static void operator delete(void* /*element*/) noexcept {}

    /// Its text begins where that of the document ends.
    /// @param name  of the document's table
    RequestElement(RequestDocument& document, const XmlName& name);

    /// Gives it its attributes, and copies them. To be called at most once.
    /// @param attributes  as expat has them: names and values in turn, and a null pointer behind the last
    void set_attributes(const char* const* attributes);

    /// The only way in which children come.
    void append_child(RequestElement& child) { children_.appendChild(&child); }

    /// Its text ends where that of the document ends.
    void close() noexcept;

    const XmlName& get_name() const noexcept { return name_; }

    /// The text of the attribute of that name; valid as long as the document.
    /// @param uri  empty for an attribute without a prefix
    std::optional<std::string_view> find_attribute_text(std::string_view uri,
                                                        std::string_view local_name) const noexcept;

    const std::string& nodeName() const override { return name_.qualified_name; }
    const std::string& namespaceURI() const override { return name_.uri; }
    const std::string& localName() const override { return name_.local_name; }
    std::string prefix() const override { return name_.get_prefix(); }
    std::string innerText() const override;
    bool hasAttributes() const override { return attribute_count_ > 0; }

    /// Makes a node of each attribute first, once.
    Poco::XML::NamedNodeMap* attributes() const override;

protected:
    ~RequestElement() override;

private:
    struct Attribute {
        const XmlName* name;
        std::string_view value;
    };

    RequestDocument& get_document() const noexcept;
    void make_attribute_nodes();

    std::span<const Attribute> get_attributes() const noexcept { return {attributes_, attribute_count_}; }

    // There may be millions of them: what is small is kept small.
    const XmlName& name_;
    Attribute* attributes_ = nullptr;
    Poco::XML::NodeAppender children_;
    std::uint32_t text_start_;
    std::uint32_t text_size_ = 0;
    std::uint32_t attribute_count_ = 0;
    bool has_attribute_nodes_ = false;
};

}  // namespace kx::information_model::opc
