#pragma once

#include "server/Arena.h"

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
class NodeMemory {
protected:
    Arena memory_;
};

/// A document, and the memory of its nodes. Held in a `Poco::AutoPtr`.
class ArenaDocument : private NodeMemory, public Poco::XML::Document {
public:
    /// @param names  where the nodes' names are kept; used by this thread alone
    explicit ArenaDocument(Poco::XML::NamePool& names);

    std::pmr::memory_resource& get_memory() noexcept { return memory_; }

protected:
    ~ArenaDocument() override;
};

/// Makes a node class of POCO's lie in memory that is given back without it.
template <class Node>
class InArena : public Node {
public:
    static void* operator new(std::size_t size, std::pmr::memory_resource& memory) {
        return memory.allocate(size);
    }
    static void operator delete(void* /*node*/, std::pmr::memory_resource& /*memory*/) noexcept {}
    static void operator delete(void* /*node*/) noexcept {}

protected:
    using Node::Node;
    ~InArena() override = default;
};

/// An attribute that stands in the text.
class ArenaAttr final : public InArena<Poco::XML::Attr> {
public:
    ArenaAttr(ArenaDocument& document, const std::string& namespace_uri, const std::string& local_name,
              const std::string& name, const std::string& value);

protected:
    ~ArenaAttr() override;
};

class ArenaText final : public InArena<Poco::XML::Text> {
public:
    ArenaText(ArenaDocument& document, const std::string& text);

protected:
    ~ArenaText() override;
};

/// Requires: children are only appended; nothing is inserted, replaced or removed.
class ArenaElement : public InArena<Poco::XML::Element> {
public:
    ArenaElement(ArenaDocument& document, const std::string& namespace_uri, const std::string& local_name,
                 const std::string& name);

    Poco::XML::Node* appendChild(Poco::XML::Node* child) override;

    /// Appends a text node.
    void append_text_node(const std::string& text);

    /// How many nodes were appended.
    std::size_t get_child_count() const noexcept { return child_count_; }

    ArenaDocument& get_document() const noexcept { return static_cast<ArenaDocument&>(*ownerDocument()); }

protected:
    ~ArenaElement() override;

private:
    Poco::XML::NodeAppender appender_;
    std::size_t child_count_ = 0;
};

}  // namespace kx::information_model::opc
