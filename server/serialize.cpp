#include "server/serialize.h"

#include "server/DomSerializer.h"

#include <Poco/DOM/DOMWriter.h>
#include <Poco/Exception.h>

#include <sstream>

namespace kx::information_model::opc {

namespace {

const std::string DECLARATION = R"(<?xml version="1.0" encoding="utf-8"?>)";

bool consists_of_its_root(const Poco::XML::Document& document) {
    const Poco::XML::Node* child = document.firstChild();
    return child != nullptr && child->nodeType() == Poco::XML::Node::ELEMENT_NODE && child->nextSibling() == nullptr;
}

std::string serialize_with_dom_writer(const Poco::XML::Document& document) {
    std::ostringstream stream;
    stream << DECLARATION;
    Poco::XML::DOMWriter().writeNode(stream, &document);
    return std::move(stream).str();
}

}  // namespace

std::string serialize(const Poco::XML::Document* document) {
    if (document == nullptr) {
        throw Poco::NullPointerException();
    }
    if (consists_of_its_root(*document)) {
        std::string text = DECLARATION;
        if (DomSerializer(text).write(*document->documentElement())) {
            return text;
        }
    }
    return serialize_with_dom_writer(*document);
}

}  // namespace kx::information_model::opc
