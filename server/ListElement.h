#pragma once

#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NodeAppender.h>

#include <string>

namespace kx::information_model::opc {

/// An element whose `appendChild` takes constant time.
///
/// That of a plain element walks all children to find the last one, so that appending n of them costs n
/// squared. This one remembers the last child. Requires: children are only appended, never inserted,
/// replaced or removed.
class ListElement : public Poco::XML::Element {
public:
    /// @param document  the owner; must outlive the element
    /// @param name      qualified name, without a namespace
    ListElement(Poco::XML::Document& document, const std::string& name);

    Poco::XML::Node* appendChild(Poco::XML::Node* child) override;

protected:
    ~ListElement() override;

private:
    Poco::XML::NodeAppender appender_;
};

}  // namespace kx::information_model::opc
