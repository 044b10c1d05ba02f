#include "server/ListElement.h"

#include <Poco/XML/NamePool.h>

namespace kx::information_model::opc {

ListElement::ListElement(Poco::XML::Document& document, const std::string& name)
    : Poco::XML::Element(&document, std::string(), std::string(), name), appender_(this) {}

ListElement::~ListElement() = default;

Poco::XML::Node* ListElement::appendChild(Poco::XML::Node* child) {
    appender_.appendChild(child);
    return child;
}

}  // namespace kx::information_model::opc
