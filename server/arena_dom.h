#pragma once

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NodeAppender.h>
#include <Poco/DOM/Text.h>
#include <Poco/XML/NamePool.h>

#include <cstddef>
#include <memory_resource>
#include <string>

/// Nodes of a POCO DOM for documents that are built once, from front to back, and thrown away as a whole.
/// What building them costs differs from POCO's own:
///
/// - The nodes lie in memory of the document's, which is given back all at once, where a node of POCO's
///   costs an allocation and its release.
/// - Appending takes constant time, where POCO walks over all that is there already.
/// - No mutation events are raised, since nobody listens.
///
/// A document and its nodes are used by one thread, and no node outlives its document.
namespace kx::information_model::opc {

/// The memory of a document's nodes: a base class, since it must outlive the one that releases the nodes.
class Arena {
protected:
    std::pmr::monotonic_buffer_resource memory_{4096};
};

/// A document, and the memory of its nodes. Held in a `Poco::AutoPtr`.
class ArenaDocument : private Arena, public Poco::XML::Document {
public:
    /// @param names  where the nodes' names are kept; used by this thread alone
    explicit ArenaDocument(Poco::XML::NamePool& names);

    std::pmr::memory_resource& get_memory() noexcept { return memory_; }

protected:
    ~ArenaDocument() override;
};

/// Gives a node class of POCO's the memory of its document.
template <class Node>
class InArena : public Node {
public:
    static void* operator new(std::size_t size, ArenaDocument& document) {
        return document.get_memory().allocate(size);
    }
    static void operator delete(void* /*node*/, ArenaDocument& /*document*/) noexcept {}
    static void operator delete(void* /*node*/) noexcept {}  // the document gives it back

protected:
    using Node::Node;
    ~InArena() override = default;
};

class ArenaAttr final : public InArena<Poco::XML::Attr> {
public:
    ArenaAttr(ArenaDocument& document, const std::string& namespace_uri, const std::string& local_name,
              const std::string& name, const std::string& value, bool specified);

protected:
    ~ArenaAttr() override;
};

class ArenaText final : public InArena<Poco::XML::Text> {
public:
    ArenaText(ArenaDocument& document, const std::string& text);

protected:
    ~ArenaText() override;
};

/// Requires: children and attributes are only appended; nothing is inserted, replaced or removed.
class ArenaElement : public InArena<Poco::XML::Element> {
public:
    ArenaElement(ArenaDocument& document, const std::string& namespace_uri, const std::string& local_name,
                 const std::string& name);

    Poco::XML::Node* appendChild(Poco::XML::Node* child) override;

    /// Appends a text node.
    void append_text_node(const std::string& text);

    /// Appends an attribute that the element does not have yet.
    void append_attribute(const std::string& namespace_uri, const std::string& local_name,
                          const std::string& name, const std::string& value, bool specified);

    /// The first of the attributes appended here, null if there is none; the others are its siblings.
    const Poco::XML::Attr* get_first_attribute() const noexcept { return first_attribute_; }

    ArenaDocument& get_document() const noexcept { return document_; }

protected:
    ~ArenaElement() override;

private:
    ArenaDocument& document_;
    Poco::XML::NodeAppender appender_;
    Poco::XML::Attr* first_attribute_ = nullptr;
    Poco::XML::Attr* last_attribute_ = nullptr;
};

}  // namespace kx::information_model::opc
